#pragma once

#include "Book.hpp"

#include <TarnelSDK/ui/TarnelBaseViewController.hpp>

#include <QString>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

/// Shows one page at a time on the glasses: a tap turns to the next one, two taps turn back, and the power button gives
/// the display back until `read`. Main queue.
class ReadingScreen : public tarnel::TarnelBaseViewController {
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
    /// Takes the display and shows the page, now or as soon as the glasses are connected.
    void read();
    /// Gives the display back.
    void pause();

    void viewDidLoad() override;
    void viewDidAppear(bool animated) override;
    void viewWillDisappear(bool animated) override;
    void onTap(const tarnel::platform::Notification& notification) override;
    void onPowerButtonTap(const tarnel::platform::Notification& notification) override;
    void onDisplayTimeout() override { pause(); }
    void onDisconnected() override;
    void onAppLeave() override { pause(); }

private:
    void turnTo(int page);
    void watchDevice();
    void hear(const std::shared_ptr<tarnel::Tarnel>& device);
    void connected();
    void show();
    void changed() const;

    std::optional<Book> book_;
    int page_ = 0;
    QImage pageImage_;
    bool wantsDisplay_ = false;
    std::shared_ptr<tarnel::BondListener<bool>> connectionListener_;
    std::optional<tarnel::platform::Observation> observation_;
    std::weak_ptr<tarnel::Tarnel> watched_;
    bool hearsAll_ = false;                                   ///< the base class hears any glasses
    std::weak_ptr<tarnel::Tarnel> heard_;                     ///< whose taps the base class hears otherwise
    std::vector<tarnel::platform::Observation> otherGlasses_; ///< of taps that the base class does not hear
};
