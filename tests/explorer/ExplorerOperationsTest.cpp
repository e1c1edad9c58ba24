// The explorer's commands against real servers, checked on the server's disk and in what the window shows: a tree
// downloaded and cancelled, one uploaded, the command states, rename, make folder, delete, stopping mid-transfer.

#include "WindowBench.h"

#include "explorer/CommandStates.h"
#include "explorer/ExplorerActions.h"
#include "explorer/RemoteOperations.h"
#include "fixtures/TestFiles.h"
#include "ftp/FtpSession.h"
#include "transfer/TransferText.h"
#include "transfer/dialog/fFTPProgress.h"

#include <QTemporaryDir>

using namespace korvan;
using namespace korvan::test;

class ExplorerOperationsTest : public QObject {
    Q_OBJECT
private slots:
    void briefRules();
    void downloadTreeCancelled();
    void uploadTreeThenRefresh();
    void renameAndMakeFolderThroughInputBox();
    void deleteNestedTree_data();
    void deleteNestedTree();
    void stopWhileTransferRuns_data();
    void stopWhileTransferRuns();
};

// Enabled commands as letters in menu order: M make dir, R rename, D delete, A abort, F refresh, C connect, Q quick
// connect, X disconnect, P passive switch, S select all, I invert, U go up.
static QString EnabledCommands(const ExplorerActions &a)
{
    using C = ExplorerActions;
    const QAction *inMenuOrder[] = {
        a.command(C::MakeDir),       a.command(C::Rename),  a.command(C::Delete),       a.command(C::Abort),
        a.command(C::Refresh),       a.command(C::Connect), a.command(C::QuickConnect), a.command(C::Disconnect),
        a.command(C::SwitchPassive), a.selectAll,           a.invertSelection,          a.goUp};
    QString letters;
    for (int i = 0; i < 12; ++i) {
        if (inMenuOrder[i]->isEnabled())
            letters += QLatin1Char("MRDAFCQXPSIU"[i]);
    }
    return letters;
}

static QString EnabledCommands(fFTPMain &window)
{
    window.UpdateCommandStates();
    return EnabledCommands(*window.actions());
}

// What the window's operations seldom show: two command states it holds too briefly to read (a reply awaited: no going
// up; the transfer dialog up on a window that is not connected), and RMD's name for a folder outside the current one.
void ExplorerOperationsTest::briefRules()
{
    fFTPMain window;
    ExplorerActions &actions = *window.actions();
    actions.apply(ComputeCommandStates({true, true, true, 3, true, true}));
    QCOMPARE(EnabledCommands(actions), u"MRDAFXPSI"_qs);
    actions.apply(ComputeCommandStates({false, false, false, 0, true, false}));
    QCOMPARE(EnabledCommands(actions), QString());
    QCOMPARE(RemoveDirName(u"/other/pub/a/"_qs, u"/pub/"_qs), u"/other/pub/a/"_qs);
}

const qint64 bigSize = qint64(1) << 30;

// A file of 1 GiB zero bytes, made without writing them.
static void WriteBig(const QString &path)
{
    QVERIFY(QDir().mkpath(QFileInfo(path).path()));
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QVERIFY(file.resize(bigSize));
}

// As a user clicks it: once the menu shows it enabled.
static void Trigger(fFTPMain &window, ExplorerActions::Command command)
{
    QAction *action = window.actions()->command(command);
    QTRY_VERIFY(action->isEnabled());
    action->trigger();
}

static void SelectOnly(WindowBench &bench, const QString &name)
{
    const int row = bench.rowOf(name);
    QVERIFY2(row >= 0, qPrintable(name));
    bench.window.listView()->selectOnly(row);
}

