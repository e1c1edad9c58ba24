#include "korvan/cFTPList.h"

#include "ftp/RemotePath.h"
#include "listing/ListingParser.h"

#include <QDate>

#include <string>

namespace korvan {

SubscriptOutOfRange::SubscriptOutOfRange(qint64 index)
    : std::out_of_range("Subscript out of range: " + std::to_string(index)), badIndex(index)
{}

qint64 SubscriptOutOfRange::index() const
{
    return badIndex;
}

QString cFTPList::Folder() const
{
    return sFolder;
}

void cFTPList::setFolder(const QString &folder)
{
    sFolder = folder;
}

qint32 cFTPList::FileNumb() const
{
    return nFileNumb;
}

void cFTPList::setFileNumb(qint32 n)
{
    nFileNumb = n;
}

TFILE &cFTPList::slot(qint32 Index)
{
    if (Index < 0 || Index >= entries.size())
        throw SubscriptOutOfRange(Index);
    return entries[Index];
}

const TFILE &cFTPList::slot(qint32 Index) const
{
    if (Index < 0 || Index >= entries.size())
        throw SubscriptOutOfRange(Index);
    return entries[Index];
}

qint32 cFTPList::TableSize() const
{
    return qint32(entries.size());
}

QString cFTPList::FileName(qint32 Index) const
{
    return slot(Index).FileName;
}

void cFTPList::setFileName(qint32 Index, const QString &value)
{
    slot(Index).FileName = value;
}

QString cFTPList::FileDate(qint32 Index) const
{
    return slot(Index).FileDate;
}

void cFTPList::setFileDate(qint32 Index, const QString &value)
{
    slot(Index).FileDate = value;
}

QString cFTPList::FileSize(qint32 Index) const
{
    return slot(Index).FileSize;
}

void cFTPList::setFileSize(qint32 Index, const QString &value)
{
    slot(Index).FileSize = value;
}

QString cFTPList::FileAttr(qint32 Index) const
{
    return slot(Index).FileAttr;
}

void cFTPList::setFileAttr(qint32 Index, const QString &value)
{
    slot(Index).FileAttr = value;
}

QString cFTPList::FileLink(qint32 Index) const
{
    return slot(Index).FileLink;
}

void cFTPList::setFileLink(qint32 Index, const QString &value)
{
    slot(Index).FileLink = value;
}

bool cFTPList::IsFolder(qint32 Index) const
{
    return slot(Index).bFolder;
}

void cFTPList::setIsFolder(qint32 Index, bool value)
{
    slot(Index).bFolder = value;
}

bool cFTPList::IsLink(qint32 Index) const
{
    return !slot(Index).FileLink.isEmpty();
}

QString cFTPList::Path(qint32 Index) const
{
    const TFILE &entry = slot(Index);
    if (!entry.bFolder)
        return sFolder + entry.FileName;
    if (entry.FileLink.isEmpty())
        return sFolder + entry.FileName + u'/';
    // A link marked as a folder leads to its target: relative targets are read
    // from the listed folder, absolute ones replace it.
    return NormalizeRemotePath(sFolder + entry.FileLink + u'/');
}

void cFTPList::setFTPFileList(QString &sFileList)
{
    QString text = std::move(sFileList);
    sFileList = QString();
    ListingParseState state{ListingStyle(style), hasAttributes};
    nFileNumb = ParseListing(std::move(text), QDate::currentDate().year(), state, entries);
    style = qint32(state.style);
    hasAttributes = state.hasAttributes;
}

void cFTPList::setWireFileList(const QByteArray &wireText, QSet<QString> *latin1Lines)
{
    ListingParseState state{ListingStyle(style), hasAttributes};
    nFileNumb = ParseListingBytes(wireText, QDate::currentDate().year(), state, entries, latin1Lines);
    style = qint32(state.style);
    hasAttributes = state.hasAttributes;
}

const TFILE &cFTPList::entry(qint32 Index) const
{
    return slot(Index);
}

} // namespace korvan
