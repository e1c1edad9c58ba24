// The session against our own scripted server, for what real servers do not do
// on demand: split and merged replies, silent or hostile servers, late 226s,
// unreadable 227s, dropped connections, aborts.

#include "fixtures/HeadlessUi.h"
#include "fixtures/ScriptedFtpServer.h"
#include "fixtures/ScriptedSession.h"
#include "fixtures/TestFiles.h"
#include "ftp/FtpSession.h"
#include "korvan/FtpSettings.h"

#include <QFileInfo>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <functional>

using namespace korvan;
using namespace korvan::test;

Q_DECLARE_METATYPE(korvan::ReplyState)

namespace {

const QByteArray kListing = "drwxr-xr-x 2 ftp ftp 4096 Jan 15 10:20 pub\r\n"
                            "-rw-r--r-- 1 ftp ftp 1234 Jan 15 10:21 readme.txt\r\n";

} // namespace

class SessionScriptedTest : public QObject {
    Q_OBJECT
private slots:
    void init();
    void cleanup();

    void splitReplyDispatchedOnce();
    void twoRepliesInOneArrival();
    void multiLine230();
    void informationRepliesWaitForTheQuestion_data();
    void informationRepliesWaitForTheQuestion();
    void errorRepliesFail_data();
    void errorRepliesFail();
    void silentServer();
    void userAnswered230StillSendsPass();
    void initialFolder_data();
    void initialFolder();
    void failedPrintDirFailsLogOn();
    void renameAnswers_data();
    void renameAnswers();
    void listingEnd_data();
    void listingEnd();
    void lateTransferReplyBelongsToItsTransfer_data();
    void lateTransferReplyBelongsToItsTransfer();
    void passiveReplyWithoutParentheses();
    void controlDroppedDuringCommand();
    void overlongReplyLine();
    void abortDuringDownload();
    void disconnectDuringCommand();
    void closeRequestDuringWait();
    void activeUploadStartsWhenAccepted();
    void uploadOfMissingOrShortFile_data();
    void uploadOfMissingOrShortFile();
    void dataConnectionRefused();
    void downloadIntoMissingFolder();
    void logMasksPassword();

private:
    bool logOn(bool passive = true);

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

bool SessionScriptedTest::logOn(bool passive)
{
    settings.bPassive = passive;
    scriptLogOn(*server);
    return session->LogOn();
}

void SessionScriptedTest::splitReplyDispatchedOnce()
{
    QVERIFY(logOn());
    server->expect("NOOP").replyInChunks({"2", "00 al", "l is", " well\r", "\n"}, 30);
    QVERIFY(session->SendAndWait("NOOP"));
    QCOMPARE(ui->logLines(LogColour::Black).count("200 all is well"), 1);
    QCOMPARE(session->sLastReply(), QString("200 all is well\r\n"));
    QVERIFY(session->sRecvBuffer().isEmpty());
    CHECK_NO_UI_FAILURES();
}

void SessionScriptedTest::twoRepliesInOneArrival()
{
    QVERIFY(logOn());
    server->expect("SITE HELP").reply("214-help\r\n214 end of help\r\n200 and done\r\n");
    QVERIFY(session->SendAndWait("SITE HELP"));
    const QStringList black = ui->logLines(LogColour::Black);
    QCOMPARE(black.mid(black.size() - 3), (QStringList{"214-help", "214 end of help", "200 and done"}));
    QCOMPARE(session->sLastReply(), QString("200 and done\r\n"));
    CHECK_NO_UI_FAILURES();
}

void SessionScriptedTest::multiLine230()
{
    server->expect("USER me").reply("331 password please\r\n");
    server->expect("PASS pw").reply("230-Welcome\r\n230-Second line\r\n").wait(300).reply("230 Logged in\r\n");
    server->expect("SYST").reply("215 UNIX\r\n");
    server->expect("PWD").reply("257 \"/home/me\" is current\r\n");
    ReplyState stateAfterContinuation = ReplyState::Done;
    connect(&session->controlSocket(), &SocketAdapter::dataArrival, this, [&] {
        QTimer::singleShot(0, this, [&] {
            if (session->sLastCommand().startsWith("PASS") && ui->logText().contains("230-Second line")
                && !ui->logText().contains("230 Logged in"))
                stateAfterContinuation = session->nReplyState();
        });
    });
    QVERIFY(session->LogOn());
    QCOMPARE(stateAfterContinuation, ReplyState::Waiting);
    QCOMPARE(session->sCurrentDir(), QString("/home/me/"));
    QCOMPARE(session->sHomeDir(), QString("/home/me/"));
    QVERIFY(ui->logLines(LogColour::Black).contains("230-Welcome"));
    QVERIFY(ui->logLines(LogColour::Red).isEmpty());
    QVERIFY(server->unusedSteps().isEmpty());
    CHECK_NO_UI_FAILURES();
}

void SessionScriptedTest::informationRepliesWaitForTheQuestion_data()
{
    QTest::addColumn<QByteArray>("code");
    QTest::addColumn<bool>("waitOnceMore");
    QTest::newRow("211, yes then no") << QByteArray("211") << true;
    QTest::newRow("212, no") << QByteArray("212") << false;
    QTest::newRow("213, no") << QByteArray("213") << false;
    QTest::newRow("214, no") << QByteArray("214") << false;
}

void SessionScriptedTest::informationRepliesWaitForTheQuestion()
{
    QFETCH(QByteArray, code);
    QFETCH(bool, waitOnceMore);
    QVERIFY(logOn());
    settings.nFTPWaitTime = 1;
    server->expect("STAT").reply(code + " status follows\r\n");
    if (waitOnceMore)
        ui->answerQuestion(QuestionAnswer::Yes);
    ui->answerQuestion(QuestionAnswer::No);
    QVERIFY(!session->SendAndWait("STAT"));
    QCOMPARE(session->nReplyState(), ReplyState::Waiting);
    QCOMPARE(ui->questions.size(), waitOnceMore ? 2 : 1);
    for (const HeadlessUi::Question &asked : ui->questions) {
        QCOMPARE(asked.title, QString("Vantrel"));
        QCOMPARE(asked.text, QString("Wait too long (1 seconds) !\r\nIf your FTP command does not work, switch "
                                     "passive mode !\r\nDo you want to wait the server response ?\r\n"));
    }
    QVERIFY(ui->waitStatus.contains("STAT: 0 seconds"));
    QCOMPARE(session->lastFailure().command, QString("STAT"));
    QVERIFY(session->lastFailure().timedOut);
    CHECK_NO_UI_FAILURES();
}

void SessionScriptedTest::errorRepliesFail_data()
{
    QTest::addColumn<QByteArray>("reply");
    QTest::newRow("332") << QByteArray("332 need account\r\n");
    QTest::newRow("400") << QByteArray("400 exactly four hundred\r\n");
    QTest::newRow("421") << QByteArray("421 service closing\r\n");
    QTest::newRow("530") << QByteArray("530 not logged in\r\n");
    QTest::newRow("550") << QByteArray("550 no such file\r\n");
}

void SessionScriptedTest::errorRepliesFail()
{
    QFETCH(QByteArray, reply);
    QVERIFY(logOn());
    server->expect("MKD x").reply(reply);
    QVERIFY(!session->MakeDir("x"));
    QCOMPARE(session->nReplyState(), ReplyState::Failed);
    QCOMPARE(ui->logLines(LogColour::Red), QStringList{QString::fromLatin1(reply.trimmed())});
    // What a window or the command-line client shows, without reading the log.
    const SessionFailure &failure = session->lastFailure();
    QCOMPARE(failure.command, QString("MKD x"));
    QCOMPARE(failure.reason(), QString::fromLatin1(reply.trimmed()));
    QVERIFY(failure.socketError.isEmpty() && !failure.timedOut);
    QVERIFY(ui->questions.isEmpty());
    CHECK_NO_UI_FAILURES();
}

void SessionScriptedTest::silentServer()
{
    server->setGreeting({});
    settings.nFTPWaitTime = 2;
    ui->answerQuestion(QuestionAnswer::No);
    QVERIFY(!session->LogOn());
    // Nothing was sent, so there is no retry question either.
    QCOMPARE(ui->questions.size(), 1);
    QVERIFY(ui->questions.first().text.startsWith("Wait too long (2 seconds) !"));
    // Status pane 2 counts the seconds of the wait.
    QCOMPARE(ui->waitStatus, (QStringList{"CONNECT: 0 seconds", "CONNECT: 1 seconds"}));
    QVERIFY(server->commands().isEmpty());
    QCOMPARE(ui->mainStatus.first(), QString("Connecting 127.0.0.1"));
    CHECK_NO_UI_FAILURES();
}

void SessionScriptedTest::userAnswered230StillSendsPass()
{
    scriptLogOn(*server, "230 no password needed\r\n");
    QVERIFY(session->LogOn());
    QCOMPARE(server->commands(), (QByteArrayList{"USER me", "PASS pw", "SYST", "PWD"}));
    CHECK_NO_UI_FAILURES();
}

void SessionScriptedTest::initialFolder_data()
{
    QTest::addColumn<QString>("folder");
    QTest::addColumn<QByteArray>("cwdReply");
    QTest::addColumn<QByteArrayList>("commands");
    QTest::newRow("none") << QString() << QByteArray() << QByteArrayList{"USER me", "PASS pw", "SYST", "PWD"};
    QTest::newRow("with slash") << QString("/pub/") << QByteArray("250 ok\r\n")
                                << QByteArrayList{"USER me", "PASS pw", "SYST", "CWD /pub", "PWD"};
    // A bad initial folder leaves the server's default one and the log-on goes on.
    QTest::newRow("failing") << QString("/gone") << QByteArray("550 no such folder\r\n")
                             << QByteArrayList{"USER me", "PASS pw", "SYST", "CWD /gone", "PWD"};
}

void SessionScriptedTest::initialFolder()
{
    QFETCH(QString, folder);
    QFETCH(QByteArray, cwdReply);
    QFETCH(QByteArrayList, commands);
    settings.sFTPDir = folder;
    server->expect("USER me").reply("331 pw\r\n");
    server->expect("PASS pw").reply("230 ok\r\n");
    server->expect("SYST").reply("215 UNIX\r\n");
    if (!cwdReply.isEmpty())
        server->expectPrefix("CWD ").reply(cwdReply);
    server->expect("PWD").reply("257 \"/\"\r\n");
    QVERIFY(session->LogOn());
    QCOMPARE(server->commands(), commands);
    QVERIFY(session->keepAliveActive());
    CHECK_NO_UI_FAILURES();
}

void SessionScriptedTest::failedPrintDirFailsLogOn()
{
    server->expect("USER me").reply("331 pw\r\n");
    server->expect("PASS pw").reply("230 ok\r\n");
    server->expect("SYST").reply("215 UNIX\r\n");
    server->expect("PWD").reply("550 no\r\n");
    server->expect("QUIT").reply("221 bye\r\n");
    ui->answerQuestion(QuestionAnswer::Yes);
    QVERIFY(!session->LogOn());
    QCOMPARE(ui->questions.size(), 1);
    QCOMPARE(ui->questions.first().text,
             QString("Log on failed to 127.0.0.1.\r\nLast command was PWD\r\nTry again ? "));
    // "Yes" disconnects and opens the connect dialog again.
    QCOMPARE(ui->reconnectRequests, 1);
    QVERIFY(ui->mainStatus.contains("Disconnected"));
    QTRY_VERIFY(server->commands().contains("QUIT"));
    QVERIFY(!session->keepAliveActive());
    CHECK_NO_UI_FAILURES();
}

void SessionScriptedTest::renameAnswers_data()
{
    QTest::addColumn<QString>("answer");
    QTest::addColumn<QByteArray>("sent");
    QTest::addColumn<bool>("result");
    QTest::addColumn<ReplyState>("state");
    QTest::newRow("new name") << QString("b.txt") << QByteArray("RNTO b.txt") << true << ReplyState::Done;
    QTest::newRow("folder slash dropped") << QString("dir2/") << QByteArray("RNTO dir2") << true << ReplyState::Done;
    QTest::newRow("root kept") << QString("/") << QByteArray("RNTO /") << true << ReplyState::Done;
    QTest::newRow("same name") << QString("a.txt") << QByteArray() << false << ReplyState::Abandoned;
    QTest::newRow("same after slash") << QString("a.txt/") << QByteArray() << false << ReplyState::Abandoned;
    QTest::newRow("cancelled") << QString() << QByteArray() << false << ReplyState::Abandoned;
}

void SessionScriptedTest::renameAnswers()
{
    QFETCH(QString, answer);
    QFETCH(QByteArray, sent);
    QFETCH(bool, result);
    QFETCH(ReplyState, state);
    QVERIFY(logOn());
    server->expect("RNFR a.txt").reply("350 ready for RNTO\r\n");
    server->expectPrefix("RNTO ").reply("250 renamed\r\n");
    ui->answerInput(answer);
    QCOMPARE(session->RenameFrom("a.txt/"), result);
    QCOMPARE(session->nReplyState(), state);
    // Commands arrive in order: once the NOOP is answered, an RNTO would be there.
    server->expect("NOOP").reply("200 ok\r\n");
    QVERIFY(session->SendAndWait("NOOP"));
    const QByteArrayList commands = server->commands();
    const QByteArrayList afterRnfr = commands.mid(commands.indexOf("RNFR a.txt") + 1);
    const QByteArrayList expected = sent.isEmpty() ? QByteArrayList{"NOOP"} : QByteArrayList{sent, "NOOP"};
    QCOMPARE(afterRnfr, expected);
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
    QVERIFY(logOn(passive));
    if (passive)
        server->expect("PASV").passive();
    else
        server->expectPrefix("PORT ").rememberPortAddress().reply("200 PORT ok\r\n");
    ScriptedFtpServer::Step &list = server->expect("LIST").reply("150 listing\r\n").sendData(kListing);
    if (order == 0)
        list.reply("226 done\r\n").wait(100).closeData();
    else if (order == 1)
        list.closeData().wait(100).reply("226 done\r\n");
    else
        list.closeData().wait(600).reply("226 done\r\n");
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
    QVERIFY(logOn());
    const qint64 size = 300000;
    server->expect("PASV").passive();
    server->expect("RETR first.bin")
        .reply("150 sending (300000 bytes)\r\n")
        .sendData(size)
        .closeData()
        .holdUntil(heldUntil, ScriptedFtpServer::Held::BeforeTriggerReply)
        .reply("226 first done\r\n");
    server->expect("PASV").passive();
    if (heldUntil == "STOR") {
        server->expect("STOR up.bin").reply("150 go ahead\r\n").receiveData().reply("226 stored\r\n");
    } else {
        server->expect("RETR second.bin")
            .reply("150 sending\r\n")
            .sendData(size)
            .closeData()
            .wait(100)
            .reply("226 second done\r\n");
    }
    QVERIFY(session->RetrieveFile("first.bin", local.filePath("first.bin"), size).succeeded());
    QCOMPARE(readFile(local.filePath("first.bin")), ScriptedFtpServer::patternBytes(0, size));
    QCOMPARE(ui->progress.last().maximum, double(size));

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

void SessionScriptedTest::passiveReplyWithoutParentheses()
{
    QVERIFY(logOn());
    settings.nFTPWaitTime = 1;
    server->expect("PASV").passive("227 Entering Passive Mode 127,0,0,1,4,1\r\n");
    ui->answerQuestion(QuestionAnswer::No);
    QVERIFY(!session->OpenDataConnection());
    QCOMPARE(ui->questions.size(), 1);
    QCOMPARE(session->dataSocket().state(), SocketState::Closed);
    QVERIFY(!ui->logText().contains("Connecting to"));
    CHECK_NO_UI_FAILURES();
}

void SessionScriptedTest::controlDroppedDuringCommand()
{
    QVERIFY(logOn());
    server->expect("NOOP").dropControl();
    QVERIFY(!session->SendAndWait("NOOP"));
    QVERIFY(ui->questions.isEmpty());
    QCOMPARE(session->lastFailure().command, QString("NOOP"));
    QVERIFY(!session->lastFailure().socketError.isEmpty());
    CHECK_NO_UI_FAILURES();
}

void SessionScriptedTest::overlongReplyLine()
{
    QVERIFY(logOn());
    server->expect("NOOP").flood(1 << 20);
    QVERIFY(!session->SendAndWait("NOOP"));
    QCOMPARE(session->nReplyState(), ReplyState::Failed);
    QCOMPARE(session->controlSocket().state(), SocketState::Closed);
    QVERIFY(session->sRecvBuffer().isEmpty());
    const QStringList red = ui->logLines(LogColour::Red);
    QCOMPARE(red.size(), 1);
    QVERIFY(red.first().contains("without a line end"));
    CHECK_NO_UI_FAILURES();
}

void SessionScriptedTest::abortDuringDownload()
{
    QTemporaryDir local;
    QVERIFY(logOn());
    server->expect("PASV").passive();
    server->expect("RETR huge.bin")
        .reply("150 sending\r\n")
        .sendData(qint64(1) << 32)
        .closeData()
        .reply("226 done\r\n");
    server->expect("PWD").reply("257 \"/\" is current\r\n");
    bool aborted = false;
    connect(&session->dataSocket(), &SocketAdapter::dataArrival, this, [&] {
        if (aborted)
            return;
        aborted = true;
        // What the transfer window's cancel does: drop the data connection, then abort.
        QTimer::singleShot(0, this, [&] { session->CancelTransfer(); });
    });
    QVERIFY(session->RetrieveFile("huge.bin", local.filePath("huge.bin"), qint64(1) << 32).cancelled());
    QVERIFY(aborted);
    QCOMPARE(ui->mainStatus.last(), QString("Aborting FTP command..."));
    QCOMPARE(ui->timerStops, 1);
    QVERIFY(!session->keepAliveActive());
    QVERIFY(server->commands().contains("ABOR"));
    // The control connection is still in step afterwards.
    QVERIFY(session->PrintDir());
    QCOMPARE(session->sCurrentDir(), QString("/"));
    QVERIFY(server->sentDataBytes() < (qint64(1) << 32));
    CHECK_NO_UI_FAILURES();
}

void SessionScriptedTest::disconnectDuringCommand()
{
    QVERIFY(logOn());
    server->expect("NOOP").wait(3000).reply("200 late\r\n");
    QTimer::singleShot(100, this, [&] { session->Disconnect(); });
    QVERIFY(!session->SendAndWait("NOOP"));
    QCOMPARE(session->nReplyState(), ReplyState::Failed);
    QCOMPARE(session->controlSocket().state(), SocketState::Closed);
    QCOMPARE(ui->mainStatus.mid(ui->mainStatus.size() - 2), (QStringList{"Disconnecting...", "Disconnected"}));
    QCOMPARE(ui->progressUnloads, 1);
    QTRY_VERIFY(server->commands().contains("QUIT"));
    CHECK_NO_UI_FAILURES();
}

void SessionScriptedTest::closeRequestDuringWait()
{
    QVERIFY(logOn());
    server->expect("NOOP").wait(3000).reply("200 late\r\n");
    QTimer::singleShot(100, this, [&] { session->RequestClose(); });
    QVERIFY(!session->SendAndWait("NOOP"));
    QCOMPARE(session->nReplyState(), ReplyState::ClosePending);
    QCOMPARE(ui->unloadRequests, 1);
    // Any further command unloads instead of sending.
    QVERIFY(!session->SendAndWait("PWD"));
    QCOMPARE(ui->unloadRequests, 2);
    QCOMPARE(server->commands().count("PWD"), 1);
    CHECK_NO_UI_FAILURES();
}

// The 150 may come before the server's data connection has been accepted.
void SessionScriptedTest::activeUploadStartsWhenAccepted()
{
    QTemporaryDir local;
    QVERIFY(logOn(false));
    server->expectPrefix("PORT ").rememberPortAddress().reply("200 PORT ok\r\n");
    server->expect("STOR up.bin").reply("150 go ahead\r\n").wait(200).openData().receiveData().reply("226 stored\r\n");
    const QByteArray upload = ScriptedFtpServer::patternBytes(3, 2 * FtpSession::kUploadBlockSize + 4464);
    QVERIFY(writeFile(local.filePath("up.bin"), upload));
    QList<qint64> blocks;
    connect(session.get(), &FtpSession::uploadBlockSent, this, [&](qint64 bytes) { blocks << bytes; });
    QVERIFY(session->StoreFile(local.filePath("up.bin"), "up.bin", upload.size()).succeeded());
    QCOMPARE(blocks, (QList<qint64>{FtpSession::kUploadBlockSize, FtpSession::kUploadBlockSize, 4464}));
    QCOMPARE(server->receivedData(), upload);
    const QStringList blue = ui->logLines(LogColour::Blue);
    QVERIFY(blue.at(blue.size() - 2).startsWith("PORT 127,0,0,1,"));
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
    QVERIFY(logOn());
    server->expect("PASV").passive();
    server->expect("STOR gone.bin").reply("150 go ahead\r\n").receiveData().reply("226 stored\r\n");
    const TransferOutcome outcome = session->StoreFile(local.filePath("gone.bin"), "gone.bin", 1000);
    QCOMPARE(outcome.result, TransferResult::Failed);
    QCOMPARE(outcome.reason, ui->messages.value(0));
    QCOMPARE(ui->messages, QStringList{"Downloading 'gone.bin' is failed.\r\nSWITCH PASSIVE MODE, if it fails again."});
    CHECK_NO_UI_FAILURES();
}

// The 227 names a port nobody listens on: the data socket's error is logged red
// and fails the command that waits for the data.
void SessionScriptedTest::dataConnectionRefused()
{
    quint16 deadPort = 0;
    {
        QTcpServer probe;
        QVERIFY(probe.listen(QHostAddress::LocalHost));
        deadPort = probe.serverPort();
    }
    QVERIFY(logOn());
    const QByteArray address = "127,0,0,1," + QByteArray::number(deadPort / 256) + ","
                               + QByteArray::number(deadPort % 256);
    server->expect("PASV").reply("227 Entering Passive Mode (" + address + ")\r\n");
    server->expect("LIST").wait(300).reply("425 no data connection\r\n");
    server->expect("NOOP").reply("200 ok\r\n");
    QVERIFY(!session->ListFolder());
    QCOMPARE(session->nReplyState(), ReplyState::Failed);
    // The listing's own 425 comes later and must not fail the next command.
    QVERIFY(session->SendAndWait("NOOP"));
    QCOMPARE(session->sLastReply(), QString("200 ok\r\n"));
    QVERIFY(ui->logLines(LogColour::Magenta).contains("Connecting to 127.0.0.1:" + QString::number(deadPort)));
    const QStringList red = ui->logLines(LogColour::Red);
    QCOMPARE(red.size(), 2);
    QVERIFY2(red.first().startsWith("10061 : "), qPrintable(red.first()));
    QCOMPARE(red.last(), QString("425 no data connection"));
    CHECK_NO_UI_FAILURES();
}

// The local file cannot be written: the file fails, the session goes on.
void SessionScriptedTest::downloadIntoMissingFolder()
{
    QTemporaryDir local;
    QVERIFY(logOn());
    server->expect("PASV").passive();
    server->expect("RETR f.bin").reply("150 sending\r\n").sendData(600000).closeData().reply("226 done\r\n");
    server->expect("NOOP").reply("200 ok\r\n");
    const QString target = local.filePath("missing/f.bin");
    QCOMPARE(session->RetrieveFile("f.bin", target, 600000).result, TransferResult::Failed);
    QVERIFY(!QFileInfo::exists(target));
    QVERIFY(session->SendAndWait("NOOP"));
    QCOMPARE(session->sLastReply(), QString("200 ok\r\n"));
    CHECK_NO_UI_FAILURES();
}

void SessionScriptedTest::logMasksPassword()
{
    settings.sFTPPassword = "secret";
    server->expect("USER me").reply("331 PASS required for me\r\n");
    server->expect("PASS secret").reply("230 ok\r\n");
    server->expect("SYST").reply("215 UNIX\r\n");
    server->expect("PWD").reply("257 \"/\"\r\n");
    QVERIFY(session->LogOn());
    QVERIFY(!ui->logText().contains("secret"));
    // Nor does the failure record hold it.
    server->expect("PASS secret").reply("530 again?\r\n");
    QVERIFY(!session->SendAndWait("PASS secret"));
    QCOMPARE(session->lastFailure().command, QString("PASS ******"));
    QVERIFY(ui->logLines(LogColour::Blue).contains("PASS ******"));
    // A reply holding the four capitals is masked as well, CR LF counted.
    const QString reply = "331 PASS required for me\r\n";
    QVERIFY(ui->logLines(LogColour::Black).contains("PASS " + QString(reply.size() - 5, '*')));
    QCOMPARE(server->commands().at(1), QByteArray("PASS secret"));
    CHECK_NO_UI_FAILURES();
}

QTEST_GUILESS_MAIN(SessionScriptedTest)
#include "SessionScriptedTest.moc"
