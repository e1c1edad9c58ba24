#pragma once
// The connect dialogs as the component opens them: a fresh dialog each time,
// loaded from the shared settings.

class QWidget;

namespace korvan {

// The quick-connect dialog or the site manager, modal over owner. False when
// the user cancelled; otherwise the shared settings hold what to connect to.
bool runConnectDialog(bool bQuick, QWidget *owner);
// The site manager without its Connect button, owned by no window.
void runSiteEditor();
// Closes a connect dialog that is open, as the library unloads. True when one was.
bool closeConnectDialogs();

} // namespace korvan
