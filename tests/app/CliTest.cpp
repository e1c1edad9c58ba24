// The korvan program: URLs, runs without a server, and what ls, get and put print against real FTPS servers.
#include "FtpUrl.h"
#include "fixtures/ServerRows.h"
#include "fixtures/TestFiles.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

using korvan::cli::FtpUrl;
using korvan::cli::ParseFtpUrl;
using namespace korvan::test;

namespace {

struct KorvanRun {
    int exitCode = -1; // -1 when it did not start, crashed or hung
    QByteArray out;
    QByteArray err;
    QByteArray described() const
    {
        return "exit " + QByteArray::number(exitCode) + "\nout:\n" + out + "\nerr:\n" + err;
    }
};

KorvanRun runKorvan(const QStringList &arguments, const QByteArray &input = {})
{
    QProcess process;
    process.start(qEnvironmentVariable("KORVAN_BUILD_DIR") + "/app/korvan", arguments);
    process.write(input);
    process.closeWriteChannel();
    if (!process.waitForFinished(120000))
        process.kill();
    return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1, process.readAllStandardOutput(),
            process.readAllStandardError()};
}

QString urlOf(const FtpServer &server, const QString &scheme, const QString &password = {})
{
    return QString("%1://%2:%3@%4:%5/")
        .arg(scheme, server.user(), password.isEmpty() ? server.password() : password, server.host(),
             QString::number(server.port()));
}

const QList<TreeFile> kTree{{"tree/top.txt", 1234},
                            {"tree/nested/deeper/bottom.txt", 5},
                            {"tree/folder with blank/inner.txt", 999},
                            {"ls/name with blanks.bin", 70000},
                            {"locked/open.txt", 3},
                            {"locked/secret.bin", 100}};

} // namespace

class CliTest : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void urls_data();
    void urls();
    void offline_data();
    void offline();
    void listsGetsAndPuts();
    void failures_data();
    void failures();

private:
    // korvan trusting the server's certificate; "{url}" stands for the server's URL.
    KorvanRun runOnServer(QStringList arguments, const QString &password = {}) const;

    FtpServer server{ServerKind::Vsftpd};
};

void CliTest::initTestCase()
{
    server.setTls(ServerTls::Explicit);
    START_OR_FAIL(server);
    const QString root = server.rootDir();
    QVERIFY(writeTree(root, kTree, {"ls/nested", "in"}));
    QVERIFY(QFile::link("nested", root + "/ls/link to nested"));
    server.handOver();
    // vsftpd serves as the log-on user: a file only root may read fails for it.
    QVERIFY(QFile::setPermissions(root + "/locked/secret.bin", QFileDevice::Permissions()));
}

KorvanRun CliTest::runOnServer(QStringList arguments, const QString &password) const
{
    arguments.replaceInStrings("{url}", urlOf(server, "ftp", password))
        .replaceInStrings("{ftps}", urlOf(server, "ftps"));
    const QString trust = server.certificateFingerprint().remove(':').toLower(); // any spelling will do
    return runKorvan(QStringList{arguments.takeFirst(), "--tls", "--trust", trust} + arguments);
}

