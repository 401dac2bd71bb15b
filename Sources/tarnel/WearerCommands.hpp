#pragma once

#include <TarnelGlasses/SimulatedGlasses.hpp>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace tarnel::command {

/// What is done with a pair of simulated glasses by keys, or by lines of text: what the wearer does, and what goes
/// wrong. Called by one thread at a time.
class WearerCommands {
public:
    explicit WearerCommands(std::shared_ptr<glasses::SimulatedGlasses> glasses);

    /// Of the keys and the lines, for the user.
    static const std::string_view help;

    enum class Outcome { done, quit, help };
    struct Result {
        Outcome outcome = Outcome::done;
        std::string text; ///< what was done, e.g. "tap 2"
    };
    /// Does what the key stands for; nothing for a key that stands for nothing.
    std::optional<Result> key(char key);
    /// A line is a key, or a word with an argument. Throws `Failure` for any other.
    Result line(const std::string& line);

private:
    Result perform(const std::string& word, const std::optional<std::string>& argument);
    Result tap(std::int64_t count);
    Result battery(std::int64_t level, bool isCharging);
    Result setInRange(bool isInRange);
    Result setStalled(bool isStalled);
    Result setUpdateMode(bool isUpdate);

    const std::shared_ptr<glasses::SimulatedGlasses> glasses_;
    int level_;
    bool isCharging_;
    bool isInRange_ = true;
    bool isStalled_ = false;
    bool isUpdate_;
};

} // namespace tarnel::command
