#pragma once

#include <TarnelSDK/ui/Elements.hpp>

#include <QAccessible>
#include <QColor>
#include <QString>
#include <QWidget>
#include <string>

namespace tarnel {

/// The rounded card of a modal screen. Assistive technology meets it as a modal dialog under its accessible name.
/// What is laid out in it keeps clear of its corners.
class Card : public QWidget {
public:
    Card(const BackgroundView& look, QAccessible::Role role);

    QAccessible::Role role() const { return role_; }
    int cornerRadius() const;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    const BackgroundView look_;
    const QAccessible::Role role_;
};

/// The title as a button's text, in which "&" is no mnemonic.
QString buttonText(const std::string& title);

/// Filled with a colour.
class Ground : public QWidget {
public:
    explicit Ground(SystemColor color, QWidget* parent = nullptr);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    const SystemColor color_;
};

/// A line across.
class SeparatorLine : public Ground {
public:
    explicit SeparatorLine(const Separator& look, QWidget* parent = nullptr);
};

} // namespace tarnel
