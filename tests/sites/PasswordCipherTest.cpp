// The site store's password cipher: the stored format (key pairing, zero-XOR
// rule, escapes, Base64), round trips and the 16-bit length limit.
#include "encoding/Windows1252.h"
#include "sites/mmEncrypt.h"

#include <QTest>

#include <random>

using namespace korvan;
using mmEncrypt::detail::XorWithKey;

namespace {

const QString key = QString::fromLatin1(mmEncrypt::cipherKey);

QString windows1252Text(std::initializer_list<unsigned char> bytes)
{
    QByteArray raw;
    for (const unsigned char b : bytes)
        raw.append(static_cast<char>(b));
    return windows1252::toUnicode(raw);
}

// The key shifted by one position: character i (1-based) is key character
// (i mod 14) + 1, repeated to `length` characters.
QString shiftedKey(qsizetype length)
{
    QString text;
    for (qsizetype i = 1; i <= length; ++i)
        text.append(key.at(i % key.size()));
    return text;
}

} // namespace

class PasswordCipherTest : public QObject {
    Q_OBJECT
private slots:
    void encryptsToKnownText_data();
    void encryptsToKnownText();
    void roundTrips_data();
    void roundTrips();
    void roundTripsRandomPasswords();
    void outputIsFourCharactersPerByteBelow128();
    void xorWithKey_data();
    void xorWithKey();
    void xorWithKeyIsItsOwnInverse();
    void decryptReadsHandTypedText_data();
    void decryptReadsHandTypedText();
    void lengthLimit_data();
    void lengthLimit();
};

void PasswordCipherTest::encryptsToKnownText_data()
{
    // clang-format off
    QTest::addColumn<QString>("password");
    QTest::addColumn<QString>("enciphered");
    QTest::addColumn<QString>("deciphered");

    // "Ab" -> "=41=62" = bytes 3D 34 31 3D 36 32 -> sextets 15 19 16 49 | 15 19 24 50
    // -> "PTQx" "PTYy". Position i meets key character (i mod 14) + 1, so positions
    // 1..8 meet "8","2","9","5","1","7","-","3":
    // P^8=0x68 h, T^2=0x66 f, Q^9=0x68 h, x^5=0x4D M, P^1=0x61 a, T^7=0x63 c, Y^-=0x74 t, y^3=0x4A J.
    QTest::newRow("Ab") << "Ab" << "hfhMactJ" << "Ab";
    // "a" -> "=61" -> 3D 36 31 -> "PTYx" -> h f (Y^9=0x60 `) (x^5=0x4D M).
    QTest::newRow("one character") << "a" << "hf`M" << "a";
    // "4" -> "=34" -> "PTM0"; "0"^"5" = 0x05: a control character that must stay.
    QTest::newRow("control character kept") << "4" << QStringLiteral("hft\x05") << "4";
    // "9" -> "=39" -> "PTM5"; "5"^"5" = 0, so the "5" stays as it is.
    QTest::newRow("zero xor keeps character") << "9" << "hft5" << "9";
    QTest::newRow("empty") << "" << "" << "";
    // Windows-1252 bytes E9 80 ("é€"): "=E9=80" -> "PUU5PTgw" -> XOR as above.
    QTest::newRow("non-ASCII") << QStringLiteral("é€") << "hgl5acJD" << QStringLiteral("é€");
    // Outside the code page: stored as "?" ("=3F" -> "PTNG").
    QTest::newRow("character outside the code page") << QStringLiteral("\u0100") << "hfwr" << "?";
    // clang-format on
}

void PasswordCipherTest::encryptsToKnownText()
{
    QFETCH(QString, password);
    QFETCH(QString, enciphered);
    QCOMPARE(mmEncrypt::Encrypt(password), enciphered);
    QFETCH(QString, deciphered);
    QCOMPARE(mmEncrypt::Decrypt(enciphered), deciphered);
}

