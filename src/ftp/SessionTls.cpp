// FTPS: explicit (AUTH TLS) and implicit TLS on the control connection, private
// data connections that resume the control connection's TLS session, and the
// user's trust in a certificate that does not verify.

#include "ftp/CertificateTrust.h"
#include "ftp/FtpSession.h"

namespace korvan {

void FtpSession::setTrustedFingerprint(const QString &fingerprint)
{
    trustedFingerprint = NormalizedFingerprint(fingerprint);
}

QString FtpSession::hostAndPort() const
{
    const QString host = config.sFTPServer.contains(u':') ? u'[' + config.sFTPServer + u']' : config.sFTPServer;
    return host + u':' + QString::number(config.nFTPPort);
}

QSslConfiguration FtpSession::tlsConfiguration() const
{
    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    // Qt forgets the session by default; without it no data connection can resume it.
    configuration.setSslOption(QSsl::SslOptionDisableSessionPersistence, false);
    configuration.setPeerVerifyMode(QSslSocket::VerifyPeer);
    return configuration;
}

// Called at each log-on: implicit TLS shakes hands as soon as the connection is
// up, explicit TLS after the server's 234 to AUTH TLS.
void FtpSession::prepareControlTls()
{
    tlsRequested = config.nEncryption != FtpEncryption::Plain;
    dataProtected = false;
    tlsSessionTicket.clear();
    acceptedFingerprint.clear();
    data.setTls(std::nullopt, {});
    if (!tlsRequested) {
        control.setTls(std::nullopt, {});
        return;
    }
    control.setTls(tlsConfiguration(), config.sFTPServer, config.nEncryption == FtpEncryption::ImplicitTls);
}

void FtpSession::prepareDataTls()
{
    if (!dataProtected) {
        data.setTls(std::nullopt, {});
        return;
    }
    QSslConfiguration configuration = tlsConfiguration();
    configuration.setSessionTicket(tlsSessionTicket);
    data.setTls(configuration, config.sFTPServer);
}

// Once TLS was asked for, only AUTH TLS may go out before the handshake.
bool FtpSession::clearTextForbidden(const QString &command) const
{
    return tlsRequested && !control.isEncrypted() && command != u"AUTH TLS";
}

bool FtpSession::secureControlConnection()
{
    if (!tlsRequested)
        return true;
    if (config.nEncryption == FtpEncryption::ExplicitTls && !negotiateExplicitTls())
        return false;
    return protectDataConnections();
}

bool FtpSession::negotiateExplicitTls()
{
    if (!SendAndWait(u"AUTH TLS"_qs) || !lastReply.startsWith(u"234"))
        return failTlsLogOn(u"The server refused AUTH TLS. This connection requires TLS: log-on stopped, "
                            u"nothing was sent unencrypted."_qs);
    BeginCommand(DataMode::None);
    control.startTls();
    // The end of the handshake completes this wait; a refused one fails it.
    return WaitReply(u"AUTH TLS"_qs);
}

bool FtpSession::protectDataConnections()
{
    if (!SendAndWait(u"PBSZ 0"_qs) || !SendAndWait(u"PROT P"_qs))
        return failTlsLogOn(u"The server refused encrypted data connections (PROT P): log-on stopped."_qs);
    dataProtected = true;
    return true;
}

// The control connection closes without QUIT: nothing goes out in clear.
bool FtpSession::failTlsLogOn(const QString &text)
{
    LogStatus(LogColour::Red, text);
    noteFailure({}, text);
    failure = commandFailure;
    control.close();
    return false;
}

void FtpSession::onControlEncrypted()
{
    LogStatus(LogColour::Magenta, u"TLS connection established: "_qs + control.tlsDescription());
    acceptedFingerprint = CertificateFingerprint(control.peerCertificate());
    tlsSessionTicket = control.tlsSessionTicket();
    if (lastCommand == u"AUTH TLS")
        SetReplyState(ReplyState::Done);
}

void FtpSession::onControlTlsErrors(const QList<QSslError> &errors)
{
    const QString fingerprint = CertificateFingerprint(control.peerCertificate());
    const QString reasons = CertificateErrorsText(errors);
    if (userTrustsCertificate(reasons, fingerprint)) {
        control.ignoreTlsErrors();
        return;
    }
    // The socket then fails the handshake, which ends the wait.
    const QString text = u"Certificate not trusted: "_qs + QString(reasons).replace(u'\n', u"; "_qs);
    LogStatus(LogColour::Red, text);
    noteFailure({}, text);
    commandFailure.untrustedFingerprint = fingerprint;
}

bool FtpSession::userTrustsCertificate(const QString &reasons, const QString &fingerprint)
{
    if (!trustedFingerprint.isEmpty() && fingerprint == trustedFingerprint)
        return true;
    CertificateTrust trust;
    const QString known = trust.remembered(hostAndPort());
    if (known == fingerprint)
        return true;
    const QString text = CertificateQuestionText(hostAndPort(), reasons, fingerprint, !known.isEmpty());
    if (ui.question(kCertificateQuestionTitle.toString(), text, u"&Yes"_qs, u"&No"_qs) != QuestionAnswer::Yes)
        return false;
    if (!trust.remember(hostAndPort(), fingerprint))
        LogStatus(LogColour::Red, u"Cannot save the trusted certificate in "_qs + trust.filePath());
    return true;
}

void FtpSession::onDataEncrypted()
{
    transferState.dataOpened = true;
    if (transferState.uploadStartPending)
        startUploadWhenConnected();
}

// A data connection must show the certificate the control connection showed.
void FtpSession::onDataTlsErrors(const QList<QSslError> &errors)
{
    if (CertificateFingerprint(data.peerCertificate()) == acceptedFingerprint) {
        data.ignoreTlsErrors();
        return;
    }
    const QString text = u"Data connection refused, its certificate is not the server's: "_qs
                         + CertificateErrorsText(errors).replace(u'\n', u"; "_qs);
    LogStatus(LogColour::Red, text);
    noteFailure({}, text);
}

} // namespace korvan
