// Log-on, log-off and the one-command operations of a session.

#include "ftp/FtpSession.h"

#include "ftp/RemotePath.h"

namespace korvan {

bool FtpSession::CloseConnections()
{
    if (data.state() != SocketState::Closed)
        CloseWinsock2();
    if (control.state() != SocketState::Closed)
        Quit();
    return true;
}

void FtpSession::Quit()
{
    if (control.state() != SocketState::Closed && !clearTextForbidden(u"QUIT"_qs))
        SendCommand(u"QUIT"_qs);
    // close() hands the QUIT to the system before it drops the socket.
    control.close();
}

bool FtpSession::LogOn()
{
    if (!CloseConnections())
        return false;
    endSession();
    ui.setStatusText(StatusPane::Main, u"Connecting "_qs + config.sFTPServer);
    ui.refreshCommandStates();

    recvBuffer.clear();
    latin1Lines.clear();
    lateStartReplies = lateEndReplies = 0;
    sessionOpen = true;
    prepareControlTls();
    BeginCommand(DataMode::None);
    control.connectToHost(config.sFTPServer, quint16(config.nFTPPort));
    // The server's 220 greeting completes this wait.
    const bool greeted = WaitReply(u"CONNECT"_qs);
    const bool loggedOn = finishLogOn(greeted && control.state() == SocketState::Connected);

    ui.refreshCommandStates();
    if (!loggedOn && replyState != ReplyState::ClosePending && !lastCommand.isEmpty())
        askToRetryLogOn();
    return loggedOn;
}

bool FtpSession::finishLogOn(bool connected)
{
    const FtpSettings &settings = config;
    // USER succeeds on 331 as well as on 230; PASS is sent either way.
    if (!connected || !secureControlConnection() || !SendAndWait(u"USER "_qs + settings.sFTPUser)
        || !SendAndWait(u"PASS "_qs + settings.sFTPPassword))
        return false;
    SendAndWait(u"SYST"_qs);
    // A bad initial folder leaves the server's default folder.
    if (!settings.sFTPDir.isEmpty())
        ChangeDir(settings.sFTPDir);
    if (!PrintDir())
        return false;
    homeDir = currentDir;
    if (!ui.showCurrentFolder())
        return false;
    tmrNOOP.start();
    return true;
}

void FtpSession::askToRetryLogOn()
{
    const QString server = config.sFTPServer;
    if (ui.question(u"Vantrel"_qs, LogOnFailedText(server, lastCommand), u"&Yes"_qs, u"&No"_qs) != QuestionAnswer::Yes)
        return;
    Disconnect();
    ui.reconnect();
}

bool FtpSession::Disconnect()
{
    ui.setStatusText(StatusPane::Main, u"Disconnecting..."_qs);
    SetReplyState(ReplyState::Failed);
    CloseWinsock2();
    Quit();
    ui.setStatusText(StatusPane::Main, u"Disconnected"_qs);
    SetReplyState(ReplyState::Failed);
    CloseConnections();
    ui.unloadProgress();
    tmrNOOP.stop();
    endSession();
    return true;
}

bool FtpSession::AbortCommand()
{
    ui.setStatusText(StatusPane::Main, u"Aborting FTP command..."_qs);
    if (control.state() == SocketState::Connected) {
        SetReplyState(ReplyState::Abandoned);
        // A user who stops waiting for the ABOR's reply has given up the cut
        // command too: its own wait must not ask the same question again.
        if (!SendAndWait(u"ABOR"_qs))
            SetReplyState(ReplyState::Abandoned);
    }
    tmrNOOP.stop();
    ui.stopWindowTimers();
    return true;
}

bool FtpSession::PrintDir()
{
    return SendAndWait(u"PWD"_qs);
}

bool FtpSession::ChangeDir(const QString &folder)
{
    return SendAndWait(u"CWD "_qs + StripTrailingSlash(folder));
}

bool FtpSession::ChangeDirUp()
{
    return SendAndWait(u"CDUP"_qs);
}

bool FtpSession::MakeDir(const QString &name)
{
    return SendAndWait(u"MKD "_qs + StripTrailingSlash(name));
}

bool FtpSession::RemoveDir(const QString &name)
{
    return SendAndWait(u"RMD "_qs + StripTrailingSlash(name));
}

bool FtpSession::DeleteFile(const QString &name)
{
    return SendAndWait(u"DELE "_qs + name);
}

bool FtpSession::RenameFrom(const QString &name)
{
    renameFrom = StripTrailingSlash(name);
    return SendAndWait(u"RNFR "_qs + StripTrailingSlash(name));
}

bool FtpSession::SetType(const QString &type)
{
    return SendAndWait(u"TYPE "_qs + type);
}

void FtpSession::setKeepAliveInterval(int milliseconds)
{
    tmrNOOP.setInterval(milliseconds);
}

// Idle: no data connection, no command outstanding, no transfer dialog busy.
bool FtpSession::isIdle() const
{
    return data.state() == SocketState::Closed && replyState != ReplyState::Waiting && !ui.progressBusy();
}

void FtpSession::onKeepAliveTimer()
{
    if (control.state() == SocketState::Connected && isIdle())
        SendAndWait(u"NOOP"_qs);
}

} // namespace korvan
