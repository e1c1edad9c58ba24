// The site store's password cipher: the stored form as known pairs (key
// pairing and its wrap, the zero-XOR rule, escapes, Base64), hand-typed text,
// round trips and the 16-bit length limit.
#include "encoding/Windows1252.h"
#include "sites/mmEncrypt.h"

#include <QTest>

using namespace korvan;

class PasswordCipherTest : public QObject {
    Q_OBJECT
private slots:
    void knownPairs_data();
    void knownPairs();
    void roundTrips_data();
    void roundTrips();
    void lengthLimit();
};

void PasswordCipherTest::knownPairs_data()
{
    // clang-format off
    QTest::addColumn<QString>("password"); // null: text typed into the file by hand
    QTest::addColumn<QString>("enciphered");
    QTest::addColumn<QString>("deciphered");

    // "Ab" -> "=41=62" = bytes 3D 34 31 3D 36 32 -> sextets 15 19 16 49 | 15 19 24 50
    // -> "PTQx" "PTYy". Position i meets key character (i mod 14) + 1, so positions
    // 1..8 meet "8","2","9","5","1","7","-","3":
    // P^8=0x68 h, T^2=0x66 f, Q^9=0x68 h, x^5=0x4D M, P^1=0x61 a, T^7=0x63 c, Y^-=0x74 t, y^3=0x4A J.
    QTest::newRow("Ab") << "Ab" << "hfhMactJ" << "Ab";
    // "=41=62=63=64" -> "PTQxPTYyPTYzPTY0": position 14 meets the first key
    // character (T^4=0x60 `), 15 the second again (Y^8=0x61 a), 16 the third (0^2=0x02).
    QTest::newRow("key wraps after 14") << "Abcd" << QStringLiteral("hfhMactJfdkKh`a\x02") << "Abcd";
    // "4" -> "=34" -> "PTM0"; "0"^"5" = 0x05: a control character that must stay.
    QTest::newRow("control character kept") << "4" << QStringLiteral("hft\x05") << "4";
    // "9" -> "=39" -> "PTM5"; "5"^"5" = 0, so the "5" stays as it is.
    QTest::newRow("zero xor keeps character") << "9" << "hft5" << "9";
    QTest::newRow("empty") << "" << "" << "";
    // Windows-1252 bytes E9 80 ("é€"): "=E9=80" -> "PUU5PTgw" -> XOR as above.
    QTest::newRow("non-ASCII") << QStringLiteral("é€") << "hgl5acJD" << QStringLiteral("é€");
    // Outside the code page: stored as "?" ("=3F" -> "PTNG").
    QTest::newRow("character outside the code page") << QStringLiteral("\u0100") << "hfwr" << "?";
    // "hfhMac" XORs to "PTQxPT": "PTQx" is "=41", the trailing "PT" makes one
    // whole byte "=" (a lone "=" that starts no escape stays).
    QTest::newRow("hand-typed: truncated") << QString() << "hfhMac" << "A=";
    // Position 5 meets key character "1": 0x0C ^ "1" is "=", which ends the
    // Base64 data, so only "PTQx" counts.
    QTest::newRow("hand-typed: padding ends data") << QString() << QStringLiteral("hfhM\x0C" "ctJ") << "A";
    QTest::newRow("hand-typed: outside the code page") << QString() << QStringLiteral("hfhM\u0100") << "A";
    // clang-format on
}

void PasswordCipherTest::knownPairs()
{
    QFETCH(QString, password);
    QFETCH(QString, enciphered);
    if (!password.isNull())
        QCOMPARE(mmEncrypt::Encrypt(password), enciphered);
    QTEST(mmEncrypt::Decrypt(enciphered), "deciphered");
}

void PasswordCipherTest::roundTrips_data()
{
    QTest::addColumn<QByteArray>("windows1252");

    QTest::newRow("equals signs and escape look-alikes") << QByteArray("a=b==c=41=E9=");
    QTest::newRow("underscores and spaces") << QByteArray(" _x__y_ ");
    QTest::newRow("key itself") << QByteArray(mmEncrypt::cipherKey);
    QByteArray every(256, '\0');
    for (int i = 0; i < 256; ++i)
        every[i] = static_cast<char>(i);
    QTest::newRow("every byte") << every;
}

// Four plain ASCII characters per byte, never "=" padding, and back whole.
void PasswordCipherTest::roundTrips()
{
    QFETCH(QByteArray, windows1252);
    const QString password = windows1252::toUnicode(windows1252);
    const QString enciphered = mmEncrypt::Encrypt(password);
    QCOMPARE(enciphered.size(), 4 * password.size());
    for (const QChar c : enciphered)
        QVERIFY2(c.unicode() > 0 && c.unicode() < 128 && c != u'=', qPrintable(QString::number(c.unicode())));
    QCOMPARE(mmEncrypt::Decrypt(enciphered), password);
}

// Positions are counted in 16 bits: 8191 bytes make 32764 characters, 8192 too many.
void PasswordCipherTest::lengthLimit()
{
    const QString longest(8191, u'x');
    QCOMPARE(mmEncrypt::Decrypt(mmEncrypt::Encrypt(longest)), longest);
    QVERIFY_THROWS_EXCEPTION(CipherLengthError, mmEncrypt::Encrypt(QString(8192, u'x')));
    QVERIFY_THROWS_EXCEPTION(CipherLengthError, mmEncrypt::Decrypt(QString(32768, u'h')));
}

QTEST_APPLESS_MAIN(PasswordCipherTest)
#include "PasswordCipherTest.moc"
