// The data connection: PORT and PASV set-up, listings, downloads and uploads.

#include "ftp/FtpSession.h"

#include "korvan/FtpSettings.h"
#include "shell/EventPump.h"

#include <QFileInfo>

namespace korvan {

QString FtpSession::BuildPortArgument()
{
    const SocketState state = data.state();
    // The server must reach the address we name: listen where the control
    // connection is, never on "any" (which would read 0.0.0.0).
    const QHostAddress controlAddress = control.localAddress();
    if (state != SocketState::Connected && state != SocketState::Listening && !controlAddress.isNull())
        data.listen(controlAddress);
    const QString localIP = data.localIP();
    if (localIP.isEmpty()) {
        ui.messageBox(u"Empty Winsock2.LocalIP"_qs);
        return {};
    }
    return FormatPortArgument(localIP, data.localPort());
}

void FtpSession::CloseWinsock2()
{
    data.close();
}

bool FtpSession::OpenDataConnection()
{
    if (ftpSettings().bPassive)
        return SendAndWait(u"PASV"_qs);
    const QString argument = BuildPortArgument();
    return !argument.isEmpty() && SendAndWait(u"PORT "_qs + argument);
}

bool FtpSession::ListFolder(const QString &command)
{
    sListText.clear();
    return OpenDataConnection() && SendAndWait(command, DataMode::Listing);
}

bool FtpSession::RetrieveFile(const QString &remotePath, const QString &localPath, qint64 size)
{
    beginTransfer(localPath, remotePath, size);
    const bool ok = OpenDataConnection() && SendAndWait(u"RETR "_qs + remotePath, DataMode::Download);
    // An empty file sends no data, so nothing created the local file yet.
    if (ok && nTransferResult == TransferResult::Running && !transferFile.isOpen()) {
        transferFile.setFileName(localPath);
        transferFile.open(QIODevice::WriteOnly);
    }
    endTransfer();
    if (!ok)
        nTransferResult = TransferResult::Failed;
    return ok && nTransferResult == TransferResult::Succeeded;
}

bool FtpSession::StoreFile(const QString &localPath, const QString &remotePath, qint64 size)
{
    beginTransfer(localPath, remotePath, size);
    const bool ok = OpenDataConnection() && SendAndWait(u"STOR "_qs + remotePath, DataMode::Upload);
    endTransfer();
    if (!ok)
        nTransferResult = TransferResult::Failed;
    return ok && nTransferResult == TransferResult::Succeeded;
}

void FtpSession::beginTransfer(const QString &localPath, const QString &remotePath, qint64 size)
{
    endTransfer();
    sTransferLocalPath = localPath;
    sTransferRemotePath = remotePath;
    nTransferSize = size;
    nBytesReceived = 0;
    nAnnouncedSize = -1;
    nBytesSent = 0;
    nTransferResult = TransferResult::Running;
    transferFile.setFileName(localPath);
}

void FtpSession::endTransfer()
{
    transferFile.close();
    uploadStartPending = false;
    if (nTransferResult == TransferResult::Running)
        nTransferResult = TransferResult::Succeeded;
}

QString FtpSession::transferFileName() const
{
    return QFileInfo(sTransferLocalPath).fileName();
}

// ---- replies that concern the data connection -----------------------------------

void FtpSession::onPassiveReply(const QString &line)
{
    const std::optional<PassiveAddress> target = ParsePassiveReply(line);
    // An unreadable address starts nothing: PASV then runs into the time-out question.
    if (!target)
        return;
    LogStatus(LogColour::Magenta, u"Connecting to "_qs + target->address + u':' + QString::number(target->port));
    CloseWinsock2();
    data.connectToHost(target->address, target->port);
    if (lastCommandIs(u"PASV"_qs))
        SetReplyState(ReplyState::Done);
}

void FtpSession::onTransferStarting(const QString &line)
{
    if (nDataMode == DataMode::Upload) {
        startUploadWhenConnected();
        return;
    }
    if (nDataMode != DataMode::Download || !lastCommandIs(u"RETR"_qs))
        return;
    const qint64 size = ParseTransferSize(line);
    if (size < 0)
        return;
    nAnnouncedSize = size;
    ui.progressSetPrg1(-1, double(size));
}

// ---- data socket events -------------------------------------------------------------

void FtpSession::onDataConnected()
{
    LogStatus(LogColour::Magenta,
              u"Connected to "_qs + data.remoteHostIP() + u':' + QString::number(data.remotePort()));
    if (uploadStartPending)
        startUploadWhenConnected();
}

void FtpSession::onDataConnectionRequest(qintptr requestId)
{
    CloseWinsock2();
    data.accept(requestId);
    if (uploadStartPending)
        startUploadWhenConnected();
}

void FtpSession::onDataError(int number, const QString &description)
{
    LogStatus(LogColour::Red, QString::number(number) + u" : "_qs + description);
    CloseWinsock2();
    if (nDataMode == DataMode::Upload || nDataMode == DataMode::Download)
        nTransferResult = TransferResult::Failed;
    SetReplyState(ReplyState::Failed);
}

void FtpSession::onDataArrival(qint64 bytesTotal)
{
    fLastActivity = monotonicSeconds();
    if (nDataMode == DataMode::Listing)
        sListText += data.readAll();
    else if (nDataMode == DataMode::Download)
        writeDownloadData(bytesTotal);
}

void FtpSession::writeDownloadData(qint64 bytesTotal)
{
    const QByteArray bytes = data.readAll();
    // The file stays open for the whole transfer; every block goes where the
    // bytes received so far end, and the counter follows the file's length.
    const bool written = (transferFile.isOpen() || transferFile.open(QIODevice::ReadWrite | QIODevice::Unbuffered))
                         && transferFile.seek(nBytesReceived) && transferFile.write(bytes) == bytes.size();
    if (!written) {
        nTransferResult = TransferResult::Failed;
        if (data.peerHasClosed() && bytesTotal != 0)
            LogStatus(LogColour::Red, DownloadWriteFailedText(transferFileName()));
        return;
    }
    nBytesReceived = transferFile.size();
    ui.progressSetPrg1(double(nBytesReceived), -1);
}

// ---- upload -------------------------------------------------------------------------

// The 1xx reply may come before our side of the data connection is up (active
// mode accepts it later); the first block waits for it.
void FtpSession::startUploadWhenConnected()
{
    if (data.state() != SocketState::Connected) {
        uploadStartPending = true;
        return;
    }
    uploadStartPending = false;
    sendNextBlock();
}

void FtpSession::sendNextBlock()
{
    if (nBytesSent == 0) {
        // An empty file sends nothing. The STOR then ends with the server's 226, not at
        // once: proftpd answers the next PORT with "450 data transfer in progress"
        // until it has finished the empty upload.
        if (nTransferSize == 0) {
            CloseWinsock2();
            return;
        }
        ui.progressSetPrg1(0, double(nTransferSize));
    }
    const qint64 block = qMin(nTransferSize - nBytesSent, kUploadBlockSize);
    if (!transferFile.isOpen() && !transferFile.open(QIODevice::ReadOnly)) {
        failUpload();
        return;
    }
    QByteArray bytes;
    if (transferFile.seek(nBytesSent))
        bytes = transferFile.read(block);
    if (bytes.size() != block || !data.send(bytes)) {
        failUpload();
        return;
    }
    emit uploadBlockSent(block);
}

void FtpSession::failUpload()
{
    nTransferResult = TransferResult::Failed;
    ui.messageBox(UploadSendFailedText(transferFileName()));
    // Closing makes the server end the STOR, so the wait ends with its reply.
    CloseWinsock2();
}

void FtpSession::onDataSendProgress(qint64 bytesSent, qint64)
{
    fLastActivity = monotonicSeconds();
    if (nDataMode != DataMode::Upload)
        return;
    nBytesSent += bytesSent;
    ui.progressSetPrg1(double(nBytesSent), -1);
}

void FtpSession::onDataSendComplete()
{
    if (nDataMode != DataMode::Upload)
        return;
    if (nBytesSent < nTransferSize)
        sendNextBlock();
    else
        CloseWinsock2();
}

} // namespace korvan
