// The transfer engines where servers and disks fail, mostly against our scripted
// server (what real servers do not do on demand), a few real servers killed in
// the middle. The fault matrix: every way a log-on, a listing, a download or an
// upload can fail, each cell run through the real engines; a cell ends in a
// failure or in the time-out question, never hangs, and every file it moves is
// either byte-identical or reported failed. Then whole batches: the exact
// commands on the wire, the per-file messages and the files on disk.

#include "fixtures/HeadlessUi.h"
#include "fixtures/ScriptedFtpServer.h"
#include "fixtures/ScriptedSession.h"
#include "fixtures/ServerRows.h"
#include "fixtures/TestFiles.h"
#include "ftp/FtpSession.h"
#include "ftp/ReplyRules.h"
#include "listing/FolderRetrieval.h"
#include "transfer/DownloadEngine.h"
#include "transfer/TransferHost.h"
#include "transfer/UploadEngine.h"

#include <QDir>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <algorithm>
#include <functional>
#include <memory>
#include <optional>

using namespace korvan;
using namespace korvan::test;

namespace {

using Script = std::function<void(ScriptedFtpServer &)>;

enum class Operation { LogOn, List, Download, DownloadFolder, Upload, UploadTree };
// How a cell must end: failed (nothing claimed done that is not), failed after
// the time-out question, done (a hostile reply the engine copes with), or
// either of failed and done when all bytes may have come before the fault.
enum class Ending { Failed, Question, Done, Either };
enum class LocalDisk { Plain, Full, ReadOnly };

constexpr qint64 kFileSize = 300000;
constexpr qint64 kBigFileSize = 64 * 1024 * 1024; // long enough to be cut off midway
constexpr int kGuardMs = 30000;

struct Cell {
    Operation operation = Operation::Download;
    bool passive = true;
    Script script; // everything after the log-on
    Ending ending = Ending::Failed;
    QString logged; // the log says this
    QStringList names = {"f.bin"};
    LocalDisk disk = LocalDisk::Plain;
    std::optional<ServerKind> realServer; // a real server instead of a script
    bool killed = true;                   // the real server is killed mid-transfer
    bool ipv6 = false;                    // the real server listens on ::1
    QString password;                     // instead of the scripted log-on's
};

// What the engines ask of their caller beyond SessionUi.
struct RecordingHost : TransferHost {
    QStringList labels; // "from | to | file"
    int refreshes = 0;
    void progressSetLabels(const QString &from, const QString &to, const QString &file) override
    {
        labels << from + " | " + to + " | " + file;
    }
    void refreshCurrentFolder() override { ++refreshes; }
};

struct Engines {
    DownloadEngine &download;
    UploadEngine &upload;
    QString local; // a local folder of the test's own
};
using Run = std::function<bool(const Engines &)>;

// One batch: the script after the log-on, what the user starts, and what must follow.
struct Batch {
    Script script;
    Run run;
    QStringList wire;     // commands after the log-on, PORT without its argument
    QStringList messages; // per-file log lines, "red: ..." or "magenta: ..."
    QString firstStatus;
    QMap<QString, QByteArray> files; // below the local folder: contents, "missing" or "folder"
    bool result = true;
    QString cancelAt;   // the user cancels while this remote path is moving
    int refreshes = -1; // of the remote folder after the batch, -1: not checked
    QByteArray home = "/";
    bool passive = true;
};

void dataChannel(ScriptedFtpServer &server, bool passive, const QByteArray &passiveReply = {})
{
    if (passive)
        server.expect("PASV").passive(passiveReply.isEmpty() ? "227 Entering Passive Mode ({addr}).\r\n"
                                                             : passiveReply);
    else
        server.expectPrefix("PORT ").rememberPortAddress().reply("200 port ok\r\n");
}

QByteArray listingOf(const QStringList &names)
{
    QByteArray listing;
    for (const QString &name : names)
        listing += unixLine("-rw-r--r--", kFileSize, name.toUtf8());
    return listing;
}

// The command of the operation, and the step its reply runs in.
ScriptedFtpServer::Step &transferStep(ScriptedFtpServer &server, Operation operation)
{
    server.expectPrefix("TYPE ").reply("200 type\r\n").repeat();
    if (operation == Operation::Upload)
        return server.expectPrefix("STOR ");
    if (operation == Operation::List)
        return server.expect("LIST");
    return server.expectPrefix("RETR ");
}

ScriptedFtpServer::Step &retr(ScriptedFtpServer &server, const QByteArray &path, qint64 size)
{
    return server.expect("RETR " + path).reply("150 sending\r\n").sendData(size).closeData().reply("226 done\r\n");
}

// The faults along one transfer.
enum class Fault {
    DropControlAtDataCommand,
    DropControlAtCommand,
    DropControlAfterStart,
    DropControlMidData,
    DropControlBeforeEnd,
    ResetDataAtOpen,
    ResetDataMidData,
    DataNeverOpens,
    SilentMidData,
    GarbageReply,
};
const char *const kFaultNames[] = {"drop control at PASV/PORT", "drop control at command",
                                   "drop control after 150",    "drop control mid-data",
                                   "drop control before 226",   "reset data at open",
                                   "reset data mid-data",       "data never opens",
                                   "silent mid-data",           "garbage reply"};

void scriptFault(ScriptedFtpServer &server, Operation operation, bool passive, Fault fault)
{
    if (fault == Fault::DropControlAtDataCommand) {
        server.expectPrefix("TYPE ").reply("200 type\r\n").repeat();
        server.expectPrefix(passive ? "PASV" : "PORT ").dropControl();
        return;
    }
    // Active: the server never connects. Passive: the 227 names a port where nothing listens.
    if (fault == Fault::DataNeverOpens && passive)
        server.expect("PASV").reply("227 Entering Passive Mode (127,0,0,1,0,1).\r\n");
    else
        dataChannel(server, passive);
    ScriptedFtpServer::Step &step = transferStep(server, operation);
    const bool upload = operation == Operation::Upload;
    if (fault == Fault::DropControlAtCommand || fault == Fault::GarbageReply) {
        fault == Fault::GarbageReply ? step.reply("garbage without a code\r\n") : step.dropControl();
        return;
    }
    step.reply("150 opening\r\n");
    const auto moveHalf = [&] { upload ? step.openData().wait(20) : step.sendData(kFileSize / 2); };
    switch (fault) {
    case Fault::DropControlAfterStart:
        step.dropControl();
        break;
    case Fault::DropControlMidData:
        moveHalf();
        step.dropControl();
        break;
    case Fault::DropControlBeforeEnd:
        upload ? step.receiveData()
               : step.sendData(operation == Operation::List ? listingOf({"a"}) : QByteArray(kFileSize, 'x'));
        step.closeData().dropControl();
        break;
    case Fault::ResetDataAtOpen:
        step.openData().abortData().reply("426 connection closed\r\n");
        break;
    case Fault::ResetDataMidData:
        moveHalf();
        step.abortData().reply("426 connection closed\r\n");
        break;
    case Fault::DataNeverOpens:
        step.reply("226 done\r\n");
        break;
    default: // silent mid-data
        moveHalf();
        break;
    }
}

// What each transfer fault must end in.
Ending endingOf(Fault fault, Operation operation)
{
    if (fault == Fault::SilentMidData || fault == Fault::GarbageReply)
        return Ending::Question;
    // All bytes came and the data connection closed before the control drop.
    if (fault == Fault::DropControlBeforeEnd && operation != Operation::Upload)
        return Ending::Either;
    // A listing ends on its data close (servers hold their 226 back), and a reset
    // reads like a close: the listing shows what came, the late 426 is logged red.
    if ((fault == Fault::ResetDataAtOpen || fault == Fault::ResetDataMidData) && operation == Operation::List)
        return Ending::Either;
    return Ending::Failed;
}

void typeAndPassive(ScriptedFtpServer &server, const QByteArray &type)
{
    server.expect("TYPE " + type).reply("200 type\r\n").repeat();
    server.expect("PASV").passive().repeat();
}

ScriptedFtpServer::Step &stor(ScriptedFtpServer &server, const QByteArray &path)
{
    return server.expect("STOR " + path).reply("150 go\r\n").receiveData().reply("226 stored\r\n");
}

// A download folder "/d" whose listing holds names, and the one good file in it.
Script folderWith(const QByteArray &listing)
{
    return [listing](ScriptedFtpServer &s) {
        s.expectPrefix("TYPE ").reply("200 type\r\n").repeat();
        s.expect("PASV").passive().repeat();
        scriptListing(s, "LIST /d", listing);
        retr(s, "d/ok.bin", kFileSize);
    };
}

// Folders: a tree with links back into itself, and two links to one folder outside it.
void writeLinkedTree(const QString &base)
{
    writeFile(base + "/tree/a.txt", "a");
    writeFile(base + "/tree/sub/b.txt", "b");
    writeFile(base + "/outside/c.txt", "c");
    QFile::link("..", base + "/tree/sub/up");
    QFile::link(".", base + "/tree/sub/self");
    QFile::link("../outside", base + "/tree/out");
    QFile::link(base + "/outside", base + "/tree/out2");
}

} // namespace

