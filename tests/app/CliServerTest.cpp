// The korvan program run as a user runs it, against real FTP servers on loopback:
// what ls prints, the trees get and put leave on disk, and the exit status and
// one-line error of each way a run can go wrong.
#include "fixtures/KorvanProgram.h"
#include "fixtures/ServerRows.h"
#include "fixtures/TestFiles.h"
#include "servers/FtpServer.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMap>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTest>

using namespace korvan::test;

namespace {

// Nested folders, blanks in names, a file larger than one upload block; the
// empty folder and the link are added by the test that needs them.
const QList<TreeFile> kTree{
    {"tree/top.txt", 1234},
    {"tree/name with blanks.bin", 70000},
    {"tree/nested/middle.bin", 25397},
    {"tree/nested/deeper/bottom.txt", 5},
    {"tree/folder with blank/inner.txt", 999},
};

QString urlOf(const FtpServer &server, const QString &password, const QString &path)
{
    return u"ftp://"_qs + server.user() + u':' + password + u'@' + server.host() + u':' + QString::number(server.port())
           + u'/' + path;
}

QString modeOption(bool passive)
{
    return passive ? u"--passive"_qs : u"--active"_qs;
}

quint16 closedPort()
{
    QTcpServer probe;
    probe.listen(QHostAddress::LocalHost);
    return probe.serverPort(); // nobody listens there once the probe is gone
}

} // namespace

class CliServerTest : public QObject {
    Q_OBJECT

private slots:
    void listsFolder_data() { addServerModeRows({ServerKind::Pyftpdlib, ServerKind::Vsftpd}); }
    void listsFolder();
    void treesBothWays_data() { addServerModeRows(); }
    void treesBothWays();
    void failures_data();
    void failures();
};

void CliServerTest::listsFolder()
{
    QFETCH(ServerKind, kind);
    QFETCH(bool, passive);
    FtpServer server(kind);
    START_OR_FAIL(server);
    QVERIFY(writeTree(server.rootDir(), kTree));
    QVERIFY(QFile::link(u"nested"_qs, server.rootDir() + u"/tree/link to nested"_qs));
    server.handOver();
    const QString url = urlOf(server, server.password(), u"tree/"_qs);

    const KorvanRun plain = runKorvan({u"ls"_qs, modeOption(passive), url});
    QVERIFY2(plain.exitCode == 0, qPrintable(describeRun(plain)));
    const QStringList lines = QString::fromUtf8(plain.out).split(u'\n', Qt::SkipEmptyParts);
    QCOMPARE(lines.size(), 5);
    const auto lineOf = [&](const QString &name) {
        for (const QString &line : lines) {
            if (line.contains(u"  "_qs + name))
                return line;
        }
        return QString();
    };
    QVERIFY2(lineOf(u"top.txt"_qs).startsWith(u"-rw"), qPrintable(plain.out));
    QVERIFY(lineOf(u"top.txt"_qs).contains(u" 1,234  "_qs));
    QVERIFY(lineOf(u"name with blanks.bin"_qs).contains(u" 70,000  "_qs));
    QVERIFY(lineOf(u"nested"_qs).startsWith(u'd'));
    QVERIFY(lineOf(u"folder with blank"_qs).startsWith(u'd'));
    QVERIFY2(lineOf(u"link to nested"_qs).endsWith(u"link to nested -> nested/"_qs), qPrintable(plain.out));

    const KorvanRun json = runKorvan({u"ls"_qs, u"--json"_qs, modeOption(passive), url});
    QCOMPARE(json.exitCode, 0);
    QMap<QString, QJsonObject> entries;
    for (const QByteArray &line : json.out.split('\n')) {
        if (!line.isEmpty()) {
            const QJsonObject entry = QJsonDocument::fromJson(line).object();
            entries[entry.value(u"FileName").toString()] = entry;
        }
    }
    QCOMPARE(entries.keys(), QStringList({u"folder with blank"_qs, u"link to nested"_qs, u"name with blanks.bin"_qs,
                                          u"nested"_qs, u"top.txt"_qs}));
    QCOMPARE(entries[u"top.txt"_qs].value(u"Path").toString(), u"/tree/top.txt"_qs);
    QCOMPARE(entries[u"nested"_qs].value(u"Path").toString(), u"/tree/nested/"_qs);
    QCOMPARE(entries[u"link to nested"_qs].value(u"bFolder").toBool(), true);

    // A URL that names a file lists that file alone.
    const KorvanRun file = runKorvan(
        {u"ls"_qs, modeOption(passive), urlOf(server, server.password(), u"tree/top.txt"_qs)});
    QCOMPARE(file.exitCode, 0);
    QCOMPARE(file.out.count('\n'), 1);
    QVERIFY(file.out.trimmed().endsWith("  top.txt"));
}

