#pragma once

#include <TarnelSDK/platform/UserDefaults.hpp>

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace tarnel {

/// User defaults in an SQLite database, "settings.sqlite" in the folder `<configuration>/<identifier>`, shared by all
/// processes of the application. Called on any thread.
///
/// A change is read back at once, by this process, and stored by a thread of its own, so that `set` and `remove` do not
/// wait for the disk; destruction and `synchronize` wait until it is stored. A change is stored whole or not at all,
/// whenever the process or the machine stops. What cannot be stored now is kept, is tried again with the next change,
/// and is lost with the process; the user is told the first time.
///
/// `object` reads the file, at first and when another process may have changed it. It waits for another process that
/// holds the file: at first for 5 s, hardly at all once it has waited in vain, or has read what was stored before. What
/// cannot be read counts as it was read last, at first as not there, of which the user is told, and `failure` says why.
/// To erase another application's domain waits for the disk.
///
/// A damaged database is renamed, with a message, and a new one is begun.
class SQLiteUserDefaults final : public platform::UserDefaults {
public:
    /// Tells the user; called on any thread.
    using Report = std::function<void(const std::string& message)>;

    /// One line on standard error.
    static void reportToStandardError(const std::string& message);

    /// Without a configuration folder nothing is stored, which is reported. REQUIRES: `isDomainName(identifier)`.
    SQLiteUserDefaults(const std::optional<std::filesystem::path>& configurationFolder, std::string identifier,
                       Report report = reportToStandardError);
    ~SQLiteUserDefaults() override;
    SQLiteUserDefaults(const SQLiteUserDefaults&) = delete;
    SQLiteUserDefaults& operator=(const SQLiteUserDefaults&) = delete;

    /// Whether the text can name a domain: it is a file name, and not hidden.
    static bool isDomainName(const std::string& name);

    Value object(const std::string& key) const override;
    void set(const std::string& key, Value value) override;
    void remove(const std::string& key) override;
    /// Another application's domain is erased too, if the user has such settings.
    void removePersistentDomain(const std::string& name) override;
    void synchronize() override;

    /// Why what is stored cannot be read, now; empty when it can. Waits as `object` does.
    std::optional<std::string> failure() const;

private:
    class Domain;
    std::unique_ptr<Domain> domain_;
};

} // namespace tarnel
