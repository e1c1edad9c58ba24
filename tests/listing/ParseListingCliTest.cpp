// The korvan program's parse-listing command, run as a user runs it: samples and
// odd input on standard input, JSON lines out.
#include "fixtures/KorvanProgram.h"

#include <QDate>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

namespace {

const QStringList kKeys = {u"FileName"_qs, u"FileSize"_qs, u"FileAttr"_qs, u"FileLink"_qs,
                           u"FileDate"_qs, u"bFolder"_qs,  u"IsLink"_qs,   u"Path"_qs};

QString sample(const char *name)
{
    return qEnvironmentVariable("KORVAN_SOURCE_DIR") + u"/app/samples/"_qs + QString::fromLatin1(name);
}

QByteArray fileBytes(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QList<QByteArray> outputLines(const QByteArray &out)
{
    QList<QByteArray> lines = out.split('\n');
    if (!lines.isEmpty() && lines.last().isEmpty())
        lines.removeLast();
    return lines;
}

// Checks the line is one JSON object with exactly our keys, in our order.
QJsonObject checkedObject(const QByteArray &line)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(line, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject())
        return {};
    qsizetype at = 0;
    for (const QString &key : kKeys) {
        at = line.indexOf('"' + key.toUtf8() + "\":", at);
        if (at < 0)
            return {};
    }
    const QJsonObject object = document.object();
    return object.keys().size() == kKeys.size() ? object : QJsonObject();
}

QStringList names(const QByteArray &out)
{
    QStringList result;
    for (const QByteArray &line : outputLines(out))
        result << checkedObject(line).value(u"FileName").toString(u"<bad JSON line>"_qs);
    return result;
}

} // namespace

using namespace korvan::test;

class ParseListingCliTest : public QObject {
    Q_OBJECT
private slots:
    void samples_data();
    void samples();
    void standardInput_data();
    void standardInput();
    void usage_data();
    void usage();
};

void ParseListingCliTest::samples_data()
{
    // clang-format off
    QTest::addColumn<QString>("file");
    QTest::addColumn<QStringList>("expectedNames");
    QTest::addColumn<QByteArray>("expectedLine"); // one whole output line, byte for byte

    const QByteArray year = QByteArray::number(QDate::currentDate().year());
    QTest::newRow("unix") << sample("listing-unix.txt")
                          << QStringList{u"incoming"_qs, u"pub"_qs, u"empty.log"_qs, u"README"_qs,
                                         u"debian-12.iso"_qs, u"read me first.txt"_qs, u"bin"_qs, u"mirror"_qs,
                                         u"Grüße.txt"_qs}
                          << QByteArray(R"({"FileName":"mirror","FileSize":"8","FileAttr":"lrwxrwxrwx",)"
                                        R"("FileLink":"/var/ftp","FileDate":"6/1/)" + year +
                                        R"( 12:00 PM","bFolder":false,"IsLink":true,"Path":"/pub/mirror"})");
    QTest::newRow("dos") << sample("listing-dos.txt")
                         << QStringList{u"pub"_qs, u"incoming"_qs, u"README.TXT"_qs, u"read me first.txt"_qs,
                                        u"debian-12.iso"_qs, u"empty.log"_qs, u"Grüße.txt"_qs}
                         << QByteArray(R"({"FileName":"debian-12.iso","FileSize":"123,456,789","FileAttr":"",)"
                                       R"("FileLink":"","FileDate":"10/7/2025 11:59 PM","bFolder":false,)"
                                       R"("IsLink":false,"Path":"/pub/debian-12.iso"})");
    // clang-format on
}

void ParseListingCliTest::samples()
{
    QFETCH(QString, file);
    QFETCH(QStringList, expectedNames);
    QFETCH(QByteArray, expectedLine);

    const QByteArray input = fileBytes(file);
    QVERIFY2(!input.isEmpty(), qPrintable(file));
    QVERIFY2(!input.contains('\r'), "samples are plain LF text files");
    const KorvanRun result = runKorvan({u"parse-listing"_qs, u"--folder"_qs, u"/pub/"_qs}, input);
    QCOMPARE(result.exitCode, 0);
    QCOMPARE(result.err, QByteArray());
    QCOMPARE(names(result.out), expectedNames);
    QVERIFY2(outputLines(result.out).contains(expectedLine), result.out.constData());
}

