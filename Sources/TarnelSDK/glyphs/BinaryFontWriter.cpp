#include <TarnelSDK/glyphs/BinaryFont.hpp>
#include <TarnelSDK/glyphs/BinaryFontFormat.hpp>
#include <TarnelSDK/platform/Precondition.hpp>

#include <algorithm>
#include <bit>
#include <limits>
#include <span>
#include <string_view>

namespace tarnel {
namespace {

/// Offsets into the bitmaps have 20 bits in a loader without large-font support.
constexpr std::size_t maximumGlyphBytes = 1 << 20;
/// The glasses refuse messages of more than 10,000 bytes. A font that leaves less than this for the labels is made as
/// short as it can be.
constexpr std::size_t comfortableBytes = 9'000;
constexpr int maximumRange = 65'535;
constexpr std::size_t cmapHeaderBytes = 12;
/// Where a tiny subtable's data would start; it has none.
constexpr std::uint32_t tinyDataOffset = 28;
constexpr char32_t lastCodePoint = 0x10FFFF;

class Writer {
public:
    void u8(int value) { little<std::uint8_t>(value); }
    void u16(int value) { little<std::uint16_t>(value); }
    void i16(int value) { little<std::int16_t>(value); }
    void u32(std::size_t value) {
        precondition(value <= std::numeric_limits<std::uint32_t>::max(), "a length fits in 32 bits");
        append(value, sizeof(std::uint32_t));
    }
    void tag(std::string_view tag) { bytes_.insert(bytes_.end(), tag.begin(), tag.end()); }
    void add(ByteView bytes) { bytes_.insert(bytes_.end(), bytes.begin(), bytes.end()); }

    /// The low bits of a number in whole bytes, the most significant first, as glyph records have them.
    void big(int value, int bits) {
        for (int shift = bits - bitsInByte; shift >= 0; shift -= bitsInByte) {
            bytes_.push_back(static_cast<std::uint8_t>(static_cast<unsigned>(value) >> shift));
        }
    }

    std::size_t size() const { return bytes_.size(); }
    const Bytes& bytes() const { return bytes_; }
    Bytes take() { return std::move(bytes_); }

private:
    template <typename T>
    void little(int value) {
        precondition(value >= std::numeric_limits<T>::min() && value <= std::numeric_limits<T>::max(),
                     "a number of a font fits in its field");
        append(static_cast<std::size_t>(static_cast<std::make_unsigned_t<T>>(value)), sizeof(T));
    }
    void append(std::size_t value, std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            bytes_.push_back(static_cast<std::uint8_t>(value >> (i * bitsInByte)));
        }
    }

    Bytes bytes_;
};

/// The code points of a font, ascending, and the glyph of the first; the others follow one by one.
struct Run {
    char32_t first = 0;
    int length = 0;
    int firstGlyph = 0;

