#include "encoding/Windows1252.h"

#include <array>

namespace korvan::windows1252 {

namespace {

// Characters of the bytes 0x80..0x9F; where Windows-1252 has none the Latin-1
// control character of the same code stands in.
constexpr std::array<char16_t, 32> highControlRow = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, //
    0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x008D, 0x017D, 0x008F, //
    0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014, //
    0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178,
};

constexpr unsigned char unmappable = '?';

} // namespace

QChar toChar(unsigned char byte)
{
    if (byte >= 0x80 && byte <= 0x9F)
        return QChar(highControlRow[byte - 0x80]);
    return QChar(byte);
}

unsigned char toByte(QChar c)
{
    const char16_t code = c.unicode();
    if (code < 0x80 || (code >= 0xA0 && code <= 0xFF))
        return static_cast<unsigned char>(code);
    for (std::size_t i = 0; i < highControlRow.size(); ++i) {
        if (highControlRow[i] == code)
            return static_cast<unsigned char>(0x80 + i);
    }
    return unmappable;
}

QByteArray fromUnicode(const QString &text)
{
    QByteArray bytes;
    bytes.reserve(text.size());
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text.at(i);
        if (c.isHighSurrogate() && i + 1 < text.size() && text.at(i + 1).isLowSurrogate())
            ++i; // one character, one '?'
        bytes.append(static_cast<char>(toByte(c)));
    }
    return bytes;
}

QString toUnicode(const QByteArray &bytes)
{
    QString text;
    text.reserve(bytes.size());
    for (const char byte : bytes)
        text.append(toChar(static_cast<unsigned char>(byte)));
    return text;
}

} // namespace korvan::windows1252
