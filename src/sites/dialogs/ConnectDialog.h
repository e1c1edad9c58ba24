#pragma once
// What both connect dialogs (fFTPSites, fFTPQuick) offer their caller:
//
//   fFTPQuick dialog(parent);   // constructing loads it from ftpSettings()
//   dialog.exec();
//   if (dialog.Canceled())
//       return false;
//   // ftpSettings() holds server, user, password, folder, port, waiting time, passive,
//   // encryption
//
// Canceled() is true only after Cancel or Escape. Connect writes the shared
// settings and closes. The window's close box closes leaving Canceled() false
// and the settings unchanged, a case the caller has to tell apart by itself
// (it then goes on with the settings as they were).

#include "korvan/FtpSettings.h"

#include <QDialog>

namespace korvan {

class ConnectDialog : public QDialog {
public:
    bool Canceled() const { return bCanceled; }

protected:
    ConnectDialog(QWidget *parent, FtpSettings &settings) : QDialog(parent), settings_(settings) {}

    struct Fields {
        QString server, user, password, folder, port, waitTime;
        bool passive = false;
        FtpEncryption encryption = FtpEncryption::Plain;
    };
    // Connect: the fields into the settings, then close.
    void connectWith(const Fields &fields);
    // Cancel: remembered for the caller, then close.
    void cancel();
    void keyPressEvent(QKeyEvent *event) override;

    FtpSettings &settings_;

private:
    bool bCanceled = false;
};

} // namespace korvan
