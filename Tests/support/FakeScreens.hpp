#pragma once

#include <TarnelSDK/platform/Platform.hpp>
#include <TarnelSDK/ui/AlertController.hpp>
#include <TarnelSDK/ui/TarnelPickerController.hpp>

#include <chrono>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

namespace tarnel::test {

/// A toolkit without pixels. Screens take their time to come and to go on the main queue, when `animation` is not 0.
class FakeScreens : public ScreenToolkit, public std::enable_shared_from_this<FakeScreens> {
public:
    struct View : ScreenView {
        void reload() override { ++reloads; }
        int reloads = 0;
    };

    std::shared_ptr<ScreenView> makePickerView(const std::shared_ptr<TarnelPickerController>& screen) override {
        pickers.push_back(screen);
        return std::make_shared<View>();
    }
    std::shared_ptr<ScreenView> makeAlertView(const std::shared_ptr<AlertController>& screen) override {
        alerts.push_back(screen);
        return std::make_shared<View>();
    }
    void present(const std::shared_ptr<ViewController>& screen, const std::shared_ptr<ViewController>&, bool animated,
                 std::function<void()> completion) override {
        shown.push_back(screen);
        screen->beginAppearance(animated);
        later([screen, completion = std::move(completion)] {
            screen->endAppearance();
            if (completion) {
                completion();
            }
        });
    }
    void dismiss(const std::shared_ptr<ViewController>& screen, bool animated,
                 std::function<void()> completion) override {
        screen->beginDisappearance(animated);
        later([self = shared_from_this(), screen, completion = std::move(completion)] {
            screen->endDisappearance();
            std::erase(self->shown, screen);
            if (completion) {
                completion();
            }
        });
    }

    std::shared_ptr<TarnelPickerController> picker() const { return pickers.empty() ? nullptr : pickers.back().lock(); }
    std::shared_ptr<AlertController> alert() const { return alerts.empty() ? nullptr : alerts.back().lock(); }

    platform::Duration animation = std::chrono::milliseconds(250);
    std::vector<std::shared_ptr<ViewController>> shown;
    std::vector<std::weak_ptr<TarnelPickerController>> pickers;
    std::vector<std::weak_ptr<AlertController>> alerts;

private:
    void later(const platform::Block& block) const {
        if (animation == platform::Duration()) {
            block();
        } else {
            platform::Platform::current().services().scheduler->mainQueue()->asyncAfter(animation, block);
        }
    }
};

} // namespace tarnel::test