// The small files of the top folder come first, the big one of the sub-folder after them; the user cancels while the
// big one runs.
void ExplorerOperationsTest::downloadTreeCancelled()
{
    WindowBench bench(ServerKind::Vsftpd);
    START_OR_FAIL(bench.server);
    const QString root = bench.server.rootDir();
    const QList<TreeFile> small = {{u"top/one.txt"_qs, 1000}, {u"top/two.txt"_qs, 70000}};
    QVERIFY(writeTree(root, small));
    WriteBig(root + u"/top/sub/big.bin"_qs);
    bench.server.handOver();
    fFTPMain &window = bench.window;
    QCOMPARE(EnabledCommands(window), u"CQ"_qs);
    QVERIFY(bench.connect(false));
    SelectOnly(bench, u"top"_qs);
    const QString connectedStates = EnabledCommands(window);
    QCOMPARE(connectedStates, u"MRDAFXPSI"_qs);

    QString statesDuringTransfer;
    QString questionSeen;
    auto *watch = new QTimer(this);
    connect(watch, &QTimer::timeout, this, [&] {
        fFTPProgress *dialog = window.progressDialog();
        if (!window.statusText().contains(u"BIG.BIN"_qs) || !dialog->Busy())
            return;
        watch->stop();
        statesDuringTransfer = EnabledCommands(window);
        saveScreenshot(&window, u"transfer-running"_qs);
        whenModal([&](QWidget *box) {
            questionSeen = questionOf(box);
            clickChild(box, u"FirstButton"_qs);
        });
        clickChild(dialog, u"cmdCancel"_qs);
    });
    watch->start(1);
    QTemporaryDir local;
    QVERIFY(!window.DownloadSelection(local.path()));

    QCOMPARE(statesDuringTransfer, u"XP"_qs);
    QCOMPARE(questionSeen, u"Vantrel: Stop FTP uploading/downloading commands ?"_qs);
    QCOMPARE(readFile(local.path() + u"/top/one.txt"_qs), contentOf(u"top/one.txt"_qs, 1000));
    QCOMPARE(readFile(local.path() + u"/top/two.txt"_qs), contentOf(u"top/two.txt"_qs, 70000));
    QVERIFY(QFileInfo(local.path() + u"/top/sub/big.bin"_qs).size() < bigSize);
    const QString log = logOf(window);
    QVERIFY(log.contains(FileSucceededMessage(TransferDirection::Download, u"top/two.txt"_qs)));
    QVERIFY(log.contains(BatchAbortedMessage(TransferDirection::Download)));
    QVERIFY(!log.contains(FileSucceededMessage(TransferDirection::Download, u"top/sub/big.bin"_qs)));
    QVERIFY(!window.progressDialog()->Busy());
    QTRY_COMPARE(EnabledCommands(window), connectedStates);
}

void ExplorerOperationsTest::uploadTreeThenRefresh()
{
    WindowBench bench(ServerKind::Pyftpdlib);
    START_OR_FAIL(bench.server);
    QTemporaryDir local;
    const QList<TreeFile> files = {{u"up/a.txt"_qs, 3000}, {u"up/b/c.bin"_qs, 200000}, {u"up/b/d/e.txt"_qs, 17}};
    QVERIFY(writeTree(local.path(), files, {u"up/empty"_qs}));
    QVERIFY(bench.connect());
    QCOMPARE(bench.rowNames(), QStringList());
    QCOMPARE(EnabledCommands(bench.window), u"MAFXP"_qs); // nothing to select, no folder above

    QVERIFY(bench.window.UploadPaths({local.path() + u"/up"_qs}));
    QCOMPARE(describe(treeOf(bench.server.rootDir() + u"/up"_qs)), describe(treeOf(local.path() + u"/up"_qs)));
    // The folder was listed again after the upload.
    QCOMPARE(bench.rowNames(), QStringList{u"up"_qs});
    QCOMPARE(treeChildrenOf(bench.window, u"/"_qs), QStringList{u"up"_qs});
}

void ExplorerOperationsTest::renameAndMakeFolderThroughInputBox()
{
    WindowBench bench(ServerKind::Vsftpd);
    START_OR_FAIL(bench.server);
    QVERIFY(writeTree(bench.server.rootDir(), {{u"old.txt"_qs, 10}, {u"other.txt"_qs, 20}}));
    QVERIFY(bench.connect());
    SelectOnly(bench, u"old.txt"_qs);
    // The name is asked for after RNFR's 350; Cancel there sends no RNTO. The rename runs once the window is idle: the
    // answer is awaited before the next.
    const QPointer<QTimer> cancelling = answerInput(u"typed.txt"_qs, false);
    Trigger(bench.window, ExplorerActions::Rename);
    QTRY_VERIFY(!cancelling);
    QTRY_VERIFY(!QApplication::activeModalWidget());
    QVERIFY(logOf(bench.window).contains(u"RNFR old.txt"_qs));
    QVERIFY(!logOf(bench.window).contains(u"\nRNTO "_qs));
    QString defaultSeen;
    answerInput(u"new.txt"_qs, true, &defaultSeen);
    Trigger(bench.window, ExplorerActions::Rename);
    QTRY_COMPARE(bench.rowNames(), (QStringList{u"new.txt"_qs, u"other.txt"_qs}));
    QCOMPARE(defaultSeen, u"old.txt"_qs);
    QCOMPARE(readFile(bench.server.rootDir() + u"/new.txt"_qs), contentOf(u"old.txt"_qs, 10));

    answerInput(u"made"_qs);
    Trigger(bench.window, ExplorerActions::MakeDir);
    QTRY_COMPARE(bench.rowNames(), (QStringList{u"made"_qs, u"new.txt"_qs, u"other.txt"_qs}));
    QVERIFY(QFileInfo(bench.server.rootDir() + u"/made"_qs).isDir());
    QCOMPARE(treeChildrenOf(bench.window, u"/"_qs), QStringList{u"made"_qs});
}

