// The file list's rows and their folders-first order.

#include "explorer/FileListModel.h"

#include "korvan/cFTPList.h"
#include "listing/FolderRetrieval.h"
#include "listing/ListingDate.h"
#include "listing/ListingSize.h"

#include <QCollator>
#include <QDateTime>
#include <QElapsedTimer>
#include <QHash>
#include <QLocale>

#include <algorithm>
#include <limits>
#include <numeric>

namespace korvan {

namespace {

// A listing date as one number that orders like the date: minutes counted from
// the year 0, without time zones (the server's own clock, as it listed it).
qint64 DateKey(const ListingDateTime &d)
{
    return ((((qint64(d.year) * 12 + (d.month - 1)) * 31 + (d.day - 1)) * 24 + d.hour) * 60) + d.minute;
}

QDateTime DateOfKey(qint64 key)
{
    const int minute = int(key % 60);
    key /= 60;
    const int hour = int(key % 24);
    key /= 24;
    const int day = int(key % 31) + 1;
    key /= 31;
    const int month = int(key % 12) + 1;
    const int year = int(key / 12);
    // UTC: shown exactly as listed, no daylight-saving shift of a local clock.
    return QDateTime(QDate(year, month, day), QTime(hour, minute), Qt::UTC);
}

// The user's locale; with none set (the C locale) US English, whose order and
// dates such a user expects rather than code points and "9 Apr 2005 00:00:00".
QLocale UserLocale()
{
    return QLocale().language() == QLocale::C ? QLocale(QLocale::English, QLocale::UnitedStates) : QLocale();
}

// The user's collation, ignoring case.
QCollator NameCollator()
{
    QCollator collator(UserLocale());
    collator.setCaseSensitivity(Qt::CaseInsensitive);
    return collator;
}

// Calls `breathe` (when there is one) once `kInterval` has passed since the last
// call; asked every few hundred items of a long loop.
class Breather {
public:
    explicit Breather(const std::function<void()> &breathe) : breathe(breathe) { clock.start(); }
    void operator()(size_t item)
    {
        if (breathe && item % 256 == 0 && clock.elapsed() >= kIntervalMs) {
            breathe();
            clock.restart();
        }
    }

private:
    static constexpr qint64 kIntervalMs = 25;
    const std::function<void()> &breathe;
    QElapsedTimer clock;
};

// Each text's place in the collation order, counted over distinct texts: equal
// texts (to the collator) get equal ranks. Keys are built once per text.
std::vector<quint32> CollationRanks(const QStringList &texts, const std::function<void()> &breathe = {})
{
    const QCollator collator = NameCollator();
    Breather breather(breathe);
    std::vector<QCollatorSortKey> keys;
    keys.reserve(size_t(texts.size()));
    for (const QString &text : texts) {
        breather(keys.size());
        keys.push_back(collator.sortKey(text));
    }

    std::vector<qsizetype> byKey(keys.size());
    std::iota(byKey.begin(), byKey.end(), 0);
    std::sort(byKey.begin(), byKey.end(),
              [&](qsizetype a, qsizetype b) { return keys[size_t(a)].compare(keys[size_t(b)]) < 0; });
    if (breathe)
        breathe();

    std::vector<quint32> ranks(keys.size());
    quint32 rank = 0;
    for (size_t i = 0; i < byKey.size(); ++i) {
        if (i > 0 && keys[size_t(byKey[i - 1])].compare(keys[size_t(byKey[i])]) != 0)
            ++rank;
        ranks[size_t(byKey[i])] = rank;
    }
    return ranks;
}

// The same for texts with few distinct values (attributes, type names): ranked
// once per distinct text.
std::vector<quint32> DistinctCollationRanks(const QStringList &texts)
{
    QHash<QString, qsizetype> slotOf;
    QStringList distinct;
    std::vector<qsizetype> distinctSlot;
    distinctSlot.reserve(size_t(texts.size()));
    for (const QString &text : texts) {
        auto found = slotOf.constFind(text);
        if (found == slotOf.cend()) {
            found = slotOf.insert(text, distinct.size());
            distinct.append(text);
        }
        distinctSlot.push_back(found.value());
    }
    const std::vector<quint32> distinctRanks = CollationRanks(distinct);
    std::vector<quint32> ranks(distinctSlot.size());
    for (size_t i = 0; i < distinctSlot.size(); ++i)
        ranks[i] = distinctRanks[size_t(distinctSlot[i])];
    return ranks;
}

// The size column as a number. Listings give whole numbers with "," between
// thousands; those are read here digit by digit (100,000 rows: a general number
// parse per row was two thirds of the time spent making rows). Anything else goes
// to the listing's own reading.
qint64 SizeOf(const QString &sizeText)
{
    qint64 size = 0;
    for (const QChar c : sizeText) {
        if (c == u',')
            continue;
        if (c < u'0' || c > u'9' || size > (std::numeric_limits<qint64>::max() - 9) / 10)
            return qint64(SizeTextValue(sizeText));
        size = size * 10 + (c.unicode() - u'0');
    }
    return size;
}

template <typename T> int ThreeWay(T a, T b)
{
    return a < b ? -1 : (b < a ? 1 : 0);
}

} // namespace

FileListModel::FileListModel(QObject *parent) : QAbstractTableModel(parent) {}

QStringList FileListModel::columnCaptions()
{
    return {QStringLiteral("Name"), QStringLiteral("Size (Bytes)"), QStringLiteral("Type"), QStringLiteral("Modified"),
            QStringLiteral("Attributes")};
}

FileListModel::Row FileListModel::makeRow(const cFTPList &list, qint32 entry)
{
    Row row;
    row.entry = entry;
    row.folder = list.IsFolder(entry);
    row.link = list.IsLink(entry);
    row.kind = row.folder ? ShellIcons::kFolderKind : ShellIcons::kindOfFile(list.FileName(entry));
    row.size = SizeOf(list.FileSize(entry));
    // The listing writes every date with its year, so the current year is never used.
    if (const auto date = RecognizeListingDate(QStringView(list.FileDate(entry)), 0))
        row.date = DateKey(*date);
    return row;
}

void FileListModel::setListing(std::shared_ptr<const cFTPList> newList, const std::function<void()> &breathe)
{
    std::vector<Row> newRows;
    if (newList) {
        const qint32 count = newList->FileNumb();
        newRows.reserve(size_t(count));
        Breather breather(breathe);
        for (qint32 entry = 0; entry < count; ++entry) {
            breather(size_t(entry));
            newRows.push_back(makeRow(*newList, entry));
        }
        rankNames(*newList, newRows, breathe);
    }
    beginResetModel();
    list = std::move(newList);
    rows = std::move(newRows);
    attributeRanks.clear();
    rowByEntry.resize(rows.size());
    std::iota(rowByEntry.begin(), rowByEntry.end(), 0);
    sortedColumn = 0;
    order = Qt::DescendingOrder;
    endResetModel();
}

void FileListModel::rankNames(const cFTPList &list, std::vector<Row> &rows, const std::function<void()> &breathe)
{
    QStringList names;
    names.reserve(qsizetype(rows.size()));
    for (const Row &row : rows)
        names.append(list.FileName(row.entry));
    const std::vector<quint32> ranks = CollationRanks(names, breathe);
    for (size_t i = 0; i < rows.size(); ++i)
        rows[i].nameRank = ranks[i];
}

void FileListModel::rankAttributes()
{
    if (attributeRanks.size() == rows.size())
        return;
    QStringList attributes;
    attributes.reserve(qsizetype(rows.size()));
    for (qint32 entry = 0; entry < qint32(rows.size()); ++entry)
        attributes.append(list->FileAttr(entry));
    attributeRanks = DistinctCollationRanks(attributes);
}

std::vector<quint32> FileListModel::kindRanks() const
{
    QStringList typeTexts;
    for (int kind = 0; kind < ShellIcons::kindCount(); ++kind)
        typeTexts.append(ShellIcons::kindTypeText(ShellIcons::Kind(kind)));
    return DistinctCollationRanks(typeTexts);
}

int FileListModel::compareColumn(const Row &a, const Row &b, int column, const std::vector<quint32> &typeRanks) const
{
    switch (column) {
    case SizeColumn:
        return ThreeWay(a.size, b.size);
    case TypeColumn:
        return ThreeWay(typeRanks[a.kind], typeRanks[b.kind]);
    case ModifiedColumn:
        return ThreeWay(a.date, b.date);
    case AttributesColumn:
        return ThreeWay(attributeRanks[size_t(a.entry)], attributeRanks[size_t(b.entry)]);
    default:
        return 0; // the name decides below
    }
}

// By name the ranks decide alone (then the entry): a counting sort over them, in
// one pass, instead of sorting the names a second time.
void FileListModel::orderByName()
{
    quint32 rankCount = 0;
    for (const Row &row : rows)
        rankCount = std::max(rankCount, row.nameRank + 1);
    // Ascending: folders first, each group by rank, equal ranks by entry.
    const auto bucketOf = [rankCount](const Row &row) { return size_t(row.folder ? 0 : rankCount) + row.nameRank; };
    std::vector<qint32> starts(2 * size_t(rankCount) + 1, 0);
    for (const Row &row : rows)
        ++starts[bucketOf(row) + 1];
    std::partial_sum(starts.begin(), starts.end(), starts.begin());
    std::vector<Row> sorted(rows.size());
    for (size_t entry = 0; entry < rows.size(); ++entry) {
        const Row &row = rows[size_t(rowByEntry[entry])];
        sorted[size_t(starts[bucketOf(row)]++)] = row;
    }
    if (order == Qt::DescendingOrder)
        std::reverse(sorted.begin(), sorted.end());
    rows = std::move(sorted);
}

void FileListModel::reorder(int column)
{
    if (column == NameColumn)
        orderByName();
    else
        orderByColumn(column);
    for (size_t i = 0; i < rows.size(); ++i)
        rowByEntry[size_t(rows[i].entry)] = qint32(i);
}

void FileListModel::orderByColumn(int column)
{
    if (column == AttributesColumn)
        rankAttributes();
    const std::vector<quint32> typeRanks = column == TypeColumn ? kindRanks() : std::vector<quint32>();
    // A total order: rows differ at least in their entry index.
    const auto ascending = [&](const Row &a, const Row &b) {
        if (a.folder != b.folder)
            return a.folder;
        if (const int byColumn = compareColumn(a, b, column, typeRanks))
            return byColumn < 0;
        if (a.nameRank != b.nameRank)
            return a.nameRank < b.nameRank;
        return a.entry < b.entry;
    };
    if (order == Qt::AscendingOrder)
        std::sort(rows.begin(), rows.end(), ascending);
    else
        std::sort(rows.begin(), rows.end(), [&](const Row &a, const Row &b) { return ascending(b, a); });
}

void FileListModel::sortByColumn(int column)
{
    if (column < 1 || column > ColumnCount)
        return;
    emit layoutAboutToBeChanged({}, QAbstractItemModel::VerticalSortHint);
    const QModelIndexList before = persistentIndexList();
    std::vector<qint32> entriesBefore;
    entriesBefore.reserve(size_t(before.size()));
    for (const QModelIndex &index : before)
        entriesBefore.push_back(rows[size_t(index.row())].entry);

    order = order == Qt::AscendingOrder ? Qt::DescendingOrder : Qt::AscendingOrder;
    sortedColumn = column;
    reorder(column - 1);

    QModelIndexList after;
    after.reserve(before.size());
    for (qsizetype i = 0; i < before.size(); ++i)
        after.append(index(rowByEntry[size_t(entriesBefore[size_t(i)])], before.at(i).column()));
    changePersistentIndexList(before, after);
    emit layoutChanged({}, QAbstractItemModel::VerticalSortHint);
}

int FileListModel::entryIndex(int row) const
{
    return row >= 0 && size_t(row) < rows.size() ? rows[size_t(row)].entry : -1;
}

QString FileListModel::rowKey(int row) const
{
    return QString::number(entryIndex(row)) + u'L';
}

QString FileListModel::rowTag(int row) const
{
    return isFolder(row) ? QStringLiteral("0") : QStringLiteral("1");
}

bool FileListModel::isFolder(int row) const
{
    return row >= 0 && size_t(row) < rows.size() && rows[size_t(row)].folder;
}

int FileListModel::rowOfName(const QString &name) const
{
    if (!list)
        return -1;
    for (qint32 entry = 0; entry < qint32(rows.size()); ++entry) {
        if (list->FileName(entry) == name)
            return rowByEntry[size_t(entry)];
    }
    return -1;
}

int FileListModel::rowOfEntry(int index) const
{
    return index >= 0 && size_t(index) < rowByEntry.size() ? rowByEntry[size_t(index)] : -1;
}

int FileListModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(rows.size());
}

int FileListModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : ColumnCount;
}

QString FileListModel::displayText(const Row &row, int column) const
{
    switch (column) {
    case NameColumn:
        return list->FileName(row.entry);
    case SizeColumn:
        return list->FileSize(row.entry);
    case TypeColumn:
        return ShellIcons::kindTypeText(row.kind);
    case ModifiedColumn:
        return row.date < 0 ? list->FileDate(row.entry)
                            : UserLocale().toString(DateOfKey(row.date), QLocale::ShortFormat);
    case AttributesColumn:
        return list->FileAttr(row.entry);
    default:
        return {};
    }
}

QVariant FileListModel::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const Row &row = rows[size_t(index.row())];
    switch (role) {
    case Qt::DisplayRole:
        return displayText(row, index.column());
    case Qt::DecorationRole:
        if (index.column() == NameColumn)
            return ShellIcons::kindIcon(row.kind, row.link);
        return {};
    case Qt::ToolTipRole:
        if (index.column() == NameColumn && row.link)
            return list->FileName(row.entry) + QStringLiteral(" -> ") + list->FileLink(row.entry);
        return {};
    case Qt::TextAlignmentRole:
        if (index.column() == SizeColumn)
            return int(Qt::AlignRight | Qt::AlignVCenter);
        return {};
    default:
        return {};
    }
}

QVariant FileListModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || section < 0 || section >= ColumnCount)
        return QAbstractTableModel::headerData(section, orientation, role);
    if (role == Qt::DisplayRole)
        return columnCaptions().at(section);
    if (role == Qt::TextAlignmentRole && section == SizeColumn)
        return int(Qt::AlignRight | Qt::AlignVCenter);
    return {};
}

Qt::ItemFlags FileListModel::flags(const QModelIndex &index) const
{
    if (!index.isValid())
        return Qt::NoItemFlags;
    return Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsDragEnabled | Qt::ItemNeverHasChildren;
}

} // namespace korvan
