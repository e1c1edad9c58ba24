// The session against the scripted server: split replies, silent or hostile servers, late 226s, dropped connections,
// aborts; first the reply dispatch alone.

#include "fixtures/ScriptedSession.h"
#include "fixtures/TestFiles.h"
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

const QByteArray kListingLine = "drwxr-xr-x 2 ftp ftp 4096 Jan 15 10:20 pub\r\n";

class SessionScriptedTest : public QObject {
    Q_OBJECT
private slots:
    // Which reply, after which command, moves the reply state (Waiting, Done, or Failed and logged red), the folder
    // (when it changes) and the log. "command|reply|state|folder", the reply CR LF ended unless it ends in LF.
    void replyLine_data()
    {
        QTest::addColumn<QStringList>("fields");
        for (const char *row : {"NOOP|110 restart marker|Waiting",
                                "LIST|125 starting|Waiting",
                                "TYPE I|200 ok|Done",
                                "STAT|213 status|Waiting",
                                "QUIT|221 bye|Done",
                                "ABOR|225 aborted|Done",
                                "NOOP|225 data open|Waiting",
                                "ABOR|226 abort ok|Done",
                                "LIST|226 listed|Waiting",
                                "RETR f|226 sent|Waiting",
                                "PASV|227 no address|Waiting",
                                "PASS x|230-more to come|Waiting",
                                "PWD|257 \"/pub/x\" current|Done|/pub/x/",
                                "PWD|257 \"/\" current|Done|/",
                                "PWD|257 \"/pub/\" (its slash kept)|Done|/pub//",
                                "PWD|257 \"/a b\"|Done|/a b/",
                                "MKD y|257 \"/y\" created|Done",
                                "USER me|331 password|Done",
                                "PASS x|332 need account|Failed",
                                "REST 5|350 restarting|Done",
                                "NOOP|399 odd|Waiting",
                                "NOOP|400 bad|Failed",
                                "NOOP|299 odd|Waiting",
                                "NOOP|hello there|Waiting",
                                "TYPE I|200 \n|Done",
                                "NOOP|200\r\n|Waiting",
                                "NOOP|\xef\xbc\x92\xef\xbc\x90\xef\xbc\x90 fullwidth digits are no code|Waiting"})
            QTest::newRow(row) << QString(row).split('|');
    }

    void replyLine()
    {
        QFETCH(QStringList, fields);
        const QString line = fields[1].endsWith('\n') ? fields[1] : fields[1] + "\r\n";
        HeadlessUi offline;
        FtpSession session(offline);
        // As the window starts a command: without a connection nothing goes out. Folder and last reply start empty.
        session.BeginCommand(DataMode::None);
        session.SendCommand(fields[0]);
        offline.log.clear();
        session.ReplyLine(line);
        const QStringList states{"Waiting", "Done", "Failed"}; // as ReplyState numbers them
        QCOMPARE(states.value(int(session.nReplyState())), fields[2]);
        QCOMPARE(session.sCurrentDir(), fields.value(3));
        QCOMPARE(offline.logText(), line); // logged as it came, in one entry of the state's colour
        QCOMPARE(offline.logLines(fields[2] == "Failed" ? LogColour::Red : LogColour::Black).size(), 1);
        // Only a final reply (three ASCII digits and a blank) is remembered as the last one.
        QCOMPARE(session.sLastReply(), line.contains(QRegularExpression("^[0-9]{3} ")) ? line : QString());
    }

