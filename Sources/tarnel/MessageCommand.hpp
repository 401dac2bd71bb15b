#pragma once

#include <optional>
#include <string>

namespace tarnel::command {

struct MessageEncodeOptions {
    std::string json = "-"; ///< the JSON text, or "-" for standard input
    std::string output = "-";
    bool asHexadecimal = false;
    bool asJSON = false;
};

/// JSON to the bytes of one message.
void encodeMessage(const MessageEncodeOptions& options);

struct MessageDecodeOptions {
    std::string file = "-";
    std::optional<std::string> hexadecimal; ///< in place of the file
};

/// The bytes of messages to JSON, a line each.
void decodeMessages(const MessageDecodeOptions& options);

} // namespace tarnel::command
