#include "ReadingWindow.hpp"

#include <TarnelQt/QtScreenWidget.hpp>
#include <TarnelSDK/ui/TarnelPickerController.hpp>

#include <QAction>
#include <QFileDialog>
#include <QLabel>
#include <QMessageBox>
#include <QPainter>
#include <QStatusBar>
#include <QToolBar>
#include <QVBoxLayout>
#include <utility>
#include <variant>

/// The page, as large as fits.
class PageView : public QWidget {
public:
    explicit PageView(QWidget* parent) : QWidget(parent) { setMinimumSize(320, 240); }

    void setPage(const QImage& page) {
        page_ = page;
        update();
    }
    QSize sizeHint() const override { return {Book::width, Book::height}; }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.fillRect(rect(), Qt::black);
        if (page_.isNull()) {
            painter.setPen(Qt::lightGray);
            painter.drawText(rect(), Qt::AlignCenter | Qt::TextWordWrap, tr("Open a text or a picture."));
            return;
        }
        QRect area(QPoint(), page_.size().scaled(size(), Qt::KeepAspectRatio));
        area.moveCenter(rect().center());
        painter.setRenderHint(QPainter::SmoothPixmapTransform);
        painter.drawImage(area, page_);
    }

private:
    QImage page_;
};

ReadingWindow::ReadingWindow(std::shared_ptr<ReadingScreen> screen) : screen_(std::move(screen)) {
    setWindowTitle(tr("Reading glass"));
    auto* const widget = new tarnel::QtScreenWidget(screen_, this); // as all that is made here, owned by the window
    auto* const column = new QVBoxLayout(widget);
    column->setContentsMargins(0, 0, 0, 0);
    page_ = new PageView(widget);
    column->addWidget(page_, 1);
    setCentralWidget(widget);
    state_ = new QLabel(this);
    place_ = new QLabel(this);
    statusBar()->addWidget(state_, 1);
    statusBar()->addPermanentWidget(place_);
    makeActions();
    screen_->onChange = [this] { refresh(); };
    refresh();
}

ReadingWindow::~ReadingWindow() {
    screen_->onChange = nullptr;
}

void ReadingWindow::makeActions() {
    auto* const bar = addToolBar(tr("Reading"));
    bar->setMovable(false);
    const auto add = [this, bar](const QString& text, const QKeySequence& key, auto run) {
        auto* const action = bar->addAction(text);
        action->setShortcut(key);
        connect(action, &QAction::triggered, this, run);
        return action;
    };
    add(tr("&Open…"), QKeySequence::Open, [this] { askForFile(); });
    add(tr("&Glasses…"), Qt::CTRL | Qt::Key_G, [this] { chooseGlasses(); });
    bar->addSeparator();
    back_ = add(tr("&Back"), Qt::Key_PageUp, [this] { screen_->back(); });
    next_ = add(tr("&Next"), Qt::Key_PageDown, [this] { screen_->next(); });
    read_ = add(tr("&Read"), Qt::CTRL | Qt::Key_R, [this] {
        if (screen_->state() == ReadingScreen::State::reading) {
            screen_->stopControl();
        } else {
            screen_->startControl();
        }
    });
}

bool ReadingWindow::openFile(const QString& file) {
    auto opened = Book::open(file);
    if (auto* const book = std::get_if<Book>(&opened)) {
        screen_->open(std::move(*book));
        return true;
    }
    auto* const box = new QMessageBox(QMessageBox::Warning, windowTitle(), QString(), QMessageBox::Ok, this);
    box->setTextFormat(Qt::PlainText); // a file's name may look like markup
    box->setText(std::get<QString>(opened));
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->open();
    return false;
}

void ReadingWindow::askForFile() {
    auto* const dialog = new QFileDialog(this, tr("Open"));
    dialog->setFileMode(QFileDialog::ExistingFile);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    connect(dialog, &QFileDialog::fileSelected, this, [this](const QString& file) { openFile(file); });
    dialog->open();
}

void ReadingWindow::chooseGlasses() {
    screen_->present(std::make_shared<tarnel::TarnelPickerController>(), true);
}

void ReadingWindow::refresh() {
    const auto& book = screen_->book();
    const int count = book ? book->pageCount() : 0;
    page_->setPage(screen_->pageImage());
    setWindowTitle(book ? tr("%1 - Reading glass").arg(book->title()) : tr("Reading glass"));
    place_->setText(book ? tr("Page %1 of %2").arg(screen_->page() + 1).arg(count) : QString());
    back_->setEnabled(screen_->page() > 0);
    next_->setEnabled(screen_->page() + 1 < count);
    const auto state = screen_->state();
    read_->setEnabled(state != ReadingScreen::State::noGlasses);
    read_->setText(state == ReadingScreen::State::reading ? tr("&Pause") : tr("&Read"));
    switch (state) {
    case ReadingScreen::State::noGlasses:
        state_->setText(tr("The glasses are not connected."));
        break;
    case ReadingScreen::State::paused:
        state_->setText(tr("Paused: the display is free for others."));
        break;
    case ReadingScreen::State::reading:
        state_->setText(tr("On the glasses. Tap for the next page, twice for the one before."));
        break;
    }
}
