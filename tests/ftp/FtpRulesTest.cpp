// The pure rules of the control connection and of remote paths; reply codes and
// 257 folders are in SessionScriptedTest's dispatch table.

#include "ftp/RemotePath.h"
#include "ftp/ReplyRules.h"

#include <QTest>

#include <functional>

using namespace korvan;

namespace {

QString passiveTarget(const QString &line)
{
    const std::optional<PassiveAddress> parsed = ParsePassiveReply(line);
    return parsed ? parsed->address + u':' + QString::number(parsed->port) : u"unreadable"_qs;
}

// Each text rule, fed the row's input and number.
const QMap<QString, std::function<QString(const QString &, int)>> kRules{
    {"227", [](const QString &line, int) { return passiveTarget(line); }},
    {"150 size", [](const QString &line, int) { return QString::number(ParseTransferSize(line)); }},
    {"mask", [](const QString &text, int) { return MaskPassword(text); }},
    {"PORT", [](const QString &ip, int port) { return FormatPortArgument(ip, quint16(port)); }},
    {"normalize", [](const QString &path, int) { return NormalizeRemotePath(path); }},
    {"strip /", [](const QString &path, int) { return StripTrailingSlash(path); }},
    {"add /", [](const QString &path, int) { return WithTrailingSlash(path); }},
    {"write failed", [](const QString &name, int) { return DownloadWriteFailedText(name).section(u'\n', 0, 1); }},
};

const QString kLatin1Line = QString::fromLatin1("-rw-r--r-- 1 a a 1 Jan 1 2020 caf\xe9.txt\r\n");

} // namespace

class FtpRulesTest : public QObject {
    Q_OBJECT
private slots:
    void text_data();
    void text();
    void wireLines();
    void wireEncoding_data();
    void wireEncoding();
};

void FtpRulesTest::text_data()
{
    QTest::addColumn<QString>("rule");
    QTest::addColumn<QString>("input");
    QTest::addColumn<int>("number");
    QTest::addColumn<QString>("expected");
    // clang-format off
    QTest::newRow("227 of vsftpd") << "227" << "227 Entering Passive Mode (192,168,1,2,19,137).\r\n" << 0
        << "192.168.1.2:5001";
    QTest::newRow("227 of pure-ftpd, no final dot") << "227" << "227 Entering Passive Mode (127,0,0,1,200,10)\r\n"
        << 0 << "127.0.0.1:51210";
    QTest::newRow("227 with blanks") << "227" << "227 ok ( 127, 0, 0, 1, 4, 1 )\r\n" << 0 << "127.0.0.1:1025";
    QTest::newRow("227 without parentheses") << "227" << "227 Entering Passive Mode 127,0,0,1,4,1\r\n" << 0
        << "unreadable";
    QTest::newRow("227 reversed parentheses") << "227" << "227 )127,0,0,1,4,1(\r\n" << 0 << "unreadable";
    QTest::newRow("227 five numbers") << "227" << "227 (127,0,0,1,4)\r\n" << 0 << "unreadable";
    QTest::newRow("227 seven numbers") << "227" << "227 (127,0,0,1,4,1,1)\r\n" << 0 << "unreadable";
    QTest::newRow("227 byte above 255") << "227" << "227 (127,0,0,1,256,1)\r\n" << 0 << "unreadable";
    QTest::newRow("227 negative") << "227" << "227 (127,0,0,-1,4,1)\r\n" << 0 << "unreadable";
    QTest::newRow("227 letters") << "227" << "227 (a,b,c,d,e,f)\r\n" << 0 << "unreadable";
    QTest::newRow("150: last parentheses") << "150 size" << "150 file (x) (12 bytes)\r\n" << 0 << "12";
    QTest::newRow("150: over 4 GiB") << "150 size" << "150 (6442450944 bytes)\r\n" << 0 << "6442450944";
    QTest::newRow("125 of pyftpdlib: no size") << "150 size"
        << "125 Data connection already open. Transfer starting.\r\n" << 0 << "-1";
    QTest::newRow("150: not a number") << "150 size" << "150 Opening (some file)\r\n" << 0 << "-1";
    QTest::newRow("mask: shorter than five") << "mask" << "PASS" << 0 << "PASS ";
    QTest::newRow("mask: inside a reply") << "mask" << "530 PASS rejected\r\n" << 0 << "PASS **************";
    QTest::newRow("mask: lower case kept") << "mask" << "pass secret" << 0 << "pass secret";
    QTest::newRow("mask: word containing it") << "mask" << "PASSIVE" << 0 << "PASS **";
    QTest::newRow("PORT 4660 = 0x1234") << "PORT" << "127.0.0.1" << 4660 << "127,0,0,1,18,52";
    QTest::newRow("PORT below 256 keeps the whole value") << "PORT" << "127.0.0.1" << 200 << "127,0,0,1,200,200";
    QTest::newRow("normalize: empty is the root") << "normalize" << "" << 0 << "/";
    QTest::newRow("normalize: a folder gets its slashes") << "normalize" << "pub/x" << 0 << "/pub/x/";
    QTest::newRow("normalize: dot dropped") << "normalize" << "/a/./b/" << 0 << "/a/b/";
    QTest::newRow("normalize: dot-dot skips emptied pieces") << "normalize" << "/a/b/./../c/" << 0 << "/a/c/";
    QTest::newRow("normalize: dot-dots past the root") << "normalize" << "/a/./b/../../.." << 0 << "/";
    QTest::newRow("normalize: absolute link behind a folder") << "normalize" << "/home/me//var/ftp/" << 0
        << "/var/ftp/";
    QTest::newRow("normalize: the last double slash wins") << "normalize" << "/a//b//c/" << 0 << "/c/";
    QTest::newRow("normalize: trailing double slash") << "normalize" << "/a/b//" << 0 << "/";
    QTest::newRow("normalize: dots inside names kept") << "normalize" << "/a/.hidden/..x/.../" << 0
        << "/a/.hidden/..x/.../";
    QTest::newRow("strip: the root stays") << "strip /" << "/" << 0 << "/";
    QTest::newRow("strip: only one slash goes") << "strip /" << "/pub//" << 0 << "/pub/";
    QTest::newRow("add: a slash added") << "add /" << "/pub" << 0 << "/pub/";
    QTest::newRow("add: one more never") << "add /" << "/pub//" << 0 << "/pub//";
    // Shown when a downloaded block cannot be written; no scripted disk reaches it on demand.
    QTest::newRow("write failed") << "write failed" << "a.bin" << 0
        << "Downloading 'a.bin' is failed.\r\nThe server response is too fast to syncronize WinSock control.\r";
    // clang-format on
}

