// The site manager driven as a user would: loading the store file, what a node
// shows, when Connect is enabled, New Folder / New Site / Delete, Save, and
// what Connect, Cancel, Escape and the close box leave behind.
#include "sites/dialogs/fFTPSites.h"
#include "DialogDriving.h"
#include "sites/mmEncrypt.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <QTreeWidget>

using namespace korvan;
using namespace dialogDriving;

namespace {

QTreeWidget *tree(QWidget &dialog)
{
    return control<QTreeWidget>(dialog, "TV1");
}

QTreeWidgetItem *node(QWidget &dialog, const QString &caption)
{
    const auto found = tree(dialog)->findItems(caption, Qt::MatchExactly | Qt::MatchRecursive);
    if (found.size() != 1)
        qFatal("%lld nodes named %s", qlonglong(found.size()), qPrintable(caption));
    return found.first();
}

int nodeCount(QWidget &dialog)
{
    return int(tree(dialog)->findItems(QString(), Qt::MatchContains | Qt::MatchRecursive).size());
}

// A mouse click on the node's caption, its folders opened first.
void click(QWidget &dialog, const QString &caption)
{
    QTreeWidgetItem *item = node(dialog, caption);
    for (QTreeWidgetItem *up = item->parent(); up; up = up->parent())
        up->setExpanded(true);
    QTreeWidget *view = tree(dialog);
    view->scrollToItem(item);
    QTest::mouseClick(view->viewport(), Qt::LeftButton, {}, view->visualItemRect(item).center());
}

QString currentCaption(QWidget &dialog)
{
    QTreeWidgetItem *current = tree(dialog)->currentItem();
    return current ? current->text(0) : QString();
}

TreeNode site(const QString &name, SiteRecord record)
{
    TreeNode node;
    node.text = node.key = name;
    node.image = siteImage;
    node.tag = record.toTag();
    return node;
}

// A root holding three sites: a named user with a kept password, an anonymous
// site whose password is not stored, and a site whose password is not kept.
Tree smallTree()
{
    Tree tree;
    TreeNode &root = tree.emplace_back();
    root.text = root.key = u"Sites"_qs;
    root.image = folderImage;
    root.selectedImage = openFolderImage;
    root.sorted = true;
    const QString pw = mmEncrypt::Encrypt(u"pw"_qs);
    root.children.push_back(site(u"Anon"_qs, {"anon.example.org", "anonymous", "", "", "1", "0", "0", "21", "30"}));
    root.children.push_back(site(u"Named"_qs, {"named.example.org", "bob", pw, "/home/bob", "0", "1", "1", "2121", "45", "1"}));
    root.children.push_back(site(u"Unkept"_qs, {"unkept.example.org", "eve", pw, "", "0", "0", "0", "21", "30"}));
    return tree;
}

QByteArray fileBytes(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

class SiteManagerTest : public QObject {
    Q_OBJECT
private slots:
    void init();
    void loads_data();
    void loads();
    void loadingLeavesAnonymousBoxAlone();
    void showsNode_data();
    void showsNode();
    void validateFields_data();
    void validateFields();
    void session_data();
    void session();
    void editsKeptWhenMovingAndRenameKeepsKeyOnSave();
    void unkeptPasswordDroppedOnSave();
    void collapsingHidesNoSelection();
    void closing_data();
    void closing();
    void help();
    void tabOrder();

private:
    std::unique_ptr<QTemporaryDir> dir_;
    QString storeFile_;
    FtpSettings settings_;
};

void SiteManagerTest::init()
{
    dir_ = std::make_unique<QTemporaryDir>();
    storeFile_ = dir_->filePath(u"FTPSite.dat"_qs);
    settings_ = FtpSettings();
}

void SiteManagerTest::loads_data()
{
    QTest::addColumn<QString>("file"); // "none", "small", "cut", "empty"
    QTest::addColumn<int>("nodes");
    QTest::addColumn<bool>("rootExpanded");
    QTest::addColumn<int>("nodesAfterNewSite"); // New Site in the root, if there is one

    QTest::newRow("no file: the default tree") << "none" << 33 << false << 34;
    QTest::newRow("saved tree") << "small" << 4 << true << 5;
    QTest::newRow("file cut short") << "cut" << 2 << false << 3;
    QTest::newRow("empty file") << "empty" << 0 << false << 0;
}

void SiteManagerTest::loads()
{
    QFETCH(QString, file);
    const Tree small = smallTree();
    QVERIFY(mRwTreeView::save(storeFile_, small, small.front()));
    const QByteArray bytes = fileBytes(storeFile_);
    if (file == u"none")
        QFile::remove(storeFile_);
    else if (file != u"small")
        QFile(storeFile_).resize(file == u"cut" ? bytes.indexOf("Text2") : 0);

    fFTPSites dialog(nullptr, settings_, storeFile_);
    QTEST(nodeCount(dialog), "nodes");
    QTreeWidgetItem *root = tree(dialog)->topLevelItem(0);
    QTEST(root && root->isExpanded(), "rootExpanded");
    QCOMPARE(currentCaption(dialog), root ? root->text(0) : QString());
    // The root is shown: its name cannot change and there is nothing to connect to.
    QCOMPARE(control(dialog, "txtFTPName")->text(), currentCaption(dialog));
    QVERIFY(!control(dialog, "txtFTPName")->isEnabled());
    QVERIFY(!control(dialog, "txtFTPServer")->isEnabled());
    QVERIFY(!control<QPushButton>(dialog, "cmdConnect")->isEnabled());
    QTest::mouseClick(control<QPushButton>(dialog, "cmdSession(1)"), Qt::LeftButton);
    QTEST(nodeCount(dialog), "nodesAfterNewSite");
}

void SiteManagerTest::loadingLeavesAnonymousBoxAlone()
{
    // A hand-made file whose first node is a site: while loading, its user
    // name must not set the anonymous box (which would then empty the user).
    Tree solo;
    solo.push_back(site(u"Solo"_qs, {"solo.example.org", "Anonymous", mmEncrypt::Encrypt(u"x"_qs), "", "0", "1", "0", "21", "30"}));
    QVERIFY(mRwTreeView::save(storeFile_, solo, solo.front()));
    fFTPSites dialog(nullptr, settings_, storeFile_);
    QCOMPARE(control(dialog, "txtFTPUser")->text(), u"Anonymous"_qs);
    QCOMPARE(control(dialog, "txtFTPPassword")->text(), u"x"_qs);
    QVERIFY(!control<QCheckBox>(dialog, "chkAnonymous")->isChecked());
}

void SiteManagerTest::showsNode_data()
{
    QTest::addColumn<QString>("caption");
    QTest::addColumn<QStringList>("shown"); // server, user, password, folder, port, waiting time
    QTest::addColumn<QString>("checks");    // anonymous, save password, passive; the encryption's index
    QTest::addColumn<bool>("masked");
    QTest::addColumn<bool>("connect");

    QTest::newRow("named site") << "Named" << QStringList{"named.example.org", "bob", "pw", "/home/bob", "2121", "45"}
                                << "0111" << true << true;
    QTest::newRow("anonymous, no stored password") << "Anon"
                                                   << QStringList{"anon.example.org", "anonymous", sAnonPassword, "", "21", "30"}
                                                   << "1000" << false << true;
    QTest::newRow("folder") << "Sites" << QStringList{"", "", "", "", "", ""} << "0000" << true << false;
}

void SiteManagerTest::showsNode()
{
    const Tree small = smallTree();
    QVERIFY(mRwTreeView::save(storeFile_, small, small.front()));
    fFTPSites dialog(nullptr, settings_, storeFile_);
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));
    click(dialog, u"Anon"_qs); // from an anonymous site, so a named one must clear the check box
    QFETCH(QString, caption);
    click(dialog, caption);

