#pragma once

#include <functional>
#include <optional>
#include <string>
#include <utility>

namespace tarnel {

/// What a button says and does.
struct PopupAction {
    std::optional<std::string> title = std::nullopt;
    std::function<void(const PopupAction&)> handler = nullptr; ///< main queue
};

class MessagePopUpButton {
public:
    explicit MessagePopUpButton(std::optional<PopupAction> action_ = std::nullopt) : action(std::move(action_)) {}

    std::optional<PopupAction> action;
};

} // namespace tarnel
