#include "explorer/HandOver.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>
#include <QTemporaryFile>
#include <QUrl>

namespace korvan {

namespace {
const QString kPrefix = QStringLiteral("KWZ");
} // namespace

bool IsHandOverName(const QString &fileName)
{
    return fileName.startsWith(kPrefix);
}

QString WriteHandOverFile(const QString &tempDir, const QList<TransferItem> &items)
{
    QTemporaryFile file(QDir(tempDir).filePath(kPrefix + u"XXXXXX.tmp"_qs));
    file.setAutoRemove(false);
    if (!file.open())
        return {};
    QString text;
    for (const TransferItem &item : items)
        text += TransferListLine(item) + u"\r\n"_qs;
    file.write(text.toUtf8());
    return file.fileName();
}

QList<TransferItem> ReadHandOverFile(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return ParseTransferLines(QString::fromUtf8(file.readAll()).split(u"\r\n"_qs));
}

bool IsTrashFolder(const QString &folder)
{
    const QString upper = folder.toUpper();
    return upper.contains(u"RECYCLED"_qs) || upper.contains(u"TRASH"_qs);
}

QString ArrivalFolderOf(const QString &target, bool namesFile)
{
    QString path = target;
    if (target.startsWith(u"desktop:"_qs))
        return QStandardPaths::writableLocation(QStandardPaths::DesktopLocation);
    if (target.contains(u"://"_qs)) {
        const QUrl url(target);
        if (!url.isLocalFile())
            return target;
        path = url.toLocalFile();
    }
    return QDir::cleanPath(namesFile ? QFileInfo(path).path() : path);
}

bool IsLocalFolder(const QString &folder)
{
    return folder.startsWith(u'/') && QFileInfo(folder).isDir();
}

QString DownloadQuestion(const QList<TransferItem> &items)
{
    QString text = u"Download following files and folders ?\nIf files already exist, they will be overwritten.\n"_qs;
    for (const TransferItem &item : items)
        text += u'\n' + item.path + u"  size="_qs + (item.isFolder ? QString() : QString::number(item.size));
    return text;
}

} // namespace korvan
