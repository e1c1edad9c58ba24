// The session against our own scripted server, for what real servers do not do
// on demand: split and merged replies, silent or hostile servers, late 226s,
// unreadable 227s, dropped connections, aborts. First the reply dispatch alone,
// on a session without a connection.

#include "fixtures/HeadlessUi.h"
#include "fixtures/ScriptedFtpServer.h"
#include "fixtures/ScriptedSession.h"
#include "fixtures/TestFiles.h"
#include "ftp/FtpSession.h"
#include "korvan/FtpSettings.h"

#include <QRegularExpression>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <functional>

using namespace korvan;
using namespace korvan::test;

using ServerScript = std::function<void(ScriptedFtpServer &)>;
using StepScript = std::function<void(ScriptedFtpServer::Step &)>;
Q_DECLARE_METATYPE(korvan::ReplyState)
Q_DECLARE_METATYPE(korvan::LogColour)
Q_DECLARE_METATYPE(ServerScript)
Q_DECLARE_METATYPE(StepScript)

namespace {

const QByteArray kListing = "drwxr-xr-x 2 ftp ftp 4096 Jan 15 10:20 pub\r\n"
                            "-rw-r--r-- 1 ftp ftp 1234 Jan 15 10:21 readme.txt\r\n";

// The log lines of one colour from entry `from` on.
QStringList linesSince(const HeadlessUi &ui, qsizetype from, LogColour colour)
{
    QStringList lines;
    for (const HeadlessUi::LogEntry &entry : ui.log.mid(from)) {
        if (entry.colour == colour)
            lines << QString(entry.text).remove('\r').remove('\n');
    }
    return lines;
}

} // namespace

class SessionScriptedTest : public QObject {
    Q_OBJECT
private slots:
    void init();
    void cleanup();

    void replyLine_data();
    void replyLine();
    void commandReply_data();
    void commandReply();
    void logOn_data();
    void logOn();
    void listingEnd_data();
    void listingEnd();
    void lateTransferReplyBelongsToItsTransfer_data();
    void lateTransferReplyBelongsToItsTransfer();
    void abortDuringDownload();
    void interruptedWait_data();
    void interruptedWait();
    void activeUploadStartsWhenAccepted();
    void uploadOfMissingOrShortFile_data();
    void uploadOfMissingOrShortFile();
    void dataConnectionRefused();
    void withoutConnection();
    void peerCloseAfterBufferedData_data();
    void peerCloseAfterBufferedData();

private:
    bool scriptedLogOn(bool passive = true);

    std::unique_ptr<ScriptedFtpServer> server;
    std::unique_ptr<HeadlessUi> ui;
    FtpSettings settings; // the session's
    std::unique_ptr<FtpSession> session;
};

void SessionScriptedTest::init()
{
    server = std::make_unique<ScriptedFtpServer>();
    ui = std::make_unique<HeadlessUi>();
    session = std::make_unique<FtpSession>(*ui, settings);
    settings = settingsFor(*server);
}

void SessionScriptedTest::cleanup()
{
    reportIfFailed(*ui, *server);
    session.reset();
    ui.reset();
    server.reset();
}

bool SessionScriptedTest::scriptedLogOn(bool passive)
{
    settings.bPassive = passive;
    scriptLogOn(*server);
    return session->LogOn();
}

