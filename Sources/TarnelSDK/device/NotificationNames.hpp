#pragma once

/// Notifications of what happens on the glasses. The sender is the device; the user info holds the value
/// (`tarnel::Value`) under the notification's own name. Posted on the central's queue, `version` also where the user's
/// response to a notification is reported.
namespace tarnel::NotificationName {

constexpr const char* tap = "tap"; ///< the number of taps, while the application holds the display
constexpr const char* led = "brightness";
constexpr const char* displayTimeout = "disp_timeout";
constexpr const char* power_button = "power_btn"; ///< the number of presses, while the application holds the display
constexpr const char* version = "app_ver";        ///< the firmware's version

} // namespace tarnel::NotificationName
