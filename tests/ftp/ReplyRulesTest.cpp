// The pure text rules of the control connection.

#include "ftp/ReplyRules.h"

#include <QTest>

using namespace korvan;

Q_DECLARE_METATYPE(korvan::ReplyAction)

class ReplyRulesTest : public QObject {
    Q_OBJECT
private slots:
    void replyCode_data();
    void replyCode();
    void classify_data();
    void classify();
    void maskPassword_data();
    void maskPassword();
    void portArgument_data();
    void portArgument();
    void passiveReply_data();
    void passiveReply();
    void transferSize_data();
    void transferSize();
    void folderReply_data();
    void folderReply();
    void wireText();
    void wireLines();
    void wireEncoding_data();
    void wireEncoding();
    void messageTexts();
};

void ReplyRulesTest::replyCode_data()
{
    // clang-format off
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("code");
    QTest::newRow("final") << "250 CWD ok\r\n" << "250";
    QTest::newRow("bare code") << "226 \n" << "226";
    QTest::newRow("continuation dash") << "230-Welcome\r\n" << "";
    QTest::newRow("continuation text") << " more text\r\n" << "";
    QTest::newRow("blank line") << "\r\n" << "";
    QTest::newRow("letters then space") << "foo bar\r\n" << "";
    QTest::newRow("short") << "220" << "";
    QTest::newRow("fullwidth digits") << QString::fromUtf8("\xef\xbc\x92\xef\xbc\x92\xef\xbc\x90 x") << "";
    // clang-format on
}

void ReplyRulesTest::replyCode()
{
    QFETCH(QString, line);
    QFETCH(QString, code);
    QCOMPARE(ReplyCode(line), code);
}

void ReplyRulesTest::classify_data()
{
    // clang-format off
    QTest::addColumn<QString>("code");
    QTest::addColumn<ReplyAction>("action");
    QTest::addColumn<bool>("red");
    const auto row = [](const char *code, ReplyAction action, bool red) {
        QTest::newRow(*code ? code : "empty") << QString::fromLatin1(code) << action << red;
    };
    row("", ReplyAction::None, false);
    row("110", ReplyAction::None, false);
    row("120", ReplyAction::None, false);
    row("125", ReplyAction::TransferStarting, false);
    row("150", ReplyAction::TransferStarting, false);
    for (const char *code : {"200", "202", "215", "220", "221", "230", "250", "331"})
        row(code, ReplyAction::Complete, false);
    for (const char *code : {"211", "212", "213", "214"})
        row(code, ReplyAction::None, false);
    row("225", ReplyAction::CompleteIfAbort, false);
    row("226", ReplyAction::CompleteIfAbortOrStore, false);
    row("227", ReplyAction::PassiveAddress, false);
    row("257", ReplyAction::FolderReply, false);
    row("350", ReplyAction::RenamePending, false);
    row("332", ReplyAction::Fail, true);
    row("399", ReplyAction::None, false);
    row("400", ReplyAction::Fail, true);
    row("421", ReplyAction::Fail, true);
    row("530", ReplyAction::Fail, true);
    row("550", ReplyAction::Fail, true);
    row("999", ReplyAction::Fail, true);
    row("201", ReplyAction::None, false);
    // clang-format on
}

void ReplyRulesTest::classify()
{
    QFETCH(QString, code);
    QFETCH(ReplyAction, action);
    QFETCH(bool, red);
    QCOMPARE(ClassifyReply(code), action);
    QCOMPARE(IsErrorReply(code), red);
}

void ReplyRulesTest::maskPassword_data()
{
    // clang-format off
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("masked");
    QTest::newRow("eleven chars") << "PASS secret" << "PASS ******";
    QTest::newRow("empty password") << "PASS " << "PASS ";
    QTest::newRow("shorter than five") << "PASS" << "PASS ";
    QTest::newRow("inside a reply") << "530 PASS rejected\r\n" << "PASS **************";
    QTest::newRow("lower case kept") << "pass secret" << "pass secret";
    QTest::newRow("other command") << "USER me" << "USER me";
    QTest::newRow("word containing it") << "PASSIVE" << "PASS **";
    // clang-format on
}

void ReplyRulesTest::maskPassword()
{
    QFETCH(QString, text);
    QFETCH(QString, masked);
    QCOMPARE(MaskPassword(text), masked);
}