// Which reply, after which command, moves the reply state, the folder and the log.
void SessionScriptedTest::replyLine_data()
{
    QTest::addColumn<QString>("lastCommand");
    QTest::addColumn<QString>("line");
    QTest::addColumn<ReplyState>("state");
    QTest::addColumn<LogColour>("colour");
    QTest::addColumn<QString>("currentDir");
    const ReplyState waiting = ReplyState::Waiting;
    const ReplyState done = ReplyState::Done;
    const ReplyState failed = ReplyState::Failed;
    const auto row = [](const char *name, const char *command, const char *line, ReplyState state,
                        LogColour colour = LogColour::Black, const char *dir = "/before/") {
        QTest::newRow(name) << QString(command) << QString(line) << state << colour << QString(dir);
    };
    row("110 keeps waiting", "NOOP", "110 restart marker\r\n", waiting);
    row("125 after LIST", "LIST", "125 starting\r\n", waiting);
    row("200", "TYPE I", "200 ok\r\n", done);
    row("221", "QUIT", "221 bye\r\n", done);
    row("225 after ABOR", "ABOR", "225 aborted\r\n", done);
    row("225 after NOOP", "NOOP", "225 data open\r\n", waiting);
    row("226 after ABOR", "ABOR", "226 abort ok\r\n", done);
    row("226 after LIST", "LIST", "226 listed\r\n", waiting);
    row("226 after RETR", "RETR f", "226 sent\r\n", waiting);
    row("227 unreadable", "PASV", "227 no address\r\n", waiting);
    row("230 continuation", "PASS x", "230-more to come\r\n", waiting);
    row("257 after PWD", "PWD", "257 \"/pub/x\" current\r\n", done, LogColour::Black, "/pub/x/");
    row("257 root", "PWD", "257 \"/\" current\r\n", done, LogColour::Black, "/");
    row("257 with its slash: kept", "PWD", "257 \"/pub/\"\r\n", done, LogColour::Black, "/pub//");
    row("257 with a blank", "PWD", "257 \"/a b\"\r\n", done, LogColour::Black, "/a b/");
    row("257 after MKD keeps the folder", "MKD y", "257 \"/y\" created\r\n", done);
    row("331", "USER me", "331 password\r\n", done);
    row("332 fails red", "PASS x", "332 need account\r\n", failed, LogColour::Red);
    row("350 after REST completes", "REST 5", "350 restarting\r\n", done);
    row("399 keeps waiting", "NOOP", "399 odd\r\n", waiting);
    row("400 fails red", "NOOP", "400 bad\r\n", failed, LogColour::Red);
    row("599 fails red", "NOOP", "599 odd\r\n", failed, LogColour::Red);
    row("211 keeps waiting", "STAT", "211 status\r\n", waiting);
    row("other 2xx keeps waiting", "NOOP", "299 odd\r\n", waiting);
    row("text without code", "NOOP", "hello there\r\n", waiting);
    row("bare code", "TYPE I", "200 \n", done);
    row("fullwidth digits are no code", "NOOP", "\xef\xbc\x92\xef\xbc\x90\xef\xbc\x90 ok\r\n", waiting);
    row("code without its blank", "NOOP", "200\r\n", waiting);
}

void SessionScriptedTest::replyLine()
{
    QFETCH(QString, lastCommand);
    QFETCH(QString, line);
    QFETCH(ReplyState, state);
    QFETCH(LogColour, colour);
    QFETCH(QString, currentDir);
    HeadlessUi offline;
    FtpSession session(offline);
    // As the window starts a command: without a connection nothing goes out.
    session.BeginCommand(DataMode::None);
    session.SendCommand("PWD");
    session.ReplyLine("257 \"/before\" is current\r\n");
    const QString replyBefore = session.sLastReply();
    session.BeginCommand(DataMode::None);
    session.SendCommand(lastCommand);
    offline.log.clear();
    session.ReplyLine(line);
    QCOMPARE(session.nReplyState(), state);
    QCOMPARE(session.sCurrentDir(), currentDir);
    QCOMPARE(offline.log.size(), 1);
    QCOMPARE(offline.log.first().colour, colour);
    QCOMPARE(offline.log.first().text, line);
    // Only a final reply (three ASCII digits and a blank) is remembered as the last one.
    static const QRegularExpression finalReply("^[0-9]{3} ");
    QCOMPARE(session.sLastReply(), finalReply.match(line).hasMatch() ? line : replyBefore);
}

