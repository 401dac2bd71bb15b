#include <TarnelGlasses/LvglFont.hpp>
#include <TarnelSDK/platform/Precondition.hpp>

#include <algorithm>
#include <array>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace tarnel::glasses {

namespace {

enum TableFormat : std::uint8_t { full, sparse, tiny, sparseTiny };

/// The number of tables is kept in 9 bits.
constexpr std::uint32_t maximumTables = 511;
/// The number of a full table's entries is kept in 8 bits.
constexpr std::uint32_t maximumFullEntries = 255;
/// LVGL's largest coordinate.
constexpr int maximumLineHeight = 8191;

struct Refusal : std::runtime_error {
    using std::runtime_error::runtime_error;
};

void require(bool condition, const char* otherwise) {
    if (!condition) {
        throw Refusal(otherwise);
    }
}

/// Reads numbers of a file, least significant byte first.
class Reader {
public:
    explicit Reader(ByteView file) : file_(file) {}

    std::size_t size() const { return file_.size(); }

    std::uint32_t number(std::uint64_t offset, int bytes) const {
        require(offset + static_cast<std::uint64_t>(bytes) <= file_.size(), "the font is cut off");
        std::uint32_t value = 0;
        for (int i = bytes - 1; i >= 0; --i) {
            value = value << 8 | file_[static_cast<std::size_t>(offset) + static_cast<std::size_t>(i)];
        }
        return value;
    }
    std::uint32_t u8(std::uint64_t offset) const { return number(offset, 1); }
    std::uint32_t u16(std::uint64_t offset) const { return number(offset, 2); }
    std::uint32_t u32(std::uint64_t offset) const { return number(offset, 4); }
    int i16(std::uint64_t offset) const { return static_cast<std::int16_t>(u16(offset)); }

    /// The length of the section that begins here, which must have this tag.
    std::uint32_t section(std::uint64_t offset, std::string_view tag) const {
        const auto length = u32(offset);
        std::array<char, 4> found{};
        for (std::size_t i = 0; i < found.size(); ++i) {
            found[i] = static_cast<char>(u8(offset + 4 + i));
        }
        if (std::string_view(found.data(), found.size()) != tag) {
            throw Refusal("no section " + std::string(tag));
        }
        return length;
    }

private:
    ByteView file_;
};

/// Reads numbers of any bit length, most significant bits first.
class BitReader {
public:
    BitReader(const Reader& reader, std::uint64_t offset) : reader_(reader), bit_(offset * 8) {}

    std::uint64_t position() const { return bit_; }

    int number(std::uint32_t bits) {
        std::uint32_t value = 0;
        for (std::uint32_t i = 0; i < bits; ++i, ++bit_) {
            value = value << 1 | (reader_.u8(bit_ / 8) >> (7 - bit_ % 8) & 1);
        }
        return static_cast<int>(value);
    }
    /// In two's complement.
    int signedNumber(std::uint32_t bits) {
        const int value = number(bits);
        return bits > 0 && (value >> (bits - 1) & 1) != 0 ? value - (1 << bits) : value;
    }

private:
    const Reader& reader_;
    std::uint64_t bit_;
};

} // namespace

/// Takes a file apart. The format is documented with LVGL's font converter, lv_font_conv.
class LvglFont::Loader {
public:
    explicit Loader(LvglFont& font) : font_(font), reader_(font.file_) {}

