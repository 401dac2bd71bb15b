#pragma once

#include <termios.h>

#include <optional>
#include <utility>

namespace tarnel::command {

/// The terminal at standard input and output, put back as it was in the end.
class Terminal {
public:
    Terminal() = default;
    ~Terminal();
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    static bool isInput();
    static bool isOutput();
    /// Columns and rows; what the environment says, or 80 and 24, where the terminal does not know.
    static std::pair<int, int> size();

    /// From now on each key can be read as it is pressed, and is not shown.
    void readKeys();
    /// From now on there is a whole empty screen to draw on.
    void takeScreen();

private:
    std::optional<termios> before_;
    bool hasScreen_ = false;
};

} // namespace tarnel::command
