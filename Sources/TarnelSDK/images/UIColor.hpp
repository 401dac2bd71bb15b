#pragma once

#include <span>
#include <utility>
#include <vector>

namespace tarnel {

/// A colour of the application: its components from 0 to 1, the last of them alpha (not multiplied in). Grey and alpha,
/// or red, green, blue and alpha; a colour of another model has another count.
class UIColor {
public:
    explicit UIColor(std::vector<double> components) : components_(std::move(components)) {}
    static UIColor gray(double luminance, double alpha = 1) { return UIColor({luminance, alpha}); }
    static UIColor rgb(double red, double green, double blue, double alpha = 1) {
        return UIColor({red, green, blue, alpha});
    }

    std::span<const double> components() const { return components_; }

    friend bool operator==(const UIColor&, const UIColor&) = default;

private:
    std::vector<double> components_;
};

} // namespace tarnel
