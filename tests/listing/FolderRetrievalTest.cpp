// Folder retrieval against our scripted server: LIST in its three forms, the
// listing cache, the TYPE A failure path, link resolution with one CWD per link
// and one back, the status texts; and the folders-first sort keys.

#include "listing/FolderRetrieval.h"
#include "fixtures/HeadlessUi.h"
#include "fixtures/ScriptedFtpServer.h"
#include "fixtures/ScriptedSession.h"
#include "ftp/FtpSession.h"
#include "korvan/FtpSettings.h"
#include "listing/ListSort.h"

#include <QTest>

#include <algorithm>
#include <memory>

using namespace korvan;
using namespace korvan::test;

namespace {

const QString kGetting = "Getting List of Files and Folders. Wait a Second...";

} // namespace

class FolderRetrievalTest : public QObject {
    Q_OBJECT
private slots:
    void init();
    void cleanup();

    void listCommandForms_data();
    void listCommandForms();
    void secondCallServedFromCache();
    void linksResolvedWithOneCwdEach();
    void failingListCachesNothing_data();
    void failingListCachesNothing();
    void failingTypeACachesTheStaleBuffer();
    void withoutSessionNothingIsSent();
    void sessionEndEmptiesTheCache_data();
    void sessionEndEmptiesTheCache();
    void closeDuringParseCachesNothing();
    void sortKeys_data();
    void sortKeys();

private:
    void logOn(const QByteArray &home = "/", bool passive = true);
    QStringList commandsAfterLogOn() const { return korvan::test::commandsAfterLogOn(*server); }

    std::unique_ptr<ScriptedFtpServer> server;
    std::unique_ptr<HeadlessUi> ui;
    FtpSettings settings; // the session's
    std::unique_ptr<FtpSession> session;
    std::unique_ptr<FolderRetrieval> folders;
};

void FolderRetrievalTest::init()
{
    server = std::make_unique<ScriptedFtpServer>();
    ui = std::make_unique<HeadlessUi>();
    session = std::make_unique<FtpSession>(*ui, settings);
    folders = std::make_unique<FolderRetrieval>(*session, *ui);
    settings = settingsFor(*server);
}

void FolderRetrievalTest::cleanup()
{
    reportIfFailed(*ui, *server);
    folders.reset();
    session.reset();
    ui.reset();
    server.reset();
}

void FolderRetrievalTest::logOn(const QByteArray &home, bool passive)
{
    settings.bPassive = passive;
    scriptLogOn(*server, "331 password please\r\n", home);
    QVERIFY(session->LogOn());
    ui->mainStatus.clear();
}

void FolderRetrievalTest::listCommandForms_data()
{
    // clang-format off
    QTest::addColumn<QString>("folder");
    QTest::addColumn<bool>("passive");
    QTest::addColumn<QStringList>("wire");
    const QString port = "PORT ";
    QTest::newRow("current folder: LIST alone") << "/home/me" << true
                                                << QStringList{"TYPE A", "PASV", "LIST"};
    QTest::newRow("other folder: LIST with its path") << "/pub/" << true
                                                      << QStringList{"TYPE A", "PASV", "LIST /pub"};
    QTest::newRow("a blank: in, LIST, back") << "/home/me/my folder" << true
                                             << QStringList{"TYPE A", "PASV", "CWD /home/me/my folder", "LIST",
                                                            "CWD /home/me"};
    QTest::newRow("active: PORT before LIST") << "/pub" << false << QStringList{"TYPE A", port, "LIST /pub"};
    QTest::newRow("active, a blank") << "/a b/" << false
                                     << QStringList{"TYPE A", port, "CWD /a b", "LIST", "CWD /home/me"};
    // clang-format on
}

