#pragma once
// Icons and type texts from the desktop: the MIME database names a file's type by
// its extension, the icon theme draws it. Remote entries have no local file, so
// everything is looked up by name only. Lookups are cached: one per extension, the
// folder's once, so a listing of 100,000 entries costs a handful of lookups.

#include <QIcon>
#include <QString>

namespace korvan {

class ShellIcons {
public:
    // A file kind is a small number shared by every name with the same extension;
    // kind 0 is the folder. Rows of a listing keep the number, not the icon.
    using Kind = quint16;
    static constexpr Kind kFolderKind = 0;

    // When no icon theme is in force (offscreen, a bare X server), the one the
    // machine ships is used, so icons show everywhere.
    static void ensureIconTheme();

    static Kind kindOfFile(const QString &fileName);
    static QIcon kindIcon(Kind kind, bool link = false);
    static QString kindTypeText(Kind kind);
    // Kinds known so far: 0 to kindCount() - 1.
    static int kindCount();

    static QIcon folderIcon() { return kindIcon(kFolderKind); }
    static QString folderTypeText() { return kindTypeText(kFolderKind); }
    static QIcon fileIcon(const QString &fileName, bool link = false);
    static QString fileTypeText(const QString &fileName);

    // The small arrow of a link drawn over the bottom-left corner of `base`.
    static QIcon withLinkOverlay(const QIcon &base);
    // The tree's folder: closed normally, open while its node is selected.
    static QIcon treeFolderIcon(bool link = false);

    // Tool bar images by key: "Tree", "QuickConnect", "Connect", "Disconnect",
    // "GoUp"; a null icon for any other key.
    static QIcon toolBarIcon(const QString &key);
};

} // namespace korvan
