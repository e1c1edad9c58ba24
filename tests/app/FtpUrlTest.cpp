// The command line's ftp:// URLs: the parts, percent-decoding, defaults, the
// remote path a URL names, and the reasons a text is refused.
#include "FtpUrl.h"

#include "korvan/FtpSettings.h"

#include <QTest>

using korvan::cli::FtpUrl;
using korvan::cli::ParseFtpUrl;

class FtpUrlTest : public QObject {
    Q_OBJECT

private slots:
    void parts_data();
    void parts();
    void schemes_data();
    void schemes();
    void refused_data();
    void refused();
    void remotePath_data();
    void remotePath();
    void sameLogOn();
};

void FtpUrlTest::parts_data()
{
    // clang-format off
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("user");
    QTest::addColumn<QString>("password");
    QTest::addColumn<QString>("host");
    QTest::addColumn<int>("port");
    QTest::addColumn<QString>("path");

    const QString anon = korvan::sAnonPassword;
    QTest::newRow("host only") << "ftp://example.org" << "anonymous" << anon << "example.org" << 21 << "";
    QTest::newRow("host and slash") << "ftp://example.org/" << "anonymous" << anon << "example.org" << 21 << "";
    QTest::newRow("scheme in capitals") << "FTP://Example.org/pub" << "anonymous" << anon << "Example.org" << 21
                                        << "pub";
    QTest::newRow("port") << "ftp://127.0.0.1:2121/pub/" << "anonymous" << anon << "127.0.0.1" << 2121 << "pub/";
    QTest::newRow("highest port") << "ftp://h:65535" << "anonymous" << anon << "h" << 65535 << "";
    QTest::newRow("empty port is the default") << "ftp://h:/x" << "anonymous" << anon << "h" << 21 << "x";
    QTest::newRow("user without password") << "ftp://me@h/" << "me" << "" << "h" << 21 << "";
    QTest::newRow("user and empty password") << "ftp://me:@h" << "me" << "" << "h" << 21 << "";
    QTest::newRow("user and password") << "ftp://me:secret@h:21/a/b.txt" << "me" << "secret" << "h" << 21
                                       << "a/b.txt";
    QTest::newRow("colon in password") << "ftp://me:a:b@h" << "me" << "a:b" << "h" << 21 << "";
    QTest::newRow("raw @ in password") << "ftp://me:p@ss@h" << "me" << "p@ss" << "h" << 21 << "";
    QTest::newRow("encoded user and password")
        << "ftp://me%40home:p%3A%2F%25x@h" << "me@home" << "p:/%x" << "h" << 21 << "";
    QTest::newRow("encoded blank in path") << "ftp://h/a%20b/c%20d.txt" << "anonymous" << anon << "h" << 21
                                           << "a b/c d.txt";
    QTest::newRow("plus stays a plus") << "ftp://h/a+b" << "anonymous" << anon << "h" << 21 << "a+b";
    QTest::newRow("UTF-8 escapes") << "ftp://h/caf%C3%A9/%E2%82%AC" << "anonymous" << anon << "h" << 21
                                   << QString::fromUtf8("café/€");
    QTest::newRow("lower-case hex") << "ftp://h/%c3%a9" << "anonymous" << anon << "h" << 21
                                    << QString::fromUtf8("é");
    QTest::newRow("unencoded non-ASCII") << QString::fromUtf8("ftp://h/café") << "anonymous" << anon << "h" << 21
                                         << QString::fromUtf8("café");
    QTest::newRow("encoded slash: from the root") << "ftp://h/%2Fetc" << "anonymous" << anon << "h" << 21 << "/etc";
    QTest::newRow("IPv6 literal") << "ftp://[::1]:2121/x" << "anonymous" << anon << "::1" << 2121 << "x";
    QTest::newRow("IPv6 without port") << "ftp://u:p@[fe80::1]/" << "u" << "p" << "fe80::1" << 21 << "";
    QTest::newRow("@ in path is path") << "ftp://h/a@b" << "anonymous" << anon << "h" << 21 << "a@b";
    // clang-format on
}

void FtpUrlTest::parts()
{
    QFETCH(QString, text);
    QString error;
    const std::optional<FtpUrl> url = ParseFtpUrl(text, &error);
    QVERIFY2(url, qPrintable(error));
    QTEST(url->user, "user");
    QTEST(url->password, "password");
    QTEST(url->host, "host");
    QTEST(int(url->port), "port");
    QTEST(url->path, "path");
}

void FtpUrlTest::schemes_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<korvan::FtpEncryption>("encryption");
    QTest::addColumn<int>("port");
    QTest::newRow("ftp: plain, 21") << "ftp://h/" << korvan::FtpEncryption::Plain << 21;
    QTest::newRow("ftpes: explicit TLS, 21") << "ftpes://h/" << korvan::FtpEncryption::ExplicitTls << 21;
    QTest::newRow("ftps: implicit TLS, 990") << "FTPS://h/" << korvan::FtpEncryption::ImplicitTls << 990;
    QTest::newRow("ftps with a port") << "ftps://h:2121/" << korvan::FtpEncryption::ImplicitTls << 2121;
}

