#pragma once
// What the site manager keeps in its tree: folders and sites, told apart by
// their image, a site's details in its tag as a nine-line record, the tree
// offered when there is no file yet, and where the file lives.

#include "sites/mRwTreeView.h"

#include <QString>

namespace korvan {

// Indices into the site manager's image list; 0 is no image.
inline constexpr qint32 folderImage = 1;
inline constexpr qint32 openFolderImage = 2;
inline constexpr qint32 siteImage = 3;

// A site node's tag: nine lines joined by CR LF (none after the last), and a
// tenth for the encryption ("1" explicit TLS, "2" implicit TLS) only when it is
// not plain, so readers that know nine lines read the site as before. The
// lines are kept as text; the flags are "1" or "0", the password is enciphered
// (it may hold control characters and is never trimmed).
struct SiteRecord {
    QString server;
    QString user;
    QString password;
    QString folder;
    QString anonymous = QStringLiteral("0");
    QString savePassword = QStringLiteral("0");
    QString passive = QStringLiteral("0");
    QString port;
    QString waitTime;
    QString encryption = {}; // empty or "0": plain

    // Lines the tag lacks read as empty; lines after the tenth are dropped.
    static SiteRecord fromTag(const QString &tag);
    QString toTag() const;
    // The encryption as FtpEncryption numbers it; plain for anything else.
    int encryptionIndex() const;

    friend bool operator==(const SiteRecord &, const SiteRecord &) = default;
};

// The tag as it is saved: a site that is not to keep its password loses it
// (save-password flag read as a number is 0). Empty tags (folders) stay empty.
QString tagAsSaved(const QString &tag);

// The tree offered before the first save: the root folder "FTP sites" holding
// the folders "MIS", "Personal" (empty) and "Web Server", with 18 and 11
// public anonymous software archives; 33 nodes.
Tree defaultSiteTree();

// The site store file. Beside the component library when its folder is
// writable (a build tree, a portable install), otherwise in the user's
// configuration folder for Korvan, made on the first save.
QString siteStoreFile();
QString siteStoreFile(const QString &componentFolder, const QString &userConfigFolder);

} // namespace korvan
