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

    /// Throws `Failure` when it cannot be read; so does `read`.
    explicit LineReader(std::string path);
    ~LineReader();
    LineReader(const LineReader&) = delete;
    LineReader& operator=(const LineReader&) = delete;

    int descriptor() const { return descriptor_; }

    /// Reads once, waiting until there is something. REQUIRES: `hasNext` is false.
    void read();
    /// Whether a line, or the end, has been read.
    bool hasNext() const { return isAtEnd_ || isWhole_; }

    /// Empty at the end. A last line without a line feed is one. REQUIRES: `hasNext`.
    std::optional<Line> next();

private:
    /// Moves what is there of the line into `line_`, up to its end.
    void gather();

    std::string path_;
    int descriptor_;
    std::string buffer_;
    std::size_t position_ = 0;
    Line line_;
    bool isBegun_ = false; ///< there is something of `line_`
    bool isWhole_ = false; ///< and nothing more to come
    bool isAtEnd_ = false;
};

} // namespace tarnel::command
