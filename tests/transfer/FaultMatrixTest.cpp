// The transfer engines where servers and disks fail: each cell ends in a failure
// or the time-out question, and every file is byte-identical or reported failed.
// Then whole batches: the commands on the wire, the messages, the files on disk.

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

enum class Operation { LogOn, List, Download, DownloadFolder, Upload, UploadTree };
// Either: all bytes may have come before the fault.
enum class Ending { Failed, Question, Done, Either };
enum class LocalDisk { Plain, Full, ReadOnly };

constexpr qint64 kFileSize = 300000;
constexpr qint64 kBigFileSize = 64 * 1024 * 1024; // long enough to be cut off midway

struct Cell {
    Operation operation = Operation::Download;
    bool passive = true;
    Script script; // ahead of the default rows; a log-on cell's has its own log-on
    Ending ending = Ending::Failed;
    QString logged; // the log says this
    QStringList names = {"f.bin"};
    LocalDisk disk = LocalDisk::Plain;
    std::optional<ServerKind> realServer; // a real server instead of a script
    bool killed = false;                  // the real server is killed mid-transfer
    bool ipv6 = false;                    // the real server listens on ::1
    QString password;                     // instead of the scripted log-on's
};

// The rows for PASV and PORT (empty: the default) and the transfer's actions,
// "{half}" and "{all}" of the file; then how a listing, a download and an upload end.
struct Fault {
    const char *name;
    QByteArray pasv, port, transfer;
    Ending list = Ending::Failed, download = Ending::Failed, upload = Ending::Failed;
};
const Fault kFaults[] = {
    {"drop control at PASV/PORT", "drop", "drop", {}},
    {"drop control at command", {}, {}, "drop"},
    {"drop control mid-data", {}, {}, "150 opening|{half}|drop"},
    {"drop control before 226", {}, {}, "150 opening|{all}|close|drop", Ending::Either, Ending::Either},
    // A listing ends on its data close: it shows what came, the late 426 is logged red.
    {"reset data mid-data", {}, {}, "150 opening|{half}|reset|426 connection closed", Ending::Either},
    // Active: the server never connects. Passive: the 227 names a port where nothing listens.
    {"data never opens", "227 Entering Passive Mode (127,0,0,1,0,1).", {}, "150 opening|226 done"},
    {"silent mid-data", {}, {}, "150 opening|{half}", Ending::Question, Ending::Question, Ending::Question},
    {"garbage reply", {}, {}, "garbage without a code", Ending::Question, Ending::Question, Ending::Question},
};

Script faultScript(const Fault &fault, Operation operation, bool passive)
{
    const char *command = operation == Operation::List ? "LIST" : operation == Operation::Upload ? "STOR *" : "RETR *";
    const bool upload = operation == Operation::Upload;
    const QByteArray all = upload                         ? "receive"
                           : operation == Operation::List ? "data 44 " + unixLine("-rw-r--r--", kFileSize, "a")
                                                          : "data " + QByteArray::number(kFileSize);
    const QByteArray half = upload ? "open|wait 20" : "data " + QByteArray::number(kFileSize / 2);
    Script script{{command, QByteArray(fault.transfer).replace("{half}", half).replace("{all}", all)}};
    const QByteArray channel = passive ? fault.pasv : fault.port;
    if (!channel.isEmpty())
        script.prepend({passive ? "PASV" : "PORT *", channel});
    return script;
}

QByteArray listingOf(const QStringList &names)
{
    QByteArray listing;
    for (const QString &name : names)
        listing += unixLine("-rw-r--r--", kFileSize, name.toUtf8());
    return listing;
}

QByteArray sent(qint64 size)
{
    return "150 sending|data " + QByteArray::number(size) + "|close|226 done";
}

struct RecordingHost : TransferHost {
    QStringList labels; // "from | to | file"
    int refreshes = 0;
    void progressSetLabels(const QString &from, const QString &to, const QString &file) override
    {
        labels << from + " | " + to + " | " + file;
    }
    void refreshCurrentFolder() override { ++refreshes; }
};

