// Each of the four real servers starts, greets, logs our user on, refuses a
// wrong password, lists in passive and active mode, lets the user write, and
// leaves nothing behind when stopped.

#include "fixtures/ServerRows.h"
#include "fixtures/TestFiles.h"
#include "servers/FtpServer.h"
#include "servers/RawFtpClient.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTcpSocket>
#include <QTest>

#include <pwd.h>

using namespace korvan::test;

#define CONNECT_AND_LOGIN(client, server)                                                                              \
    do {                                                                                                               \
        QVERIFY2((client).connect(server), qPrintable((client).lastError()));                                          \
        QVERIFY2((client).login(server), qPrintable((client).lastError()));                                            \
    } while (false)

class ServerSmokeTest : public QObject {
    Q_OBJECT

private slots:
    void namesAreDistinct()
    {
        QStringList names;
        for (ServerKind kind : allServerKinds())
            names << serverName(kind);
        QCOMPARE(names, (QStringList{"pyftpdlib", "vsftpd", "proftpd", "pure-ftpd"}));
    }

    void greetsAndLogsOn_data() { addServerRows(); }
    void greetsAndLogsOn()
    {
        QFETCH(ServerKind, kind);
        FtpServer server(kind);
        START_OR_FAIL(server);
        QCOMPARE(server.host(), QStringLiteral("127.0.0.1"));
        QVERIFY(server.port() != 0);
        QVERIFY(QDir(server.rootDir()).exists());

        RawFtpClient client;
        QVERIFY2(client.connect(server), qPrintable(client.lastError()));
        QCOMPARE(RawFtpClient::replyCode(client.greeting()), 220);
        QCOMPARE(RawFtpClient::replyCode(client.command("USER " + server.user())), 331);
        QCOMPARE(RawFtpClient::replyCode(client.command("PASS " + server.password())), 230);
        // The user is locked into the root folder: "/" is rootDir().
        QVERIFY2(client.command("PWD").contains("\"/\""), qPrintable(client.lastReply()));
    }

    void refusesWrongPassword_data() { addServerRows(); }
    void refusesWrongPassword()
    {
        QFETCH(ServerKind, kind);
        FtpServer server(kind);
        START_OR_FAIL(server);
        RawFtpClient client;
        QVERIFY2(client.connect(server), qPrintable(client.lastError()));
        QCOMPARE(RawFtpClient::replyCode(client.command("USER " + server.user())), 331);
        const QString reply = client.command("PASS wrong" + server.password());
        QVERIFY2(RawFtpClient::replyCode(reply) == 530, qPrintable(reply + client.lastError()));
    }

    void listsInBothModes_data()
    {
        QTest::addColumn<ServerKind>("kind");
        QTest::addColumn<bool>("passive");
        for (ServerKind kind : allServerKinds()) {
            QTest::newRow(qPrintable(serverName(kind) + " passive")) << kind << true;
            QTest::newRow(qPrintable(serverName(kind) + " active")) << kind << false;
        }
    }
    void listsInBothModes()
    {
        QFETCH(ServerKind, kind);
        QFETCH(bool, passive);
        FtpServer server(kind);
        START_OR_FAIL(server);
        QVERIFY(writeFile(server.rootDir() + "/smoke.txt", "12345"));
        QVERIFY(QDir(server.rootDir()).mkdir("sub"));
        QVERIFY(writeFile(server.rootDir() + "/sub/inner.txt", "x"));
        server.handOver();

        RawFtpClient client;
        CONNECT_AND_LOGIN(client, server);
        const QString listing = QString::fromUtf8(client.list({}, passive));
        QVERIFY2(client.lastError().isEmpty(), qPrintable(client.lastError()));
        const QStringList lines = listing.split("\r\n", Qt::SkipEmptyParts);
        QCOMPARE(lines.size(), 2);
        QVERIFY2(lines.filter(QRegularExpression("^-rw.* 5 .* smoke\\.txt$")).size() == 1, qPrintable(listing));
        QVERIFY2(lines.filter(QRegularExpression("^d.* sub$")).size() == 1, qPrintable(listing));

        // A second transfer on the same session: the data connection set-up is repeatable.
        const QString inner = QString::fromUtf8(client.list("sub", passive));
        QVERIFY2(client.lastError().isEmpty(), qPrintable(client.lastError()));
        QVERIFY2(inner.trimmed().endsWith(" inner.txt"), qPrintable(inner));
    }

    // handOver() gives the files to the server's user: it may delete and create.
    void userMayWrite_data() { addServerRows(); }
    void userMayWrite()
    {
        QFETCH(ServerKind, kind);
        FtpServer server(kind);
        START_OR_FAIL(server);
        QVERIFY(QDir(server.rootDir()).mkdir("old"));
        QVERIFY(writeFile(server.rootDir() + "/old/gone.txt", "data"));
        server.handOver(server.rootDir() + "/old");

        RawFtpClient client;
        CONNECT_AND_LOGIN(client, server);
        QCOMPARE(RawFtpClient::replyCode(client.command("DELE /old/gone.txt")), 250);
        QVERIFY(!QFile::exists(server.rootDir() + "/old/gone.txt"));
        QCOMPARE(RawFtpClient::replyCode(client.command("RMD /old")), 250);
        QCOMPARE(RawFtpClient::replyCode(client.command("MKD /made")), 257);
        QVERIFY(QDir(server.rootDir() + "/made").exists());
    }

    void stopLeavesNothing_data() { addServerRows(); }
    void stopLeavesNothing()
    {
        QFETCH(ServerKind, kind);
        FtpServer server(kind);
        START_OR_FAIL(server);
        const quint16 port = server.port();
        const QString root = server.rootDir();
        const QString user = server.user();
        // A session still open when the server stops must not keep anything alive.
        RawFtpClient client;
        CONNECT_AND_LOGIN(client, server);

        server.stop();
        QVERIFY(!QDir(root).exists());
        QTcpSocket probe;
        probe.connectToHost(QStringLiteral("127.0.0.1"), port);
        QVERIFY(!probe.waitForConnected(1000));
        if (kind != ServerKind::Pyftpdlib)
            QVERIFY2(!::getpwnam(user.toLocal8Bit().constData()), qPrintable(user + " still exists"));
    }

    // Two instances of one kind at once, as when ctest runs test programs in parallel.
    void twoInstancesOfOneKind_data() { addServerRows(); }
    void twoInstancesOfOneKind()
    {
        QFETCH(ServerKind, kind);
        FtpServer first(kind);
        FtpServer second(kind);
        START_OR_FAIL(first);
        START_OR_FAIL(second);
        QVERIFY(first.port() != second.port());
        QVERIFY(first.rootDir() != second.rootDir());
        QVERIFY(writeFile(second.rootDir() + "/only-in-second", ""));
        second.handOver();

        RawFtpClient a;
        RawFtpClient b;
        CONNECT_AND_LOGIN(a, first);
        CONNECT_AND_LOGIN(b, second);
        QVERIFY(!QString::fromUtf8(a.list()).contains("only-in-second"));
        QVERIFY(QString::fromUtf8(b.list()).contains("only-in-second"));
    }
};

QTEST_GUILESS_MAIN(ServerSmokeTest)
#include "ServerSmokeTest.moc"
