#pragma once
// Downloads the remote files and folders a user selected into a local folder,
// recreating the remote tree below the current remote folder: a breadth-first
// walk that lists every folder (creating the local folders on the way), then one
// loop over all files found.

#include "transfer/TransferLoop.h"

#include <QString>
#include <QStringList>

namespace korvan {

class FolderRetrieval;
class FtpSession;
class SessionUi;
class TransferHost;

class DownloadEngine {
public:
    // host may be null: then no progress labels are shown.
    DownloadEngine(FtpSession &session, SessionUi &ui, FolderRetrieval &folders, TransferHost *host = nullptr);

    // The selection as the download list text: lines "path?size" for files and
    // "path/" for folders, separated by CR LF (a bare LF is accepted too).
    bool DownloadSelected(const QString &localFolder, const QString &selection);
    bool DownloadSelected(const QString &localFolder, const QStringList &selectionLines);
    bool DownloadSelected(const QString &localFolder, const QList<TransferItem> &selection);
    // Files with paths relative to the current remote folder.
    bool DownloadFiles(const QString &localFolder, const QList<TransferItem> &files);
    // One file into the local root; a size of 0 makes an empty local file.
    TransferOutcome DownloadFile(const QString &remotePath, qint64 size);

    // The target folder, always ending in "/"; set by every walk and loop.
    QString localRoot() const { return sLocalRoot; }
    void setLocalRoot(const QString &folder);
    const BatchSummary &summary() const { return loop.summary(); }

private:
    QString relativeToCurrentFolder(const QString &remotePath) const;
    bool insideLocalRoot(const QString &localPath) const;
    void walkFolders(QStringList queue, QList<TransferItem> &files);
    void showLabels(const QString &remotePath, const QString &localPath);

    FtpSession &session;
    SessionUi &ui;
    FolderRetrieval &folders;
    TransferHost *host;
    TransferLoop loop;
    QString sLocalRoot;
};

} // namespace korvan
