// The session against the scripted server: split replies, silent or hostile
// servers, late 226s, dropped connections, aborts; first the reply dispatch alone.

#include "fixtures/ScriptedSession.h"
#include "fixtures/TestFiles.h"
#include "ftp/FtpSession.h"
#include "ftp/ReplyRules.h"

#include <QRegularExpression>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTemporaryFile>
#include <QTest>
#include <QTimer>

using namespace korvan;
using namespace korvan::test;

Q_DECLARE_METATYPE(korvan::ReplyState)
Q_DECLARE_METATYPE(korvan::LogColour)

const QByteArray kListingLine = "drwxr-xr-x 2 ftp ftp 4096 Jan 15 10:20 pub\r\n";

class SessionScriptedTest : public QObject {
    Q_OBJECT
private slots:
    void replyLine_data();
    void replyLine();
    void exchange_data();
    void exchange();
    void logOn_data();
    void logOn();
    void lateReplyBelongsToItsCommand_data();
    void lateReplyBelongsToItsCommand();
    void interruptedWait_data();
    void interruptedWait();
    void withoutConnection();
    void peerCloseAfterBufferedData();
};

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

// One command and the server's answer: the result, the lines logged, the time-out
// questions; after a listing or an upload, the next command is answered in step.
void SessionScriptedTest::exchange_data()
{
    QTest::addColumn<QString>("call"); // NOOP, LIST, or STOR of n bytes (-1: no file); "active" at the end
    QTest::addColumn<Script>("script");
    QTest::addColumn<int>("yesAnswers"); // -1: no time-out question expected
    QTest::addColumn<bool>("ok");
    QTest::addColumn<QStringList>("black");
    QTest::addColumn<QStringList>("red"); // wildcards
    const auto noop = [](const QByteArray &answer) { return Script{{"NOOP", answer}}; };
    const QByteArray list = "150 listing|data 44 " + kListingLine + "|";
    const Script stored{{"STOR up.bin", "150 go ahead|receive|226 stored"}};
    const QStringList none;
    // clang-format off
    QTest::newRow("split reply, dispatched once") << "NOOP"
        << noop("raw 2|wait 30|raw 00 al|wait 30|raw l is|wait 30|raw  well\r|wait 30|raw \n")
        << -1 << true << QStringList{"200 all is well"} << none;
    // A bare LF ends a line as well; CR is kept as the server sent it.
    QTest::newRow("bare LF, line cut inside") << "NOOP"
        << noop("raw 200-first\r\n200 sec|wait 30|raw ond\r\n211 extra\n")
        << -1 << true << QStringList{"200-first", "200 second", "211 extra"} << none;
    for (const char *reply : {"332 need account", "421 service closing", "550 no such file"})
        QTest::newRow(reply) << "NOOP" << noop(reply) << -1 << false << none << QStringList{reply};
    QTest::newRow("211 waits: asked, yes, then no") << "NOOP" << noop("211 status follows") << 1 << false
        << QStringList{"211 status follows"} << none;
    QTest::newRow("213 waits: asked, no") << "NOOP" << noop("213 status follows") << 0 << false
        << QStringList{"213 status follows"} << none;
    QTest::newRow("control dropped") << "NOOP" << noop("drop") << -1 << false << none
        << QStringList{"The server closed the connection."};
    QTest::newRow("1 MiB without a line end") << "NOOP" << noop("flood 1048576") << -1 << false << none
        << QStringList{"*without a line end*"};
    for (const QString mode : {"", " active"}) {
        QTest::newRow(qPrintable("LIST: 226 before close" + mode)) << "LIST" + mode
            << Script{{"LIST", list + "226 done|wait 100|close"}} << -1 << true << none << none;
        QTest::newRow(qPrintable("LIST: 226 after close" + mode)) << "LIST" + mode
            << Script{{"LIST", list + "close|wait 100|226 done"}} << -1 << true << none << none;
    }
    // The 227 names a port nobody listens on: the socket's error fails the
    // listing; the listing's own late 425 does not fail the next command.
    QTest::newRow("LIST: data connection refused") << "LIST"
        << Script{{"PASV", "227 Entering Passive Mode (127,0,0,1,0,1)"}, {"LIST", "wait 300|425 no data connection"}}
        << -1 << false << none << QStringList{"10061 : *", "425 no data connection"};
    // The 150 may come before the server's data connection has been accepted.
    QTest::newRow("STOR active, accepted after the 150")
        << "STOR " + QString::number(2 * FtpSession::kUploadBlockSize + 4464) + " active"
        << Script{{"STOR up.bin", "150 go ahead|wait 200|open|receive|226 stored"}} << -1 << true << none << none;
    QTest::newRow("STOR of a missing file") << "STOR -1" << stored << -1 << false << none << none;
    QTest::newRow("STOR of a file shorter than its size") << "STOR 999" << stored << -1 << false << none << none;
    // clang-format on
}

