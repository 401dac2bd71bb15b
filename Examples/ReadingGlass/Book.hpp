#pragma once

#include <QImage>
#include <QString>
#include <functional>
#include <memory>
#include <variant>

class QTextDocument;

/// What is read: a text in pages, or a picture and its enlarged quarters. GUI thread.
class Book {
public:
    static constexpr int width = 640;
    static constexpr int height = 480;
    static constexpr qint64 longestText = 512 * 1024; ///< in bytes

    /// A UTF-8 text or a PNG or JPEG file; else what is wrong with it.
    static std::variant<Book, QString> open(const QString& file);

    const QString& title() const { return title_; }
    int pageCount() const { return pageCount_; }
    /// White on black, 640 x 480, `Format_Grayscale8`. REQUIRES: 0 <= number < pageCount().
    QImage page(int number) const { return draw_(number); }

private:
    using Draw = std::function<QImage(int)>;

    Book(QString title, int pageCount, Draw draw);
    static Book ofText(const QString& title, const QString& text);

    QString title_;
    int pageCount_ = 0;
    Draw draw_;
};
