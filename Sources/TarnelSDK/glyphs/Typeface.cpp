#include <TarnelSDK/glyphs/CharacterSet.hpp>
#include <TarnelSDK/glyphs/Typeface.hpp>

#include <ft2build.h>
#include <hb-ot.h>
#include <hb.h>
#include FT_FREETYPE_H
#include FT_TRUETYPE_TABLES_H

#include <algorithm>
#include <array>
#include <cmath>
#include <fstream>
#include <limits>
#include <map>
#include <utility>

namespace tarnel {
namespace {

/// FreeType's library object, held by every face made with it. Making and ending faces takes its lock.
class FreeTypeLibrary {
public:
    static std::shared_ptr<FreeTypeLibrary> shared() {
        static const auto library = std::make_shared<FreeTypeLibrary>();
        return library;
    }

    FreeTypeLibrary() {
        if (FT_Init_FreeType(&library_) != 0) {
            library_ = nullptr;
        }
    }
    ~FreeTypeLibrary() {
        if (library_) {
            FT_Done_FreeType(library_);
        }
    }
    FreeTypeLibrary(const FreeTypeLibrary&) = delete;
    FreeTypeLibrary& operator=(const FreeTypeLibrary&) = delete;

    FT_Face makeFace(const char* bytes, unsigned length, int face) {
        const std::lock_guard lock(mutex_);
        FT_Face made = nullptr;
        if (!library_ || FT_New_Memory_Face(library_, reinterpret_cast<const FT_Byte*>(bytes),
                                            static_cast<FT_Long>(length), face, &made) != 0) {
            return nullptr;
        }
        return made;
    }
    void endFace(FT_Face face) {
        const std::lock_guard lock(mutex_);
        FT_Done_Face(face);
    }

private:
    std::mutex mutex_;
    FT_Library library_ = nullptr;
};

struct BlobRelease {
    void operator()(hb_blob_t* blob) const { hb_blob_destroy(blob); }
};
struct ShaperRelease {
    void operator()(hb_font_t* font) const { hb_font_destroy(font); }
};

} // namespace

/// Both libraries read from the one mapping of the file.
struct Typeface::Opened {
    std::shared_ptr<FreeTypeLibrary> library;
    std::unique_ptr<hb_blob_t, BlobRelease> file;
    FT_Face face = nullptr;
    std::unique_ptr<hb_font_t, ShaperRelease> shaper;
    Metrics metrics;
    std::string name;

    Opened() = default;
    ~Opened() {
        if (face) {
            library->endFace(face);
        }
    }
    Opened(const Opened&) = delete;
    Opened& operator=(const Opened&) = delete;

