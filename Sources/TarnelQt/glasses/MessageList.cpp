#include <TarnelQt/glasses/MessageList.hpp>
#include <TarnelQt/glasses/MessageText.hpp>

#include <QFontDatabase>
#include <algorithm>
#include <utility>

namespace tarnel {
namespace {

QString lineOf(const glasses::ReceivedMessage& message) {
    const auto size = QStringLiteral("%1 B  ").arg(message.bytes.size(), 5);
    const auto* const entries = message.value.dictionary();
    if (!entries) {
        return size + QStringLiteral("(no message)");
    }
    QString text;
    for (const auto& [key, value] : *entries) {
        text += QString::fromStdString(key).left(40) + QLatin1Char(' ') + QString::fromStdString(messageText(value));
        break; // a message has one
    }
    return size + text.simplified();
}

} // namespace

MessageList::MessageList(std::shared_ptr<glasses::SimulatedGlasses> glasses, QWidget* parent)
    : QPlainTextEdit(parent), glasses_(std::move(glasses)) {
    setReadOnly(true);
    setLayoutDirection(Qt::LeftToRight); // in which messages are written
    setLineWrapMode(QPlainTextEdit::NoWrap);
    setMaximumBlockCount(mostLines);
    setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    setTabChangesFocus(true);
    setAccessibleName(QStringLiteral("Messages received"));
    setPlaceholderText(QStringLiteral("Messages that the glasses receive"));
}

void MessageList::follow() {
    const std::size_t count = glasses_->receivedCount();
    if (count != messages_) {
        const std::size_t first = count > mostLines ? std::max(messages_, count - mostLines) : messages_;
        messages_ = first;
        for (const auto& message : glasses_->receivedMessages(first)) {
            appendPlainText(lineOf(message));
            ++messages_;
        }
        messages_ = std::max(messages_, count);
    }
    followErrors();
}

void MessageList::followErrors() {
    const std::size_t count = glasses_->errorCount();
    if (count == errors_) {
        return;
    }
    const auto errors = glasses_->errors();
    const std::size_t fresh = std::min(count - errors_, errors.size());
    for (auto error = errors.end() - static_cast<std::ptrdiff_t>(fresh); error != errors.end(); ++error) {
        const auto text = QString::fromStdString(error->text.substr(0, 200)).simplified();
        appendPlainText(QStringLiteral("  error %1: %2").arg(static_cast<int>(error->code)).arg(text));
    }
    errors_ = count;
}

} // namespace tarnel
