// Folder listings: the cache, LIST in its three forms, and link resolution.

#include "listing/FolderRetrieval.h"

#include "ftp/FtpSession.h"
#include "ftp/RemotePath.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <QStringBuilder>
#include <QThread>

namespace korvan {

namespace {

const QString kGettingList = u"Getting List of Files and Folders. Wait a Second..."_qs;
const QString kDone = u"Done"_qs;
} // namespace

// In one allocation: a 100,000-entry folder asks for 10,000 of them.
QString ProcessingText(qint32 index, qint32 count)
{
    return u"Processing " % QString::number(index) % u'/' % QString::number(count) % u" files and folders";
}

// Listings of a session that has ended describe another server, or an old state of it.
FolderRetrieval::FolderRetrieval(FtpSession &session, SessionUi &ui)
    : session(session), ui(ui), sessionEndWatch(QObject::connect(&session, &FtpSession::sessionEnded, [this] {
          ++endedSessions;
          clearCache();
      }))
{}

FolderRetrieval::~FolderRetrieval()
{
    QObject::disconnect(sessionEndWatch);
}

bool FolderRetrieval::sessionOpen() const
{
    return session.controlSocket().state() == SocketState::Connected;
}

bool FolderRetrieval::finish(bool result)
{
    ui.setStatusText(StatusPane::Main, kDone);
    return result;
}

bool FolderRetrieval::GetList(QString &folder)
{
    if (!sessionOpen())
        return finish(true);
    ui.setStatusText(StatusPane::Main, kGettingList);
    const quint64 endedBefore = endedSessions;
    folder = WithTrailingSlash(folder);
    if (cache.count(folder) != 0)
        return finish(true);

    // A failing TYPE A still caches a listing: whatever the data buffer holds
    // then, stale or empty, is parsed.
    if (session.SetType(u"A"_qs)) {
        if (!session.OpenDataConnection() || !sendListCommand(folder))
            return finish(false);
    }
    cFTPList *list = storeListing(folder, endedBefore);
    return finish(list && resolveLinks(*list));
}

// The current folder is listed without an argument; a folder with a blank is
// entered, listed and left, because a blank in a LIST argument reads as options.
bool FolderRetrieval::sendListCommand(const QString &folder)
{
    const QString list = u"LIST"_qs;
    if (folder == session.sCurrentDir())
        return session.SendAndWait(list, DataMode::Listing);
    if (folder.contains(u' '))
        return session.ChangeDir(folder) && session.SendAndWait(list, DataMode::Listing)
               && session.ChangeDir(session.sCurrentDir());
    return session.SendAndWait(list + u' ' + StripTrailingSlash(folder), DataMode::Listing);
}

// The parse of a big listing (100,000 lines: a tenth of a second and more) runs
// beside the event loop, as the transfer before it did, so the window keeps
// painting. The list is nobody else's until it is stored. The user's clicks wait
// until then: no command can start, and no session end, between LIST and the cache.
void FolderRetrieval::parseBesideEventLoop(cFTPList &list, const QByteArray &wireText, QSet<QString> &latin1Lines)
{
    std::unique_ptr<QThread> parser(
        QThread::create([&list, &wireText, &latin1Lines] { list.setWireFileList(wireText, &latin1Lines); }));
    parser->start();
    while (!parser->wait(QDeadlineTimer(10)))
        QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
}

cFTPList *FolderRetrieval::storeListing(const QString &folder, quint64 endedBefore)
{
    auto list = std::make_shared<cFTPList>();
    QSet<QString> latin1Lines;
    parseBesideEventLoop(*list, session.sListText(), latin1Lines);
    session.rememberLatin1Lines(latin1Lines);
    if (endedSessions != endedBefore)
        return nullptr;
    list->setFolder(folder);
    cFTPList *stored = list.get();
    cache[folder] = std::move(list);
    return stored;
}

// A link is a folder when the server lets us change into it; one CWD per link,
// and one CWD back to the current folder at the end. The progress text is built
// at every tenth entry and before each CWD (whose wait is where a window
// repaints): a text for every entry of a 100,000-entry folder costs more than
// the listing's parse, and no one could see them.
bool FolderRetrieval::resolveLinks(cFTPList &list)
{
    const qint32 count = list.FileNumb();
    bool linkSeen = false;
    for (qint32 i = 0; i < count; ++i) {
        const bool link = list.IsLink(i);
        if (link || i % 10 == 0)
            ui.setStatusText(StatusPane::Main, ProcessingText(i, count));
        if (!link)
            continue;
        linkSeen = true;
        if (session.ChangeDir(list.Path(i))) {
            list.setIsFolder(i, true);
            list.setFileSize(i, QString());
        }
    }
    return !linkSeen || session.ChangeDir(session.sCurrentDir());
}

cFTPList *FolderRetrieval::cachedList(const QString &folder) const
{
    const auto found = cache.find(WithTrailingSlash(folder));
    return found == cache.end() ? nullptr : found->second.get();
}

std::shared_ptr<const cFTPList> FolderRetrieval::sharedList(const QString &folder) const
{
    const auto found = cache.find(WithTrailingSlash(folder));
    return found == cache.end() ? nullptr : found->second;
}

void FolderRetrieval::removeCachedList(const QString &folder)
{
    cache.erase(WithTrailingSlash(folder));
}

void FolderRetrieval::clearCache()
{
    cache.clear();
}

} // namespace korvan
