#include <TarnelSDK/device/DeviceHosts.hpp>
#include <TarnelSDK/device/Tarnel.hpp>
#include <TarnelSDK/foundation/Log.hpp>
#include <TarnelSDK/foundation/UTF8.hpp>
#include <TarnelSDK/images/UIImage+Extension.hpp>
#include <TarnelSDK/messagepack/Pack.hpp>

#include <array>
#include <cstdio>
#include <utility>

namespace tarnel {
namespace {

constexpr const char* controlKey = "control";
constexpr const char* requestKey = "req";
constexpr const char* screenOffKey = "screen_off";
constexpr const char* setTimeKey = "set_time";
constexpr const char* leftTextKey = "tbla";
constexpr const char* centerTextKey = "tbca";
constexpr const char* iconKey = "icon";
constexpr const char* navigationKey = "nav";

constexpr unsigned navigationWithIcon = 9;
constexpr unsigned navigationWithoutIcon = 0;

/// Keys that are stored of what the glasses report, far more than they have.
constexpr std::size_t mostStoredKeys = 256;

struct RequestedProperty {
    const char* key;
    TarnelPropertyType type;
};

constexpr std::array<RequestedProperty, 4> requestedProperties{{
    {"dev_name", TarnelPropertyType::string},
    {"led", TarnelPropertyType::integer},
    {"app_ver", TarnelPropertyType::integer},
    {"nav_y_offset", TarnelPropertyType::integer},
}};

/// Tells the glasses that no application holds the display any more.
constexpr const char* noApplication = "tn";

constexpr const char* defaultName = "Brenlo Glasses";

/// "yyyyMMdd'T'HHmmss"
std::string formatted(const platform::LocalTime& time) {
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%04d%02d%02dT%02d%02d%02d", time.year, time.month, time.day, time.hour,
                  time.minute, time.second);
    return text.data();
}

} // namespace

void Tarnel::send(std::string_view key, MessagePackValue value) {
    sendData(pack(MessagePackValue::map({{key, std::move(value)}})));
}

void Tarnel::setLayout(Layout layout, unsigned timeout, bool hideStatusBar) {
    const auto& application = *platform::Platform::current().services().application;
    auto identifier = application.bundleIdentifier();
    if (!identifier) {
        return;
    }
    const bool takesControl = layout != Layout::default_;
    if (takesControl && application.state() == platform::ApplicationState::background) {
        return;
    }
    {
        const std::lock_guard lock(mutex_);
        layout_ = layout;
        hasControl_ = takesControl;
    }
    send(controlKey, MessagePackValue::array({
                         false,
                         timeout,
                         static_cast<unsigned>(layout),
                         takesControl ? *identifier : noApplication,
                         hideStatusBar,
                     }));
    if (layout == Layout::canvas) {
        canvas.reset();
    }
}

MessagePackValue Tarnel::textWithFont(const std::string& text) {
    MessagePackValue::Array elements{text};
    const auto& application = *platform::Platform::current().services().application;
    if (auto font = glypher.toBinFont(text, application.locale())) {
        elements.emplace_back(*std::move(font));
    }
    return elements;
}

void Tarnel::sendText(const std::string& text) {
    const auto current = layout();
    if (current != Layout::textBottomLeftAlign && current != Layout::textBottomCenterAlign) {
        return;
    }
    const char* key = current == Layout::textBottomLeftAlign ? leftTextKey : centerTextKey;
    sendTextData(pack(MessagePackValue::map({{key, textWithFont(text)}})));
}

void Tarnel::sendTextAndImage(const std::string& text, const std::optional<Image>& image) {
    if (layout() != Layout::navigation) {
        return;
    }
    if (auto icon = image ? toTNImage(*image, 1) : std::nullopt) {
        send(iconKey, *std::move(icon));
    }
    send(navigationKey,
         MessagePackValue::array({image ? navigationWithIcon : navigationWithoutIcon, textWithFont(text)}));
}

void Tarnel::setCustomFontForAllText(std::optional<Font> font) {
    glypher.setCustomFont(std::move(font));
}

void Tarnel::screenOff() {
    send(screenOffKey, nullptr);
}

void Tarnel::getSettings() {
    MessagePackValue::Array pairs;
    for (const auto& [key, type] : requestedProperties) {
        pairs.push_back(MessagePackValue::array({static_cast<unsigned>(type), key}));
    }
    send(requestKey, std::move(pairs));
}

std::optional<std::int64_t> Tarnel::getIntProperty(Property property) const {
    const std::lock_guard lock(mutex_);
    const auto found = data_.find(std::string(rawValue(property)));
    return found == data_.end() ? std::nullopt : found->second.integer();
}

std::optional<std::string> Tarnel::getStringProperty(Property property) const {
    const std::lock_guard lock(mutex_);
    const auto found = data_.find(std::string(rawValue(property)));
    return found == data_.end() ? std::nullopt : found->second.string();
}

void Tarnel::setIntProperty(Property property, std::int64_t value) {
    storeData(std::string(rawValue(property)), value);
    send(rawValue(property), value);
}

void Tarnel::setStringProperty(Property property, std::string value) {
    storeData(std::string(rawValue(property)), value);
    send(rawValue(property), std::move(value));
}

void Tarnel::storeData(const std::string& key, Value value) {
    const std::lock_guard lock(mutex_);
    if (data_.size() < mostStoredKeys || data_.contains(key) || propertyFromRawValue(key)) {
        data_.insert_or_assign(key, std::move(value));
    }
}

std::string Tarnel::getName() const {
    if (auto name = getStringProperty(Property::deviceName); name && !name->empty()) {
        return *std::move(name);
    }
    const auto currentPeripheral = peripheral();
    if (auto name = currentPeripheral ? currentPeripheral->name() : peripheralName(); name && isValidUTF8(*name)) {
        return *std::move(name);
    }
    return defaultName;
}

void Tarnel::setTime() {
    const auto& clock = *platform::Platform::current().services().clock;
    const std::string date = formatted(clock.localTime(clock.now()));
    log("{\"set_time\": \"" + date + "\"}", {"setTime()", "Tarnel"});
    send(setTimeKey, date);
}

void Tarnel::connect() {
    setShouldAutoReconnect(true);
    if (const auto central = platform::Provided<DeviceCentral>::get()) {
        central->connect(shared_from_this());
    }
}

void Tarnel::disconnect() {
    {
        const std::lock_guard channelLock(channelMutex_);
        pendingRead_ = false;
        const std::lock_guard lock(mutex_);
        inCharacteristic_ = nullptr;
        outCharacteristic_ = nullptr;
    }
    setIsAuthenticated(false);
    {
        const std::lock_guard lock(mutex_);
        protocolVersion_ = 0;
    }
    if (const auto central = platform::Provided<DeviceCentral>::get()) {
        central->disconnect(shared_from_this());
    }
}

void Tarnel::unlinkDevice() {
    const auto self = shared_from_this();
    setUnlinkOnDisconnect(false);
    if (const auto registry = platform::Provided<DeviceRegistry>::get()) {
        registry->unlinkDevice(self);
    }
    {
        const std::lock_guard lock(mutex_);
        shouldAutoReconnect_ = false;
        peripheralID_ = std::nullopt;
        peripheralName_ = std::nullopt;
    }
    disconnect();
}

} // namespace tarnel
