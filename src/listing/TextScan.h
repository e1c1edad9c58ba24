#pragma once
// Character search for the short words of a listing line. QStringView::indexOf(QChar)
// goes through Qt's general string search, whose set-up costs more than scanning a
// word of a few characters.

#include <QStringView>

namespace korvan {

inline qsizetype findChar(QStringView text, char16_t c, qsizetype from = 0)
{
    for (qsizetype i = from; i < text.size(); ++i) {
        if (text[i].unicode() == c)
            return i;
    }
    return -1;
}

} // namespace korvan