void ParseListingCliTest::standardInput_data()
{
    // clang-format off
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QByteArray>("input");
    QTest::addColumn<QStringList>("expectedNames");
    QTest::addColumn<QString>("expectedLastPath");

    const QStringList plain{u"parse-listing"_qs};
    QTest::newRow("utf-8 input") << plain << QByteArray("01-15-03 10:20AM 5 Gr\xc3\xbc\xc3\x9f" "e.txt\n")
                                 << QStringList{u"Grüße.txt"_qs} << u"/Grüße.txt"_qs;
    QTest::newRow("invalid utf-8 is read as latin-1")
        << plain << QByteArray("01-15-03 10:20AM 5 Gr\xfc\xdf" "e.txt\n") << QStringList{u"Grüße.txt"_qs}
        << u"/Grüße.txt"_qs;
    QTest::newRow("LF line ends become CR LF")
        << plain << QByteArray("01-15-03 10:20AM 5 a\n01-15-03 10:20AM <DIR> b\n") << QStringList{u"a"_qs, u"b"_qs}
        << u"/b/"_qs;
    QTest::newRow("CR LF line ends stay")
        << plain << QByteArray("01-15-03 10:20AM 5 a\r\n01-15-03 10:20AM 6 b\r\n") << QStringList{u"a"_qs, u"b"_qs}
        << u"/b"_qs;
    QTest::newRow("last line without line end") << plain << QByteArray("total 1\n01-15-03 10:20AM 5 z")
                                                << QStringList{u"z"_qs} << u"/z"_qs;
    QTest::newRow("folder option") << QStringList{u"parse-listing"_qs, u"--folder"_qs, u"/home/me/"_qs}
                                   << QByteArray("lrwxrwxrwx 1 o g 4 Jan 15 2003 up -> ../x\n")
                                   << QStringList{u"up"_qs} << u"/home/me/up"_qs;
    QTest::newRow("folder option with =") << QStringList{u"parse-listing"_qs, u"--folder=/srv/"_qs}
                                          << QByteArray("drwxr-xr-x 2 o g 4096 Jan 15 10:20 pub\n")
                                          << QStringList{u"pub"_qs} << u"/srv/pub/"_qs;
    QTest::newRow("quotes, backslashes and control characters are escaped")
        << plain << QByteArray("01-15-03 10:20AM 5 a\"b\\c\x01\td\n") << QStringList{u"a\"b\\c\x01\td"_qs}
        << u"/a\"b\\c\x01\td"_qs;
    QTest::newRow("empty input") << plain << QByteArray() << QStringList{} << QString();
    // clang-format on
}

void ParseListingCliTest::standardInput()
{
    QFETCH(QStringList, arguments);
    QFETCH(QByteArray, input);
    QFETCH(QStringList, expectedNames);
    QFETCH(QString, expectedLastPath);

    const KorvanRun result = runKorvan(arguments, input);
    QCOMPARE(result.exitCode, 0);
    QCOMPARE(names(result.out), expectedNames);
    const QList<QByteArray> lines = outputLines(result.out);
    QCOMPARE(lines.isEmpty() ? QString() : checkedObject(lines.last()).value(u"Path").toString(), expectedLastPath);
}

void ParseListingCliTest::usage_data()
{
    // clang-format off
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QByteArray>("expectedOut"); // a text stdout must contain
    QTest::addColumn<QByteArray>("expectedErr"); // the start of stderr's one line

    QTest::newRow("help") << QStringList{u"--help"_qs} << 0 << QByteArray("korvan parse-listing --folder")
                          << QByteArray();
    QTest::newRow("command help") << QStringList{u"parse-listing"_qs, u"--help"_qs} << 0
                                  << QByteArray("bare LF") << QByteArray();
    QTest::newRow("unknown command") << QStringList{u"frobnicate"_qs} << 2 << QByteArray()
                                     << QByteArray("korvan: unknown command 'frobnicate'");
    QTest::newRow("unknown option") << QStringList{u"parse-listing"_qs, u"--bogus"_qs} << 2 << QByteArray()
                                    << QByteArray("korvan parse-listing: unexpected argument '--bogus'");
    QTest::newRow("folder without its value") << QStringList{u"parse-listing"_qs, u"--folder"_qs} << 2
                                              << QByteArray() << QByteArray("korvan parse-listing: unexpected");
    // clang-format on
}

void ParseListingCliTest::usage()
{
    QFETCH(QStringList, arguments);
    QFETCH(int, exitCode);
    QFETCH(QByteArray, expectedOut);
    QFETCH(QByteArray, expectedErr);

    const KorvanRun result = runKorvan(arguments, "01-15-03 10:20AM 5 a\n");
    QCOMPARE(result.exitCode, exitCode);
    QVERIFY2(result.out.contains(expectedOut), result.out.constData());
    if (expectedErr.isEmpty()) {
        QCOMPARE(result.err, QByteArray());
    } else {
        QVERIFY2(result.err.startsWith(expectedErr), result.err.constData());
        QCOMPARE(result.err.count('\n'), 1);
        QVERIFY(result.out.isEmpty());
    }
}

QTEST_GUILESS_MAIN(ParseListingCliTest)
#include "ParseListingCliTest.moc"