Q_DECLARE_METATYPE(Cell)
Q_DECLARE_METATYPE(Batch)

class FaultMatrixTest : public QObject {
    Q_OBJECT
private slots:
    void init();
    void cleanup();
    void cell_data();
    void cell();
    void batch_data();
    void batch();
    void progressFollowsTheBytes();

private:
    bool runOperation(const Cell &cell);
    void checkFiles(const Cell &cell, QString *mismatch);
    bool mountTarget(LocalDisk disk);
    void realServerFor(const Cell &cell);
    QStringList fileMessages() const;
    QStringList commandsAfterLogOn() const;

    std::unique_ptr<ScriptedFtpServer> server;
    std::unique_ptr<FtpServer> real;
    std::unique_ptr<HeadlessUi> ui;
    FtpSettings settings;
    std::unique_ptr<FtpSession> session;
    std::unique_ptr<FolderRetrieval> folders;
    RecordingHost host;
    std::unique_ptr<DownloadEngine> download;
    std::unique_ptr<UploadEngine> upload;
    std::unique_ptr<QTemporaryDir> local;
    QString target; // the local folder the matrix downloads into
    bool mounted = false;
};

void FaultMatrixTest::init()
{
    server = std::make_unique<ScriptedFtpServer>();
    ui = std::make_unique<HeadlessUi>();
    session = std::make_unique<FtpSession>(*ui, settings);
    folders = std::make_unique<FolderRetrieval>(*session, *ui);
    host.labels.clear();
    host.refreshes = 0;
    download = std::make_unique<DownloadEngine>(*session, *ui, *folders, &host);
    upload = std::make_unique<UploadEngine>(*session, *ui, &host);
    local = std::make_unique<QTemporaryDir>();
    target = local->filePath("target");
    QDir().mkpath(target);
    settings = settingsFor(*server);
}

void FaultMatrixTest::cleanup()
{
    reportIfFailed(*ui, *server);
    upload.reset();
    download.reset();
    folders.reset();
    session.reset();
    if (mounted)
        QProcess::execute("umount", {target});
    mounted = false;
    real.reset();
    server.reset();
    local.reset();
}

