#pragma once

#include <string_view>

namespace tarnel {

/// Prints what was violated and where, then aborts. For mistakes of the program, never for bytes from outside.
[[noreturn]] void preconditionFailure(std::string_view what, const char* file = __builtin_FILE(),
                                      int line = __builtin_LINE());

/// Stops the program unless `holds`. `what` says what must hold, e.g. "a slot lies in 0...127".
inline void precondition(bool holds, std::string_view what, const char* file = __builtin_FILE(),
                         int line = __builtin_LINE()) {
    if (!holds) {
        preconditionFailure(what, file, line);
    }
}

} // namespace tarnel
