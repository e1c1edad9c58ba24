#pragma once
// One remote folder's listing: the raw text a server sends for LIST, turned into a
// table of entries that the file list, the downloader and the uploader read by index.
//
// Usage: write the whole listing with setFTPFileList() and set the Folder (in either
// order), then read FileNumb() and the entries 0 to FileNumb() - 1.
//
// What the parser makes of a line:
//   UNIX  "drwxr-xr-x 2 owner group 4096 Jan 15 10:20 pub"
//         -> FileName "pub", folder, FileSize "", FileAttr "drwxr-xr-x",
//            FileDate "1/15/<current year> 10:20 AM"
//         "lrwxrwxrwx 1 root root 7 Jan 15 2003 bin -> usr/bin"
//         -> FileName "bin", FileLink "usr/bin", FileSize "7", not a folder
//   DOS   "01-15-03  10:20AM   1234 a  b.txt"
//         -> FileName "a b.txt", FileSize "1,234", FileAttr "", FileDate "1/15/2003 10:20 AM"
// The style (DOS, UNIX with or without a group column) is found on the first line
// that yields an entry and kept for the rest of the listing. Lines of fewer than four
// words and names that begin with "." (".", "..", hidden files) are never entries.
// Runs of blanks count as one blank everywhere, names included. Lines end at CR LF
// only: a text with bare LF line ends reads as one line.
//
// Field formats:
//   FileSize  whole number with "," between thousands ("1,234", "0"), whatever the
//             machine's locale; a size word that is not a number is kept as it
//             stands; empty for folders.
//   FileDate  "M/d/yyyy h:mm AM|PM" (US English short date, blank, short time), e.g.
//             "1/15/2003 12:00 AM". UNIX dates without a year ("Jan 15 10:20") are in
//             the current year, dates without a time ("Jan 15 2003") at midnight.
//             DOS dates are month-day-year ("01-15-03", "01/15/2003"), times 12-hour
//             with AM/PM or 24-hour. Two-digit years 00-68 are 20xx, 69-99 are 19xx.
//   FileAttr  the UNIX permission word; empty for DOS listings.
//   FileLink  the target of a UNIX symbolic link (text after " -> "), else empty.

#include <QByteArray>
#include <QSet>
#include <QString>
#include <QVector>
#include <stdexcept>

namespace korvan {

struct TFILE {
    QString FileName;
    QString FileSize;
    QString FileAttr;
    QString FileLink;
    QString FileDate;
    bool bFolder = false;
};

// Thrown by every per-entry accessor (read or write) for an index outside the entry
// table, i.e. below 0 or at or above the table size. The table has one slot per line
// of the last listing, so an index at or above FileNumb() but inside the table is no
// error: it reads an empty slot. what() is "Subscript out of range: <index>".
class SubscriptOutOfRange : public std::out_of_range {
public:
    explicit SubscriptOutOfRange(qint64 index);
    qint64 index() const;

private:
    qint64 badIndex;
};

class cFTPList {
public:
    // The remote folder this listing belongs to; by convention it ends with "/".
    QString Folder() const;
    void setFolder(const QString &folder);
    // Entries accepted by the last parse.
    qint32 FileNumb() const;
    void setFileNumb(qint32 n);
    // Slots in the entry table: the number of lines of the last listing.
    qint32 TableSize() const;

    QString FileName(qint32 Index) const;
    void setFileName(qint32 Index, const QString &value);
    QString FileDate(qint32 Index) const;
    void setFileDate(qint32 Index, const QString &value);
    QString FileSize(qint32 Index) const;
    void setFileSize(qint32 Index, const QString &value);
    QString FileAttr(qint32 Index) const;
    void setFileAttr(qint32 Index, const QString &value);
    QString FileLink(qint32 Index) const;
    void setFileLink(qint32 Index, const QString &value);
    // Writable: a link that turns out to lead to a folder is marked as one, and
    // Path() then follows the link.
    bool IsFolder(qint32 Index) const;
    void setIsFolder(qint32 Index, bool value);
    // FileLink(Index) is not empty.
    bool IsLink(qint32 Index) const;
    // The entry's full remote path: Folder + FileName for a file, Folder + FileName
    // + "/" for a folder, and for a link marked as a folder the normalised
    // Folder + FileLink + "/" (relative targets from Folder, absolute ones replace it).
    QString Path(qint32 Index) const;

    // Parses the listing, replacing the whole table; takes the text over and leaves
    // `sFileList` empty. Never fails: unreadable lines are skipped.
    void setFTPFileList(QString &sFileList);
    // The same, from the bytes as the server sent them: each line is UTF-8 when
    // valid, otherwise Latin-1, whose lines (decoded) are added to `latin1Lines`.
    void setWireFileList(const QByteArray &wireText, QSet<QString> *latin1Lines = nullptr);
    // Entry Index as a whole, without copying its fields; bounds as the accessors.
    const TFILE &entry(qint32 Index) const;

private:
    TFILE &slot(qint32 Index);
    const TFILE &slot(qint32 Index) const;

    QString sFolder;
    qint32 nFileNumb = 0;
    QVector<TFILE> entries;
    int style = 0;
    bool hasAttributes = false;
};

} // namespace korvan
