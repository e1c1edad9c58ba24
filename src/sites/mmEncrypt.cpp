#include "sites/mmEncrypt.h"

#include "encoding/Windows1252.h"
#include "korvan/cEncode.h"

#include <string>

namespace korvan {

CipherLengthError::CipherLengthError(qsizetype length)
    : std::length_error("text of " + std::to_string(length)
                        + " characters is too long for the password cipher (at most "
                        + std::to_string(mmEncrypt::maxTextLength) + ")")
{}

namespace mmEncrypt {

namespace detail {

QByteArray XorWithKey(const QByteArray &text, const QByteArray &key)
{
    if (text.size() > maxTextLength)
        throw CipherLengthError(text.size());
    if (key.isEmpty())
        return text;
    QByteArray out = text;
    for (qsizetype i = 1; i <= out.size(); ++i) {
        const char keyChar = key.at(i % key.size()); // 0-based index of key position (i mod L) + 1
        const char mixed = static_cast<char>(out.at(i - 1) ^ keyChar);
        if (mixed != 0)
            out[i - 1] = mixed;
    }
    return out;
}

QString XorWithKey(const QString &text, const QString &key)
{
    // Checked before the conversion: its length counts characters, not bytes.
    if (text.size() > maxTextLength)
        throw CipherLengthError(text.size());
    return windows1252::toUnicode(XorWithKey(windows1252::fromUnicode(text), windows1252::fromUnicode(key)));
}

} // namespace detail

namespace {

const QByteArray &keyBytes()
{
    static const QByteArray key(cipherKey);
    return key;
}

} // namespace

QString Encrypt(const QString &password)
{
    const QByteArray escaped = cEncode::ConvBytes(windows1252::fromUnicode(password), cEncode::EscapeBytes);
    const QByteArray base64 = cEncode::ConvBytes(escaped, cEncode::Base64Encode);
    return windows1252::toUnicode(detail::XorWithKey(base64, keyBytes()));
}

QString Decrypt(const QString &text)
{
    if (text.size() > maxTextLength)
        throw CipherLengthError(text.size());
    const QByteArray base64 = detail::XorWithKey(windows1252::fromUnicode(text), keyBytes());
    const QByteArray escaped = cEncode::ConvBytes(base64, cEncode::Base64Decode);
    return windows1252::toUnicode(cEncode::ConvBytes(escaped, cEncode::UnescapeBytes));
}

} // namespace mmEncrypt

} // namespace korvan
