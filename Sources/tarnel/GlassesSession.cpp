#include "GlassesSession.hpp"

#include "Failure.hpp"
#include "Frames.hpp"
#include "HostNotificationJSON.hpp"
#include "MessageJSON.hpp"
#include "Pictures.hpp"
#include "TerminalPicture.hpp"
#include "Text.hpp"
#include "Window.hpp"

#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <utility>

namespace tarnel::command {

using Radio = bluez::PeripheralManagerState::Radio;
using bluez::ConnectedCentral;
using bluez::PeripheralManagerState;

namespace {

using namespace std::chrono_literals;

/// From one picture of the display to the next, at least.
constexpr platform::Duration drawInterval = 100ms;
constexpr std::size_t longestLine = 65'536;
constexpr std::size_t longestShownMessage = 100;

/// The signals that end the session or tell of the terminal, as a descriptor. Threads made later inherit that these
/// come no other way.
int signalDescriptor() {
    sigset_t signals;
    ::sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGWINCH}) {
        ::sigaddset(&signals, signal);
    }
    ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    const int descriptor = ::signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
    if (descriptor < 0) {
        throw Failure("cannot watch for signals: the system is out of files");
    }
    return descriptor;
}

platform::Duration now() {
    return std::chrono::steady_clock::now().time_since_epoch();
}

const char* nameOf(Radio radio) {
    constexpr std::array<const char*, 7> names{"unknown",    "noService",   "forbidden", "noAdapter",
                                               "poweredOff", "unsupported", "ready"};
    return names.at(static_cast<std::size_t>(radio));
}

std::string whatIsWrong(const PeripheralManagerState& state, const std::optional<std::string>& adapter) {
    const std::string reason = state.failure.empty() ? "" : " (" + state.failure + ")";
    switch (state.radio) {
    case Radio::noService:
        return "the Bluetooth service cannot be reached" + reason;
    case Radio::forbidden:
        return "this user may not use the Bluetooth service" + reason;
    case Radio::noAdapter:
        return "there is no Bluetooth adapter" + (adapter ? " " + *adapter : "");
    case Radio::poweredOff:
        return "the Bluetooth adapter is switched off";
    case Radio::unsupported:
        return "the adapter or the Bluetooth service cannot be a peripheral, which takes an adapter with Bluetooth LE "
               "and BlueZ 5.50 or newer";
    case Radio::unknown:
    case Radio::ready:
        break;
    }
    return "the Bluetooth service refused" + reason;
}

/// What is wrong and where the user is told what to do.
std::string adviceOn(const PeripheralManagerState& state, const std::optional<std::string>& adapter) {
    return whatIsWrong(state, adapter) + "; tarnel doctor tells what to do about it";
}

} // namespace

GlassesSession::GlassesSession(const GlassesSessionOptions& options)
    : options_(options), signals_(signalDescriptor()), radio_(glasses::Radio::make(scheduler_, now)),
      glasses_(glasses::SimulatedGlasses::make(radio_, options.glasses)), commands_(glasses_) {
    // A reader that has seen enough ends the session, which then leaves the adapter as it was.
    std::signal(SIGPIPE, SIG_IGN);
    if (options.frame) {
        frameFile_.emplace(*options.frame);
    }
    if (options.trace) {
        trace_.emplace(*options.trace);
    }
}

GlassesSession::~GlassesSession() {
    loop_.end();
    ::close(signals_);
}

void GlassesSession::run() {
    auto ended = end_.get_future();
    const auto start = [this] { post([](GlassesSession& session) { session.begin(); }); };
    if (options_.inWindow) {
        // Qt ends the program where the display cannot be reached: before the adapter is touched.
        showWindow(glasses_, start,
                   [&ended] { return ended.wait_for(std::chrono::seconds(0)) == std::future_status::ready; });
        post([](GlassesSession& session) { session.finish(); });
    } else {
        start();
    }
    ended.wait();
    frameObservation_ = {};
    glasses_->setRecordObserver({});
    glasses_->setNotificationObserver({});
    if (onAir_) {
        onAir_->end();
    }
    loop_.end();
    scheduler_.shutDown();
    ended.get();
}

