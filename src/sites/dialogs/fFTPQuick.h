#pragma once
// The quick-connect dialog: a one-off connection without the site tree. It
// starts from the shared settings and, on Connect, writes server, user,
// password, remote folder, port, waiting time and the passive flag back and
// closes. Nothing is stored.
//
// Use: construct (this loads it from the settings), exec(), then read
// Canceled(): true after Cancel (or Escape). Closing it with the window's close
// box leaves Canceled() false and the settings unchanged, as Connect's caller
// has always had to tell apart by itself.

#include "korvan/FtpSettings.h"

#include <QDialog>

#include <array>

class QCheckBox;
class QLineEdit;
class QPushButton;

namespace korvan {

class fFTPQuick : public QDialog {
    Q_OBJECT
public:
    explicit fFTPQuick(QWidget *parent = nullptr, FtpSettings &settings = ftpSettings());

    bool Canceled() const { return bCanceled; }

    enum Account { Server = 0, User = 1, Password = 2, Folder = 3 };

protected:
    void keyPressEvent(QKeyEvent *event) override;

private:
    void buildControls();
    void Load();
    void ValidateFields();
    void accountChanged(int index);
    void cmdConnect_Click();
    void cmdCancel_Click();

    FtpSettings &settings_;
    bool bCanceled = false;
    std::array<QLineEdit *, 4> txtFTPAccount{};
    QLineEdit *txtFTPPort = nullptr;
    QLineEdit *txtFTPWaitTime = nullptr;
    QCheckBox *chkAnonymous = nullptr;
    QCheckBox *chkFTPPassive = nullptr;
    QPushButton *cmdConnect = nullptr;
    QPushButton *cmdCancel = nullptr;
};

} // namespace korvan
