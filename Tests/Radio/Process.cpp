#include "Process.hpp"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>
#include <thread>
#include <utility>

namespace tarnel::radio {
namespace {

using Clock = std::chrono::steady_clock;

void closeIfOpen(int& descriptor) {
    if (descriptor >= 0) {
        ::close(std::exchange(descriptor, -1));
    }
}

} // namespace

Process::Process(const std::vector<std::string>& command, const Options& options) {
    std::array<int, 2> in{-1, -1};
    std::array<int, 2> out{-1, -1};
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    constexpr int mode = 0644;
    ::posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, options.log.c_str(), O_WRONLY | O_CREAT | O_APPEND,
                                       mode);
    if (options.isConversing && ::pipe2(in.data(), O_CLOEXEC) == 0 && ::pipe2(out.data(), O_CLOEXEC) == 0) {
        ::posix_spawn_file_actions_adddup2(&actions, in[0], STDIN_FILENO);
        ::posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
    } else {
        ::posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        ::posix_spawn_file_actions_adddup2(&actions, STDERR_FILENO, STDOUT_FILENO);
    }
    std::vector<std::string> words = command;
    std::vector<char*> arguments;
    for (auto& word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    const int error = ::posix_spawnp(&pid_, arguments.front(), &actions, nullptr, arguments.data(), environ);
    ::posix_spawn_file_actions_destroy(&actions);
    closeIfOpen(in[0]);
    closeIfOpen(out[1]);
    in_ = in[1];
    out_ = out[0];
    if (error != 0) {
        throw std::system_error(error, std::generic_category(), command.front());
    }
}

Process::~Process() {
    end(SIGKILL);
    closeIfOpen(in_);
    closeIfOpen(out_);
}

bool Process::isRunning() {
    return !waitForEnd({});
}

bool Process::waitForEnd(std::chrono::milliseconds patience) {
    const auto end = Clock::now() + patience;
    while (pid_ > 0) {
        if (::waitpid(pid_, nullptr, WNOHANG) != 0) {
            pid_ = -1;
            break;
        }
        if (Clock::now() >= end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

void Process::end(int signal) {
    if (pid_ < 0) {
        return;
    }
    ::kill(pid_, signal);
    constexpr auto patience = std::chrono::seconds(10);
    if (!waitForEnd(patience)) {
        ::kill(pid_, SIGKILL);
        waitForEnd(patience);
    }
}

bool Process::tell(const std::string& line) {
    const std::string text = line + "\n";
    return in_ >= 0 && ::write(in_, text.data(), text.size()) == static_cast<ssize_t>(text.size());
}

std::optional<std::string> Process::ask(const std::string& line, std::chrono::milliseconds patience) {
    return tell(line) ? readLine(patience) : std::nullopt;
}

std::optional<std::string> Process::readLine(std::chrono::milliseconds patience) {
    const auto end = Clock::now() + patience;
    for (;;) {
        if (const auto at = text_.find('\n'); at != std::string::npos) {
            std::string line = text_.substr(0, at);
            text_.erase(0, at + 1);
            return line;
        }
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
        pollfd descriptor{out_, POLLIN, 0};
        if (left <= 0 || ::poll(&descriptor, 1, static_cast<int>(left)) <= 0) {
            return std::nullopt;
        }
        std::array<char, 4096> buffer{};
        const auto size = ::read(out_, buffer.data(), buffer.size());
        if (size <= 0) {
            return std::nullopt;
        }
        text_.append(buffer.data(), static_cast<std::size_t>(size));
    }
}

} // namespace tarnel::radio
