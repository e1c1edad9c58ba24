#include "ftp/FtpSession.h"

#include "ftp/RemotePath.h"
#include "shell/EventPump.h"

namespace korvan {

FtpSession::FtpSession(SessionUi &sessionUi, const FtpSettings &settings, QObject *parent)
    : QObject(parent), ui(sessionUi), config(settings)
{
    connect(&control, &SocketAdapter::connected, this, &FtpSession::onControlConnected);
    connect(&control, &SocketAdapter::closedByPeer, this, &FtpSession::onControlClosed);
    connect(&control, &SocketAdapter::dataArrival, this, &FtpSession::onControlData);
    connect(&control, &SocketAdapter::error, this, &FtpSession::onControlError);
    connect(&control, &SocketAdapter::encrypted, this, &FtpSession::onControlEncrypted);
    connect(&control, &SocketAdapter::tlsErrors, this, &FtpSession::onControlTlsErrors);
    connect(&control, &SocketAdapter::newSessionTicket, this,
            [this] { tlsSessionTicket = control.tlsSessionTicket(); });

    connect(&data, &SocketAdapter::connected, this, &FtpSession::onDataConnected);
    connect(&data, &SocketAdapter::dataArrival, this, &FtpSession::onDataArrival);
    connect(&data, &SocketAdapter::sendProgress, this, &FtpSession::onDataSendProgress);
    connect(&data, &SocketAdapter::sendComplete, this, &FtpSession::onDataSendComplete);
    connect(&data, &SocketAdapter::connectionRequest, this, &FtpSession::onDataConnectionRequest);
    connect(&data, &SocketAdapter::error, this, &FtpSession::onDataError);
    connect(&data, &SocketAdapter::encrypted, this, &FtpSession::onDataEncrypted);
    connect(&data, &SocketAdapter::tlsErrors, this, &FtpSession::onDataTlsErrors);

    tmrNOOP.setInterval(kKeepAliveIntervalMs);
    connect(&tmrNOOP, &QTimer::timeout, this, &FtpSession::onKeepAliveTimer);
}

FtpSession::~FtpSession() = default;

void FtpSession::SendCommand(const QString &text)
{
    // The last line of defence: the callers have refused and logged such a command.
    if (HoldsLineBreakOrNul(text) || clearTextForbidden(text))
        return;
    // ABOR while a transfer still owes its final reply: the server answers that
    // transfer (226 or 426) before it answers the ABOR.
    if (text.startsWith(u"ABOR") && lastCommandIsTransfer())
        noteTransferEndedEarly();
    lastCommand = text;
    commandFailure.command = MaskPassword(text);
    if (lastCommandIsTransfer())
        beginTransfer();
    LogStatus(LogColour::Blue, text);
    control.send(EncodeWireText(text, text.section(u' ', 1), latin1Lines) + "\r\n");
}

void FtpSession::LogStatus(LogColour colour, const QString &text)
{
    QString line = MaskPassword(text);
    if (!line.endsWith(u'\n'))
        line += u"\r\n";
    ui.logLine(colour, line);
}

bool FtpSession::lastCommandIs(const QString &word) const
{
    return lastCommand.left(4) == word;
}

bool FtpSession::lastCommandIsTransfer() const
{
    return lastCommandIs(u"LIST"_qs) || lastCommandIs(u"RETR"_qs) || lastCommandIs(u"STOR"_qs);
}

// ---- control connection -------------------------------------------------------

void FtpSession::onControlConnected()
{
    LogStatus(LogColour::Magenta,
              u"Connected to "_qs + control.remoteHostIP() + u':' + QString::number(control.remotePort()));
}

void FtpSession::onControlError(int number, const QString &description)
{
    LogStatus(LogColour::Red, QString::number(number) + u" : "_qs + description);
    noteFailure({}, description);
    CloseWinsock2();
    SetReplyState(ReplyState::Failed);
    endSession();
}

void FtpSession::onControlClosed()
{
    endSession();
}

void FtpSession::endSession()
{
    if (!sessionOpen)
        return;
    sessionOpen = false;
    emit sessionEnded();
}

void FtpSession::noteFailure(const QString &reply, const QString &socketError, bool timedOut)
{
    if (!reply.isEmpty())
        commandFailure.reply = reply.trimmed();
    // The first error is the cause; what follows (the close) is its effect.
    if (!socketError.isEmpty() && commandFailure.socketError.isEmpty())
        commandFailure.socketError = socketError;
    commandFailure.timedOut = commandFailure.timedOut || timedOut;
}

QString SessionFailure::reason() const
{
    if (!socketError.isEmpty())
        return socketError;
    if (!reply.isEmpty())
        return reply;
    return timedOut ? u"no reply from the server"_qs : QString();
}

void FtpSession::onControlData()
{
    ControlDataArrival(control.readAll());
}

void FtpSession::ControlDataArrival(const QByteArray &bytes)
{
    recvBuffer += bytes;
    takeCompleteLines();
    if (recvBuffer.size() > kMaxReplyLineBytes)
        rejectOverlongLine();
}

void FtpSession::takeCompleteLines()
{
    for (;;) {
        const qsizetype lineFeed = recvBuffer.indexOf('\n');
        if (lineFeed < 0)
            return;
        const QByteArray line = recvBuffer.left(lineFeed + 1);
        recvBuffer.remove(0, lineFeed + 1);
        ReplyLine(DecodeWireLines(line, &latin1Lines));
    }
}

void FtpSession::rejectOverlongLine()
{
    const QString text = u"The server sent more than "_qs + QString::number(kMaxReplyLineBytes)
                         + u" bytes without a line end: connection closed."_qs;
    LogStatus(LogColour::Red, text);
    noteFailure({}, text);
    recvBuffer.clear();
    control.close();
    CloseWinsock2();
    SetReplyState(ReplyState::Failed);
}

void FtpSession::ReplyLine(const QString &line)
{
    const QString code = ReplyCode(line);
    const LogColour colour = IsErrorReply(code) ? LogColour::Red : LogColour::Black;
    if (consumeLateTransferReply(code)) {
        LogStatus(colour, line);
        return;
    }
    if (!code.isEmpty()) {
        lastReply = line;
        if (lastCommandIsTransfer()) {
            (code.startsWith(u'1') ? transferState.startSeen : transferState.endSeen) = true;
            if (transferState.replyAt < 0)
                transferState.replyAt = monotonicSeconds();
        }
    }
    LogStatus(colour, line);
    dispatchReply(code, line);
}

// A listing or download whose wait ended on the data close, a transfer whose
// data connection failed, or one cut by ABOR still owes its 1xx and final reply;
// they belong to that transfer, never to the command now running. An upload's
// own 226 comes after its 150: one before it is an earlier command's (an ABOR
// answered after its wait had ended), and would end the upload unsent.
bool FtpSession::consumeLateTransferReply(const QString &code)
{
    if ((code == u"125" || code == u"150") && lateStartReplies > 0) {
        --lateStartReplies;
        return true;
    }
    if ((code == u"226" || code == u"425" || code == u"426" || code == u"451") && lateEndReplies > 0) {
        --lateEndReplies;
        lateStartReplies = 0;
        return true;
    }
    return code == u"226" && lastCommandIs(u"STOR"_qs) && !transferState.startSeen;
}

void FtpSession::noteTransferEndedEarly()
{
    if (!transferState.startSeen)
        ++lateStartReplies;
    if (!transferState.endSeen)
        ++lateEndReplies;
    transferState.startSeen = transferState.endSeen = true;
}

void FtpSession::dispatchReply(const QString &code, const QString &line)
{
    switch (ClassifyReply(code)) {
    case ReplyAction::None:
        return;
    case ReplyAction::TransferStarting:
        onTransferStarting(line);
        return;
    case ReplyAction::Complete:
        SetReplyState(ReplyState::Done);
        return;
    case ReplyAction::CompleteIfAbort:
        if (lastCommandIs(u"ABOR"_qs))
            SetReplyState(ReplyState::Done);
        return;
    case ReplyAction::CompleteIfAbortOrStore:
        // After LIST and RETR the wait loop decides, together with the data close.
        if (lastCommandIs(u"ABOR"_qs) || lastCommandIs(u"STOR"_qs))
            SetReplyState(ReplyState::Done);
        return;
    case ReplyAction::PassiveAddress:
        onPassiveReply(line);
        return;
    case ReplyAction::FolderReply:
        if (lastCommand == u"PWD")
            currentDir = ParseFolderReply(line);
        SetReplyState(ReplyState::Done);
        return;
    case ReplyAction::RenamePending:
        onRenamePending();
        return;
    case ReplyAction::Fail:
        noteFailure(line, {});
        SetReplyState(ReplyState::Failed);
        return;
    }
}

void FtpSession::onRenamePending()
{
    if (!lastCommandIs(u"RNFR"_qs)) {
        SetReplyState(ReplyState::Done);
        return;
    }
    const QString newName = StripTrailingSlash(ui.inputBox(u"Type new name:"_qs, u"Rename"_qs, renameFrom));
    if (newName.isEmpty() || newName == renameFrom) {
        SetReplyState(ReplyState::Abandoned);
        return;
    }
    if (!commandIsSendable(u"RNTO "_qs + newName)) {
        SetReplyState(ReplyState::Failed);
        return;
    }
    SendCommand(u"RNTO "_qs + newName);
}

// ---- waiting ------------------------------------------------------------------

void FtpSession::BeginCommand(DataMode mode)
{
    if (replyState == ReplyState::ClosePending) {
        ui.unloadWindow();
        return;
    }
    commandFailure = {};
    if (mode == DataMode::Listing)
        listBytes.clear();
    dataMode = mode;
    lastActivity = monotonicSeconds();
    changeReplyState(ReplyState::Waiting);
}

bool FtpSession::SendAndWait(const QString &text, DataMode mode)
{
    if (replyState == ReplyState::ClosePending) {
        ui.unloadWindow();
        return false;
    }
    if (!commandIsSendable(text))
        return false;
    BeginCommand(mode);
    SendCommand(text);
    return WaitReply(text);
}

// A CR, LF or NUL inside a command would end it early and let the rest of a name
// (a listed name may hold a bare CR or LF) reach the server as commands of its own.
bool FtpSession::commandIsSendable(const QString &text)
{
    if (!HoldsLineBreakOrNul(text))
        return true;
    // A password never reaches the log, not even one that cannot be sent.
    const QString reason = UnsendableNameText(MaskPassword(text).section(u' ', 1));
    LogStatus(LogColour::Red, reason);
    commandFailure = {};
    commandFailure.command = MaskPassword(VisibleControlCharacters(text));
    noteFailure({}, reason);
    failure = commandFailure;
    return false;
}

void FtpSession::SetReplyState(ReplyState state)
{
    if (replyState == ReplyState::ClosePending) {
        ui.unloadWindow();
        return;
    }
    ui.setStatusText(StatusPane::Wait, {});
    changeReplyState(state);
}

void FtpSession::changeReplyState(ReplyState state)
{
    if (replyState == state)
        return;
    replyState = state;
    emit replyStateChanged(state);
}

void FtpSession::RequestClose()
{
    if (replyState == ReplyState::Waiting)
        changeReplyState(ReplyState::ClosePending);
    else
        ui.unloadWindow();
}

// A control connection the server has closed can bring no reply any more, so the
// waiting command fails at once instead of running into the time-out question.
bool FtpSession::controlSocketFailed() const
{
    const SocketState state = control.state();
    return state == SocketState::Closed || state == SocketState::Error || state == SocketState::ConnectionPending
           || state == SocketState::Closing;
}

bool FtpSession::dataSocketFailed() const
{
    const SocketState state = data.state();
    return state == SocketState::Error || state == SocketState::ConnectionPending;
}

// A listing or download ends when the data socket starts closing, or, once the
// server has said 226, when no data came for twice as long as the transfer took.
bool FtpSession::endTransferOnDataClose(double startMark)
{
    if (data.state() == SocketState::Closing) {
        CloseWinsock2();
        noteTransferEndedEarly();
        SetReplyState(ReplyState::Done);
        return true;
    }
    if (!lastReply.startsWith(u"226"))
        return false;
    // pure-ftpd sends its 226 as soon as it has handed the data to the system, so
    // the reply can overtake the data connection itself: until that connection is
    // up, and for a short grace after it, the data is still on its way.
    const SocketState dataState = data.state();
    if (dataState == SocketState::Listening || dataState == SocketState::Connecting)
        return false;
    const double idle = monotonicSeconds() - lastActivity;
    if (idle <= qMax(2 * (lastActivity - startMark), kMinimumDataGraceSeconds))
        return false;
    CloseWinsock2();
    SetReplyState(ReplyState::Done);
    return true;
}

void FtpSession::reportControlClosed()
{
    const QString text = u"the server closed the connection"_qs;
    // A socket error has been logged already; a quiet close says so here.
    if (commandFailure.socketError.isEmpty())
        LogStatus(LogColour::Red, u"The server closed the connection."_qs);
    noteFailure({}, text);
}

// The server has answered the transfer command (150, or already 226) but the data
// connection is not up: it gets the site's waiting time from that reply.
bool FtpSession::awaitingDataConnection() const
{
    return lastCommandIsTransfer() && transferState.replyAt >= 0 && !transferState.dataOpened;
}

bool FtpSession::dataConnectionOverdue() const
{
    return awaitingDataConnection() && monotonicSeconds() - transferState.replyAt > config.nFTPWaitTime;
}

void FtpSession::failOverdueDataConnection()
{
    const QString text = DataConnectionOverdueText(config.nFTPWaitTime);
    LogStatus(LogColour::Red, text);
    noteFailure({}, text);
    CloseWinsock2();
    failTransfer(text);
}

bool FtpSession::askToKeepWaiting()
{
    const QuestionAnswer answer = ui.question(u"Vantrel"_qs, WaitTooLongText(config.nFTPWaitTime), u"&Yes"_qs,
                                              u"&No"_qs);
    if (answer != QuestionAnswer::Yes) {
        noteFailure({}, {}, true);
        return false;
    }
    lastActivity = monotonicSeconds();
    return true;
}

void FtpSession::showWaitSeconds(const QString &what, int &shownSeconds)
{
    const int seconds = int(monotonicSeconds() - lastActivity);
    if (seconds == shownSeconds)
        return;
    shownSeconds = seconds;
    ui.setStatusText(StatusPane::Wait, what + u": "_qs + QString::number(seconds) + u" seconds"_qs);
}

bool FtpSession::WaitReply(const QString &what)
{
    const QString word = what.section(u' ', 0, 0);
    const double startMark = lastActivity;
    int shownSeconds = -1;
    bool completed = false;
    ui.setWaitControlsEnabled(false);
    for (;;) {
        if (replyState == ReplyState::Done) {
            completed = true;
            break;
        }
        pumpEvents(10);
        if (replyState == ReplyState::Failed || replyState == ReplyState::Abandoned)
            break;
        if (replyState == ReplyState::ClosePending) {
            ui.unloadWindow();
            return false;
        }
        if (controlSocketFailed() || dataSocketFailed()) {
            if (controlSocketFailed())
                reportControlClosed();
            break;
        }
        if ((lastCommandIs(u"LIST"_qs) || lastCommandIs(u"RETR"_qs)) && endTransferOnDataClose(startMark))
            continue;
        if (dataConnectionOverdue()) {
            failOverdueDataConnection();
            break;
        }
        // A transfer waits for its data connection by the rule above; anything
        // else, a data connection that went silent included, by the question.
        if (!awaitingDataConnection() && monotonicSeconds() - lastActivity > config.nFTPWaitTime) {
            if (replyState == ReplyState::Failed || replyState == ReplyState::Abandoned)
                break;
            if (!askToKeepWaiting())
                break;
        }
        showWaitSeconds(word, shownSeconds);
    }
    // A transfer given up before its final reply: that reply is still to come.
    if (lastCommandIsTransfer() && !transferState.endSeen)
        noteTransferEndedEarly();
    if (!completed)
        failure = commandFailure;
    ui.setStatusText(StatusPane::Wait, {});
    ui.setWaitControlsEnabled(true);
    drainEvents();
    return completed;
}

} // namespace korvan
