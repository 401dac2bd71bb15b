#include <TarnelLinux/SettingsStore.hpp>
#include <TarnelLinux/StoredValue.hpp>

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <system_error>
#include <thread>
#include <utility>

namespace tarnel {

namespace fs = std::filesystem;

namespace {

/// How often a lock that another process has is asked for again, as SQLite does with its own.
constexpr auto lockInterval = std::chrono::milliseconds(5);

/// Keeps other processes from opening and setting aside the same database in the meantime.
class FolderLock {
public:
    /// Throws `SQLiteError` when another process keeps the lock for longer than this.
    FolderLock(const fs::path& folder, std::chrono::milliseconds patience)
        : descriptor_(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
        const auto end = std::chrono::steady_clock::now() + patience;
        while (descriptor_ >= 0 && ::flock(descriptor_, LOCK_EX | LOCK_NB) != 0 &&
               (errno == EWOULDBLOCK || errno == EINTR)) {
            if (std::chrono::steady_clock::now() >= end) {
                ::close(descriptor_);
                throw SQLiteError(SQLITE_BUSY, "another process is opening the settings");
            }
            std::this_thread::sleep_for(lockInterval);
        }
    }
    ~FolderLock() {
        if (descriptor_ >= 0) {
            ::close(descriptor_);
        }
    }
    FolderLock(const FolderLock&) = delete;
    FolderLock& operator=(const FolderLock&) = delete;

private:
    int descriptor_;
};

std::string findDamage(SQLiteFile& database) {
    std::string found;
    try {
        database.run("PRAGMA quick_check(1)", {}, [&](const SQLiteFile::Row& row) { found = row.text(0); });
    } catch (const SQLiteError& error) {
        if (!error.isDamage()) {
            throw;
        }
        return error.what();
    }
    return found == "ok" ? std::string() : found;
}

SQLiteFile::Parameter text(const std::string& text) {
    return {text, {}, false};
}

} // namespace

void SettingsChanges::follow(SettingsChanges earlier) {
    if (clear) {
        return;
    }
    clear = earlier.clear;
    values.merge(earlier.values);
}

void SettingsChanges::applyTo(Value::Dictionary& stored) const {
    if (clear) {
        stored.clear();
    }
    for (const auto& [key, bytes] : values) {
        auto value = bytes ? decodeStoredValue(*bytes) : std::nullopt;
        if (value) {
            stored.insert_or_assign(key, *std::move(value));
        } else {
            stored.erase(key);
        }
    }
}

SettingsStore::SettingsStore(fs::path file, std::chrono::milliseconds patience, Damaged damaged)
    : file_(std::move(file)), patience_(patience), damaged_(std::move(damaged)) {}

void SettingsStore::setPatience(std::chrono::milliseconds patience) {
    patience_ = patience;
    if (database_) {
        database_->setPatience(patience);
    }
}

SQLiteFile& SettingsStore::open() {
    if (!database_ || !database_->isInPlace()) {
        readVersion_.reset();
        database_.reset();
        openChecked();
    }
    return *database_;
}

void SettingsStore::openChecked() {
    const fs::path folder = file_.parent_path();
    fs::create_directories(folder.parent_path());
    if (fs::create_directory(folder)) {
        fs::permissions(folder, fs::perms::owner_all);
    }
    const FolderLock lock(folder, patience_);
    database_.emplace(file_, patience_);
    if (const std::string damage = findDamage(*database_); !damage.empty()) {
        setAside(damage);
        database_.emplace(file_, patience_);
    }
    const long long stored = database_->number("PRAGMA user_version");
    if (stored > version) {
        database_.reset();
        throw SQLiteError(SQLITE_ERROR, laterVersion);
    }
    database_->run("PRAGMA synchronous = FULL");
    if (stored < version) {
        database_->transaction([this] {
            database_->run("CREATE TABLE IF NOT EXISTS defaults (key TEXT PRIMARY KEY NOT NULL, value BLOB NOT NULL)");
            static_assert(version == 1);
            database_->run("PRAGMA user_version = 1");
        });
    }
}

void SettingsStore::setAside(const std::string& reason) {
    database_.reset();
    fs::path kept;
    for (int number = 1; kept.empty() || fs::exists(kept); ++number) {
        kept = file_;
        kept += ".damaged-" + std::to_string(number);
    }
    // A journal belongs to its database by name, and must not be played back into the new one.
    if (fs::path journal = file_.string() + "-journal"; fs::exists(journal)) {
        fs::rename(journal, kept.string() + "-journal");
    }
    fs::rename(file_, kept);
    damaged_(kept, reason);
}

void SettingsStore::mend(const std::function<void()>& operation) {
    try {
        operation();
    } catch (const SQLiteError& error) {
        database_.reset();
        if (!error.isDamage()) {
            throw;
        }
        operation();
    }
}

std::optional<Value::Dictionary> SettingsStore::valuesIfChanged() {
    if (std::error_code error; !fs::exists(file_, error) && !error) {
        database_.reset();
        return Value::Dictionary();
    }
    std::optional<Value::Dictionary> values;
    mend([&] {
        SQLiteFile& database = open();
        const long long changes = database.number("PRAGMA data_version");
        if (readVersion_ == changes) {
            return;
        }
        values.emplace();
        database.run("SELECT key, value FROM defaults", {}, [&](const SQLiteFile::Row& row) {
            if (auto value = decodeStoredValue(row.blob(1))) {
                values->insert_or_assign(row.text(0), *std::move(value));
            }
        });
        readVersion_ = changes;
    });
    return values;
}

void SettingsStore::store(const SettingsChanges& changes) {
    mend([&] {
        SQLiteFile& database = open();
        database.transaction([&] {
            if (changes.clear) {
                database.run("DELETE FROM defaults");
            }
            for (const auto& [key, value] : changes.values) {
                if (value) {
                    database.run("INSERT OR REPLACE INTO defaults (key, value) VALUES (?1, ?2)",
                                 {text(key), {{}, *value, true}});
                } else {
                    database.run("DELETE FROM defaults WHERE key = ?1", {text(key)});
                }
            }
        });
    });
}

} // namespace tarnel