struct Fixture : ScriptedSession {
    ~Fixture()
    {
        if (mounted)
            QProcess::execute("umount", {target});
    }
    FolderRetrieval folders{session, ui};
    RecordingHost host;
    DownloadEngine download{session, ui, folders, &host};
    UploadEngine upload{session, ui, &host};
    std::unique_ptr<FtpServer> real;
    QTemporaryDir local;
    QString target = local.filePath("target"); // where the matrix downloads to
    bool mounted = false;
};

using Run = std::function<bool(Fixture &)>;

// One batch: the script after the log-on, what the user starts, and what must follow.
struct Batch {
    Script script;
    QString download;                 // the selection to download into the local folder + into
    QStringList upload;               // else the local paths to upload
    Run run;                          // else this
    QString into;                     // below the local folder
    QMap<QString, QByteArray> before; // local files written first ("folder": a folder)
    QStringList wire;                 // commands after the log-on, PORT without its argument
    QStringList messages;             // per-file log lines, "red: ..." or "magenta: ..."
    QString firstStatus;              // with it, the overall bar checked
    QString secondLabel;              // of the progress dialog, "{local}" the local folder
    QMap<QString, QByteArray> files;  // below the local folder: contents, "missing" or "folder"
    bool result = true;
    QString cancelAt;   // the user cancels while this remote path is moving
    int refreshes = -1; // of the remote folder after the batch, -1: not checked
    QByteArray home = "/";
    bool passive = true;
};

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

// The overall bar follows the running file's bytes and the files done (failed ones
// too), never going back, up to the total.
void checkOverallBar(const HeadlessUi &ui)
{
    QList<double> overall;
    for (const HeadlessUi::ProgressCall &call : ui.progress) {
        if (call.name == "SetPrg2")
            overall << (call.maximum >= 0 ? -call.maximum : call.value);
    }
    const double total = -overall.takeFirst();
    QVERIFY(std::is_sorted(overall.cbegin(), overall.cend()));
    QCOMPARE(overall.last(), total);
    QVERIFY2(overall.size() > 3, "the bar moved only between files");
    QCOMPARE(ui.progressUnloads, 1);
}

// The per-file log lines, "red: ..." or "magenta: ...".
QStringList fileMessages(const HeadlessUi &ui)
{
    QStringList result;
    for (const HeadlessUi::LogEntry &entry : ui.log) {
        const QString text = QString(entry.text).remove('\r').remove('\n');
        const bool perFile = text.startsWith("Downloading ") || text.startsWith("Uploading ");
        if (perFile && (entry.colour == LogColour::Magenta || entry.colour == LogColour::Red))
            result << (entry.colour == LogColour::Red ? "red: " : "magenta: ") + text;
    }
    return result;
}

} // namespace

Q_DECLARE_METATYPE(Cell)
Q_DECLARE_METATYPE(Batch)

class FaultMatrixTest : public QObject {
    Q_OBJECT
private slots:
    void cell_data();
    void cell();
    void batch_data();
    void batch();

private:
    static bool runOperation(Fixture &f, const Cell &cell);
    static QString mismatchedFiles(Fixture &f, const Cell &cell);
    static void startRealServer(Fixture &f, const Cell &cell);
};

