#pragma once

#include "Book.hpp"

#include <TarnelSDK/ui/GlassesScreen.hpp>

#include <QString>
#include <functional>
#include <memory>
#include <optional>

/// Shows one page at a time on the glasses: a tap turns to the next one, two taps turn back, and the power button gives
/// the display back until `startControl`. Main queue.
class ReadingScreen : public tarnel::GlassesScreen {
public:
    enum class State {
        noGlasses, ///< none are linked, or they are out of reach
        paused,    ///< the display is not ours
        reading,
    };

    /// Called when the state, the page or the book is another one.
    std::function<void()> onChange;

    void open(Book book);
    const std::optional<Book>& book() const { return book_; }
    /// From 0.
    int page() const { return page_; }
    /// Empty without a book.
    const QImage& pageImage() const { return pageImage_; }
    State state() const;

    void next();
    void back();

    void onControlTaken() override;
    void onControlLost() override { changed(); }
    void onConnected() override { changed(); }
    void onDisconnected() override { changed(); }
    void onTap(const tarnel::platform::Notification& notification) override;
    void onPowerButtonTap(const tarnel::platform::Notification&) override { stopControl(); }
    void onDisplayTimeout() override { stopControl(); }

private:
    void turnTo(int page);
    void show();
    void changed() const;

    std::optional<Book> book_;
    int page_ = 0;
    QImage pageImage_;
};
