// Texts and small conversions shared by the download and upload engines.

#include "transfer/TransferText.h"

#include "listing/ListingSize.h"

#include <algorithm>

namespace korvan {

QList<TransferItem> ParseTransferLines(const QStringList &lines)
{
    QList<TransferItem> items;
    for (const QString &line : lines) {
        if (line.isEmpty())
            continue;
        const qsizetype mark = line.indexOf(u'?');
        if (mark < 0)
            items.append({line, 0, true});
        else
            items.append({line.left(mark), SizeTextBytes(line.mid(mark + 1)), false});
    }
    return items;
}

QString TransferListLine(const TransferItem &item)
{
    return item.isFolder ? item.path : item.path + u'?' + QString::number(item.size);
}

QString FileNamePart(const QString &path)
{
    const qsizetype cut = qMax(path.lastIndexOf(u'/'), path.lastIndexOf(u'\\'));
    return path.mid(cut + 1);
}

QString QuotedFileName(const QString &path)
{
    return u'\'' + FileNamePart(path) + u'\'';
}

namespace {

bool IsSeparator(QChar c)
{
    return c == u'/' || c == u'\\';
}

// Ends of the leading components: head may end after any separator.
QList<qsizetype> SeparatorPositions(const QString &path)
{
    QList<qsizetype> positions;
    for (qsizetype i = 0; i < path.size(); ++i) {
        if (IsSeparator(path.at(i)))
            positions.append(i);
    }
    return positions;
}

} // namespace

QString ShortenPath(const QString &path, int maxChars)
{
    if (path.size() <= maxChars)
        return path;
    const QList<qsizetype> separators = SeparatorPositions(path);
    // Keep the first component (with its separator) and the last (with the one
    // before it), then grow the kept ends alternately while they still fit.
    const auto firstInner = std::find_if(separators.cbegin(), separators.cend(), [](qsizetype s) { return s > 0; });
    if (firstInner == separators.cend())
        return path;                         // one component only: nothing to cut at a boundary
    qsizetype headEnd = *firstInner + 1;     // one past the kept head
    qsizetype tailStart = separators.last(); // the separator before the kept tail
    if (headEnd > tailStart)
        return path;
    const QString ellipsis = u"..."_qs;
    auto length = [&](qsizetype head, qsizetype tail) { return head + ellipsis.size() + (path.size() - tail); };
    bool grew = true;
    while (grew) {
        grew = false;
        const auto nextHead = std::find_if(separators.cbegin(), separators.cend(),
                                           [&](qsizetype s) { return s + 1 > headEnd; });
        if (nextHead != separators.cend() && *nextHead < tailStart && length(*nextHead + 1, tailStart) <= maxChars) {
            headEnd = *nextHead + 1;
            grew = true;
        }
        const auto previousTail = std::find_if(separators.crbegin(), separators.crend(),
                                               [&](qsizetype s) { return s < tailStart; });
        if (previousTail != separators.crend() && *previousTail >= headEnd
            && length(headEnd, *previousTail) <= maxChars) {
            tailStart = *previousTail;
            grew = true;
        }
    }
    if (headEnd > tailStart || length(headEnd, tailStart) >= path.size())
        return path;
    return path.left(headEnd) + ellipsis + path.mid(tailStart);
}

QString TransferVerb(TransferDirection direction)
{
    return direction == TransferDirection::Download ? u"Downloading"_qs : u"Uploading"_qs;
}

QString ZeroSizeMessage(TransferDirection direction, const QString &path)
{
    return TransferVerb(direction) + u' ' + QuotedFileName(path) + u" is aborted since it has 0 size."_qs;
}

QString FileFailedMessage(TransferDirection direction, const QString &path)
{
    return TransferVerb(direction) + u' ' + QuotedFileName(path) + u" is failed."_qs;
}

QString FileSucceededMessage(TransferDirection direction, const QString &path)
{
    return TransferVerb(direction) + u' ' + QuotedFileName(path) + u" is successful."_qs;
}

QString SkippedLinkMessage(const QString &path)
{
    return u"Skipped link '"_qs + path + u"': its folder is uploaded already."_qs;
}

QString BatchAbortedMessage(TransferDirection direction)
{
    return TransferVerb(direction) + u" file(s) is aborted by user."_qs;
}

QString BatchStatusText(TransferDirection direction, qsizetype fileCount)
{
    return TransferVerb(direction) + u' ' + QString::number(fileCount) + u" files and folders..."_qs;
}

QString BatchCaption(TransferDirection direction)
{
    return TransferVerb(direction) + u"..."_qs;
}

} // namespace korvan