// One command, the server's answer, and what the user is left with: the result,
// the lines logged black and red, the time-out questions.
void SessionScriptedTest::commandReply_data()
{
    QTest::addColumn<StepScript>("answer");
    QTest::addColumn<int>("yesAnswers"); // -1: no time-out question expected
    QTest::addColumn<bool>("ok");
    QTest::addColumn<QStringList>("black");
    QTest::addColumn<QStringList>("red");
    QTest::addColumn<QString>("lastReply");
    const auto chunks = [](QByteArrayList parts) {
        return StepScript([parts](ScriptedFtpServer::Step &step) { step.replyInChunks(parts, 30); });
    };
    QTest::newRow("split reply, dispatched once")
        << chunks({"2", "00 al", "l is", " well\r", "\n"}) << -1 << true << QStringList{"200 all is well"}
        << QStringList() << "200 all is well\r\n";
    QTest::newRow("three replies in one arrival")
        << chunks({"214-help\r\n214 end of help\r\n200 and done\r\n"}) << -1 << true
        << QStringList{"214-help", "214 end of help", "200 and done"} << QStringList() << "200 and done\r\n";
    // A bare LF ends a line as well; CR is kept as the server sent it.
    QTest::newRow("bare LF, line cut inside")
        << chunks({"200-first\r\n200 sec", "ond\r\n211 extra\n"}) << -1 << true
        << QStringList{"200-first", "200 second", "211 extra"} << QStringList() << "211 extra\n";
    for (const char *reply : {"332 need account", "421 service closing", "530 not logged in", "550 no such file"}) {
        QTest::newRow(reply) << chunks({QByteArray(reply) + "\r\n"}) << -1 << false << QStringList()
                             << QStringList{reply} << QString(reply) + "\r\n";
    }
    QTest::newRow("211 waits: asked, yes, then no") << chunks({"211 status follows\r\n"}) << 1 << false
                                                    << QStringList{"211 status follows"} << QStringList() << QString();
    QTest::newRow("213 waits: asked, no") << chunks({"213 status follows\r\n"}) << 0 << false
                                          << QStringList{"213 status follows"} << QStringList() << QString();
    QTest::newRow("control dropped") << StepScript([](ScriptedFtpServer::Step &step) { step.dropControl(); }) << -1
                                     << false << QStringList() << QStringList{"The server closed the connection."}
                                     << QString();
    QTest::newRow("1 MiB without a line end")
        << StepScript([](ScriptedFtpServer::Step &step) { step.flood(1 << 20); }) << -1 << false << QStringList()
        << QStringList{"*without a line end*"} << QString();
}

void SessionScriptedTest::commandReply()
{
    QFETCH(StepScript, answer);
    QFETCH(int, yesAnswers);
    QFETCH(bool, ok);
    QFETCH(QStringList, black);
    QFETCH(QStringList, red);
    QFETCH(QString, lastReply);
    QVERIFY(scriptedLogOn());
    settings.nFTPWaitTime = 1;
    answer(server->expect("NOOP"));
    for (int i = 0; i < yesAnswers; ++i)
        ui->answerQuestion(QuestionAnswer::Yes);
    if (yesAnswers >= 0)
        ui->answerQuestion(QuestionAnswer::No);
    const qsizetype logged = ui->log.size();
    QCOMPARE(session->SendAndWait("NOOP"), ok);
    QCOMPARE(linesSince(*ui, logged, LogColour::Black), black);
    const QStringList redLines = linesSince(*ui, logged, LogColour::Red);
    QCOMPARE(redLines.size(), red.size());
    for (qsizetype i = 0; i < red.size(); ++i)
        QVERIFY2(QRegularExpression::fromWildcard(red[i]).match(redLines[i]).hasMatch(), qPrintable(redLines[i]));
    if (!lastReply.isEmpty())
        QCOMPARE(session->sLastReply(), lastReply);
    QCOMPARE(ui->questions.size(), yesAnswers + 1);
    for (const HeadlessUi::Question &asked : ui->questions) {
        QCOMPARE(asked.text, QString("Wait too long (1 seconds) !\r\nIf your FTP command does not work, switch "
                                     "passive mode !\r\nDo you want to wait the server response ?\r\n"));
    }
    if (!ok) {
        // What a window or the command-line client shows, without reading the log.
        QCOMPARE(session->lastFailure().command, QString("NOOP"));
        QCOMPARE(session->lastFailure().timedOut, yesAnswers >= 0);
    }
    if (yesAnswers >= 0) // a late reply still belongs to the command
        QCOMPARE(session->nReplyState(), ReplyState::Waiting);
    if (red.value(0).startsWith("The server closed"))
        QVERIFY(!session->lastFailure().socketError.isEmpty());
    QVERIFY(session->sRecvBuffer().isEmpty());
    CHECK_NO_UI_FAILURES();
}

