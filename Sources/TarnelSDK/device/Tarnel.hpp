#pragma once

#include <TarnelSDK/device/DeviceTypes.hpp>
#include <TarnelSDK/display/Canvas.hpp>
#include <TarnelSDK/display/DisplayDevice.hpp>
#include <TarnelSDK/foundation/Bindable.hpp>
#include <TarnelSDK/glyphs/Glypher.hpp>
#include <TarnelSDK/images/Image.hpp>
#include <TarnelSDK/link/IncomingManager.hpp>
#include <TarnelSDK/link/OutgoingManager.hpp>
#include <TarnelSDK/messagepack/MessagePackValue.hpp>
#include <TarnelSDK/platform/Platform.hpp>

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace tarnel {

class Peripheral;

/// One pair of glasses: its connection state, its settings, its canvas, and the commands that it takes.
///
/// Made by the Bluetooth central and kept by the manager; an application gets it from there. Commands never report
/// failure: what cannot be carried out (not connected, wrong layout) is dropped. All operations may be called on any
/// thread; observers of `deviceStateChanged` are called on the thread that made the change, listeners of the bindables
/// on the main queue.
class Tarnel : public DisplayDevice,
               public platform::UserNotificationDelegate,
               public std::enable_shared_from_this<Tarnel> {
    struct Key {};

public:
    /// The versions of the link protocol: 1 writes with response, 2 without.
    static constexpr std::array<int, 2> supportedProtocols{1, 2};

    /// Posted after every set of `state`, without a sender, with "state" (`DeviceState`) and "device"
    /// (`std::shared_ptr<Tarnel>`).
    static constexpr const char* deviceStateChanged = "deviceStateChanged";

    /// The device of a peripheral; starts nothing on the link. REQUIRES: the central exists.
    static std::shared_ptr<Tarnel> make(platform::PeripheralPointer peripheral);

    /// The device that `encode` described, paired, without a peripheral; empty when the description has no valid
    /// "uuid".
    static std::shared_ptr<Tarnel> make(const MessagePackValue& archived);

    /// The map of "uuid", "peripheralID" (when there is one) and "peripheralName" by which the device is stored.
    MessagePackValue encode() const;

    Tarnel(Key, UUID uuid);
    ~Tarnel() override;

    // Observable state

    Bindable<int> batteryLevel{-1}; ///< per cent; -1 until the glasses have told
    Bindable<bool> batteryChargeStatus{false};
    Bindable<std::optional<FirmwareError>> firmwareError{std::nullopt};
    Bindable<bool> isConnected{false}; ///< mirrors `isAuthenticated`

    Canvas canvas;
    Glypher glypher; ///< makes the fonts for texts

    DeviceState state() const;
    void setState(DeviceState state);
    bool isPaired() const;
    /// The session is usable. Setting it to false drops everything queued.
    bool isAuthenticated() const;
    void setIsAuthenticated(bool isAuthenticated);
    bool shouldAutoReconnect() const;
    void setShouldAutoReconnect(bool shouldAutoReconnect);
    bool unlinkOnDisconnect() const;
    void setUnlinkOnDisconnect(bool unlinkOnDisconnect);

    UUID uuid() const { return uuid_; }
    std::string uuidString() const { return uuid_.string(); }
    Revision revision() const;
    int protocolVersion() const;
    /// The requested layout; empty until the glasses have been connected.
    std::optional<Layout> layout() const;
    /// Whether this application holds the display.
    bool hasControl() const;
    platform::PeripheralPointer peripheral() const;
    void setPeripheral(platform::PeripheralPointer peripheral);
    std::optional<UUID> peripheralID() const;
    void setPeripheralID(std::optional<UUID> identifier);
    std::optional<std::string> peripheralName() const;

    /// Bytes of the largest single write, chunk header included.
    int maxPayloadSize() const;
    bool hasDataInOutgoingQueue() const;
    /// Bytes that are queued and not yet handed to the radio.
    std::size_t pendingByteCount() const;

    // Commands

    /// Takes the display with a layout; `default_` gives it back. `timeout` in seconds. Dropped when the application
    /// has no bundle identifier or, except for `default_`, is in the background.
    void setLayout(Layout layout, unsigned timeout, bool hideStatusBar);
    void screenOff();

    /// Shows a text with a font for its characters, in the layouts `textBottomLeftAlign` and `textBottomCenterAlign`;
    /// dropped in others, and while an older text has not begun to go out. The text is UTF-8.
    void sendText(const std::string& text);
    /// Shows a text with a font for its characters, and an icon of one bit a pixel, in the layout `navigation`; dropped
    /// in others. REQUIRES: an icon of fewer than 2,048 pixels each way.
    void sendTextAndImage(const std::string& text, const std::optional<Image>& image);
    /// The font that goes before all others in every later text and label; nothing goes back to those alone.
    void setCustomFontForAllText(std::optional<Font> font);

    /// Asks for the settings; the answers arrive as messages, in `data`.
    void getSettings();
    std::optional<std::int64_t> getIntProperty(Property property) const;
    std::optional<std::string> getStringProperty(Property property) const;
    void setIntProperty(Property property, std::int64_t value);
    void setStringProperty(Property property, std::string value);
    /// The name set by the user, else the peripheral's, else "Brenlo Glasses".
    std::string getName() const;
    /// What the glasses last reported, by message key.
    std::map<std::string, Value> data() const;

    void connect();
    void disconnect();
    void unlinkDevice();

    /// Queues one packed message. Dropped unless connected.
    void sendData(Bytes data, ItemType type) override;
    void sendData(Bytes data);
    void sendTextData(Bytes data);

    // Notifications of the host, which shares them with the glasses where the user lets it

    /// Schedules a notification to the user, shown in 0.3 seconds. What goes wrong is printed.
    void sendNotification(const std::string& title, const std::string& message);
    /// With "isSoftwareUpdate" true in `userInfo` and glasses connected, opening or dismissing the notification posts
    /// `NotificationName::version`.
    void _sendNotification(const std::string& title, const std::string& message,
                           const std::optional<Value::Dictionary>& userInfo);

    /// The device made last is the host's notification delegate.
    void willPresent(const platform::UserNotificationRequest& notification,
                     const std::function<void(platform::PresentationOptions)>& completionHandler) override;
    void didReceive(const platform::NotificationResponse& response,
                    const std::function<void()>& completionHandler) override;

    bool isDisplayConnected() const override { return isConnected.value(); }
    Glypher& displayGlypher() override { return glypher; }

private:
    friend class Peripheral;

    static std::shared_ptr<Tarnel> make(UUID uuid, platform::PeripheralPointer peripheral);

    void send(std::string_view key, MessagePackValue value);
    void setTime();
    /// `[text, font]`, or `[text]` where no font can be made.
    MessagePackValue textWithFont(const std::string& text);
    /// Keeps a bounded number of keys other than those of `Property`.
    void storeData(const std::string& key, Value value);
    void setPeripheralName(std::optional<std::string> name);
    void bondIsMissing(bool hadBond);

    // The channel: what goes onto the air and when.
    /// Takes the next step unless a write is under way, which takes it itself.
    void continueChannel();
    /// REQUIRES: `channelMutex_` is held.
    void resetChannel();
    void nextState();
    void read();
    void acknowledgeRead();
    void scheduleWrite();
    void write();
    /// What the chunks of a session are written with. Its queue is replaced when the session ends.
    struct Step {
        platform::PeripheralPointer peripheral;
        platform::CharacteristicPointer characteristic;
        std::shared_ptr<OutgoingManager> outgoing;
        int protocolVersion = 0;
    };
    bool isCurrent(const Step& step) const { return outgoingManager() == step.outgoing; }
    /// Leaves the channel `writing` when it may, and `idle` when it is to wait for room. REQUIRES: `channelMutex_` is
    /// held.
    bool mayWrite(const Step& step);
    std::optional<Bytes> nextChunk(const Step& step);
    /// After a chunk was written; empty when none is to follow at once.
    std::optional<Bytes> followingChunk(const Step& step);
    /// Writes the chunk on the central's queue, and those that follow as long as there is room.
    void writeLater(const Step& step, Bytes chunk);
    void writeChunks(const Step& step, std::optional<Bytes> chunk);
    static std::optional<Bytes> prepareChunk(OutgoingManager& outgoing, const std::shared_ptr<Item>& item);
    std::shared_ptr<OutgoingManager> outgoingManager() const;

    // The receive side, on the central's queue.
    void recieveChunk(ByteView data);
    void recieve(ByteView data);
    void recieveControl(const Value& value);
    void recieveError(const Value& value);
    void recieveProperty(const std::string& key, const Value& value);
    void postMessage(const std::string& key, const Value& value);

    const UUID uuid_;
    std::shared_ptr<platform::Queue> centralQueue_;
    std::shared_ptr<platform::Queue> writingQueue_;
    std::shared_ptr<Peripheral> peripheralDelegate_;

    /// Guards the fields up to the next mutex; held for no callback.
    mutable std::mutex mutex_;
    Revision revision_ = Revision::unknown;
    int protocolVersion_ = 0;
    bool unlinkOnDisconnect_ = false;
    bool shouldAutoReconnect_ = true;
    std::map<std::string, Value> data_;
    std::optional<Layout> layout_;
    bool hasControl_ = false;
    DeviceState state_ = DeviceState::unknown;
    bool isPaired_ = false;
    bool isAuthenticated_ = false;
    platform::PeripheralPointer peripheral_;
    platform::CharacteristicPointer inCharacteristic_;
    platform::CharacteristicPointer outCharacteristic_;
    platform::CharacteristicPointer notifyCharacteristic_;
    std::shared_ptr<IncomingManager> incomingManager_;
    std::shared_ptr<OutgoingManager> outgoingManager_;
    std::optional<UUID> peripheralID_;
    std::optional<std::string> peripheralName_;

    /// Makes a look at the queue and the step that follows from it one: otherwise a message queued between the two
    /// would wait for the next one. Recursive, as a step may lead to the next.
    mutable std::recursive_mutex channelMutex_;
    ChannelState channelState_ = ChannelState::idle;
    bool pendingRead_ = false;
    bool isWriteScheduled_ = false;
};

} // namespace tarnel
