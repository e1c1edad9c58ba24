// The pure rules of the control connection and of remote paths: 227 addresses,
// sizes in 150 replies, password masking, PORT arguments, wire text encodings,
// path normalising. Reply codes and 257 folders: SessionScriptedTest's dispatch table.

#include "ftp/RemotePath.h"
#include "ftp/ReplyRules.h"

#include <QTest>

using namespace korvan;

class FtpRulesTest : public QObject {
    Q_OBJECT
private slots:
    void passiveReply_data();
    void passiveReply();
    void transferSize_data();
    void transferSize();
    void maskPassword_data();
    void maskPassword();
    void portArgument_data();
    void portArgument();
    void wireLines();
    void wireEncoding_data();
    void wireEncoding();
    void normalizePath_data();
    void normalizePath();
    void trailingSlash_data();
    void trailingSlash();
    void writeFailedText();
};

void FtpRulesTest::passiveReply_data()
{
    // clang-format off
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("address"); // empty: unreadable
    QTest::addColumn<int>("port");
    QTest::newRow("vsftpd") << "227 Entering Passive Mode (192,168,1,2,19,137).\r\n" << "192.168.1.2" << 5001;
    // pure-ftpd's 227 has no final dot.
    QTest::newRow("pure-ftpd") << "227 Entering Passive Mode (127,0,0,1,200,10)\r\n" << "127.0.0.1" << 51210;
    QTest::newRow("blanks") << "227 ok ( 127, 0, 0, 1, 4, 1 )\r\n" << "127.0.0.1" << 1025;
    QTest::newRow("no parentheses") << "227 Entering Passive Mode 127,0,0,1,4,1\r\n" << "" << 0;
    QTest::newRow("reversed parentheses") << "227 )127,0,0,1,4,1(\r\n" << "" << 0;
    QTest::newRow("five numbers") << "227 (127,0,0,1,4)\r\n" << "" << 0;
    QTest::newRow("seven numbers") << "227 (127,0,0,1,4,1,1)\r\n" << "" << 0;
    QTest::newRow("byte above 255") << "227 (127,0,0,1,256,1)\r\n" << "" << 0;
    QTest::newRow("negative") << "227 (127,0,0,-1,4,1)\r\n" << "" << 0;
    QTest::newRow("letters") << "227 (a,b,c,d,e,f)\r\n" << "" << 0;
    // clang-format on
}

void FtpRulesTest::passiveReply()
{
    QFETCH(QString, line);
    QFETCH(QString, address);
    QFETCH(int, port);
    const std::optional<PassiveAddress> parsed = ParsePassiveReply(line);
    QCOMPARE(parsed.has_value(), !address.isEmpty());
    QCOMPARE(parsed ? parsed->address : QString(), address);
    QCOMPARE(parsed ? int(parsed->port) : 0, port);
}

void FtpRulesTest::transferSize_data()
{
    // clang-format off
    QTest::addColumn<QString>("line");
    QTest::addColumn<qint64>("size");
    QTest::newRow("last parentheses") << "150 file (x) (12 bytes)\r\n" << qint64(12);
    QTest::newRow("over 4 GiB") << "150 (6442450944 bytes)\r\n" << qint64(6442450944LL);
    QTest::newRow("pyftpdlib, no size") << "125 Data connection already open. Transfer starting.\r\n" << qint64(-1);
    QTest::newRow("not a number") << "150 Opening (some file)\r\n" << qint64(-1);
    // clang-format on
}

void FtpRulesTest::transferSize()
{
    QFETCH(QString, line);
    QTEST(ParseTransferSize(line), "size");
}

void FtpRulesTest::maskPassword_data()
{
    // clang-format off
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("masked");
    QTest::newRow("eleven chars") << "PASS secret" << "PASS ******";
    QTest::newRow("shorter than five") << "PASS" << "PASS ";
    QTest::newRow("inside a reply") << "530 PASS rejected\r\n" << "PASS **************";
    QTest::newRow("lower case kept") << "pass secret" << "pass secret";
    QTest::newRow("word containing it") << "PASSIVE" << "PASS **";
    // clang-format on
}

void FtpRulesTest::maskPassword()
{
    QFETCH(QString, text);
    QTEST(MaskPassword(text), "masked");
}

