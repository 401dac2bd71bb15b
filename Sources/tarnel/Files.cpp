#include "Files.hpp"

#include "Failure.hpp"
#include "Text.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <map>
#include <random>

namespace tarnel::command {
namespace {

[[noreturn]] void fail(const std::string& what, const std::string& path, int code) {
    throw Failure("cannot " + what + " " + path + ": " + std::strerror(code));
}

/// Where the command's output goes.
int& outputDescriptor() {
    static int descriptor = STDOUT_FILENO;
    return descriptor;
}

class Descriptor {
public:
    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor() {
        if (number_ >= 0) {
            ::close(number_);
        }
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int number() const { return number_; }
    bool isOpen() const { return number_ >= 0; }

private:
    int number_;
};

ByteView viewOf(std::string_view text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

/// Gives 0 or the error.
int writeAll(int descriptor, ByteView bytes) {
    while (!bytes.empty()) {
        const auto written = ::write(descriptor, bytes.data(), bytes.size());
        if (written < 0 && errno != EINTR) {
            return errno;
        }
        bytes = bytes.subspan(written < 0 ? 0 : static_cast<std::size_t>(written));
    }
    return 0;
}

/// Reads up to the end, or to something more than `limit`. Gives 0 or the error.
int readAll(int descriptor, std::size_t limit, Bytes& bytes) {
    constexpr std::size_t step = 65536;
    while (bytes.size() <= limit) {
        const std::size_t count = bytes.size();
        bytes.resize(count + step);
        const auto got = ::read(descriptor, bytes.data() + count, step);
        const int error = got < 0 ? errno : 0;
        bytes.resize(count + (got > 0 ? static_cast<std::size_t>(got) : 0));
        if (got == 0 || (error != 0 && error != EINTR)) {
            return error;
        }
    }
    return 0;
}

/// The file itself where the path is a link to one, so that storing does not replace the link.
std::string followed(const std::string& path) {
    std::error_code error;
    auto target = std::filesystem::canonical(path, error);
    return error ? path : target.string();
}

/// The same for every spelling of a file, which need not be there.
std::string identityOf(const std::string& path) {
    constexpr int mostLinks = 40;
    std::error_code error;
    std::filesystem::path file = std::filesystem::absolute(path, error);
    // A link to nothing is followed too: what is opened through it is made there.
    for (int links = 0; links < mostLinks && std::filesystem::is_symlink(file, error); ++links) {
        file = file.parent_path() / std::filesystem::read_symlink(file, error);
    }
    return std::filesystem::weakly_canonical(file, error).string();
}

bool exists(const std::string& path) {
    std::error_code error;
    return std::filesystem::exists(path, error);
}

/// Something that is written to in place: a device or a pipe.
bool isSpecial(const std::string& path) {
    std::error_code error;
    const auto status = std::filesystem::status(path, error);
    return std::filesystem::exists(status) && !std::filesystem::is_regular_file(status) &&
           !std::filesystem::is_directory(status);
}

std::optional<mode_t> modeOf(const std::string& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 ? std::optional(status.st_mode & 0777U) : std::nullopt;
}

/// A file beside the target that takes its place or is removed. It has the permissions of the file that is there, or
/// those that the system gives to a new one.
class Replacement {
public:
    explicit Replacement(const std::string& target)
        : target_(target), mode_(modeOf(target)), descriptor_(make(target, mode_.value_or(0666), path_)) {}
    ~Replacement() {
        if (descriptor_.isOpen() && !isStored_) {
            ::unlink(path_.c_str());
        }
    }
    Replacement(const Replacement&) = delete;
    Replacement& operator=(const Replacement&) = delete;

    bool isOpen() const { return descriptor_.isOpen(); }

    /// Gives 0 or the error.
    int store(ByteView bytes) {
        if (const int error = writeAll(descriptor_.number(), bytes); error != 0) {
            return error;
        }
        isStored_ = (!mode_ || ::fchmod(descriptor_.number(), *mode_) == 0) && ::fsync(descriptor_.number()) == 0 &&
                    ::rename(path_.c_str(), target_.c_str()) == 0;
        return isStored_ ? 0 : errno;
    }

private:
    /// A new file of a name that none has, opened; -1 with an error.
    static int make(const std::string& target, mode_t mode, std::string& path) {
        constexpr int mostTries = 100;
        std::random_device random;
        for (int tries = 0; tries < mostTries; ++tries) {
            path = target + "." + std::to_string(random());
            const int descriptor = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
            if (descriptor >= 0 || errno != EEXIST) {
                return descriptor;
            }
        }
        return -1;
    }

    std::string target_;
    std::string path_;
    std::optional<mode_t> mode_;
    Descriptor descriptor_;
    bool isStored_ = false;
};

} // namespace

Bytes readFile(const std::string& path, std::size_t limit) {
    const bool isStandardInput = path == "-";
    const std::string name = isStandardInput ? "standard input" : path;
    const Descriptor file(isStandardInput ? ::dup(STDIN_FILENO) : ::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file.isOpen()) {
        fail("read", name, errno);
    }
    Bytes bytes;
    if (const int error = readAll(file.number(), limit, bytes); error != 0) {
        fail("read", name, error);
    }
    if (bytes.size() > limit) {
        throw Failure(name + " is longer than the " + grouped(limit) + " bytes that are taken");
    }
    return bytes;
}

void writeOutput(ByteView bytes) {
    if (const int error = writeAll(outputDescriptor(), bytes); error != 0) {
        fail("write", "standard output", error);
    }
}

void writeOutput(std::string_view text) {
    writeOutput(viewOf(text));
}

void requireDifferentFiles(std::initializer_list<NamedFile> files) {
    std::map<std::string, const char*> optionOf;
    for (const auto& [option, file] : files) {
        if (!file || *file == "-") {
            continue;
        }
        const auto [other, isNew] = optionOf.emplace(identityOf(*file), option);
        if (!isNew) {
            throw UsageError(std::string(other->second) + " and " + option + " take different files");
        }
    }
}

void reserveStandardOutput() {
    const int reserved = ::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    const Descriptor nowhere(::open("/dev/null", O_WRONLY | O_CLOEXEC));
    if (reserved < 0 || ::dup2(nowhere.number(), STDOUT_FILENO) < 0) {
        fail("write", "standard output", errno);
    }
    outputDescriptor() = reserved;
}

OutputFile::OutputFile(std::string path) : path_(std::move(path)), target_(followed(path_)) {
    if (isStandardOutput()) {
        return;
    }
    std::error_code ignored;
    if (std::filesystem::is_directory(target_, ignored)) {
        fail("write", path_, EISDIR);
    }
    if (target_.empty() || std::filesystem::path(target_).filename().empty()) {
        fail("write", "\"" + path_ + "\"", ENOENT);
    }
    if (exists(target_) && ::access(target_.c_str(), W_OK) != 0) {
        fail("write", path_, errno);
    }
    if (!isSpecial(target_) && !Replacement(target_).isOpen()) {
        fail("write", path_, errno);
    }
}

void OutputFile::store(ByteView bytes) const {
    if (isStandardOutput()) {
        writeOutput(bytes);
        return;
    }
    int error = 0;
    if (isSpecial(target_)) {
        const Descriptor file(::open(target_.c_str(), O_WRONLY | O_CLOEXEC));
        error = file.isOpen() ? writeAll(file.number(), bytes) : errno;
    } else {
        Replacement file(target_);
        error = file.isOpen() ? file.store(bytes) : errno;
    }
    if (error != 0) {
        fail("write", path_, error);
    }
}

OutputStream::OutputStream(std::string path)
    : path_(std::move(path)),
      descriptor_(path_ == "-" ? outputDescriptor()
                               : ::open(path_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666)) {
    if (descriptor_ < 0) {
        fail("write", path_, errno);
    }
}

OutputStream::~OutputStream() {
    if (path_ != "-") {
        ::close(descriptor_);
    }
}

void OutputStream::write(std::string_view text) const {
    if (const int error = writeAll(descriptor_, viewOf(text)); error != 0) {
        fail("write", path_, error);
    }
}

} // namespace tarnel::command
