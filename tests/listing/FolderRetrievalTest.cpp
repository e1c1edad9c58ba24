// Folder retrieval: LIST in its three forms, links resolved with one CWD each and
// one back, the "Processing" texts, the failures, the listing cache's life.

#include "listing/FolderRetrieval.h"
#include "fixtures/ScriptedSession.h"
#include "ftp/FtpSession.h"

#include <QTest>

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

// A willing server listing `listing` everywhere, `overrides` first.
struct Fixture : ScriptedSession {
    FolderRetrieval folders{session, ui};
    bool logOn(const QByteArray &listing = kPlainListing, const Script &overrides = {}, bool passive = true)
    {
        settings.bPassive = passive;
        const bool ok = ScriptedSession::logOn(overrides + Script{{"CWD *", "250 ok"}, {"LIST*", listed(listing)}},
                                               "/home/me");
        ui.mainStatus.clear();
        return ok;
    }
    bool getList(QString folder) { return folders.GetList(folder); }
};

} // namespace

class FolderRetrievalTest : public QObject {
    Q_OBJECT
private slots:
    void getList_data();
    void getList();
    void cacheLifecycle_data();
    void cacheLifecycle();
};

void FolderRetrievalTest::getList_data()
{
    QTest::addColumn<QString>("folder");
    QTest::addColumn<bool>("passive");
    QTest::addColumn<QByteArray>("listing");
    QTest::addColumn<Script>("overrides");
    QTest::addColumn<QStringList>("wire"); // after the log-on
    QTest::addColumn<QStringList>("status");
    QTest::addColumn<bool>("result");
    QTest::addColumn<QString>("cached");
    // clang-format off
    const QStringList plainStatus{kGetting, processing(0, 2), kDone};
    const QStringList failedStatus{kGetting, kDone};
    const QStringList linkWire{"TYPE A", "PASV", "LIST /data", "CWD /data/docs", "CWD /data/note", "CWD /data/abs",
                               "CWD /data/up", "CWD /home/me"};
    const QStringList linkStatus{kGetting, processing(0, 5), processing(2, 5), processing(3, 5), processing(4, 5),
                                 kDone};
    const QString linkEntries = "/data/pub/|; /data/plain.txt|10; /data/note|9; /srv/x/|; /|";
    const ScriptedFtpServer::Row noteIsFile{"CWD /data/note", "550 Not a directory"};
    const ScriptedFtpServer::Row noWayBack{"CWD /home/me", "550 gone away"};
    QTest::newRow("current folder: LIST alone")
        << "/home/me" << true << kPlainListing << Script{} << QStringList{"TYPE A", "PASV", "LIST"} << plainStatus
        << true << "/home/me/readme.txt|1,234; /home/me/sub dir/|";
    QTest::newRow("other folder: LIST with its path")
        << "/pub/" << true << kPlainListing << Script{} << QStringList{"TYPE A", "PASV", "LIST /pub"}
        << plainStatus << true << "/pub/readme.txt|1,234; /pub/sub dir/|";
    QTest::newRow("active, a blank: in, LIST, back")
        << "/a b/" << false << kPlainListing << Script{}
        << QStringList{"TYPE A", "PORT", "CWD /a b", "LIST", "CWD /home/me"}
        << plainStatus << true << "/a b/readme.txt|1,234; /a b/sub dir/|";
    QTest::newRow("links: one CWD each, one back; a folder's size goes")
        << "/data" << true << kLinkListing << Script{noteIsFile} << linkWire << linkStatus << true << linkEntries;
    QTest::newRow("a link's way back refused")
        << "/data" << true << kLinkListing << Script{noteIsFile, noWayBack} << linkWire << linkStatus << false
        << linkEntries;
    QTest::newRow("TYPE A refused: the empty buffer is cached")
        << "/one" << true << kPlainListing << Script{{"TYPE A", "500 not now"}} << QStringList{"TYPE A"}
        << failedStatus << true << "";
    QTest::newRow("PASV refused")
        << "/gone" << true << kPlainListing << Script{{"PASV", "425 Cannot open passive connection"}}
        << QStringList{"TYPE A", "PASV"} << failedStatus << false << "not cached";
    QTest::newRow("LIST refused")
        << "/gone" << true << kPlainListing << Script{{"LIST /gone", "550 No such folder"}}
        << QStringList{"TYPE A", "PASV", "LIST /gone"} << failedStatus << false << "not cached";
    QTest::newRow("folder with a blank refused")
        << "/no such" << true << kPlainListing << Script{{"CWD /no such", "550 No such folder"}}
        << QStringList{"TYPE A", "PASV", "CWD /no such"} << failedStatus << false << "not cached";
    QTest::newRow("the way back refused")
        << "/no such" << true << kPlainListing << Script{noWayBack}
        << QStringList{"TYPE A", "PASV", "CWD /no such", "LIST", "CWD /home/me"} << failedStatus << false
        << "not cached";
    // clang-format on
}

