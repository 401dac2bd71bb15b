#include <TarnelQt/screens/BusyIndicator.hpp>
#include <TarnelQt/screens/Colors.hpp>
#include <TarnelQt/screens/EmptyStateView.hpp>

#include <QAccessible>
#include <QEvent>
#include <QVBoxLayout>

namespace tarnel {

EmptyStateView::EmptyStateView(QWidget* parent)
    : QWidget(parent), indicator_(new BusyIndicator(this)), text_(new QLabel(this)), hint_(new QLabel(this)) {
    auto* const layout = new QVBoxLayout(this);
    layout->setContentsMargins(16, 8, 16, 8);
    layout->setSpacing(8);
    layout->addStretch();
    layout->addWidget(indicator_, 0, Qt::AlignHCenter);
    for (auto* const label : {text_, hint_}) {
        label->setTextFormat(Qt::PlainText);
        label->setAlignment(Qt::AlignCenter);
        label->setWordWrap(true);
        layout->addWidget(label);
    }
    layout->addStretch();
    setAttribute(Qt::WA_TransparentForMouseEvents);
    color();
}

void EmptyStateView::setState(const std::optional<EmptyState>& state) {
    setVisible(state.has_value());
    if (!state) {
        return;
    }
    const auto text = QString::fromStdString(state->text);
    const bool isNew = text_->text() != text;
    text_->setText(text);
    hint_->setText(QString::fromStdString(state->hint));
    hint_->setVisible(!state->hint.empty());
    indicator_->setVisible(state->isBusy);
    if (isNew && QAccessible::isActive()) {
        QAccessibleEvent event(text_, QAccessible::Alert);
        QAccessible::updateAccessibility(&event);
    }
}

void EmptyStateView::changeEvent(QEvent* event) {
    if (event->type() == QEvent::PaletteChange) {
        color();
    }
    QWidget::changeEvent(event);
}

void EmptyStateView::color() {
    QPalette secondary = palette();
    secondary.setColor(QPalette::WindowText, colorOf(SystemColor::secondaryLabel, palette()));
    hint_->setPalette(secondary);
}

} // namespace tarnel
