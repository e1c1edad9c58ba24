#pragma once
// Fetching remote folder listings: the per-session cache of parsed listings keyed
// by folder path (with a trailing "/"), the three ways of sending LIST, and the
// resolution of symbolic links that lead to folders. No widgets: status texts go
// through SessionUi.

#include "korvan/cFTPList.h"

#include <QMetaObject>
#include <QString>

#include <map>
#include <memory>

namespace korvan {

class FtpSession;
class SessionUi;

// "Processing 10/100000 files and folders": shown at every tenth entry of a long walk.
QString ProcessingText(qint32 index, qint32 count);

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
    // The same listing shared: a view that shows it keeps it alive after the cache
    // has dropped it (a refresh, the end of the session).
    std::shared_ptr<const cFTPList> sharedList(const QString &folder) const;
    // Refresh drops one folder; the end of a session (FtpSession::sessionEnded) drops them all.
    void removeCachedList(const QString &folder);
    void clearCache();
    qsizetype cachedFolderCount() const { return cache.size(); }

private:
    bool sessionOpen() const;
    bool sendListCommand(const QString &folder);
    // Null when a session ended since `endedBefore` was read: the listing may
    // describe another server, and the cache was emptied meanwhile.
    cFTPList *storeListing(const QString &folder, quint64 endedBefore);
    static void parseBesideEventLoop(cFTPList &list, const QByteArray &wireText, QSet<QString> &latin1Lines);
    bool resolveLinks(cFTPList &list);
    bool finish(bool result);

    FtpSession &session;
    SessionUi &ui;
    std::map<QString, std::shared_ptr<cFTPList>> cache;
    QMetaObject::Connection sessionEndWatch;
    // Sessions ended so far: a parse that spans an end must not store its listing.
    quint64 endedSessions = 0;
};

} // namespace korvan
