// The download and upload engines against the four real Debian FTP servers on
// loopback, passive and active: a prepared tree comes down as it is on the
// server, a local tree goes up as it is on disk, and what went up comes down
// byte for byte.

#include "fixtures/HeadlessUi.h"
#include "fixtures/ServerBench.h"
#include "fixtures/ServerRows.h"
#include "fixtures/TestFiles.h"
#include "ftp/FtpSession.h"
#include "listing/FolderRetrieval.h"
#include "servers/FtpServer.h"
#include "transfer/DownloadEngine.h"
#include "transfer/TransferHost.h"
#include "transfer/UploadEngine.h"

#include <QDir>
#include <QFile>
#include <QMap>
#include <QTemporaryDir>
#include <QTest>

using namespace korvan;
using namespace korvan::test;

namespace {

// "name with blanks" uses single blanks: listings collapse runs of blanks.
const QList<TreeFile> kRemoteTree{
    {"tree/top.txt", 10},
    {"tree/zero.txt", 0},
    {"tree/name with blanks.txt", 3000},
    {"tree/nested/middle.bin", 70000},
    {"tree/nested/deeper/bottom.bin", 200000},
    {"tree/folder with blank/inner.txt", 5},
};
const QStringList kRemoteEmptyFolders{"tree/empty", "tree/nested/deeper/empty too"};

const QList<TreeFile> kLocalTree{
    {"up/a.txt", 12},
    {"up/.dotfile", 7},
    {"up/zero.bin", 0},
    {"up/with blank.txt", 40000},
    {"up/sub/b.bin", 123456},
    {"up/sub/deeper/c.bin", 25396},
    {"up/.hidden/skipped.txt", 9},
    {"up/sub/.cache/skipped.bin", 9},
};

struct CountingHost : TransferHost {
    int refreshes = 0;
    int labelCalls = 0;
    void progressSetLabels(const QString &, const QString &, const QString &) override { ++labelCalls; }
    void refreshCurrentFolder() override { ++refreshes; }
};

struct Bench : ServerBench {
    explicit Bench(ServerKind kind)
        : ServerBench(kind), folders(session, ui), download(session, ui, folders, &host), upload(session, ui, &host)
    {}
    FolderRetrieval folders;
    CountingHost host;
    DownloadEngine download;
    UploadEngine upload;
};

} // namespace

class TransferServerTest : public QObject {
    Q_OBJECT
private slots:
    void treesBothWays_data();
    void treesBothWays();
};

void TransferServerTest::treesBothWays_data()
{
    addServerModeRows();
}

void TransferServerTest::treesBothWays()
{
    QFETCH(ServerKind, kind);
    QFETCH(bool, passive);
    Bench bench(kind);
    START_OR_FAIL(bench.server);
    const QString root = bench.server.rootDir();
    QVERIFY(writeTree(root, kRemoteTree, kRemoteEmptyFolders));
    // A link to a folder: its contents belong to the folder it leads to.
    QVERIFY(QFile::link("nested", root + "/tree/link to nested"));
    bench.server.handOver();
    bench.settings = settingsFor(bench.server, passive);
    QVERIFY(bench.session.LogOn());
    QCOMPARE(bench.session.sCurrentDir(), QString("/"));

    // Down: the tree as it is on the server, zero-size files left out.
    QTemporaryDir downloaded;
    QVERIFY(bench.download.DownloadSelected(downloaded.path(), QString("/tree/\r\n")));
    const auto nonEmpty = [](const TreeFile &file) { return file.size > 0; };
    QCOMPARE(describe(treeOf(downloaded.path())), describe(expectedTree(kRemoteTree, kRemoteEmptyFolders, nonEmpty)));
    QCOMPARE(bench.download.summary().failed, 0);
    QCOMPARE(bench.download.summary().zeroSize, 1);
    // The link leads to a folder already walked: nothing comes down twice.
    QCOMPARE(bench.download.summary().succeeded, 5);
    const cFTPList *tree = bench.folders.cachedList("/tree/");
    QVERIFY(tree);
    bool linkIsFolder = false;
    for (qint32 i = 0; i < tree->FileNumb(); ++i)
        linkIsFolder |= tree->FileName(i) == "link to nested" && tree->IsFolder(i);
    QVERIFY(linkIsFolder);
    QCOMPARE(bench.session.sCurrentDir(), QString("/"));

    // Up: the local tree as it is on disk, without dot-folders and zero-size files.
    QTemporaryDir source;
    QVERIFY(writeTree(source.path(), kLocalTree));
    QVERIFY(bench.upload.UploadSelected({source.filePath("up")}));
    const auto uploaded = [](const TreeFile &file) {
        return file.size > 0 && !file.path.contains("/.hidden/") && !file.path.contains("/.cache/");
    };
    QMap<QString, QString> onServer = treeOf(root + "/up");
    QMap<QString, QString> expected;
    const QMap<QString, QString> all = expectedTree(kLocalTree, {}, uploaded);
    for (auto it = all.cbegin(); it != all.cend(); ++it)
        expected[it.key().mid(3)] = it.value();
    expected.remove(QString());
    QCOMPARE(describe(onServer), describe(expected));
    QCOMPARE(bench.upload.summary().failed, 0);
    QCOMPARE(bench.upload.summary().zeroSize, 1);
    QCOMPARE(bench.host.refreshes, 1);

    // And down again what went up: byte-identical (dot-files are not listed, so not fetched).
    QTemporaryDir again;
    QVERIFY(bench.download.DownloadSelected(again.path(), QStringList{"/up/"}));
    const auto listed = [&](const TreeFile &file) { return uploaded(file) && !file.path.startsWith("up/."); };
    QCOMPARE(describe(treeOf(again.path())), describe(expectedTree(kLocalTree, {}, listed)));
    QCOMPARE(bench.download.summary().failed, 0);

    QVERIFY(bench.ui.logLines(LogColour::Red).isEmpty());
    QVERIFY2(bench.ui.failures.isEmpty(), qPrintable(bench.ui.failures.join('\n')));
}

QTEST_GUILESS_MAIN(TransferServerTest)
#include "TransferServerTest.moc"
