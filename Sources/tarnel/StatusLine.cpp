#include "StatusLine.hpp"

#include "Text.hpp"

#include <unistd.h>

#include <cstdio>
#include <utility>

namespace tarnel::command {
namespace {

constexpr const char* emptyLine = "\r\033[K";

} // namespace

StatusLine::StatusLine() : isShown_(::isatty(STDERR_FILENO) != 0) {}

StatusLine::~StatusLine() {
    if (!line_.empty()) {
        std::fputs(emptyLine, stderr);
    }
}

void StatusLine::show(std::string line) {
    if (!isShown_ || line == line_) {
        return;
    }
    line_ = std::move(line);
    std::fputs((emptyLine + printable(line_)).c_str(), stderr);
    std::fflush(stderr);
}

} // namespace tarnel::command
