#pragma once

#include <TarnelSDK/ui/Elements.hpp>

#include <QColor>
#include <QPalette>

namespace tarnel {

/// A colour between two, a share of 0 giving the first one.
QColor mixed(const QColor& first, const QColor& second, double share);

/// What the palette makes of a screen's colour; grounds and lines stand out from the window's ground in light and dark.
QColor colorOf(SystemColor color, const QPalette& palette);

} // namespace tarnel
