#pragma once

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

/// Finds out why Bluetooth does not work on a Linux machine.
namespace tarnel {

/// What one check saw.
struct Finding {
    enum class Result { ok, problem, notChecked };

    std::string check; ///< "bus", "permission", "daemon", "switch", "adapter", "version", "power", "bonds", "glasses",
                       ///< "cache", "channels" or "settings"
    Result result = Result::ok;
    std::string text;   ///< what was seen, or why it was not looked at; one line without a full stop
    std::string remedy; ///< of a problem: the command that mends it
};

/// The machine that is looked at.
struct ExaminedMachine {
    /// Below which its files are.
    std::filesystem::path root = "/";
    /// The D-Bus address of its system bus; when empty "DBUS_SYSTEM_BUS_ADDRESS", or the usual socket below `root`.
    std::optional<std::string> busAddress = std::nullopt;
    /// The adapter that is used, by name or address; any when empty.
    std::optional<std::string> adapter = std::nullopt;
    /// Of the linked glasses.
    std::optional<std::string> linkedAddress = std::nullopt;
    /// How long anything is waited for, each time.
    std::chrono::milliseconds patience = std::chrono::seconds(3);
};

/// The findings in an order in which an earlier one may be the cause of later ones, which are then not checked. Changes
/// nothing, and waits no longer than `patience` for any answer. Any thread.
std::vector<Finding> examineBluetooth(const ExaminedMachine& machine);

/// Whether an application's settings ("settings.sqlite" in this folder) can be read and changed. Any thread.
Finding examineSettings(const std::optional<std::filesystem::path>& folder);

} // namespace tarnel