void FolderRetrievalTest::listCommandForms()
{
    QFETCH(QString, folder);
    QFETCH(bool, passive);
    QFETCH(QStringList, wire);
    logOn("/home/me", passive);
    const QByteArray listing = unixLine("-rw-r--r--", 1234, "readme.txt") + unixLine("drwxr-xr-x", 4096, "sub dir");
    server->expect("TYPE A").reply("200 ascii\r\n");
    server->expect("PASV").passive();
    server->expectPrefix("PORT ").rememberPortAddress().reply("200 PORT ok\r\n");
    server->expectPrefix("CWD ").reply("250 ok\r\n").repeat();
    server->expectPrefix("LIST").reply("150 here\r\n").sendData(listing).closeData().reply("226 done\r\n");

    QString argument = folder;
    QVERIFY(folders->GetList(argument));
    QVERIFY(argument.endsWith('/'));
    QCOMPARE(argument, folder.endsWith('/') ? folder : folder + '/');

    QStringList sent = commandsAfterLogOn();
    for (QString &command : sent) {
        if (command.startsWith("PORT "))
            command = "PORT ";
    }
    QCOMPARE(sent, wire);
    const cFTPList *list = folders->cachedList(folder);
    QVERIFY(list);
    QCOMPARE(list->Folder(), argument);
    QCOMPARE(list->FileNumb(), 2);
    QCOMPARE(list->Path(0), argument + "readme.txt");
    QCOMPARE(list->Path(1), argument + "sub dir/");
    QCOMPARE(session->sCurrentDir(), QString("/home/me/"));
    QCOMPARE(ui->mainStatus, (QStringList{kGetting, "Processing 0/2 files and folders", "Done"}));
    CHECK_NO_UI_FAILURES();
}

void FolderRetrievalTest::secondCallServedFromCache()
{
    logOn();
    server->expect("TYPE A").reply("200 ascii\r\n");
    server->expect("PASV").passive();
    scriptListing(*server, "LIST /pub", unixLine("-rw-r--r--", 5, "a.txt"));
    QString first = "/pub";
    QVERIFY(folders->GetList(first));
    ui->mainStatus.clear();
    QString second = "/pub/";
    QVERIFY(folders->GetList(second));
    QCOMPARE(commandsAfterLogOn(), (QStringList{"TYPE A", "PASV", "LIST /pub"}));
    QCOMPARE(ui->mainStatus, (QStringList{kGetting, "Done"}));
    QCOMPARE(folders->cachedFolderCount(), 1);

    // A refresh drops the entry, and the next call lists again.
    folders->removeCachedList("/pub");
    QVERIFY(!folders->cachedList("/pub/"));
    server->expect("TYPE A").reply("200 ascii\r\n");
    server->expect("PASV").passive();
    scriptListing(*server, "LIST /pub", unixLine("-rw-r--r--", 6, "b.txt"));
    QVERIFY(folders->GetList(second));
    QCOMPARE(folders->cachedList("/pub")->FileName(0), QString("b.txt"));
    QCOMPARE(server->commands().count("LIST /pub"), 2);
    CHECK_NO_UI_FAILURES();
}

void FolderRetrievalTest::linksResolvedWithOneCwdEach()
{
    logOn();
    const QByteArray listing = unixLine("lrwxrwxrwx", 3, "docs -> pub") + unixLine("-rw-r--r--", 10, "plain.txt")
                               + unixLine("lrwxrwxrwx", 9, "note -> plain.txt")
                               + unixLine("lrwxrwxrwx", 5, "abs -> /srv/x");
    server->expect("TYPE A").reply("200 ascii\r\n");
    server->expect("PASV").passive();
    scriptListing(*server, "LIST /data", listing);
    server->expect("CWD /data/docs").reply("250 ok\r\n");
    server->expect("CWD /data/note").reply("550 Not a directory\r\n");
    server->expect("CWD /data/abs").reply("250 ok\r\n");
    server->expect("CWD /").reply("250 back\r\n");

    QString folder = "/data";
    QVERIFY(folders->GetList(folder));
    QCOMPARE(commandsAfterLogOn(), (QStringList{"TYPE A", "PASV", "LIST /data", "CWD /data/docs", "CWD /data/note",
                                                "CWD /data/abs", "CWD /"}));
    const cFTPList *list = folders->cachedList(folder);
    QVERIFY(list);
    QCOMPARE(list->FileNumb(), 4);
    QVERIFY(list->IsFolder(0));
    QCOMPARE(list->FileSize(0), QString());
    QCOMPARE(list->Path(0), QString("/data/pub/"));
    QVERIFY(!list->IsFolder(1));
    QVERIFY(!list->IsFolder(2));
    QCOMPARE(list->FileSize(2), QString("9"));
    QCOMPARE(list->Path(2), QString("/data/note"));
    QVERIFY(list->IsFolder(3));
    QCOMPARE(list->Path(3), QString("/srv/x/"));
    // Each link's CWD, and every tenth entry, shows its progress.
    QCOMPARE(ui->mainStatus,
             (QStringList{kGetting, "Processing 0/4 files and folders", "Processing 2/4 files and folders",
                          "Processing 3/4 files and folders", "Done"}));
    CHECK_NO_UI_FAILURES();
}

