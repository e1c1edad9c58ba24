// The korvan program against a real server (vsftpd), as a user runs it: what ls
// prints, one get and one put end to end, and the exit status and error line of
// each way a run can go wrong. The transfers themselves are the engine's tests.
#include "fixtures/KorvanProgram.h"
#include "fixtures/ServerRows.h"
#include "fixtures/TestFiles.h"
#include "servers/FtpServer.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace korvan::test;

namespace {

const QList<TreeFile> kTree{
    {"tree/top.txt", 1234},
    {"tree/nested/deeper/bottom.txt", 5},
    {"tree/folder with blank/inner.txt", 999},
    {"ls/name with blanks.bin", 70000},
    {"locked/open.txt", 3},
    {"locked/secret.bin", 100},
};

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
    void initTestCase();
    void listsGetsAndPuts();
    void failures_data();
    void failures();

private:
    QString url(const QString &path, const QString &password = {}) const
    {
        return u"ftp://%1:%2@%3:%4/%5"_qs.arg(server->user(), password.isEmpty() ? server->password() : password,
                                              server->host(), QString::number(server->port()), path);
    }
    std::unique_ptr<FtpServer> server;
};

void CliServerTest::initTestCase()
{
    server = std::make_unique<FtpServer>(ServerKind::Vsftpd);
    START_OR_FAIL(*server);
    const QString root = server->rootDir();
    QVERIFY(writeTree(root, kTree, {u"ls/nested"_qs, u"in"_qs}));
    QVERIFY(QFile::link(u"nested"_qs, root + u"/ls/link to nested"_qs));
    server->handOver();
    // vsftpd serves as the log-on user: a file only root may read fails for it.
    QVERIFY(QFile::setPermissions(root + u"/locked/secret.bin"_qs, QFileDevice::Permissions()));
}

void CliServerTest::listsGetsAndPuts()
{
    // ls -l lines, the options honoured (--log shows the PORT of --active).
    const KorvanRun ls = runKorvan({u"ls"_qs, u"--active"_qs, u"--log"_qs, url(u"ls/"_qs)});
    QVERIFY2(ls.exitCode == 0 && ls.err.contains("PORT "), qPrintable(describeRun(ls)));
    const QStringList lines = QString::fromUtf8(ls.out).split(u'\n', Qt::SkipEmptyParts);
    QCOMPARE(lines.size(), 3);
    const QString date = u"\\d+/\\d+/\\d{4} \\d+:\\d\\d [AP]M"_qs;
    const QStringList patterns{u"^lrwxrwxrwx +"_qs + date + u"  link to nested -> nested/$"_qs,
                               u"^-rw-r--r-- +70,000  "_qs + date + u"  name with blanks.bin$"_qs,
                               u"^drwxr-xr-x +  "_qs + date + u"  nested$"_qs};
    for (const QString &pattern : patterns)
        QVERIFY2(!lines.filter(QRegularExpression(pattern)).isEmpty(), qPrintable(pattern + u'\n' + ls.out));

    // A URL naming a file lists that file alone.
    const KorvanRun json = runKorvan({u"ls"_qs, u"--json"_qs, url(u"ls/name with blanks.bin"_qs)});
    QVERIFY2(json.exitCode == 0 && json.out.count('\n') == 1, qPrintable(describeRun(json)));
    const QJsonObject entry = QJsonDocument::fromJson(json.out).object();
    QCOMPARE(entry.value(u"Path").toString(), u"/ls/name with blanks.bin"_qs);
    QCOMPARE(entry.value(u"FileSize").toString(), u"70,000"_qs);

    // Down into a local folder get makes, and up again: the same tree both ways.
    QTemporaryDir local;
    const QString into = local.filePath(u"new/down"_qs);
    const KorvanRun get = runKorvan({u"get"_qs, url(u"tree"_qs), into});
    QVERIFY2(get.exitCode == 0 && get.err.contains("3 files downloaded"), qPrintable(describeRun(get)));
    QCOMPARE(describe(treeOf(into)),
             describe(expectedTree(kTree.mid(0, 3), {}, [](const TreeFile &) { return true; })));
    const KorvanRun put = runKorvan({u"put"_qs, into + u"/tree"_qs, url(u"in/"_qs)});
    QVERIFY2(put.exitCode == 0 && put.err.contains("3 files uploaded"), qPrintable(describeRun(put)));
    QCOMPARE(describe(treeOf(server->rootDir() + u"/in"_qs)), describe(treeOf(into)));
}

void CliServerTest::failures_data()
{
    // clang-format off
    // {wrong} is the server with a wrong password, {closed} a loopback port nobody
    // listens on, {local} a fresh local folder; a path alone is on the server.
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("message");

    QTest::newRow("wrong password") << QStringList{"ls", "{wrong}"} << 4 << "log-on refused";
    QTest::newRow("unreachable port") << QStringList{"ls", "{closed}"} << 3 << "cannot connect";
    QTest::newRow("unknown folder") << QStringList{"ls", "no/such/"} << 5 << "no such folder";
    QTest::newRow("unknown file, get") << QStringList{"get", "tree/nothing.txt", "{local}"} << 5
                                       << "no such file or folder";
    QTest::newRow("unknown target, put") << QStringList{"put", "{local}", "no/such/"} << 5 << "no such folder";
    QTest::newRow("missing local file") << QStringList{"put", "{local}/nothing", ""} << 1 << "no such local file";
    QTest::newRow("one unreadable file stops nothing") << QStringList{"get", "locked/", "{local}"} << 1
                                                       << "Downloading 'secret.bin' is failed.";
    // clang-format on
}

void CliServerTest::failures()
{
    QFETCH(QStringList, arguments);
    QFETCH(int, exitCode);
    QFETCH(QString, message);
    QTemporaryDir local;
    for (QString &argument : arguments) {
        if (argument == u"{wrong}")
            argument = url({}, server->password() + u'x');
        else if (argument == u"{closed}")
            argument = u"ftp://127.0.0.1:"_qs + QString::number(closedPort()) + u'/';
        else if (argument.startsWith(u"{local}"))
            argument.replace(u"{local}"_qs, local.path());
        else if (argument != arguments.first())
            argument = url(argument);
    }
    const KorvanRun run = runKorvan(arguments);
    QVERIFY2(run.exitCode == exitCode && run.out.isEmpty(), qPrintable(describeRun(run)));
    QVERIFY2(QString::fromUtf8(run.err).contains(message), qPrintable(describeRun(run)));
    if (QTest::currentDataTag() == QByteArray("one unreadable file stops nothing")) {
        QCOMPARE(readFile(local.filePath(u"locked/open.txt"_qs)), contentOf(u"locked/open.txt"_qs, 3));
        QVERIFY(!QFile::exists(local.filePath(u"locked/secret.bin"_qs)));
        QVERIFY(run.err.contains("1 file downloaded, 1 failed"));
    }
}

QTEST_GUILESS_MAIN(CliServerTest)
#include "CliServerTest.moc"