void GlassesSession::begin() {
    watchSignals();
    watchInput();
    if (options_.isShown) {
        terminal_.takeScreen();
    }
    const auto weak = weak_from_this();
    frameObservation_ = glasses_->observeFrame([weak] {
        if (const auto self = weak.lock()) {
            self->frameChanged();
        }
    });
    glasses_->setRecordObserver([weak] {
        const auto self = weak.lock();
        if (self && !self->areRecordsAnnounced_.exchange(true)) {
            self->post([](GlassesSession& session) { session.tellRecords(); });
        }
    });
    glasses_->setNotificationObserver([weak] {
        const auto self = weak.lock();
        if (self && !self->areNotificationsAnnounced_.exchange(true)) {
            self->post([](GlassesSession& session) { session.tellNotifications(); });
        }
    });
    if (trace_) {
        glasses_->setTrace([weak](const glasses::GattTraceEvent& event) {
            if (const auto self = weak.lock()) {
                self->post([event](GlassesSession& session) { session.trace_->write(event); });
            }
        });
    }
    onAir_ = glasses::GlassesOnAir::make(radio_, glasses_, options_.air, weak);
    draw();
}

void GlassesSession::post(std::function<void(GlassesSession&)> step) {
    loop_.post([this, step = std::move(step)] { guard([&] { step(*this); }); });
}

void GlassesSession::guard(const std::function<void()>& step) {
    if (hasEnded_) {
        return;
    }
    try {
        step();
    } catch (const std::exception&) {
        finish(std::current_exception());
    }
}

void GlassesSession::finish(std::exception_ptr failure) {
    if (std::exchange(hasEnded_, true)) {
        return;
    }
    if (failure) {
        end_.set_exception(std::move(failure));
    } else {
        end_.set_value();
    }
}

// Input.

void GlassesSession::watchSignals() {
    loop_.watch(signals_, POLLIN, [this](short) {
        signalfd_siginfo signal{};
        while (::read(signals_, &signal, sizeof signal) == sizeof signal) {
            if (signal.ssi_signo == static_cast<std::uint32_t>(SIGWINCH)) {
                guard([this] { drawTerminal(); });
            } else {
                finish();
            }
        }
    });
}

void GlassesSession::watchInput() {
    if (Terminal::isInput()) {
        terminal_.readKeys();
    }
    loop_.watch(STDIN_FILENO, POLLIN, [this](short) { guard([this] { readInput(); }); });
}

void GlassesSession::readInput() {
    std::array<char, 4096> buffer{};
    const auto count = ::read(STDIN_FILENO, buffer.data(), buffer.size());
    if (count < 0 && (errno == EINTR || errno == EAGAIN)) {
        return;
    }
    if (count <= 0) {
        // The end of the input is not the end of the glasses.
        loop_.unwatch(STDIN_FILENO);
        if (!input_.empty()) {
            takeLine(std::exchange(input_, {}));
        }
        return;
    }
    const std::string_view read(buffer.data(), static_cast<std::size_t>(count));
    if (Terminal::isInput()) {
        for (const char key : read) {
            if (const auto result = commands_.key(key)) {
                perform(*result);
            }
        }
        return;
    }
    input_ += read;
    for (auto end = input_.find('\n'); end != std::string::npos && !hasEnded_; end = input_.find('\n')) {
        const std::string line = input_.substr(0, end);
        input_.erase(0, end + 1);
        takeLine(line);
    }
    if (input_.size() > longestLine) {
        throw Failure("a line of standard input is longer than the " + grouped(longestLine) + " bytes that are taken");
    }
}

