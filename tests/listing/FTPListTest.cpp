// cFTPList as callers use it: taking over the text, entry paths, the writable
// properties and the error for an index outside the table.
#include "korvan/cFTPList.h"

#include <QDate>
#include <QTest>

#include <functional>

using korvan::cFTPList;
using korvan::SubscriptOutOfRange;

namespace {

cFTPList parsed(const QString &listing, const QString &folder = u"/home/me/"_qs)
{
    cFTPList list;
    list.setFolder(folder);
    QString text = listing;
    list.setFTPFileList(text);
    return list;
}

using Accessor = std::function<void(cFTPList &, qint32)>;

const QList<std::pair<const char *, Accessor>> &accessors()
{
    static const QList<std::pair<const char *, Accessor>> all = {
        {"FileName", [](cFTPList &l, qint32 i) { (void)l.FileName(i); }},
        {"setFileName", [](cFTPList &l, qint32 i) { l.setFileName(i, u"x"_qs); }},
        {"FileDate", [](cFTPList &l, qint32 i) { (void)l.FileDate(i); }},
        {"setFileDate", [](cFTPList &l, qint32 i) { l.setFileDate(i, u"x"_qs); }},
        {"FileSize", [](cFTPList &l, qint32 i) { (void)l.FileSize(i); }},
        {"setFileSize", [](cFTPList &l, qint32 i) { l.setFileSize(i, u"x"_qs); }},
        {"FileAttr", [](cFTPList &l, qint32 i) { (void)l.FileAttr(i); }},
        {"setFileAttr", [](cFTPList &l, qint32 i) { l.setFileAttr(i, u"x"_qs); }},
        {"FileLink", [](cFTPList &l, qint32 i) { (void)l.FileLink(i); }},
        {"setFileLink", [](cFTPList &l, qint32 i) { l.setFileLink(i, u"x"_qs); }},
        {"IsFolder", [](cFTPList &l, qint32 i) { (void)l.IsFolder(i); }},
        {"setIsFolder", [](cFTPList &l, qint32 i) { l.setIsFolder(i, true); }},
        {"IsLink", [](cFTPList &l, qint32 i) { (void)l.IsLink(i); }},
        {"Path", [](cFTPList &l, qint32 i) { (void)l.Path(i); }},
    };
    return all;
}

const QString kThreeLines = u"total 1\r\n-rw-r--r-- 1 o g 5 Jan 15 2003 a\r\n"_qs; // 3 slots, 1 entry

} // namespace

class FTPListTest : public QObject {
    Q_OBJECT
private slots:
    void writingTheListingEmptiesTheCallersText();
    void path_data();
    void path();
    void indexOutsideTheTableThrows_data();
    void indexOutsideTheTableThrows();
    void slotsPastTheCountReadEmpty();
    void settersChangeTheEntry();
    void datesWithoutYearAreInTheCurrentYear();
    void sizesUseCommaWhateverTheLocale();
    void newListingReplacesTheTable();
    void emptyObject();
};

void FTPListTest::writingTheListingEmptiesTheCallersText()
{
    cFTPList list;
    QString text = u"01-15-03  10:20AM  <DIR>  pub\r\n01-15-03  10:20AM  1234  a  b.txt"_qs;
    const QString copy = text; // a second owner of the same data must keep it
    list.setFTPFileList(text);
    QVERIFY(text.isEmpty());
    QCOMPARE(copy, u"01-15-03  10:20AM  <DIR>  pub\r\n01-15-03  10:20AM  1234  a  b.txt"_qs);
    QCOMPARE(list.FileNumb(), 2);
    QCOMPARE(list.FileName(1), u"a b.txt"_qs);
    QCOMPARE(list.FileSize(1), u"1,234"_qs);
}

