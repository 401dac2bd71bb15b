#include <TarnelSDK/glyphs/ShapedRun.hpp>
#include <TarnelSDK/glyphs/Typeface.hpp>

#include <cairo.h>
#include <hb.h>

#include <cmath>
#include <memory>
#include <utility>

namespace tarnel {
namespace {

/// HarfBuzz counts in whole numbers: so many of them are a pixel.
constexpr double unitsPerPixel = 1024;

struct Destroy {
    void operator()(hb_font_t* font) const { hb_font_destroy(font); }
    void operator()(hb_buffer_t* buffer) const { hb_buffer_destroy(buffer); }
    void operator()(hb_draw_funcs_t* functions) const { hb_draw_funcs_destroy(functions); }
};

std::unique_ptr<hb_font_t, Destroy> scaled(const Font& font) {
    hb_font_t* const shaper = font.typeface()->shaper();
    if (!shaper) {
        return nullptr;
    }
    std::unique_ptr<hb_font_t, Destroy> result(hb_font_create_sub_font(shaper));
    const int scale = static_cast<int>(std::lround(font.pointSize() * unitsPerPixel));
    hb_font_set_scale(result.get(), scale, scale);
    return result;
}

double pixels(hb_position_t units) {
    return units / unitsPerPixel;
}

cairo_t* contextOf(void* data) {
    return static_cast<cairo_t*>(data);
}

void moveTo(hb_draw_funcs_t*, void* data, hb_draw_state_t*, float x, float y, void*) {
    cairo_move_to(contextOf(data), x, y);
}

void lineTo(hb_draw_funcs_t*, void* data, hb_draw_state_t*, float x, float y, void*) {
    cairo_line_to(contextOf(data), x, y);
}

void cubicTo(hb_draw_funcs_t*, void* data, hb_draw_state_t*, float x1, float y1, float x2, float y2, float x, float y,
             void*) {
    cairo_curve_to(contextOf(data), x1, y1, x2, y2, x, y);
}

void closePath(hb_draw_funcs_t*, void* data, hb_draw_state_t*, void*) {
    cairo_close_path(contextOf(data));
}

/// How HarfBuzz draws an outline into a Cairo context. Quadratic curves arrive as cubic ones.
hb_draw_funcs_t* drawing() {
    static const std::unique_ptr<hb_draw_funcs_t, Destroy> functions = [] {
        std::unique_ptr<hb_draw_funcs_t, Destroy> made(hb_draw_funcs_create());
        hb_draw_funcs_set_move_to_func(made.get(), moveTo, nullptr, nullptr);
        hb_draw_funcs_set_line_to_func(made.get(), lineTo, nullptr, nullptr);
        hb_draw_funcs_set_cubic_to_func(made.get(), cubicTo, nullptr, nullptr);
        hb_draw_funcs_set_close_path_func(made.get(), closePath, nullptr, nullptr);
        hb_draw_funcs_make_immutable(made.get());
        return made;
    }();
    return functions.get();
}

void addOutline(hb_font_t* font, hb_codepoint_t glyph, cairo_t* context) {
#if HB_VERSION_ATLEAST(7, 0, 0)
    hb_font_draw_glyph(font, glyph, drawing(), context);
#else
    hb_font_get_glyph_shape(font, glyph, drawing(), context);
#endif
}

void setColor(cairo_t* context, const UIColor& color) {
    const auto parts = color.components();
    if (parts.size() == 2) {
        cairo_set_source_rgba(context, parts[0], parts[0], parts[0], parts[1]);
    } else if (parts.size() == 4) {
        cairo_set_source_rgba(context, parts[0], parts[1], parts[2], parts[3]);
    } else {
        cairo_set_source_rgb(context, 0, 0, 0);
    }
}

} // namespace

ShapedRun::ShapedRun(const Font& font, UIColor color, std::u32string_view codePoints, std::uint32_t script,
                     bool isRightToLeft, std::string_view locale)
    : font_(font), color_(std::move(color)) {
    const auto shaper = scaled(font);
    if (!shaper) {
        return;
    }
    const std::unique_ptr<hb_buffer_t, Destroy> buffer(hb_buffer_create());
    for (std::size_t i = 0; i < codePoints.size(); ++i) {
        hb_buffer_add(buffer.get(), codePoints[i], static_cast<unsigned>(i));
    }
    hb_buffer_set_content_type(buffer.get(), HB_BUFFER_CONTENT_TYPE_UNICODE);
    hb_buffer_set_direction(buffer.get(), isRightToLeft ? HB_DIRECTION_RTL : HB_DIRECTION_LTR);
    hb_buffer_set_script(buffer.get(), static_cast<hb_script_t>(script));
    if (!locale.empty()) {
        hb_buffer_set_language(buffer.get(), hb_language_from_string(locale.data(), static_cast<int>(locale.size())));
    }
    hb_buffer_guess_segment_properties(buffer.get());
    hb_shape(shaper.get(), buffer.get(), nullptr, 0);
    unsigned count = 0;
    const hb_glyph_info_t* const infos = hb_buffer_get_glyph_infos(buffer.get(), &count);
    const hb_glyph_position_t* const positions = hb_buffer_get_glyph_positions(buffer.get(), &count);
    for (unsigned i = 0; i < count; ++i) {
        glyphs_.push_back(
            {infos[i].codepoint, advance_ + pixels(positions[i].x_offset), pixels(positions[i].y_offset)});
        advance_ += pixels(positions[i].x_advance);
    }
}

TextLine::Bounds ShapedRun::imageBounds() const {
    const auto shaper = scaled(font_);
    TextLine::Bounds bounds;
    for (const Glyph& glyph : glyphs_) {
        hb_glyph_extents_t extents{};
        if (hb_font_get_glyph_extents(shaper.get(), glyph.id, &extents)) {
            // The height of an extent is negative: from the upper edge downward.
            bounds = bounds.united({glyph.x + pixels(extents.x_bearing),
                                    glyph.y + pixels(extents.y_bearing + extents.height), pixels(extents.width),
                                    pixels(-extents.height)});
        }
    }
    return bounds;
}

void ShapedRun::draw(cairo_t* context, double x, double y) const {
    const auto shaper = scaled(font_);
    setColor(context, color_);
    for (const Glyph& glyph : glyphs_) {
        cairo_save(context);
        cairo_translate(context, x + glyph.x, y - glyph.y);
        cairo_scale(context, 1 / unitsPerPixel, -1 / unitsPerPixel);
        addOutline(shaper.get(), glyph.id, context);
        cairo_restore(context);
        cairo_fill(context);
    }
}

} // namespace tarnel
