#include <TarnelQt/screens/Card.hpp>
#include <TarnelQt/screens/EmptyStateView.hpp>
#include <TarnelQt/screens/PickerView.hpp>
#include <TarnelQt/screens/TableView.hpp>
#include <TarnelSDK/ui/TarnelPickerController.hpp>

#include <QGridLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>
#include <algorithm>
#include <cmath>
#include <iterator>
#include <vector>

namespace tarnel {
namespace {

constexpr double highestCard = 0.92; ///< of the window's height
constexpr int cardSpacing = 12;

QFont fontOf(const Label& label, QFont font) {
    font.setPixelSize(std::max(1, static_cast<int>(std::lround(label.fontSize))));
    font.setBold(label.isBold);
    return font;
}

/// Linked glasses are one row; glasses that were found are told by their identifier.
std::string keyOfRow(const TarnelPickerController& picker, int row) {
    const auto& found = picker.scannedPeripherals();
    if (picker.isConnected() || row < 0 || static_cast<std::size_t>(row) >= found.size()) {
        return "linked";
    }
    return (*std::next(found.begin(), row))->identifier().string();
}

bool isConnecting(const TarnelPickerController& picker, const std::string& key) {
    const auto& found = picker.scannedPeripherals();
    return !picker.isConnected() && std::any_of(found.begin(), found.end(), [&key](const auto& peripheral) {
        return peripheral->identifier().string() == key &&
               (peripheral->state() == platform::PeripheralState::connecting ||
                peripheral->state() == platform::PeripheralState::connected);
    });
}

} // namespace

class PickerView::PickerCard : public Card {
public:
    explicit PickerCard(const std::shared_ptr<TarnelPickerController>& picker)
        : Card(picker->backgroundView(), QAccessible::Dialog), picker_(picker), label_(new QLabel(this)),
          table_(new TableView(this)), emptyState_(new EmptyStateView(this)),
          buttons_(new Ground(picker->buttonBackground().background, this)) {
        const Label& look = picker->label();
        label_->setTextFormat(Qt::PlainText);
        label_->setAlignment(Qt::AlignCenter);
        label_->setWordWrap(true);
        label_->setFont(fontOf(look, font()));
        const auto sides = static_cast<int>(std::lround(look.sides));
        label_->setContentsMargins(sides, static_cast<int>(std::lround(look.top)), sides, 0);
        table_->onPick = [this](int section, int row) {
            if (const auto live = picker_.lock()) {
                live->didSelectRow(section, row);
                reload();
            }
        };
        table_->isBusy = [this](const std::string& key) {
            const auto live = picker_.lock();
            return live && isConnecting(*live, key);
        };
        layOut(picker->separator());
        setFocusProxy(table_);
        reload();
    }

    void reload() {
        const auto picker = picker_.lock();
        if (!picker) {
            return;
        }
        const auto title = QString::fromStdString(picker->label().text);
        label_->setText(title);
        setAccessibleName(title);
        const auto header = picker->titleForHeader(0);
        table_->setAccessibleName(header ? QString::fromStdString(*header) : title);
        table_->reload(picker->tableView(), [&picker](int, int row) { return keyOfRow(*picker, row); });
        emptyState_->setState(picker->emptyState());
        showButtons(picker->buttonStack());
    }

private:
    void layOut(const Separator& separator) {
        auto* const column = new QVBoxLayout(this); // as all that is made here, owned by the card
        column->setContentsMargins(0, 0, 0, cornerRadius());
        column->setSpacing(0);
        column->addWidget(label_);
        column->addSpacing(cardSpacing);
        // The table keeps the keyboard while the empty state stands on it.
        auto* const middle = new QGridLayout;
        middle->addWidget(table_, 0, 0);
        middle->addWidget(emptyState_, 0, 0);
        column->addLayout(middle, 1);
        separator_ = new SeparatorLine(separator, this);
        column->addWidget(separator_);
        column->addWidget(buttons_);
        auto* const stack = new QVBoxLayout(buttons_);
        stack->setContentsMargins(cardSpacing, cardSpacing, cardSpacing, 0);
        stack->setSpacing(cardSpacing / 2);
    }

    void showButtons(const ButtonStack& stack) {
        if (shown_ != stack) {
            for (auto* const child : buttons_->findChildren<QPushButton*>(QString(), Qt::FindDirectChildrenOnly)) {
                child->hide();
                child->deleteLater();
            }
            shown_ = stack;
            for (const auto& button : stack) {
                buttons_->layout()->addWidget(makeButton(button));
            }
            separator_->setVisible(!stack.empty());
            buttons_->setVisible(!stack.empty());
        }
    }

    QPushButton* makeButton(const std::shared_ptr<MessagePopUpButton>& button) {
        const auto title = button->action ? button->action->title.value_or(std::string()) : std::string();
        auto* const widget = new QPushButton(buttonText(title), buttons_);
        widget->setAutoDefault(true);
        widget->setMinimumHeight(36);
        connect(widget, &QPushButton::clicked, this, [this, button] {
            if (const auto picker = picker_.lock()) {
                picker->buttonTouch(button);
            }
        });
        return widget;
    }

    const std::weak_ptr<TarnelPickerController> picker_;
    QLabel* const label_;
    TableView* const table_;
    EmptyStateView* const emptyState_;
    QWidget* separator_ = nullptr;
    QWidget* const buttons_;
    ButtonStack shown_;
};

std::shared_ptr<PickerView> PickerView::make(const std::shared_ptr<TarnelPickerController>& picker) {
    return std::shared_ptr<PickerView>(new PickerView(std::make_unique<PickerCard>(picker), picker));
}

PickerView::PickerView(std::unique_ptr<PickerCard> card, const std::shared_ptr<TarnelPickerController>& picker)
    : QtScreenView(std::move(card),
                   [this] {
                       if (auto* const shown = static_cast<PickerCard*>(widget())) {
                           shown->reload();
                       }
                   }),
      picker_(picker) {}

Overlay PickerView::overlay() const {
    const auto picker = picker_.lock();
    return picker ? picker->overlay() : Overlay{.alpha = 0};
}

QRect PickerView::place(const QSize& window) const {
    const auto picker = picker_.lock();
    if (!picker || !widget()) {
        return {};
    }
    const auto width = static_cast<int>(std::lround(window.width() * picker->backgroundView().widthFraction));
    const auto highest = static_cast<int>(window.height() * highestCard);
    const int height = std::min(widget()->heightForWidth(width), highest);
    return {(window.width() - width) / 2, (window.height() - height) / 2, width, height};
}

void PickerView::cancel() {
    if (const auto picker = picker_.lock()) {
        picker->close();
    }
}

} // namespace tarnel
