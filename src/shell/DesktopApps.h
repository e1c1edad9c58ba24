#pragma once
// The desktop's programs for a file, as freedesktop.org describes them: the
// default application of a MIME type (xdg-mime), the program of its desktop
// entry, and opening a file with it (xdg-open).

#include <QString>

namespace korvan {

// The desktop entry ("mousepad.desktop") that opens files of the type of `path`
// by default; empty when the desktop has none.
QString DefaultApplicationFor(const QString &path);
// The plain-text editor: the program of the default application for text/plain,
// else the system's "editor".
QString PlainTextEditor();
// Opens the file with its default application; false when that could not start.
bool OpenWithDefaultApplication(const QString &path);

} // namespace korvan