void FolderRetrievalTest::getList()
{
    QFETCH(QString, folder);
    QFETCH(bool, passive);
    QFETCH(QByteArray, listing);
    QFETCH(Script, overrides);
    Fixture f;
    QVERIFY(f.logOn(listing, overrides, passive));
    QString argument = folder;
    QTEST(f.folders.GetList(argument), "result");
    QCOMPARE(argument, folder.endsWith(u'/') ? folder : folder + u'/');
    QTEST(f.commandsAfterLogOn(), "wire");
    QTEST(f.ui.mainStatus, "status");
    QCOMPARE(f.session.sCurrentDir(), u"/home/me/"_qs);
    QTEST(cachedEntries(f.folders.cachedList(folder)), "cached");
    CHECK_NO_UI_FAILURES(f.ui);
}

void FolderRetrievalTest::cacheLifecycle_data()
{
    QTest::addColumn<QString>("end");
    QTest::newRow("a refresh lists again") << "refresh";
    QTest::newRow("Disconnect empties the cache") << "Disconnect";
    QTest::newRow("the server closing empties the cache") << "server closes";
    QTest::newRow("closing while a long listing is parsed: nothing cached") << "close during parse";
}

// Without a session nothing is sent; a second call is served from the cache;
// listings of an ended session never show after a reconnect.
void FolderRetrievalTest::cacheLifecycle()
{
    QFETCH(QString, end);
    Fixture f;
    QVERIFY(f.getList(u"/pub"_qs));
    QCOMPARE(f.ui.mainStatus, QStringList{kDone});
    QVERIFY(f.server.commands().isEmpty());
    if (end == u"close during parse") {
        QByteArray listing;
        for (int i = 0; i < 100000; ++i)
            listing += unixLine("-rw-r--r--", i, "file-" + QByteArray::number(i));
        QVERIFY(f.logOn(listing, {{"LIST /big", listed(listing) + "|wait 10|drop"}}));
        QVERIFY(!f.getList(u"/big"_qs));
        QCOMPARE(f.folders.cachedFolderCount(), 0);
        return;
    }
    QVERIFY(f.logOn(kPlainListing, {{"NOOP", "drop"}, {"QUIT", "221 bye"}}));
    QVERIFY(f.getList(u"/pub"_qs));
    f.ui.mainStatus.clear();
    QVERIFY(f.getList(u"/pub/"_qs));
    QCOMPARE(f.ui.mainStatus, (QStringList{kGetting, kDone}));
    QCOMPARE(f.commandsAfterLogOn(), (QStringList{"TYPE A", "PASV", "LIST /pub"}));
    if (end == u"refresh") {
        f.folders.removeCachedList(u"/pub"_qs);
        QVERIFY(f.getList(u"/pub"_qs));
        QCOMPARE(f.commandsAfterLogOn().count(u"LIST /pub"_qs), 2);
        QCOMPARE(f.folders.cachedFolderCount(), 1);
        return;
    }
    if (end == u"server closes")
        QVERIFY(!f.session.SendAndWait(u"NOOP"_qs));
    else
        f.session.Disconnect();
    QTRY_COMPARE(f.folders.cachedFolderCount(), 0);
}

QTEST_GUILESS_MAIN(FolderRetrievalTest)
#include "FolderRetrievalTest.moc"
