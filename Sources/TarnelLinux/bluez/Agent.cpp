#include <TarnelLinux/bluez/Agent.hpp>
#include <TarnelLinux/bluez/Names.hpp>

#include <cstdint>
#include <string>

namespace tarnel::bluez {
namespace {

constexpr const char* agentPath = "/org/tarnel/agent";

[[noreturn]] void reject() {
    throw sdbus::Error("org.bluez.Error.Rejected", "not a device of this application");
}

} // namespace

void Agent::expose(sdbus::IConnection* connection) {
    object_.reset();
    if (!connection) {
        return;
    }
    object_ = sdbus::createObject(*connection, agentPath);
    object_->registerMethod("Release").onInterface(agentInterface).implementedAs([] {});
    object_->registerMethod("Cancel").onInterface(agentInterface).implementedAs([] {});
    object_->registerMethod("RequestAuthorization")
        .onInterface(agentInterface)
        .implementedAs([this](const sdbus::ObjectPath& device) { require(device); });
    object_->registerMethod("RequestConfirmation")
        .onInterface(agentInterface)
        .implementedAs([this](const sdbus::ObjectPath& device, const std::uint32_t&) { require(device); });
    object_->registerMethod("AuthorizeService")
        .onInterface(agentInterface)
        .implementedAs([this](const sdbus::ObjectPath& device, const std::string&) { require(device); });
    object_->registerMethod("RequestPinCode")
        .onInterface(agentInterface)
        .implementedAs([](const sdbus::ObjectPath&) -> std::string { reject(); });
    object_->registerMethod("RequestPasskey")
        .onInterface(agentInterface)
        .implementedAs([](const sdbus::ObjectPath&) -> std::uint32_t { reject(); });
    object_->finishRegistration();
}

void Agent::require(const sdbus::ObjectPath& device) const {
    const Properties* properties = bus_.properties(device, deviceInterface);
    const auto address = properties ? valueOf<std::string>(*properties, "Address") : std::nullopt;
    if (!address || !accepts_(*address)) {
        reject();
    }
}

void Agent::enrol() {
    bus_.call(
        "/org/bluez", agentManagerInterface, "RegisterAgent",
        [](sdbus::MethodCall& message) { message << sdbus::ObjectPath(agentPath) << std::string("NoInputNoOutput"); },
        [](sdbus::MethodReply*, const Failure*) {
            // Without an agent, devices that need no pairing can still be used.
        });
}

void Agent::requestDefault() {
    bus_.call(
        "/org/bluez", agentManagerInterface, "RequestDefaultAgent",
        [](sdbus::MethodCall& message) { message << sdbus::ObjectPath(agentPath); },
        [](sdbus::MethodReply*, const Failure*) {
            // Then the desktop's agent asks the user.
        });
}

} // namespace tarnel::bluez
