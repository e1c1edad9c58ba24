#pragma once
// One FTP session: the control connection with its reply dispatcher and wait
// loop, the session commands, and the data connection for listings and file
// transfers. No widgets: everything the user sees goes through SessionUi.

#include "ftp/ReplyRules.h"
#include "ftp/SessionUi.h"
#include "korvan/FtpSettings.h"
#include "shell/SocketAdapter.h"

#include <QByteArray>
#include <QFile>
#include <QObject>
#include <QString>
#include <QTimer>

#include <optional>

namespace korvan {

enum class ReplyState : int {
    Waiting = 0,
    Done = 1,
    Failed = 2,
    Abandoned = 3,   // the user gave the command up
    ClosePending = 4 // the window closes when the current wait ends
};

enum class DataMode : int { None = 0, Listing = 1, Upload = 2, Download = 3 };

// The running file's state as the transfer loops see it.
enum class TransferResult : int { Running = 0, Succeeded = 1, Failed = 2, Cancelled = 3 };

// How one file transfer ended: done, failed (with the reason a user reads), or
// cancelled by the user.
struct TransferOutcome {
    TransferResult result = TransferResult::Succeeded;
    QString reason; // empty unless failed
    bool succeeded() const { return result == TransferResult::Succeeded; }
    bool cancelled() const { return result == TransferResult::Cancelled; }
};

// The running LIST, RETR or STOR: its file, how far it came, and which of its
// replies have arrived. Replaced as a whole when the next one is sent.
struct TransferState {
    QString remotePath;
    QString localPath;
    DataMode mode = DataMode::None; // Listing, Download or Upload
    qint64 size = 0;                // as the listing (or the local file) gives it
    qint64 bytesReceived = 0;
    qint64 announcedSize = -1; // the size a "150" reply to RETR gave, -1 when none
    qint64 bytesSent = 0;
    TransferResult result = TransferResult::Running;
    QString failureReason;
    bool startSeen = false;          // the 1xx reply has come
    bool endSeen = false;            // the final reply has come
    bool uploadStartPending = false; // 1xx came before the data connection was up
    bool dataOpened = false;         // the data connection has been up during this transfer
    double replyAt = -1;             // monotonic seconds of its first 1xx or final reply
    bool fileCreated = false;        // the download made its local file (none was there)
    qint64 listingLines = 0;         // line feeds received of a listing
    bool listingCut = false;         // the listing went past a limit and was cut
    qint64 fileLengthAtOpen = 0;     // the download's local file when it was opened
    double progressAt = -1;          // monotonic seconds of the last progress shown
    qint64 progressBytes = 0;        // the bytes it showed
};

// Why the last command that failed did: what a window or the command-line client
// shows without reading the log.
struct SessionFailure {
    QString command;       // as sent (password masked), empty before the greeting
    QString reply;         // the server's failing reply line, trimmed; empty when none came
    QString socketError;   // the connection's error, empty when none
    bool timedOut = false; // the user stopped waiting for a reply
    // The SHA-256 fingerprint of a server certificate the user did not trust.
    QString untrustedFingerprint;
    // One line for a user: the socket error, else the reply, else the time-out.
    QString reason() const;
};

class FtpSession : public QObject {
    Q_OBJECT
public:
    // settings: read for every log-on and data connection, so changes (the passive
    // menu entry) apply to the next one; it must outlive the session.
    explicit FtpSession(SessionUi &ui, const FtpSettings &settings = ftpSettings(), QObject *parent = nullptr);
    ~FtpSession() override;

    // Upload blocks go out in this size, one after each send completes.
    static constexpr qint64 kUploadBlockSize = SocketAdapter::kTransferBlockBytes;
    // A download takes at most this much per data arrival, so that the event
    // loop (the user's cancel among it) gets its turn on a fast connection.
    static constexpr qint64 kReceiveBytesPerArrival = 4 * SocketAdapter::kTransferBlockBytes;
    // The progress bars follow the bytes at most this often.
    static constexpr double kProgressIntervalSeconds = 0.05;
    // A control line longer than this without a line feed is hostile.
    static constexpr qsizetype kMaxReplyLineBytes = 64 * 1024;
    static constexpr int kKeepAliveIntervalMs = 20000;
    // A listing is cut beyond either limit, so a hostile server cannot fill memory.
    static constexpr qint64 kMaxListingBytes = qint64(256) * 1024 * 1024;
    static constexpr qint64 kMaxListingLines = 5'000'000;
    // After a 226 the data connection gets at least this long to deliver and close.
    static constexpr double kMinimumDataGraceSeconds = 0.25;

