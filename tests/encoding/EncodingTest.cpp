// cEncode: every mode on known vectors and hostile input, seeded random round trips, the text helpers.
#include "encoding/Windows1252.h"
#include "korvan/cEncode.h"

#include <QTest>

#include <random>

using korvan::cEncode;
namespace windows1252 = korvan::windows1252;

namespace {

// Bytes biased towards those the encoders single out (CR LF, blanks before line ends, "=", "_").
QByteArray randomBytes(std::mt19937 &random, int maxLength)
{
    static const QByteArray tricky("\r\n \t=_`?");
    QByteArray bytes;
    for (int n = random() % (maxLength + 1); n > 0; --n)
        bytes.append(random() % 4 == 0 ? tricky.at(random() % tricky.size()) : char(random() % 256));
    return bytes;
}

} // namespace

class EncodingTest : public QObject {
    Q_OBJECT
private slots:
    void conv_data();
    void conv();
    void roundTrips_data();
    void roundTrips();
    void textHelpers_data();
    void textHelpers();
    void encWordsRoundTrip();
};

void EncodingTest::conv_data()
{
    // clang-format off
    QTest::addColumn<int>("mode");
    QTest::addColumn<QByteArray>("input");
    QTest::addColumn<QByteArray>("expected"); // an encoder's row also decodes back

    QTest::newRow("escape, leading zero")
        << 258 << QByteArray("\x00\x0f =_\xff", 6) << QByteArray("=00=0F=20=3D=5F=FF");
    QTest::newRow("base64, its last two letters") << 260 << QByteArray("\xfb\xff" "foobar") << QByteArray("+/9mb29iYXI=");
    QTest::newRow("mime base64 breaks after 76") << 262 << QByteArray(58, '\0') << QByteArray(76, 'A') + "\r\nAA==";
    QTest::newRow("uuencode 46 bytes take two lines")
        << 264 << QByteArray(46, '\0') << "M" + QByteArray(60, '`') + "\r\n!````\r\n`\r\n";
    QTest::newRow("qp blank before line break")
        << 266 << QByteArray("a=b \r\nnext\t") << QByteArray("a=3Db=20\r\nnext=09");
    QTest::newRow("qp lone LF, CR, high bytes") << 266 << QByteArray("a\nb\r\xe9~") << QByteArray("a=0Ab=0D=E9~");
    QTest::newRow("qp escape not split by soft break")
        << 266 << QByteArray(73, 'a') + "=b" << QByteArray(73, 'a') + "=\r\n=3Db";

    QTest::newRow("unescape underscore, lower-case hex, 0x80 is single")
        << 259 << QByteArray("a_=3d=41=80x41") << QByteArray("a =A\x80x41");
    QTest::newRow("unescape lead reads its trail past any character")
        << 259 << QByteArray("=E9x41z") << QByteArray("\xe9" "Az");
    QTest::newRow("unescape lead, bad trail") << 259 << QByteArray("=E9=G1") << QByteArray("\xe9=G1");
    QTest::newRow("base64 junk skipped, padding ends data")
        << 261 << QByteArray("Zm9v!*\xe9\r\nYg==Zm9v") << QByteArray("foob");
    QTest::newRow("base64 lone sextet dropped") << 261 << QByteArray("Zm9vY") << QByteArray("foo");
    QTest::newRow("uu envelope and end") << 265 << QByteArray("begin 644 c\n#0V%T\nend\n#0V%T\n") << QByteArray("Cat");
    QTest::newRow("uu stripped blanks count as zero") << 265 << QByteArray("$0V%T\n") << QByteArray("Cat\0", 4);
    QTest::newRow("uu zero-length line ends data") << 265 << QByteArray(" \n#0V%T\n") << QByteArray();
    QTest::newRow("qp soft breaks") << 267 << QByteArray("a  =\r\nb=  \t\nc") << QByteArray("a  bc");
    QTest::newRow("qp LF becomes CRLF, trailing blanks dropped")
        << 267 << QByteArray("x=20 \ny\t ") << QByteArray("x \r\ny");
    QTest::newRow("qp bad escapes kept") << 267 << QByteArray("=G1=4=") << QByteArray("=G1=4=");
    QTest::newRow("unknown mode") << 257 << QByteArray("=41") << QByteArray("=41");
    // clang-format on
}

