#include "Terminal.hpp"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <string_view>

namespace tarnel::command {
namespace {

constexpr int usualColumns = 80;
constexpr int usualRows = 24;

/// Alternate screen, no cursor (xterm control sequences); and back.
constexpr std::string_view begin = "\x1b[?1049h\x1b[?25l\x1b[2J";
constexpr std::string_view end = "\x1b[0m\x1b[?25h\x1b[?1049l";

void send(std::string_view text) {
    // A terminal that is gone needs no tidying.
    [[maybe_unused]] const auto written = ::write(STDOUT_FILENO, text.data(), text.size());
}

int numberIn(const char* variable, int otherwise) {
    const char* text = std::getenv(variable);
    const int number = text ? std::atoi(text) : 0;
    return number > 0 ? std::min(number, 10'000) : otherwise;
}

} // namespace

Terminal::~Terminal() {
    if (hasScreen_) {
        send(end);
    }
    if (before_) {
        ::tcsetattr(STDIN_FILENO, TCSANOW, &*before_);
    }
}

bool Terminal::isInput() {
    return ::isatty(STDIN_FILENO) == 1;
}

bool Terminal::isOutput() {
    return ::isatty(STDOUT_FILENO) == 1;
}

std::pair<int, int> Terminal::size() {
    winsize size{};
    if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 && size.ws_row > 0) {
        return {size.ws_col, size.ws_row};
    }
    return {numberIn("COLUMNS", usualColumns), numberIn("LINES", usualRows)};
}

void Terminal::readKeys() {
    termios settings{};
    if (::tcgetattr(STDIN_FILENO, &settings) != 0) {
        return;
    }
    before_ = settings;
    settings.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
    settings.c_cc[VMIN] = 1;
    settings.c_cc[VTIME] = 0;
    ::tcsetattr(STDIN_FILENO, TCSANOW, &settings);
}

void Terminal::takeScreen() {
    hasScreen_ = true;
    send(begin);
}

} // namespace tarnel::command
