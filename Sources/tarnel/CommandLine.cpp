#include "CommandLine.hpp"

#include "Commands.hpp"
#include "Failure.hpp"
#include "Files.hpp"
#include "NativePlatform.hpp"
#include "Options.hpp"
#include "Text.hpp"
#include "Window.hpp"

#include <algorithm>
#include <csignal>
#include <iostream>

namespace tarnel::command {
namespace {

constexpr int succeeded = 0;
constexpr int failed = 1;
constexpr int calledWrongly = 2;
/// As shells tell of a program that a signal ended.
constexpr int signalled = 128;

std::string helpOf(const CLI::App& command) {
    return command.get_formatter()->make_help(&command, command.get_name(), CLI::AppFormatMode::Normal);
}

/// The command that words name, the program itself for none.
const CLI::App& commandNamed(const CLI::App& app, const std::vector<std::string>& words) {
    const CLI::App* command = &app;
    for (const auto& word : words) {
        const auto commands =
            command->get_subcommands([&](const CLI::App* other) { return other->get_name() == word; });
        if (commands.empty()) {
            throw UsageError("there is no command \"" + word + "\"");
        }
        command = commands.front();
    }
    return *command;
}

void addHelp(CLI::App& app, Action& action) {
    auto words = std::make_shared<std::vector<std::string>>();
    auto* help = app.add_subcommand("help", "The help of a command");
    help->formatter(usage("Usage: tarnel help [COMMAND...]"));
    help->add_option("COMMAND", *words, "E.g. message encode")->type_name("");
    help->callback(
        [&app, words, &action] { action = [&app, words] { writeOutput(helpOf(commandNamed(app, *words))); }; });
}

/// The program and the commands that were called, one within the other.
std::vector<const CLI::App*> calledCommands(const CLI::App& app) {
    std::vector<const CLI::App*> commands{&app};
    for (auto called = app.get_subcommands(); !called.empty(); called = called.front()->get_subcommands()) {
        commands.push_back(called.front());
    }
    return commands;
}

/// "tarnel message encode", as far as the words were understood.
std::string calledCommand(const CLI::App& app) {
    std::string words;
    for (const auto* command : calledCommands(app)) {
        words += (words.empty() ? "" : " ") + command->get_name();
    }
    return words;
}

/// Throws `UsageError` for a word that is the name of nothing: an option, or a command where one is due.
void requireKnownNames(const CLI::App& app) {
    const auto* command = calledCommands(app).back();
    const bool takesCommand = !command->get_subcommands([](const CLI::App*) { return true; }).empty();
    for (const auto& word : app.remaining(true)) {
        if (word.size() > 1 && word.front() == '-') {
            throw UsageError("there is no option \"" + word + "\"");
        }
        if (takesCommand) {
            throw UsageError("there is no command \"" + word + "\"");
        }
    }
}

std::string oneLine(std::string text) {
    std::replace(text.begin(), text.end(), '\n', ' ');
    return text;
}

std::string seeHelp(const CLI::App& app) {
    return "; see " + calledCommand(app) + " --help";
}

int report(const std::string& what, int status) {
    std::cerr << "tarnel: " << printable(what) << '\n';
    return status;
}

/// What the arguments ask for; parsing them sets the action.
void perform(CLI::App& app, const Action& action, int argc, const char* const* argv) {
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp&) {
        return writeOutput(app.help());
    } catch (const CLI::CallForVersion& version) {
        return writeOutput(version.what() + std::string("\n"));
    } catch (const CLI::ParseError&) {
        // What is unknown is named before what is missing.
        requireKnownNames(app);
        throw;
    }
    if (!action) {
        throw UsageError("which command?");
    }
    action();
}

/// What the program was built without.
std::vector<std::string> partsLeftOut() {
    std::vector<std::string> parts;
    if (!NativePlatform::exists()) {
        parts.emplace_back("without Bluetooth");
    }
    if (!hasWindows()) {
        parts.emplace_back("without windows");
    }
    return parts;
}

} // namespace

int run(int argc, const char* const* argv) {
    // A reader that has seen enough ends the program, also where its parent ignores the signal.
    std::signal(SIGPIPE, SIG_DFL);

    CLI::App app("Drives smart glasses over Bluetooth Low Energy.", "tarnel");
    Action action;
    app.formatter(usage("Usage: tarnel COMMAND [ARGUMENTS]"));
    app.require_subcommand(0, 1);
    const std::string leftOut = CLI::detail::join(partsLeftOut(), ", ");
    app.set_version_flag("--version", "tarnel " TARNEL_VERSION + (leftOut.empty() ? "" : " (" + leftOut + ")"));
    addShow(app, action);
    addText(app, action);
    addPlay(app, action);
    addDemo(app, action);
    addScan(app, action);
    addLink(app, action);
    addUnlink(app, action);
    addStatus(app, action);
    addMonitor(app, action);
    addDoctor(app, action);
    addMessage(app, action);
    addImage(app, action);
    addFont(app, action);
    addGlasses(app, action);
    addHelp(app, action);
    app.footer(
        "Exit status: 0 done, 1 failed (one line on standard error says what and what to do), 2 called wrongly." +
        (leftOut.empty() ? "" : "\nThis tarnel was built " + leftOut + "."));

    try {
        perform(app, action, argc, argv);
        return succeeded;
    } catch (const CLI::ParseError& error) {
        return report(oneLine(error.what()) + seeHelp(app), calledWrongly);
    } catch (const UsageError& error) {
        return report(error.what() + seeHelp(app), calledWrongly);
    } catch (const Failure& error) {
        return report(error.what(), failed);
    } catch (const Interrupted& interrupted) {
        return signalled + interrupted.signal;
    } catch (const std::bad_alloc&) {
        return report("out of memory", failed);
    } catch (const std::exception& error) {
        return report(error.what(), failed);
    }
}

} // namespace tarnel::command