    QCOMPARE(currentCaption(dialog), caption);
    QCOMPARE(control(dialog, "txtFTPName")->text(), caption);
    const QStringList shown{control(dialog, "txtFTPServer")->text(), control(dialog, "txtFTPUser")->text(),
                            control(dialog, "txtFTPPassword")->text(), control(dialog, "txtFTPDir")->text(),
                            control(dialog, "txtFTPPort")->text(), control(dialog, "txtFTPWaitTime")->text()};
    QTEST(shown, "shown");
    QString checks;
    for (const char *box : {"chkAnonymous", "chkSavePassword", "chkFTPPassive"})
        checks += control<QCheckBox>(dialog, box)->isChecked() ? u'1' : u'0';
    checks += QString::number(control<QComboBox>(dialog, "cmbEncryption")->currentIndex());
    QTEST(checks, "checks");
    QTEST(control(dialog, "txtFTPPassword")->echoMode() == QLineEdit::Password, "masked");
    QTEST(control<QPushButton>(dialog, "cmdConnect")->isEnabled(), "connect");
    // Shown, then stored in its normal form: an anonymous site's empty password enciphered.
    const SiteRecord record = SiteRecord::fromTag(siteItems::tag(node(dialog, caption)));
    QCOMPARE(mmEncrypt::Decrypt(record.password), shown.at(2));
    saveScreenshot(dialog, u"fFTPSites-"_qs + caption);
}

