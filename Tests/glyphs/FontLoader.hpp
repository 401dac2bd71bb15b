#pragma once

#include <TarnelSDK/platform/Bytes.hpp>

#include <cstdint>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace tarnel::test {

/// What a loader of LVGL binary fonts makes of a font, written from the format's description and independent of the
/// SDK's reader and writer. Throws for what a loader refuses or must not be given.
class FontLoader {
public:
    /// Releases up to 8.4.0 take each range of characters for one longer than it is.
    enum class Version { released, mended };

    struct Glyph {
        int advance = 0;
        int x = 0;
        int y = 0;
        int width = 0;
        int height = 0;
        std::vector<std::string> rows; ///< '#' and '.'
    };

    explicit FontLoader(Bytes bytes) : bytes_(std::move(bytes)) {
        const std::size_t cmap = sectionEnd(0, "head");
        if (cmap != 48) {
            throw std::runtime_error("head is not 48 bytes long");
        }
        cmap_ = cmap;
        loca_ = sectionEnd(cmap_, "cmap");
        glyf_ = sectionEnd(loca_, "loca");
        if (sectionEnd(glyf_, "glyf") != bytes_.size()) {
            throw std::runtime_error("something follows the glyphs");
        }
        if (number(cmap_ + 8, 4) > 511) {
            throw std::runtime_error("too many subtables");
        }
        for (std::size_t id = 1; id < glyphCount(); ++id) {
            if (location(id) <= location(id - 1)) {
                throw std::runtime_error("offsets do not grow");
            }
        }
    }

    int lineHeight() const { return ascent() - descent(); }
    int ascent() const { return static_cast<int>(number(16, 2)); }
    int descent() const { return static_cast<std::int16_t>(number(18, 2)); }
    std::uint32_t number(std::size_t offset, std::size_t count) const {
        std::uint32_t value = 0;
        for (std::size_t i = count; i-- > 0;) {
            value = value << 8 | bytes_.at(offset + i);
        }
        return value;
    }
    std::size_t subtableCount() const { return number(cmap_ + 8, 4); }
    int subtableFormat(std::size_t index) const { return bytes_.at(cmap_ + 12 + 16 * index + 14); }
    std::size_t cmapLength() const { return number(cmap_, 4); }
    std::size_t glyphCount() const { return number(loca_ + 8, 4); }
    int locationFormat() const { return bytes_.at(34); }
    int positionBits() const { return bytes_.at(38); }
    int sizeBits() const { return bytes_.at(39); }
    int advanceBits() const { return bytes_.at(40); }

    /// 0 when there is none.
    std::size_t glyphId(char32_t letter, Version version) const {
        for (std::size_t i = 0; i < subtableCount(); ++i) {
            const std::size_t at = cmap_ + 12 + 16 * i;
            const std::uint32_t difference = static_cast<std::uint32_t>(letter) - number(at + 4, 4);
            const std::uint32_t length = number(at + 8, 2);
            if (version == Version::released ? difference > length : difference >= length) {
                continue;
            }
            const std::size_t first = number(at + 10, 2);
            const int format = bytes_.at(at + 14);
            if (format == 2) {
                return first + difference;
            }
            if (format != 3) {
                throw std::runtime_error("a subtable of another format");
            }
            const std::size_t entries = number(at + 12, 2);
            for (std::size_t entry = 0; entry < entries; ++entry) {
                if (number(cmap_ + number(at, 4) + 2 * entry, 2) == difference) {
                    return first + entry;
                }
            }
            return 0;
        }
        return 0;
    }

    std::optional<Glyph> glyph(char32_t letter, Version version = Version::mended) const {
        const std::size_t id = glyphId(letter, version);
        return id == 0 ? std::nullopt : std::optional(glyphAt(id));
    }

    Glyph glyphAt(std::size_t id) const {
        if (id >= glyphCount()) {
            throw std::runtime_error("a glyph beyond the table");
        }
        std::size_t bit = 8 * (glyf_ + location(id));
        const auto take = [&](int bits) {
            int value = 0;
            for (; bits > 0; --bits, ++bit) {
                value = value << 1 | (bytes_.at(bit / 8) >> (7 - bit % 8) & 1);
            }
            return value;
        };
        const auto takeSigned = [&](int bits) {
            const int value = take(bits);
            return value >= 1 << (bits - 1) ? value - (1 << bits) : value;
        };
        Glyph glyph;
        glyph.advance = take(advanceBits());
        glyph.x = takeSigned(positionBits());
        glyph.y = takeSigned(positionBits());
        glyph.width = take(sizeBits());
        glyph.height = take(sizeBits());
        for (int y = 0; y < glyph.height; ++y) {
            auto& row = glyph.rows.emplace_back();
            for (int x = 0; x < glyph.width; ++x) {
                row.push_back(take(1) == 1 ? '#' : '.');
            }
        }
        const std::size_t end = id + 1 < glyphCount() ? glyf_ + location(id + 1) : bytes_.size();
        if ((bit + 7) / 8 != end) {
            throw std::runtime_error("a record is longer or shorter than its glyph");
        }
        return glyph;
    }

private:
    std::size_t sectionEnd(std::size_t start, const std::string& tag) const {
        const std::size_t length = number(start, 4);
        for (std::size_t i = 0; i < tag.size(); ++i) {
            if (bytes_.at(start + 4 + i) != static_cast<std::uint8_t>(tag[i])) {
                throw std::runtime_error("no " + tag);
            }
        }
        return start + length;
    }
    std::size_t location(std::size_t id) const {
        return locationFormat() == 0 ? number(loca_ + 12 + 2 * id, 2) : number(loca_ + 12 + 4 * id, 4);
    }

    Bytes bytes_;
    std::size_t cmap_ = 0;
    std::size_t loca_ = 0;
    std::size_t glyf_ = 0;
};

} // namespace tarnel::test