// The log-on as the server answers it: the commands it got, the question asked
// (answered as given), the status texts shown.
void SessionScriptedTest::logOn_data()
{
    QTest::addColumn<QString>("folder");
    QTest::addColumn<ServerScript>("script");
    QTest::addColumn<bool>("ok");
    QTest::addColumn<QByteArrayList>("commands");
    QTest::addColumn<QString>("question"); // the start of the question asked: a retry answered Yes, a wait No
    QTest::addColumn<QStringList>("statuses");
    QTest::addColumn<QString>("home");
    const QByteArrayList plain{"USER me", "PASS pw", "SYST", "PWD"};
    const auto answers = [](QByteArray user, QByteArray pass, QByteArray pwd, QByteArray cwd = {}) {
        return ServerScript([=](ScriptedFtpServer &s) {
            s.expect("USER me").reply(user);
            s.expect("PASS pw").reply(pass);
            s.expect("SYST").reply("215 UNIX\r\n");
            if (!cwd.isEmpty())
                s.expectPrefix("CWD ").reply(cwd);
            s.expect("PWD").reply(pwd);
        });
    };
    const QByteArray home = "257 \"/home/me\" is current\r\n";
    QTest::newRow("multi-line 230 ending late") << QString() << ServerScript([=](ScriptedFtpServer &s) {
        s.expect("USER me").reply("331 PASS required for me\r\n");
        s.expect("PASS pw").reply("230-Welcome\r\n230-Second line\r\n").wait(300).reply("230 Logged in\r\n");
        s.expect("SYST").reply("215 UNIX\r\n");
        s.expect("PWD").reply(home);
    }) << true << plain << QString() << QStringList()
                                                << "/home/me/";
    QTest::newRow("USER answered 230, PASS all the same")
        << QString() << answers("230 no password needed\r\n", "230 ok\r\n", home) << true << plain << QString()
        << QStringList() << "/home/me/";
    QTest::newRow("initial folder, its slash dropped")
        << "/pub/" << answers("331 pw\r\n", "230 ok\r\n", "257 \"/pub\"\r\n", "250 ok\r\n") << true
        << QByteArrayList{"USER me", "PASS pw", "SYST", "CWD /pub", "PWD"} << QString() << QStringList() << "/pub/";
    // A bad initial folder leaves the server's default one and the log-on goes on.
    QTest::newRow("initial folder failing")
        << "/gone" << answers("331 pw\r\n", "230 ok\r\n", home, "550 no such folder\r\n") << true
        << QByteArrayList{"USER me", "PASS pw", "SYST", "CWD /gone", "PWD"} << QString() << QStringList()
        << "/home/me/";
    // "Yes" to the retry disconnects and opens the connect dialog again.
    QTest::newRow("PWD failing: retry asked")
        << QString() << answers("331 pw\r\n", "230 ok\r\n", "550 no\r\n") << false << plain + QByteArrayList{"QUIT"}
        << "Log on failed to 127.0.0.1.\r\nLast command was PWD\r\nTry again ? "
        << QStringList{"Connecting 127.0.0.1", "Disconnected"} << QString();
    // Nothing was sent, so there is no retry question; pane 2 counts the seconds.
    QTest::newRow("silent server") << QString() << ServerScript([](ScriptedFtpServer &s) { s.setGreeting({}); })
                                   << false << QByteArrayList() << "Wait too long (2 seconds) !"
                                   << QStringList{"CONNECT: 0 seconds", "CONNECT: 1 seconds"} << QString();
}

