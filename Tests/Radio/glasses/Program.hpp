#pragma once

#include "Air.hpp"

#include <TarnelGlasses/Firmware.hpp>
#include <TarnelLinux/bluez/EventLoop.hpp>

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tarnel::radio {

/// The glasses as a program: the firmware's model on some radio, moved and asked by lines of text. On the loop's thread
/// only.
class Program {
public:
    using MakeAir = std::function<std::unique_ptr<Air>(const glasses::GlassesOptions&, AirListener)>;

    Program(bluez::EventLoop& loop, const glasses::GlassesOptions& options, const MakeAir& makeAir);

    /// Carries out one line, "VERB [ARGUMENT]", and gives what is to be answered.
    std::string perform(const std::string& line);

private:
    using Clock = std::chrono::steady_clock;

    glasses::Firmware::Output output();
    AirListener listener();
    Bytes read(const UUID& characteristic) const;
    void wrote(ByteView value);
    std::string advertise(const std::string& mode);
    std::string saveFrame(const std::string& path) const;
    std::string describe() const;
    void setBattery(int level);

    bluez::EventLoop& loop_;
    glasses::GlassesOptions options_;
    glasses::Firmware firmware_;
    std::unique_ptr<Air> air_;
    std::optional<glasses::AdvertisingMode> mode_; ///< advertised while nobody is connected
    std::map<std::string, std::function<std::string(const std::string&)>> verbs_;

    // What has come since "forget".
    bool isPlain_ = false; ///< values are numbered, and no chunks of messages
    std::uint64_t connections_ = 0;
    bool isConnected_ = false;
    std::uint64_t values_ = 0;
    std::uint64_t bytes_ = 0;
    std::size_t longest_ = 0;
    std::uint64_t misplaced_ = 0; ///< values whose number is less than one before
    std::uint32_t highest_ = 0;
    std::optional<Clock::time_point> first_;
    Clock::time_point last_;
    Clock::time_point advertised_;
    std::size_t valueLength_ = 0;
    std::optional<std::uint64_t> dropAt_; ///< drop the connection when this many values have come
};

} // namespace tarnel::radio
