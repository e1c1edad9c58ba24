// Base64 (RFC 4648 standard alphabet), with optional MIME line breaks.
#include "encoding/Codecs.h"

#include <array>

namespace korvan::codec {

namespace {

constexpr char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr int notInAlphabet = -1;

constexpr std::array<int, 256> makeDecodeTable()
{
    std::array<int, 256> table{};
    for (int &value : table)
        value = notInAlphabet;
    for (int i = 0; i < 64; ++i)
        table[static_cast<unsigned char>(alphabet[i])] = i;
    return table;
}

constexpr std::array<int, 256> decodeTable = makeDecodeTable();

void appendQuantum(QByteArray &out, const unsigned char *bytes, qsizetype count)
{
    const unsigned group = (unsigned(bytes[0]) << 16) | (count > 1 ? unsigned(bytes[1]) << 8 : 0u)
                           | (count > 2 ? unsigned(bytes[2]) : 0u);
    out.append(alphabet[(group >> 18) & 63]);
    out.append(alphabet[(group >> 12) & 63]);
    out.append(count > 1 ? alphabet[(group >> 6) & 63] : '=');
    out.append(count > 2 ? alphabet[group & 63] : '=');
}

QByteArray breakLines(const QByteArray &text, qsizetype lineLength)
{
    QByteArray out;
    out.reserve(text.size() + 2 * (text.size() / lineLength + 1));
    for (qsizetype start = 0; start < text.size(); start += lineLength) {
        if (start > 0)
            out.append("\r\n");
        out.append(text.mid(start, lineLength));
    }
    return out;
}

} // namespace

QByteArray base64Encode(const QByteArray &bytes, qsizetype lineLength)
{
    QByteArray out;
    out.reserve((bytes.size() + 2) / 3 * 4);
    const auto *data = reinterpret_cast<const unsigned char *>(bytes.constData());
    for (qsizetype i = 0; i < bytes.size(); i += 3)
        appendQuantum(out, data + i, qMin<qsizetype>(3, bytes.size() - i));
    return lineLength > 0 ? breakLines(out, lineLength) : out;
}

QByteArray base64Decode(const QByteArray &text)
{
    QByteArray out;
    out.reserve(text.size() / 4 * 3 + 2);
    unsigned bits = 0;
    int bitCount = 0;
    for (const char c : text) {
        if (c == '=')
            break;
        const int value = decodeTable[static_cast<unsigned char>(c)];
        if (value == notInAlphabet)
            continue;
        bits = ((bits << 6) | unsigned(value)) & 0xFFF; // at most 12 bits pending
        bitCount += 6;
        if (bitCount >= 8) {
            bitCount -= 8;
            out.append(static_cast<char>((bits >> bitCount) & 0xFF));
        }
    }
    return out;
}

} // namespace korvan::codec
