#include "servers/FtpServer.h"

#include <QCryptographicHash>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QSslCertificate>
#include <QSslSocket>
#include <QTcpServer>
#include <QThread>

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
constexpr int kLaunchAttempts = 3;
// useradd, userdel and chpasswd exit 10 while another program holds the password
// file lock (test programs create users at the same time); userdel exits 8 while
// the user still runs a process.
constexpr int kUserToolBusy = 10;
constexpr int kUserLoggedIn = 8;

// What differs between the servers. At start {host}, {port}, {root}, {user},
// {password}, {dir} (the folder of the server's own files) and {bin} (its
// program's folder) are filled in; the config goes to {dir}/server.conf.
struct Recipe {
    const char *name;
    const char *program; // looked up in the server folders unless absolute
    const char *arguments;
    const char *config;
    const char *tlsArguments;
    const char *tlsConfig;
    const char *implicitTlsConfig; // empty: no implicit FTPS
};

const Recipe kRecipes[] = {
    // A python3 earlier on PATH (pyenv) cannot import Debian's module.
    {"pyftpdlib", "/usr/bin/python3", "-m pyftpdlib -i {host} -p {port} -w -d {root} -u {user} -P {password}", "", "",
     "", ""},
    {"vsftpd", "vsftpd", "{dir}/server.conf",
     "listen=YES\n"
     "listen_address=127.0.0.1\n"
     "listen_port={port}\n"
     "background=NO\n"
     "anonymous_enable=NO\n"
     "local_enable=YES\n"
     "write_enable=YES\n"
     "local_umask=022\n"
     "chroot_local_user=YES\n"
     "allow_writeable_chroot=YES\n"
     "secure_chroot_dir={dir}/empty\n"
     "pam_service_name=vsftpd\n"
     "pasv_enable=YES\n"
     "port_enable=YES\n"
     "connect_from_port_20=NO\n"
     "seccomp_sandbox=NO\n",
     "",
     // require_ssl_reuse is its default; named so that the requirement shows.
     "ssl_enable=YES\n"
     "rsa_cert_file={dir}/cert.pem\n"
     "rsa_private_key_file={dir}/key.pem\n"
     "force_local_logins_ssl=YES\n"
     "force_local_data_ssl=YES\n"
     "require_ssl_reuse=YES\n",
     "implicit_ssl=YES\n"},
    {"proftpd", "proftpd", "-n -q -4 -c {dir}/server.conf",
     "ServerType standalone\n"
     "DefaultServer on\n"
     "UseIPv6 off\n"
     "Port {port}\n"
     "DefaultAddress 127.0.0.1\n"
     "SocketBindTight on\n"
     "User nobody\n"
     "Group nogroup\n"
     "PidFile {dir}/proftpd.pid\n"
     "ScoreboardFile {dir}/proftpd.scoreboard\n"
     "WtmpLog off\n"
     "UseReverseDNS off\n"
     "<IfModule mod_auth_pam.c>\n  AuthPAM off\n</IfModule>\n"
     "AuthOrder mod_auth_unix.c\n"
     "RequireValidShell off\n"
     "DefaultRoot ~\n"
     "AllowOverwrite on\n"
     "Umask 022\n"
     "MaxInstances 64\n"
     // Its delay module otherwise slows every log-on.
     "<IfModule mod_delay.c>\n  DelayEngine off\n</IfModule>\n",
     "",
     // mod_tls requires session reuse on data connections by default.
     "ModulePath {bin}/../lib/proftpd\n"
     "LoadModule mod_tls.c\n"
     "TLSEngine on\n"
     "TLSRequired on\n"
     "TLSProtocol TLSv1.2 TLSv1.3\n"
     "TLSRSACertificateFile {dir}/cert.pem\n"
     "TLSRSACertificateKeyFile {dir}/key.pem\n"
     "TLSVerifyClient off\n"
     "TLSLog {dir}/tls.log\n",
     "TLSOptions UseImplicitSSL\n"},
    // -L: it silently cuts listings at 10,000 entries otherwise. -Y 3: TLS
    // required for log-on and data; -2: key and certificate in one file.
    {"pure-ftpd", "pure-ftpd", "-S {host},{port} -l unix -E -A -H -4 -f none -L 200000:5 -g {dir}/pure-ftpd.pid", "",
     " -Y 3 -2 {dir}/both.pem", "", ""},
};

const Recipe &recipe(ServerKind kind)
{
    return kRecipes[static_cast<int>(kind)];
}

