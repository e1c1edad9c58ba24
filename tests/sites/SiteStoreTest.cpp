// The site store: a tree saved and read back whole, entries and their defaults,
// damaged files, an interrupted save, the tree offered before the first save,
// and where the file lives.
#include "korvan/FtpSettings.h"
#include "sites/ConnectRules.h"
#include "sites/SiteStore.h"
#include "sites/mmEncrypt.h"

#include <QDir>
#include <QFile>
#include <QSet>
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

void preOrder(const Tree &tree, QList<const TreeNode *> &out)
{
    for (const TreeNode &node : tree) {
        out << &node;
        preOrder(node.children, out);
    }
}

TreeNode &childNamed(TreeNode &parent, const QString &text)
{
    for (TreeNode &child : parent.children) {
        if (child.text == text)
            return child;
    }
    qFatal("no child %s", qPrintable(text));
}

// The default tree with a nested folder in "Personal", a site renamed after it
// was made (caption no longer its key), a site whose password enciphers to a
// control character and a node with no image; every node keeps its children
// sorted, as a read makes them.
Tree sampleTree()
{
    Tree tree = defaultSiteTree();
    TreeNode &root = tree.front();
    TreeNode &nested = childNamed(root, u"Personal"_qs).children.emplace_back();
    nested.text = nested.key = u"Nested"_qs;
    nested.image = folderImage;
    nested.selectedImage = openFolderImage;
    SiteRecord record;
    record.server = u"deep.example.org"_qs;
    record.user = u"bob"_qs;
    record.password = mmEncrypt::Encrypt(u"4"_qs); // ends in \x05
    record.savePassword = u"1"_qs;
    TreeNode &deep = nested.children.emplace_back();
    deep.key = u"Deep"_qs;
    deep.text = u"Renamed deep"_qs;
    deep.image = siteImage;
    deep.tag = record.toTag();
    TreeNode &plain = nested.children.emplace_back();
    plain.text = plain.key = u"Without image"_qs;
    QList<const TreeNode *> all;
    preOrder(tree, all);
    for (const TreeNode *node : all)
        const_cast<TreeNode *>(node)->sorted = true;
    return tree;
}

PropertyBag bagOf(std::initializer_list<std::pair<const char *, PropertyBag::Value>> entries)
{
    PropertyBag bag;
    for (const auto &[name, value] : entries) {
        const QString n = QString::fromLatin1(name);
        std::visit(
            [&](const auto &v) {
                using T = std::decay_t<decltype(v)>;
                if constexpr (std::is_same_v<T, QString>)
                    bag.writeText(n, v);
                else if constexpr (std::is_same_v<T, qint16>)
                    bag.writeInt16(n, v);
                else
                    bag.writeInt32(n, v);
            },
            value);
    }
    return bag;
}

QByteArray sampleFile()
{
    const Tree tree = defaultSiteTree();
    return mRwTreeView::write(tree, tree.front()).contents();
}

