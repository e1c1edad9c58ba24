// The transfer dialog's tick arithmetic and the engines' texts.

#include "transfer/ProgressTick.h"
#include "transfer/TransferText.h"

#include <QTest>

#include <functional>

using namespace korvan;

namespace {

// "path|size" of each parsed line of `text`, ';' between them.
QString parsedLines(const QString &text)
{
    QStringList items;
    for (const TransferItem &item : ParseTransferLines(text.split(u'\n')))
        items << item.path + u'|' + QString::number(item.size);
    return items.join(u';');
}

// Each text rule, fed the row's input and number.
const QMap<QString, std::function<QString(const QString &, int)>> kRules{
    {"duration", [](const QString &input, int) { return FormatDuration(input.toDouble()); }},
    {"grouped", [](const QString &input, int decimals) { return FormatGrouped(input.toDouble(), decimals); }},
    {"shorten", [](const QString &input, int maxChars) { return ShortenPath(input, maxChars); }},
    {"lines", [](const QString &input, int) { return parsedLines(input); }},
};

} // namespace

class ProgressTickTest : public QObject {
    Q_OBJECT
private slots:
    void text_data();
    void text();
    void tick_data();
    void tick();
};

void ProgressTickTest::text_data()
{
    QTest::addColumn<QString>("rule");
    QTest::addColumn<QString>("input");
    QTest::addColumn<int>("number");
    QTest::addColumn<QString>("expected");
    // clang-format off
    QTest::newRow("duration: 3725 s") << "duration" << "3725" << 0 << "01:02:05";
    QTest::newRow("duration: 59.6 rounds up to a minute") << "duration" << "59.6" << 0 << "00:01:00";
    QTest::newRow("duration: half to even, 2.5") << "duration" << "2.5" << 0 << "00:00:02";
    QTest::newRow("duration: last second of a day") << "duration" << "86399" << 0 << "23:59:59";
    QTest::newRow("duration: beyond a day is no time of day") << "duration" << "90061" << 0 << "25:1:1";
    QTest::newRow("grouped: millions") << "grouped" << "1234567" << 0 << "1,234,567";
    QTest::newRow("grouped: half away from zero") << "grouped" << "2.5" << 0 << "3";
    QTest::newRow("grouped: one decimal") << "grouped" << "1234.56" << 1 << "1,234.6";
    QTest::newRow("shorten: in the middle") << "shorten" << "/home/me/projects/deep/nested/file.txt" << 30
        << "/home/me/.../nested/file.txt";
    QTest::newRow("shorten: first and last only") << "shorten" << "/home/aaaaaaaaaa/bbbbbbbbbb/file.txt" << 20
        << "/home/.../file.txt";
    QTest::newRow("shorten: too long even so") << "shorten" << "/verylongfirst/middle/verylongname.txt" << 10
        << "/verylongfirst/.../verylongname.txt";
    QTest::newRow("shorten: one component is not cut") << "shorten" << "averyveryverylongfilename.txt" << 10
        << "averyveryverylongfilename.txt";
    QTest::newRow("shorten: backslashes are boundaries") << "shorten" << "c:\\users\\me\\documents\\work\\a.txt"
        << 22 << "c:\\users\\me\\...\\a.txt";
    QTest::newRow("shorten: names of dots, empty last name") << "shorten" << "....\\...\\\\" << 8 << "....\\...\\";
    QTest::newRow("lines: grouped sizes") << "lines" << "a/b.txt?1,234\nc.bin?1,048,576" << 0
        << "a/b.txt|1234;c.bin|1048576";
    QTest::newRow("lines: empty lines skipped") << "lines" << "\nx?0\n\ny?42" << 0 << "x|0;y|42";
    QTest::newRow("lines: a size that is no number counts 0") << "lines" << "odd?<DIR>\nf?" << 0 << "odd|0;f|0";
    QTest::newRow("lines: only the first ? splits") << "lines" << "what?.txt?7" << 0 << "what|0";
    // Found by fuzzing: a 36-digit size overflowed the conversion to 64 bits.
    QTest::newRow("lines: a size past 64 bits is held") << "lines" << "c3?466666666666666666666666666666666666"
        << 0 << "c3|9000000000000000000";
    // clang-format on
}

void ProgressTickTest::text()
{
    QFETCH(QString, rule);
    QFETCH(QString, input);
    QFETCH(int, number);
    QTEST(kRules.value(rule)(input, number), "expected");
}

void ProgressTickTest::tick_data()
{
    QTest::addColumn<QList<double>>("bars"); // value and maximum of each, elapsed seconds
    QTest::addColumn<QString>("texts");      // caption | size | speed; empty: nothing shown
    // clang-format off
    // Maxima 2 and 1: each is non-zero, but their bitwise AND is 0.
    QTest::newRow("AND rule: 2 and 1 show nothing") << QList<double>{1, 2, 1, 1, 5} << "";
    QTest::newRow("AND rule: zero maximum") << QList<double>{0, 0, 10, 100, 5} << "";
    QTest::newRow("maxima 1 and 1 at the end: 100 %") << QList<double>{1, 1, 1, 1, 1}
        << "100 % Downloading...|0/0 KBytes|0.0 KBytes/second  00:00:01 elasped  00:00:00 remaining";
    QTest::newRow("nothing moved: remaining 00:00:00") << QList<double>{0, 3072, 0, 3072, 2}
        << "0 % Downloading...|0/3 KBytes|0.0 KBytes/second  00:00:02 elasped  00:00:00 remaining";
    QTest::newRow("a quarter, 1 KiB per second") << QList<double>{2048, 4096, 1024, 4096, 1}
        << "25 % Downloading...|2/4 KBytes|1.0 KBytes/second  00:00:01 elasped  00:00:03 remaining";
    QTest::newRow("large amounts grouped") << QList<double>{1572864000, 3145728001, 1572864000, 3145728001, 10}
        << "50 % Downloading...|1,536,000/3,072,000 KBytes|"
           "153,600.0 KBytes/second  00:00:10 elasped  00:00:10 remaining";
    // clang-format on
}

void ProgressTickTest::tick()
{
    QFETCH(QList<double>, bars);
    const std::optional<ProgressTexts> texts = ComputeProgressTick(
        {bars[0], bars[1], bars[2], bars[3], bars[4], QStringLiteral("Downloading...")});
    QTEST(texts ? texts->windowCaption + '|' + texts->sizeText + '|' + texts->speedText : QString(), "texts");
}

QTEST_APPLESS_MAIN(ProgressTickTest)
#include "ProgressTickTest.moc"
