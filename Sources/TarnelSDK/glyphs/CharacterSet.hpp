#pragma once

#include <cstddef>
#include <memory>

namespace tarnel {

/// The code points that a font has glyphs for: an immutable value that may be large.
class CharacterSet {
public:
    virtual ~CharacterSet() = default;
    virtual bool contains(char32_t codePoint) const = 0;
    virtual std::size_t count() const = 0;
    /// The next member after `codePoint`, or nothing. To walk all, start with the result for `char32_t(-1)`.
    virtual bool next(char32_t& codePoint) const = 0;
};

} // namespace tarnel
