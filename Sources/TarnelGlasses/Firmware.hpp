#pragma once

#include <TarnelGlasses/Frame.hpp>
#include <TarnelGlasses/GlassesOptions.hpp>
#include <TarnelSDK/platform/Queue.hpp>
#include <TarnelSDK/platform/Value.hpp>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tarnel::glasses {

/// The codes of a "cmp_err" message, whose value is [code, text].
enum class CommandErrorCode { unknownCommand = 1, failedCommand = 2 };

struct CommandError {
    CommandErrorCode code = CommandErrorCode::unknownCommand;
    std::string text;
    friend bool operator==(const CommandError&, const CommandError&) = default;
};

/// A complete message that the firmware took.
struct ReceivedMessage {
    Bytes bytes;
    /// Null when the bytes are no message.
    Value value;
};

/// The program on the glasses: it joins chunks, takes messages apart, keeps properties, control and the display, and
/// answers. It knows nothing of radio or threads: all calls come one at a time, and `Output` is called inside them.
///
/// A message is one map with one entry. One of more than 10,000 bytes, one that cannot be taken apart and one with an
/// unknown command are answered with "cmp_err" and code 1; a command whose value is wrong in type, count, range or
/// content with code 2, and it then has no effect. What is shown is for the application in control, in the layout that
/// it took: "canvas" and "lvgl_obj" in the canvas layout, "tbla", "tbca", "icon" and "nav" in the layouts for text and
/// navigation; without it they fail. Taking control empties the display. A font that cannot be read is answered with
/// "font" and the reason; what came with it holds.
///
/// The canvas layout uses the whole display; the status bar is drawn in the layouts for text and navigation, unless it
/// was hidden with "control".
///
/// The display time-out, in seconds, counts from the last "control"; 0 is none. "screen_off" and the time-out make the
/// display dark; a "flush", a text or "control" lights it. Giving control back leads to the glasses' own screen, which
/// is dark.
class Firmware {
public:
    static constexpr std::size_t maximumMessageSize = 10'000;
    /// Messages and errors kept for inspection; older ones are forgotten.
    static constexpr std::size_t maximumRecords = 4'096;

    struct Output {
        /// Sends one value on the in characteristic: header byte and payload.
        std::function<void(Bytes value)> notify;
        /// Calls back later, as one more call of those that come one at a time.
        std::function<void(platform::Duration delay, platform::Block block)> after;
        /// Time since some beginning.
        std::function<platform::Duration()> now;
        /// The visible frame may be another.
        std::function<void()> frameChanged;
    };

    Firmware(const GlassesOptions& options, Output output);
    ~Firmware();

    /// A connection stands, or changed; values that are sent have at most `maximumValueLength` bytes.
    void connected(std::size_t maximumValueLength);
    /// The connection is gone, and with it half-received messages and the control of an application.
    void disconnected();
    /// Starts again: what is not stored (control, layers, time) is gone, properties and records remain.
    void restart();

    /// A value written to the out characteristic: one header byte (id in bits 0 to 6, bit 7: more follows), payload.
    void receive(ByteView value);

    /// Sends a complete message, cut into chunks. Dropped when there is no connection.
    void send(ByteView message);
    /// Sends several messages whose chunks take turns.
    void sendInterleaved(const std::vector<Bytes>& messages);

    void tap(std::int64_t count);
    void powerButton(std::int64_t count);
    void requestTime();
    /// What the status bar shows: percent, 0 to 100.
    void setBattery(int level, bool isCharging);
    /// What the status bar shows: how many of the host's notifications there are.
    void setNotificationCount(std::size_t count);
    /// Another application takes the display; the one in control until now is told.
    void takeControl(const std::string& application);
    /// The display goes dark, "disp_timeout" is sent, and the application loses control.
    void displayTimeout();

    /// What is visible now. Nothing announces that what moves has moved.
    Frame frame() const;
    /// The time until the visible frame may be another although nothing is received; nothing when it stays.
    std::optional<platform::Duration> nextFrameChange() const;
    bool isDisplayOn() const;
    /// Identifier of the application in control; empty when the glasses show their own screen.
    const std::optional<std::string>& controlOwner() const;
    /// Layout of the last "control" (0 to 4); 0 without control.
    int layout() const;
    bool hidesStatusBar() const;
    /// Text of the last "set_time", e.g. "20261121T093000".
    const std::optional<std::string>& time() const;
    /// The time of day that the glasses show: the last "set_time" and what has passed since, in the same form.
    std::optional<std::string> clock() const;
    std::optional<Value> property(const std::string& key) const;
    /// Those that are kept, without the first `seen` of all that were received.
    std::vector<ReceivedMessage> receivedMessages(std::size_t seen = 0) const;
    std::size_t receivedCount() const;
    /// The errors that were answered, without the first `seen`.
    std::vector<CommandError> errors(std::size_t seen = 0) const;
    std::size_t errorCount() const;

private:
    class State;
    std::shared_ptr<State> state_;
};

} // namespace tarnel::glasses