void FolderRetrievalTest::failingListCachesNothing_data()
{
    // clang-format off
    QTest::addColumn<QByteArray>("failing");
    QTest::addColumn<QStringList>("wire");
    QTest::newRow("PASV refused") << QByteArray("PASV") << QStringList{"TYPE A", "PASV"};
    QTest::newRow("LIST refused") << QByteArray("LIST") << QStringList{"TYPE A", "PASV", "LIST /gone"};
    QTest::newRow("folder with a blank refused") << QByteArray("CWD")
                                                 << QStringList{"TYPE A", "PASV", "CWD /no such"};
    QTest::newRow("the way back refused") << QByteArray("CWD /")
                                          << QStringList{"TYPE A", "PASV", "CWD /no such", "LIST", "CWD /"};
    // clang-format on
}

void FolderRetrievalTest::failingListCachesNothing()
{
    QFETCH(QByteArray, failing);
    QFETCH(QStringList, wire);
    logOn();
    const QString folderName = wire.contains("LIST /gone") ? "/gone" : "/no such";
    server->expect("TYPE A").reply("200 ascii\r\n");
    if (failing == "PASV")
        server->expect("PASV").reply("425 Cannot open passive connection\r\n");
    else
        server->expect("PASV").passive();
    if (failing == "CWD")
        server->expect("CWD /no such").reply("550 No such folder\r\n");
    server->expect("CWD /no such").reply("250 ok\r\n");
    server->expect("LIST /gone").reply("550 No such folder\r\n");
    scriptListing(*server, "LIST", unixLine("-rw-r--r--", 1, "x"));
    server->expect("CWD /").reply("550 gone away\r\n");

    QString folder = folderName;
    QVERIFY(!folders->GetList(folder));
    QCOMPARE(commandsAfterLogOn(), wire);
    QCOMPARE(folders->cachedFolderCount(), 0);
    QCOMPARE(ui->mainStatus.last(), QString("Done"));
    CHECK_NO_UI_FAILURES();
}

// TYPE A refused: no data connection, no LIST, and whatever the data buffer
// holds (here the previous listing) is parsed and cached for the folder.
void FolderRetrievalTest::failingTypeACachesTheStaleBuffer()
{
    logOn();
    server->expect("TYPE A").reply("200 ascii\r\n");
    server->expect("PASV").passive();
    scriptListing(*server, "LIST /one", unixLine("-rw-r--r--", 7, "stale.txt"));
    server->expect("TYPE A").reply("500 not now\r\n");
    QString one = "/one";
    QVERIFY(folders->GetList(one));
    QString two = "/two";
    QVERIFY(folders->GetList(two));
    QCOMPARE(commandsAfterLogOn(), (QStringList{"TYPE A", "PASV", "LIST /one", "TYPE A"}));
    const cFTPList *list = folders->cachedList("/two/");
    QVERIFY(list);
    QCOMPARE(list->FileNumb(), 1);
    QCOMPARE(list->Path(0), QString("/two/stale.txt"));
    CHECK_NO_UI_FAILURES();
}

void FolderRetrievalTest::withoutSessionNothingIsSent()
{
    QString folder = "/pub";
    QVERIFY(folders->GetList(folder));
    QCOMPARE(folder, QString("/pub"));
    QCOMPARE(ui->mainStatus, QStringList{"Done"});
    QCOMPARE(folders->cachedFolderCount(), 0);
    QCOMPARE(server->controlConnectionCount(), 0);
}

