// The LIST parser: style detection, columns, names, links and the entry table,
// read with a fixed current year.
#include "listing/ListingParser.h"

#include <QTest>

using korvan::ListingParseState;
using korvan::ListingStyle;
using korvan::ParseListing;
using korvan::TFILE;

Q_DECLARE_METATYPE(ListingStyle)

namespace {

constexpr int kYear = 2026;

QString crlf(const QStringList &lines)
{
    return lines.join(u"\r\n");
}

// name|size|attr|link|date|d or f
QString describe(const TFILE &entry)
{
    return QStringList{entry.FileName, entry.FileSize, entry.FileAttr,
                       entry.FileLink, entry.FileDate, entry.bFolder ? u"d"_qs : u"f"_qs}
        .join(u'|');
}

} // namespace

class ListingParserTest : public QObject {
    Q_OBJECT
private slots:
    void entries_data();
    void entries();
    void tableHasOneSlotPerLine_data();
    void tableHasOneSlotPerLine();
    void styleIsDetectedAgainOnTheNextListing();
};

void ListingParserTest::entries_data()
{
    // clang-format off
    QTest::addColumn<QString>("listing");
    QTest::addColumn<QStringList>("expected");
    QTest::addColumn<ListingStyle>("style");

    const QString unixDir = u"drwxr-xr-x 2 owner group 4096 Jan 15 10:20 pub"_qs;
    const QString unixFile = u"-rw-r--r-- 1 owner group 1234 Jan 15 2003 README"_qs;

    QTest::newRow("short lines are dropped")
        << crlf({u"total 12"_qs, u"a b c"_qs}) << QStringList{} << ListingStyle::Unknown;
    QTest::newRow("unix with group column")
        << unixDir << QStringList{u"pub||drwxr-xr-x||1/15/2026 10:20 AM|d"_qs} << ListingStyle::UnixWithGroup;
    QTest::newRow("unix without group column, name with a blank")
        << u"-rw-r--r-- 1 owner 1234 Jan 15 2003 read me.txt"_qs
        << QStringList{u"read me.txt|1,234|-rw-r--r--||1/15/2003 12:00 AM|f"_qs} << ListingStyle::UnixWithoutGroup;
    QTest::newRow("ls -l alignment blanks collapse")
        << u"-rw-r--r--   1 ftp      ftp     123456789 Oct  7 23:59 debian.iso"_qs
        << QStringList{u"debian.iso|123,456,789|-rw-r--r--||10/7/2026 11:59 PM|f"_qs} << ListingStyle::UnixWithGroup;
    QTest::newRow("zero-byte file")
        << u"-rw-r--r-- 1 o g 0 Feb 29 2024 empty"_qs
        << QStringList{u"empty|0|-rw-r--r--||2/29/2024 12:00 AM|f"_qs} << ListingStyle::UnixWithGroup;
    QTest::newRow("link to a relative target")
        << u"lrwxrwxrwx 1 root root 7 Jan 15 2003 bin -> usr/bin"_qs
        << QStringList{u"bin|7|lrwxrwxrwx|usr/bin|1/15/2003 12:00 AM|f"_qs} << ListingStyle::UnixWithGroup;
    QTest::newRow("link with blanks on both sides")
        << u"lrwxrwxrwx 1 root root 7 Jan 15 2003 my docs -> /srv/my  docs"_qs
        << QStringList{u"my docs|7|lrwxrwxrwx|/srv/my docs|1/15/2003 12:00 AM|f"_qs} << ListingStyle::UnixWithGroup;
    QTest::newRow("only the first two pieces of a link are kept")
        << u"lrwxrwxrwx 1 root root 7 Jan 15 2003 a -> b -> c"_qs
        << QStringList{u"a|7|lrwxrwxrwx|b|1/15/2003 12:00 AM|f"_qs} << ListingStyle::UnixWithGroup;
    QTest::newRow("arrow without blanks is part of the name")
        << u"-rw-r--r-- 1 o g 5 Jan 15 2003 a->b"_qs
        << QStringList{u"a->b|5|-rw-r--r--||1/15/2003 12:00 AM|f"_qs} << ListingStyle::UnixWithGroup;
    QTest::newRow("dos folder, blanks collapse to four words")
        << u"01-15-03  10:20AM       <DIR>          pub"_qs
        << QStringList{u"pub||||1/15/2003 10:20 AM|d"_qs} << ListingStyle::Dos;
    QTest::newRow("dos file, two blanks in the name become one")
        << u"01-15-03  10:20AM   1234 a  b.txt"_qs
        << QStringList{u"a b.txt|1,234|||1/15/2003 10:20 AM|f"_qs} << ListingStyle::Dos;
    QTest::newRow("dos keeps an arrow in the name")
        << u"01-15-03 10:20PM 5 a -> b"_qs
        << QStringList{u"a -> b|5|||1/15/2003 10:20 PM|f"_qs} << ListingStyle::Dos;
    QTest::newRow("dos dir word is case-sensitive")
        << u"01-15-03 10:20AM <dir> x"_qs
        << QStringList{u"x|<dir>|||1/15/2003 10:20 AM|f"_qs} << ListingStyle::Dos;
    QTest::newRow("dos size word beginning with d makes a folder")
        << u"01-15-03 10:20AM dummy x"_qs
        << QStringList{u"x||||1/15/2003 10:20 AM|d"_qs} << ListingStyle::Dos;
    QTest::newRow("dos size that is no number is kept")
        << u"01-15-03 10:20AM 12ab x"_qs
        << QStringList{u"x|12ab|||1/15/2003 10:20 AM|f"_qs} << ListingStyle::Dos;
    QTest::newRow("unix dot names are dropped")
        << crlf({u"drwxr-xr-x 2 o g 4096 Jan 15 10:20 ."_qs, u"drwxr-xr-x 2 o g 4096 Jan 15 10:20 .."_qs,
                 u"-rw------- 1 o g 220 Jan 15 2003 .profile"_qs, unixFile, u"-rw-r--r-- 1 o g 9 Jan 15 2003 .x y"_qs})
        << QStringList{u"README|1,234|-rw-r--r--||1/15/2003 12:00 AM|f"_qs} << ListingStyle::UnixWithGroup;
    QTest::newRow("dos dot names are dropped")
        << crlf({u"01-15-03 10:20AM <DIR> ."_qs, u"01-15-03 10:20AM <DIR> .."_qs, u"01-15-03 10:20AM 3 .hidden"_qs,
                 u"01-15-03 10:20AM 3 x.y"_qs})
        << QStringList{u"x.y|3|||1/15/2003 10:20 AM|f"_qs} << ListingStyle::Dos;
    QTest::newRow("a dropped dot-name line does not fix the style")
        << crlf({u"drwxr-xr-x 2 o g 4096 Jan 15 10:20 ."_qs, u"-rw-r--r-- 1 o 5 Jan 15 2003 x"_qs})
        << QStringList{u"x|5|-rw-r--r--||1/15/2003 12:00 AM|f"_qs} << ListingStyle::UnixWithoutGroup;
    QTest::newRow("lf-only listing is one line")
        << u"drwxr-xr-x 2 o g 4096 Jan 15 10:20 pub\n-rw-r--r-- 1 o g 5 Jan 15 2003 f\n"_qs
        << QStringList{u"pub\n-rw-r--r-- 1 o g 5 Jan 15 2003 f\n||drwxr-xr-x||1/15/2026 10:20 AM|d"_qs}
        << ListingStyle::UnixWithGroup;
    QTest::newRow("bare CR is no line end")
        << u"01-15-03 10:20AM 5 a\rb"_qs << QStringList{u"a\rb|5|||1/15/2003 10:20 AM|f"_qs} << ListingStyle::Dos;
    QTest::newRow("unix line of seven words is not recognised")
        << crlf({u"drwxr-xr-x 2 o Jan 15 10:20 short"_qs, u"drwxr-xr-x o Jan 15 10:20 x y"_qs, unixDir})
        << QStringList{u"pub||drwxr-xr-x||1/15/2026 10:20 AM|d"_qs} << ListingStyle::UnixWithGroup;
    QTest::newRow("banners before the first entry are skipped")
        << crlf({u"Welcome to the archive"_qs, u"total 4"_qs, u""_qs, unixFile})
        << QStringList{u"README|1,234|-rw-r--r--||1/15/2003 12:00 AM|f"_qs} << ListingStyle::UnixWithGroup;
    QTest::newRow("line starting with a blank shifts its words")
        << (u' ' + unixDir) << QStringList{} << ListingStyle::Unknown;
    QTest::newRow("impossible date is no date")
        << u"-rw-r--r-- 1 o g 5 Feb 30 2003 x"_qs << QStringList{} << ListingStyle::Unknown;
    QTest::newRow("dos style is kept for a later unix line")
        << crlf({u"01-15-03 10:20AM 5 a"_qs, unixDir})
        << QStringList{u"a|5|||1/15/2003 10:20 AM|f"_qs, u"group 4096 Jan 15 10:20 pub|owner|||drwxr-xr-x 2|f"_qs}
        << ListingStyle::Dos;
    QTest::newRow("unix columns are kept for a line without group")
        << crlf({unixFile, u"-rw-r--r-- 1 owner 77 Jan 15 2003 two words"_qs})
        << QStringList{u"README|1,234|-rw-r--r--||1/15/2003 12:00 AM|f"_qs,
                       u"words|Jan|-rw-r--r--||15 2003 two|f"_qs}
        << ListingStyle::UnixWithGroup;
    QTest::newRow("short line after the style is fixed has empty columns")
        << crlf({unixFile, u"-rw-r--r-- 1 o g"_qs, u"-rw-r--r-- 1 o g 9 Jan"_qs})
        << QStringList{u"README|1,234|-rw-r--r--||1/15/2003 12:00 AM|f"_qs, u"||-rw-r--r--|||f"_qs,
                       u"|9|-rw-r--r--||Jan|f"_qs}
        << ListingStyle::UnixWithGroup;
    QTest::newRow("tab is no blank")
        << u"01-15-03 10:20AM 5 a\t\tb"_qs << QStringList{u"a\t\tb|5|||1/15/2003 10:20 AM|f"_qs} << ListingStyle::Dos;
    QTest::newRow("three blanks in a name become one")
        << u"-rw-r--r-- 1 o g 5 Jan 15 2003 a   b"_qs << QStringList{u"a b|5|-rw-r--r--||1/15/2003 12:00 AM|f"_qs}
        << ListingStyle::UnixWithGroup;
    QTest::newRow("unicode names pass through")
        << crlf({u"-rw-r--r-- 1 o g 2048 Dec 24 2025 Grüße 日本.txt"_qs, u"drwxr-xr-x 2 o g 6 Mar 1 08:00 Ωmega"_qs})
        << QStringList{u"Grüße 日本.txt|2,048|-rw-r--r--||12/24/2025 12:00 AM|f"_qs,
                       u"Ωmega||drwxr-xr-x||3/1/2026 8:00 AM|d"_qs}
        << ListingStyle::UnixWithGroup;
    QTest::newRow("characters beyond the BMP pass through")
        << u"01-15-03 10:20AM 7 🎵 song 𝄞.mp3"_qs << QStringList{u"🎵 song 𝄞.mp3|7|||1/15/2003 10:20 AM|f"_qs}
        << ListingStyle::Dos;
    QTest::newRow("many entries keep their order")
        << crlf({u"01-15-03 10:20AM <DIR> b"_qs, u"01-16-03 10:20AM 1 a"_qs, u"01-17-03 11:20PM 22 c"_qs})
        << QStringList{u"b||||1/15/2003 10:20 AM|d"_qs, u"a|1|||1/16/2003 10:20 AM|f"_qs,
                       u"c|22|||1/17/2003 11:20 PM|f"_qs}
        << ListingStyle::Dos;
    // clang-format on
}

