#include "Bridge.hpp"

#include "Failure.hpp"
#include "Files.hpp"
#include "Operations.hpp"
#include "Simulation.hpp"

#include <algorithm>

namespace tarnel::command {
namespace {

constexpr const char* operationKey = "op";

const Operation& operationNamed(const JSON* name) {
    if (!name) {
        throw Failure(R"("op" is missing: a line is {"op": name, argument: value, ...}; {"op": "help"} lists them)");
    }
    const auto* text = name->string();
    const auto found = std::find_if(operations().begin(), operations().end(),
                                    [&](const Operation& operation) { return text && operation.name == *text; });
    if (found == operations().end()) {
        constexpr std::size_t longest = 60;
        const bool isShort = text && text->size() <= longest;
        throw Failure("there is no such operation" + (isShort ? " as \"" + *text + "\"" : "") +
                      R"(; {"op": "help"} lists them)");
    }
    return *found;
}

} // namespace

Bridge::Bridge(Surroundings& surroundings, bool logs)
    : surroundings_(surroundings), logs_(logs),
      events_(std::make_unique<BridgeEvents>([this](JSON::Object event) { emit(std::move(event)); }, logs)) {}

JSON Bridge::answer(std::uint64_t number, std::string_view line) {
    JSON::Object answer{{"line", number}};
    try {
        answer.emplace_back("result", perform(line));
    } catch (const Failure& failure) {
        answer.emplace_back("error", failure.what());
    }
    return answer;
}

JSON Bridge::perform(std::string_view line) {
    if (line.find_first_not_of(" \t\r") == std::string_view::npos) {
        throw Failure(R"(the line is empty; {"op": "help"} lists what can be asked for)");
    }
    JSON request = parseJSON(line);
    auto* members = request.object();
    if (!members) {
        throw Failure(std::string("the line is ") + request.kind() + R"(, not an object like {"op": "help"})");
    }
    const Operation& operation = operationNamed(request.find(operationKey));
    std::erase_if(*members, [](const JSON::Member& member) { return member.first == operationKey; });
    operation.check(*members);
    JSON result = operation.perform(*this, Arguments(*members));
    surroundings_.run();
    return result;
}

Simulation& Bridge::simulation() {
    auto* simulation = surroundings_.simulation();
    if (!simulation) {
        throw Failure("this is for simulated glasses; give --simulated");
    }
    return *simulation;
}

void Bridge::later(std::function<void()> task) {
    platform::Platform::current().services().scheduler->mainQueue()->async(std::move(task));
}

void Bridge::emit(JSON::Object event) {
    if (outputFailure_) {
        return;
    }
    try {
        writeOutput(text(std::move(event)) + "\n");
    } catch (const Failure&) {
        // Thrown on: this is called in blocks of the SDK, which have no use for it.
        outputFailure_ = std::current_exception();
    }
}

void Bridge::requireOutput() const {
    if (outputFailure_) {
        std::rethrow_exception(outputFailure_);
    }
}

std::shared_ptr<Tarnel> Bridge::device() const {
    auto device = surroundings_.device();
    if (!device) {
        throw Failure(R"(no glasses are linked; use "startScan", "wait" and "link" first)");
    }
    return device;
}

void Bridge::found(const platform::PeripheralPointer& peripheral) {
    const std::string identifier = peripheral->identifier().string();
    scanned_[identifier] = peripheral;
    lastScanned_ = peripheral;
    const auto name = peripheral->name();
    emit({{"event", "scanned"}, {"device", identifier}, {"name", name ? JSON(*name) : JSON()}});
}

platform::PeripheralPointer Bridge::scanned(const std::optional<std::string>& identifier) const {
    if (!lastScanned_) {
        throw Failure(R"(no glasses have been found yet; use "startScan", then "wait" until the event "scanned")");
    }
    if (!identifier) {
        return lastScanned_;
    }
    const auto found = scanned_.find(*identifier);
    if (found == scanned_.end()) {
        throw Failure(R"(no glasses of that identifier have been found; the event "scanned" tells it as "device")");
    }
    return found->second;
}

void Bridge::relaunch() {
    events_ = nullptr;
    scanned_.clear();
    lastScanned_ = nullptr;
    surroundings_.relaunch();
    events_ = std::make_unique<BridgeEvents>([this](JSON::Object event) { emit(std::move(event)); }, logs_);
}

} // namespace tarnel::command