void FaultMatrixTest::cell_data()
{
    QTest::addColumn<Cell>("cell");
    const auto add = [](const QString &name, const Cell &cell) { QTest::newRow(qPrintable(name)) << cell; };
    const auto logOn = [](Ending ending, Script script, const QString &logged = {}) {
        return Cell{.operation = Operation::LogOn, .script = std::move(script), .ending = ending, .logged = logged};
    };
    const auto userReply = [](const QByteArray &reply) {
        return [reply](ScriptedFtpServer &s) { s.expect("USER me").reply(reply); };
    };

    // Log-on: the greeting and each log-on command.
    add("log-on: drop at greeting", logOn(Ending::Failed, [](ScriptedFtpServer &s) { s.onConnect().dropControl(); }));
    add("log-on: drop at USER", logOn(Ending::Failed, [](ScriptedFtpServer &s) { s.expect("USER me").dropControl(); }));
    add("log-on: drop at PASS", logOn(Ending::Failed, [](ScriptedFtpServer &s) {
            s.expect("USER me").reply("331 password\r\n");
            s.expect("PASS pw").dropControl();
        }));
    add("log-on: drop at PWD", logOn(Ending::Failed, [](ScriptedFtpServer &s) {
            s.expect("USER me").reply("331 password\r\n");
            s.expect("PASS pw").reply("230 in\r\n");
            s.expect("SYST").reply("215 UNIX\r\n");
            s.expect("PWD").dropControl();
        }));
    add("log-on: garbage reply", logOn(Ending::Question, userReply("\x01\x02 garbage\r\nmore garbage\r\n")));
    add("log-on: multi-line reply without end", logOn(Ending::Question, userReply("331-one\r\n331-two\r\n")));
    Cell lineBreakPassword = logOn(Ending::Failed, userReply("331 password\r\n"), u"Not sent: '*"_qs);
    lineBreakPassword.password = u"se\ncret"_qs;
    add("log-on: password with LF (masked, not sent)", lineBreakPassword);

    // LIST, RETR and STOR, passive and active, each fault along the transfer.
    const std::pair<Operation, const char *> operations[] = {
        {Operation::List, "LIST"}, {Operation::Download, "RETR"}, {Operation::Upload, "STOR"}};
    for (const auto &[operation, word] : operations) {
        for (const bool passive : {true, false}) {
            for (int f = 0; f <= int(Fault::GarbageReply); ++f) {
                const Script script = [operation = operation, passive, f](ScriptedFtpServer &s) {
                    scriptFault(s, operation, passive, Fault(f));
                };
                add(QStringLiteral("%1 %2: %3").arg(word, passive ? "passive" : "active", kFaultNames[f]),
                    Cell{.operation = operation,
                         .passive = passive,
                         .script = script,
                         .ending = endingOf(Fault(f), operation)});
            }
        }
    }

    // A 226 whose data connection never comes: the red line, never a hang.
    add("RETR active: 226 without a data connection",
        Cell{.passive = false,
             .script = [](ScriptedFtpServer &s) { scriptFault(s, Operation::Download, false, Fault::DataNeverOpens); },
             .logged = u"did not open within 1 seconds"_qs});
    // A 227 that cannot be read leaves the command waiting: the time-out question.
    add("RETR passive: 227 without parentheses",
        Cell{.script =
                 [](ScriptedFtpServer &s) {
                     dataChannel(s, true, "227 Entering Passive Mode 127,0,0,1,4,1\r\n");
                     transferStep(s, Operation::Download);
                 },
             .ending = Ending::Question});
    // A refused RETR leaves no empty file, also when the server drops the data
    // connection before it says no.
    add("RETR passive: refused", Cell{.script = [](ScriptedFtpServer &s) {
            dataChannel(s, true);
            transferStep(s, Operation::Download).openData().closeData().wait(50).reply("550 Failed to open file.\r\n");
        }});
    // 227 naming another loopback address: the data goes to the server's own.
    add("RETR passive: 227 names 127.0.0.2",
        Cell{.script =
                 [](ScriptedFtpServer &s) {
                     dataChannel(s, true, "227 Entering Passive Mode (127,0,0,2,{port}).\r\n");
                     transferStep(s, Operation::Download)
                         .reply("150 opening\r\n")
                         .sendData(kFileSize)
                         .closeData()
                         .reply("226 done\r\n");
                 },
             .ending = Ending::Done,
             .logged = u"using 127.0.0.1"_qs});
    // Names holding CR, LF or NUL are never sent; the batch goes on to the good one.
    const QStringList badNames{"a\rb", "c\nd", QString("e") + QChar(0) + "f", "ok.bin"};
    add("LIST: names with CR, LF and NUL", Cell{.operation = Operation::DownloadFolder,
                                                .script = folderWith(listingOf(badNames)),
                                                .ending = Ending::Done,
                                                .logged = u"Not sent: 'd/a\\rb'"_qs,
                                                .names = badNames});
    // Names that climb out of the local folder, and a link to an absolute path:
    // nothing lands outside the chosen folder.
    const QStringList climbing{"../../x", "a/../../../y", "ok.bin"};
    add("LIST: names climbing out, a link to /etc",
        Cell{.operation = Operation::DownloadFolder,
             .script = folderWith(listingOf(climbing) + "lrwxrwxrwx 1 ftp ftp 4 Jan 15 10:20 l -> /etc\r\n"),
             .ending = Ending::Done,
             .names = climbing});
    add("STOR: local name with LF",
        Cell{.operation = Operation::Upload,
             .script = [](ScriptedFtpServer &s) { s.expectPrefix("TYPE ").reply("200 type\r\n").repeat(); },
             .logged = u"Not sent: 'x\\ny'"_qs,
             .names = {"x\ny"}});
    // A listing past 5,000,000 lines is cut and shown as far as read.
    add("LIST: 5,000,000 lines and more", Cell{.operation = Operation::List,
                                               .script =
                                                   [](ScriptedFtpServer &s) {
                                                       dataChannel(s, true);
                                                       const qint64 size = 3 * (FtpSession::kMaxListingLines + 1000);
                                                       const auto lines = [](qint64 offset, qint64 length) {
                                                           QByteArray bytes(length, 'x');
                                                           for (qint64 i = 0; i < length; ++i)
                                                               bytes[i] = "x\r\n"[(offset + i) % 3];
                                                           return bytes;
                                                       };
                                                       transferStep(s, Operation::List)
                                                           .reply("150 opening\r\n")
                                                           .sendData(size, lines)
                                                           .closeData()
                                                           .reply("226 done\r\n");
                                                   },
                                               .ending = Ending::Done,
                                               .logged = u"The listing is longer than"_qs});

    // Full and read-only local disks: each file reported, the batch goes on.
    const QStringList four{"1.bin", "2.bin", "3.bin", "4.bin"};
    const Script fourFiles = [four](ScriptedFtpServer &s) {
        s.expectPrefix("TYPE ").reply("200 type\r\n").repeat();
        s.expect("PASV").passive().repeat();
        for (const QString &name : four)
            retr(s, name.toUtf8(), kFileSize);
    };
    add("RETR passive: full disk", Cell{.script = fourFiles, .names = four, .disk = LocalDisk::Full});
    add("RETR passive: read-only folder", Cell{.script = fourFiles, .names = four, .disk = LocalDisk::ReadOnly});

    // Real servers: a local tree holding links to its own folders and twice to
    // one outside it; IPv6 with the extended commands; a server killed mid-transfer.
    add("STOR tree with links to its parent: each folder once", Cell{.operation = Operation::UploadTree,
                                                                     .ending = Ending::Done,
                                                                     .logged = u"Skipped link 'tree/sub/up'"_qs,
                                                                     .names = {},
                                                                     .realServer = ServerKind::Pyftpdlib,
                                                                     .killed = false});
    for (const bool passive : {true, false}) {
        add(passive ? "RETR passive over IPv6 (::1)" : "RETR active over IPv6 (::1)",
            Cell{.passive = passive,
                 .ending = Ending::Done,
                 .logged = u"Downloading 'f.bin' is successful."_qs, // only EPSV or EPRT can get it there
                 .realServer = ServerKind::Pyftpdlib,
                 .killed = false,
                 .ipv6 = true});
    }
    const std::tuple<ServerKind, bool, Operation> killed[] = {{ServerKind::Vsftpd, true, Operation::Download},
                                                              {ServerKind::PureFtpd, false, Operation::Download},
                                                              {ServerKind::Proftpd, true, Operation::Upload},
                                                              {ServerKind::Pyftpdlib, false, Operation::Upload}};
    for (const auto &[kind, passive, operation] : killed) {
        add(QStringLiteral("%1 %2 %3: server killed mid-transfer")
                .arg(serverName(kind), passive ? "passive" : "active",
                     operation == Operation::Upload ? "STOR" : "RETR"),
            Cell{.operation = operation, .passive = passive, .names = {"big.bin"}, .realServer = kind});
    }
}

