// The download and upload engines against our scripted server, for what real
// servers do not do on demand: a file that fails in the middle of a batch, a
// cancel during the second of three files, a folder whose listing fails; and the
// exact command order on the wire in each case.

#include "fixtures/HeadlessUi.h"
#include "fixtures/ScriptedFtpServer.h"
#include "fixtures/ScriptedSession.h"
#include "fixtures/TestFiles.h"
#include "ftp/FtpSession.h"
#include "korvan/FtpSettings.h"
#include "listing/FolderRetrieval.h"
#include "transfer/DownloadEngine.h"
#include "transfer/TransferHost.h"
#include "transfer/UploadEngine.h"

#include <algorithm>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <memory>

using namespace korvan;
using namespace korvan::test;

namespace {

// Records what the engines ask of their caller beyond SessionUi.
struct RecordingHost : TransferHost {
    QStringList labels; // "from | to | file"
    int refreshes = 0;
    void progressSetLabels(const QString &from, const QString &to, const QString &file) override
    {
        labels << from + " | " + to + " | " + file;
    }
    void refreshCurrentFolder() override { ++refreshes; }
};

// How the second of three downloaded files goes wrong.
enum class MiddleFault { Refused, Truncated, DataReset, ShortOfAnnounced };

} // namespace

Q_DECLARE_METATYPE(MiddleFault)

class TransferScriptedTest : public QObject {
    Q_OBJECT
private slots:
    void init();
    void cleanup();

    void failingFileInTheMiddle_data();
    void failingFileInTheMiddle();
    void cancelDuringSecondDownload();
    void cancelDuringSecondUpload();
    void folderWhoseListingFails();
    void zeroSizeFilesAreReportedAndSkipped();
    void existingLocalFileIsReplacedEvenOnFailure();
    void uploadWalkOrder();
    void shortUploadIsFailed();
    void pathsBelowTheCurrentFolder();
    void linksIntoWalkedFoldersEndTheWalk();
    void namesThatClimbOutOfTheLocalFolder();
    void batchEndsBeforeTheFirstFile_data();
    void batchEndsBeforeTheFirstFile();

private:
    void logOn(bool passive = true, const QByteArray &home = "/");
    QStringList commandsAfterLogOn() const;
    QStringList fileMessages() const; // magenta and red lines that report files

    std::unique_ptr<ScriptedFtpServer> server;
    std::unique_ptr<HeadlessUi> ui;
    FtpSettings settings; // the session's
    std::unique_ptr<FtpSession> session;
    std::unique_ptr<FolderRetrieval> folders;
    std::unique_ptr<RecordingHost> host;
    std::unique_ptr<DownloadEngine> download;
    std::unique_ptr<UploadEngine> upload;
    std::unique_ptr<QTemporaryDir> local;
};

void TransferScriptedTest::init()
{
    server = std::make_unique<ScriptedFtpServer>();
    ui = std::make_unique<HeadlessUi>();
    session = std::make_unique<FtpSession>(*ui, settings);
    folders = std::make_unique<FolderRetrieval>(*session, *ui);
    host = std::make_unique<RecordingHost>();
    download = std::make_unique<DownloadEngine>(*session, *ui, *folders, host.get());
    upload = std::make_unique<UploadEngine>(*session, *ui, host.get());
    local = std::make_unique<QTemporaryDir>();
    settings = settingsFor(*server);
}

void TransferScriptedTest::cleanup()
{
    reportIfFailed(*ui, *server);
    upload.reset();
    download.reset();
    host.reset();
    folders.reset();
    session.reset();
    ui.reset();
    server.reset();
    local.reset();
}

void TransferScriptedTest::logOn(bool passive, const QByteArray &home)
{
    settings.bPassive = passive;
    scriptLogOn(*server, "331 password please\r\n", home);
    QVERIFY(session->LogOn());
    ui->mainStatus.clear();
}

QStringList TransferScriptedTest::commandsAfterLogOn() const
{
    return korvan::test::commandsAfterLogOn(*server);
}