void ReplyRulesTest::portArgument_data()
{
    // clang-format off
    QTest::addColumn<QString>("ip");
    QTest::addColumn<int>("port");
    QTest::addColumn<QString>("argument");
    QTest::newRow("4660 = 0x1234") << "127.0.0.1" << 4660 << "127,0,0,1,18,52";
    QTest::newRow("300 = 0x12C padded") << "10.0.0.7" << 300 << "10,0,0,7,1,44";
    QTest::newRow("high port") << "192.168.1.2" << 65535 << "192,168,1,2,255,255";
    QTest::newRow("5001") << "127.0.0.1" << 5001 << "127,0,0,1,19,137";
    QTest::newRow("below 256 keeps the whole value") << "127.0.0.1" << 200 << "127,0,0,1,200,200";
    QTest::newRow("below 16") << "127.0.0.1" << 15 << "127,0,0,1,15,15";
    // clang-format on
}

void ReplyRulesTest::portArgument()
{
    QFETCH(QString, ip);
    QFETCH(int, port);
    QFETCH(QString, argument);
    QCOMPARE(FormatPortArgument(ip, quint16(port)), argument);
}

void ReplyRulesTest::passiveReply_data()
{
    // clang-format off
    QTest::addColumn<QString>("line");
    QTest::addColumn<bool>("readable");
    QTest::addColumn<QString>("address");
    QTest::addColumn<int>("port");
    QTest::newRow("vsftpd") << "227 Entering Passive Mode (192,168,1,2,19,137).\r\n" << true << "192.168.1.2" << 5001;
    // pure-ftpd's 227 has no final dot.
    QTest::newRow("pure-ftpd") << "227 Entering Passive Mode (127,0,0,1,200,10)\r\n" << true << "127.0.0.1" << 51210;
    QTest::newRow("blanks") << "227 ok ( 127, 0, 0, 1, 4, 1 )\r\n" << true << "127.0.0.1" << 1025;
    QTest::newRow("no parentheses") << "227 Entering Passive Mode 127,0,0,1,4,1\r\n" << false << "" << 0;
    QTest::newRow("reversed parentheses") << "227 )127,0,0,1,4,1(\r\n" << false << "" << 0;
    QTest::newRow("five numbers") << "227 (127,0,0,1,4)\r\n" << false << "" << 0;
    QTest::newRow("seven numbers") << "227 (127,0,0,1,4,1,1)\r\n" << false << "" << 0;
    QTest::newRow("byte above 255") << "227 (127,0,0,1,256,1)\r\n" << false << "" << 0;
    QTest::newRow("negative") << "227 (127,0,0,-1,4,1)\r\n" << false << "" << 0;
    QTest::newRow("letters") << "227 (a,b,c,d,e,f)\r\n" << false << "" << 0;
    QTest::newRow("empty") << "227 ()\r\n" << false << "" << 0;
    // clang-format on
}

void ReplyRulesTest::passiveReply()
{
    QFETCH(QString, line);
    QFETCH(bool, readable);
    QFETCH(QString, address);
    QFETCH(int, port);
    const std::optional<PassiveAddress> parsed = ParsePassiveReply(line);
    QCOMPARE(parsed.has_value(), readable);
    if (parsed) {
        QCOMPARE(parsed->address, address);
        QCOMPARE(int(parsed->port), port);
    }
}

void ReplyRulesTest::transferSize_data()
{
    // clang-format off
    QTest::addColumn<QString>("line");
    QTest::addColumn<qint64>("size");
    QTest::newRow("vsftpd") << "150 Opening BINARY mode data connection for big (1048576 bytes).\r\n" << qint64(1048576);
    QTest::newRow("last parentheses") << "150 file (x) (12 bytes)\r\n" << qint64(12);
    QTest::newRow("zero") << "150 (0 bytes)\r\n" << qint64(0);
    QTest::newRow("over 4 GiB") << "150 (6442450944 bytes)\r\n" << qint64(6442450944LL);
    QTest::newRow("pyftpdlib, no size") << "125 Data connection already open. Transfer starting.\r\n" << qint64(-1);
    QTest::newRow("not a number") << "150 Opening (some file)\r\n" << qint64(-1);
    // clang-format on
}

void ReplyRulesTest::transferSize()
{
    QFETCH(QString, line);
    QFETCH(qint64, size);
    QCOMPARE(ParseTransferSize(line), size);
}

void ReplyRulesTest::folderReply_data()
{
    // clang-format off
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("folder");
    QTest::newRow("folder") << "257 \"/pub/x\" is the current directory\r\n" << "/pub/x/";
    QTest::newRow("root") << "257 \"/\" is current\r\n" << "/";
    QTest::newRow("trailing slash kept once") << "257 \"/pub/\"\r\n" << "/pub//";
    QTest::newRow("blank in name") << "257 \"/a b\"\r\n" << "/a b/";
    // clang-format on
}

