#pragma once

#include <TarnelSDK/messagepack/MessagePackValue.hpp>
#include <TarnelSDK/ui/ScreenToolkit.hpp>

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace tarnel {

/// One screen: what it shows and does, without the widgets that draw it. Made with `std::make_shared`; used and
/// destroyed on the main queue or thread.
class ViewController : public std::enable_shared_from_this<ViewController> {
public:
    enum class Appearance { disappeared, appearing, appeared, disappearing };

    /// `nibName` and `bundle` tell a toolkit that reads views from files which file, in which folder.
    explicit ViewController(std::optional<std::string> nibName = std::nullopt,
                            std::optional<std::filesystem::path> bundle = std::nullopt);
    /// From an archive: a map with the texts "nibName" and "title", both of which may be missing.
    explicit ViewController(const MessagePackValue& coder);
    /// Takes away what the screen presents.
    virtual ~ViewController();
    ViewController(const ViewController&) = delete;
    ViewController& operator=(const ViewController&) = delete;

    const std::optional<std::string>& nibName() const { return nibName_; }
    const std::optional<std::filesystem::path>& bundle() const { return bundle_; }
    const std::string& title() const { return title_; }
    virtual void setTitle(std::string title);

    /// Empty where the screen draws itself or there is no toolkit.
    const std::shared_ptr<ScreenView>& view() const { return view_; }
    bool isViewLoaded() const { return isViewLoaded_; }
    void loadViewIfNeeded();
    Appearance appearance() const { return appearance_; }

    // The life of a screen, in this order. An override calls the base's operation first.

    /// Makes the view, by `setView`.
    virtual void loadView() {}
    virtual void viewDidLoad() {}
    virtual void viewWillAppear(bool /*animated*/) {}
    virtual void viewDidAppear(bool /*animated*/) {}
    virtual void viewWillDisappear(bool /*animated*/) {}
    virtual void viewDidDisappear(bool /*animated*/) {}

    /// Shows a screen modally over this one. Logged and dropped while this one presents another, when the screen is
    /// presented already, and without a toolkit.
    void present(const std::shared_ptr<ViewController>& screen, bool animated,
                 std::function<void()> completion = nullptr);
    /// Takes away this screen with all that stands on it; one that is not presented itself: what it presents. Nothing
    /// happens where there is neither.
    void dismiss(bool animated, std::function<void()> completion = nullptr);
    std::shared_ptr<ViewController> presentedViewController() const { return presented_; }
    std::shared_ptr<ViewController> presentingViewController() const { return presenting_.lock(); }

    // What a toolkit, or the application for its own screens, tells. What does not follow from the appearance of the
    // moment is ignored; a screen may begin to disappear before it has appeared.

    /// Loads the view first.
    void beginAppearance(bool animated);
    void endAppearance();
    void beginDisappearance(bool animated);
    void endDisappearance();

protected:
    void setView(std::shared_ptr<ScreenView> view) { view_ = std::move(view); }
    /// Has the view read the screen again.
    void reload() const;
    bool isShown() const { return appearance_ == Appearance::appearing || appearance_ == Appearance::appeared; }

private:
    /// REQUIRES: a screen is presented.
    void takeAwayPresented(bool animated, std::function<void()> completion);

    const std::optional<std::string> nibName_;
    const std::optional<std::filesystem::path> bundle_;
    std::string title_;
    std::shared_ptr<ScreenView> view_;
    bool isViewLoaded_ = false;
    Appearance appearance_ = Appearance::disappeared;
    bool isAnimated_ = false;
    std::shared_ptr<ViewController> presented_;
    std::weak_ptr<ViewController> presenting_;
};

} // namespace tarnel
