#pragma once

#include <TarnelSDK/platform/Bytes.hpp>
#include <TarnelSDK/platform/Value.hpp>

#include <optional>

namespace tarnel::glasses {

/// Takes one MessagePack value apart. Empty when the bytes are not exactly one value, nest deeper than 16, or hold what
/// no message of the glasses has: a map key that is no text or comes twice, or an extension.
std::optional<Value> unpackMessage(ByteView bytes);

/// The shortest encoding of a value.
Bytes packMessage(const Value& value);

} // namespace tarnel::glasses
