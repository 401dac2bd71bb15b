#include <TarnelLinux/bluez/Errors.hpp>
#include <TarnelLinux/bluez/Host.hpp>
#include <TarnelLinux/bluez/Names.hpp>
#include <TarnelLinux/bluez/Peripheral.hpp>
#include <TarnelLinux/bluez/Session.hpp>

#include <fcntl.h>

#include <algorithm>
#include <utility>

namespace tarnel::bluez {

using platform::BluetoothError;
using platform::Characteristic;
using platform::CharacteristicPointer;
using platform::PeripheralPointer;
using platform::ServicePointer;
using Delegate = Peripheral::Delegate;

namespace {

using namespace std::chrono_literals;

/// Discovery, pairing that a request starts, and the user who is asked about it, take their time.
constexpr auto requestPatience = std::chrono::seconds(60);
constexpr auto discoveryPatience = 20s;
constexpr auto askInterval = 1s;
/// Services may be announced as resolved a moment before their characteristics are exported.
constexpr auto exportGrace = 2s;
/// Several services go one by one; and they go before a connection that ends.
constexpr auto invalidationDelay = 100ms;
constexpr auto releaseDelay = 20ms;
constexpr int releaseTries = 50;

using Options = std::map<std::string, sdbus::Variant>;

bool hasFlag(const Properties& properties, const char* flag) {
    const auto flags = valueOf<std::vector<std::string>>(properties, "Flags").value_or(std::vector<std::string>());
    return std::find(flags.begin(), flags.end(), flag) != flags.end();
}

std::optional<UUID> uuidOf(const Properties* properties) {
    const auto text = properties ? valueOf<std::string>(*properties, "UUID") : std::nullopt;
    return text ? UUID::parse(*text) : std::nullopt;
}

/// Values that any program reads for its information, so that one more reading changes nothing.
bool isHarmless(const UUID& characteristic) {
    static const std::vector<UUID> harmless{UUID::bluetooth("2A28"), UUID::bluetooth("2A26"), UUID::bluetooth("2A29"),
                                            UUID::bluetooth("2A24"), UUID::bluetooth("2A19")};
    return std::find(harmless.begin(), harmless.end(), characteristic) != harmless.end();
}

} // namespace

Session::Session(Peripheral& peripheral, Host& host, std::string devicePath, std::shared_ptr<WriteRoom> room)
    : peripheral_(peripheral), host_(host), devicePath_(std::move(devicePath)), room_(std::move(room)),
      writer_(host.loop(),
              {.wrote = [this] { wrote(); }, .fence = [this] { fence(); }, .broken = [this] { reacquire(); }}) {}

Session::~Session() {
    *isAlive_ = false;
    host_.loop().cancel(patience_);
    host_.loop().cancel(askTimer_);
}

// Requests, one after the other.

void Session::enqueue(Step step, bool first) {
    if (first) {
        steps_.push_front(std::move(step));
    } else {
        steps_.push_back(std::move(step));
    }
    next();
}

void Session::next() {
    if (!isBusy_ && !steps_.empty()) {
        isBusy_ = true;
        const Step step = std::move(steps_.front());
        steps_.pop_front();
        step();
    }
}

void Session::finish() {
    isBusy_ = false;
    next();
}

void Session::call(const std::string& path, const std::string& method, const Bus::Fill& fill, Bus::Done done) {
    host_.bus().call(
        path, gattCharacteristicInterface, method, fill,
        [alive = isAlive_, done = std::move(done)](sdbus::MethodReply* reply, const Failure* failure) {
            if (*alive) {
                done(reply, failure);
            }
        },
        requestPatience);
}

// Discovery.

void Session::discoverServices() {
    enqueue([this] {
        isAwaitingServices_ = true;
        hasGrace_ = false;
        patience_ = host_.loop().after(discoveryPatience, [this] { giveUpOnServices(); });
        awaitServices();
        askAgain();
    });
}

/// BlueZ 5.66 does not announce every change.
void Session::askAgain() {
    host_.loop().cancel(askTimer_);
    askTimer_ = host_.loop().after(askInterval, [this] {
        askTimer_ = 0;
        if (!isAwaitingServices_) {
            return;
        }
        host_.bus().refresh(devicePath_, deviceInterface, "ServicesResolved", [this, alive = isAlive_] {
            if (*alive && isAwaitingServices_) {
                askAgain();
            }
        });
    });
}

void Session::resolvedChanged() {
    if (isAwaitingServices_) {
        awaitServices();
    }
}

void Session::interfaceAdded() {
    if (isAwaitingServices_ && hasGrace_ && isExportedWhole()) {
        answerServices(std::nullopt);
    }
}

void Session::awaitServices() {
    const Properties* device = host_.bus().properties(devicePath_, deviceInterface);
    if (device && valueOf<bool>(*device, "ServicesResolved").value_or(false)) {
        askForServices();
    }
}

/// The daemon sends what it has exported before it answers any call.
void Session::askForServices() {
    host_.bus().call(
        devicePath_, propertiesInterface, "Get",
        [](sdbus::MethodCall& message) { message << std::string(deviceInterface) << std::string("ServicesResolved"); },
        [this, alive = isAlive_](sdbus::MethodReply*, const Failure*) {
            if (!*alive || !isAwaitingServices_ || hasGrace_) {
                return;
            }
            if (isExportedWhole()) {
                answerServices(std::nullopt);
                return;
            }
            hasGrace_ = true;
            host_.loop().cancel(patience_);
            patience_ = host_.loop().after(exportGrace, [this] { answerServices(std::nullopt); });
        });
}

void Session::giveUpOnServices() {
    // A connection of which nothing can be used is of no use, and may be better next time.
    host_.bus().call(devicePath_, deviceInterface, "Disconnect", nullptr, [](sdbus::MethodReply*, const Failure*) {});
    answerServices(centralError(platform::connectionTimedOut, "The services were not resolved in time."));
}

std::vector<std::string> Session::childrenOf(const std::string& path, const char* interface) const {
    std::vector<std::string> children;
    const std::string below = path + "/";
    const auto& objects = host_.bus().objects();
    for (auto object = objects.lower_bound(below); object != objects.end() && object->first.starts_with(below);
         ++object) {
        const bool isDirect = object->first.find('/', below.size()) == std::string::npos;
        if (isDirect && object->second.contains(interface)) {
            children.push_back(object->first);
        }
    }
    return children;
}

bool Session::isExportedWhole() const {
    const auto services = childrenOf(devicePath_, gattServiceInterface);
    return !services.empty() && std::all_of(services.begin(), services.end(), [&](const auto& path) {
        return !childrenOf(path, gattCharacteristicInterface).empty();
    });
}

void Session::answerServices(const std::optional<BluetoothError>& error) {
    isAwaitingServices_ = false;
    host_.loop().cancel(std::exchange(patience_, 0));
    services_.clear();
    characteristics_.clear();
    subscribed_.clear();
    std::vector<ServicePointer> found;
    for (const auto& path : childrenOf(devicePath_, gattServiceInterface)) {
        const auto uuid = uuidOf(host_.bus().properties(path, gattServiceInterface));
        if (uuid && !error) {
            found.push_back(std::make_shared<const platform::Service>(platform::Service{*uuid}));
            services_.emplace(found.back(), path);
        }
    }
    peripheral_.tell([found, error](Delegate& delegate, const PeripheralPointer& peripheral) {
        delegate.didDiscoverServices(peripheral, found, error);
    });
    finish();
}

void Session::discoverCharacteristics(const ServicePointer& service) {
    enqueue([this, service] {
        const auto found = services_.find(service);
        if (found == services_.end()) {
            return finish();
        }
        const auto made = makeCharacteristics(*service, found->second);
        // The length of a value is known once the socket is there.
        const auto writable = std::find_if(made.begin(), made.end(), [](const auto& characteristic) {
            return characteristic->canWriteWithoutResponse;
        });
        const auto answer = [this, service, made] { answerCharacteristics(service, made); };
        if (acquired_.empty()) {
            setMaximumLength(mtuBelow(found->second));
        }
        if (writable == made.end() || !acquired_.empty()) {
            return answer();
        }
        acquire(characteristics_.at(*writable), answer);
    });
}

std::vector<CharacteristicPointer> Session::makeCharacteristics(const platform::Service& service,
                                                                const std::string& path) {
    std::erase_if(characteristics_, [&](const auto& entry) { return entry.second.starts_with(path + "/"); });
    std::vector<CharacteristicPointer> made;
    for (const auto& child : childrenOf(path, gattCharacteristicInterface)) {
        const Properties* properties = host_.bus().properties(child, gattCharacteristicInterface);
        const auto uuid = uuidOf(properties);
        if (!uuid) {
            continue;
        }
        made.push_back(std::make_shared<const Characteristic>(
            Characteristic{.uuid = *uuid,
                           .service = service.uuid,
                           .canRead = hasFlag(*properties, "read"),
                           .canWrite = hasFlag(*properties, "write"),
                           .canWriteWithoutResponse = hasFlag(*properties, "write-without-response"),
                           .canNotify = hasFlag(*properties, "notify") || hasFlag(*properties, "indicate")}));
        characteristics_.emplace(made.back(), child);
        if (made.back()->canRead && isHarmless(*uuid)) {
            fencePath_ = child;
        }
    }
    return made;
}

void Session::answerCharacteristics(const ServicePointer& service, const std::vector<CharacteristicPointer>& made) {
    peripheral_.tell([service, made](Delegate& delegate, const PeripheralPointer& peripheral) {
        delegate.didDiscoverCharacteristics(peripheral, service, made, std::nullopt);
    });
    finish();
}

std::optional<std::string> Session::pathOf(const CharacteristicPointer& characteristic) const {
    const auto found = characteristics_.find(characteristic);
    return found == characteristics_.end() ? std::nullopt : std::optional(found->second);
}

CharacteristicPointer Session::characteristicAt(const std::string& path) const {
    const auto found = std::find_if(characteristics_.begin(), characteristics_.end(),
                                    [&](const auto& entry) { return entry.second == path; });
    return found == characteristics_.end() ? nullptr : found->first;
}

void Session::interfaceRemoved(const std::string& path, const std::string& interface) {
    if (interface != gattServiceInterface) {
        return;
    }
    std::erase_if(characteristics_, [&](const auto& entry) { return entry.second.starts_with(path + "/"); });
    std::erase_if(subscribed_, [&](const auto& entry) { return entry.starts_with(path + "/"); });
    if (acquired_.starts_with(path + "/")) {
        for (auto values = writer_.abandon(); values > 0; --values) {
            room_->give();
        }
        acquired_.clear();
    }
    if (fencePath_.starts_with(path + "/")) {
        fencePath_.clear();
    }
    const auto service =
        std::find_if(services_.begin(), services_.end(), [&](const auto& entry) { return entry.second == path; });
    if (service == services_.end()) {
        return;
    }
    if (invalidated_.empty()) {
        host_.loop().after(invalidationDelay, [this, alive = isAlive_] {
            if (*alive) {
                tellInvalidated();
            }
        });
    }
    invalidated_.push_back(service->first);
    services_.erase(service);
}

void Session::tellInvalidated() {
    peripheral_.tell(
        [invalidated = std::exchange(invalidated_, {})](Delegate& delegate, const PeripheralPointer& peripheral) {
            delegate.didModifyServices(peripheral, invalidated);
        });
    announceRoom();
}

// Reading and notifications.

void Session::setNotifyValue(bool enabled, const CharacteristicPointer& characteristic) {
    enqueue([this, enabled, characteristic] {
        const auto path = pathOf(characteristic);
        if (!path) {
            return finish();
        }
        if (enabled) {
            subscribed_.insert(*path);
        } else {
            subscribed_.erase(*path);
        }
        const auto done = [this, enabled, path = *path, characteristic](sdbus::MethodReply*, const Failure* failure) {
            std::optional<BluetoothError> error;
            // What is not subscribed to need not be ended.
            if (failure && enabled && !isInProgress(*failure)) {
                subscribed_.erase(path);
                error = attributeError(*failure);
            }
            peripheral_.tell([characteristic, error](Delegate& delegate, const PeripheralPointer& peripheral) {
                delegate.didUpdateNotificationState(peripheral, characteristic, error);
            });
            finish();
        };
        call(*path, enabled ? "StartNotify" : "StopNotify", nullptr, done);
    });
}

void Session::tellValue(const std::string& path, const Bytes& value) {
    const auto characteristic = characteristicAt(path);
    if (!characteristic) {
        return;
    }
    peripheral_.tell([characteristic, value](Delegate& delegate, const PeripheralPointer& peripheral) {
        delegate.didUpdateValue(peripheral, characteristic, value, std::nullopt);
    });
}

void Session::valueChanged(const std::string& path, const Bytes& value) {
    // Reading changes the property too, before it is answered.
    if (const auto held = heldBack_.find(path); held != heldBack_.end()) {
        held->second.push_back(value);
    } else if (subscribed_.contains(path)) {
        tellValue(path, value);
    }
}

void Session::read(const std::string& path, std::function<void(const Bytes*, const Failure*)> done) {
    heldBack_[path];
    call(
        path, "ReadValue", [](sdbus::MethodCall& message) { message << Options(); },
        [this, path, done = std::move(done)](sdbus::MethodReply* reply, const Failure* failure) {
            Bytes value;
            if (reply) {
                *reply >> value;
            }
            auto held = std::move(heldBack_[path]);
            heldBack_.erase(path);
            if (reply && !held.empty() && held.back() == value) {
                held.pop_back();
            }
            for (const auto& notified : held) {
                valueChanged(path, notified);
            }
            done(reply ? &value : nullptr, failure);
        });
}

void Session::readValue(const CharacteristicPointer& characteristic) {
    enqueue([this, characteristic] {
        const auto path = pathOf(characteristic);
        if (!path) {
            return finish();
        }
        read(*path, [this, characteristic](const Bytes* value, const Failure* failure) {
            const auto error = failure ? std::optional(attributeError(*failure)) : std::nullopt;
            const Bytes bytes = value ? *value : Bytes();
            peripheral_.tell([characteristic, bytes, error](Delegate& delegate, const PeripheralPointer& peripheral) {
                delegate.didUpdateValue(peripheral, characteristic, bytes, error);
            });
            finish();
        });
    });
}

// Writing with a response.

void Session::write(const std::string& path, const Bytes& value, const char* type,
                    std::function<void(const Failure*)> done) {
    call(
        path, "WriteValue",
        [&](sdbus::MethodCall& message) {
            message << value << Options{{"type", sdbus::Variant(std::string(type))}};
        },
        [done = std::move(done)](sdbus::MethodReply*, const Failure* failure) { done(failure); });
}

/// The daemon refuses as long as it has not noticed that the socket is closed.
void Session::writeReleased(const std::string& path, const Bytes& value, int tries,
                            const std::function<void(const Failure*)>& done) {
    write(path, value, "request", [this, path, value, tries, done](const Failure* failure) {
        if (!failure || failure->message != "Write acquired" || tries == 0) {
            return done(failure);
        }
        host_.loop().after(releaseDelay, [this, alive = isAlive_, path, value, tries, done] {
            if (*alive) {
                writeReleased(path, value, tries - 1, done);
            }
        });
    });
}

void Session::writeWithResponse(Bytes value, const CharacteristicPointer& characteristic) {
    enqueue([this, value = std::move(value), characteristic] {
        const auto path = pathOf(characteristic);
        if (!path) {
            return finish();
        }
        const auto answer = [this, characteristic](const std::optional<BluetoothError>& error) {
            peripheral_.tell([characteristic, error](Delegate& delegate, const PeripheralPointer& peripheral) {
                delegate.didWriteValue(peripheral, characteristic, error);
            });
            finish();
        };
        if (value.size() > greatestValueLength) {
            constexpr int invalidAttributeValueLength = 0x0d;
            return answer(BluetoothError{BluetoothError::Domain::attribute, invalidAttributeValueLength,
                                         "The value is longer than one write takes."});
        }
        if (*path == acquired_) {
            writer_.close();
        }
        writeReleased(*path, value, releaseTries, [this, answer](const Failure* failure) {
            if (!writer_.isEmpty()) {
                reacquire();
            }
            answer(failure ? std::optional(attributeError(*failure)) : std::nullopt);
        });
    });
}

// Writing without a response.

void Session::acquire(const std::string& path, const Step& then) {
    acquired_ = path;
    call(
        path, "AcquireWrite", [](sdbus::MethodCall& message) { message << Options(); },
        [this, path, then](sdbus::MethodReply* reply, const Failure*) {
            if (acquired_ == path) {
                acquired(path, reply);
            }
            then();
        });
}

/// As the characteristics of the service at `path` have it; 0 when the daemon does not say.
std::uint16_t Session::mtuBelow(const std::string& path) const {
    std::uint16_t mtu = 0;
    for (const auto& child : childrenOf(path, gattCharacteristicInterface)) {
        const Properties* properties = host_.bus().properties(child, gattCharacteristicInterface);
        mtu = std::max(mtu, valueOf<std::uint16_t>(*properties, "MTU").value_or(0));
    }
    return mtu;
}

void Session::setMaximumLength(std::uint16_t mtu) {
    constexpr std::size_t header = 3;
    peripheral_.setMaximumLength(
        std::clamp<std::size_t>(mtu > header ? mtu - header : 0, leastValueLength, greatestValueLength));
}

void Session::acquired(const std::string& path, sdbus::MethodReply* reply) {
    int descriptor = -1;
    if (reply) {
        std::uint16_t mtu = 0;
        sdbus::UnixFd socket;
        *reply >> socket >> mtu;
        setMaximumLength(mtu);
        descriptor = ::fcntl(socket.get(), F_DUPFD_CLOEXEC, 0);
    }
    // Also one that this process has no descriptor left for is no socket.
    isRefused_ = descriptor < 0;
    if (!isRefused_) {
        return writer_.open(descriptor);
    }
    for (const auto& value : writer_.takeQueue()) {
        writeCommand(path, value);
    }
}

void Session::reacquire() {
    enqueue([this] {
        if (acquired_.empty() || writer_.isOpen()) {
            return finish();
        }
        acquire(acquired_, [this] { finish(); });
    });
}

void Session::wrote() {
    room_->give();
    announceRoom();
}

void Session::announceRoom() {
    if (room_->announce()) {
        peripheral_.tell([](Delegate& delegate, const PeripheralPointer& peripheral) {
            delegate.isReadyToSendWriteWithoutResponse(peripheral);
        });
    }
}

void Session::writeCommand(const std::string& path, const Bytes& value) {
    write(path, value, "command", [this](const Failure*) { wrote(); });
}

void Session::writeWithoutResponse(Bytes value, const CharacteristicPointer& characteristic) {
    const auto path = pathOf(characteristic);
    if (!path || !characteristic->canWriteWithoutResponse || value.size() > peripheral_.maximumWriteValueLength({})) {
        return wrote();
    }
    if (*path != acquired_ || isRefused_) {
        return writeCommand(*path, value);
    }
    const bool isClosed = !writer_.isOpen();
    writer_.write(std::move(value));
    if (isClosed) {
        reacquire();
    }
}

/// Commands leave before requests, so the answer to a request tells that they have left.
void Session::fence() {
    if (fencePath_.empty()) {
        host_.loop().post([this, alive = isAlive_] {
            if (*alive) {
                writer_.fenceReturned();
            }
        });
        return;
    }
    enqueue(
        [this] {
            if (fencePath_.empty()) {
                finish();
                return writer_.fenceReturned();
            }
            read(fencePath_, [this](const Bytes*, const Failure* failure) {
                if (failure) {
                    fencePath_.clear();
                }
                finish();
                writer_.fenceReturned();
            });
        },
        true);
}

} // namespace tarnel::bluez
