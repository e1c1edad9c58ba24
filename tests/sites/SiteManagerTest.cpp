// The site manager driven as a user would: loading the store file, what a node
// shows, when Connect is enabled, New Folder / New Site / Delete, Save, and
// what Connect, Cancel, Escape and the close box leave behind.
#include "sites/dialogs/fFTPSites.h"
#include "DialogDriving.h"
#include "sites/mmEncrypt.h"

#include <QCheckBox>
#include <QComboBox>
#include <QMessageBox>
#include <QTemporaryDir>
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

// The form as shown: the text boxes, then the check boxes (anonymous, save
// password, passive) and the encryption index, then whether the password is
// masked and Connect enabled.
QStringList form(QWidget &dialog)
{
    QStringList shown;
    for (const char *box : {"txtFTPName", "txtFTPServer", "txtFTPUser", "txtFTPPassword", "txtFTPDir", "txtFTPPort",
                            "txtFTPWaitTime"})
        shown << control(dialog, box)->text();
    QString flags;
    for (const char *box : {"chkAnonymous", "chkSavePassword", "chkFTPPassive"})
        flags += control<QCheckBox>(dialog, box)->isChecked() ? u'1' : u'0';
    flags += QString::number(control<QComboBox>(dialog, "cmbEncryption")->currentIndex());
    const bool masked = control(dialog, "txtFTPPassword")->echoMode() == QLineEdit::Password;
    return shown << flags << (masked ? u"masked"_qs : u"plain"_qs)
                 << (control<QPushButton>(dialog, "cmdConnect")->isEnabled() ? u"connect"_qs : u"-"_qs);
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
    root.children.push_back(
        site(u"Named"_qs, {"named.example.org", "bob", pw, "/home/bob", "0", "1", "1", "2121", "45", "1"}));
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
    void cleanup();
    void loads_data();
    void loads();
    void loadingLeavesAnonymousBoxAlone();
    void showsNode_data();
    void showsNode();
    void connectEnabled_data();
    void connectEnabled();
    void session_data();
    void session();
    void saveKeepsEditsAndKeysDropsUnkeptPasswords();
    void collapsingSelectsTheFolder();
    void closing_data();
    void closing();
    void help();

private:
    // The dialog on the store file, shown; the file holds the small tree
    // unless the test changed it.
    fFTPSites &open();

    std::unique_ptr<QTemporaryDir> dir_;
    QString storeFile_;
    FtpSettings settings_;
    std::unique_ptr<fFTPSites> dialog_;
};

void SiteManagerTest::init()
{
    dir_ = std::make_unique<QTemporaryDir>();
    storeFile_ = dir_->filePath(u"FTPSite.dat"_qs);
    settings_ = FtpSettings();
    const Tree small = smallTree();
    QVERIFY(mRwTreeView::save(storeFile_, small, small.front()));
}

void SiteManagerTest::cleanup()
{
    dialog_.reset();
}

fFTPSites &SiteManagerTest::open()
{
    dialog_ = std::make_unique<fFTPSites>(nullptr, settings_, storeFile_);
    dialog_->show();
    if (!QTest::qWaitForWindowActive(dialog_.get()))
        qWarning("site manager not active");
    return *dialog_;
}

void SiteManagerTest::loads_data()
{
    QTest::addColumn<qint64>("keptBytes"); // of the small tree's file; -1: no file
    QTest::addColumn<int>("nodes");
    QTest::addColumn<bool>("rootExpanded");
    QTest::addColumn<int>("nodesAfterNewSite"); // New Site in the root, if there is one

    const Tree small = smallTree();
    const QByteArray file = mRwTreeView::write(small, small.front()).contents();
    QTest::newRow("no file: the default tree") << qint64(-1) << 33 << false << 34;
    QTest::newRow("saved tree") << file.size() << 4 << true << 5;
    QTest::newRow("file cut short") << file.indexOf("Text2") << 2 << false << 3;
    QTest::newRow("empty file") << qint64(0) << 0 << false << 0;
}

