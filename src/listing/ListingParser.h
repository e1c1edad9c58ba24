#pragma once
// The LIST reply parser behind cFTPList, as a pure function: text and the current
// year in, entry table out, so tests can fix the date.
//
// Two server styles are read without being told which one it is:
//   DOS    "01-15-03  10:20AM       <DIR>          pub"
//   UNIX   "drwxr-xr-x 2 owner group 4096 Jan 15 10:20 pub"  (with a group column)
//          "-rw-r--r-- 1 owner 1234 Jan 15 2003 read me.txt" (without one)
// The style is detected on each line until the first entry is accepted, then kept
// for the rest of the listing.

#include "korvan/cFTPList.h"

#include <QByteArrayView>
#include <QSet>
#include <QString>
#include <QVector>

namespace korvan {

enum class ListingStyle : qint32 {
    Unknown = 0,
    Dos = 1,
    UnixWithGroup = 2,
    UnixWithoutGroup = 3,
};

// What survives from one parse to the next on a cFTPList.
struct ListingParseState {
    ListingStyle style = ListingStyle::Unknown;
    bool hasAttributes = false;
};

// Parses a whole listing into `table`, which is resized to one slot per text line
// (lines end at CR LF only; an empty text has no lines) with every slot emptied.
// Accepted entries fill slots 0 to result - 1. Runs of blanks anywhere in the text
// count as one blank, names included. Never fails: unreadable lines are skipped.
qint32 ParseListing(QString text, int currentYear, ListingParseState &state, QVector<TFILE> &table);

// The same, straight from the bytes a server sent: each line is read as UTF-8
// when it is valid UTF-8, otherwise as Latin-1 (as DecodeWireLines reads it), and
// the lines that needed Latin-1 are added to `latin1Lines`. No text of the whole
// listing is made: lines of ASCII (nearly all) are read as they stand.
qint32 ParseListingBytes(QByteArrayView bytes, int currentYear, ListingParseState &state, QVector<TFILE> &table,
                         QSet<QString> *latin1Lines = nullptr);

} // namespace korvan
