#pragma once

#include "AirRecord.hpp"
#include "MainLoop.hpp"
#include "NativePlatform.hpp"
#include "Surroundings.hpp"

#include <atomic>
#include <memory>
#include <optional>
#include <string>

namespace tarnel::command {

/// Glasses that are really there, in real time, under the settings of this command.
class OnTheAir final : public Surroundings {
public:
    enum class Connections {
        made, ///< the linked glasses are connected, and again after a loss
        held, ///< none is made before `makeConnections`
        none, ///< there is no Bluetooth, only what is stored
    };

    /// `follower` is told of all that passes. Throws `Failure` where there is no Bluetooth, the trace cannot be
    /// written, or what glasses are linked, which has to do with every connection, cannot be read.
    explicit OnTheAir(const SurroundingsOptions& options, Connections connections = Connections::made,
                      std::shared_ptr<BluetoothObserver> follower = nullptr);
    explicit OnTheAir(const AirOptions& air, Connections connections = Connections::made,
                      std::shared_ptr<BluetoothObserver> follower = nullptr);
    ~OnTheAir() override;

    const AirRecord& record() const { return *record_; }
    MainLoop& loop() { return loop_; }

    /// Throws `Failure` when the settings, and with them what glasses are linked, cannot be read.
    void requireSettings();
    /// Returns when Bluetooth is on. Throws `Failure` when it is not within seconds, which says why.
    void awaitBluetooth();
    /// From now on connections are made.
    void makeConnections() { platform_->makeConnections(); }
    /// Returns when these are the linked glasses, whose connection is under way.
    void awaitLink(const UUID& glasses, const std::string& name);
    /// Returns when the linked glasses can be used, of which the user is told by this name, or their own. The time that
    /// they may take counts from `since`, or from now.
    void awaitConnection(std::string name = {}, std::optional<platform::Duration> since = {});

    platform::Duration now() override { return record_->now(); }
    Traffic traffic() override { return record_->traffic(); }
    void requireTrace() override { record_->requireTrace(); }
    void run() override { loop_.run(); }
    void advance(platform::Duration duration) override;
    void awaitInput(int descriptor) override { loop_.runUntilReadable(descriptor); }
    void connect() override;
    void waitUntilIdle(const std::function<void()>& progressed = {}) override;
    void awaitReceipt() override;
    void linger(const std::function<void()>& restore) override;
    void relaunch() override;

private:
    void install();
    std::string tooLate(const std::string& name) const;
    std::string connectionProgress(const std::string& name) const;

    const SurroundingsOptions options_;
    const Connections connections_;
    MainLoop loop_;
    const std::shared_ptr<AirRecord> record_;
    std::unique_ptr<NativePlatform> platform_;
};

/// What the user is told when the linked glasses have forgotten this machine.
inline constexpr const char* forgottenText =
    "the glasses have forgotten this machine, so they are no longer linked here; run tarnel link";
inline constexpr const char* notLinkedText = "no glasses are linked; run tarnel link";

} // namespace tarnel::command
