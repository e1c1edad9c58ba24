// The korvan program's own work that needs no server: its ftp:// URLs, the
// parse-listing command's JSON lines, and the usage errors and exit codes.
#include "FtpUrl.h"
#include "fixtures/KorvanProgram.h"

#include <QTest>

using korvan::cli::FtpUrl;
using korvan::cli::ParseFtpUrl;
using namespace korvan::test;

class CliTest : public QObject {
    Q_OBJECT
private slots:
    void urls_data();
    void urls();
    void parseListing_data();
    void parseListing();
    void usage_data();
    void usage();
};

void CliTest::urls_data()
{
    // clang-format off
    QTest::addColumn<QString>("text");
    // user|password|host|host:port|path|encryption|remote path from /home/me/, or "refused: <a word of the reason>"
    QTest::addColumn<QString>("expected");

    QTest::newRow("host only") << "ftp://example.org" << "anonymous|{anon}|example.org|example.org:21||0|/home/me/";
    QTest::newRow("scheme in capitals")
        << "FTP://Example.org/pub" << "anonymous|{anon}|Example.org|Example.org:21|pub|0|/home/me/pub";
    QTest::newRow("port, a folder") << "ftp://h:2121/pub/" << "anonymous|{anon}|h|h:2121|pub/|0|/home/me/pub/";
    QTest::newRow("empty port is the default") << "ftp://h:/x" << "anonymous|{anon}|h|h:21|x|0|/home/me/x";
    QTest::newRow("user without password") << "ftp://me@h/" << "me||h|h:21||0|/home/me/";
    QTest::newRow("colon and raw @ in the password") << "ftp://me:a:b@c@h" << "me|a:b@c|h|h:21||0|/home/me/";
    QTest::newRow("encoded user and password")
        << "ftp://me%40home:p%3A%2F%25x@h" << "me@home|p:/%x|h|h:21||0|/home/me/";
    QTest::newRow("escapes in the path, plus stays")
        << "ftp://h/caf%C3%a9/a%20b+c" << u"anonymous|{anon}|h|h:21|café/a b+c|0|/home/me/café/a b+c"_qs;
    QTest::newRow("encoded slash: from the root") << "ftp://h/%2Fetc" << "anonymous|{anon}|h|h:21|/etc|0|/etc";
    QTest::newRow("double slash is the root") << "ftp://h//etc/" << "anonymous|{anon}|h|h:21|/etc/|0|/etc/";
    QTest::newRow("dot and dot-dot") << "ftp://h/./../x/../../../y" << "anonymous|{anon}|h|h:21|./../x/../../../y|0|/y";
    QTest::newRow("IPv6 literal") << "ftp://u:p@[::1]:2121/x" << "u|p|::1|[::1]:2121|x|0|/home/me/x";
    QTest::newRow("@ in the path is path") << "ftp://h/a@b" << "anonymous|{anon}|h|h:21|a@b|0|/home/me/a@b";
    QTest::newRow("ftpes: explicit TLS, 21") << "ftpes://h/" << "anonymous|{anon}|h|h:21||1|/home/me/";
    QTest::newRow("ftps: implicit TLS, 990") << "FTPS://h/" << "anonymous|{anon}|h|h:990||2|/home/me/";
    QTest::newRow("no scheme") << "example.org/pub" << "refused: ftp://";
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
    if (expected.startsWith(u"refused: ")) {
        QVERIFY(!url);
        QVERIFY2(error.contains(expected.mid(9)), qPrintable(error));
        return;
    }
    QVERIFY2(url, qPrintable(error));
    const QStringList parts{url->user,
                            url->password,
                            url->host,
                            url->hostAndPort(),
                            url->path,
                            QString::number(int(url->encryption)),
                            url->remotePath(u"/home/me/"_qs)};
    QCOMPARE(parts.join(u'|'), QString(expected).replace(u"{anon}"_qs, korvan::sAnonPassword));
    // One session serves the URLs of one server and log-on, whatever their paths.
    FtpUrl other = *url;
    other.path = u"other/"_qs;
    QVERIFY(url->sameLogOn(other));
    other.port = 2122;
    QVERIFY(!url->sameLogOn(other));
}