QStringList TransferScriptedTest::fileMessages() const
{
    QStringList result;
    for (const HeadlessUi::LogEntry &entry : ui->log) {
        const QString text = QString(entry.text).remove('\r').remove('\n');
        const bool perFile = text.startsWith("Downloading ") || text.startsWith("Uploading ");
        if (perFile && (entry.colour == LogColour::Magenta || entry.colour == LogColour::Red))
            result << (entry.colour == LogColour::Red ? "red: " : "magenta: ") + text;
    }
    return result;
}

void TransferScriptedTest::failingFileInTheMiddle_data()
{
    QTest::addColumn<MiddleFault>("fault");
    QTest::newRow("RETR refused") << MiddleFault::Refused;
    QTest::newRow("fewer bytes than the listing said") << MiddleFault::Truncated;
    QTest::newRow("data connection reset") << MiddleFault::DataReset;
    QTest::newRow("fewer bytes than the 150 reply said") << MiddleFault::ShortOfAnnounced;
}

void TransferScriptedTest::failingFileInTheMiddle()
{
    QFETCH(MiddleFault, fault);
    logOn();
    server->expect("TYPE I").reply("200 binary\r\n");
    server->expect("PASV").passive().repeat();
    server->expect("RETR a.bin").reply("150 sending\r\n").sendData(1000).closeData().reply("226 done\r\n");
    ScriptedFtpServer::Step &middle = server->expect("RETR b.bin");
    if (fault == MiddleFault::Refused)
        middle.reply("550 Permission denied\r\n");
    else if (fault == MiddleFault::Truncated)
        middle.reply("150 sending\r\n").sendData(1200).closeData().reply("226 done\r\n");
    else if (fault == MiddleFault::ShortOfAnnounced) // more than the listing's 2,000, less than announced
        middle.reply("150 sending b.bin (2500 bytes)\r\n").sendData(2200).closeData().reply("226 done\r\n");
    else
        middle.reply("150 sending\r\n").sendData(300).abortData().reply("426 Connection closed\r\n");
    server->expect("RETR c.bin").reply("150 sending\r\n").sendData(3000).closeData().reply("226 done\r\n");

    QVERIFY(download->DownloadSelected(local->path(), "a.bin?1,000\r\nb.bin?2,000\r\nc.bin?3,000\r\n"));
    QCOMPARE(commandsAfterLogOn(),
             (QStringList{"TYPE I", "PASV", "RETR a.bin", "PASV", "RETR b.bin", "PASV", "RETR c.bin"}));
    QCOMPARE(fileMessages(),
             (QStringList{"magenta: Downloading 'a.bin' is successful.", "red: Downloading 'b.bin' is failed.",
                          "magenta: Downloading 'c.bin' is successful."}));
    QCOMPARE(readFile(local->filePath("a.bin")), ScriptedFtpServer::patternBytes(0, 1000));
    QCOMPARE(readFile(local->filePath("c.bin")), ScriptedFtpServer::patternBytes(0, 3000));
    QCOMPARE(download->summary().succeeded, 2);
    QCOMPARE(download->summary().failed, 1);
    QVERIFY(!download->summary().cancelled);
    QCOMPARE(ui->mainStatus.first(), QString("Downloading 3 files and folders..."));
    QCOMPARE(ui->mainStatus.last(), QString("Done"));
    QVERIFY(ui->mainStatus.contains("Downloading 'b.bin'..."));
    // The overall bar: the total first, then it follows the bytes of the running file
    // as well as the files done (the failed one included), never going back.
    QList<double> overall;
    for (const HeadlessUi::ProgressCall &call : ui->progress) {
        if (call.name == "SetPrg2")
            overall << (call.maximum >= 0 ? -call.maximum : call.value);
    }
    QCOMPARE(overall.takeFirst(), -6000.0);
    QVERIFY(std::is_sorted(overall.cbegin(), overall.cend()));
    QVERIFY(overall.contains(1000) && overall.contains(3000));
    QCOMPARE(overall.last(), 6000.0);
    QVERIFY2(overall.size() > 3, "the bar moved only between files");
    // The dialog goes at the end, as after an upload: the window is no longer busy.
    QCOMPARE(ui->progressUnloads, 1);
    QCOMPARE(host->labels.size(), 3);
    QCOMPARE(host->labels.at(1), "127.0.0.1/b.bin | " + local->filePath("b.bin").toLower() + " | b.bin");
    CHECK_NO_UI_FAILURES();
}

