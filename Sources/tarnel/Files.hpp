#pragma once

#include <TarnelSDK/platform/Bytes.hpp>

#include <cstddef>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

/// Files as a command's arguments name them; "-" is standard input or output. All throw `Failure`, with the file's name
/// and what the system says.
namespace tarnel::command {

/// The whole of a file; one that is longer than `limit` is a failure.
Bytes readFile(const std::string& path, std::size_t limit);

/// Writes all of it to standard output, at once.
void writeOutput(std::string_view text);
void writeOutput(ByteView bytes);

/// A file and the option that names it.
using NamedFile = std::pair<const char*, std::optional<std::string>>;

/// Throws `UsageError` when two of them are the same file, however it is spelt. "-" may be there more than once.
void requireDifferentFiles(std::initializer_list<NamedFile> files);

/// From now on standard output carries what `writeOutput` writes and nothing else: what other code of the process
/// prints is dropped.
void reserveStandardOutput();

/// A file that a command will write: whether it can be written shows when this is made, before anything else is done.
/// The file appears, or replaces the older one, whole.
class OutputFile {
public:
    /// "-" for standard output.
    explicit OutputFile(std::string path);

    void store(ByteView bytes) const;

    const std::string& path() const { return path_; }
    bool isStandardOutput() const { return path_ == "-"; }

private:
    std::string path_;
    std::string target_; ///< where links lead to
};

/// A file that grows while a command runs. It is emptied when this is made; each text is written at once.
class OutputStream {
public:
    /// "-" for standard output.
    explicit OutputStream(std::string path);
    ~OutputStream();
    OutputStream(const OutputStream&) = delete;
    OutputStream& operator=(const OutputStream&) = delete;

    void write(std::string_view text) const;

private:
    std::string path_;
    int descriptor_;
};

} // namespace tarnel::command
