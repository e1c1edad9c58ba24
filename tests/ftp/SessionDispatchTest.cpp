// ReplyLine's dispatch table on a session without a connection: which reply,
// after which command, moves the reply state, the folder and the log.

#include "fixtures/HeadlessUi.h"
#include "ftp/FtpSession.h"

#include <QTest>

using namespace korvan;
using korvan::test::HeadlessUi;

Q_DECLARE_METATYPE(korvan::ReplyState)
Q_DECLARE_METATYPE(korvan::LogColour)

namespace {

// A command as the window starts it: the session waits for its reply. Without a
// connection nothing goes out; the log is cleared so that it shows the reply only.
void startCommand(FtpSession &session, HeadlessUi &ui, const QString &command, DataMode mode = DataMode::None)
{
    session.BeginCommand(mode);
    if (!command.isEmpty())
        session.SendCommand(command);
    ui.log.clear();
}

} // namespace

class SessionDispatchTest : public QObject {
    Q_OBJECT
private slots:
    void replyLine_data();
    void replyLine();
    void transferSizeReachesProgress_data();
    void transferSizeReachesProgress();
    void lineAssembler();
    void closePendingUnloadsInsteadOfChangingState();
    void abortWithoutConnection();
    void portArgumentWithoutConnection();
};

void SessionDispatchTest::replyLine_data()
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
    row("120 keeps waiting", "NOOP", "120 ready soon\r\n", waiting);
    row("125 after LIST", "LIST", "125 starting\r\n", waiting);
    row("200", "TYPE I", "200 ok\r\n", done);
    row("202", "ALLO 5", "202 superfluous\r\n", done);
    row("215", "SYST", "215 UNIX\r\n", done);
    row("220", "", "220 hello\r\n", done);
    row("221", "QUIT", "221 bye\r\n", done);
    row("225 after ABOR", "ABOR", "225 aborted\r\n", done);
    row("225 after NOOP", "NOOP", "225 data open\r\n", waiting);
    row("226 after STOR", "STOR f", "226 stored\r\n", done);
    row("226 after ABOR", "ABOR", "226 abort ok\r\n", done);
    row("226 after LIST", "LIST", "226 listed\r\n", waiting);
    row("226 after RETR", "RETR f", "226 sent\r\n", waiting);
    row("227 unreadable", "PASV", "227 no address\r\n", waiting);
    row("230", "PASS x", "230 in\r\n", done, LogColour::Black);
    row("230 continuation", "PASS x", "230-more to come\r\n", waiting);
    row("250", "CWD x", "250 ok\r\n", done);
    row("257 after PWD", "PWD", "257 \"/pub/x\" current\r\n", done, LogColour::Black, "/pub/x/");
    row("257 root", "PWD", "257 \"/\" current\r\n", done, LogColour::Black, "/");
    row("257 after MKD keeps the folder", "MKD y", "257 \"/y\" created\r\n", done);
    row("331", "USER me", "331 password\r\n", done);
    row("332 fails red", "PASS x", "332 need account\r\n", failed, LogColour::Red);
    row("350 after REST completes", "REST 5", "350 restarting\r\n", done);
    row("400 fails red", "NOOP", "400 bad\r\n", failed, LogColour::Red);
    row("550 fails red", "RETR f", "550 missing\r\n", failed, LogColour::Red);
    row("599 fails red", "NOOP", "599 odd\r\n", failed, LogColour::Red);
    row("211 keeps waiting", "STAT", "211 status\r\n", waiting);
    row("214 keeps waiting", "HELP", "214 help\r\n", waiting);
    row("other 2xx keeps waiting", "NOOP", "299 odd\r\n", waiting);
    row("text without code", "NOOP", "hello there\r\n", waiting);
}

void SessionDispatchTest::replyLine()
{
    QFETCH(QString, lastCommand);
    QFETCH(QString, line);
    QFETCH(ReplyState, state);
    QFETCH(LogColour, colour);
    QFETCH(QString, currentDir);
    HeadlessUi ui;
    FtpSession session(ui);
    startCommand(session, ui, "PWD");
    session.ReplyLine("257 \"/before\" is current\r\n");
    const QString replyBefore = session.sLastReply();
    startCommand(session, ui, lastCommand);
    session.ReplyLine(line);
    QCOMPARE(session.nReplyState(), state);
    QCOMPARE(session.sCurrentDir(), currentDir);
    QCOMPARE(ui.log.size(), 1);
    QCOMPARE(ui.log.first().colour, colour);
    QCOMPARE(ui.log.first().text, line);
    QCOMPARE(session.sLastReply(), ReplyCode(line).isEmpty() ? replyBefore : line);
    QVERIFY(ui.failures.isEmpty());
}

