// The upload engine: walk, upload loop, single file.

#include "transfer/UploadEngine.h"

#include "ftp/FtpSession.h"
#include "ftp/RemotePath.h"
#include "transfer/TransferHost.h"

#include <QDir>
#include <QFileInfo>
#include <QSet>

#include <algorithm>

namespace korvan {

namespace {

// The folder the selection lies in: the parent of the first (clean) path.
QString LocalBaseFolder(const QString &firstPath)
{
    const qsizetype cut = firstPath.lastIndexOf(u'/');
    return cut <= 0 ? firstPath.left(cut + 1) : firstPath.left(cut);
}

TransferItem FileItem(const QFileInfo &file)
{
    return {file.filePath(), file.size()};
}

} // namespace

UploadEngine::UploadEngine(FtpSession &session, SessionUi &ui, TransferHost *host)
    : session(session), ui(ui), host(host), loop(session, ui, TransferDirection::Upload)
{}

void UploadEngine::setLocalRoot(const QString &folder)
{
    sLocalRoot = WithTrailingSlash(folder);
}

bool UploadEngine::UploadSelected(const QStringList &localPaths)
{
    if (localPaths.isEmpty() || (localPaths.size() == 1 && localPaths.first().isEmpty()))
        return false;
    const QString base = LocalBaseFolder(QDir::cleanPath(localPaths.first()));
    if (base.isEmpty())
        return false;
    setLocalRoot(base);
    QStringList queue;
    QList<TransferItem> files;
    for (const QString &path : localPaths) {
        const QFileInfo info(QDir::cleanPath(path));
        if (info.isDir())
            queue.append(info.filePath());
        else if (info.isFile())
            files.append(FileItem(info));
    }
    walkFolders(queue, files);
    const bool ok = UploadFiles(base, files);
    ui.unloadProgress();
    if (ok && host)
        host->refreshCurrentFolder();
    return ok;
}

// Breadth-first: every remote folder of a level exists before the next level is
// walked, and all before the first file is sent. A failing MKD (the folder may
// exist already) is ignored. Folders whose name begins with "." are neither made
// nor walked; files beginning with "." are uploaded. Each local folder is taken
// once by its resolved identity: a link back into the tree is skipped (its
// folder comes through its real path), a link out of it is walked once.
void UploadEngine::walkFolders(QStringList queue, QList<TransferItem> &files)
{
    QSet<QString> taken;
    QStringList trees;
    for (const QString &folder : std::as_const(queue)) {
        trees.append(QFileInfo(folder).canonicalFilePath());
        taken.insert(trees.last());
    }
    while (!queue.isEmpty()) {
        const QString folder = queue.takeFirst();
        const QString relative = folder.mid(sLocalRoot.size());
        if (!relative.isEmpty())
            session.MakeDir(relative);
        const QFileInfoList entries = QDir(folder).entryInfoList(
            QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
        for (const QFileInfo &entry : entries) {
            if (entry.isDir()) {
                if (!entry.fileName().startsWith(u'.') && takeFolderOnce(entry, trees, taken))
                    queue.append(entry.filePath());
            } else if (entry.isFile()) {
                files.append(FileItem(entry));
            }
        }
    }
}

// False for a folder already taken and for a link into one of the selected trees.
bool UploadEngine::takeFolderOnce(const QFileInfo &folder, const QStringList &trees, QSet<QString> &taken)
{
    const QString identity = folder.canonicalFilePath();
    const bool intoTree = folder.isSymLink()
                          && std::any_of(trees.begin(), trees.end(), [&identity](const QString &tree) {
                                 return identity == tree || identity.startsWith(WithTrailingSlash(tree));
                             });
    if (identity.isEmpty() || intoTree || taken.contains(identity)) {
        session.LogStatus(LogColour::Magenta, SkippedLinkMessage(folder.filePath().mid(sLocalRoot.size())));
        return false;
    }
    taken.insert(identity);
    return true;
}

bool UploadEngine::UploadFiles(const QString &localBase, const QList<TransferItem> &files)
{
    setLocalRoot(localBase);
    QList<TransferItem> items = files;
    for (TransferItem &item : items) {
        if (item.path.startsWith(sLocalRoot))
            item.path = item.path.mid(sLocalRoot.size());
    }
    return loop.run(sLocalRoot, items, [this](const TransferItem &item) { return UploadFile(item.path, item.size); });
}

TransferOutcome UploadEngine::UploadFile(const QString &relativePath, qint64 size)
{
    const QString localPath = sLocalRoot + relativePath;
    const QString remotePath = relativePath;
    ui.setStatusText(StatusPane::Main, u"Uploading '"_qs + relativePath + u"'..."_qs);
    showLabels(localPath, remotePath);
    return session.StoreFile(localPath, remotePath, size);
}

void UploadEngine::showLabels(const QString &localPath, const QString &remotePath)
{
    if (!host)
        return;
    const QString target = session.settings().sFTPServer + session.sCurrentDir() + remotePath;
    host->progressSetLabels(ShortenPath(localPath.toLower(), kProgressLabelChars),
                            ShortenPath(target.toLower(), kProgressLabelChars), FileNamePart(localPath).toLower());
}

} // namespace korvan
