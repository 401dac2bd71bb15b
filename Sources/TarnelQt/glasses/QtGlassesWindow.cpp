#include <TarnelQt/glasses/DisplayWidget.hpp>
#include <TarnelQt/glasses/MessageList.hpp>
#include <TarnelQt/glasses/QtGlassesWindow.hpp>

#include <QAction>
#include <QCheckBox>
#include <QDockWidget>
#include <QFileDialog>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QImageWriter>
#include <QLabel>
#include <QMenuBar>
#include <QMessageBox>
#include <QSignalBlocker>
#include <QSpinBox>
#include <QStatusBar>
#include <QToolBar>
#include <QVBoxLayout>
#include <chrono>
#include <utility>

namespace tarnel {
namespace {

using glasses::Frame;
using glasses::SimulatedGlasses;

constexpr std::chrono::milliseconds refreshTime{100};
constexpr int longestName = 60;

QString layoutName(int layout) {
    switch (layout) {
    case 1:
        return QStringLiteral("text, left");
    case 2:
        return QStringLiteral("text, centred");
    case 3:
        return QStringLiteral("navigation");
    case 4:
        return QStringLiteral("canvas");
    default:
        return QStringLiteral("none");
    }
}

QString connectionText(const SimulatedGlasses& glasses) {
    const QString bond = glasses.isBonded() ? QStringLiteral(", bonded") : QString();
    if (glasses.isConnected()) {
        return QStringLiteral("connected") + bond;
    }
    return (glasses.isAdvertising() ? QStringLiteral("advertising") : QStringLiteral("silent")) + bond;
}

QString controlText(const SimulatedGlasses& glasses) {
    const auto owner = glasses.controlOwner();
    if (!owner) {
        return QStringLiteral("nobody");
    }
    return QStringLiteral("%1 (%2)").arg(QString::fromStdString(owner->substr(0, longestName)).simplified(),
                                         layoutName(glasses.layout()));
}

} // namespace

QtGlassesWindow::QtGlassesWindow(std::shared_ptr<SimulatedGlasses> glasses, QWidget* parent)
    : QMainWindow(parent), glasses_(std::move(glasses)), display_(new DisplayWidget(glasses_, this)) {
    const auto name = QString::fromStdString(glasses_->options().name.substr(0, longestName)).simplified();
    setWindowTitle(QStringLiteral("%1 (simulated)").arg(name));
    setCentralWidget(display_);
    display_->setFocus(); // keys are the wearer's until the user edits something
    auto* const dock = new QDockWidget(QStringLiteral("Glasses"), this);
    dock->setObjectName(QStringLiteral("panel"));
    dock->setFeatures(QDockWidget::DockWidgetMovable | QDockWidget::DockWidgetClosable);
    dock->setWidget(makePanel());
    addDockWidget(Qt::RightDockWidgetArea, dock);
    makeWearerMenu();
    makeFaultMenu();
    makeViewMenu(dock);
    makeToolBar();
    connect(&timer_, &QTimer::timeout, this, [this] { refresh(); });
    refresh();
}

QtGlassesWindow::~QtGlassesWindow() = default;

QAction* QtGlassesWindow::addVerb(QMenu& menu, const QString& text, const QString& tip, Verb verb) {
    auto* const action = menu.addAction(text);
    action->setStatusTip(tip);
    action->setToolTip(tip);
    connect(action, &QAction::triggered, this, [this, verb] { verb(*glasses_); });
    return action;
}

QAction* QtGlassesWindow::addToggle(QMenu& menu, const QString& text, const QString& tip, Verb on, Verb off) {
    auto* const action = menu.addAction(text);
    action->setStatusTip(tip);
    action->setCheckable(true);
    connect(action, &QAction::triggered, this, [this, on, off](bool isOn) { (isOn ? on : off)(*glasses_); });
    return action;
}

void QtGlassesWindow::makeWearerMenu() {
    auto& menu = *menuBar()->addMenu(QStringLiteral("&Glasses"));
    tap_ = addVerb(menu, QStringLiteral("&Tap"), QStringLiteral("The wearer taps once"), [](auto& it) { it.tap(1); });
    tap_->setShortcut(Qt::Key_T);
    doubleTap_ = addVerb(menu, QStringLiteral("&Double tap"), QStringLiteral("The wearer taps twice"),
                         [](auto& it) { it.tap(2); });
    doubleTap_->setShortcut(Qt::Key_D);
    power_ = addVerb(menu, QStringLiteral("&Power button"), QStringLiteral("The wearer presses the power button"),
                     [](auto& it) { it.powerButton(1); });
    power_->setShortcut(Qt::Key_P);
    menu.addSeparator();
    addVerb(menu, QStringLiteral("Display time-&out"), QStringLiteral("The display goes dark, and control ends"),
            [](auto& it) { it.displayTimeout(); });
    addVerb(menu, QStringLiteral("&Another application takes control"),
            QStringLiteral("The application in control is told that it has lost it"),
            [](auto& it) { it.takeControl("org.example.another"); });
    addVerb(menu, QStringLiteral("Ask for the t&ime"), QStringLiteral("The glasses ask the host for the time"),
            [](auto& it) { it.requestTime(); });
    menu.addSeparator();
    save_ = menu.addAction(QStringLiteral("&Save frame…"));
    save_->setStatusTip(QStringLiteral("Write what the display shows to a picture file"));
    save_->setShortcut(QKeySequence::Save);
    connect(save_, &QAction::triggered, this, [this] { askForFile(); });
    auto* const close = menu.addAction(QStringLiteral("&Close"));
    close->setShortcut(QKeySequence::Close);
    connect(close, &QAction::triggered, this, [this] { this->close(); });
}

void QtGlassesWindow::makeFaultMenu() {
    auto& menu = *menuBar()->addMenu(QStringLiteral("&Faults"));
    connect(&menu, &QMenu::aboutToShow, this, [this] { refreshFaults(); });
    drop_ = addVerb(menu, QStringLiteral("&Drop the connection"),
                    QStringLiteral("The glasses end the connection and advertise again"),
                    [](auto& it) { it.dropConnection(); });
    addVerb(menu, QStringLiteral("&Lose the bond"), QStringLiteral("The glasses forget the pairing"),
            [](auto& it) { it.loseBond(); });
    addVerb(menu, QStringLiteral("&Reset"), QStringLiteral("The firmware restarts"), [](auto& it) { it.reset(); });
    menu.addSeparator();
    stalled_ = addToggle(
        menu, QStringLiteral("&Stalled"), QStringLiteral("Nothing crosses the air; the connection stands"),
        [](auto& it) { it.stall(); }, [](auto& it) { it.resume(); });
    outOfRange_ = addToggle(
        menu, QStringLiteral("&Out of range"), QStringLiteral("The connection ends after its supervision time-out"),
        [](auto& it) { it.leaveRange(); }, [](auto& it) { it.enterRange(); });
    menu.addSeparator();
    addVerb(menu, QStringLiteral("Refuse the next &write"), QStringLiteral("It is answered with an error, or lost"),
            [](auto& it) { it.refuseWrite(); });
    addVerb(menu, QStringLiteral("&Truncate the next value to the glasses"),
            QStringLiteral("Only its first half arrives"),
            [](auto& it) { it.truncateChunk(SimulatedGlasses::Direction::toGlasses); });
    addVerb(menu, QStringLiteral("Truncate the next value to the &host"), QStringLiteral("Only its first half arrives"),
            [](auto& it) { it.truncateChunk(SimulatedGlasses::Direction::toHost); });
}

void QtGlassesWindow::makeViewMenu(QWidget* panel) {
    auto& menu = *menuBar()->addMenu(QStringLiteral("&View"));
    for (const int scale : {1, 2}) {
        auto* const action = menu.addAction(QStringLiteral("%1 %").arg(scale * 100));
        action->setShortcut(QKeySequence(Qt::CTRL | static_cast<Qt::Key>(Qt::Key_0 + scale)));
        connect(action, &QAction::triggered, this, [this, scale] { zoom(scale); });
    }
    menu.addSeparator();
    menu.addAction(static_cast<QDockWidget*>(panel)->toggleViewAction());
}

void QtGlassesWindow::makeToolBar() {
    auto* const bar = addToolBar(QStringLiteral("Wearer"));
    bar->setObjectName(QStringLiteral("wearer"));
    bar->setMovable(false);
    bar->setContextMenuPolicy(Qt::PreventContextMenu);
    bar->addActions({tap_, doubleTap_, power_});
    bar->addSeparator();
    bar->addActions({drop_, save_});
    statusBar()->setSizeGripEnabled(true);
}

QLabel* QtGlassesWindow::addState(QFormLayout& form, const QString& title) {
    auto* const label = new QLabel(form.parentWidget());
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    label->setAccessibleName(title);
    form.addRow(title + QLatin1Char(':'), label);
    return label;
}

QWidget* QtGlassesWindow::makePanel() {
    auto* const panel = new QWidget(this); // as all that is made in it, owned by the window
    auto* const column = new QVBoxLayout(panel);
    auto* const form = new QFormLayout;
    column->addLayout(form);
    connection_ = addState(*form, QStringLiteral("Connection"));
    control_ = addState(*form, QStringLiteral("Control"));
    screen_ = addState(*form, QStringLiteral("Display"));
    form->addRow(QStringLiteral("Battery:"), makeBatteryRow(panel));
    traffic_ = addState(*form, QStringLiteral("Traffic"));
    messages_ = new MessageList(glasses_, panel);
    messages_->setMinimumWidth(260);
    column->addWidget(messages_, 1);
    return panel;
}

QWidget* QtGlassesWindow::makeBatteryRow(QWidget* parent) {
    auto* const row = new QWidget(parent);
    auto* const layout = new QHBoxLayout(row);
    layout->setContentsMargins(0, 0, 0, 0);
    battery_ = new QSpinBox(row);
    battery_->setRange(0, 100);
    battery_->setSuffix(QStringLiteral(" %"));
    battery_->setAccessibleName(QStringLiteral("Battery level"));
    charging_ = new QCheckBox(QStringLiteral("charging"), row);
    layout->addWidget(battery_);
    layout->addWidget(charging_);
    layout->addStretch();
    refreshBattery();
    connect(battery_, qOverload<int>(&QSpinBox::valueChanged), this, [this] { setBattery(); });
    connect(charging_, &QCheckBox::toggled, this, [this] { setBattery(); });
    return row;
}

void QtGlassesWindow::setBattery() {
    glasses_->setBattery(battery_->value(), charging_->isChecked());
}

void QtGlassesWindow::refreshBattery() {
    // What is being edited stays.
    if (!battery_->hasFocus()) {
        const QSignalBlocker noChange(battery_);
        battery_->setValue(glasses_->batteryLevel());
    }
    const QSignalBlocker noChange(charging_);
    charging_->setChecked(glasses_->isCharging());
}

void QtGlassesWindow::refreshFaults() {
    stalled_->setChecked(glasses_->isStalled());
    outOfRange_->setChecked(!glasses_->isInRange());
}

void QtGlassesWindow::refresh() {
    connection_->setText(connectionText(*glasses_));
    control_->setText(controlText(*glasses_));
    screen_->setText(glasses_->isDisplayOn() ? QStringLiteral("on") : QStringLiteral("dark"));
    const auto counters = glasses_->counters();
    traffic_->setText(QStringLiteral("%1 messages, %2 kB")
                          .arg(glasses_->receivedCount())
                          .arg(static_cast<double>(counters.bytesReceived) / 1000, 0, 'f', 1));
    refreshBattery();
    refreshFaults();
    messages_->follow();
}

void QtGlassesWindow::showEvent(QShowEvent* event) {
    QMainWindow::showEvent(event);
    timer_.start(refreshTime);
}

void QtGlassesWindow::hideEvent(QHideEvent* event) {
    QMainWindow::hideEvent(event);
    timer_.stop();
}

void QtGlassesWindow::zoom(int scale) {
    const double ratio = devicePixelRatioF();
    const QSize wanted(qRound(Frame::width * scale / ratio), qRound(Frame::height * scale / ratio));
    resize(size() + wanted - display_->size());
}

QString QtGlassesWindow::saveFrame(const QString& file) const {
    QImageWriter writer(file);
    return writer.write(display_->image()) ? QString() : writer.errorString();
}

void QtGlassesWindow::askForFile() {
    auto* const dialog = new QFileDialog(this, QStringLiteral("Save frame"), QStringLiteral("frame.png"),
                                         QStringLiteral("Pictures (*.png *.jpg *.bmp)"));
    dialog->setAcceptMode(QFileDialog::AcceptSave);
    dialog->setDefaultSuffix(QStringLiteral("png"));
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    connect(dialog, &QFileDialog::fileSelected, this, [this](const QString& file) {
        const QString error = saveFrame(file);
        if (error.isEmpty()) {
            statusBar()->showMessage(QStringLiteral("Saved %1").arg(file), 5000);
            return;
        }
        auto* const box = new QMessageBox(QMessageBox::Warning, windowTitle(), QString(), QMessageBox::Ok, this);
        box->setTextFormat(Qt::PlainText); // a name may look like markup
        box->setText(QStringLiteral("The frame could not be saved as %1: %2").arg(file, error));
        box->setAttribute(Qt::WA_DeleteOnClose);
        box->open();
    });
    dialog->open();
}

} // namespace tarnel