void SiteManagerTest::validateFields_data()
{
    QTest::addColumn<bool>("enabledBefore");
    QTest::addColumn<QString>("port"); // set in this order: port, waiting time, name, server, password
    QTest::addColumn<QString>("waitTime");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("server");
    QTest::addColumn<QString>("password");
    QTest::addColumn<bool>("enabled");

    QTest::newRow("two-word server") << true << "21" << "30" << "n" << "beta.gamma" << "pw" << false;
    QTest::newRow("four-number address") << false << "21" << "30" << "n" << "10.0.0.1" << "pw" << true;
    QTest::newRow("empty name") << true << "21" << "30" << "" << "alpha.beta.gamma" << "pw" << false;
    QTest::newRow("empty password") << true << "21" << "30" << "n" << "alpha.beta.gamma" << "" << false;
    QTest::newRow("port 0 stays and disables") << true << "0" << "30" << "n" << "alpha.beta.gamma" << "pw" << false;
    QTest::newRow("waiting time below 1") << true << "21" << "0.5" << "n" << "alpha.beta.gamma" << "pw" << false;
    QTest::newRow("port abc keeps Connect enabled") << true << "abc" << "30" << "n" << "beta.gamma" << "" << true;
    QTest::newRow("port abc keeps Connect disabled") << false << "abc" << "30" << "n" << "alpha.beta.gamma" << "pw" << false;
}

void SiteManagerTest::validateFields()
{
    const Tree small = smallTree();
    QVERIFY(mRwTreeView::save(storeFile_, small, small.front()));
    fFTPSites dialog(nullptr, settings_, storeFile_);
    dialog.show();
    click(dialog, u"Named"_qs);
    QFETCH(bool, enabledBefore);
    if (!enabledBefore)
        control(dialog, "txtFTPServer")->setText(u"gamma"_qs);
    auto *connectButton = control<QPushButton>(dialog, "cmdConnect");
    QCOMPARE(connectButton->isEnabled(), enabledBefore);

    QFETCH(QString, port);
    QFETCH(QString, waitTime);
    QFETCH(QString, name);
    QFETCH(QString, server);
    QFETCH(QString, password);
    control(dialog, "txtFTPPort")->setText(port);
    control(dialog, "txtFTPWaitTime")->setText(waitTime);
    control(dialog, "txtFTPName")->setText(name);
    control(dialog, "txtFTPServer")->setText(server);
    control(dialog, "txtFTPPassword")->setText(password);
    QTEST(connectButton->isEnabled(), "enabled");
    QCOMPARE(control(dialog, "txtFTPPort")->text(), port);
}

void SiteManagerTest::session_data()
{
    QTest::addColumn<QString>("select");
    QTest::addColumn<QList<int>>("buttons"); // cmdSession indices, clicked in turn
    QTest::addColumn<QString>("current");
    QTest::addColumn<QString>("currentParent");
    QTest::addColumn<int>("nodes");

    using L = QList<int>;
    const int folder = fFTPSites::NewFolder, site = fFTPSites::NewSite, del = fFTPSites::Delete;
    QTest::newRow("two new sites") << "Web Server" << L{site, site} << "_New Site35" << "Web Server" << 35;
    QTest::newRow("new site beside a site") << "Debian" << L{site} << "_New Site34" << "Web Server" << 34;
    QTest::newRow("new folder in a folder") << "Personal" << L{folder} << "_New Folder34" << "Personal" << 34;
    QTest::newRow("new folder beside a site") << "FUNET" << L{folder} << "_New Folder34" << "MIS" << 34;
    QTest::newRow("new site in a new folder") << "Personal" << L{folder, site} << "_New Site35" << "_New Folder34" << 35;
    QTest::newRow("delete the root: nothing") << "FTP sites" << L{del} << "FTP sites" << "" << 33;
    QTest::newRow("delete selects the next sibling") << "Debian" << L{del} << "FreeBSD" << "Web Server" << 32;
    QTest::newRow("delete the last child selects its parent") << "Python" << L{del} << "Web Server" << "FTP sites" << 32;
    QTest::newRow("delete a folder with its sites") << "Web Server" << L{del} << "FTP sites" << "" << 21;
}

