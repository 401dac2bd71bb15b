#include <TarnelSDK/images/Geometry.hpp>

#include <algorithm>
#include <cstdint>

namespace tarnel {

namespace {

struct Span {
    int start;
    int length;
};

Span overlap(int startA, int lengthA, int startB, int lengthB) {
    const std::int64_t start = std::max(startA, startB);
    const std::int64_t end = std::min(std::int64_t{startA} + lengthA, std::int64_t{startB} + lengthB);
    return {static_cast<int>(start), static_cast<int>(std::max<std::int64_t>(end - start, 0))};
}

} // namespace

Rect intersection(const Rect& a, const Rect& b) {
    const Span across = overlap(a.x, a.width, b.x, b.width);
    const Span down = overlap(a.y, a.height, b.y, b.height);
    const Rect both{across.start, down.start, across.length, down.length};
    return both.isEmpty() ? Rect{} : both;
}

} // namespace tarnel
