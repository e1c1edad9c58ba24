// cEncode's text helpers: IsBinary, TrimQuotes, and the RFC 2047 words of ENC
// and DecodeENC.
#include "korvan/cEncode.h"

#include <QRegularExpression>
#include <QTest>

#include <random>

using korvan::cEncode;

class TextTest : public QObject {
    Q_OBJECT
private slots:
    void isBinary_data();
    void isBinary();
    void trimQuotes_data();
    void trimQuotes();
    void enc_data();
    void enc();
    void encSplitsLongTextIntoShortWords_data();
    void encSplitsLongTextIntoShortWords();
    void decodeEnc_data();
    void decodeEnc();
    void encRoundTripsRandomText();
};

void TextTest::isBinary_data()
{
    // clang-format off
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("binary");

    QTest::newRow("empty") << "" << false;
    QTest::newRow("printable ASCII") << "Hello, world! ~{}" << false;
    QTest::newRow("line controls") << "a\tb\r\nc" << false;
    QTest::newRow("NUL") << QString(QChar(0)) << true;
    QTest::newRow("escape") << "a\x1b[0m" << true;
    QTest::newRow("DEL") << "a\x7f" << true;
    QTest::newRow("Latin-1 letter") << QStringLiteral("café") << true;
    QTest::newRow("no-break space") << QStringLiteral("a\u00a0b") << true;
    QTest::newRow("CJK") << QStringLiteral("漢字") << true;
    // clang-format on
}

void TextTest::isBinary()
{
    QFETCH(QString, text);
    QFETCH(bool, binary);
    QCOMPARE(cEncode::IsBinary(text), binary);
    // The byte view agrees wherever the text is ASCII or Latin-1.
    if (std::all_of(text.cbegin(), text.cend(), [](QChar c) { return c.unicode() < 256; }))
        QCOMPARE(cEncode::IsBinary(text.toLatin1()), binary);
}

void TextTest::trimQuotes_data()
{
    // clang-format off
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("trimmed");

    QTest::newRow("empty") << "" << "";
    QTest::newRow("quoted") << "\"a b\"" << "a b";
    QTest::newRow("only one pair") << "\"\"x\"\"" << "\"x\"";
    QTest::newRow("empty quotes") << "\"\"" << "";
    QTest::newRow("lone quote") << "\"" << "\"";
    QTest::newRow("opening only") << "\"abc" << "\"abc";
    QTest::newRow("closing only") << "abc\"" << "abc\"";
    QTest::newRow("inner quotes stay") << "a\"b\"c" << "a\"b\"c";
    QTest::newRow("blank outside quotes") << " \"a\"" << " \"a\"";
    QTest::newRow("single quotes stay") << "'a'" << "'a'";
    // clang-format on
}

void TextTest::trimQuotes()
{
    QFETCH(QString, text);
    QFETCH(QString, trimmed);
    QCOMPARE(cEncode::TrimQuotes(text), trimmed);
}

void TextTest::enc_data()
{
    // clang-format off
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("encoded");

    QTest::newRow("plain stays") << "Hello world" << "Hello world";
    QTest::newRow("line breaks stay") << "a\r\nb" << "a\r\nb";
    QTest::newRow("Latin letter as Q") << QStringLiteral("café") << "=?windows-1252?Q?caf=E9?=";
    // Q needs 19 characters, B 20.
    QTest::newRow("blank and reserved characters in Q")
        << QStringLiteral("ça va? oui_ok") << "=?windows-1252?Q?=E7a_va=3F_oui=5Fok?=";
    // Q needs 15 characters, B 16: B wins.
    QTest::newRow("shorter form wins")
        << QStringLiteral("é a_b=?") << "=?windows-1252?B?6SBhX2I9Pw==?=";
    QTest::newRow("euro from the code page") << QStringLiteral("€ 50 Euro") << "=?windows-1252?Q?=80_50_Euro?=";
    // Twelve UTF-8 bytes: Q needs 36 characters, B 16.
    QTest::newRow("Cyrillic as B in UTF-8") << QStringLiteral("Привет") << "=?utf-8?B?0J/RgNC40LLQtdGC?=";
    QTest::newRow("encoded-word look-alike") << "see =?x?Q?y?= here" << "=?windows-1252?B?c2VlID0/eD9RP3k/PSBoZXJl?=";
    QTest::newRow("control character") << QStringLiteral("a\x01") << "=?windows-1252?Q?a=01?=";
    // clang-format on
}

void TextTest::enc()
{
    QFETCH(QString, text);
    QFETCH(QString, encoded);
    QCOMPARE(cEncode::ENC(text), encoded);
    QCOMPARE(cEncode::DecodeENC(encoded), text);
}

