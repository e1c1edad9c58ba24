#pragma once
// One FTP session: the control connection with its reply dispatcher and wait
// loop, the session commands, and the data connection for listings and file
// transfers. No widgets: everything the user sees goes through SessionUi.

#include "ftp/ReplyRules.h"
#include "ftp/SessionUi.h"
#include "shell/SocketAdapter.h"

#include <QByteArray>
#include <QFile>
#include <QObject>
#include <QString>
#include <QTimer>

namespace korvan {

enum class ReplyState : int {
    Waiting = 0,
    Done = 1,
    Failed = 2,
    Abandoned = 3,   // the user gave the command up
    ClosePending = 4 // the window closes when the current wait ends
};

enum class DataMode : int { None = 0, Listing = 1, Upload = 2, Download = 3 };

// Outcome of the current file for the transfer loops.
enum class TransferResult : int { Running = 0, Succeeded = 1, Failed = 2, Cancelled = 3 };

class FtpSession : public QObject {
    Q_OBJECT
public:
    explicit FtpSession(SessionUi &ui, QObject *parent = nullptr);
    ~FtpSession() override;

    // Upload blocks go out in this size, one after each send completes.
    static constexpr qint64 kUploadBlockSize = 25396;
    // A control line longer than this without a line feed is hostile.
    static constexpr qsizetype kMaxReplyLineBytes = 64 * 1024;
    static constexpr int kKeepAliveIntervalMs = 20000;
    // After a 226 the data connection gets at least this long to deliver and close.
    static constexpr double kMinimumDataGraceSeconds = 0.25;

    // Session fields.
    QByteArray sRecvBuffer;      // control bytes not yet ending in a line feed
    QString sLastCommand;        // without its line end
    QString sLastReply;          // last final reply line, with its line end
    ReplyState nReplyState = ReplyState::Done;
    DataMode nDataMode = DataMode::None;
    QByteArray sListText;        // listing bytes as the server sent them
    QString sRenameFrom;
    QString sCurrentDir;         // always ends in "/"
    QString sHomeDir;            // the folder the session started in
    double fLastActivity = 0;    // monotonic seconds

    // Current transfer, read and written by the data connection handlers.
    QString sTransferRemotePath;
    QString sTransferLocalPath;
    qint64 nTransferSize = 0;
    qint64 nBytesReceived = 0;
    qint64 nAnnouncedSize = -1;  // the size a "150" reply to RETR gave, -1 when none
    qint64 nBytesSent = 0;
    TransferResult nTransferResult = TransferResult::Running;

    SocketAdapter &controlSocket() { return control; }
    SocketAdapter &dataSocket() { return data; }
    // The listing as text, line by line UTF-8 or Latin-1.
    QString listText() const { return DecodeWireLines(sListText, &latin1Lines); }
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
    bool RenameFrom(const QString &name);
    bool SetType(const QString &type);
    void setKeepAliveInterval(int milliseconds);
    bool keepAliveActive() const { return tmrNOOP.isActive(); }

    // Data connection.
    QString BuildPortArgument();
    void CloseWinsock2();
    // PASV or PORT, as the passive setting says.
    bool OpenDataConnection();
    // LIST (or LIST with an argument) into sListText.
    bool ListFolder(const QString &command = QStringLiteral("LIST"));
    // Fetches remotePath into localPath; size as the listing reports it.
    bool RetrieveFile(const QString &remotePath, const QString &localPath, qint64 size);
    // Sends localPath (size bytes) as remotePath.
    bool StoreFile(const QString &localPath, const QString &remotePath, qint64 size);

signals:
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
    bool lastCommandIs(const QString &word) const;
    bool lastCommandIsTransfer() const;
    bool endTransferOnDataClose(double startMark);
    void noteTransferEndedEarly();
    bool askToKeepWaiting();
    void showWaitSeconds(const QString &what, int &shownSeconds);
    void onKeepAliveTimer();
    bool isIdle() const;
    bool finishLogOn(bool connected);
    void askToRetryLogOn();

    // Data connection.
    void onDataConnected();
    void onDataArrival(qint64 bytesTotal);
    void onDataSendProgress(qint64 bytesSent, qint64 bytesRemaining);
    void onDataSendComplete();
    void onDataConnectionRequest(qintptr requestId);
    void onDataError(int number, const QString &description);
    void onPassiveReply(const QString &line);
    void onTransferStarting(const QString &line);
    void startUploadWhenConnected();
    void sendNextBlock();
    void failUpload();
    void writeDownloadData(qint64 bytesTotal);
    void beginTransfer(const QString &localPath, const QString &remotePath, qint64 size);
    void endTransfer();
    QString transferFileName() const;

    SessionUi &ui;
    SocketAdapter control;
    SocketAdapter data;
    QTimer tmrNOOP;
    QFile transferFile;
    QString connectedHost;

    // The current listing or download has had its 1xx / final reply.
    bool transferStartSeen = false;
    bool transferEndSeen = false;
    // Replies still owed by transfers whose wait already ended on the data close.
    int lateStartReplies = 0;
    int lateEndReplies = 0;
    bool uploadStartPending = false;
    // Lines that came as Latin-1: names taken from them go back as the same bytes.
    mutable QSet<QString> latin1Lines;
};

} // namespace korvan
