#include <TarnelSDK/glyphs/BinaryFont.hpp>
#include <TarnelSDK/glyphs/BinaryFontFormat.hpp>

#include <algorithm>
#include <optional>
#include <stdexcept>
#include <string_view>

namespace tarnel {
namespace {

constexpr std::uint32_t codePointLimit = 0x110000;

/// Ends reading; does not leave this file.
class Malformed : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

void require(bool holds, const std::string& problem) {
    if (!holds) {
        throw Malformed(problem);
    }
}

/// Little-endian numbers one after another.
class Cursor {
public:
    Cursor(ByteView bytes, std::string_view name) : bytes_(bytes), name_(name) {}

    std::uint32_t number(std::size_t count) {
        require(bytes_.size() >= count, "its \"" + std::string(name_) + "\" section is cut short");
        std::uint32_t value = 0;
        for (std::size_t i = 0; i < count; ++i) {
            value |= static_cast<std::uint32_t>(bytes_[i]) << (i * bitsInByte);
        }
        bytes_ = bytes_.subspan(count);
        return value;
    }
    int u8() { return static_cast<int>(number(1)); }
    int u16() { return static_cast<int>(number(2)); }
    int i16() { return static_cast<std::int16_t>(number(2)); }
    std::uint32_t u32() { return number(4); }
    std::size_t left() const { return bytes_.size(); }

private:
    ByteView bytes_;
    std::string_view name_;
};

/// Numbers of any number of bits, the most significant bit first.
class BitCursor {
public:
    explicit BitCursor(ByteView bytes) : bytes_(bytes) {}

