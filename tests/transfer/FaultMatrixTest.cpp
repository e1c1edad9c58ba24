// The fault matrix: every way a server or the local disk can fail a log-on, a
// listing, a download or an upload, each cell run through the real engines. A
// cell must end in a failure or in the time-out question, never hang (a guard
// per cell) or crash, and the log must say what happened. Every file the matrix
// moves is either byte-identical or reported failed; the counts and the matrix
// are printed at the end.

#include "fixtures/HeadlessUi.h"
#include "fixtures/ScriptedFtpServer.h"
#include "fixtures/ScriptedSession.h"
#include "fixtures/ServerRows.h"
#include "fixtures/TestFiles.h"
#include "ftp/FtpSession.h"
#include "ftp/ReplyRules.h"
#include "listing/FolderRetrieval.h"
#include "transfer/DownloadEngine.h"
#include "transfer/UploadEngine.h"

#include <QDir>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <functional>
#include <memory>
#include <optional>

using namespace korvan;
using namespace korvan::test;

namespace {

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
    std::function<void(ScriptedFtpServer &)> script; // everything after the log-on
    Ending ending = Ending::Failed;
    QString logged; // the log says this
    QStringList names = {"f.bin"};
    LocalDisk disk = LocalDisk::Plain;
    std::optional<ServerKind> realServer; // a real server instead of a script
    bool killed = true;                   // the real server is killed mid-transfer
    bool ipv6 = false;                    // the real server listens on ::1
    QString password;                     // instead of the scripted log-on's
};

struct Tally {
    QStringList rows;
    int passed = 0;
    int identical = 0;
    int reportedFailed = 0;
};

Tally &tally()
{
    static Tally instance;
    return instance;
}

using Script = std::function<void(ScriptedFtpServer &)>;

void dataChannel(ScriptedFtpServer &server, bool passive, const QByteArray &passiveReply = {})
{
    if (passive)
        server.expect("PASV").passive(passiveReply.isEmpty() ? "227 Entering Passive Mode ({addr}).\r\n" : passiveReply);
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

// The faults along one transfer; `step` is the transfer command's step.
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
    const auto moveHalf = [&] {
        if (upload)
            step.openData().wait(20);
        else
            step.sendData(kFileSize / 2);
    };
    switch (fault) {
    case Fault::DropControlAtDataCommand:
        break;
    case Fault::DropControlAtCommand:
        step.dropControl();
        break;
    case Fault::DropControlAfterStart:
        step.reply("150 opening\r\n").dropControl();
        break;
    case Fault::DropControlMidData:
        step.reply("150 opening\r\n");
        moveHalf();
        step.dropControl();
        break;
    case Fault::DropControlBeforeEnd:
        step.reply("150 opening\r\n");
        upload ? step.receiveData() : step.sendData(operation == Operation::List ? listingOf({"a"}) : QByteArray(kFileSize, 'x'));
        step.closeData().dropControl();
        break;
    case Fault::ResetDataAtOpen:
        step.reply("150 opening\r\n").openData().abortData().reply("426 connection closed\r\n");
        break;
    case Fault::ResetDataMidData:
        step.reply("150 opening\r\n");
        moveHalf();
        step.abortData().reply("426 connection closed\r\n");
        break;
    case Fault::DataNeverOpens:
        step.reply("150 opening\r\n").reply("226 done\r\n");
        break;
    case Fault::SilentMidData:
        step.reply("150 opening\r\n");
        moveHalf();
        break;
    case Fault::GarbageReply:
        step.reply("garbage without a code\r\n");
        break;
    }
}

QString faultName(Fault fault)
{
    static const char *const names[] = {"drop control at PASV/PORT", "drop control at command",
                                        "drop control after 150",    "drop control mid-data",
                                        "drop control before 226",   "reset data at open",
                                        "reset data mid-data",       "data never opens",
                                        "silent mid-data",           "garbage reply"};
    return QString::fromLatin1(names[int(fault)]);
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

} // namespace

Q_DECLARE_METATYPE(Cell)

class FaultMatrixTest : public QObject {
    Q_OBJECT
private slots:
    void init();
    void cleanup();
    void cleanupTestCase();
    void cell_data();
    void cell();

private:
    bool runOperation(const Cell &cell);
    void checkFiles(const Cell &cell, QString *mismatch);
    bool mountTarget(LocalDisk disk);

