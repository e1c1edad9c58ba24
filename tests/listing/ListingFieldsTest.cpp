// Dates and sizes as the file list shows them, independent of the machine's locale.
#include "listing/ListingDate.h"
#include "listing/ListingSize.h"

#include <QTest>

using korvan::FormatListingSize;
using korvan::RecognizeListingDate;
using korvan::ReformatListingDate;

class ListingFieldsTest : public QObject {
    Q_OBJECT
private slots:
    void dates_data();
    void dates();
    void sizes_data();
    void sizes();
};

void ListingFieldsTest::dates_data()
{
    // clang-format off
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("currentYear");
    QTest::addColumn<QString>("expected"); // empty: not a date

    // UNIX
    QTest::newRow("unix time: current year") << "Jan 15 10:20" << 2026 << "1/15/2026 10:20 AM";
    QTest::newRow("unix time follows the given year") << "Jan 15 10:20" << 2031 << "1/15/2031 10:20 AM";
    QTest::newRow("unix year: midnight") << "Jan 15 2003" << 2026 << "1/15/2003 12:00 AM";
    QTest::newRow("unix evening") << "Dec 5 23:59" << 2026 << "12/5/2026 11:59 PM";
    QTest::newRow("unix midnight") << "Dec 31 00:00" << 2026 << "12/31/2026 12:00 AM";
    QTest::newRow("unix noon") << "Jul 4 12:00" << 2026 << "7/4/2026 12:00 PM";
    QTest::newRow("unix one-digit hour") << "Jul 4 9:05" << 2026 << "7/4/2026 9:05 AM";
    QTest::newRow("month in lower case") << "sep 01 2020" << 2026 << "9/1/2020 12:00 AM";
    QTest::newRow("month in full") << "JANUARY 15 2003" << 2026 << "1/15/2003 12:00 AM";
    QTest::newRow("leap day with year") << "Feb 29 2024" << 2026 << "2/29/2024 12:00 AM";
    QTest::newRow("leap day in a leap current year") << "Feb 29 10:20" << 2024 << "2/29/2024 10:20 AM";
    QTest::newRow("leap day in a common current year") << "Feb 29 10:20" << 2026 << "";
    QTest::newRow("no leap day in 2023") << "Feb 29 2023" << 2026 << "";
    QTest::newRow("day 31 of a 30-day month") << "Apr 31 2003" << 2026 << "";
    QTest::newRow("day 0") << "Jan 0 2003" << 2026 << "";
    QTest::newRow("three-digit day") << "Jan 015 2003" << 2026 << "";
    QTest::newRow("hour 24") << "Jun 15 24:00" << 2026 << "";
    QTest::newRow("minute 60") << "Jun 15 10:60" << 2026 << "";
    QTest::newRow("one-digit minute") << "Jun 15 10:5" << 2026 << "";
    QTest::newRow("seconds") << "Jun 15 10:20:30" << 2026 << "";
    QTest::newRow("three-digit year") << "Jun 15 203" << 2026 << "";
    QTest::newRow("two-letter month") << "Ju 15 2003" << 2026 << "";
    QTest::newRow("misspelt month") << "Jann 15 2003" << 2026 << "";
    QTest::newRow("words shifted (no group column)") << "15 2003 read" << 2026 << "";
    QTest::newRow("month and day only") << "Jan 15" << 2026 << "";
    QTest::newRow("four words") << "Jan 15 10:20 x" << 2026 << "";
    QTest::newRow("double blank is an empty word") << "Jan  15 2003" << 2026 << "";
    QTest::newRow("arabic-indic digits") << u"Jan \u0661\u0665 2003"_qs << 2026 << "";

    // DOS
    QTest::newRow("dos AM") << "01-15-03 10:20AM" << 2026 << "1/15/2003 10:20 AM";
    QTest::newRow("dos PM") << "01-15-03 10:20PM" << 2026 << "1/15/2003 10:20 PM";
    QTest::newRow("dos 12AM is midnight") << "12-31-99 12:00AM" << 2026 << "12/31/1999 12:00 AM";
    QTest::newRow("dos 12PM is noon") << "01-01-00 12:00PM" << 2026 << "1/1/2000 12:00 PM";
    QTest::newRow("dos lower-case pm, one-digit fields") << "1-5-24 1:05pm" << 2026 << "1/5/2024 1:05 PM";
    QTest::newRow("dos four-digit year") << "10-07-2025 11:59PM" << 2026 << "10/7/2025 11:59 PM";
    QTest::newRow("dos slashes, 24-hour") << "01/15/2003 22:20" << 2026 << "1/15/2003 10:20 PM";
    QTest::newRow("dos 24-hour midnight") << "01-15-03 00:05" << 2026 << "1/15/2003 12:05 AM";
    QTest::newRow("dos AM as its own word") << "01-15-03 10:20 PM" << 2026 << "1/15/2003 10:20 PM";
    QTest::newRow("dos date alone") << "01-15-03" << 2026 << "1/15/2003 12:00 AM";
    QTest::newRow("pivot: 68 is 2068") << "01-15-68 10:20AM" << 2026 << "1/15/2068 10:20 AM";
    QTest::newRow("pivot: 69 is 1969") << "01-15-69 10:20AM" << 2026 << "1/15/1969 10:20 AM";
    QTest::newRow("dos leap day") << "02-29-24 12:30PM" << 2026 << "2/29/2024 12:30 PM";
    QTest::newRow("dos no leap day") << "02-29-23 12:30PM" << 2026 << "";
    QTest::newRow("day-month order is not read") << "15-01-03 10:20AM" << 2026 << "";
    QTest::newRow("mixed separators") << "01-15/03 10:20AM" << 2026 << "";
    QTest::newRow("dots are no separator") << "01.15.03 10:20AM" << 2026 << "";
    QTest::newRow("three-digit year") << "01-15-003 10:20AM" << 2026 << "";
    QTest::newRow("iso order") << "2003-01-15 10:20" << 2026 << "";
    QTest::newRow("hour 13 with PM") << "01-15-03 13:20PM" << 2026 << "";
    QTest::newRow("hour 0 with AM") << "01-15-03 0:20AM" << 2026 << "";
    QTest::newRow("AM twice") << "01-15-03 10:20AM AM" << 2026 << "";
    QTest::newRow("unknown suffix") << "01-15-03 10:20XM" << 2026 << "";
    QTest::newRow("dir word for a time") << "01-15-03 <DIR>" << 2026 << "";
    QTest::newRow("unix words") << "drwxr-xr-x 2" << 2026 << "";
    QTest::newRow("empty") << "" << 2026 << "";
    QTest::newRow("blank") << " " << 2026 << "";
    // clang-format on
}