void EncodingTest::conv()
{
    QFETCH(int, mode);
    QFETCH(QByteArray, input);
    QFETCH(QByteArray, expected);
    QCOMPARE(cEncode::ConvBytes(input, mode), expected);
    if (mode % 2 == 0) // an encoder
        QCOMPARE(cEncode::ConvBytes(expected, mode + 1), input);
}

void EncodingTest::roundTrips_data()
{
    QTest::addColumn<int>("encodeMode");
    QTest::addColumn<int>("maxLine"); // 0: no line breaks
    QTest::newRow("escape") << int(cEncode::EscapeBytes) << 0;
    QTest::newRow("base64") << int(cEncode::Base64Encode) << 0;
    QTest::newRow("mime base64") << int(cEncode::Base64LinesEncode) << 76;
    QTest::newRow("uuencode") << int(cEncode::UuEncode) << 61;
    QTest::newRow("quoted-printable") << int(cEncode::QuotedPrintableEncode) << 76;
}

void EncodingTest::roundTrips()
{
    QFETCH(int, encodeMode);
    QFETCH(int, maxLine);
    std::mt19937 random(20261123);
    for (int round = 0; round < 2000; ++round) {
        const QByteArray bytes = randomBytes(random, round < 1500 ? 40 : 400);
        const QByteArray encoded = cEncode::ConvBytes(bytes, encodeMode);
        QVERIFY2(cEncode::ConvBytes(encoded, encodeMode + 1) == bytes, bytes.toHex().constData());
        QVERIFY(!cEncode::IsBinary(encoded));
        // Every line break written is CR LF; no line is too long or ends in a blank.
        const QList<QByteArray> lines = encoded.split('\n');
        QVERIFY(maxLine > 0 || lines.size() == 1);
        for (qsizetype i = 0; i < lines.size(); ++i) {
            const QByteArray &line = lines.at(i);
            const QByteArray body = line.endsWith('\r') ? line.chopped(1) : line;
            QVERIFY2(i + 1 == lines.size() || line.endsWith('\r'), line.constData());
            QVERIFY2(maxLine == 0 || body.size() <= maxLine, line.constData());
            QVERIFY2(!body.endsWith(' ') && !body.endsWith('\t'), line.constData());
        }
    }
    // Text goes through the code page, the five bytes it leaves undefined included.
    const QString text = u"Grüße €5 — “quoted” = _ \r\n\t"_qs + windows1252::toUnicode("\x81\x8d\x8f\x90\x9d");
    QCOMPARE(cEncode::Conv(cEncode::Conv(text, encodeMode), encodeMode + 1), text);
    QCOMPARE(windows1252::toUnicode("\x80\x81\x8a\x99\x9f\xa0\xff"), u"€\u0081Š™Ÿ\u00a0ÿ"_qs);
    QCOMPARE(windows1252::fromUnicode(u"\u0080\u0100x\U0001F600"_qs), QByteArray("??x?"));
}

