#include <TarnelGlasses/LvglImage.hpp>
#include <TarnelSDK/platform/Precondition.hpp>

#include <cstddef>
#include <cstdint>
#include <string>
#include <variant>

/// Any bytes are an image or are refused with a reason, and an image can be drawn anywhere.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace tarnel::glasses;
    const auto image = LvglImage::decode(tarnel::ByteView(data, size));
    if (const auto* reason = std::get_if<std::string>(&image)) {
        tarnel::precondition(!reason->empty(), "a refusal has a reason");
        return 0;
    }
    Frame frame;
    for (const int offset : {-1000, -3, 0, 470, 639, 32'767}) {
        std::get<LvglImage>(image).draw(frame, offset, offset);
    }
    return 0;
}
