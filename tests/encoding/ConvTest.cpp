// cEncode::Conv: known vectors per mode, hostile input for every decoder, and
// seeded random round trips for every encode/decode pair.
#include "encoding/Windows1252.h"
#include "korvan/cEncode.h"

#include <QTest>

#include <random>

using korvan::cEncode;
namespace windows1252 = korvan::windows1252;

namespace {

QByteArray randomBytes(std::mt19937 &random, int maxLength)
{
    std::uniform_int_distribution<int> length(0, maxLength);
    // Often pick from the bytes the encoders single out, so that runs of
    // them (CR LF, blanks before line ends, "=", "_") occur.
    static const QByteArray tricky("\r\n \t=_`?");
    std::uniform_int_distribution<int> byteValue(0, 255);
    QByteArray bytes;
    for (int n = length(random); n > 0; --n) {
        const int pick = byteValue(random);
        bytes.append(pick < 64 ? tricky.at(pick % tricky.size()) : static_cast<char>(byteValue(random)));
    }
    return bytes;
}

QList<QByteArray> linesOf(const QByteArray &text)
{
    QList<QByteArray> lines = text.split('\n');
    if (lines.size() > 1 && lines.last().isEmpty())
        lines.removeLast(); // text ending in a line break
    return lines;
}

} // namespace

class ConvTest : public QObject {
    Q_OBJECT
private slots:
    void codePage_data();
    void codePage();
    void codePageIsOneToOneOverBytes();
    void knownVectors_data();
    void knownVectors();
    void decodersReadHostileInput_data();
    void decodersReadHostileInput();
    void pairsRoundTripRandomBytes_data();
    void pairsRoundTripRandomBytes();
    void textRoundTripsThroughCodePage_data();
    void textRoundTripsThroughCodePage();
    void encodedLinesKeepTheirLimits_data();
    void encodedLinesKeepTheirLimits();
    void unknownModeLeavesTextAlone();
};

void ConvTest::codePage_data()
{
    // clang-format off
    QTest::addColumn<int>("byte");
    QTest::addColumn<int>("unicode");

    QTest::newRow("ASCII") << 0x41 << 0x41;
    QTest::newRow("NUL") << 0x00 << 0x00;
    QTest::newRow("euro") << 0x80 << 0x20AC;
    QTest::newRow("undefined 0x81 is Latin-1") << 0x81 << 0x81;
    QTest::newRow("undefined 0x9D is Latin-1") << 0x9D << 0x9D;
    QTest::newRow("S caron") << 0x8A << 0x0160;
    QTest::newRow("trade mark") << 0x99 << 0x2122;
    QTest::newRow("Y diaeresis") << 0x9F << 0x0178;
    QTest::newRow("no-break space") << 0xA0 << 0xA0;
    QTest::newRow("e acute") << 0xE9 << 0xE9;
    QTest::newRow("y diaeresis") << 0xFF << 0xFF;
    // clang-format on
}

void ConvTest::codePage()
{
    QFETCH(int, byte);
    QFETCH(int, unicode);
    QCOMPARE(windows1252::toChar(static_cast<unsigned char>(byte)).unicode(), unicode);
    QCOMPARE(int(windows1252::toByte(QChar(unicode))), byte);
}

void ConvTest::codePageIsOneToOneOverBytes()
{
    QByteArray every;
    for (int i = 0; i < 256; ++i)
        every.append(static_cast<char>(i));
    const QString text = windows1252::toUnicode(every);
    QCOMPARE(text.size(), 256);
    QCOMPARE(windows1252::fromUnicode(text), every);
    // Characters the code page lacks: the Latin-1 C1 controls it replaced, a
    // letter beyond Latin-1, and one character outside the BMP (two UTF-16 units).
    QCOMPARE(windows1252::fromUnicode(QStringLiteral("\u0080\u0100x\U0001F600")), QByteArray("??x?"));
}