bool FaultMatrixTest::mountTarget(LocalDisk disk)
{
    if (disk == LocalDisk::Plain)
        return true;
    const QString options = disk == LocalDisk::Full ? u"size=512k"_qs : u"ro,size=512k"_qs;
    mounted = QProcess::execute("mount", {"-t", "tmpfs", "-o", options, "tmpfs", target}) == 0;
    return mounted;
}

bool FaultMatrixTest::runOperation(const Cell &cell)
{
    const bool loggedOn = session->LogOn();
    if (!loggedOn || cell.operation == Operation::LogOn)
        return loggedOn;
    switch (cell.operation) {
    case Operation::List:
        return session->ListFolder();
    case Operation::Download: {
        QList<TransferItem> files;
        for (const QString &name : cell.names)
            files.append({u"/"_qs + name, cell.realServer && cell.killed ? kBigFileSize : kFileSize});
        return download->DownloadSelected(target, files);
    }
    case Operation::DownloadFolder:
        return download->DownloadSelected(target, QList<TransferItem>{{u"/d/"_qs, 0, true}});
    case Operation::Upload: {
        QStringList paths;
        for (const QString &name : cell.names) {
            paths << local->filePath(name);
            writeFile(paths.last(), contentOf(name, cell.realServer ? kBigFileSize : 8 * kFileSize));
        }
        return upload->UploadSelected(paths);
    }
    default:
        writeLinkedTree(local->path());
        return upload->UploadSelected({local->filePath("tree")});
    }
}

// Each file is either byte-identical or reported failed (and then no empty
// file of ours is left).
void FaultMatrixTest::checkFiles(const Cell &cell, QString *mismatch)
{
    const bool uploading = cell.operation == Operation::Upload;
    const TransferDirection direction = uploading ? TransferDirection::Upload : TransferDirection::Download;
    const QString prefix = cell.operation == Operation::DownloadFolder ? u"d/"_qs : QString();
    for (const QString &name : cell.names) {
        const QString path = prefix + name;
        const QString localPath = target + u'/' + path;
        if (ui->logText().contains(FileFailedMessage(direction, path))) {
            if (!uploading && QFileInfo(localPath).exists() && QFileInfo(localPath).size() == 0)
                *mismatch += u" empty file left: "_qs + path;
            continue;
        }
        if (!ui->logText().contains(FileSucceededMessage(direction, path)))
            continue; // never reached (the log-on or the listing failed first)
        const qint64 size = uploading ? 8 * kFileSize : kFileSize;
        const QByteArray expected = uploading ? contentOf(name, size) : ScriptedFtpServer::patternBytes(0, size);
        const QByteArray actual = uploading ? server->receivedData() : readFile(localPath);
        if ((cell.realServer && cell.killed) || actual != expected)
            *mismatch += u" claimed complete but not byte-identical: "_qs + path;
    }
}

