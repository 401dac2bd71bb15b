#pragma once

#include "ReadingScreen.hpp"

#include <QMainWindow>
#include <memory>

class QAction;
class QLabel;
class PageView;

/// The reader's window: the page as on the glasses, and what turns it. GUI thread.
class ReadingWindow : public QMainWindow {
public:
    explicit ReadingWindow(std::shared_ptr<ReadingScreen> screen);
    ~ReadingWindow() override;

    /// Opens a file, or says in a message why not; gives whether it could.
    bool openFile(const QString& file);

private:
    void makeActions();
    void askForFile();
    void chooseGlasses();
    void refresh();

    const std::shared_ptr<ReadingScreen> screen_;
    // Owned by the window.
    PageView* page_ = nullptr;
    QLabel* place_ = nullptr;
    QLabel* state_ = nullptr;
    QAction* next_ = nullptr;
    QAction* back_ = nullptr;
    QAction* read_ = nullptr;
};