void CliTest::urls_data()
{
    // clang-format off
    QTest::addColumn<QString>("text");
    // user|password|host|host:port|path|encryption|remote path from /home/me/, or "refused: <a word of the reason>"
    QTest::addColumn<QString>("expected");

    QTest::newRow("host only") << "ftp://example.org" << "anonymous|{anon}|example.org|example.org:21||0|/home/me/";
    QTest::newRow("port, a folder") << "ftp://h:2121/pub/" << "anonymous|{anon}|h|h:2121|pub/|0|/home/me/pub/";
    QTest::newRow("empty port is the default") << "ftp://h:/x" << "anonymous|{anon}|h|h:21|x|0|/home/me/x";
    QTest::newRow("user without password") << "ftp://me@h/" << "me||h|h:21||0|/home/me/";
    QTest::newRow("colon and raw @ in the password") << "ftp://me:a:b@c@h" << "me|a:b@c|h|h:21||0|/home/me/";
    QTest::newRow("encoded user and password")
        << "ftp://me%40home:p%3A%2F%25x@h" << "me@home|p:/%x|h|h:21||0|/home/me/";
    QTest::newRow("escapes in the path, plus stays")
        << "ftp://h/caf%C3%a9/a%20b+c" << u"anonymous|{anon}|h|h:21|café/a b+c|0|/home/me/café/a b+c"_qs;
    QTest::newRow("encoded slash: from the root") << "ftp://h/%2Fetc" << "anonymous|{anon}|h|h:21|/etc|0|/etc";
    QTest::newRow("dot and dot-dot") << "ftp://h/./../x/../../../y" << "anonymous|{anon}|h|h:21|./../x/../../../y|0|/y";
    QTest::newRow("IPv6 literal") << "ftp://u:p@[::1]:2121/x" << "u|p|::1|[::1]:2121|x|0|/home/me/x";
    QTest::newRow("@ in the path is path") << "ftp://h/a@b" << "anonymous|{anon}|h|h:21|a@b|0|/home/me/a@b";
    QTest::newRow("ftpes: explicit TLS, 21") << "ftpes://h/" << "anonymous|{anon}|h|h:21||1|/home/me/";
    QTest::newRow("FTPS: implicit TLS, 990") << "FTPS://h/" << "anonymous|{anon}|h|h:990||2|/home/me/";
    QTest::newRow("other scheme") << "http://example.org/" << "refused: ftp://";
    QTest::newRow("no host") << "ftp://me:pw@/pub" << "refused: host";
    QTest::newRow("port zero") << "ftp://h:0/" << "refused: port";
    QTest::newRow("port too big") << "ftp://h:65536/" << "refused: port";
    QTest::newRow("signed port") << "ftp://h:+21/" << "refused: port";
    QTest::newRow("IPv6 unclosed") << "ftp://[::1:21/" << "refused: ]";
    QTest::newRow("text after IPv6") << "ftp://[::1]x/" << "refused: ]";
    QTest::newRow("cut escape in the path") << "ftp://h/a%4" << "refused: path";
    QTest::newRow("bad escape in the password") << "ftp://me:%zz@h/" << "refused: password";
    // clang-format on
}

void CliTest::urls()
{
    QFETCH(QString, text);
    QFETCH(QString, expected);
    QString error;
    const std::optional<FtpUrl> url = ParseFtpUrl(text, &error);
    if (expected.startsWith("refused: ")) {
        QVERIFY(!url);
        QVERIFY2(error.contains(expected.mid(9)), qPrintable(error));
        return;
    }
    QVERIFY2(url, qPrintable(error));
    QStringList parts{url->user, url->password, url->host, url->hostAndPort(), url->path};
    parts << QString::number(int(url->encryption)) << url->remotePath("/home/me/");
    QCOMPARE(parts.join('|'), QString(expected).replace("{anon}", korvan::sAnonPassword));
    // One session serves the URLs of one server and log-on, whatever their paths.
    FtpUrl other = *url;
    other.path = "other/";
    QVERIFY(url->sameLogOn(other));
    other.port = 2122;
    QVERIFY(!url->sameLogOn(other));
}

