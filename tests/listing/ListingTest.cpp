// cFTPList on LIST text (UNIX and DOS forms, links, hostile lines), the date and size words, the table's bounds.
// Run in a German locale: nothing may follow it.
#include "korvan/cFTPList.h"
#include "listing/ListingDate.h"
#include "listing/ListingSize.h"

#include <QDate>
#include <QTest>

using korvan::cFTPList;
using korvan::SubscriptOutOfRange;

namespace {

QString crlf(const QStringList &lines)
{
    return lines.join(u"\r\n");
}

// name|size|attr|link|date|d or f
QString describe(const cFTPList &list, qint32 i)
{
    return QStringList{list.FileName(i), list.FileSize(i), list.FileAttr(i),
                       list.FileLink(i), list.FileDate(i), list.IsFolder(i) ? u"d"_qs : u"f"_qs}
        .join(u'|');
}

} // namespace

class ListingTest : public QObject {
    Q_OBJECT
private slots:
    void initTestCase() { QLocale::setDefault(QLocale(QLocale::German, QLocale::Germany)); }
    void entries_data();
    void entries();
    void dates_data();
    void dates();
    void sizes_data();
    void sizes();
    void entryTable();
};

void ListingTest::entries_data()
{
    // clang-format off
    QTest::addColumn<QString>("listing");
    QTest::addColumn<QStringList>("expected"); // {year}: the current year

    const QString unixDir = u"drwxr-xr-x 2 owner group 4096 Jan 15 10:20 pub"_qs;
    const QString unixFile = u"-rw-r--r-- 1 owner group 1234 Jan 15 2003 README"_qs;
    const QString readme = u"README|1,234|-rw-r--r--||1/15/2003 12:00 AM|f"_qs;

    QTest::newRow("lines of fewer than four words") << crlf({u"total 12"_qs, u"a b c"_qs}) << QStringList{};
    QTest::newRow("unix with group column, no year")
        << unixDir << QStringList{u"pub||drwxr-xr-x||1/15/{year} 10:20 AM|d"_qs};
    QTest::newRow("unix without group column, name with a blank")
        << u"-rw-r--r-- 1 owner 1234 Jan 15 2003 read me.txt"_qs
        << QStringList{u"read me.txt|1,234|-rw-r--r--||1/15/2003 12:00 AM|f"_qs};
    QTest::newRow("links: blanks on both sides, two pieces kept, no arrow without blanks")
        << crlf({u"lrwxrwxrwx 1 root root 7 Jan 15 2003 my docs -> /srv/my  docs"_qs,
                 u"lrwxrwxrwx 1 root root 7 Jan 15 2003 a -> b -> c"_qs, u"-rw-r--r-- 1 o g 5 Jan 15 2003 a->b"_qs})
        << QStringList{u"my docs|7|lrwxrwxrwx|/srv/my docs|1/15/2003 12:00 AM|f"_qs,
                       u"a|7|lrwxrwxrwx|b|1/15/2003 12:00 AM|f"_qs, u"a->b|5|-rw-r--r--||1/15/2003 12:00 AM|f"_qs};
    QTest::newRow("dos folder and file, blanks collapse, order kept")
        << crlf({u"01-15-03  10:20AM       <DIR>          pub"_qs, u"01-16-03  10:20PM   1234 a  b.txt"_qs})
        << QStringList{u"pub||||1/15/2003 10:20 AM|d"_qs, u"a b.txt|1,234|||1/16/2003 10:20 PM|f"_qs};
    QTest::newRow("dos: an arrow is name, <dir> is no folder, a size word with d is")
        << crlf({u"01-15-03 10:20PM 5 a -> b"_qs, u"01-15-03 10:20AM <dir> x"_qs, u"01-15-03 10:20AM dummy y"_qs})
        << QStringList{u"a -> b|5|||1/15/2003 10:20 PM|f"_qs, u"x|<dir>|||1/15/2003 10:20 AM|f"_qs,
                       u"y||||1/15/2003 10:20 AM|d"_qs};
    QTest::newRow("dot names are dropped")
        << crlf({u"drwxr-xr-x 2 o g 4096 Jan 15 10:20 ."_qs, u"drwxr-xr-x 2 o g 4096 Jan 15 10:20 .."_qs,
                 u"-rw------- 1 o g 220 Jan 15 2003 .profile"_qs, unixFile, u"-rw-r--r-- 1 o g 9 Jan 15 2003 .x y"_qs})
        << QStringList{readme};
    QTest::newRow("dos dot names are dropped")
        << crlf({u"01-15-03 10:20AM <DIR> .."_qs, u"01-15-03 10:20AM 3 .hidden"_qs, u"01-15-03 10:20AM 3 x.y"_qs})
        << QStringList{u"x.y|3|||1/15/2003 10:20 AM|f"_qs};
    QTest::newRow("a dropped dot-name line does not fix the style")
        << crlf({u"drwxr-xr-x 2 o g 4096 Jan 15 10:20 ."_qs, u"-rw-r--r-- 1 o 5 Jan 15 2003 x"_qs})
        << QStringList{u"x|5|-rw-r--r--||1/15/2003 12:00 AM|f"_qs};
    QTest::newRow("lf-only listing is one line")
        << u"drwxr-xr-x 2 o g 4096 Jan 15 10:20 pub\n-rw-r--r-- 1 o g 5 Jan 15 2003 f\n"_qs
        << QStringList{u"pub\n-rw-r--r-- 1 o g 5 Jan 15 2003 f\n||drwxr-xr-x||1/15/{year} 10:20 AM|d"_qs};
    QTest::newRow("bare CR and tab are no separators")
        << u"01-15-03 10:20AM 5 a\rb\t\tc"_qs << QStringList{u"a\rb\t\tc|5|||1/15/2003 10:20 AM|f"_qs};
    QTest::newRow("banners and seven-word lines before the first entry")
        << crlf({u"Welcome to the archive"_qs, u""_qs, u"drwxr-xr-x 2 o Jan 15 10:20 short"_qs, unixFile})
        << QStringList{readme};
    QTest::newRow("a line starting with a blank, an impossible date")
        << crlf({u' ' + unixDir, u"-rw-r--r-- 1 o g 5 Feb 30 2003 x"_qs}) << QStringList{};
    QTest::newRow("dos style is kept for a later unix line")
        << crlf({u"01-15-03 10:20AM 5 a"_qs, unixDir})
        << QStringList{u"a|5|||1/15/2003 10:20 AM|f"_qs, u"group 4096 Jan 15 10:20 pub|owner|||drwxr-xr-x 2|f"_qs};
    QTest::newRow("unix columns are kept for a line without group, short lines read empty")
        << crlf({unixFile, u"-rw-r--r-- 1 owner 77 Jan 15 2003 two words"_qs, u"-rw-r--r-- 1 o g"_qs})
        << QStringList{readme, u"words|Jan|-rw-r--r--||15 2003 two|f"_qs, u"||-rw-r--r--|||f"_qs};
    // clang-format on
}

