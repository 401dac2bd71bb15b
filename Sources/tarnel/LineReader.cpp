#include "LineReader.hpp"

#include "Failure.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace tarnel::command {

LineReader::LineReader(std::string path)
    : path_(std::move(path)), descriptor_(path_ == "-" ? STDIN_FILENO : ::open(path_.c_str(), O_RDONLY | O_CLOEXEC)) {
    if (descriptor_ < 0) {
        throw Failure("cannot read " + path_ + ": " + std::strerror(errno));
    }
}

LineReader::~LineReader() {
    if (path_ != "-") {
        ::close(descriptor_);
    }
}

bool LineReader::fill() {
    constexpr std::size_t step = 65536;
    buffer_.resize(step);
    position_ = 0;
    ssize_t count = 0;
    do {
        count = ::read(descriptor_, buffer_.data(), step);
    } while (count < 0 && errno == EINTR);
    if (count < 0) {
        throw Failure("cannot read " + (path_ == "-" ? "standard input" : path_) + ": " + std::strerror(errno));
    }
    buffer_.resize(static_cast<std::size_t>(count));
    return count > 0;
}

std::optional<LineReader::Line> LineReader::next() {
    Line line;
    bool isAny = false;
    while (position_ < buffer_.size() || fill()) {
        isAny = true;
        const std::size_t end = buffer_.find('\n', position_);
        const std::size_t length = std::min(end, buffer_.size()) - position_;
        if (line.text.size() + length > maximumLength) {
            line.isTooLong = true;
        }
        if (line.isTooLong) {
            line.text.clear();
        } else {
            line.text.append(buffer_, position_, length);
        }
        position_ += length;
        if (end != std::string::npos) {
            ++position_;
            return line;
        }
    }
    return isAny ? std::optional(std::move(line)) : std::nullopt;
}

} // namespace tarnel::command
