// A whole application: it finds the glasses, links them, and draws four bars of grey. Here the glasses are simulated
// and time is virtual; on a platform of its own, an application installs that platform in place of `SimulatedWorld`.

#include <TarnelGlasses/SimulatedWorld.hpp>
#include <TarnelSDK/images/ImageFile.hpp>
#include <TarnelSDK/manager/TarnelManager.hpp>

#include <cstdio>

using namespace tarnel;

namespace {

Image bars() {
    Bytes pixels;
    for (int y = 0; y < Canvas::HEIGHT; ++y) {
        for (int x = 0; x < Canvas::WIDTH; ++x) {
            pixels.push_back(static_cast<std::uint8_t>(x / 160 * 64));
        }
    }
    return Image(Canvas::WIDTH, Canvas::HEIGHT, PixelFormat::gray8, pixels);
}

void draw(Tarnel& device) {
    device.setLayout(Layout::canvas, 180, false);
    device.canvas.drawBackground(bars(), 0, 0, false);
    device.canvas.commit();
}

} // namespace

int main(int argc, char** argv) {
    glasses::SimulatedWorld world;
    const auto glasses = world.addGlasses();

    auto& manager = TarnelManager::shared();
    const auto onConnected = std::make_shared<BondListener<bool>>([&](bool isConnected) {
        if (const auto device = manager.currentDevice(); device && isConnected) {
            draw(*device);
        }
    });
    world.runUntil([&] { return manager.isReady.value(); });
    manager.startScan([&](const platform::PeripheralPointer& peripheral) {
        manager.stopScan();
        manager.link(peripheral,
                     [&](const std::shared_ptr<Tarnel>& device) { device->isConnected.bind(onConnected, false); });
    });

    if (!world.runUntil([&] { return glasses->frame().at(639, 479) == 3; })) {
        std::fputs("The picture did not arrive.\n", stderr);
        return 1;
    }
    if (argc > 1) {
        const Image frame(glasses::Frame::width, glasses::Frame::height, PixelFormat::gray8, glasses->frame().toGray());
        if (const auto error = writePNG(argv[1], frame)) {
            std::fprintf(stderr, "%s\n", error->message.c_str());
            return 1;
        }
    }
    return 0;
}
