#include "servers/FtpServer.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QMultiHash>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QSslSocket>
#include <QTcpServer>
#include <QTcpSocket>
#include <QThread>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <mutex>
#include <pwd.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace korvan::test {

namespace {

constexpr int kGreetingTimeoutMs = 20000;
constexpr int kStopTimeoutMs = 5000;
constexpr int kLaunchAttempts = 3;

// Exit codes of useradd/userdel/chpasswd that mean "another process holds the
// password file lock": concurrent test programs create users at the same time.
constexpr int kUserToolBusy = 10;
constexpr int kUserdelUserLoggedIn = 8;

QString toolOutput(QProcess &process)
{
    return QString::fromLocal8Bit(process.readAllStandardOutput() + process.readAllStandardError()).trimmed();
}

// Runs a system tool to its end; retries while it reports a busy lock.
bool runTool(const QString &program, const QStringList &arguments, QString *error, const QByteArray &input = {},
             const QList<int> &retryCodes = {kUserToolBusy})
{
    for (int attempt = 0; attempt < 50; ++attempt) {
        QProcess process;
        process.start(program, arguments);
        if (!process.waitForStarted()) {
            *error = QStringLiteral("cannot run %1: %2").arg(program, process.errorString());
            return false;
        }
        if (!input.isEmpty())
            process.write(input);
        process.closeWriteChannel();
        process.waitForFinished(30000);
        if (process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0)
            return true;
        *error = QStringLiteral("%1 %2 failed (exit %3): %4")
                     .arg(program, arguments.join(QLatin1Char(' ')))
                     .arg(process.exitCode())
                     .arg(toolOutput(process));
        if (!retryCodes.contains(process.exitCode()))
            return false;
        QThread::msleep(100);
    }
    return false;
}

QString randomText(int length)
{
    static const QString alphabet = QStringLiteral("abcdefghijkmnpqrstuvwxyz23456789");
    QString text;
    for (int i = 0; i < length; ++i)
        text += alphabet.at(QRandomGenerator::global()->bounded(alphabet.size()));
    return text;
}

// Unique among concurrent test programs (pid) and instances in one program (counter).
QString uniqueUserName()
{
    static std::atomic<int> counter{0};
    return QStringLiteral("kvt%1x%2%3").arg(::getpid()).arg(++counter).arg(randomText(3));
}

// A test program killed by a time-out or a crash leaves its users and folders
// behind (its servers die with it). Users whose program is gone are removed,
// with the temporary folder holding their root.
void removeStaleUsers()
{
    static const QRegularExpression ours(QStringLiteral("^kvt(\\d+)x\\w+$"));
    QStringList stale;
    ::setpwent();
    while (const passwd *entry = ::getpwent()) {
        const QRegularExpressionMatch match = ours.match(QString::fromLocal8Bit(entry->pw_name));
        const QString home = QString::fromLocal8Bit(entry->pw_dir);
        if (match.hasMatch() && !QFileInfo::exists(QStringLiteral("/proc/") + match.captured(1))) {
            stale << match.captured(0);
            if (QFileInfo(home).dir().dirName().startsWith(QStringLiteral("korvan-ftpd-")))
                QDir(QFileInfo(home).path()).removeRecursively();
        }
    }
    ::endpwent();
    for (const QString &user : std::as_const(stale)) {
        QString error;
        if (!runTool(QStringLiteral("userdel"), {user}, &error))
            qWarning("FtpServer: cannot remove stale user: %s", qPrintable(error));
    }
}

quint16 freeLoopbackPort()
{
    QTcpServer probe;
    if (!probe.listen(QHostAddress::LocalHost, 0))
        return 0;
    return probe.serverPort();
}

QStringList serverFolders()
{
    QStringList folders;
    const QString configured = qEnvironmentVariable("KORVAN_FTPD_DIR");
    if (!configured.isEmpty())
        folders << configured + QStringLiteral("/usr/sbin");
    folders << QStringLiteral("/opt/korvan-ftpd/usr/sbin") << QStringLiteral("/usr/sbin");
    return folders;
}

// Each server's program is named as the server, but pyftpdlib runs as a module of python3.
QString binaryName(ServerKind kind)
{
    return kind == ServerKind::Pyftpdlib ? QStringLiteral("python3") : serverName(kind);
}

bool writeTextFile(const QString &path, const QString &text, QString *error)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(text.toUtf8()) < 0) {
        *error = QStringLiteral("cannot write %1: %2").arg(path, file.errorString());
        return false;
    }
    return true;
}

