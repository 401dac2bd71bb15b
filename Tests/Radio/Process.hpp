#pragma once

#include <sys/types.h>

#include <chrono>
#include <csignal>
#include <optional>
#include <string>
#include <vector>

namespace tarnel::radio {

/// A program that runs beside this one, killed with the object. What it says on the standard error goes into a file,
/// and on the standard output too unless it is asked for answers.
class Process {
public:
    struct Options {
        std::string log;           ///< appended to
        bool isConversing = false; ///< `ask` is used
    };

    Process(const std::vector<std::string>& command, const Options& options);
    ~Process();
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    bool isRunning();
    /// Sends the signal and waits for the end; after ten seconds it is killed.
    void end(int signal = SIGTERM);

    /// Whether the line could be written.
    bool tell(const std::string& line);
    /// Writes a line and gives the line that answers it; nothing within the time, or at the end of the process.
    std::optional<std::string> ask(const std::string& line,
                                   std::chrono::milliseconds patience = std::chrono::seconds(20));
    std::optional<std::string> readLine(std::chrono::milliseconds patience);

private:
    bool waitForEnd(std::chrono::milliseconds patience);

    pid_t pid_ = -1;
    int in_ = -1;
    int out_ = -1;
    std::string text_;
};

} // namespace tarnel::radio
