#pragma once

#include <functional>

namespace CLI {
class App;
}

/// The commands of the program, each with its options, its help and what it does.
namespace tarnel::command {

/// What the arguments ask for, set while they are read and run after. Throws `UsageError` or `Failure`.
using Action = std::function<void()>;

void addShow(CLI::App& app, Action& action);
void addText(CLI::App& app, Action& action);
void addPlay(CLI::App& app, Action& action);
void addDemo(CLI::App& app, Action& action);
void addScan(CLI::App& app, Action& action);
void addLink(CLI::App& app, Action& action);
void addUnlink(CLI::App& app, Action& action);
void addStatus(CLI::App& app, Action& action);
void addMonitor(CLI::App& app, Action& action);
void addDoctor(CLI::App& app, Action& action);
void addMessage(CLI::App& app, Action& action);
void addImage(CLI::App& app, Action& action);
void addFont(CLI::App& app, Action& action);
void addGlasses(CLI::App& app, Action& action);

} // namespace tarnel::command
