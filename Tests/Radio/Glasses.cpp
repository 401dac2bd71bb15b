#include "Glasses.hpp"

#include "Stack.hpp"

#include <fstream>
#include <iterator>
#include <map>
#include <sstream>
#include <stdexcept>

namespace tarnel::radio {

Glasses::Glasses(const std::vector<std::string>& arguments) {
    std::vector<std::string> command{RADIO_GLASSES};
    command.insert(command.end(), arguments.begin(), arguments.end());
    process_ = std::make_unique<Process>(
        command, Process::Options{.log = Stack::folder() + "/glasses.log", .isConversing = true});
    if (process_->readLine(std::chrono::seconds(20)) != "ready") {
        throw std::runtime_error("the glasses do not start");
    }
}

void Glasses::tell(const std::string& line) {
    const auto answer = process_->ask(line);
    if (answer != "ok") {
        throw std::runtime_error("the glasses answer \"" + answer.value_or("(nothing)") + "\" to \"" + line + "\"");
    }
}

Glasses::Description Glasses::describe() {
    const auto answer = process_->ask("describe");
    if (!answer) {
        throw std::runtime_error("the glasses do not answer");
    }
    std::map<std::string, std::int64_t> fields;
    std::istringstream text(*answer);
    for (std::string word; text >> word;) {
        const auto equals = word.find('=');
        fields[word.substr(0, equals)] = std::stoll(word.substr(equals + 1));
    }
    const auto number = [&](const char* name) { return static_cast<std::uint64_t>(fields.at(name)); };
    const auto time = [&](const char* name) {
        return std::chrono::steady_clock::time_point(std::chrono::nanoseconds(fields.at(name)));
    };
    return {.isSettled = fields.at("settled") != 0,
            .isConnected = fields.at("connected") != 0,
            .connections = number("connections"),
            .values = number("values"),
            .bytes = number("bytes"),
            .longest = number("longest"),
            .misplaced = number("misplaced"),
            .valueLength = number("valueLength"),
            .messages = number("messages"),
            .errors = number("errors"),
            .isLit = fields.at("lit") != 0,
            .layout = static_cast<int>(fields.at("layout")),
            .first = time("first"),
            .last = time("last"),
            .advertised = time("advertised")};
}

Bytes Glasses::frame() {
    const std::string path = Stack::folder() + "/frame";
    tell("frame " + path);
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

} // namespace tarnel::radio
