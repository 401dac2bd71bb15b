#pragma once

#include <filesystem>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

namespace tarnel {

/// Where a log line comes from. Made in place: `log("connected", {"connect(device:)"})`. The file is the caller's
/// unless the line belongs to another unit's name: `log("ERROR", {"read()", "Tarnel"})`.
struct CallSite {
    CallSite(std::string_view function_, std::string_view file_ = __builtin_FILE(), int line_ = __builtin_LINE())
        : function(function_), file(file_), line(line_) {}

    std::string_view function;
    std::string_view file;
    int line;
};

/// Whether lines are handed out; initially false. Settable on any thread.
bool logEnabled();
void setLogEnabled(bool enabled);

/// The SDK's one diagnostic call. Each item becomes one line
/// "📲(HH:mm:ss.SSSS): item | File:line function", its file without folder and extension, posted synchronously as the
/// notification "log" with the line under "msg" (a `std::string`) while `logEnabled`. Called on any thread.
void log(std::initializer_list<std::string_view> items, CallSite site);
void log(std::string_view item, CallSite site);

/// Today's log file, "dd-MM-yyyy.log" in the user's document directory; empty when there is no such directory.
std::optional<std::filesystem::path> logFile();

/// Appends the text and a line feed to `logFile`. A failure loses the line silently.
void logtoFile(std::string_view text);

} // namespace tarnel