void CliTest::offline_data()
{
    // clang-format off
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QByteArray>("input"); // given: the standard output must be all of text
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QByteArray>("text"); // in standard output, or with an exit code not 0 standard error

    QTest::newRow("parse-listing: LF line ends, escapes, a folder option")
        << QStringList{"parse-listing", "--folder", "/pub/"}
        << QByteArray("total 1\nlrwxrwxrwx 1 o g 8 Jun 1 2024 \"m\\\x01 -> /var/ftp\n") << 0
        << QByteArray(R"({"FileName":"\"m\\\u0001","FileSize":"8","FileAttr":"lrwxrwxrwx","FileLink":"/var/ftp",)"
                      R"("FileDate":"6/1/2024 12:00 AM","bFolder":false,"IsLink":true,)"
                      R"("Path":"/pub/\"m\\\u0001"})" "\n");
    QTest::newRow("parse-listing: UTF-8 in and out, CR LF stays, --folder=")
        << QStringList{"parse-listing", "--folder=/srv/"}
        << QByteArray("01-15-03 10:20AM <DIR> Gr\xc3\xbc\xc3\x9f" "e\r\n01-15-03 10:20PM 1234 a  b") << 0
        << QByteArray(R"({"FileName":"Grüße","FileSize":"","FileAttr":"","FileLink":"",)"
                      R"("FileDate":"1/15/2003 10:20 AM",)"
                      R"("bFolder":true,"IsLink":false,"Path":"/srv/Grüße/"})" "\n"
                      R"({"FileName":"a b","FileSize":"1,234","FileAttr":"","FileLink":"",)"
                      R"("FileDate":"1/15/2003 10:20 PM",)"
                      R"("bFolder":false,"IsLink":false,"Path":"/srv/a b"})" "\n");
    QTest::newRow("parse-listing: invalid UTF-8 is read as Latin-1")
        << QStringList{"parse-listing"} << QByteArray("01-15-03 10:20AM 5 Gr\xfc\xdf" "e\n") << 0
        << QByteArray(R"({"FileName":"Grüße","FileSize":"5","FileAttr":"","FileLink":"",)"
                      R"("FileDate":"1/15/2003 10:20 AM","bFolder":false,"IsLink":false,"Path":"/Grüße"})" "\n");
    const QByteArray none;
    QTest::newRow("help") << QStringList{"--help"} << none << 0 << QByteArray("korvan parse-listing --folder");
    QTest::newRow("a command's help") << QStringList{"ls", "--help"} << none << 0 << QByteArray("--json");
    QTest::newRow("no command: help on standard error") << QStringList{} << none << 2 << QByteArray("korvan - ");
    QTest::newRow("unknown command") << QStringList{"frobnicate"} << none << 2
                                     << QByteArray("korvan: unknown command 'frobnicate'");
    QTest::newRow("parse-listing: unknown option") << QStringList{"parse-listing", "--bogus"} << none << 2
                                                   << QByteArray("korvan parse-listing: unexpected argument '--bogus'");
    QTest::newRow("parse-listing: folder without its value") << QStringList{"parse-listing", "--folder"} << none << 2
                                                             << QByteArray("korvan parse-listing: unexpected");
    QTest::newRow("ls: not a URL") << QStringList{"ls", "127.0.0.1/pub"} << none << 2 << QByteArray("ftp://");
    QTest::newRow("ls: unknown option") << QStringList{"ls", "--fast", "ftp://h/"} << none << 2 << QByteArray("--fast");
    QTest::newRow("ls: bad wait") << QStringList{"ls", "--wait", "soon", "ftp://h/"} << none << 2
                                  << QByteArray("--wait");
    QTest::newRow("ls: bad fingerprint") << QStringList{"ls", "--trust=ab", "ftp://h/"} << none << 2
                                         << QByteArray("--trust");
    QTest::newRow("get: no local folder") << QStringList{"get", "ftp://h/x"} << none << 2
                                          << QByteArray("local folder");
    // clang-format on
}

void CliTest::offline()
{
    QFETCH(QStringList, arguments);
    QFETCH(QByteArray, input);
    QFETCH(int, exitCode);
    QFETCH(QByteArray, text);
    const KorvanRun run = runKorvan(arguments, input);
    const QByteArray &shown = exitCode == 0 ? run.out : run.err;
    QVERIFY2(run.exitCode == exitCode && (input.isEmpty() ? shown.contains(text) : shown == text),
             run.described().constData());
    QVERIFY2((exitCode == 0 ? run.err : run.out).isEmpty(), run.described().constData());
}