QByteArray cutBefore(const QByteArray &file, const char *entryName)
{
    return file.left(file.indexOf(entryName));
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
    void encryptionLine_data();
    void encryptionLine();
    void entryNamesAndDefaults();
    void read_data();
    void read();
    void interruptedSaveKeepsOldFile();
    void defaultTree();
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

void SiteStoreTest::entryNamesAndDefaults()
{
    const Tree tree = sampleTree();
    const PropertyBag bag = mRwTreeView::write(tree, tree.front());
    QList<const TreeNode *> nodes;
    preOrder(tree, nodes);

    QCOMPARE(bag.readInteger(u"NumberOfNodes"_qs, -1).value_or(-1), nodes.size());
    QCOMPARE(bag.readText(u"Text10"_qs, {}), nodes.at(10)->text);
    QCOMPARE(bag.readText(u"KeyParent10"_qs, {}), u"MIS"_qs);
    QVERIFY(!bag.contains(u"KeyParent0"_qs)); // top level
    QVERIFY(!bag.contains(u"Tag0"_qs));       // a folder
    QVERIFY(!bag.contains(u"Text010"_qs));
    const auto withoutImage = std::find_if(nodes.cbegin(), nodes.cend(), [](const TreeNode *node) { return node->image == 0; });
    QVERIFY(withoutImage != nodes.cend());
    const qsizetype noImage = withoutImage - nodes.cbegin();
    QVERIFY(!bag.contains(u"Image"_qs + QString::number(noImage)));
    QVERIFY(bag.contains(u"Text"_qs + QString::number(noImage)));
}

void SiteStoreTest::read_data()
{
    QTest::addColumn<QByteArray>("file");
    QTest::addColumn<QString>("expectedShape");
    QTest::addColumn<bool>("whole"); // read went through and expanded the first node

    const QByteArray file = sampleFile();
    const auto bytes = [](const PropertyBag &bag) { return bag.contents(); };
    const PropertyBag::Value a = u"a"_qs;

    QTest::newRow("bytes after the store ignored") << file + "left over from a longer file" << QString() << true;
    QTest::newRow("empty file") << QByteArray() << "" << false;
    QTest::newRow("not a store") << QByteArray("NumberOfNodes=3\r\n") << "" << false;
    QTest::newRow("cut before the fourth node") << cutBefore(file, "Text3") << "FTP sites[MIS[CTAN]]" << false;
    QTest::newRow("cut inside the count") << file.left(10) << "" << false;
    QTest::newRow("no NumberOfNodes") << bytes(bagOf({{"Text0", a}})) << "" << true;
    QTest::newRow("NumberOfNodes 0") << bytes(bagOf({{"NumberOfNodes", qint32(0)}, {"Text0", a}})) << "" << true;
    QTest::newRow("NumberOfNodes not a number") << bytes(bagOf({{"NumberOfNodes", u"many"_qs}, {"Text0", a}})) << "" << false;
    QTest::newRow("16-bit count, missing entries as defaults")
        << bytes(bagOf({{"NumberOfNodes", qint16(2)}, {"Text0", a}, {"Key0", a}, {"Text1", u"b"_qs}, {"KeyParent1", a}}))
        << "a[b]" << true;
    QTest::newRow("parent key naming no node stops the read")
        << bytes(bagOf({{"NumberOfNodes", qint32(3)}, {"Text0", a}, {"Key0", a}, {"Text1", u"b"_qs}, {"KeyParent1", u"x"_qs},
                        {"Text2", u"c"_qs}}))
        << "a" << false;
    QTest::newRow("duplicate key stops the read")
        << bytes(bagOf({{"NumberOfNodes", qint32(2)}, {"Text0", a}, {"Key0", a}, {"Text1", u"b"_qs}, {"Key1", a}})) << "a"
        << false;
    QTest::newRow("keyless nodes may repeat")
        << bytes(bagOf({{"NumberOfNodes", qint32(2)}, {"Text0", a}, {"Text1", a}})) << "a,a" << true;
    QTest::newRow("image that is no number stops the read")
        << bytes(bagOf({{"NumberOfNodes", qint32(2)}, {"Text0", a}, {"Text1", u"b"_qs}, {"Image1", u"x"_qs}})) << "a" << false;
    QTest::newRow("huge count bounded by the entries")
        << bytes(bagOf({{"NumberOfNodes", qint32(2000000000)}, {"Text0", a}})) << "a," << true;
    QTest::newRow("children sorted by caption on reading")
        << bytes(bagOf({{"NumberOfNodes", qint32(3)}, {"Text0", a}, {"Key0", a}, {"Text1", u"b"_qs}, {"KeyParent1", a},
                        {"Text2", u"A"_qs}, {"KeyParent2", a}}))
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
    const bool saved1 = mRwTreeView::save(path, tree, tree.front());
    setrlimit(RLIMIT_FSIZE, &saved);
    std::signal(SIGXFSZ, previousHandler);

    QVERIFY(!saved1);
    QCOMPARE(readFile(path), oldBytes);
    QCOMPARE(QDir(dir.path()).entryList(QDir::Files), QStringList{u"FTPSite.dat"_qs});
}

void SiteStoreTest::defaultTree()
{
    const Tree tree = defaultSiteTree();
    QCOMPARE(mRwTreeView::countNodes(tree), 33);
    QCOMPARE(tree.size(), size_t(1));
    const TreeNode &root = tree.front();
    QCOMPARE(root.text, u"FTP sites"_qs);
    QStringList folders;
    QList<int> sitesPerFolder;
    QSet<QString> keys{root.key};
    QStringList folderSites;
    for (const TreeNode &folder : root.children) {
        folders << folder.text;
        sitesPerFolder << int(folder.children.size());
        QCOMPARE(folder.image, folderImage);
        QCOMPARE(folder.selectedImage, openFolderImage);
        keys << folder.key;
        for (const TreeNode &site : folder.children) {
            QCOMPARE(site.image, siteImage);
            QCOMPARE(site.key, site.text);
            keys << site.key;
            const SiteRecord record = SiteRecord::fromTag(site.tag);
            QVERIFY2(connectRules::serverNameAccepted(record.server), qPrintable(record.server));
            QCOMPARE(record.user, u"anonymous"_qs);
            QCOMPARE(mmEncrypt::Decrypt(record.password), sSiteAnonPassword);
            QCOMPARE(QStringList({record.anonymous, record.savePassword, record.passive, record.port, record.waitTime}),
                     QStringList({"1", "0", "0", "21", "30"}));
            if (!record.folder.isEmpty())
                folderSites << folder.text + u':' + record.folder;
        }
    }
    QCOMPARE(folders, QStringList({"MIS", "Personal", "Web Server"}));
    QCOMPARE(sitesPerFolder, QList<int>({18, 0, 11}));
    QCOMPARE(folderSites, QStringList{u"MIS:/pub/gnu"_qs});
    QCOMPARE(keys.size(), 33);
    QVERIFY(!root.expanded); // not read from a file
}

void SiteStoreTest::location_data()
{
    QTest::addColumn<bool>("componentFolderExists");
    QTest::addColumn<bool>("expectBesideComponent");
    QTest::newRow("writable component folder") << true << true;
    QTest::newRow("component folder not there") << false << false;
}

void SiteStoreTest::location()
{
    QFETCH(bool, componentFolderExists);
    QFETCH(bool, expectBesideComponent);
    QTemporaryDir dir;
    const QString component = dir.filePath(u"lib"_qs);
    if (componentFolderExists)
        QVERIFY(QDir().mkpath(component));
    const QString config = dir.filePath(u"config/korvan"_qs);
    QCOMPARE(siteStoreFile(component, config),
             QDir(expectBesideComponent ? component : config).filePath(u"FTPSite.dat"_qs));
}

QTEST_GUILESS_MAIN(SiteStoreTest)
#include "SiteStoreTest.moc"
