#pragma once
// The file list's sort keys: folders first, sizes as numbers.

#include <QString>

namespace korvan {

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
