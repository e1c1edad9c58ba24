#include "korvan/FtpSettings.h"

#include <QDir>

namespace korvan {

const QString sAnonPassword = QStringLiteral("vantrel@");
const QString sSiteAnonPassword = QStringLiteral("@vantrel");

static QString systemTempDir()
{
    QString dir = QDir::tempPath();
    if (!dir.endsWith(QLatin1Char('/')))
        dir += QLatin1Char('/');
    return dir;
}

FtpSettings &ftpSettings()
{
    static FtpSettings settings = [] {
        FtpSettings s;
        s.sTempDir = systemTempDir();
        return s;
    }();
    return settings;
}

} // namespace korvan
