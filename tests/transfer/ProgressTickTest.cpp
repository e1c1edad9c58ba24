// The transfer dialog's tick arithmetic and the engines' texts: duration and size
// formats, the bitwise AND rule, path shortening, transfer list lines. The per-file
// messages are checked where the engines log them (FaultMatrixTest).

#include "transfer/ProgressTick.h"
#include "transfer/TransferText.h"

#include <QTest>

using namespace korvan;

class ProgressTickTest : public QObject {
    Q_OBJECT
private slots:
    void duration_data();
    void duration();
    void grouped_data();
    void grouped();
    void tick_data();
    void tick();
    void shortenPath_data();
    void shortenPath();
    void transferList_data();
    void transferList();
};

void ProgressTickTest::duration_data()
{
    // clang-format off
    QTest::addColumn<double>("seconds");
    QTest::addColumn<QString>("text");
    QTest::newRow("zero") << 0.0 << "00:00:00";
    QTest::newRow("3725 s") << 3725.0 << "01:02:05";
    QTest::newRow("59.6 rounds up to a minute") << 59.6 << "00:01:00";
    QTest::newRow("half to even: 2.5") << 2.5 << "00:00:02";
    QTest::newRow("last second of a day") << 86399.0 << "23:59:59";
    QTest::newRow("beyond a day is no time of day") << 90061.0 << "25:1:1";
    // clang-format on
}

void ProgressTickTest::duration()
{
    QFETCH(double, seconds);
    QFETCH(QString, text);
    QCOMPARE(FormatDuration(seconds), text);
}

void ProgressTickTest::grouped_data()
{
    // clang-format off
    QTest::addColumn<double>("value");
    QTest::addColumn<int>("decimals");
    QTest::addColumn<QString>("text");
    QTest::newRow("zero") << 0.0 << 0 << "0";
    QTest::newRow("one group") << 1000.0 << 0 << "1,000";
    QTest::newRow("millions") << 1234567.0 << 0 << "1,234,567";
    QTest::newRow("half away from zero") << 2.5 << 0 << "3";
    QTest::newRow("one decimal") << 1234.56 << 1 << "1,234.6";
    QTest::newRow("one decimal, small") << 0.04 << 1 << "0.0";
    // clang-format on
}

void ProgressTickTest::grouped()
{
    QFETCH(double, value);
    QFETCH(int, decimals);
    QFETCH(QString, text);
    QCOMPARE(FormatGrouped(value, decimals), text);
}

void ProgressTickTest::tick_data()
{
    // clang-format off
    QTest::addColumn<double>("value1");
    QTest::addColumn<double>("max1");
    QTest::addColumn<double>("value2");
    QTest::addColumn<double>("max2");
    QTest::addColumn<double>("elapsed");
    QTest::addColumn<bool>("shown");
    QTest::addColumn<QString>("caption");
    QTest::addColumn<QString>("size");
    QTest::addColumn<QString>("speed");

    // Maxima 2 and 1: each is non-zero, but their bitwise AND is 0.
    QTest::newRow("AND rule: 2 and 1 show nothing") << 1.0 << 2.0 << 1.0 << 1.0 << 5.0 << false << "" << "" << "";
    QTest::newRow("AND rule: zero maximum") << 0.0 << 0.0 << 10.0 << 100.0 << 5.0 << false << "" << "" << "";
    QTest::newRow("maxima 1 and 1 at the end: 100 %")
        << 1.0 << 1.0 << 1.0 << 1.0 << 1.0 << true << "100 % Downloading..." << "0/0 KBytes"
        << "0.0 KBytes/second  00:00:01 elasped  00:00:00 remaining";
    QTest::newRow("nothing moved: speed 0, remaining 00:00:00")
        << 0.0 << 3072.0 << 0.0 << 3072.0 << 2.0 << true << "0 % Downloading..." << "0/3 KBytes"
        << "0.0 KBytes/second  00:00:02 elasped  00:00:00 remaining";
    QTest::newRow("half way after 3725 s")
        << 1048576.0 << 2097152.0 << 1048576.0 << 2097152.0 << 3725.0 << true << "50 % Downloading..."
        << "1,024/2,048 KBytes"
        << "0.3 KBytes/second  01:02:05 elasped  01:02:05 remaining";
    QTest::newRow("a quarter, 1 KiB per second")
        << 2048.0 << 4096.0 << 1024.0 << 4096.0 << 1.0 << true << "25 % Downloading..." << "2/4 KBytes"
        << "1.0 KBytes/second  00:00:01 elasped  00:00:03 remaining";
    QTest::newRow("large amounts grouped")
        << 1572864000.0 << 3145728001.0 << 1572864000.0 << 3145728001.0 << 10.0 << true << "50 % Downloading..."
        << "1,536,000/3,072,000 KBytes" << "153,600.0 KBytes/second  00:00:10 elasped  00:00:10 remaining";
    // clang-format on
}

