#pragma once
// The password cipher of the site store: a site's password is kept in the
// store file as printable-ish text, never as typed. It guards against casual
// reading only; the key is a constant of the program.
//
// The stored form (and so every detail below) must not change, or existing
// site files no longer decipher:
//   Encrypt = XorWithKey(Base64(EscapeBytes(password))), where EscapeBytes
//   writes every Windows-1252 byte as "=XX" (see cEncode), so an n-byte
//   password becomes exactly 4n characters without "=" padding.
//   Decrypt = UnescapeBytes(Base64Decode(XorWithKey(text))).
//
// The enciphered text may hold control characters (codes 1..31): store it as
// it is, never trimmed. Neither operation checks its input; a text that is not
// an enciphered password deciphers into whatever the steps give.

#include <QByteArray>
#include <QString>

#include <stdexcept>

namespace korvan {

// Thrown for a text longer than mmEncrypt::maxTextLength characters: the
// format counts positions in a signed 16-bit number. Enciphered passwords are
// four times as long as the password, so passwords over 8191 bytes cannot be
// stored.
class CipherLengthError : public std::length_error {
public:
    explicit CipherLengthError(qsizetype length);
};

namespace mmEncrypt {

inline constexpr qsizetype maxTextLength = 32767;
inline constexpr char cipherKey[] = "4829517-360218";

// Passwords are taken as Windows-1252 text: a character the code page lacks
// is stored as "?" (as the system that wrote the first site files did).
// Throws CipherLengthError when the enciphered text would pass maxTextLength.
QString Encrypt(const QString &password);
// Throws CipherLengthError for a text over maxTextLength characters.
QString Decrypt(const QString &text);

namespace detail {

// The core both operations share: a copy of `text` where the character at
// position i (1-based) is XORed with key character (i mod L) + 1, L the key's
// length; the pairing is one step ahead of the obvious one, so the first
// character meets the key's second. A result of 0 leaves the character as it
// is (it then equals the key character), which keeps code 0 out of the output
// and still makes the operation its own inverse for every text without NUL (a
// NUL turns into the key character; Base64 text never holds one). Characters
// are taken as their Windows-1252 bytes. Throws CipherLengthError for a text
// over maxTextLength characters; an empty key leaves the text unchanged.
QString XorWithKey(const QString &text, const QString &key);
QByteArray XorWithKey(const QByteArray &text, const QByteArray &key);

} // namespace detail

} // namespace mmEncrypt

} // namespace korvan
