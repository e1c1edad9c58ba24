#include "shell/SocketAdapter.h"

#include "shell/FreshPages.h"
#include "shell/KernelCopy.h"

#include <QFile>
#include <QSocketNotifier>
#include <QSslCipher>
#include <QSslSocket>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>

#include <cerrno>
#include <utility>
#include <sys/socket.h>
#include <unistd.h>

namespace korvan {

namespace {

// Accepted connections become TLS sockets when the adapter speaks TLS.
class Listener : public QTcpServer {
public:
    Listener(bool tls, QObject *parent) : QTcpServer(parent), makesTlsSockets(tls) {}

protected:
    void incomingConnection(qintptr descriptor) override
    {
        QTcpSocket *incoming = makesTlsSockets ? new QSslSocket(this) : new QTcpSocket(this);
        if (!incoming->setSocketDescriptor(descriptor)) {
            delete incoming;
            return;
        }
        addPendingConnection(incoming);
    }

private:
    bool makesTlsSockets;
};

// Our close of a TLS connection. A TLS 1.3 server sends session tickets on every
// connection; a socket closed with them unread makes the kernel send a reset,
// which throws away what the server had not read yet (vsftpd then answers an
// upload with "426 Failure reading network stream"). So Qt closes TLS on the
// socket (close_notify) while a duplicate of its descriptor keeps the connection:
// then our side ends with a FIN, and whatever the server still sends is read and
// dropped until it closes too.
class DrainingTlsClose : public QObject {
public:
    static void begin(QSslSocket *socket)
    {
        const int duplicate = ::dup(int(socket->socketDescriptor()));
        if (duplicate < 0) {
            socket->abort();
            socket->deleteLater();
            return;
        }
        auto *drain = new DrainingTlsClose(duplicate);
        socket->setParent(drain);
        connect(socket, &QSslSocket::disconnected, drain, &DrainingTlsClose::halfClose);
        socket->disconnectFromHost();
        if (socket->state() == QAbstractSocket::UnconnectedState)
            drain->halfClose();
    }

private:
    static constexpr int kDeadlineMs = 10000;

    explicit DrainingTlsClose(int descriptor) : fd(descriptor), readable(descriptor, QSocketNotifier::Read)
    {
        readable.setEnabled(false);
        connect(&readable, &QSocketNotifier::activated, this, &DrainingTlsClose::drain);
        deadline.setSingleShot(true);
        connect(&deadline, &QTimer::timeout, this, &DrainingTlsClose::finish);
        deadline.start(kDeadlineMs);
    }
    ~DrainingTlsClose() override { ::close(fd); }

    void halfClose()
    {
        if (readable.isEnabled())
            return;
        ::shutdown(fd, SHUT_WR);
        readable.setEnabled(true);
    }
    void drain()
    {
        char scratch[16384];
        for (;;) {
            const ssize_t got = ::read(fd, scratch, sizeof scratch);
            if (got > 0)
                continue;
            if (got < 0 && (errno == EAGAIN || errno == EWOULDBLOCK))
                return;
            finish(); // the server's close, or an error
            return;
        }
    }
    void finish()
    {
        readable.setEnabled(false);
        deleteLater();
    }

