#pragma once

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tarnel::test {

/// In characters. A terminal of none does not know its size.
struct TerminalSize {
    unsigned short columns = 80;
    unsigned short rows = 24;
};

/// A pipe whose ends close with it.
class Pipe {
public:
    Pipe() {
        if (::pipe2(ends_.data(), O_CLOEXEC) != 0) {
            throw std::runtime_error("no pipe");
        }
    }
    /// What is written goes to a terminal, and comes out as it was written.
    explicit Pipe(const TerminalSize& size) {
        ends_[0] = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
        std::array<char, 128> name{};
        if (ends_[0] >= 0 && ::grantpt(ends_[0]) == 0 && ::unlockpt(ends_[0]) == 0 &&
            ::ptsname_r(ends_[0], name.data(), name.size()) == 0) {
            ends_[1] = ::open(name.data(), O_RDWR | O_NOCTTY | O_CLOEXEC);
        }
        termios settings{};
        const winsize window{.ws_row = size.rows, .ws_col = size.columns, .ws_xpixel = 0, .ws_ypixel = 0};
        if (::tcgetattr(ends_[1], &settings) != 0 || ::ioctl(ends_[1], TIOCSWINSZ, &window) != 0) {
            closeReading();
            closeWriting();
            throw std::runtime_error("no terminal");
        }
        ::cfmakeraw(&settings);
        ::tcsetattr(ends_[1], TCSANOW, &settings);
    }
    ~Pipe() {
        closeReading();
        closeWriting();
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    int reading() const { return ends_[0]; }
    int writing() const { return ends_[1]; }
    void closeReading() { close(ends_[0]); }
    void closeWriting() { close(ends_[1]); }

private:
    static void close(int& end) {
        if (end >= 0) {
            ::close(std::exchange(end, -1));
        }
    }

    std::array<int, 2> ends_{-1, -1};
};

/// A program that runs, its standard input, output and error at pipes, or its output at a terminal. Ended when
/// destroyed.
class Process {
public:
    explicit Process(std::vector<std::string> arguments, std::optional<TerminalSize> terminal = std::nullopt)
        : output_(terminal ? Pipe(*terminal) : Pipe()) {
        std::signal(SIGPIPE, SIG_IGN);
        std::vector<char*> raw;
        for (auto& argument : arguments) {
            raw.push_back(argument.data());
        }
        raw.push_back(nullptr);
        identifier_ = ::fork();
        if (identifier_ < 0) {
            throw std::runtime_error("no process");
        }
        if (identifier_ == 0) {
            ::dup2(input_.reading(), STDIN_FILENO);
            ::dup2(output_.writing(), STDOUT_FILENO);
            ::dup2(error_.writing(), STDERR_FILENO);
            ::execv(raw.front(), raw.data());
            ::_exit(127);
        }
        input_.closeReading();
        output_.closeWriting();
        error_.closeWriting();
    }
    ~Process() {
        if (identifier_ > 0) {
            ::kill(identifier_, SIGKILL);
            wait();
        }
    }
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    Pipe& input() { return input_; }
    Pipe& output() { return output_; }
    Pipe& error() { return error_; }

    /// Writes a line and waits until the program has taken it into its pipe.
    void writeLine(std::string_view line) {
        const std::string text = std::string(line) + "\n";
        std::size_t written = 0;
        while (written < text.size()) {
            const auto count = ::write(input_.writing(), text.data() + written, text.size() - written);
            if (count < 0) {
                throw std::runtime_error("the program takes no more input");
            }
            written += static_cast<std::size_t>(count);
        }
    }

    /// The next line of output; empty at its end, or when none comes within these milliseconds (-1: however long).
    std::optional<std::string> readLine(int limit = -1) {
        while (true) {
            if (const auto end = pending_.find('\n'); end != std::string::npos) {
                std::string line = pending_.substr(0, end);
                pending_.erase(0, end + 1);
                return line;
            }
            pollfd entry{output_.reading(), POLLIN, 0};
            if (::poll(&entry, 1, limit) == 0) {
                return std::nullopt;
            }
            std::array<char, 4096> buffer{};
            const auto count = ::read(output_.reading(), buffer.data(), buffer.size());
            if (count <= 0) {
                return std::nullopt;
            }
            pending_.append(buffer.data(), static_cast<std::size_t>(count));
        }
    }

    /// As Ctrl-C does.
    void interrupt() { signal(SIGINT); }
    void kill() { signal(SIGKILL); }
    void signal(int number) {
        if (identifier_ > 0) {
            ::kill(identifier_, number);
        }
    }

    /// Waits for the end: the exit status, or 128 and the number of the signal that ended it.
    int wait() {
        int status = 0;
        while (::waitpid(std::exchange(identifier_, -1), &status, 0) < 0 && errno == EINTR) {
        }
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

private:
    Pipe input_;
    Pipe output_;
    Pipe error_;
    std::string pending_;
    pid_t identifier_ = -1;
};

struct CommandResult {
    int status = -1;
    std::string output;
    std::string error;
};

/// Runs a program to its end with this input.
inline CommandResult runCommand(std::vector<std::string> arguments, std::string_view input = {}) {
    Process process(std::move(arguments));
    CommandResult result;
    ::fcntl(process.input().writing(), F_SETFL, O_NONBLOCK);
    bool isOutputOpen = true;
    bool isErrorOpen = true;
    std::array<char, 65536> buffer{};
    const auto take = [&](const pollfd& entry, std::string& text, bool& isOpen) {
        if (entry.revents == 0) {
            return;
        }
        const auto count = ::read(entry.fd, buffer.data(), buffer.size());
        isOpen = count > 0;
        text.append(buffer.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    };
    while (isOutputOpen || isErrorOpen) {
        if (input.empty()) {
            process.input().closeWriting();
        }
        std::array<pollfd, 3> entries{{{isOutputOpen ? process.output().reading() : -1, POLLIN, 0},
                                       {isErrorOpen ? process.error().reading() : -1, POLLIN, 0},
                                       {process.input().writing(), POLLOUT, 0}}};
        if (::poll(entries.data(), entries.size(), -1) < 0) {
            continue;
        }
        take(entries[0], result.output, isOutputOpen);
        take(entries[1], result.error, isErrorOpen);
        if (entries[2].revents != 0) {
            const auto count = ::write(entries[2].fd, input.data(), input.size());
            input.remove_prefix(count < 0 ? (errno == EAGAIN ? 0 : input.size()) : static_cast<std::size_t>(count));
        }
    }
    result.status = process.wait();
    return result;
}

/// A new folder that is gone with the object.
class TemporaryFolder {
public:
    TemporaryFolder() {
        std::string pattern = (std::filesystem::temp_directory_path() / "tarnel.XXXXXX").string();
        if (!::mkdtemp(pattern.data())) {
            throw std::runtime_error("no folder");
        }
        path_ = pattern;
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    std::string operator/(const std::string& name) const { return (path_ / name).string(); }
    const std::filesystem::path& path() const { return path_; }

private:
    std::filesystem::path path_;
};

inline std::string readText(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

inline void writeText(const std::string& path, std::string_view text) {
    std::ofstream(path, std::ios::binary) << text;
}

} // namespace tarnel::test
