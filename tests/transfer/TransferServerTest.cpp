// The download and upload engines against the four real Debian FTP servers on
// loopback, passive and active: a prepared tree comes down as it is on the
// server, a local tree goes up as it is on disk, and what went up comes down
// byte for byte.

#include "fixtures/HeadlessUi.h"
#include "ftp/FtpSession.h"
#include "korvan/FtpSettings.h"
#include "listing/FolderRetrieval.h"
#include "servers/FtpServer.h"
#include "transfer/DownloadEngine.h"
#include "transfer/TransferHost.h"
#include "transfer/UploadEngine.h"

#include <QCryptographicHash>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QMap>
#include <QTemporaryDir>
#include <QTest>

using namespace korvan;
using namespace korvan::test;

namespace {

// "name with blanks" uses single blanks: listings collapse runs of blanks.
struct TreeFile {
    QString path;
    qint64 size;
};

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

// Bytes that differ per file and per position, so a swapped or shifted file shows.
QByteArray contentOf(const QString &path, qint64 size)
{
    QByteArray bytes(size, Qt::Uninitialized);
    const uint seed = qHash(path);
    for (qint64 i = 0; i < size; ++i)
        bytes[i] = char((i * 131 + seed + (i >> 10) * 7) & 0xFF);
    return bytes;
}

bool writeTree(const QString &root, const QList<TreeFile> &files, const QStringList &emptyFolders = {})
{
    for (const QString &folder : emptyFolders) {
        if (!QDir().mkpath(root + "/" + folder))
            return false;
    }
    for (const TreeFile &file : files) {
        const QString path = root + "/" + file.path;
        QDir().mkpath(QFileInfo(path).path());
        QFile out(path);
        const QByteArray bytes = contentOf(file.path, file.size);
        if (!out.open(QIODevice::WriteOnly) || out.write(bytes) != bytes.size())
            return false;
    }
    return true;
}

// Every file and folder below root (links not followed): "folder/" or "file:size:sha1".
QMap<QString, QString> treeOf(const QString &root)
{
    QMap<QString, QString> tree;
    QDirIterator it(root, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        it.next();
        const QFileInfo info = it.fileInfo();
        const QString relative = QDir(root).relativeFilePath(info.filePath());
        if (info.isSymLink()) {
            tree[relative] = "link";
        } else if (info.isDir()) {
            tree[relative + "/"] = "folder";
        } else {
            QFile file(info.filePath());
            file.open(QIODevice::ReadOnly);
            tree[relative] = QString::number(info.size()) + ":"
                             + QCryptographicHash::hash(file.readAll(), QCryptographicHash::Sha1).toHex();
        }
    }
    return tree;
}

// What a tree should look like: its files, their folders and the empty folders.
QMap<QString, QString> expectedTree(const QList<TreeFile> &files, const QStringList &emptyFolders,
                                    const std::function<bool(const TreeFile &)> &keep)
{
    QMap<QString, QString> tree;
    auto addFolders = [&](QString path) {
        for (qsizetype cut = path.indexOf('/'); cut > 0; cut = path.indexOf('/', cut + 1))
            tree[path.left(cut) + "/"] = "folder";
    };
    for (const QString &folder : emptyFolders)
        addFolders(folder + "/");
    for (const TreeFile &file : files) {
        if (!keep(file))
            continue;
        addFolders(file.path);
        tree[file.path] = QString::number(file.size) + ":"
                          + QCryptographicHash::hash(contentOf(file.path, file.size), QCryptographicHash::Sha1).toHex();
    }
    return tree;
}

QString describe(const QMap<QString, QString> &tree)
{
    QStringList lines;
    for (auto it = tree.cbegin(); it != tree.cend(); ++it)
        lines << it.key() + " = " + it.value();
    return lines.join('\n');
}

struct CountingHost : TransferHost {
    int refreshes = 0;
    int labelCalls = 0;
    void progressSetLabels(const QString &, const QString &, const QString &) override { ++labelCalls; }
    void refreshCurrentFolder() override { ++refreshes; }
};

struct Bench {
    explicit Bench(ServerKind kind)
        : server(kind), session(ui), folders(session, ui), download(session, ui, folders, &host),
          upload(session, ui, &host)
    {
    }
    ~Bench()
    {
        if (qEnvironmentVariableIsSet("KORVAN_TEST_LOG"))
            qInfo().noquote() << ui.logText();
    }
    FtpServer server;
    HeadlessUi ui;
    FtpSession session;
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
    QTest::addColumn<ServerKind>("kind");
    QTest::addColumn<bool>("passive");
    for (ServerKind kind : allServerKinds()) {
        QTest::newRow(qPrintable(serverName(kind) + " passive")) << kind << true;
        QTest::newRow(qPrintable(serverName(kind) + " active")) << kind << false;
    }
}

void TransferServerTest::treesBothWays()
{
    QFETCH(ServerKind, kind);
    QFETCH(bool, passive);
    Bench bench(kind);
    QString startError;
    QVERIFY2(bench.server.start(&startError), qPrintable(startError));
    const QString root = bench.server.rootDir();
    QVERIFY(writeTree(root, kRemoteTree, kRemoteEmptyFolders));
    // A link to a folder: its contents belong to the folder it leads to.
    QVERIFY(QFile::link("nested", root + "/tree/link to nested"));
    bench.server.handOver();
    FtpSettings &settings = ftpSettings();
    settings.sFTPServer = bench.server.host();
    settings.nFTPPort = bench.server.port();
    settings.sFTPUser = bench.server.user();
    settings.sFTPPassword = bench.server.password();
    settings.sFTPDir.clear();
    settings.bPassive = passive;
    settings.nFTPWaitTime = 20;
    QVERIFY(bench.session.LogOn());
    QCOMPARE(bench.session.sCurrentDir, QString("/"));

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
    QCOMPARE(bench.session.sCurrentDir, QString("/"));

    // Up: the local tree as it is on disk, without dot-folders and zero-size files.
    QTemporaryDir source;
    QVERIFY(writeTree(source.path(), kLocalTree));
    QVERIFY(bench.upload.UploadSelected({source.filePath("up")}));
    const auto uploaded = [](const TreeFile &file) { return file.size > 0 && !file.path.contains("/.hidden/") &&
                                                            !file.path.contains("/.cache/"); };
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