void TransferScriptedTest::cancelDuringSecondDownload()
{
    logOn();
    server->expect("TYPE I").reply("200 binary\r\n");
    server->expect("PASV").passive().repeat();
    server->expect("RETR a.bin").reply("150 sending\r\n").sendData(1000).closeData().reply("226 done\r\n");
    // Endless unless aborted.
    server->expect("RETR b.bin").reply("150 sending\r\n").sendData(qint64(1) << 40).closeData().reply("226 done\r\n");
    server->expect("RETR c.bin").reply("150 sending\r\n").sendData(3000).closeData().reply("226 done\r\n");
    server->expect("PWD").reply("257 \"/\" is current\r\n");
    connect(&session->dataSocket(), &SocketAdapter::dataArrival, this, [&] {
        if (session->transfer().remotePath == "b.bin")
            ui->canceled = true;
    });
    // A second poller of the cancel (a window timer) must not abort a second time.
    QTimer secondPoller;
    connect(&secondPoller, &QTimer::timeout, this, [&] {
        if (ui->canceled)
            session->CancelTransfer();
    });
    secondPoller.start(1);

    QVERIFY(!download->DownloadSelected(local->path(), "a.bin?1000\r\nb.bin?100000000\r\nc.bin?3000"));
    QCOMPARE(commandsAfterLogOn(), (QStringList{"TYPE I", "PASV", "RETR a.bin", "PASV", "RETR b.bin", "ABOR"}));
    QCOMPARE(fileMessages(), (QStringList{"magenta: Downloading 'a.bin' is successful.",
                                          "red: Downloading file(s) is aborted by user."}));
    QVERIFY(!QFileInfo::exists(local->filePath("c.bin")));
    QVERIFY(download->summary().cancelled);
    QCOMPARE(session->transfer().result, TransferResult::Cancelled);
    QCOMPARE(ui->mainStatus.last(), QString("Done"));
    // The control connection is still in step afterwards.
    QVERIFY(session->PrintDir());
    CHECK_NO_UI_FAILURES();
}

void TransferScriptedTest::cancelDuringSecondUpload()
{
    logOn();
    const QString folder = local->filePath("up");
    const QByteArray big = ScriptedFtpServer::patternBytes(0, 32 << 20);
    QVERIFY(writeFile(folder + "/a.txt", "first"));
    QVERIFY(writeFile(folder + "/b.bin", big));
    QVERIFY(writeFile(folder + "/c.txt", "third"));
    server->expect("MKD up").reply("257 \"/up\" created\r\n");
    server->expect("TYPE I").reply("200 binary\r\n");
    server->expect("PASV").passive().repeat();
    server->expect("STOR up/a.txt").reply("150 go\r\n").receiveData().reply("226 stored\r\n");
    // The server reads nothing for a while: the upload stalls with the buffers full.
    server->expect("STOR up/b.bin").reply("150 go\r\n").wait(4000).receiveData().reply("226 stored\r\n");
    server->expect("STOR up/c.txt").reply("150 go\r\n").receiveData().reply("226 stored\r\n");
    server->expect("PWD").reply("257 \"/\" is current\r\n");
    connect(session.get(), &FtpSession::uploadBlockSent, this, [&] {
        if (session->transfer().remotePath == "up/b.bin")
            ui->canceled = true;
    });

    QVERIFY(!upload->UploadSelected({folder}));
    QCOMPARE(commandsAfterLogOn(),
             (QStringList{"MKD up", "TYPE I", "PASV", "STOR up/a.txt", "PASV", "STOR up/b.bin", "ABOR"}));
    QCOMPARE(fileMessages(),
             (QStringList{"magenta: Uploading 'a.txt' is successful.", "red: Uploading file(s) is aborted by user."}));
    QVERIFY(upload->summary().cancelled);
    QCOMPARE(host->refreshes, 0);
    QCOMPARE(ui->progressUnloads, 1);
    QVERIFY(session->PrintDir());
    CHECK_NO_UI_FAILURES();
}