    void load() {
        const std::uint64_t map = readHead();
        const std::uint64_t locations = map + readMap(map);
        const std::uint64_t glyphs = locations + readLocations(locations);
        readGlyphs(glyphs);
    }

private:
    std::uint32_t readHead() {
        constexpr std::uint64_t content = 8;
        const auto length = reader_.section(0, "head");
        const auto tableCount = reader_.u16(content + 4);
        const auto ascent = static_cast<int>(reader_.u16(content + 8));
        const auto descent = reader_.i16(content + 10);
        font_.lineHeight_ = ascent - descent;
        font_.baseLine_ = -descent;
        defaultAdvance_ = reader_.u16(content + 22);
        locationFormat_ = reader_.u8(content + 26);
        advanceFormat_ = reader_.u8(content + 28);
        const auto depth = reader_.u8(content + 29);
        positionBits_ = reader_.u8(content + 30);
        sizeBits_ = reader_.u8(content + 31);
        advanceBits_ = reader_.u8(content + 32);
        const auto compression = reader_.u8(content + 33);
        const auto subpixels = reader_.u8(content + 34);
        reader_.u16(content + 38); // the last field is there

        require(tableCount < 4, "kerning is not supported");
        require(font_.lineHeight_ > 0 && font_.lineHeight_ <= maximumLineHeight, "no line height");
        require(locationFormat_ <= 1, "unknown location format");
        require(depth == 1, "not 1 bit a pixel");
        require(compression == 0, "compressed");
        require(subpixels == 0, "subpixels are not supported");
        require(positionBits_ <= 16 && sizeBits_ <= 16 && advanceBits_ <= 16, "glyph fields of more than 16 bits");
        return length;
    }

    std::uint32_t readMap(std::uint64_t start) {
        const auto length = reader_.section(start, "cmap");
        const auto count = reader_.u32(start + 8) & maximumTables;
        for (std::uint64_t at = start + 12, end = at + std::uint64_t{count} * 16; at < end; at += 16) {
            Table table;
            const auto data = start + reader_.u32(at);
            table.first = reader_.u32(at + 4);
            table.length = reader_.u16(at + 8);
            table.firstGlyph = reader_.u16(at + 10);
            table.entries = reader_.u16(at + 12);
            table.format = static_cast<std::uint8_t>(reader_.u8(at + 14));
            require(table.format <= sparseTiny, "unknown cmap format");
            if (table.format == full) {
                table.entries &= maximumFullEntries;
            }
            if (table.format != tiny) {
                constexpr std::array<std::uint64_t, 4> entrySizes = {1, 4, 0, 2};
                require(data + table.entries * entrySizes.at(table.format) <= reader_.size(), "the cmap is cut off");
                table.data = static_cast<std::uint32_t>(data);
            }
            font_.tables_.push_back(table);
        }
        return length;
    }

    std::uint32_t readLocations(std::uint64_t start) {
        const auto length = reader_.section(start, "loca");
        const std::uint64_t count = reader_.u32(start + 8);
        const int size = locationFormat_ == 0 ? 2 : 4;
        require(start + 12 + count * static_cast<std::uint64_t>(size) <= reader_.size(), "the loca is cut off");
        locations_.reserve(static_cast<std::size_t>(count));
        for (std::uint64_t i = 0; i < count; ++i) {
            locations_.push_back(reader_.number(start + 12 + i * static_cast<std::uint64_t>(size), size));
        }
        return length;
    }

    void readGlyphs(std::uint64_t start) {
        const auto length = reader_.section(start, "glyf");
        require(start + length <= reader_.size(), "the glyf is cut off");
        font_.glyphs_.reserve(locations_.size());
        for (std::size_t i = 0; i < locations_.size(); ++i) {
            const std::uint32_t end = i + 1 < locations_.size() ? locations_[i + 1] : length;
            // The record of id 0 is not read, and may be empty.
            const std::uint64_t least = std::uint64_t{locations_[i]} + (i == 0 ? 0 : 1);
            require(locations_[i] >= 8 && end <= length && least <= end, "the locations do not grow");
            font_.glyphs_.push_back(i == 0 ? LvglGlyph{} : readGlyph(start + locations_[i], start + end));
        }
    }

    LvglGlyph readGlyph(std::uint64_t start, std::uint64_t end) {
        BitReader bits(reader_, start);
        LvglGlyph glyph{.isFound = true};
        glyph.advance = advanceBits_ == 0 ? static_cast<int>(defaultAdvance_) : bits.number(advanceBits_);
        if (advanceFormat_ != 0) { // sixteenths of a pixel
            glyph.advance = (glyph.advance + 8) >> 4;
        }
        glyph.x = bits.signedNumber(positionBits_);
        glyph.y = bits.signedNumber(positionBits_);
        glyph.width = bits.number(sizeBits_);
        glyph.height = bits.number(sizeBits_);
        const auto pixels = static_cast<std::uint64_t>(glyph.width) * static_cast<std::uint64_t>(glyph.height);
        require(bits.position() + pixels <= end * 8, "a glyph is longer than its record");
        glyph.bitmap = static_cast<std::size_t>(bits.position());
        return glyph;
    }

