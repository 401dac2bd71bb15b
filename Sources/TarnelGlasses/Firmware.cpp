#include <TarnelGlasses/Arguments.hpp>
#include <TarnelGlasses/CanvasCommands.hpp>
#include <TarnelGlasses/Chunks.hpp>
#include <TarnelGlasses/DisplayLayers.hpp>
#include <TarnelGlasses/Firmware.hpp>
#include <TarnelGlasses/FirmwareClock.hpp>
#include <TarnelGlasses/MessagePack.hpp>
#include <TarnelGlasses/ObjectCommands.hpp>
#include <TarnelGlasses/StatusBar.hpp>
#include <TarnelGlasses/TextCommands.hpp>
#include <TarnelGlasses/TextScreen.hpp>

#include <algorithm>
#include <deque>
#include <map>
#include <string_view>
#include <utility>

namespace tarnel::glasses {

namespace {

/// The application identifier that gives control back.
constexpr std::string_view noApplication = "tn";
constexpr int noLayout = 0;
constexpr int textLeftLayout = 1;
constexpr int textCenterLayout = 2;
constexpr int navigationLayout = 3;
constexpr int canvasLayout = 4;
constexpr std::int64_t maximumTimeout = UINT32_MAX;
/// Text that came from outside, fit for an error message.
std::string printable(const std::string& text) {
    auto shown = text.substr(0, 64);
    std::replace_if(
        shown.begin(), shown.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
    return shown;
}

template <typename T>
void record(std::deque<T>& records, T entry) {
    records.push_back(std::move(entry));
    if (records.size() > Firmware::maximumRecords) {
        records.pop_front();
    }
}

/// The records that are kept, of `count` in all, without the first `seen`.
template <typename T>
std::vector<T> unseen(const std::deque<T>& records, std::size_t count, std::size_t seen) {
    const std::size_t forgotten = count - records.size();
    const std::size_t skipped = std::min(records.size(), seen > forgotten ? seen - forgotten : 0);
    return {records.begin() + static_cast<std::ptrdiff_t>(skipped), records.end()};
}

} // namespace

class Firmware::State : public std::enable_shared_from_this<State> {
public:
    State(const GlassesOptions& options, Output output)
        : output_(std::move(output)), lvglVersion_(options.lvglVersion), batteryLevel_(options.batteryLevel),
          isCharging_(options.isCharging) {
        properties_.emplace("dev_name", options.name);
        properties_.emplace("led", options.brightness);
        properties_.emplace("app_ver", options.firmwareVersion);
        properties_.emplace("nav_y_offset", options.navigationOffset);
    }

    void take(const ChunkJoiner::Message& message);
    /// Sends the message with this one entry.
    void answer(const std::string& key, Value value);
    void send(const std::vector<Bytes>& messages);
    void loseControl();
    void displayTimeout();
    void darken();
    void statusChanged();
    Frame frame() const;
    std::optional<platform::Duration> nextFrameChange() const;

    Output output_;
    const LvglVersion lvglVersion_;
    int batteryLevel_;
    bool isCharging_;
    std::size_t notifications_ = 0;                 ///< of the host
    std::optional<std::size_t> maximumValueLength_; ///< while connected
    ChunkJoiner joiner_{maximumMessageSize};
    ChunkCutter cutter_;

    std::map<std::string, Value> properties_;
    FirmwareClock clock_;
    std::optional<std::string> owner_;
    bool isOwnerConnected_ = false; ///< the owner is the application at the other end of the connection
    int layout_ = noLayout;
    bool hidesStatusBar_ = false;
    bool isLit_ = false;
    DisplayLayers layers_;       ///< of the canvas layout
    TextScreen textScreen_;      ///< of the other layouts
    std::uint64_t timeouts_ = 0; ///< tells the pending time-out from earlier ones

    std::deque<ReceivedMessage> received_;
    std::size_t receivedCount_ = 0;
    std::deque<CommandError> errors_;
    std::size_t errorCount_ = 0;

private:
    using Handler = void (State::*)(const Value&);
    using Handlers = std::map<std::string_view, Handler>;
    static const Handlers& commands();

    void dispatch(const std::string& name, const Value& value);
    void fail(CommandErrorCode code, std::string text);

