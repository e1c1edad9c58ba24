// The two connect dialogs driven as a user would: the site manager on its store
// file (loading, what a node shows, New Folder / New Site / Delete, Save), quick
// connect (the anonymous box and the user name), when Connect (and so Enter)
// works, and what Connect, Cancel, Escape and the close box leave behind.
#include "DialogDriving.h"
#include "fixtures/TestFiles.h"
#include "sites/dialogs/fFTPQuick.h"
#include "sites/dialogs/fFTPSites.h"
#include "sites/mmEncrypt.h"

#include <QCheckBox>
#include <QComboBox>
#include <QMessageBox>
#include <QTemporaryDir>
#include <QTreeWidget>

using namespace korvan;
using namespace korvan::test;

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
    tree(dialog)->scrollToItem(item);
    QTest::mouseClick(tree(dialog)->viewport(), Qt::LeftButton, {}, tree(dialog)->visualItemRect(item).center());
}

// The site manager's form as shown: the text boxes, then the check boxes (anonymous,
// save password, passive) and the encryption index, whether the password is masked,
// whether Connect is enabled.
QStringList form(QWidget &dialog)
{
    QStringList shown;
    for (const char *box :
         {"txtFTPName", "txtFTPServer", "txtFTPUser", "txtFTPPassword", "txtFTPDir", "txtFTPPort", "txtFTPWaitTime"})
        shown << control(dialog, box)->text();
    QString flags;
    for (const char *box : {"chkAnonymous", "chkSavePassword", "chkFTPPassive"})
        flags += control<QCheckBox>(dialog, box)->isChecked() ? u'1' : u'0';
    flags += QString::number(control<QComboBox>(dialog, "cmbEncryption")->currentIndex());
    const bool masked = control(dialog, "txtFTPPassword")->echoMode() == QLineEdit::Password;
    return shown << flags << (masked ? u"masked"_qs : u"plain"_qs)
                 << (control<QPushButton>(dialog, "cmdConnect")->isEnabled() ? u"connect"_qs : u"-"_qs);
}

// server, user, password, folder, port, waiting time, "passive" or "active", encryption
QStringList summary(const FtpSettings &s)
{
    return {s.sFTPServer,
            s.sFTPUser,
            s.sFTPPassword,
            s.sFTPDir,
            QString::number(s.nFTPPort),
            QString::number(s.nFTPWaitTime),
            s.bPassive ? u"passive"_qs : u"active"_qs,
            QString::number(int(s.nEncryption))};
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

} // namespace

class ConnectDialogsTest : public QObject {
    Q_OBJECT
private slots:
    void init();
    void cleanup();
    void loads_data();
    void loads();
    void loadingLeavesAnonymousBoxAlone();
    void showsNode_data();
    void showsNode();
    void quickShows_data();
    void quickShows();
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
    // The site manager on the store file (the small tree unless the test changed
    // it), or quick connect; shown and active.
    QDialog &open(bool quick = false);

    std::unique_ptr<QTemporaryDir> dir_;
    QString storeFile_;
    FtpSettings settings_;
    std::unique_ptr<ConnectDialog> dialog_;
};

void ConnectDialogsTest::init()
{
    dir_ = std::make_unique<QTemporaryDir>();
    storeFile_ = dir_->filePath(u"FTPSite.dat"_qs);
    settings_ = FtpSettings();
    settings_.sFTPServer = u"ftp.example.org"_qs;
    settings_.sFTPUser = u"bob"_qs;
    settings_.sFTPPassword = u"secret"_qs;
    settings_.sFTPDir = u"/pub"_qs;
    settings_.nFTPPort = 2121;
    settings_.nFTPWaitTime = 45;
    settings_.bPassive = true;
    settings_.nEncryption = FtpEncryption::ExplicitTls;
    const Tree small = smallTree();
    QVERIFY(mRwTreeView::save(storeFile_, small, small.front()));
}

void ConnectDialogsTest::cleanup()
{
    dialog_.reset();
}

