#pragma once
// The quick-connect dialog: a one-off connection without the site tree. It
// starts from the shared settings and, on Connect, writes server, user,
// password, remote folder, port, waiting time and the passive flag back and
// closes. Nothing is stored.
//
// Use: see ConnectDialog.h.

#include "sites/dialogs/ConnectDialog.h"

#include <array>

class QCheckBox;
class QComboBox;
class QLineEdit;
class QPushButton;

namespace korvan {

class fFTPQuick : public ConnectDialog {
    Q_OBJECT
public:
    explicit fFTPQuick(QWidget *parent = nullptr, FtpSettings &settings = ftpSettings());

    enum Account { Server = 0, User = 1, Password = 2, Folder = 3 };

private:
    void buildControls();
    void Load();
    void ValidateFields();
    void accountChanged(int index);
    void cmdConnect_Click();

    std::array<QLineEdit *, 4> txtFTPAccount{};
    QLineEdit *txtFTPPort = nullptr;
    QLineEdit *txtFTPWaitTime = nullptr;
    QCheckBox *chkAnonymous = nullptr;
    QCheckBox *chkFTPPassive = nullptr;
    QComboBox *cmbEncryption = nullptr;
    QPushButton *cmdConnect = nullptr;
    QPushButton *cmdCancel = nullptr;
};

} // namespace korvan
