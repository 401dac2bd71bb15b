#include <TarnelQt/screens/BusyIndicator.hpp>
#include <TarnelQt/screens/Colors.hpp>
#include <TarnelQt/screens/TableView.hpp>

#include <QKeyEvent>
#include <QPainter>
#include <QPainterPath>
#include <QStyledItemDelegate>
#include <QTimerEvent>
#include <algorithm>
#include <cmath>
#include <utility>

namespace tarnel {
namespace {

enum Role { sectionRole = Qt::UserRole, rowRole, keyRole, accessoryRole, tintRole, busyRole, colorRole, boldRole };

constexpr int headerRow = -1;
constexpr int side = 16;         ///< from the edges of the table to the texts
constexpr int accessory = 18;    ///< width and height
constexpr int fewestRows = 4;    ///< for which the table is laid out
constexpr int rowHeight = 44;    ///< of a table without rows
constexpr int longestText = 256; ///< in UTF-16 units; what follows would not be seen

void drawCheckmark(QPainter& painter, const QRectF& area, const QColor& color) {
    QPainterPath path(QPointF(area.left() + area.width() * 0.08, area.top() + area.height() * 0.55));
    path.lineTo(area.left() + area.width() * 0.36, area.top() + area.height() * 0.83);
    path.lineTo(area.left() + area.width() * 0.92, area.top() + area.height() * 0.2);
    painter.setPen(QPen(color, area.width() * 0.13, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.setBrush(Qt::NoBrush);
    painter.drawPath(path);
}

QString textOf(const std::string& text) {
    // A character of UTF-8 takes at most four bytes.
    return QString::fromStdString(text.substr(0, longestText * 4)).left(longestText).simplified();
}

/// On one line, letter by letter: Qt would take a tip in which it sees markup for rich text, and read the files that it
/// names.
QString toolTipOf(const QString& text) {
    return text.isEmpty() ? QString() : QStringLiteral("<p style='white-space:pre'>%1</p>").arg(text.toHtmlEscaped());
}

bool isHeader(const QModelIndex& index) {
    return index.data(rowRole).toInt() == headerRow;
}

} // namespace

/// A header, or a row with its cell.
struct TableView::Entry {
    int section = 0;
    int row = headerRow;
    QString key;
    QString text;
    int height = 0;
    SystemColor color = SystemColor::label;
    bool isBold = false;
    Accessory accessory = Accessory::none;
    std::optional<SystemColor> tint = std::nullopt;
};

class TableView::Delegate : public QStyledItemDelegate {
public:
    explicit Delegate(TableView& table) : QStyledItemDelegate(&table), table_(table) {}

    // The colours are the table's: a header is disabled, but to be read.
    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override {
        painter->save();
        painter->setRenderHint(QPainter::Antialiasing);
        if (!isHeader(index)) {
            drawGround(*painter, option);
        }
        const QRect inner = option.rect.adjusted(side, 0, -side, 0);
        QRect text = inner;
        if (drawAccessory(*painter, option, index, inner)) {
            const int room = accessory + side / 2;
            text = option.direction == Qt::RightToLeft ? inner.adjusted(room, 0, 0, 0) : inner.adjusted(0, 0, -room, 0);
        }
        QFont font = option.font;
        font.setBold(index.data(boldRole).toBool());
        painter->setFont(font);
        painter->setPen(colorOf(static_cast<SystemColor>(index.data(colorRole).toInt()), table_.palette()));
        const QString shown =
            QFontMetrics(font).elidedText(index.data(Qt::DisplayRole).toString(), Qt::ElideRight, text.width());
        painter->setLayoutDirection(option.direction);
        painter->drawText(text, static_cast<int>(Qt::AlignVCenter | Qt::AlignLeading) | Qt::TextSingleLine, shown);
        painter->restore();
    }

private:
    void drawGround(QPainter& painter, const QStyleOptionViewItem& option) const {
        const bool hasFocus = option.state.testFlag(QStyle::State_HasFocus);
        if (!hasFocus && !option.state.testFlag(QStyle::State_MouseOver)) {
            return;
        }
        QColor ground = table_.palette().color(QPalette::Highlight);
        ground.setAlphaF(hasFocus ? 0.25F : 0.12F);
        const QRectF area = QRectF(option.rect).adjusted(6.5, 1.5, -6.5, -1.5);
        painter.setBrush(ground);
        painter.setPen(hasFocus ? QPen(table_.palette().color(QPalette::Highlight), 1) : QPen(Qt::NoPen));
        painter.drawRoundedRect(area, 6, 6);
    }

    bool drawAccessory(QPainter& painter, const QStyleOptionViewItem& option, const QModelIndex& index,
                       const QRect& inner) const {
        const QRect area = QStyle::alignedRect(option.direction, Qt::AlignRight | Qt::AlignVCenter,
                                               QSize(accessory, accessory), inner);
        if (static_cast<Accessory>(index.data(accessoryRole).toInt()) == Accessory::checkmark) {
            const QVariant tint = index.data(tintRole);
            drawCheckmark(painter, area,
                          tint.isValid() ? colorOf(static_cast<SystemColor>(tint.toInt()), table_.palette())
                                         : table_.palette().color(QPalette::Highlight));
            return true;
        }
        if (index.data(busyRole).toBool()) {
            BusyIndicator::draw(painter, area, colorOf(SystemColor::secondaryLabel, table_.palette()), table_.step_);
            return true;
        }
        return false;
    }

    const TableView& table_;
};

TableView::TableView(QWidget* parent) : QListWidget(parent) {
    setFrameShape(QFrame::NoFrame);
    setSelectionMode(QAbstractItemView::NoSelection);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    setMouseTracking(true);
    setItemDelegate(new Delegate(*this)); // owned by the table
    setAutoFillBackground(false);
    viewport()->setAutoFillBackground(false);
    connect(this, &QListWidget::itemClicked, this, [this](const QListWidgetItem* item) { pick(item); });
}

void TableView::reload(TableViewDataSource& source, const KeyOf& keyOf) {
    std::vector<Entry> entries;
    for (int section = 0; section < source.numberOfSections(); ++section) {
        if (const auto title = source.titleForHeader(section)) {
            TableViewHeader header{.text = *title};
            source.willDisplayHeader(header, section);
            entries.push_back({.section = section,
                               .key = QStringLiteral("header %1").arg(section),
                               .text = textOf(header.text),
                               .height = static_cast<int>(std::lround(source.heightForHeader(section))),
                               .color = header.color,
                               .isBold = header.isBold});
        }
        for (int row = 0; row < source.numberOfRows(section); ++row) {
            auto cell = source.cellForRow(section, row);
            source.willDisplayCell(cell, section, row);
            const auto key = keyOf ? keyOf(section, row) : std::to_string(section) + " " + std::to_string(row);
            entries.push_back({.section = section,
                               .row = row,
                               .key = QString::fromStdString(key),
                               .text = textOf(cell.text),
                               .height = static_cast<int>(std::lround(source.heightForRow(section, row))),
                               .accessory = cell.accessory,
                               .tint = cell.tint});
        }
    }
    arrange(entries);
    updateBusy();
    updateGeometry();
}

/// Items that stay are moved at most, so that the current one and the place of the scroll bar stay too.
void TableView::arrange(const std::vector<Entry>& entries) {
    int at = 0;
    for (const auto& entry : entries) {
        int found = at;
        while (found < count() && item(found)->data(keyRole).toString() != entry.key) {
            ++found;
        }
        if (found == count()) {
            insertItem(at, new QListWidgetItem); // owned by the list
        } else if (found != at) {
            insertItem(at, takeItem(found));
        }
        fill(*item(at), entry);
        ++at;
    }
    while (count() > at) {
        delete takeItem(count() - 1);
    }
}

void TableView::fill(QListWidgetItem& item, const Entry& entry) {
    const bool isHeader = entry.row == headerRow;
    item.setFlags(isHeader ? Qt::NoItemFlags : Qt::ItemIsEnabled | Qt::ItemIsSelectable);
    item.setText(entry.text);
    item.setToolTip(isHeader ? QString() : toolTipOf(entry.text));
    item.setData(sectionRole, entry.section);
    item.setData(rowRole, entry.row);
    item.setData(keyRole, entry.key);
    item.setData(accessoryRole, static_cast<int>(entry.accessory));
    item.setData(tintRole, entry.tint ? QVariant(static_cast<int>(*entry.tint)) : QVariant());
    item.setData(colorRole, static_cast<int>(entry.color));
    item.setData(boldRole, entry.isBold);
    const bool isChecked = entry.accessory == Accessory::checkmark;
    item.setData(Qt::AccessibleTextRole, isChecked ? entry.text + QStringLiteral(" \u2713") : entry.text);
    item.setSizeHint(QSize(0, entry.height));
}

void TableView::updateBusy() {
    bool isAnyBusy = false;
    for (int at = 0; at < count(); ++at) {
        const bool busy = isBusy && item(at)->data(rowRole).toInt() != headerRow &&
                          isBusy(item(at)->data(keyRole).toString().toStdString());
        item(at)->setData(busyRole, busy);
        isAnyBusy = isAnyBusy || busy;
    }
    if (!isAnyBusy) {
        timer_.stop();
    } else if (!timer_.isActive()) {
        timer_.start(BusyIndicator::stepTime, this);
    }
}

void TableView::timerEvent(QTimerEvent* event) {
    if (event->timerId() != timer_.timerId()) {
        QListWidget::timerEvent(event);
        return;
    }
    step_ = BusyIndicator::mayMove(*this) ? (step_ + 1) % BusyIndicator::steps : 0;
    updateBusy();
    viewport()->update();
}

void TableView::pick(const QListWidgetItem* item) {
    if (item && item->data(rowRole).toInt() != headerRow && onPick) {
        onPick(item->data(sectionRole).toInt(), item->data(rowRole).toInt());
    }
}

void TableView::keyPressEvent(QKeyEvent* event) {
    const int key = event->key();
    if (key == Qt::Key_Return || key == Qt::Key_Enter || key == Qt::Key_Space || key == Qt::Key_Select) {
        pick(currentItem());
    } else {
        QListWidget::keyPressEvent(event);
    }
}

QSize TableView::sizeHint() const {
    int rows = 0;
    int height = 0;
    for (int at = 0; at < count(); ++at) {
        height += item(at)->sizeHint().height();
        rows += item(at)->data(rowRole).toInt() == headerRow ? 0 : 1;
    }
    return {240, height + std::max(0, fewestRows - rows) * rowHeight};
}

QSize TableView::minimumSizeHint() const {
    return {80, rowHeight};
}

} // namespace tarnel
