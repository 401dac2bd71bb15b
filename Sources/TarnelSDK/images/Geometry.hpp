#pragma once

namespace tarnel {

/// A point in pixels, x to the right and y down.
struct Point {
    int x = 0;
    int y = 0;

    friend bool operator==(const Point&, const Point&) = default;
};

/// A width and a height in pixels.
struct Size {
    int width = 0;
    int height = 0;

    bool isEmpty() const { return width <= 0 || height <= 0; }

    friend bool operator==(const Size&, const Size&) = default;
};

/// The pixels from (x, y), the upper left one, up to but without (x + width, y + height).
struct Rect {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;

    bool isEmpty() const { return width <= 0 || height <= 0; }

    friend bool operator==(const Rect&, const Rect&) = default;
};

/// The pixels that lie in both; the default `Rect` when there are none.
Rect intersection(const Rect& a, const Rect& b);

} // namespace tarnel