void SessionScriptedTest::exchange()
{
    QFETCH(QString, call);
    QFETCH(Script, script);
    QFETCH(int, yesAnswers);
    QFETCH(bool, ok);
    QFETCH(QStringList, red);
    const qint64 fileBytes = call.section(' ', 1, 1).toLongLong();
    QTemporaryDir local;
    const QByteArray upload = ScriptedFtpServer::patternBytes(3, std::max<qint64>(fileBytes, 0));
    if (fileBytes > 0)
        QVERIFY(writeFile(local.filePath("up.bin"), upload));
    ScriptedSession s;
    s.settings.bPassive = !call.endsWith("active");
    QVERIFY(s.logOn(script + Script{{"NOOP", "200 ok"}}));
    s.settings.nFTPWaitTime = 1;
    for (int i = 0; i < yesAnswers; ++i)
        s.ui.answerQuestion(QuestionAnswer::Yes);
    if (yesAnswers >= 0)
        s.ui.answerQuestion(QuestionAnswer::No);
    QList<qint64> blocks;
    connect(&s.session, &FtpSession::uploadBlockSent, this, [&](qint64 bytes) { blocks << bytes; });
    s.ui.log.clear();
    if (call == "NOOP") {
        QCOMPARE(s.session.SendAndWait("NOOP"), ok);
        QTEST(s.ui.logLines(LogColour::Black), "black");
        if (ok || red.value(0).front().isDigit()) // the last final reply
            QCOMPARE(s.session.sLastReply(), s.ui.log.last().text);
    } else if (call.startsWith("LIST")) {
        QCOMPARE(s.session.ListFolder(), ok);
        QCOMPARE(s.session.sListText(), ok ? kListingLine : QByteArray());
    } else {
        const TransferOutcome outcome = s.session.StoreFile(local.filePath("up.bin"), "up.bin", ok ? fileBytes : 1000);
        QCOMPARE(outcome.succeeded(), ok);
        if (ok) { // in whole blocks
            QCOMPARE(blocks, (QList<qint64>{FtpSession::kUploadBlockSize, FtpSession::kUploadBlockSize, 4464}));
            QCOMPARE(s.server.receivedData(), upload);
        } else { // the text is the engine's own, "Downloading" included
            QCOMPARE(s.ui.messages.value(0),
                     "Downloading 'up.bin' is failed.\r\nSWITCH PASSIVE MODE, if it fails again.");
        }
    }
    QCOMPARE(s.ui.questions.size(), yesAnswers + 1);
    for (const HeadlessUi::Question &asked : s.ui.questions)
        QCOMPARE(asked.text, WaitTooLongText(1));
    if (call == "NOOP" && !ok) { // what a window or the command-line client shows, without reading the log
        QCOMPARE(s.session.lastFailure().command, QString("NOOP"));
        QCOMPARE(s.session.lastFailure().timedOut, yesAnswers >= 0);
        QVERIFY(red.value(0) != "The server closed the connection." || !s.session.lastFailure().socketError.isEmpty());
    }
    if (yesAnswers >= 0) // a late reply still belongs to the command
        QCOMPARE(s.session.nReplyState(), ReplyState::Waiting);
    QVERIFY(s.session.sRecvBuffer().isEmpty());
    if (call != "NOOP") {
        QVERIFY(s.session.SendAndWait("NOOP"));
        QCOMPARE(s.session.sLastReply(), QString("200 ok\r\n"));
    }
    const QStringList redLines = s.ui.logLines(LogColour::Red);
    QCOMPARE(redLines.size(), red.size());
    for (qsizetype i = 0; i < red.size(); ++i)
        QVERIFY2(QRegularExpression::fromWildcard(red[i]).match(redLines[i]).hasMatch(), qPrintable(redLines[i]));
    CHECK_NO_UI_FAILURES(s.ui);
}

