#pragma once

#include "Files.hpp"

#include <TarnelGlasses/GattTrace.hpp>

#include <string>

namespace tarnel::command {

/// Writes what crosses the air as JSON lines, each as it happens: "time" in seconds, "direction" ("write",
/// "write_no_response" or "notify"), "characteristic" and "value" in hexadecimal.
class TraceWriter {
public:
    /// Throws `Failure` when the file cannot be written; so does `write`.
    explicit TraceWriter(std::string path) : file_(std::move(path)) {}

    void write(const glasses::GattTraceEvent& event) const;

private:
    OutputStream file_;
};

} // namespace tarnel::command
