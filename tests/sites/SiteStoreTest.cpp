// The site store: its file written and read (damaged and hostile files too), where it lives, the cipher.
#include "sites/SiteStore.h"
#include "encoding/Windows1252.h"
#include "fixtures/TestFiles.h"
#include "korvan/FtpSettings.h"
#include "sites/ConnectRules.h"
#include "sites/mmEncrypt.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <sys/resource.h>

using namespace korvan;
using korvan::test::readFile;

namespace {

// "caption[child,child[grandchild]]" for every top-level node, comma-separated.
QString shape(const Tree &tree)
{
    QStringList parts;
    for (const TreeNode &node : tree)
        parts << (node.children.empty() ? node.text : node.text + u'[' + shape(node.children) + u']');
    return parts.join(u',');
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

void markSorted(Tree &tree)
{
    for (TreeNode &node : tree) {
        node.sorted = true;
        markSorted(node.children);
    }
}

// The default tree, sorted as a read leaves it, with in "Personal" (node 20) a folder holding a renamed site (caption
// no longer its key) whose password enciphers to a control character, and a node with no image.
Tree sampleTree()
{
    Tree tree = defaultSiteTree();
    TreeNode &nested = addChild(*std::next(tree.front().children.begin()), u"Nested"_qs, u"Nested"_qs, folderImage);
    const QString enciphered = mmEncrypt::Encrypt(u"4"_qs); // ends in \x05
    const SiteRecord deep{"deep.example.org", "bob", enciphered, "/", "0", "1", "0", "21", "30", "1"};
    addChild(nested, u"Deep"_qs, u"Renamed deep"_qs, siteImage, deep.toTag());
    addChild(nested, u"Without image"_qs, u"Without image"_qs, 0);
    markSorted(tree);
    return tree;
}

// Space-separated "name=text", "name=#n" (32 bits) or "name=%n" (16 bits).
QByteArray storeBytes(const QString &entries)
{
    PropertyBag bag;
    for (const QString &entry : entries.split(u' ')) {
        const QString name = entry.section(u'=', 0, 0);
        const QString value = entry.section(u'=', 1);
        if (value.startsWith(u'#'))
            bag.writeInt32(name, value.mid(1).toInt());
        else if (value.startsWith(u'%'))
            bag.writeInt16(name, qint16(value.mid(1).toInt()));
        else
            bag.writeText(name, value);
    }
    return bag.contents();
}

} // namespace

class SiteStoreTest : public QObject {
    Q_OBJECT
private slots:
    void roundTripAndEntryNames();
    void read_data();
    void read();
    void interruptedSaveKeepsOldFile();
    void defaultSites();
    void location();
    void cipherKnownPairs_data();
    void cipherKnownPairs();
    void cipherRoundTripAndLimit();
};

// Entries are named by the pre-order index; values equal to their default are left out.
void SiteStoreTest::roundTripAndEntryNames()
{
    QTemporaryDir dir;
    const QString path = dir.filePath(u"new folder/FTPSite.dat"_qs);
    Tree written = sampleTree();
    QVERIFY(mRwTreeView::save(path, written, written.front()));
    Tree read;
    QVERIFY(mRwTreeView::read(path, read));
    written.front().expanded = true;
    QVERIFY(read == written); // keys, images, tags (control characters kept) too

    PropertyBag bag;
    QVERIFY(bag.setContents(readFile(path)));
    QCOMPARE(bag.readInteger(u"NumberOfNodes"_qs, -1).value_or(-1), 36);
    QCOMPARE(bag.readText(u"KeyParent10"_qs, {}), u"MIS"_qs);
    QCOMPARE(bag.readText(u"Key22"_qs, {}) + u'/' + bag.readText(u"Text22"_qs, {}), u"Deep/Renamed deep"_qs);
    QCOMPARE(bag.readText(u"KeyParent22"_qs, {}), u"Nested"_qs);
    QCOMPARE(bag.readText(u"Text23"_qs, {}), u"Without image"_qs);
    for (const char *absent : {"KeyParent0", "Tag0", "Text010", "Text36", "Image23"})
        QVERIFY2(!bag.contains(QLatin1String(absent)), absent);

    // The encryption is a tenth line, written only when it is not plain; anything unknown reads as plain.
    const QString nine = u"h\r\nu\r\n\r\n/\r\n0\r\n0\r\n1\r\n21\r\n30"_qs;
    QCOMPARE(SiteRecord::fromTag(nine + u"\r\n0"_qs).toTag(), nine);
    QCOMPARE(SiteRecord::fromTag(nine + u"\r\n1"_qs).toTag(), nine + u"\r\n1"_qs);
    QCOMPARE(SiteRecord::fromTag(nine + u"\r\n7"_qs).encryptionIndex(), 0);
}

void SiteStoreTest::read_data()
{
    QTest::addColumn<QByteArray>("file");
    QTest::addColumn<QString>("expectedShape"); // "default": the default tree
    QTest::addColumn<bool>("whole");            // read went through and expanded the first node

    const Tree defaults = defaultSiteTree();
    QTest::newRow("bytes after the store ignored")
        << mRwTreeView::write(defaults, defaults.front()).contents() + "left over" << u"default"_qs << true;
    QTest::newRow("not a store") << QByteArray("NumberOfNodes=3\r\n") << QString() << false;
    QTest::newRow("no NumberOfNodes") << storeBytes(u"Text0=a"_qs) << QString() << true;
    QTest::newRow("NumberOfNodes not a number") << storeBytes(u"NumberOfNodes=many Text0=a"_qs) << QString() << false;
    QTest::newRow("16-bit count, missing entries as defaults")
        << storeBytes(u"NumberOfNodes=%2 Text0=a Key0=a Text1=b KeyParent1=a"_qs) << u"a[b]"_qs << true;
    QTest::newRow("parent key naming no node stops the read")
        << storeBytes(u"NumberOfNodes=#3 Text0=a Key0=a Text1=b KeyParent1=x Text2=c"_qs) << u"a"_qs << false;
    QTest::newRow("duplicate key stops the read")
        << storeBytes(u"NumberOfNodes=#2 Text0=a Key0=a Text1=b Key1=a"_qs) << u"a"_qs << false;
    QTest::newRow("keyless nodes may repeat")
        << storeBytes(u"NumberOfNodes=#2 Text0=a Text1=a"_qs) << u"a,a"_qs << true;
    QTest::newRow("image that is no number stops the read")
        << storeBytes(u"NumberOfNodes=#2 Text0=a Text1=b Image1=x"_qs) << u"a"_qs << false;
    QTest::newRow("huge count bounded by the entries")
        << storeBytes(u"NumberOfNodes=#2000000000 Text0=a"_qs) << u"a,"_qs << true;
    QTest::newRow("children sorted by caption on reading")
        << storeBytes(u"NumberOfNodes=#3 Text0=a Key0=a Text1=b KeyParent1=a Text2=A KeyParent2=a"_qs) << u"a[A,b]"_qs
        << true;
}

void SiteStoreTest::read()
{
    QFETCH(QByteArray, file);
    QFETCH(QString, expectedShape);
    QFETCH(bool, whole);
    PropertyBag bag;
    const bool bagWhole = bag.setContents(file);
    Tree tree = defaultSiteTree(); // what was there before is replaced
    QCOMPARE(mRwTreeView::read(bag, bagWhole, tree), whole);
    QCOMPARE(shape(tree), expectedShape == u"default" ? shape(defaultSiteTree()) : expectedShape);
    QCOMPARE(!tree.empty() && tree.front().expanded, whole && !tree.empty());
}

void SiteStoreTest::interruptedSaveKeepsOldFile()
{
    QTemporaryDir dir;
    const QString path = dir.filePath(u"FTPSite.dat"_qs);
    const QByteArray oldBytes = "old";
    QVERIFY(test::writeFile(path, oldBytes));

    // A disk that fills up mid-save: writes past 1 KiB fail (the new file is larger).
    rlimit saved{};
    QCOMPARE(getrlimit(RLIMIT_FSIZE, &saved), 0);
    const auto previousHandler = std::signal(SIGXFSZ, SIG_IGN);
    const rlimit small{1024, saved.rlim_max};
    QCOMPARE(setrlimit(RLIMIT_FSIZE, &small), 0);
    const Tree tree = defaultSiteTree();
    const bool written = mRwTreeView::save(path, tree, tree.front());
    setrlimit(RLIMIT_FSIZE, &saved);
    std::signal(SIGXFSZ, previousHandler);

    QVERIFY(!written);
    QCOMPARE(readFile(path), oldBytes);
    QCOMPARE(QDir(dir.path()).entryList(QDir::Files), QStringList{u"FTPSite.dat"_qs});
}

// Every offered site logs on anonymously with the site password to a server the connect dialogs accept, on port 21 with
// 30 s of waiting.
void SiteStoreTest::defaultSites()
{
    const Tree tree = defaultSiteTree();
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

// Beside the component's folder when it exists, else in the user's config.
void SiteStoreTest::location()
{
    QTemporaryDir dir;
    const QString component = dir.filePath(u"lib"_qs);
    const QString config = dir.filePath(u"config/korvan"_qs);
    QCOMPARE(siteStoreFile(component, config), config + u"/FTPSite.dat"_qs);
    QVERIFY(QDir().mkpath(component));
    QCOMPARE(siteStoreFile(component, config), component + u"/FTPSite.dat"_qs);
}

// Windows-1252 bytes written "=XX", Base64, each character XORed with the key character of its position (14 of them,
// then again), unless that gives 0.
void SiteStoreTest::cipherKnownPairs_data()
{
    QTest::addColumn<QString>("password"); // null: text typed into the file by hand
    QTest::addColumn<QString>("enciphered");
    QTest::addColumn<QString>("deciphered");
    QTest::newRow("key wraps after 14") << u"Abcd"_qs << QStringLiteral("hfhMactJfdkKh`a\x02") << u"Abcd"_qs;
    QTest::newRow("control character kept") << u"4"_qs << QStringLiteral("hft\x05") << u"4"_qs;
    QTest::newRow("zero xor keeps character") << u"9"_qs << u"hft5"_qs << u"9"_qs;
    QTest::newRow("non-ASCII") << QStringLiteral("é€") << u"hgl5acJD"_qs << QStringLiteral("é€");
    QTest::newRow("character outside the code page") << QStringLiteral("\u0100") << u"hfwr"_qs << u"?"_qs;
    // "hfhMac" XORs to "PTQxPT": "=41" and a lone "=" that starts no escape.
    QTest::newRow("hand-typed: truncated") << QString() << u"hfhMac"_qs << u"A="_qs;
    // 0x0C XOR the fifth key character is "=", which ends the Base64 data.
    QTest::newRow("hand-typed: padding ends data") << QString() << u"hfhM\014ctJ"_qs << u"A"_qs;
    QTest::newRow("hand-typed: outside the code page") << QString() << QStringLiteral("hfhM\u0100") << u"A"_qs;
}

void SiteStoreTest::cipherKnownPairs()
{
    QFETCH(QString, password);
    QFETCH(QString, enciphered);
    if (!password.isNull())
        QCOMPARE(mmEncrypt::Encrypt(password), enciphered);
    QTEST(mmEncrypt::Decrypt(enciphered), "deciphered");
}

// Every byte of the code page: four plain ASCII characters each, never "=" padding, and back whole. Positions are
// counted in 16 bits: 8191 bytes make 32764 characters, 8192 too many.
void SiteStoreTest::cipherRoundTripAndLimit()
{
    QByteArray every(256, '\0');
    for (int i = 0; i < 256; ++i)
        every[i] = static_cast<char>(i);
    const QString password = windows1252::toUnicode(every);
    const QString enciphered = mmEncrypt::Encrypt(password);
    QCOMPARE(enciphered.size(), 4 * password.size());
    for (const QChar c : enciphered)
        QVERIFY2(c.unicode() > 0 && c.unicode() < 128 && c != u'=', qPrintable(QString::number(c.unicode())));
    QCOMPARE(mmEncrypt::Decrypt(enciphered), password);
    const QString longest(8191, u'x');
    QCOMPARE(mmEncrypt::Decrypt(mmEncrypt::Encrypt(longest)), longest);
    QVERIFY_THROWS_EXCEPTION(CipherLengthError, mmEncrypt::Encrypt(QString(8192, u'x')));
    QVERIFY_THROWS_EXCEPTION(CipherLengthError, mmEncrypt::Decrypt(QString(32768, u'h')));
}

QTEST_GUILESS_MAIN(SiteStoreTest)
#include "SiteStoreTest.moc"
