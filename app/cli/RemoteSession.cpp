#include "RemoteSession.h"

#include "Command.h"

#include "ftp/CertificateTrust.h"
#include "ftp/RemotePath.h"

#include <QSet>

#include <cstdio>

namespace korvan::cli {

std::optional<RemoteOptions> ParseRemoteOptions(const QStringList &arguments, bool allowJson, QString *error)
{
    RemoteOptions options;
    bool optionsEnded = false;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString &argument = arguments[i];
        if (optionsEnded || !argument.startsWith(u"--")) {
            options.positional << argument;
        } else if (argument == u"--") {
            optionsEnded = true;
        } else if (argument == u"--passive") {
            options.passive = true;
        } else if (argument == u"--active") {
            options.passive = false;
        } else if (argument == u"--log") {
            options.log = true;
        } else if (argument == u"--tls") {
            options.tls = true;
        } else if (argument == u"--trust" || argument.startsWith(u"--trust=")) {
            options.trust = NormalizedFingerprint(argument == u"--trust" ? arguments.value(++i) : argument.mid(8));
            if (options.trust.isEmpty()) {
                *error = u"--trust needs a SHA-256 fingerprint (64 hexadecimal digits, colons allowed)"_qs;
                return std::nullopt;
            }
        } else if (argument == u"--json" && allowJson) {
            options.json = true;
        } else if (argument == u"--wait" || argument.startsWith(u"--wait=")) {
            const QString value = argument == u"--wait" ? arguments.value(++i) : argument.mid(7);
            bool ok = false;
            options.waitSeconds = value.toInt(&ok);
            if (!ok || options.waitSeconds < 1) {
                *error = u"--wait needs a whole number of seconds, 1 or more"_qs;
                return std::nullopt;
            }
        } else {
            *error = u"unknown option '"_qs + argument + u'\'';
            return std::nullopt;
        }
    }
    return options;
}

void PrintError(const QString &message)
{
    std::fprintf(stderr, "korvan: %s\n", TerminalSafe(message).toUtf8().constData());
}

RemoteSession::RemoteSession(const RemoteOptions &options) : ui(options.log), options(options) {}

RemoteSession::~RemoteSession()
{
    close();
}

std::optional<CliError> RemoteSession::open(const FtpUrl &url)
{
    if (connectedTo && connectedTo->sameLogOn(url) && session().controlSocket().state() == SocketState::Connected)
        return std::nullopt;
    close();
    settings = {};
    settings.sFTPServer = url.host;
    settings.nFTPPort = url.port;
    settings.sFTPUser = url.user;
    settings.sFTPPassword = url.password;
    settings.sFTPDir.clear(); // the commands change folders themselves, to tell a missing one
    settings.nFTPWaitTime = options.waitSeconds;
    settings.bPassive = options.passive;
    settings.nEncryption = url.encryption == FtpEncryption::Plain && options.tls ? FtpEncryption::ExplicitTls
                                                                                 : url.encryption;

    ftp = std::make_unique<FtpSession>(ui, settings);
    ftp->setTrustedFingerprint(options.trust);
    retrieval = std::make_unique<FolderRetrieval>(*ftp, ui);
    ui.setBusy(true);
    if (!ftp->LogOn())
        return logOnError(url);
    connectedTo = url;
    return std::nullopt;
}

// The session's failure record tells how far the log-on came: no command (no
// greeting), USER or PASS (refused), or a later one.
CliError RemoteSession::logOnError(const FtpUrl &url) const
{
    const QString server = url.hostAndPort();
    const SessionFailure &failure = ftp->lastFailure();
    const QString lastCommand = failure.command.section(u' ', 0, 0);
    const QString waited = QString::number(options.waitSeconds)
                           + (options.waitSeconds == 1 ? u" second"_qs : u" seconds"_qs);
    if (!failure.untrustedFingerprint.isEmpty())
        return {ExitLogOnRefused, u"the certificate of "_qs + server + u" is not trusted ("_qs + failure.reason()
                                      + u"); its SHA-256 fingerprint is "_qs + failure.untrustedFingerprint
                                      + u". If that is the server's, run again with --trust "_qs
                                      + failure.untrustedFingerprint};
    if (lastCommand.isEmpty()) {
        const QString reason = failure.timedOut ? u"no greeting within "_qs + waited : failure.reason();
        return {ExitCannotConnect, u"cannot connect to "_qs + server + u": "_qs + reason};
    }
    const QString why = failure.timedOut ? u"no reply within "_qs + waited : failure.reason();
    if (lastCommand == u"USER" || lastCommand == u"PASS")
        return {ExitLogOnRefused, u"log-on refused by "_qs + server + u" for user '"_qs + url.user + u"': "_qs + why};
    return {ExitFailure, u"log-on to "_qs + server + u" failed at "_qs + lastCommand + u": "_qs + why};
}

