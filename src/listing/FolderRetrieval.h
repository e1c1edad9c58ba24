#pragma once
// Fetching remote folder listings: the per-session cache of parsed listings keyed
// by folder path (with a trailing "/"), the three ways of sending LIST, and the
// resolution of symbolic links that lead to folders. No widgets: status texts go
// through SessionUi.

#include "korvan/cFTPList.h"

#include <QString>

#include <map>
#include <memory>

namespace korvan {

class FtpSession;
class SessionUi;

class FolderRetrieval {
public:
    FolderRetrieval(FtpSession &session, SessionUi &ui);
    ~FolderRetrieval();
    FolderRetrieval(const FolderRetrieval &) = delete;
    FolderRetrieval &operator=(const FolderRetrieval &) = delete;

    // Makes sure the listing of `folder` is in the cache; `folder` gets its
    // trailing "/" in place. True on success, and at once when no session is open.
    bool GetList(QString &folder);

    // The cached listing of a folder (with or without its trailing "/"), or null.
    cFTPList *cachedList(const QString &folder) const;
    // Refresh drops one folder; the end of a session drops them all.
    void removeCachedList(const QString &folder);
    void clearCache();
    qsizetype cachedFolderCount() const { return cache.size(); }

private:
    bool sessionOpen() const;
    bool sendListCommand(const QString &folder);
    cFTPList &storeListing(const QString &folder);
    bool resolveLinks(cFTPList &list);
    bool finish(bool result);

    FtpSession &session;
    SessionUi &ui;
    std::map<QString, std::unique_ptr<cFTPList>> cache;
};

// A size as the listing shows it ("1,234") or as plain digits ("1234"); a size
// word that is no number counts as 0.
double SizeTextValue(const QString &text);

// Sorting the file list folders first. A row's sort key for a column (1 = name,
// 2 = size, 3.. = the other columns) is its tag ("0" folder, "1" file) followed by
// the column's text; sizes are written with leading zeros to twelve digits
// ("000,000,001,234") so that they compare as numbers. Text compares without regard
// to case, as the list's own sort does.
QString ListSortKey(bool isFolder, int column, const QString &cellText);
// Ascending order: folders before files, each group by its text. Descending is
// the reverse (files first).
bool ListSortLess(const QString &keyA, const QString &keyB);

} // namespace korvan