    char32_t end() const { return first + static_cast<char32_t>(length); }
};

std::vector<Run> runsOf(std::span<const char32_t> codePoints) {
    std::vector<Run> runs;
    int glyph = 0;
    for (const char32_t codePoint : codePoints) {
        ++glyph;
        if (runs.empty() || runs.back().end() != codePoint || runs.back().length == maximumRange) {
            runs.push_back({codePoint, 0, glyph});
        }
        ++runs.back().length;
    }
    return runs;
}

void addSubtable(Writer& cmap, std::size_t dataOffset, char32_t first, int length, int firstGlyph, int entries,
                 BinaryFontSubtable::Format format) {
    cmap.u32(dataOffset);
    cmap.u32(first);
    cmap.u16(length);
    cmap.u16(firstGlyph);
    cmap.u16(entries);
    cmap.u8(static_cast<int>(format));
    cmap.u8(0);
}

void beginSection(Writer& section, std::size_t length, std::string_view tag) {
    section.u32(length);
    section.tag(tag);
}

/// Code points just after a run that have no glyph. Loaders up to 8.4.0 take a range for one longer than it is; a range
/// of no length at such a code point, before the others, answers "not found" there and nothing in mended ones.
std::vector<char32_t> guardsOf(std::span<const Run> runs) {
    std::vector<char32_t> guards;
    for (std::size_t i = 0; i < runs.size(); ++i) {
        const bool isFollowed = i + 1 < runs.size() && runs[i + 1].first == runs[i].end();
        if (!isFollowed && runs[i].end() <= lastCodePoint) {
            guards.push_back(runs[i].end());
        }
    }
    return guards;
}

/// A tiny subtable a run.
Bytes tinyCmap(std::span<const Run> runs, std::span<const char32_t> guards) {
    using enum BinaryFontSubtable::Format;
    Writer cmap;
    const std::size_t count = runs.size() + guards.size();
    beginSection(cmap, cmapHeaderBytes + subtableBytes * count, "cmap");
    cmap.u32(count);
    for (const char32_t codePoint : guards) {
        addSubtable(cmap, tinyDataOffset, codePoint, 0, 0, 0, tiny);
    }
    // From the last, so that a run that starts where another ends is found first.
    for (auto run = runs.rbegin(); run != runs.rend(); ++run) {
        addSubtable(cmap, tinyDataOffset, run->first, run->length, run->firstGlyph, run->length, tiny);
    }
    return cmap.take();
}

/// Lists of code points, searched exactly by all loaders, each over at most 65,535 of them.
Bytes sparseCmap(std::span<const char32_t> codePoints) {
    struct List {
        std::size_t start = 0;
        std::size_t count = 0;
    };
    std::vector<List> lists;
    for (std::size_t i = 0; i < codePoints.size(); ++i) {
        if (lists.empty() || codePoints[i] - codePoints[lists.back().start] >= maximumRange) {
            lists.push_back({i, 0});
        }
        ++lists.back().count;
    }
    std::reverse(lists.begin(), lists.end());

    Writer cmap;
    const std::size_t tableEnd = cmapHeaderBytes + subtableBytes * lists.size();
    beginSection(cmap, tableEnd + sizeof(std::uint16_t) * codePoints.size(), "cmap");
    cmap.u32(lists.size());
    std::size_t offset = tableEnd;
    for (const auto& list : lists) {
        const auto part = codePoints.subspan(list.start, list.count);
        addSubtable(cmap, offset, part.front(), static_cast<int>(part.back() - part.front()) + 1,
                    static_cast<int>(list.start) + 1, static_cast<int>(list.count),
                    BinaryFontSubtable::Format::sparseTiny);
        offset += sizeof(std::uint16_t) * list.count;
    }
    for (const auto& list : lists) {
        for (const char32_t codePoint : codePoints.subspan(list.start, list.count)) {
            cmap.u16(static_cast<int>(codePoint - codePoints[list.start]));
        }
    }
    return cmap.take();
}

/// `otherBytes` is the length of the other sections.
Bytes makeCmap(std::span<const char32_t> codePoints, std::size_t otherBytes) {
    const auto runs = runsOf(codePoints);
    const auto guards = guardsOf(runs);
    if (runs.size() + guards.size() > maximumSubtables) {
        return sparseCmap(codePoints);
    }
    Bytes cmap = tinyCmap(runs, guards);
    if (otherBytes + cmap.size() > comfortableBytes) {
        if (Bytes shorter = sparseCmap(codePoints); shorter.size() < cmap.size()) {
            return shorter;
        }
    }
    return cmap;
}

using Glyphs = std::map<char32_t, BinaryFontGlyph>;

struct Extremes {
    int advance = 0;
    int lowestX = 0;
    int highestX = 0;
    int lowestY = std::numeric_limits<int>::max();
    int highestY = std::numeric_limits<int>::min(); ///< of the lower edges
    int highestTop = std::numeric_limits<int>::min();
    int side = 0; ///< of the widest or highest
};

Extremes extremesOf(const Glyphs& glyphs) {
    Extremes result;
    for (const auto& [codePoint, glyph] : glyphs) {
        result.advance = std::max(result.advance, glyph.advance);
        result.lowestX = std::min(result.lowestX, glyph.x);
        result.highestX = std::max(result.highestX, glyph.x);
        result.lowestY = std::min(result.lowestY, glyph.y);
        result.highestY = std::max(result.highestY, glyph.y);
        result.highestTop = std::max(result.highestTop, glyph.y + glyph.height);
        result.side = std::max({result.side, glyph.width, glyph.height});
    }
    return result;
}

/// As two's complement.
int signedBits(int value) {
    return bitsNeeded(value) + (value < 0 ? 0 : 1);
}

int fieldBits(int bits) {
    constexpr int narrow = 8;
    constexpr int wide = 16;
    return bits > narrow ? wide : narrow;
}

BinaryFontHead makeHead(const BinaryFontMetrics& metrics, const Glyphs& glyphs, const Extremes& extremes) {
    BinaryFontHead head;
    head.fontSize = metrics.pointSize;
    head.ascent = std::max(metrics.ascent, extremes.highestTop);
    head.descent = std::min(extremes.lowestY, -metrics.descent);
    head.typographicAscent = metrics.ascent;
    head.typographicDescent = -metrics.descent;
    head.typographicLineGap = metrics.leading;
    head.lowestY = extremes.lowestY;
    head.highestY = std::max(0, extremes.highestTop);
    head.defaultAdvance = glyphs.begin()->second.advance;
    head.positionBits = fieldBits(std::max({signedBits(extremes.lowestX), signedBits(extremes.highestX),
                                            signedBits(extremes.lowestY), signedBits(extremes.highestY)}));
    head.sizeBits = fieldBits(bitsNeeded(extremes.side));
    head.advanceBits = fieldBits(bitsNeeded(extremes.advance));
    return head;
}

void addHead(Writer& font, const BinaryFontHead& head) {
    beginSection(font, headBytes, "head");
    font.u32(head.version);
    font.u16(head.tableCount);
    font.u16(head.fontSize);
    font.u16(head.ascent);
    font.i16(head.descent);
    font.u16(head.typographicAscent);
    font.i16(head.typographicDescent);
    font.u16(head.typographicLineGap);
    font.i16(head.lowestY);
    font.u16(head.highestY);
    font.u16(head.defaultAdvance);
    font.u16(head.kerningScale);
    for (const int field :
         {head.locationFormat, head.glyphIdFormat, head.advanceFormat, head.bitsPerPixel, head.positionBits,
          head.sizeBits, head.advanceBits, head.compression, head.subpixelMode, 0}) {
        font.u8(field);
    }
    font.i16(head.underlinePosition);
    font.u16(head.underlineThickness);
}

void addGlyph(Writer& glyf, const BinaryFontHead& head, const BinaryFontGlyph& glyph) {
    glyf.big(glyph.advance, head.advanceBits);
    glyf.big(glyph.x, head.positionBits);
    glyf.big(glyph.y, head.positionBits);
    glyf.big(glyph.width, head.sizeBits);
    glyf.big(glyph.height, head.sizeBits);
    glyf.add(glyph.bitmap);
}

Bytes makeLoca(std::span<const std::size_t> offsets, BinaryFontHead& head) {
    head.locationFormat = offsets.back() > std::numeric_limits<std::uint16_t>::max() ? 1 : 0;
    const std::size_t width = head.locationFormat == 0 ? sizeof(std::uint16_t) : sizeof(std::uint32_t);
    Writer loca;
    beginSection(loca, cmapHeaderBytes + width * offsets.size(), "loca");
    loca.u32(offsets.size());
    for (const auto offset : offsets) {
        if (head.locationFormat == 0) {
            loca.u16(static_cast<int>(offset));
        } else {
            loca.u32(offset);
        }
    }
    return loca.take();
}

bool isWithin(int value, int limit) {
    return value >= -limit && value <= limit;
}

/// A message for glyphs or metrics that no field holds.
const char* whatIsTooLarge(const BinaryFontMetrics& metrics, const Glyphs& glyphs) {
    constexpr int limit = std::numeric_limits<std::int16_t>::max();
    // A glyph's upper edge is a sum of two.
    constexpr int sideLimit = limit / 2;
    if (metrics.pointSize < 0 || metrics.leading < 0 || metrics.ascent < 0 || metrics.descent < 0 ||
        !isWithin(metrics.pointSize, limit) || !isWithin(metrics.ascent, limit) || !isWithin(metrics.descent, limit) ||
        !isWithin(metrics.leading, limit)) {
        return "the font's line height is beyond what a binary font holds; use a smaller size or another font";
    }
    std::size_t bytes = sectionHeaderBytes;
    constexpr std::size_t recordBytes = 10;
    for (const auto& [codePoint, glyph] : glyphs) {
        if (!isWithin(glyph.x, sideLimit) || !isWithin(glyph.y, sideLimit) || !isWithin(glyph.width, sideLimit) ||
            !isWithin(glyph.height, sideLimit) || !isWithin(glyph.advance, limit) || glyph.advance < 0 ||
            glyph.width < 0 || glyph.height < 0) {
            return "a glyph is larger than a binary font holds; use a smaller size or another font";
        }
        bytes += recordBytes + glyph.bitmap.size();
    }
    return bytes > maximumGlyphBytes ? "the glyphs take more than 1 MiB; use less text or a smaller size" : nullptr;
}

} // namespace