void TextTest::encSplitsLongTextIntoShortWords_data()
{
    // clang-format off
    QTest::addColumn<QString>("text");

    QTest::newRow("long Latin text") << QStringLiteral("Grüße aus Köln, schöne Grüße! ").repeated(6);
    QTest::newRow("long CJK text") << QStringLiteral("漢字かな交じり文").repeated(10);
    QTest::newRow("characters outside the BMP") << QStringLiteral("\U0001F600\U0001F680").repeated(20);
    // clang-format on
}

void TextTest::encSplitsLongTextIntoShortWords()
{
    QFETCH(QString, text);
    const QString encoded = cEncode::ENC(text);
    const QStringList words = encoded.split(u' ');
    QVERIFY(words.size() > 1);
    static const QRegularExpression wordPattern(QStringLiteral("^=\\?(windows-1252|utf-8)\\?[QB]\\?[!-~]+\\?=$"));
    for (const QString &word : words) {
        QVERIFY2(word.size() <= 75, qPrintable(word));
        QVERIFY2(wordPattern.match(word).hasMatch(), qPrintable(word));
        // Each word holds whole characters: it decodes on its own without
        // a replacement character.
        QVERIFY2(!cEncode::DecodeENC(word).contains(QChar::ReplacementCharacter), qPrintable(word));
    }
    QCOMPARE(cEncode::DecodeENC(encoded), text);
}

void TextTest::decodeEnc_data()
{
    // clang-format off
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("decoded");

    // RFC 2047, section 8.
    QTest::newRow("rfc Q with underscore") << "=?US-ASCII?Q?Keith_Moore?= <moore@cs.utk.edu>"
                                           << "Keith Moore <moore@cs.utk.edu>";
    QTest::newRow("rfc ISO-8859-1") << "=?ISO-8859-1?Q?Olle_J=E4rlsj=F6?=" << QStringLiteral("Olle Järlsjö");
    QTest::newRow("rfc word then text") << "(=?ISO-8859-1?Q?a?= b)" << "(a b)";
    QTest::newRow("rfc blank between words dropped") << "(=?ISO-8859-1?Q?a?= =?ISO-8859-1?Q?b?=)" << "(ab)";
    QTest::newRow("rfc line break between words dropped")
        << "(=?ISO-8859-1?Q?a?=\r\n    =?ISO-8859-1?Q?b?=)" << "(ab)";
    QTest::newRow("rfc encoded blank kept") << "(=?ISO-8859-1?Q?a_b?=)" << "(a b)";
    QTest::newRow("lower-case form letter") << "=?utf-8?b?0J/RgNC40LLQtdGC?=" << QStringLiteral("Привет");
    QTest::newRow("windows-1252 differs from Latin-1") << "=?windows-1252?Q?=80?= =?iso-8859-1?Q?=80?="
                                                        << QStringLiteral("€\u0080");
    QTest::newRow("unknown charset stays") << "=?koi8-r?Q?x?=" << "=?koi8-r?Q?x?=";
    QTest::newRow("unknown form stays") << "=?utf-8?X?abc?=" << "=?utf-8?X?abc?=";
    QTest::newRow("blank inside stays") << "=?utf-8?Q?a b?=" << "=?utf-8?Q?a b?=";
    QTest::newRow("unclosed stays") << "=?utf-8?Q?abc" << "=?utf-8?Q?abc";
    QTest::newRow("bare opener") << "=?" << "=?";
    QTest::newRow("opener and charset end") << "=?utf-8?" << "=?utf-8?";
    QTest::newRow("empty payload") << "x=?utf-8?Q?" "?=y" << "xy";
    QTest::newRow("plain text stays") << "a  b\t" << "a  b\t";
    // clang-format on
}

void TextTest::decodeEnc()
{
    QFETCH(QString, text);
    QFETCH(QString, decoded);
    QCOMPARE(cEncode::DecodeENC(text), decoded);
}

void TextTest::encRoundTripsRandomText()
{
    std::mt19937 random(2047);
    // Blanks, ASCII, Windows-1252 letters, C0 controls, Cyrillic, CJK, and one
    // character outside the BMP.
    const QString pool = QStringLiteral(" _=?aZ9\x01\x1f\t€šÿéЖж漢字\U0001F600");
    std::uniform_int_distribution<qsizetype> pick(0, pool.size() - 1);
    std::uniform_int_distribution<int> length(0, 70);
    for (int round = 0; round < 2000; ++round) {
        QString text;
        for (int n = length(random); n > 0; --n) {
            const qsizetype i = pick(random);
            if (pool.at(i).isLowSurrogate())
                continue;
            text.append(pool.mid(i, pool.at(i).isHighSurrogate() ? 2 : 1));
        }
        const QString encoded = cEncode::ENC(text);
        QVERIFY2(!cEncode::IsBinary(encoded) || encoded == text, qPrintable(encoded));
        QCOMPARE(cEncode::DecodeENC(encoded), text);
    }
}

QTEST_APPLESS_MAIN(TextTest)
#include "TextTest.moc"
