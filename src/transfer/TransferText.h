#pragma once
// Texts and small conversions shared by the download and upload engines.

#include <QString>
#include <QStringList>

namespace korvan {

// Which way a batch goes; it names the messages ("Downloading ..."/"Uploading ...").
enum class TransferDirection { Download, Upload };

// One entry of a transfer: a file with its size, or a folder.
struct TransferItem {
    QString path;
    qint64 size = 0;
    bool isFolder = false;
};

// The line form of the download list text and the hand-over file: "path?size"
// for a file (the size as the listing shows it, "1,234"), the path alone
// ("path/") for a folder. Empty lines are skipped.
QList<TransferItem> ParseTransferLines(const QStringList &lines);
QString TransferListLine(const TransferItem &item);

// The name after the last "/" or "\" ("b.txt"), and the same in single quotes.
QString FileNamePart(const QString &path);
QString QuotedFileName(const QString &path);

// A path cut in the middle to at most maxChars characters, at "/" or "\"
// boundaries, with "..." for what was cut: "/home/me/.../deep/file.txt". Whole
// components are kept at both ends, so a path of two long components stays longer
// than maxChars.
QString ShortenPath(const QString &path, int maxChars);

// Width of the progress dialog's path labels, in characters.
inline constexpr int kProgressLabelChars = 48;

// The per-file and per-batch messages in the log.
QString TransferVerb(TransferDirection direction); // "Downloading" / "Uploading"
QString ZeroSizeMessage(TransferDirection direction, const QString &path);
QString FileFailedMessage(TransferDirection direction, const QString &path);
QString FileSucceededMessage(TransferDirection direction, const QString &path);
// A folder link the upload walk does not follow (it leads into the tree or to a
// folder already taken).
QString SkippedLinkMessage(const QString &path);
QString BatchAbortedMessage(TransferDirection direction);
QString BatchStatusText(TransferDirection direction, qsizetype fileCount);
QString BatchCaption(TransferDirection direction); // "Downloading..." / "Uploading..."

} // namespace korvan
