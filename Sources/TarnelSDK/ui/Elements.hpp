#pragma once

#include <TarnelSDK/ui/MessagePopUpButton.hpp>

#include <memory>
#include <optional>
#include <string>
#include <vector>

/// What a screen says about its parts; a toolkit draws them. Lengths are in points: pixels of a display of usual
/// resolution.
namespace tarnel {

/// Colours that a toolkit takes from its own palette, in light and dark.
enum class SystemColor { clear, black, systemGray5, separator, label, secondaryLabel, darkGray };

struct Overlay {
    SystemColor background = SystemColor::black;
    double alpha = 0.4;
};

/// The card in the middle of the screen.
struct BackgroundView {
    SystemColor background = SystemColor::systemGray5;
    double widthFraction = 0.8; ///< of the screen's width
    double cornerRadius = 12;
    bool clipsToBounds = true;
};

/// A centred text.
struct Label {
    std::string text;
    double fontSize = 20;
    bool isBold = true;
    int numberOfLines = 0; ///< 0: as many as it takes
    double top = 20;       ///< below the upper edge of the card
    double sides = 10;     ///< from the left and right edges of the card
};

struct Separator {
    SystemColor color = SystemColor::separator;
    double height = 1;
};

struct ButtonBackground {
    SystemColor background = SystemColor::clear;
};

/// Buttons one below the other.
using ButtonStack = std::vector<std::shared_ptr<MessagePopUpButton>>;

enum class Accessory { none, checkmark };

struct TableViewCell {
    std::string reuseIdentifier; ///< of cells that look alike
    std::string text;
    Accessory accessory = Accessory::none;
    SystemColor background = SystemColor::systemGray5;
    std::optional<SystemColor> tint; ///< of the accessory; empty: the toolkit's own
};

struct TableViewHeader {
    std::string text;
    SystemColor color = SystemColor::label;
    bool isBold = false;
};

/// What stands in place of rows where there are none.
struct EmptyState {
    std::string text;
    std::string hint;    ///< what the user can do; may be empty
    bool isBusy = false; ///< something is under way: a toolkit shows that it moves
};

/// What a table asks of its screen. Sections and rows count from 0; a row that is not there (any more) gives an empty
/// cell, and selecting it does nothing. Main queue.
class TableViewDataSource {
public:
    virtual ~TableViewDataSource() = default;
    virtual int numberOfSections() const = 0;
    virtual int numberOfRows(int section) const = 0;
    virtual std::optional<std::string> titleForHeader(int section) const = 0;
    virtual TableViewCell cellForRow(int section, int row) const = 0;
    virtual void didSelectRow(int section, int row) = 0;
    /// The last word on how a header or cell looks.
    virtual void willDisplayHeader(TableViewHeader& header, int section) const = 0;
    virtual void willDisplayCell(TableViewCell& cell, int section, int row) const = 0;
    virtual double heightForHeader(int section) const = 0;
    virtual double heightForRow(int section, int row) const = 0;
};

} // namespace tarnel