void SessionScriptedTest::logOn()
{
    QFETCH(QString, folder);
    QFETCH(ServerScript, script);
    QFETCH(bool, ok);
    QFETCH(QByteArrayList, commands);
    QFETCH(QString, question);
    QFETCH(QStringList, statuses);
    QFETCH(QString, home);
    settings.sFTPDir = folder;
    settings.nFTPWaitTime = 2;
    script(*server);
    server->expect("QUIT").reply("221 bye\r\n");
    if (!question.isEmpty())
        ui->answerQuestion(question.startsWith("Log on failed") ? QuestionAnswer::Yes : QuestionAnswer::No);
    QCOMPARE(session->LogOn(), ok);
    QTRY_COMPARE(server->commands(), commands);
    QCOMPARE(ui->questions.size(), question.isEmpty() ? 0 : 1);
    if (!question.isEmpty())
        QVERIFY2(ui->questions.first().text.startsWith(question), qPrintable(ui->questions.first().text));
    for (const QString &status : statuses)
        QVERIFY2(ui->mainStatus.contains(status) || ui->waitStatus.contains(status), qPrintable(status));
    QCOMPARE(ui->reconnectRequests, !ok && !commands.isEmpty() ? 1 : 0);
    QCOMPARE(session->keepAliveActive(), ok);
    if (ok)
        QCOMPARE(session->sCurrentDir(), home);
    // The password is masked wherever "PASS" shows, in a reply as well (CR LF counted).
    static const QRegularExpression unmasked("PASS [^*]");
    QVERIFY2(!unmasked.match(ui->logText()).hasMatch(), qPrintable(ui->logText()));
    CHECK_NO_UI_FAILURES();
}

void SessionScriptedTest::listingEnd_data()
{
    QTest::addColumn<bool>("passive");
    QTest::addColumn<int>("order");
    // 0: 226 before the data close, 1: after it, 2: data closed before it was read, 226 long after.
    for (bool passive : {true, false}) {
        const QString mode = passive ? " passive" : " active";
        QTest::newRow(qPrintable("226 before close" + mode)) << passive << 0;
        QTest::newRow(qPrintable("226 after close" + mode)) << passive << 1;
        QTest::newRow(qPrintable("close long before 226" + mode)) << passive << 2;
    }
}

void SessionScriptedTest::listingEnd()
{
    QFETCH(bool, passive);
    QFETCH(int, order);
    QVERIFY(scriptedLogOn(passive));
    if (passive)
        server->expect("PASV").passive();
    else
        server->expectPrefix("PORT ").rememberPortAddress().reply("200 PORT ok\r\n");
    ScriptedFtpServer::Step &list = server->expect("LIST").reply("150 listing\r\n").sendData(kListing);
    if (order == 0)
        list.reply("226 done\r\n").wait(100).closeData();
    else
        list.closeData().wait(order == 1 ? 100 : 600).reply("226 done\r\n");
    server->expect("NOOP").reply("200 ok\r\n");
    QVERIFY(session->ListFolder());
    QCOMPARE(session->sListText(), kListing);
    QCOMPARE(session->dataSocket().state(), SocketState::Closed);
    // The next command gets its own reply, whenever the listing's 226 came.
    QVERIFY(session->SendAndWait("NOOP"));
    QCOMPARE(session->sLastReply(), QString("200 ok\r\n"));
    QTRY_VERIFY(ui->logLines(LogColour::Black).contains("226 done"));
    CHECK_NO_UI_FAILURES();
}

