#pragma once
// What ls, get and put share: their common options, one logged-on session on a
// server with the folder listings, and finding out what a URL names there.

#include "FtpUrl.h"
#include "TerminalUi.h"

#include "ftp/FtpSession.h"
#include "listing/FolderRetrieval.h"
#include "transfer/TransferLoop.h"

#include <QStringList>

#include <memory>
#include <optional>

namespace korvan::cli {

// Exit codes of the commands that talk to a server, beside those of Command.h.
enum RemoteExitCode : int {
    ExitCannotConnect = 3,
    ExitLogOnRefused = 4,
    ExitNoSuchFolder = 5,  // no such remote folder or file
    ExitInterrupted = 130, // Ctrl-C, as the shell counts it
};

struct RemoteOptions {
    bool passive = true;
    int waitSeconds = 30;
    bool log = false;
    bool json = false; // ls only
    bool tls = false;  // explicit TLS required on ftp:// URLs too
    QString trust;     // a certificate fingerprint trusted without a question
    QStringList positional;
};

// The options every server command takes; `allowJson` for ls. Nothing and a
// one-line reason in `error` for an unknown option or a bad value.
std::optional<RemoteOptions> ParseRemoteOptions(const QStringList &arguments, bool allowJson, QString *error);

// The options' part of the commands' help, a literal so that each command's
// help text stays one constant.
#define KORVAN_REMOTE_OPTIONS_HELP                                                                                     \
    "  --passive        passive data connections: Korvan connects to the server\n"                                     \
    "                   (the default; works through most firewalls and NAT)\n"                                         \
    "  --active         active data connections: the server connects back (PORT)\n"                                    \
    "  --wait SECONDS   how long to wait for a reply before giving up (default 30)\n"                                  \
    "  --log            print every command, reply and connection event on\n"                                          \
    "                   standard error (coloured when it is a terminal)\n"                                             \
    "  --tls            require TLS (AUTH TLS) on an ftp:// URL, as ftpes:// does\n"                                   \
    "  --trust SHA256   trust the server certificate with this SHA-256 fingerprint\n"                                  \
    "                   although it does not verify (self-signed, other name)\n"

// The URL's part of the commands' help.
#define KORVAN_URL_HELP                                                                                                \
    "URL: ftp://[user[:password]@]host[:port]/[path]. Without a user, Korvan logs on\n"                                \
    "as 'anonymous'. ftpes:// requires TLS after connecting (AUTH TLS, port 21),\n"                                    \
    "ftps:// speaks TLS from the first byte (port 990). Write special characters\n"                                    \
    "in the user, password and path percent-encoded (%40 for '@', %3A for ':',\n"                                      \
    "%20 for a blank). The path starts from the folder the server puts you in\n"                                       \
    "after logging on (usually its root); ftp://host/%2Fetc names /etc from the\n"                                     \
    "server's root.\n"

// The exit codes' part of the commands' help.
#define KORVAN_EXIT_HELP                                                                                               \
    "Exit status: 0 success, 1 failure (a file failed, a folder could not be\n"                                        \
    "listed), 2 wrong usage, 3 cannot connect, 4 log-on refused or server\n"                                           \
    "certificate not trusted, 5 no such remote folder or file, 130 cancelled\n"                                        \
    "with Ctrl-C.\n"

struct CliError {
    int exitCode = 1;
    QString message; // without "korvan: "
};

// "korvan: <message>" on standard error.
void PrintError(const QString &message);

// What a URL names on the server.
struct RemoteTarget {
    QString path; // absolute; a folder ends in "/"
    bool isFolder = false;
    // The log-on folder or the root: a get fetches what is in it, not the folder.
    bool isTop = false;
    QString size;                   // a file's size as the listing shows it
    const cFTPList *list = nullptr; // a file's entry: the parent folder's listing
    qint32 index = -1;
};

class RemoteSession {
public:
    explicit RemoteSession(const RemoteOptions &options);
    ~RemoteSession();

    // Connects and logs on to the URL's server, unless already logged on there.
    std::optional<CliError> open(const FtpUrl &url);
    // QUIT and close.
    void close();

    // CWD and PWD: afterwards the session's current folder is the server's name
    // for `folder`.
    bool enterFolder(const QString &folder);
    // The listing of the current folder, fetched once; null when LIST failed.
    const cFTPList *listCurrentFolder();
    // What the URL names: a folder (entered) or a file (its parent entered).
    std::optional<CliError> locate(const FtpUrl &url, RemoteTarget &target);
    // Folders below `roots` the engine walked but could not list (links followed
    // as the engine follows them).
    QStringList unlistedFolders(const QStringList &roots) const;

    TerminalUi ui;
    FtpSession &session() { return *ftp; }
    FolderRetrieval &folders() { return *retrieval; }
    // Why the last failing command failed, as the session recorded it.
    QString failureReason() const;

private:
    CliError logOnError(const FtpUrl &url) const;

    RemoteOptions options;
    FtpSettings settings; // the session's own: a command-line run shares no global
    std::optional<FtpUrl> connectedTo;
    std::unique_ptr<FtpSession> ftp;
    std::unique_ptr<FolderRetrieval> retrieval;
};

// The summary line of a transfer batch and the exit code it earns.
struct TransferTally {
    int succeeded = 0;
    int failed = 0;
    int zeroSize = 0;
    bool cancelled = false;
    int worstExit = 0; // of targets that could not even start
    void add(const BatchSummary &summary);
    void addError(const CliError &error);
    int exitCode() const;
    // Some file was tried, or nothing failed before the transfers.
    bool attempted() const { return worstExit == 0 || succeeded + failed + zeroSize > 0; }
    // "3 files downloaded, 1 failed, 1 empty file skipped"
    QString text(const QString &verbPast) const;
};

} // namespace korvan::cli
