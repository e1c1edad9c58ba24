#pragma once
// The X11 side of the XDND Direct Save protocol (XdndDirectSave0): the drag's
// source window carries a property with the file name to save; the target
// replaces it with the file:// address where it saves, then asks for the
// XdndDirectSave0 data ("S" done, "E" error). Qt's drag owns the window; these
// calls only read and write its property. Where the display is not X11 they do
// nothing and report no window.

#include <QByteArray>

namespace korvan::x11 {

// The window that owns the running drag (the XDND selection owner), or 0.
quint32 dragSourceWindow();
void setDirectSaveProperty(quint32 window, const QByteArray &value);
QByteArray directSaveProperty(quint32 window);

} // namespace korvan::x11