    LvglFont& font_;
    Reader reader_;
    std::uint32_t defaultAdvance_ = 0;
    std::uint32_t locationFormat_ = 0;
    std::uint32_t advanceFormat_ = 0;
    std::uint32_t positionBits_ = 0;
    std::uint32_t sizeBits_ = 0;
    std::uint32_t advanceBits_ = 0;
    std::vector<std::uint32_t> locations_;
};

std::variant<LvglFont, std::string> LvglFont::load(ByteView file, LvglVersion version) {
    LvglFont font;
    font.file_.assign(file.begin(), file.end());
    font.version_ = version;
    try {
        Loader(font).load();
    } catch (const Refusal& refusal) {
        return refusal.what();
    }
    return font;
}

std::uint32_t LvglFont::number16(std::size_t offset) const {
    return static_cast<std::uint32_t>(file_[offset] | file_[offset + 1] << 8);
}

bool LvglFont::isInRange(const Table& table, std::uint32_t offset) const {
    return version_ == LvglVersion::v8_4 ? offset < table.length : offset <= table.length;
}

/// The glyph id; 0 when the table does not have the code point.
std::uint32_t LvglFont::lookUp(const Table& table, std::uint32_t offset) const {
    if (table.format == tiny) {
        return table.firstGlyph + offset;
    }
    if (table.format == full) {
        if (offset >= table.entries) {
            return 0;
        }
        const std::uint32_t delta = file_[table.data + offset];
        const bool isGap = delta == 0 && offset != 0 && version_ == LvglVersion::v8_4;
        return isGap ? 0 : table.firstGlyph + delta;
    }
    std::uint32_t low = 0;
    std::uint32_t high = table.entries;
    while (low < high) {
        const auto middle = (low + high) / 2;
        const auto entry = number16(table.data + std::size_t{middle} * 2);
        if (entry == (offset & 0xFFFF)) {
            const auto ids = table.data + std::size_t{table.entries} * 2;
            return table.firstGlyph + (table.format == sparse ? number16(ids + std::size_t{middle} * 2) : middle);
        }
        if (entry < (offset & 0xFFFF)) {
            low = middle + 1;
        } else {
            high = middle;
        }
    }
    return 0;
}

std::optional<std::uint32_t> LvglFont::glyphId(std::uint32_t codePoint) const {
    if (codePoint == 0) {
        return std::nullopt;
    }
    const auto table = std::find_if(tables_.begin(), tables_.end(), [&](const Table& candidate) {
        return codePoint >= candidate.first && isInRange(candidate, codePoint - candidate.first);
    });
    if (table == tables_.end()) {
        return std::nullopt;
    }
    const auto id = lookUp(*table, codePoint - table->first);
    return id == 0 ? std::nullopt : std::optional(id);
}

LvglGlyph LvglFont::glyph(std::uint32_t codePoint) const {
    const bool isTab = codePoint == '\t';
    const auto id = glyphId(isTab ? ' ' : codePoint);
    if (id && *id < glyphs_.size()) {
        auto glyph = glyphs_[*id];
        if (isTab) {
            glyph.advance *= 2;
            glyph.width *= 2;
        }
        return glyph;
    }
    LvglGlyph missing;
    if (version_ == LvglVersion::v8_2) {
        return missing;
    }
    missing.height = lineHeight_;
    if (codePoint >= 0x20 && codePoint != 0xF8FF && codePoint != 0x200C) {
        missing.width = lineHeight_ / 2;
        missing.advance = missing.width + 2;
    }
    return missing;
}

bool LvglFont::isLit(const LvglGlyph& glyph, int column, int row) const {
    precondition(glyph.isFound && column >= 0 && column < glyph.width && row >= 0 && row < glyph.height,
                 "a pixel lies in its glyph");
    const auto bit = glyph.bitmap + static_cast<std::size_t>(row) * static_cast<std::size_t>(glyph.width) +
                     static_cast<std::size_t>(column);
    return bit / 8 < file_.size() && (file_[bit / 8] >> (7 - bit % 8) & 1) != 0;
}

} // namespace tarnel::glasses
