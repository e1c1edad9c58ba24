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

// The selected node as "parent/caption", with its key when that differs and
// "(open)" when it is expanded, and the number of nodes in the tree.
QString selectedNode(QWidget &dialog)
{
    const QTreeWidgetItem *current = tree(dialog)->currentItem();
    QString text = u"no node"_qs;
    if (current) {
        text = (current->parent() ? current->parent()->text(0) : QString()) + u'/' + current->text(0);
        if (siteItems::key(current) != current->text(0))
            text += u" key "_qs + siteItems::key(current);
        if (current->isExpanded())
            text += u" (open)"_qs;
    }
    return text + u" of "_qs + QString::number(nodeCount(dialog));
}

QLineEdit *password(QWidget &dialog)
{
    auto *box = dialog.findChild<QLineEdit *>(u"txtFTPPassword"_qs);
    return box ? box : control(dialog, "txtFTPAccount(2)");
}

// What a dialog shows, in one line: the site manager's selected node; every box (in brackets
// when it cannot be edited, left out when that one is empty); the check boxes and the encryption index; whether
// the password is masked and whether Connect is enabled.
QString shown(QWidget &dialog)
{
    QStringList parts;
    if (dialog.findChild<QTreeWidget *>(u"TV1"_qs))
        parts << selectedNode(dialog);
    QString flags;
    for (QLineEdit *box : dialog.findChildren<QLineEdit *>()) {
        if (box->objectName().startsWith(u"txt") && (box->isEnabled() || !box->text().isEmpty()))
            parts << (box->isEnabled() ? box->text() : u'[' + box->text() + u']');
    }
    for (const char *box : {"chkAnonymous", "chkSavePassword", "chkFTPPassive"}) {
        if (auto *check = dialog.findChild<QCheckBox *>(box))
            flags += check->isChecked() ? u'1' : u'0';
    }
    parts << flags + QString::number(control<QComboBox>(dialog, "cmbEncryption")->currentIndex());
    const bool masked = password(dialog)->echoMode() == QLineEdit::Password;
    return parts.join(u'|') + (masked ? u"|masked|"_qs : u"|plain|"_qs)
           + (control<QPushButton>(dialog, "cmdConnect")->isEnabled() ? u"connect"_qs : u"-"_qs);
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
        site(u"Named"_qs, {"named.example.org", "bob", pw, "/home/bob", "0", "1", "1", "2121", "45", "2"}));
    root.children.push_back(site(u"Unkept"_qs, {"unkept.example.org", "eve", pw, "", "0", "0", "0", "21", "30"}));
    return tree;
}

} // namespace