    // Session state, read only: each piece is changed by the one function named.
    ReplyState nReplyState() const { return replyState; } // SetReplyState, BeginCommand, RequestClose
    DataMode nDataMode() const { return dataMode; }       // BeginCommand
    QString sLastCommand() const { return lastCommand; }  // SendCommand; without its line end
    QString sLastReply() const { return lastReply; }      // ReplyLine; the last final reply with its line end
    QString sCurrentDir() const { return currentDir; }    // ReplyLine (257 to PWD); always ends in "/"
    QString sHomeDir() const { return homeDir; }          // LogOn: the folder the session started in
    QByteArray sListText() const { return listBytes; }    // the listing bytes as the server sent them
    QString sRenameFrom() const { return renameFrom; }    // RenameFrom
    QByteArray sRecvBuffer() const { return recvBuffer; } // control bytes not yet ending in a line feed
    double fLastActivity() const { return lastActivity; } // monotonic seconds
    const TransferState &transfer() const { return transferState; }
    // Empty until a command fails; then that failure until the next one.
    const SessionFailure &lastFailure() const { return failure; }
    const FtpSettings &settings() const { return config; }

    SocketAdapter &controlSocket() { return control; }
    SocketAdapter &dataSocket() { return data; }
    // The listing as text, line by line UTF-8 or Latin-1.
    QString listText() const { return DecodeWireLines(listBytes, &latin1Lines); }
    // Lines of a listing that came as Latin-1 (decoded): names taken from them go
    // back as the same bytes. For a parse of sListText() that decoded them itself.
    void rememberLatin1Lines(const QSet<QString> &lines) { latin1Lines.unite(lines); }
    // Control bytes as they arrive: split into lines, each handed to ReplyLine.
    void ControlDataArrival(const QByteArray &bytes);

    // Control connection and replies.
    void SendCommand(const QString &text);
    void LogStatus(LogColour colour, const QString &text);
    void ReplyLine(const QString &line);
    bool WaitReply(const QString &what);
    void BeginCommand(DataMode mode);
    bool SendAndWait(const QString &text, DataMode mode = DataMode::None);
    void SetReplyState(ReplyState state);
    // The window asks to close: deferred while a command waits.
    void RequestClose();

    // Session commands.
    bool LogOn();
    bool CloseConnections();
    void Quit();
    bool Disconnect();
    bool AbortCommand();
    bool PrintDir();
    bool ChangeDir(const QString &folder);
    bool ChangeDirUp();
    bool MakeDir(const QString &name);
    bool RemoveDir(const QString &name);
    bool DeleteFile(const QString &name);
    // Remembers the name (the input box's default) and sends RNFR.
    bool RenameFrom(const QString &name);
    bool SetType(const QString &type);
    void setKeepAliveInterval(int milliseconds);
    // A server certificate with this SHA-256 fingerprint (any form
    // NormalizedFingerprint reads) is trusted without a question.
    void setTrustedFingerprint(const QString &fingerprint);
    bool keepAliveActive() const { return tmrNOOP.isActive(); }

    // Data connection.
    QString BuildPortArgument();
    void CloseWinsock2();
    // PASV or PORT, as the passive setting says (EPSV or EPRT over IPv6).
    bool OpenDataConnection();
    // LIST (or LIST with an argument) into sListText.
    bool ListFolder(const QString &command = QStringLiteral("LIST"));
    // Fetches remotePath into localPath; size as the listing reports it. A file
    // that ends short of that size, or of the size the server announced, failed.
    TransferOutcome RetrieveFile(const QString &remotePath, const QString &localPath, qint64 size);
    // Sends localPath (size bytes) as remotePath; short of size bytes it failed.
    TransferOutcome StoreFile(const QString &localPath, const QString &remotePath, qint64 size);
    // The user's cancel of the running file transfer: marked cancelled, its data
    // connection dropped, the command aborted. Does nothing when no file transfer
    // is running, so a second call (another poller) sends no second ABOR.
    void CancelTransfer();
    bool fileTransferRunning() const;

signals:
    void replyStateChanged(korvan::ReplyState state);
    // The running file: bytes moved so far and the size it should reach.
    void transferProgress(qint64 bytes, qint64 size);
    // Disconnect, the server closing the control connection, or a new log-on:
    // whatever was learnt about the server (cached listings) is stale.
    void sessionEnded();
    // Each upload block as it is handed to the data socket (its size in bytes).
    void uploadBlockSent(qint64 bytes);

private:
    // Control connection.
    void onControlConnected();
    void onControlData();
    void onControlError(int number, const QString &description);
    void takeCompleteLines();
    void rejectOverlongLine();
    void dispatchReply(const QString &code, const QString &line);
    bool consumeLateTransferReply(const QString &code);
    void onRenamePending();
    bool controlSocketFailed() const;
    bool dataSocketFailed() const;
    bool commandIsSendable(const QString &text);
    bool lastCommandIs(const QString &word) const;
    bool lastCommandIsTransfer() const;
    bool endTransferOnDataClose(double startMark);
    bool awaitingDataConnection() const;
    void reportControlClosed();
    bool dataConnectionOverdue() const;
    void failOverdueDataConnection();
    void noteTransferEndedEarly();
    bool askToKeepWaiting();
    void showWaitSeconds(const QString &what, int &shownSeconds);
    void onKeepAliveTimer();
    bool isIdle() const;
    bool finishLogOn(bool connected);
    void askToRetryLogOn();

