// The socket adapter against a peer in the same process: states by the old
// control's numbers, the events, and the peer-close rule.

#include "shell/SocketAdapter.h"

#include <QSignalSpy>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>

using namespace korvan;

Q_DECLARE_METATYPE(korvan::SocketState)

class SocketAdapterTest : public QObject {
    Q_OBJECT
private slots:
    void stateMapping_data();
    void stateMapping();
    void connectSendReceive();
    void peerCloseAfterBufferedData_data();
    void peerCloseAfterBufferedData();
    void handlerThatReadsNothing();
    void listenAcceptAndStopListening();
    void acceptConnectionAlreadyClosedByPeer();
    void refusedConnection();
    void anyAddressIsNoLocalIP();
    void closeDeliversLastSend();

private:
    QTcpSocket *acceptPeer(QTcpServer &server);
};

void SocketAdapterTest::stateMapping_data()
{
    QTest::addColumn<QAbstractSocket::SocketState>("qtState");
    QTest::addColumn<int>("number");
    QTest::newRow("unconnected") << QAbstractSocket::UnconnectedState << 0;
    QTest::newRow("bound") << QAbstractSocket::BoundState << 1;
    QTest::newRow("listening") << QAbstractSocket::ListeningState << 2;
    QTest::newRow("host lookup") << QAbstractSocket::HostLookupState << 4;
    QTest::newRow("connecting") << QAbstractSocket::ConnectingState << 6;
    QTest::newRow("connected") << QAbstractSocket::ConnectedState << 7;
    QTest::newRow("closing") << QAbstractSocket::ClosingState << 8;
}

void SocketAdapterTest::stateMapping()
{
    QFETCH(QAbstractSocket::SocketState, qtState);
    QFETCH(int, number);
    QCOMPARE(int(mapQtSocketState(qtState)), number);
}

QTcpSocket *SocketAdapterTest::acceptPeer(QTcpServer &server)
{
    if (!server.hasPendingConnections() && !server.waitForNewConnection(5000))
        return nullptr;
    return server.nextPendingConnection();
}

void SocketAdapterTest::connectSendReceive()
{
    QTcpServer server;
    QVERIFY(server.listen(QHostAddress::LocalHost));
    SocketAdapter adapter;
    QSignalSpy connected(&adapter, &SocketAdapter::connected);
    QSignalSpy arrival(&adapter, &SocketAdapter::dataArrival);
    QSignalSpy progress(&adapter, &SocketAdapter::sendProgress);
    QSignalSpy complete(&adapter, &SocketAdapter::sendComplete);

    adapter.connectToHost("127.0.0.1", server.serverPort());
    QVERIFY(adapter.state() != SocketState::Closed);
    QVERIFY(connected.wait(5000));
    QCOMPARE(adapter.state(), SocketState::Connected);
    QCOMPARE(adapter.remoteHostIP(), QString("127.0.0.1"));
    QCOMPARE(adapter.remotePort(), server.serverPort());
    QCOMPARE(adapter.localIP(), QString("127.0.0.1"));
    QTcpSocket *peer = acceptPeer(server);
    QVERIFY(peer);

    QVERIFY(adapter.send("hello"));
    QTRY_COMPARE(complete.size(), 1);
    QCOMPARE(progress.first().at(0).toLongLong(), 5);
    QCOMPARE(progress.first().at(1).toLongLong(), 0);
    QTRY_COMPARE(peer->bytesAvailable(), 5);
    QCOMPARE(peer->readAll(), QByteArray("hello"));

    peer->write("reply\r\n");
    QTRY_VERIFY(!arrival.isEmpty());
    QCOMPARE(arrival.first().at(0).toLongLong(), 7);
    QCOMPARE(adapter.readAll(), QByteArray("reply\r\n"));

    adapter.close();
    QCOMPARE(adapter.state(), SocketState::Closed);
    QVERIFY(!adapter.send("late"));
}

void SocketAdapterTest::peerCloseAfterBufferedData_data()
{
    QTest::addColumn<int>("size");
    QTest::newRow("one byte") << 1;
    QTest::newRow("4 MiB") << (4 << 20);
}

// The peer writes and closes at once; every byte must reach the handler before
// the adapter reports Closing.
void SocketAdapterTest::peerCloseAfterBufferedData()
{
    QFETCH(int, size);
    QTcpServer server;
    QVERIFY(server.listen(QHostAddress::LocalHost));
    SocketAdapter adapter;
    QByteArray received;
    bool closingSeenEarly = false;
    connect(&adapter, &SocketAdapter::dataArrival, this, [&](qint64 total) {
        closingSeenEarly = closingSeenEarly || adapter.state() == SocketState::Closing;
        QCOMPARE(total, adapter.bytesAvailable());
        received += adapter.readAll();
    });
    adapter.connectToHost("127.0.0.1", server.serverPort());
    QTcpSocket *peer = acceptPeer(server);
    QVERIFY(peer);
    QTRY_COMPARE(adapter.state(), SocketState::Connected);

    const QByteArray payload(size, 'p');
    peer->write(payload);
    peer->disconnectFromHost();
    QTRY_COMPARE(adapter.state(), SocketState::Closing);
    QVERIFY(!closingSeenEarly);
    QCOMPARE(received.size(), payload.size());
    QVERIFY(adapter.peerHasClosed());
    adapter.close();
    QCOMPARE(adapter.state(), SocketState::Closed);
}

