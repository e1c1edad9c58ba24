// The session against the four real Debian FTP servers on loopback, in passive
// and active mode: log-on, the session commands, listings and files both ways.

#include "fixtures/HeadlessUi.h"
#include "fixtures/ServerBench.h"
#include "fixtures/ServerRows.h"
#include "ftp/FtpSession.h"
#include "servers/FtpServer.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QRandomGenerator>
#include <QScopeGuard>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

#include <fcntl.h>
#include <unistd.h>

using namespace korvan;
using namespace korvan::test;

namespace {

constexpr qint64 MiB = 1 << 20;

// Writes size bytes of one random mebibyte repeated; fast enough for 100 MiB.
bool writePatternFile(const QString &path, qint64 size)
{
    static const QByteArray block = [] {
        QByteArray bytes(MiB, Qt::Uninitialized);
        QRandomGenerator generator(4711);
        generator.fillRange(reinterpret_cast<quint32 *>(bytes.data()), bytes.size() / 4);
        return bytes;
    }();
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    for (qint64 written = 0; written < size;) {
        const qint64 chunk = qMin(size - written, qint64(block.size()));
        if (file.write(block.constData(), chunk) != chunk)
            return false;
        written += chunk;
    }
    return true;
}

QByteArray fileDigest(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return "missing: " + path.toUtf8();
    QCryptographicHash hash(QCryptographicHash::Sha1);
    hash.addData(&file);
    return QByteArray::number(file.size()) + ":" + hash.result().toHex();
}

// One server and one session on it, with the session's settings pointing there.
struct Bench : ServerBench {
    using ServerBench::ServerBench;
    void configure(bool passive, const QString &password = {}) { settings = settingsFor(server, passive, password); }
    QStringList commandsSent() const { return ui.logLines(LogColour::Blue); }
};

} // namespace

#define START_BENCH(bench, passive)                                                                                    \
    do {                                                                                                               \
        START_OR_FAIL((bench).server);                                                                                 \
        (bench).configure(passive);                                                                                    \
    } while (false)

#define CHECK_NO_UI_FAILURES(bench) QVERIFY2((bench).ui.failures.isEmpty(), qPrintable((bench).ui.failures.join('\n')))

class SessionServerTest : public QObject {
    Q_OBJECT
private slots:
    void sessionCommands_data() { addServerModeRows(); }
    void sessionCommands();
    void transfers_data() { addServerModeRows(); }
    void transfers();
    // The path of a TLS data connection: the socket object's own reads and writes.
    void transfersThroughSocket_data() { addServerModeRows({ServerKind::Vsftpd}); }
    void transfersThroughSocket();
    void wrongPassword_data();
    void wrongPassword();
    void keepAliveWhileIdle();
    void latin1NameRoundTrip_data();
    void latin1NameRoundTrip();

private:
    void checkTransfers(ServerKind kind, bool passive);
};

