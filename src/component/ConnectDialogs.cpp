#include "component/ConnectDialogs.h"

#include "sites/dialogs/fFTPQuick.h"
#include "sites/dialogs/fFTPSites.h"

#include <QPointer>

namespace korvan {

namespace {

// The dialog now open, if any.
QPointer<ConnectDialog> openDialog;

bool run(ConnectDialog &dialog)
{
    openDialog = &dialog;
    dialog.exec();
    openDialog = nullptr;
    return !dialog.Canceled();
}

} // namespace

bool runConnectDialog(bool bQuick, QWidget *owner)
{
    if (bQuick) {
        fFTPQuick dialog(owner);
        return run(dialog);
    }
    fFTPSites dialog(owner);
    return run(dialog);
}

void runSiteEditor()
{
    fFTPSites dialog;
    dialog.setConnectVisible(false);
    run(dialog);
}

bool closeConnectDialogs()
{
    if (!openDialog)
        return false;
    openDialog->reject();
    return true;
}

} // namespace korvan
