// The download engine: selection walk, download loop, single file.

#include "transfer/DownloadEngine.h"

#include "ftp/FtpSession.h"
#include "ftp/RemotePath.h"
#include "listing/FolderRetrieval.h"
#include "listing/ListingSize.h"
#include "shell/EventPump.h"
#include "transfer/TransferHost.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QSet>

namespace korvan {

DownloadEngine::DownloadEngine(FtpSession &session, SessionUi &ui, FolderRetrieval &folders, TransferHost *host)
    : session(session), ui(ui), folders(folders), host(host), loop(session, ui, TransferDirection::Download)
{}

void DownloadEngine::setLocalRoot(const QString &folder)
{
    sLocalRoot = WithTrailingSlash(folder);
}

// Folders are cut by the length of the current folder whatever they begin with;
// a selected file is made relative the same way when it lies below the current
// folder, so that it lands in the local root as the walk's files do.
QString DownloadEngine::relativeToCurrentFolder(const QString &remotePath) const
{
    const QString current = session.sCurrentDir();
    return remotePath.startsWith(current) ? remotePath.mid(current.size()) : remotePath;
}

bool DownloadEngine::DownloadSelected(const QString &localFolder, const QString &selection)
{
    static const QRegularExpression lineEnd(u"\r?\n"_qs);
    return DownloadSelected(localFolder, selection.split(lineEnd));
}

bool DownloadEngine::DownloadSelected(const QString &localFolder, const QStringList &selectionLines)
{
    return DownloadSelected(localFolder, ParseTransferLines(selectionLines));
}

bool DownloadEngine::DownloadSelected(const QString &localFolder, const QList<TransferItem> &selection)
{
    setLocalRoot(localFolder);
    QStringList queue;
    QList<TransferItem> files;
    for (const TransferItem &item : selection) {
        if (item.isFolder)
            queue.append(item.path);
        else
            files.append({relativeToCurrentFolder(item.path), item.size});
    }
    walkFolders(queue, files);
    bool result = true;
    if (!files.isEmpty()) {
        ui.progressSetCaption(BatchCaption(TransferDirection::Download));
        result = DownloadFiles(localFolder, files);
    }
    drainEvents();
    // As after an upload: the dialog goes, so the window is no longer busy.
    ui.unloadProgress();
    return result;
}

// Breadth-first: all files of the whole tree are collected before the first byte
// moves. A folder whose listing fails is skipped; its local folder stays. A folder
// reached a second time (through a link such as "current -> .") is not walked
// again: a link back up would otherwise never let the walk end.
void DownloadEngine::walkFolders(QStringList queue, QList<TransferItem> &files)
{
    const qsizetype currentLength = session.sCurrentDir().size();
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
                files.append({relative + list->FileName(i), SizeTextBytes(list->FileSize(i))});
        }
    }
}

bool DownloadEngine::DownloadFiles(const QString &localFolder, const QList<TransferItem> &files)
{
    setLocalRoot(localFolder);
    return loop.run(sLocalRoot, files, [this](const TransferItem &item) { return DownloadFile(item.path, item.size); });
}

// A listing may name a file "x/../../../.profile": such a name must not reach
// outside the folder the user chose.
bool DownloadEngine::insideLocalRoot(const QString &localPath) const
{
    const QString root = QDir::cleanPath(sLocalRoot);
    const QString path = QDir::cleanPath(localPath);
    return path == root || path.startsWith(root == u"/"_qs ? root : root + u'/');
}

TransferOutcome DownloadEngine::DownloadFile(const QString &remotePath, qint64 size)
{
    ui.setStatusText(StatusPane::Main, u"Downloading '"_qs + remotePath + u"'..."_qs);
    const QString localPath = sLocalRoot + remotePath;
    if (!insideLocalRoot(localPath))
        return {TransferResult::Failed, u"the name leads outside the local folder"_qs};
    // A download always replaces the local file, also when it then fails.
    QFile::remove(localPath);
    showLabels(remotePath, localPath);
    if (size == 0) {
        QFile empty(localPath);
        if (empty.open(QIODevice::WriteOnly))
            return {};
        return {TransferResult::Failed, empty.errorString()};
    }
    ui.progressSetPrg1(0, double(size));
    return session.RetrieveFile(remotePath, localPath, size);
}

void DownloadEngine::showLabels(const QString &remotePath, const QString &localPath)
{
    if (!host)
        return;
    const QString remote = remotePath.startsWith(u'/') ? remotePath : session.sCurrentDir() + remotePath;
    const QString source = session.settings().sFTPServer + remote;
    host->progressSetLabels(ShortenPath(source.toLower(), kProgressLabelChars),
                            ShortenPath(localPath.toLower(), kProgressLabelChars), FileNamePart(remotePath).toLower());
}

} // namespace korvan