void FTPListTest::path_data()
{
    QTest::addColumn<QString>("folder");
    QTest::addColumn<QString>("line");
    QTest::addColumn<bool>("markAsFolder");
    QTest::addColumn<QString>("expected");

    const QString home = u"/home/me/"_qs;
    QTest::newRow("file") << home << "-rw-r--r-- 1 o g 5 Jan 15 2003 a.txt" << false << "/home/me/a.txt";
    QTest::newRow("file with blanks") << home << "-rw-r--r-- 1 o g 5 Jan 15 2003 a  b" << false << "/home/me/a b";
    QTest::newRow("folder") << home << "drwxr-xr-x 2 o g 4096 Jan 15 10:20 pub" << false << "/home/me/pub/";
    QTest::newRow("dos folder") << home << "01-15-03 10:20AM <DIR> pub" << false << "/home/me/pub/";
    QTest::newRow("link not marked is a file path")
        << home << "lrwxrwxrwx 1 o g 4 Jan 15 2003 up -> ../x" << false << "/home/me/up";
    QTest::newRow("relative link marked as folder")
        << home << "lrwxrwxrwx 1 o g 4 Jan 15 2003 up -> ../x" << true << "/home/x/";
    QTest::newRow("absolute link marked as folder")
        << home << "lrwxrwxrwx 1 o g 8 Jan 15 2003 ftp -> /var/ftp" << true << "/var/ftp/";
    QTest::newRow("link below the folder")
        << home << "lrwxrwxrwx 1 o g 8 Jan 15 2003 l -> ./a/b" << true << "/home/me/a/b/";
    QTest::newRow("link target ending in a slash doubles it and restarts at the root")
        << home << "lrwxrwxrwx 1 o g 8 Jan 15 2003 l -> ./a/b/" << true << "/";
    QTest::newRow("link climbing past the root")
        << home << "lrwxrwxrwx 1 o g 8 Jan 15 2003 l -> ../../../.." << true << "/";
    QTest::newRow("folder at the root") << u"/"_qs << "drwxr-xr-x 2 o g 4096 Jan 15 10:20 pub" << false << "/pub/";
    QTest::newRow("folder is used as given")
        << u"/home/me"_qs << "-rw-r--r-- 1 o g 5 Jan 15 2003 a" << false << "/home/mea";
}

void FTPListTest::path()
{
    QFETCH(QString, folder);
    QFETCH(QString, line);
    QFETCH(bool, markAsFolder);
    QFETCH(QString, expected);

    cFTPList list = parsed(line, folder);
    QCOMPARE(list.FileNumb(), 1);
    if (markAsFolder)
        list.setIsFolder(0, true);
    QCOMPARE(list.Path(0), expected);
}

void FTPListTest::indexOutsideTheTableThrows_data()
{
    QTest::addColumn<int>("accessor");
    QTest::addColumn<int>("index");

    for (qsizetype a = 0; a < accessors().size(); ++a) {
        const char *name = accessors()[a].first;
        QTest::addRow("%s(-1)", name) << int(a) << -1;
        QTest::addRow("%s(table size)", name) << int(a) << 3;
        QTest::addRow("%s(huge)", name) << int(a) << int(std::numeric_limits<qint32>::max());
        QTest::addRow("%s(most negative)", name) << int(a) << int(std::numeric_limits<qint32>::min());
    }
}

void FTPListTest::indexOutsideTheTableThrows()
{
    QFETCH(int, accessor);
    QFETCH(int, index);

    cFTPList list = parsed(kThreeLines);
    QCOMPARE(list.TableSize(), 3);
    try {
        accessors()[accessor].second(list, index);
        QFAIL("no exception");
    } catch (const SubscriptOutOfRange &error) {
        QCOMPARE(error.index(), qint64(index));
        QCOMPARE(QString::fromLatin1(error.what()), u"Subscript out of range: "_qs + QString::number(index));
    }
    // The last slot inside the table is no error.
    accessors()[accessor].second(list, 2);
}

void FTPListTest::slotsPastTheCountReadEmpty()
{
    const cFTPList list = parsed(kThreeLines);
    QCOMPARE(list.FileNumb(), 1);
    for (qint32 i = 1; i < 3; ++i) {
        QCOMPARE(list.FileName(i), QString());
        QCOMPARE(list.FileDate(i), QString());
        QVERIFY(!list.IsFolder(i));
        QVERIFY(!list.IsLink(i));
        QCOMPARE(list.Path(i), u"/home/me/"_qs);
    }
}