void SessionScriptedTest::lateTransferReplyBelongsToItsTransfer_data()
{
    QTest::addColumn<QByteArray>("heldUntil");
    QTest::newRow("held until PASV") << QByteArray("PASV");
    QTest::newRow("held until RETR") << QByteArray("RETR");
    QTest::newRow("held until STOR") << QByteArray("STOR");
}

// A download's 226 held back until a later command: it is logged but neither
// completes nor fails the command that is then running.
void SessionScriptedTest::lateTransferReplyBelongsToItsTransfer()
{
    QFETCH(QByteArray, heldUntil);
    QTemporaryDir local;
    QVERIFY(scriptedLogOn());
    const qint64 size = 300000;
    server->expect("PASV").passive();
    server->expect("RETR first.bin")
        .reply("150 sending (300000 bytes)\r\n")
        .sendData(size)
        .closeData()
        .holdUntil(heldUntil, ScriptedFtpServer::Held::BeforeTriggerReply)
        .reply("226 first done\r\n");
    server->expect("PASV").passive();
    if (heldUntil == "STOR")
        server->expect("STOR up.bin").reply("150 go ahead\r\n").receiveData().reply("226 stored\r\n");
    else
        server->expect("RETR second.bin")
            .reply("150 sending\r\n")
            .sendData(size)
            .closeData()
            .wait(100)
            .reply("226 second done\r\n");
    QVERIFY(session->RetrieveFile("first.bin", local.filePath("first.bin"), size).succeeded());
    QCOMPARE(readFile(local.filePath("first.bin")), ScriptedFtpServer::patternBytes(0, size));
    QCOMPARE(ui->progress.last().maximum, double(size)); // the size the 150 announced

    if (heldUntil == "STOR") {
        const QByteArray upload = ScriptedFtpServer::patternBytes(7, 100000);
        QVERIFY(writeFile(local.filePath("up.bin"), upload));
        QVERIFY(session->StoreFile(local.filePath("up.bin"), "up.bin", upload.size()).succeeded());
        QCOMPARE(session->sLastReply(), QString("226 stored\r\n"));
        QCOMPARE(server->receivedData(), upload);
    } else {
        QVERIFY(session->RetrieveFile("second.bin", local.filePath("second.bin"), size).succeeded());
        QCOMPARE(readFile(local.filePath("second.bin")), ScriptedFtpServer::patternBytes(0, size));
    }
    QVERIFY(ui->logLines(LogColour::Black).contains("226 first done"));
    QVERIFY(server->unusedSteps().isEmpty());
    CHECK_NO_UI_FAILURES();
}

// What the transfer window's cancel does: drop the data connection, then ABOR;
// the control connection is still in step afterwards.
void SessionScriptedTest::abortDuringDownload()
{
    QTemporaryDir local;
    QVERIFY(scriptedLogOn());
    const qint64 endless = qint64(1) << 32;
    server->expect("PASV").passive();
    server->expect("RETR huge.bin").reply("150 sending\r\n").sendData(endless).closeData().reply("226 done\r\n");
    server->expect("PWD").reply("257 \"/\" is current\r\n");
    connect(&session->dataSocket(), &SocketAdapter::dataArrival, this,
            [&] { QTimer::singleShot(0, this, [&] { session->CancelTransfer(); }); });
    QVERIFY(session->RetrieveFile("huge.bin", local.filePath("huge.bin"), endless).cancelled());
    QCOMPARE(ui->mainStatus.last(), QString("Aborting FTP command..."));
    QCOMPARE(ui->timerStops, 1);
    QVERIFY(!session->keepAliveActive());
    QCOMPARE(server->commands().count("ABOR"), 1);
    QVERIFY(session->PrintDir());
    QCOMPARE(session->sCurrentDir(), QString("/"));
    QVERIFY(server->sentDataBytes() < endless);
    CHECK_NO_UI_FAILURES();
}