// The listing of one folder fails: its local folder exists, its files are not
// fetched, the rest of the walk goes on; all listing comes before any RETR.
void TransferScriptedTest::folderWhoseListingFails()
{
    logOn();
    server->expect("TYPE A").reply("200 ascii\r\n").repeat();
    server->expect("PASV").passive().repeat();
    server->expect("LIST /broken").reply("550 Permission denied\r\n");
    scriptListing(*server, "LIST /fine", unixLine("-rw-r--r--", 500, "f.txt") + unixLine("drwxr-xr-x", 4096, "deep"));
    scriptListing(*server, "LIST /fine/deep", unixLine("-rw-r--r--", 700, "g.txt"));
    server->expect("TYPE I").reply("200 binary\r\n");
    server->expect("RETR fine/f.txt").reply("150 sending\r\n").sendData(500).closeData().reply("226 done\r\n");
    server->expect("RETR fine/deep/g.txt").reply("150 sending\r\n").sendData(700).closeData().reply("226 done\r\n");

    QVERIFY(download->DownloadSelected(local->path(), QStringList{"/broken/", "/fine/"}));
    QCOMPARE(commandsAfterLogOn(),
             (QStringList{"TYPE A", "PASV", "LIST /broken", "TYPE A", "PASV", "LIST /fine", "TYPE A", "PASV",
                          "LIST /fine/deep", "TYPE I", "PASV", "RETR fine/f.txt", "PASV", "RETR fine/deep/g.txt"}));
    QVERIFY(QFileInfo(local->filePath("broken")).isDir());
    QVERIFY(QDir(local->filePath("broken")).isEmpty());
    QCOMPARE(readFile(local->filePath("fine/f.txt")), ScriptedFtpServer::patternBytes(0, 500));
    QCOMPARE(readFile(local->filePath("fine/deep/g.txt")), ScriptedFtpServer::patternBytes(0, 700));
    QCOMPARE(fileMessages(), (QStringList{"magenta: Downloading 'f.txt' is successful.",
                                          "magenta: Downloading 'g.txt' is successful."}));
    QVERIFY(!folders->cachedList("/broken/"));
    QVERIFY(folders->cachedList("/fine/deep/"));
    CHECK_NO_UI_FAILURES();
}

void TransferScriptedTest::zeroSizeFilesAreReportedAndSkipped()
{
    logOn(false);
    server->expect("TYPE I").reply("200 binary\r\n");
    server->expectPrefix("PORT ").rememberPortAddress().reply("200 PORT ok\r\n");
    server->expect("RETR full.bin").reply("150 sending\r\n").sendData(64).closeData().reply("226 done\r\n");
    QVERIFY(download->DownloadSelected(local->path(), "empty.txt?0\r\nfull.bin?64\r\n"));
    QStringList sent = commandsAfterLogOn();
    QCOMPARE(sent.size(), 3);
    QVERIFY(sent.at(1).startsWith("PORT 127,0,0,1,"));
    QCOMPARE(sent.at(2), QString("RETR full.bin"));
    QCOMPARE(fileMessages(), (QStringList{"magenta: Downloading 'empty.txt' is aborted since it has 0 size.",
                                          "magenta: Downloading 'full.bin' is successful."}));
    QVERIFY(!QFileInfo::exists(local->filePath("empty.txt")));
    QCOMPARE(download->summary().zeroSize, 1);

    // Fetched on its own (to open it), an empty file is made locally.
    QVERIFY(download->DownloadFile("empty.txt", 0).succeeded());
    QVERIFY(QFileInfo::exists(local->filePath("empty.txt")));
    QCOMPARE(QFileInfo(local->filePath("empty.txt")).size(), 0);
    CHECK_NO_UI_FAILURES();
}