// The real uid of a live process, or -1 when it is gone or a zombie (which no
// signal can end; its parent or init reaps it).
long processUid(const QString &statusPath)
{
    QFile status(statusPath);
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith("State:") && line.contains("Z ("))
            return -1;
        if (line.startsWith("Uid:"))
            return line.mid(4).simplified().split(' ').value(0).toLong();
    }
    return -1;
}

// Parent pid of a process from /proc/PID/stat ("pid (comm) state ppid ..."; comm
// may hold blanks and parentheses, so read after the last ')').
qint64 parentPid(const QString &pid)
{
    QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!stat.open(QIODevice::ReadOnly))
        return -1;
    const QByteArray text = stat.readAll();
    const QList<QByteArray> fields = text.mid(text.lastIndexOf(')') + 2).split(' ');
    return fields.size() > 1 ? fields.at(1).toLongLong() : -1;
}

// Every process below root, found before anything is killed: once the server
// dies its children are re-parented and cannot be traced back.
QList<qint64> processTree(qint64 root)
{
    QMultiHash<qint64, qint64> children;
    const QStringList pids = QDir(QStringLiteral("/proc")).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString &pid : pids) {
        bool isNumber = false;
        const qint64 number = pid.toLongLong(&isNumber);
        if (isNumber)
            children.insert(parentPid(pid), number);
    }
    QList<qint64> tree{root};
    for (qsizetype i = 0; i < tree.size(); ++i)
        tree += children.values(tree.at(i));
    return tree;
}

// The inode of the socket listening on 127.0.0.1:port (or [::1]:port), from
// /proc/net/tcp or tcp6 ("sl local_address rem_address st ... inode"; addresses
// in hex, 0A = LISTEN).
QByteArray listeningSocketInode(quint16 port, bool ipv6)
{
    QFile table(ipv6 ? QStringLiteral("/proc/net/tcp6") : QStringLiteral("/proc/net/tcp"));
    if (!table.open(QIODevice::ReadOnly))
        return {};
    const QByteArray address = ipv6 ? "00000000000000000000000001000000:" : "0100007F:";
    const QByteArray local = address + QByteArray::number(port, 16).toUpper().rightJustified(4, '0');
    for (const QByteArray &line : table.readAll().split('\n')) {
        const QList<QByteArray> fields = line.simplified().split(' ');
        if (fields.size() > 9 && fields.at(1) == local && fields.at(3) == "0A")
            return fields.at(9);
    }
    return {};
}

bool processHoldsSocket(qint64 pid, const QByteArray &inode)
{
    const QString fdFolder = QStringLiteral("/proc/%1/fd").arg(pid);
    const QByteArray socket = "socket:[" + inode + "]";
    const QStringList fds = QDir(fdFolder).entryList(QDir::Files | QDir::System | QDir::NoDotAndDotDot);
    for (const QString &fd : fds) {
        // readlink, not QFile::symLinkTarget: that one turns "socket:[N]" into a path.
        char target[64] = {};
        const ssize_t length = ::readlink(QFile::encodeName(fdFolder + QLatin1Char('/') + fd).constData(), target,
                                          sizeof target - 1);
        if (length > 0 && QByteArray(target, length) == socket)
            return true;
    }
    return false;
}

} // namespace

QList<ServerKind> allServerKinds()
{
    return {ServerKind::Pyftpdlib, ServerKind::Vsftpd, ServerKind::Proftpd, ServerKind::PureFtpd};
}