    void control(const Value& value);
    void request(const Value& value);
    void setName(const Value& value) { properties_["dev_name"] = requireText(value); }
    void setBrightness(const Value& value) { properties_["led"] = requireInteger(value, 0, INT32_MAX); }
    void setVersion(const Value& value) { properties_["app_ver"] = requireInteger(value, INT32_MIN, INT32_MAX); }
    void setFontSize(const Value& value) { properties_["fontSize"] = requireInteger(value, 0, INT32_MAX); }
    void setNavigationOffset(const Value& value);
    void setTime(const Value& value);
    void screenOff(const Value& value);

    void canvas(const Value& value);
    void objects(const Value& value);
    void textLeft(const Value& value) { showText(value, textLeftLayout, LvglAlignment::left); }
    void textCenter(const Value& value) { showText(value, textCenterLayout, LvglAlignment::center); }
    void showText(const Value& value, int layout, LvglAlignment alignment);
    void icon(const Value& value);
    void navigation(const Value& value);
    void answerRefused(const std::optional<std::string>& font);
    bool hasStatusBar() const { return layout_ != noLayout && layout_ != canvasLayout && !hidesStatusBar_; }
    void requireControl(int layout) const;
    void light();

    void startTimeout(std::int64_t seconds);
};

const Firmware::State::Handlers& Firmware::State::commands() {
    static const Handlers handlers = {
        {"control", &State::control},
        {"req", &State::request},
        {"dev_name", &State::setName},
        {"led", &State::setBrightness},
        {"app_ver", &State::setVersion},
        {"fontSize", &State::setFontSize},
        {"nav_y_offset", &State::setNavigationOffset},
        {"set_time", &State::setTime},
        {"screen_off", &State::screenOff},
        {"canvas", &State::canvas},
        {"lvgl_obj", &State::objects},
        {"tbla", &State::textLeft},
        {"tbca", &State::textCenter},
        {"icon", &State::icon},
        {"nav", &State::navigation},
    };
    return handlers;
}

void Firmware::State::take(const ChunkJoiner::Message& message) {
    ++receivedCount_;
    if (message.isTooLong) {
        record(received_, {message.bytes, {}});
        return fail(CommandErrorCode::unknownCommand, "message too long");
    }
    auto value = unpackMessage(message.bytes);
    record(received_, {message.bytes, value.value_or(Value())});
    if (!value || value->dictionary() == nullptr || value->dictionary()->size() != 1) {
        return fail(CommandErrorCode::unknownCommand, "not a message");
    }
    const auto& [name, argument] = *value->dictionary()->begin();
    try {
        dispatch(name, argument);
    } catch (const CommandFailure& failure) {
        fail(CommandErrorCode::failedCommand, name + ": " + failure.what());
    } catch (const UnknownCommand& unknown) {
        fail(CommandErrorCode::unknownCommand, "unknown command: " + printable(unknown.name));
    }
}

void Firmware::State::dispatch(const std::string& name, const Value& value) {
    const auto handler = commands().find(name);
    if (handler == commands().end()) {
        throw UnknownCommand{name};
    }
    (this->*handler->second)(value);
}

void Firmware::State::fail(CommandErrorCode code, std::string text) {
    ++errorCount_;
    Value::Array report;
    report.emplace_back(static_cast<int>(code));
    report.emplace_back(text);
    answer("cmp_err", std::move(report));
    record(errors_, {code, std::move(text)});
}

void Firmware::State::answer(const std::string& key, Value value) {
    Value::Dictionary message;
    message.emplace(key, std::move(value));
    send({packMessage(message)});
}

void Firmware::State::send(const std::vector<Bytes>& messages) {
    if (!maximumValueLength_) {
        return;
    }
    for (auto& chunk : cutter_.cut(messages, *maximumValueLength_)) {
        output_.notify(std::move(chunk));
    }
}

void Firmware::State::control(const Value& value) {
    const auto& elements = requireArray(value, {5});
    requireBool(elements[0]);
    const auto timeout = requireInteger(elements[1], 0, maximumTimeout);
    const auto layout = static_cast<int>(requireInteger(elements[2], noLayout, canvasLayout));
    const auto application = requireText(elements[3]);
    const bool hidesStatusBar = requireBool(elements[4]);
    if ((layout == noLayout) != (application == noApplication)) {
        throw CommandFailure("layout and application do not agree");
    }
    loseControl();
    if (layout != noLayout) {
        owner_ = application;
        isOwnerConnected_ = true;
        layout_ = layout;
        hidesStatusBar_ = hidesStatusBar;
    }
    startTimeout(timeout);
    light();
}

void Firmware::State::startTimeout(std::int64_t seconds) {
    if (seconds == 0) {
        return;
    }
    output_.after(std::chrono::seconds(seconds), [weak = weak_from_this(), timeout = timeouts_] {
        const auto self = weak.lock();
        if (!self || self->timeouts_ != timeout) {
            return;
        }
        if (self->owner_) {
            self->displayTimeout();
        } else {
            self->darken();
        }
    });
}

void Firmware::State::loseControl() {
    ++timeouts_;
    owner_.reset();
    isOwnerConnected_ = false;
    layout_ = noLayout;
    hidesStatusBar_ = false;
    layers_.reset();
    textScreen_.reset();
}

void Firmware::State::displayTimeout() {
    loseControl();
    darken();
    answer("disp_timeout", {});
}

void Firmware::State::darken() {
    isLit_ = false;
    output_.frameChanged();
}

void Firmware::State::request(const Value& value) {
    enum PropertyType : std::int64_t { text, integer };
    std::vector<std::string> keys;
    for (const auto& element : requireArray(value)) {
        const auto& pair = requireArray(element, {2});
        const auto type = requireInteger(pair[0], text, integer);
        const auto key = requireText(pair[1]);
        const auto property = properties_.find(key);
        if (property == properties_.end()) {
            throw CommandFailure("no property " + printable(key));
        }
        if (property->second.string().has_value() != (type == text)) {
            throw CommandFailure("wrong type for " + key);
        }
        keys.push_back(key);
    }
    for (const auto& key : keys) {
        answer(key, properties_.at(key));
    }
}

void Firmware::State::setNavigationOffset(const Value& value) {
    properties_["nav_y_offset"] = requireInteger(value, INT32_MIN, INT32_MAX);
    if (layout_ == navigationLayout) {
        output_.frameChanged();
    }
}

void Firmware::State::setTime(const Value& value) {
    if (!clock_.set(requireText(value), output_.now())) {
        throw CommandFailure("no date and time");
    }
    statusChanged();
}

void Firmware::State::screenOff(const Value& value) {
    requireNil(value);
    darken();
}

/// Throws unless the application at the other end has the display, with this layout.
void Firmware::State::requireControl(int layout) const {
    if (!isOwnerConnected_ || layout_ != layout) {
        throw CommandFailure("no control of the layout");
    }
}

void Firmware::State::light() {
    isLit_ = true;
    output_.frameChanged();
}

void Firmware::State::canvas(const Value& value) {
    requireCommand(value);
    requireControl(canvasLayout);
    if (performCanvasCommand(value, layers_)) {
        light();
    }
}

void Firmware::State::objects(const Value& value) {
    requireControl(canvasLayout);
    const auto commands = parseObjectCommands(value, lvglVersion_);
    layers_.changeObjects(commands, output_.now());
    for (const auto& reason : commands.refusedFonts) {
        answer("font", reason);
    }
    if (commands.flushes) {
        light();
    } else {
        output_.frameChanged();
    }
}

void Firmware::State::showText(const Value& value, int layout, LvglAlignment alignment) {
    requireControl(layout);
    auto command = parseText(value, lvglVersion_);
    textScreen_.showText(std::move(command.text), alignment);
    answerRefused(command.refusedFont);
    light();
}

void Firmware::State::icon(const Value& value) {
    requireControl(navigationLayout);
    textScreen_.setIcon(parseIcon(value));
    output_.frameChanged();
}

void Firmware::State::navigation(const Value& value) {
    requireControl(navigationLayout);
    auto command = parseNavigation(value, lvglVersion_);
    textScreen_.showNavigation(std::move(command.text.text), command.showsIcon);
    answerRefused(command.text.refusedFont);
    light();
}

void Firmware::State::answerRefused(const std::optional<std::string>& font) {
    if (font) {
        answer("font", *font);
    }
}

void Firmware::State::statusChanged() {
    if (hasStatusBar()) {
        output_.frameChanged();
    }
}

Frame Firmware::State::frame() const {
    if (!isLit_) {
        return {};
    }
    if (layout_ == canvasLayout) {
        return layers_.visible(output_.now());
    }
    Frame frame;
    if (hasStatusBar()) {
        const StatusBar bar{.time = clock_.at(output_.now()),
                            .batteryLevel = batteryLevel_,
                            .isCharging = isCharging_,
                            .notifications = notifications_};
        bar.draw(frame);
    }
    textScreen_.draw(frame, properties_.at("nav_y_offset").integer().value_or(0));
    return frame;
}

std::optional<platform::Duration> Firmware::State::nextFrameChange() const {
    if (!isLit_) {
        return std::nullopt;
    }
    if (layout_ == canvasLayout) {
        return layers_.nextChange(output_.now());
    }
    return hasStatusBar() ? clock_.untilNextMinute(output_.now()) : std::nullopt;
}

Firmware::Firmware(const GlassesOptions& options, Output output)
    : state_(std::make_shared<State>(options, std::move(output))) {}

Firmware::~Firmware() = default;

void Firmware::connected(std::size_t maximumValueLength) {
    state_->maximumValueLength_ = maximumValueLength;
}

void Firmware::disconnected() {
    state_->maximumValueLength_.reset();
    state_->joiner_.clear();
    state_->loseControl();
    state_->darken();
}

void Firmware::restart() {
    disconnected();
    state_->clock_.forget();
}

void Firmware::receive(ByteView value) {
    if (const auto message = state_->joiner_.add(value)) {
        state_->take(*message);
    }
}

void Firmware::send(ByteView message) {
    state_->send({Bytes(message.begin(), message.end())});
}

void Firmware::sendInterleaved(const std::vector<Bytes>& messages) {
    state_->send(messages);
}

void Firmware::tap(std::int64_t count) {
    state_->answer("tap", count);
}

void Firmware::powerButton(std::int64_t count) {
    state_->answer("power_btn", count);
}

void Firmware::requestTime() {
    state_->answer("time_req", {});
}

void Firmware::setBattery(int level, bool isCharging) {
    state_->batteryLevel_ = level;
    state_->isCharging_ = isCharging;
    state_->statusChanged();
}

void Firmware::setNotificationCount(std::size_t count) {
    state_->notifications_ = count;
    state_->statusChanged();
}

void Firmware::takeControl(const std::string& application) {
    state_->loseControl();
    state_->owner_ = application;
    state_->output_.frameChanged();
    state_->answer("control", application);
}

void Firmware::displayTimeout() {
    state_->displayTimeout();
}

Frame Firmware::frame() const {
    return state_->frame();
}

std::optional<platform::Duration> Firmware::nextFrameChange() const {
    return state_->nextFrameChange();
}

bool Firmware::isDisplayOn() const {
    return state_->isLit_;
}

const std::optional<std::string>& Firmware::controlOwner() const {
    return state_->owner_;
}

int Firmware::layout() const {
    return state_->layout_;
}

bool Firmware::hidesStatusBar() const {
    return state_->hidesStatusBar_;
}

const std::optional<std::string>& Firmware::time() const {
    return state_->clock_.text();
}

std::optional<std::string> Firmware::clock() const {
    return state_->clock_.at(state_->output_.now());
}

std::optional<Value> Firmware::property(const std::string& key) const {
    const auto property = state_->properties_.find(key);
    return property == state_->properties_.end() ? std::nullopt : std::optional(property->second);
}

std::vector<ReceivedMessage> Firmware::receivedMessages(std::size_t seen) const {
    return unseen(state_->received_, state_->receivedCount_, seen);
}

std::size_t Firmware::receivedCount() const {
    return state_->receivedCount_;
}

std::vector<CommandError> Firmware::errors(std::size_t seen) const {
    return unseen(state_->errors_, state_->errorCount_, seen);
}

std::size_t Firmware::errorCount() const {
    return state_->errorCount_;
}

} // namespace tarnel::glasses