// The log-on as the server answers it: the commands, the question, the statuses.
void SessionScriptedTest::logOn_data()
{
    QTest::addColumn<QString>("folder");
    QTest::addColumn<Script>("script");
    QTest::addColumn<QByteArrayList>("commands");
    QTest::addColumn<QString>("question"); // the start of the question asked: a retry answered Yes, a wait No
    QTest::addColumn<QStringList>("statuses");
    QTest::addColumn<QString>("home"); // empty: the log-on fails
    const QByteArrayList plain{"USER me", "PASS pw", "SYST", "PWD"};
    const auto answers = [](QByteArray user, QByteArray pass, QByteArray pwd, QByteArray cwd = {}) {
        return Script{{"USER me", user}, {"PASS pw", pass}, {"SYST", "215 UNIX"}, {"CWD *", cwd}, {"PWD", pwd}};
    };
    const QByteArray home = "257 \"/home/me\" is current";
    // clang-format off
    QTest::newRow("multi-line 230 ending late") << QString()
        << answers("331 PASS required for me", "230-Welcome\r\n230-Second line\r\n|wait 300|230 Logged in", home)
        << plain << QString() << QStringList() << "/home/me/";
    QTest::newRow("USER answered 230, PASS all the same") << QString()
        << answers("230 no password needed", "230 ok", home) << plain << QString() << QStringList() << "/home/me/";
    QTest::newRow("initial folder, its slash dropped") << "/pub/"
        << answers("331 pw", "230 ok", "257 \"/pub\"", "250 ok")
        << QByteArrayList{"USER me", "PASS pw", "SYST", "CWD /pub", "PWD"}
        << QString() << QStringList() << "/pub/";
    // A bad initial folder leaves the server's default one and the log-on goes on.
    QTest::newRow("initial folder failing") << "/gone"
        << answers("331 pw", "230 ok", home, "550 no such folder")
        << QByteArrayList{"USER me", "PASS pw", "SYST", "CWD /gone", "PWD"}
        << QString() << QStringList() << "/home/me/";
    // "Yes" to the retry disconnects and opens the connect dialog again.
    QTest::newRow("PWD failing: retry asked") << QString()
        << answers("331 pw", "230 ok", "550 no") << plain + QByteArrayList{"QUIT"}
        << "Log on failed to 127.0.0.1.\r\nLast command was PWD\r\nTry again ? "
        << QStringList{"Connecting 127.0.0.1", "Disconnected"} << QString();
    // Nothing was sent, so there is no retry question; pane 2 counts the seconds.
    QTest::newRow("silent server") << QString() << Script{{"", ""}} << QByteArrayList()
        << "Wait too long (2 seconds) !" << QStringList{"CONNECT: 0 seconds", "CONNECT: 1 seconds"} << QString();
    // clang-format on
}