QList<ServerKind> tlsServerKinds()
{
    return {ServerKind::Vsftpd, ServerKind::Proftpd, ServerKind::PureFtpd};
}

bool offersImplicitTls(ServerKind kind)
{
    return kind == ServerKind::Vsftpd || kind == ServerKind::Proftpd;
}

QString serverName(ServerKind kind)
{
    switch (kind) {
    case ServerKind::Pyftpdlib:
        return QStringLiteral("pyftpdlib");
    case ServerKind::Vsftpd:
        return QStringLiteral("vsftpd");
    case ServerKind::Proftpd:
        return QStringLiteral("proftpd");
    case ServerKind::PureFtpd:
        return QStringLiteral("pure-ftpd");
    }
    return {};
}

FtpServer::FtpServer(ServerKind kind, bool ipv6) : serverKind(kind), onIPv6(ipv6) {}

FtpServer::~FtpServer()
{
    stop();
}

QString FtpServer::rootDir() const
{
    return baseDir ? baseDir->filePath(QStringLiteral("root")) : QString();
}

QString FtpServer::workFile(const QString &name) const
{
    return baseDir->filePath(name);
}

bool FtpServer::start(QString *error)
{
    QString ignored;
    if (!error)
        error = &ignored;
    stop();
    if (usesSystemUser() && ::geteuid() != 0) {
        *error = QStringLiteral("%1 needs root: it logs on a system user that the test creates. "
                                "Run the tests as root (pyftpdlib runs without).")
                     .arg(name());
        return false;
    }
    if (program(error).isEmpty() || !prepareFolders(error) || !makeCertificate(error))
        return false;
    userPassword = randomText(12);
    if (usesSystemUser()) {
        if (!createSystemUser(error)) {
            stop();
            return false;
        }
    } else {
        userName = QStringLiteral("korvan");
    }
    for (int attempt = 1; attempt <= kLaunchAttempts; ++attempt) {
        listenPort = freeLoopbackPort();
        if (listenPort != 0 && writeConfig(error) && launch(error) && waitForGreeting(error))
            return true;
        killProcessGroup();
        // Another program may have taken the port between our probe and the
        // server's bind: try a new one, but report the last failure.
    }
    *error = QStringLiteral("%1 did not start: %2").arg(name(), *error);
    stop();
    return false;
}

bool FtpServer::prepareFolders(QString *error)
{
    baseDir = std::make_unique<QTemporaryDir>(QDir::tempPath() + QStringLiteral("/korvan-ftpd-XXXXXX"));
    if (!baseDir->isValid()) {
        *error = QStringLiteral("cannot create a temporary folder: %1").arg(baseDir->errorString());
        baseDir.reset();
        return false;
    }
    // The server's user must pass through the base folder to reach its root.
    ::chmod(QFile::encodeName(baseDir->path()).constData(), 0711);
    QDir base(baseDir->path());
    // "empty" is vsftpd's secure_chroot_dir: root-owned, empty, not writable.
    if (!base.mkdir(QStringLiteral("root")) || !base.mkdir(QStringLiteral("empty"))) {
        *error = QStringLiteral("cannot create folders in %1").arg(baseDir->path());
        return false;
    }
    ::chmod(QFile::encodeName(workFile(QStringLiteral("empty"))).constData(), 0755);
    return true;
}

bool FtpServer::createSystemUser(QString *error)
{
    static std::once_flag staleUsersRemoved;
    std::call_once(staleUsersRemoved, removeStaleUsers);
    userName = uniqueUserName();
    if (!runTool(QStringLiteral("useradd"),
                 {QStringLiteral("--no-create-home"), QStringLiteral("--home-dir"), rootDir(),
                  QStringLiteral("--shell"), QStringLiteral("/bin/sh"), QStringLiteral("--user-group"), userName},
                 error))
        return false;
    userCreated = true;
    if (!runTool(QStringLiteral("chpasswd"), {}, error,
                 (userName + QLatin1Char(':') + userPassword + QLatin1Char('\n')).toUtf8()))
        return false;
    handOver();
    return true;
}

