#include "Program.hpp"

#include <algorithm>
#include <fstream>
#include <sstream>
#include <utility>

namespace tarnel::radio {
namespace {

std::int64_t nanoseconds(std::chrono::steady_clock::time_point time) {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(time.time_since_epoch()).count();
}

Bytes bytesOf(const std::string& text) {
    return {text.begin(), text.end()};
}

int numberIn(const std::string& text) {
    int number = 0;
    std::istringstream(text) >> number;
    return number;
}

} // namespace

Program::Program(bluez::EventLoop& loop, const glasses::GlassesOptions& options, const MakeAir& makeAir)
    : loop_(loop), options_(options), firmware_(options, output()), air_(makeAir(options, listener())) {
    const auto done = [](const auto& step) {
        return [step](const std::string& argument) {
            step(argument);
            return std::string("ok");
        };
    };
    verbs_ = {
        {"advertise", [this](const std::string& mode) { return advertise(mode); }},
        {"drop", done([this](const std::string& how) { air_->drop(how == "lost"); })},
        {"vanish", done([this](const std::string&) {
             mode_.reset();
             air_->advertise(std::nullopt);
             air_->drop(true);
         })},
        {"vanish-after",
         done([this](const std::string& values) { dropAt_ = values_ + static_cast<std::uint64_t>(numberIn(values)); })},
        {"tap", done([this](const std::string& count) { firmware_.tap(numberIn(count)); })},
        {"power", done([this](const std::string& count) { firmware_.powerButton(numberIn(count)); })},
        {"battery", done([this](const std::string& level) { setBattery(numberIn(level)); })},
        {"plain", done([this](const std::string& isOn) { isPlain_ = isOn == "on"; })},
        {"forget", done([this](const std::string&) {
             connections_ = values_ = bytes_ = misplaced_ = 0;
             highest_ = 0;
             longest_ = 0;
             first_.reset();
         })},
        {"frame", [this](const std::string& path) { return saveFrame(path); }},
        {"describe", [this](const std::string&) { return describe(); }},
    };
}

glasses::Firmware::Output Program::output() {
    return {.notify =
                [this](Bytes value) {
                    if (air_) {
                        air_->notify(glasses::gatt::inCharacteristic(), value);
                    }
                },
            .after =
                [this](platform::Duration delay, platform::Block block) {
                    loop_.after(std::chrono::duration_cast<bluez::EventLoop::Duration>(delay), std::move(block));
                },
            .now = [] { return Clock::now().time_since_epoch(); },
            .frameChanged = [] {}};
}

AirListener Program::listener() {
    return {.connected =
                [this] {
                    ++connections_;
                    isConnected_ = true;
                },
            .disconnected =
                [this] {
                    isConnected_ = false;
                    firmware_.disconnected();
                    if (mode_) {
                        air_->advertise(mode_);
                        advertised_ = Clock::now();
                    }
                },
            .subscribed =
                [this](bool isOn, std::size_t valueLength) {
                    valueLength_ = valueLength;
                    if (isOn) {
                        firmware_.connected(valueLength);
                    }
                },
            .wrote = [this](ByteView value) { wrote(value); },
            .read = [this](const UUID& characteristic) { return read(characteristic); }};
}

Bytes Program::read(const UUID& characteristic) const {
    const auto level = static_cast<std::uint8_t>(options_.batteryLevel);
    if (characteristic == glasses::gatt::batteryLevel()) {
        return {level};
    }
    if (characteristic == glasses::gatt::batteryPowerState()) {
        return {level, static_cast<std::uint8_t>(options_.isCharging ? 2 : 0)};
    }
    if (characteristic == glasses::gatt::softwareRevision()) {
        return bytesOf(options_.revision);
    }
    return characteristic == glasses::gatt::serialNumber() ? bytesOf(options_.serialNumber) : Bytes();
}

void Program::wrote(ByteView value) {
    last_ = Clock::now();
    if (!first_) {
        first_ = last_;
    }
    ++values_;
    bytes_ += value.size();
    longest_ = std::max(longest_, value.size());
    if (!isPlain_) {
        firmware_.receive(value);
    } else if (value.size() >= sizeof(std::uint32_t)) {
        const std::uint32_t number = value[0] | (static_cast<std::uint32_t>(value[1]) << 8) |
                                     (static_cast<std::uint32_t>(value[2]) << 16) |
                                     (static_cast<std::uint32_t>(value[3]) << 24);
        misplaced_ += number < highest_ ? 1 : 0;
        highest_ = std::max(highest_, number);
    }
    if (dropAt_ && values_ >= *dropAt_) {
        dropAt_.reset();
        perform("vanish");
    }
}

std::string Program::advertise(const std::string& mode) {
    static const std::map<std::string, std::optional<glasses::AdvertisingMode>> modes{
        {"normal", glasses::AdvertisingMode::normal},
        {"other", glasses::AdvertisingMode::otherManufacturerData},
        {"bare", glasses::AdvertisingMode::noManufacturerData},
        {"update", glasses::AdvertisingMode::update},
        {"off", std::nullopt}};
    const auto found = modes.find(mode);
    if (found == modes.end()) {
        return "no such mode";
    }
    mode_ = found->second;
    air_->advertise(mode_);
    advertised_ = Clock::now();
    return "ok";
}

void Program::setBattery(int level) {
    options_.batteryLevel = level;
    firmware_.setBattery(level, options_.isCharging);
    air_->notify(glasses::gatt::batteryLevel(), read(glasses::gatt::batteryLevel()));
    air_->notify(glasses::gatt::batteryPowerState(), read(glasses::gatt::batteryPowerState()));
}

std::string Program::saveFrame(const std::string& path) const {
    const glasses::Frame frame = firmware_.frame();
    std::ofstream file(path, std::ios::binary);
    for (const std::uint8_t level : frame.levels()) {
        file.put(static_cast<char>(level));
    }
    file.close();
    return file ? "ok" : "the frame cannot be written";
}

std::string Program::describe() const {
    std::ostringstream text;
    text << "settled=" << air_->isSettled() << " connected=" << isConnected_ << " connections=" << connections_
         << " values=" << values_ << " bytes=" << bytes_ << " longest=" << longest_ << " misplaced=" << misplaced_
         << " valueLength=" << valueLength_ << " messages=" << firmware_.receivedCount()
         << " errors=" << firmware_.errorCount() << " first=" << (first_ ? nanoseconds(*first_) : 0)
         << " last=" << nanoseconds(last_) << " advertised=" << nanoseconds(advertised_)
         << " layout=" << firmware_.layout() << " lit=" << firmware_.isDisplayOn();
    return text.str();
}

std::string Program::perform(const std::string& line) {
    const auto space = line.find(' ');
    const auto verb = verbs_.find(line.substr(0, space));
    if (verb == verbs_.end()) {
        return "no such verb";
    }
    return verb->second(space == std::string::npos ? "" : line.substr(space + 1));
}

} // namespace tarnel::radio