void EncodingTest::textHelpers_data()
{
    // clang-format off
    QTest::addColumn<QString>("helper");
    QTest::addColumn<QString>("input");
    QTest::addColumn<QString>("expected");

    QTest::newRow("plain ASCII is no binary") << "IsBinary" << "a\tb\r\n~{}" << "false";
    QTest::newRow("escape is binary") << "IsBinary" << "a\x1b[0m" << "true";
    QTest::newRow("DEL is binary") << "IsBinary" << "a\x7f" << "true";
    QTest::newRow("Latin-1 letter is binary") << "IsBinary" << u"café"_qs << "true";
    QTest::newRow("one pair of quotes") << "TrimQuotes" << "\"\"x\"\"" << "\"x\"";
    QTest::newRow("lone quote stays") << "TrimQuotes" << "\"" << "\"";
    QTest::newRow("opening quote only stays") << "TrimQuotes" << "\"abc" << "\"abc";
    QTest::newRow("plain text stays") << "ENC" << "a\r\nb" << "a\r\nb";
    QTest::newRow("Q: blank and reserved characters")
        << "ENC" << u"ça va? oui_ok"_qs << "=?windows-1252?Q?=E7a_va=3F_oui=5Fok?=";
    QTest::newRow("B when shorter") << "ENC" << u"é a_b=?"_qs << "=?windows-1252?B?6SBhX2I9Pw==?=";
    QTest::newRow("euro from the code page") << "ENC" << u"€ 50"_qs << "=?windows-1252?Q?=80_50?=";
    QTest::newRow("Cyrillic in UTF-8") << "ENC" << u"Привет"_qs << "=?utf-8?B?0J/RgNC40LLQtdGC?=";
    QTest::newRow("encoded-word look-alike")
        << "ENC" << "see =?x?Q?y?= here" << "=?windows-1252?B?c2VlID0/eD9RP3k/PSBoZXJl?=";
    QTest::newRow("rfc 2047 words and text")
        << "DecodeENC" << "(=?ISO-8859-1?Q?Olle_J=E4rlsj=F6?=\r\n =?US-ASCII?Q?a?= b)" << u"(Olle Järlsjöa b)"_qs;
    QTest::newRow("windows-1252 is no Latin-1")
        << "DecodeENC" << "=?windows-1252?Q?=80?= =?iso-8859-1?Q?=80?=" << u"€\u0080"_qs;
    QTest::newRow("unknown charset, form, blank inside, unclosed stay")
        << "DecodeENC" << "=?koi8-r?Q?x?= =?utf-8?X?a?= =?utf-8?Q?a b?= =?utf-8?Q?c"
        << "=?koi8-r?Q?x?= =?utf-8?X?a?= =?utf-8?Q?a b?= =?utf-8?Q?c";
    // clang-format on
}

void EncodingTest::textHelpers()
{
    QFETCH(QString, helper);
    QFETCH(QString, input);
    QFETCH(QString, expected);
    if (helper == u"IsBinary") {
        QCOMPARE(cEncode::IsBinary(input) ? u"true"_qs : u"false"_qs, expected);
        QCOMPARE(cEncode::IsBinary(input.toLatin1()), cEncode::IsBinary(input));
    } else if (helper == u"TrimQuotes") {
        QCOMPARE(cEncode::TrimQuotes(input), expected);
    } else if (helper == u"ENC") {
        QCOMPARE(cEncode::ENC(input), expected);
        QCOMPARE(cEncode::DecodeENC(expected), input);
    } else {
        QCOMPARE(cEncode::DecodeENC(input), expected);
    }
}

// Long mixed texts: words of at most 75 characters, each of whole characters; the whole decodes back.
void EncodingTest::encWordsRoundTrip()
{
    const QStringList pool = QString(u" _=?aZ9\x01\t€šÿéЖж漢字"_qs).split(QString(), Qt::SkipEmptyParts)
                             << u"\U0001F600"_qs;
    std::mt19937 random(2047);
    for (int round = 0; round < 1000; ++round) {
        QString text;
        for (int n = random() % 200; n > 0; --n)
            text += pool.at(random() % pool.size());
        const QString encoded = cEncode::ENC(text);
        QCOMPARE(cEncode::DecodeENC(encoded), text);
        if (encoded == text)
            continue;
        for (const QString &word : encoded.split(u' ')) {
            QVERIFY2(word.size() <= 75 && word.startsWith(u"=?") && word.endsWith(u"?="), qPrintable(word));
            QVERIFY2(!cEncode::DecodeENC(word).contains(QChar::ReplacementCharacter), qPrintable(word));
        }
    }
}

QTEST_APPLESS_MAIN(EncodingTest)
#include "EncodingTest.moc"
