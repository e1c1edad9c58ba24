#pragma once
// The remote-explorer window: folder tree, file list, address combo, tool bars, the
// coloured log and the status bar over one FTP session. This class builds the
// window and connects its parts; the command states, the tree, the remote
// operations, the layout and the engine-facing interface live in their own files.

#include "explorer/PaintPacer.h"
#include "korvan/FtpSettings.h"
#include "transfer/TransferText.h"

#include <QMainWindow>
#include <QPointer>
#include <QTimer>

#include <functional>
#include <memory>

class QLabel;

namespace korvan {

class AddressCombo;
class ExplorerActions;
class FileListModel;
class FileListView;
class FolderRetrieval;
class FolderTree;
class FtpSession;
class LogPane;
class MainLayout;
class RemoteOperations;
class ShellExchange;
class WindowUi;
class fFTPProgress;

class fFTPMain : public QMainWindow {
    Q_OBJECT
public:
    explicit fFTPMain(QWidget *parent = nullptr);
    ~fFTPMain() override;

    // The site manager or quick-connect dialog: fills FtpSettings and returns false
    // when the user cancelled. Until one is set, Connect shows its status text only.
    using ConnectDialog = std::function<bool(bool bQuick)>;
    void setConnectDialog(ConnectDialog dialog) { connectDialog = std::move(dialog); }

    // The connect dialog, then the log-on with what it filled in. True when logged on.
    bool FTP_Connect(bool bQuick);
    // The log-on FTP_Connect runs after its dialog, with the given server, user,
    // password, folder, port, waiting time and passive flag.
    bool ConnectWith(const FtpSettings &settings);

    // Status bar: panel 1 the message, panel 2 the wait; shown in upper case.
    void SetStatusText(const QString &text, int panel = 1);
    QString statusText(int panel = 1) const;
    // The log lines and status texts not yet shown (they follow paced), now.
    void showPendingTexts();
    // Sets every command's enabled state now; `forceConnected` counts the session as connected.
    void UpdateCommandStates(bool forceConnected = false);
    void CloseWinsock2();
    // The transfer dialog is busy, the data connection open or a reply awaited.
    bool commandInProgress() const;
    bool connected() const;

    // Downloads the selected entries of the file list into localFolder.
    bool DownloadSelection(const QString &localFolder);
    // Downloads remote entries (files with their sizes, folders) into localFolder.
    bool DownloadItems(const QString &localFolder, const QList<TransferItem> &items);
    // Uploads local files and folders (all from one local folder) into the current remote folder.
    bool UploadPaths(const QStringList &localPaths);
    // Downloads a file of the current folder into the temporary folder, replacing
    // a file of that name; the local path, empty when nothing was tried.
    QString DownloadToTempFolder(const QString &name, qint64 size);

    // Runs fn once no command is in progress and no operation of this window runs.
    void runWhenIdle(std::function<void()> fn);

    FtpSession &session() { return *ftp; }
    FolderRetrieval &folders() { return *retrieval; }
    RemoteOperations &operations() { return *remoteOps; }
    FolderTree *tree() const { return TV1; }
    FileListModel *listModel() const { return model; }
    FileListView *listView() const { return LV1; }
    AddressCombo *addressCombo() const { return cmbURL; }
    LogPane *logPane() const { return rtbStatus; }
    fFTPProgress *progressDialog() const;
    ExplorerActions *actions() const { return commandActions; }
    MainLayout *mainLayout() const { return layoutWidget; }
    ShellExchange *shellExchange() const { return shell; }

protected:
    void closeEvent(QCloseEvent *event) override;

private:
    friend class WindowUi;
    friend class OperationScope;
    void buildWidgets();
    void connectCommands();
    void connectList();
    void scheduleCommandStates();
    void onCommand(int index);
    void runCommand(int index);
    void chooseViewStyle(int style);
    void selectEntries(bool invert);
    void onListRightButton(const QPoint &globalPos, int row);
    void onRowActivated(int row);
    void addListKey(const QKeySequence &key, std::function<void()> fn);
    bool logOn();
    void disconnectSession();
    void resetBrowsing();
    void replaceSessionIfClosed();
    bool showCurrentFolder();
    void setWaitLocked(bool locked);
    void setNavigationLocked(bool locked);
    void applyLocks();
    void showStatusTexts();
    void scheduleUnload();
    void unload();

    std::unique_ptr<WindowUi> ui;
    std::unique_ptr<FtpSession> ftp;
    std::unique_ptr<FolderRetrieval> retrieval;
    std::unique_ptr<RemoteOperations> remoteOps;
    ConnectDialog connectDialog;

    ExplorerActions *commandActions = nullptr;
    AddressCombo *cmbURL = nullptr;
    FolderTree *TV1 = nullptr;
    FileListModel *model = nullptr;
    FileListView *LV1 = nullptr;
    LogPane *rtbStatus = nullptr;
    ShellExchange *shell = nullptr;
    MainLayout *layoutWidget = nullptr;
    QLabel *statusPanels[2] = {};
    // The texts of the two panels as last set; the labels show them paced.
    QString statusTexts[2];
    PaintPacer statusPacer{[this] { showStatusTexts(); }};
    QPointer<fFTPProgress> progress;

    QTimer commandStatesTimer;
    // Waits shorter than this leave the tool bar alone, so it does not flicker.
    QTimer waitLockTimer;
    bool waitLocked = false;
    bool navigationLocked = false;
    // Operations of this window now on the stack (each may pump events in its waits).
    int runningOperations = 0;
    bool closeConfirmed = false;
    bool unloadScheduled = false;
    // The dialog of the last connect, which a failed log-on's retry opens again.
    bool lastConnectQuick = false;
};

// Counts an operation of the window while it runs.
class OperationScope {
public:
    explicit OperationScope(fFTPMain &window) : window(window) { ++window.runningOperations; }
    ~OperationScope() { --window.runningOperations; }
    OperationScope(const OperationScope &) = delete;
    OperationScope &operator=(const OperationScope &) = delete;

private:
    fFTPMain &window;
};

} // namespace korvan
