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

// Each text rule, fed the row's input.
const QMap<QString, std::function<QString(const QString &)>> kRules{
    {"227", [](const QString &line) { return passiveTarget(line); }},
    {"150 size", [](const QString &line) { return QString::number(ParseTransferSize(line)); }},
    {"mask", [](const QString &text) { return MaskPassword(text); }},
    {"PORT",
     [](const QString &in) { return FormatPortArgument(in.section(' ', 0, 0), in.section(' ', 1).toUShort()); }},
    {"normalize", [](const QString &path) { return NormalizeRemotePath(path); }},
    {"strip /", [](const QString &path) { return StripTrailingSlash(path); }},
    {"add /", [](const QString &path) { return WithTrailingSlash(path); }},
    {"write failed", [](const QString &name) { return DownloadWriteFailedText(name).section(u'\n', 0, 1); }},
};

const QString kLatin1Line = QString::fromLatin1("-rw-r--r-- 1 a a 1 Jan 1 2020 caf\xe9.txt\r\n");

} // namespace

class FtpRulesTest : public QObject {
    Q_OBJECT
private slots:
    // "input|expected" per rule; the PORT rule's input is "address port".
    void text_data()
    {
        QTest::addColumn<QString>("rule");
        QTest::addColumn<QStringList>("fields");
        const auto row = [](const char *rule, const char *fields) {
            QTest::newRow(qPrintable(QString(rule) + ": " + fields)) << QString(rule) << QString(fields).split('|');
        };
        row("227", "227 Entering Passive Mode (192,168,1,2,19,137).\r\n|192.168.1.2:5001"); // vsftpd
        row("227", "227 Entering Passive Mode (127,0,0,1,200,10)\r\n|127.0.0.1:51210");     // pure-ftpd: no final dot
        row("227", "227 ok ( 127, 0, 0, 1, 4, 1 )\r\n|127.0.0.1:1025");
        for (const char *line :
             {"227 Entering Passive Mode 127,0,0,1,4,1", "227 )127,0,0,1,4,1(", "227 (127,0,0,1,4)",
              "227 (127,0,0,1,4,1,1)", "227 (127,0,0,1,256,1)", "227 (127,0,0,-1,4,1)", "227 (a,b,c,d,e,f)"})
            row("227", qPrintable(QString(line) + "\r\n|unreadable"));
        row("150 size", "150 file (x) (12 bytes)\r\n|12"); // the last parentheses
        row("150 size", "150 (6442450944 bytes)\r\n|6442450944");
        row("150 size", "125 Data connection already open. Transfer starting.\r\n|-1"); // pyftpdlib: no size
        row("150 size", "150 Opening (some file)\r\n|-1");
        row("mask", "PASS|PASS ");
        row("mask", "530 PASS rejected\r\n|PASS **************");
        row("mask", "pass secret|pass secret");
        row("mask", "PASSIVE|PASS **");
        row("PORT", "127.0.0.1 4660|127,0,0,1,18,52");  // 0x1234
        row("PORT", "127.0.0.1 200|127,0,0,1,200,200"); // below 256 the whole value twice
        row("normalize", "|/");
        row("normalize", "pub/x|/pub/x/");
        row("normalize", "/a/./b/|/a/b/");
        row("normalize", "/a/b/./../c/|/a/c/");
        row("normalize", "/a/./b/../../..|/");
        row("normalize", "/home/me//var/ftp/|/var/ftp/"); // an absolute link behind a folder
        row("normalize", "/a//b//c/|/c/");
        row("normalize", "/a/b//|/");
        row("normalize", "/a/.hidden/..x/.../|/a/.hidden/..x/.../");
        row("strip /", "/|/");
        row("strip /", "/pub//|/pub/");
        row("add /", "/pub|/pub/");
        row("add /", "/pub//|/pub//");
        // Shown when a downloaded block cannot be written; no scripted disk reaches it on demand.
        row("write failed",
            "a.bin|Downloading 'a.bin' is failed.\r\nThe server response is too fast to syncronize WinSock control.\r");
    }

    void text()
    {
        QFETCH(QString, rule);
        QFETCH(QStringList, fields);
        QCOMPARE(kRules.value(rule)(fields[0]), fields[1]);
    }

    // Each line read on its own; those that needed Latin-1 remembered for the way back.
    void wireLines()
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

    void wireEncoding_data()
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

    void wireEncoding()
    {
        QFETCH(QString, text);
        QTEST(EncodeWireText(text, text.section(' ', 1), {kLatin1Line}), "bytes");
    }
};

QTEST_APPLESS_MAIN(FtpRulesTest)
#include "FtpRulesTest.moc"
