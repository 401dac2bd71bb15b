#pragma once

#include "JSON.hpp"

#include <TarnelSDK/messagepack/MessagePackValue.hpp>
#include <TarnelSDK/platform/Value.hpp>

#include <string_view>

namespace tarnel::command {

/// How messages are written in JSON, as the user is told.
///
/// The mapping keeps everything that goes on the wire: what `toJSON` writes, `messageFromJSON` turns into a message of
/// the same bytes.
extern const std::string_view messageJSONHelp;

JSON toJSON(const MessagePackValue& message);
/// Bytes and non-finite numbers as in messages.
JSON toJSON(const Value& value);

/// Throws `Failure` for JSON that stands for no message.
MessagePackValue messageFromJSON(const JSON& value);

} // namespace tarnel::command