    // One command and the server's answer: the result, the lines logged, the time-out questions; after a listing or
    // an upload, the next command is answered in step.
    void exchange_data()
    {
        QTest::addColumn<QString>("call"); // NOOP, LIST, or STOR of n bytes (-1: no file); "active" at the end
        QTest::addColumn<Script>("script");
        QTest::addColumn<bool>("ok");
        QTest::addColumn<QString>("red");    // a regular expression of the lines, '|' between them
        QTest::addColumn<QString>("black");  // of a NOOP, as red but plain
        QTest::addColumn<int>("yesAnswers"); // -1: no time-out question expected
        const auto row = [](const QString &name, const QString &call, const Script &script, bool ok,
                            const QString &red = {}, const QString &black = {}, int yes = -1) {
            QTest::newRow(qPrintable(name)) << call << script << ok << red << black << yes;
        };
        const auto noop = [](const QByteArray &answer) { return Script{{"NOOP", answer}}; };
        const QByteArray list = "150 listing|data 44 " + kListingLine + "|";
        // A line cut anywhere, its CR LF too, or ended by a bare LF; CR is kept as the server sent it.
        row("line assembly", "NOOP",
            noop("raw 2|wait 30|raw 00-first\r|wait 30|raw \n200 sec|wait 30|raw ond\r\n211 x\n"), true, "",
            "200-first|200 second|211 x");
        row("421 service closing", "NOOP", noop("421 service closing"), false, "421 service closing");
        row("211 waits: asked, yes, then no", "NOOP", noop("211 status follows"), false, "", "211 status follows", 1);
        row("control dropped", "NOOP", noop("drop"), false, "The server closed the connection\\.");
        row("1 MiB without a line end", "NOOP", noop("flood 1048576"), false, ".*without a line end.*");
        // The 226 before the data connection's close, or after it; passive, or active.
        row("LIST: 226, close", "LIST", {{"LIST", list + "226 done|wait 100|close"}}, true);
        row("LIST active: close, 226", "LIST active", {{"LIST", list + "close|wait 100|226 done"}}, true);
        // The 227 names a port nobody listens on: the socket's error fails the listing; the listing's own late 425
        // does not fail the next command.
        row("LIST: data connection refused", "LIST",
            {{"PASV", "227 Entering Passive Mode (127,0,0,1,0,1)"}, {"LIST", "wait 300|425 no data connection"}}, false,
            "10061 : [^|]*\\|425 no data connection");
        // The 150 may come before the server's data connection has been accepted.
        row("STOR active, 150 first", QStringLiteral("STOR %1 active").arg(2 * FtpSession::kUploadBlockSize + 4464),
            {{"STOR up.bin", "150 go ahead|wait 200|open|receive|226 stored"}}, true);
        for (const QString size : {"-1", "999"}) // a missing file, one shorter than its size
            row("STOR " + size, "STOR " + size, {{"STOR up.bin", "150 go ahead|receive|226 stored"}}, false);
    }

