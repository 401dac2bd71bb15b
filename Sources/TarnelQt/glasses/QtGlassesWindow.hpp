#pragma once

#include <TarnelGlasses/SimulatedGlasses.hpp>

#include <QMainWindow>
#include <QTimer>
#include <memory>

class QAction;
class QCheckBox;
class QFormLayout;
class QLabel;
class QMenu;
class QSpinBox;

namespace tarnel {

class DisplayWidget;
class MessageList;

/// One pair of simulated glasses as a window: the display, their state, what the wearer does by buttons and keys, the
/// faults, and the messages as they are received.
///
/// GUI thread; the glasses may be on another. Destroyed before their radio's scheduler.
class QtGlassesWindow : public QMainWindow {
public:
    explicit QtGlassesWindow(std::shared_ptr<glasses::SimulatedGlasses> glasses, QWidget* parent = nullptr);
    ~QtGlassesWindow() override;

    const DisplayWidget& display() const { return *display_; }
    const MessageList& messages() const { return *messages_; }

    /// Writes what the display shows, as a picture file of the kind that the name says. Gives what went wrong, empty
    /// when nothing did.
    QString saveFrame(const QString& file) const;

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    using Verb = void (*)(glasses::SimulatedGlasses&);

    QAction* addVerb(QMenu& menu, const QString& text, const QString& tip, Verb verb);
    QAction* addToggle(QMenu& menu, const QString& text, const QString& tip, Verb on, Verb off);
    void makeWearerMenu();
    void makeFaultMenu();
    void makeViewMenu(QWidget* panel);
    void makeToolBar();
    QWidget* makePanel();
    QWidget* makeBatteryRow(QWidget* parent);
    QLabel* addState(QFormLayout& form, const QString& title);
    void askForFile();
    void setBattery();
    void zoom(int scale);
    void refresh();
    void refreshBattery();
    void refreshFaults();

    const std::shared_ptr<glasses::SimulatedGlasses> glasses_;
    QTimer timer_; ///< looks at the state, of which not every change is announced
    // Owned by the window.
    DisplayWidget* display_ = nullptr;
    MessageList* messages_ = nullptr;
    QLabel* connection_ = nullptr;
    QLabel* control_ = nullptr;
    QLabel* screen_ = nullptr;
    QLabel* traffic_ = nullptr;
    QSpinBox* battery_ = nullptr;
    QCheckBox* charging_ = nullptr;
    QAction* tap_ = nullptr;
    QAction* doubleTap_ = nullptr;
    QAction* power_ = nullptr;
    QAction* save_ = nullptr;
    QAction* drop_ = nullptr;
    QAction* stalled_ = nullptr;
    QAction* outOfRange_ = nullptr;
};

} // namespace tarnel
