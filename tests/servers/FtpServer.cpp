#include "servers/FtpServer.h"

#include <QCryptographicHash>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>
#include <QSslCertificate>
#include <QTcpServer>
#include <QTcpSocket>
#include <QThread>

#include <csignal>
#include <pwd.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace korvan::test {

namespace {

constexpr int kStartTimeoutMs = 20000;

// What differs between the servers; {dir} holds the server's own files, {bin} is its program's folder. Arguments
// and config get the TLS ones with TLS, the config the implicit one (empty: none) for implicit FTPS.
struct Recipe {
    const char *name, *program, *arguments, *config, *tlsArguments, *tlsConfig, *implicitTlsConfig;
};

const Recipe kRecipes[] = {
    // A python3 earlier on PATH (pyenv) cannot import Debian's module.
    {"pyftpdlib", "/usr/bin/python3", "-m pyftpdlib -i {host} -p {port} -w -d {root} -u {user} -P {password}", "", "",
     "", ""},
    {"vsftpd", "vsftpd", "{dir}/server.conf",
     "listen=YES\nlisten_address=127.0.0.1\nlisten_port={port}\nanonymous_enable=NO\nlocal_enable=YES\n"
     "write_enable=YES\nlocal_umask=022\nchroot_local_user=YES\nallow_writeable_chroot=YES\n"
     "secure_chroot_dir={dir}/empty\npam_service_name=vsftpd\nseccomp_sandbox=NO\n",
     "",
     "ssl_enable=YES\nrsa_cert_file={dir}/cert.pem\nrsa_private_key_file={dir}/key.pem\nforce_local_logins_ssl=YES\n"
     "force_local_data_ssl=YES\n",
     "implicit_ssl=YES\n"},
    // Its delay module otherwise slows every log-on; mod_tls requires session reuse on data connections by default.
    {"proftpd", "proftpd", "-n -q -4 -c {dir}/server.conf",
     "ServerType standalone\nDefaultServer on\nPort {port}\nDefaultAddress 127.0.0.1\nSocketBindTight on\n"
     "User nobody\nGroup nogroup\nPidFile {dir}/proftpd.pid\nScoreboardFile {dir}/proftpd.scoreboard\nWtmpLog off\n"
     "UseReverseDNS off\n<IfModule mod_auth_pam.c>\n  AuthPAM off\n</IfModule>\nAuthOrder mod_auth_unix.c\n"
     "RequireValidShell off\nDefaultRoot ~\nAllowOverwrite on\n<IfModule mod_delay.c>\n  DelayEngine "
     "off\n</IfModule>\n",
     "",
     "ModulePath {bin}/../lib/proftpd\nLoadModule mod_tls.c\nTLSEngine on\nTLSRequired on\n"
     "TLSProtocol TLSv1.2 TLSv1.3\nTLSRSACertificateFile {dir}/cert.pem\nTLSRSACertificateKeyFile {dir}/key.pem\n",
     "TLSOptions UseImplicitSSL\n"},
    // -L: it silently cuts listings at 10,000 entries otherwise. -Y 3: TLS for log-on and data.
    {"pure-ftpd", "pure-ftpd", "-S {host},{port} -l unix -E -A -H -4 -f none -L 200000:5 -g {dir}/pure-ftpd.pid", "",
     " -Y 3 -2 {dir}/cert.pem,{dir}/key.pem", "", ""},
};

const Recipe &recipe(ServerKind kind)
{
    return kRecipes[static_cast<int>(kind)];
}

// Tried again while it exits 10 (another program holds the password file lock) or 8 (userdel: user busy).
bool runTool(const QString &program, const QStringList &arguments, QString *error, const QByteArray &input = {})
{
    for (int attempt = 0; attempt < 50; ++attempt) {
        QProcess process;
        process.setProcessChannelMode(QProcess::MergedChannels);
        process.start(program, arguments);
        process.write(input);
        process.closeWriteChannel();
        if (process.waitForFinished(30000) && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0)
            return true;
        *error = QStringLiteral("%1 %2 failed (%3, exit %4): %5")
                     .arg(program, arguments.join(' '), process.errorString())
                     .arg(process.exitCode())
                     .arg(QString::fromLocal8Bit(process.readAll()).trimmed());
        if (process.exitCode() != 10 && process.exitCode() != 8)
            return false;
        QThread::msleep(100);
    }
    return false;
}

} // namespace

