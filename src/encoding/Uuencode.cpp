// uuencode body lines: 45 bytes a line, "`" for the value 0.
#include "encoding/Codecs.h"

#include <QList>

namespace korvan::codec {

namespace {

constexpr qsizetype bytesPerLine = 45;

char encodeSixBits(unsigned value)
{
    value &= 63;
    // "`" rather than a blank for 0, so that no line ends in a blank a
    // transport could strip.
    return value == 0 ? '`' : static_cast<char>(32 + value);
}

unsigned decodeSixBits(char c)
{
    return (static_cast<unsigned char>(c) - 32u) & 63u;
}

void appendLine(QByteArray &out, const unsigned char *bytes, qsizetype count)
{
    out.append(encodeSixBits(unsigned(count)));
    for (qsizetype i = 0; i < count; i += 3) {
        const unsigned group = (unsigned(bytes[i]) << 16) | (i + 1 < count ? unsigned(bytes[i + 1]) << 8 : 0u)
                               | (i + 2 < count ? unsigned(bytes[i + 2]) : 0u);
        for (int shift = 18; shift >= 0; shift -= 6)
            out.append(encodeSixBits(group >> shift));
    }
    out.append("\r\n");
}

// The bytes one body line stands for. Characters missing after the end of the
// line count as 0.
void decodeLine(QByteArray &out, const QByteArray &line)
{
    const unsigned count = decodeSixBits(line.at(0));
    auto sextet = [&line](qsizetype pos) { return pos < line.size() ? decodeSixBits(line.at(pos)) : 0u; };
    for (unsigned k = 0; k < count; k += 3) {
        const qsizetype pos = 1 + qsizetype(k / 3) * 4;
        const unsigned group = (sextet(pos) << 18) | (sextet(pos + 1) << 12) | (sextet(pos + 2) << 6) | sextet(pos + 3);
        for (unsigned j = 0; j < 3 && k + j < count; ++j)
            out.append(static_cast<char>((group >> (16 - 8 * j)) & 0xFF));
    }
}

} // namespace

QByteArray uuEncode(const QByteArray &bytes)
{
    QByteArray out;
    out.reserve(bytes.size() / 3 * 4 + bytes.size() / bytesPerLine * 4 + 8);
    const auto *data = reinterpret_cast<const unsigned char *>(bytes.constData());
    for (qsizetype start = 0; start < bytes.size(); start += bytesPerLine)
        appendLine(out, data + start, qMin(bytesPerLine, bytes.size() - start));
    out.append("`\r\n");
    return out;
}

QByteArray uuDecode(const QByteArray &text)
{
    QByteArray out;
    for (QByteArray line : text.split('\n')) {
        if (line.endsWith('\r'))
            line.chop(1);
        if (line.isEmpty() || line.startsWith("begin "))
            continue;
        if (line == "end" || decodeSixBits(line.at(0)) == 0)
            break;
        decodeLine(out, line);
    }
    return out;
}

} // namespace korvan::codec
