#pragma once

#include <TarnelSDK/ui/ViewController.hpp>

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace tarnel {

struct AlertAction {
    enum class Style { default_, cancel, destructive };
    std::string title;
    Style style = Style::default_;
    std::function<void()> handler = nullptr; ///< may be empty; called once the alert is taken away
};

/// A message over a screen, with buttons that each put it away.
class AlertController : public ViewController {
public:
    enum class Style { alert, actionSheet };

    AlertController(const std::string& title, std::string message, Style preferredStyle);

    const std::string& message() const { return message_; }
    Style preferredStyle() const { return preferredStyle_; }
    const std::vector<AlertAction>& actions() const { return actions_; }
    void addAction(AlertAction action);

    void loadView() override;

    /// The user presses the button of an action. What is no action is ignored, and so is an alert that is not presented
    /// (any more).
    void choose(std::size_t action);

private:
    const std::string message_;
    const Style preferredStyle_;
    std::vector<AlertAction> actions_;
};

} // namespace tarnel