// Runs a system tool to its end; retries while it exits with one of retryCodes.
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
        process.write(input);
        process.closeWriteChannel();
        process.waitForFinished(30000);
        if (process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0)
            return true;
        *error = QStringLiteral("%1 %2 failed (exit %3): %4")
                     .arg(program, arguments.join(' '))
                     .arg(process.exitCode())
                     .arg(QString::fromLocal8Bit(process.readAllStandardOutput() + process.readAllStandardError())
                              .trimmed());
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

// A test program killed by a time-out or a crash leaves its users and folders
// behind (its servers die with it). Users ("kvt<pid>x...") whose program is gone
// are removed, with the temporary folder holding their root.
void removeStaleUsers()
{
    static const QRegularExpression ours(QStringLiteral("^kvt(\\d+)x\\w+$"));
    QStringList stale;
    ::setpwent();
    while (const passwd *entry = ::getpwent()) {
        const QRegularExpressionMatch match = ours.match(QString::fromLocal8Bit(entry->pw_name));
        const QFileInfo home(QString::fromLocal8Bit(entry->pw_dir));
        if (match.hasMatch() && !QFileInfo::exists("/proc/" + match.captured(1))) {
            stale << match.captured(0);
            if (home.dir().dirName().startsWith("korvan-ftpd-"))
                QDir(home.path()).removeRecursively();
        }
    }
    ::endpwent();
    for (const QString &user : std::as_const(stale)) {
        QString error;
        if (!runTool("userdel", {user}, &error))
            qWarning("FtpServer: cannot remove stale user: %s", qPrintable(error));
    }
}

quint16 freeLoopbackPort()
{
    QTcpServer probe;
    return probe.listen(QHostAddress::LocalHost, 0) ? probe.serverPort() : 0;
}

bool writeTextFile(const QString &path, const QByteArray &text, QString *error)
{
    QFile file(path);
    if (file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(text) == text.size())
        return true;
    *error = QStringLiteral("cannot write %1: %2").arg(path, file.errorString());
    return false;
}

struct ProcessInfo {
    qint64 pid = 0;
    qint64 parent = -1;
    long uid = -1;
    bool zombie = false; // no signal ends it; its parent or init reaps it
};

// Every process, from /proc/PID/status.
QList<ProcessInfo> allProcesses()
{
    QList<ProcessInfo> processes;
    const QStringList entries = QDir("/proc").entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString &entry : entries) {
        ProcessInfo info;
        bool isNumber = false;
        info.pid = entry.toLongLong(&isNumber);
        QFile status("/proc/" + entry + "/status");
        if (!isNumber || !status.open(QIODevice::ReadOnly))
            continue;
        for (const QByteArray &line : status.readAll().split('\n')) {
            const QByteArray value = line.mid(line.indexOf(':') + 1).simplified();
            if (line.startsWith("State:"))
                info.zombie = value.startsWith('Z');
            else if (line.startsWith("PPid:"))
                info.parent = value.toLongLong();
            else if (line.startsWith("Uid:"))
                info.uid = value.split(' ').value(0).toLong();
        }
        processes << info;
    }
    return processes;
}

// The process and all below it, found before anything is killed: once the
// server dies its children are re-parented and cannot be traced back.
QList<qint64> processTree(qint64 root)
{
    // Never 0 or below: to kill() those name whole process groups.
    if (root <= 1)
        return {};
    const QList<ProcessInfo> processes = allProcesses();
    QList<qint64> tree{root};
    for (qsizetype i = 0; i < tree.size(); ++i) {
        for (const ProcessInfo &process : processes) {
            if (process.parent == tree.at(i))
                tree << process.pid;
        }
    }
    return tree;
}

// Session processes that left the tree still run as the server's user; the
// user is one server's alone, so everything it runs is ours to end.
void killUserProcesses(const QString &user)
{
    const passwd *entry = ::getpwnam(user.toLocal8Bit().constData());
    for (int round = 0; entry && entry->pw_uid != 0 && round < 50; ++round) {
        bool found = false;
        for (const ProcessInfo &process : allProcesses()) {
            if (process.uid == static_cast<long>(entry->pw_uid) && !process.zombie)
                found = ::kill(static_cast<pid_t>(process.pid), SIGKILL) == 0 || found;
        }
        if (!found)
            return;
        QThread::msleep(20);
    }
}