void FtpRulesTest::portArgument_data()
{
    // clang-format off
    QTest::addColumn<QString>("ip");
    QTest::addColumn<int>("port");
    QTest::addColumn<QString>("argument");
    QTest::newRow("4660 = 0x1234") << "127.0.0.1" << 4660 << "127,0,0,1,18,52";
    QTest::newRow("high port") << "192.168.1.2" << 65535 << "192,168,1,2,255,255";
    QTest::newRow("below 256 keeps the whole value") << "127.0.0.1" << 200 << "127,0,0,1,200,200";
    // clang-format on
}

void FtpRulesTest::portArgument()
{
    QFETCH(QString, ip);
    QFETCH(int, port);
    QTEST(FormatPortArgument(ip, quint16(port)), "argument");
}

// A listing may mix UTF-8 and Latin-1 names: each line is read on its own, and the
// lines that needed Latin-1 are remembered for sending their names back.
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
    QVERIFY(fallback.contains(QString::fromLatin1("-rw-r--r-- 1 a a 1 Jan 1 2020 caf\xe9.txt\r\n")));
}

void FtpRulesTest::wireEncoding_data()
{
    // clang-format off
    QTest::addColumn<QString>("text");
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("name that came as Latin-1") << QString::fromLatin1("RETR caf\xe9.txt") << QByteArray("RETR caf\xe9.txt");
    QTest::newRow("same letters never seen as Latin-1") << QString::fromLatin1("RETR d\xe9j\xe0.txt")
                                                        << QByteArray("RETR d\xc3\xa9j\xc3\xa0.txt");
    QTest::newRow("beyond Latin-1") << QString::fromUtf8("RETR \xe2\x82\xac.txt") << QByteArray("RETR \xe2\x82\xac.txt");
    // clang-format on
}

void FtpRulesTest::wireEncoding()
{
    QFETCH(QString, text);
    const QSet<QString> fallback{QString::fromLatin1("-rw-r--r-- 1 a a 1 Jan 1 2020 caf\xe9.txt\r\n")};
    QTEST(EncodeWireText(text, text.section(' ', 1), fallback), "bytes");
}

void FtpRulesTest::normalizePath_data()
{
    // clang-format off
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("expected");
    QTest::newRow("empty is the root") << "" << "/";
    QTest::newRow("plain folder gets its slashes") << "pub/x" << "/pub/x/";
    QTest::newRow("dot dropped") << "/a/./b/" << "/a/b/";
    QTest::newRow("dot-dot skips emptied pieces") << "/a/b/./../c/" << "/a/c/";
    QTest::newRow("two dot-dots") << "/a/b/c/../../d/" << "/a/d/";
    QTest::newRow("dot-dots past the root stay at the root") << "/a/./b/../../.." << "/";
    QTest::newRow("absolute link behind a folder") << "/home/me//var/ftp/" << "/var/ftp/";
    QTest::newRow("the last double slash wins") << "/a//b//c/" << "/c/";
    QTest::newRow("trailing double slash") << "/a/b//" << "/";
    QTest::newRow("dots inside names are kept") << "/a/.hidden/..x/.../" << "/a/.hidden/..x/.../";
    // clang-format on
}

void FtpRulesTest::normalizePath()
{
    QFETCH(QString, path);
    QTEST(NormalizeRemotePath(path), "expected");
}

void FtpRulesTest::trailingSlash_data()
{
    // clang-format off
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("stripped");
    QTest::addColumn<QString>("withSlash");
    QTest::newRow("root stays") << "/" << "/" << "/";
    QTest::newRow("only one slash goes") << "/pub//" << "/pub/" << "/pub//";
    QTest::newRow("no slash") << "/pub" << "/pub" << "/pub/";
    QTest::newRow("empty") << "" << "" << "/";
    // clang-format on
}

void FtpRulesTest::trailingSlash()
{
    QFETCH(QString, path);
    QTEST(StripTrailingSlash(path), "stripped");
    QTEST(WithTrailingSlash(path), "withSlash");
}

// Shown when a downloaded block cannot be written; no scripted disk reaches it on demand.
void FtpRulesTest::writeFailedText()
{
    QVERIFY(DownloadWriteFailedText("a.bin").startsWith(
        "Downloading 'a.bin' is failed.\r\nThe server response is too fast to syncronize"));
}

QTEST_APPLESS_MAIN(FtpRulesTest)
#include "FtpRulesTest.moc"
