#include <TarnelSDK/glyphs/CharacterSet.hpp>

#include <hb.h>

namespace tarnel {
namespace {

hb_set_t* setOf(std::u32string_view members) {
    hb_set_t* set = hb_set_create();
    for (const char32_t member : members) {
        hb_set_add(set, member);
    }
    return set;
}

} // namespace

CharacterSet::CharacterSet() : CharacterSet(hb_set_create()) {}

CharacterSet::CharacterSet(std::u32string_view members) : CharacterSet(setOf(members)) {}

CharacterSet::CharacterSet(hb_set_t* set) : set_(set), count_(hb_set_get_population(set)) {}

bool CharacterSet::contains(char32_t codePoint) const {
    return hb_set_has(set_.get(), codePoint) != 0;
}

bool CharacterSet::next(char32_t& codePoint) const {
    static_assert(HB_SET_VALUE_INVALID == char32_t(-1));
    hb_codepoint_t member = codePoint;
    const bool isFound = hb_set_next(set_.get(), &member) != 0;
    codePoint = member;
    return isFound;
}

void CharacterSet::Release::operator()(hb_set_t* set) const {
    hb_set_destroy(set);
}

} // namespace tarnel