void SessionScriptedTest::logOn()
{
    QFETCH(QString, folder);
    QFETCH(Script, script);
    QFETCH(QByteArrayList, commands);
    QFETCH(QString, question);
    QFETCH(QStringList, statuses);
    QFETCH(QString, home);
    ScriptedSession s;
    s.settings.sFTPDir = folder;
    s.settings.nFTPWaitTime = 2;
    s.server.add(script + Script{{"QUIT", "221 bye"}});
    if (!question.isEmpty())
        s.ui.answerQuestion(question.startsWith("Log on failed") ? QuestionAnswer::Yes : QuestionAnswer::No);
    const bool ok = !home.isEmpty();
    QCOMPARE(s.session.LogOn(), ok);
    QTRY_COMPARE(s.server.commands(), commands);
    QCOMPARE(s.ui.questions.size(), question.isEmpty() ? 0 : 1);
    if (!question.isEmpty())
        QVERIFY2(s.ui.questions.first().text.startsWith(question), qPrintable(s.ui.questions.first().text));
    for (const QString &status : statuses)
        QVERIFY2(s.ui.mainStatus.contains(status) || s.ui.waitStatus.contains(status), qPrintable(status));
    QCOMPARE(s.ui.reconnectRequests, !ok && !commands.isEmpty() ? 1 : 0);
    QCOMPARE(s.session.keepAliveActive(), ok);
    if (ok)
        QCOMPARE(s.session.sCurrentDir(), home);
    // The password is masked wherever "PASS" shows, in a reply as well (CR LF counted).
    static const QRegularExpression unmasked("PASS [^*]");
    QVERIFY2(!unmasked.match(s.ui.logText()).hasMatch(), qPrintable(s.ui.logText()));
    CHECK_NO_UI_FAILURES(s.ui);
}

// A download's or its ABOR's 226 held back until a later command: logged, but it
// neither completes nor fails that command.
void SessionScriptedTest::lateReplyBelongsToItsCommand_data()
{
    QTest::addColumn<QByteArray>("first"); // the download, then a download or (held until STOR) an upload
    const QByteArray sent = "150 sending (300000 bytes)|data 300000|close|hold ";
    QTest::newRow("226 held until PASV") << sent + "PASV|226 first done";
    QTest::newRow("226 held until RETR") << sent + "RETR|226 first done";
    QTest::newRow("226 held until STOR") << sent + "STOR|226 first done";
    QTest::newRow("cancelled, ABOR's 226 held until STOR") << QByteArray("150 sending|data 4294967296");
}

void SessionScriptedTest::lateReplyBelongsToItsCommand()
{
    QFETCH(QByteArray, first);
    const qint64 size = 300000;
    const bool cancel = !first.contains("hold");
    const bool storeNext = cancel || first.contains("hold STOR");
    QTemporaryDir local;
    const QByteArray upload = ScriptedFtpServer::patternBytes(7, 100000);
    QVERIFY(writeFile(local.filePath("up.bin"), upload));
    ScriptedSession s;
    QVERIFY(s.logOn({{"RETR first.bin", first},
                     {"ABOR", "426 Transfer aborted|hold STOR|226 Abort successful"},
                     {"RETR second.bin", "150 sending|data 300000|close|wait 100|226 second done"},
                     {"STOR up.bin", "150 go ahead|receive|226 stored"}}));
    SocketState dataAtAbort = SocketState::Connected;
    if (cancel) { // as the transfer window's cancel does: the data connection dropped, then ABOR
        s.ui.answerQuestion(QuestionAnswer::No); // the ABOR's 226 is held past the wait
        connect(&s.session.dataSocket(), &SocketAdapter::dataArrival, this,
                [&] { QTimer::singleShot(0, this, [&] { s.session.CancelTransfer(); }); });
        connect(&s.session, &FtpSession::replyStateChanged, this, [&](ReplyState state) {
            if (state == ReplyState::Abandoned)
                dataAtAbort = s.session.dataSocket().state();
        });
    }
    const TransferOutcome outcome = s.session.RetrieveFile("first.bin", local.filePath("first.bin"), size);
    disconnect(&s.session.dataSocket(), nullptr, this, nullptr);
    if (cancel) {
        QVERIFY(outcome.cancelled());
        QCOMPARE(dataAtAbort, SocketState::Closed);
        QVERIFY(s.ui.questions.value(0).text.startsWith("Wait too long"));
        QCOMPARE(s.ui.mainStatus.last(), QString("Aborting FTP command..."));
        QCOMPARE(s.ui.timerStops, 1);
        QVERIFY(!s.session.keepAliveActive());
    } else {
        QVERIFY(outcome.succeeded());
        QCOMPARE(readFile(local.filePath("first.bin")), ScriptedFtpServer::patternBytes(0, size));
        QCOMPARE(s.ui.progress.last().maximum, double(size)); // the size the 150 announced
    }
    if (storeNext) {
        QVERIFY(s.session.StoreFile(local.filePath("up.bin"), "up.bin", upload.size()).succeeded());
        QCOMPARE(s.session.sLastReply(), QString("226 stored\r\n"));
        QCOMPARE(s.server.receivedData(), upload);
    } else {
        QVERIFY(s.session.RetrieveFile("second.bin", local.filePath("second.bin"), size).succeeded());
        QCOMPARE(readFile(local.filePath("second.bin")), ScriptedFtpServer::patternBytes(0, size));
    }
    QVERIFY(s.ui.logLines(LogColour::Black).contains(cancel ? "226 Abort successful" : "226 first done"));
    QCOMPARE(s.server.commands().count("ABOR"), cancel ? 1 : 0);
    CHECK_NO_UI_FAILURES(s.ui);
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
    ScriptedSession s;
    QVERIFY(s.logOn({{"NOOP", "wait 3000|200 late"}}));
    QTimer::singleShot(100, this, [&] {
        if (disconnect)
            s.session.Disconnect();
        else
            s.session.RequestClose();
    });
    QVERIFY(!s.session.SendAndWait("NOOP"));
    if (disconnect) {
        QCOMPARE(s.session.nReplyState(), ReplyState::Failed);
        QCOMPARE(s.session.controlSocket().state(), SocketState::Closed);
        QCOMPARE(s.ui.mainStatus.mid(s.ui.mainStatus.size() - 2), (QStringList{"Disconnecting...", "Disconnected"}));
        QCOMPARE(s.ui.progressUnloads, 1);
        QTRY_VERIFY(s.server.commands().contains("QUIT"));
    } else {
        QCOMPARE(s.session.nReplyState(), ReplyState::ClosePending);
        QCOMPARE(s.ui.unloadRequests, 1);
        // Any further command unloads instead of sending.
        QVERIFY(!s.session.SendAndWait("PWD"));
        QCOMPARE(s.ui.unloadRequests, 2);
        QCOMPARE(s.server.commands().count("PWD"), 1);
    }
    CHECK_NO_UI_FAILURES(s.ui);
}