    int fd;
    QSocketNotifier readable;
    QTimer deadline;
};

// Counts a handler of a socket's signal for as long as it runs.
class SignalScope {
public:
    explicit SignalScope(int &depth) : depth(depth) { ++depth; }
    ~SignalScope() { --depth; }
    SignalScope(const SignalScope &) = delete;
    SignalScope &operator=(const SignalScope &) = delete;

private:
    int &depth;
};

// A handler of a socket's signal, counted in `running` while it runs: a socket
// closed by its own handler is deleted only after the handler has returned.
template <typename Handler> auto Counted(int &running, Handler handler)
{
    return [&running, handler](const auto &...arguments) {
        SignalScope scope(running);
        handler(arguments...);
    };
}

QString protocolName(QSsl::SslProtocol protocol)
{
    switch (protocol) {
    case QSsl::TlsV1_2:
        return QStringLiteral("TLSv1.2");
    case QSsl::TlsV1_3:
        return QStringLiteral("TLSv1.3");
    default:
        return QStringLiteral("TLS");
    }
}

bool kernelCopyOn = true;

} // namespace

SocketState mapQtSocketState(QAbstractSocket::SocketState state)
{
    switch (state) {
    case QAbstractSocket::UnconnectedState:
        return SocketState::Closed;
    case QAbstractSocket::HostLookupState:
        return SocketState::Resolving;
    case QAbstractSocket::ConnectingState:
        return SocketState::Connecting;
    case QAbstractSocket::ConnectedState:
        return SocketState::Connected;
    case QAbstractSocket::BoundState:
        return SocketState::Open;
    case QAbstractSocket::ListeningState:
        return SocketState::Listening;
    case QAbstractSocket::ClosingState:
        return SocketState::Closing;
    }
    return SocketState::Error;
}

int socketErrorNumber(QAbstractSocket::SocketError error)
{
    switch (error) {
    case QAbstractSocket::ConnectionRefusedError:
        return 10061;
    case QAbstractSocket::RemoteHostClosedError:
        return 10054;
    case QAbstractSocket::HostNotFoundError:
        return 11001;
    case QAbstractSocket::SocketAccessError:
        return 10013;
    case QAbstractSocket::SocketResourceError:
        return 10055;
    case QAbstractSocket::SocketTimeoutError:
        return 10060;
    case QAbstractSocket::NetworkError:
        return 10050;
    case QAbstractSocket::AddressInUseError:
        return 10048;
    case QAbstractSocket::SocketAddressNotAvailableError:
        return 10049;
    default:
        return 10000 + int(error);
    }
}

SocketAdapter::SocketAdapter(QObject *parent) : QObject(parent) {}

SocketAdapter::~SocketAdapter()
{
    close();
    qDeleteAll(pendingRequests);
    for (const QPointer<QObject> &dead : graveyard)
        delete dead;
}

// A closed socket or listener goes at once unless one of its signals is being
// handled: deleteLater() waits for an event loop to return, which a command-line
// run never does, so a batch of a thousand files piled a thousand sockets up and
// every pass of the event loop walked all their delete events again.
void SocketAdapter::discard(QObject *object)
{
    if (socketSignals > 0) {
        graveyard.emplace_back(object);
        return;
    }
    for (const QPointer<QObject> &dead : graveyard)
        delete dead;
    graveyard.clear();
    delete object;
}

SocketState SocketAdapter::state() const
{
    if (failed)
        return SocketState::Error;
    if (listener && listener->isListening())
        return SocketState::Listening;
    if (!socket)
        return SocketState::Closed;
    if (peerClosed)
        return delivering ? SocketState::Connected : SocketState::Closing;
    if (handshaking && socket->state() == QAbstractSocket::ConnectedState)
        return SocketState::Connecting;
    return mapQtSocketState(socket->state());
}

void SocketAdapter::connectToHost(const QString &host, quint16 port)
{
    close();
    if (!tlsConfiguration) {
        auto *fresh = new QTcpSocket(this);
        adoptSocket(fresh);
        fresh->connectToHost(host, port);
        return;
    }
    auto *fresh = new QSslSocket(this);
    adoptSocket(fresh);
    fresh->setSslConfiguration(*tlsConfiguration);
    if (!tlsAtOnce) {
        fresh->connectToHost(host, port);
        return;
    }
    beginTls(fresh);
    fresh->connectToHostEncrypted(host, port, tlsPeerName);
}

void SocketAdapter::setTls(const std::optional<QSslConfiguration> &configuration, const QString &peerName,
                           bool handshakeAtOnce)
{
    tlsConfiguration = configuration;
    tlsPeerName = peerName;
    tlsAtOnce = handshakeAtOnce;
}

void SocketAdapter::startTls()
{
    QSslSocket *tls = tlsSocket();
    if (!tls || tls->isEncrypted() || handshaking)
        return;
    beginTls(tls);
    tls->startClientEncryption();
}

void SocketAdapter::beginTls(QSslSocket *tls)
{
    tls->setPeerVerifyName(tlsPeerName);
    connect(tls, &QSslSocket::encrypted, this, [this] {
        SignalScope scope(socketSignals);
        onEncrypted();
    });
    connect(tls, &QSslSocket::sslErrors, this, [this](const QList<QSslError> &errors) {
        SignalScope scope(socketSignals);
        emit tlsErrors(errors);
    });
    connect(tls, &QSslSocket::newSessionTicketReceived, this, [this] {
        SignalScope scope(socketSignals);
        emit newSessionTicket();
    });
    connect(tls, &QSslSocket::encryptedBytesWritten, this, [this] {
        SignalScope scope(socketSignals);
        reportSendComplete();
    });
    handshaking = true;
}

void SocketAdapter::onEncrypted()
{
    handshaking = false;
    emit encrypted();
}

QSslSocket *SocketAdapter::tlsSocket() const
{
    return qobject_cast<QSslSocket *>(socket);
}

bool SocketAdapter::isEncrypted() const
{
    const QSslSocket *tls = tlsSocket();
    return tls && tls->isEncrypted();
}

QByteArray SocketAdapter::tlsSessionTicket() const
{
    const QSslSocket *tls = tlsSocket();
    return tls ? tls->sslConfiguration().sessionTicket() : QByteArray();
}

QSslCertificate SocketAdapter::peerCertificate() const
{
    const QSslSocket *tls = tlsSocket();
    return tls ? tls->peerCertificate() : QSslCertificate();
}

QString SocketAdapter::tlsDescription() const
{
    const QSslSocket *tls = tlsSocket();
    if (!tls || !tls->isEncrypted())
        return {};
    return protocolName(tls->sessionProtocol()) + u", "_qs + tls->sessionCipher().name();
}

void SocketAdapter::ignoreTlsErrors()
{
    if (QSslSocket *tls = tlsSocket())
        tls->ignoreSslErrors();
}

bool SocketAdapter::listen(const QHostAddress &address)
{
    close();
    listener = new Listener(tlsConfiguration.has_value(), this);
    connect(listener, &QTcpServer::newConnection, this, Counted(socketSignals, [this] { onNewConnection(); }));
    if (listener->listen(address, 0))
        return true;
    failed = true;
    emit error(socketErrorNumber(listener->serverError()), listener->errorString());
    return false;
}

bool SocketAdapter::accept(qintptr requestId)
{
    QPointer<QTcpSocket> incoming = pendingRequests.take(requestId);
    if (!incoming)
        return false;
    close();
    adoptSocket(incoming);
    if (auto *tls = qobject_cast<QSslSocket *>(incoming.data()); tls && tlsConfiguration && tlsAtOnce) {
        tls->setSslConfiguration(*tlsConfiguration);
        beginTls(tls);
        tls->startClientEncryption();
    }
    if (socket && socket->bytesAvailable() > 0)
        deliverBufferedData();
    if (socket && socket->state() != QAbstractSocket::ConnectedState)
        onPeerClosed();
    return true;
}

void SocketAdapter::close()
{
    closeListener();
    dropSocket();
    peerClosed = false;
    failed = false;
    handshaking = false;
    sendOutstanding = false;
}

void SocketAdapter::closeListener()
{
    if (!listener)
        return;
    listener->close();
    listener->disconnect(this);
    // Connections the system already accepted stay reachable by their request id.
    while (QTcpSocket *waiting = listener->nextPendingConnection())
        discard(waiting);
    discard(std::exchange(listener, nullptr));
}

void SocketAdapter::dropSocket()
{
    endBufferedBlock();
    delete writable;
    writable = nullptr;
    if (writableDescriptor >= 0)
        ::close(writableDescriptor);
    writableDescriptor = -1;
    // A pipe that a failed transfer left bytes in must not pass them to the next;
    // an empty one serves the next (a pipe per file of a 1,000-file tree costs).
    if (splicePipe && !splicePipe->isEmpty())
        splicePipe.reset();
    spliceRefused = false;
    if (!socket)
        return;
    QTcpSocket *old = socket;
    socket = nullptr;
    old->disconnect(this);
    auto *tls = qobject_cast<QSslSocket *>(old);
    if (tls && tls->isEncrypted() && !peerClosed && old->state() == QAbstractSocket::ConnectedState) {
        DrainingTlsClose::begin(tls);
        return;
    }
    // Whatever was handed to send() must still reach the peer (a last command).
    if (old->state() == QAbstractSocket::ConnectedState)
        old->flush();
    old->abort();
    discard(old);
}

void SocketAdapter::adoptSocket(QTcpSocket *fresh)
{
    socket = fresh;
    socket->setParent(this);
    socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    // Qt would otherwise pull everything the system holds (megabytes on loopback)
    // into memory before we see any of it.
    socket->setReadBufferSize(kReadBufferBytes);
    connect(socket, &QTcpSocket::connected, this, Counted(socketSignals, [this] { emit connected(); }));
    connect(socket, &QTcpSocket::readyRead, this, Counted(socketSignals, [this] { onReadyRead(); }));
    connect(socket, &QTcpSocket::bytesWritten, this,
            Counted(socketSignals, [this](qint64 bytes) { onBytesWritten(bytes); }));
    connect(socket, &QTcpSocket::disconnected, this, Counted(socketSignals, [this] { onPeerClosed(); }));
    connect(socket, &QTcpSocket::errorOccurred, this,
            Counted(socketSignals, [this](QAbstractSocket::SocketError socketError) { onSocketError(socketError); }));
}

QString SocketAdapter::localIP() const
{
    QHostAddress address = localAddress();
    bool mapped = false;
    const quint32 ipv4 = address.toIPv4Address(&mapped);
    if (mapped)
        address = QHostAddress(ipv4);
    // "Any" is no address a peer could connect to.
    const bool unusable = address.isNull() || address == QHostAddress::AnyIPv4 || address == QHostAddress::AnyIPv6
                          || address == QHostAddress::Any;
    return unusable ? QString() : address.toString();
}

bool SocketAdapter::peerHasClosed() const
{
    return peerClosed;
}

quint16 SocketAdapter::localPort() const
{
    if (listener && listener->isListening())
        return listener->serverPort();
    return socket ? socket->localPort() : 0;
}

QHostAddress SocketAdapter::localAddress() const
{
    if (listener && listener->isListening())
        return listener->serverAddress();
    return socket ? socket->localAddress() : QHostAddress();
}

QString SocketAdapter::remoteHostIP() const
{
    return socket ? socket->peerAddress().toString() : QString();
}

quint16 SocketAdapter::remotePort() const
{
    return socket ? socket->peerPort() : 0;
}

qint64 SocketAdapter::bytesAvailable() const
{
    return socket ? socket->bytesAvailable() : 0;
}

QByteArray SocketAdapter::readAll()
{
    return socket ? socket->readAll() : QByteArray();
}

bool SocketAdapter::send(const QByteArray &data)
{
    if (!socket || socket->state() != QAbstractSocket::ConnectedState || peerClosed)
        return false;
    sendOutstanding = true;
    if (socket->write(data) != data.size())
        return false;
    // On the wire now rather than on the event loop's next turn: a command per
    // turn saved, and the server has it sooner.
    socket->flush();
    return true;
}

void SocketAdapter::setKernelCopy(bool on)
{
    kernelCopyOn = on;
}

// Only a socket of Qt's plain TCP class: a subclass (TLS) must see every byte.
bool SocketAdapter::kernelPathOpen() const
{
    return kernelCopyOn && socket && socket->metaObject() == &QTcpSocket::staticMetaObject
           && socket->socketDescriptor() >= 0;
}

char *SocketAdapter::transferBuffer()
{
    if (blockBuffer.isEmpty())
        blockBuffer.resize(kTransferBlockBytes);
    return blockBuffer.data();
}

qint64 SocketAdapter::receiveInto(QFile *file, qint64 maxBytes)
{
    if (file && kernelPathOpen() && !spliceRefused)
        return spliceInto(*file, maxBytes);
    char *buffer = transferBuffer();
    qint64 moved = 0;
    while (socket && moved < maxBytes) {
        const qint64 wanted = qMin(kTransferBlockBytes, maxBytes - moved);
        const qint64 got = readBlock(buffer, wanted);
        if (got <= 0)
            break;
        moved += got;
        if (file && file->write(buffer, got) != got)
            return -1;
        if (got < wanted) // drained: the next arrival brings more
            break;
    }
    return moved;
}

// The new block is mapped before the bytes are copied over (a plain realloc
// would fault in its pages one at a time while copying).
namespace {

void grow(QByteArray &bytes, qsizetype capacity)
{
    QByteArray grown;
    grown.reserve(capacity);
    PopulateFreshPages(grown.data(), grown.capacity());
    grown.append(bytes);
    bytes.swap(grown);
}

} // namespace

qint64 SocketAdapter::appendTo(QByteArray &bytes, qint64 maxBytes)
{
    qint64 moved = 0;
    while (socket && moved < maxBytes) {
        const qint64 wanted = qMin(kTransferBlockBytes, maxBytes - moved);
        const qsizetype used = bytes.size();
        if (bytes.capacity() - used < wanted)
            grow(bytes, qMax(2 * bytes.capacity(), used + wanted));
        bytes.resize(used + wanted);
        const qint64 got = readBlock(bytes.data() + used, wanted);
        bytes.truncate(used + qMax<qint64>(0, got));
        if (got <= 0)
            break;
        moved += got;
        if (got < wanted)
            break;
    }
    return moved;
}

// What Qt holds first (written as usual), then socket to pipe to file: the
// socket's pages reach the file with one copy instead of two.
qint64 SocketAdapter::spliceInto(QFile &file, qint64 maxBytes)
{
    if (!splicePipe)
        splicePipe = std::make_unique<SplicePipe>();
    spliceRefused = !splicePipe->isOpen();
    if (spliceRefused)
        return receiveInto(&file, maxBytes);
    if (socket->readBufferSize() != 1)
        socket->setReadBufferSize(1);
    char *buffer = transferBuffer();
    const qint64 buffered = qMax<qint64>(0, socket->read(buffer, kTransferBlockBytes));
    if (buffered > 0 && file.write(buffer, buffered) != buffered)
        return -1;
    const ReadResult spliced = splicePipe->moveToFile(int(socket->socketDescriptor()), file.handle(), file.pos(),
                                                      maxBytes - buffered, &spliceRefused);
    if (spliced.bytes > 0 && !file.seek(file.pos() + spliced.bytes))
        return -1;
    return spliced.end == ReadEnd::Failed ? -1 : buffered + spliced.bytes;
}

// What Qt holds first, then straight from the descriptor. Qt then reads at most
// a byte per arrival itself; the end of the stream and errors are left for its
// next read to find, so the close is reported as it always is.
qint64 SocketAdapter::readBlock(char *data, qint64 maxBytes)
{
    const qint64 buffered = qMax<qint64>(0, socket->read(data, maxBytes));
    if (!kernelPathOpen())
        return buffered;
    if (socket->readBufferSize() != 1)
        socket->setReadBufferSize(1);
    return buffered + ReadSocket(int(socket->socketDescriptor()), data + buffered, maxBytes - buffered).bytes;
}

bool SocketAdapter::sendFile(QFile &file, qint64 offset, qint64 count)
{
    if (!socket || socket->state() != QAbstractSocket::ConnectedState || peerClosed || count > kTransferBlockBytes)
        return false;
    char *buffer = transferBuffer();
    if (!file.seek(offset) || file.read(buffer, count) != count)
        return false;
    if (!kernelPathOpen()) {
        sendOutstanding = true;
        return socket->write(buffer, count) == count;
    }
    blockBytes = count;
    blockSent = 0;
    watchWritable();
    return true;
}

// Sending starts from the event loop, as Qt's own writes do, so that the signals
// of one block never nest inside the call for the next.
void SocketAdapter::watchWritable()
{
    if (!writable) {
        writableDescriptor = ::dup(int(socket->socketDescriptor()));
        writable = new QSocketNotifier(writableDescriptor, QSocketNotifier::Write, this);
        connect(writable, &QSocketNotifier::activated, this, &SocketAdapter::sendBufferedBlock);
    }
    writable->setEnabled(true);
}

void SocketAdapter::sendBufferedBlock()
{
    if (!socket || blockSent >= blockBytes) {
        endBufferedBlock();
        return;
    }
    const WriteResult result = WriteSocket(writableDescriptor, blockBuffer.constData() + blockSent,
                                           blockBytes - blockSent);
    blockSent += result.bytes;
    const qint64 remaining = blockBytes - blockSent;
    if (remaining == 0 || result.end != WriteEnd::WouldBlock)
        endBufferedBlock();
    if (result.bytes > 0)
        emit sendProgress(result.bytes, remaining);
    if (!socket)
        return;
    if (result.end == WriteEnd::PeerClosed) {
        onPeerClosed();
    } else if (result.end == WriteEnd::Failed) {
        failed = true;
        emit error(socketErrorNumber(QAbstractSocket::NetworkError), qt_error_string(result.error));
    } else if (remaining == 0) {
        emit sendComplete();
    }
}

void SocketAdapter::endBufferedBlock()
{
    blockBytes = blockSent = 0;
    if (writable)
        writable->setEnabled(false);
}

void SocketAdapter::onReadyRead()
{
    deliverBufferedData();
}

// Handlers may leave bytes unread or run a nested event loop (a dialog), during
// which Qt does not signal the same socket again; so keep delivering here until
// the buffer is drained or stops shrinking.
void SocketAdapter::deliverBufferedData()
{
    if (delivering)
        return;
    delivering = true;
    QPointer<QTcpSocket> current = socket;
    qint64 previous = -1;
    while (current && current == socket) {
        const qint64 pending = current->bytesAvailable();
        if (pending <= 0 || pending == previous)
            break;
        previous = pending;
        emit dataArrival(pending);
    }
    delivering = false;
}

// A TLS socket reports plain bytes as written once they are encrypted into its
// own buffer; the encrypted bytes still queued there count as unsent, or an upload
// would pile the whole file up in memory ahead of the network.
qint64 SocketAdapter::unsentBytes() const
{
    const QSslSocket *tls = tlsSocket();
    return socket->bytesToWrite() + (tls ? tls->encryptedBytesToWrite() : 0);
}

void SocketAdapter::onBytesWritten(qint64 bytes)
{
    if (!socket)
        return;
    emit sendProgress(bytes, unsentBytes());
    reportSendComplete();
}

// Once per send(), when everything it was given has reached the system.
void SocketAdapter::reportSendComplete()
{
    if (!socket || !sendOutstanding || unsentBytes() != 0)
        return;
    sendOutstanding = false;
    emit sendComplete();
}

void SocketAdapter::onPeerClosed()
{
    if (peerClosed)
        return;
    peerClosed = true;
    deliverBufferedData();
    emit closedByPeer();
}

void SocketAdapter::onSocketError(QAbstractSocket::SocketError socketError)
{
    // The peer closing the connection is the normal end of a transfer, not an error.
    if (socketError == QAbstractSocket::RemoteHostClosedError) {
        onPeerClosed();
        return;
    }
    if (!socket)
        return;
    failed = true;
    emit error(socketErrorNumber(socketError), socket->errorString());
}

void SocketAdapter::onNewConnection()
{
    while (listener && listener->hasPendingConnections()) {
        QTcpSocket *incoming = listener->nextPendingConnection();
        incoming->setParent(this);
        const qintptr id = incoming->socketDescriptor();
        pendingRequests.insert(id, incoming);
        emit connectionRequest(id);
    }
}

} // namespace korvan