QString RemoteSession::failureReason() const
{
    return ftp ? ftp->lastFailure().reason() : QString();
}

void RemoteSession::close()
{
    if (ftp && ftp->controlSocket().state() != SocketState::Closed)
        ftp->Disconnect();
    retrieval.reset();
    ftp.reset();
    connectedTo.reset();
    ui.endProgress();
}

bool RemoteSession::enterFolder(const QString &folder)
{
    return session().ChangeDir(folder) && session().PrintDir();
}

const cFTPList *RemoteSession::listCurrentFolder()
{
    QString folder = session().sCurrentDir();
    if (!folders().GetList(folder))
        return nullptr;
    return folders().cachedList(folder);
}

namespace {

qint32 entryIndex(const cFTPList &list, const QString &name)
{
    for (qint32 i = 0; i < list.FileNumb(); ++i) {
        if (list.FileName(i) == name)
            return i;
    }
    return -1;
}

QString parentOf(const QString &path)
{
    return path.left(path.lastIndexOf(u'/') + 1);
}

} // namespace

std::optional<CliError> RemoteSession::locate(const FtpUrl &url, RemoteTarget &target)
{
    const QString path = url.remotePath(session().sHomeDir());
    target = {};
    if (url.namesFolder() || path == u"/") {
        if (!enterFolder(path))
            return CliError{ExitNoSuchFolder, u"no such folder on the server: "_qs + path};
        target.path = WithTrailingSlash(path);
        target.isFolder = true;
        target.isTop = url.path.isEmpty() || path == u"/";
        return std::nullopt;
    }
    const QString parent = parentOf(path);
    const QString name = path.mid(parent.size());
    if (!enterFolder(parent))
        return CliError{ExitNoSuchFolder, u"no such folder on the server: "_qs + parent};
    const cFTPList *list = listCurrentFolder();
    if (!list)
        return CliError{ExitFailure, u"cannot list "_qs + parent + u": "_qs + failureReason()};
    const qint32 index = entryIndex(*list, name);
    target.path = session().sCurrentDir() + name;
    if (index < 0) {
        // Listings leave out names that begin with "."; such a folder can still be entered.
        if (!enterFolder(target.path))
            return CliError{ExitNoSuchFolder, u"no such file or folder on the server: "_qs + path};
        target.isFolder = true;
    } else {
        target.isFolder = list->IsFolder(index);
        target.size = list->FileSize(index);
        target.list = list;
        target.index = index;
    }
    if (target.isFolder && !enterFolder(target.path))
        return CliError{ExitNoSuchFolder, u"cannot enter the folder "_qs + target.path};
    if (target.isFolder)
        target.path += u'/';
    return std::nullopt;
}

QStringList RemoteSession::unlistedFolders(const QStringList &roots) const
{
    QStringList missing;
    QStringList queue = roots;
    QSet<QString> seen;
    while (!queue.isEmpty()) {
        const QString folder = WithTrailingSlash(queue.takeFirst());
        if (seen.contains(folder))
            continue;
        seen.insert(folder);
        const cFTPList *list = retrieval->cachedList(folder);
        if (!list) {
            missing << folder;
            continue;
        }
        for (qint32 i = 0; i < list->FileNumb(); ++i) {
            if (list->IsFolder(i))
                queue << list->Path(i);
        }
    }
    return missing;
}

void TransferTally::add(const BatchSummary &summary)
{
    succeeded += summary.succeeded;
    failed += summary.failed;
    zeroSize += summary.zeroSize;
    cancelled = cancelled || summary.cancelled;
}

void TransferTally::addError(const CliError &error)
{
    PrintError(error.message);
    if (worstExit == 0 || error.exitCode < worstExit)
        worstExit = error.exitCode;
}

int TransferTally::exitCode() const
{
    if (cancelled || TerminalUi::interrupted())
        return ExitInterrupted;
    if (worstExit != 0)
        return worstExit;
    return failed == 0 ? ExitOk : ExitFailure;
}

QString TransferTally::text(const QString &verbPast) const
{
    QString line = QString::number(succeeded) + (succeeded == 1 ? u" file "_qs : u" files "_qs) + verbPast;
    if (failed > 0)
        line += u", "_qs + QString::number(failed) + u" failed"_qs;
    if (zeroSize > 0)
        line += u", "_qs + QString::number(zeroSize) + (zeroSize == 1 ? u" empty file"_qs : u" empty files"_qs)
                + u" skipped"_qs;
    if (cancelled)
        line += u", cancelled"_qs;
    return line;
}

} // namespace korvan::cli
