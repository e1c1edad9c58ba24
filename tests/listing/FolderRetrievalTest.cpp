// Folder retrieval against our scripted server: LIST in its three forms, link
// resolution with one CWD per link and one back, the "Processing" texts, the
// failure paths, and the listing cache over a session's life.

#include "listing/FolderRetrieval.h"
#include "fixtures/HeadlessUi.h"
#include "fixtures/ScriptedFtpServer.h"
#include "fixtures/ScriptedSession.h"
#include "ftp/FtpSession.h"
#include "korvan/FtpSettings.h"

#include <QTest>

#include <memory>

using namespace korvan;
using namespace korvan::test;

namespace {

const QString kGetting = u"Getting List of Files and Folders. Wait a Second..."_qs;
const QString kDone = u"Done"_qs;

QString processing(int index, int count)
{
    return u"Processing %1/%2 files and folders"_qs.arg(index).arg(count);
}

const QByteArray kPlainListing = unixLine("-rw-r--r--", 1234, "readme.txt") + unixLine("drwxr-xr-x", 4096, "sub dir");
const QByteArray kLinkListing = unixLine("lrwxrwxrwx", 3, "docs -> pub") + unixLine("-rw-r--r--", 10, "plain.txt")
                                + unixLine("lrwxrwxrwx", 9, "note -> plain.txt")
                                + unixLine("lrwxrwxrwx", 5, "abs -> /srv/x") + unixLine("lrwxrwxrwx", 8, "up -> ../..");

// "path|size; ..." of a cached listing, or "not cached".
QString cachedEntries(const cFTPList *list)
{
    if (!list)
        return u"not cached"_qs;
    QStringList entries;
    for (qint32 i = 0; i < list->FileNumb(); ++i)
        entries << list->Path(i) + u'|' + list->FileSize(i);
    return entries.join(u"; "_qs);
}

} // namespace