void GlassesSession::takeLine(const std::string& line) {
    if (line.empty()) {
        return;
    }
    try {
        perform(commands_.line(line));
    } catch (const Failure& failure) {
        tell({{"event", "refused"}, {"line", line}, {"text", failure.what()}}, failure.what());
    }
}

void GlassesSession::perform(const WearerCommands::Result& result) {
    switch (result.outcome) {
    case WearerCommands::Outcome::quit:
        return finish();
    case WearerCommands::Outcome::help:
        return tellHelp();
    case WearerCommands::Outcome::done:
        return tell({{"event", "command"}, {"text", result.text}}, result.text);
    }
}

// Output.

void GlassesSession::tell(const JSON::Object& event, std::string_view text) {
    if (options_.asJSON) {
        return writeOutput(command::text(event) + "\n");
    }
    if (options_.isShown) {
        lastLine_ = printable(text);
        return drawTerminal();
    }
    writeOutput(printable(text) + "\n");
}

void GlassesSession::tellHelp() {
    const auto help = WearerCommands::help;
    if (options_.asJSON || options_.isShown) {
        return tell({{"event", "help"}, {"text", std::string(help)}}, help.substr(0, help.find('\n')));
    }
    writeOutput(help);
}

void GlassesSession::stateChanged(const PeripheralManagerState& state) {
    post([state](GlassesSession& self) { self.judge(state); });
}

/// Until the glasses have been on the air, what keeps them off is a failure; later it passes.
void GlassesSession::judge(const PeripheralManagerState& state) {
    const bool isOff = state.radio != Radio::ready || !state.failure.empty();
    if (!wasReady_ && isOff) {
        throw Failure(adviceOn(state, options_.air.adapter));
    }
    wasReady_ = wasReady_ || state.isAdvertising;
    const std::string what = isOff                 ? adviceOn(state, options_.air.adapter)
                             : state.isAdvertising ? "on the air as " + glasses_->name()
                                                   : "not advertising";
    // A reader need not know each way in which one radio fails.
    const bool isSame = state.radio == Radio::ready ? what == lastState_ : state.radio == lastRadio_;
    lastState_ = what;
    lastRadio_ = state.radio;
    if (!options_.asJSON && isSame) {
        return;
    }
    tell({{"event", "state"},
          {"radio", nameOf(state.radio)},
          {"isPublished", state.isPublished},
          {"isAdvertising", state.isAdvertising},
          {"failure", state.failure.empty() ? JSON() : JSON(state.failure)}},
         what);
}

void GlassesSession::connected(const ConnectedCentral& central) {
    post([central](GlassesSession& self) {
        self.tell({{"event", "connected"},
                   {"address", central.address},
                   {"name", central.name},
                   {"isBonded", central.isBonded}},
                  "connected: " + central.address + (central.name.empty() ? "" : " (" + central.name + ")"));
    });
}

void GlassesSession::bonded(const ConnectedCentral& central) {
    post([central](GlassesSession& self) {
        self.tell({{"event", "bonded"}, {"address", central.address}}, "bonded with " + central.address);
    });
}

void GlassesSession::disconnected() {
    post([](GlassesSession& self) { self.tell({{"event", "disconnected"}}, "disconnected"); });
}

void GlassesSession::subscriptionChanged(const UUID& characteristic, bool isSubscribed) {
    post([characteristic, isSubscribed](GlassesSession& self) {
        self.tell({{"event", "subscribed"}, {"characteristic", characteristic.string()}, {"value", isSubscribed}},
                  (isSubscribed ? "subscribed to " : "no longer subscribed to ") + characteristic.string());
    });
}

void GlassesSession::bondLost() {
    post([](GlassesSession& self) { self.tell({{"event", "bondLost"}}, "the bond is forgotten"); });
}

