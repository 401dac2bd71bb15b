#include <TarnelQt/screens/AlertView.hpp>
#include <TarnelQt/screens/Card.hpp>
#include <TarnelSDK/ui/AlertController.hpp>

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>
#include <algorithm>
#include <cstddef>

namespace tarnel {
namespace {

constexpr int margin = 20;
constexpr int alertSpacing = 10;
constexpr int widest = 400;
constexpr std::size_t mostSideBySide = 2;

QLabel* makeLabel(QWidget* parent) {
    auto* const label = new QLabel(parent); // owned by the parent
    label->setTextFormat(Qt::PlainText);
    label->setAlignment(Qt::AlignCenter);
    label->setWordWrap(true);
    return label;
}

} // namespace

class AlertView::AlertCard : public Card {
public:
    explicit AlertCard(const std::shared_ptr<AlertController>& alert)
        : Card({}, QAccessible::AlertMessage), alert_(alert), title_(makeLabel(this)), message_(makeLabel(this)),
          buttons_(new QWidget(this)) {
        QFont bold = font();
        bold.setBold(true);
        title_->setFont(bold);
        auto* const column = new QVBoxLayout(this); // owned by the card
        column->setContentsMargins(margin, margin, margin, margin);
        column->setSpacing(alertSpacing);
        column->addWidget(title_);
        column->addWidget(message_);
        column->addSpacing(alertSpacing);
        column->addWidget(buttons_);
        new QBoxLayout(QBoxLayout::LeftToRight, buttons_); // owned by the buttons
        buttons_->layout()->setContentsMargins(0, 0, 0, 0);
        reload();
    }

    void reload() {
        const auto alert = alert_.lock();
        if (!alert) {
            return;
        }
        title_->setText(QString::fromStdString(alert->title()));
        message_->setText(QString::fromStdString(alert->message()));
        setAccessibleName(title_->text());
        setAccessibleDescription(message_->text());
        showButtons(alert->actions());
    }

private:
    void showButtons(const std::vector<AlertAction>& actions) {
        // Actions are added, and never taken away or changed.
        auto* const row = static_cast<QBoxLayout*>(buttons_->layout());
        for (; shown_ < actions.size(); ++shown_) {
            row->addWidget(makeButton(actions[shown_], shown_));
        }
        row->setDirection(shown_ > mostSideBySide ? QBoxLayout::TopToBottom : QBoxLayout::LeftToRight);
    }

    QPushButton* makeButton(const AlertAction& action, std::size_t number) {
        auto* const button = new QPushButton(buttonText(action.title), buttons_);
        button->setAutoDefault(true);
        button->setMinimumHeight(32);
        if (action.style == AlertAction::Style::destructive) {
            QPalette colors = button->palette();
            colors.setColor(QPalette::ButtonText, colors.color(QPalette::Button).lightness() < 128
                                                      ? QColor(255, 105, 97)
                                                      : QColor(196, 30, 20));
            button->setPalette(colors);
        }
        connect(button, &QPushButton::clicked, this, [this, number] {
            if (const auto alert = alert_.lock()) {
                alert->choose(number);
            }
        });
        if (!focusProxy() && action.style != AlertAction::Style::destructive) {
            setFocusProxy(button);
        }
        return button;
    }

    const std::weak_ptr<AlertController> alert_;
    QLabel* const title_;
    QLabel* const message_;
    QWidget* const buttons_;
    std::size_t shown_ = 0;
};

std::shared_ptr<AlertView> AlertView::make(const std::shared_ptr<AlertController>& alert) {
    return std::shared_ptr<AlertView>(new AlertView(std::make_unique<AlertCard>(alert), alert));
}

AlertView::AlertView(std::unique_ptr<AlertCard> card, const std::shared_ptr<AlertController>& alert)
    : QtScreenView(std::move(card),
                   [this] {
                       if (auto* const shown = static_cast<AlertCard*>(widget())) {
                           shown->reload();
                       }
                   }),
      alert_(alert) {}

QRect AlertView::place(const QSize& window) const {
    if (!widget()) {
        return {};
    }
    const int width = std::min(widest, window.width() * 4 / 5);
    const int height = std::min(widget()->heightForWidth(width), window.height());
    return {(window.width() - width) / 2, (window.height() - height) / 2, width, height};
}

void AlertView::cancel() {
    const auto alert = alert_.lock();
    if (!alert) {
        return;
    }
    const auto& actions = alert->actions();
    const auto cancels = std::find_if(actions.begin(), actions.end(), [](const AlertAction& action) {
        return action.style == AlertAction::Style::cancel;
    });
    if (cancels != actions.end()) {
        alert->choose(static_cast<std::size_t>(cancels - actions.begin()));
    } else if (actions.size() == 1) {
        alert->choose(0);
    } else if (actions.empty()) {
        alert->dismiss(true);
    }
}

} // namespace tarnel
