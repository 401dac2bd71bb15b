#pragma once

#include <TarnelGlasses/LinkModel.hpp>
#include <TarnelSDK/platform/Bluetooth.hpp>
#include <TarnelSDK/platform/Queue.hpp>

#include <functional>
#include <memory>
#include <mutex>
#include <vector>

namespace tarnel::glasses {

class SimulatedGlasses;

/// Time since some beginning; never goes back. Called on any thread.
using MonotonicTime = std::function<platform::Duration()>;

/// The air between simulated glasses and a simulated host. Everything that happens on it happens on one serial queue,
/// "radio"; glasses and hosts post their work there.
class Radio : public std::enable_shared_from_this<Radio> {
public:
    /// Time must run at the scheduler's pace.
    static std::shared_ptr<Radio> make(platform::Scheduler& scheduler, MonotonicTime now, const LinkModel& model = {});

    platform::Queue& queue() const { return *queue_; }
    const std::shared_ptr<platform::Queue>& queuePointer() const { return queue_; }
    platform::Duration now() const { return now_(); }
    const MonotonicTime& clock() const { return now_; }

    /// The model of the connections made from now on. Called on any thread.
    void setModel(const LinkModel& model);
    LinkModel model() const;

    /// Told, on the radio's queue, when glasses come into the air, change what they advertise, or go.
    class Listener {
    public:
        virtual ~Listener() = default;
        virtual void airChanged(const std::shared_ptr<SimulatedGlasses>& glasses) = 0;
    };
    /// The following are called on the radio's queue.
    void addListener(std::weak_ptr<Listener> listener);
    void add(const std::shared_ptr<SimulatedGlasses>& glasses);
    void remove(const std::shared_ptr<SimulatedGlasses>& glasses);
    const std::vector<std::shared_ptr<SimulatedGlasses>>& glasses() const { return glasses_; }
    void announce(const std::shared_ptr<SimulatedGlasses>& glasses);

    class Key {
        friend class Radio;
        Key() = default;
    };
    Radio(Key, std::shared_ptr<platform::Queue> queue, MonotonicTime now, const LinkModel& model);

private:
    std::shared_ptr<platform::Queue> queue_;
    MonotonicTime now_;
    mutable std::mutex modelMutex_;
    LinkModel model_;
    std::vector<std::weak_ptr<Listener>> listeners_;
    std::vector<std::shared_ptr<SimulatedGlasses>> glasses_;
};

} // namespace tarnel::glasses
