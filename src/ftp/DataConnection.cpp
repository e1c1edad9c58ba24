// The data connection: PORT and PASV set-up, listings, downloads and uploads.

#include "ftp/FtpSession.h"

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

// PASV and PORT carry IPv4 addresses only: over an IPv6 control connection the
// extended forms EPSV and EPRT take their place.
bool FtpSession::controlIsIPv6() const
{
    const QHostAddress peer(control.remoteHostIP());
    bool mappedV4 = false;
    peer.toIPv4Address(&mappedV4);
    return peer.protocol() == QAbstractSocket::IPv6Protocol && !mappedV4;
}

bool FtpSession::OpenDataConnection()
{
    prepareDataTls();
    const bool ipv6 = controlIsIPv6();
    if (config.bPassive)
        return SendAndWait(ipv6 ? u"EPSV"_qs : u"PASV"_qs);
    if (!ipv6) {
        const QString argument = BuildPortArgument();
        return !argument.isEmpty() && SendAndWait(u"PORT "_qs + argument);
    }
    if (BuildPortArgument().isEmpty())
        return false;
    return SendAndWait(u"EPRT "_qs + FormatExtendedPortArgument(data.localIP(), true, data.localPort()));
}

bool FtpSession::ListFolder(const QString &command)
{
    return OpenDataConnection() && SendAndWait(command, DataMode::Listing);
}

TransferOutcome FtpSession::RetrieveFile(const QString &remotePath, const QString &localPath, qint64 size)
{
    return runTransfer(u"RETR "_qs + remotePath, DataMode::Download, {remotePath, localPath, size});
}

TransferOutcome FtpSession::StoreFile(const QString &localPath, const QString &remotePath, qint64 size)
{
    return runTransfer(u"STOR "_qs + remotePath, DataMode::Upload, {remotePath, localPath, size});
}

TransferOutcome FtpSession::runTransfer(const QString &command, DataMode mode, const TransferFile &file)
{
    // Refused before a data connection is opened for it.
    if (!commandIsSendable(command) || !OpenDataConnection())
        return {TransferResult::Failed, failure.reason()};
    nextFile = file;
    const bool ok = SendAndWait(command, mode);
    if (nextFile) { // the command never went out
        nextFile.reset();
        return {TransferResult::Failed, failure.reason()};
    }
    // An empty file sends no data, so nothing created the local file yet.
    if (ok && mode == DataMode::Download && transferState.result == TransferResult::Running && !transferFile.isOpen()
        && expectedBytes() == 0)
        openDownloadFile();
    return finishTransfer(ok);
}

// The one reset of the transfer's state: when its command goes out. RETR and
// STOR take the file RetrieveFile or StoreFile named; LIST has none.
void FtpSession::beginTransfer()
{
    transferFile.close();
    transferState = {};
    transferState.mode = dataMode;
    // A passive data connection is usually up before the command goes out.
    transferState.dataOpened = data.state() == SocketState::Connected || data.state() == SocketState::Closing;
    if (nextFile) {
        transferState.remotePath = nextFile->remotePath;
        transferState.localPath = nextFile->localPath;
        transferState.size = nextFile->size;
        nextFile.reset();
    }
    transferFile.setFileName(transferState.localPath);
}

void FtpSession::failTransfer(const QString &reason)
{
    if (transferState.result != TransferResult::Running)
        return;
    transferState.result = TransferResult::Failed;
    transferState.failureReason = reason;
}

// What the file should reach: for a download the listing's size or the size the
// server announced, whichever is larger.
qint64 FtpSession::expectedBytes() const
{
    return transferState.mode == DataMode::Download ? qMax(transferState.size, transferState.announcedSize)
                                                    : transferState.size;
}

qint64 FtpSession::movedBytes() const
{
    return transferState.mode == DataMode::Download ? transferState.bytesReceived : transferState.bytesSent;
}

// The one place that judges a file: given up, cancelled, failed on the way, or
// ended short of its size (never a successful file).
TransferOutcome FtpSession::finishTransfer(bool completed)
{
    transferFile.close();
    // The bars end where the file ended, whatever the last tick showed.
    if (movedBytes() != transferState.progressBytes)
        showProgress();
    transferState.uploadStartPending = false;
    if (!completed)
        failTransfer(failure.reason());
    if (movedBytes() < expectedBytes())
        failTransfer(u"the transfer ended after "_qs + QString::number(movedBytes()) + u" of "_qs
                     + QString::number(expectedBytes()) + u" bytes"_qs);
    if (transferState.result == TransferResult::Running)
        transferState.result = TransferResult::Succeeded;
    removeEmptyFailedDownload();
    return {transferState.result, transferState.failureReason};
}

QString FtpSession::transferFileName() const
{
    return QFileInfo(transferState.localPath).fileName();
}

