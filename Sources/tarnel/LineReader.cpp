#include "LineReader.hpp"

#include "Failure.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

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

void LineReader::read() {
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
    isAtEnd_ = count == 0;
    gather();
}

void LineReader::gather() {
    if (position_ >= buffer_.size()) {
        return;
    }
    isBegun_ = true;
    const std::size_t end = buffer_.find('\n', position_);
    const std::size_t length = std::min(end, buffer_.size()) - position_;
    if (line_.text.size() + length > maximumLength) {
        line_.isTooLong = true;
    }
    if (line_.isTooLong) {
        line_.text.clear();
    } else {
        line_.text.append(buffer_, position_, length);
    }
    position_ += length;
    if (end != std::string::npos) {
        ++position_;
        isWhole_ = true;
    }
}

std::optional<LineReader::Line> LineReader::next() {
    if (!isBegun_) {
        return std::nullopt;
    }
    std::optional<Line> line = std::exchange(line_, {});
    isBegun_ = isWhole_ = false;
    gather();
    return line;
}

} // namespace tarnel::command
