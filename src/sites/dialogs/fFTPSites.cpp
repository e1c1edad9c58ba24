#include "sites/dialogs/fFTPSites.h"

#include "sites/ConnectRules.h"
#include "sites/dialogs/DialogParts.h"
#include "sites/mmEncrypt.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFileInfo>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QStyle>
#include <QTreeWidget>
#include <QTreeWidgetItemIterator>
#include <QVBoxLayout>

namespace korvan {

using namespace dialogParts;
using siteItems::tag;

namespace {

// The one message box of the site manager.
void informationBox(QWidget *parent, const QString &text)
{
    QMessageBox::information(parent, QStringLiteral("Korvan"), text);
}

QString flagText(const QCheckBox *box)
{
    return box->isChecked() ? QStringLiteral("1") : QStringLiteral("0");
}

bool flagSet(const QString &line)
{
    return connectRules::integerValue(line).value_or(0) != 0;
}

// A hand-edited file may hold a password line the cipher refuses (too long).
QString decryptedOrEmpty(const QString &enciphered)
{
    try {
        return mmEncrypt::Decrypt(enciphered);
    } catch (const CipherLengthError &) {
        return {};
    }
}

bool isAncestor(const QTreeWidgetItem *ancestor, const QTreeWidgetItem *node)
{
    for (const QTreeWidgetItem *up = node->parent(); up; up = up->parent()) {
        if (up == ancestor)
            return true;
    }
    return false;
}

} // namespace

fFTPSites::fFTPSites(QWidget *parent, FtpSettings &settings, const QString &storeFile) : ConnectDialog(parent, settings)
{
    setObjectName(QStringLiteral("fFTPSites"));
    setWindowTitle(tr("FTP Site Manager"));
    setAccessibleName(windowTitle());
    buildControls();
    Load(storeFile);
}

void fFTPSites::setConnectVisible(bool visible)
{
    cmdConnect->setVisible(visible);
}

void fFTPSites::buildControls()
{
    TV1 = new QTreeWidget;
    TV1->setObjectName(QStringLiteral("TV1"));
    TV1->setAccessibleName(QStringLiteral("TV1"));
    TV1->setAccessibleDescription(tr("FTP sites and folders"));
    TV1->setHeaderHidden(true);
    TV1->setUniformRowHeights(true);
    TV1->setMinimumSize(270, 320);
    connect(TV1, &QTreeWidget::currentItemChanged, this, &fFTPSites::currentNodeChanged);
    connect(TV1, &QTreeWidget::itemCollapsed, this, &fFTPSites::nodeCollapsed);

    const QString sessionCaptions[] = {tr("New &Folder"), tr("&New Site"), tr("&Delete")};
    auto *sessionRow = new QHBoxLayout;
    for (int i = 0; i < 3; ++i) {
        cmdSession[i] = button(sessionCaptions[i], QStringLiteral("cmdSession(%1)").arg(i), this);
        connect(cmdSession[i], &QPushButton::clicked, this, [this, i] { cmdSession_Click(i); });
        sessionRow->addWidget(cmdSession[i]);
    }
    sessionRow->addStretch();
    auto *left = new QVBoxLayout;
    left->addWidget(TV1, 1);
    left->addLayout(sessionRow);

    auto *top = new QHBoxLayout;
    top->addLayout(left, 1);
    top->addSpacing(6);
    top->addWidget(buildFields());

    cmdHelp = button(tr("&Help"), QStringLiteral("cmdHelp"), this);
    cmdSave = button(tr("&Save"), QStringLiteral("cmdSave"), this);
    cmdConnect = button(tr("&Connect"), QStringLiteral("cmdConnect"), this);
    cmdCancel = button(tr("Cancel"), QStringLiteral("cmdCancel"), this);
    connect(cmdHelp, &QPushButton::clicked, this, &fFTPSites::cmdHelp_Click);
    connect(cmdSave, &QPushButton::clicked, this, &fFTPSites::cmdSave_Click);
    connect(cmdConnect, &QPushButton::clicked, this, &fFTPSites::cmdConnect_Click);
    connect(cmdCancel, &QPushButton::clicked, this, &fFTPSites::cancel);
    auto *bottom = new QHBoxLayout;
    bottom->addWidget(cmdHelp);
    bottom->addStretch();
    for (QPushButton *b : {cmdSave, cmdConnect, cmdCancel})
        bottom->addWidget(b);

    auto *layout = new QVBoxLayout(this);
    layout->addLayout(top, 1);
    layout->addSpacing(6);
    layout->addLayout(bottom);

    chainTabOrder({TV1, cmdSession[NewFolder], cmdSession[NewSite], cmdSession[Delete], txtFTPName, txtFTPServer,
                   txtFTPUser, txtFTPPassword, txtFTPDir, txtFTPPort, txtFTPWaitTime, chkAnonymous, chkSavePassword,
                   chkFTPPassive, cmbEncryption, cmdSave, cmdConnect, cmdCancel, cmdHelp});
}

QWidget *fFTPSites::buildFields()
{
    auto *fields = new QWidget;
    auto *grid = new QGridLayout(fields);
    grid->setContentsMargins(0, 0, 0, 0);
    grid->setColumnStretch(1, 1);
    txtFTPName = addTextRow(grid, 0, tr("Na&me:"), QStringLiteral("txtFTPName"));
    txtFTPServer = addTextRow(grid, 1, tr("Se&rver:"), QStringLiteral("txtFTPServer"));
    txtFTPUser = addTextRow(grid, 2, tr("&User:"), QStringLiteral("txtFTPUser"));
    txtFTPPassword = addTextRow(grid, 3, tr("Pass&word:"), QStringLiteral("txtFTPPassword"));
    txtFTPDir = addTextRow(grid, 4, tr("Remote fo&lder:"), QStringLiteral("txtFTPDir"));
    const PortFields port = addPortRows(grid, 5);
    txtFTPPort = port.port;
    txtFTPWaitTime = port.waitTime;
    txtFTPServer->setMinimumWidth(txtFTPServer->fontMetrics().averageCharWidth() * 34);
    // Enciphered, a password is four characters per byte, within the cipher's limit.
    txtFTPPassword->setMaxLength(int(mmEncrypt::maxTextLength / 4));
    setPasswordMasked(txtFTPPassword, true);

    chkAnonymous = checkBox(tr("&Anonymous log-on"), QStringLiteral("chkAnonymous"), this);
    chkSavePassword = checkBox(tr("Sa&ve password"), QStringLiteral("chkSavePassword"), this);
    chkFTPPassive = checkBox(tr("Pass&ive mode"), QStringLiteral("chkFTPPassive"), this);
    int row = 7;
    for (QCheckBox *box : {chkAnonymous, chkSavePassword, chkFTPPassive})
        grid->addWidget(box, row++, 1);
    cmbEncryption = addEncryptionRow(grid, row++);
    grid->setRowStretch(row, 1);

    connect(chkAnonymous, &QCheckBox::toggled, this,
            [this](bool on) { applyAnonymousChoice(on, txtFTPUser, txtFTPPassword); });
    for (QLineEdit *box : {txtFTPName, txtFTPServer, txtFTPPassword, txtFTPDir, txtFTPPort, txtFTPWaitTime})
        connect(box, &QLineEdit::textChanged, this, &fFTPSites::ValidateFields);
    connect(txtFTPUser, &QLineEdit::textChanged, this, &fFTPSites::userChanged);
    return fields;
}

void fFTPSites::Load(const QString &storeFile)
{
    bLoading = true;
    for (QLineEdit *box : findChildren<QLineEdit *>())
        box->clear();
    storeFile_ = storeFile;
    txtFTPPort->setText(QString::number(settings_.nFTPPort));
    txtFTPWaitTime->setText(QString::number(settings_.nFTPWaitTime));
    applyFontSetting(this, settings_);
    images_ = {QIcon(), QIcon::fromTheme(QStringLiteral("folder"), style()->standardIcon(QStyle::SP_DirClosedIcon)),
               QIcon::fromTheme(QStringLiteral("folder-open"), style()->standardIcon(QStyle::SP_DirOpenIcon)),
               QIcon::fromTheme(QStringLiteral("network-server"), style()->standardIcon(QStyle::SP_DriveNetIcon))};

    Tree tree;
    if (QFileInfo::exists(storeFile))
        mRwTreeView::read(storeFile, tree); // a damaged file gives the nodes read before the damage
    else
        tree = defaultSiteTree();
    bSelectingFromCode = true;
    siteItems::fill(TV1, tree, images_);
    bSelectingFromCode = false;
    TV1->setFocus();
    if (QTreeWidgetItem *first = TV1->topLevelItem(0))
        clickNode(first);
    else
        ShowNode(nullptr);
    bLoading = false;
}

bool fFTPSites::isSite(const QTreeWidgetItem *node) const
{
    return siteItems::image(node) == siteImage;
}

bool fFTPSites::isFolder(const QTreeWidgetItem *node) const
{
    return siteItems::image(node) == folderImage;
}

QString fFTPSites::uniqueName(const QString &prefix) const
{
    int n = siteItems::countItems(TV1) + 1;
    while (siteItems::findKey(TV1, prefix + QString::number(n)))
        ++n;
    return prefix + QString::number(n);
}

QTreeWidgetItem *fFTPSites::AddSite(QTreeWidgetItem *parent, const SiteFields &site)
{
    const QString name = site.name.isEmpty() ? uniqueName(QStringLiteral("_New Site")) : site.name;
    chkAnonymous->setChecked(connectRules::isAnonymousUser(site.user) && site.anonymous);
    chkSavePassword->setChecked(site.savePassword);
    chkFTPPassive->setChecked(site.passive);
    if (siteItems::findKey(TV1, name))
        return nullptr; // keys are unique
    TreeNode node;
    node.text = node.key = name;
    node.image = siteImage;
    node.tag = SiteRecord{site.server,
                          site.user,
                          mmEncrypt::Encrypt(site.password),
                          site.folder,
                          flagText(chkAnonymous),
                          flagText(chkSavePassword),
                          flagText(chkFTPPassive),
                          site.port,
                          site.waitTime}
                   .toTag();
    return siteItems::addItem(TV1, parent, node, images_);
}

QTreeWidgetItem *fFTPSites::AddFolder(QTreeWidgetItem *parent, const QString &folderName)
{
    const QString name = folderName.isEmpty() ? uniqueName(QStringLiteral("_New Folder")) : folderName;
    if (siteItems::findKey(TV1, name))
        return nullptr;
    TreeNode node;
    node.text = node.key = name;
    node.image = folderImage;
    node.selectedImage = openFolderImage;
    node.sorted = true;
    return siteItems::addItem(TV1, parent, node, images_);
}

void fFTPSites::TvDelete(QTreeWidgetItem *node)
{
    for (int i = 0; i < node->childCount(); ++i)
        TvDelete(node->child(i));
    while (node->childCount() > 0)
        delete node->takeChild(0);
}

void fFTPSites::ShowNode(QTreeWidgetItem *node)
{
    if (!node) {
        txtFTPName->setEnabled(false);
        setSiteFieldsEnabled(false);
        return;
    }
    txtFTPName->setText(node->text(0));
    txtFTPName->setEnabled(node->text(0) != TV1->topLevelItem(0)->text(0)); // the root keeps its name
    const bool site = isSite(node);
    if (site) {
        const SiteRecord record = SiteRecord::fromTag(tag(node));
        txtFTPServer->setText(record.server);
        txtFTPUser->setText(record.user);
        txtFTPDir->setText(record.folder);
        chkAnonymous->setChecked(flagSet(record.anonymous));
        chkSavePassword->setChecked(flagSet(record.savePassword));
        chkFTPPassive->setChecked(flagSet(record.passive));
        txtFTPPort->setText(record.port);
        txtFTPWaitTime->setText(record.waitTime);
        cmbEncryption->setCurrentIndex(record.encryptionIndex());
        txtFTPPassword->setText(
            chkAnonymous->isChecked() && record.password.isEmpty() ? sAnonPassword : decryptedOrEmpty(record.password));
    } else {
        for (QLineEdit *box : {txtFTPServer, txtFTPUser, txtFTPPassword, txtFTPDir, txtFTPPort, txtFTPWaitTime})
            box->clear();
    }
    setSiteFieldsEnabled(site);
}

void fFTPSites::setSiteFieldsEnabled(bool enabled)
{
    for (QWidget *field :
         std::initializer_list<QWidget *>{txtFTPServer, txtFTPUser, txtFTPPassword, txtFTPDir, txtFTPPort,
                                          txtFTPWaitTime, chkAnonymous, chkSavePassword, chkFTPPassive, cmbEncryption})
        field->setEnabled(enabled);
}

void fFTPSites::ApplyFields(QTreeWidgetItem *node)
{
    if (!node)
        return;
    const QString name = txtFTPName->text();
    if (!name.isEmpty() && name != node->text(0)) {
        node->setText(0, name); // the key keeps the first name
        siteItems::keepInPlace(node);
    }
    if (!isSite(node))
        return;
    const QString record = SiteRecord{txtFTPServer->text(),
                                      txtFTPUser->text(),
                                      mmEncrypt::Encrypt(txtFTPPassword->text()),
                                      txtFTPDir->text(),
                                      flagText(chkAnonymous),
                                      flagText(chkSavePassword),
                                      flagText(chkFTPPassive),
                                      txtFTPPort->text(),
                                      txtFTPWaitTime->text(),
                                      QString::number(cmbEncryption->currentIndex())}
                               .toTag();
    // The eight line breaks alone are 16 characters: anything more is a record.
    if (record.size() > 16)
        siteItems::setTag(node, record);
}

void fFTPSites::ValidateFields()
{
    const auto port = connectRules::numericValue(txtFTPPort->text());
    const auto waitTime = connectRules::numericValue(txtFTPWaitTime->text());
    // A port or waiting time that is no number leaves Connect as it was.
    if (!port || !waitTime)
        return;
    cmdConnect->setEnabled(!txtFTPName->text().isEmpty() && !txtFTPUser->text().isEmpty()
                           && !txtFTPPassword->text().isEmpty()
                           && connectRules::serverNameAccepted(txtFTPServer->text()) && *port >= 1 && *waitTime >= 1);
}

void fFTPSites::userChanged()
{
    if (!bLoading)
        chkAnonymous->setChecked(connectRules::isAnonymousUser(txtFTPUser->text()));
    ValidateFields();
}

void fFTPSites::currentNodeChanged(QTreeWidgetItem *current, QTreeWidgetItem *previous)
{
    if (previous)
        siteItems::showIcon(previous, false, images_);
    if (current)
        siteItems::showIcon(current, true, images_);
    if (bSelectingFromCode)
        return;
    // The user moved: keep the edits of the node left, then show the new one
    // and store its record in its normal form at once.
    ApplyFields(previous);
    ShowNode(current);
    ApplyFields(current);
}

void fFTPSites::nodeCollapsed(QTreeWidgetItem *node)
{
    QTreeWidgetItem *current = TV1->currentItem();
    if (current && isAncestor(node, current))
        TV1->setCurrentItem(node); // the selection would be hidden: it moves to the collapsed node
    else if (current == node)
        ShowNode(node);
}

void fFTPSites::clickNode(QTreeWidgetItem *node)
{
    bSelectingFromCode = true;
    TV1->setCurrentItem(node);
    bSelectingFromCode = false;
    TV1->scrollToItem(node);
    ShowNode(node);
    ApplyFields(node);
}

void fFTPSites::cmdSession_Click(int index)
{
    QTreeWidgetItem *selected = TV1->currentItem();
    if (!selected)
        return;
    ApplyFields(selected);
    if (index == Delete) {
        QTreeWidgetItem *parent = selected->parent();
        if (!parent)
            return; // the root stays
        const int at = parent->indexOfChild(selected);
        clickNode(at + 1 < parent->childCount() ? parent->child(at + 1) : parent);
        TvDelete(selected);
        delete selected;
        return;
    }
    QTreeWidgetItem *parent = isFolder(selected) ? selected : selected->parent();
    if (!parent)
        return;
    QTreeWidgetItem *added = index == NewFolder ? AddFolder(parent, QString())
                                                : AddSite(parent, {QString(), QString(), QStringLiteral("anonymous"),
                                                                   sSiteAnonPassword, QString(), true, false, false,
                                                                   QStringLiteral("21"), QStringLiteral("30")});
    if (added)
        clickNode(added);
}

void fFTPSites::cmdSave_Click()
{
    ApplyFields(TV1->currentItem());
    for (QTreeWidgetItemIterator it(TV1); *it; ++it)
        siteItems::setTag(*it, tagAsSaved(tag(*it)));
    const Tree tree = siteItems::toTree(TV1);
    if (!tree.empty())
        mRwTreeView::save(storeFile_, tree, tree.front()); // a failed save says nothing, as ever
}

void fFTPSites::cmdConnect_Click()
{
    connectWith({txtFTPServer->text(), txtFTPUser->text(), txtFTPPassword->text(), txtFTPDir->text(),
                 txtFTPPort->text(), txtFTPWaitTime->text(), chkFTPPassive->isChecked(),
                 FtpEncryption(cmbEncryption->currentIndex())});
}

void fFTPSites::cmdHelp_Click()
{
    informationBox(this, QStringLiteral("1. Passwords are stored as encrypted text for the password protection.\r\n"
                                        "2. All FTP site details are stored in FTPSite.dat of the system folder.\r\n"));
}

} // namespace korvan