// The first block of a file shows at once, then at most every 50 ms: a window
// repaints no faster, and a bar per block would cost more than the block.
void FtpSession::reportProgress()
{
    if (transferState.progressAt < 0 || monotonicSeconds() - transferState.progressAt >= kProgressIntervalSeconds)
        showProgress();
}

void FtpSession::showProgress()
{
    transferState.progressAt = monotonicSeconds();
    transferState.progressBytes = movedBytes();
    ui.progressSetPrg1(double(movedBytes()), -1);
    emit transferProgress(movedBytes(), expectedBytes());
}

bool FtpSession::fileTransferRunning() const
{
    const bool transferMode = dataMode == DataMode::Download || dataMode == DataMode::Upload;
    return transferMode && replyState == ReplyState::Waiting && transferState.result == TransferResult::Running;
}

void FtpSession::CancelTransfer()
{
    if (!fileTransferRunning())
        return;
    // Marked first: the abort's own reply completes the waiting transfer command,
    // and the mark is what makes it count as cancelled, not as done.
    transferState.result = TransferResult::Cancelled;
    CloseWinsock2();
    AbortCommand();
}

// ---- replies that concern the data connection -----------------------------------

void FtpSession::onPassiveReply(const QString &line)
{
    const std::optional<PassiveAddress> target = passiveTarget(line);
    // An unreadable address starts nothing: PASV then runs into the time-out question.
    if (!target)
        return;
    LogStatus(LogColour::Magenta, u"Connecting to "_qs + target->address + u':' + QString::number(target->port));
    CloseWinsock2();
    data.connectToHost(target->address, target->port);
    if (lastCommandIs(u"PASV"_qs) || lastCommandIs(u"EPSV"_qs))
        SetReplyState(ReplyState::Done);
}

// Where the data connection goes: always the control connection's peer. A 227
// naming another address is either a server behind NAT announcing its private
// address or a server sending us against a third host; both are served by the
// peer address on the announced port.
std::optional<PassiveAddress> FtpSession::passiveTarget(const QString &line)
{
    const QString peer = control.remoteHostIP();
    if (ReplyCode(line) == u"229") {
        const std::optional<quint16> port = ParseExtendedPassiveReply(line);
        return port ? std::optional<PassiveAddress>(PassiveAddress{peer, *port}) : std::nullopt;
    }
    std::optional<PassiveAddress> target = ParsePassiveReply(line);
    if (!target || peer.isEmpty()
        || QHostAddress(target->address).isEqual(QHostAddress(peer), QHostAddress::TolerantConversion))
        return target;
    LogStatus(LogColour::Magenta, u"The server named "_qs + target->address + u" for the data connection; using "_qs
                                      + peer + u", the server's own address, instead"_qs);
    target->address = peer;
    return target;
}

void FtpSession::onTransferStarting(const QString &line)
{
    if (dataMode == DataMode::Upload) {
        startUploadWhenConnected();
        return;
    }
    if (dataMode != DataMode::Download || !lastCommandIs(u"RETR"_qs))
        return;
    const qint64 size = ParseTransferSize(line);
    if (size < 0)
        return;
    transferState.announcedSize = size;
    ui.progressSetPrg1(-1, double(size));
}

// ---- data socket events -------------------------------------------------------------

void FtpSession::onDataConnected()
{
    LogStatus(LogColour::Magenta,
              u"Connected to "_qs + data.remoteHostIP() + u':' + QString::number(data.remotePort()));
    transferState.dataOpened = true;
    if (transferState.uploadStartPending)
        startUploadWhenConnected();
}

void FtpSession::onDataConnectionRequest(qintptr requestId)
{
    CloseWinsock2();
    data.accept(requestId);
    transferState.dataOpened = true;
    if (transferState.uploadStartPending)
        startUploadWhenConnected();
}

void FtpSession::onDataError(int number, const QString &description)
{
    LogStatus(LogColour::Red, QString::number(number) + u" : "_qs + description);
    noteFailure({}, description);
    CloseWinsock2();
    if (dataMode == DataMode::Upload || dataMode == DataMode::Download)
        failTransfer(description);
    SetReplyState(ReplyState::Failed);
}

void FtpSession::onDataArrival(qint64 bytesTotal)
{
    lastActivity = monotonicSeconds();
    if (dataMode == DataMode::Listing)
        receiveListing();
    else if (dataMode == DataMode::Download)
        writeDownloadData(bytesTotal);
}

bool FtpSession::openDownloadFile()
{
    // Made new in one call where it did not exist, as for nearly every download.
    transferState.fileCreated = transferFile.open(QIODevice::ReadWrite | QIODevice::Unbuffered | QIODevice::NewOnly);
    if (!transferState.fileCreated && !transferFile.open(QIODevice::ReadWrite | QIODevice::Unbuffered))
        return false;
    transferState.fileLengthAtOpen = transferState.fileCreated ? 0 : transferFile.size();
    return true;
}

