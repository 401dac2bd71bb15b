#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace tarnel::command {

/// Reads a file or "-", standard input, line by line, each as soon as it is there.
class LineReader {
public:
    /// The longest line that is kept, in bytes.
    static constexpr std::size_t maximumLength = 1024 * 1024;

    struct Line {
        std::string text;       ///< without the line feed
        bool isTooLong = false; ///< the text is empty then
    };

    /// Throws `Failure` when it cannot be read; so does `next`.
    explicit LineReader(std::string path);
    ~LineReader();
    LineReader(const LineReader&) = delete;
    LineReader& operator=(const LineReader&) = delete;

    /// Empty at the end. A last line without a line feed is one.
    std::optional<Line> next();

private:
    bool fill();

    std::string path_;
    int descriptor_;
    std::string buffer_;
    std::size_t position_ = 0;
};

} // namespace tarnel::command