void TransferScriptedTest::existingLocalFileIsReplacedEvenOnFailure()
{
    logOn();
    QVERIFY(writeFile(local->filePath("old.bin"), "previous contents that are longer"));
    QVERIFY(writeFile(local->filePath("new.bin"), "previous contents that are longer than the download"));
    server->expect("TYPE I").reply("200 binary\r\n");
    server->expect("PASV").passive().repeat();
    server->expect("RETR old.bin").reply("550 No such file\r\n");
    server->expect("RETR new.bin").reply("150 sending\r\n").sendData(10).closeData().reply("226 done\r\n");
    QVERIFY(download->DownloadSelected(local->path(), "old.bin?33\r\nnew.bin?10"));
    QVERIFY(!QFileInfo::exists(local->filePath("old.bin")));
    QCOMPARE(readFile(local->filePath("new.bin")), ScriptedFtpServer::patternBytes(0, 10));
    CHECK_NO_UI_FAILURES();
}

// MKD per folder level by level before any file, a failing MKD ignored,
// dot-folders neither made nor walked, dot-files and zero-size files as such.
void TransferScriptedTest::uploadWalkOrder()
{
    logOn();
    const QString base = local->filePath("up");
    QVERIFY(writeFile(base + "/top.txt", "top"));
    QVERIFY(writeFile(base + "/.profile", "dot"));
    QVERIFY(writeFile(base + "/empty.txt", ""));
    QVERIFY(writeFile(base + "/one/two/deep.txt", "deep"));
    QVERIFY(writeFile(base + "/one/mid.txt", "mid"));
    QVERIFY(writeFile(base + "/.git/config", "hidden"));
    QVERIFY(QDir().mkpath(base + "/one/.cache"));
    QVERIFY(writeFile(local->filePath("single.txt"), "single"));
    server->expect("MKD up").reply("550 exists\r\n");
    server->expect("MKD up/one").reply("257 \"up/one\" created\r\n");
    server->expect("MKD up/one/two").reply("257 \"up/one/two\" created\r\n");
    server->expect("TYPE I").reply("200 binary\r\n");
    server->expect("PASV").passive().repeat();
    server->expectPrefix("STOR ").reply("150 go\r\n").receiveData().reply("226 stored\r\n").repeat();

    QVERIFY(upload->UploadSelected({local->filePath("single.txt"), base + "/"}));
    QCOMPARE(commandsAfterLogOn(),
             (QStringList{"MKD up", "MKD up/one", "MKD up/one/two", "TYPE I", "PASV", "STOR single.txt", "PASV",
                          "STOR up/.profile", "PASV", "STOR up/top.txt", "PASV", "STOR up/one/mid.txt", "PASV",
                          "STOR up/one/two/deep.txt"}));
    QCOMPARE(
        fileMessages(),
        (QStringList{"magenta: Uploading 'single.txt' is successful.", "magenta: Uploading '.profile' is successful.",
                     "magenta: Uploading 'empty.txt' is aborted since it has 0 size.",
                     "magenta: Uploading 'top.txt' is successful.", "magenta: Uploading 'mid.txt' is successful.",
                     "magenta: Uploading 'deep.txt' is successful."}));
    QCOMPARE(server->receivedData(), QByteArray("deep"));
    QCOMPARE(ui->mainStatus.first(), QString("Uploading 6 files and folders..."));
    QVERIFY(ui->mainStatus.contains("Uploading 'up/one/two/deep.txt'..."));
    QCOMPARE(host->refreshes, 1);
    QCOMPARE(ui->progressUnloads, 1);
    QCOMPARE(upload->localRoot(), local->path() + "/");
    const QStringList labels = host->labels.last().split(" | ");
    QCOMPARE(labels.mid(1), (QStringList{"127.0.0.1/up/one/two/deep.txt", "deep.txt"}));
    // The local path is shortened in its middle, in lower case.
    QVERIFY2(labels.first().contains("/.../") && labels.first().endsWith("/deep.txt") && labels.first().size() <= 48,
             qPrintable(labels.first()));
    QCOMPARE(labels.first(), labels.first().toLower());
    CHECK_NO_UI_FAILURES();
}

