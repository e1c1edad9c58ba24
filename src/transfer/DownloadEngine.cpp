// The download engine: selection walk, download loop, single file.

#include "transfer/DownloadEngine.h"

#include "ftp/FtpSession.h"
#include "korvan/FtpSettings.h"
#include "listing/FolderRetrieval.h"
#include "listing/RemotePath.h"
#include "shell/EventPump.h"
#include "transfer/TransferHost.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QSet>

namespace korvan {

DownloadEngine::DownloadEngine(FtpSession &session, SessionUi &ui, FolderRetrieval &folders, TransferHost *host)
    : session(session), ui(ui), folders(folders), host(host), loop(session, ui, TransferDirection::Download)
{
}

void DownloadEngine::setLocalRoot(const QString &folder)
{
    sLocalRoot = WithTrailingSlash(folder);
}

// Folders are cut by the length of the current folder whatever they begin with;
// a selected file is made relative the same way when it lies below the current
// folder, so that it lands in the local root as the walk's files do.
QString DownloadEngine::relativeToCurrentFolder(const QString &remotePath) const
{
    return remotePath.startsWith(session.sCurrentDir) ? remotePath.mid(session.sCurrentDir.size()) : remotePath;
}

bool DownloadEngine::DownloadSelected(const QString &localFolder, const QString &selection)
{
    static const QRegularExpression lineEnd(u"\r?\n"_qs);
    return DownloadSelected(localFolder, selection.split(lineEnd));
}

bool DownloadEngine::DownloadSelected(const QString &localFolder, const QStringList &selectionLines)
{
    setLocalRoot(localFolder);
    QStringList queue;
    QStringList fileList;
    for (const QString &line : selectionLines) {
        if (line.isEmpty())
            continue;
        const qsizetype mark = line.indexOf(u'?');
        if (mark < 0)
            queue.append(line);
        else
            fileList.append(relativeToCurrentFolder(line.left(mark)) + line.mid(mark));
    }
    walkFolders(queue, fileList);
    bool result = true;
    if (!fileList.isEmpty()) {
        ui.progressSetCaption(BatchCaption(TransferDirection::Download));
        result = DownloadFiles(localFolder, fileList);
    }
    drainEvents();
    return result;
}

// Breadth-first: all files of the whole tree are collected before the first byte
// moves. A folder whose listing fails is skipped; its local folder stays. A folder
// reached a second time (through a link such as "current -> .") is not walked
// again: a link back up would otherwise never let the walk end.
void DownloadEngine::walkFolders(QStringList queue, QStringList &fileList)
{
    const qsizetype currentLength = session.sCurrentDir.size();
    QSet<QString> walked;
    while (!queue.isEmpty()) {
        QString folder = queue.takeFirst();
        if (walked.contains(WithTrailingSlash(folder)))
            continue;
        walked.insert(WithTrailingSlash(folder));
        const QString relative = folder.mid(currentLength);
        if (!insideLocalRoot(sLocalRoot + relative))
            continue;
        QDir().mkpath(sLocalRoot + relative);
        if (!folders.GetList(folder))
            continue;
        const cFTPList *list = folders.cachedList(folder);
        for (qint32 i = 0; list && i < list->FileNumb(); ++i) {
            if (list->IsFolder(i))
                queue.append(list->Path(i));
            else
                fileList.append(TransferListLine(relative + list->FileName(i), list->FileSize(i)));
        }
    }
}

bool DownloadEngine::DownloadFiles(const QString &localFolder, const QStringList &fileList)
{
    setLocalRoot(localFolder);
    return loop.run(sLocalRoot, SplitTransferList(fileList),
                    [this](const TransferItem &item) { return DownloadFile(item.path, item.size); });
}

// A listing may name a file "x/../../../.profile": such a name must not reach
// outside the folder the user chose.
bool DownloadEngine::insideLocalRoot(const QString &localPath) const
{
    const QString root = QDir::cleanPath(sLocalRoot);
    const QString path = QDir::cleanPath(localPath);
    return path == root || path.startsWith(root == u"/"_qs ? root : root + u'/');
}

bool DownloadEngine::DownloadFile(const QString &remotePath, double size)
{
    ui.setStatusText(StatusPane::Main, u"Downloading '"_qs + remotePath + u"'..."_qs);
    const QString localPath = sLocalRoot + remotePath;
    if (!insideLocalRoot(localPath)) {
        session.nTransferResult = TransferResult::Failed;
        return false;
    }
    // A download always replaces the local file, also when it then fails.
    QFile::remove(localPath);
    showLabels(remotePath, localPath);
    if (size == 0) {
        QFile empty(localPath);
        return empty.open(QIODevice::WriteOnly);
    }
    ui.progressSetPrg1(0, size);
    const bool ok = session.RetrieveFile(remotePath, localPath, qint64(size));
    // A transfer that ended early is a failed file, never a successful one: short of
    // the listing's size or of the size the server announced for it.
    const double expected = qMax(size, double(session.nAnnouncedSize));
    if (session.nTransferResult == TransferResult::Succeeded && double(session.nBytesReceived) < expected)
        session.nTransferResult = TransferResult::Failed;
    return ok && session.nTransferResult == TransferResult::Succeeded;
}

void DownloadEngine::showLabels(const QString &remotePath, const QString &localPath)
{
    if (!host)
        return;
    const QString remote = remotePath.startsWith(u'/') ? remotePath : session.sCurrentDir + remotePath;
    const QString source = ftpSettings().sFTPServer + remote;
    host->progressSetLabels(ShortenPath(source.toLower(), kProgressLabelChars),
                            ShortenPath(localPath.toLower(), kProgressLabelChars),
                            FileNamePart(remotePath).toLower());
}

} // namespace korvan