void SiteManagerTest::loads()
{
    QFETCH(qint64, keptBytes);
    if (keptBytes < 0)
        QFile::remove(storeFile_);
    else
        QFile(storeFile_).resize(keptBytes);

    fFTPSites &dialog = open();
    QCOMPARE(QApplication::focusWidget(), tree(dialog));
    QCOMPARE(unnamedControls(dialog), QStringList());
    QTEST(nodeCount(dialog), "nodes");
    QTreeWidgetItem *root = tree(dialog)->topLevelItem(0);
    QTEST(root && root->isExpanded(), "rootExpanded");
    // The root is shown: its name cannot change and there is nothing to connect to.
    QCOMPARE(form(dialog).constFirst(), root ? root->text(0) : QString());
    QCOMPARE(form(dialog).constLast(), u"-"_qs);
    QVERIFY(!control(dialog, "txtFTPName")->isEnabled());
    QVERIFY(!control(dialog, "txtFTPServer")->isEnabled());
    QTest::mouseClick(control<QPushButton>(dialog, "cmdSession(1)"), Qt::LeftButton);
    QTEST(nodeCount(dialog), "nodesAfterNewSite");
}

// A hand-made file whose first node is a site: while loading, its user name
// must not set the anonymous box (which would then empty the user).
void SiteManagerTest::loadingLeavesAnonymousBoxAlone()
{
    Tree solo{site(u"Solo"_qs,
                   {"solo.example.org", "Anonymous", mmEncrypt::Encrypt(u"x"_qs), "", "0", "1", "0", "21", "30"})};
    QVERIFY(mRwTreeView::save(storeFile_, solo, solo.front()));
    QCOMPARE(form(open()).mid(2, 2), QStringList({"Anonymous", "x"}));
    QVERIFY(!control<QCheckBox>(*dialog_, "chkAnonymous")->isChecked());
}

void SiteManagerTest::showsNode_data()
{
    QTest::addColumn<QString>("caption");
    QTest::addColumn<QStringList>("shown"); // as form() reads it

    QTest::newRow("named site") << "Named"
                                << QStringList{"Named", "named.example.org", "bob", "pw", "/home/bob", "2121", "45",
                                               "0111", "masked", "connect"};
    QTest::newRow("anonymous, no stored password")
        << "Anon" << QStringList{"Anon",  "anon.example.org", "anonymous", sAnonPassword, "", "21", "30", "1000",
                                 "plain", "connect"};
    QTest::newRow("folder") << "Sites" << QStringList{"Sites", "", "", "", "", "", "", "0000", "masked", "-"};
}

void SiteManagerTest::showsNode()
{
    fFTPSites &dialog = open();
    click(dialog, u"Anon"_qs); // from an anonymous site, so a named one must clear the check box
    QFETCH(QString, caption);
    click(dialog, caption);

    QCOMPARE(currentCaption(dialog), caption);
    QFETCH(QStringList, shown);
    QCOMPARE(form(dialog), shown);
    // Shown, then stored in its normal form: an anonymous site's empty password enciphered.
    const SiteRecord record = SiteRecord::fromTag(siteItems::tag(node(dialog, caption)));
    QCOMPARE(mmEncrypt::Decrypt(record.password), shown.at(3));
    saveScreenshot(dialog, u"fFTPSites-"_qs + caption);
}

// The rules the quick-connect dialog shares are checked there; these differ.
void SiteManagerTest::connectEnabled_data()
{
    QTest::addColumn<QString>("box");
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("enabled");

    QTest::newRow("two-word server") << "txtFTPServer" << "beta.gamma" << false;
    QTest::newRow("empty name") << "txtFTPName" << "" << false;
    QTest::newRow("empty password") << "txtFTPPassword" << "" << false;
    QTest::newRow("port 0 stays and disables") << "txtFTPPort" << "0" << false;
    QTest::newRow("waiting time below 1") << "txtFTPWaitTime" << "0.5" << false;
    QTest::newRow("port abc keeps Connect enabled") << "txtFTPPort" << "abc" << true;
}

void SiteManagerTest::connectEnabled()
{
    fFTPSites &dialog = open();
    click(dialog, u"Named"_qs);
    QCOMPARE(form(dialog).constLast(), u"connect"_qs);
    QFETCH(QString, box);
    QFETCH(QString, text);
    control(dialog, box)->setText(text);
    QFETCH(bool, enabled);
    QCOMPARE(form(dialog).constLast(), enabled ? u"connect"_qs : u"-"_qs);
    QCOMPARE(control(dialog, box)->text(), text);
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
    QFile::remove(storeFile_); // the default tree
    fFTPSites &dialog = open();
    QFETCH(QString, select);
    QFETCH(QList<int>, buttons);
    click(dialog, select);
    for (const int index : buttons)
        QTest::mouseClick(control<QPushButton>(dialog, QStringLiteral("cmdSession(%1)").arg(index)), Qt::LeftButton);

    QTEST(currentCaption(dialog), "current");
    QTreeWidgetItem *current = tree(dialog)->currentItem();
    QTEST(current->parent() ? current->parent()->text(0) : QString(), "currentParent");
    QTEST(nodeCount(dialog), "nodes");
    QCOMPARE(siteItems::key(current), current->text(0));
    // The selected node is shown; a new site is anonymous with the site password.
    const QStringList shown = form(dialog);
    QCOMPARE(shown.constFirst(), current->text(0));
    if (current->text(0).startsWith(u"_New Site")) {
        QCOMPARE(shown.mid(1), QStringList({"", "anonymous", sSiteAnonPassword, "", "21", "30", "1000", "plain", "-"}));
        saveScreenshot(dialog, u"fFTPSites-new-site"_qs);
    }
}