// The server drops the data connection of a STOR before the file is through: the
// file is failed, but the batch runs to its end, so the refresh still follows.
void TransferScriptedTest::shortUploadIsFailed()
{
    logOn();
    QVERIFY(writeFile(local->filePath("big.bin"), ScriptedFtpServer::patternBytes(0, 8 << 20)));
    server->expect("TYPE I").reply("200 binary\r\n");
    server->expect("PASV").passive();
    server->expect("STOR big.bin").reply("150 go\r\n").openData().abortData().reply("426 Connection closed\r\n");
    QVERIFY(upload->UploadSelected({local->filePath("big.bin")}));
    QCOMPARE(fileMessages(), QStringList{"red: Uploading 'big.bin' is failed."});
    QCOMPARE(upload->summary().failed, 1);
    QCOMPARE(host->refreshes, 1);
}

// Below a current folder other than the root: folders are listed by their full
// path, files are fetched relative to the working folder and land below the
// local folder at the same relative place.
void TransferScriptedTest::pathsBelowTheCurrentFolder()
{
    logOn(true, "/home/me");
    server->expect("TYPE A").reply("200 ascii\r\n");
    server->expect("PASV").passive().repeat();
    scriptListing(*server, "LIST /home/me/sub", unixLine("-rw-r--r--", 40, "in sub.txt"));
    server->expect("TYPE I").reply("200 binary\r\n");
    server->expect("RETR top.txt").reply("150 sending\r\n").sendData(5).closeData().reply("226 done\r\n");
    server->expect("RETR sub/in sub.txt").reply("150 sending\r\n").sendData(40).closeData().reply("226 done\r\n");
    QVERIFY(download->DownloadSelected(local->path() + "/", "/home/me/sub/\r\n/home/me/top.txt?5\r\n"));
    QCOMPARE(commandsAfterLogOn(), (QStringList{"TYPE A", "PASV", "LIST /home/me/sub", "TYPE I", "PASV", "RETR top.txt",
                                                "PASV", "RETR sub/in sub.txt"}));
    QCOMPARE(readFile(local->filePath("top.txt")), ScriptedFtpServer::patternBytes(0, 5));
    QCOMPARE(readFile(local->filePath("sub/in sub.txt")), ScriptedFtpServer::patternBytes(0, 40));
    QCOMPARE(download->localRoot(), local->path() + "/");
    QCOMPARE(host->labels.first().section(" | ", 0, 0), QString("127.0.0.1/home/me/top.txt"));
    CHECK_NO_UI_FAILURES();
}

// "here -> ." and "up -> .." lead back into folders this walk has already taken:
// each link is resolved once, and neither folder is listed or fetched again.
void TransferScriptedTest::linksIntoWalkedFoldersEndTheWalk()
{
    logOn();
    server->expect("TYPE A").reply("200 ascii\r\n").repeat();
    server->expect("PASV").passive().repeat();
    scriptListing(*server, "LIST /top",
                  unixLine("lrwxrwxrwx", 1, "here -> .") + unixLine("drwxr-xr-x", 4096, "sub")
                      + unixLine("-rw-r--r--", 3, "t.txt"));
    server->expect("CWD /top/here").reply("250 ok\r\n");
    server->expect("CWD /").reply("250 ok\r\n").repeat();
    scriptListing(*server, "LIST /top/sub", unixLine("lrwxrwxrwx", 2, "up -> ..") + unixLine("-rw-r--r--", 4, "s.txt"));
    server->expect("CWD /top/sub/up").reply("250 ok\r\n");
    server->expect("TYPE I").reply("200 binary\r\n");
    server->expect("RETR top/t.txt").reply("150 sending\r\n").sendData(3).closeData().reply("226 done\r\n");
    server->expect("RETR top/sub/s.txt").reply("150 sending\r\n").sendData(4).closeData().reply("226 done\r\n");
    QVERIFY(download->DownloadSelected(local->path(), "/top/"));
    QCOMPARE(commandsAfterLogOn(), (QStringList{"TYPE A", "PASV", "LIST /top", "CWD /top/here", "CWD /", "TYPE A",
                                                "PASV", "LIST /top/sub", "CWD /top/sub/up", "CWD /", "TYPE I", "PASV",
                                                "RETR top/t.txt", "PASV", "RETR top/sub/s.txt"}));
    QCOMPARE(download->summary().succeeded, 2);
    QCOMPARE(readFile(local->filePath("top/sub/s.txt")), ScriptedFtpServer::patternBytes(0, 4));
    CHECK_NO_UI_FAILURES();
}

