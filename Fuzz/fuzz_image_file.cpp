// Any bytes decode to a picture or to an error, and a picture goes on through every conversion.

#include <TarnelSDK/images/DeviceImage.hpp>
#include <TarnelSDK/images/Dither.hpp>
#include <TarnelSDK/images/ImageFile.hpp>
#include <TarnelSDK/images/UIImage+Extension.hpp>

#include <cstdlib>
#include <variant>

namespace {

void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace tarnel;
    const ByteView bytes(data, size);
    for (const ImageResult& result :
         {decodeImage(bytes, "input", {.side = 2'000, .pixels = 1'000'000}), imageFromTNImage(bytes)}) {
        if (const auto* error = std::get_if<ImageError>(&result)) {
            require(!error->message.empty());
            continue;
        }
        const Image& image = std::get<Image>(result);
        const Image small = resize(image, {64, 64}, true);
        require(small.isEmpty() || toTNImage(small, 2).has_value());
        require(ditherToLevels(small).width() == small.width());
        require(image.isEmpty() || std::holds_alternative<Bytes>(encodePNG(small)));
    }
    return 0;
}
