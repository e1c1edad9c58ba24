#include "ftp/RemotePath.h"

#include <QStringList>

namespace korvan {

QString NormalizeRemotePath(const QString &path)
{
    QStringView rest(path);
    // Each "//" restarts at its second "/"; searching the remainder once from the
    // front gives the same result as repeating the search on the shortened text.
    for (qsizetype doubled = rest.indexOf(u"//"); doubled >= 0; doubled = rest.indexOf(u"//"))
        rest = rest.mid(doubled + 1);

    QList<QStringView> pieces = rest.split(u'/');
    for (qsizetype i = 0; i < pieces.size(); ++i) {
        if (pieces[i] == u".") {
            pieces[i] = {};
        } else if (pieces[i] == u"..") {
            pieces[i] = {};
            for (qsizetype earlier = i - 1; earlier >= 0; --earlier) {
                if (!pieces[earlier].isEmpty()) {
                    pieces[earlier] = {};
                    break;
                }
            }
        }
    }

    QString result(QStringLiteral("/"));
    result.reserve(rest.size() + 2);
    for (QStringView piece : pieces) {
        if (piece.isEmpty())
            continue;
        result += piece;
        result += u'/';
    }
    return result;
}

QString StripTrailingSlash(const QString &path)
{
    if (path.endsWith(u'/') && path != u"/")
        return path.left(path.size() - 1);
    return path;
}

QString WithTrailingSlash(const QString &path)
{
    return path.endsWith(u'/') ? path : path + u'/';
}

} // namespace korvan