// A disconnect or a window close while a command waits for its reply.
void SessionScriptedTest::interruptedWait_data()
{
    QTest::addColumn<bool>("disconnect");
    QTest::newRow("disconnect") << true;
    QTest::newRow("window closed") << false;
}

void SessionScriptedTest::interruptedWait()
{
    QFETCH(bool, disconnect);
    QVERIFY(scriptedLogOn());
    server->expect("NOOP").wait(3000).reply("200 late\r\n");
    QTimer::singleShot(100, this, [&] {
        if (disconnect)
            session->Disconnect();
        else
            session->RequestClose();
    });
    QVERIFY(!session->SendAndWait("NOOP"));
    if (disconnect) {
        QCOMPARE(session->nReplyState(), ReplyState::Failed);
        QCOMPARE(session->controlSocket().state(), SocketState::Closed);
        QCOMPARE(ui->mainStatus.mid(ui->mainStatus.size() - 2), (QStringList{"Disconnecting...", "Disconnected"}));
        QCOMPARE(ui->progressUnloads, 1);
        QTRY_VERIFY(server->commands().contains("QUIT"));
    } else {
        QCOMPARE(session->nReplyState(), ReplyState::ClosePending);
        QCOMPARE(ui->unloadRequests, 1);
        // Any further command unloads instead of sending.
        QVERIFY(!session->SendAndWait("PWD"));
        QCOMPARE(ui->unloadRequests, 2);
        QCOMPARE(server->commands().count("PWD"), 1);
    }
    CHECK_NO_UI_FAILURES();
}

// The 150 may come before the server's data connection has been accepted; the
// file goes in whole blocks.
void SessionScriptedTest::activeUploadStartsWhenAccepted()
{
    QTemporaryDir local;
    QVERIFY(scriptedLogOn(false));
    server->expectPrefix("PORT ").rememberPortAddress().reply("200 PORT ok\r\n");
    server->expect("STOR up.bin").reply("150 go ahead\r\n").wait(200).openData().receiveData().reply("226 stored\r\n");
    const QByteArray upload = ScriptedFtpServer::patternBytes(3, 2 * FtpSession::kUploadBlockSize + 4464);
    QVERIFY(writeFile(local.filePath("up.bin"), upload));
    QList<qint64> blocks;
    connect(session.get(), &FtpSession::uploadBlockSent, this, [&](qint64 bytes) { blocks << bytes; });
    QVERIFY(session->StoreFile(local.filePath("up.bin"), "up.bin", upload.size()).succeeded());
    QCOMPARE(blocks, (QList<qint64>{FtpSession::kUploadBlockSize, FtpSession::kUploadBlockSize, 4464}));
    QCOMPARE(server->receivedData(), upload);
    QVERIFY(server->commands().at(4).startsWith("PORT 127,0,0,1,"));
    CHECK_NO_UI_FAILURES();
}

void SessionScriptedTest::uploadOfMissingOrShortFile_data()
{
    QTest::addColumn<qint64>("fileBytes"); // -1: no file
    QTest::newRow("missing") << qint64(-1);
    QTest::newRow("shorter than its size") << qint64(999);
}

void SessionScriptedTest::uploadOfMissingOrShortFile()
{
    QFETCH(qint64, fileBytes);
    QTemporaryDir local;
    if (fileBytes >= 0)
        QVERIFY(writeFile(local.filePath("gone.bin"), ScriptedFtpServer::patternBytes(0, fileBytes)));
    QVERIFY(scriptedLogOn());
    server->expect("PASV").passive();
    server->expect("STOR gone.bin").reply("150 go ahead\r\n").receiveData().reply("226 stored\r\n");
    const TransferOutcome outcome = session->StoreFile(local.filePath("gone.bin"), "gone.bin", 1000);
    QCOMPARE(outcome.result, TransferResult::Failed);
    QCOMPARE(outcome.reason, ui->messages.value(0));
    QCOMPARE(ui->messages, QStringList{"Downloading 'gone.bin' is failed.\r\nSWITCH PASSIVE MODE, if it fails again."});
    CHECK_NO_UI_FAILURES();
}

