#pragma once

#include <TarnelSDK/platform/Precondition.hpp>

#include <cmath>
#include <cstdint>
#include <limits>

namespace tarnel {

/// The result of arithmetic on coordinates. REQUIRES: it is an `int`.
inline int coordinate(std::int64_t value) {
    precondition(value >= std::numeric_limits<int>::min() && value <= std::numeric_limits<int>::max(),
                 "coordinates on the display do not overflow");
    return static_cast<int>(value);
}

/// REQUIRES: a finite number of whole pixels that is an `int`.
inline int pixels(double value) {
    precondition(std::isfinite(value), "coordinates on the display are finite");
    precondition(std::abs(value) <= std::numeric_limits<int>::max(), "coordinates on the display do not overflow");
    return static_cast<int>(value);
}

} // namespace tarnel