    std::unique_ptr<ScriptedFtpServer> server;
    std::unique_ptr<HeadlessUi> ui;
    FtpSettings settings;
    std::unique_ptr<FtpSession> session;
    std::unique_ptr<FolderRetrieval> folders;
    std::unique_ptr<DownloadEngine> download;
    std::unique_ptr<UploadEngine> upload;
    std::unique_ptr<QTemporaryDir> local;
    QString target; // the local folder downloads go into
    bool mounted = false;
};

void FaultMatrixTest::init()
{
    server = std::make_unique<ScriptedFtpServer>();
    ui = std::make_unique<HeadlessUi>();
    session = std::make_unique<FtpSession>(*ui, settings);
    folders = std::make_unique<FolderRetrieval>(*session, *ui);
    download = std::make_unique<DownloadEngine>(*session, *ui, *folders);
    upload = std::make_unique<UploadEngine>(*session, *ui);
    local = std::make_unique<QTemporaryDir>();
    target = local->filePath("target");
    QDir().mkpath(target);
    settings = settingsFor(*server);
    settings.nFTPWaitTime = 1;
    // The time-out question, the log-on retry question: both answered "No".
    for (int i = 0; i < 4; ++i)
        ui->answerQuestion(QuestionAnswer::No);
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
    server.reset();
    local.reset();
}

void FaultMatrixTest::cleanupTestCase()
{
    const Tally &t = tally();
    qInfo().noquote() << "\nFault matrix:\n" + t.rows.join('\n');
    qInfo().noquote() << QStringLiteral("cells %1, passed %2; files byte-identical %3, reported failed %4")
                             .arg(t.rows.size())
                             .arg(t.passed)
                             .arg(t.identical)
                             .arg(t.reportedFailed);
}