// The inode of the socket listening on port, from /proc/net/tcp or tcp6
// ("sl local_address rem_address st ... inode"; addresses in hex, 0A = LISTEN).
QByteArray listeningSocketInode(quint16 port, bool ipv6)
{
    QFile table(ipv6 ? "/proc/net/tcp6" : "/proc/net/tcp");
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
    const QString fdFolder = QStringLiteral("/proc/%1/fd/").arg(pid);
    const QStringList fds = QDir(fdFolder).entryList(QDir::Files | QDir::System | QDir::NoDotAndDotDot);
    for (const QString &fd : fds) {
        // readlink, not QFile::symLinkTarget: that one turns "socket:[N]" into a path.
        char target[64] = {};
        if (::readlink(QFile::encodeName(fdFolder + fd).constData(), target, sizeof target - 1) > 0
            && QByteArray(target) == "socket:[" + inode + "]")
            return true;
    }
    return false;
}

// The greeting may span several lines ("220-..."); its last one starts "220 ".
bool isWholeReply(const QByteArray &received)
{
    return received.endsWith('\n')
           && (!received.startsWith("220") || received.startsWith("220 ") || received.contains("\n220 "));
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
    return *recipe(kind).implicitTlsConfig != '\0';
}

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
    QString ignored;
    if (!error)
        error = &ignored;
    stop();
    if (prepare(error)) {
        for (int attempt = 1; attempt <= kLaunchAttempts; ++attempt) {
            // Another program may take the port between our probe and the
            // server's bind: try a new one, but report the last failure.
            listenPort = freeLoopbackPort();
            if (launch(error) && waitForGreeting(error))
                return true;
            killProcessTree();
        }
    }
    *error = QStringLiteral("%1 did not start on %2:%3: %4").arg(name(), host()).arg(listenPort).arg(*error);
    stop();
    return false;
}

// The program, the folders, the certificate and the user: all but the port.
bool FtpServer::prepare(QString *error)
{
    if (usesSystemUser() && ::geteuid() != 0) {
        *error = "it needs root to log on a system user that the test creates; run the tests as root";
        return false;
    }
    const QString configured = qEnvironmentVariable("KORVAN_FTPD_DIR");
    const QString program = QString::fromLatin1(recipe(serverKind).program);
    QStringList candidates{program};
    if (!program.startsWith('/'))
        candidates = {configured + "/usr/sbin/" + program, "/opt/korvan-ftpd/usr/sbin/" + program,
                      "/usr/sbin/" + program};
    const auto found = std::find_if(candidates.begin(), candidates.end(),
                                    [](const QString &path) { return QFileInfo(path).isExecutable(); });
    if (found == candidates.end()) {
        *error = QStringLiteral("none of %1 is there (run scripts/setup.sh)").arg(candidates.join(", "));
        return false;
    }
    programPath = *found;
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
    userPassword = randomText(12);
    userName = "korvan";
    return makeCertificate(error) && (!usesSystemUser() || createSystemUser(error));
}

bool FtpServer::createSystemUser(QString *error)
{
    static std::once_flag staleUsersRemoved;
    std::call_once(staleUsersRemoved, removeStaleUsers);
    // Unique among concurrent test programs (pid) and the servers of one (counter).
    static std::atomic<int> counter{0};
    userName = QStringLiteral("kvt%1x%2%3").arg(::getpid()).arg(++counter).arg(randomText(3));
    if (!runTool("useradd",
                 {"--no-create-home", "--home-dir", rootDir(), "--shell", "/bin/sh", "--user-group", userName}, error))
        return false;
    userCreated = true;
    if (!runTool("chpasswd", {}, error, (userName + ':' + userPassword + '\n').toUtf8()))
        return false;
    handOver();
    return true;
}

void FtpServer::deleteSystemUser()
{
    if (!userCreated)
        return;
    killUserProcesses(userName);
    QString error;
    if (!runTool("userdel", {userName}, &error, {}, {kUserToolBusy, kUserLoggedIn}))
        qWarning("FtpServer: %s", qPrintable(error));
    userCreated = false;
}

void FtpServer::handOver(const QString &path)
{
    QString error;
    if (userCreated
        && !runTool("chown", {"-R", "-h", userName + ':' + userName, path.isEmpty() ? rootDir() : path}, &error, {},
                    {}))
        qWarning("FtpServer::handOver: %s", qPrintable(error));
}