/// What was recorded since the last call, taken at a moment at which nothing is recorded.
std::pair<std::vector<glasses::ReceivedMessage>, std::vector<glasses::CommandError>> GlassesSession::newRecords() {
    while (true) {
        const std::size_t messageCount = glasses_->receivedCount();
        const std::size_t errorCount = glasses_->errorCount();
        auto messages = glasses_->receivedMessages(seenMessages_);
        auto errors = glasses_->errors(seenErrors_);
        if (messageCount == glasses_->receivedCount() && errorCount == glasses_->errorCount()) {
            seenMessages_ = messageCount;
            seenErrors_ = errorCount;
            return {std::move(messages), std::move(errors)};
        }
    }
}

void GlassesSession::tellRecords() {
    areRecordsAnnounced_ = false;
    const auto [messages, errors] = newRecords();
    for (const auto& message : messages) {
        const auto value = toJSON(message.value);
        tell({{"event", "message"}, {"bytes", std::uint64_t{message.bytes.size()}}, {"value", value}},
             "message of " + grouped(message.bytes.size()) + " bytes: " + shortened(text(value), longestShownMessage));
    }
    for (const auto& error : errors) {
        tell({{"event", "error"}, {"code", static_cast<int>(error.code)}, {"text", error.text}},
             "error " + std::to_string(static_cast<int>(error.code)) + ": " + error.text);
    }
}

/// What is other than at the last call.
void GlassesSession::tellNotifications() {
    areNotificationsAnnounced_ = false;
    const auto before = std::exchange(seenNotifications_, glasses_->notifications());
    for (const auto& old : before) {
        const auto isSame = [&](const auto& other) { return other.uid == old.uid; };
        if (std::none_of(seenNotifications_.begin(), seenNotifications_.end(), isSame)) {
            tell({{"event", "notificationGone"}, {"uid", std::uint64_t{old.uid}}},
                 "notification " + std::to_string(old.uid) + " is gone");
        }
    }
    for (const auto& notification : seenNotifications_) {
        if (std::find(before.begin(), before.end(), notification) != before.end()) {
            continue;
        }
        auto event = membersOf(notification);
        event.insert(event.begin(), {"event", "notification"});
        std::string said = shortened(notification.title + ": " + notification.message, longestShownMessage);
        std::replace(said.begin(), said.end(), '\n', ' ');
        tell(event,
             "notification " + std::to_string(notification.uid) + " of " + notification.application + ": " + said);
    }
}

// The display.

void GlassesSession::frameChanged() {
    if (!isFrameAnnounced_.exchange(true)) {
        post([](GlassesSession& self) {
            self.isFrameAnnounced_ = false;
            self.followFrame();
        });
    }
}

void GlassesSession::followFrame() {
    const auto sinceDrawn = Clock::now() - lastDrawn_;
    drawAfter(std::max<platform::Duration>(drawInterval - sinceDrawn, 0ms));
}

void GlassesSession::drawAfter(platform::Duration delay) {
    loop_.cancel(drawing_);
    drawing_ = loop_.after(delay, [this] { guard([this] { draw(); }); });
}

void GlassesSession::draw() {
    lastDrawn_ = Clock::now();
    auto frame = glasses_->frame();
    if (shown_ != frame) {
        shown_ = std::move(frame);
        if (frameFile_) {
            frameFile_->store(pngOf(imageOf(*shown_)));
            if (options_.asJSON) {
                tell({{"event", "frame"}, {"file", frameFile_->path()}, {"isDark", shown_->isDark()}}, "");
            }
        }
        drawTerminal();
    }
    if (const auto next = glasses_->nextFrameChange()) {
        drawAfter(std::max(*next, drawInterval));
    }
}

void GlassesSession::drawTerminal() {
    if (!options_.isShown || !shown_) {
        return;
    }
    const auto [columns, rows] = Terminal::size();
    const std::string status = fitted(lastLine_, static_cast<std::size_t>(columns));
    writeOutput("\x1b[H" + terminalPicture(*shown_, columns, rows - 1) + status + "\x1b[K\x1b[J");
}

} // namespace tarnel::command