void FtpServer::deleteSystemUser()
{
    if (!userCreated)
        return;
    killUserProcesses();
    QString error;
    if (!runTool(QStringLiteral("userdel"), {userName}, &error, {}, {kUserToolBusy, kUserdelUserLoggedIn}))
        qWarning("FtpServer: %s", qPrintable(error));
    userCreated = false;
}

void FtpServer::handOver(const QString &path)
{
    if (!usesSystemUser() || !userCreated)
        return;
    QString error;
    const QString target = path.isEmpty() ? rootDir() : path;
    if (!runTool(QStringLiteral("chown"),
                 {QStringLiteral("-R"), QStringLiteral("-h"), userName + QLatin1Char(':') + userName, target}, &error,
                 {}, {}))
        qWarning("FtpServer::handOver: %s", qPrintable(error));
}

QString FtpServer::program(QString *error) const
{
    if (serverKind == ServerKind::Pyftpdlib) {
        // A python3 earlier on PATH (pyenv) cannot import Debian's module.
        const QString python = QStringLiteral("/usr/bin/python3");
        if (QFileInfo(python).isExecutable())
            return python;
        *error = QStringLiteral("pyftpdlib: /usr/bin/python3 is missing (run scripts/setup.sh)");
        return {};
    }
    const QStringList folders = serverFolders();
    for (const QString &folder : folders) {
        const QString candidate = folder + QLatin1Char('/') + binaryName(serverKind);
        if (QFileInfo(candidate).isExecutable())
            return candidate;
    }
    *error =
        QStringLiteral("%1 not found in %2 (run scripts/setup.sh)").arg(name(), folders.join(QStringLiteral(", ")));
    return {};
}

bool FtpServer::makeCertificate(QString *error)
{
    fingerprint.clear();
    if (tlsMode == ServerTls::None)
        return true;
    const QString cert = workFile(QStringLiteral("cert.pem"));
    const QString key = workFile(QStringLiteral("key.pem"));
    if (!runTool(QStringLiteral("openssl"),
                 {QStringLiteral("req"), QStringLiteral("-x509"), QStringLiteral("-newkey"), QStringLiteral("rsa:2048"),
                  QStringLiteral("-nodes"), QStringLiteral("-days"), QStringLiteral("2"), QStringLiteral("-subj"),
                  QStringLiteral("/CN=localhost"), QStringLiteral("-keyout"), key, QStringLiteral("-out"), cert},
                 error, {}, {}))
        return false;
    QProcess openssl;
    openssl.start(QStringLiteral("openssl"),
                  {QStringLiteral("x509"), QStringLiteral("-in"), cert, QStringLiteral("-noout"),
                   QStringLiteral("-fingerprint"), QStringLiteral("-sha256")});
    openssl.waitForFinished();
    fingerprint = QString::fromLatin1(openssl.readAllStandardOutput()).section(u'=', 1).trimmed();
    // pure-ftpd reads key and certificate from one file.
    QFile keyFile(key), certFile(cert);
    keyFile.open(QIODevice::ReadOnly);
    certFile.open(QIODevice::ReadOnly);
    if (fingerprint.isEmpty()
        || !writeTextFile(workFile(QStringLiteral("both.pem")),
                          QString::fromLatin1(keyFile.readAll() + certFile.readAll()), error)) {
        *error += QStringLiteral(" (no certificate made)");
        return false;
    }
    return true;
}

