#pragma once
// Server certificates the user chose to trust although they did not verify
// (self-signed, another name, expired): one SHA-256 fingerprint per host and
// port, kept in the user's configuration folder (~/.config/korvan/). A certificate
// that verifies against the system's trust store needs no entry.

#include <QSslCertificate>
#include <QSslError>
#include <QString>

namespace korvan {

// The title of the question about a certificate that did not verify; the
// command-line client tells this question from the others by it.
inline constexpr QStringView kCertificateQuestionTitle = u"Server certificate";

// "AB:01:..." (32 pairs, upper case), as openssl x509 -fingerprint -sha256 shows it.
QString CertificateFingerprint(const QSslCertificate &certificate);
// A fingerprint as a user may type it (any case, with or without colons) in the
// form above; empty when it is no SHA-256 fingerprint.
QString NormalizedFingerprint(const QString &text);
// The reasons of the errors, one per line, as Qt words them.
QString CertificateErrorsText(const QList<QSslError> &errors);
// The question: host and port, the reasons, the fingerprint; with a warning first
// when the user had trusted another certificate there.
QString CertificateQuestionText(const QString &hostAndPort, const QString &reasons, const QString &fingerprint,
                                bool changed);

class CertificateTrust {
public:
    // The store in the user's configuration folder.
    CertificateTrust();
    // The fingerprint trusted for hostAndPort ("host:port"); empty when none.
    QString remembered(const QString &hostAndPort) const;
    // Trusts fingerprint for hostAndPort from now on (replacing an earlier one).
    bool remember(const QString &hostAndPort, const QString &fingerprint);
    QString filePath() const { return path; }

private:
    QString path;
};

} // namespace korvan
