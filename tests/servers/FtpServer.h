#pragma once

// Real FTP servers from Debian's packages on loopback, each with its port, root folder and user (a system user,
// made as root, but for pyftpdlib). Binaries from $KORVAN_FTPD_DIR (default /opt/korvan-ftpd) or /usr/sbin.

#include <QLockFile>
#include <QMetaType>
#include <QProcess>
#include <QString>
#include <QTemporaryDir>

#include <memory>

namespace korvan::test {

enum class ServerKind { Pyftpdlib, Vsftpd, Proftpd, PureFtpd };
// FTPS as the server offers it: TLS after AUTH TLS, or from the first byte.
enum class ServerTls { None, Explicit, Implicit };

QString serverName(ServerKind kind); // "pyftpdlib", "vsftpd", "proftpd", "pure-ftpd"

class FtpServer {
public:
    // ipv6: listen on ::1 instead of 127.0.0.1 (pyftpdlib only).
    explicit FtpServer(ServerKind kind, bool ipv6 = false) : serverKind(kind), onIPv6(ipv6) {}
    ~FtpServer() { stop(); }
    FtpServer(const FtpServer &) = delete;
    FtpServer &operator=(const FtpServer &) = delete;

    // Waits until it listens. False with a message naming the server, its port, the cause and its output.
    bool start(QString *error);
    void stop();
    // Before start(): FTPS only, log-on and data, with a self-signed certificate made at start.
    void setTls(ServerTls mode) { tlsMode = mode; }
    // The certificate's SHA-256 fingerprint as openssl prints it ("AB:CD:...").
    QString certificateFingerprint() const { return fingerprint; }

    QString name() const { return serverName(serverKind); }
    QString host() const { return onIPv6 ? QStringLiteral("::1") : QStringLiteral("127.0.0.1"); }
    quint16 port() const { return listenPort; }
    QString user() const { return userName; }
    QString password() const { return userPassword; }
    QString rootDir() const; // local folder that the user sees as "/"

    // Gives what the test wrote below rootDir() (or path) to the server's user.
    void handOver(const QString &path = {});

private:
    bool prepare(QString *error);
    bool reservePort(QString *error);
    bool createSystemUser(QString *error);
    void deleteSystemUser();
    bool makeCertificate(QString *error);
    QString filledIn(QString text) const;
    bool launch(QString *error); // and waits until it listens
    bool usesSystemUser() const { return serverKind != ServerKind::Pyftpdlib; }

    ServerKind serverKind;
    bool onIPv6 = false;
    quint16 listenPort = 0;
    std::unique_ptr<QLockFile> portLock;
    QString programPath, userName, userPassword;
    std::unique_ptr<QTemporaryDir> baseDir; // holds root/ and the server's own files
    std::unique_ptr<QProcess> serverProcess;
    bool userCreated = false;
    ServerTls tlsMode = ServerTls::None;
    QString fingerprint;
};

} // namespace korvan::test

Q_DECLARE_METATYPE(korvan::test::ServerKind)
Q_DECLARE_METATYPE(korvan::test::ServerTls)
