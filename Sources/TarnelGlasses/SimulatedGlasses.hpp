#pragma once

#include <TarnelGlasses/Firmware.hpp>
#include <TarnelGlasses/GattTrace.hpp>
#include <TarnelGlasses/NotificationReader.hpp>
#include <TarnelGlasses/Radio.hpp>
#include <TarnelSDK/platform/NotificationCenter.hpp>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace tarnel::glasses {

class GlassesLink;

/// One simulated pair of glasses: the firmware model behind its GATT services, on the air of a radio.
///
/// The verbs may be called on any thread; they take effect on the radio's queue, in the order of the calls. The queries
/// may be called on any thread and give the state as it is at that moment: after a verb, let the scheduler run first.
class SimulatedGlasses : public std::enable_shared_from_this<SimulatedGlasses> {
public:
    using Options = GlassesOptions;

    /// Which way a value goes.
    enum class Direction { toGlasses, toHost };

    /// Glasses that lie switched on within range. The radio keeps them until `remove`.
    static std::shared_ptr<SimulatedGlasses> make(const std::shared_ptr<Radio>& radio, const Options& options = {});
    ~SimulatedGlasses();

    const Options& options() const { return options_; }
    const UUID& identifier() const { return options_.identifier; }

    // What the wearer and other applications do.

    void tap(std::int64_t count);
    void powerButton(std::int64_t count);
    void requestTime();
    void takeControl(std::string application);
    void displayTimeout();
    /// Answers one of the host's notifications, where it can be answered so.
    void openNotification(std::uint32_t uid);
    void clearNotification(std::uint32_t uid);
    void setBattery(int level, bool charging);
    /// Sends message bytes as they are, cut into chunks.
    void send(Bytes message);
    /// Sends several messages whose chunks take turns.
    void sendInterleaved(std::vector<Bytes> messages);
    /// Sends one value on the in characteristic as it is, header byte included.
    void notifyValue(Bytes value);
    void setAdvertisingMode(AdvertisingMode mode);
    /// What is advertised in place of the mode's own; nothing goes back to that.
    void setAdvertisement(std::optional<platform::AdvertisementData> advertisement);
    void setName(std::string name);
    /// Says that the services changed, so that all that was discovered is void.
    void changeServices();
    /// Leaves the air for good.
    void remove();

    // Faults.

    /// The glasses end the connection, and advertise again.
    void dropConnection();
    /// The next writes to the out characteristic are refused: with an ATT error, or lost when without response.
    void refuseWrite(std::size_t count = 1);
    /// The bond is forgotten on the glasses' side; a connection that stands ends.
    void loseBond();
    /// No value crosses the air, either way; the connection stands. Without a duration until `resume`.
    void stall(std::optional<platform::Duration> duration = std::nullopt);
    void resume();
    /// Only the first half of the next value arrives.
    void truncateChunk(Direction direction = Direction::toGlasses);
    /// The firmware restarts: all that is not stored is gone, the connection too; it advertises again.
    void reset();
    /// Out of reach: the connection ends when the supervision time-out has passed.
    void leaveRange();
    void enterRange();

    // What is seen.

    /// The visible frame; dark while the display is off. What moves is drawn as it is at this moment.
    Frame frame() const;
    /// The time until what moves may look otherwise; nothing when nothing moves.
    std::optional<platform::Duration> nextFrameChange() const;
    bool isDisplayOn() const;
    std::optional<std::string> controlOwner() const;
    int layout() const;
    bool hidesStatusBar() const;
    std::optional<std::string> time() const;
    std::optional<std::string> clock() const;
    std::optional<Value> property(const std::string& key) const;
    int batteryLevel() const;
    bool isCharging() const;
    /// Those that are kept, without the first `seen` of all; so are the errors.
    std::vector<ReceivedMessage> receivedMessages(std::size_t seen = 0) const;
    std::size_t receivedCount() const;
    std::vector<CommandError> errors(std::size_t seen = 0) const;
    std::size_t errorCount() const;
    /// The host's notifications that the glasses have read, oldest first; empty while the host shares none with them.
    std::vector<HostNotification> notifications() const;
    /// What went wrong in reading them.
    std::size_t notificationErrorCount() const;
    bool isConnected() const;
    bool isBonded() const;
    bool isAdvertising() const;
    bool isStalled() const;
    bool isInRange() const;
    /// Whether the host is subscribed to this characteristic.
    bool isSubscribed(const UUID& characteristic) const;

