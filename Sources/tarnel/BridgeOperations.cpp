#include "Bridge.hpp"
#include "Operations.hpp"

#include <chrono>

namespace tarnel::command {
namespace {

JSON describe(const Parameter& parameter) {
    JSON::Object description{
        {"name", parameter.name}, {"is", parameter.description()}, {"required", parameter.isRequired}};
    if (!parameter.choices.empty()) {
        description.emplace_back("choices", JSON::Array(parameter.choices.begin(), parameter.choices.end()));
    }
    return description;
}

JSON help(Bridge&, const Arguments& arguments) {
    JSON::Array list;
    for (const Operation& operation : operations()) {
        if (arguments.has("about") && arguments.text("about") != operation.name) {
            continue;
        }
        JSON::Array parameters;
        for (const Parameter& parameter : operation.parameters) {
            parameters.push_back(describe(parameter));
        }
        list.emplace_back(
            JSON::Object{{"op", operation.name}, {"arguments", std::move(parameters)}, {"about", operation.about}});
    }
    if (list.empty()) {
        throw Failure(R"(there is no such operation; {"op": "help"} lists all)");
    }
    return list;
}

JSON wait(Bridge& bridge, const Arguments& arguments) {
    const std::chrono::duration<double> seconds(arguments.number("seconds"));
    bridge.surroundings().advance(std::chrono::duration_cast<platform::Duration>(seconds));
    return nullptr;
}

} // namespace

std::vector<Operation> bridgeOperations() {
    using namespace parameter;
    return {
        {"help", {optional(string("about"))}, "Lists the operations, or one, with their arguments.", help},
        {"wait",
         {number("seconds", 0, secondsOfDay)},
         "Lets time pass, which when simulated takes none. Events come meanwhile.",
         wait},
        {"idle",
         {},
         "Lets time pass until nothing is queued and the air is quiet, for at most 30 seconds (on the air --timeout) "
         "until a lost connection is back, and fails after 600 seconds (on the air 60) in which nothing moves.",
         [](Bridge& bridge, const Arguments&) -> JSON {
             bridge.surroundings().waitUntilIdle();
             return nullptr;
         }},
        {"now",
         {},
         "Gives the seconds that have passed.",
         [](Bridge& bridge, const Arguments&) -> JSON {
             return std::chrono::duration<double>(bridge.surroundings().now()).count();
         }},
        {"relaunch",
         {},
         "Ends the application and starts it again with its stored settings.",
         [](Bridge& bridge, const Arguments&) -> JSON {
             bridge.relaunch();
             return nullptr;
         }},
    };
}

} // namespace tarnel::command
