#pragma once

#include <TarnelSDK/platform/Value.hpp>

#include <cstddef>
#include <string>

namespace tarnel {

/// One line of at most about `limit` bytes that shows a value as JSON does, long texts cut short and bytes counted.
/// Takes time in proportion to the limit, not to the value.
std::string messageText(const Value& value, std::size_t limit = 200);

} // namespace tarnel