void FaultMatrixTest::cell_data()
{
    QTest::addColumn<Cell>("cell");
    const auto add = [](const QString &name, const Cell &cell) { QTest::newRow(qPrintable(name)) << cell; };

    // Log-on: the greeting and each log-on command.
    const auto logOnCell = [](Ending ending, const QString &logged, Script script) {
        Cell cell;
        cell.operation = Operation::LogOn;
        cell.ending = ending;
        cell.logged = logged;
        cell.script = std::move(script);
        return cell;
    };
    add("log-on: drop at greeting",
        logOnCell(Ending::Failed, {}, [](ScriptedFtpServer &s) { s.onConnect().dropControl(); }));
    add("log-on: silent server", logOnCell(Ending::Question, {}, [](ScriptedFtpServer &s) { s.setGreeting({}); }));
    add("log-on: drop at USER", logOnCell(Ending::Failed, {}, [](ScriptedFtpServer &s) { s.expect("USER me").dropControl(); }));
    add("log-on: drop at PASS", logOnCell(Ending::Failed, {}, [](ScriptedFtpServer &s) {
            s.expect("USER me").reply("331 password\r\n");
            s.expect("PASS pw").dropControl();
        }));
    add("log-on: drop at PWD", logOnCell(Ending::Failed, {}, [](ScriptedFtpServer &s) {
            s.expect("USER me").reply("331 password\r\n");
            s.expect("PASS pw").reply("230 in\r\n");
            s.expect("SYST").reply("215 UNIX\r\n");
            s.expect("PWD").dropControl();
        }));
    add("log-on: garbage reply", logOnCell(Ending::Question, {}, [](ScriptedFtpServer &s) {
            s.expect("USER me").reply("\x01\x02 garbage\r\nmore garbage\r\n");
        }));
    add("log-on: multi-line reply without end", logOnCell(Ending::Question, {}, [](ScriptedFtpServer &s) {
            s.expect("USER me").reply("331-one\r\n331-two\r\n331-three\r\n");
        }));
    Cell lineBreakPassword = logOnCell(Ending::Failed, u"Not sent: '*"_qs, [](ScriptedFtpServer &s) {
        s.expect("USER me").reply("331 password\r\n");
    });
    lineBreakPassword.password = u"se\ncret"_qs;
    add("log-on: password with LF (masked, not sent)", lineBreakPassword);
    add("log-on: 1 MiB line", logOnCell(Ending::Failed, u"without a line end"_qs, [](ScriptedFtpServer &s) {
            s.expect("USER me").flood(1 << 20);
        }));

    // LIST, RETR and STOR, passive and active, each fault along the transfer.
    const std::pair<Operation, const char *> operations[] = {
        {Operation::List, "LIST"}, {Operation::Download, "RETR"}, {Operation::Upload, "STOR"}};
    for (const auto &[operation, word] : operations) {
        for (const bool passive : {true, false}) {
            for (int f = 0; f <= int(Fault::GarbageReply); ++f) {
                const Fault fault = Fault(f);
                Cell cell;
                cell.operation = operation;
                cell.passive = passive;
                cell.ending = endingOf(fault, operation);
                cell.script = [operation = operation, passive, fault](ScriptedFtpServer &s) {
                    scriptFault(s, operation, passive, fault);
                };
                add(QStringLiteral("%1 %2: %3").arg(word, passive ? "passive" : "active", faultName(fault)), cell);
            }
        }
    }

    // A 226 whose data connection never comes: the red line, never a hang.
    Cell overdue;
    overdue.passive = false;
    overdue.logged = u"did not open within 1 seconds"_qs;
    overdue.script = [](ScriptedFtpServer &s) { scriptFault(s, Operation::Download, false, Fault::DataNeverOpens); };
    add("RETR active: 226 without a data connection", overdue);

    // A refused RETR leaves no empty file, also when the server drops the data
    // connection before it says no.
    Cell refused;
    refused.script = [](ScriptedFtpServer &s) {
        dataChannel(s, true);
        transferStep(s, Operation::Download).openData().closeData().wait(50).reply("550 Failed to open file.\r\n");
    };
    add("RETR passive: refused", refused);

    // 227 naming another loopback address: the data goes to the server's own.
    Cell elsewhere;
    elsewhere.ending = Ending::Done;
    elsewhere.logged = u"using 127.0.0.1"_qs;
    elsewhere.script = [](ScriptedFtpServer &s) {
        dataChannel(s, true, "227 Entering Passive Mode (127,0,0,2,{port}).\r\n");
        transferStep(s, Operation::Download).reply("150 opening\r\n").sendData(kFileSize).closeData().reply("226 done\r\n");
    };
    add("RETR passive: 227 names 127.0.0.2", elsewhere);

    // Names holding CR, LF or NUL are never sent; the batch goes on to the good one.
    Cell badNames;
    badNames.operation = Operation::DownloadFolder;
    badNames.ending = Ending::Done;
    badNames.logged = u"Not sent: 'd/a\\rb'"_qs;
    badNames.names = {"a\rb", "c\nd", QString("e") + QChar(0) + "f", "ok.bin"};
    badNames.script = [names = badNames.names](ScriptedFtpServer &s) {
        s.expectPrefix("TYPE ").reply("200 type\r\n").repeat();
        s.expect("PASV").passive().repeat();
        scriptListing(s, "LIST /d", listingOf(names));
        s.expect("RETR d/ok.bin").reply("150 opening\r\n").sendData(kFileSize).closeData().reply("226 done\r\n");
    };
    add("LIST: names with CR, LF and NUL", badNames);

    // Names that climb out of the local folder, and a link to an absolute path:
    // nothing lands outside the chosen folder.
    Cell climbing;
    climbing.operation = Operation::DownloadFolder;
    climbing.ending = Ending::Done;
    climbing.names = {"../../x", "a/../../../y", "ok.bin"};
    climbing.script = [names = climbing.names](ScriptedFtpServer &s) {
        s.expectPrefix("TYPE ").reply("200 type\r\n").repeat();
        s.expect("PASV").passive().repeat();
        scriptListing(s, "LIST /d", listingOf(names) + "lrwxrwxrwx 1 ftp ftp 4 Jan 15 10:20 l -> /etc\r\n");
        s.expect("RETR d/ok.bin").reply("150 opening\r\n").sendData(kFileSize).closeData().reply("226 done\r\n");
    };
    add("LIST: names climbing out, a link to /etc", climbing);

    Cell badLocalName;
    badLocalName.operation = Operation::Upload;
    badLocalName.names = {"x\ny"};
    badLocalName.logged = u"Not sent: 'x\\ny'"_qs;
    badLocalName.script = [](ScriptedFtpServer &s) { s.expectPrefix("TYPE ").reply("200 type\r\n").repeat(); };
    add("STOR: local name with LF", badLocalName);

    // A listing past 5,000,000 lines is cut and shown as far as read.
    Cell longListing;
    longListing.operation = Operation::List;
    longListing.ending = Ending::Done;
    longListing.logged = u"The listing is longer than"_qs;
    longListing.script = [](ScriptedFtpServer &s) {
        dataChannel(s, true);
        const qint64 size = 3 * (FtpSession::kMaxListingLines + 1000);
        transferStep(s, Operation::List).reply("150 opening\r\n").sendData(size, [](qint64 offset, qint64 length) {
            QByteArray bytes(length, 'x');
            for (qint64 i = 0; i < length; ++i)
                bytes[i] = "x\r\n"[(offset + i) % 3];
            return bytes;
        }).closeData().reply("226 done\r\n");
    };
    add("LIST: 5,000,000 lines and more", longListing);

    // Full and read-only local disks: each file reported, the batch goes on.
    for (const LocalDisk disk : {LocalDisk::Full, LocalDisk::ReadOnly}) {
        Cell cell;
        cell.disk = disk;
        cell.names = {"1.bin", "2.bin", "3.bin", "4.bin"};
        cell.script = [names = cell.names](ScriptedFtpServer &s) {
            s.expectPrefix("TYPE ").reply("200 type\r\n").repeat();
            s.expect("PASV").passive().repeat();
            for (const QString &name : names)
                s.expect("RETR " + name.toUtf8()).reply("150 opening\r\n").sendData(kFileSize).closeData().reply("226 done\r\n");
        };
        add(disk == LocalDisk::Full ? "RETR passive: full disk" : "RETR passive: read-only folder", cell);
    }

    // A local tree holding links to its own folders and twice to one outside it.
    Cell linkedTree;
    linkedTree.operation = Operation::UploadTree;
    linkedTree.realServer = ServerKind::Pyftpdlib;
    linkedTree.killed = false;
    linkedTree.ending = Ending::Done;
    linkedTree.names = {};
    linkedTree.logged = u"Skipped link 'tree/sub/up'"_qs;
    add("STOR tree with links to its parent: each folder once", linkedTree);

    // Over IPv6 the extended commands; the same download as over IPv4.
    for (const bool passive : {true, false}) {
        Cell cell;
        cell.realServer = ServerKind::Pyftpdlib;
        cell.killed = false;
        cell.ipv6 = true;
        cell.passive = passive;
        cell.ending = Ending::Done;
        cell.logged = passive ? u"EPSV"_qs : u"EPRT |2|::1|"_qs;
        add(passive ? "RETR passive over IPv6 (::1)" : "RETR active over IPv6 (::1)", cell);
    }

    // Real servers killed in the middle of a transfer.
    const std::tuple<ServerKind, bool, Operation> killed[] = {{ServerKind::Vsftpd, true, Operation::Download},
                                                               {ServerKind::PureFtpd, false, Operation::Download},
                                                               {ServerKind::Proftpd, true, Operation::Upload},
                                                               {ServerKind::Pyftpdlib, false, Operation::Upload}};
    for (const auto &[kind, passive, operation] : killed) {
        Cell cell;
        cell.realServer = kind;
        cell.passive = passive;
        cell.operation = operation;
        cell.names = {"big.bin"};
        add(QStringLiteral("%1 %2 %3: server killed mid-transfer")
                .arg(serverName(kind), passive ? "passive" : "active",
                     operation == Operation::Upload ? "STOR" : "RETR"),
            cell);
    }
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
    if (cell.operation == Operation::LogOn)
        return session->LogOn();
    if (!session->LogOn())
        return false;
    switch (cell.operation) {
    case Operation::LogOn:
        break;
    case Operation::List:
        return session->ListFolder();
    case Operation::Download: {
        QList<TransferItem> files;
        const qint64 size = cell.realServer && cell.killed ? kBigFileSize : kFileSize;
        for (const QString &name : cell.names)
            files.append({u"/"_qs + name, size});
        return download->DownloadSelected(target, files);
    }
    case Operation::DownloadFolder:
        return download->DownloadSelected(target, QList<TransferItem>{{u"/d/"_qs, 0, true}});
    case Operation::Upload: {
        const qint64 size = cell.realServer ? kBigFileSize : 8 * kFileSize;
        QStringList paths;
        for (const QString &name : cell.names) {
            paths << local->filePath(name);
            writeFile(paths.last(), contentOf(name, size));
        }
        return upload->UploadSelected(paths);
    }
    case Operation::UploadTree:
        writeLinkedTree(local->path());
        return upload->UploadSelected({local->filePath("tree")});
    }
    return false;
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
            ++tally().reportedFailed;
            if (!uploading && QFileInfo(localPath).exists() && QFileInfo(localPath).size() == 0)
                *mismatch += u" empty file left: "_qs + path;
            continue;
        }
        if (!ui->logText().contains(FileSucceededMessage(direction, path)))
            continue; // never reached (the log-on or the listing failed first)
        const qint64 size = uploading ? 8 * kFileSize : kFileSize;
        const QByteArray expected = uploading ? contentOf(name, size) : ScriptedFtpServer::patternBytes(0, size);
        const QByteArray actual = uploading ? server->receivedData() : readFile(localPath);
        if (!(cell.realServer && cell.killed) && actual == expected)
            ++tally().identical;
        else
            *mismatch += u" claimed complete but not byte-identical: "_qs + path;
    }
}

