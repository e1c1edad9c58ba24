#pragma once
// The file list's exchange with the desktop. Remote entries leave the list as a
// hand-over file (HandOver.h): on the clipboard (Ctrl+C) or in a drag, which
// offers XDND Direct Save, KDE's D-Bus drop pair and the host's own format. Each
// way a hand-over can land in a folder ends in one arrival handler, which asks
// before it downloads the entries there. Local files dropped or pasted on the
// list are uploaded after a question, once the drop itself has returned (tmrOLE).
// Double-click opens a remote file with the desktop's program for it.

#include "transfer/TransferText.h"

#include <QFileSystemWatcher>
#include <QObject>
#include <QSet>
#include <QStringList>
#include <QTimer>

class QMimeData;

namespace korvan {

class DropExtractService;
class fFTPMain;

class ShellExchange : public QObject {
    Q_OBJECT
public:
    // The drop format a host's own views take: the hand-over file's path.
    static const QString kHostDropFormat;

    explicit ShellExchange(fFTPMain &window);
    ~ShellExchange() override;

    void copySelection();
    void pasteClipboard();
    // A drop or a paste of local files and folders: uploaded on tmrOLE's tick.
    void takeLocalPaths(const QStringList &paths);
    void dragSelection();
    // The desktop's folder chooser, then the download there ("Download to...").
    void chooseDownloadFolder();
    void openRemoteFile(const QString &name, qint64 size);

    // The arrival handler: a copy of the hand-over file `handOver` (a name or a
    // path) landed in `folder`. Handled after the caller has returned.
    void handOverArrived(const QString &folder, const QString &handOver);
    // Pastes of a hand-over file into this folder are noticed.
    void watchFolder(const QString &folder);

    // What a drag of the selection carries, with its hand-over file written;
    // null when nothing is selected or a command runs.
    QMimeData *dragData();

    // The component's temporary folder (the system's while none is set).
    static QString tempDir();

signals:
    // A hand-over landed in folder: its question and download follow unless the
    // folder is the trash or not a local folder.
    void arrived(const QString &folder);

private:
    QString writeHandOver();
    // pasted: a copy of the hand-over file lies in folder (it goes after the question).
    void queueArrival(const QString &folder, const QString &name, bool pasted);
    void runArrival(const QString &folder, const QString &name, bool pasted);
    void scanFolder(const QString &folder);
    void uploadPending();
    void askForFolder(const QString &name);

    fFTPMain &window;
    DropExtractService *extractService = nullptr;
    QFileSystemWatcher watcher;
    QTimer tmrOLE;
    QStringList pendingDrop;
    QSet<QString> madeHandOvers; // names of the hand-over files this window wrote
    QSet<QString> copiesInHand;  // arrived copies whose question is up
    QString dragHandOver;        // the name the last drag carried
    bool dragArrived = false;
    bool dragging = false;
    QList<std::pair<QString, QString>> heldArrivals; // reported while the drag still ran
};

} // namespace korvan
