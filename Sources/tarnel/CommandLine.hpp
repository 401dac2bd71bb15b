#pragma once

namespace tarnel::command {

/// Reads the arguments and runs the command that they name. Gives the exit status: 0, 1 (failed) or 2 (called wrongly).
int run(int argc, const char* const* argv);

} // namespace tarnel::command