void PasswordCipherTest::roundTrips_data()
{
    // clang-format off
    QTest::addColumn<QString>("password");

    QTest::newRow("equals signs") << "a=b==c=";
    QTest::newRow("escape look-alike") << "=41=E9=41";
    QTest::newRow("underscores") << "_x__y_";
    QTest::newRow("spaces") << " lead and trail ";
    QTest::newRow("mixed") << "p=_ w";
    QTest::newRow("latin letters") << QStringLiteral("Grüße, señor, ÅÆØ");
    QTest::newRow("windows-1252 punctuation") << QStringLiteral("€‚ƒ„…†‡ˆ‰Š‹ŒŽ‘’“”•–—˜™š›œžŸ");
    QTest::newRow("bytes around the lead threshold") << windows1252Text({0x7F, 0x80, 0x81, 0x80, 0x41, 0x81});
    QTest::newRow("undefined bytes as Latin-1") << windows1252Text({0x81, 0x8D, 0x8F, 0x90, 0x9D});
    QTest::newRow("control characters") << windows1252Text({0x00, 0x01, 0x09, 0x0A, 0x0D, 0x1F});
    QTest::newRow("key itself") << key;
    QByteArray every(256, '\0');
    for (int i = 0; i < 256; ++i)
        every[i] = static_cast<char>(i);
    QTest::newRow("every byte") << windows1252::toUnicode(every);
    // clang-format on
}

void PasswordCipherTest::roundTrips()
{
    QFETCH(QString, password);
    QCOMPARE(mmEncrypt::Decrypt(mmEncrypt::Encrypt(password)), password);
}

void PasswordCipherTest::roundTripsRandomPasswords()
{
    std::mt19937 random(6202);
    std::uniform_int_distribution<int> byteValue(0, 255);
    std::uniform_int_distribution<int> length(0, 40);
    for (int round = 0; round < 2000; ++round) {
        QByteArray bytes;
        for (int n = length(random); n > 0; --n)
            bytes.append(static_cast<char>(byteValue(random)));
        const QString password = windows1252::toUnicode(bytes);
        const QString enciphered = mmEncrypt::Encrypt(password);
        QCOMPARE(enciphered.size(), 4 * password.size());
        QCOMPARE(mmEncrypt::Decrypt(enciphered), password);
    }
}

void PasswordCipherTest::outputIsFourCharactersPerByteBelow128()
{
    QString password;
    for (int i = 1; i <= 300; ++i) {
        password.append(windows1252::toChar(static_cast<unsigned char>(i % 256)));
        const QString enciphered = mmEncrypt::Encrypt(password);
        QCOMPARE(enciphered.size(), 4 * i);
        for (const QChar c : enciphered) {
            QVERIFY2(c.unicode() > 0 && c.unicode() < 128, qPrintable(QString::number(c.unicode())));
        }
        QVERIFY(!enciphered.contains(u'='));
    }
}

void PasswordCipherTest::xorWithKey_data()
{
    // clang-format off
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("expected");

    QTest::newRow("empty") << "" << "";
    // Position 1 meets key character 2 ("8"): "8"^"8" is 0, so "8" stays.
    QTest::newRow("first pairs with second key character") << "8" << "8";
    QTest::newRow("first character") << "A" << "y"; // 0x41 ^ 0x38
    // Position 14 meets key character 1 ("4"): "+" ^ "4" = 0x1F, a control character.
    QTest::newRow("fourteenth pairs with first") << shiftedKey(13) + "+" << shiftedKey(13) + QChar(0x1F);
    // Position 15 meets key character 2 again.
    QTest::newRow("fifteenth wraps") << shiftedKey(14) + "A" << shiftedKey(14) + "y";
    QTest::newRow("shifted key unchanged") << shiftedKey(14) << shiftedKey(14);
    QTest::newRow("shifted key, three rounds") << shiftedKey(42) << shiftedKey(42);
    // NUL XOR "8" is "8": the one code the operation does not bring back, and
    // one Base64 text never holds.
    QTest::newRow("NUL becomes key character") << QString(QChar(0)) << "8";
    // Unshifted key: position 1 "4"^"8" = 0x0C, position 2 "8"^"2" = 0x0A.
    QTest::newRow("key unshifted changes") << "48" << QStringLiteral("\x0C\x0A");
    // clang-format on
}