void ListingParserTest::entries()
{
    QFETCH(QString, listing);
    QFETCH(QStringList, expected);
    QFETCH(ListingStyle, style);

    ListingParseState state;
    QVector<TFILE> table;
    const qint32 count = ParseListing(listing, kYear, state, table);

    QStringList got;
    for (qint32 i = 0; i < count; ++i)
        got << describe(table[i]);
    QCOMPARE(got, expected);
    QCOMPARE(state.style, style);
    QCOMPARE(state.hasAttributes, style == ListingStyle::UnixWithGroup || style == ListingStyle::UnixWithoutGroup);
    for (qsizetype i = count; i < table.size(); ++i)
        QCOMPARE(describe(table[i]), u"|||||f"_qs);
}

void ListingParserTest::tableHasOneSlotPerLine_data()
{
    // clang-format off
    QTest::addColumn<QString>("listing");
    QTest::addColumn<int>("slotCount");
    QTest::addColumn<int>("count");

    QTest::newRow("empty text has no lines") << "" << 0 << 0;
    QTest::newRow("one line without end") << "total 0" << 1 << 0;
    QTest::newRow("final CR LF makes an empty last line") << "01-15-03 10:20AM 5 a\r\n" << 2 << 1;
    QTest::newRow("empty lines count") << "\r\n\r\n01-15-03 10:20AM 5 a\r\n\r\n" << 5 << 1;
    QTest::newRow("LF only") << "a\nb\nc\n" << 1 << 0;
    QTest::newRow("CR LF split only once for CR CR LF") << "a\r\r\nb" << 2 << 0;
    // clang-format on
}

