// The two connect dialogs driven as a user would: the site manager on its store file, quick connect, when Connect (and
// so Enter) works, and what Connect, Cancel, Escape and the close box leave behind.
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

// A mouse click on the node's caption, its folders opened first.
void click(QWidget &dialog, const QString &caption)
{
    QTreeWidgetItem *item = node(dialog, caption);
    for (QTreeWidgetItem *up = item->parent(); up; up = up->parent())
        up->setExpanded(true);
    tree(dialog)->scrollToItem(item);
    QTest::mouseClick(tree(dialog)->viewport(), Qt::LeftButton, {}, tree(dialog)->visualItemRect(item).center());
}

// The selected node as "parent/caption", with its key when that differs and "(open)" when it is expanded, and the
// number of nodes in the tree.
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
    const auto nodes = tree(dialog)->findItems(QString(), Qt::MatchContains | Qt::MatchRecursive);
    return text + u" of "_qs + QString::number(nodes.size());
}

QLineEdit *password(QWidget &dialog)
{
    auto *box = dialog.findChild<QLineEdit *>(u"txtFTPPassword"_qs);
    return box ? box : control(dialog, "txtFTPAccount(2)");
}

// What a dialog shows, in one line: the site manager's selected node; every box (in brackets when it cannot be edited,
// left out when that one is empty); the check boxes and the encryption index; whether the password is masked and
// whether Connect is enabled.
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

// "server|user|password|folder|port|waiting time|passive or active|encryption"
QString summary(const FtpSettings &s)
{
    return u"%1|%2|%3|%4|%5|%6|%7"_qs.arg(s.sFTPServer, s.sFTPUser, s.sFTPPassword, s.sFTPDir)
               .arg(s.nFTPPort)
               .arg(s.nFTPWaitTime)
               .arg(s.bPassive ? u"passive|"_qs : u"active|"_qs)
           + QString::number(int(s.nEncryption));
}

// A row of drive(): the store file, the actions, the dialog as shown() reads it afterwards.
void row(const char *tag, const QString &file, const QStringList &actions, const QString &expected)
{
    QTest::newRow(tag) << file << actions << expected;
}

TreeNode site(const QString &name, SiteRecord record)
{
    TreeNode node;
    node.text = node.key = name;
    node.image = siteImage;
    node.tag = record.toTag();
    return node;
}

