#pragma once

#include <TarnelSDK/glyphs/GlyphBitmap.hpp>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

struct FT_FaceRec_;
struct hb_font_t;

namespace tarnel {

class CharacterSet;

/// A face of a font file with outlines. The file is mapped, not read, when something is first asked of it; one that
/// then proves unreadable, or has no outlines, has no glyphs and metrics of 0. Called on any thread.
class Typeface {
public:
    /// In units of the em.
    struct Metrics {
        int unitsPerEm = 0;
        int ascent = 0;
        int descent = 0; ///< below the baseline, positive
        int lineGap = 0;
        int weight = 400; ///< OpenType's usWeightClass
    };

    /// The same object for the same file and face, as long as somebody holds it. `face` is the index in a collection;
    /// its bits from 16 up, when set, are the number of a named instance of a variable font.
    static std::shared_ptr<Typeface> of(const std::filesystem::path& file, int face);

    /// How many faces the file has by its first bytes (OpenType 1.9, font file header and collection header); 0 when it
    /// cannot be read or is no OpenType file.
    static int faceCount(const std::filesystem::path& file);

    const std::filesystem::path& file() const { return file_; }
    int face() const { return face_; }

    /// Whether the file was opened. Asking does not open it.
    bool isOpen() const { return isOpen_; }
    /// Opens the file; whether it has glyphs to give.
    bool isReadable() const { return opened() != nullptr; }

    /// PostScript name; the file's name when it has none.
    std::string name() const;
    Metrics metrics() const;
    /// 0 when the face has no glyph for the code point.
    std::uint32_t glyph(char32_t codePoint) const;
    std::shared_ptr<const CharacterSet> characterSet() const;

    /// The glyph drawn for a display of one bit a pixel; those drawn last are kept. Null when the file or the glyph's
    /// data is unreadable.
    std::shared_ptr<const GlyphBitmap> bitmap(std::uint32_t glyph, double size) const;

    /// For shaping: immutable, scaled to the units of the em, living as long as this; null when unreadable. A caller
    /// scales with `hb_font_create_sub_font`.
    hb_font_t* shaper() const;

    /// Runs `use` with the FreeType face set to `size` pixels per em, which no one else uses meanwhile; false, without
    /// running it, when the file is unreadable or has no such size. `use` asks nothing else of this object.
    bool withFace(double size, const std::function<void(FT_FaceRec_*)>& use) const;

    /// Only `of` has the key.
    class Key {
        friend class Typeface;
        Key() = default;
    };
    Typeface(Key, std::filesystem::path file, int face);
    ~Typeface();
    Typeface(const Typeface&) = delete;
    Typeface& operator=(const Typeface&) = delete;

private:
    struct Opened;
    /// Null when the file is unreadable.
    const Opened* opened() const;

    const std::filesystem::path file_;
    const int face_;
    mutable std::once_flag opening_;
    mutable std::unique_ptr<Opened> opened_;
    mutable std::atomic<bool> isOpen_{false};
    /// Whether the FreeType face could be set to that size. The lock is held.
    static bool setSize(const Opened& open, double size);

    /// Held while the FreeType face or the kept bitmaps are used.
    mutable std::mutex faceMutex_;
    mutable std::map<std::pair<double, std::uint32_t>, std::shared_ptr<const GlyphBitmap>> bitmaps_;
    mutable std::size_t bitmapBytes_ = 0;
    mutable std::once_flag collecting_;
    mutable std::shared_ptr<const CharacterSet> characterSet_;
};

} // namespace tarnel