void SessionServerTest::sessionCommands()
{
    QFETCH(ServerKind, kind);
    QFETCH(bool, passive);
    Bench bench(kind);
    START_BENCH(bench, passive);
    const QString root = bench.server.rootDir();
    QVERIFY(QDir(root).mkpath("sub/deeper"));
    QVERIFY(writePatternFile(root + "/old.txt", 1000));
    QVERIFY(writePatternFile(root + "/doomed.bin", 10));
    QVERIFY(writePatternFile(root + "/sub/inner.dat", 123456));
    bench.server.handOver();
    FtpSession &session = bench.session;

    QVERIFY(session.LogOn());
    QCOMPARE(session.sCurrentDir(), QString("/"));
    QCOMPARE(session.sHomeDir(), QString("/"));
    QVERIFY(session.keepAliveActive());
    const QStringList logOnCommands = bench.commandsSent();
    QCOMPARE(logOnCommands, (QStringList{"USER " + bench.server.user(),
                                         "PASS " + QString(bench.server.password().size(), '*'), "SYST", "PWD"}));
    QVERIFY(bench.ui.logText().contains("Connected to 127.0.0.1:" + QString::number(bench.server.port())));
    QVERIFY(!bench.ui.logText().contains(bench.server.password()));

    // CWD with and without the trailing slash, CDUP.
    QVERIFY(session.ChangeDir("/sub/"));
    QVERIFY(session.PrintDir());
    QCOMPARE(session.sCurrentDir(), QString("/sub/"));
    QVERIFY(session.ChangeDir("deeper"));
    QVERIFY(session.PrintDir());
    QCOMPARE(session.sCurrentDir(), QString("/sub/deeper/"));
    QVERIFY(session.ChangeDirUp());
    QVERIFY(session.PrintDir());
    QCOMPARE(session.sCurrentDir(), QString("/sub/"));
    QVERIFY(session.ChangeDir("/"));
    QVERIFY(!session.ChangeDir("/no-such-folder"));
    QCOMPARE(session.nReplyState(), ReplyState::Failed);
    QCOMPARE(bench.ui.logLines(LogColour::Red).size(), 1);
    QVERIFY(bench.ui.logLines(LogColour::Red).first().startsWith("550"));

    // MKD / RMD, with the trailing slash stripped.
    QVERIFY(session.MakeDir("made/"));
    QVERIFY(QFileInfo(root + "/made").isDir());
    QVERIFY(session.RemoveDir("made/"));
    QVERIFY(!QFileInfo::exists(root + "/made"));

    QVERIFY(session.DeleteFile("doomed.bin"));
    QVERIFY(!QFileInfo::exists(root + "/doomed.bin"));
    QVERIFY(!session.DeleteFile("doomed.bin"));

    // Rename: the 350 asks for the new name, a trailing slash is dropped.
    bench.ui.answerInput("new.txt/");
    QVERIFY(session.RenameFrom("old.txt"));
    QCOMPARE(bench.ui.inputs.size(), 1);
    QCOMPARE(bench.ui.inputs.first().prompt, QString("Type new name:"));
    QCOMPARE(bench.ui.inputs.first().title, QString("Rename"));
    QCOMPARE(bench.ui.inputs.first().defaultText, QString("old.txt"));
    QVERIFY(QFileInfo::exists(root + "/new.txt"));
    QVERIFY(!QFileInfo::exists(root + "/old.txt"));

    QVERIFY(session.SendAndWait("NOOP"));

    // LIST: the collected text is what the server sends to any client.
    QVERIFY(session.SetType("A"));
    QVERIFY(session.ListFolder("LIST"));
    QString peerError;
    const QByteArray expected = peerListing(bench.server, passive, &peerError);
    QVERIFY2(peerError.isEmpty(), qPrintable(peerError));
    QVERIFY(session.sListText().contains("new.txt"));
    QVERIFY(session.sListText().contains("sub"));
    QCOMPARE(session.sListText(), expected);

    const QStringList blue = bench.commandsSent();
    QCOMPARE(blue.mid(logOnCommands.size()),
             (QStringList{"CWD /sub", "PWD", "CWD deeper", "PWD", "CDUP", "PWD", "CWD /", "CWD /no-such-folder",
                          "MKD made", "RMD made", "DELE doomed.bin", "DELE doomed.bin", "RNFR old.txt", "RNTO new.txt",
                          "NOOP", "TYPE A", blue.at(logOnCommands.size() + 16), "LIST"}));
    QVERIFY(blue.at(logOnCommands.size() + 16).startsWith(passive ? "PASV" : "PORT 127,0,0,1,"));

    QVERIFY(session.Disconnect());
    QCOMPARE(bench.commandsSent().last(), QString("QUIT"));
    QCOMPARE(session.controlSocket().state(), SocketState::Closed);
    QVERIFY(!session.keepAliveActive());
    // QUIT on a closed connection sends nothing.
    const int logged = bench.ui.log.size();
    session.Quit();
    QCOMPARE(bench.ui.log.size(), logged);
    CHECK_NO_UI_FAILURES(bench);
}

void SessionServerTest::transfers()
{
    QFETCH(ServerKind, kind);
    QFETCH(bool, passive);
    checkTransfers(kind, passive);
}

void SessionServerTest::transfersThroughSocket()
{
    QFETCH(ServerKind, kind);
    QFETCH(bool, passive);
    SocketAdapter::setKernelCopy(false);
    const auto restore = qScopeGuard([] { SocketAdapter::setKernelCopy(true); });
    checkTransfers(kind, passive);
}

// Files of several sizes down and up, byte-identical, the uploads in whole blocks.
void SessionServerTest::checkTransfers(ServerKind kind, bool passive)
{
    Bench bench(kind);
    START_BENCH(bench, passive);
    const QString root = bench.server.rootDir();
    const QList<qint64> downloadSizes{0, 1, MiB, 100 * MiB};
    for (qint64 size : downloadSizes)
        QVERIFY(writePatternFile(root + QString("/get-%1.bin").arg(size), size));
    bench.server.handOver();
    QTemporaryDir local;
    QVERIFY(local.isValid());
    FtpSession &session = bench.session;

    QVERIFY(session.LogOn());
    QVERIFY(session.SetType("I"));
    for (qint64 size : downloadSizes) {
        const QString name = QString("get-%1.bin").arg(size);
        const QString target = local.filePath(name);
        QVERIFY2(session.RetrieveFile(name, target, size).succeeded(), qPrintable(name));
        QCOMPARE(session.transfer().bytesReceived, size);
        QCOMPARE(fileDigest(target), fileDigest(root + "/" + name));
    }
    const qint64 threeBlocks = 2 * FtpSession::kUploadBlockSize + 4464;
    for (qint64 size : {qint64(0), threeBlocks, 100 * MiB}) {
        const QString name = QString("put-%1.bin").arg(size);
        const QString source = local.filePath(name);
        QVERIFY(writePatternFile(source, size));
        QList<qint64> blocks;
        auto blockSpy = connect(&session, &FtpSession::uploadBlockSent, this, [&](qint64 bytes) { blocks << bytes; });
        QVERIFY2(session.StoreFile(source, name, size).succeeded(), qPrintable(name));
        disconnect(blockSpy);
        QCOMPARE(session.transfer().bytesSent, size);
        QCOMPARE(fileDigest(root + "/" + name), fileDigest(source));
        if (size == threeBlocks)
            QCOMPARE(blocks, (QList<qint64>{FtpSession::kUploadBlockSize, FtpSession::kUploadBlockSize, 4464}));
        if (size == 0)
            QVERIFY(blocks.isEmpty());
    }
    // The control connection is still in step: the next command gets its own reply.
    QVERIFY(session.PrintDir());
    QCOMPARE(session.sCurrentDir(), QString("/"));
    QVERIFY(bench.ui.logLines(LogColour::Red).isEmpty());
    QVERIFY(bench.ui.messages.isEmpty());
    CHECK_NO_UI_FAILURES(bench);
}

