#include "component/ConnectAddress.h"

#include <QStringList>

namespace korvan {

static void splitServerAndFolder(const QString &addressPart, FtpSettings &settings)
{
    const qsizetype slash = addressPart.indexOf(QLatin1Char('/'));
    if (slash < 0) {
        settings.sFTPServer = addressPart;
        return;
    }
    settings.sFTPServer = addressPart.left(slash);
    settings.sFTPDir = addressPart.mid(slash);
}

FtpEncryption EncryptionOfAddress(const QString &s)
{
    if (s.startsWith(QLatin1String("ftpes://"), Qt::CaseInsensitive))
        return FtpEncryption::ExplicitTls;
    if (s.startsWith(QLatin1String("ftps://"), Qt::CaseInsensitive))
        return FtpEncryption::ImplicitTls;
    return FtpEncryption::Plain;
}

void ParseConnectAddress(const QString &s, FtpSettings &settings)
{
    settings.sFTPServer.clear();
    settings.sFTPUser.clear();
    settings.sFTPPassword.clear();
    settings.sFTPDir.clear();
    settings.nEncryption = EncryptionOfAddress(s);
    if (s.isEmpty())
        return;

    // A trailing "/" is kept: an address ending in "folder/" yields a folder ending in "/".
    QString rest = s;
    const qsizetype schemeEnd = rest.indexOf(QLatin1String("//"));
    if (schemeEnd >= 0)
        rest = rest.mid(schemeEnd + 2);

    QString separated = rest;
    separated.replace(QLatin1Char(':'), QChar(0)).replace(QLatin1Char('@'), QChar(0));
    const QStringList parts = separated.split(QChar(0));

    switch (parts.size() - 1) {
    case 0:
        splitServerAndFolder(parts[0], settings);
        break;
    case 1:
        settings.sFTPUser = parts[0];
        splitServerAndFolder(parts[1], settings);
        break;
    case 2:
        settings.sFTPUser = parts[0];
        settings.sFTPPassword = parts[1];
        splitServerAndFolder(parts[2], settings);
        break;
    default:
        break; // three or more separators: nothing is set
    }

    if (settings.sFTPUser.compare(QLatin1String("anonymous"), Qt::CaseInsensitive) == 0)
        settings.sFTPPassword = sAnonPassword;
}

} // namespace korvan
