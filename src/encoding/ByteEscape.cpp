// "=XX" escapes: the form the password cipher stores every byte in.
#include "encoding/Codecs.h"

namespace korvan::codec {

namespace {

constexpr char upperHexDigits[] = "0123456789ABCDEF";
// A byte of this value or more starts a double-byte character in the reading
// of UnescapeBytes; 0x80 itself counts as a single byte.
constexpr int firstLeadByte = 129;

int hexDigitValue(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    return -1;
}

} // namespace

int hexPairAt(const QByteArray &text, qsizetype pos)
{
    if (pos < 0 || pos + 2 > text.size())
        return -1;
    const int high = hexDigitValue(text.at(pos));
    const int low = hexDigitValue(text.at(pos + 1));
    if (high < 0 || low < 0)
        return -1;
    return high * 16 + low;
}

char *writeEscaped(char *out, unsigned char byte)
{
    *out++ = '=';
    *out++ = upperHexDigits[byte >> 4];
    *out++ = upperHexDigits[byte & 0x0F];
    return out;
}

void appendEscaped(QByteArray &out, unsigned char byte)
{
    char escaped[3];
    writeEscaped(escaped, byte);
    out.append(escaped, 3);
}

QByteArray escapeBytes(const QByteArray &bytes)
{
    QByteArray out(bytes.size() * 3, Qt::Uninitialized);
    char *next = out.data();
    for (const char byte : bytes)
        next = writeEscaped(next, static_cast<unsigned char>(byte));
    return out;
}

QByteArray unescapeBytes(const QByteArray &escaped)
{
    QByteArray text = escaped;
    text.replace('_', ' ');
    // Every step writes at most as many bytes as it reads.
    QByteArray out(text.size(), Qt::Uninitialized);
    char *next = out.data();
    qsizetype i = 0;
    while (i < text.size()) {
        const int value = text.at(i) == '=' ? hexPairAt(text, i + 1) : -1;
        if (value < 0) {
            *next++ = text.at(i);
            i += 1;
            continue;
        }
        *next++ = static_cast<char>(value);
        i += 3;
        if (value < firstLeadByte)
            continue;
        // The trail byte's digits sit after the next "=", which is not checked.
        const int trail = hexPairAt(text, i + 1);
        if (trail >= 0) {
            *next++ = static_cast<char>(trail);
            i += 3;
        }
    }
    out.truncate(next - out.constData());
    return out;
}

} // namespace korvan::codec
