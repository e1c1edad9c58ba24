#include "EntryJson.h"

namespace korvan::cli {

namespace {

void appendJsonString(QByteArray &out, const QString &text)
{
    static constexpr char hex[] = "0123456789abcdef";
    out += '"';
    const QByteArray utf8 = text.toUtf8();
    for (const char c : utf8) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') {
            out += '\\';
            out += c;
        } else if (byte < 0x20) {
            out += "\\u00";
            out += hex[byte >> 4];
            out += hex[byte & 0xf];
        } else {
            out += c;
        }
    }
    out += '"';
}

void appendField(QByteArray &out, const char *key, const QString &value)
{
    out += out.isEmpty() ? "{\"" : ",\"";
    out += key;
    out += "\":";
    appendJsonString(out, value);
}

void appendField(QByteArray &out, const char *key, bool value)
{
    out += ",\"";
    out += key;
    out += "\":";
    out += value ? "true" : "false";
}

} // namespace

QByteArray EntryJsonLine(const cFTPList &list, qint32 index)
{
    QByteArray out;
    appendField(out, "FileName", list.FileName(index));
    appendField(out, "FileSize", list.FileSize(index));
    appendField(out, "FileAttr", list.FileAttr(index));
    appendField(out, "FileLink", list.FileLink(index));
    appendField(out, "FileDate", list.FileDate(index));
    appendField(out, "bFolder", list.IsFolder(index));
    appendField(out, "IsLink", list.IsLink(index));
    appendField(out, "Path", list.Path(index));
    out += "}\n";
    return out;
}

} // namespace korvan::cli
