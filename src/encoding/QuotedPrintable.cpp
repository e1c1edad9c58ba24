// Quoted-printable (RFC 2045).
#include "encoding/Codecs.h"

namespace korvan::codec {

namespace {

// Encoded lines hold at most 76 characters, the "=" of a soft break included.
constexpr qsizetype maxLineLength = 76;

bool isBlank(char c)
{
    return c == ' ' || c == '\t';
}

bool isLineBreakAt(const QByteArray &bytes, qsizetype pos)
{
    return pos + 1 < bytes.size() && bytes.at(pos) == '\r' && bytes.at(pos + 1) == '\n';
}

// Whether the byte at `pos` may stand as itself in the encoded text.
bool staysLiteral(const QByteArray &bytes, qsizetype pos)
{
    const auto c = static_cast<unsigned char>(bytes.at(pos));
    if (isBlank(static_cast<char>(c))) {
        // A blank before a line break or at the end would be lost to transports.
        return pos + 1 < bytes.size() && !isLineBreakAt(bytes, pos + 1);
    }
    return c >= 33 && c <= 126 && c != '=';
}

// Position after a soft break that starts with the "=" at `pos` ("=", blanks,
// then CR LF or LF), or -1 when there is none.
qsizetype softBreakEnd(const QByteArray &text, qsizetype pos)
{
    qsizetype i = pos + 1;
    while (i < text.size() && isBlank(text.at(i)))
        ++i;
    if (isLineBreakAt(text, i))
        return i + 2;
    if (i < text.size() && text.at(i) == '\n')
        return i + 1;
    return -1;
}

} // namespace

QByteArray quotedPrintableEncode(const QByteArray &bytes)
{
    QByteArray out;
    out.reserve(bytes.size() * 3 / 2 + 8);
    qsizetype lineLength = 0;
    for (qsizetype i = 0; i < bytes.size(); ++i) {
        if (isLineBreakAt(bytes, i)) {
            out.append("\r\n");
            lineLength = 0;
            ++i;
            continue;
        }
        char token[3] = {bytes.at(i)};
        const qsizetype tokenLength = staysLiteral(bytes, i)
                                          ? 1
                                          : writeEscaped(token, static_cast<unsigned char>(bytes.at(i))) - token;
        if (lineLength + tokenLength > maxLineLength - 1) {
            out.append("=\r\n");
            lineLength = 0;
        }
        out.append(token, tokenLength);
        lineLength += tokenLength;
    }
    return out;
}

QByteArray quotedPrintableDecode(const QByteArray &text)
{
    QByteArray out;
    out.reserve(text.size());
    QByteArray pendingBlanks; // dropped when the line or the text ends after them
    auto appendByte = [&](char c) {
        if (!pendingBlanks.isEmpty()) {
            out.append(pendingBlanks);
            pendingBlanks.clear();
        }
        out.append(c);
    };
    qsizetype i = 0;
    while (i < text.size()) {
        const char c = text.at(i);
        if (c == '=') {
            const int value = hexPairAt(text, i + 1);
            const qsizetype afterSoftBreak = value < 0 ? softBreakEnd(text, i) : -1;
            if (value >= 0) {
                appendByte(static_cast<char>(value));
                i += 3;
            } else if (afterSoftBreak >= 0) {
                // Blanks before the "=" are data: the "=" protects them.
                out.append(pendingBlanks);
                pendingBlanks.clear();
                i = afterSoftBreak;
            } else {
                appendByte(c);
                ++i;
            }
        } else if (isLineBreakAt(text, i) || c == '\n') {
            pendingBlanks.clear();
            out.append("\r\n");
            i += c == '\n' ? 1 : 2;
        } else if (isBlank(c)) {
            pendingBlanks.append(c);
            ++i;
        } else {
            appendByte(c);
            ++i;
        }
    }
    return out;
}

} // namespace korvan::codec