    void exchange()
    {
        QFETCH(QString, call);
        QFETCH(bool, ok);
        QFETCH(QString, red);
        QFETCH(int, yesAnswers);
        const bool noop = call == "NOOP", list = call.startsWith("LIST");
        const qint64 fileBytes = call.section(' ', 1, 1).toLongLong();
        QTemporaryDir local;
        const QByteArray upload = ScriptedFtpServer::patternBytes(3, std::max<qint64>(fileBytes, 0));
        QVERIFY(fileBytes <= 0 || writeFile(local.filePath("up.bin"), upload));
        ScriptedSession s;
        s.settings.bPassive = !call.endsWith("active");
        QFETCH(Script, script);
        QVERIFY(s.logOn(script + Script{{"NOOP", "200 ok"}}));
        s.settings.nFTPWaitTime = 1;
        for (int i = 0; i <= yesAnswers; ++i) // the last one No
            s.ui.answerQuestion(i < yesAnswers ? QuestionAnswer::Yes : QuestionAnswer::No);
        QList<qint64> blocks;
        connect(&s.session, &FtpSession::uploadBlockSent, this, [&](qint64 bytes) { blocks << bytes; });
        s.ui.log.clear();
        QCOMPARE(noop   ? s.session.SendAndWait("NOOP")
                 : list ? s.session.ListFolder()
                        : s.session.StoreFile(local.filePath("up.bin"), "up.bin", ok ? fileBytes : 1000).succeeded(),
                 ok);
        QCOMPARE(s.ui.questions.size(), yesAnswers + 1);
        for (const HeadlessUi::Question &asked : s.ui.questions)
            QCOMPARE(asked.text, WaitTooLongText(1));
        if (noop) {
            QTEST(s.ui.logLines(LogColour::Black).join('|'), "black");
            if (ok || (!red.isEmpty() && red.front().isDigit())) // the last final reply
                QCOMPARE(s.session.sLastReply(), s.ui.log.last().text);
            // What a window or the command-line client shows of a failure, without reading the log.
            QCOMPARE(s.session.lastFailure().command, ok ? QString() : QString("NOOP"));
            QCOMPARE(s.session.lastFailure().timedOut, yesAnswers >= 0);
            QVERIFY(!red.startsWith("The server closed") || !s.session.lastFailure().socketError.isEmpty());
            if (yesAnswers >= 0) // a late reply still belongs to the command
                QCOMPARE(s.session.nReplyState(), ReplyState::Waiting);
        } else if (!list && ok) { // in whole blocks
            QCOMPARE(blocks, (QList<qint64>{FtpSession::kUploadBlockSize, FtpSession::kUploadBlockSize, 4464}));
            QCOMPARE(s.server.receivedData(), upload);
        }
        // A failed upload's text is the engine's own, "Downloading" included.
        QCOMPARE(s.ui.messages.value(0),
                 noop || list || ok ? QString()
                                    : "Downloading 'up.bin' is failed.\r\nSWITCH PASSIVE MODE, if it fails again.");
        QCOMPARE(s.session.sListText(), list && ok ? kListingLine : QByteArray());
        QVERIFY(s.session.sRecvBuffer().isEmpty());
        if (!noop) { // the next command is answered in step
            QVERIFY(s.session.SendAndWait("NOOP"));
            QCOMPARE(s.session.sLastReply(), QString("200 ok\r\n"));
        }
        const QString redLines = s.ui.logLines(LogColour::Red).join('|');
        QVERIFY2(redLines.contains(QRegularExpression(QRegularExpression::anchoredPattern(red))), qPrintable(redLines));
        CHECK_NO_UI_FAILURES(s.ui);
    }

    // The log-on as the server answers it: the commands, the question, the statuses. The fields, '~' between them:
    // the initial folder, the commands ('|' between them, as between statuses), the home folder (none: the log-on
    // fails), the start of the question asked (a retry is answered Yes, a wait No), statuses shown.
    void logOn_data()
    {
        QTest::addColumn<Script>("script");
        QTest::addColumn<QStringList>("fields");
        const auto answers = [](QByteArray user, QByteArray pass, QByteArray pwd, QByteArray cwd = {}) {
            return Script{{"USER me", user}, {"PASS pw", pass}, {"SYST", "215 UNIX"}, {"CWD *", cwd}, {"PWD", pwd}};
        };
        const QByteArray home = "257 \"/home/me\" is current";
        const auto row = [](const char *name, const Script &script, const QString &fields) {
            QTest::newRow(name) << script << fields.split('~');
        };
        // USER answered by a 230 that ends late: PASS all the same.
        row("multi-line 230 to USER",
            answers("230-Welcome\r\n230-Second line\r\n|wait 300|230 ok", "230 PASS ok", home),
            "~USER me|PASS pw|SYST|PWD~/home/me/");
        row("initial folder, its slash dropped", answers("331 pw", "230 ok", "257 \"/pub\"", "250 ok"),
            "/pub/~USER me|PASS pw|SYST|CWD /pub|PWD~/pub/");
        // A bad initial folder leaves the server's default one and the log-on goes on.
        row("initial folder failing", answers("331 pw", "230 ok", home, "550 no such folder"),
            "/gone~USER me|PASS pw|SYST|CWD /gone|PWD~/home/me/");
        // "Yes" to the retry disconnects and opens the connect dialog again.
        row("PWD failing: retry asked", answers("331 pw", "230 ok", "550 no"),
            "~USER me|PASS pw|SYST|PWD|QUIT~~Log on failed to 127.0.0.1.\r\nLast command was PWD\r\nTry again ? "
            "~Connecting 127.0.0.1|Disconnected");
        // Nothing was sent, so there is no retry question; pane 2 counts the seconds.
        row("silent server", {{"", ""}}, "~~~Wait too long (2 seconds) !~CONNECT: 0 seconds|CONNECT: 1 seconds");
    }

