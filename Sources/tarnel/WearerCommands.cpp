#include "WearerCommands.hpp"

#include "Failure.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <utility>

namespace tarnel::command {

using glasses::AdvertisingMode;

namespace {

constexpr int fullBattery = 100;
constexpr std::int64_t mostTaps = 1'000'000;

std::int64_t numberFrom(const std::string& word, const std::optional<std::string>& text, std::int64_t least,
                        std::int64_t most) {
    std::int64_t number = 0;
    const char* begin = text ? text->data() : nullptr;
    const char* end = text ? begin + text->size() : nullptr;
    const auto read = text ? std::from_chars(begin, end, number) : std::from_chars_result{nullptr, std::errc()};
    if (!text || read.ec != std::errc() || read.ptr != end || number < least || number > most) {
        throw Failure("\"" + word + "\" takes a number of " + std::to_string(least) + " to " + std::to_string(most));
    }
    return number;
}

/// "on" or "off"; the other of what is without an argument.
bool switched(const std::string& word, const std::optional<std::string>& text, bool present) {
    if (text && *text != "on" && *text != "off") {
        throw Failure("\"" + word + "\" takes on or off, or nothing for the other of what is");
    }
    return text ? *text == "on" : !present;
}

const std::string& textFrom(const std::string& word, const std::optional<std::string>& text) {
    if (!text) {
        throw Failure("\"" + word + "\" takes a text");
    }
    return *text;
}

} // namespace

const std::string_view WearerCommands::help = R"(t or 1, 2, 3   tap: once, twice, three times     tap N
p              press the power button            power N
b              battery 10 % lower                battery N
c              charging on or off                charging [on|off]
d              the glasses end the connection    drop
l              they forget the bond              lose
r              out of range, and back            range [on|off]
s              stall the air, and go on          stall [on|off]
u              update mode on or off             update [on|off]
                                                 name TEXT, services, reset, timeout, control TEXT
               answer a notification             open UID, clear UID
q              switch off                        quit
?              this help                         help
)";

WearerCommands::WearerCommands(std::shared_ptr<glasses::SimulatedGlasses> glasses)
    : glasses_(std::move(glasses)), level_(glasses_->options().batteryLevel),
      isCharging_(glasses_->options().isCharging),
      isUpdate_(glasses_->options().advertisingMode == AdvertisingMode::update) {}

WearerCommands::Result WearerCommands::tap(std::int64_t count) {
    glasses_->tap(count);
    return {.text = "tap " + std::to_string(count)};
}

WearerCommands::Result WearerCommands::battery(std::int64_t level, bool isCharging) {
    level_ = static_cast<int>(level);
    isCharging_ = isCharging;
    glasses_->setBattery(level_, isCharging_);
    return {.text = "battery " + std::to_string(level_) + " %" + (isCharging_ ? ", charging" : "")};
}

WearerCommands::Result WearerCommands::setInRange(bool isInRange) {
    isInRange_ = isInRange;
    if (isInRange) {
        glasses_->enterRange();
    } else {
        glasses_->leaveRange();
    }
    return {.text = isInRange ? "in range" : "out of range"};
}

WearerCommands::Result WearerCommands::setStalled(bool isStalled) {
    isStalled_ = isStalled;
    if (isStalled) {
        glasses_->stall();
    } else {
        glasses_->resume();
    }
    return {.text = isStalled ? "stalled" : "goes on"};
}

WearerCommands::Result WearerCommands::setUpdateMode(bool isUpdate) {
    isUpdate_ = isUpdate;
    const auto own = glasses_->options().advertisingMode;
    const auto usual = own == AdvertisingMode::update ? AdvertisingMode::normal : own;
    glasses_->setAdvertisingMode(isUpdate ? AdvertisingMode::update : usual);
    return {.text = isUpdate ? "update mode" : "normal mode"};
}

std::optional<WearerCommands::Result> WearerCommands::key(char key) {
    constexpr int step = 10;
    switch (key) {
    case 't':
    case '1':
        return tap(1);
    case '2':
        return tap(2);
    case '3':
        return tap(3);
    case 'p':
        return perform("power", "1");
    case 'b':
        return battery(level_ == 0 ? fullBattery : std::max(0, level_ - step), isCharging_);
    case 'c':
        return perform("charging", std::nullopt);
    case 'd':
        return perform("drop", std::nullopt);
    case 'l':
        return perform("lose", std::nullopt);
    case 'r':
        return perform("range", std::nullopt);
    case 's':
        return perform("stall", std::nullopt);
    case 'u':
        return perform("update", std::nullopt);
    case 'q':
        return Result{.outcome = Outcome::quit, .text = "quit"};
    case '?':
        return Result{.outcome = Outcome::help, .text = {}};
    default:
        return std::nullopt;
    }
}

WearerCommands::Result WearerCommands::line(const std::string& line) {
    if (line.size() == 1) {
        if (auto result = key(line.front())) {
            return *result;
        }
    }
    const auto space = line.find(' ');
    const auto argument = space == std::string::npos ? std::nullopt : std::optional(line.substr(space + 1));
    return perform(line.substr(0, space), argument);
}

WearerCommands::Result WearerCommands::perform(const std::string& word, const std::optional<std::string>& argument) {
    if (word == "tap") {
        return tap(numberFrom(word, argument, 1, mostTaps));
    }
    if (word == "power") {
        const auto count = numberFrom(word, argument, 1, mostTaps);
        glasses_->powerButton(count);
        return {.text = "power button " + std::to_string(count)};
    }
    if (word == "battery") {
        return battery(numberFrom(word, argument, 0, fullBattery), isCharging_);
    }
    if (word == "charging") {
        return battery(level_, switched(word, argument, isCharging_));
    }
    if (word == "range") {
        return setInRange(switched(word, argument, isInRange_));
    }
    if (word == "stall") {
        return setStalled(switched(word, argument, isStalled_));
    }
    if (word == "update") {
        return setUpdateMode(switched(word, argument, isUpdate_));
    }
    if (word == "name") {
        glasses_->setName(textFrom(word, argument));
        return {.text = "name " + *argument};
    }
    if (word == "control") {
        glasses_->takeControl(textFrom(word, argument));
        return {.text = "control " + *argument};
    }
    if (word == "open" || word == "clear") {
        const auto uid = numberFrom(word, argument, 0, UINT32_MAX);
        const auto verb = word == "open" ? &glasses::SimulatedGlasses::openNotification
                                         : &glasses::SimulatedGlasses::clearNotification;
        ((*glasses_).*verb)(static_cast<std::uint32_t>(uid));
        return {.text = word + " notification " + std::to_string(uid)};
    }
    static constexpr std::array<std::pair<std::string_view, void (glasses::SimulatedGlasses::*)()>, 5> plain{{
        {"drop", &glasses::SimulatedGlasses::dropConnection},
        {"lose", &glasses::SimulatedGlasses::loseBond},
        {"services", &glasses::SimulatedGlasses::changeServices},
        {"reset", &glasses::SimulatedGlasses::reset},
        {"timeout", &glasses::SimulatedGlasses::displayTimeout},
    }};
    for (const auto& [name, verb] : plain) {
        if (word == name) {
            ((*glasses_).*verb)();
            return {.text = word};
        }
    }
    if (word == "quit") {
        return {.outcome = Outcome::quit, .text = word};
    }
    if (word == "help") {
        return {.outcome = Outcome::help, .text = {}};
    }
    throw Failure("there is no command \"" + word + "\"; ? lists them");
}

} // namespace tarnel::command