// Edits stay with their site when another is selected; Save writes them, keeps
// a renamed site's key and drops the password of a site that is not to keep it.
void SiteManagerTest::saveKeepsEditsAndKeysDropsUnkeptPasswords()
{
    fFTPSites &dialog = open();
    click(dialog, u"Named"_qs);
    type(control(dialog, "txtFTPServer"), u"moved.example.org"_qs);
    type(control(dialog, "txtFTPName"), u"Zed"_qs);
    click(dialog, u"Unkept"_qs);
    QCOMPARE(control(dialog, "txtFTPPassword")->text(), u"pw"_qs);
    QTreeWidgetItem *root = tree(dialog)->topLevelItem(0);
    QCOMPARE(root->child(root->childCount() - 1)->text(0), u"Zed"_qs); // kept in caption order

    QTest::mouseClick(control<QPushButton>(dialog, "cmdSave"), Qt::LeftButton);
    QVERIFY(dialog.isVisible());
    Tree saved;
    QVERIFY(mRwTreeView::read(storeFile_, saved));
    QStringList sites; // caption/key server password
    for (const TreeNode &node : saved.front().children) {
        const SiteRecord record = SiteRecord::fromTag(node.tag);
        sites << node.text + u'/' + node.key + u' ' + record.server + u' ' + mmEncrypt::Decrypt(record.password);
    }
    QCOMPARE(sites, QStringList({"Anon/Anon anon.example.org ", "Unkept/Unkept unkept.example.org ",
                                 "Zed/Named moved.example.org pw"}));
    QCOMPARE(SiteRecord::fromTag(siteItems::tag(node(dialog, u"Unkept"_qs))).password, QString()); // the tree too
}

// Collapsing the selected site's folder selects the folder, the site's edits kept;
// collapsing another folder moves nothing.
void SiteManagerTest::collapsingSelectsTheFolder()
{
    QFile::remove(storeFile_);
    fFTPSites &dialog = open();
    click(dialog, u"Debian"_qs);
    type(control(dialog, "txtFTPServer"), u"ftp.debian.net"_qs);
    node(dialog, u"MIS"_qs)->setExpanded(true);
    node(dialog, u"MIS"_qs)->setExpanded(false);
    QCOMPARE(form(dialog).mid(0, 2), QStringList({"Debian", "ftp.debian.net"}));

    node(dialog, u"Web Server"_qs)->setExpanded(false);
    QCOMPARE(form(dialog).constFirst(), u"Web Server"_qs);
    QCOMPARE(SiteRecord::fromTag(siteItems::tag(node(dialog, u"Debian"_qs))).server, u"ftp.debian.net"_qs);
}

void SiteManagerTest::closing_data()
{
    closingRows();
}

// Only Connect writes the settings; only Save writes the file.
void SiteManagerTest::closing()
{
    QFETCH(QString, how);
    const QByteArray before = fileBytes(storeFile_);
    settings_.sFTPServer = u"old.example.org"_qs;
    fFTPSites &dialog = open();
    click(dialog, u"Named"_qs);
    type(control(dialog, "txtFTPPassword"), u"typed"_qs);

    closeBy(dialog, how);

    QVERIFY(!dialog.isVisible());
    QTEST(dialog.Canceled(), "canceled");
    QFETCH(bool, settingsWritten);
    QCOMPARE(summary(settings_),
             settingsWritten
                 ? QStringList({"named.example.org", "bob", "typed", "/home/bob", "2121", "45", "passive", "1"})
                 : QStringList({"old.example.org", "", "", "", "21", "30", "active", "0"}));
    QCOMPARE(fileBytes(storeFile_), before);
}

void SiteManagerTest::help()
{
    fFTPSites &dialog = open();
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

QTEST_MAIN(SiteManagerTest)
#include "SiteManagerTest.moc"