    void logOn()
    {
        QFETCH(Script, script);
        QFETCH(QStringList, fields);
        const QString commands = fields[1], home = fields[2], question = fields.value(3);
        const bool ok = !home.isEmpty();
        ScriptedSession s;
        s.settings.sFTPDir = fields[0];
        s.settings.nFTPWaitTime = 2;
        s.server.add(script + Script{{"QUIT", "221 bye"}});
        if (!question.isEmpty())
            s.ui.answerQuestion(question.startsWith("Log on failed") ? QuestionAnswer::Yes : QuestionAnswer::No);
        QCOMPARE(s.session.LogOn(), ok);
        QTRY_COMPARE(QString(s.server.commands().join('|')), commands);
        QCOMPARE(s.ui.questions.size(), question.isEmpty() ? 0 : 1);
        QVERIFY2(s.ui.questions.value(0).text.startsWith(question), qPrintable(s.ui.questions.value(0).text));
        for (const QString &status : fields.value(4).split('|', Qt::SkipEmptyParts))
            QVERIFY2(s.ui.mainStatus.contains(status) || s.ui.waitStatus.contains(status), qPrintable(status));
        QCOMPARE(s.ui.reconnectRequests, !ok && !commands.isEmpty() ? 1 : 0);
        QCOMPARE(s.session.keepAliveActive(), ok);
        QCOMPARE(s.session.sCurrentDir(), home);
        // The password is masked wherever "PASS" shows, in a reply as well (CR LF counted).
        QVERIFY2(!s.ui.logText().contains(QRegularExpression("PASS [^*]")), qPrintable(s.ui.logText()));
        CHECK_NO_UI_FAILURES(s.ui);
    }

    // A download's or its ABOR's 226 held back until a later command: logged, but it neither completes nor fails that
    // command. Held until STOR, an upload follows the download, else a download.
    void lateReplyBelongsToItsCommand_data()
    {
        QTest::addColumn<QByteArray>("heldUntil"); // empty: the download cancelled, its ABOR's 226 held until STOR
        for (const char *command : {"PASV", "RETR", "STOR", ""})
            QTest::newRow(command) << QByteArray(command);
    }

