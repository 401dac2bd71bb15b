#pragma once

#include <string>

namespace tarnel::command {

/// One line of standard error that says what goes on and is written over. Nothing is shown where standard error is no
/// terminal.
class StatusLine {
public:
    StatusLine();
    /// Leaves an empty line.
    ~StatusLine();
    StatusLine(const StatusLine&) = delete;
    StatusLine& operator=(const StatusLine&) = delete;

    void show(std::string line);

private:
    const bool isShown_;
    std::string line_;
};

} // namespace tarnel::command
