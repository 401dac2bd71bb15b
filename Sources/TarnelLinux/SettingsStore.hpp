#pragma once

#include <TarnelLinux/SQLiteFile.hpp>
#include <TarnelSDK/platform/Bytes.hpp>
#include <TarnelSDK/platform/Value.hpp>

#include <chrono>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>

namespace tarnel {

/// Changes of a domain that are not stored yet.
struct SettingsChanges {
    bool clear = false;                                 ///< all earlier values go first
    std::map<std::string, std::optional<Bytes>> values; ///< encoded (StoredValue.hpp); empty to remove

    bool isEmpty() const { return !clear && values.empty(); }

    /// Makes these changes follow the earlier ones.
    void follow(SettingsChanges earlier);

    void applyTo(Value::Dictionary& values) const;
};

/// The database of one domain's values. One thread at a time. Every operation throws `SQLiteError`, or
/// `std::filesystem::filesystem_error` when the folder cannot be made.
///
/// One table, "defaults", of keys and encoded values (StoredValue.hpp); `PRAGMA user_version` is 1. A rollback journal
/// rather than a write-ahead log, which needs shared memory and so fails on network homes.
class SettingsStore {
public:
    /// `damaged` is called with the name that a damaged file was given.
    using Damaged = std::function<void(const std::filesystem::path& kept, const std::string& reason)>;

    SettingsStore(std::filesystem::path file, std::chrono::milliseconds patience, Damaged damaged);

    /// `PRAGMA user_version` of what this program can read and write.
    static constexpr long long version = 1;

    const std::filesystem::path& file() const { return file_; }

    /// What is wrong with one of a later version.
    static constexpr const char* laterVersion = "it was written by a later version of the program";

    /// How long an operation waits for another process from now on.
    void setPatience(std::chrono::milliseconds patience);

    /// All values, if they may have changed since the last time; what cannot be decoded is left out. Makes no file.
    std::optional<Value::Dictionary> valuesIfChanged();

    /// Stores all of the changes, or none.
    void store(const SettingsChanges& changes);

private:
    SQLiteFile& open();
    void openChecked();
    void setAside(const std::string& reason);
    /// Runs the operation; once more, on a new file, when that finds the file damaged.
    void mend(const std::function<void()>& operation);

    const std::filesystem::path file_;
    std::chrono::milliseconds patience_;
    const Damaged damaged_;
    std::optional<SQLiteFile> database_;
    std::optional<long long> readVersion_;
};

} // namespace tarnel
