#include <TarnelQt/screens/Colors.hpp>

namespace tarnel {

QColor mixed(const QColor& first, const QColor& second, double share) {
    const auto mix = [share](float from, float to) { return from + static_cast<float>(share) * (to - from); };
    return QColor::fromRgbF(mix(first.redF(), second.redF()), mix(first.greenF(), second.greenF()),
                            mix(first.blueF(), second.blueF()));
}

QColor colorOf(SystemColor color, const QPalette& palette) {
    const QColor ground = palette.color(QPalette::Window);
    const QColor text = palette.color(QPalette::WindowText);
    switch (color) {
    case SystemColor::clear:
        return Qt::transparent;
    case SystemColor::black:
        return Qt::black;
    case SystemColor::systemGray5:
        return mixed(ground, text, 0.04);
    case SystemColor::separator:
        return mixed(ground, text, 0.2);
    case SystemColor::label:
        return text;
    case SystemColor::secondaryLabel:
        return mixed(ground, text, 0.65);
    case SystemColor::darkGray:
        return mixed(ground, text, 0.7);
    }
    return text;
}

} // namespace tarnel