QString FtpServer::tlsConfig() const
{
    const bool implicit = tlsMode == ServerTls::Implicit;
    const QString cert = workFile(QStringLiteral("cert.pem"));
    const QString key = workFile(QStringLiteral("key.pem"));
    if (tlsMode == ServerTls::None)
        return {};
    if (serverKind == ServerKind::Vsftpd) {
        // require_ssl_reuse is its default; named so that the requirement shows.
        return QStringLiteral("ssl_enable=YES\nrsa_cert_file=%1\nrsa_private_key_file=%2\n"
                              "force_local_logins_ssl=YES\nforce_local_data_ssl=YES\nrequire_ssl_reuse=YES\n"
                              "implicit_ssl=%3\n")
            .arg(cert, key, implicit ? QStringLiteral("YES") : QStringLiteral("NO"));
    }
    if (serverKind == ServerKind::Proftpd) {
        QString error;
        const QString modules = QFileInfo(program(&error)).absolutePath() + QStringLiteral("/../lib/proftpd");
        // mod_tls requires session reuse on data connections by default.
        return QStringLiteral("ModulePath %1\nLoadModule mod_tls.c\nTLSEngine on\nTLSRequired on\n"
                              "TLSProtocol TLSv1.2 TLSv1.3\nTLSRSACertificateFile %2\n"
                              "TLSRSACertificateKeyFile %3\nTLSVerifyClient off\nTLSLog %4\n%5")
            .arg(modules, cert, key, workFile(QStringLiteral("tls.log")),
                 implicit ? QStringLiteral("TLSOptions UseImplicitSSL\n") : QString());
    }
    return {};
}

bool FtpServer::writeConfig(QString *error)
{
    const QString port = QString::number(listenPort);
    if (serverKind == ServerKind::Vsftpd) {
        return writeTextFile(workFile(QStringLiteral("vsftpd.conf")),
                             QStringLiteral("listen=YES\n"
                                            "listen_ipv6=NO\n"
                                            "listen_address=127.0.0.1\n"
                                            "listen_port=%1\n"
                                            "background=NO\n"
                                            "anonymous_enable=NO\n"
                                            "local_enable=YES\n"
                                            "write_enable=YES\n"
                                            "local_umask=022\n"
                                            "chroot_local_user=YES\n"
                                            "allow_writeable_chroot=YES\n"
                                            "secure_chroot_dir=%2\n"
                                            "pam_service_name=vsftpd\n"
                                            "pasv_enable=YES\n"
                                            "port_enable=YES\n"
                                            "connect_from_port_20=NO\n"
                                            "seccomp_sandbox=NO\n"
                                            "xferlog_enable=NO\n"
                                            "max_per_ip=0\n"
                                            "max_clients=0\n")
                                     .arg(port, workFile(QStringLiteral("empty")))
                                 + tlsConfig(),
                             error);
    }
    if (serverKind == ServerKind::Proftpd) {
        return writeTextFile(
            workFile(QStringLiteral("proftpd.conf")),
            QStringLiteral("ServerName \"korvan test\"\n"
                           "ServerType standalone\n"
                           "DefaultServer on\n"
                           "UseIPv6 off\n"
                           "Port %1\n"
                           "DefaultAddress 127.0.0.1\n"
                           "SocketBindTight on\n"
                           "User nobody\n"
                           "Group nogroup\n"
                           "PidFile %2\n"
                           "ScoreboardFile %3\n"
                           "WtmpLog off\n"
                           "UseReverseDNS off\n"
                           "<IfModule mod_auth_pam.c>\n  AuthPAM off\n</IfModule>\n"
                           "AuthOrder mod_auth_unix.c\n"
                           "RequireValidShell off\n"
                           "DefaultRoot ~\n"
                           "AllowOverwrite on\n"
                           "Umask 022\n"
                           "MaxInstances 64\n"
                           "<IfModule mod_delay.c>\n  DelayEngine off\n</IfModule>\n")
                    .arg(port, workFile(QStringLiteral("proftpd.pid")), workFile(QStringLiteral("proftpd.scoreboard")))
                + tlsConfig(),
            error);
    }
    return true; // pyftpdlib and pure-ftpd take everything on the command line
}

