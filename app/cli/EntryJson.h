#pragma once
// One listing entry as one line of JSON, keys in the order of the entry record.

#include "korvan/cFTPList.h"

#include <QByteArray>

namespace korvan::cli {

// {"FileName":...,"FileSize":...,"FileAttr":...,"FileLink":...,"FileDate":...,
//  "bFolder":...,"IsLink":...,"Path":...} followed by "\n", UTF-8.
QByteArray EntryJsonLine(const cFTPList &list, qint32 index);

} // namespace korvan::cli