    void lateReplyBelongsToItsCommand()
    {
        QFETCH(QByteArray, heldUntil);
        const bool cancel = heldUntil.isEmpty(), storeNext = cancel || heldUntil == "STOR";
        const qint64 size = 300000;
        const QByteArray upload = ScriptedFtpServer::patternBytes(7, 100000);
        QTemporaryDir local;
        QVERIFY(writeFile(local.filePath("up.bin"), upload));
        ScriptedSession s;
        QVERIFY(s.logOn({{"RETR first.bin", cancel ? "150 sending|data 4294967296"
                                                   : "150 sending (300000 bytes)|data 300000|close|hold " + heldUntil
                                                         + "|226 first done"},
                         {"ABOR", "426 Transfer aborted|hold STOR|226 Abort successful"},
                         {"RETR second.bin", "150 sending|data 300000|close|wait 100|226 second done"},
                         {"STOR up.bin", "150 go ahead|receive|226 stored"}}));
        SocketState dataAtAbort = SocketState::Connected;
        if (cancel) { // as the transfer window's cancel does: the data connection dropped, then ABOR
            s.ui.answerQuestion(QuestionAnswer::No); // the ABOR's 226 is held past the wait
            connect(&s.session.dataSocket(), &SocketAdapter::dataArrival, this,
                    [&] { QTimer::singleShot(0, this, [&] { s.session.CancelTransfer(); }); });
            connect(&s.session, &FtpSession::replyStateChanged, this, [&](ReplyState state) {
                dataAtAbort = state == ReplyState::Abandoned ? s.session.dataSocket().state() : dataAtAbort;
            });
        }
        const TransferOutcome outcome = s.session.RetrieveFile("first.bin", local.filePath("first.bin"), size);
        disconnect(&s.session.dataSocket(), nullptr, this, nullptr);
        QCOMPARE(outcome.succeeded(), !cancel);
        QCOMPARE(outcome.cancelled(), cancel);
        QCOMPARE(s.ui.timerStops, cancel ? 1 : 0);
        QCOMPARE(s.session.keepAliveActive(), !cancel);
        if (cancel) {
            QCOMPARE(dataAtAbort, SocketState::Closed);
            QVERIFY(s.ui.questions.value(0).text.startsWith("Wait too long"));
            QCOMPARE(s.ui.mainStatus.last(), QString("Aborting FTP command..."));
        } else {
            QCOMPARE(readFile(local.filePath("first.bin")), ScriptedFtpServer::patternBytes(0, size));
            QCOMPARE(s.ui.progress.last().maximum, double(size)); // the size the 150 announced
        }
        QVERIFY((storeNext ? s.session.StoreFile(local.filePath("up.bin"), "up.bin", upload.size())
                           : s.session.RetrieveFile("second.bin", local.filePath("second.bin"), size))
                    .succeeded());
        if (storeNext) // a download completes with its data, an upload with its 226
            QCOMPARE(s.session.sLastReply(), QString("226 stored\r\n"));
        QCOMPARE(storeNext ? s.server.receivedData() : readFile(local.filePath("second.bin")),
                 storeNext ? upload : ScriptedFtpServer::patternBytes(0, size));
        QVERIFY(s.ui.logLines(LogColour::Black).contains(cancel ? "226 Abort successful" : "226 first done"));
        QCOMPARE(s.server.commands().count("ABOR"), cancel ? 1 : 0);
        CHECK_NO_UI_FAILURES(s.ui);
    }

    // A disconnect or a window close while a command waits for its reply, or without a connection.
    void interruptedWait()
    {
        for (const bool hangUp : {true, false}) {
            ScriptedSession s;
            QVERIFY(s.logOn({{"NOOP", "wait 3000|200 late"}}));
            QTimer::singleShot(100, this, [&] { hangUp ? void(s.session.Disconnect()) : s.session.RequestClose(); });
            QVERIFY(!s.session.SendAndWait("NOOP"));
            QCOMPARE(s.session.nReplyState(), hangUp ? ReplyState::Failed : ReplyState::ClosePending);
            QCOMPARE(s.ui.progressUnloads, hangUp ? 1 : 0);
            QCOMPARE(s.ui.unloadRequests, hangUp ? 0 : 1);
            if (hangUp) {
                QCOMPARE(s.session.controlSocket().state(), SocketState::Closed);
                QVERIFY(s.ui.mainStatus.join('|').endsWith("|Disconnecting...|Disconnected"));
                QTRY_VERIFY(s.server.commands().contains("QUIT"));
            } else { // any further command unloads instead of sending
                QVERIFY(!s.session.SendAndWait("PWD"));
                QCOMPARE(s.ui.unloadRequests, 2);
                QCOMPARE(s.server.commands().count("PWD"), 1);
            }
            CHECK_NO_UI_FAILURES(s.ui);
        }
        // Without a control connection: PORT has no local address to name, an abort sends nothing but still stops the
        // timers, a close request unloads at once.
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

    // The peer writes and closes while the handler is busy: every byte still reaches it, in pieces, before the socket
    // reports Closing.
    void peerCloseAfterBufferedData()
    {
        QTcpServer listener;
        QVERIFY(listener.listen(QHostAddress::LocalHost));
        SocketAdapter adapter;
        QTemporaryFile received;
        QVERIFY(received.open());
        bool closingSeenEarly = false;
        connect(&adapter, &SocketAdapter::dataArrival, this, [&] {
            closingSeenEarly = closingSeenEarly || adapter.state() == SocketState::Closing;
            if (adapter.peerHasClosed())
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
};

QTEST_GUILESS_MAIN(SessionScriptedTest)
#include "SessionScriptedTest.moc"
