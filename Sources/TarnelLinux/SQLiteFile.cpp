#include <TarnelLinux/SQLiteFile.hpp>

#include <sqlite3.h>
#include <sys/stat.h>

#include <optional>
#include <tuple>
#include <utility>

namespace tarnel {
namespace {

std::optional<std::pair<unsigned long long, unsigned long long>> identityOf(const std::filesystem::path& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) {
        return std::nullopt;
    }
    return std::pair<unsigned long long, unsigned long long>(status.st_dev, status.st_ino);
}

} // namespace

bool SQLiteError::isDamage() const {
    const int primary = code_ & 0xff;
    return primary == SQLITE_CORRUPT || primary == SQLITE_NOTADB;
}

bool SQLiteError::isBusy() const {
    const int primary = code_ & 0xff;
    return primary == SQLITE_BUSY || primary == SQLITE_LOCKED;
}

SQLiteFile::SQLiteFile(const std::filesystem::path& path, std::chrono::milliseconds patience)
    : path_(path), connection_(nullptr, ::sqlite3_close_v2) {
    sqlite3* opened = nullptr;
    const int code = ::sqlite3_open_v2(path.c_str(), &opened,
                                       SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX, nullptr);
    connection_.reset(opened);
    if (code != SQLITE_OK) {
        fail(code);
    }
    ::sqlite3_extended_result_codes(opened, 1);
    setPatience(patience);
    if (const auto identity = identityOf(path)) {
        std::tie(device_, inode_) = *identity;
    }
}

void SQLiteFile::setPatience(std::chrono::milliseconds patience) {
    ::sqlite3_busy_timeout(connection_.get(), static_cast<int>(patience.count()));
}

bool SQLiteFile::isInPlace() const {
    return identityOf(path_) == std::pair(device_, inode_);
}

void SQLiteFile::fail(int code) const {
    throw SQLiteError(code, connection_ ? ::sqlite3_errmsg(connection_.get()) : ::sqlite3_errstr(code));
}

void SQLiteFile::run(const char* statement, const std::vector<Parameter>& parameters,
                     const std::function<void(const Row&)>& row) {
    sqlite3_stmt* prepared = nullptr;
    if (const int code = ::sqlite3_prepare_v2(connection_.get(), statement, -1, &prepared, nullptr);
        code != SQLITE_OK) {
        fail(code);
    }
    const std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt*)> owner(prepared, ::sqlite3_finalize);
    for (int i = 0; i < static_cast<int>(parameters.size()); ++i) {
        const auto& parameter = parameters[static_cast<std::size_t>(i)];
        const int code = parameter.isBlob ? ::sqlite3_bind_blob64(prepared, i + 1, parameter.blob.data(),
                                                                  parameter.blob.size(), SQLITE_STATIC)
                                          : ::sqlite3_bind_text64(prepared, i + 1, parameter.text.data(),
                                                                  parameter.text.size(), SQLITE_STATIC, SQLITE_UTF8);
        if (code != SQLITE_OK) {
            fail(code);
        }
    }
    int code = SQLITE_ROW;
    while ((code = ::sqlite3_step(prepared)) == SQLITE_ROW) {
        if (row) {
            row(Row(prepared));
        }
    }
    if (code != SQLITE_DONE) {
        fail(code);
    }
}

long long SQLiteFile::number(const char* statement) {
    long long result = 0;
    run(statement, {}, [&](const Row& row) { result = row.number(0); });
    return result;
}

void SQLiteFile::transaction(const std::function<void()>& changes) {
    run("BEGIN IMMEDIATE");
    try {
        changes();
        run("COMMIT");
    } catch (...) {
        // Some failures have undone the transaction by themselves.
        if (::sqlite3_get_autocommit(connection_.get()) == 0) {
            ::sqlite3_exec(connection_.get(), "ROLLBACK", nullptr, nullptr, nullptr);
        }
        throw;
    }
}

long long SQLiteFile::Row::number(int column) const {
    return ::sqlite3_column_int64(statement_, column);
}

std::string SQLiteFile::Row::text(int column) const {
    const auto* text = ::sqlite3_column_text(statement_, column);
    const auto size = static_cast<std::size_t>(::sqlite3_column_bytes(statement_, column));
    return text ? std::string(text, text + size) : std::string();
}

Bytes SQLiteFile::Row::blob(int column) const {
    const auto* data = static_cast<const std::uint8_t*>(::sqlite3_column_blob(statement_, column));
    const auto size = static_cast<std::size_t>(::sqlite3_column_bytes(statement_, column));
    return data ? Bytes(data, data + size) : Bytes();
}

} // namespace tarnel
