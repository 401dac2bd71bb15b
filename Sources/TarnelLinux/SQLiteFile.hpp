#pragma once

#include <TarnelSDK/platform/Bytes.hpp>

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

namespace tarnel {

/// What SQLite answered when it could not do as asked.
class SQLiteError : public std::runtime_error {
public:
    SQLiteError(int code, const std::string& message) : std::runtime_error(message), code_(code) {}

    /// The file is damaged, or no database at all.
    bool isDamage() const;
    /// Another process holds the file.
    bool isBusy() const;

private:
    int code_;
};

/// A connection to a database file. One thread at a time. Every operation throws `SQLiteError`.
class SQLiteFile {
public:
    /// Opens the file and makes it when it is missing. `patience` is how long an operation waits for another process.
    SQLiteFile(const std::filesystem::path& path, std::chrono::milliseconds patience);

    /// How long an operation waits for another process from now on.
    void setPatience(std::chrono::milliseconds patience);

    /// Whether the path still leads to the file that was opened.
    bool isInPlace() const;

    /// Runs a statement, its parameters ?1, ?2 … bound first, and calls `row` for each row of the result.
    class Row;
    struct Parameter {
        std::string text;
        Bytes blob;
        bool isBlob = false;
    };
    void run(const char* statement, const std::vector<Parameter>& parameters = {},
             const std::function<void(const Row&)>& row = nullptr);

    /// The one number that a statement gives, such as a pragma.
    long long number(const char* statement);

    /// Runs `changes` in a transaction that is undone when they throw.
    void transaction(const std::function<void()>& changes);

    class Row {
    public:
        explicit Row(sqlite3_stmt* statement) : statement_(statement) {}
        long long number(int column) const;
        std::string text(int column) const;
        Bytes blob(int column) const;

    private:
        sqlite3_stmt* statement_;
    };

private:
    [[noreturn]] void fail(int code) const;

    std::filesystem::path path_;
    std::unique_ptr<sqlite3, int (*)(sqlite3*)> connection_;
    unsigned long long device_ = 0;
    unsigned long long inode_ = 0;
};

} // namespace tarnel