void ListingTest::entries()
{
    QFETCH(QString, listing);
    QFETCH(QStringList, expected);
    const QString original(listing.constData(), listing.size()); // a copy of its own

    cFTPList list;
    QString text = listing; // shares its data with `listing`
    list.setFTPFileList(text);
    QVERIFY(text.isEmpty());
    QCOMPARE(listing, original); // the other owner of the text keeps it

    const auto describeAll = [](const cFTPList &parsed) {
        QStringList all;
        for (qint32 i = 0; i < parsed.FileNumb(); ++i)
            all << describe(parsed, i);
        return all;
    };
    QCOMPARE(describeAll(list), expected.replaceInStrings(u"{year}"_qs, QString::number(QDate::currentDate().year())));
    // A session parses the bytes as they came, ASCII lines without decoding them.
    cFTPList fromBytes;
    fromBytes.setWireFileList(listing.toUtf8());
    QCOMPARE(describeAll(fromBytes), expected);
}

void ListingTest::dates_data()
{
    // clang-format off
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("currentYear");
    QTest::addColumn<QString>("expected"); // empty: not a date

    QTest::newRow("unix time: the given year") << "Jan 15 10:20" << 2031 << "1/15/2031 10:20 AM";
    QTest::newRow("unix noon, one-digit hour") << "Jul 4 12:00" << 2026 << "7/4/2026 12:00 PM";
    QTest::newRow("month in full") << "JANUARY 15 2003" << 2026 << "1/15/2003 12:00 AM";
    QTest::newRow("leap day in a leap current year") << "Feb 29 10:20" << 2024 << "2/29/2024 10:20 AM";
    QTest::newRow("leap day in a common current year") << "Feb 29 10:20" << 2026 << "";
    QTest::newRow("day 31 of a 30-day month") << "Apr 31 2003" << 2026 << "";
    QTest::newRow("hour 24") << "Jun 15 24:00" << 2026 << "";
    QTest::newRow("minute 60") << "Jun 15 10:60" << 2026 << "";
    QTest::newRow("three-digit year") << "Jun 15 203" << 2026 << "";
    QTest::newRow("misspelt month") << "Jann 15 2003" << 2026 << "";
    QTest::newRow("arabic-indic digits") << u"Jan \u0661\u0665 2003"_qs << 2026 << "";
    QTest::newRow("dos 12AM is midnight") << "12-31-99 12:00AM" << 2026 << "12/31/1999 12:00 AM";
    QTest::newRow("dos 12PM is noon") << "01-01-00 12:00PM" << 2026 << "1/1/2000 12:00 PM";
    QTest::newRow("dos lower-case pm, one-digit fields") << "1-5-24 1:05pm" << 2026 << "1/5/2024 1:05 PM";
    QTest::newRow("dos four-digit year, PM as a word") << "10-07-2025 11:59 PM" << 2026 << "10/7/2025 11:59 PM";
    QTest::newRow("dos slashes, 24-hour") << "01/15/2003 22:20" << 2026 << "1/15/2003 10:20 PM";
    QTest::newRow("dos date alone") << "01-15-03" << 2026 << "1/15/2003 12:00 AM";
    QTest::newRow("pivot: 68 is 2068") << "01-15-68 10:20AM" << 2026 << "1/15/2068 10:20 AM";
    QTest::newRow("pivot: 69 is 1969") << "01-15-69 00:05" << 2026 << "1/15/1969 12:05 AM";
    QTest::newRow("day-month order is not read") << "15-01-03 10:20AM" << 2026 << "";
    QTest::newRow("mixed separators") << "01-15/03 10:20AM" << 2026 << "";
    QTest::newRow("hour 13 with PM") << "01-15-03 13:20PM" << 2026 << "";
    QTest::newRow("hour 0 with AM") << "01-15-03 0:20AM" << 2026 << "";
    // clang-format on
}

