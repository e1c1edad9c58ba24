#pragma once
// Remote path helpers shared by the listing, the session commands and the transfers.
// Remote paths always use "/" and are absolute from the server's root.

#include <QString>

namespace korvan {

// Resolves "//", "." and ".." in a remote path. A "//" restarts the path at its
// second "/" (so an absolute link target glued behind a folder replaces the folder),
// ".." at the root stays at the root. The result always starts and ends with "/";
// the root is "/".
//   NormalizeRemotePath("/home/me//pub/x/") == "/pub/x/"
//   NormalizeRemotePath("/home/me/../x/")   == "/home/x/"
QString NormalizeRemotePath(const QString &path);

// Drops one trailing "/" unless the path is exactly "/": "/pub/" -> "/pub",
// "/" -> "/", "/pub" -> "/pub".
QString StripTrailingSlash(const QString &path);

// Appends "/" unless the path already ends with one (local folders too).
QString WithTrailingSlash(const QString &path);

} // namespace korvan