void CliServerTest::treesBothWays()
{
    QFETCH(ServerKind, kind);
    QFETCH(bool, passive);
    FtpServer server(kind);
    START_OR_FAIL(server);
    QVERIFY(writeTree(server.rootDir(), kTree));
    QVERIFY(QDir().mkpath(server.rootDir() + u"/tree/empty"_qs));
    server.handOver();

    // Down: the server's tree under the folder's own name, byte for byte.
    QTemporaryDir local;
    const QString into = local.filePath(u"new/down"_qs); // made by get
    const KorvanRun get = runKorvan(
        {u"get"_qs, modeOption(passive), urlOf(server, server.password(), u"tree"_qs), into});
    QVERIFY2(get.exitCode == 0, qPrintable(describeRun(get)));
    QCOMPARE(describe(treeOf(into)), describe(treeOf(server.rootDir())));
    QVERIFY2(get.err.contains("5 files downloaded"), get.err.constData());

    // Up: the same tree, plus a dot-file (uploaded) and a dot-folder (left out),
    // into an existing folder.
    QVERIFY(writeTree(into, {{u"tree/.dotfile"_qs, 77}, {u"tree/.cache/skipped.bin"_qs, 9}}));
    QVERIFY(QDir().mkpath(server.rootDir() + u"/in"_qs));
    server.handOver(server.rootDir() + u"/in"_qs);
    const KorvanRun put = runKorvan(
        {u"put"_qs, modeOption(passive), into + u"/tree"_qs, urlOf(server, server.password(), u"in/"_qs)});
    QVERIFY2(put.exitCode == 0, qPrintable(describeRun(put)));
    QDir(into + u"/tree/.cache"_qs).removeRecursively();
    QCOMPARE(describe(treeOf(server.rootDir() + u"/in"_qs)), describe(treeOf(into)));

    // And what went up comes down again byte-identical (a lone file this time).
    const KorvanRun again = runKorvan({u"get"_qs, modeOption(passive),
                                       urlOf(server, server.password(), u"in/tree/nested/middle.bin"_qs),
                                       local.path()});
    QVERIFY2(again.exitCode == 0, qPrintable(describeRun(again)));
    QFile middle(local.filePath(u"middle.bin"_qs));
    QVERIFY(middle.open(QIODevice::ReadOnly));
    QCOMPARE(middle.readAll(), contentOf(u"tree/nested/middle.bin"_qs, 25397));
}