// A hostile listing names a file and a folder whose paths climb out of the local
// folder: neither is fetched nor made there; the file is reported failed.
void TransferScriptedTest::namesThatClimbOutOfTheLocalFolder()
{
    logOn();
    const QString target = local->filePath("target");
    QVERIFY(QDir().mkpath(target));
    server->expect("TYPE A").reply("200 ascii\r\n").repeat();
    server->expect("PASV").passive().repeat();
    scriptListing(*server, "LIST /top",
                  unixLine("-rw-r--r--", 5, "x/../../../escape.txt") + unixLine("-rw-r--r--", 6, "fine.txt"));
    server->expect("TYPE I").reply("200 binary\r\n");
    server->expect("RETR top/fine.txt").reply("150 sending\r\n").sendData(6).closeData().reply("226 done\r\n");
    QVERIFY(download->DownloadSelected(target, "/top/\r\n/x/../../out/"));
    QCOMPARE(commandsAfterLogOn(), (QStringList{"TYPE A", "PASV", "LIST /top", "TYPE I", "PASV", "RETR top/fine.txt"}));
    QCOMPARE(fileMessages(), (QStringList{"red: Downloading 'escape.txt' is failed.",
                                          "magenta: Downloading 'fine.txt' is successful."}));
    QVERIFY(!QFileInfo::exists(local->filePath("escape.txt")));
    QVERIFY(!QFileInfo::exists(local->filePath("out")));
    CHECK_NO_UI_FAILURES();
}

void TransferScriptedTest::batchEndsBeforeTheFirstFile_data()
{
    QTest::addColumn<bool>("uploading");
    QTest::addColumn<bool>("localRootExists");
    QTest::addColumn<QStringList>("wire");
    QTest::newRow("download, TYPE I refused") << false << true << QStringList{"TYPE I"};
    QTest::newRow("download, no local folder") << false << false << QStringList{};
    QTest::newRow("upload, TYPE I refused") << true << true << QStringList{"TYPE I"};
    QTest::newRow("upload, no local folder") << true << false << QStringList{};
}

// A failing TYPE I or a local folder that is not there ends the loop with nothing
// but "Done": no transfer, no per-file message, no refresh.
void TransferScriptedTest::batchEndsBeforeTheFirstFile()
{
    QFETCH(bool, uploading);
    QFETCH(bool, localRootExists);
    QFETCH(QStringList, wire);
    logOn();
    server->expect("TYPE I").reply("500 no binary today\r\n");
    const QString root = localRootExists ? local->path() : local->filePath("missing");
    const QList<TransferItem> files{{root + "/a.txt", 10}, {root + "/b.txt", 20}};
    QVERIFY(writeFile(local->filePath("a.txt"), "0123456789"));
    const bool result = uploading ? upload->UploadFiles(root, files) : download->DownloadFiles(root, {{"a.txt", 10}});
    QVERIFY(!result);
    QCOMPARE(commandsAfterLogOn(), wire);
    QCOMPARE(fileMessages(), QStringList());
    QCOMPARE(ui->mainStatus.last(), QString("Done"));
    QCOMPARE(host->refreshes, 0);
    QCOMPARE(QFileInfo(local->filePath("a.txt")).size(), 10);
    CHECK_NO_UI_FAILURES();
}

QTEST_GUILESS_MAIN(TransferScriptedTest)
#include "TransferScriptedTest.moc"