QDialog &ConnectDialogsTest::open(bool quick)
{
    if (quick)
        dialog_ = std::make_unique<fFTPQuick>(nullptr, settings_);
    else
        dialog_ = std::make_unique<fFTPSites>(nullptr, settings_, storeFile_);
    dialog_->show();
    if (!QTest::qWaitForWindowActive(dialog_.get()))
        qWarning("dialog not active");
    return *dialog_;
}

void ConnectDialogsTest::loads_data()
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

void ConnectDialogsTest::loads()
{
    QFETCH(qint64, keptBytes);
    if (keptBytes < 0)
        QFile::remove(storeFile_);
    else
        QFile(storeFile_).resize(keptBytes);

    QDialog &dialog = open();
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
void ConnectDialogsTest::loadingLeavesAnonymousBoxAlone()
{
    Tree solo{site(u"Solo"_qs,
                   {"solo.example.org", "Anonymous", mmEncrypt::Encrypt(u"x"_qs), "", "0", "1", "0", "21", "30"})};
    QVERIFY(mRwTreeView::save(storeFile_, solo, solo.front()));
    QCOMPARE(form(open()).mid(2, 3), QStringList({"Anonymous", "x", ""}));
    QVERIFY(!control<QCheckBox>(*dialog_, "chkAnonymous")->isChecked());
}

void ConnectDialogsTest::showsNode_data()
{
    QTest::addColumn<QString>("caption");
    QTest::addColumn<QStringList>("shown"); // as form() reads it

    QTest::newRow("named site") << u"Named"_qs << QStringList{"Named",     "named.example.org",
                                                              "bob",       "pw",
                                                              "/home/bob", "2121",
                                                              "45",        "0111",
                                                              "masked",    "connect"};
    QTest::newRow("anonymous, no stored password")
        << u"Anon"_qs << QStringList{"Anon",  "anon.example.org", "anonymous", sAnonPassword, "", "21", "30", "1000",
                                     "plain", "connect"};
    QTest::newRow("folder") << u"Sites"_qs << QStringList{"Sites", "", "", "", "", "", "", "0000", "masked", "-"};
}

void ConnectDialogsTest::showsNode()
{
    QFETCH(QString, caption);
    QFETCH(QStringList, shown);
    QDialog &dialog = open();
    click(dialog, u"Anon"_qs); // from an anonymous site, so a named one must clear the check box
    click(dialog, caption);
    QCOMPARE(tree(dialog)->currentItem()->text(0), caption);
    QCOMPARE(form(dialog), shown);
    // Shown, then stored in its normal form: an anonymous site's empty password enciphered.
    const SiteRecord record = SiteRecord::fromTag(siteItems::tag(node(dialog, caption)));
    QCOMPARE(mmEncrypt::Decrypt(record.password), shown.at(3));
    if (caption == u"Named")
        saveScreenshot(&dialog, u"fFTPSites"_qs);
}

void ConnectDialogsTest::quickShows_data()
{
    QTest::addColumn<QString>("user");
    QTest::addColumn<QString>("action"); // "": as opened; text typed as the user; "click" on the check box
    QTest::addColumn<QString>("shownUser");
    QTest::addColumn<QString>("shownPassword");
    QTest::addColumn<bool>("anonymous");

    QTest::newRow("opened: no user is anonymous") << QString() << QString() << u"anonymous"_qs << sAnonPassword << true;
    QTest::newRow("opened: named user") << u"bob"_qs << QString() << u"bob"_qs << u"secret"_qs << false;
    QTest::newRow("opened: anonymous user keeps its password")
        << u"Anonymous"_qs << QString() << u"Anonymous"_qs << u"secret"_qs << true;
    QTest::newRow("typing Anonymous sets the box")
        << u"bob"_qs << u"Anonymous"_qs << u"anonymous"_qs << sAnonPassword << true;
    QTest::newRow("typing another name clears it") << QString() << u"bobby"_qs << u"bobby"_qs << QString() << false;
    QTest::newRow("clearing the box empties an anonymous user")
        << QString() << u"click"_qs << QString() << QString() << false;
    QTest::newRow("setting the box fills in anonymous")
        << u"bob"_qs << u"click"_qs << u"anonymous"_qs << sAnonPassword << true;
}

// The password is masked unless the log-on is anonymous.
void ConnectDialogsTest::quickShows()
{
    QFETCH(QString, user);
    QFETCH(QString, action);
    QFETCH(bool, anonymous);
    settings_.sFTPUser = user;
    settings_.sFTPPassword = user.isEmpty() ? QString() : u"secret"_qs;
    QDialog &dialog = open(true);
    QCOMPARE(QApplication::focusWidget(), control(dialog, "txtFTPAccount(0)"));
    QCOMPARE(unnamedControls(dialog), QStringList());
    if (action == u"click")
        QTest::mouseClick(control<QCheckBox>(dialog, "chkAnonymous"), Qt::LeftButton, {}, QPoint(5, 5));
    else if (!action.isEmpty())
        type(control(dialog, "txtFTPAccount(1)"), action);

    QTEST(control(dialog, "txtFTPAccount(1)")->text(), "shownUser");
    QTEST(control(dialog, "txtFTPAccount(2)")->text(), "shownPassword");
    QCOMPARE(control<QCheckBox>(dialog, "chkAnonymous")->isChecked(), anonymous);
    QCOMPARE(control(dialog, "txtFTPAccount(2)")->echoMode() == QLineEdit::Password, !anonymous);
    if (action.isEmpty() && user == u"bob")
        saveScreenshot(&dialog, u"fFTPQuick"_qs);
}

void ConnectDialogsTest::connectEnabled_data()
{
    QTest::addColumn<bool>("quick");        // else the site manager on its named site
    QTest::addColumn<QStringList>("edits"); // "box=text", pasted whole in turn into a dialog whose Connect is enabled
    QTest::addColumn<bool>("enabled");
    QTest::addColumn<QString>("shown"); // the last box edited, afterwards

    using L = QStringList;
    const QString server = u"txtFTPAccount(0)=alpha.beta.gamma"_qs;
    // Quick connect: a port or waiting time of 0 goes back to its default.
    QTest::newRow("three-word server") << true << L{"txtFTPAccount(0)=ftp", server} << true << u"alpha.beta.gamma"_qs;
    QTest::newRow("two-word server") << true << L{"txtFTPAccount(0)=beta.gamma"} << false << u"beta.gamma"_qs;
    QTest::newRow("four-number address") << true << L{"txtFTPAccount(0)=ftp", "txtFTPAccount(0)=10.0.0.1"} << true
                                         << u"10.0.0.1"_qs;
    QTest::newRow("three-number address") << true << L{"txtFTPAccount(0)=10.0.1"} << false << u"10.0.1"_qs;
    QTest::newRow("empty password") << true << L{"txtFTPAccount(2)="} << false << QString();
    QTest::newRow("port 0 becomes 21") << true << L{"txtFTPAccount(0)=ftp", server, "txtFTPPort=0"} << true << u"21"_qs;
    QTest::newRow("waiting time 0 becomes 30") << true << L{"txtFTPWaitTime=0"} << true << u"30"_qs;
    QTest::newRow("negative port") << true << L{"txtFTPPort=-1"} << false << u"-1"_qs;
    QTest::newRow("half a second is above 0") << true << L{"txtFTPWaitTime=0.5"} << true << u"0.5"_qs;
    QTest::newRow("port abc keeps Connect enabled")
        << true << L{"txtFTPPort=abc", "txtFTPAccount(0)=beta.gamma"} << true << u"beta.gamma"_qs;
    QTest::newRow("port abc keeps Connect disabled")
        << true << L{"txtFTPAccount(0)=ftp", "txtFTPPort=abc", server} << false << u"alpha.beta.gamma"_qs;
    // The site manager: 0 stays, and the waiting time is at least 1.
    QTest::newRow("site: two-word server") << false << L{"txtFTPServer=beta.gamma"} << false << u"beta.gamma"_qs;
    QTest::newRow("site: empty name") << false << L{"txtFTPName="} << false << QString();
    QTest::newRow("site: empty password") << false << L{"txtFTPPassword="} << false << QString();
    QTest::newRow("site: port 0 stays and disables") << false << L{"txtFTPPort=0"} << false << u"0"_qs;
    QTest::newRow("site: waiting time below 1") << false << L{"txtFTPWaitTime=0.5"} << false << u"0.5"_qs;
    QTest::newRow("site: port abc keeps Connect enabled")
        << false << L{"txtFTPPort=abc", "txtFTPServer=beta.gamma"} << true << u"beta.gamma"_qs;
}

// Enter in a box of quick connect connects only while Connect is enabled.
void ConnectDialogsTest::connectEnabled()
{
    QFETCH(bool, quick);
    QFETCH(QStringList, edits);
    QFETCH(bool, enabled);
    QDialog &dialog = open(quick);
    if (!quick)
        click(dialog, u"Named"_qs);
    auto *connectButton = control<QPushButton>(dialog, "cmdConnect");
    QVERIFY(connectButton->isEnabled());
    QLineEdit *box = nullptr;
    for (const QString &edit : edits) {
        box = control(dialog, edit.section(u'=', 0, 0));
        box->setText(edit.section(u'=', 1));
    }
    QCOMPARE(connectButton->isEnabled(), enabled);
    QTEST(box->text(), "shown");
    if (quick) {
        QTest::keyClick(control(dialog, "txtFTPAccount(3)"), Qt::Key_Return);
        QCOMPARE(dialog.isVisible(), !enabled);
    }
}

void ConnectDialogsTest::session_data()
{
    QTest::addColumn<QString>("select");
    QTest::addColumn<QList<int>>("buttons"); // cmdSession indices, clicked in turn
    QTest::addColumn<QString>("current");
    QTest::addColumn<QString>("currentParent");
    QTest::addColumn<int>("nodes");

    using L = QList<int>;
    const int folder = fFTPSites::NewFolder, site = fFTPSites::NewSite, del = fFTPSites::Delete;
    QTest::newRow("new site beside a site") << u"Debian"_qs << L{site} << u"_New Site34"_qs << u"Web Server"_qs << 34;
    QTest::newRow("new folder in a folder")
        << u"Personal"_qs << L{folder} << u"_New Folder34"_qs << u"Personal"_qs << 34;
    QTest::newRow("new folder beside a site") << u"FUNET"_qs << L{folder} << u"_New Folder34"_qs << u"MIS"_qs << 34;
    QTest::newRow("new site in a new folder")
        << u"Personal"_qs << L{folder, site} << u"_New Site35"_qs << u"_New Folder34"_qs << 35;
    QTest::newRow("delete the root: nothing") << u"FTP sites"_qs << L{del} << u"FTP sites"_qs << QString() << 33;
    QTest::newRow("delete selects the next sibling")
        << u"Debian"_qs << L{del} << u"FreeBSD"_qs << u"Web Server"_qs << 32;
    QTest::newRow("delete the last child selects its parent")
        << u"Python"_qs << L{del} << u"Web Server"_qs << u"FTP sites"_qs << 32;
    QTest::newRow("delete a folder with its sites") << u"Web Server"_qs << L{del} << u"FTP sites"_qs << QString() << 21;
}

// The selected node is shown; a new site is anonymous with the site password.
void ConnectDialogsTest::session()
{
    QFETCH(QString, select);
    QFETCH(QList<int>, buttons);
    QFile::remove(storeFile_); // the default tree
    QDialog &dialog = open();
    click(dialog, select);
    for (const int index : buttons)
        QTest::mouseClick(control<QPushButton>(dialog, QStringLiteral("cmdSession(%1)").arg(index)), Qt::LeftButton);

    QTreeWidgetItem *current = tree(dialog)->currentItem();
    QTEST(current->text(0), "current");
    QTEST(current->parent() ? current->parent()->text(0) : QString(), "currentParent");
    QTEST(nodeCount(dialog), "nodes");
    QCOMPARE(siteItems::key(current), current->text(0));
    const QStringList shown = form(dialog);
    QCOMPARE(shown.constFirst(), current->text(0));
    if (current->text(0).startsWith(u"_New Site"))
        QCOMPARE(shown.mid(1), QStringList({"", "anonymous", sSiteAnonPassword, "", "21", "30", "1000", "plain", "-"}));
}

// Edits stay with their site when another is selected; Save writes them, keeps
// a renamed site's key and drops the password of a site that is not to keep it.
void ConnectDialogsTest::saveKeepsEditsAndKeysDropsUnkeptPasswords()
{
    QDialog &dialog = open();
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
void ConnectDialogsTest::collapsingSelectsTheFolder()
{
    QFile::remove(storeFile_);
    QDialog &dialog = open();
    click(dialog, u"Debian"_qs);
    type(control(dialog, "txtFTPServer"), u"ftp.debian.net"_qs);
    node(dialog, u"MIS"_qs)->setExpanded(true);
    node(dialog, u"MIS"_qs)->setExpanded(false);
    QCOMPARE(form(dialog).mid(0, 2), QStringList({"Debian", "ftp.debian.net"}));

    node(dialog, u"Web Server"_qs)->setExpanded(false);
    QCOMPARE(form(dialog).constFirst(), u"Web Server"_qs);
    QCOMPARE(SiteRecord::fromTag(siteItems::tag(node(dialog, u"Debian"_qs))).server, u"ftp.debian.net"_qs);
}

void ConnectDialogsTest::closing_data()
{
    QTest::addColumn<bool>("quick");
    QTest::addColumn<QString>("how");
    QTest::addColumn<bool>("canceled");
    QTest::addColumn<QStringList>("settings"); // as summary() reads them afterwards
    const QStringList untouched{"", "", "", "", "21", "30", "active", "0"};
    const QStringList site{"named.example.org", "bob", "typed", "/home/bob", "2121", "45", "passive", "1"};
    const QStringList quick{"ftp.example.org", "bob", "typed", "/pub", "2121", "45", "passive", "1"};
    QTest::newRow("site manager: Connect") << false << u"cmdConnect"_qs << false << site;
    QTest::newRow("site manager: Cancel") << false << u"cmdCancel"_qs << true << untouched;
    QTest::newRow("site manager: Escape") << false << u"escape"_qs << true << untouched;
    QTest::newRow("site manager: close box") << false << u"close"_qs << false << untouched;
    QTest::newRow("quick connect: Connect") << true << u"cmdConnect"_qs << false << quick;
    QTest::newRow("quick connect: Cancel") << true << u"cmdCancel"_qs << true << untouched;
}

// Only Connect writes the settings, every field as shown (the settings are emptied
// while the dialog is up); only Save writes the file.
void ConnectDialogsTest::closing()
{
    QFETCH(bool, quick);
    QFETCH(QString, how);
    const QByteArray fileBefore = readFile(storeFile_);
    QDialog &dialog = open(quick);
    if (!quick)
        click(dialog, u"Named"_qs);
    type(control(dialog, quick ? "txtFTPAccount(2)" : "txtFTPPassword"), u"typed"_qs);
    settings_ = FtpSettings();
    if (how == u"escape")
        QTest::keyClick(&dialog, Qt::Key_Escape);
    else if (how == u"close")
        dialog.close();
    else
        QTest::mouseClick(control<QPushButton>(dialog, how), Qt::LeftButton);

    QVERIFY(!dialog.isVisible());
    QTEST(dialog_->Canceled(), "canceled");
    QTEST(summary(settings_), "settings");
    QCOMPARE(readFile(storeFile_), fileBefore);
}

void ConnectDialogsTest::help()
{
    QDialog &dialog = open();
    QString text;
    whenModal([&text](QWidget *box) {
        if (auto *message = qobject_cast<QMessageBox *>(box)) {
            text = message->text();
            saveScreenshot(message, u"fFTPSites-help"_qs);
            message->accept();
        }
    });
    QTest::mouseClick(control<QPushButton>(dialog, "cmdHelp"), Qt::LeftButton);
    QCOMPARE(text, u"1. Passwords are stored as encrypted text for the password protection.\r\n"
                   "2. All FTP site details are stored in FTPSite.dat of the system folder.\r\n"_qs);
}

QTEST_MAIN(ConnectDialogsTest)
#include "ConnectDialogsTest.moc"