void ConvTest::knownVectors_data()
{
    // clang-format off
    QTest::addColumn<int>("mode");
    QTest::addColumn<QByteArray>("plain");
    QTest::addColumn<QByteArray>("encoded");

    QTest::newRow("escape Ab") << int(cEncode::EscapeBytes) << QByteArray("Ab") << QByteArray("=41=62");
    QTest::newRow("escape every byte, leading zero")
        << int(cEncode::EscapeBytes) << QByteArray("\x00\x0f =_\xff", 6) << QByteArray("=00=0F=20=3D=5F=FF");

    // RFC 4648, section 10.
    const char *rfc4648[][2] = {{"", ""},          {"f", "Zg=="},         {"fo", "Zm8="},
                                {"foo", "Zm9v"},   {"foob", "Zm9vYg=="},  {"fooba", "Zm9vYmE="},
                                {"foobar", "Zm9vYmFy"}};
    for (const auto &vector : rfc4648) {
        QTest::addRow("base64 \"%s\"", vector[0]) << int(cEncode::Base64Encode) << QByteArray(vector[0])
                                                  << QByteArray(vector[1]);
        QTest::addRow("mime base64 \"%s\"", vector[0])
            << int(cEncode::Base64LinesEncode) << QByteArray(vector[0]) << QByteArray(vector[1]);
    }
    QTest::newRow("base64 high bytes") << int(cEncode::Base64Encode) << QByteArray("\xfb\xff", 2) << QByteArray("+/8=");
    QTest::newRow("mime base64 breaks after 76")
        << int(cEncode::Base64LinesEncode) << QByteArray(58, '\0') << QByteArray(76, 'A') + "\r\nAA==";
    QTest::newRow("mime base64 57 bytes is one line")
        << int(cEncode::Base64LinesEncode) << QByteArray(57, '\0') << QByteArray(76, 'A');

    QTest::newRow("uuencode Cat") << int(cEncode::UuEncode) << QByteArray("Cat") << QByteArray("#0V%T\r\n`\r\n");
    QTest::newRow("uuencode line with zero sextets")
        << int(cEncode::UuEncode) << QByteArray("http://www.wikipedia.org\r\n")
        << QByteArray("::'1T<#HO+W=W=RYW:6MI<&5D:6$N;W)G#0H`\r\n`\r\n");
    QTest::newRow("uuencode empty") << int(cEncode::UuEncode) << QByteArray() << QByteArray("`\r\n");
    QTest::newRow("uuencode 46 bytes take two lines")
        << int(cEncode::UuEncode) << QByteArray(46, '\0') << "M" + QByteArray(60, '`') + "\r\n!````\r\n`\r\n";

    QTest::newRow("qp equals") << int(cEncode::QuotedPrintableEncode) << QByteArray("a=b") << QByteArray("a=3Db");
    QTest::newRow("qp blank inside stays") << int(cEncode::QuotedPrintableEncode) << QByteArray("a b\tc")
                                           << QByteArray("a b\tc");
    QTest::newRow("qp blank before line break")
        << int(cEncode::QuotedPrintableEncode) << QByteArray("line \r\nnext\t") << QByteArray("line=20\r\nnext=09");
    QTest::newRow("qp lone LF and CR") << int(cEncode::QuotedPrintableEncode) << QByteArray("a\nb\rc")
                                       << QByteArray("a=0Ab=0Dc");
    QTest::newRow("qp high and control bytes")
        << int(cEncode::QuotedPrintableEncode) << QByteArray("\xe9\x01\x7f~!", 5) << QByteArray("=E9=01=7F~!");
    QTest::newRow("qp soft line break")
        << int(cEncode::QuotedPrintableEncode) << QByteArray(80, 'a') << QByteArray(75, 'a') + "=\r\naaaaa";
    QTest::newRow("qp escape not split by soft break")
        << int(cEncode::QuotedPrintableEncode) << QByteArray(73, 'a') + "=b"
        << QByteArray(73, 'a') + "=\r\n=3Db";
    // clang-format on
}

void ConvTest::knownVectors()
{
    QFETCH(int, mode);
    QFETCH(QByteArray, plain);
    QFETCH(QByteArray, encoded);
    QCOMPARE(cEncode::ConvBytes(plain, mode), encoded);
    QCOMPARE(cEncode::ConvBytes(encoded, mode + 1), plain);
}