void SiteManagerTest::session()
{
    fFTPSites dialog(nullptr, settings_, storeFile_);
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));
    QFETCH(QString, select);
    QFETCH(QList<int>, buttons);
    click(dialog, select);
    for (const int index : buttons)
        QTest::mouseClick(control<QPushButton>(dialog, QStringLiteral("cmdSession(%1)").arg(index)),
                          Qt::LeftButton);

    QTEST(currentCaption(dialog), "current");
    QTreeWidgetItem *current = tree(dialog)->currentItem();
    QTEST(current->parent() ? current->parent()->text(0) : QString(), "currentParent");
    QTEST(nodeCount(dialog), "nodes");
    // The selected node is shown; a new site is anonymous with the site password.
    QCOMPARE(control(dialog, "txtFTPName")->text(), current->text(0));
    QCOMPARE(siteItems::key(current), current->text(0));
    if (current->text(0).startsWith(u"_New Site")) {
        QCOMPARE(control(dialog, "txtFTPUser")->text(), u"anonymous"_qs);
        QCOMPARE(control(dialog, "txtFTPPassword")->text(), sSiteAnonPassword);
        QCOMPARE(control(dialog, "txtFTPPort")->text() + u'/' + control(dialog, "txtFTPWaitTime")->text(), u"21/30"_qs);
        QVERIFY(control<QCheckBox>(dialog, "chkAnonymous")->isChecked());
        QVERIFY(!control<QPushButton>(dialog, "cmdConnect")->isEnabled()); // no server yet
    }
    if (QTest::currentDataTag() == QByteArray("two new sites"))
        saveScreenshot(dialog, u"fFTPSites-new-site"_qs);
}

void SiteManagerTest::editsKeptWhenMovingAndRenameKeepsKeyOnSave()
{
    const Tree small = smallTree();
    QVERIFY(mRwTreeView::save(storeFile_, small, small.front()));
    fFTPSites dialog(nullptr, settings_, storeFile_);
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));
    click(dialog, u"Named"_qs);
    type(control(dialog, "txtFTPServer"), u"moved.example.org"_qs);
    type(control(dialog, "txtFTPName"), u"Zed"_qs);
    click(dialog, u"Anon"_qs);

    QTreeWidgetItem *root = tree(dialog)->topLevelItem(0);
    QCOMPARE(root->child(root->childCount() - 1)->text(0), u"Zed"_qs); // kept in caption order
    QCOMPARE(SiteRecord::fromTag(siteItems::tag(node(dialog, u"Zed"_qs))).server, u"moved.example.org"_qs);

    QTest::mouseClick(control<QPushButton>(dialog, "cmdSave"), Qt::LeftButton);
    QVERIFY(dialog.isVisible());
    Tree saved;
    QVERIFY(mRwTreeView::read(storeFile_, saved));
    const TreeNode &renamed = saved.front().children.back();
    QCOMPARE(renamed.text + u'/' + renamed.key, u"Zed/Named"_qs);
    QCOMPARE(SiteRecord::fromTag(renamed.tag).server, u"moved.example.org"_qs);
}

void SiteManagerTest::unkeptPasswordDroppedOnSave()
{
    const Tree small = smallTree();
    QVERIFY(mRwTreeView::save(storeFile_, small, small.front()));
    fFTPSites dialog(nullptr, settings_, storeFile_);
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));
    click(dialog, u"Unkept"_qs);
    QCOMPARE(control(dialog, "txtFTPPassword")->text(), u"pw"_qs);
    QTest::mouseClick(control<QPushButton>(dialog, "cmdSave"), Qt::LeftButton);

    Tree saved;
    QVERIFY(mRwTreeView::read(storeFile_, saved));
    QStringList passwords; // Anon, Named, Unkept
    for (const TreeNode &node : saved.front().children)
        passwords << mmEncrypt::Decrypt(SiteRecord::fromTag(node.tag).password);
    QCOMPARE(passwords, QStringList({"", "pw", ""}));
    QCOMPARE(SiteRecord::fromTag(siteItems::tag(node(dialog, u"Unkept"_qs))).password, QString()); // the tree too

    // Opened again, the site asks for its password before it can connect.
    fFTPSites reopened(nullptr, settings_, storeFile_);
    reopened.show();
    QVERIFY(QTest::qWaitForWindowExposed(&reopened));
    click(reopened, u"Unkept"_qs);
    QCOMPARE(control(reopened, "txtFTPPassword")->text(), QString());
    QVERIFY(!control<QPushButton>(reopened, "cmdConnect")->isEnabled());
    type(control(reopened, "txtFTPPassword"), u"again"_qs);
    QVERIFY(control<QPushButton>(reopened, "cmdConnect")->isEnabled());
}

