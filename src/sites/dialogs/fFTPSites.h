#pragma once
// The site manager: a tree of FTP sites in folders, kept in the site store
// file. The user edits a site's log-on details, adds and deletes sites and
// folders, saves the tree, and connects to the site shown.
//
// Use: see ConnectDialog.h. Connect copies the shown site into the settings
// (password in plain text) without saving the tree: edits since the last Save
// are lost. For editing only, hide Connect with setConnectVisible(false).

#include "sites/SiteStore.h"
#include "sites/dialogs/ConnectDialog.h"
#include "sites/dialogs/SiteTreeItems.h"

#include <array>

class QCheckBox;
class QComboBox;
class QLineEdit;
class QPushButton;
class QTreeWidget;
class QTreeWidgetItem;

namespace korvan {

class fFTPSites : public ConnectDialog {
    Q_OBJECT
public:
    // Loads the tree from `storeFile` (the default tree when there is no
    // such file); Save writes it back there.
    explicit fFTPSites(QWidget *parent = nullptr, FtpSettings &settings = ftpSettings(),
                       const QString &storeFile = siteStoreFile());

    void setConnectVisible(bool visible);

    enum Session { NewFolder = 0, NewSite = 1, Delete = 2 };

private:
    struct SiteFields {
        QString name, server, user, password, folder;
        bool anonymous, savePassword, passive;
        QString port, waitTime;
    };

    void buildControls();
    QWidget *buildFields();
    void Load(const QString &storeFile);

    bool isSite(const QTreeWidgetItem *node) const;
    bool isFolder(const QTreeWidgetItem *node) const;
    QString uniqueName(const QString &prefix) const;
    QTreeWidgetItem *AddSite(QTreeWidgetItem *parent, const SiteFields &site);
    QTreeWidgetItem *AddFolder(QTreeWidgetItem *parent, const QString &name);
    void TvDelete(QTreeWidgetItem *node);
    void ShowNode(QTreeWidgetItem *node);
    void ApplyFields(QTreeWidgetItem *node);
    void ValidateFields();
    void setSiteFieldsEnabled(bool enabled);

    // Tree events.
    void currentNodeChanged(QTreeWidgetItem *current, QTreeWidgetItem *previous);
    void nodeCollapsed(QTreeWidgetItem *node);
    // Selects a node as if the user had clicked it: shown, then applied.
    void clickNode(QTreeWidgetItem *node);

    void userChanged();
    void cmdSession_Click(int index);
    void cmdSave_Click();
    void cmdConnect_Click();
    void cmdHelp_Click();

    QString storeFile_;
    bool bLoading = false;
    bool bSelectingFromCode = false;
    siteItems::ImageList images_;

    QTreeWidget *TV1 = nullptr;
    QLineEdit *txtFTPName = nullptr;
    QLineEdit *txtFTPServer = nullptr;
    QLineEdit *txtFTPUser = nullptr;
    QLineEdit *txtFTPPassword = nullptr;
    QLineEdit *txtFTPDir = nullptr;
    QLineEdit *txtFTPPort = nullptr;
    QLineEdit *txtFTPWaitTime = nullptr;
    QCheckBox *chkAnonymous = nullptr;
    QCheckBox *chkSavePassword = nullptr;
    QCheckBox *chkFTPPassive = nullptr;
    QComboBox *cmbEncryption = nullptr;
    std::array<QPushButton *, 3> cmdSession{};
    QPushButton *cmdSave = nullptr;
    QPushButton *cmdConnect = nullptr;
    QPushButton *cmdCancel = nullptr;
    QPushButton *cmdHelp = nullptr;
};

} // namespace korvan