void FtpUrlTest::schemes()
{
    QFETCH(QString, text);
    const std::optional<FtpUrl> url = ParseFtpUrl(text);
    QVERIFY(url);
    QTEST(url->encryption, "encryption");
    QTEST(int(url->port), "port");
}

void FtpUrlTest::refused_data()
{
    // clang-format off
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("reason"); // a word of the message

    QTest::newRow("no scheme") << "example.org/pub" << "ftp://";
    QTest::newRow("other scheme") << "http://example.org/" << "ftp://";
    QTest::newRow("one slash") << "ftp:/example.org" << "ftp://";
    QTest::newRow("no host") << "ftp:///pub" << "host";
    QTest::newRow("user but no host") << "ftp://me:pw@/pub" << "host";
    QTest::newRow("port zero") << "ftp://h:0/" << "port";
    QTest::newRow("port too big") << "ftp://h:65536/" << "port";
    QTest::newRow("port not a number") << "ftp://h:ftp/" << "port";
    QTest::newRow("signed port") << "ftp://h:+21/" << "port";
    QTest::newRow("IPv6 unclosed") << "ftp://[::1:21/" << "]";
    QTest::newRow("text after IPv6") << "ftp://[::1]x/" << "]";
    QTest::newRow("bad escape in path") << "ftp://h/a%G1" << "path";
    QTest::newRow("cut escape in path") << "ftp://h/a%4" << "path";
    QTest::newRow("bad escape in password") << "ftp://me:%zz@h/" << "password";
    // clang-format on
}

void FtpUrlTest::refused()
{
    QFETCH(QString, text);
    QFETCH(QString, reason);
    QString error;
    QVERIFY(!ParseFtpUrl(text, &error));
    QVERIFY2(error.contains(reason), qPrintable(error));
}

void FtpUrlTest::remotePath_data()
{
    // clang-format off
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("home");
    QTest::addColumn<QString>("remote");
    QTest::addColumn<bool>("namesFolder");

    QTest::newRow("log-on folder") << "ftp://h" << "/home/me/" << "/home/me/" << true;
    QTest::newRow("root home") << "ftp://h/" << "/" << "/" << true;
    QTest::newRow("file below home") << "ftp://h/a/b.txt" << "/home/me/" << "/home/me/a/b.txt" << false;
    QTest::newRow("folder below home") << "ftp://h/pub/" << "/home/me/" << "/home/me/pub/" << true;
    QTest::newRow("home without slash") << "ftp://h/pub" << "/srv" << "/srv/pub" << false;
    QTest::newRow("from the root") << "ftp://h/%2Fetc/passwd" << "/home/me/" << "/etc/passwd" << false;
    QTest::newRow("double slash is the root") << "ftp://h//etc/" << "/home/me/" << "/etc/" << true;
    QTest::newRow("dot-dot") << "ftp://h/../x" << "/home/me/" << "/home/x" << false;
    QTest::newRow("dot-dot above root") << "ftp://h/../../../x/" << "/" << "/x/" << true;
    QTest::newRow("dot") << "ftp://h/./a/./b" << "/" << "/a/b" << false;
    QTest::newRow("blank in name") << "ftp://h/a%20b/" << "/" << "/a b/" << true;
    // clang-format on
}

void FtpUrlTest::remotePath()
{
    QFETCH(QString, text);
    QFETCH(QString, home);
    const std::optional<FtpUrl> url = ParseFtpUrl(text);
    QVERIFY(url);
    QTEST(url->remotePath(home), "remote");
    QTEST(url->namesFolder(), "namesFolder");
}

void FtpUrlTest::sameLogOn()
{
    const FtpUrl a = *ParseFtpUrl(u"ftp://me:pw@h:2121/a"_qs);
    QVERIFY(a.sameLogOn(*ParseFtpUrl(u"ftp://me:pw@h:2121/other/"_qs)));
    QVERIFY(!a.sameLogOn(*ParseFtpUrl(u"ftp://me:pw@h:2122/a"_qs)));
    QVERIFY(!a.sameLogOn(*ParseFtpUrl(u"ftp://me:px@h:2121/a"_qs)));
    QVERIFY(!a.sameLogOn(*ParseFtpUrl(u"ftp://you:pw@h:2121/a"_qs)));
    QVERIFY(!a.sameLogOn(*ParseFtpUrl(u"ftp://me:pw@g:2121/a"_qs)));
    QCOMPARE(ParseFtpUrl(u"ftp://[::1]:21/"_qs)->hostAndPort(), u"[::1]:21"_qs);
    QCOMPARE(a.hostAndPort(), u"h:2121"_qs);
}

QTEST_GUILESS_MAIN(FtpUrlTest)
#include "FtpUrlTest.moc"