QStringList FtpServer::arguments() const
{
    const QString port = QString::number(listenPort);
    switch (serverKind) {
    case ServerKind::Pyftpdlib:
        return {QStringLiteral("-m"),
                QStringLiteral("pyftpdlib"),
                QStringLiteral("-i"),
                host(),
                QStringLiteral("-p"),
                port,
                QStringLiteral("-w"),
                QStringLiteral("-d"),
                rootDir(),
                QStringLiteral("-u"),
                userName,
                QStringLiteral("-P"),
                userPassword};
    case ServerKind::Vsftpd:
        return {workFile(QStringLiteral("vsftpd.conf"))};
    case ServerKind::Proftpd:
        return {QStringLiteral("-n"), QStringLiteral("-q"), QStringLiteral("-4"), QStringLiteral("-c"),
                workFile(QStringLiteral("proftpd.conf"))};
    case ServerKind::PureFtpd: {
        // -Y 3: TLS required for log-on and data; -2: key and certificate.
        const QStringList tls{QStringLiteral("-Y"), QStringLiteral("3"), QStringLiteral("-2"),
                              workFile(QStringLiteral("both.pem"))};
        // -L: pure-ftpd silently cuts listings at 10,000 entries otherwise.
        return QStringList{QStringLiteral("-S"), host() + QLatin1Char(',') + port,
                           QStringLiteral("-l"), QStringLiteral("unix"),
                           QStringLiteral("-E"), QStringLiteral("-A"),
                           QStringLiteral("-H"), QStringLiteral("-4"),
                           QStringLiteral("-f"), QStringLiteral("none"),
                           QStringLiteral("-L"), QStringLiteral("200000:5"),
                           QStringLiteral("-g"), workFile(QStringLiteral("pure-ftpd.pid"))}
               + (tlsMode == ServerTls::None ? QStringList() : tls);
    }
    }
    return {};
}

bool FtpServer::launch(QString *error)
{
    serverProcess = std::make_unique<QProcess>();
    serverProcess->setProcessChannelMode(QProcess::MergedChannels);
    serverProcess->setWorkingDirectory(baseDir->path());
    // Own process group, so stop() reaches the per-session children too; and die
    // with the test program if it crashes before stop().
    serverProcess->setChildProcessModifier([] {
        ::setpgid(0, 0);
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    });
    serverProcess->start(program(error), arguments());
    if (!serverProcess->waitForStarted(5000)) {
        *error = QStringLiteral("cannot run %1: %2").arg(serverProcess->program(), serverProcess->errorString());
        return false;
    }
    processGroup = serverProcess->processId();
    return true;
}

QString FtpServer::processOutput()
{
    return serverProcess ? QString::fromLocal8Bit(serverProcess->readAll()).trimmed() : QString();
}

// The probed port may be taken by another program between our probe and the
// server's bind; then the greeting came from that program, not from ours.
bool FtpServer::ownsListeningPort() const
{
    const QByteArray inode = listeningSocketInode(listenPort, onIPv6);
    if (inode.isEmpty())
        return false;
    const QList<qint64> tree = processTree(processGroup);
    return std::any_of(tree.begin(), tree.end(), [&](qint64 pid) { return processHoldsSocket(pid, inode); });
}

bool FtpServer::waitForGreeting(QString *error)
{
    const QDeadlineTimer deadline(kGreetingTimeoutMs);
    QByteArray lastReply;
    while (!deadline.hasExpired()) {
        if (serverProcess->state() != QProcess::Running) {
            serverProcess->waitForFinished(1000);
            *error = QStringLiteral("exited with code %1 before greeting; its output: %2")
                         .arg(serverProcess->exitCode())
                         .arg(processOutput());
            return false;
        }
        QSslSocket probe;
        if (tlsMode == ServerTls::Implicit) {
            probe.setPeerVerifyMode(QSslSocket::VerifyNone);
            probe.connectToHostEncrypted(host(), listenPort);
        } else {
            probe.connectToHost(host(), listenPort);
        }
        if (probe.waitForConnected(500) && (tlsMode != ServerTls::Implicit || probe.waitForEncrypted(2000))) {
            // The greeting may span several lines ("220-..."); the last starts "220 ".
            // After a TLS handshake it may already be read along with the handshake's
            // last message, so what the socket holds is looked at before any wait.
            QByteArray received = probe.readAll();
            for (;;) {
                if (received.startsWith("220") && (received.contains("\n220 ") || received.startsWith("220 "))
                    && received.endsWith('\n')) {
                    probe.write("QUIT\r\n");
                    probe.waitForBytesWritten(1000);
                    probe.disconnectFromHost();
                    if (ownsListeningPort())
                        return true;
                    *error = QStringLiteral("port %1 is held by another program").arg(listenPort);
                    return false;
                }
                if (!received.startsWith("220") && received.endsWith('\n'))
                    break;
                if (!probe.waitForReadyRead(static_cast<int>(qMax<qint64>(1, deadline.remainingTime()))))
                    break;
                received += probe.readAll();
            }
            lastReply = received;
        }
        QThread::msleep(50);
    }
    *error = QStringLiteral("no 220 greeting on %1:%2 within %3 ms (last reply \"%4\"); its output: %5")
                 .arg(host())
                 .arg(listenPort)
                 .arg(kGreetingTimeoutMs)
                 .arg(QString::fromUtf8(lastReply.trimmed()), processOutput());
    return false;
}

