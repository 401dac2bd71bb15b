#include "Tarnel.hpp"
#include "support/RLEDecoder.hpp"

#include <msgpack.hpp>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <map>
#include <stdexcept>

namespace tarnel::test {
namespace {

constexpr int displayWidth = 640;
constexpr int displayHeight = 480;
constexpr std::uint8_t moreFlag = 0x80;
constexpr const char* outCharacteristicText = "39191401-BFC2-4BEE-A81A-28C23B6AC84A";

Bytes bytesOfDigits(const std::string& digits) {
    Bytes bytes;
    for (std::size_t at = 0; at + 1 < digits.size(); at += 2) {
        bytes.push_back(static_cast<std::uint8_t>(std::stoi(digits.substr(at, 2), nullptr, 16)));
    }
    return bytes;
}

/// The display as the canvas commands make it: drawn on a hidden page that "flush" shows.
class Display {
public:
    void receive(const Bytes& message) {
        const auto handle = msgpack::unpack(reinterpret_cast<const char*>(message.data()), message.size());
        const auto outer = handle.get().as<std::map<std::string, msgpack::object>>();
        if (!outer.contains("canvas")) {
            return;
        }
        for (const auto& [key, argument] : outer.at("canvas").as<std::map<std::string, msgpack::object>>()) {
            if (key == "flush") {
                shown_ = hidden_;
            } else if (key == "cnvs_clr") {
                std::fill(hidden_.begin(), hidden_.end(), std::uint8_t{0});
            } else if (key == "cnvs_clrblk") {
                fill(argument.as<std::vector<int>>());
            } else if (key == "cnvs_img") {
                draw(argument.as<std::vector<msgpack::object>>());
            } else {
                throw std::runtime_error("there is no canvas command " + key);
            }
        }
    }

    const Bytes& shown() const { return shown_; }

private:
    void set(int x, int y, std::uint8_t level) {
        if (x < displayWidth && y < displayHeight) {
            hidden_[static_cast<std::size_t>(y) * displayWidth + static_cast<std::size_t>(x)] = level;
        }
    }

    void fill(const std::vector<int>& corners) {
        const auto level = static_cast<std::uint8_t>(corners.size() > 4 ? corners[4] : 0);
        for (int y = corners.at(1); y < std::min(corners.at(3), displayHeight); ++y) {
            for (int x = corners.at(0); x < std::min(corners.at(2), displayWidth); ++x) {
                set(x, y, level);
            }
        }
    }

    void draw(const std::vector<msgpack::object>& argument) {
        const auto place = argument.at(0).as<std::array<int, 2>>();
        const auto size = argument.at(1).as<std::array<int, 2>>();
        const auto packed = argument.at(3).as<std::vector<char>>();
        const auto bitmap = decodeRLE(ByteView(reinterpret_cast<const std::uint8_t*>(packed.data()), packed.size()));
        const std::size_t count = static_cast<std::size_t>(size[0]) * static_cast<std::size_t>(size[1]);
        if (!bitmap || bitmap->size() != (count + 3) / 4) {
            throw std::runtime_error("a band has not the bytes of its size");
        }
        for (std::size_t i = 0; i < count; ++i) {
            const auto level = static_cast<std::uint8_t>((*bitmap)[i / 4] >> (6 - 2 * (i % 4)) & 3);
            set(place[0] + static_cast<int>(i) % size[0], place[1] + static_cast<int>(i) / size[0], level);
        }
    }

    Bytes hidden_ = Bytes(std::size_t{displayWidth} * displayHeight, 0);
    Bytes shown_ = hidden_;
};

} // namespace

Bytes levelsOfTrace(const std::string& path, double since) {
    Display display;
    std::map<int, Bytes> messages;
    for (const auto& line : lines(readText(path))) {
        const auto event = nlohmann::json::parse(line);
        if (event.at("direction") == "notify" || event.at("characteristic") != outCharacteristicText ||
            event.at("time").get<double>() < since) {
            continue;
        }
        const Bytes value = bytesOfDigits(event.at("value"));
        auto& message = messages[value.at(0) & ~moreFlag];
        message.insert(message.end(), value.begin() + 1, value.end());
        if ((value[0] & moreFlag) == 0) {
            display.receive(std::exchange(message, {}));
        }
    }
    return display.shown();
}

Bytes levelsOfFrame(const std::string& path) {
    constexpr std::uint8_t step = 85;
    const Pixels frame = readPNG(path);
    if (frame.width != displayWidth || frame.height != displayHeight) {
        throw std::runtime_error("a frame is as large as the display");
    }
    Bytes levels;
    for (std::size_t at = 0; at < frame.rgb.size(); at += 3) {
        if (frame.rgb[at] != 0 || frame.rgb[at + 1] % step != 0 || frame.rgb[at + 2] != 0) {
            throw std::runtime_error("a frame has the greens of the four levels");
        }
        levels.push_back(frame.rgb[at + 1] / step);
    }
    return levels;
}

TraceSummary summaryOfTrace(const std::string& path) {
    TraceSummary summary;
    double last = 0;
    for (const auto& line : lines(readText(path))) {
        const auto event = nlohmann::json::parse(line);
        const auto& direction = event.at("direction");
        summary.writes += direction == "write" ? 1 : 0;
        summary.writesWithoutResponse += direction == "write_no_response" ? 1 : 0;
        summary.notifications += direction == "notify" ? 1 : 0;
        if (direction != "notify") {
            summary.longestWrite = std::max(summary.longestWrite, event.at("value").get<std::string>().size() / 2);
        }
        summary.isInOrder = summary.isInOrder && event.at("time").get<double>() >= last;
        last = event.at("time").get<double>();
    }
    return summary;
}

} // namespace tarnel::test