// A root holding three sites: a named user with a kept password, an anonymous site whose password is not stored, and a
// site whose password is not kept.
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
    // The site manager on the store file (the small tree unless the test changed it), or quick connect.
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
    // The site manager's store: "small" (tree), "cut" (its file cut short), "empty", "solo" (a first node that is a
    // site), "none" (the default tree); or quick connect: "quick" (a named user), "quick:" (none), "quick:Anonymous".
    QTest::addColumn<QString>("file");
    // A node clicked, "box=text" pasted, a check box or button clicked, "-folder" collapsed, "+folder" expanded.
    QTest::addColumn<QStringList>("actions");
    QTest::addColumn<QString>("expected"); // as shown() reads the dialog afterwards

    // Loading: the first node shown (the root cannot be renamed, has nothing to connect to) and expanded after a whole
    // read; New Site with no root does nothing.
    row("loaded: saved tree", "small", {}, "/Sites (open) of 4|[Sites]|0000|masked|-");
    row("loaded: no file, the default tree", "none", {}, "/FTP sites of 33|[FTP sites]|0000|masked|-");
    row("loaded: file cut short", "cut", {}, "/Sites of 2|[Sites]|0000|masked|-");
    row("empty file: New Site does nothing", "empty", {"cmdSession(1)"}, "no node of 0|[2121]|[45]|0000|masked|-");
    // The site manager: what a node shows, after a site of the other kind.
    row("named site", "small", {"Anon", "Named"},
        "Sites/Named of 4|Named|named.example.org|bob|pw|/home/bob|2121|45|0112|masked|connect");
    row("anonymous site, no stored password", "small", {"Named", "Anon"},
        "Sites/Anon of 4|Anon|anon.example.org|anonymous|vantrel@||21|30|1000|plain|connect");
    row("folder", "small", {"Anon", "Sites"}, "/Sites (open) of 4|[Sites]|0000|masked|-");
    // While loading, a first site's user name leaves the anonymous box alone.
    row("loaded: first node a site", "solo", {},
        "/Solo (open) of 1|[Solo]|solo.example.org|Anonymous|x||21|30|0100|masked|connect");
    // When Connect is enabled (the rules quick connect shares are checked there).
    row("site: two-word server", "small", {"Named", "txtFTPServer=beta.gamma"}, "...|0112|masked|-");
    row("site: empty name", "small", {"Named", "txtFTPName="}, "...|0112|masked|-");
    row("site: empty password", "small", {"Named", "txtFTPPassword="}, "...|0112|masked|-");
    row("site: port 0 stays and disables", "small", {"Named", "txtFTPPort=0"}, "...|0|45|0112|masked|-");
    row("site: waiting time below 1", "small", {"Named", "txtFTPWaitTime=0.5"}, "...|0112|masked|-");
    row("site: port abc, Connect on", "small", {"Named", "txtFTPPort=abc", "txtFTPServer=beta.gamma"},
        "...|0112|masked|connect");
    // New Folder, New Site and Delete on the default tree; a new site is anonymous with the site password.
    const QString folder = u"cmdSession(0)"_qs, site = u"cmdSession(1)"_qs, del = u"cmdSession(2)"_qs;
    row("new site beside a site", "none", {"Debian", site},
        "Web Server/_New Site34 of 34|_New Site34||anonymous|@vantrel||21|30|1000|plain|-");
    row("new folder in a folder", "none", {"Personal", folder},
        "Personal/_New Folder34 of 34|_New Folder34|0000|masked|-");
    row("new folder beside a site", "none", {"FUNET", folder}, "MIS/_New Folder34 of 34|_New Folder34|0000|masked|-");
    row("new site in a new folder", "none", {"Personal", folder, site},
        "_New Folder34/_New Site35 of 35|_New Site35||anonymous|@vantrel||21|30|1000|plain|-");
    row("delete the root: nothing", "none", {"FTP sites", del}, "/FTP sites of 33|[FTP sites]|0000|masked|-");
    row("delete selects the next sibling", "none", {"Debian", del},
        "Web Server/FreeBSD of 32|FreeBSD|ftp.freebsd.org|anonymous|@vantrel||21|30|1000|plain|connect");
    row("delete the last child selects its parent", "none", {"Python", del},
        "FTP sites/Web Server (open) of 32|Web Server|0000|masked|-");
    row("delete a folder with its sites", "none", {"Web Server", del},
        "/FTP sites (open) of 21|[FTP sites]|0000|masked|-");
    // Collapsing another folder moves nothing; collapsing the selected site's folder selects the folder, the site's
    // edits kept.
    const QString edit = u"txtFTPServer=ftp.debian.net"_qs;
    row("collapsing another folder", "none", {"Debian", edit, "+MIS", "-MIS"},
        "Web Server/Debian of 33|Debian|ftp.debian.net|anonymous|@vantrel||21|30|1000|plain|connect");
    row("collapsing the site's folder", "none", {"Debian", edit, "-Web Server"},
        "FTP sites/Web Server of 33|Web Server|0000|masked|-");
    row("... the site's edits kept", "none", {"Debian", edit, "-Web Server", "Debian"},
        "Web Server/Debian of 33|Debian|ftp.debian.net|anonymous|@vantrel||21|30|1000|plain|connect");
    // Quick connect: the anonymous box and the user name.
    row("quick: opened", "quick", {}, "ftp.example.org|bob|secret|/pub|2121|45|011|masked|connect");
    row("quick: opened with no user: anonymous", "quick:", {},
        "ftp.example.org|anonymous|vantrel@|/pub|2121|45|111|plain|connect");
    row("quick: opened anonymous, password kept", "quick:Anonymous", {},
        "ftp.example.org|Anonymous|secret|/pub|2121|45|111|plain|connect");
    row("quick: typing Anonymous sets the box", "quick", {"txtFTPAccount(1)=Anonymous"},
        "ftp.example.org|anonymous|vantrel@|/pub|2121|45|111|plain|connect");
    row("quick: typing another name clears it", "quick:", {"txtFTPAccount(1)=bobby"},
        "ftp.example.org|bobby||/pub|2121|45|011|masked|-");
    row("quick: setting the box fills in anonymous", "quick", {"chkAnonymous"},
        "ftp.example.org|anonymous|vantrel@|/pub|2121|45|111|plain|connect");
    row("quick: clearing the box empties an anonymous user", "quick:", {"chkAnonymous"},
        "ftp.example.org|||/pub|2121|45|011|masked|-");
    // Quick connect: when Connect (and so Enter) works; a port or waiting time of 0 goes back to its default.
    const QString server = u"txtFTPAccount(0)=alpha.beta.gamma"_qs, ftp = u"txtFTPAccount(0)=ftp"_qs;
    row("quick: two-word server", "quick", {"txtFTPAccount(0)=beta.gamma"}, "...|011|masked|-");
    row("quick: three-word server", "quick", {ftp, server}, "...|011|masked|connect");
    row("quick: three-number address", "quick", {"txtFTPAccount(0)=10.0.1"}, "...|011|masked|-");
    row("quick: four-number address", "quick", {ftp, "txtFTPAccount(0)=10.0.0.1"}, "...|011|masked|connect");
    row("quick: empty password", "quick", {"txtFTPAccount(2)="}, "ftp.example.org|bob||/pub|2121|45|011|masked|-");
    row("quick: port 0 becomes 21", "quick", {ftp, server, "txtFTPPort=0"}, "...|21|45|011|masked|connect");
    row("quick: waiting time 0 becomes 30", "quick", {"txtFTPWaitTime=0"}, "...|2121|30|011|masked|connect");
    row("quick: negative port", "quick", {"txtFTPPort=-1"}, "ftp.example.org|bob|secret|/pub|-1|45|011|masked|-");
    row("quick: half a second is above 0", "quick", {"txtFTPWaitTime=0.5"}, "...|011|masked|connect");
    row("quick: port abc, Connect on", "quick", {"txtFTPPort=abc", "txtFTPAccount(0)=beta.gamma"},
        "...|011|masked|connect");
    row("quick: port abc, Connect off", "quick", {ftp, "txtFTPPort=abc", server}, "...|011|masked|-");
}