void SocketAdapterTest::handlerThatReadsNothing()
{
    QTcpServer server;
    QVERIFY(server.listen(QHostAddress::LocalHost));
    SocketAdapter adapter;
    int calls = 0;
    connect(&adapter, &SocketAdapter::dataArrival, this, [&](qint64) { ++calls; });
    adapter.connectToHost("127.0.0.1", server.serverPort());
    QTcpSocket *peer = acceptPeer(server);
    QVERIFY(peer);
    peer->write("unread");
    peer->disconnectFromHost();
    QTRY_COMPARE(adapter.state(), SocketState::Closing);
    QVERIFY(calls >= 1);
    QVERIFY(calls < 10);
    QCOMPARE(adapter.readAll(), QByteArray("unread"));
}

void SocketAdapterTest::listenAcceptAndStopListening()
{
    SocketAdapter adapter;
    QVERIFY(adapter.listen(QHostAddress("127.0.0.1")));
    QCOMPARE(adapter.state(), SocketState::Listening);
    QCOMPARE(adapter.localIP(), QString("127.0.0.1"));
    const quint16 port = adapter.localPort();
    QVERIFY(port != 0);

    QSignalSpy requests(&adapter, &SocketAdapter::connectionRequest);
    QSignalSpy connected(&adapter, &SocketAdapter::connected);
    QTcpSocket peer;
    peer.connectToHost("127.0.0.1", port);
    QVERIFY(requests.wait(5000));
    QVERIFY(adapter.accept(requests.first().at(0).value<qintptr>()));
    QCOMPARE(adapter.state(), SocketState::Connected);
    QVERIFY(connected.isEmpty());
    QCOMPARE(adapter.remotePort(), peer.localPort());
    QVERIFY(!adapter.accept(requests.first().at(0).value<qintptr>()));

    QVERIFY(adapter.send("data"));
    QTRY_COMPARE(peer.bytesAvailable(), 4);

    // The listener is gone once a connection was accepted.
    QTcpSocket second;
    second.connectToHost("127.0.0.1", port);
    QVERIFY(!second.waitForConnected(2000));
}

void SocketAdapterTest::acceptConnectionAlreadyClosedByPeer()
{
    SocketAdapter adapter;
    QVERIFY(adapter.listen(QHostAddress("127.0.0.1")));
    QByteArray received;
    connect(&adapter, &SocketAdapter::dataArrival, this, [&](qint64) { received += adapter.readAll(); });
    QSignalSpy requests(&adapter, &SocketAdapter::connectionRequest);

    QTcpSocket peer;
    peer.connectToHost("127.0.0.1", adapter.localPort());
    QVERIFY(peer.waitForConnected(5000));
    peer.write("listing\r\n");
    peer.disconnectFromHost();
    QVERIFY(requests.wait(5000));
    // On loopback, the bytes and the close are at our end once the peer is closed.
    QVERIFY(peer.state() == QAbstractSocket::UnconnectedState || peer.waitForDisconnected(5000));
    QVERIFY(adapter.accept(requests.first().at(0).value<qintptr>()));
    QTRY_COMPARE(adapter.state(), SocketState::Closing);
    QCOMPARE(received, QByteArray("listing\r\n"));
}

void SocketAdapterTest::refusedConnection()
{
    quint16 freePort = 0;
    {
        QTcpServer probe;
        QVERIFY(probe.listen(QHostAddress::LocalHost));
        freePort = probe.serverPort();
    }
    SocketAdapter adapter;
    QSignalSpy errors(&adapter, &SocketAdapter::error);
    adapter.connectToHost("127.0.0.1", freePort);
    QVERIFY(errors.wait(5000));
    QCOMPARE(errors.first().at(0).toInt(), 10061);
    QVERIFY(!errors.first().at(1).toString().isEmpty());
    QCOMPARE(adapter.state(), SocketState::Error);
    adapter.close();
    QCOMPARE(adapter.state(), SocketState::Closed);
}

void SocketAdapterTest::anyAddressIsNoLocalIP()
{
    SocketAdapter adapter;
    QVERIFY(adapter.listen(QHostAddress::AnyIPv4));
    QVERIFY(adapter.localPort() != 0);
    QCOMPARE(adapter.localIP(), QString());
}

// A command sent just before closing (QUIT) still reaches the peer.
void SocketAdapterTest::closeDeliversLastSend()
{
    QTcpServer server;
    QVERIFY(server.listen(QHostAddress::LocalHost));
    SocketAdapter adapter;
    adapter.connectToHost("127.0.0.1", server.serverPort());
    QTcpSocket *peer = acceptPeer(server);
    QVERIFY(peer);
    QTRY_COMPARE(adapter.state(), SocketState::Connected);
    QVERIFY(adapter.send("QUIT\r\n"));
    adapter.close();
    QCOMPARE(adapter.state(), SocketState::Closed);
    QTRY_COMPARE(peer->bytesAvailable(), 6);
    QCOMPARE(peer->readAll(), QByteArray("QUIT\r\n"));
}

QTEST_GUILESS_MAIN(SocketAdapterTest)
#include "SocketAdapterTest.moc"
