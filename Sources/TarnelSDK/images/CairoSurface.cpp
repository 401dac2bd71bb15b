#include <TarnelSDK/images/CairoSurface.hpp>
#include <TarnelSDK/platform/Precondition.hpp>

#include <cairo.h>

#include <cstdint>
#include <cstring>
#include <new>
#include <utility>

namespace tarnel {
namespace {

struct Destroy {
    void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
    void operator()(cairo_t* context) const { cairo_destroy(context); }
};

/// The component without the alpha that Cairo has multiplied in.
std::uint8_t straight(std::uint32_t component, std::uint32_t alpha) {
    return alpha == 0 ? std::uint8_t{0} : static_cast<std::uint8_t>((component * 255 + alpha / 2) / alpha);
}

} // namespace

struct CairoSurface::State {
    std::unique_ptr<cairo_surface_t, Destroy> surface;
    std::unique_ptr<cairo_t, Destroy> context;
};

CairoSurface::CairoSurface(int width, int height) : state_(std::make_unique<State>()) {
    precondition(width >= 0 && height >= 0 && width <= largestSide && height <= largestSide,
                 "a bitmap to draw on has a size that Cairo takes");
    state_->surface.reset(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width, height));
    state_->context.reset(cairo_create(state_->surface.get()));
    if (cairo_status(state_->context.get()) != CAIRO_STATUS_SUCCESS) {
        throw std::bad_alloc();
    }
}

CairoSurface::~CairoSurface() = default;
CairoSurface::CairoSurface(CairoSurface&&) noexcept = default;
CairoSurface& CairoSurface::operator=(CairoSurface&&) noexcept = default;

cairo_t* CairoSurface::context() const {
    return state_->context.get();
}

Image CairoSurface::image() const {
    cairo_surface_t* const surface = state_->surface.get();
    cairo_surface_flush(surface);
    const int width = cairo_image_surface_get_width(surface);
    const int height = cairo_image_surface_get_height(surface);
    const auto stride = static_cast<std::size_t>(cairo_image_surface_get_stride(surface));
    const unsigned char* const data = cairo_image_surface_get_data(surface);
    Bytes pixels;
    pixels.reserve(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4);
    for (std::size_t y = 0; y < static_cast<std::size_t>(height); ++y) {
        for (std::size_t x = 0; x < static_cast<std::size_t>(width); ++x) {
            std::uint32_t argb = 0;
            std::memcpy(&argb, data + y * stride + x * sizeof argb, sizeof argb);
            const std::uint32_t alpha = argb >> 24;
            pixels.push_back(straight(argb >> 16 & 0xFF, alpha));
            pixels.push_back(straight(argb >> 8 & 0xFF, alpha));
            pixels.push_back(straight(argb & 0xFF, alpha));
            pixels.push_back(static_cast<std::uint8_t>(alpha));
        }
    }
    return {width, height, PixelFormat::rgba8, std::move(pixels)};
}

} // namespace tarnel
