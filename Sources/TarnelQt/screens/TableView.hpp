#pragma once

#include <TarnelSDK/ui/Elements.hpp>

#include <QBasicTimer>
#include <QListWidget>
#include <functional>
#include <string>
#include <vector>

namespace tarnel {

/// Draws the rows and headers of a data source. A click, Enter or Space picks a row; the arrows move between rows.
/// Rows that stay keep their place under the keyboard when others come and go.
class TableView : public QListWidget {
public:
    explicit TableView(QWidget* parent = nullptr);

    /// What tells a row from others, whatever its place. Rows without a function are told by their place.
    using KeyOf = std::function<std::string(int section, int row)>;

    void reload(TableViewDataSource& source, const KeyOf& keyOf = nullptr);

    std::function<void(int section, int row)> onPick;
    /// Whether something is under way with the row of this key: then it shows that it moves.
    std::function<bool(const std::string& key)> isBusy;
    /// Looks again at which rows are busy.
    void updateBusy();

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void timerEvent(QTimerEvent* event) override;

private:
    struct Entry;
    class Delegate;

    static void fill(QListWidgetItem& item, const Entry& entry);
    void arrange(const std::vector<Entry>& entries);
    void pick(const QListWidgetItem* item);

    QBasicTimer timer_;
    int step_ = 0;
};

} // namespace tarnel
