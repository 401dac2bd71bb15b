#pragma once

#include <cstddef>
#include <memory>
#include <string_view>

struct hb_set_t;

namespace tarnel {

/// The code points that a font has glyphs for: an immutable value that may be large. Called on any thread.
class CharacterSet {
public:
    /// The set without members.
    CharacterSet();

    explicit CharacterSet(std::u32string_view members);

    /// Takes `set` over; it is not changed any more.
    explicit CharacterSet(hb_set_t* set);

    bool contains(char32_t codePoint) const;
    std::size_t count() const { return count_; }
    /// Moves to the next member; false, and `codePoint` at `char32_t(-1)`, when there is none. To walk all, start
    /// with `char32_t(-1)`.
    bool next(char32_t& codePoint) const;

private:
    struct Release {
        void operator()(hb_set_t* set) const;
    };
    std::unique_ptr<hb_set_t, Release> set_;
    std::size_t count_;
};

} // namespace tarnel