// vsftpd puts each session into a session of its own (setsid), so the group
// alone does not reach it: the whole process tree is killed as well.
void FtpServer::killProcessGroup()
{
    if (!serverProcess)
        return;
    if (processGroup > 0) {
        const QList<qint64> tree = processTree(processGroup);
        ::kill(static_cast<pid_t>(-processGroup), SIGKILL);
        for (qint64 pid : tree)
            ::kill(static_cast<pid_t>(pid), SIGKILL);
    }
    serverProcess->waitForFinished(kStopTimeoutMs);
    serverProcess.reset();
    processGroup = 0;
}

// Session processes that left the group (setsid) still run as our user; the
// user is this instance's alone, so everything it runs is ours to end.
void FtpServer::killUserProcesses()
{
    const passwd *entry = ::getpwnam(userName.toLocal8Bit().constData());
    if (!entry)
        return;
    const long uid = static_cast<long>(entry->pw_uid);
    for (int round = 0; round < 50; ++round) {
        bool found = false;
        const QStringList pids = QDir(QStringLiteral("/proc")).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
        for (const QString &pid : pids) {
            bool isNumber = false;
            const int number = pid.toInt(&isNumber);
            if (isNumber && processUid(QStringLiteral("/proc/%1/status").arg(pid)) == uid) {
                ::kill(number, SIGKILL);
                found = true;
            }
        }
        if (!found)
            return;
        QThread::msleep(20);
    }
}

void FtpServer::stop()
{
    killProcessGroup();
    deleteSystemUser();
    baseDir.reset(); // removes root/ and the server's files
    listenPort = 0;
}

QByteArray peerListing(const FtpServer &server, bool passive, QString *error)
{
    // Python's ftplib as the peer: curl turns the listing's CR LF into LF.
    static const char *script = R"(import ftplib, sys
ftp = ftplib.FTP()
ftp.connect(sys.argv[1], int(sys.argv[2]), timeout=60)
ftp.login(sys.argv[3], sys.argv[4])
ftp.set_pasv(sys.argv[5] == "passive")
ftp.sendcmd("TYPE A")
with ftp.transfercmd("LIST") as data:
    while chunk := data.recv(65536):
        sys.stdout.buffer.write(chunk)
ftp.voidresp()
ftp.quit())";
    QProcess python;
    python.start("/usr/bin/python3", {"-c", script, server.host(), QString::number(server.port()), server.user(),
                                      server.password(), passive ? "passive" : "active"});
    if (!python.waitForFinished(90000) || python.exitStatus() != QProcess::NormalExit || python.exitCode() != 0) {
        *error = QStringLiteral("ftplib's LIST on %1 failed (exit %2): %3")
                     .arg(server.name())
                     .arg(python.exitCode())
                     .arg(QString::fromLocal8Bit(python.readAllStandardError()).trimmed());
        return {};
    }
    return python.readAllStandardOutput();
}

} // namespace korvan::test