void ProgressTickTest::tick()
{
    QFETCH(double, value1);
    QFETCH(double, max1);
    QFETCH(double, value2);
    QFETCH(double, max2);
    QFETCH(double, elapsed);
    QFETCH(bool, shown);
    const std::optional<ProgressTexts> texts = ComputeProgressTick(
        {value1, max1, value2, max2, elapsed, QStringLiteral("Downloading...")});
    QCOMPARE(texts.has_value(), shown);
    if (!shown)
        return;
    QTEST(texts->windowCaption, "caption");
    QTEST(texts->sizeText, "size");
    QTEST(texts->speedText, "speed");
}

void ProgressTickTest::shortenPath_data()
{
    // clang-format off
    QTest::addColumn<QString>("path");
    QTest::addColumn<int>("maxChars");
    QTest::addColumn<QString>("shortened");
    QTest::newRow("fits") << "/home/me/file.txt" << 40 << "/home/me/file.txt";
    QTest::newRow("cut in the middle") << "/home/me/projects/deep/nested/file.txt" << 30
                                       << "/home/me/.../nested/file.txt";
    QTest::newRow("first and last only") << "/home/aaaaaaaaaa/bbbbbbbbbb/file.txt" << 20 << "/home/.../file.txt";
    QTest::newRow("too long even so: whole ends kept") << "/verylongfirst/middle/verylongname.txt" << 10
                                                       << "/verylongfirst/.../verylongname.txt";
    QTest::newRow("single component is not cut") << "averyveryverylongfilename.txt" << 10
                                                  << "averyveryverylongfilename.txt";
    QTest::newRow("backslashes count as boundaries") << "c:\\users\\me\\documents\\work\\a.txt" << 22
                                                     << "c:\\users\\me\\...\\a.txt";
    QTest::newRow("names of dots, empty last name") << "....\\...\\\\" << 8 << "....\\...\\";
    QTest::newRow("site address and remote path") << "127.0.0.1/pub/x/y/z/file.bin" << 24
                                                  << "127.0.0.1/.../z/file.bin";
    // clang-format on
}

void ProgressTickTest::shortenPath()
{
    QFETCH(QString, path);
    QFETCH(int, maxChars);
    QTEST(ShortenPath(path, maxChars), "shortened");
}

void ProgressTickTest::transferList_data()
{
    // clang-format off
    QTest::addColumn<QStringList>("lines");
    QTest::addColumn<QStringList>("paths");
    QTest::addColumn<QList<double>>("sizes");
    QTest::newRow("grouped sizes") << QStringList{"a/b.txt?1,234", "c.bin?1,048,576"}
                                   << QStringList{"a/b.txt", "c.bin"} << QList<double>{1234, 1048576};
    QTest::newRow("plain sizes, empty lines skipped") << QStringList{"", "x?0", "", "y?42"}
                                                      << QStringList{"x", "y"} << QList<double>{0, 42};
    QTest::newRow("a size word that is no number counts 0") << QStringList{"odd?<DIR>", "f?"}
                                                            << QStringList{"odd", "f"} << QList<double>{0, 0};
    QTest::newRow("only the first ? splits") << QStringList{"what?.txt?7"} << QStringList{"what"}
                                             << QList<double>{0};
    QTest::newRow("blanks in names") << QStringList{"my folder/a b.txt?10"} << QStringList{"my folder/a b.txt"}
                                     << QList<double>{10};
    // Found by fuzz_transfer_text: a 36-digit size overflowed the conversion to 64 bits.
    QTest::newRow("a size past 64 bits is held") << QStringList{"c3?466666666666666666666666666666666666"}
                                                 << QStringList{"c3"} << QList<double>{9e18};
    // clang-format on
}

void ProgressTickTest::transferList()
{
    QFETCH(QStringList, lines);
    QFETCH(QStringList, paths);
    QFETCH(QList<double>, sizes);
    const QList<TransferItem> items = ParseTransferLines(lines);
    QStringList gotPaths;
    QList<double> gotSizes;
    for (const TransferItem &item : items) {
        gotPaths << item.path;
        gotSizes << item.size;
    }
    QCOMPARE(gotPaths, paths);
    QCOMPARE(gotSizes, sizes);
}

QTEST_GUILESS_MAIN(ProgressTickTest)
#include "ProgressTickTest.moc"
