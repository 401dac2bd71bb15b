#include "Bridge.hpp"
#include "Fonts.hpp"
#include "MessageJSON.hpp"
#include "Operations.hpp"
#include "Pictures.hpp"
#include "Text.hpp"

#include <TarnelSDK/device/Tarnel.hpp>
#include <TarnelSDK/messagepack/Pack.hpp>

#include <cstdint>

namespace tarnel::command {
namespace {

constexpr Cases<Layout, 5> layouts{{
    {"default", Layout::default_},
    {"textBottomLeftAlign", Layout::textBottomLeftAlign},
    {"textBottomCenterAlign", Layout::textBottomCenterAlign},
    {"navigation", Layout::navigation},
    {"canvas", Layout::canvas},
}};

constexpr Cases<Property, 4> properties{{
    {"deviceName", Property::deviceName},
    {"brightness", Property::brightness},
    {"version", Property::version},
    {"fontSize", Property::fontSize},
}};

constexpr Cases<ItemType, 5> itemTypes{{
    {"data", ItemType::data},
    {"noHeader", ItemType::noHeader},
    {"replaceable", ItemType::replaceable},
    {"control", ItemType::control},
    {"longwrite", ItemType::longwrite},
}};

constexpr auto smallestFontSize = static_cast<std::int64_t>(Glypher::minimumFontSize);
constexpr auto largestFontSize = static_cast<std::int64_t>(Glypher::maximumFontSize);

JSON setLayout(Bridge& bridge, const Arguments& arguments) {
    bridge.device()->setLayout(arguments.choice("layout", layouts), static_cast<unsigned>(arguments.integer("timeout")),
                               arguments.boolean("hideStatusBar"));
    return nullptr;
}

JSON sendTextAndImage(Bridge& bridge, const Arguments& arguments) {
    const auto device = bridge.device();
    std::optional<Image> icon;
    if (arguments.has("image")) {
        icon = readObjectPicture(arguments.text("image"));
    }
    device->sendTextAndImage(arguments.text("text"), icon);
    return nullptr;
}

JSON setCustomFontForAllText(Bridge& bridge, const Arguments& arguments) {
    const auto device = bridge.device();
    device->setCustomFontForAllText(arguments.has("font")
                                        ? std::optional(fontNamed(arguments.text("font"), device->glypher.fontSize()))
                                        : std::nullopt);
    return nullptr;
}

JSON data(Bridge& bridge, const Arguments&) {
    JSON::Object members;
    for (const auto& [key, value] : bridge.device()->data()) {
        members.emplace_back(key, toJSON(value));
    }
    return members;
}

JSON sendData(Bridge& bridge, const Arguments& arguments) {
    auto bytes = bytesFromHexadecimal(arguments.text("data")).value_or(Bytes());
    const auto device = bridge.device();
    if (arguments.has("type")) {
        device->sendData(std::move(bytes), arguments.choice("type", itemTypes));
    } else {
        device->sendData(std::move(bytes));
    }
    return nullptr;
}

/// An operation without arguments and result.
Operation plain(const char* name, const char* about, void (Tarnel::*operation)()) {
    return {name, {}, about, [operation](Bridge& bridge, const Arguments&) -> JSON {
                (bridge.device().get()->*operation)();
                return nullptr;
            }};
}

/// An operation that gives what `read` makes of the device.
template <typename Read>
Operation query(const char* name, const char* about, Read read) {
    return {name, {}, about, [read](Bridge& bridge, const Arguments&) -> JSON { return read(*bridge.device()); }};
}

std::vector<Operation> commands() {
    using namespace parameter;
    return {
        {"setLayout",
         {choice("layout", layouts), integer("timeout", 0, UINT32_MAX), boolean("hideStatusBar")},
         "Takes the display with a layout, for so many seconds; \"default\" gives it back.",
         setLayout},
        {"sendText",
         {string("text")},
         "Shows a text in the layouts \"textBottomLeftAlign\" and \"textBottomCenterAlign\".",
         [](Bridge& bridge, const Arguments& arguments) -> JSON {
             bridge.device()->sendText(arguments.text("text"));
             return nullptr;
         }},
        {"sendTextAndImage",
         {string("text"), optional(path("image"))},
         "Shows a text and an icon in the layout \"navigation\".",
         sendTextAndImage},
        {"setCustomFontForAllText",
         {optional(string("font"))},
         "The font that goes before all others in texts and labels, an installed family or a font file; none when left "
         "out.",
         setCustomFontForAllText},
        {"glypher.setFontSize",
         {number("size", smallestFontSize, largestFontSize)},
         "The size of texts and labels in pixels, 28 at first.",
         [](Bridge& bridge, const Arguments& arguments) -> JSON {
             bridge.device()->glypher.setFontSize(arguments.number("size"));
             return nullptr;
         }},
        {"glypher.setShouldGlyph",
         {boolean("shouldGlyph")},
         "Whether texts and labels are sent with fonts.",
         [](Bridge& bridge, const Arguments& arguments) -> JSON {
             bridge.device()->glypher.setShouldGlyph(arguments.boolean("shouldGlyph"));
             return nullptr;
         }},
        plain("screenOff", "Switches the display off.", &Tarnel::screenOff),
        plain("getSettings", "Asks for the settings, which come as events \"property\".", &Tarnel::getSettings),
        {"getIntProperty",
         {choice("property", properties)},
         "Gives what is known of a setting, null when that is no integer.",
         [](Bridge& bridge, const Arguments& arguments) {
             return orNull(bridge.device()->getIntProperty(arguments.choice("property", properties)));
         }},
        {"getStringProperty",
         {choice("property", properties)},
         "Gives what is known of a setting, null when that is no text.",
         [](Bridge& bridge, const Arguments& arguments) {
             return orNull(bridge.device()->getStringProperty(arguments.choice("property", properties)));
         }},
        {"setIntProperty",
         {choice("property", properties), integer("value")},
         "Changes a setting of the glasses.",
         [](Bridge& bridge, const Arguments& arguments) -> JSON {
             bridge.device()->setIntProperty(arguments.choice("property", properties), arguments.integer("value"));
             return nullptr;
         }},
        {"setStringProperty",
         {choice("property", properties), string("value")},
         "Changes a setting of the glasses.",
         [](Bridge& bridge, const Arguments& arguments) -> JSON {
             bridge.device()->setStringProperty(arguments.choice("property", properties), arguments.text("value"));
             return nullptr;
         }},
        {"sendData",
         {bytes("data"), optional(choice("type", itemTypes))},
         "Queues the bytes of one message.",
         sendData},
        {"sendTextData",
         {bytes("data")},
         "Queues the bytes of one message, which is dropped while an older one such waits.",
         [](Bridge& bridge, const Arguments& arguments) -> JSON {
             bridge.device()->sendTextData(bytesFromHexadecimal(arguments.text("data")).value_or(Bytes()));
             return nullptr;
         }},
        plain("connect", "Connects the linked glasses, and again after a loss.", &Tarnel::connect),
        plain("disconnect", "Ends the connection.", &Tarnel::disconnect),
        plain("unlinkDevice", "Forgets the linked glasses and does not connect them again.", &Tarnel::unlinkDevice),
        {"setShouldAutoReconnect",
         {boolean("shouldAutoReconnect")},
         "Whether the connection is made again after a loss.",
         [](Bridge& bridge, const Arguments& arguments) -> JSON {
             bridge.device()->setShouldAutoReconnect(arguments.boolean("shouldAutoReconnect"));
             return nullptr;
         }},
        {"setUnlinkOnDisconnect",
         {boolean("unlinkOnDisconnect")},
         "Whether any state but \"connected\" unlinks the glasses.",
         [](Bridge& bridge, const Arguments& arguments) -> JSON {
             bridge.device()->setUnlinkOnDisconnect(arguments.boolean("unlinkOnDisconnect"));
             return nullptr;
         }},
    };
}

std::vector<Operation> queries() {
    return {
        query("state", "Gives the connection's state.", [](const Tarnel& device) { return name(device.state()); }),
        query("isConnected", "Gives whether the glasses can be used.",
              [](const Tarnel& device) { return device.isConnected.value(); }),
        query("isAuthenticated", "Gives whether the session is usable.",
              [](const Tarnel& device) { return device.isAuthenticated(); }),
        query("isPaired", "Gives whether a session has been usable.",
              [](const Tarnel& device) { return device.isPaired(); }),
        query("shouldAutoReconnect", "Gives true or false.",
              [](const Tarnel& device) { return device.shouldAutoReconnect(); }),
        query("unlinkOnDisconnect", "Gives true or false.",
              [](const Tarnel& device) { return device.unlinkOnDisconnect(); }),
        query("batteryLevel", "Gives the per cent, -1 before the glasses have told.",
              [](const Tarnel& device) { return device.batteryLevel.value(); }),
        query("batteryChargeStatus", "Gives whether the battery charges.",
              [](const Tarnel& device) { return device.batteryChargeStatus.value(); }),
        query("layout", "Gives the layout last set, or null.",
              [](const Tarnel& device) {
                  const auto layout = device.layout();
                  return layout ? JSON(nameOf(*layout, layouts)) : JSON();
              }),
        query("hasControl", "Gives whether the display is this application's.",
              [](const Tarnel& device) { return device.hasControl(); }),
        query("getName", "Gives the name of the glasses.", [](const Tarnel& device) { return device.getName(); }),
        {"data", {}, "Gives what the glasses have told, by key.", data},
        query("revision", "Gives the revision of the glasses.",
              [](const Tarnel& device) { return rawValue(device.revision()); }),
        query("uuidString", "Gives the identity of the device.",
              [](const Tarnel& device) { return device.uuidString(); }),
        query("protocolVersion", "Gives 1 or 2, 0 without a connection.",
              [](const Tarnel& device) { return device.protocolVersion(); }),
        query("maxPayloadSize", "Gives the bytes of the largest single write.",
              [](const Tarnel& device) { return device.maxPayloadSize(); }),
        query("hasDataInOutgoingQueue", "Gives true or false.",
              [](const Tarnel& device) { return device.hasDataInOutgoingQueue(); }),
        query("pendingByteCount", "Gives the bytes that are queued.",
              [](const Tarnel& device) { return std::uint64_t{device.pendingByteCount()}; }),
    };
}

} // namespace

std::vector<Operation> deviceOperations() {
    auto all = commands();
    const auto more = queries();
    all.insert(all.end(), more.begin(), more.end());
    return all;
}

} // namespace tarnel::command