void FTPListTest::settersChangeTheEntry()
{
    cFTPList list = parsed(kThreeLines);
    list.setFileName(2, u"late.txt"_qs);
    list.setFileSize(2, u"9"_qs);
    list.setFileAttr(2, u"-rwx------"_qs);
    list.setFileDate(2, u"1/2/2003 3:04 PM"_qs);
    list.setFileNumb(3);
    QCOMPARE(list.FileNumb(), 3);
    QCOMPARE(list.Path(2), u"/home/me/late.txt"_qs);
    QCOMPARE(list.FileSize(2), u"9"_qs);
    QCOMPARE(list.FileAttr(2), u"-rwx------"_qs);
    QCOMPARE(list.FileDate(2), u"1/2/2003 3:04 PM"_qs);

    QVERIFY(!list.IsLink(0));
    list.setFileLink(0, u"/srv/a"_qs);
    QVERIFY(list.IsLink(0));
    QCOMPARE(list.Path(0), u"/home/me/a"_qs);
    list.setIsFolder(0, true);
    QCOMPARE(list.Path(0), u"/srv/a/"_qs);
    list.setFileLink(0, QString());
    QVERIFY(!list.IsLink(0));
    QCOMPARE(list.Path(0), u"/home/me/a/"_qs);
    list.setFolder(u"/x/"_qs);
    QCOMPARE(list.Folder(), u"/x/"_qs);
    QCOMPARE(list.Path(0), u"/x/a/"_qs);
}

void FTPListTest::datesWithoutYearAreInTheCurrentYear()
{
    const int yearBefore = QDate::currentDate().year();
    const cFTPList list = parsed(u"drwxr-xr-x 2 o g 4096 Jan 15 10:20 pub\r\n-rw-r--r-- 1 o g 1 Jan 15 2003 f"_qs);
    const int yearAfter = QDate::currentDate().year();
    QVERIFY(list.FileDate(0) == u"1/15/%1 10:20 AM"_qs.arg(yearBefore)
            || list.FileDate(0) == u"1/15/%1 10:20 AM"_qs.arg(yearAfter));
    QCOMPARE(list.FileDate(1), u"1/15/2003 12:00 AM"_qs);
}

void FTPListTest::sizesUseCommaWhateverTheLocale()
{
    const QLocale saved;
    QLocale::setDefault(QLocale(QLocale::German, QLocale::Germany));
    const cFTPList list = parsed(u"-rw-r--r-- 1 o g 1234567 Jan 15 2003 f"_qs);
    QLocale::setDefault(saved);
    QCOMPARE(list.FileSize(0), u"1,234,567"_qs);
    QCOMPARE(list.FileDate(0), u"1/15/2003 12:00 AM"_qs);
}

void FTPListTest::newListingReplacesTheTable()
{
    cFTPList list = parsed(u"01-15-03 10:20AM 5 a\r\n01-15-03 10:20AM 6 b\r\n01-15-03 10:20AM 7 c"_qs);
    QCOMPARE(list.FileNumb(), 3);
    QString unix = u"lrwxrwxrwx 1 o g 7 Jan 15 2003 bin -> usr/bin"_qs;
    list.setFTPFileList(unix);
    QCOMPARE(list.FileNumb(), 1);
    QCOMPARE(list.TableSize(), 1);
    QCOMPARE(list.FileName(0), u"bin"_qs);
    QCOMPARE(list.FileLink(0), u"usr/bin"_qs);
    QCOMPARE(list.FileAttr(0), u"lrwxrwxrwx"_qs);
    QVERIFY(list.IsLink(0));
    QVERIFY(!list.IsFolder(0));
    QVERIFY_THROWS_EXCEPTION(SubscriptOutOfRange, list.FileName(1));
}

void FTPListTest::emptyObject()
{
    cFTPList list;
    QCOMPARE(list.FileNumb(), 0);
    QCOMPARE(list.TableSize(), 0);
    QCOMPARE(list.Folder(), QString());
    QVERIFY_THROWS_EXCEPTION(SubscriptOutOfRange, list.FileName(0));
    QString empty;
    list.setFTPFileList(empty);
    QCOMPARE(list.FileNumb(), 0);
    QVERIFY_THROWS_EXCEPTION(SubscriptOutOfRange, list.Path(0));
}

QTEST_APPLESS_MAIN(FTPListTest)
#include "FTPListTest.moc"