void ExplorerOperationsTest::deleteNestedTree_data()
{
    QTest::addColumn<QString>("folder"); // where the user is
    QTest::addColumn<QString>("selected");
    QTest::addColumn<QStringList>("kept"); // what must stay on the server
    // Removing every "/" would turn /a/b/c into "abc"; every "/x", /x/y/x into "/y"; every "/x/", /x/x/ into "".
    QTest::newRow("in the root") << u"/"_qs << u"a"_qs << QStringList{"abc", "keep.txt"};
    QTest::newRow("current folder recurs deeper") << u"/x/"_qs << u"y"_qs << QStringList{"y", "x/keep.txt"};
    QTest::newRow("named as the current folder") << u"/x/"_qs << u"x"_qs << QStringList{"y", "x/keep.txt"};
}

void ExplorerOperationsTest::deleteNestedTree()
{
    QFETCH(QString, folder);
    QFETCH(QString, selected);
    QFETCH(QStringList, kept);
    WindowBench bench(ServerKind::Vsftpd);
    START_OR_FAIL(bench.server);
    const QString root = bench.server.rootDir();
    const QString base = folder.mid(1);
    QVERIFY(writeTree(root,
                      {{base + selected + u"/f.txt"_qs, 5},
                       {base + selected + u"/b/g.txt"_qs, 6},
                       {base + selected + u"/b/x/h.txt"_qs, 7},
                       {base + u"keep.txt"_qs, 8}},
                      {u"abc"_qs, u"y"_qs, base + selected + u"/b/x/c"_qs}));
    bench.server.handOver();
    QVERIFY(bench.connect());
    bench.typeAddress(folder);
    const QString up = folder == u"/" ? QString() : u"U"_qs;
    QCOMPARE(EnabledCommands(bench.window), u"MAFXPSI"_qs + up);
    SelectOnly(bench, selected);
    QCOMPARE(EnabledCommands(bench.window), u"MRDAFXPSI"_qs + up);

    QString questionSeen;
    whenModal([&](QWidget *box) {
        questionSeen = questionOf(box);
        if (QTest::currentDataTag() == QByteArray("in the root"))
            saveScreenshot(&bench.window, u"delete-question"_qs);
        clickChild(box, u"FirstButton"_qs);
    });
    Trigger(bench.window, ExplorerActions::Delete);
    QTRY_VERIFY(!QFileInfo::exists(root + folder + selected));
    QCOMPARE(questionSeen, u"Deleting...: Delete selected 1 files and folders ?"_qs);
    for (const QString &path : kept)
        QVERIFY2(QFileInfo::exists(root + u'/' + path), qPrintable(path));
    QTRY_COMPARE(bench.rowOf(selected), -1);
}

void ExplorerOperationsTest::stopWhileTransferRuns_data()
{
    QTest::addColumn<bool>("closeWindow"); // else Disconnect from the menu
    QTest::newRow("closing the window") << true;
    QTest::newRow("disconnecting") << false;
}

// No question either way: the data connection goes and the session ends; a closed window is gone, a disconnected one
// stays, empty, ready to connect again.
void ExplorerOperationsTest::stopWhileTransferRuns()
{
    QFETCH(bool, closeWindow);
    WindowBench bench(ServerKind::Pyftpdlib);
    START_OR_FAIL(bench.server);
    WriteBig(bench.server.rootDir() + u"/big.bin"_qs);
    QVERIFY(bench.connect());
    fFTPMain &window = bench.window;
    SelectOnly(bench, u"big.bin"_qs);
    bool questionAsked = false;
    bool stopped = false;
    auto *watch = new QTimer(this);
    connect(watch, &QTimer::timeout, this, [&] {
        questionAsked = questionAsked || QApplication::activeModalWidget();
        if (stopped || !window.progressDialog()->Busy())
            return;
        stopped = true;
        if (closeWindow)
            window.close();
        else
            window.actions()->command(ExplorerActions::Disconnect)->trigger();
    });
    watch->start(1);
    QTemporaryDir local;
    QVERIFY(!window.DownloadSelection(local.path()));
    QTRY_VERIFY(window.isVisible() != closeWindow);
    QTRY_COMPARE(window.session().controlSocket().state(), SocketState::Closed);
    watch->stop();
    QVERIFY(!questionAsked);
    QVERIFY(QFileInfo(local.path() + u"/big.bin"_qs).size() < bigSize);
    QCOMPARE(window.session().dataSocket().state(), SocketState::Closed);
    QTRY_VERIFY(window.logPane()->toPlainText().contains(u"QUIT"_qs));
    if (!closeWindow) {
        QTRY_COMPARE(window.tree()->topLevelItemCount(), 0);
        QCOMPARE(bench.rowNames(), QStringList());
        QTRY_COMPARE(EnabledCommands(window), u"CQ"_qs);
    }
}

QTEST_MAIN(ExplorerOperationsTest)
#include "ExplorerOperationsTest.moc"
