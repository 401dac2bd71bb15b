#include <TarnelLinux/SQLiteUserDefaults.hpp>
#include <TarnelLinux/SettingsStore.hpp>
#include <TarnelLinux/StoredValue.hpp>
#include <TarnelSDK/platform/Precondition.hpp>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <mutex>
#include <thread>
#include <utility>

namespace tarnel {

namespace fs = std::filesystem;

namespace {

/// How long a change, or the first look-up, waits for another process that holds the database.
constexpr auto patience = std::chrono::seconds(5);
/// And a look-up that has waited in vain, or can do with what was read before.
constexpr auto laterPatience = std::chrono::milliseconds(20);

fs::path settingsFile(const fs::path& configurationFolder, const std::string& identifier) {
    return configurationFolder / identifier / "settings.sqlite";
}

} // namespace

/// The application's own domain: what is stored, what is still to be stored, and the thread that stores it.
class SQLiteUserDefaults::Domain {
public:
    Domain(const std::optional<fs::path>& configurationFolder, std::string identifier, Report report);
    ~Domain();
    Domain(const Domain&) = delete;
    Domain& operator=(const Domain&) = delete;

    const std::string& identifier() const { return identifier_; }
    Value object(const std::string& key);
    std::optional<std::string> failure();
    void set(const std::string& key, const Value& value);
    void change(SettingsChanges changes);
    void synchronize();
    void eraseOther(const std::string& name);

private:
    /// A store for readers and one for the writer, so that look-ups do not wait for the disk.
    SettingsStore store(const fs::path& file);
    void readStored();
    void runWriter();
    bool write(const SettingsChanges& changes);
    void reportFailure(const char* operation, const std::string& message);

    const std::string identifier_;
    const std::optional<fs::path> configurationFolder_;
    const Report report_;

    std::mutex readerMutex_; ///< of the five below; taken before the other
    std::optional<SettingsStore> reader_;
    std::optional<std::string> readFailure_;
    bool hasRead_ = false;
    Value::Dictionary stored_;

    std::mutex mutex_;
    std::condition_variable changed_;
    SettingsChanges pending_;
    SettingsChanges writing_;     ///< being stored
    std::uint64_t requested_ = 0; ///< changes and `synchronize` so far
    std::uint64_t attempted_ = 0; ///< of them, tried to be stored
    bool isEnding_ = false;
    bool hasReported_ = false;

