#pragma once
// The hand-over file: a small file in the component's temporary folder that stands
// for remote entries on the desktop (on the clipboard, in a drag) until a copy of it
// lands in a folder, which is where the entries are then downloaded. It lists
// them one per line in the download list's form ("path?size", a folder "path/").

#include "transfer/TransferText.h"

#include <QList>
#include <QString>

namespace korvan {

// "KWZ" + a unique part; a file of ours is known by this start of its name.
bool IsHandOverName(const QString &fileName);
// A new hand-over file listing `items` in tempDir; its path, empty when it could not be written.
QString WriteHandOverFile(const QString &tempDir, const QList<TransferItem> &items);
QList<TransferItem> ReadHandOverFile(const QString &path);

// The desktop's recycle bin: a folder whose upper-cased path holds "RECYCLED" or
// "TRASH", or a "trash:" address. Nothing is downloaded there.
bool IsTrashFolder(const QString &folder);

// Where a target said a dropped hand-over file goes ("file:///home/me/KWZ1.tmp",
// KDE's "desktop:/" or a plain path), as the local folder it lands in; "trash:"
// and other addresses that are not local keep their text (IsLocalFolder tells).
QString ArrivalFolderOf(const QString &target, bool namesFile);
bool IsLocalFolder(const QString &folder);

// The question asked before a hand-over's entries are downloaded.
QString DownloadQuestion(const QList<TransferItem> &items);

} // namespace korvan
