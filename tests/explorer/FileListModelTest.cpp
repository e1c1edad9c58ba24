// The file list model: its order (folders first, every sort turns the order over,
// sizes as numbers, dates as dates) and its consistency as a Qt model.

#include "explorer/FileListModel.h"
#include "korvan/cFTPList.h"

#include <QAbstractItemModelTester>
#include <QItemSelectionModel>
#include <QTest>

using namespace korvan;

namespace {

struct Entry {
    QString name;
    bool folder = false;
    qint64 size = 0;
    QString date = QStringLiteral("Jan 15 2003");
    QString attributes = {};
};

// A UNIX listing of the entries, in the order given.
std::shared_ptr<cFTPList> Listing(const QList<Entry> &entries)
{
    QString text = QStringLiteral("total 8\r\n");
    for (const Entry &e : entries) {
        const QString attributes = !e.attributes.isEmpty() ? e.attributes
                                   : e.folder             ? QStringLiteral("drwxr-xr-x")
                                                          : QStringLiteral("-rw-r--r--");
        text += QStringLiteral("%1 1 ftp ftp %2 %3 %4\r\n").arg(attributes).arg(e.folder ? 4096 : e.size).arg(e.date, e.name);
    }
    auto list = std::make_shared<cFTPList>();
    list->setFolder(QStringLiteral("/pub/"));
    list->setFTPFileList(text);
    return list;
}

QStringList NamesInOrder(const FileListModel &model)
{
    QStringList names;
    for (int row = 0; row < model.rowCount(); ++row)
        names.append(model.index(row, FileListModel::NameColumn).data().toString());
    return names;
}

const QList<Entry> kMixed = {
    {"cherry", false, 12345, "Feb 3 2010", "-rwxr-xr-x"},
    {"pub", true},
    {"apple", false, 9, "Jan 15 2003", "-rw-r--r--"},
    {"Banana", false, 1234, "Dec 1 2002", "-r--------"},
    {"incoming", true},
    {"date", false, 10, "Mar 9 2001", "-rw-r--r--"},
};

} // namespace

Q_DECLARE_METATYPE(QList<Entry>)

class FileListModelTest : public QObject {
    Q_OBJECT
private slots:
    void sortOrder_data();
    void sortOrder();
    void rowsAndSelectionFollowTheirEntry();
};

void FileListModelTest::sortOrder_data()
{
    QTest::addColumn<QList<Entry>>("entries");
    QTest::addColumn<QList<int>>("columnClicks"); // 1-based columns, in click order
    QTest::addColumn<QStringList>("expected");

    QTest::newRow("name: folders first, case ignored") << kMixed << QList<int>{1}
                                                       << QStringList{"incoming", "pub", "apple", "Banana", "cherry", "date"};
    QTest::newRow("name twice: exact reverse, files first")
        << kMixed << QList<int>{1, 1} << QStringList{"date", "cherry", "Banana", "apple", "pub", "incoming"};
    QTest::newRow("size as a number: 9 < 10 < 1,234 < 12,345")
        << kMixed << QList<int>{2} << QStringList{"incoming", "pub", "apple", "date", "Banana", "cherry"};
    // After loading, the first click on another column is the second turn: descending.
    QTest::newRow("name then size: every click turns the order over")
        << kMixed << QList<int>{1, 2} << QStringList{"cherry", "Banana", "date", "apple", "pub", "incoming"};
    QTest::newRow("modified: by the date, not its text")
        << kMixed << QList<int>{4} << QStringList{"incoming", "pub", "date", "Banana", "apple", "cherry"};
    QTest::newRow("attributes") << kMixed << QList<int>{5}
                                << QStringList{"incoming", "pub", "Banana", "apple", "date", "cherry"};
    QTest::newRow("type: by type name, then name")
        << QList<Entry>{{"z.txt"}, {"page.html"}, {"a.txt"}, {"disk.zzq"}, {"docs", true}} << QList<int>{3}
        << QStringList{"docs", "page.html", "a.txt", "z.txt", "disk.zzq"};
    QTest::newRow("names equal but for case keep the listing's order")
        << QList<Entry>{{"same"}, {"SAME"}, {"Same"}} << QList<int>{1} << QStringList{"same", "SAME", "Same"};
    QTest::newRow("... reversed on the second click")
        << QList<Entry>{{"same"}, {"SAME"}, {"Same"}} << QList<int>{1, 1} << QStringList{"Same", "SAME", "same"};
    QTest::newRow("empty listing") << QList<Entry>{} << QList<int>{1, 2} << QStringList{};
}

void FileListModelTest::sortOrder()
{
    QFETCH(QList<Entry>, entries);
    QFETCH(QList<int>, columnClicks);
    QFETCH(QStringList, expected);

    const auto list = Listing(entries);
    QCOMPARE(list->FileNumb(), entries.size());
    FileListModel model;
    model.setListing(list);
    for (const int column : columnClicks)
        model.sortByColumn(column);
    QCOMPARE(NamesInOrder(model), expected);
    QCOMPARE(model.sortColumn(), columnClicks.last());
}

// Through every re-sort a row keeps its entry (what the window's commands act
// on) and the selection follows it; the model stays consistent for Qt's views.
void FileListModelTest::rowsAndSelectionFollowTheirEntry()
{
    FileListModel model;
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
    QItemSelectionModel selection(&model);
    const auto list = Listing(kMixed);
    model.setListing(list);
    selection.select(model.index(model.rowOfName("apple"), 0), QItemSelectionModel::Select | QItemSelectionModel::Rows);
    for (const int column : {2, 3, 4, 5, 1}) {
        model.sortByColumn(column);
        QCOMPARE(selection.selectedRows().size(), 1);
        QCOMPARE(selection.selectedRows().constFirst().data().toString(), u"apple"_qs);
        for (int row = 0; row < model.rowCount(); ++row) {
            const int entry = model.entryIndex(row);
            QCOMPARE(model.index(row, 0).data().toString(), list->FileName(entry));
            QCOMPARE(model.index(row, FileListModel::SizeColumn).data().toString(), list->FileSize(entry));
            QCOMPARE(model.rowKey(row) + model.rowTag(row),
                     QString::number(entry) + (list->IsFolder(entry) ? "L0" : "L1"));
            QCOMPARE(model.rowOfName(list->FileName(entry)), row);
        }
    }
    QCOMPARE(model.rowOfName("missing"), -1);
    model.setListing(Listing({{"only", true}}));
    QCOMPARE(model.rowCount(), 1);
    model.setListing(nullptr);
    QCOMPARE(model.rowCount(), 0);
}

QTEST_MAIN(FileListModelTest)
#include "FileListModelTest.moc"