QString serverName(ServerKind kind)
{
    return QString::fromLatin1(recipe(kind).name);
}

QString FtpServer::rootDir() const
{
    return baseDir ? baseDir->filePath("root") : QString();
}

bool FtpServer::start(QString *error)
{
    stop();
    if (reservePort(error) && prepare(error) && launch(error))
        return true;
    *error = QStringLiteral("%1 did not start on %2:%3: %4").arg(name(), host()).arg(listenPort).arg(*error);
    stop();
    return false;
}

// The program, the folders, the certificate and the user.
bool FtpServer::prepare(QString *error)
{
    if (usesSystemUser() && ::geteuid() != 0) {
        *error = "it needs root to log on a system user that the test creates; run the tests as root";
        return false;
    }
    const QString program = QString::fromLatin1(recipe(serverKind).program);
    const QString ownDir = qEnvironmentVariable("KORVAN_FTPD_DIR", "/opt/korvan-ftpd") + "/usr/sbin/";
    const QStringList candidates = program.startsWith('/') ? QStringList{program}
                                                           : QStringList{ownDir + program, "/usr/sbin/" + program};
    programPath = *std::find_if(candidates.begin(), candidates.end() - 1,
                                [](const QString &path) { return QFileInfo(path).isExecutable(); });
    if (!QFileInfo(programPath).isExecutable()) {
        *error = QStringLiteral("none of %1 is there (run scripts/setup.sh)").arg(candidates.join(", "));
        return false;
    }
    baseDir = std::make_unique<QTemporaryDir>(QDir::tempPath() + "/korvan-ftpd-XXXXXX");
    QDir base(baseDir->path());
    // "empty" is vsftpd's secure_chroot_dir: root-owned, empty, not writable.
    if (!baseDir->isValid() || !base.mkdir("root") || !base.mkdir("empty")) {
        *error = QStringLiteral("cannot create its folders in %1").arg(QDir::tempPath());
        return false;
    }
    // The server's user must pass through the base folder to reach its root.
    ::chmod(QFile::encodeName(base.path()).constData(), 0711);
    ::chmod(QFile::encodeName(base.filePath("empty")).constData(), 0755);
    userPassword = QString::number(QRandomGenerator::global()->generate64(), 36);
    userName = "korvan";
    return makeCertificate(error) && (!usesSystemUser() || createSystemUser(error));
}

// Below the ephemeral ports (32768 up), which client sockets and port-0 listeners
// take; the lock file keeps test programs that run at the same time apart.
bool FtpServer::reservePort(QString *error)
{
    for (int attempt = 0; attempt < 100; ++attempt) {
        const auto port = quint16(10000 + QRandomGenerator::global()->bounded(22000));
        auto lock = std::make_unique<QLockFile>(
            QStringLiteral("%1/korvan-ftpd-%2.lock").arg(QDir::tempPath()).arg(port));
        lock->setStaleLockTime(0); // stale only when its program is gone
        QTcpServer probe;
        if (lock->tryLock() && probe.listen(QHostAddress(host()), port)) {
            listenPort = port;
            portLock = std::move(lock);
            return true;
        }
    }
    *error = "found no free port";
    return false;
}

bool FtpServer::createSystemUser(QString *error)
{
    // Named by the port: a user of that name is a leftover of a test program killed before its end.
    userName = QStringLiteral("korvan%1").arg(listenPort);
    userCreated = ::getpwnam(userName.toLocal8Bit().constData()) != nullptr;
    deleteSystemUser();
    if (!runTool("useradd",
                 {"--no-create-home", "--home-dir", rootDir(), "--shell", "/bin/sh", "--user-group", userName}, error))
        return false;
    userCreated = true;
    handOver();
    return runTool("chpasswd", {}, error, (userName + ':' + userPassword + '\n').toUtf8());
}

void FtpServer::deleteSystemUser()
{
    if (!userCreated)
        return;
    QString error;
    if (!runTool("userdel", {userName}, &error))
        qWarning("FtpServer: %s", qPrintable(error));
    userCreated = false;
}

