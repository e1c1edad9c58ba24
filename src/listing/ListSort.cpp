// The file list's sort keys.

#include "listing/ListSort.h"

#include "listing/ListingSize.h"

namespace korvan {

QString ListSortKey(bool isFolder, int column, const QString &cellText)
{
    const QString tag = isFolder ? u"0"_qs : u"1"_qs;
    if (column != 2)
        return tag + cellText;
    // "0##,###,###,##0": twelve digits with groups, so text order is number order.
    const QString digits = QString::number(SizeTextBytes(cellText)).rightJustified(12, u'0');
    QString grouped;
    for (qsizetype i = 0; i < digits.size(); ++i) {
        if (i > 0 && (digits.size() - i) % 3 == 0)
            grouped += u',';
        grouped += digits.at(i);
    }
    return tag + grouped;
}

bool ListSortLess(const QString &keyA, const QString &keyB)
{
    return QString::compare(keyA, keyB, Qt::CaseInsensitive) < 0;
}

} // namespace korvan