void ConvTest::decodersReadHostileInput_data()
{
    // clang-format off
    QTest::addColumn<int>("mode");
    QTest::addColumn<QByteArray>("input");
    QTest::addColumn<QByteArray>("expected");

    const int unescape = cEncode::UnescapeBytes;
    QTest::newRow("unescape empty") << unescape << QByteArray() << QByteArray();
    QTest::newRow("unescape plain text stays") << unescape << QByteArray("abc") << QByteArray("abc");
    QTest::newRow("unescape underscore is blank") << unescape << QByteArray("a_b") << QByteArray("a b");
    QTest::newRow("unescape escaped underscore") << unescape << QByteArray("=5F") << QByteArray("_");
    QTest::newRow("unescape lower-case hex") << unescape << QByteArray("=3d=e9=41") << QByteArray("=\xe9" "A");
    QTest::newRow("unescape zero byte") << unescape << QByteArray("=00") << QByteArray(1, '\0');
    QTest::newRow("unescape 0x80 is single") << unescape << QByteArray("=80x41") << QByteArray("\x80x41");
    QTest::newRow("unescape 0x81 leads") << unescape << QByteArray("=81=41") << QByteArray("\x81" "A");
    QTest::newRow("unescape trail read past any character")
        << unescape << QByteArray("=E9x41z") << QByteArray("\xe9" "Az");
    QTest::newRow("unescape two leads") << unescape << QByteArray("=FF=FF=41") << QByteArray("\xff\xff" "A");
    QTest::newRow("unescape lead at end") << unescape << QByteArray("=E9") << QByteArray("\xe9");
    QTest::newRow("unescape lead, truncated trail") << unescape << QByteArray("=E9=4") << QByteArray("\xe9=4");
    QTest::newRow("unescape lead, bad trail") << unescape << QByteArray("=E9=G1") << QByteArray("\xe9=G1");
    QTest::newRow("unescape lone equals") << unescape << QByteArray("=") << QByteArray("=");
    QTest::newRow("unescape truncated escape") << unescape << QByteArray("ab=4") << QByteArray("ab=4");
    QTest::newRow("unescape bad digits") << unescape << QByteArray("=G1=") << QByteArray("=G1=");
    QTest::newRow("unescape underscore as digit") << unescape << QByteArray("=4_") << QByteArray("=4 ");

    const int base64 = cEncode::Base64Decode;
    QTest::newRow("base64 line breaks skipped") << base64 << QByteArray("Zm9v\r\nYmFy") << QByteArray("foobar");
    QTest::newRow("base64 junk skipped") << base64 << QByteArray("Zm9v!*\xe9 YmFy") << QByteArray("foobar");
    QTest::newRow("base64 padding ends data") << base64 << QByteArray("Zm9vYg==Zm9v") << QByteArray("foob");
    QTest::newRow("base64 missing padding") << base64 << QByteArray("Zm9vYg") << QByteArray("foob");
    QTest::newRow("base64 lone sextet dropped") << base64 << QByteArray("Zm9vY") << QByteArray("foo");
    QTest::newRow("base64 only padding") << base64 << QByteArray("====") << QByteArray();
    QTest::newRow("mime base64 same reading")
        << int(cEncode::Base64LinesDecode) << QByteArray("Zm9v\nYmE") << QByteArray("fooba");

    const int uu = cEncode::UuDecode;
    QTest::newRow("uu with envelope")
        << uu << QByteArray("begin 644 cat.txt\n#0V%T\n`\nend\n") << QByteArray("Cat");
    QTest::newRow("uu blank for zero") << uu << QByteArray("#0V%T\n!    \n") << QByteArray("Cat\0", 4);
    QTest::newRow("uu stripped trailing blanks count as zero")
        << uu << QByteArray("$0V%T\n") << QByteArray("Cat\0", 4);
    QTest::newRow("uu stops at end") << uu << QByteArray("#0V%T\nend\n#0V%T\n") << QByteArray("Cat");
    QTest::newRow("uu length char only") << uu << QByteArray("_") << QByteArray(63, '\0');
    QTest::newRow("uu blank lines skipped") << uu << QByteArray("\r\n\n#0V%T\r\n") << QByteArray("Cat");
    QTest::newRow("uu zero-length line ends data") << uu << QByteArray(" \n#0V%T\n") << QByteArray();

    const int qp = cEncode::QuotedPrintableDecode;
    QTest::newRow("qp soft break CRLF") << qp << QByteArray("soft=\r\nbreak") << QByteArray("softbreak");
    QTest::newRow("qp soft break LF") << qp << QByteArray("soft=\nbreak") << QByteArray("softbreak");
    QTest::newRow("qp soft break after blanks")
        << qp << QByteArray("soft=  \t\r\nbreak") << QByteArray("softbreak");
    QTest::newRow("qp blanks before soft break are data") << qp << QByteArray("a  =\r\nb") << QByteArray("a  b");
    QTest::newRow("qp lower-case hex") << qp << QByteArray("=3d=e9") << QByteArray("=\xe9");
    QTest::newRow("qp LF becomes CRLF") << qp << QByteArray("a\nb") << QByteArray("a\r\nb");
    QTest::newRow("qp trailing blanks dropped")
        << qp << QByteArray("x  \r\ny\t ") << QByteArray("x\r\ny");
    QTest::newRow("qp escaped blank at line end stays") << qp << QByteArray("x=20\r\n") << QByteArray("x \r\n");
    QTest::newRow("qp lone equals at end") << qp << QByteArray("a=") << QByteArray("a=");
    QTest::newRow("qp truncated escape") << qp << QByteArray("a=4") << QByteArray("a=4");
    QTest::newRow("qp bad escape") << qp << QByteArray("=G1=") << QByteArray("=G1=");
    QTest::newRow("qp equals then blanks at end") << qp << QByteArray("a=  ") << QByteArray("a=");
    QTest::newRow("qp lone CR kept") << qp << QByteArray("a\rb") << QByteArray("a\rb");
    // clang-format on
}