    static std::unique_ptr<Opened> open(const std::filesystem::path& path, int face);
    void makeShaper(int index);
    void readMetrics();
};

std::unique_ptr<Typeface::Opened> Typeface::Opened::open(const std::filesystem::path& path, int face) {
    auto opened = std::make_unique<Opened>();
    opened->library = FreeTypeLibrary::shared();
    opened->file.reset(hb_blob_create_from_file_or_fail(path.c_str()));
    if (!opened->file) {
        return nullptr;
    }
    unsigned length = 0;
    const char* bytes = hb_blob_get_data(opened->file.get(), &length);
    opened->face = opened->library->makeFace(bytes, length, face);
    if (!opened->face || !FT_IS_SCALABLE(opened->face) || opened->face->units_per_EM == 0) {
        return nullptr;
    }
    opened->makeShaper(face);
    opened->readMetrics();
    const char* name = FT_Get_Postscript_Name(opened->face);
    opened->name = name && *name ? std::string(name) : path.filename().string();
    return opened;
}

void Typeface::Opened::makeShaper(int index) {
    constexpr int faceBits = 16;
    constexpr unsigned faceMask = 0xFFFF;
    hb_face_t* shapes = hb_face_create(file.get(), static_cast<unsigned>(index) & faceMask);
    shaper.reset(hb_font_create(shapes));
    hb_face_destroy(shapes);
    if (const int instance = index >> faceBits; instance > 0) {
        hb_font_set_var_named_instance(shaper.get(), static_cast<unsigned>(instance) - 1);
    }
    hb_font_make_immutable(shaper.get());
}

void Typeface::Opened::readMetrics() {
    metrics.unitsPerEm = face->units_per_EM;
    metrics.ascent = face->ascender;
    metrics.descent = std::max(0, -static_cast<int>(face->descender));
    metrics.lineGap = std::max(0, face->height - (face->ascender - face->descender));
    if (const auto* table = static_cast<const TT_OS2*>(FT_Get_Sfnt_Table(face, FT_SFNT_OS2));
        table && table->usWeightClass > 0) {
        metrics.weight = table->usWeightClass;
    }
}

std::shared_ptr<Typeface> Typeface::of(const std::filesystem::path& file, int face) {
    static std::mutex mutex;
    static std::map<std::pair<std::filesystem::path, int>, std::weak_ptr<Typeface>> known;
    const std::lock_guard lock(mutex);
    std::erase_if(known, [](const auto& entry) { return entry.second.expired(); });
    auto& entry = known[{file, face}];
    auto typeface = entry.lock();
    if (!typeface) {
        typeface = std::make_shared<Typeface>(Key(), file, face);
        entry = typeface;
    }
    return typeface;
}

int Typeface::faceCount(const std::filesystem::path& file) {
    constexpr std::size_t tagLength = 4;
    constexpr std::size_t countOffset = 8;
    constexpr int bitsPerByte = 8;
    std::ifstream stream(file, std::ios::binary);
    std::array<char, 12> header{};
    if (!stream || !stream.read(header.data(), header.size())) {
        return 0;
    }
    const std::string_view tag(header.data(), tagLength);
    if (tag == "OTTO" || tag == "true" || tag == std::string_view("\0\1\0\0", tagLength)) {
        return 1;
    }
    if (tag != "ttcf") {
        return 0;
    }
    std::uint32_t count = 0;
    for (std::size_t i = countOffset; i < header.size(); ++i) {
        count = (count << bitsPerByte) | static_cast<std::uint8_t>(header[i]);
    }
    return static_cast<int>(std::min<std::uint32_t>(count, std::numeric_limits<std::int16_t>::max()));
}

Typeface::Typeface(Key, std::filesystem::path file, int face) : file_(std::move(file)), face_(face) {}

Typeface::~Typeface() = default;

const Typeface::Opened* Typeface::opened() const {
    std::call_once(opening_, [this] {
        opened_ = Opened::open(file_, face_);
        isOpen_ = opened_ != nullptr;
    });
    return opened_.get();
}

std::string Typeface::name() const {
    const auto* open = opened();
    return open ? open->name : file_.filename().string();
}

Typeface::Metrics Typeface::metrics() const {
    const auto* open = opened();
    return open ? open->metrics : Metrics{};
}

std::uint32_t Typeface::glyph(char32_t codePoint) const {
    const auto* open = opened();
    hb_codepoint_t glyph = 0;
    return open && hb_font_get_nominal_glyph(open->shaper.get(), codePoint, &glyph) ? glyph : 0;
}

std::shared_ptr<const CharacterSet> Typeface::characterSet() const {
    std::call_once(collecting_, [this] {
        hb_set_t* set = hb_set_create();
        if (const auto* open = opened()) {
            hb_face_collect_unicodes(hb_font_get_face(open->shaper.get()), set);
        }
        characterSet_ = std::make_shared<CharacterSet>(set);
    });
    return characterSet_;
}

hb_font_t* Typeface::shaper() const {
    const auto* open = opened();
    return open ? open->shaper.get() : nullptr;
}

bool Typeface::setSize(const Opened& open, double size) {
    constexpr double fractionsPerPixel = 64;
    const auto fractions = static_cast<FT_F26Dot6>(std::lround(size * fractionsPerPixel));
    return FT_Set_Char_Size(open.face, 0, fractions, 0, 0) == 0;
}

bool Typeface::withFace(double size, const std::function<void(FT_FaceRec_*)>& use) const {
    const auto* open = opened();
    if (!open) {
        return false;
    }
    const std::lock_guard lock(faceMutex_);
    if (!setSize(*open, size)) {
        return false;
    }
    use(open->face);
    return true;
}

std::shared_ptr<const GlyphBitmap> Typeface::bitmap(std::uint32_t glyph, double size) const {
    constexpr std::size_t maximumKeptBytes = 4 << 20;
    const auto* open = opened();
    if (!open) {
        return nullptr;
    }
    const std::lock_guard lock(faceMutex_);
    const std::pair key(size, glyph);
    if (const auto found = bitmaps_.find(key); found != bitmaps_.end()) {
        return found->second;
    }
    auto drawn = setSize(*open, size) ? rasterize(open->face, glyph) : std::nullopt;
    if (!drawn) {
        return nullptr;
    }
    auto kept = std::make_shared<const GlyphBitmap>(std::move(*drawn));
    const std::size_t bytes = sizeof(GlyphBitmap) + kept->pixels.size();
    if (bitmapBytes_ + bytes > maximumKeptBytes) {
        bitmaps_.clear();
        bitmapBytes_ = 0;
    }
    bitmapBytes_ += bytes;
    bitmaps_.emplace(key, kept);
    return kept;
}

} // namespace tarnel
