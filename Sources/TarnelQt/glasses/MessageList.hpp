#pragma once

#include <TarnelGlasses/SimulatedGlasses.hpp>

#include <QPlainTextEdit>
#include <cstddef>
#include <memory>

namespace tarnel {

/// What the glasses have received, one message a line, and the errors that they answered. It holds the newest
/// `mostLines`; more than that at once are passed over.
///
/// GUI thread.
class MessageList : public QPlainTextEdit {
public:
    static constexpr int mostLines = 500;

    explicit MessageList(std::shared_ptr<glasses::SimulatedGlasses> glasses, QWidget* parent = nullptr);

    /// Takes over what has come since the last time.
    void follow();

private:
    void followErrors();

    const std::shared_ptr<glasses::SimulatedGlasses> glasses_;
    std::size_t messages_ = 0; ///< that are shown or passed over
    std::size_t errors_ = 0;
};

} // namespace tarnel