void CliServerTest::failures_data()
{
    // clang-format off
    // {url} is the server with the right password, {wrong} with a wrong one,
    // {closed} a loopback port nobody listens on, {local} a fresh local folder.
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("message");

    QTest::newRow("wrong password") << QStringList{u"ls"_qs, u"{wrong}"_qs} << 4 << u"log-on refused"_qs;
    QTest::newRow("wrong password, get") << QStringList{u"get"_qs, u"{wrong}tree/top.txt"_qs, u"{local}"_qs} << 4
                                         << u"log-on refused"_qs;
    QTest::newRow("unreachable port") << QStringList{u"ls"_qs, u"{closed}"_qs} << 3 << u"cannot connect"_qs;
    QTest::newRow("unreachable port, put") << QStringList{u"put"_qs, u"{local}"_qs, u"{closed}"_qs} << 3
                                           << u"cannot connect"_qs;
    QTest::newRow("unknown folder") << QStringList{u"ls"_qs, u"{url}no/such/"_qs} << 5 << u"no such folder"_qs;
    QTest::newRow("unknown name") << QStringList{u"ls"_qs, u"{url}tree/nothing"_qs} << 5
                                  << u"no such file or folder"_qs;
    QTest::newRow("unknown file, get") << QStringList{u"get"_qs, u"{url}tree/nothing.txt"_qs, u"{local}"_qs} << 5
                                       << u"no such file or folder"_qs;
    QTest::newRow("unknown target, put") << QStringList{u"put"_qs, u"{local}"_qs, u"{url}no/such/"_qs} << 5
                                         << u"no such folder"_qs;
    QTest::newRow("missing local file") << QStringList{u"put"_qs, u"{local}/nothing"_qs, u"{url}"_qs} << 1
                                        << u"no such local file"_qs;
    QTest::newRow("one unreadable file") << QStringList{u"get"_qs, u"{url}tree/"_qs, u"{local}"_qs} << 1
                                         << u"Downloading 'secret.bin' is failed."_qs;
    QTest::newRow("not a URL") << QStringList{u"ls"_qs, u"127.0.0.1/pub"_qs} << 2 << u"ftp://"_qs;
    QTest::newRow("no local folder") << QStringList{u"get"_qs, u"{url}tree/"_qs} << 2 << u"local folder"_qs;
    QTest::newRow("unknown option") << QStringList{u"ls"_qs, u"--fast"_qs, u"{url}"_qs} << 2 << u"--fast"_qs;
    QTest::newRow("bad wait") << QStringList{u"ls"_qs, u"--wait"_qs, u"soon"_qs, u"{url}"_qs} << 2 << u"--wait"_qs;
    // clang-format on
}

void CliServerTest::failures()
{
    QFETCH(QStringList, arguments);
    QFETCH(int, exitCode);
    QFETCH(QString, message);
    // vsftpd runs as the test's user, so a file only root may read fails for it.
    FtpServer server(ServerKind::Vsftpd);
    START_OR_FAIL(server);
    QVERIFY(writeTree(server.rootDir(), kTree + QList<TreeFile>{{u"tree/secret.bin"_qs, 100}}));
    server.handOver();
    QVERIFY(QFile::setPermissions(server.rootDir() + u"/tree/secret.bin"_qs, QFileDevice::Permissions()));
    QTemporaryDir local;
    for (QString &argument : arguments) {
        argument.replace(u"{url}"_qs, urlOf(server, server.password(), {}))
            .replace(u"{wrong}"_qs, urlOf(server, server.password() + u'x', {}))
            .replace(u"{closed}"_qs, u"ftp://127.0.0.1:"_qs + QString::number(closedPort()) + u'/')
            .replace(u"{local}"_qs, local.path());
    }

    const KorvanRun run = runKorvan(arguments);
    QVERIFY2(run.exitCode == exitCode, qPrintable(describeRun(run)));
    QVERIFY2(QString::fromUtf8(run.err).contains(message), qPrintable(describeRun(run)));
    QVERIFY(run.out.isEmpty());
    if (QTest::currentDataTag() == QByteArray("one unreadable file")) {
        // The failed file stops nothing: the others arrive, the failed one is named.
        QVERIFY(!QFile::exists(local.filePath(u"tree/secret.bin"_qs)));
        QCOMPARE(QFileInfo(local.filePath(u"tree/nested/deeper/bottom.txt"_qs)).size(), 5);
        QVERIFY(run.err.contains("5 files downloaded, 1 failed"));
    }
}

QTEST_GUILESS_MAIN(CliServerTest)
#include "CliServerTest.moc"
