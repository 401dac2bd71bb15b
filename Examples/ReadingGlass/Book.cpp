#include "Book.hpp"

#include <TarnelSDK/foundation/UTF8.hpp>
#include <TarnelSDK/images/Dither.hpp>
#include <TarnelSDK/images/ImageFile.hpp>
#include <TarnelSDK/images/UIImage+Extension.hpp>

#include <QAbstractTextDocumentLayout>
#include <QFile>
#include <QFileInfo>
#include <QPainter>
#include <QTextDocument>
#include <QTextOption>
#include <algorithm>
#include <utility>
#include <vector>

namespace {

constexpr int letterSize = 30;
constexpr int margin = 20;

/// In the middle of a black page.
QImage pageOf(const tarnel::Image& picture) {
    const auto fitted = tarnel::resize(picture, {Book::width, Book::height}, true);
    const bool isPhotograph = tarnel::looksLikePhotograph(fitted);
    const auto gray = isPhotograph ? std::optional(tarnel::ditherToLevels(fitted)) : convertToGrayScale_OLD(fitted);
    QImage page(Book::width, Book::height, QImage::Format_Grayscale8);
    page.fill(Qt::black);
    if (!gray) {
        return page;
    }
    const int left = (Book::width - gray->width()) / 2;
    const int top = (Book::height - gray->height()) / 2;
    for (int y = 0; y < gray->height(); ++y) {
        const auto row = gray->row(y);
        std::copy_n(row.begin(), gray->width(), page.scanLine(top + y) + left);
    }
    return page;
}

/// The whole picture, then its quarters, each a little more than half as wide and high.
std::vector<tarnel::Rect> partsOf(const tarnel::Image& picture) {
    const int width = std::min(picture.width(), picture.width() * 11 / 20 + 1);
    const int height = std::min(picture.height(), picture.height() * 11 / 20 + 1);
    const int right = picture.width() - width;
    const int bottom = picture.height() - height;
    return {{0, 0, picture.width(), picture.height()},
            {0, 0, width, height},
            {right, 0, width, height},
            {0, bottom, width, height},
            {right, bottom, width, height}};
}

std::variant<QByteArray, QString> bytesOf(const QString& file) {
    QFile opened(file);
    if (!opened.open(QIODevice::ReadOnly)) {
        return QObject::tr("%1 cannot be read: %2").arg(file, opened.errorString());
    }
    // A device or a pipe may say that it is empty and never end.
    auto bytes = opened.read(Book::longestText + 1);
    if (bytes.size() > Book::longestText) {
        return QObject::tr("%1 is longer than %2 kB").arg(file).arg(Book::longestText / 1024);
    }
    return bytes;
}

/// Whether the first bytes are those of a PNG or JPEG file.
bool beginsAsPicture(const QString& file) {
    QFile opened(file);
    const auto first = opened.open(QIODevice::ReadOnly) ? opened.read(4) : QByteArray();
    return first == "\x89PNG" || first.startsWith("\xFF\xD8\xFF");
}

} // namespace

Book::Book(QString title, int pageCount, Draw draw)
    : title_(std::move(title)), pageCount_(pageCount), draw_(std::move(draw)) {}

std::variant<Book, QString> Book::open(const QString& file) {
    const QFileInfo info(file);
    if (!info.isFile()) {
        return QObject::tr("%1 is no file").arg(file);
    }
    auto picture = tarnel::readImage(info.filesystemAbsoluteFilePath());
    if (const auto* image = std::get_if<tarnel::Image>(&picture)) {
        auto parts = partsOf(*image);
        const int count = static_cast<int>(parts.size());
        return Book(info.fileName(), count, [image = *image, parts = std::move(parts)](int number) {
            return pageOf(tarnel::crop(image, parts.at(static_cast<std::size_t>(number))));
        });
    }
    if (const auto* damage = std::get_if<tarnel::ImageError>(&picture); damage && beginsAsPicture(file)) {
        return QString::fromStdString(damage->message);
    }
    auto bytes = bytesOf(file);
    if (auto* const error = std::get_if<QString>(&bytes)) {
        return std::move(*error);
    }
    const auto& text = std::get<QByteArray>(bytes);
    const std::string_view view(text.constData(), static_cast<std::size_t>(text.size()));
    if (!tarnel::isValidUTF8(view) || text.contains('\0')) {
        return QObject::tr("%1 is neither a text in UTF-8 nor a PNG or JPEG picture").arg(file);
    }
    // Empty lines at the end would make empty pages.
    auto read = QString::fromUtf8(text);
    while (read.endsWith(QLatin1Char('\n')) || read.endsWith(QLatin1Char('\r'))) {
        read.chop(1);
    }
    return ofText(info.fileName(), read);
}

Book Book::ofText(const QString& title, const QString& text) {
    const auto document = std::make_shared<QTextDocument>();
    QFont font = document->defaultFont();
    font.setPixelSize(letterSize);
    document->setDefaultFont(font);
    document->setDocumentMargin(margin);
    QTextOption option = document->defaultTextOption();
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    document->setDefaultTextOption(option);
    document->setPageSize(QSizeF(width, height));
    document->setPlainText(text);
    return Book(title, std::max(1, document->pageCount()), [document](int number) {
        QImage page(width, height, QImage::Format_Grayscale8);
        page.fill(Qt::black);
        QPainter painter(&page);
        const QRectF area(0, number * height, width, height);
        painter.translate(0, -area.top());
        QAbstractTextDocumentLayout::PaintContext context;
        context.clip = area;
        context.palette.setColor(QPalette::Text, Qt::white);
        painter.setClipRect(area);
        document->documentLayout()->draw(&painter, context);
        return page;
    });
}
