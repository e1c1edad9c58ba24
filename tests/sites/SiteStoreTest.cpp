// The site store: a tree saved and read back whole, the file's entry names,
// damaged and hostile files, an interrupted save, the tree offered before the
// first save, and where the file lives.
#include "korvan/FtpSettings.h"
#include "sites/ConnectRules.h"
#include "sites/SiteStore.h"
#include "sites/mmEncrypt.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <sys/resource.h>

using namespace korvan;

namespace {

// "caption[child,child[grandchild]]" for every top-level node, comma-separated.
QString shape(const Tree &tree)
{
    QStringList parts;
    for (const TreeNode &node : tree)
        parts << (node.children.empty() ? node.text : node.text + u'[' + shape(node.children) + u']');
    return parts.join(u',');
}

// What a read makes of every node: it keeps its children sorted.
void markSorted(Tree &tree)
{
    for (TreeNode &node : tree) {
        node.sorted = true;
        markSorted(node.children);
    }
}

TreeNode &addChild(TreeNode &parent, const QString &key, const QString &text, qint32 image, const QString &tag = {})
{
    TreeNode &child = parent.children.emplace_back();
    child.key = key;
    child.text = text;
    child.image = image;
    child.tag = tag;
    return child;
}

// The default tree with, in "Personal" (node 20), a nested folder holding
// a site renamed after it was made (caption no longer its key) whose password
// enciphers to a control character, and a node with no image.
Tree sampleTree()
{
    Tree tree = defaultSiteTree();
    TreeNode &personal = *std::next(tree.front().children.begin());
    TreeNode &nested = addChild(personal, u"Nested"_qs, u"Nested"_qs, folderImage);
    nested.selectedImage = openFolderImage;
    const QString enciphered = mmEncrypt::Encrypt(u"4"_qs); // ends in \x05
    const SiteRecord deep{"deep.example.org", "bob", enciphered, "/", "0", "1", "0", "21", "30", "1"};
    addChild(nested, u"Deep"_qs, u"Renamed deep"_qs, siteImage, deep.toTag());
    addChild(nested, u"Without image"_qs, u"Without image"_qs, 0);
    markSorted(tree);
    return tree;
}

using Entries = QList<std::pair<QString, PropertyBag::Value>>;

QByteArray storeBytes(const Entries &entries)
{
    PropertyBag bag;
    for (const auto &[name, value] : entries) {
        if (const auto *text = std::get_if<QString>(&value))
            bag.writeText(name, *text);
        else if (const auto *small = std::get_if<qint16>(&value))
            bag.writeInt16(name, *small);
        else
            bag.writeInt32(name, std::get<qint32>(value));
    }
    return bag.contents();
}

QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

class SiteStoreTest : public QObject {
    Q_OBJECT
private slots:
    void roundTrip();
    void entryNames();
    void encryptionLine_data();
    void encryptionLine();
    void read_data();
    void read();
    void interruptedSaveKeepsOldFile();
    void defaultSites();
    void location_data();
    void location();
};

void SiteStoreTest::roundTrip()
{
    QTemporaryDir dir;
    const QString path = dir.filePath(u"new folder/FTPSite.dat"_qs);
    Tree written = sampleTree();
    QVERIFY(mRwTreeView::save(path, written, written.front()));

    Tree read;
    QVERIFY(mRwTreeView::read(path, read));
    written.front().expanded = true;
    QCOMPARE(shape(read), shape(written));
    QVERIFY(read == written); // keys, images, tags (control characters kept) too
}

// Entries are named by the pre-order index; values equal to their default are left out.
void SiteStoreTest::entryNames()
{
    const Tree tree = sampleTree();
    const PropertyBag bag = mRwTreeView::write(tree, tree.front());
    QCOMPARE(bag.readInteger(u"NumberOfNodes"_qs, -1).value_or(-1), 36);
    QCOMPARE(bag.readText(u"KeyParent10"_qs, {}), u"MIS"_qs);
    QCOMPARE(bag.readText(u"Key22"_qs, {}) + u'/' + bag.readText(u"Text22"_qs, {}), u"Deep/Renamed deep"_qs);
    QCOMPARE(bag.readText(u"KeyParent22"_qs, {}), u"Nested"_qs);
    QCOMPARE(bag.readText(u"Image23"_qs, u"none"_qs), u"none"_qs);
    QCOMPARE(bag.readText(u"Text23"_qs, {}), u"Without image"_qs);
    for (const char *absent : {"KeyParent0", "Tag0", "Text010", "Text36"})
        QVERIFY2(!bag.contains(QLatin1String(absent)), absent);
}

// The encryption is a tenth line, written only when it is not plain.
void SiteStoreTest::encryptionLine_data()
{
    QTest::addColumn<QString>("tenth");
    QTest::addColumn<int>("index");
    QTest::addColumn<int>("linesWritten");
    QTest::newRow("missing: plain") << QString() << 0 << 9;
    QTest::newRow("explicit TLS") << "1" << 1 << 10;
    QTest::newRow("implicit TLS") << "2" << 2 << 10;
    QTest::newRow("0: plain, not written") << "0" << 0 << 9;
    QTest::newRow("unknown: plain") << "7" << 0 << 9;
}

void SiteStoreTest::encryptionLine()
{
    QFETCH(QString, tenth);
    QString tag = u"h\r\nu\r\n\r\n/\r\n0\r\n0\r\n1\r\n21\r\n30"_qs;
    if (!tenth.isEmpty())
        tag += u"\r\n"_qs + tenth;
    const SiteRecord record = SiteRecord::fromTag(tag);
    QTEST(record.encryptionIndex(), "index");
    QCOMPARE(record.waitTime, u"30"_qs);
    QTEST(int(record.toTag().count(u"\r\n"_qs)) + 1, "linesWritten");
}

void SiteStoreTest::read_data()
{
    QTest::addColumn<QByteArray>("file");
    QTest::addColumn<QString>("expectedShape"); // null: the default tree
    QTest::addColumn<bool>("whole");            // read went through and expanded the first node

    const Tree defaults = defaultSiteTree();
    const QByteArray file = mRwTreeView::write(defaults, defaults.front()).contents();
    const QString a = u"a"_qs;
    const QString b = u"b"_qs;

    QTest::newRow("bytes after the store ignored") << file + "left over from a longer file" << QString() << true;
    QTest::newRow("empty file") << QByteArray() << "" << false;
    QTest::newRow("not a store") << QByteArray("NumberOfNodes=3\r\n") << "" << false;
    QTest::newRow("cut before the fourth node") << file.left(file.indexOf("Text3")) << "FTP sites[MIS[CTAN]]" << false;
    QTest::newRow("cut inside the count") << file.left(10) << "" << false;
    QTest::newRow("no NumberOfNodes") << storeBytes({{"Text0", a}}) << "" << true;
    QTest::newRow("NumberOfNodes 0") << storeBytes({{"NumberOfNodes", qint32(0)}, {"Text0", a}}) << "" << true;
    QTest::newRow("NumberOfNodes not a number")
        << storeBytes({{"NumberOfNodes", u"many"_qs}, {"Text0", a}}) << "" << false;
    QTest::newRow("16-bit count, missing entries as defaults")
        << storeBytes({{"NumberOfNodes", qint16(2)}, {"Text0", a}, {"Key0", a}, {"Text1", b}, {"KeyParent1", a}})
        << "a[b]" << true;
    QTest::newRow("parent key naming no node stops the read")
        << storeBytes({{"NumberOfNodes", qint32(3)}, {"Text0", a}, {"Key0", a}, {"Text1", b}, {"KeyParent1", u"x"_qs},
                       {"Text2", u"c"_qs}})
        << "a" << false;
    QTest::newRow("duplicate key stops the read")
        << storeBytes({{"NumberOfNodes", qint32(2)}, {"Text0", a}, {"Key0", a}, {"Text1", b}, {"Key1", a}}) << "a"
        << false;
    QTest::newRow("keyless nodes may repeat")
        << storeBytes({{"NumberOfNodes", qint32(2)}, {"Text0", a}, {"Text1", a}}) << "a,a" << true;
    QTest::newRow("image that is no number stops the read")
        << storeBytes({{"NumberOfNodes", qint32(2)}, {"Text0", a}, {"Text1", b}, {"Image1", u"x"_qs}}) << "a" << false;
    QTest::newRow("huge count bounded by the entries")
        << storeBytes({{"NumberOfNodes", qint32(2000000000)}, {"Text0", a}}) << "a," << true;
    QTest::newRow("children sorted by caption on reading")
        << storeBytes({{"NumberOfNodes", qint32(3)}, {"Text0", a}, {"Key0", a}, {"Text1", b}, {"KeyParent1", a},
                       {"Text2", u"A"_qs}, {"KeyParent2", a}})
        << "a[A,b]" << true;
}

void SiteStoreTest::read()
{
    QFETCH(QByteArray, file);
    QFETCH(QString, expectedShape);
    QFETCH(bool, whole);
    if (expectedShape.isNull())
        expectedShape = shape(defaultSiteTree());

    PropertyBag bag;
    const bool bagWhole = bag.setContents(file);
    Tree tree = defaultSiteTree(); // what was there before is replaced
    QCOMPARE(mRwTreeView::read(bag, bagWhole, tree), whole);
    QCOMPARE(shape(tree), expectedShape);
    QCOMPARE(!tree.empty() && tree.front().expanded, whole && !tree.empty());
}

void SiteStoreTest::interruptedSaveKeepsOldFile()
{
    QTemporaryDir dir;
    const QString path = dir.filePath(u"FTPSite.dat"_qs);
    Tree old;
    old.emplace_back().text = u"old"_qs;
    QVERIFY(mRwTreeView::save(path, old, old.front()));
    const QByteArray oldBytes = readFile(path);

    // A disk that fills up mid-save: writes past 1 KiB fail (the new file is larger).
    rlimit saved{};
    QCOMPARE(getrlimit(RLIMIT_FSIZE, &saved), 0);
    const auto previousHandler = std::signal(SIGXFSZ, SIG_IGN);
    rlimit small = saved;
    small.rlim_cur = 1024;
    QCOMPARE(setrlimit(RLIMIT_FSIZE, &small), 0);
    const Tree tree = defaultSiteTree();
    const bool written = mRwTreeView::save(path, tree, tree.front());
    setrlimit(RLIMIT_FSIZE, &saved);
    std::signal(SIGXFSZ, previousHandler);

    QVERIFY(!written);
    QCOMPARE(readFile(path), oldBytes);
    QCOMPARE(QDir(dir.path()).entryList(QDir::Files), QStringList{u"FTPSite.dat"_qs});
}

// Every offered site logs on anonymously with the site password to a server the
// connect dialogs accept, on port 21 with 30 s of waiting.
void SiteStoreTest::defaultSites()
{
    const Tree tree = defaultSiteTree();
    QCOMPARE(shape(tree).count(u'['), 3); // the root and two folders hold nodes
    for (const TreeNode &folder : tree.front().children) {
        for (const TreeNode &site : folder.children) {
            const SiteRecord record = SiteRecord::fromTag(site.tag);
            QVERIFY2(connectRules::serverNameAccepted(record.server), qPrintable(record.server));
            QCOMPARE(mmEncrypt::Decrypt(record.password), sSiteAnonPassword);
            QCOMPARE(QStringList({site.key, record.user, record.anonymous, record.savePassword, record.passive,
                                  record.port, record.waitTime}),
                     QStringList({site.text, "anonymous", "1", "0", "0", "21", "30"}));
        }
    }
}

void SiteStoreTest::location_data()
{
    QTest::addColumn<bool>("componentFolderExists");
    QTest::newRow("writable component folder: beside it") << true;
    QTest::newRow("component folder not there: the user's config") << false;
}

void SiteStoreTest::location()
{
    QFETCH(bool, componentFolderExists);
    QTemporaryDir dir;
    const QString component = dir.filePath(u"lib"_qs);
    if (componentFolderExists)
        QVERIFY(QDir().mkpath(component));
    const QString config = dir.filePath(u"config/korvan"_qs);
    QCOMPARE(siteStoreFile(component, config),
             QDir(componentFolderExists ? component : config).filePath(u"FTPSite.dat"_qs));
}

QTEST_GUILESS_MAIN(SiteStoreTest)
#include "SiteStoreTest.moc"
