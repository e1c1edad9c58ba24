#pragma once
// A TCP socket with the event model and state numbers the session engine was
// written against: one object that can connect, or listen and accept, and that
// reports connected / data arrival / send progress / send complete / connection
// request / error. A close by the peer is reported as Closing only after every
// byte still buffered has been handed out as a data-arrival event.
//
// With TLS set (setTls) the sockets it makes are TLS clients: an outgoing one
// starts its handshake once connected, an accepted one at once (in FTPS the
// client speaks first on both). Until the handshake is done the state reads
// Connecting; encrypted() then says the connection is usable.

#include <QAbstractSocket>
#include <QHash>
#include <QHostAddress>
#include <QObject>
#include <QPointer>
#include <QSslConfiguration>
#include <QSslError>

#include <memory>
#include <optional>
#include <vector>

class QFile;
class QSocketNotifier;
class QSslSocket;
class QTcpServer;
class QTcpSocket;

namespace korvan {

class SplicePipe;

// The engine compares socket states by these numbers; Qt's own numbers differ.
enum class SocketState : int {
    Closed = 0,
    Open = 1,
    Listening = 2,
    ConnectionPending = 3,
    Resolving = 4,
    Resolved = 5,
    Connecting = 6,
    Connected = 7,
    Closing = 8,
    Error = 9,
};

SocketState mapQtSocketState(QAbstractSocket::SocketState state);

// The error numbers users and logs know from the old socket control.
int socketErrorNumber(QAbstractSocket::SocketError error);

class SocketAdapter : public QObject {
    Q_OBJECT
public:
    // The most bytes taken from the system per data-arrival event.
    static constexpr qint64 kReadBufferBytes = 256 * 1024;
    // A file transfer moves its bytes in blocks of this size, through one buffer
    // that the connection keeps.
    static constexpr qint64 kTransferBlockBytes = 1024 * 1024;

    // File transfers on a plain TCP connection go straight between the file and
    // the socket's descriptor (splice, reads into the buffer, writes from it)
    // unless this is off; then, as always over TLS, through the socket object's
    // reads and writes.
    static void setKernelCopy(bool on);

    explicit SocketAdapter(QObject *parent = nullptr);
    ~SocketAdapter() override;

    SocketState state() const;

    void connectToHost(const QString &host, quint16 port);
    // Listens on a system-chosen port of the given local address.
    bool listen(const QHostAddress &address);
    // Takes over the connection announced by connectionRequest(requestId); like the
    // old control, accepting emits no connected().
    bool accept(qintptr requestId);
    void close();

    // TLS for the connections made or accepted from now on; nothing for plain ones.
    // Without handshakeAtOnce a connection starts plain until startTls().
    void setTls(const std::optional<QSslConfiguration> &configuration, const QString &peerName,
                bool handshakeAtOnce = true);
    // Turns the connected plain socket into a TLS client (after AUTH TLS).
    void startTls();
    bool isEncrypted() const;
    // The TLS session to resume on another connection; empty before the handshake.
    QByteArray tlsSessionTicket() const;
    QSslCertificate peerCertificate() const;
    // "TLSv1.3, TLS_AES_256_GCM_SHA384"
    QString tlsDescription() const;
    // Called from a tlsErrors() handler: the handshake goes on despite the errors.
    void ignoreTlsErrors();

    QString localIP() const;
    quint16 localPort() const;
    QHostAddress localAddress() const;
    QString remoteHostIP() const;
    // The peer has closed; buffered bytes may still be on their way to the handlers.
    bool peerHasClosed() const;
    quint16 remotePort() const;

    qint64 bytesAvailable() const;
    QByteArray readAll();
    bool send(const QByteArray &data);

    // Moves the bytes waiting now, at most maxBytes, into file at its position;
    // without a file they are read and dropped. The bytes read, or -1 when the
    // file took fewer than it was given.
    qint64 receiveInto(QFile *file, qint64 maxBytes);
    // Appends the bytes waiting now, at most maxBytes, to bytes; the number appended.
    qint64 appendTo(QByteArray &bytes, qint64 maxBytes);
    // Sends count bytes (at most kTransferBlockBytes) of the open file from
    // offset; sendProgress and sendComplete follow as after send(). False when
    // the file could not be read.
    bool sendFile(QFile &file, qint64 offset, qint64 count);

signals:
    void connected();
    void dataArrival(qint64 bytesTotal);
    void sendProgress(qint64 bytesSent, qint64 bytesRemaining);
    void sendComplete();
    void connectionRequest(qintptr requestId);
    void error(int number, const QString &description);
    // The peer has closed, after every byte it sent was delivered.
    void closedByPeer();
    // TLS: the handshake is done; the certificate did not verify; the server
    // sent a new session ticket.
    void encrypted();
    void tlsErrors(const QList<QSslError> &errors);
    void newSessionTicket();

private:
    void adoptSocket(QTcpSocket *socket);
    void beginTls(QSslSocket *socket);
    void onEncrypted();
    QSslSocket *tlsSocket() const;
    void dropSocket();
    void closeListener();
    void discard(QObject *object);
    void onReadyRead();
    void onBytesWritten(qint64 bytes);
    qint64 unsentBytes() const;
    void reportSendComplete();
    void onPeerClosed();
    void onSocketError(QAbstractSocket::SocketError socketError);
    void onNewConnection();
    void deliverBufferedData();
    bool kernelPathOpen() const;
    char *transferBuffer();
    qint64 readBlock(char *data, qint64 maxBytes);
    qint64 spliceInto(QFile &file, qint64 maxBytes);
    void watchWritable();
    void sendBufferedBlock();
    void endBufferedBlock();

    QTcpSocket *socket = nullptr;
    QTcpServer *listener = nullptr;
    QHash<qintptr, QPointer<QTcpSocket>> pendingRequests;
    // Handlers of our sockets' signals now running, and the sockets and listeners
    // closed meanwhile, which must live until those handlers have returned.
    int socketSignals = 0;
    std::vector<QPointer<QObject>> graveyard;
    bool peerClosed = false;
    bool failed = false;
    bool delivering = false;
    std::optional<QSslConfiguration> tlsConfiguration;
    QString tlsPeerName;
    bool tlsAtOnce = true;
    bool handshaking = false;
    bool sendOutstanding = false;

    QByteArray blockBuffer;
    // Downloads splice from the socket through this pipe into the file, unless
    // the file's system refused once.
    std::unique_ptr<SplicePipe> splicePipe;
    bool spliceRefused = false;
    // The upload block in the buffer: its size and how much of it has been sent,
    // on the duplicate descriptor whose notifier says when the socket can take
    // more (Qt's own notifier on the socket's descriptor stays Qt's).
    qint64 blockBytes = 0;
    qint64 blockSent = 0;
    int writableDescriptor = -1;
    QSocketNotifier *writable = nullptr;
};

} // namespace korvan
