#include <TarnelSDK/display/Shapes.hpp>
#include <TarnelSDK/images/CairoSurface.hpp>
#include <TarnelSDK/platform/Precondition.hpp>

#include <cairo.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

namespace tarnel {
namespace {

using std::numbers::pi;

/// Edges of a box, in pixels.
struct Box {
    double left = 0;
    double top = 0;
    double right = 0;
    double bottom = 0;

    Box insetBy(double distance) const {
        return {left + distance, top + distance, right - distance, bottom - distance};
    }
};

/// Keeps a coordinate within what Cairo's rasteriser takes; so far from the display nothing is to be seen.
double near(double coordinate) {
    constexpr double farAway = 10'000;
    return std::clamp(coordinate, -farAway, farAway);
}

struct Corner {
    double x = 0;
    double y = 0;
};

/// The part of a convex polygon in which `distance`, a linear function of the place, is not negative: one step of
/// Sutherland and Hodgman's algorithm ("Reentrant polygon clipping", 1974).
template <typename Distance>
std::vector<Corner> cut(const std::vector<Corner>& polygon, Distance distance) {
    std::vector<Corner> result;
    for (std::size_t i = 0; i < polygon.size(); ++i) {
        const Corner& from = polygon[i];
        const Corner& to = polygon[(i + 1) % polygon.size()];
        const double a = distance(from);
        const double b = distance(to);
        if (a >= 0) {
            result.push_back(from);
        }
        if ((a >= 0) != (b >= 0)) {
            const double t = a / (a - b);
            result.push_back({from.x + t * (to.x - from.x), from.y + t * (to.y - from.y)});
        }
    }
    return result;
}

/// The part of a convex polygon that lies within the rectangle.
std::vector<Corner> cut(std::vector<Corner> polygon, const Rect& rect) {
    polygon = cut(polygon, [&](const Corner& corner) { return corner.x - rect.x; });
    polygon = cut(polygon, [&](const Corner& corner) { return rect.x + rect.width - corner.x; });
    polygon = cut(polygon, [&](const Corner& corner) { return corner.y - rect.y; });
    return cut(polygon, [&](const Corner& corner) { return rect.y + rect.height - corner.y; });
}

/// The pixels that the box touches within `clip`.
Rect pixels(const Box& box, const Rect& clip) {
    const auto within = [](double edge, int low, int high) {
        return static_cast<int>(std::clamp<double>(edge, low, high));
    };
    const int left = within(std::floor(box.left), clip.x, clip.x + clip.width);
    const int top = within(std::floor(box.top), clip.y, clip.y + clip.height);
    const int right = within(std::ceil(box.right), clip.x, clip.x + clip.width);
    const int bottom = within(std::ceil(box.bottom), clip.y, clip.y + clip.height);
    return {left, top, right - left, bottom - top};
}

/// The smallest box around the polygon; empty when it has no corners.
Box boundsOf(const std::vector<Corner>& polygon) {
    if (polygon.empty()) {
        return {};
    }
    const auto byX = std::ranges::minmax(polygon, {}, &Corner::x);
    const auto byY = std::ranges::minmax(polygon, {}, &Corner::y);
    return {byX.min.x, byY.min.y, byX.max.x, byY.max.y};
}

void setGray(cairo_t* context, std::uint8_t gray) {
    const double value = gray / 255.0;
    cairo_set_source_rgb(context, value, value, value);
}

/// A black surface for these pixels, with their coordinates.
CairoSurface groundFor(const Rect& area) {
    CairoSurface surface(area.width, area.height);
    setGray(surface.context(), 0);
    cairo_paint(surface.context());
    cairo_set_tolerance(surface.context(), 0.01);
    cairo_translate(surface.context(), -area.x, -area.y);
    return surface;
}

/// Adds the outline of a box with rounded corners, clockwise from the left of the upper edge.
void addOutline(cairo_t* context, const Box& box, double radius, const Corners& corners) {
    const auto corner = [&](double x, double y, double start, bool isRounded, double toX, double toY) {
        if (isRounded && radius > 0) {
            cairo_arc(context, x + toX * radius, y + toY * radius, radius, start, start + pi / 2);
        } else {
            cairo_line_to(context, x, y);
        }
    };
    cairo_new_sub_path(context);
    corner(box.left, box.top, pi, corners.topLeft, 1, 1);
    corner(box.right, box.top, pi * 3 / 2, corners.topRight, -1, 1);
    corner(box.right, box.bottom, 0, corners.bottomRight, -1, -1);
    corner(box.left, box.bottom, pi / 2, corners.bottomLeft, 1, -1);
    cairo_close_path(context);
}

} // namespace

std::optional<PlacedImage> drawShape(const RoundedRectangle& rectangle, const Rect& clip) {
    const Rect& rect = rectangle.rect;
    precondition(rect.width >= 0 && rect.height >= 0, "a rectangle has no negative size");
    precondition(std::isfinite(rectangle.cornerRadius) && rectangle.cornerRadius >= 0,
                 "a corner radius is a number and not negative");
    precondition(std::isfinite(rectangle.borderWidth) && rectangle.borderWidth >= 0,
                 "a border width is a number and not negative");
    const Box box{near(rect.x), near(rect.y), near(static_cast<double>(rect.x) + rect.width),
                  near(static_cast<double>(rect.y) + rect.height)};
    const Rect area = pixels(box, clip);
    if (area.isEmpty()) {
        return std::nullopt;
    }
    const double half = std::min(rect.width, rect.height) / 2.0;
    const double radius = std::min(rectangle.cornerRadius, half);
    const double border = std::min(rectangle.borderWidth, half);
    const CairoSurface surface = groundFor(area);
    cairo_t* const context = surface.context();
    if (rectangle.fillGray) {
        setGray(context, *rectangle.fillGray);
        addOutline(context, box, radius, rectangle.corners);
        cairo_fill(context);
    }
    if (border > 0) {
        // The ring between two outlines: the inner one a hole.
        setGray(context, rectangle.borderGray);
        cairo_set_fill_rule(context, CAIRO_FILL_RULE_EVEN_ODD);
        addOutline(context, box, radius, rectangle.corners);
        addOutline(context, box.insetBy(border), std::max(radius - border, 0.0), rectangle.corners);
        cairo_fill(context);
    }
    return PlacedImage{surface.image(), {area.x, area.y}};
}

std::optional<PlacedImage> drawShape(const StraightLine& line, const Rect& clip) {
    precondition(std::isfinite(line.x1) && std::isfinite(line.y1) && std::isfinite(line.x2) && std::isfinite(line.y2),
                 "the ends of a line are numbers");
    precondition(std::isfinite(line.lineWidth) && line.lineWidth >= 0, "a line width is a number and not negative");
    if (line.lineWidth == 0) {
        return std::nullopt;
    }
    const double centre = std::lround(line.lineWidth) % 2 != 0 ? 0.5 : 0.0;
    const double length = std::hypot(line.x2 - line.x1, line.y2 - line.y1);
    const double alongX = length > 0 ? (line.x2 - line.x1) / length : 1;
    const double alongY = length > 0 ? (line.y2 - line.y1) / length : 0;
    // Half a pixel beyond each end, so that both end pixels belong to the line.
    const double x1 = line.x1 + 0.5 - alongX / 2;
    const double y1 = line.y1 + 0.5 - alongY / 2;
    const double x2 = line.x2 + 0.5 + alongX / 2;
    const double y2 = line.y2 + 0.5 + alongY / 2;
    const double acrossX = -alongY * line.lineWidth / 2;
    const double acrossY = alongX * line.lineWidth / 2;
    // An even width lies half a pixel further up and left, across the line.
    const double shiftX = alongX == 0 ? centre - 0.5 : 0;
    const double shiftY = alongX == 0 ? 0 : centre - 0.5;
    const std::vector<Corner> polygon = cut({{x1 + acrossX + shiftX, y1 + acrossY + shiftY},
                                             {x2 + acrossX + shiftX, y2 + acrossY + shiftY},
                                             {x2 - acrossX + shiftX, y2 - acrossY + shiftY},
                                             {x1 - acrossX + shiftX, y1 - acrossY + shiftY}},
                                            clip);
    const Rect area = pixels(boundsOf(polygon), clip);
    if (area.isEmpty()) {
        return std::nullopt;
    }
    const CairoSurface surface = groundFor(area);
    cairo_t* const context = surface.context();
    for (const Corner& corner : polygon) {
        cairo_line_to(context, corner.x, corner.y);
    }
    cairo_close_path(context);
    setGray(context, line.gray);
    cairo_fill(context);
    return PlacedImage{surface.image(), {area.x, area.y}};
}

} // namespace tarnel
