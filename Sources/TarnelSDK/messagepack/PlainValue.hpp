#pragma once

#include <TarnelSDK/messagepack/MessagePackValue.hpp>
#include <TarnelSDK/platform/Value.hpp>

namespace tarnel {

/// The value without its MessagePack cases: numbers without their width, an `extended` as its bytes. Dictionaries have
/// text keys: a number becomes its decimal digits, a binary its text where it is one, any other key its description;
/// the last of keys that thereby become the same counts.
Value toPlainValue(const MessagePackValue& value);

} // namespace tarnel
