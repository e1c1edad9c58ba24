#pragma once
// Uploads local files and whole local folder trees into the current remote
// folder: a breadth-first walk that creates the remote folders on the way, then
// one loop over all files found, then a refresh of the current remote folder.

#include "transfer/TransferLoop.h"

#include <QFileInfo>
#include <QSet>
#include <QString>
#include <QStringList>

namespace korvan {

class FtpSession;
class SessionUi;
class TransferHost;

class UploadEngine {
public:
    // host may be null: then there are no progress labels and no refresh.
    UploadEngine(FtpSession &session, SessionUi &ui, TransferHost *host = nullptr);

    // Local files and folders, all in one local folder (as a shell selection).
    bool UploadSelected(const QStringList &localPaths);
    // Local files, every path below localBase.
    bool UploadFiles(const QString &localBase, const QList<TransferItem> &files);
    // One file: localBase/relativePath goes to relativePath below the current
    // remote folder.
    TransferOutcome UploadFile(const QString &relativePath, qint64 size);

    // The local base folder, always ending in "/"; set by every walk and loop.
    QString localRoot() const { return sLocalRoot; }
    const BatchSummary &summary() const { return loop.summary(); }

private:
    void setLocalRoot(const QString &folder);
    void walkFolders(QStringList queue, QList<TransferItem> &files);
    bool takeFolderOnce(const QFileInfo &folder, const QStringList &trees, QSet<QString> &taken);
    void showLabels(const QString &localPath, const QString &remotePath);

    FtpSession &session;
    SessionUi &ui;
    TransferHost *host;
    TransferLoop loop;
    QString sLocalRoot;
};

} // namespace korvan
