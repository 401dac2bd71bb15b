#pragma once

#include <TarnelSDK/images/Image.hpp>

#include <memory>

struct _cairo;
struct _cairo_surface;

namespace tarnel {

/// A bitmap to draw on with Cairo (https://www.cairographics.org), transparent at first. One thread at a time.
class CairoSurface {
public:
    /// The longest side that Cairo takes, in pixels.
    static constexpr int largestSide = 32767;

    /// REQUIRES: no negative size, none above `largestSide`.
    CairoSurface(int width, int height);
    ~CairoSurface();
    CairoSurface(CairoSurface&&) noexcept;
    CairoSurface& operator=(CairoSurface&&) noexcept;

    /// Where to draw: a `cairo_t*`, which the surface owns.
    _cairo* context() const;

    /// A copy of what was drawn, `rgba8`.
    Image image() const;

private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace tarnel