// Enter in a box of quick connect connects only while Connect is enabled; a site just shown is stored in its normal
// form (an anonymous site's password enciphered).
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
    QFETCH(QString, expected);
    if (expected.startsWith(u"...")) // the boxes typed into left out
        QVERIFY2(line.endsWith(expected.mid(3)), qPrintable(line));
    else
        QCOMPARE(line, expected);
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
    control(dialog, "txtFTPServer")->setText(u"moved.example.org"_qs);
    control(dialog, "txtFTPName")->setText(u"Zed"_qs);
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
    QTest::addColumn<QString>("settings"); // as summary() reads them afterwards
    const QString untouched = u"||||21|30|active|0"_qs;
    const QString site = u"named.example.org|bob|typed|/home/bob|2121|45|passive|2"_qs;
    const QString quick = u"ftp.example.org|bob|typed|/pub|2121|45|passive|1"_qs;
    QTest::newRow("site manager: Connect") << false << u"cmdConnect"_qs << false << site;
    QTest::newRow("site manager: Cancel") << false << u"cmdCancel"_qs << true << untouched;
    QTest::newRow("site manager: Escape") << false << u"escape"_qs << true << untouched;
    QTest::newRow("site manager: close box") << false << u"close"_qs << false << untouched;
    QTest::newRow("quick connect: Connect") << true << u"cmdConnect"_qs << false << quick;
    QTest::newRow("quick connect: Cancel") << true << u"cmdCancel"_qs << true << untouched;
}

// Only Connect writes the settings, every field as shown (the settings are emptied while the dialog is up); only Save
// writes the file.
void ConnectDialogsTest::closing()
{
    QFETCH(bool, quick);
    QFETCH(QString, how);
    const QByteArray fileBefore = readFile(storeFile_);
    QDialog &dialog = open(quick);
    if (!quick)
        click(dialog, u"Named"_qs);
    control(dialog, quick ? "txtFTPAccount(2)" : "txtFTPPassword")->setText(u"typed"_qs);
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