void FaultMatrixTest::cell_data()
{
    QTest::addColumn<Cell>("cell");
    const auto add = [](const QString &name, const Cell &cell) { QTest::newRow(qPrintable(name)) << cell; };
    const auto logOn = [](Ending ending, const Script &script, const QString &logged = {}) {
        return Cell{.operation = Operation::LogOn, .script = script, .ending = ending, .logged = logged};
    };
    const Script user{{"USER me", "331 password"}};
    const Script pass = user + Script{{"PASS pw", "230 in"}, {"SYST", "215 UNIX"}};

    // Log-on: the greeting and each log-on command.
    add("log-on: drop at greeting", logOn(Ending::Failed, {{"", "drop"}}));
    add("log-on: drop at USER", logOn(Ending::Failed, {{"USER me", "drop"}}));
    add("log-on: drop at PASS", logOn(Ending::Failed, user + Script{{"PASS pw", "drop"}}));
    add("log-on: drop at PWD", logOn(Ending::Failed, pass + Script{{"PWD", "drop"}}));
    add("log-on: garbage reply", logOn(Ending::Question, {{"USER me", "\x01\x02 garbage\r\nmore garbage\r\n"}}));
    add("log-on: multi-line reply without end", logOn(Ending::Question, {{"USER me", "331-one\r\n331-two\r\n"}}));
    Cell lineBreakPassword = logOn(Ending::Failed, user, u"Not sent: '*"_qs);
    lineBreakPassword.password = u"se\ncret"_qs;
    add("log-on: password with LF (masked, not sent)", lineBreakPassword);

    // LIST, RETR and STOR, passive and active, each fault along the transfer.
    const std::pair<Operation, const char *> operations[] = {
        {Operation::List, "LIST"}, {Operation::Download, "RETR"}, {Operation::Upload, "STOR"}};
    for (const auto &[operation, word] : operations) {
        for (const bool passive : {true, false}) {
            for (const Fault &fault : kFaults) {
                const Ending ending = operation == Operation::List       ? fault.list
                                      : operation == Operation::Download ? fault.download
                                                                         : fault.upload;
                add(QStringLiteral("%1 %2: %3").arg(word, passive ? "passive" : "active", fault.name),
                    Cell{.operation = operation,
                         .passive = passive,
                         .script = faultScript(fault, operation, passive),
                         .ending = ending});
            }
        }
    }

    // A 226 whose data connection never comes: the red line, never a hang.
    add("RETR active: 226 without a data connection", Cell{.passive = false,
                                                           .script = {{"RETR *", "150 opening|226 done"}},
                                                           .logged = u"did not open within 1 seconds"_qs});
    // No empty file left, also when the data connection closes before the 550.
    add("RETR passive: refused", Cell{.script = {{"RETR *", "open|close|wait 50|550 Failed to open file."}}});
    // 227 naming another loopback address: the data goes to the server's own.
    add("RETR passive: 227 names 127.0.0.2",
        Cell{.script = {{"PASV", "pasv 227 Entering Passive Mode (127,0,0,2,{port})."}, {"RETR *", sent(kFileSize)}},
             .ending = Ending::Done,
             .logged = u"using 127.0.0.1"_qs});
    // A folder "/d" listing names, and the one good file in it.
    const auto folderWith = [](const QByteArray &listing) {
        return Script{{"LIST /d", listed(listing)}, {"RETR d/ok.bin", sent(kFileSize)}};
    };
    const QStringList badNames{"a\rb", "c\nd", QString("e") + QChar(0) + "f", "ok.bin"};
    add("LIST: names with CR, LF and NUL", Cell{.operation = Operation::DownloadFolder,
                                                .script = folderWith(listingOf(badNames)),
                                                .ending = Ending::Done,
                                                .logged = u"Not sent: 'd/a\\rb'"_qs,
                                                .names = badNames});
    add("STOR: local name with LF",
        Cell{.operation = Operation::Upload, .logged = u"Not sent: 'x\\ny'"_qs, .names = {"x\ny"}});
    const qint64 listingSize = 3 * (FtpSession::kMaxListingLines + 1000);
    add("LIST: 5,000,000 lines and more",
        Cell{.operation = Operation::List,
             .script = {{"LIST", "150 opening|data " + QByteArray::number(listingSize) + " x\r\n|close|226 done"}},
             .ending = Ending::Done,
             .logged = u"The listing is longer than"_qs});

    // Full and read-only local disks: each file reported, the batch goes on.
    const QStringList four{"1.bin", "2.bin", "3.bin", "4.bin"};
    const Script fourFiles{{"RETR *", sent(kFileSize)}};
    add("RETR passive: full disk", Cell{.script = fourFiles, .names = four, .disk = LocalDisk::Full});
    add("RETR passive: read-only folder", Cell{.script = fourFiles, .names = four, .disk = LocalDisk::ReadOnly});

    // Real servers: a tree linking into itself, IPv6, a server killed mid-transfer.
    add("STOR tree with links to its parent: each folder once", Cell{.operation = Operation::UploadTree,
                                                                     .ending = Ending::Done,
                                                                     .logged = u"Skipped link 'tree/sub/up'"_qs,
                                                                     .realServer = ServerKind::Pyftpdlib});
    for (const bool passive : {true, false}) {
        add(passive ? "RETR passive over IPv6 (::1)" : "RETR active over IPv6 (::1)",
            Cell{.passive = passive,
                 .ending = Ending::Done,
                 .logged = u"Downloading 'f.bin' is successful."_qs, // only EPSV or EPRT can get it there
                 .realServer = ServerKind::Pyftpdlib,
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
            Cell{.operation = operation, .passive = passive, .names = {"big.bin"}, .realServer = kind, .killed = true});
    }
}

bool FaultMatrixTest::runOperation(Fixture &f, const Cell &cell)
{
    const bool ownLogOn = cell.operation == Operation::LogOn || cell.realServer;
    if (ownLogOn)
        f.server.add(cell.script);
    const bool loggedOn = ownLogOn ? f.session.LogOn() : f.logOn(cell.script);
    if (!loggedOn || cell.operation == Operation::LogOn)
        return loggedOn;
    QList<TransferItem> files;
    QStringList paths;
    for (const QString &name : cell.names) {
        files.append({u"/"_qs + name, cell.realServer && cell.killed ? kBigFileSize : kFileSize});
        paths << f.local.filePath(name);
        if (cell.operation == Operation::Upload)
            writeFile(paths.last(), contentOf(name, cell.realServer ? kBigFileSize : 8 * kFileSize));
    }
    switch (cell.operation) {
    case Operation::List:
        return f.session.ListFolder();
    case Operation::Download:
        return f.download.DownloadSelected(f.target, files);
    case Operation::DownloadFolder:
        return f.download.DownloadSelected(f.target, QList<TransferItem>{{u"/d/"_qs, 0, true}});
    case Operation::Upload:
        return f.upload.UploadSelected(paths);
    default:
        writeLinkedTree(f.local.path());
        return f.upload.UploadSelected({f.local.filePath("tree")});
    }
}

// Each file is byte-identical, or reported failed leaving no empty file.
QString FaultMatrixTest::mismatchedFiles(Fixture &f, const Cell &cell)
{
    QString mismatch;
    const bool uploading = cell.operation == Operation::Upload;
    const TransferDirection direction = uploading ? TransferDirection::Upload : TransferDirection::Download;
    const QString prefix = cell.operation == Operation::DownloadFolder ? u"d/"_qs : QString();
    for (const QString &name : cell.names) {
        const QString path = prefix + name;
        const QString localPath = f.target + u'/' + path;
        if (f.ui.logText().contains(FileFailedMessage(direction, path))) {
            if (!uploading && QFileInfo(localPath).exists() && QFileInfo(localPath).size() == 0)
                mismatch += u" empty file left: "_qs + path;
            continue;
        }
        if (!f.ui.logText().contains(FileSucceededMessage(direction, path)))
            continue; // never reached (the log-on or the listing failed first)
        const qint64 size = uploading ? 8 * kFileSize : kFileSize;
        const QByteArray expected = uploading ? contentOf(name, size) : ScriptedFtpServer::patternBytes(0, size);
        const QByteArray actual = uploading ? f.server.receivedData() : readFile(localPath);
        if ((cell.realServer && cell.killed) || actual != expected)
            mismatch += u" claimed complete but not byte-identical: "_qs + path;
    }
    return mismatch;
}

void FaultMatrixTest::startRealServer(Fixture &f, const Cell &cell)
{
    f.real = std::make_unique<FtpServer>(*cell.realServer, cell.ipv6);
    START_OR_FAIL(*f.real);
    f.settings = settingsFor(*f.real, cell.passive);
    f.settings.nFTPWaitTime = 5;
    for (const QString &name : cell.names) {
        if (cell.operation == Operation::Download)
            QVERIFY(writeFile(f.real->rootDir() + u'/' + name,
                              ScriptedFtpServer::patternBytes(0, cell.killed ? kBigFileSize : kFileSize)));
    }
    f.real->handOver();
    FtpServer *victim = f.real.get();
    if (cell.killed) {
        connect(&f.session, &FtpSession::transferProgress, &f.session, [victim](qint64 bytes) {
            if (bytes > 0)
                victim->stop();
        });
    }
}

void FaultMatrixTest::cell()
{
    QFETCH(Cell, cell);
    Fixture f;
    QDir().mkpath(f.target);
    f.settings.nFTPWaitTime = 1;
    f.settings.bPassive = cell.passive;
    if (!cell.password.isEmpty())
        f.settings.sFTPPassword = cell.password;
    for (int i = 0; i < 4; ++i)
        f.ui.answerQuestion(QuestionAnswer::No);
    if (cell.realServer)
        startRealServer(f, cell);
    if (QTest::currentTestFailed())
        return;
    if (cell.disk != LocalDisk::Plain) {
        const QString options = cell.disk == LocalDisk::Full ? u"size=512k"_qs : u"ro,size=512k"_qs;
        f.mounted = QProcess::execute("mount", {"-t", "tmpfs", "-o", options, "tmpfs", f.target}) == 0;
        QVERIFY2(f.mounted, "cannot mount a tmpfs (needs root)");
    }
    if (cell.disk == LocalDisk::Full) // fills most of the disk: two of four files fit at most
        QVERIFY(writeFile(f.target + "/filler", QByteArray(100 * 1024, 'f')));

    const int answersBefore = f.ui.pendingAnswers();
    const bool ok = runOperation(f, cell);

    const bool asked = f.ui.pendingAnswers() < answersBefore
                       && f.ui.questions.first().text == WaitTooLongText(f.settings.nFTPWaitTime);
    const bool anyFailure = !ok || !f.ui.logLines(LogColour::Red).isEmpty();
    if (cell.ending == Ending::Done)
        QVERIFY2(ok, "the operation failed");
    if (cell.ending == Ending::Question)
        QVERIFY2(asked, "no time-out question");
    if (cell.ending == Ending::Question || cell.ending == Ending::Failed)
        QVERIFY2(anyFailure, "no failure reported");
    QVERIFY2(cell.password.isEmpty() || !f.ui.logText().contains(u"cret"_qs), "the password reached the log");
    QVERIFY2(f.ui.logText().contains(cell.logged), qPrintable(u"the log lacks: "_qs + cell.logged));
    for (const QByteArray &command : f.server.commands())
        QVERIFY2(!command.contains('\r') && !command.contains('\0'), command.constData());
    const QString mismatch = mismatchedFiles(f, cell);
    QVERIFY2(mismatch.isEmpty(), qPrintable(mismatch));
    if (cell.disk != LocalDisk::Plain) // the batch went on past the failing files
        QVERIFY(f.server.commands().contains("RETR 4.bin"));
    if (cell.operation == Operation::DownloadFolder)
        QCOMPARE(QDir(f.local.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot), QStringList{"target"});
    if (cell.operation == Operation::UploadTree)
        QCOMPARE(treeOf(f.real->rootDir()).keys(),
                 QStringList({"tree/", "tree/a.txt", "tree/out/", "tree/out/c.txt", "tree/sub/", "tree/sub/b.txt"}));
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
    const auto pattern = [](qint64 size) { return ScriptedFtpServer::patternBytes(0, size); };
    const Script stored{{"STOR *", "150 go|receive|226 stored"}};

    // The second of three files goes wrong: it alone is failed, the batch goes on.
    const std::pair<const char *, QByteArray> middleFaults[] = {
        {"RETR refused", "550 Permission denied"},
        {"fewer bytes than the listing said", sent(1200)},
        {"fewer bytes than the 150 announced", // more than the listing's 2,000
         "150 sending b.bin (2500 bytes)|data 2200|close|226 done"},
        {"data connection reset", "150 sending|data 300|reset|426 closed"},
    };
    for (const auto &[name, fault] : middleFaults) {
        add(name,
            Batch{.script = {{"RETR a.bin", sent(1000)}, {"RETR b.bin", fault}, {"RETR c.bin", sent(3000)}},
                  .download = "a.bin?1,000\r\nb.bin?2,000\r\nc.bin?3,000\r\n",
                  .wire = {"TYPE I", "PASV", "RETR a.bin", "PASV", "RETR b.bin", "PASV", "RETR c.bin"},
                  .messages = {ok("Downloading", "a.bin"), failed("Downloading", "b.bin"), ok("Downloading", "c.bin")},
                  .firstStatus = "Downloading 3 files and folders...",
                  .secondLabel = "127.0.0.1/b.bin | {local}/b.bin | b.bin",
                  .files = {{"a.bin", pattern(1000)}, {"c.bin", pattern(3000)}}});
    }
    add("cancel during the second download",
        Batch{.script = {{"RETR a.bin", sent(1000)}, {"RETR b.bin", sent(qint64(1) << 40)}},
              .download = "a.bin?1000\r\nb.bin?100000000\r\nc.bin?3000",
              .wire = {"TYPE I", "PASV", "RETR a.bin", "PASV", "RETR b.bin", "ABOR"},
              .messages = {ok("Downloading", "a.bin"), "red: Downloading file(s) is aborted by user."},
              .files = {{"a.bin", pattern(1000)}, {"c.bin", "missing"}},
              .result = false,
              .cancelAt = "b.bin"});
    // The server reads nothing for a while: the upload stalls with the buffers full.
    add("cancel during the second upload",
        Batch{.script = Script{{"MKD up", "257 \"/up\" created"},
                               {"STOR up/b.bin", "150 go|wait 4000|receive|226 stored"}}
                        + stored,
              .upload = {"up"},
              .before = {{"up/a.txt", "first"}, {"up/b.bin", pattern(32 << 20)}, {"up/c.txt", "third"}},
              .wire = {"MKD up", "TYPE I", "PASV", "STOR up/a.txt", "PASV", "STOR up/b.bin", "ABOR"},
              .messages = {ok("Uploading", "a.txt"), "red: Uploading file(s) is aborted by user."},
              .result = false,
              .cancelAt = "up/b.bin",
              .refreshes = 0});
    // Its local folder is made, the walk goes on; all listing comes before any RETR.
    add("a folder whose listing fails",
        Batch{.script = {{"LIST /broken", "550 Permission denied"},
                         {"LIST /fine",
                          listed(unixLine("-rw-r--r--", 500, "f.txt") + unixLine("drwxr-xr-x", 4096, "deep"))},
                         {"LIST /fine/deep", listed(unixLine("-rw-r--r--", 700, "g.txt"))},
                         {"RETR fine/f.txt", sent(500)},
                         {"RETR fine/deep/g.txt", sent(700)}},
              .download = "/broken/\r\n/fine/",
              .wire = {"TYPE A", "PASV", "LIST /broken", "TYPE A", "PASV", "LIST /fine", "TYPE A", "PASV",
                       "LIST /fine/deep", "TYPE I", "PASV", "RETR fine/f.txt", "PASV", "RETR fine/deep/g.txt"},
              .messages = {ok("Downloading", "f.txt"), ok("Downloading", "g.txt")},
              .files = {{"broken", "folder"}, {"fine/deep/g.txt", pattern(700)}}});
    // Skipped in a batch; fetched on its own (to open it), an empty file is made.
    add("zero-size file, active", Batch{.script = {{"RETR full.bin", sent(64)}},
                                        .run =
                                            [](Fixture &f) {
                                                return f.download.DownloadSelected(f.local.path(),
                                                                                   "empty.txt?0\r\nfull.bin?64\r\n")
                                                       && !QFileInfo::exists(f.local.filePath("empty.txt"))
                                                       && f.download.DownloadFile("empty.txt", 0).succeeded();
                                            },
                                        .wire = {"TYPE I", "PORT", "RETR full.bin"},
                                        .messages = {"magenta: Downloading 'empty.txt' is aborted since it has 0 size.",
                                                     ok("Downloading", "full.bin")},
                                        .files = {{"empty.txt", ""}},
                                        .passive = false});
    add("existing local files replaced, even on failure",
        Batch{.script = {{"RETR old.bin", "550 No such file"}, {"RETR new.bin", sent(10)}},
              .download = "old.bin?33\r\nnew.bin?10",
              .before = {{"old.bin", "previous contents that are longer"},
                         {"new.bin", "previous contents that are longer than the download"}},
              .wire = {"TYPE I", "PASV", "RETR old.bin", "PASV", "RETR new.bin"},
              .messages = {failed("Downloading", "old.bin"), ok("Downloading", "new.bin")},
              .files = {{"old.bin", "missing"}, {"new.bin", pattern(10)}}});
    // MKD level by level before any file, a failing MKD ignored, dot-folders skipped;
    // a STOR whose data connection is cut fails alone, the refresh still follows.
    add("upload walk order",
        Batch{.script = Script{{"MKD up", "550 exists"},
                               {"MKD *", "257 created"},
                               {"STOR up/one/mid.txt", "150 go|open|reset|426 Connection closed"}}
                        + stored,
              .upload = {"single.txt", "up/"},
              .before = {{"single.txt", "single"},
                         {"up/top.txt", "t"},
                         {"up/.profile", "p"},
                         {"up/one/two/deep.txt", "d"},
                         {"up/one/mid.txt", "m"},
                         {"up/.git/config", "c"},
                         {"up/empty.txt", ""},
                         {"up/one/.cache", "folder"}},
              .wire = {"MKD up", "MKD up/one", "MKD up/one/two", "TYPE I", "PASV", "STOR single.txt", "PASV",
                       "STOR up/.profile", "PASV", "STOR up/top.txt", "PASV", "STOR up/one/mid.txt", "PASV",
                       "STOR up/one/two/deep.txt"},
              .messages = {ok("Uploading", "single.txt"), ok("Uploading", ".profile"),
                           "magenta: Uploading 'empty.txt' is aborted since it has 0 size.", ok("Uploading", "top.txt"),
                           failed("Uploading", "mid.txt"), ok("Uploading", "deep.txt")},
              .firstStatus = "Uploading 6 files and folders...",
              .refreshes = 1});
    // Folders listed by their full path, files fetched relative to the working folder.
    add("paths below the current folder",
        Batch{.script = {{"LIST /home/me/sub", listed(unixLine("-rw-r--r--", 40, "in sub.txt"))},
                         {"RETR top.txt", sent(5)},
                         {"RETR sub/in sub.txt", sent(40)}},
              .download = "/home/me/sub/\r\n/home/me/top.txt?5\r\n",
              .into = "/",
              .wire = {"TYPE A", "PASV", "LIST /home/me/sub", "TYPE I", "PASV", "RETR top.txt", "PASV",
                       "RETR sub/in sub.txt"},
              .messages = {ok("Downloading", "top.txt"), ok("Downloading", "in sub.txt")},
              .files = {{"top.txt", pattern(5)}, {"sub/in sub.txt", pattern(40)}},
              .home = "/home/me"});
    // Links back into walked folders: each resolved once, neither folder listed again.
    add("links into walked folders",
        Batch{
            .script = {{"LIST /top", listed(unixLine("lrwxrwxrwx", 1, "here -> .") + unixLine("drwxr-xr-x", 4096, "sub")
                                            + unixLine("-rw-r--r--", 3, "t.txt"))},
                       {"CWD *", "250 ok"},
                       {"LIST /top/sub",
                        listed(unixLine("lrwxrwxrwx", 2, "up -> ..") + unixLine("-rw-r--r--", 4, "s.txt"))},
                       {"RETR top/t.txt", sent(3)},
                       {"RETR top/sub/s.txt", sent(4)}},
            .download = "/top/",
            .wire = {"TYPE A", "PASV", "LIST /top", "CWD /top/here", "CWD /", "TYPE A", "PASV", "LIST /top/sub",
                     "CWD /top/sub/up", "CWD /", "TYPE I", "PASV", "RETR top/t.txt", "PASV", "RETR top/sub/s.txt"},
            .messages = {ok("Downloading", "t.txt"), ok("Downloading", "s.txt")},
            .files = {{"top/sub/s.txt", pattern(4)}}});
    // Neither fetched nor made outside the local folder; the file is reported failed.
    add("names that climb out", Batch{.script = {{"LIST /top", listed(unixLine("-rw-r--r--", 5, "x/../../../escape.txt")
                                                                      + unixLine("-rw-r--r--", 6, "fine.txt"))},
                                                 {"RETR top/fine.txt", sent(6)}},
                                      .download = "/top/\r\n/x/../../out/",
                                      .into = "/target",
                                      .wire = {"TYPE A", "PASV", "LIST /top", "TYPE I", "PASV", "RETR top/fine.txt"},
                                      .messages = {failed("Downloading", "escape.txt"), ok("Downloading", "fine.txt")},
                                      .files = {{"escape.txt", "missing"}, {"out", "no folder"}}});
    // A failing TYPE I or a missing local folder: "Done", no transfer, message or refresh.
    for (const bool uploading : {false, true}) {
        for (const bool rootExists : {true, false}) {
            const Run run = [uploading, rootExists](Fixture &f) {
                const QString root = f.local.filePath(rootExists ? "" : "missing");
                return uploading ? f.upload.UploadFiles(root, {{root + "/a.txt", 10}, {root + "/b.txt", 20}})
                                 : f.download.DownloadFiles(root, {{"a.txt", 10}});
            };
            const QString name = QString(uploading ? "upload, " : "download, ")
                                 + (rootExists ? "TYPE I refused" : "no local folder");
            QTest::newRow(qPrintable(name)) << Batch{.script = {{"TYPE I", "500 no binary today"}},
                                                     .run = run,
                                                     .before = {{"a.txt", "0123456789"}},
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
    Fixture f;
    f.settings.bPassive = batch.passive;
    QVERIFY(f.logOn(batch.script, batch.home));
    f.ui.mainStatus.clear();
    if (!batch.cancelAt.isEmpty()) {
        connect(&f.session, &FtpSession::transferProgress, this, [&] {
            if (f.session.transfer().remotePath == batch.cancelAt)
                f.ui.canceled = true;
        });
    }
    // A second poller of the cancel (a window timer) must not abort a second time.
    QTimer secondPoller;
    connect(&secondPoller, &QTimer::timeout, this, [&] {
        if (f.ui.canceled)
            f.session.CancelTransfer();
    });
    secondPoller.start(1);
    for (auto it = batch.before.cbegin(); it != batch.before.cend(); ++it)
        QVERIFY(it.value() == "folder" ? QDir().mkpath(f.local.filePath(it.key()))
                                       : writeFile(f.local.filePath(it.key()), it.value()));
    QStringList uploads;
    for (const QString &path : batch.upload)
        uploads << f.local.filePath(path);
    const bool result = batch.run ? batch.run(f)
                        : batch.download.isEmpty()
                            ? f.upload.UploadSelected(uploads)
                            : f.download.DownloadSelected(f.local.path() + batch.into, batch.download);
    QCOMPARE(result, batch.result);
    QCOMPARE(f.commandsAfterLogOn(), batch.wire);
    QCOMPARE(fileMessages(f.ui), batch.messages);
    if (!batch.firstStatus.isEmpty()) { // "Downloading 3 files..." with the dialog's caption "Downloading..."
        QCOMPARE(f.ui.mainStatus.first(), batch.firstStatus);
        QCOMPARE(f.ui.progress.first().caption, batch.firstStatus.section(' ', 0, 0) + "...");
        checkOverallBar(f.ui);
    }
    if (!batch.secondLabel.isEmpty())
        QCOMPARE(f.host.labels.value(1), QString(batch.secondLabel).replace("{local}", f.local.path().toLower()));
    QVERIFY(f.ui.mainStatus.contains("Done"));
    for (auto it = batch.files.cbegin(); it != batch.files.cend(); ++it) {
        const QString path = f.local.filePath(it.key());
        const bool folder = it.value() == "folder" || it.value() == "no folder";
        QCOMPARE(folder ? QByteArray(QFileInfo(path).isDir() ? "folder" : "no folder") : readFile(path), it.value());
    }
    if (batch.refreshes >= 0)
        QCOMPARE(f.host.refreshes, batch.refreshes);
    QCOMPARE(f.download.summary().cancelled || f.upload.summary().cancelled, !batch.cancelAt.isEmpty());
    // The control connection is still in step afterwards.
    QVERIFY(f.session.PrintDir());
    CHECK_NO_UI_FAILURES(f.ui);
}

QTEST_GUILESS_MAIN(FaultMatrixTest)
#include "FaultMatrixTest.moc"