int bitsNeeded(int num) {
    const bool isNegative = num < 0;
    const auto magnitude = static_cast<unsigned>(isNegative ? ~num : num);
    return static_cast<int>(std::bit_width(magnitude)) + (isNegative ? 1 : 0);
}

std::variant<Bytes, BinaryFontError> writeBinaryFont(const BinaryFontMetrics& metrics, const Glyphs& glyphs) {
    if (glyphs.empty()) {
        return BinaryFontError{"there is nothing to draw"};
    }
    if (glyphs.size() > maximumBinaryFontCharacters) {
        return BinaryFontError{"the text has more than 65,534 different characters; use less text"};
    }
    if (const char* problem = whatIsTooLarge(metrics, glyphs)) {
        return BinaryFontError{problem};
    }

    BinaryFontHead head = makeHead(metrics, glyphs, extremesOf(glyphs));
    std::vector<char32_t> codePoints;
    std::vector<std::size_t> offsets{sectionHeaderBytes};
    Writer records;
    addGlyph(records, head, {});
    for (const auto& [codePoint, glyph] : glyphs) {
        precondition(codePoint > 0 && codePoint <= lastCodePoint, "a font's characters are Unicode scalar values");
        codePoints.push_back(codePoint);
        offsets.push_back(sectionHeaderBytes + records.size());
        addGlyph(records, head, glyph);
    }
    const Bytes loca = makeLoca(offsets, head);

    Writer font;
    addHead(font, head);
    font.add(makeCmap(codePoints, headBytes + loca.size() + sectionHeaderBytes + records.size()));
    font.add(loca);
    beginSection(font, sectionHeaderBytes + records.size(), "glyf");
    font.add(records.bytes());
    return font.take();
}

} // namespace tarnel