void ListingTest::dates()
{
    QFETCH(QString, text);
    QFETCH(int, currentYear);
    QFETCH(QString, expected);
    // Text that is no date passes through unchanged.
    QCOMPARE(korvan::ReformatListingDate(text, currentYear), expected.isEmpty() ? text : expected);
}

void ListingTest::sizes_data()
{
    // clang-format off
    QTest::addColumn<QString>("word");
    QTest::addColumn<QString>("expected");

    QTest::newRow("seven digits") << "1234567" << "1,234,567";
    QTest::newRow("beyond 64 bits") << "123456789012345678901234" << "123,456,789,012,345,678,901,234";
    QTest::newRow("negative, leading zeros") << "-0001234" << "-1,234";
    QTest::newRow("plus sign, fraction rounds down") << "+5000.4" << "5,000";
    QTest::newRow("round-up carries") << "999.5" << "1,000";
    QTest::newRow("fraction alone") << ".7" << "1";
    QTest::newRow("grouped already") << "1,234" << "1,234";
    QTest::newRow("two points") << "1.2.3" << "1.2.3";
    QTest::newRow("arabic-indic digits") << u"\u0661\u0662\u0663\u0664"_qs << u"\u0661\u0662\u0663\u0664"_qs;
    // clang-format on
}

void ListingTest::sizes()
{
    QFETCH(QString, word);
    QFETCH(QString, expected);
    QCOMPARE(korvan::FormatListingSize(word), expected);
}

// One slot per line of the last listing: slots past the entries read empty, an index outside throws.
void ListingTest::entryTable()
{
    cFTPList list;
    QString text = u"01-15-03 10:20AM 5 a\r\n01-15-03 10:20AM 6 b\r\n01-15-03 10:20AM 7 c\r\n01-15-03 10:20AM 8 d"_qs;
    list.setFTPFileList(text);
    QCOMPARE(list.FileNumb(), 4);
    text = u"total 1\r\nlrwxrwxrwx 1 o g 4 Jan 15 2003 up -> ../x\r\n"_qs;
    list.setFolder(u"/home/me/"_qs);
    list.setFTPFileList(text);
    QCOMPARE(list.FileNumb(), 1);
    QCOMPARE(list.TableSize(), 3);
    QCOMPARE(describe(list, 2), u"|||||f"_qs);
    for (const qint32 index : {-1, 3, std::numeric_limits<qint32>::min()}) {
        try {
            list.setFileName(index, u"x"_qs);
            QFAIL("no exception");
        } catch (const SubscriptOutOfRange &error) {
            QCOMPARE(QString::fromLatin1(error.what()), u"Subscript out of range: "_qs + QString::number(index));
        }
        QVERIFY_THROWS_EXCEPTION(SubscriptOutOfRange, list.Path(index));
    }
    // A link found to lead to a folder is marked as one: Path then follows it.
    QCOMPARE(list.Path(0), u"/home/me/up"_qs);
    list.setIsFolder(0, true);
    QCOMPARE(list.Path(0), u"/home/x/"_qs);
}

QTEST_APPLESS_MAIN(ListingTest)
#include "ListingTest.moc"
