#include "korvan/cEncode.h"

#include "encoding/Codecs.h"
#include "encoding/Windows1252.h"

#include <algorithm>

namespace korvan {

namespace {

// MIME's line length for Base64 bodies.
constexpr qsizetype mimeBase64LineLength = 76;

bool needsEncoding(char16_t code)
{
    const bool lineControl = code == '\t' || code == '\r' || code == '\n';
    return (code < 32 && !lineControl) || code >= 127;
}

} // namespace

QByteArray cEncode::ConvBytes(const QByteArray &bytes, int mode)
{
    switch (mode) {
    case EscapeBytes:
        return codec::escapeBytes(bytes);
    case UnescapeBytes:
        return codec::unescapeBytes(bytes);
    case Base64Encode:
        return codec::base64Encode(bytes);
    case Base64LinesEncode:
        return codec::base64Encode(bytes, mimeBase64LineLength);
    case Base64Decode:
    case Base64LinesDecode:
        return codec::base64Decode(bytes);
    case UuEncode:
        return codec::uuEncode(bytes);
    case UuDecode:
        return codec::uuDecode(bytes);
    case QuotedPrintableEncode:
        return codec::quotedPrintableEncode(bytes);
    case QuotedPrintableDecode:
        return codec::quotedPrintableDecode(bytes);
    default:
        return bytes;
    }
}

QString cEncode::Conv(const QString &text, int mode)
{
    return windows1252::toUnicode(ConvBytes(windows1252::fromUnicode(text), mode));
}

bool cEncode::IsBinary(const QString &text)
{
    return std::any_of(text.cbegin(), text.cend(), [](QChar c) { return needsEncoding(c.unicode()); });
}

bool cEncode::IsBinary(const QByteArray &bytes)
{
    return std::any_of(bytes.cbegin(), bytes.cend(),
                       [](char c) { return needsEncoding(static_cast<unsigned char>(c)); });
}

QString cEncode::TrimQuotes(const QString &text)
{
    if (text.size() >= 2 && text.startsWith(u'"') && text.endsWith(u'"'))
        return text.mid(1, text.size() - 2);
    return text;
}

} // namespace korvan