void ListingFieldsTest::dates()
{
    QFETCH(QString, text);
    QFETCH(int, currentYear);
    QFETCH(QString, expected);

    const auto date = RecognizeListingDate(QStringView(text), currentYear);
    QCOMPARE(date.has_value(), !expected.isEmpty());
    // Text that is no date passes through unchanged.
    QCOMPARE(ReformatListingDate(text, currentYear), expected.isEmpty() ? text : expected);
}

void ListingFieldsTest::sizes_data()
{
    // clang-format off
    QTest::addColumn<QString>("word");
    QTest::addColumn<QString>("expected");

    QTest::newRow("zero") << "0" << "0";
    QTest::newRow("one digit") << "7" << "7";
    QTest::newRow("three digits") << "999" << "999";
    QTest::newRow("four digits") << "1000" << "1,000";
    QTest::newRow("1234") << "1234" << "1,234";
    QTest::newRow("six digits") << "123456" << "123,456";
    QTest::newRow("seven digits") << "1234567" << "1,234,567";
    QTest::newRow("nine digits") << "123456789" << "123,456,789";
    QTest::newRow("beyond 64 bits") << "123456789012345678901234" << "123,456,789,012,345,678,901,234";
    QTest::newRow("leading zeros") << "0001234" << "1,234";
    QTest::newRow("all zeros") << "000" << "0";
    QTest::newRow("negative") << "-1234" << "-1,234";
    QTest::newRow("negative zero") << "-0" << "0";
    QTest::newRow("plus sign") << "+5000" << "5,000";
    QTest::newRow("fraction rounds down") << "1234.4" << "1,234";
    QTest::newRow("fraction rounds up") << "12.5" << "13";
    QTest::newRow("round-up carries") << "999.5" << "1,000";
    QTest::newRow("fraction alone") << ".7" << "1";
    QTest::newRow("point without fraction") << "12." << "12";
    QTest::newRow("dir word") << "<DIR>" << "<DIR>";
    QTest::newRow("empty") << "" << "";
    QTest::newRow("grouped already") << "1,234" << "1,234";
    QTest::newRow("letters after digits") << "12ab" << "12ab";
    QTest::newRow("exponent") << "1e3" << "1e3";
    QTest::newRow("sign alone") << "-" << "-";
    QTest::newRow("point alone") << "." << ".";
    QTest::newRow("two points") << "1.2.3" << "1.2.3";
    QTest::newRow("arabic-indic digits") << u"\u0661\u0662\u0663\u0664"_qs << u"\u0661\u0662\u0663\u0664"_qs;
    // clang-format on
}

void ListingFieldsTest::sizes()
{
    QFETCH(QString, word);
    QFETCH(QString, expected);
    QCOMPARE(FormatListingSize(word), expected);
}

QTEST_APPLESS_MAIN(ListingFieldsTest)
#include "ListingFieldsTest.moc"
