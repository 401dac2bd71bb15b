#include <TarnelSDK/foundation/Log.hpp>
#include <TarnelSDK/platform/Platform.hpp>
#include <TarnelSDK/platform/Precondition.hpp>
#include <TarnelSDK/ui/ViewController.hpp>

#include <utility>

namespace tarnel {
namespace {

std::shared_ptr<ScreenToolkit> toolkit() {
    return platform::Platform::isInstalled() ? platform::Provided<ScreenToolkit>::get() : nullptr;
}

std::optional<std::string> text(const MessagePackValue& map, const char* key) {
    const auto* value = map[key];
    return value ? value->stringValue() : std::nullopt;
}

} // namespace

ViewController::ViewController(std::optional<std::string> nibName, std::optional<std::filesystem::path> bundle)
    : nibName_(std::move(nibName)), bundle_(std::move(bundle)) {}

ViewController::ViewController(const MessagePackValue& coder)
    : nibName_(text(coder, "nibName")), title_(text(coder, "title").value_or(std::string())) {}

ViewController::~ViewController() {
    if (presented_) {
        takeAwayPresented(false, nullptr);
    }
}

void ViewController::setTitle(std::string title) {
    title_ = std::move(title);
    reload();
}

void ViewController::reload() const {
    if (const auto view = view_) {
        view->reload();
    }
}

void ViewController::loadViewIfNeeded() {
    if (isViewLoaded_) {
        return;
    }
    precondition(!weak_from_this().expired(), "a screen is made with std::make_shared");
    isViewLoaded_ = true;
    loadView();
    viewDidLoad();
}

void ViewController::present(const std::shared_ptr<ViewController>& screen, bool animated,
                             std::function<void()> completion) {
    constexpr const char* operation = "present(_:animated:completion:)";
    precondition(screen != nullptr, "a screen is presented");
    const auto screens = toolkit();
    if (!screens) {
        log("no toolkit draws screens", {operation});
    } else if (presented_ || screen->presentingViewController() || screen.get() == this) {
        log("a screen is presented already", {operation});
    } else {
        presented_ = screen;
        screen->presenting_ = weak_from_this();
        screens->present(screen, shared_from_this(), animated, std::move(completion));
    }
}

void ViewController::dismiss(bool animated, std::function<void()> completion) {
    if (const auto presenting = presenting_.lock()) {
        presenting->takeAwayPresented(animated, std::move(completion));
    } else if (presented_) {
        takeAwayPresented(animated, std::move(completion));
    }
}

void ViewController::takeAwayPresented(bool animated, std::function<void()> completion) {
    const auto screen = std::exchange(presented_, nullptr);
    screen->presenting_.reset();
    if (screen->presented_) {
        screen->takeAwayPresented(animated, nullptr);
    }
    if (const auto screens = toolkit()) {
        screens->dismiss(screen, animated, std::move(completion));
    }
}

void ViewController::beginAppearance(bool animated) {
    const auto self = shared_from_this();
    loadViewIfNeeded();
    if (!isShown()) {
        appearance_ = Appearance::appearing;
        isAnimated_ = animated;
        viewWillAppear(animated);
    }
}

void ViewController::endAppearance() {
    const auto self = shared_from_this();
    if (appearance_ == Appearance::appearing) {
        appearance_ = Appearance::appeared;
        viewDidAppear(isAnimated_);
    }
}

void ViewController::beginDisappearance(bool animated) {
    const auto self = shared_from_this();
    if (isShown()) {
        appearance_ = Appearance::disappearing;
        isAnimated_ = animated;
        viewWillDisappear(animated);
    }
}

void ViewController::endDisappearance() {
    const auto self = shared_from_this();
    if (appearance_ == Appearance::disappearing) {
        appearance_ = Appearance::disappeared;
        viewDidDisappear(isAnimated_);
    }
}

} // namespace tarnel