void FtpServer::handOver(const QString &path)
{
    QString error;
    if (userCreated
        && !runTool("chown", {"-R", "-h", userName + ':' + userName, path.isEmpty() ? rootDir() : path}, &error))
        qWarning("FtpServer::handOver: %s", qPrintable(error));
}

bool FtpServer::makeCertificate(QString *error)
{
    fingerprint.clear();
    if (tlsMode == ServerTls::None)
        return true;
    const QString cert = baseDir->filePath("cert.pem");
    if (!runTool("openssl",
                 {"req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2", "-subj", "/CN=localhost", "-keyout",
                  baseDir->filePath("key.pem"), "-out", cert},
                 error))
        return false;
    const QList<QSslCertificate> made = QSslCertificate::fromPath(cert);
    fingerprint = QString::fromLatin1(made.value(0).digest(QCryptographicHash::Sha256).toHex(':').toUpper());
    if (made.isEmpty())
        *error = "openssl made no certificate";
    return !made.isEmpty();
}

QString FtpServer::filledIn(QString text) const
{
    return text.replace("{host}", host())
        .replace("{port}", QString::number(listenPort))
        .replace("{root}", rootDir())
        .replace("{user}", userName)
        .replace("{password}", userPassword)
        .replace("{dir}", baseDir->path())
        .replace("{bin}", QFileInfo(programPath).path());
}

bool FtpServer::launch(QString *error)
{
    const Recipe &server = recipe(serverKind);
    const bool tls = tlsMode != ServerTls::None;
    const QString config = QString::fromLatin1(server.config) + (tls ? server.tlsConfig : "")
                           + (tlsMode == ServerTls::Implicit ? server.implicitTlsConfig : "");
    QFile file(baseDir->filePath("server.conf"));
    if (!config.isEmpty()
        && !(file.open(QIODevice::WriteOnly) && file.write(filledIn(config).toUtf8()) > 0 && file.flush())) {
        *error = "cannot write " + file.fileName();
        return false;
    }
    serverProcess = std::make_unique<QProcess>();
    serverProcess->setProcessChannelMode(QProcess::MergedChannels);
    serverProcess->setWorkingDirectory(baseDir->path());
    // Die with the test program if it crashes before stop().
    serverProcess->setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGKILL); });
    const QString arguments = QString::fromLatin1(server.arguments) + (tls ? server.tlsArguments : "");
    // As root, in a process namespace of its own, whose first process (a shell:
    // vsftpd stops listening as that process) takes every session down with it.
    const QStringList argumentList = filledIn(arguments).split(' ', Qt::SkipEmptyParts);
    if (::geteuid() == 0)
        serverProcess->start("unshare",
                             QStringList{"--pid", "--kill-child", "sh", "-c", "\"$@\"; exit", "sh", programPath}
                                 + argumentList);
    else
        serverProcess->start(programPath, argumentList);
    if (!serverProcess->waitForStarted(5000)) {
        *error = QStringLiteral("cannot run %1: %2").arg(programPath, serverProcess->errorString());
        return false;
    }
    // The port is this server's alone (reservePort), so whatever listens there is it.
    const QDeadlineTimer deadline(kStartTimeoutMs);
    while (serverProcess->state() == QProcess::Running && !deadline.hasExpired()) {
        QTcpSocket probe;
        probe.connectToHost(host(), listenPort);
        if (probe.waitForConnected(500))
            return true;
        serverProcess->waitForFinished(50);
    }
    *error = serverProcess->state() == QProcess::Running
                 ? QStringLiteral("it did not listen within %1 ms").arg(kStartTimeoutMs)
                 : QStringLiteral("it exited with code %1").arg(serverProcess->exitCode());
    *error += "; its output: " + QString::fromLocal8Bit(serverProcess->readAll()).trimmed();
    return false;
}

void FtpServer::stop()
{
    if (serverProcess) {
        serverProcess->kill();
        serverProcess->waitForFinished(5000);
        serverProcess.reset();
    }
    deleteSystemUser();
    baseDir.reset(); // removes root/ and the server's files
    portLock.reset();
    listenPort = 0;
}

} // namespace korvan::test
