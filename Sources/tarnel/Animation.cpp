#include "Animation.hpp"

#include "Failure.hpp"

#include <TarnelSDK/images/Geometry.hpp>
#include <TarnelSDK/platform/Precondition.hpp>

#include <gif_lib.h>

#include <algorithm>
#include <array>
#include <memory>

namespace tarnel::command {
namespace {

using glasses::Frame;

constexpr int levels = 4;
constexpr int bitsPerPixel = 2;

struct Destroy {
    void operator()(ColorMapObject* map) const { GifFreeMapObject(map); }
    void operator()(GifFileType* file) const { EGifCloseFile(file, nullptr); }
};
using ColorMap = std::unique_ptr<ColorMapObject, Destroy>;
using File = std::unique_ptr<GifFileType, Destroy>;

void require(bool isDone) {
    if (!isDone) {
        throw Failure("the animated picture could not be made; free some memory and try again");
    }
}

int append(GifFileType* file, const GifByteType* bytes, int count) {
    auto& output = *static_cast<Bytes*>(file->UserData);
    output.insert(output.end(), bytes, bytes + count);
    return count;
}

ColorMap greens() {
    ColorMap map(GifMakeMapObject(levels, nullptr));
    require(map != nullptr);
    for (int level = 0; level < levels; ++level) {
        map->Colors[level] = {0, static_cast<GifByteType>(level * 85), 0};
    }
    return map;
}

/// The smallest rectangle that holds every pixel in which they differ; one pixel when none does.
Rect difference(const Frame& before, const Frame& after) {
    int left = Frame::width;
    int right = -1;
    int top = Frame::height;
    int bottom = -1;
    for (int y = 0; y < Frame::height; ++y) {
        for (int x = 0; x < Frame::width; ++x) {
            if (before.at(x, y) != after.at(x, y)) {
                left = std::min(left, x);
                right = std::max(right, x);
                top = std::min(top, y);
                bottom = y;
            }
        }
    }
    return right < 0 ? Rect{0, 0, 1, 1} : Rect{left, top, right - left + 1, bottom - top + 1};
}

/// The extension by which a GIF repeats (Netscape's application block, sub-block 1): 0 is without end.
void putLoop(GifFileType* file) {
    constexpr std::array<GifByteType, 3> endless{1, 0, 0};
    require(EGifPutExtensionLeader(file, APPLICATION_EXT_FUNC_CODE) == GIF_OK &&
            EGifPutExtensionBlock(file, 11, "NETSCAPE2.0") == GIF_OK &&
            EGifPutExtensionBlock(file, endless.size(), endless.data()) == GIF_OK &&
            EGifPutExtensionTrailer(file) == GIF_OK);
}

void putFrame(GifFileType* file, const Frame& frame, const Rect& area, std::chrono::milliseconds duration) {
    const auto hundredths = std::clamp<std::int64_t>((duration.count() + 5) / 10, 2, UINT16_MAX);
    const GraphicsControlBlock control{DISPOSE_DO_NOT, false, static_cast<int>(hundredths), NO_TRANSPARENT_COLOR};
    std::array<GifByteType, 4> extension{};
    EGifGCBToExtension(&control, extension.data());
    require(EGifPutExtension(file, GRAPHICS_EXT_FUNC_CODE, extension.size(), extension.data()) == GIF_OK);
    require(EGifPutImageDesc(file, area.x, area.y, area.width, area.height, false, nullptr) == GIF_OK);
    std::vector<GifPixelType> row(static_cast<std::size_t>(area.width));
    for (int y = area.y; y < area.y + area.height; ++y) {
        for (int x = 0; x < area.width; ++x) {
            row[static_cast<std::size_t>(x)] = frame.at(area.x + x, y);
        }
        require(EGifPutLine(file, row.data(), area.width) == GIF_OK);
    }
}

} // namespace

Bytes gifOf(const std::vector<TimedFrame>& frames) {
    precondition(!frames.empty(), "an animated picture has a frame");
    Bytes bytes;
    File file(EGifOpen(&bytes, append, nullptr));
    require(file != nullptr);
    EGifSetGifVersion(file.get(), true);
    const ColorMap colors = greens();
    require(EGifPutScreenDesc(file.get(), Frame::width, Frame::height, bitsPerPixel, 0, colors.get()) == GIF_OK);
    putLoop(file.get());
    const Frame* before = nullptr;
    for (const TimedFrame& timed : frames) {
        const Rect area = before ? difference(*before, timed.frame) : Rect{0, 0, Frame::width, Frame::height};
        putFrame(file.get(), timed.frame, area, timed.duration);
        before = &timed.frame;
    }
    require(EGifCloseFile(file.release(), nullptr) == GIF_OK);
    return bytes;
}

} // namespace tarnel::command