void FaultMatrixTest::realServerFor(const Cell &cell)
{
    real = std::make_unique<FtpServer>(*cell.realServer, cell.ipv6);
    START_OR_FAIL(*real);
    settings = settingsFor(*real, cell.passive);
    settings.nFTPWaitTime = 5;
    for (const QString &name : cell.names) {
        if (cell.operation == Operation::Download)
            QVERIFY(writeFile(real->rootDir() + u'/' + name,
                              ScriptedFtpServer::patternBytes(0, cell.killed ? kBigFileSize : kFileSize)));
    }
    real->handOver();
    FtpServer *victim = real.get();
    if (cell.killed) {
        connect(session.get(), &FtpSession::transferProgress, this, [victim](qint64 bytes) {
            if (bytes > 0)
                victim->stop();
        });
    }
}

void FaultMatrixTest::cell()
{
    QFETCH(Cell, cell);
    settings.nFTPWaitTime = 1;
    // The time-out question, the log-on retry question: both answered "No".
    for (int i = 0; i < 4; ++i)
        ui->answerQuestion(QuestionAnswer::No);
    if (cell.realServer) {
        realServerFor(cell);
        if (QTest::currentTestFailed())
            return;
    } else {
        settings.bPassive = cell.passive;
        if (!cell.password.isEmpty())
            settings.sFTPPassword = cell.password;
        if (cell.operation != Operation::LogOn)
            scriptLogOn(*server);
        cell.script(*server);
    }
    QVERIFY2(mountTarget(cell.disk), "cannot mount a tmpfs (needs root)");
    if (cell.disk == LocalDisk::Full) // fills most of the disk: two of four files fit at most
        QVERIFY(writeFile(target + "/filler", QByteArray(100 * 1024, 'f')));

    bool hung = false;
    QTimer guard;
    guard.setSingleShot(true);
    connect(&guard, &QTimer::timeout, this, [&] {
        hung = true;
        session->controlSocket().close();
    });
    guard.start(kGuardMs);
    const int answersBefore = ui->pendingAnswers();
    const bool ok = runOperation(cell);
    guard.stop();
    QVERIFY2(!hung, "the cell hung");

    const bool asked = ui->pendingAnswers() < answersBefore
                       && ui->questions.first().text == WaitTooLongText(settings.nFTPWaitTime);
    const bool anyFailure = !ok || !ui->logLines(LogColour::Red).isEmpty();
    if (cell.ending == Ending::Done)
        QVERIFY2(ok, "the operation failed");
    if (cell.ending == Ending::Question)
        QVERIFY2(asked, "no time-out question");
    if (cell.ending == Ending::Question || cell.ending == Ending::Failed)
        QVERIFY2(anyFailure, "no failure reported");
    QVERIFY2(cell.password.isEmpty() || !ui->logText().contains(u"cret"_qs), "the password reached the log");
    QVERIFY2(ui->logText().contains(cell.logged), qPrintable(u"the log lacks: "_qs + cell.logged));
    for (const QByteArray &command : server->commands())
        QVERIFY2(!command.contains('\r') && !command.contains('\0'), command.constData());
    QString mismatch;
    checkFiles(cell, &mismatch);
    QVERIFY2(mismatch.isEmpty(), qPrintable(mismatch));
    if (cell.disk != LocalDisk::Plain) // the batch went on past the failing files
        QVERIFY(server->commands().contains("RETR 4.bin"));
    if (cell.operation == Operation::DownloadFolder)
        QCOMPARE(QDir(local->path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot), QStringList{"target"});
    if (cell.operation == Operation::UploadTree)
        QCOMPARE(treeOf(real->rootDir()).keys(),
                 QStringList({"tree/", "tree/a.txt", "tree/out/", "tree/out/c.txt", "tree/sub/", "tree/sub/b.txt"}));
}

QStringList FaultMatrixTest::fileMessages() const
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

QStringList FaultMatrixTest::commandsAfterLogOn() const
{
    QStringList commands = korvan::test::commandsAfterLogOn(*server);
    for (QString &command : commands) {
        if (command.startsWith("PORT "))
            command = "PORT";
    }
    return commands;
}