void CliTest::listsGetsAndPuts()
{
    // ls -l lines, the options honoured (--log shows the PORT of --active).
    const KorvanRun ls = runOnServer({"ls", "--active", "--log", "{url}ls/"});
    QVERIFY2(ls.exitCode == 0 && ls.err.contains("PORT "), ls.described().constData());
    const QStringList lines = QString::fromUtf8(ls.out).split('\n', Qt::SkipEmptyParts);
    QCOMPARE(lines.size(), 3);
    const QString date = "\\d+/\\d+/\\d{4} \\d+:\\d\\d [AP]M";
    const QStringList patterns{"^lrwxrwxrwx +" + date + "  link to nested -> nested/$",
                               "^-rw-r--r-- +70,000  " + date + "  name with blanks.bin$",
                               "^drwxr-xr-x +  " + date + "  nested$"};
    for (const QString &pattern : patterns)
        QVERIFY2(!lines.filter(QRegularExpression(pattern)).isEmpty(), qPrintable(pattern + '\n' + ls.out));

    // A URL naming a file lists that file alone.
    const KorvanRun json = runOnServer({"ls", "--json", "{url}ls/name with blanks.bin"});
    QVERIFY2(json.exitCode == 0 && json.out.count('\n') == 1, json.described().constData());
    const QJsonObject entry = QJsonDocument::fromJson(json.out).object();
    QCOMPARE(entry.value("Path").toString() + ' ' + entry.value("FileSize").toString(),
             "/ls/name with blanks.bin 70,000");

    // Down into a local folder get makes, and up again: the same tree both ways.
    QTemporaryDir local;
    const QString into = local.filePath("new/down");
    const KorvanRun get = runOnServer({"get", "{url}tree", into});
    QVERIFY2(get.exitCode == 0 && get.err.contains("3 files downloaded"), get.described().constData());
    QCOMPARE(describe(treeOf(into)),
             describe(expectedTree(kTree.mid(0, 3), {}, [](const TreeFile &) { return true; })));
    const KorvanRun put = runOnServer({"put", into + "/tree", "{url}in/"});
    QVERIFY2(put.exitCode == 0 && put.err.contains("3 files uploaded"), put.described().constData());
    QCOMPARE(describe(treeOf(server.rootDir() + "/in")), describe(treeOf(into)));
}

void CliTest::failures_data()
{
    // clang-format off
    // {local} is a fresh local folder; "ftpes://" is the server's URL without --trust.
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("password");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("message");

    QTest::newRow("certificate not trusted") << QStringList{"ls", "ftpes://"} << QString() << 4 << "{fingerprint}";
    // TLS from the first byte, which this server (explicit TLS) does not speak.
    QTest::newRow("ftps: implicit TLS") << QStringList{"ls", "{ftps}"} << QString() << 3 << "SSL handshake";
    QTest::newRow("wrong password") << QStringList{"ls", "{url}"} << "wrong-pw" << 4 << "log-on refused";
    QTest::newRow("unreachable port") << QStringList{"ls", "ftp://127.0.0.1:1/"} << QString() << 3 << "cannot connect";
    QTest::newRow("unknown folder") << QStringList{"ls", "{url}no/such/"} << QString() << 5 << "no such folder";
    QTest::newRow("unknown file, get") << QStringList{"get", "{url}tree/nothing.txt", "{local}"} << QString() << 5
                                       << "no such file or folder";
    QTest::newRow("unknown target, put") << QStringList{"put", "{local}", "{url}no/such/"} << QString() << 5
                                         << "no such folder";
    QTest::newRow("missing local file") << QStringList{"put", "{local}/nothing", "{url}"} << QString() << 1
                                        << "no such local file";
    QTest::newRow("one unreadable file stops nothing") << QStringList{"get", "{url}locked/", "{local}"} << QString()
                                                       << 1 << "1 file downloaded, 1 failed";
    // clang-format on
}

void CliTest::failures()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, password);
    QFETCH(int, exitCode);
    QFETCH(QString, message);
    QTemporaryDir local;
    arguments.replaceInStrings("{local}", local.path());
    const KorvanRun run = arguments.contains("ftpes://")
                              ? runKorvan(arguments.replaceInStrings("ftpes://", urlOf(server, "ftpes")))
                              : runOnServer(arguments, password);
    QVERIFY2(run.exitCode == exitCode && run.out.isEmpty(), run.described().constData());
    message.replace("{fingerprint}", server.certificateFingerprint());
    QVERIFY2(QString::fromUtf8(run.err).contains(message), run.described().constData());
    QVERIFY(!run.err.contains(server.password().toUtf8()));
    if (QTest::currentDataTag() == QByteArray("one unreadable file stops nothing")) {
        QCOMPARE(readFile(local.filePath("locked/open.txt")), contentOf("locked/open.txt", 3));
        QVERIFY(run.err.contains("Downloading 'secret.bin' is failed."));
    }
}

QTEST_GUILESS_MAIN(CliTest)
#include "CliTest.moc"
