#include "ftp/CertificateTrust.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QStandardPaths>

namespace korvan {

QString CertificateFingerprint(const QSslCertificate &certificate)
{
    return QString::fromLatin1(certificate.digest(QCryptographicHash::Sha256).toHex(':').toUpper());
}

QString NormalizedFingerprint(const QString &text)
{
    QString hex = text.trimmed().toUpper();
    hex.remove(u':');
    if (hex.startsWith(u"SHA256"))
        hex = hex.mid(6).remove(u'=');
    const QByteArray bytes = QByteArray::fromHex(hex.toLatin1());
    if (hex.size() != 64 || bytes.size() != 32 || QString::fromLatin1(bytes.toHex().toUpper()) != hex)
        return {};
    return QString::fromLatin1(bytes.toHex(':').toUpper());
}

QString CertificateErrorsText(const QList<QSslError> &errors)
{
    QStringList reasons;
    for (const QSslError &error : errors) {
        if (!reasons.contains(error.errorString()))
            reasons << error.errorString();
    }
    return reasons.join(u'\n');
}

QString CertificateQuestionText(const QString &hostAndPort, const QString &reasons, const QString &fingerprint,
                                bool changed)
{
    QString text;
    if (changed)
        text = u"WARNING: the certificate of this server has changed since you trusted it. Someone may be "
               u"listening in on the connection.\n\n"_qs;
    return text + u"The certificate of "_qs + hostAndPort + u" could not be verified:\n"_qs + reasons
           + u"\n\nSHA-256 fingerprint:\n"_qs + fingerprint
           + u"\n\nTrust this certificate for this server and connect?"_qs;
}

CertificateTrust::CertificateTrust()
    : path(QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + u"/korvan/trusted-certificates"_qs)
{}

// One line per server: "host:port FINGERPRINT".
QString CertificateTrust::remembered(const QString &hostAndPort) const
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return {};
    while (!file.atEnd()) {
        const QString line = QString::fromUtf8(file.readLine()).trimmed();
        if (line.section(u' ', 0, 0) == hostAndPort)
            return line.section(u' ', 1, 1);
    }
    return {};
}

bool CertificateTrust::remember(const QString &hostAndPort, const QString &fingerprint)
{
    QStringList lines;
    QFile old(path);
    if (old.open(QIODevice::ReadOnly | QIODevice::Text)) {
        while (!old.atEnd()) {
            const QString line = QString::fromUtf8(old.readLine()).trimmed();
            if (!line.isEmpty() && line.section(u' ', 0, 0) != hostAndPort)
                lines << line;
        }
    }
    lines << hostAndPort + u' ' + fingerprint;
    QDir().mkpath(QFileInfo(path).path());
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Text))
        return false;
    file.write((lines.join(u'\n') + u'\n').toUtf8());
    return file.commit();
}

} // namespace korvan