void ConvTest::decodersReadHostileInput()
{
    QFETCH(int, mode);
    QFETCH(QByteArray, input);
    QFETCH(QByteArray, expected);
    QCOMPARE(cEncode::ConvBytes(input, mode), expected);
}

void ConvTest::pairsRoundTripRandomBytes_data()
{
    // clang-format off
    QTest::addColumn<int>("encodeMode");
    QTest::addColumn<int>("decodeMode");

    QTest::newRow("escape") << int(cEncode::EscapeBytes) << int(cEncode::UnescapeBytes);
    QTest::newRow("base64") << int(cEncode::Base64Encode) << int(cEncode::Base64Decode);
    QTest::newRow("mime base64") << int(cEncode::Base64LinesEncode) << int(cEncode::Base64LinesDecode);
    QTest::newRow("uuencode") << int(cEncode::UuEncode) << int(cEncode::UuDecode);
    QTest::newRow("quoted-printable") << int(cEncode::QuotedPrintableEncode) << int(cEncode::QuotedPrintableDecode);
    // clang-format on
}

void ConvTest::pairsRoundTripRandomBytes()
{
    QFETCH(int, encodeMode);
    QFETCH(int, decodeMode);
    std::mt19937 random(20261123);
    for (int round = 0; round < 3000; ++round) {
        const QByteArray bytes = randomBytes(random, round < 2000 ? 40 : 400);
        const QByteArray encoded = cEncode::ConvBytes(bytes, encodeMode);
        const QByteArray decoded = cEncode::ConvBytes(encoded, decodeMode);
        if (decoded != bytes)
            QFAIL(qPrintable(QStringLiteral("round %1: %2 -> %3 -> %4")
                                 .arg(round)
                                 .arg(QString::fromLatin1(bytes.toHex()), QString::fromLatin1(encoded.toHex()),
                                      QString::fromLatin1(decoded.toHex()))));
        QVERIFY(!cEncode::IsBinary(encoded));
    }
}

void ConvTest::textRoundTripsThroughCodePage_data()
{
    // clang-format off
    pairsRoundTripRandomBytes_data();
    // clang-format on
}

void ConvTest::textRoundTripsThroughCodePage()
{
    QFETCH(int, encodeMode);
    QFETCH(int, decodeMode);
    const QString text = QStringLiteral("Grüße €5 — “quoted” = _ \r\n\t")
                         + windows1252::toUnicode("\x81\x8d\x8f\x90\x9d");
    const QString encoded = cEncode::Conv(text, encodeMode);
    QCOMPARE(encoded, QString::fromLatin1(cEncode::ConvBytes(windows1252::fromUnicode(text), encodeMode)));
    QCOMPARE(cEncode::Conv(encoded, decodeMode), text);
}

void ConvTest::encodedLinesKeepTheirLimits_data()
{
    // clang-format off
    QTest::addColumn<int>("mode");
    QTest::addColumn<int>("maxLine");

    QTest::newRow("mime base64") << int(cEncode::Base64LinesEncode) << 76;
    QTest::newRow("uuencode") << int(cEncode::UuEncode) << 61;
    QTest::newRow("quoted-printable") << int(cEncode::QuotedPrintableEncode) << 76;
    // clang-format on
}

void ConvTest::encodedLinesKeepTheirLimits()
{
    QFETCH(int, mode);
    QFETCH(int, maxLine);
    std::mt19937 random(76);
    for (int round = 0; round < 300; ++round) {
        const QByteArray encoded = cEncode::ConvBytes(randomBytes(random, 600), mode);
        const QList<QByteArray> lines = linesOf(encoded);
        for (qsizetype i = 0; i < lines.size(); ++i) {
            QByteArray line = lines.at(i);
            const bool lastLine = i + 1 == lines.size();
            // Every line break the encoders write is CR LF.
            QVERIFY2(lastLine || line.endsWith('\r'), line.constData());
            if (line.endsWith('\r'))
                line.chop(1);
            QVERIFY2(line.size() <= maxLine, line.constData());
            QVERIFY2(!line.endsWith(' ') && !line.endsWith('\t'), line.constData());
        }
    }
}

void ConvTest::unknownModeLeavesTextAlone()
{
    QCOMPARE(cEncode::Conv(QStringLiteral("=41 é"), 257), QStringLiteral("=41 é"));
    QCOMPARE(cEncode::ConvBytes("=41", 0), QByteArray("=41"));
}

QTEST_APPLESS_MAIN(ConvTest)
#include "ConvTest.moc"