// Listings of an ended session must never show when browsing after a reconnect.
void FolderRetrievalTest::sessionEndEmptiesTheCache_data()
{
    // clang-format off
    QTest::addColumn<bool>("serverCloses");
    QTest::newRow("Disconnect") << false;
    QTest::newRow("the server closes the control connection") << true;
    // clang-format on
}

void FolderRetrievalTest::sessionEndEmptiesTheCache()
{
    QFETCH(bool, serverCloses);
    logOn();
    server->expect("TYPE A").reply("200 ascii\r\n");
    server->expect("PASV").passive();
    scriptListing(*server, "LIST /pub", unixLine("-rw-r--r--", 5, "a.txt"));
    QString folder = "/pub";
    QVERIFY(folders->GetList(folder));
    QCOMPARE(folders->cachedFolderCount(), 1);
    if (serverCloses) {
        server->expect("NOOP").closeControl();
        QVERIFY(!session->SendAndWait("NOOP"));
    } else {
        server->expect("QUIT").reply("221 bye\r\n");
        session->Disconnect();
    }
    QTRY_COMPARE(folders->cachedFolderCount(), 0);
}

// The server closes right after a listing long enough that its parse spans the
// close: the listing of the ended session is not kept.
void FolderRetrievalTest::closeDuringParseCachesNothing()
{
    logOn();
    QByteArray listing;
    for (int i = 0; i < 100000; ++i)
        listing += unixLine("-rw-r--r--", i, "file-" + QByteArray::number(i));
    server->expect("TYPE A").reply("200 ascii\r\n");
    server->expect("PASV").passive();
    server->expect("LIST /big")
        .reply("150 here\r\n")
        .sendData(listing)
        .closeData()
        .reply("226 done\r\n")
        .wait(50)
        .closeControl();
    QString folder = "/big";
    QVERIFY(!folders->GetList(folder));
    QCOMPARE(folders->cachedFolderCount(), 0);
}

void FolderRetrievalTest::sortKeys_data()
{
    // clang-format off
    QTest::addColumn<int>("column");
    QTest::addColumn<QStringList>("rows"); // "F:text" folder, "-:text" file, in any order
    QTest::addColumn<QStringList>("ascending");
    QTest::newRow("names: folders first, case ignored")
        << 1 << QStringList{"-:b.txt", "F:Zeta", "-:A.txt", "F:alpha"}
        << QStringList{"alpha", "Zeta", "A.txt", "b.txt"};
    QTest::newRow("sizes as numbers") << 2 << QStringList{"-:10", "-:9", "-:12,345", "-:1,234", "F:"}
                                      << QStringList{"", "9", "10", "1,234", "12,345"};
    QTest::newRow("dates as text") << 4 << QStringList{"-:1/15/2003 10:20 AM", "-:12/1/2002 9:00 AM", "F:2/1/2001"}
                                   << QStringList{"2/1/2001", "1/15/2003 10:20 AM", "12/1/2002 9:00 AM"};
    // clang-format on
}

void FolderRetrievalTest::sortKeys()
{
    QFETCH(int, column);
    QFETCH(QStringList, rows);
    QFETCH(QStringList, ascending);
    QStringList keys;
    for (const QString &row : rows)
        keys << ListSortKey(row.startsWith("F:"), column, row.mid(2));
    auto text = [&](const QString &key) { return rows.at(keys.indexOf(key)).mid(2); };
    QStringList sorted = keys;
    std::sort(sorted.begin(), sorted.end(), ListSortLess);
    QStringList ascendingTexts;
    for (const QString &key : sorted)
        ascendingTexts << text(key);
    QCOMPARE(ascendingTexts, ascending);
    // The other order is the exact reverse: files first.
    std::sort(sorted.begin(), sorted.end(), [](const QString &a, const QString &b) { return ListSortLess(b, a); });
    QStringList descendingTexts;
    for (const QString &key : sorted)
        descendingTexts << text(key);
    std::reverse(descendingTexts.begin(), descendingTexts.end());
    QCOMPARE(descendingTexts, ascending);
    if (column == 2)
        QCOMPARE(ListSortKey(false, 2, "1,234"), QString("1000,000,001,234"));
}

QTEST_GUILESS_MAIN(FolderRetrievalTest)
#include "FolderRetrievalTest.moc"
