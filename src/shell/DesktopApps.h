#pragma once
// The desktop's programs for a file, as freedesktop.org describes them: the
// default application of a MIME type (xdg-mime) and the command of its desktop
// entry, which opens the file.

#include <QString>

namespace korvan {

// The plain-text editor: the program of the default application for text/plain,
// else the system's "editor".
QString PlainTextEditor();
// Opens the file with the default application for its type; false when the
// desktop has none or it could not start.
bool OpenWithDefaultApplication(const QString &path);

} // namespace korvan