    bool isSet() {
        require(position_ < bytes_.size() * bitsInByte, "a glyph is cut short");
        const unsigned byte = bytes_[position_ / bitsInByte];
        const bool bit = (byte >> (bitsInByte - 1 - position_ % bitsInByte) & 1) != 0;
        ++position_;
        return bit;
    }
    int unsignedNumber(int bits) {
        int value = 0;
        for (int i = 0; i < bits; ++i) {
            value = value * 2 + (isSet() ? 1 : 0);
        }
        return value;
    }
    int signedNumber(int bits) {
        const int value = unsignedNumber(bits);
        return bits > 0 && value >= 1 << (bits - 1) ? value - (1 << bits) : value;
    }
    std::size_t bitsLeft() const { return bytes_.size() * bitsInByte - position_; }

private:
    ByteView bytes_;
    std::size_t position_ = 0;
};

/// A section, from its length field to its end, and what follows it.
ByteView takeSection(ByteView& rest, std::string_view tag) {
    Cursor cursor(rest, tag);
    const std::uint32_t length = cursor.u32();
    require(length >= sectionHeaderBytes && length <= rest.size(),
            "its \"" + std::string(tag) + "\" section is cut short");
    const auto name = rest.subspan(sizeof(std::uint32_t), tag.size());
    require(std::equal(name.begin(), name.end(), tag.begin()), "it has no \"" + std::string(tag) + "\" section");
    const auto section = rest.first(length);
    rest = rest.subspan(length);
    return section;
}

BinaryFontHead readHead(ByteView section) {
    require(section.size() == headBytes, "its \"head\" section is not 48 bytes long");
    Cursor cursor(section.subspan(sectionHeaderBytes), "head");
    BinaryFontHead head;
    head.version = cursor.u32();
    head.tableCount = cursor.u16();
    head.fontSize = cursor.u16();
    head.ascent = cursor.u16();
    head.descent = cursor.i16();
    head.typographicAscent = cursor.u16();
    head.typographicDescent = cursor.i16();
    head.typographicLineGap = cursor.u16();
    head.lowestY = cursor.i16();
    head.highestY = cursor.i16();
    head.defaultAdvance = cursor.u16();
    head.kerningScale = cursor.u16();
    head.locationFormat = cursor.u8();
    head.glyphIdFormat = cursor.u8();
    head.advanceFormat = cursor.u8();
    head.bitsPerPixel = cursor.u8();
    head.positionBits = cursor.u8();
    head.sizeBits = cursor.u8();
    head.advanceBits = cursor.u8();
    head.compression = cursor.u8();
    head.subpixelMode = cursor.u8();
    cursor.u8();
    head.underlinePosition = cursor.i16();
    head.underlineThickness = cursor.u16();
    return head;
}

void checkHead(const BinaryFontHead& head) {
    constexpr int maximumBits = 16;
    require(head.bitsPerPixel == 1,
            "it has " + std::to_string(head.bitsPerPixel) + " bits a pixel; only fonts of 1 bit are read");
    require(head.compression == 0, "its glyphs are compressed; only plain ones are read");
    require(head.subpixelMode == 0, "its glyphs are for subpixels; only plain ones are read");
    require(head.locationFormat <= 1, "its glyph offsets are of an unknown format");
    require(head.advanceFormat <= 1, "its advances are of an unknown format");
    require(head.positionBits <= maximumBits && head.sizeBits <= maximumBits && head.advanceBits <= maximumBits,
            "its glyphs have fields of more than 16 bits");
}

std::vector<BinaryFontSubtable> readSubtables(ByteView section) {
    Cursor cursor(section.subspan(sectionHeaderBytes), "cmap");
    const std::uint32_t count = cursor.u32();
    require(count <= maximumSubtables, "it has more than 511 ranges of characters, which is more than a loader takes");
    require(cursor.left() >= count * subtableBytes, "its \"cmap\" section is cut short");
    std::vector<BinaryFontSubtable> subtables;
    for (std::uint32_t i = 0; i < count; ++i) {
        BinaryFontSubtable subtable;
        subtable.dataOffset = cursor.u32();
        subtable.firstCodePoint = cursor.u32();
        subtable.length = cursor.u16();
        subtable.firstGlyph = cursor.u16();
        subtable.entries = cursor.u16();
        const int format = cursor.u8();
        require(format <= static_cast<int>(BinaryFontSubtable::Format::sparseTiny),
                "a range of characters is of an unknown format");
        subtable.format = static_cast<BinaryFontSubtable::Format>(format);
        cursor.u8();
        subtables.push_back(subtable);
    }
    return subtables;
}

std::vector<std::uint32_t> readLocations(ByteView section, int format, std::size_t glyphBytes) {
    constexpr std::uint32_t maximumGlyphs = 65'536;
    Cursor cursor(section.subspan(sectionHeaderBytes), "loca");
    const std::uint32_t count = cursor.u32();
    require(count >= 1 && count <= maximumGlyphs, "it has no glyph, or more than 65,536");
    std::vector<std::uint32_t> locations;
    std::uint32_t previous = sectionHeaderBytes;
    for (std::uint32_t i = 0; i < count; ++i) {
        const std::uint32_t location = format == 0 ? cursor.number(sizeof(std::uint16_t)) : cursor.u32();
        // Glyph 0, which is never drawn, may have no record.
        require(location <= glyphBytes && location >= previous && (i > 0 || location == sectionHeaderBytes) &&
                    (i < 2 || location > previous),
                "its glyph offsets do not grow from 8 to the end of the glyphs");
        locations.push_back(location);
        previous = location;
    }
    return locations;
}

BinaryFontGlyph readGlyph(ByteView record, const BinaryFontHead& head) {
    constexpr int sixteenths = 16;
    BitCursor bits(record);
    BinaryFontGlyph glyph;
    glyph.advance = bits.unsignedNumber(head.advanceBits);
    if (head.advanceBits == 0) {
        glyph.advance = head.defaultAdvance;
    }
    if (head.advanceFormat == 1) {
        glyph.advance = (glyph.advance + sixteenths / 2) / sixteenths;
    }
    glyph.x = bits.signedNumber(head.positionBits);
    glyph.y = bits.signedNumber(head.positionBits);
    glyph.width = bits.unsignedNumber(head.sizeBits);
    glyph.height = bits.unsignedNumber(head.sizeBits);
    const auto pixels = static_cast<std::size_t>(glyph.width) * static_cast<std::size_t>(glyph.height);
    require(pixels <= bits.bitsLeft(), "a glyph is cut short");
    glyph.bitmap.resize((pixels + bitsInByte - 1) / bitsInByte, 0);
    for (std::size_t i = 0; i < pixels; ++i) {
        if (bits.isSet()) {
            glyph.bitmap[i / bitsInByte] |= static_cast<std::uint8_t>(0x80U >> (i % bitsInByte));
        }
    }
    return glyph;
}

std::vector<BinaryFontGlyph> readGlyphs(ByteView section, std::span<const std::uint32_t> locations,
                                        const BinaryFontHead& head) {
    std::vector<BinaryFontGlyph> glyphs;
    for (std::size_t i = 0; i < locations.size(); ++i) {
        const std::size_t end = i + 1 < locations.size() ? locations[i + 1] : section.size();
        const auto record = section.subspan(locations[i], end - locations[i]);
        glyphs.push_back(i == 0 && record.empty() ? BinaryFontGlyph{} : readGlyph(record, head));
    }
    return glyphs;
}

/// The glyphs of all code points. The first subtable whose range holds a code point answers for it.
class CharacterReader {
public:
    CharacterReader(ByteView cmap, std::size_t glyphCount)
        : cmap_(cmap), glyphCount_(glyphCount), isAnswered_(codePointLimit), glyphs_(codePointLimit) {}

    void read(const BinaryFontSubtable& subtable) {
        require(subtable.firstCodePoint < codePointLimit, "a range of characters lies beyond U+10FFFF");
        subtable_ = subtable;
        switch (subtable.format) {
        case BinaryFontSubtable::Format::tiny:
            readTiny();
            break;
        case BinaryFontSubtable::Format::full:
            readFull();
            break;
        case BinaryFontSubtable::Format::sparse:
        case BinaryFontSubtable::Format::sparseTiny:
            readSparse();
            break;
        }
        for (int i = 0; i < subtable.length; ++i) {
            if (const std::size_t codePoint = codePointAt(i); codePoint < codePointLimit) {
                isAnswered_[codePoint] = true;
            }
        }
    }