void ListingParserTest::tableHasOneSlotPerLine()
{
    QFETCH(QString, listing);
    QFETCH(int, slotCount);
    QFETCH(int, count);

    ListingParseState state;
    QVector<TFILE> table(7);
    table[6].FileName = u"left over"_qs;
    QCOMPARE(ParseListing(listing, kYear, state, table), count);
    QCOMPARE(table.size(), slotCount);
    for (qsizetype i = count; i < table.size(); ++i)
        QVERIFY(table[i].FileName.isEmpty());
}

void ListingParserTest::styleIsDetectedAgainOnTheNextListing()
{
    ListingParseState state;
    QVector<TFILE> table;
    QCOMPARE(ParseListing(u"01-15-03 10:20AM 5 a"_qs, kYear, state, table), 1);
    QCOMPARE(state.style, ListingStyle::Dos);

    QCOMPARE(ParseListing(u"-rw-r--r-- 1 o 5 Jan 15 2003 b"_qs, kYear, state, table), 1);
    QCOMPARE(state.style, ListingStyle::UnixWithoutGroup);
    QVERIFY(state.hasAttributes);
    QCOMPARE(table[0].FileName, u"b"_qs);

    QCOMPARE(ParseListing(u"no entry in here"_qs, kYear, state, table), 0);
    QCOMPARE(state.style, ListingStyle::Unknown);
}

QTEST_APPLESS_MAIN(ListingParserTest)
#include "ListingParserTest.moc"