void SessionServerTest::wrongPassword_data()
{
    addServerRows();
}

void SessionServerTest::wrongPassword()
{
    QFETCH(ServerKind, kind);
    Bench bench(kind);
    START_BENCH(bench, true);
    bench.configure(true, "wrong-pw");
    bench.ui.answerQuestion(QuestionAnswer::No);
    QVERIFY(!bench.session.LogOn());
    QCOMPARE(bench.ui.questions.size(), 1);
    const HeadlessUi::Question asked = bench.ui.questions.first();
    QCOMPARE(asked.title, QString("Vantrel"));
    QCOMPARE(asked.text, QString("Log on failed to 127.0.0.1.\r\nLast command was PASS ********\r\nTry again ? "));
    QCOMPARE(asked.yesCaption, QString("&Yes"));
    QCOMPARE(asked.noCaption, QString("&No"));
    QVERIFY(bench.ui.logLines(LogColour::Red).last().startsWith("530"));
    QVERIFY(!bench.session.keepAliveActive());
    QCOMPARE(bench.ui.reconnectRequests, 0);
    CHECK_NO_UI_FAILURES(bench);
}

// NOOP goes out on the keep-alive timer only while nothing else is running.
void SessionServerTest::keepAliveWhileIdle()
{
    Bench bench(ServerKind::Pyftpdlib);
    START_BENCH(bench, true);
    bench.session.setKeepAliveInterval(100);
    QVERIFY(bench.session.LogOn());
    QTRY_VERIFY(bench.commandsSent().count("NOOP") >= 2);
    QCOMPARE(bench.session.nReplyState(), ReplyState::Done);

    // Busy transfer dialog: no NOOP, over several ticks that asked and were told so.
    bench.ui.busy = true;
    QTRY_COMPARE(bench.session.nReplyState(), ReplyState::Done);
    const qsizetype before = bench.commandsSent().count("NOOP");
    const int asked = bench.ui.busyQueries;
    QTRY_VERIFY(bench.ui.busyQueries >= asked + 4);
    QCOMPARE(bench.commandsSent().count("NOOP"), before);
    CHECK_NO_UI_FAILURES(bench);
}

QTEST_GUILESS_MAIN(SessionServerTest)
#include "SessionServerTest.moc"

void SessionServerTest::latin1NameRoundTrip_data()
{
    // pyftpdlib lists a name that is not UTF-8 with "?" in place of its bytes, so
    // no client can reach such a file there.
    addServerModeRows({ServerKind::Vsftpd, ServerKind::Proftpd, ServerKind::PureFtpd});
}

// A name stored as Latin-1 bytes is listed, shown as Latin-1 and fetched back by
// the very same bytes.
void SessionServerTest::latin1NameRoundTrip()
{
    QFETCH(ServerKind, kind);
    QFETCH(bool, passive);
    Bench bench(kind);
    START_BENCH(bench, passive);
    const QByteArray rawName = "caf\xe9.txt";
    const QByteArray contents = "latin-1 named file\n";
    {
        const QByteArray path = QFile::encodeName(bench.server.rootDir()) + "/" + rawName;
        const int fd = ::open(path.constData(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        QVERIFY(fd >= 0);
        QCOMPARE(::write(fd, contents.constData(), contents.size()), ssize_t(contents.size()));
        ::close(fd);
    }
    bench.server.handOver();
    QTemporaryDir local;
    FtpSession &session = bench.session;
    QVERIFY(session.LogOn());
    QVERIFY(session.SetType("A"));
    QVERIFY(session.ListFolder());
    const QString name = QString::fromLatin1(rawName);
    QVERIFY2(session.listText().contains(name), qPrintable(session.listText()));
    QVERIFY(session.SetType("I"));
    QVERIFY(session.RetrieveFile(name, local.filePath("copy.txt"), contents.size()).succeeded());
    QFile copy(local.filePath("copy.txt"));
    QVERIFY(copy.open(QIODevice::ReadOnly));
    QCOMPARE(copy.readAll(), contents);
    CHECK_NO_UI_FAILURES(bench);
}