    std::vector<std::pair<char32_t, std::uint16_t>> characters() const {
        std::vector<std::pair<char32_t, std::uint16_t>> result;
        for (std::uint32_t codePoint = 1; codePoint < codePointLimit; ++codePoint) {
            if (glyphs_[codePoint] != 0) {
                result.emplace_back(codePoint, glyphs_[codePoint]);
            }
        }
        return result;
    }

private:
    std::size_t codePointAt(int index) const { return subtable_.firstCodePoint + static_cast<std::uint32_t>(index); }

    void set(int index, int glyph) {
        const std::size_t codePoint = codePointAt(index);
        require(static_cast<std::size_t>(glyph) < glyphCount_, "a character has a glyph that is not there");
        require(codePoint < codePointLimit, "a range of characters lies beyond U+10FFFF");
        if (!isAnswered_[codePoint]) {
            glyphs_[codePoint] = static_cast<std::uint16_t>(glyph);
        }
    }

    /// `count` numbers of that size from the subtable's data on.
    Cursor data(std::size_t count, std::size_t size) const {
        require(subtable_.dataOffset <= cmap_.size() && cmap_.size() - subtable_.dataOffset >= count * size,
                "its \"cmap\" section is cut short");
        return Cursor(cmap_.subspan(subtable_.dataOffset, count * size), "cmap");
    }

    void readTiny() {
        for (int i = 0; i < subtable_.length; ++i) {
            set(i, subtable_.firstGlyph + i);
        }
    }
    /// A difference of 0 after the first entry stands for "not found".
    void readFull() {
        Cursor differences = data(static_cast<std::size_t>(subtable_.entries), 1);
        for (int i = 0; i < std::min(subtable_.entries, subtable_.length); ++i) {
            const int difference = differences.u8();
            if (i == 0 || difference != 0) {
                set(i, subtable_.firstGlyph + difference);
            }
        }
    }
    void readSparse() {
        const auto count = static_cast<std::size_t>(subtable_.entries);
        const bool hasGlyphs = subtable_.format == BinaryFontSubtable::Format::sparse;
        Cursor codePoints = data(count * (hasGlyphs ? 2 : 1), sizeof(std::uint16_t));
        Cursor glyphs = codePoints;
        for (std::size_t i = 0; hasGlyphs && i < count; ++i) {
            glyphs.u16();
        }
        int previous = -1;
        for (std::size_t i = 0; i < count; ++i) {
            const int index = codePoints.u16();
            require(index > previous && index < subtable_.length, "a list of characters is out of order");
            set(index, subtable_.firstGlyph + (hasGlyphs ? glyphs.u16() : static_cast<int>(i)));
            previous = index;
        }
    }

    ByteView cmap_;
    std::size_t glyphCount_;
    BinaryFontSubtable subtable_;
    std::vector<bool> isAnswered_;
    std::vector<std::uint16_t> glyphs_;
};

/// Characters may share a glyph: a small file could stand for endless pictures.
void checkSize(const BinaryFont& font) {
    constexpr std::size_t maximumPixels = 16 << 20;
    std::size_t pixels = 0;
    for (const auto& [codePoint, id] : font.characters) {
        const auto& glyph = font.glyphs[id];
        pixels += static_cast<std::size_t>(glyph.width) * static_cast<std::size_t>(glyph.height);
        require(pixels <= maximumPixels, "its characters have more than 16,777,216 pixels together");
    }
}

BinaryFont read(ByteView bytes) {
    BinaryFont font;
    font.head = readHead(takeSection(bytes, "head"));
    checkHead(font.head);
    const auto cmap = takeSection(bytes, "cmap");
    const auto loca = takeSection(bytes, "loca");
    const auto glyf = takeSection(bytes, "glyf");
    if (constexpr int tablesWithKerning = 4; font.head.tableCount >= tablesWithKerning) {
        takeSection(bytes, "kern");
    }
    require(bytes.empty(), "it goes on after its last section");
    font.subtables = readSubtables(cmap);
    font.glyphs = readGlyphs(glyf, readLocations(loca, font.head.locationFormat, glyf.size()), font.head);
    CharacterReader reader(cmap, font.glyphs.size());
    for (const auto& subtable : font.subtables) {
        reader.read(subtable);
    }
    font.characters = reader.characters();
    checkSize(font);
    return font;
}

} // namespace

const BinaryFontGlyph* BinaryFont::glyph(char32_t codePoint) const {
    const auto found = std::lower_bound(characters.begin(), characters.end(), codePoint,
                                        [](const auto& entry, char32_t value) { return entry.first < value; });
    return found != characters.end() && found->first == codePoint ? &glyphs[found->second] : nullptr;
}

std::variant<BinaryFont, BinaryFontError> readBinaryFont(ByteView bytes) {
    try {
        return read(bytes);
    } catch (const Malformed& problem) {
        return BinaryFontError{"this is no font for the glasses: " + std::string(problem.what())};
    }
}

} // namespace tarnel