void FaultMatrixTest::cell()
{
    QFETCH(Cell, cell);
    tally().rows << QString::fromUtf8(QTest::currentDataTag()) + u": failed"_qs;
    std::unique_ptr<FtpServer> real;
    if (cell.realServer) {
        real = std::make_unique<FtpServer>(*cell.realServer, cell.ipv6);
        START_OR_FAIL(*real);
        settings = settingsFor(*real, cell.passive);
        settings.nFTPWaitTime = 5;
        const qint64 size = cell.killed ? kBigFileSize : kFileSize;
        for (const QString &name : cell.names) {
            if (cell.operation == Operation::Download)
                QVERIFY(writeFile(real->rootDir() + u'/' + name, ScriptedFtpServer::patternBytes(0, size)));
        }
        real->handOver();
        FtpServer *victim = real.get();
        if (cell.killed)
            connect(session.get(), &FtpSession::transferProgress, this, [victim](qint64 bytes) {
                if (bytes > 0)
                    victim->stop();
            });
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
    switch (cell.ending) {
    case Ending::Done:
        QVERIFY2(ok, "the operation failed");
        break;
    case Ending::Question:
        QVERIFY2(asked, "no time-out question");
        QVERIFY2(anyFailure, "no failure after the question");
        break;
    case Ending::Failed:
        QVERIFY2(anyFailure, "no failure reported");
        break;
    case Ending::Either:
        break;
    }
    QVERIFY2(cell.password.isEmpty() || !ui->logText().contains(u"cret"_qs), "the password reached the log");
    if (!cell.logged.isEmpty())
        QVERIFY2(ui->logText().contains(cell.logged), qPrintable(u"the log lacks: "_qs + cell.logged));
    for (const QByteArray &command : server->commands())
        QVERIFY2(!command.contains('\r') && !command.contains('\0'), command.constData());
    if (cell.operation == Operation::Download || cell.operation == Operation::DownloadFolder
        || cell.operation == Operation::Upload) {
        QString mismatch;
        checkFiles(cell, &mismatch);
        QVERIFY2(mismatch.isEmpty(), qPrintable(mismatch));
    }
    if (cell.disk != LocalDisk::Plain) // the batch went on past the failing files
        QVERIFY(server->commands().contains("RETR 4.bin"));
    if (cell.operation == Operation::DownloadFolder)
        QCOMPARE(QDir(local->path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot), QStringList{"target"});
    if (cell.operation == Operation::UploadTree)
        QCOMPARE(treeOf(real->rootDir()).keys(),
                 QStringList({"tree/", "tree/a.txt", "tree/out/", "tree/out/c.txt", "tree/sub/", "tree/sub/b.txt"}));
    tally().rows.last() = QString::fromUtf8(QTest::currentDataTag()) + u": passed"_qs;
    ++tally().passed;
}

QTEST_GUILESS_MAIN(FaultMatrixTest)
#include "FaultMatrixTest.moc"
