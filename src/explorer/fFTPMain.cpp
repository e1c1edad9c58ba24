#include "explorer/fFTPMain.h"

#include "explorer/AddressCombo.h"
#include "explorer/CommandStates.h"
#include "explorer/ExplorerActions.h"
#include "explorer/FileListModel.h"
#include "explorer/FileListView.h"
#include "explorer/FolderTree.h"
#include "explorer/LogPane.h"
#include "explorer/MainLayout.h"
#include "explorer/RemoteOperations.h"
#include "explorer/ShellExchange.h"
#include "explorer/ShellIcons.h"
#include "explorer/WindowUi.h"
#include "ftp/FtpSession.h"
#include "ftp/RemotePath.h"
#include "korvan/cFTPList.h"
#include "listing/FolderRetrieval.h"
#include "listing/ListingSize.h"
#include "shell/EventPump.h"
#include "transfer/DownloadEngine.h"
#include "transfer/UploadEngine.h"
#include "transfer/dialog/fFTPProgress.h"

#include <QAction>
#include <QCloseEvent>
#include <QFile>
#include <QLabel>
#include <QMenuBar>
#include <QStatusBar>
#include <QToolBar>

namespace korvan {

namespace {
// A wait that lasts longer than this greys the tool bar until the reply comes.
constexpr int kWaitLockDelayMs = 300;
constexpr int kRetryIdleMs = 20;
} // namespace

fFTPMain::fFTPMain(QWidget *parent) : QMainWindow(parent)
{
    setObjectName(u"fFTPMain"_qs);
    setAccessibleName(u"fFTPMain"_qs);
    ShellIcons::ensureIconTheme();
    ui = std::make_unique<WindowUi>(*this);
    ftp = std::make_unique<FtpSession>(*ui);
    retrieval = std::make_unique<FolderRetrieval>(*ftp, *ui);
    remoteOps = std::make_unique<RemoteOperations>(*this);

    commandStatesTimer.setSingleShot(true);
    connect(&commandStatesTimer, &QTimer::timeout, this, [this] { UpdateCommandStates(); });
    waitLockTimer.setSingleShot(true);
    waitLockTimer.setInterval(kWaitLockDelayMs);
    connect(&waitLockTimer, &QTimer::timeout, this, [this] {
        waitLocked = true;
        applyLocks();
    });

    buildWidgets();
    connectCommands();
    connectList();
    UpdateCommandStates();
}

fFTPMain::~fFTPMain() = default;

void fFTPMain::buildWidgets()
{
    if (!ftpSettings().sFontName.isEmpty())
        setFont(QFont(ftpSettings().sFontName));
    setWindowTitle(u"FTP"_qs);
    setWindowIcon(ShellIcons::toolBarIcon(u"Connect"_qs));
    commandActions = new ExplorerActions(this);
    menuBar()->addMenu(commandActions->mnuFTP);

    cmbURL = new AddressCombo(this);
    TV1 = new FolderTree(this);
    model = new FileListModel(this);
    LV1 = new FileListView(this);
    LV1->setModel(model);
    rtbStatus = new LogPane(this);
    shell = new ShellExchange(*this);
    layoutWidget = new MainLayout(this, commandActions->tBar2, commandActions->tBar1, cmbURL, TV1, LV1, rtbStatus);
    setCentralWidget(layoutWidget);

    QStatusBar *sBar1 = statusBar();
    sBar1->setObjectName(u"sBar1"_qs);
    sBar1->setAccessibleName(u"sBar1"_qs);
    for (int panel = 0; panel < 2; ++panel) {
        statusPanels[panel] = new QLabel(this);
        statusPanels[panel]->setObjectName(u"sBar1Panel"_qs + QString::number(panel + 1));
        statusPanels[panel]->setAccessibleName(u"sBar1 panel "_qs + QString::number(panel + 1));
    }
    statusPanels[1]->setMinimumWidth(fontMetrics().horizontalAdvance(u"CONNECT: 00 seconds"_qs) + 8);
    sBar1->addWidget(statusPanels[0], 1);
    sBar1->addPermanentWidget(statusPanels[1]);

    progress = new fFTPProgress(this);
    connect(progress, &fFTPProgress::navigationLocked, this, &fFTPMain::setNavigationLocked);
    // The transfer is over: its data connection goes, the commands it held back come back.
    connect(progress, &fFTPProgress::unloaded, this, [this] {
        ftp->CloseWinsock2();
        scheduleCommandStates();
    });

    commandActions->tickViewStyle(LV1->viewStyle());
    resize(820, 600);
}

void fFTPMain::connectCommands()
{
    connect(commandActions, &ExplorerActions::commandTriggered, this, &fFTPMain::onCommand);
    connect(commandActions, &ExplorerActions::viewStyleChosen, this, &fFTPMain::chooseViewStyle);
    connect(commandActions->mnuView, &QMenu::aboutToShow, this,
            [this] { commandActions->tickViewStyle(LV1->viewStyle()); });
    connect(commandActions->selectAll, &QAction::triggered, this, [this] { selectEntries(false); });
    connect(commandActions->invertSelection, &QAction::triggered, this, [this] { selectEntries(true); });
    connect(commandActions->exit, &QAction::triggered, this, &QWidget::close);
    connect(commandActions->goUp, &QAction::triggered, this, [this] {
        if (!commandInProgress())
            runWhenIdle([this] { remoteOps->GoUp(); });
    });
    connect(commandActions->treeToggle, &QAction::toggled, this,
            [this](bool shown) { layoutWidget->setTreeVisible(shown); });
    connect(cmbURL, &AddressCombo::folderEntered, this, [this](const QString &folder) {
        if (!commandInProgress())
            runWhenIdle([this, folder] { remoteOps->OpenFolder(folder); });
    });
    connect(TV1, &FolderTree::nodeChosen, this, [this](QTreeWidgetItem *node) {
        if (commandInProgress())
            return;
        // By key: the node may be gone by the time the call runs.
        const QString folder = FolderTree::keyOf(node);
        runWhenIdle([this, folder] { remoteOps->OpenFolder(folder); });
    });
    connect(TV1, &FolderTree::nodeExpandedByUser, this, [this](QTreeWidgetItem *node) {
        const QString folder = FolderTree::keyOf(node);
        if (!FolderTree::awaitsListing(node) || !connected())
            return;
        runWhenIdle([this, folder] {
            if (QTreeWidgetItem *found = TV1->findNode(folder))
                remoteOps->ChangeFolder(found);
            SetStatusText(u"Done"_qs);
        });
    });
    connect(TV1, &QTreeWidget::itemSelectionChanged, this, &fFTPMain::scheduleCommandStates);
}

void fFTPMain::connectList()
{
    connect(LV1, &FileListView::rightButtonPressed, this, &fFTPMain::onListRightButton);
    connect(LV1, &FileListView::rowActivated, this, &fFTPMain::onRowActivated);
    connect(LV1, &FileListView::headerClicked, this, [this](int column) {
        if (!commandInProgress())
            model->sortByColumn(column);
    });
    connect(LV1, &FileListView::selectionChanged, this, &fFTPMain::scheduleCommandStates);
    connect(LV1, &FileListView::dragRequested, shell, &ShellExchange::dragSelection);
    connect(LV1, &FileListView::localPathsDropped, shell, &ShellExchange::takeLocalPaths);
    addListKey(QKeySequence::Copy, [this] { shell->copySelection(); });
    addListKey(QKeySequence::Paste, [this] { shell->pasteClipboard(); });
    addListKey(QKeySequence(Qt::Key_Backspace), [this] { commandActions->goUp->trigger(); });
    connect(commandActions->downloadTo, &QAction::triggered, shell, &ShellExchange::chooseDownloadFolder);
}

// A key of the file list, ignored while a command is in progress.
void fFTPMain::addListKey(const QKeySequence &key, std::function<void()> fn)
{
    auto *action = new QAction(LV1);
    action->setShortcut(key);
    action->setShortcutContext(Qt::WidgetWithChildrenShortcut);
    LV1->addAction(action);
    connect(action, &QAction::triggered, this, [this, fn = std::move(fn)] {
        if (!commandInProgress())
            fn();
    });
}

// ---- status and command states ----------------------------------------------------

void fFTPMain::SetStatusText(const QString &text, int panel)
{
    if (panel < 1 || panel > 2)
        return;
    statusTexts[panel - 1] = text.toUpper();
    statusPacer.request();
    if (!commandInProgress())
        scheduleCommandStates();
}

QString fFTPMain::statusText(int panel) const
{
    return panel >= 1 && panel <= 2 ? statusTexts[panel - 1] : QString();
}

void fFTPMain::showPendingTexts()
{
    rtbStatus->flushPending();
    statusPacer.flush();
}

void fFTPMain::showStatusTexts()
{
    for (int panel = 0; panel < 2; ++panel)
        statusPanels[panel]->setText(statusTexts[panel]);
}

void fFTPMain::scheduleCommandStates()
{
    commandStatesTimer.start(0);
}

fFTPProgress *fFTPMain::progressDialog() const
{
    return progress;
}

bool fFTPMain::connected() const
{
    return ftp->controlSocket().state() == SocketState::Connected;
}

bool fFTPMain::commandInProgress() const
{
    return CommandInProgress(ui->progressBusy(), ftp->dataSocket().state() != SocketState::Closed,
                             ftp->nReplyState() == ReplyState::Waiting);
}

void fFTPMain::UpdateCommandStates(bool forceConnected)
{
    commandStatesTimer.stop();
    CommandInputs in;
    in.idle = !ui->progressBusy();
    in.connected = forceConnected || connected();
    in.anySelected = LV1->selectedCount() > 0;
    in.count = model->rowCount();
    in.commandInProgress = commandInProgress();
    const QTreeWidgetItem *node = TV1->selectedNode();
    in.treeNodeHasParent = node && node->parent();
    commandActions->apply(ComputeCommandStates(in));
    commandActions->downloadTo->setEnabled(in.connected && in.anySelected && !in.commandInProgress);
}

void fFTPMain::setWaitLocked(bool locked)
{
    if (locked) {
        waitLockTimer.start();
        return;
    }
    waitLockTimer.stop();
    waitLocked = false;
    applyLocks();
}

void fFTPMain::setNavigationLocked(bool locked)
{
    navigationLocked = locked;
    applyLocks();
}

// The transfer dialog locks the navigation; a long wait greys the tool bar too.
void fFTPMain::applyLocks()
{
    commandActions->tBar1->setEnabled(!navigationLocked && !waitLocked);
    TV1->setEnabled(!navigationLocked);
    cmbURL->setEnabled(!navigationLocked);
}

// ---- running commands -------------------------------------------------------------

void fFTPMain::runWhenIdle(std::function<void()> fn)
{
    QTimer::singleShot(0, this, [this, fn = std::move(fn)]() mutable {
        if (commandInProgress() || runningOperations > 0) {
            QTimer::singleShot(kRetryIdleMs, this,
                               [this, fn = std::move(fn)]() mutable { runWhenIdle(std::move(fn)); });
            return;
        }
        OperationScope scope(*this);
        fn();
        UpdateCommandStates();
    });
}

void fFTPMain::CloseWinsock2()
{
    ftp->CloseWinsock2();
    drainEvents();
}

// Abort, Disconnect and the passive switch act on what is running; the others wait
// for their turn and are ignored while a command runs.
void fFTPMain::onCommand(int index)
{
    const bool actsOnRunningCommand = index == ExplorerActions::Abort || index == ExplorerActions::Disconnect
                                      || index == ExplorerActions::SwitchPassive;
    if (actsOnRunningCommand) {
        runCommand(index);
        return;
    }
    if (!commandInProgress())
        runWhenIdle([this, index] { runCommand(index); });
}

void fFTPMain::runCommand(int index)
{
    CloseWinsock2();
    switch (index) {
    case ExplorerActions::MakeDir:
        remoteOps->MakeFolder();
        break;
    case ExplorerActions::Rename:
        remoteOps->Rename();
        break;
    case ExplorerActions::Delete:
        remoteOps->Delete();
        break;
    case ExplorerActions::Abort:
        ftp->AbortCommand();
        break;
    case ExplorerActions::Refresh:
        remoteOps->Refresh();
        break;
    case ExplorerActions::Connect:
    case ExplorerActions::QuickConnect:
        FTP_Connect(index == ExplorerActions::QuickConnect);
        break;
    case ExplorerActions::Disconnect:
        disconnectSession();
        break;
    case ExplorerActions::SwitchPassive:
        ftpSettings().bPassive = !ftpSettings().bPassive;
        break;
    default:
        break;
    }
    SetStatusText({});
}

void fFTPMain::chooseViewStyle(int style)
{
    LV1->setViewStyle(style);
    commandActions->tickViewStyle(LV1->viewStyle());
}

void fFTPMain::selectEntries(bool invert)
{
    if (invert)
        LV1->invertSelection();
    else
        LV1->selectAll();
    SetStatusText(QString::number(LV1->selectedCount()) + u" files and folders are selected."_qs);
}

// A right click on an unselected entry selects it alone; on a selected one it keeps
// the selection; either way the command menu opens.
void fFTPMain::onListRightButton(const QPoint &globalPos, int row)
{
    if (commandInProgress())
        return;
    if (row >= 0 && !LV1->isRowSelected(row))
        LV1->selectOnly(row);
    UpdateCommandStates();
    if (!navigationLocked)
        commandActions->mnuFTP->popup(globalPos);
}

void fFTPMain::onRowActivated(int row)
{
    const cFTPList *list = model->listing();
    if (commandInProgress() || !list)
        return;
    const qint32 index = model->entryIndex(row);
    if (model->isFolder(row)) {
        const QString folder = list->Path(index);
        runWhenIdle([this, folder] { remoteOps->OpenFolder(folder); });
        return;
    }
    const QString name = list->FileName(index);
    const qint64 size = SizeTextBytes(list->FileSize(index));
    runWhenIdle([this, name, size] { shell->openRemoteFile(name, size); });
}

// ---- connecting -------------------------------------------------------------------

bool fFTPMain::FTP_Connect(bool bQuick)
{
    drainEvents();
    SetStatusText(u"Connecting..."_qs);
    lastConnectQuick = bQuick;
    if (!connectDialog || !connectDialog(bQuick))
        return false;
    return logOn();
}

bool fFTPMain::ConnectWith(const FtpSettings &settings)
{
    FtpSettings &shared = ftpSettings();
    shared.sFTPServer = settings.sFTPServer;
    shared.sFTPUser = settings.sFTPUser;
    shared.sFTPPassword = settings.sFTPPassword;
    shared.sFTPDir = settings.sFTPDir;
    shared.nFTPPort = settings.nFTPPort;
    shared.nFTPWaitTime = settings.nFTPWaitTime;
    shared.bPassive = settings.bPassive;
    SetStatusText(u"Connecting..."_qs);
    return logOn();
}

bool fFTPMain::logOn()
{
    if (commandInProgress())
        return false;
    replaceSessionIfClosed();
    OperationScope scope(*this);
    disconnectSession();
    const QString server = ftpSettings().sFTPServer;
    const bool ok = ftp->LogOn();
    if (ok) {
        setWindowTitle(server);
        SetStatusText(u"Connected to "_qs + server);
    }
    UpdateCommandStates();
    return ok;
}

// After log-on: the tree from the root down to the current folder, which is opened.
bool fFTPMain::showCurrentFolder()
{
    resetBrowsing();
    TV1->resetRoot();
    return remoteOps->OpenFolder({}, TV1->nodeForPath(ftp->sCurrentDir()));
}

void fFTPMain::disconnectSession()
{
    ftp->Disconnect();
    // The listings of the session end with it; while an operation still unwinds
    // from its waits, the tree and the list are left to it until it has returned.
    if (runningOperations == 0)
        resetBrowsing();
    else
        runWhenIdle([this] {
            if (!connected())
                resetBrowsing();
        });
}

void fFTPMain::resetBrowsing()
{
    model->setListing(nullptr);
    TV1->clear();
}

// A close deferred until a command ended leaves the session marked closing; a new
// log-on gets a fresh one. Never while an operation is on the stack: at most the
// runWhenIdle call that started this log-on may be.
void fFTPMain::replaceSessionIfClosed()
{
    if (ftp->nReplyState() != ReplyState::ClosePending || runningOperations > 1)
        return;
    resetBrowsing();
    retrieval.reset();
    ftp = std::make_unique<FtpSession>(*ui);
    retrieval = std::make_unique<FolderRetrieval>(*ftp, *ui);
}

// ---- transfers --------------------------------------------------------------------

bool fFTPMain::DownloadSelection(const QString &localFolder)
{
    const cFTPList *list = model->listing();
    if (!list)
        return false;
    QList<TransferItem> selection;
    for (int row : LV1->selectedRows()) {
        const qint32 index = model->entryIndex(row);
        selection.append({list->Path(index), qint64(SizeTextValue(list->FileSize(index))), list->IsFolder(index)});
    }
    return DownloadItems(localFolder, selection);
}

bool fFTPMain::DownloadItems(const QString &localFolder, const QList<TransferItem> &items)
{
    if (commandInProgress() || !connected() || items.isEmpty())
        return false;
    OperationScope scope(*this);
    // The engine works below the current folder: entries handed over from another
    // folder (copied, then the user moved on) are fetched from theirs.
    const QString itemPath = StripTrailingSlash(items.first().path);
    const QString from = itemPath.left(itemPath.lastIndexOf(u'/') + 1);
    if (from != ftp->sCurrentDir() && !remoteOps->OpenFolder(from))
        return false;
    DownloadEngine engine(*ftp, *ui, *retrieval, ui.get());
    const bool ok = engine.DownloadSelected(localFolder, items);
    UpdateCommandStates();
    return ok;
}

QString fFTPMain::DownloadToTempFolder(const QString &name, qint64 size)
{
    if (commandInProgress() || !connected())
        return {};
    OperationScope scope(*this);
    const QString tempDir = ShellExchange::tempDir();
    DownloadEngine engine(*ftp, *ui, *retrieval, ui.get());
    engine.setLocalRoot(tempDir);
    const QString localPath = engine.localRoot() + name;
    QFile::remove(localPath);
    ui->progressSetCaption(BatchCaption(TransferDirection::Download));
    // An empty file is made, not fetched; any other goes through the loop, which
    // switches to binary first.
    if (size == 0)
        engine.DownloadFile(name, 0);
    else
        engine.DownloadFiles(tempDir, {{name, size}});
    ui->unloadProgress();
    drainEvents();
    UpdateCommandStates();
    return localPath;
}

bool fFTPMain::UploadPaths(const QStringList &localPaths)
{
    if (commandInProgress() || !connected() || localPaths.isEmpty())
        return false;
    OperationScope scope(*this);
    UploadEngine engine(*ftp, *ui, ui.get());
    const bool ok = engine.UploadSelected(localPaths);
    UpdateCommandStates();
    return ok;
}

// ---- closing ----------------------------------------------------------------------

// The session asks again at every later reply state it is given; a window already
// closed or closing ignores that.
void fFTPMain::scheduleUnload()
{
    if (unloadScheduled || !isVisible())
        return;
    unloadScheduled = true;
    QTimer::singleShot(0, this, [this] {
        closeConfirmed = true;
        close();
        closeConfirmed = false;
        unloadScheduled = false;
    });
}

// A close during a command waits for the command to end (the session then asks
// for the unload); otherwise the data connection is closed, without a question.
void fFTPMain::closeEvent(QCloseEvent *event)
{
    if (!closeConfirmed && ftp->nReplyState() == ReplyState::Waiting) {
        event->ignore();
        ftp->RequestClose();
        return;
    }
    while (ftp->dataSocket().state() != SocketState::Closed)
        CloseWinsock2();
    unload();
    event->accept();
}

void fFTPMain::unload()
{
    disconnectSession();
    drainEvents();
    ftpSettings().bBusy = false;
}

} // namespace korvan
