#include "ftp/ReplyRules.h"

#include <QStringConverter>
#include <QStringDecoder>
#include <QStringList>

#include <cstring>

namespace korvan {

QString ReplyCode(const QString &line)
{
    if (line.size() < 4 || line.at(3) != u' ')
        return {};
    for (int i = 0; i < 3; ++i) {
        if (!line.at(i).isDigit() || line.at(i).unicode() > '9')
            return {};
    }
    return line.left(3);
}

ReplyAction ClassifyReply(const QString &code)
{
    if (code.isEmpty())
        return ReplyAction::None;
    if (code == u"125" || code == u"150")
        return ReplyAction::TransferStarting;
    if (code == u"200" || code == u"202" || code == u"215" || code == u"220" || code == u"221" || code == u"230"
        || code == u"234" || code == u"250" || code == u"331")
        return ReplyAction::Complete;
    if (code == u"225")
        return ReplyAction::CompleteIfAbort;
    if (code == u"226")
        return ReplyAction::CompleteIfAbortOrStore;
    if (code == u"227" || code == u"229")
        return ReplyAction::PassiveAddress;
    if (code == u"257")
        return ReplyAction::FolderReply;
    if (code == u"350")
        return ReplyAction::RenamePending;
    if (IsErrorReply(code))
        return ReplyAction::Fail;
    // 110, 120 and 211 to 214 deliberately complete nothing.
    return ReplyAction::None;
}

bool IsErrorReply(const QString &code)
{
    return code == u"332" || (!code.isEmpty() && code >= u"400");
}

QString MaskPassword(const QString &text)
{
    if (!text.contains(u"PASS"))
        return text;
    return u"PASS "_qs + QString(qMax(0, int(text.size()) - 5), u'*');
}

QString DecodeWireText(const QByteArray &bytes)
{
    QStringDecoder utf8(QStringConverter::Utf8, QStringConverter::Flag::Stateless);
    QString text = utf8.decode(bytes);
    if (!utf8.hasError())
        return text;
    return QString::fromLatin1(bytes);
}

namespace {

bool IsAscii(const QString &text)
{
    for (QChar c : text) {
        if (c.unicode() > 0x7F)
            return false;
    }
    return true;
}

bool FitsLatin1(const QString &text)
{
    for (QChar c : text) {
        if (c.unicode() > 0xFF)
            return false;
    }
    return true;
}

} // namespace

QString DecodeWireLines(const QByteArray &bytes, QSet<QString> *fallbackLines)
{
    // Mostly the whole listing is valid UTF-8: one pass, and no line is Latin-1.
    // A byte order mark would be dropped at the start of each line, so a text
    // holding one goes line by line.
    if (!bytes.contains("\xEF\xBB\xBF")) {
        QStringDecoder utf8(QStringConverter::Utf8, QStringConverter::Flag::Stateless);
        QString whole = utf8.decode(bytes);
        if (!utf8.hasError())
            return whole;
    }
    QString text;
    text.reserve(bytes.size());
    for (qsizetype start = 0; start < bytes.size();) {
        qsizetype end = bytes.indexOf('\n', start);
        end = end < 0 ? bytes.size() : end + 1;
        text += DecodeWireLine(QByteArrayView(bytes).sliced(start, end - start), fallbackLines);
        start = end;
    }
    return text;
}

QString DecodeWireLine(QByteArrayView line, QSet<QString> *fallbackLines)
{
    const QByteArray bytes = line.toByteArray();
    QString decoded = DecodeWireText(bytes);
    if (fallbackLines && !IsAscii(decoded) && decoded != QString::fromUtf8(bytes))
        fallbackLines->insert(decoded);
    return decoded;
}

qsizetype CountLineFeeds(QByteArrayView bytes)
{
    qsizetype count = 0;
    const char *at = bytes.data();
    const char *const end = at + bytes.size();
    while (at < end) {
        at = static_cast<const char *>(std::memchr(at, '\n', size_t(end - at)));
        if (!at)
            break;
        ++count;
        ++at;
    }
    return count;
}

QByteArray EncodeWireText(const QString &text, const QString &argument, const QSet<QString> &fallbackLines)
{
    if (IsAscii(text) || !FitsLatin1(text) || argument.isEmpty())
        return text.toUtf8();
    for (const QString &line : fallbackLines) {
        if (line.contains(argument))
            return text.toLatin1();
    }
    return text.toUtf8();
}

QString FormatPortArgument(const QString &localIP, quint16 localPort)
{
    QString hex = QString::number(localPort, 16).toUpper();
    if (hex.size() == 3)
        hex.prepend(u'0');
    const int highByte = hex.left(2).toInt(nullptr, 16);
    const int lowByte = localPort & 255;
    QString address = localIP;
    address.replace(u'.', u',');
    return address + u',' + QString::number(highByte) + u',' + QString::number(lowByte);
}

namespace {

std::optional<int> ByteValue(const QString &text)
{
    bool ok = false;
    const int value = text.trimmed().toInt(&ok, 10);
    if (!ok || value < 0 || value > 255)
        return std::nullopt;
    return value;
}

} // namespace

std::optional<PassiveAddress> ParsePassiveReply(const QString &line)
{
    const qsizetype open = line.indexOf(u'(');
    const qsizetype close = line.indexOf(u')');
    if (open < 0 || close <= open)
        return std::nullopt;
    const QStringList pieces = line.mid(open + 1, close - open - 1).split(u',');
    if (pieces.size() != 6)
        return std::nullopt;
    int bytes[6];
    for (int i = 0; i < 6; ++i) {
        const std::optional<int> value = ByteValue(pieces.at(i));
        if (!value)
            return std::nullopt;
        bytes[i] = *value;
    }
    PassiveAddress result;
    result.address = QStringLiteral("%1.%2.%3.%4").arg(bytes[0]).arg(bytes[1]).arg(bytes[2]).arg(bytes[3]);
    result.port = quint16(bytes[4] * 256 + bytes[5]);
    return result;
}

std::optional<quint16> ParseExtendedPassiveReply(const QString &line)
{
    const qsizetype open = line.indexOf(u'(');
    const qsizetype close = line.indexOf(u')', open + 1);
    if (open < 0 || close < 0)
        return std::nullopt;
    // "|||port|": the delimiter is the first character and may be any printable one.
    const QString inside = line.mid(open + 1, close - open - 1);
    if (inside.size() < 5)
        return std::nullopt;
    const QStringList fields = inside.split(inside.at(0));
    if (fields.size() != 5 || !fields.at(1).isEmpty() || !fields.at(2).isEmpty() || !fields.at(4).isEmpty())
        return std::nullopt;
    bool ok = false;
    const uint port = fields.at(3).toUInt(&ok, 10);
    if (!ok || port == 0 || port > 65535)
        return std::nullopt;
    return quint16(port);
}

QString FormatExtendedPortArgument(const QString &localIP, bool ipv6, quint16 localPort)
{
    return (ipv6 ? u"|2|"_qs : u"|1|"_qs) + localIP + u'|' + QString::number(localPort) + u'|';
}

qint64 ParseTransferSize(const QString &line)
{
    const qsizetype open = line.lastIndexOf(u'(');
    const qsizetype close = line.lastIndexOf(u')');
    if (open < 0 || close <= open)
        return -1;
    const QString inside = line.mid(open + 1, close - open - 1).section(u' ', 0, 0);
    bool ok = false;
    const qint64 size = inside.toLongLong(&ok);
    return ok && size >= 0 ? size : -1;
}

QString ParseFolderReply(const QString &line)
{
    const QString folder = line.section(u'"', 1, 1);
    return folder == u"/" ? folder : folder + u'/';
}

QString WaitTooLongText(int waitSeconds)
{
    return u"Wait too long ("_qs + QString::number(waitSeconds)
           + u" seconds) !\r\n"_qs
             u"If your FTP command does not work, switch passive mode !\r\n"
             u"Do you want to wait the server response ?\r\n"_qs;
}

QString LogOnFailedText(const QString &server, const QString &lastCommand)
{
    return u"Log on failed to "_qs + server + u".\r\nLast command was "_qs + MaskPassword(lastCommand)
           + u"\r\nTry again ? "_qs;
}

bool HoldsLineBreakOrNul(const QString &text)
{
    return text.contains(u'\r') || text.contains(u'\n') || text.contains(QChar(0));
}

QString VisibleControlCharacters(const QString &text)
{
    QString visible = text;
    return visible.replace(u'\r', u"\\r"_qs).replace(u'\n', u"\\n"_qs).replace(QChar(0), u"\\0"_qs);
}

QString UnsendableNameText(const QString &name)
{
    return u"Not sent: '"_qs + VisibleControlCharacters(name) + u"' holds a line break or a NUL character."_qs;
}

QString ListingCutText(qint64 maxBytes, qint64 maxLines)
{
    return u"The listing is longer than "_qs + QString::number(maxBytes / (1024 * 1024)) + u" MiB or "_qs
           + QString::number(maxLines) + u" lines: it was cut there and the folder shows what was read."_qs;
}

QString DataConnectionOverdueText(int waitSeconds)
{
    return u"The server answered, but its data connection did not open within "_qs + QString::number(waitSeconds)
           + u" seconds."_qs;
}

QString DownloadWriteFailedText(const QString &fileName)
{
    return u"Downloading '"_qs + fileName
           + u"' is failed.\r\n"_qs
             u"The server response is too fast to syncronize WinSock control.\r\n"
             u"Before retrieving some final data transfered, the WinSock control is closing.\r\n\r\n"
             u"Change Passive Mode and try it again !!!\r\n"_qs;
}

QString UploadSendFailedText(const QString &fileName)
{
    // The upload message says "Downloading" too: users know it in this wording.
    return u"Downloading '"_qs + fileName + u"' is failed.\r\nSWITCH PASSIVE MODE, if it fails again."_qs;
}

} // namespace korvan