void CliTest::parseListing_data()
{
    // clang-format off
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QByteArray>("input");
    QTest::addColumn<QByteArray>("output");

    QTest::newRow("LF line ends, escapes, a folder option")
        << QStringList{"parse-listing", "--folder", "/pub/"}
        << QByteArray("total 1\nlrwxrwxrwx 1 o g 8 Jun 1 2024 \"m\\\x01 -> /var/ftp\n")
        << QByteArray(R"({"FileName":"\"m\\\u0001","FileSize":"8","FileAttr":"lrwxrwxrwx","FileLink":"/var/ftp",)"
                      R"("FileDate":"6/1/2024 12:00 AM","bFolder":false,"IsLink":true,)"
                      R"("Path":"/pub/\"m\\\u0001"})" "\n");
    QTest::newRow("UTF-8 in and out, CR LF stays, --folder=")
        << QStringList{"parse-listing", "--folder=/srv/"}
        << QByteArray("01-15-03 10:20AM <DIR> Gr\xc3\xbc\xc3\x9f" "e\r\n01-15-03 10:20PM 1234 a  b")
        << QByteArray(R"({"FileName":"Grüße","FileSize":"","FileAttr":"","FileLink":"",)"
                      R"("FileDate":"1/15/2003 10:20 AM",)"
                      R"("bFolder":true,"IsLink":false,"Path":"/srv/Grüße/"})" "\n"
                      R"({"FileName":"a b","FileSize":"1,234","FileAttr":"","FileLink":"",)"
                      R"("FileDate":"1/15/2003 10:20 PM",)"
                      R"("bFolder":false,"IsLink":false,"Path":"/srv/a b"})" "\n");
    QTest::newRow("invalid UTF-8 is read as Latin-1")
        << QStringList{"parse-listing"} << QByteArray("01-15-03 10:20AM 5 Gr\xfc\xdf" "e\n")
        << QByteArray(R"({"FileName":"Grüße","FileSize":"5","FileAttr":"","FileLink":"",)"
                      R"("FileDate":"1/15/2003 10:20 AM",)"
                      R"("bFolder":false,"IsLink":false,"Path":"/Grüße"})" "\n");
    QTest::newRow("empty input") << QStringList{"parse-listing"} << QByteArray() << QByteArray();
    // clang-format on
}

void CliTest::parseListing()
{
    QFETCH(QStringList, arguments);
    QFETCH(QByteArray, input);
    const KorvanRun run = runKorvan(arguments, input);
    QVERIFY2(run.exitCode == 0 && run.err.isEmpty(), qPrintable(describeRun(run)));
    QTEST(run.out, "output");
}

void CliTest::usage_data()
{
    // clang-format off
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QByteArray>("out"); // a text standard output holds; with an exit code not 0, standard error
    QTest::addColumn<QByteArray>("err"); // a text standard error holds

    QTest::newRow("help") << QStringList{"--help"} << 0 << QByteArray("korvan parse-listing --folder") << QByteArray();
    QTest::newRow("a command's help") << QStringList{"ls", "--help"} << 0 << QByteArray("--json") << QByteArray();
    QTest::newRow("no command: help on standard error")
        << QStringList{} << 2 << QByteArray() << QByteArray("korvan - ");
    QTest::newRow("unknown command") << QStringList{"frobnicate"} << 2 << QByteArray()
                                     << QByteArray("korvan: unknown command 'frobnicate'");
    QTest::newRow("parse-listing: unknown option") << QStringList{"parse-listing", "--bogus"} << 2 << QByteArray()
                                                   << QByteArray("korvan parse-listing: unexpected argument '--bogus'");
    QTest::newRow("parse-listing: folder without its value") << QStringList{"parse-listing", "--folder"} << 2
        << QByteArray() << QByteArray("korvan parse-listing: unexpected");
    QTest::newRow("ls: not a URL") << QStringList{"ls", "127.0.0.1/pub"} << 2 << QByteArray()
                                   << QByteArray("ftp://");
    QTest::newRow("ls: unknown option") << QStringList{"ls", "--fast", "ftp://h/"} << 2 << QByteArray()
                                        << QByteArray("--fast");
    QTest::newRow("ls: bad wait") << QStringList{"ls", "--wait", "soon", "ftp://h/"} << 2 << QByteArray()
                                  << QByteArray("--wait");
    QTest::newRow("get: no local folder") << QStringList{"get", "ftp://h/x"} << 2 << QByteArray()
                                          << QByteArray("local folder");
    // clang-format on
}

void CliTest::usage()
{
    QFETCH(QStringList, arguments);
    QFETCH(int, exitCode);
    QFETCH(QByteArray, out);
    QFETCH(QByteArray, err);
    const KorvanRun run = runKorvan(arguments);
    QVERIFY2(run.exitCode == exitCode, qPrintable(describeRun(run)));
    QVERIFY2(run.out.contains(out) && run.err.contains(err), qPrintable(describeRun(run)));
    QVERIFY2(exitCode == 0 ? run.err.isEmpty() : run.out.isEmpty(), qPrintable(describeRun(run)));
}

QTEST_GUILESS_MAIN(CliTest)
#include "CliTest.moc"