class FolderRetrievalTest : public QObject {
    Q_OBJECT
private slots:
    void init();
    void cleanup();
    void getList_data();
    void getList();
    void cacheLifecycle_data();
    void cacheLifecycle();
    void closeDuringParseCachesNothing();

private:
    void logOn(bool passive = true);
    // Every command answered as a willing server does, LIST with `listing`;
    // `overrides` ("CWD /x=>550 no") come first.
    void scriptServer(const QByteArray &listing, const QStringList &overrides = {});
    bool getList(const QString &folder);

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

void FolderRetrievalTest::logOn(bool passive)
{
    settings.bPassive = passive;
    scriptLogOn(*server, "331 password please\r\n", "/home/me");
    QVERIFY(session->LogOn());
    ui->mainStatus.clear();
}

void FolderRetrievalTest::scriptServer(const QByteArray &listing, const QStringList &overrides)
{
    for (const QString &override : overrides) {
        const QStringList parts = override.split(u"=>"_qs);
        server->expect(parts[0].toUtf8()).reply(parts[1].toUtf8() + "\r\n");
    }
    server->expect("TYPE A").reply("200 ascii\r\n").repeat();
    server->expect("PASV").passive().repeat();
    server->expectPrefix("PORT ").rememberPortAddress().reply("200 PORT ok\r\n").repeat();
    server->expectPrefix("CWD ").reply("250 ok\r\n").repeat();
    server->expectPrefix("LIST").reply("150 here\r\n").sendData(listing).closeData().reply("226 done\r\n").repeat();
}

bool FolderRetrievalTest::getList(const QString &folder)
{
    QString argument = folder;
    return folders->GetList(argument);
}

void FolderRetrievalTest::getList_data()
{
    // clang-format off
    QTest::addColumn<QString>("folder");
    QTest::addColumn<bool>("passive");
    QTest::addColumn<QByteArray>("listing");
    QTest::addColumn<QStringList>("overrides");
    QTest::addColumn<QStringList>("wire"); // after the log-on; "PORT " stands for any PORT
    QTest::addColumn<QStringList>("status");
    QTest::addColumn<bool>("result");
    QTest::addColumn<QString>("cached");

    const QStringList plainStatus{kGetting, processing(0, 2), kDone};
    const QStringList linkWire{"TYPE A", "PASV", "LIST /data", "CWD /data/docs", "CWD /data/note", "CWD /data/abs",
                               "CWD /data/up", "CWD /home/me"};
    const QStringList linkStatus{kGetting,         processing(0, 5), processing(2, 5),
                                 processing(3, 5), processing(4, 5), kDone};
    const QString linkEntries = "/data/pub/|; /data/plain.txt|10; /data/note|9; /srv/x/|; /|";
    const QString noteIsFile = "CWD /data/note=>550 Not a directory";
    QTest::newRow("current folder: LIST alone")
        << "/home/me" << true << kPlainListing << QStringList{} << QStringList{"TYPE A", "PASV", "LIST"} << plainStatus
        << true << "/home/me/readme.txt|1,234; /home/me/sub dir/|";
    QTest::newRow("other folder: LIST with its path")
        << "/pub/" << true << kPlainListing << QStringList{} << QStringList{"TYPE A", "PASV", "LIST /pub"}
        << plainStatus << true << "/pub/readme.txt|1,234; /pub/sub dir/|";
    QTest::newRow("active, a blank: in, LIST, back")
        << "/a b/" << false << kPlainListing << QStringList{}
        << QStringList{"TYPE A", "PORT ", "CWD /a b", "LIST", "CWD /home/me"} << plainStatus << true
        << "/a b/readme.txt|1,234; /a b/sub dir/|";
    QTest::newRow("links: one CWD each, one back; a folder's size goes")
        << "/data" << true << kLinkListing << QStringList{noteIsFile} << linkWire << linkStatus << true << linkEntries;
    QTest::newRow("a link's way back refused")
        << "/data" << true << kLinkListing << QStringList{noteIsFile, "CWD /home/me=>550 gone away"} << linkWire
        << linkStatus << false << linkEntries;
    QTest::newRow("TYPE A refused: the empty buffer is cached")
        << "/one" << true << kPlainListing << QStringList{"TYPE A=>500 not now"} << QStringList{"TYPE A"}
        << QStringList{kGetting, kDone} << true << "";
    QTest::newRow("PASV refused")
        << "/gone" << true << kPlainListing << QStringList{"PASV=>425 Cannot open passive connection"}
        << QStringList{"TYPE A", "PASV"} << QStringList{kGetting, kDone} << false << "not cached";
    QTest::newRow("LIST refused")
        << "/gone" << true << kPlainListing << QStringList{"LIST /gone=>550 No such folder"}
        << QStringList{"TYPE A", "PASV", "LIST /gone"} << QStringList{kGetting, kDone} << false << "not cached";
    QTest::newRow("folder with a blank refused")
        << "/no such" << true << kPlainListing << QStringList{"CWD /no such=>550 No such folder"}
        << QStringList{"TYPE A", "PASV", "CWD /no such"} << QStringList{kGetting, kDone} << false << "not cached";
    QTest::newRow("the way back refused")
        << "/no such" << true << kPlainListing << QStringList{"CWD /home/me=>550 gone away"}
        << QStringList{"TYPE A", "PASV", "CWD /no such", "LIST", "CWD /home/me"} << QStringList{kGetting, kDone}
        << false << "not cached";
    // clang-format on
}

void FolderRetrievalTest::getList()
{
    QFETCH(QString, folder);
    QFETCH(bool, passive);
    QFETCH(QByteArray, listing);
    QFETCH(QStringList, overrides);
    QFETCH(QStringList, wire);
    QFETCH(QStringList, status);
    QFETCH(bool, result);
    QFETCH(QString, cached);
    logOn(passive);
    scriptServer(listing, overrides);

    QString argument = folder;
    QCOMPARE(folders->GetList(argument), result);
    QCOMPARE(argument, folder.endsWith(u'/') ? folder : folder + u'/');
    QStringList sent = commandsAfterLogOn(*server);
    for (QString &command : sent) {
        if (command.startsWith(u"PORT "))
            command = u"PORT "_qs;
    }
    QCOMPARE(sent, wire);
    QCOMPARE(ui->mainStatus, status);
    QCOMPARE(session->sCurrentDir(), u"/home/me/"_qs);
    QCOMPARE(cachedEntries(folders->cachedList(folder)), cached);
    CHECK_NO_UI_FAILURES();
}

void FolderRetrievalTest::cacheLifecycle_data()
{
    QTest::addColumn<QString>("end");
    QTest::newRow("a refresh lists again") << "refresh";
    QTest::newRow("Disconnect empties the cache") << "Disconnect";
    QTest::newRow("the server closing empties the cache") << "server closes";
}

// Without a session nothing is sent; a second call is served from the cache;
// listings of an ended session never show after a reconnect.
void FolderRetrievalTest::cacheLifecycle()
{
    QFETCH(QString, end);
    QVERIFY(getList(u"/pub"_qs));
    QCOMPARE(ui->mainStatus, QStringList{kDone});
    QCOMPARE(server->controlConnectionCount(), 0);
    logOn();
    scriptServer(kPlainListing);
    QVERIFY(getList(u"/pub"_qs));
    ui->mainStatus.clear();
    QVERIFY(getList(u"/pub/"_qs));
    QCOMPARE(ui->mainStatus, (QStringList{kGetting, kDone}));
    QCOMPARE(commandsAfterLogOn(*server), (QStringList{"TYPE A", "PASV", "LIST /pub"}));

    if (end == u"refresh") {
        folders->removeCachedList(u"/pub"_qs);
        QVERIFY(getList(u"/pub"_qs));
        QCOMPARE(commandsAfterLogOn(*server).count(u"LIST /pub"_qs), 2);
        QCOMPARE(folders->cachedFolderCount(), 1);
        return;
    }
    if (end == u"server closes") {
        server->expect("NOOP").closeControl();
        QVERIFY(!session->SendAndWait(u"NOOP"_qs));
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
    QVERIFY(!getList(u"/big"_qs));
    QCOMPARE(folders->cachedFolderCount(), 0);
}

QTEST_GUILESS_MAIN(FolderRetrievalTest)
#include "FolderRetrievalTest.moc"