    // TLS (FTPS).
    bool secureControlConnection();
    bool negotiateExplicitTls();
    bool protectDataConnections();
    bool failTlsLogOn(const QString &text);
    bool clearTextForbidden(const QString &command) const;
    QSslConfiguration tlsConfiguration() const;
    void prepareControlTls();
    void prepareDataTls();
    void onControlEncrypted();
    void onControlTlsErrors(const QList<QSslError> &errors);
    bool userTrustsCertificate(const QString &reasons, const QString &fingerprint);
    void onDataEncrypted();
    void onDataTlsErrors(const QList<QSslError> &errors);
    QString hostAndPort() const;

    // Data connection.
    void onDataConnected();
    void onDataArrival(qint64 bytesTotal);
    void onDataSendProgress(qint64 bytesSent, qint64 bytesRemaining);
    void onDataSendComplete();
    void onDataConnectionRequest(qintptr requestId);
    void onDataError(int number, const QString &description);
    void onPassiveReply(const QString &line);
    std::optional<PassiveAddress> passiveTarget(const QString &line);
    bool controlIsIPv6() const;
    void onTransferStarting(const QString &line);
    void startUploadWhenConnected();
    void sendNextBlock();
    void failUpload();
    void writeDownloadData(qint64 bytesTotal);
    void receiveListing();
    void cutListing();
    bool openDownloadFile();
    void removeEmptyFailedDownload();
    struct TransferFile {
        QString remotePath;
        QString localPath;
        qint64 size = 0;
    };
    TransferOutcome runTransfer(const QString &command, DataMode mode, const TransferFile &file);
    void beginTransfer();
    void failTransfer(const QString &reason);
    TransferOutcome finishTransfer(bool completed);
    qint64 expectedBytes() const;
    qint64 movedBytes() const;
    void reportProgress();
    void showProgress();
    QString transferFileName() const;
    void noteFailure(const QString &reply, const QString &socketError, bool timedOut = false);
    void endSession();
    void changeReplyState(ReplyState state);
    void onControlClosed();

    SessionUi &ui;
    const FtpSettings &config;
    SocketAdapter control;
    SocketAdapter data;
    QTimer tmrNOOP;
    QFile transferFile;
    QString connectedHost;

    QByteArray recvBuffer;
    QString lastCommand;
    QString lastReply;
    ReplyState replyState = ReplyState::Done;
    DataMode dataMode = DataMode::None;
    QByteArray listBytes;
    QString renameFrom;
    QString currentDir;
    QString homeDir;
    double lastActivity = 0;
    TransferState transferState;
    // The file RetrieveFile or StoreFile is about to send RETR or STOR for.
    std::optional<TransferFile> nextFile;
    // What the command running now has met that would make it fail.
    SessionFailure commandFailure;
    SessionFailure failure;
    // Log-on until Disconnect, the server's close or the next log-on.
    bool sessionOpen = false;
    // Replies still owed by transfers whose wait already ended on the data close:
    // they outlive those transfers, so only a new log-on forgets them.
    int lateStartReplies = 0;
    int lateEndReplies = 0;
    // TLS: asked for at this log-on; data connections private (PROT P); the
    // control connection's session, resumed by every data connection (servers
    // refuse data connections that do not: "522 session reuse required"); the
    // certificate accepted for the control connection.
    bool tlsRequested = false;
    bool dataProtected = false;
    QByteArray tlsSessionTicket;
    QString acceptedFingerprint;
    QString trustedFingerprint;
    // Lines that came as Latin-1: names taken from them go back as the same bytes.
    mutable QSet<QString> latin1Lines;
};

} // namespace korvan