// A download that failed before a byte reached its file leaves no empty file behind.
void FtpSession::removeEmptyFailedDownload()
{
    if (transferState.mode == DataMode::Download && transferState.result == TransferResult::Failed
        && transferState.fileCreated && QFileInfo(transferState.localPath).size() == 0)
        QFile::remove(transferState.localPath);
}

void FtpSession::receiveListing()
{
    if (transferState.listingCut)
        return;
    const qsizetype before = listBytes.size();
    data.appendTo(listBytes, kReceiveBytesPerArrival);
    transferState.listingLines += CountLineFeeds(QByteArrayView(listBytes).sliced(before));
    if (listBytes.size() > kMaxListingBytes || transferState.listingLines > kMaxListingLines)
        cutListing();
}

// A listing past the limits is kept up to its last whole line within them; the
// data connection is dropped and the listing ends there, shown as far as read.
void FtpSession::cutListing()
{
    transferState.listingCut = true;
    qsizetype end = 0;
    for (qint64 lines = 0; lines < kMaxListingLines; ++lines) {
        const qsizetype next = listBytes.indexOf('\n', end);
        if (next < 0 || next + 1 > kMaxListingBytes)
            break;
        end = next + 1;
    }
    listBytes.truncate(end);
    listBytes.squeeze();
    LogStatus(LogColour::Red, ListingCutText(kMaxListingBytes, kMaxListingLines));
    CloseWinsock2();
    noteTransferEndedEarly();
    SetReplyState(ReplyState::Done);
}

void FtpSession::writeDownloadData(qint64 bytesTotal)
{
    // Every block goes where the bytes received so far end, and the counter
    // follows the file's length: the length it had when opened (a file written
    // over) or the end of what was written, asked of no one per block.
    const bool fileReady = (transferFile.isOpen() || openDownloadFile())
                           && (transferFile.pos() == transferState.bytesReceived
                               || transferFile.seek(transferState.bytesReceived));
    const qint64 moved = data.receiveInto(fileReady ? &transferFile : nullptr, kReceiveBytesPerArrival);
    // The close of a refused transfer's data connection brings no bytes: no file.
    if (moved == 0)
        return;
    if (!fileReady || moved < 0) {
        const QString reason = DownloadWriteFailedText(transferFileName());
        failTransfer(reason);
        if (data.peerHasClosed() && bytesTotal != 0)
            LogStatus(LogColour::Red, reason);
        return;
    }
    transferState.bytesReceived = qMax(transferState.fileLengthAtOpen, transferFile.pos());
    reportProgress();
}

// ---- upload -------------------------------------------------------------------------

// The 1xx reply may come before our side of the data connection is up (active
// mode accepts it later); the first block waits for it.
void FtpSession::startUploadWhenConnected()
{
    if (data.state() != SocketState::Connected) {
        transferState.uploadStartPending = true;
        return;
    }
    transferState.uploadStartPending = false;
    sendNextBlock();
}

void FtpSession::sendNextBlock()
{
    const qint64 size = transferState.size;
    if (transferState.bytesSent == 0) {
        // An empty file sends nothing. The STOR then ends with the server's 226, not at
        // once: proftpd answers the next PORT with "450 data transfer in progress"
        // until it has finished the empty upload.
        if (size == 0) {
            CloseWinsock2();
            return;
        }
        ui.progressSetPrg1(0, double(size));
    }
    const qint64 block = qMin(size - transferState.bytesSent, kUploadBlockSize);
    // A file shorter than its size fails before its first block.
    if (!transferFile.isOpen() && (!transferFile.open(QIODevice::ReadOnly) || transferFile.size() < size)) {
        failUpload();
        return;
    }
    if (!data.sendFile(transferFile, transferState.bytesSent, block)) {
        failUpload();
        return;
    }
    emit uploadBlockSent(block);
}

void FtpSession::failUpload()
{
    const QString reason = UploadSendFailedText(transferFileName());
    failTransfer(reason);
    ui.messageBox(reason);
    // Closing makes the server end the STOR, so the wait ends with its reply.
    CloseWinsock2();
}

void FtpSession::onDataSendProgress(qint64 bytesSent, qint64)
{
    lastActivity = monotonicSeconds();
    if (dataMode != DataMode::Upload)
        return;
    transferState.bytesSent += bytesSent;
    reportProgress();
}

void FtpSession::onDataSendComplete()
{
    if (dataMode != DataMode::Upload)
        return;
    if (transferState.bytesSent < transferState.size)
        sendNextBlock();
    else
        CloseWinsock2();
}

} // namespace korvan