// Without a control connection: PORT has no local address to name, an abort
// sends nothing but still stops the timers, a close request unloads at once.
void SessionScriptedTest::withoutConnection()
{
    HeadlessUi ui;
    FtpSession session(ui);
    QCOMPARE(session.BuildPortArgument(), QString());
    QCOMPARE(ui.messages, QStringList{"Empty Winsock2.LocalIP"});
    QVERIFY(session.AbortCommand());
    QCOMPARE(ui.mainStatus, QStringList{"Aborting FTP command..."});
    QCOMPARE(ui.timerStops, 1);
    QVERIFY(ui.log.isEmpty());
    session.RequestClose();
    QCOMPARE(ui.unloadRequests, 1);
}

// The peer writes and closes while the handler is busy: every byte still reaches
// it, in pieces, before the socket reports Closing.
void SessionScriptedTest::peerCloseAfterBufferedData()
{
    QTcpServer listener;
    QVERIFY(listener.listen(QHostAddress::LocalHost));
    SocketAdapter adapter;
    QTemporaryFile received;
    QVERIFY(received.open());
    bool closingSeenEarly = false;
    connect(&adapter, &SocketAdapter::dataArrival, this, [&] {
        if (!adapter.peerHasClosed())
            return;
        closingSeenEarly = closingSeenEarly || adapter.state() == SocketState::Closing;
        adapter.receiveInto(&received, 100);
    });
    adapter.connectToHost("127.0.0.1", listener.serverPort());
    QVERIFY(listener.waitForNewConnection(5000));
    QTcpSocket *peer = listener.nextPendingConnection();
    QTRY_COMPARE(adapter.state(), SocketState::Connected);
    peer->write(QByteArray(1000, 'p'));
    peer->disconnectFromHost();
    QTRY_COMPARE(adapter.state(), SocketState::Closing);
    QVERIFY(!closingSeenEarly);
    QCOMPARE(received.size(), 1000);
}

QTEST_GUILESS_MAIN(SessionScriptedTest)
#include "SessionScriptedTest.moc"