bool FtpServer::makeCertificate(QString *error)
{
    fingerprint.clear();
    if (tlsMode == ServerTls::None)
        return true;
    const QString cert = baseDir->filePath("cert.pem");
    const QString key = baseDir->filePath("key.pem");
    if (!runTool("openssl",
                 {"req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2", "-subj", "/CN=localhost", "-keyout",
                  key, "-out", cert},
                 error, {}, {}))
        return false;
    QFile keyFile(key), certFile(cert);
    if (!keyFile.open(QIODevice::ReadOnly) || !certFile.open(QIODevice::ReadOnly)) {
        *error = "openssl made no certificate";
        return false;
    }
    const QByteArray certText = certFile.readAll();
    const QSslCertificate certificate(certText);
    fingerprint = QString::fromLatin1(certificate.digest(QCryptographicHash::Sha256).toHex(':').toUpper());
    return writeTextFile(baseDir->filePath("both.pem"), keyFile.readAll() + certText, error);
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
    QString config = server.config;
    if (tls)
        config += server.tlsConfig;
    if (tlsMode == ServerTls::Implicit)
        config += server.implicitTlsConfig;
    if (!config.isEmpty() && !writeTextFile(baseDir->filePath("server.conf"), filledIn(config).toUtf8(), error))
        return false;
    serverProcess = std::make_unique<QProcess>();
    serverProcess->setProcessChannelMode(QProcess::MergedChannels);
    serverProcess->setWorkingDirectory(baseDir->path());
    // Die with the test program if it crashes before stop().
    serverProcess->setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGKILL); });
    const QString arguments = QString::fromLatin1(server.arguments) + (tls ? server.tlsArguments : "");
    serverProcess->start(programPath, filledIn(arguments).split(' ', Qt::SkipEmptyParts));
    if (serverProcess->waitForStarted(5000)) {
        serverPid = serverProcess->processId();
        return true;
    }
    *error = QStringLiteral("cannot run %1: %2").arg(programPath, serverProcess->errorString());
    return false;
}

bool FtpServer::waitForGreeting(QString *error)
{
    const QDeadlineTimer deadline(kGreetingTimeoutMs);
    QByteArray reply;
    while (serverProcess->state() == QProcess::Running && !deadline.hasExpired()) {
        reply = probeGreeting();
        if (reply.startsWith("220") && isWholeReply(reply)) {
            if (ownsListeningPort())
                return true;
            *error = "the port is held by another program";
            return false;
        }
        QThread::msleep(50);
    }
    serverProcess->waitForFinished(200);
    *error = serverProcess->state() == QProcess::Running
                 ? QStringLiteral("no 220 greeting within %1 ms (last reply \"%2\")")
                       .arg(kGreetingTimeoutMs)
                       .arg(QString::fromUtf8(reply.trimmed()))
                 : QStringLiteral("it exited with code %1 before greeting").arg(serverProcess->exitCode());
    *error += "; its output: " + QString::fromLocal8Bit(serverProcess->readAll()).trimmed();
    return false;
}

// What the server sends on a new connection, up to the end of its first reply.
QByteArray FtpServer::probeGreeting() const
{
    QSslSocket probe;
    if (tlsMode == ServerTls::Implicit) {
        probe.setPeerVerifyMode(QSslSocket::VerifyNone);
        probe.connectToHostEncrypted(host(), listenPort);
    } else {
        probe.connectToHost(host(), listenPort);
    }
    if (!probe.waitForConnected(500) || (tlsMode == ServerTls::Implicit && !probe.waitForEncrypted(2000)))
        return {};
    // After a TLS handshake the greeting may already have come with its last message.
    QByteArray received = probe.readAll();
    while (!isWholeReply(received) && probe.waitForReadyRead(5000))
        received += probe.readAll();
    probe.write("QUIT\r\n");
    probe.waitForBytesWritten(1000);
    return received;
}

// The probed port may be taken by another program between our probe and the
// server's bind; then the greeting came from that program, not from ours.
bool FtpServer::ownsListeningPort() const
{
    const QByteArray inode = listeningSocketInode(listenPort, onIPv6);
    const QList<qint64> tree = processTree(serverPid);
    return !inode.isEmpty()
           && std::any_of(tree.begin(), tree.end(), [&](qint64 pid) { return processHoldsSocket(pid, inode); });
}

// vsftpd puts each session into a process session of its own (setsid), so a
// process group does not reach it: the whole tree is killed.
void FtpServer::killProcessTree()
{
    if (!serverProcess)
        return;
    // Only while it runs: once it has exited its pid may be another program's.
    const QList<qint64> tree = serverProcess->state() == QProcess::Running ? processTree(serverPid) : QList<qint64>();
    for (qint64 pid : tree)
        ::kill(static_cast<pid_t>(pid), SIGKILL);
    serverProcess->waitForFinished(5000);
    serverProcess.reset();
    serverPid = 0;
}

void FtpServer::stop()
{
    killProcessTree();
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