void SessionDispatchTest::transferSizeReachesProgress_data()
{
    QTest::addColumn<QString>("lastCommand");
    QTest::addColumn<int>("mode");
    QTest::addColumn<double>("maximum");
    QTest::newRow("download") << "RETR big" << int(DataMode::Download) << 1048576.0;
    QTest::newRow("listing") << "LIST" << int(DataMode::Listing) << -1.0;
    QTest::newRow("download mode, other command") << "NLST" << int(DataMode::Download) << -1.0;
}

void SessionDispatchTest::transferSizeReachesProgress()
{
    QFETCH(QString, lastCommand);
    QFETCH(int, mode);
    QFETCH(double, maximum);
    HeadlessUi ui;
    FtpSession session(ui);
    startCommand(session, ui, lastCommand, DataMode(mode));
    session.ReplyLine("150 Opening BINARY mode data connection for big (1048576 bytes).\r\n");
    QCOMPARE(session.nReplyState(), ReplyState::Waiting);
    QCOMPARE(ui.progress.isEmpty(), maximum < 0);
    QCOMPARE(session.transfer().announcedSize, qint64(maximum));
    if (maximum >= 0) {
        QCOMPARE(ui.progress.last().name, QString("SetPrg1")); // the running file's bar
        QCOMPARE(ui.progress.last().maximum, maximum);
    }
}

void SessionDispatchTest::lineAssembler()
{
    HeadlessUi ui;
    FtpSession session(ui);
    startCommand(session, ui, "NOOP");
    session.ControlDataArrival("200-first\r\n200 sec");
    QCOMPARE(session.sRecvBuffer(), QByteArray("200 sec"));
    QCOMPARE(session.nReplyState(), ReplyState::Waiting);
    session.ControlDataArrival("ond\r\n211 extra\n");
    QCOMPARE(session.nReplyState(), ReplyState::Done);
    QVERIFY(session.sRecvBuffer().isEmpty());
    // A bare LF ends a line as well; CR is kept as the server sent it.
    QCOMPARE(ui.logLines(LogColour::Black), (QStringList{"200-first", "200 second", "211 extra"}));
    QCOMPARE(ui.log.last().text, QString("211 extra\n"));
    QCOMPARE(session.sLastReply(), QString("211 extra\n"));
}

void SessionDispatchTest::closePendingUnloadsInsteadOfChangingState()
{
    HeadlessUi ui;
    FtpSession session(ui);
    startCommand(session, ui, "NOOP");
    session.RequestClose();
    QCOMPARE(session.nReplyState(), ReplyState::ClosePending);
    QCOMPARE(ui.unloadRequests, 0);
    session.ReplyLine("200 ok\r\n");
    QCOMPARE(session.nReplyState(), ReplyState::ClosePending);
    QCOMPARE(ui.unloadRequests, 1);
    // Idle: the window closes at once.
    FtpSession idle(ui);
    idle.RequestClose();
    QCOMPARE(ui.unloadRequests, 2);
}

// Nothing is sent, but the timers still go off.
void SessionDispatchTest::abortWithoutConnection()
{
    HeadlessUi ui;
    FtpSession session(ui);
    QVERIFY(session.AbortCommand());
    QCOMPARE(ui.mainStatus, QStringList{"Aborting FTP command..."});
    QCOMPARE(ui.timerStops, 1);
    QVERIFY(!session.keepAliveActive());
    QVERIFY(ui.log.isEmpty());
}

// Without a control connection there is no local address to name in PORT.
void SessionDispatchTest::portArgumentWithoutConnection()
{
    HeadlessUi ui;
    FtpSession session(ui);
    QCOMPARE(session.BuildPortArgument(), QString());
    QCOMPARE(ui.messages, QStringList{"Empty Winsock2.LocalIP"});
}

QTEST_GUILESS_MAIN(SessionDispatchTest)
#include "SessionDispatchTest.moc"