// The 227 names a port nobody listens on: the data socket's error is logged red
// and fails the listing; the listing's own late 425 does not fail the next command.
void SessionScriptedTest::dataConnectionRefused()
{
    quint16 deadPort = 0;
    {
        QTcpServer probe;
        QVERIFY(probe.listen(QHostAddress::LocalHost));
        deadPort = probe.serverPort();
    }
    QVERIFY(scriptedLogOn());
    const QByteArray address = "127,0,0,1," + QByteArray::number(deadPort / 256) + ","
                               + QByteArray::number(deadPort % 256);
    server->expect("PASV").reply("227 Entering Passive Mode (" + address + ")\r\n");
    server->expect("LIST").wait(300).reply("425 no data connection\r\n");
    server->expect("NOOP").reply("200 ok\r\n");
    QVERIFY(!session->ListFolder());
    QCOMPARE(session->nReplyState(), ReplyState::Failed);
    QVERIFY(session->SendAndWait("NOOP"));
    QCOMPARE(session->sLastReply(), QString("200 ok\r\n"));
    QVERIFY(ui->logLines(LogColour::Magenta).contains("Connecting to 127.0.0.1:" + QString::number(deadPort)));
    const QStringList red = ui->logLines(LogColour::Red);
    QCOMPARE(red.size(), 2);
    QVERIFY2(red.first().startsWith("10061 : "), qPrintable(red.first()));
    QCOMPARE(red.last(), QString("425 no data connection"));
    CHECK_NO_UI_FAILURES();
}

// Without a control connection: PORT has no local address to name, an abort
// sends nothing but still stops the timers, a close request unloads at once.
void SessionScriptedTest::withoutConnection()
{
    QCOMPARE(session->BuildPortArgument(), QString());
    QCOMPARE(ui->messages, QStringList{"Empty Winsock2.LocalIP"});
    QVERIFY(session->AbortCommand());
    QCOMPARE(ui->mainStatus, QStringList{"Aborting FTP command..."});
    QCOMPARE(ui->timerStops, 1);
    QVERIFY(ui->log.isEmpty());
    session->RequestClose();
    QCOMPARE(ui->unloadRequests, 1);
}

// The socket under the session: the peer writes and closes at once; every byte
// reaches the handler before the socket reports Closing.
void SessionScriptedTest::peerCloseAfterBufferedData_data()
{
    QTest::addColumn<int>("size");
    QTest::newRow("one byte") << 1;
    QTest::newRow("4 MiB") << (4 << 20);
}

void SessionScriptedTest::peerCloseAfterBufferedData()
{
    QFETCH(int, size);
    QTcpServer listener;
    QVERIFY(listener.listen(QHostAddress::LocalHost));
    SocketAdapter adapter;
    QByteArray received;
    bool closingSeenEarly = false;
    connect(&adapter, &SocketAdapter::dataArrival, this, [&] {
        closingSeenEarly = closingSeenEarly || adapter.state() == SocketState::Closing;
        received += adapter.readAll();
    });
    adapter.connectToHost("127.0.0.1", listener.serverPort());
    QVERIFY(listener.waitForNewConnection(5000));
    QTcpSocket *peer = listener.nextPendingConnection();
    QTRY_COMPARE(adapter.state(), SocketState::Connected);
    peer->write(QByteArray(size, 'p'));
    peer->disconnectFromHost();
    QTRY_COMPARE(adapter.state(), SocketState::Closing);
    QVERIFY(!closingSeenEarly);
    QCOMPARE(received.size(), size);
}

QTEST_GUILESS_MAIN(SessionScriptedTest)
#include "SessionScriptedTest.moc"
