#pragma once

#include "Files.hpp"
#include "JSON.hpp"
#include "Terminal.hpp"
#include "TraceWriter.hpp"
#include "WearerCommands.hpp"

#include <TarnelGlasses/Frame.hpp>
#include <TarnelGlasses/SimulatedGlasses.hpp>
#include <TarnelGlassesAir/GlassesOnAir.hpp>
#include <TarnelLinux/bluez/EventLoop.hpp>
#include <TarnelSDK/schedulers/ThreadScheduler.hpp>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <exception>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tarnel::command {

struct GlassesSessionOptions {
    glasses::GlassesOptions glasses;
    glasses::OnAirOptions air;
    std::optional<std::string> frame; ///< picture file that follows the display
    std::optional<std::string> trace; ///< file to write
    bool isShown = false;             ///< the display, in the terminal
    bool inWindow = false;            ///< the glasses in a window
    bool asJSON = false;              ///< what happens is told as lines of JSON
};

/// A pair of simulated glasses on the air, with their display and their wearer at this process's terminal. All but
/// `run` happens on a thread of its own.
class GlassesSession final : public glasses::OnAirObserver, public std::enable_shared_from_this<GlassesSession> {
public:
    /// Called on the main thread, before any other thread is there: the threads leave the signals to it. Throws
    /// `Failure` when a file cannot be written.
    explicit GlassesSession(const GlassesSessionOptions& options);
    ~GlassesSession() override;
    GlassesSession(const GlassesSession&) = delete;
    GlassesSession& operator=(const GlassesSession&) = delete;

    /// Returns when the user ends it, by a key, a line or a signal. Throws `Failure` when the glasses do not come on
    /// the air, or an output fails.
    void run();

    // On the radio's queue.

    void stateChanged(const bluez::PeripheralManagerState& state) override;
    void connected(const bluez::ConnectedCentral& central) override;
    void bonded(const bluez::ConnectedCentral& central) override;
    void disconnected() override;
    void subscriptionChanged(const UUID& characteristic, bool isSubscribed) override;
    void bondLost() override;

private:
    using Clock = std::chrono::steady_clock;

    void begin();
    void watchSignals();
    void watchInput();
    void readInput();
    void takeLine(const std::string& line);
    void perform(const WearerCommands::Result& result);
    void post(std::function<void(GlassesSession&)> step);
    /// One line for a reader, whatever is in its text, or the event.
    void tell(const JSON::Object& event, std::string_view text);
    void tellHelp();
    void judge(const bluez::PeripheralManagerState& state);
    std::pair<std::vector<glasses::ReceivedMessage>, std::vector<glasses::CommandError>> newRecords();
    void tellRecords();
    void tellNotifications();
    void frameChanged();
    void followFrame();
    void drawAfter(platform::Duration delay);
    void draw();
    void drawTerminal();
    /// Runs what may fail; a failure ends the session.
    void guard(const std::function<void()>& step);
    void finish(std::exception_ptr failure = nullptr);

    const GlassesSessionOptions options_;
    const int signals_;
    std::optional<OutputFile> frameFile_;
    std::optional<TraceWriter> trace_;
    Terminal terminal_;
    ThreadScheduler scheduler_;
    std::shared_ptr<glasses::Radio> radio_;
    std::shared_ptr<glasses::SimulatedGlasses> glasses_;
    WearerCommands commands_;
    std::shared_ptr<glasses::GlassesOnAir> onAir_;
    platform::Observation frameObservation_;
    std::promise<void> end_;
    std::atomic<bool> isFrameAnnounced_ = false;
    std::atomic<bool> areRecordsAnnounced_ = false;
    std::atomic<bool> areNotificationsAnnounced_ = false;

    // On the session's thread.
    bool hasEnded_ = false;
    bool wasReady_ = false;
    std::string lastState_; ///< as it was told
    bluez::PeripheralManagerState::Radio lastRadio_ = bluez::PeripheralManagerState::Radio::unknown;
    std::string input_;
    std::size_t seenMessages_ = 0;
    std::size_t seenErrors_ = 0;
    std::vector<glasses::HostNotification> seenNotifications_;
    std::optional<glasses::Frame> shown_;
    std::string lastLine_;
    Clock::time_point lastDrawn_;
    bluez::EventLoop::Timer drawing_ = 0;

    bluez::EventLoop loop_;
};

} // namespace tarnel::command
