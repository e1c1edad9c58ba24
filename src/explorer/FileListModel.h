#pragma once
// The file list's rows: one current folder's cFTPList shown in five columns, in an
// order the model owns. Sort keys are worked out once when a listing arrives (the
// name's place in collation order, the size as a number, the date as a date), so a
// re-sort of 100,000 rows only compares integers.
//
// Order: ascending puts every folder before every file, each group by the sorted
// column's value, then by name; descending is the exact reverse (files first).
// Every sortByColumn() call turns the order over, whichever column it names, as
// the list always did: clicking a header twice reverses the list.

#include "explorer/ShellIcons.h"

#include <QAbstractTableModel>
#include <QStringList>

#include <functional>
#include <memory>
#include <vector>

namespace korvan {

class cFTPList;

class FileListModel : public QAbstractTableModel {
    Q_OBJECT
public:
    enum Column { NameColumn, SizeColumn, TypeColumn, ModifiedColumn, AttributesColumn, ColumnCount };

    explicit FileListModel(QObject *parent = nullptr);

    // "Name", "Size (Bytes)", "Type", "Modified", "Attributes".
    static QStringList columnCaptions();

    // Shows `list` (null: nothing) in its own order, one model reset. The order is
    // set to descending, so the sortByColumn(1) that follows gives ascending by name.
    // The list must outlive its use here: set another (or null) before deleting it.
    // Rows and sort keys are built before the reset, with `breathe` called every
    // few tens of milliseconds meanwhile (a window pumps its events there, so it
    // keeps painting through a big folder); the old rows stay shown until then.
    void setListing(std::shared_ptr<const cFTPList> list, const std::function<void()> &breathe = {});
    const cFTPList *listing() const { return list.get(); }

    // `column` is 1-based (1 = name). Turns the order over and sorts.
    void sortByColumn(int column);
    // The 1-based column of the last sort, 0 before any.
    int sortColumn() const { return sortedColumn; }
    Qt::SortOrder sortOrder() const { return order; }

    // The row's entry in the listing, its key "<index>L" and its tag ("0" folder,
    // "1" file).
    int entryIndex(int row) const;
    QString rowKey(int row) const;
    QString rowTag(int row) const;
    bool isFolder(int row) const;
    // The row showing the entry of that exact name, or -1.
    int rowOfName(const QString &name) const;
    // The row showing entry `index` of the listing, or -1.
    int rowOfEntry(int index) const;

    int rowCount(const QModelIndex &parent = {}) const override;
    int columnCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;

private:
    struct Row {
        qint64 size = 0;      // the size column as a number (0 for folders)
        qint64 date = -1;     // minutes from year 0 as the listing gives them; -1: no date
        qint32 entry = 0;     // index in the cFTPList
        quint32 nameRank = 0; // place of the name in collation order; equal names share one
        ShellIcons::Kind kind = ShellIcons::kFolderKind;
        bool folder = false;
        bool link = false;
    };

    static Row makeRow(const cFTPList &list, qint32 entry);
    static void rankNames(const cFTPList &list, std::vector<Row> &rows, const std::function<void()> &breathe);
    void rankAttributes();
    std::vector<quint32> kindRanks() const;
    int compareColumn(const Row &a, const Row &b, int column, const std::vector<quint32> &typeRanks) const;
    void reorder(int column);
    void orderByName();
    void orderByColumn(int column);
    QString displayText(const Row &row, int column) const;

    std::shared_ptr<const cFTPList> list; // shared with the cache, which may drop it first
    std::vector<Row> rows;
    std::vector<qint32> rowByEntry;
    std::vector<quint32> attributeRanks; // by entry; filled on the first sort by attributes
    int sortedColumn = 0;
    Qt::SortOrder order = Qt::DescendingOrder;
};

} // namespace korvan