void FaultMatrixTest::batch_data()
{
    QTest::addColumn<Batch>("batch");
    const auto add = [](const char *name, const Batch &batch) { QTest::newRow(name) << batch; };
    const auto ok = [](const QString &verb, const QString &name) {
        return "magenta: " + verb + " '" + name + "' is successful.";
    };
    const auto failed = [](const QString &verb, const QString &name) {
        return "red: " + verb + " '" + name + "' is failed.";
    };
    const QByteArray pattern1000 = ScriptedFtpServer::patternBytes(0, 1000);
    const QByteArray pattern3000 = ScriptedFtpServer::patternBytes(0, 3000);

    // The second of three files goes wrong: it alone is failed, the batch goes on.
    const std::pair<const char *, std::function<void(ScriptedFtpServer::Step &)>> middleFaults[] = {
        {"RETR refused", [](ScriptedFtpServer::Step &b) { b.reply("550 Permission denied\r\n"); }},
        {"fewer bytes than the listing said",
         [](ScriptedFtpServer::Step &b) {
             b.reply("150 sending\r\n").sendData(1200).closeData().reply("226 done\r\n");
         }},
        {"fewer bytes than the 150 announced", // more than the listing's 2,000
         [](ScriptedFtpServer::Step &b) {
             b.reply("150 sending b.bin (2500 bytes)\r\n").sendData(2200).closeData().reply("226 done\r\n");
         }},
        {"data connection reset",
         [](ScriptedFtpServer::Step &b) {
             b.reply("150 sending\r\n").sendData(300).abortData().reply("426 closed\r\n");
         }},
    };
    for (const auto &[name, fault] : middleFaults) {
        add(name,
            Batch{.script =
                      [fault = fault](ScriptedFtpServer &s) {
                          typeAndPassive(s, "I");
                          retr(s, "a.bin", 1000);
                          fault(s.expect("RETR b.bin"));
                          retr(s, "c.bin", 3000);
                      },
                  .run =
                      [](const Engines &e) {
                          return e.download.DownloadSelected(e.local, "a.bin?1,000\r\nb.bin?2,000\r\nc.bin?3,000\r\n");
                      },
                  .wire = {"TYPE I", "PASV", "RETR a.bin", "PASV", "RETR b.bin", "PASV", "RETR c.bin"},
                  .messages = {ok("Downloading", "a.bin"), failed("Downloading", "b.bin"), ok("Downloading", "c.bin")},
                  .firstStatus = "Downloading 3 files and folders...",
                  .files = {{"a.bin", pattern1000}, {"c.bin", pattern3000}}});
    }
    add("cancel during the second download",
        Batch{.script =
                  [](ScriptedFtpServer &s) {
                      typeAndPassive(s, "I");
                      retr(s, "a.bin", 1000);
                      retr(s, "b.bin", qint64(1) << 40); // endless unless aborted
                      retr(s, "c.bin", 3000);
                  },
              .run =
                  [](const Engines &e) {
                      return e.download.DownloadSelected(e.local, "a.bin?1000\r\nb.bin?100000000\r\nc.bin?3000");
                  },
              .wire = {"TYPE I", "PASV", "RETR a.bin", "PASV", "RETR b.bin", "ABOR"},
              .messages = {ok("Downloading", "a.bin"), "red: Downloading file(s) is aborted by user."},
              .files = {{"a.bin", pattern1000}, {"c.bin", "missing"}},
              .result = false,
              .cancelAt = "b.bin"});
    // The server reads nothing for a while: the upload stalls with the buffers full.
    add("cancel during the second upload",
        Batch{.script =
                  [](ScriptedFtpServer &s) {
                      s.expect("MKD up").reply("257 \"/up\" created\r\n");
                      typeAndPassive(s, "I");
                      stor(s, "up/a.txt");
                      s.expect("STOR up/b.bin").reply("150 go\r\n").wait(4000).receiveData().reply("226 stored\r\n");
                      stor(s, "up/c.txt");
                  },
              .run =
                  [](const Engines &e) {
                      writeFile(e.local + "/up/a.txt", "first");
                      writeFile(e.local + "/up/b.bin", ScriptedFtpServer::patternBytes(0, 32 << 20));
                      writeFile(e.local + "/up/c.txt", "third");
                      return e.upload.UploadSelected({e.local + "/up"});
                  },
              .wire = {"MKD up", "TYPE I", "PASV", "STOR up/a.txt", "PASV", "STOR up/b.bin", "ABOR"},
              .messages = {ok("Uploading", "a.txt"), "red: Uploading file(s) is aborted by user."},
              .result = false,
              .cancelAt = "up/b.bin",
              .refreshes = 0});
    // Its local folder is made, its files are not fetched, the walk goes on; all
    // listing comes before any RETR.
    add("a folder whose listing fails",
        Batch{.script =
                  [](ScriptedFtpServer &s) {
                      typeAndPassive(s, "A");
                      s.expect("LIST /broken").reply("550 Permission denied\r\n");
                      scriptListing(s, "LIST /fine",
                                    unixLine("-rw-r--r--", 500, "f.txt") + unixLine("drwxr-xr-x", 4096, "deep"));
                      scriptListing(s, "LIST /fine/deep", unixLine("-rw-r--r--", 700, "g.txt"));
                      s.expect("TYPE I").reply("200 binary\r\n");
                      retr(s, "fine/f.txt", 500);
                      retr(s, "fine/deep/g.txt", 700);
                  },
              .run =
                  [](const Engines &e) {
                      return e.download.DownloadSelected(e.local, QStringList{"/broken/", "/fine/"});
                  },
              .wire = {"TYPE A", "PASV", "LIST /broken", "TYPE A", "PASV", "LIST /fine", "TYPE A", "PASV",
                       "LIST /fine/deep", "TYPE I", "PASV", "RETR fine/f.txt", "PASV", "RETR fine/deep/g.txt"},
              .messages = {ok("Downloading", "f.txt"), ok("Downloading", "g.txt")},
              .files = {{"broken", "folder"}, {"fine/deep/g.txt", ScriptedFtpServer::patternBytes(0, 700)}}});
    // Skipped in a batch; fetched on its own (to open it), an empty file is made.
    add("zero-size file, active", Batch{.script =
                                            [](ScriptedFtpServer &s) {
                                                s.expect("TYPE I").reply("200 binary\r\n");
                                                s.expectPrefix("PORT ").rememberPortAddress().reply("200 PORT ok\r\n");
                                                retr(s, "full.bin", 64);
                                            },
                                        .run =
                                            [](const Engines &e) {
                                                return e.download.DownloadSelected(e.local,
                                                                                   "empty.txt?0\r\nfull.bin?64\r\n")
                                                       && !QFileInfo::exists(e.local + "/empty.txt")
                                                       && e.download.DownloadFile("empty.txt", 0).succeeded();
                                            },
                                        .wire = {"TYPE I", "PORT", "RETR full.bin"},
                                        .messages = {"magenta: Downloading 'empty.txt' is aborted since it has 0 size.",
                                                     ok("Downloading", "full.bin")},
                                        .files = {{"empty.txt", ""}},
                                        .passive = false});
    add("existing local files replaced, even on failure",
        Batch{.script =
                  [](ScriptedFtpServer &s) {
                      typeAndPassive(s, "I");
                      s.expect("RETR old.bin").reply("550 No such file\r\n");
                      retr(s, "new.bin", 10);
                  },
              .run =
                  [](const Engines &e) {
                      writeFile(e.local + "/old.bin", "previous contents that are longer");
                      writeFile(e.local + "/new.bin", "previous contents that are longer than the download");
                      return e.download.DownloadSelected(e.local, "old.bin?33\r\nnew.bin?10");
                  },
              .wire = {"TYPE I", "PASV", "RETR old.bin", "PASV", "RETR new.bin"},
              .messages = {failed("Downloading", "old.bin"), ok("Downloading", "new.bin")},
              .files = {{"old.bin", "missing"}, {"new.bin", ScriptedFtpServer::patternBytes(0, 10)}}});
    // MKD per folder level by level before any file, a failing MKD ignored,
    // dot-folders neither made nor walked, dot-files and zero-size files as such.
    add("upload walk order",
        Batch{.script =
                  [](ScriptedFtpServer &s) {
                      s.expect("MKD up").reply("550 exists\r\n");
                      s.expect("MKD up/one").reply("257 \"up/one\" created\r\n");
                      s.expect("MKD up/one/two").reply("257 \"up/one/two\" created\r\n");
                      typeAndPassive(s, "I");
                      s.expectPrefix("STOR ").reply("150 go\r\n").receiveData().reply("226 stored\r\n").repeat();
                  },
              .run =
                  [](const Engines &e) {
                      const QString base = e.local + "/up";
                      for (const char *name :
                           {"/top.txt", "/.profile", "/one/two/deep.txt", "/one/mid.txt", "/.git/config"})
                          writeFile(base + name, name);
                      writeFile(base + "/empty.txt", "");
                      QDir().mkpath(base + "/one/.cache");
                      writeFile(e.local + "/single.txt", "single");
                      return e.upload.UploadSelected({e.local + "/single.txt", base + "/"});
                  },
              .wire = {"MKD up", "MKD up/one", "MKD up/one/two", "TYPE I", "PASV", "STOR single.txt", "PASV",
                       "STOR up/.profile", "PASV", "STOR up/top.txt", "PASV", "STOR up/one/mid.txt", "PASV",
                       "STOR up/one/two/deep.txt"},
              .messages = {ok("Uploading", "single.txt"), ok("Uploading", ".profile"),
                           "magenta: Uploading 'empty.txt' is aborted since it has 0 size.", ok("Uploading", "top.txt"),
                           ok("Uploading", "mid.txt"), ok("Uploading", "deep.txt")},
              .firstStatus = "Uploading 6 files and folders...",
              .refreshes = 1});
    // The data connection of a STOR dropped before the file is through: the file
    // is failed, but the batch runs to its end, so the refresh still follows.
    add("short upload", Batch{.script =
                                  [](ScriptedFtpServer &s) {
                                      typeAndPassive(s, "I");
                                      s.expect("STOR big.bin")
                                          .reply("150 go\r\n")
                                          .openData()
                                          .abortData()
                                          .reply("426 Connection closed\r\n");
                                  },
                              .run =
                                  [](const Engines &e) {
                                      writeFile(e.local + "/big.bin", ScriptedFtpServer::patternBytes(0, 8 << 20));
                                      return e.upload.UploadSelected({e.local + "/big.bin"});
                                  },
                              .wire = {"TYPE I", "PASV", "STOR big.bin"},
                              .messages = {failed("Uploading", "big.bin")},
                              .refreshes = 1});
    // Below a current folder other than the root: folders are listed by their full
    // path, files fetched relative to the working folder, landing at the same place.
    add("paths below the current folder",
        Batch{.script =
                  [](ScriptedFtpServer &s) {
                      typeAndPassive(s, "A");
                      scriptListing(s, "LIST /home/me/sub", unixLine("-rw-r--r--", 40, "in sub.txt"));
                      s.expect("TYPE I").reply("200 binary\r\n");
                      retr(s, "top.txt", 5);
                      retr(s, "sub/in sub.txt", 40);
                  },
              .run =
                  [](const Engines &e) {
                      return e.download.DownloadSelected(e.local + "/", "/home/me/sub/\r\n/home/me/top.txt?5\r\n");
                  },
              .wire = {"TYPE A", "PASV", "LIST /home/me/sub", "TYPE I", "PASV", "RETR top.txt", "PASV",
                       "RETR sub/in sub.txt"},
              .messages = {ok("Downloading", "top.txt"), ok("Downloading", "in sub.txt")},
              .files = {{"top.txt", ScriptedFtpServer::patternBytes(0, 5)},
                        {"sub/in sub.txt", ScriptedFtpServer::patternBytes(0, 40)}},
              .home = "/home/me"});
    // "here -> ." and "up -> .." lead back into folders this walk has already
    // taken: each link is resolved once, neither folder is listed again.
    add("links into walked folders",
        Batch{.script =
                  [](ScriptedFtpServer &s) {
                      typeAndPassive(s, "A");
                      scriptListing(s, "LIST /top",
                                    unixLine("lrwxrwxrwx", 1, "here -> .") + unixLine("drwxr-xr-x", 4096, "sub")
                                        + unixLine("-rw-r--r--", 3, "t.txt"));
                      s.expect("CWD /top/here").reply("250 ok\r\n");
                      s.expect("CWD /").reply("250 ok\r\n").repeat();
                      scriptListing(s, "LIST /top/sub",
                                    unixLine("lrwxrwxrwx", 2, "up -> ..") + unixLine("-rw-r--r--", 4, "s.txt"));
                      s.expect("CWD /top/sub/up").reply("250 ok\r\n");
                      s.expect("TYPE I").reply("200 binary\r\n");
                      retr(s, "top/t.txt", 3);
                      retr(s, "top/sub/s.txt", 4);
                  },
              .run = [](const Engines &e) { return e.download.DownloadSelected(e.local, "/top/"); },
              .wire = {"TYPE A", "PASV", "LIST /top", "CWD /top/here", "CWD /", "TYPE A", "PASV", "LIST /top/sub",
                       "CWD /top/sub/up", "CWD /", "TYPE I", "PASV", "RETR top/t.txt", "PASV", "RETR top/sub/s.txt"},
              .messages = {ok("Downloading", "t.txt"), ok("Downloading", "s.txt")},
              .files = {{"top/sub/s.txt", ScriptedFtpServer::patternBytes(0, 4)}}});
    // A file and a folder whose paths climb out of the local folder: neither is
    // fetched nor made there; the file is reported failed.
    add("names that climb out", Batch{.script =
                                          [](ScriptedFtpServer &s) {
                                              typeAndPassive(s, "A");
                                              scriptListing(s, "LIST /top",
                                                            unixLine("-rw-r--r--", 5, "x/../../../escape.txt")
                                                                + unixLine("-rw-r--r--", 6, "fine.txt"));
                                              s.expect("TYPE I").reply("200 binary\r\n");
                                              retr(s, "top/fine.txt", 6);
                                          },
                                      .run =
                                          [](const Engines &e) {
                                              return e.download.DownloadSelected(e.local + "/target",
                                                                                 "/top/\r\n/x/../../out/");
                                          },
                                      .wire = {"TYPE A", "PASV", "LIST /top", "TYPE I", "PASV", "RETR top/fine.txt"},
                                      .messages = {failed("Downloading", "escape.txt"), ok("Downloading", "fine.txt")},
                                      .files = {{"escape.txt", "missing"}, {"out", "no folder"}}});
    // A failing TYPE I or a local folder that is not there ends the loop with
    // nothing but "Done": no transfer, no per-file message, no refresh.
    for (const bool uploading : {false, true}) {
        for (const bool rootExists : {true, false}) {
            const Run run = [uploading, rootExists](const Engines &e) {
                const QString root = rootExists ? e.local : e.local + "/missing";
                writeFile(e.local + "/a.txt", "0123456789");
                return uploading ? e.upload.UploadFiles(root, {{root + "/a.txt", 10}, {root + "/b.txt", 20}})
                                 : e.download.DownloadFiles(root, {{"a.txt", 10}});
            };
            const QString name = QString(uploading ? "upload, " : "download, ")
                                 + (rootExists ? "TYPE I refused" : "no local folder");
            QTest::newRow(qPrintable(name))
                << Batch{.script = [](ScriptedFtpServer &s) { s.expect("TYPE I").reply("500 no binary today\r\n"); },
                         .run = run,
                         .wire = rootExists ? QStringList{"TYPE I"} : QStringList{},
                         .files = {{"a.txt", "0123456789"}},
                         .result = false,
                         .refreshes = 0};
        }
    }
}

