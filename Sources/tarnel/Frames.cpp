#include "Frames.hpp"

#include "Pictures.hpp"
#include "Simulation.hpp"

namespace tarnel::command {

Image imageOf(const glasses::Frame& frame) {
    constexpr std::uint8_t opaque = 255;
    const Bytes green = frame.toGreen();
    Bytes pixels;
    pixels.reserve(green.size() / 3 * 4);
    for (std::size_t at = 0; at < green.size(); at += 3) {
        pixels.insert(pixels.end(), {green[at], green[at + 1], green[at + 2], opaque});
    }
    return Image(glasses::Frame::width, glasses::Frame::height, PixelFormat::rgba8, std::move(pixels));
}

void storeFrame(const std::optional<OutputFile>& file, Surroundings& surroundings) {
    if (auto* simulation = surroundings.simulation(); file && simulation) {
        file->store(pngOf(imageOf(simulation->glasses().frame())));
    }
}

} // namespace tarnel::command
