#include "DoctorOptions.hpp"
#include "Failure.hpp"
#include "Files.hpp"
#include "JSON.hpp"
#include "NativePlatform.hpp"
#include "OnTheAir.hpp"
#include "Text.hpp"

#include <TarnelLinux/BluetoothDoctor.hpp>
#include <TarnelLinux/UserFolders.hpp>

#include <algorithm>
#include <string>
#include <vector>

namespace tarnel::command {
namespace {

using Result = Finding::Result;

const char* nameOf(Result result) {
    switch (result) {
    case Result::ok:
        return "ok";
    case Result::problem:
        return "problem";
    case Result::notChecked:
        break;
    }
    return "not checked";
}

std::optional<std::string> linkedAddress() {
    const OnTheAir surroundings(AirOptions(), OnTheAir::Connections::none);
    const auto device = surroundings.device();
    const auto identifier = device ? device->peripheralID() : std::nullopt;
    return identifier ? NativePlatform::addressOf(*identifier) : std::nullopt;
}

std::size_t problemsIn(const std::vector<Finding>& findings) {
    return static_cast<std::size_t>(std::count_if(
        findings.begin(), findings.end(), [](const Finding& finding) { return finding.result == Result::problem; }));
}

JSON toJSON(const std::vector<Finding>& findings) {
    JSON::Array checks;
    for (const auto& finding : findings) {
        checks.push_back(JSON::Object{{"check", finding.check},
                                      {"result", nameOf(finding.result)},
                                      {"text", finding.text},
                                      {"remedy", finding.remedy.empty() ? JSON() : JSON(finding.remedy)}});
    }
    return JSON::Object{{"ok", problemsIn(findings) == 0}, {"checks", std::move(checks)}};
}

/// A line a finding, and one for its remedy. Checks that were left out for one reason share a line.
std::string linesOf(const std::vector<Finding>& findings) {
    std::string lines;
    for (std::size_t at = 0; at < findings.size(); ++at) {
        const auto& finding = findings[at];
        std::string names = finding.check;
        while (finding.result == Result::notChecked && at + 1 < findings.size() &&
               findings[at + 1].result == Result::notChecked && findings[at + 1].text == finding.text) {
            names += ", " + findings[++at].check;
        }
        lines += nameOf(finding.result) + std::string(": ") + names + ": " + printable(finding.text) + "\n";
        if (!finding.remedy.empty()) {
            lines += "    " + printable(finding.remedy) + "\n";
        }
    }
    return lines;
}

void diagnose(const DoctorOptions& options) {
    reserveStandardOutput();
    const auto configuration = configurationFolder(processEnvironment());
    // Before the settings are opened, which mends damage.
    const auto settings =
        examineSettings(configuration ? std::optional(*configuration / applicationIdentifier) : std::nullopt);
    const bool isReadable = settings.result != Result::problem;
    auto findings =
        examineBluetooth({.adapter = options.adapter, .linkedAddress = isReadable ? linkedAddress() : std::nullopt});
    findings.push_back(settings);
    writeOutput(options.asJSON ? text(toJSON(findings)) + "\n" : linesOf(findings));
    if (const auto problems = problemsIn(findings); problems > 0) {
        throw Failure(problems == 1 ? "there is 1 problem" : "there are " + std::to_string(problems) + " problems");
    }
}

} // namespace

void addDoctor(CLI::App& app, Action& action) {
    addDoctor(app, action, diagnose);
}

} // namespace tarnel::command
