#include "sites/dialogs/ConnectDialog.h"

#include "sites/dialogs/DialogParts.h"

#include <QKeyEvent>

namespace korvan {

void ConnectDialog::connectWith(const Fields &fields)
{
    settings_.sFTPServer = fields.server;
    settings_.sFTPUser = fields.user;
    settings_.sFTPPassword = fields.password;
    settings_.sFTPDir = fields.folder;
    settings_.nFTPPort = dialogParts::numberOr(fields.port, settings_.nFTPPort);
    settings_.nFTPWaitTime = dialogParts::numberOr(fields.waitTime, settings_.nFTPWaitTime);
    settings_.bPassive = fields.passive;
    settings_.nEncryption = fields.encryption;
    accept();
}

void ConnectDialog::cancel()
{
    bCanceled = true;
    reject();
}

void ConnectDialog::keyPressEvent(QKeyEvent *event)
{
    // Escape is Cancel; only the close box closes without cancelling.
    if (event->key() == Qt::Key_Escape && event->modifiers() == Qt::NoModifier) {
        cancel();
        return;
    }
    QDialog::keyPressEvent(event);
}

} // namespace korvan
