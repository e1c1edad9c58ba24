#pragma once
// Pure text rules of the control connection: reply codes and their meaning,
// password masking, the PORT argument and the parsing of 227 and 150 replies.

#include <QByteArray>
#include <QSet>
#include <QString>
#include <optional>

namespace korvan {

// What the dispatcher does with a reply code.
enum class ReplyAction {
    None,                   // keep waiting
    TransferStarting,       // 125, 150: an upload starts sending; a download learns its size
    Complete,               // the command succeeded
    CompleteIfAbort,        // 225
    CompleteIfAbortOrStore, // 226
    PassiveAddress,         // 227, and 229 to EPSV
    FolderReply,            // 257
    RenamePending,          // 350
    Fail,                   // 332 and everything from 400 up
};

// The code of a final reply line ("250 ok" -> "250"); empty for continuation
// lines and text without a code.
QString ReplyCode(const QString &line);
ReplyAction ClassifyReply(const QString &code);
// Red in the log: 332 and every code from 400 up (compared as text).
bool IsErrorReply(const QString &code);

// Any text holding "PASS" becomes "PASS " and one "*" per character beyond the fifth.
QString MaskPassword(const QString &text);

// Wire bytes to text: UTF-8 when valid, otherwise Latin-1.
QString DecodeWireText(const QByteArray &bytes);
// The same line by line (a listing may mix both); lines that needed Latin-1 and
// hold non-ASCII characters are added to fallbackLines.
QString DecodeWireLines(const QByteArray &bytes, QSet<QString> *fallbackLines = nullptr);
// One line of those (up to and with its line feed), decoded as DecodeWireLines does.
QString DecodeWireLine(QByteArrayView line, QSet<QString> *fallbackLines = nullptr);
// Line feeds in `bytes`, counted with the C library's vectorised search.
qsizetype CountLineFeeds(QByteArrayView bytes);
// Text to wire bytes: a text that came as Latin-1 (it occurs in one of
// fallbackLines) goes back as the same Latin-1 bytes, everything else as UTF-8.
QByteArray EncodeWireText(const QString &text, const QString &argument, const QSet<QString> &fallbackLines);

// "127,0,0,1,18,52" for 127.0.0.1 port 4660; the high byte comes from the
// hexadecimal text of the port, so ports below 256 give their whole value there.
QString FormatPortArgument(const QString &localIP, quint16 localPort);

struct PassiveAddress {
    QString address;
    quint16 port = 0;
};
// The address in the parentheses of a 227 line; nothing when it cannot be read.
std::optional<PassiveAddress> ParsePassiveReply(const QString &line);

// The port in a 229 reply to EPSV ("229 Entering Extended Passive Mode (|||6446|)");
// nothing when it cannot be read. The address is always the control connection's.
std::optional<quint16> ParseExtendedPassiveReply(const QString &line);
// The EPRT argument for a listening address and port: "|2|::1|6446|" ("|1|" for IPv4).
QString FormatExtendedPortArgument(const QString &localIP, bool ipv6, quint16 localPort);

// The size a 150 reply announces between its last parentheses ("(1234 bytes)");
// -1 when there is none.
qint64 ParseTransferSize(const QString &line);

// The folder quoted in a 257 reply, with "/" appended unless it is "/".
QString ParseFolderReply(const QString &line);

QString WaitTooLongText(int waitSeconds);
QString LogOnFailedText(const QString &server, const QString &lastCommand);
// True when the text holds CR, LF or NUL: it must never go out as (part of) a command.
bool HoldsLineBreakOrNul(const QString &text);
// The text with CR, LF and NUL written as "\r", "\n" and "\0", for the log.
QString VisibleControlCharacters(const QString &text);
// The red line for a name that cannot be sent.
QString UnsendableNameText(const QString &name);
// The red line for a listing cut at its limits.
QString ListingCutText(qint64 maxBytes, qint64 maxLines);
// The data connection of an answered transfer command did not come up in time.
QString DataConnectionOverdueText(int waitSeconds);
QString DownloadWriteFailedText(const QString &fileName);
QString UploadSendFailedText(const QString &fileName);

} // namespace korvan