void PasswordCipherTest::xorWithKey()
{
    QFETCH(QString, text);
    QFETCH(QString, expected);
    QCOMPARE(XorWithKey(text, key), expected);
}

void PasswordCipherTest::xorWithKeyIsItsOwnInverse()
{
    std::mt19937 random(1408);
    std::uniform_int_distribution<int> byteValue(0, 255);
    for (int round = 0; round < 500; ++round) {
        QByteArray text;
        for (int n = round % 60; n > 0; --n) {
            // Many key digits, so that the zero-XOR positions are hit often.
            const bool keyChar = byteValue(random) < 96;
            // NUL is left out: it turns into the key character, which stays (see below).
            text.append(keyChar ? mmEncrypt::cipherKey[byteValue(random) % 14]
                                : static_cast<char>(1 + byteValue(random) % 255));
        }
        const QByteArray once = XorWithKey(text, QByteArray(mmEncrypt::cipherKey));
        QCOMPARE(XorWithKey(once, QByteArray(mmEncrypt::cipherKey)), text);
        QVERIFY(!once.contains('\0'));
    }
}

void PasswordCipherTest::decryptReadsHandTypedText_data()
{
    // clang-format off
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("expected");

    QTest::newRow("empty") << "" << "";
    // "hfhMac" XORs to "PTQxPT": "PTQx" is "=41", the trailing "PT" makes one
    // whole byte "=" (a lone "=" that starts no escape stays).
    QTest::newRow("truncated") << "hfhMac" << "A=";
    // Position 5 meets key character "1": 0x0C ^ "1" is "=", which ends the
    // Base64 data, so only "PTQx" counts.
    QTest::newRow("padding ends data") << QStringLiteral("hfhM\x0C" "ctJ") << "A";
    // Characters outside the code page read as "?", outside the Base64 alphabet after the XOR.
    QTest::newRow("outside the code page") << QStringLiteral("hfhM\u0100") << "A";
    // clang-format on
}

void PasswordCipherTest::decryptReadsHandTypedText()
{
    QFETCH(QString, text);
    QFETCH(QString, expected);
    QCOMPARE(mmEncrypt::Decrypt(text), expected);
}

void PasswordCipherTest::lengthLimit_data()
{
    // clang-format off
    QTest::addColumn<int>("passwordLength");
    QTest::addColumn<bool>("fits");

    QTest::newRow("8191 bytes fit") << 8191 << true;
    QTest::newRow("8192 bytes overflow") << 8192 << false;
    // clang-format on
}

void PasswordCipherTest::lengthLimit()
{
    QFETCH(int, passwordLength);
    QFETCH(bool, fits);
    const QString password(passwordLength, u'x');
    if (!fits) {
        QVERIFY_THROWS_EXCEPTION(CipherLengthError, mmEncrypt::Encrypt(password));
        QVERIFY_THROWS_EXCEPTION(CipherLengthError, mmEncrypt::Decrypt(QString(4 * passwordLength, u'h')));
        QVERIFY_THROWS_EXCEPTION(CipherLengthError, XorWithKey(QString(32768, u'a'), key));
        return;
    }
    const QString enciphered = mmEncrypt::Encrypt(password);
    QCOMPARE(enciphered.size(), 32764);
    QCOMPARE(mmEncrypt::Decrypt(enciphered), password);
    QCOMPARE(XorWithKey(XorWithKey(QString(32767, u'a'), key), key), QString(32767, u'a'));
}

QTEST_APPLESS_MAIN(PasswordCipherTest)
#include "PasswordCipherTest.moc"