void ReplyRulesTest::folderReply()
{
    QFETCH(QString, line);
    QFETCH(QString, folder);
    QCOMPARE(ParseFolderReply(line), folder);
}

void ReplyRulesTest::wireText()
{
    QCOMPARE(DecodeWireText("257 \"/caf\xc3\xa9\"\r\n"), QString::fromUtf8("257 \"/caf\xc3\xa9\"\r\n"));
    QCOMPARE(DecodeWireText("257 \"/caf\xe9\"\r\n"), QString::fromLatin1("257 \"/caf\xe9\"\r\n"));
    // A sequence cut in the middle is not valid UTF-8.
    QCOMPARE(DecodeWireText("x\xc3"), QString::fromLatin1("x\xc3"));
}

void ReplyRulesTest::wireLines()
{
    QSet<QString> fallback;
    const QByteArray listing = "-rw-r--r-- 1 a a 1 Jan 1 2020 caf\xc3\xa9.txt\r\n"
                               "-rw-r--r-- 1 a a 1 Jan 1 2020 caf\xe9.txt\r\n"
                               "-rw-r--r-- 1 a a 1 Jan 1 2020 plain.txt\r\n"
                               "tail without line end \xff";
    const QString text = DecodeWireLines(listing, &fallback);
    QCOMPARE(text, QString::fromUtf8("-rw-r--r-- 1 a a 1 Jan 1 2020 caf\xc3\xa9.txt\r\n")
                       + QString::fromLatin1("-rw-r--r-- 1 a a 1 Jan 1 2020 caf\xe9.txt\r\n")
                       + "-rw-r--r-- 1 a a 1 Jan 1 2020 plain.txt\r\n"
                       + QString::fromLatin1("tail without line end \xff"));
    QCOMPARE(fallback.size(), 2);
    QVERIFY(fallback.contains(QString::fromLatin1("-rw-r--r-- 1 a a 1 Jan 1 2020 caf\xe9.txt\r\n")));
    QCOMPARE(DecodeWireLines({}), QString());
}

void ReplyRulesTest::wireEncoding_data()
{
    // clang-format off
    QTest::addColumn<QString>("text");
    QTest::addColumn<QByteArray>("bytes");
    const QString latin1Name = QString::fromLatin1("caf\xe9.txt");
    QTest::newRow("ascii") << "RETR plain.txt" << QByteArray("RETR plain.txt");
    QTest::newRow("name that came as Latin-1") << "RETR " + latin1Name << QByteArray("RETR caf\xe9.txt");
    QTest::newRow("same letters never seen as Latin-1") << QString::fromLatin1("RETR d\xe9j\xe0.txt")
                                                        << QByteArray("RETR d\xc3\xa9j\xc3\xa0.txt");
    QTest::newRow("beyond Latin-1") << QString::fromUtf8("RETR \xe2\x82\xac.txt") << QByteArray("RETR \xe2\x82\xac.txt");
    // clang-format on
}

void ReplyRulesTest::wireEncoding()
{
    QFETCH(QString, text);
    QFETCH(QByteArray, bytes);
    const QSet<QString> fallback{QString::fromLatin1("-rw-r--r-- 1 a a 1 Jan 1 2020 caf\xe9.txt\r\n")};
    QCOMPARE(EncodeWireText(text, text.section(' ', 1), fallback), bytes);
}

void ReplyRulesTest::messageTexts()
{
    QCOMPARE(
        WaitTooLongText(30),
        QStringLiteral("Wait too long (30 seconds) !\r\nIf your FTP command does not work, switch passive mode !\r\n"
                       "Do you want to wait the server response ?\r\n"));
    QCOMPARE(LogOnFailedText("ftp.example", "PASS secret"),
             QStringLiteral("Log on failed to ftp.example.\r\nLast command was PASS ******\r\nTry again ? "));
    QVERIFY(DownloadWriteFailedText("a.bin").startsWith(
        "Downloading 'a.bin' is failed.\r\nThe server response is too fast to syncronize"));
    QCOMPARE(UploadSendFailedText("b.bin"),
             QStringLiteral("Downloading 'b.bin' is failed.\r\nSWITCH PASSIVE MODE, if it fails again."));
}

QTEST_GUILESS_MAIN(ReplyRulesTest)
#include "ReplyRulesTest.moc"