    struct Counters {
        std::size_t connections = 0;
        std::size_t writes = 0;                ///< values of writes with response that arrived
        std::size_t writesWithoutResponse = 0; ///< values of writes without response that arrived
        std::size_t notifications = 0;         ///< values that reached the host
        std::size_t refusedWrites = 0;
        std::size_t lostWrites = 0;    ///< writes without response beyond the host's buffer
        std::size_t bytesReceived = 0; ///< of written values
    };
    Counters counters() const;

    /// Calls `observer`, on the radio's queue, when the visible frame may be another; not for what moves. Ends with the
    /// handle, which may outlive the glasses; a call that is under way then still comes.
    platform::Observation observeFrame(std::function<void()> observer);

    /// Observers are called on the radio's queue. An empty function ends the observation.
    void setTrace(GattTraceObserver observer);
    /// Called when `notifications` is another.
    void setNotificationObserver(std::function<void()> observer);
    /// Called when a message was received or an error answered.
    void setRecordObserver(std::function<void()> observer);

    // What the host at the other end of the air meets, on the radio's queue.

    /// What the glasses bring about at the other end of a connection.
    class Host {
    public:
        virtual ~Host() = default;
        virtual void notified(const UUID& characteristic, ByteView value) = 0;
        virtual void closed(const platform::BluetoothError& error) = 0;
        virtual void servicesChanged() = 0;
        virtual void nameChanged(const std::string& name) = 0;
        /// The glasses subscribed to the host's notifications.
        virtual void notificationsWanted() {}
        /// The glasses wrote to the control point of the host's notifications.
        virtual void controlPointWritten(ByteView /*value*/) {}
    };

    struct AttResult {
        std::optional<platform::BluetoothError> error;
        Bytes value;
    };

    /// What can be heard; nothing when out of range, connected or restarting.
    std::optional<platform::AdvertisementData> advertisement() const;
    std::string name() const;
    /// Takes a connection. REQUIRES: it advertises.
    void open(std::shared_ptr<GlassesLink> link, std::weak_ptr<Host> host);
    /// The connection takes values of another length now.
    void linkChanged();
    /// The host ended the connection.
    void closed();
    std::vector<GattService> services() const;
    AttResult read(const UUID& characteristic);
    AttResult write(const UUID& characteristic, ByteView value, platform::WriteType type);
    AttResult subscribe(const UUID& characteristic, bool enabled);
    void bond();
    /// The host has its notification service for these glasses, or has it no longer.
    void notificationsOffered(bool isOffered);
    /// The host notified a value of its notification source or its data source, or answered a write to its control
    /// point.
    void notificationSourceChanged(ByteView value);
    void notificationDataChanged(ByteView value);
    void controlPointAnswered(bool isAccepted);
    /// A write without response found no room in the host's buffer.
    void countLostWrite();

    class Key {
        friend class SimulatedGlasses;
        Key() = default;
    };
    SimulatedGlasses(Key, const std::shared_ptr<Radio>& radio, const Options& options);

private:
    struct State;
    using Change = std::function<void(State&)>;

    void post(std::function<void(SimulatedGlasses&)> step, platform::Duration delay = {});
    void postChange(Change change);
    void perform(const Change& change);
    Firmware::Output firmwareOutput();
    NotificationReader::Output readerOutput();
    void sendToHost(std::size_t attLength, std::function<void(Host&)> arrived);

    void notify(State& state, const UUID& characteristic, Bytes value);
    void arriveAtHost(const UUID& characteristic, ByteView value);
    void trace(GattTraceEvent::Kind kind, const UUID& characteristic, ByteView value) const;
    std::optional<platform::BluetoothError> refusal(State& state, const UUID& characteristic,
                                                    bool GattCharacteristic::*property, int code) const;
    void announce();
    void end(const std::optional<platform::BluetoothError>& error, const Change& change);
    void restart(const Change& change);

    const Options options_;
    const std::shared_ptr<platform::Queue> queue_;
    const MonotonicTime now_;
    const std::weak_ptr<Radio> radio_;
    mutable std::mutex mutex_;
    const std::unique_ptr<State> state_;
};

} // namespace tarnel::glasses
