#include "Controller.hpp"

#include "Words.hpp"

#include <poll.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <iterator>
#include <utility>

namespace tarnel::radio {
namespace {

constexpr std::uint16_t disconnectCommand = 0x0406;
constexpr std::uint16_t setEventMask = 0x0c01;
constexpr std::uint16_t reset = 0x0c03;
constexpr std::uint16_t setLowEnergyEventMask = 0x2001;
constexpr std::uint16_t readBufferSize = 0x2002;
constexpr std::uint16_t longTermKeyRequestNegativeReply = 0x201b;
constexpr std::uint16_t setRandomAddress = 0x2005;
constexpr std::uint16_t setAdvertisingSetRandomAddress = 0x2035;
constexpr std::uint16_t setAdvertisingParameters = 0x2036;
constexpr std::uint16_t setAdvertisingData = 0x2037;
constexpr std::uint16_t setScanResponseData = 0x2038;
constexpr std::uint16_t setAdvertisingEnable = 0x2039;

constexpr std::uint8_t disconnectionComplete = 0x05;
constexpr std::uint8_t commandComplete = 0x0e;
constexpr std::uint8_t commandStatus = 0x0f;
constexpr std::uint8_t numberOfCompletedPackets = 0x13;
constexpr std::uint8_t lowEnergyMeta = 0x3e;
constexpr std::uint8_t connectionComplete = 0x01;
constexpr std::uint8_t longTermKeyRequest = 0x05;
constexpr std::uint8_t enhancedConnectionComplete = 0x0a;

constexpr std::size_t frameHeader = 4;

Bytes advertisingBytes(const Bytes& data) {
    constexpr std::uint8_t set = 0;
    constexpr std::uint8_t isComplete = 3;
    constexpr std::uint8_t isNotFragmented = 1;
    Bytes parameters{set, isComplete, isNotFragmented, static_cast<std::uint8_t>(data.size())};
    std::copy(data.begin(), data.end(), std::back_inserter(parameters));
    return parameters;
}

} // namespace

Controller::Controller(bluez::EventLoop& loop, std::uint16_t index, Bytes randomAddress, Callbacks callbacks)
    : loop_(loop), randomAddress_(std::move(randomAddress)), callbacks_(std::move(callbacks)), channel_(index) {
    loop_.watch(channel_.descriptor(), POLLIN, [this](short) { read(); });
    start();
}

Controller::~Controller() {
    loop_.cancel(commandTimer_);
    loop_.cancel(advertisingTimer_);
    loop_.unwatch(channel_.descriptor());
}

void Controller::start() {
    command(reset, {});
    command(setEventMask, Bytes(8, 0xff));
    command(setLowEnergyEventMask, {0xff, 0xff, 0x0f, 0, 0, 0, 0, 0});
    command(readBufferSize, {});
    if (!randomAddress_.empty()) {
        command(setRandomAddress, randomAddress_);
    }
}

// Commands, one after the other.

void Controller::command(std::uint16_t code, Bytes parameters) {
    Bytes packet{static_cast<std::uint8_t>(Packet::command), static_cast<std::uint8_t>(code & 0xff),
                 static_cast<std::uint8_t>(code >> 8), static_cast<std::uint8_t>(parameters.size())};
    std::copy(parameters.begin(), parameters.end(), std::back_inserter(packet));
    commands_.push_back(std::move(packet));
    sendCommand();
}

void Controller::sendCommand() {
    if (!isCommandUnderWay_ && !commands_.empty()) {
        isCommandUnderWay_ = true;
        channel_.write(commands_.front());
        // What is sent while the kernel still has the controller for itself is not answered.
        commandTimer_ = loop_.after(std::chrono::milliseconds(500), [this] {
            std::fprintf(stderr, "radio_glasses: a command is not answered\n");
            isCommandUnderWay_ = false;
            sendCommand();
        });
    }
}

void Controller::commandDone(std::uint16_t code, ByteView result) {
    if (!isCommandUnderWay_ || wordAt(commands_.front(), 1) != code) {
        return;
    }
    loop_.cancel(commandTimer_);
    commands_.pop_front();
    constexpr std::size_t bufferResult = 4; // status, length, count
    if (code == readBufferSize && result.size() >= bufferResult && result[0] == 0 && wordAt(result, 1) > 0) {
        fragmentSize_ = wordAt(result, 1);
        credits_ = result[3];
    }
    if (!result.empty() && result[0] != 0) {
        std::fprintf(stderr, "radio_glasses: command %04x: status %02x\n", code, result[0]);
    }
    isCommandUnderWay_ = false;
    sendCommand();
}

void Controller::advertise(const Bytes& data, const Bytes& scanResponse) {
    // Set 0, as before Bluetooth 5: connectable, scannable; every 20 ms, on all channels, at 1 Mbit/s.
    const std::uint8_t addressType = randomAddress_.empty() ? 0 : 1;
    command(setAdvertisingParameters,
            {0, 0x13, 0, 0x20, 0, 0, 0x20, 0, 0, 7, addressType, 0, 0, 0, 0, 0, 0, 0, 0, 0x7f, 1, 0, 1, 0, 0});
    if (!randomAddress_.empty()) {
        Bytes parameters{0};
        std::copy(randomAddress_.begin(), randomAddress_.end(), std::back_inserter(parameters));
        command(setAdvertisingSetRandomAddress, std::move(parameters));
    }
    command(setAdvertisingData, advertisingBytes(data));
    command(setScanResponseData, advertisingBytes(scanResponse));
    beHeard();
}

/// A virtual controller reports an advertiser to each who scans once, when either begins; a real one is heard again and
/// again, so this one begins again and again.
void Controller::beHeard() {
    command(setAdvertisingEnable, {1, 1, 0, 0, 0, 0});
    advertisingTimer_ = loop_.after(std::chrono::milliseconds(500), [this] {
        command(setAdvertisingEnable, {0, 0});
        beHeard();
    });
}

void Controller::stopAdvertising() {
    loop_.cancel(advertisingTimer_);
    command(setAdvertisingEnable, {0, 0});
}

void Controller::disconnect(std::uint8_t reason) {
    if (isConnected()) {
        Bytes parameters;
        append(parameters, handle_);
        parameters.push_back(reason);
        command(disconnectCommand, std::move(parameters));
    }
}

// Data.

void Controller::send(std::uint16_t channel, ByteView payload) {
    if (!isConnected()) {
        return;
    }
    Bytes frame;
    append(frame, static_cast<std::uint16_t>(payload.size()));
    append(frame, channel);
    frame.insert(frame.end(), payload.begin(), payload.end());
    constexpr std::uint16_t continues = 0x1000;
    for (std::size_t at = 0; at < frame.size(); at += fragmentSize_) {
        const std::size_t size = std::min(fragmentSize_, frame.size() - at);
        Bytes packet;
        packet.push_back(static_cast<std::uint8_t>(Packet::data));
        append(packet, static_cast<std::uint16_t>(handle_ | (at == 0 ? 0 : continues)));
        append(packet, static_cast<std::uint16_t>(size));
        std::copy_n(frame.begin() + static_cast<std::ptrdiff_t>(at), size, std::back_inserter(packet));
        fragments_.push_back(std::move(packet));
    }
    sendFragments();
}

void Controller::sendFragments() {
    while (unacknowledged_ < credits_ && !fragments_.empty()) {
        ++unacknowledged_;
        channel_.write(fragments_.front());
        fragments_.pop_front();
    }
}

void Controller::read() {
    while (const auto packet = channel_.read()) {
        const ByteView content = ByteView(*packet).subspan(1);
        if ((*packet)[0] == static_cast<std::uint8_t>(Packet::event)) {
            receiveEvent(content);
        } else if ((*packet)[0] == static_cast<std::uint8_t>(Packet::data)) {
            receiveData(content);
        }
    }
}

void Controller::receiveData(ByteView data) {
    constexpr std::uint16_t handleBits = 0x0fff;
    constexpr int continuation = 1;
    if (data.size() < frameHeader || (wordAt(data, 0) & handleBits) != handle_) {
        return;
    }
    if (((data[1] >> 4) & 3) != continuation) {
        partial_.clear();
    }
    partial_.insert(partial_.end(), data.begin() + frameHeader, data.end());
    if (partial_.size() < frameHeader || partial_.size() < frameHeader + wordAt(partial_, 0)) {
        return;
    }
    const Bytes frame = std::exchange(partial_, {});
    callbacks_.received(wordAt(frame, 2), ByteView(frame).subspan(frameHeader, wordAt(frame, 0)));
}

void Controller::receiveEvent(ByteView event) {
    constexpr std::size_t header = 2;
    if (event.size() < header || event.size() < header + event[1]) {
        return;
    }
    const ByteView parameters = event.subspan(header, event[1]);
    if (event[0] == commandComplete && parameters.size() >= 3) {
        commandDone(wordAt(parameters, 1), parameters.subspan(3));
    } else if (event[0] == commandStatus && parameters.size() >= 4) {
        commandDone(wordAt(parameters, 2), parameters.first(1));
    } else if (event[0] == numberOfCompletedPackets && !parameters.empty()) {
        for (std::size_t at = 1; at + 4 <= parameters.size(); at += 4) {
            unacknowledged_ -= std::min<std::size_t>(unacknowledged_, wordAt(parameters, at + 2));
        }
        sendFragments();
    } else if (event[0] == disconnectionComplete && parameters.size() >= 4 && wordAt(parameters, 1) == handle_) {
        handle_ = noHandle;
        fragments_.clear();
        partial_.clear();
        unacknowledged_ = 0;
        callbacks_.disconnected();
    } else if (event[0] == lowEnergyMeta && !parameters.empty()) {
        receiveLowEnergyEvent(parameters);
    }
}

void Controller::receiveLowEnergyEvent(ByteView event) {
    const bool isConnection = event[0] == connectionComplete || event[0] == enhancedConnectionComplete;
    if (isConnection && event.size() >= 4 && event[1] == 0) {
        handle_ = wordAt(event, 2);
        loop_.cancel(advertisingTimer_); // a connection ends it
        callbacks_.connected();
    } else if (event[0] == longTermKeyRequest && event.size() >= 3) {
        // It keeps no keys.
        command(longTermKeyRequestNegativeReply, {event[1], event[2]});
    }
}

} // namespace tarnel::radio