class ConnectDialogsTest : public QObject {
    Q_OBJECT
private slots:
    void init();
    void cleanup();
    void drive_data();
    void drive();
    void saveKeepsEditsAndKeysDropsUnkeptPasswords();
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
    // Font, font handle, temporary folder, server, user, password, folder, port, waiting time, busy, passive.
    settings_ = {{}, 0,     {},   u"ftp.example.org"_qs,     u"bob"_qs, u"secret"_qs, u"/pub"_qs, 2121,
                 45, false, true, FtpEncryption::ExplicitTls};
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

void ConnectDialogsTest::drive_data()
{
    // The site manager's store: "small" (the small tree), "cut" (its file cut short), "empty", "solo" (a
    // file whose first node is a site), "none" (the default tree); or "quick": quick connect for a
    // named user, "quick:" for no user, "quick:Anonymous" for that user.
    QTest::addColumn<QString>("file");
    // A node clicked, "box=text" pasted, a check box or button clicked, "-folder" collapsed, "+folder" expanded.
    QTest::addColumn<QStringList>("actions");
    QTest::addColumn<QString>("expected"); // as shown() reads the dialog afterwards

    using L = QStringList;
    // Loading: the first node shown (the root cannot be renamed, has nothing to connect to) and
    // expanded after a whole read; New Site with no root does nothing.
    QTest::newRow("loaded: saved tree") << u"small"_qs << L{} << u"/Sites (open) of 4|[Sites]|0000|masked|-"_qs;
    QTest::newRow("loaded: no file, the default tree")
        << u"none"_qs << L{} << u"/FTP sites of 33|[FTP sites]|0000|masked|-"_qs;
    QTest::newRow("loaded: file cut short") << u"cut"_qs << L{} << u"/Sites of 2|[Sites]|0000|masked|-"_qs;
    QTest::newRow("loaded: empty file") << u"empty"_qs << L{} << u"no node of 0|[2121]|[45]|0000|masked|-"_qs;
    QTest::newRow("new site with no root")
        << u"empty"_qs << L{"cmdSession(1)"} << u"no node of 0|[2121]|[45]|0000|masked|-"_qs;
    // The site manager: what a node shows, after a site of the other kind.
    QTest::newRow("named site")
        << u"small"_qs << L{"Anon", "Named"}
        << u"Sites/Named of 4|Named|named.example.org|bob|pw|/home/bob|2121|45|0112|masked|connect"_qs;
    QTest::newRow("anonymous site, no stored password")
        << u"small"_qs << L{"Named", "Anon"}
        << u"Sites/Anon of 4|Anon|anon.example.org|anonymous|vantrel@||21|30|1000|plain|connect"_qs;
    QTest::newRow("folder") << u"small"_qs << L{"Anon", "Sites"} << u"/Sites (open) of 4|[Sites]|0000|masked|-"_qs;
    // While loading, a first site's user name leaves the anonymous box alone.
    QTest::newRow("loaded: first node a site")
        << u"solo"_qs << L{} << u"/Solo (open) of 1|[Solo]|solo.example.org|Anonymous|x||21|30|0100|masked|connect"_qs;
    // When Connect is enabled (the rules quick connect shares are checked there).
    QTest::newRow("site: two-word server")
        << u"small"_qs << L{"Named", "txtFTPServer=beta.gamma"}
        << u"Sites/Named of 4|Named|beta.gamma|bob|pw|/home/bob|2121|45|0112|masked|-"_qs;
    QTest::newRow("site: empty name")
        << u"small"_qs << L{"Named", "txtFTPName="}
        << u"Sites/Named of 4||named.example.org|bob|pw|/home/bob|2121|45|0112|masked|-"_qs;
    QTest::newRow("site: empty password")
        << u"small"_qs << L{"Named", "txtFTPPassword="}
        << u"Sites/Named of 4|Named|named.example.org|bob||/home/bob|2121|45|0112|masked|-"_qs;
    QTest::newRow("site: port 0 stays and disables")
        << u"small"_qs << L{"Named", "txtFTPPort=0"}
        << u"Sites/Named of 4|Named|named.example.org|bob|pw|/home/bob|0|45|0112|masked|-"_qs;
    QTest::newRow("site: waiting time below 1")
        << u"small"_qs << L{"Named", "txtFTPWaitTime=0.5"}
        << u"Sites/Named of 4|Named|named.example.org|bob|pw|/home/bob|2121|0.5|0112|masked|-"_qs;
    QTest::newRow("site: port abc keeps Connect enabled")
        << u"small"_qs << L{"Named", "txtFTPPort=abc", "txtFTPServer=beta.gamma"}
        << u"Sites/Named of 4|Named|beta.gamma|bob|pw|/home/bob|abc|45|0112|masked|connect"_qs;
    // New Folder, New Site and Delete on the default tree; a new site is anonymous with the site password.
    const QString folder = u"cmdSession(0)"_qs, site = u"cmdSession(1)"_qs, del = u"cmdSession(2)"_qs;
    QTest::newRow("new site beside a site")
        << u"none"_qs << L{"Debian", site}
        << u"Web Server/_New Site34 of 34|_New Site34||anonymous|@vantrel||21|30|1000|plain|-"_qs;
    QTest::newRow("new folder in a folder")
        << u"none"_qs << L{"Personal", folder} << u"Personal/_New Folder34 of 34|_New Folder34|0000|masked|-"_qs;
    QTest::newRow("new folder beside a site")
        << u"none"_qs << L{"FUNET", folder} << u"MIS/_New Folder34 of 34|_New Folder34|0000|masked|-"_qs;
    QTest::newRow("new site in a new folder")
        << u"none"_qs << L{"Personal", folder, site}
        << u"_New Folder34/_New Site35 of 35|_New Site35||anonymous|@vantrel||21|30|1000|plain|-"_qs;
    QTest::newRow("delete the root: nothing")
        << u"none"_qs << L{"FTP sites", del} << u"/FTP sites of 33|[FTP sites]|0000|masked|-"_qs;
    QTest::newRow("delete selects the next sibling")
        << u"none"_qs << L{"Debian", del}
        << u"Web Server/FreeBSD of 32|FreeBSD|ftp.freebsd.org|anonymous|@vantrel||21|30|1000|plain|connect"_qs;
    QTest::newRow("delete the last child selects its parent")
        << u"none"_qs << L{"Python", del} << u"FTP sites/Web Server (open) of 32|Web Server|0000|masked|-"_qs;
    QTest::newRow("delete a folder with its sites")
        << u"none"_qs << L{"Web Server", del} << u"/FTP sites (open) of 21|[FTP sites]|0000|masked|-"_qs;
    // Collapsing another folder moves nothing; collapsing the selected site's folder
    // selects the folder, the site's edits kept.
    const QString edit = u"txtFTPServer=ftp.debian.net"_qs;
    QTest::newRow("collapsing another folder")
        << u"none"_qs << L{"Debian", edit, "+MIS", "-MIS"}
        << u"Web Server/Debian of 33|Debian|ftp.debian.net|anonymous|@vantrel||21|30|1000|plain|connect"_qs;
    QTest::newRow("collapsing the site's folder")
        << u"none"_qs << L{"Debian", edit, "-Web Server"} << u"FTP sites/Web Server of 33|Web Server|0000|masked|-"_qs;
    QTest::newRow("... the site's edits kept")
        << u"none"_qs << L{"Debian", edit, "-Web Server", "Debian"}
        << u"Web Server/Debian of 33|Debian|ftp.debian.net|anonymous|@vantrel||21|30|1000|plain|connect"_qs;
    // Quick connect: the anonymous box and the user name.
    QTest::newRow("quick: opened") << u"quick"_qs << L{}
                                   << u"ftp.example.org|bob|secret|/pub|2121|45|011|masked|connect"_qs;
    QTest::newRow("quick: opened with no user: anonymous")
        << u"quick:"_qs << L{} << u"ftp.example.org|anonymous|vantrel@|/pub|2121|45|111|plain|connect"_qs;
    QTest::newRow("quick: opened anonymous, password kept")
        << u"quick:Anonymous"_qs << L{} << u"ftp.example.org|Anonymous|secret|/pub|2121|45|111|plain|connect"_qs;
    QTest::newRow("quick: typing Anonymous sets the box")
        << u"quick"_qs << L{"txtFTPAccount(1)=Anonymous"}
        << u"ftp.example.org|anonymous|vantrel@|/pub|2121|45|111|plain|connect"_qs;
    QTest::newRow("quick: typing another name clears it")
        << u"quick:"_qs << L{"txtFTPAccount(1)=bobby"} << u"ftp.example.org|bobby||/pub|2121|45|011|masked|-"_qs;
    QTest::newRow("quick: setting the box fills in anonymous")
        << u"quick"_qs << L{"chkAnonymous"} << u"ftp.example.org|anonymous|vantrel@|/pub|2121|45|111|plain|connect"_qs;
    QTest::newRow("quick: clearing the box empties an anonymous user")
        << u"quick:"_qs << L{"chkAnonymous"} << u"ftp.example.org|||/pub|2121|45|011|masked|-"_qs;
    // Quick connect: when Connect (and so Enter) works; a port or waiting time of 0 goes back to its default.
    const QString server = u"txtFTPAccount(0)=alpha.beta.gamma"_qs;
    QTest::newRow("quick: two-word server")
        << u"quick"_qs << L{"txtFTPAccount(0)=beta.gamma"} << u"beta.gamma|bob|secret|/pub|2121|45|011|masked|-"_qs;
    QTest::newRow("quick: three-word server") << u"quick"_qs << L{"txtFTPAccount(0)=ftp", server}
                                              << u"alpha.beta.gamma|bob|secret|/pub|2121|45|011|masked|connect"_qs;
    QTest::newRow("quick: three-number address")
        << u"quick"_qs << L{"txtFTPAccount(0)=10.0.1"} << u"10.0.1|bob|secret|/pub|2121|45|011|masked|-"_qs;
    QTest::newRow("quick: four-number address") << u"quick"_qs << L{"txtFTPAccount(0)=ftp", "txtFTPAccount(0)=10.0.0.1"}
                                                << u"10.0.0.1|bob|secret|/pub|2121|45|011|masked|connect"_qs;
    QTest::newRow("quick: empty password")
        << u"quick"_qs << L{"txtFTPAccount(2)="} << u"ftp.example.org|bob||/pub|2121|45|011|masked|-"_qs;
    QTest::newRow("quick: port 0 becomes 21") << u"quick"_qs << L{"txtFTPAccount(0)=ftp", server, "txtFTPPort=0"}
                                              << u"alpha.beta.gamma|bob|secret|/pub|21|45|011|masked|connect"_qs;
    QTest::newRow("quick: waiting time 0 becomes 30")
        << u"quick"_qs << L{"txtFTPWaitTime=0"} << u"ftp.example.org|bob|secret|/pub|2121|30|011|masked|connect"_qs;
    QTest::newRow("quick: negative port")
        << u"quick"_qs << L{"txtFTPPort=-1"} << u"ftp.example.org|bob|secret|/pub|-1|45|011|masked|-"_qs;
    QTest::newRow("quick: half a second is above 0")
        << u"quick"_qs << L{"txtFTPWaitTime=0.5"} << u"ftp.example.org|bob|secret|/pub|2121|0.5|011|masked|connect"_qs;
    QTest::newRow("quick: port abc keeps Connect enabled")
        << u"quick"_qs << L{"txtFTPPort=abc", "txtFTPAccount(0)=beta.gamma"}
        << u"beta.gamma|bob|secret|/pub|abc|45|011|masked|connect"_qs;
    QTest::newRow("quick: port abc keeps Connect disabled")
        << u"quick"_qs << L{"txtFTPAccount(0)=ftp", "txtFTPPort=abc", server}
        << u"alpha.beta.gamma|bob|secret|/pub|abc|45|011|masked|-"_qs;
}

// Enter in a box of quick connect connects only while Connect is enabled; a site
// just shown is stored in its normal form (an anonymous site's password enciphered).
void ConnectDialogsTest::drive()
{
    QFETCH(QString, file);
    QFETCH(QStringList, actions);
    if (file == u"none")
        QFile::remove(storeFile_);
    else if (file == u"cut" || file == u"empty")
        QFile(storeFile_).resize(file == u"cut" ? readFile(storeFile_).indexOf("Text2") : 0);
    else if (file == u"solo") {
        const QString pw = mmEncrypt::Encrypt(u"x"_qs);
        Tree solo{site(u"Solo"_qs, {"solo.example.org", "Anonymous", pw, "", "0", "1", "0", "21", "30"})};
        QVERIFY(mRwTreeView::save(storeFile_, solo, solo.front()));
    }
    const bool quick = file.startsWith(u"quick");
    if (file.startsWith(u"quick:")) {
        settings_.sFTPUser = file.mid(6);
        settings_.sFTPPassword = settings_.sFTPUser.isEmpty() ? QString() : u"secret"_qs;
    }
    QDialog &dialog = open(quick);
    QCOMPARE(QApplication::focusWidget()->objectName(), quick ? u"txtFTPAccount(0)"_qs : u"TV1"_qs);
    QCOMPARE(unnamedControls(dialog), QStringList());
    for (const QString &action : actions) {
        if (action.contains(u'='))
            control(dialog, action.section(u'=', 0, 0))->setText(action.section(u'=', 1));
        else if (action.startsWith(u"chk"))
            QTest::mouseClick(control<QCheckBox>(dialog, action), Qt::LeftButton, {}, QPoint(5, 5));
        else if (action.startsWith(u"cmd"))
            QTest::mouseClick(control<QPushButton>(dialog, action), Qt::LeftButton);
        else if (action.startsWith(u'-') || action.startsWith(u'+'))
            node(dialog, action.mid(1))->setExpanded(action.startsWith(u'+'));
        else
            click(dialog, action);
    }
    const QString line = shown(dialog);
    QTEST(line, "expected");
    if (QTest::currentDataTag() == QByteArray("named site") || QTest::currentDataTag() == QByteArray("quick: opened"))
        saveScreenshot(&dialog, quick ? u"fFTPQuick"_qs : u"fFTPSites"_qs);
    const QTreeWidgetItem *current = quick ? nullptr : tree(dialog)->currentItem();
    if (quick) {
        QTest::keyClick(control(dialog, "txtFTPAccount(3)"), Qt::Key_Return);
        QCOMPARE(dialog.isVisible(), !line.endsWith(u"connect"));
    } else if (current && siteItems::image(current) == siteImage
               && actions.value(actions.size() - 1) == current->text(0)) {
        QCOMPARE(mmEncrypt::Decrypt(SiteRecord::fromTag(siteItems::tag(current)).password), password(dialog)->text());
    }
}

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

void ConnectDialogsTest::closing_data()
{
    QTest::addColumn<bool>("quick");
    QTest::addColumn<QString>("how");
    QTest::addColumn<bool>("canceled");
    QTest::addColumn<QStringList>("settings"); // as summary() reads them afterwards
    const QStringList untouched{"", "", "", "", "21", "30", "active", "0"};
    const QStringList site{"named.example.org", "bob", "typed", "/home/bob", "2121", "45", "passive", "2"};
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