void SiteManagerTest::collapsingHidesNoSelection()
{
    fFTPSites dialog(nullptr, settings_, storeFile_);
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));
    click(dialog, u"Debian"_qs);
    type(control(dialog, "txtFTPServer"), u"ftp.debian.net"_qs);
    node(dialog, u"MIS"_qs)->setExpanded(true);
    node(dialog, u"MIS"_qs)->setExpanded(false); // another folder: nothing moves
    QCOMPARE(currentCaption(dialog), u"Debian"_qs);
    QCOMPARE(control(dialog, "txtFTPServer")->text(), u"ftp.debian.net"_qs);

    node(dialog, u"Web Server"_qs)->setExpanded(false);
    QCOMPARE(currentCaption(dialog), u"Web Server"_qs);
    QCOMPARE(control(dialog, "txtFTPName")->text(), u"Web Server"_qs);
    QCOMPARE(SiteRecord::fromTag(siteItems::tag(node(dialog, u"Debian"_qs))).server, u"ftp.debian.net"_qs);
}

void SiteManagerTest::closing_data()
{
    closingRows();
}

void SiteManagerTest::closing()
{
    QFETCH(QString, how);
    const Tree small = smallTree();
    QVERIFY(mRwTreeView::save(storeFile_, small, small.front()));
    const QByteArray before = fileBytes(storeFile_);
    settings_.sFTPServer = u"old.example.org"_qs;
    fFTPSites dialog(nullptr, settings_, storeFile_);
    dialog.show();
    QVERIFY(QTest::qWaitForWindowActive(&dialog));
    click(dialog, u"Named"_qs);
    type(control(dialog, "txtFTPPassword"), u"typed"_qs);

    closeBy(dialog, how);

    QVERIFY(!dialog.isVisible());
    QTEST(dialog.Canceled(), "canceled");
    QFETCH(bool, settingsWritten);
    QCOMPARE(summary(settings_), settingsWritten
                                     ? QStringList({"named.example.org", "bob", "typed", "/home/bob", "2121", "45", "passive"})
                                     : QStringList({"old.example.org", "", "", "", "21", "30", "active"}));
    QCOMPARE(fileBytes(storeFile_), before); // only Save writes the file
}

void SiteManagerTest::help()
{
    fFTPSites dialog(nullptr, settings_, storeFile_);
    dialog.show();
    QString text;
    QTimer::singleShot(0, this, [&text] {
        auto *box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget());
        if (!box)
            return;
        text = box->text();
        saveScreenshot(*box, u"fFTPSites-help"_qs);
        box->accept();
    });
    QTest::mouseClick(control<QPushButton>(dialog, "cmdHelp"), Qt::LeftButton);
    QCOMPARE(text, u"1. Passwords are stored as encrypted text for the password protection.\r\n"
                   "2. All FTP site details are stored in FTPSite.dat of the system folder.\r\n"_qs);
}

void SiteManagerTest::tabOrder()
{
    const Tree small = smallTree();
    QVERIFY(mRwTreeView::save(storeFile_, small, small.front()));
    fFTPSites dialog(nullptr, settings_, storeFile_);
    dialog.show();
    QVERIFY(QTest::qWaitForWindowActive(&dialog));
    QCOMPARE(QApplication::focusWidget(), tree(dialog));
    QTest::keyClick(tree(dialog), Qt::Key_Down); // to the first site, by keyboard
    QCOMPARE(control(dialog, "txtFTPServer")->text(), u"anon.example.org"_qs);
    QCOMPARE(tabWalk(19), QStringList({"TV1", "cmdSession(0)", "cmdSession(1)", "cmdSession(2)", "txtFTPName",
                                   "txtFTPServer", "txtFTPUser", "txtFTPPassword", "txtFTPDir", "txtFTPPort",
                                   "txtFTPWaitTime", "chkAnonymous", "chkSavePassword", "chkFTPPassive", "cmbEncryption", "cmdSave",
                                   "cmdConnect", "cmdCancel", "cmdHelp", "TV1"}));
}

QTEST_MAIN(SiteManagerTest)
#include "SiteManagerTest.moc"