void FaultMatrixTest::batch()
{
    QFETCH(Batch, batch);
    settings.bPassive = batch.passive;
    scriptLogOn(*server, "331 password please\r\n", batch.home);
    QVERIFY(session->LogOn());
    ui->mainStatus.clear();
    batch.script(*server);
    server->expect("PWD").reply("257 \"" + batch.home + "\" is current\r\n");
    if (!batch.cancelAt.isEmpty()) {
        connect(session.get(), &FtpSession::transferProgress, this, [&] {
            if (session->transfer().remotePath == batch.cancelAt)
                ui->canceled = true;
        });
    }
    // A second poller of the cancel (a window timer) must not abort a second time.
    QTimer secondPoller;
    connect(&secondPoller, &QTimer::timeout, this, [&] {
        if (ui->canceled)
            session->CancelTransfer();
    });
    secondPoller.start(1);

    QCOMPARE(batch.run({*download, *upload, local->path()}), batch.result);
    QCOMPARE(commandsAfterLogOn(), batch.wire);
    QCOMPARE(fileMessages(), batch.messages);
    if (!batch.firstStatus.isEmpty()) { // "Downloading 3 files..." with the dialog's caption "Downloading..."
        QCOMPARE(ui->mainStatus.first(), batch.firstStatus);
        QCOMPARE(ui->progress.first().caption, batch.firstStatus.section(' ', 0, 0) + "...");
    }
    QVERIFY(ui->mainStatus.contains("Done"));
    for (auto it = batch.files.cbegin(); it != batch.files.cend(); ++it) {
        const QString path = local->filePath(it.key());
        const bool folder = it.value() == "folder" || it.value() == "no folder";
        QCOMPARE(folder ? QByteArray(QFileInfo(path).isDir() ? "folder" : "no folder") : readFile(path), it.value());
    }
    if (batch.refreshes >= 0)
        QCOMPARE(host.refreshes, batch.refreshes);
    QCOMPARE(download->summary().cancelled || upload->summary().cancelled, !batch.cancelAt.isEmpty());
    // The control connection is still in step afterwards.
    QVERIFY(session->PrintDir());
    CHECK_NO_UI_FAILURES();
}

// The overall bar: the total first, then it follows the bytes of the running
// file as well as the files done (a failed one included), never going back. The
// labels name the remote and the local file; the dialog goes at the end.
void FaultMatrixTest::progressFollowsTheBytes()
{
    scriptLogOn(*server);
    QVERIFY(session->LogOn());
    server->expect("TYPE I").reply("200 binary\r\n");
    server->expect("PASV").passive().repeat();
    retr(*server, "a.bin", 1000);
    retr(*server, "b.bin", 1200); // fewer bytes than the listing said
    retr(*server, "c.bin", 3000);
    QVERIFY(download->DownloadSelected(local->path(), "a.bin?1,000\r\nb.bin?2,000\r\nc.bin?3,000\r\n"));
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
    QCOMPARE(ui->progressUnloads, 1);
    QCOMPARE(host.labels.size(), 3);
    QCOMPARE(host.labels.at(1), "127.0.0.1/b.bin | " + local->filePath("b.bin").toLower() + " | b.bin");
    QCOMPARE(download->summary().failed, 1);
    CHECK_NO_UI_FAILURES();
}

QTEST_GUILESS_MAIN(FaultMatrixTest)
#include "FaultMatrixTest.moc"