    std::optional<SettingsStore> writer_; ///< of the writer's thread
    std::thread thread_;
};

SQLiteUserDefaults::Domain::Domain(const std::optional<fs::path>& configurationFolder, std::string identifier,
                                   Report report)
    : identifier_(std::move(identifier)), configurationFolder_(configurationFolder), report_(std::move(report)) {
    if (!configurationFolder_) {
        reportFailure("stored", "there is no home folder");
        return;
    }
    const fs::path file = settingsFile(*configurationFolder_, identifier_);
    reader_.emplace(store(file));
    writer_.emplace(store(file));
    thread_ = std::thread([this] { runWriter(); });
}

SQLiteUserDefaults::Domain::~Domain() {
    {
        const std::lock_guard lock(mutex_);
        isEnding_ = true;
    }
    changed_.notify_all();
    if (thread_.joinable()) {
        thread_.join();
    }
}

SettingsStore SQLiteUserDefaults::Domain::store(const fs::path& file) {
    return {file, patience, [this](const fs::path& kept, const std::string& reason) {
                report_("The settings of " + identifier_ + " were damaged (" + reason +
                        ") and start anew; the damaged file is kept as " + kept.string() + ".");
            }};
}

/// `operation` is "read" or "stored".
void SQLiteUserDefaults::Domain::reportFailure(const char* operation, const std::string& message) {
    {
        const std::lock_guard lock(mutex_);
        if (std::exchange(hasReported_, true)) {
            return;
        }
    }
    const std::string where =
        configurationFolder_ ? " in " + settingsFile(*configurationFolder_, identifier_).string() : "";
    report_("The settings of " + identifier_ + " cannot be " + operation + where + ": " + message +
            ". What changes is lost when the program ends.");
}

void SQLiteUserDefaults::Domain::readStored() {
    if (!reader_) {
        return;
    }
    try {
        if (auto values = reader_->valuesIfChanged()) {
            stored_ = *std::move(values);
        }
        hasRead_ = true;
        readFailure_.reset();
    } catch (const std::exception& error) {
        const auto* store = dynamic_cast<const SQLiteError*>(&error);
        if (!hasRead_ || !store || !store->isBusy()) {
            readFailure_ = error.what();
            reportFailure("read", *readFailure_);
        }
    }
    reader_->setPatience(laterPatience);
}

std::optional<std::string> SQLiteUserDefaults::Domain::failure() {
    const std::lock_guard lock(readerMutex_);
    readStored();
    return readFailure_;
}

Value SQLiteUserDefaults::Domain::object(const std::string& key) {
    const std::lock_guard readerLock(readerMutex_);
    {
        // What is pending now is in the file, or still pending, once the file has been read.
        const std::lock_guard lock(mutex_);
        for (const SettingsChanges* changes : {&pending_, &writing_}) {
            if (const auto found = changes->values.find(key); found != changes->values.end()) {
                return found->second ? decodeStoredValue(*found->second).value_or(Value()) : Value();
            }
            if (changes->clear) {
                return {};
            }
        }
    }
    readStored();
    const auto found = stored_.find(key);
    return found == stored_.end() ? Value() : found->second;
}

void SQLiteUserDefaults::Domain::set(const std::string& key, const Value& value) {
    auto bytes = encodeStoredValue(value);
    if (!bytes) {
        report_("The setting \"" + key + "\" of " + identifier_ + " is nested too deeply to be stored.");
        return;
    }
    change({.clear = false, .values = {{key, std::move(bytes)}}});
}

void SQLiteUserDefaults::Domain::change(SettingsChanges changes) {
    {
        const std::lock_guard lock(mutex_);
        changes.follow(std::move(pending_));
        pending_ = std::move(changes);
        ++requested_;
    }
    changed_.notify_all();
}

void SQLiteUserDefaults::Domain::synchronize() {
    std::unique_lock lock(mutex_);
    if (!thread_.joinable()) {
        return;
    }
    const std::uint64_t awaited = ++requested_;
    changed_.notify_all();
    changed_.wait(lock, [&] { return attempted_ >= awaited; });
}

void SQLiteUserDefaults::Domain::runWriter() {
    std::unique_lock lock(mutex_);
    while (true) {
        changed_.wait(lock, [&] { return isEnding_ || attempted_ < requested_; });
        if (attempted_ == requested_ && isEnding_) {
            return;
        }
        const std::uint64_t covered = requested_;
        writing_ = std::exchange(pending_, {});
        bool isStored = true;
        if (!writing_.isEmpty()) {
            lock.unlock();
            isStored = write(writing_);
            if (isStored) {
                const std::lock_guard readerLock(readerMutex_);
                writing_.applyTo(stored_);
            }
            lock.lock();
        }
        if (!isStored) {
            pending_.follow(std::move(writing_));
        }
        writing_ = {};
        attempted_ = covered;
        changed_.notify_all();
    }
}

bool SQLiteUserDefaults::Domain::write(const SettingsChanges& changes) {
    try {
        writer_->store(changes);
        return true;
    } catch (const std::exception& error) {
        reportFailure("stored", error.what());
        return false;
    }
}

void SQLiteUserDefaults::Domain::eraseOther(const std::string& name) {
    if (!configurationFolder_ || !isDomainName(name)) {
        return;
    }
    const fs::path file = settingsFile(*configurationFolder_, name);
    std::error_code error;
    if (!fs::exists(file, error)) {
        return;
    }
    try {
        store(file).store({.clear = true, .values = {}});
    } catch (const std::exception& failure) {
        report_("The settings of " + name + " cannot be erased: " + failure.what() + ".");
    }
}

void SQLiteUserDefaults::reportToStandardError(const std::string& message) {
    std::fputs((message + "\n").c_str(), stderr);
}

SQLiteUserDefaults::SQLiteUserDefaults(const std::optional<fs::path>& configurationFolder, std::string identifier,
                                       Report report) {
    precondition(isDomainName(identifier), "an application's identifier can name a folder");
    domain_ = std::make_unique<Domain>(configurationFolder, std::move(identifier), std::move(report));
}

SQLiteUserDefaults::~SQLiteUserDefaults() = default;

bool SQLiteUserDefaults::isDomainName(const std::string& name) {
    constexpr std::size_t longestFileName = 255;
    return !name.empty() && name.size() <= longestFileName && name.front() != '.' &&
           name.find('/') == std::string::npos && name.find('\0') == std::string::npos;
}

Value SQLiteUserDefaults::object(const std::string& key) const {
    return domain_->object(key);
}

void SQLiteUserDefaults::set(const std::string& key, Value value) {
    domain_->set(key, value);
}

void SQLiteUserDefaults::remove(const std::string& key) {
    domain_->change({.clear = false, .values = {{key, std::nullopt}}});
}

void SQLiteUserDefaults::removePersistentDomain(const std::string& name) {
    if (name == domain_->identifier()) {
        domain_->change({.clear = true, .values = {}});
    } else {
        domain_->eraseOther(name);
    }
}

void SQLiteUserDefaults::synchronize() {
    domain_->synchronize();
}

std::optional<std::string> SQLiteUserDefaults::failure() const {
    return domain_->failure();
}

} // namespace tarnel