void FtpRulesTest::text()
{
    QFETCH(QString, rule);
    QFETCH(QString, input);
    QFETCH(int, number);
    QTEST(kRules.value(rule)(input, number), "expected");
}

// Each line read on its own; those that needed Latin-1 remembered for the way back.
void FtpRulesTest::wireLines()
{
    QSet<QString> fallback;
    const QByteArray listing = "-rw-r--r-- 1 a a 1 Jan 1 2020 caf\xc3\xa9.txt\r\n"
                               "-rw-r--r-- 1 a a 1 Jan 1 2020 caf\xe9.txt\r\n"
                               "tail without line end \xff";
    QCOMPARE(DecodeWireLines(listing, &fallback),
             QString::fromUtf8("-rw-r--r-- 1 a a 1 Jan 1 2020 caf\xc3\xa9.txt\r\n")
                 + QString::fromLatin1("-rw-r--r-- 1 a a 1 Jan 1 2020 caf\xe9.txt\r\ntail without line end \xff"));
    QCOMPARE(fallback.size(), 2);
    QVERIFY(fallback.contains(kLatin1Line));
}

void FtpRulesTest::wireEncoding_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QByteArray>("bytes");
    // clang-format off
    QTest::newRow("name that came as Latin-1") << QString::fromLatin1("RETR caf\xe9.txt")
        << QByteArray("RETR caf\xe9.txt");
    QTest::newRow("same letters never seen as Latin-1") << QString::fromLatin1("RETR d\xe9j\xe0.txt")
        << QByteArray("RETR d\xc3\xa9j\xc3\xa0.txt");
    QTest::newRow("beyond Latin-1") << QString::fromUtf8("RETR \xe2\x82\xac.txt")
        << QByteArray("RETR \xe2\x82\xac.txt");
    // clang-format on
}

void FtpRulesTest::wireEncoding()
{
    QFETCH(QString, text);
    QTEST(EncodeWireText(text, text.section(' ', 1), {kLatin1Line}), "bytes");
}

QTEST_APPLESS_MAIN(FtpRulesTest)
#include "FtpRulesTest.moc"
