#include "servers/RawFtpClient.h"

#include "servers/FtpServer.h"

#include <QDeadlineTimer>
#include <QHostAddress>
#include <QRegularExpression>
#include <QTcpServer>

#include <memory>

namespace korvan::test {

RawFtpClient::RawFtpClient(int timeoutMs) : timeout(timeoutMs) {}

bool RawFtpClient::fail(const QString &error)
{
    lastErrorText = error;
    return false;
}

int RawFtpClient::replyCode(const QString &reply)
{
    if (reply.size() < 3)
        return 0;
    bool ok = false;
    const int code = reply.left(3).toInt(&ok);
    return ok ? code : 0;
}

bool RawFtpClient::connect(const QString &host, quint16 port)
{
    lastErrorText.clear();
    controlSocket.abort();
    controlSocket.connectToHost(host, port);
    if (!controlSocket.waitForConnected(timeout))
        return fail(QStringLiteral("cannot connect to %1:%2: %3").arg(host).arg(port).arg(controlSocket.errorString()));
    greetingText = readReply();
    return replyCode(greetingText) == 220
           || fail(QStringLiteral("greeting is not 220: \"%1\"").arg(greetingText.trimmed()));
}

bool RawFtpClient::connect(const FtpServer &server)
{
    return connect(server.host(), server.port());
}

bool RawFtpClient::readLine(QByteArray *line)
{
    const QDeadlineTimer deadline(timeout);
    while (!controlSocket.canReadLine()) {
        if (deadline.hasExpired())
            return fail(QStringLiteral("no reply within %1 ms").arg(timeout));
        if (!controlSocket.waitForReadyRead(static_cast<int>(qMax<qint64>(1, deadline.remainingTime())))
            && controlSocket.state() != QAbstractSocket::ConnectedState && !controlSocket.canReadLine())
            return fail(QStringLiteral("control connection closed: %1").arg(controlSocket.errorString()));
    }
    *line = controlSocket.readLine();
    return true;
}

// A reply ends with the line that starts with its code and a blank; lines of a
// multi-line reply start with "code-" or anything else.
QString RawFtpClient::readReply()
{
    QByteArray reply;
    QByteArray line;
    if (!readLine(&line))
        return {};
    reply += line;
    if (line.size() >= 4 && line.at(3) == '-') {
        const QByteArray last = line.left(3) + ' ';
        do {
            if (!readLine(&line))
                return {};
            reply += line;
        } while (!line.startsWith(last));
    }
    lastReplyText = QString::fromUtf8(reply);
    return lastReplyText;
}

QString RawFtpClient::command(const QString &line)
{
    lastErrorText.clear();
    controlSocket.write(line.toUtf8() + "\r\n");
    if (!controlSocket.waitForBytesWritten(timeout) && controlSocket.bytesToWrite() > 0) {
        fail(QStringLiteral("cannot send \"%1\": %2").arg(line, controlSocket.errorString()));
        return {};
    }
    return readReply();
}

bool RawFtpClient::login(const QString &user, const QString &password)
{
    const QString userReply = command(QStringLiteral("USER ") + user);
    if (replyCode(userReply) == 230)
        return true;
    if (replyCode(userReply) != 331)
        return fail(QStringLiteral("USER answered \"%1\"").arg(userReply.trimmed()));
    const QString passReply = command(QStringLiteral("PASS ") + password);
    return replyCode(passReply) == 230 || fail(QStringLiteral("PASS answered \"%1\"").arg(passReply.trimmed()));
}

bool RawFtpClient::login(const FtpServer &server)
{
    return login(server.user(), server.password());
}

bool RawFtpClient::openPassiveData(QTcpSocket *data)
{
    const QString reply = command(QStringLiteral("PASV"));
    // pure-ftpd's 227 lacks the final dot, and the parentheses are optional.
    static const QRegularExpression numbers(QStringLiteral("(\\d+),(\\d+),(\\d+),(\\d+),(\\d+),(\\d+)"));
    const QRegularExpressionMatch match = numbers.match(reply);
    if (replyCode(reply) != 227 || !match.hasMatch())
        return fail(QStringLiteral("PASV answered \"%1\"").arg(reply.trimmed()));
    const QString address =
        QStringList{match.captured(1), match.captured(2), match.captured(3), match.captured(4)}.join(QLatin1Char('.'));
    const quint16 port = static_cast<quint16>(match.captured(5).toUInt() * 256 + match.captured(6).toUInt());
    data->connectToHost(address, port);
    return data->waitForConnected(timeout)
           || fail(QStringLiteral("cannot open the passive data connection to %1:%2: %3")
                       .arg(address)
                       .arg(port)
                       .arg(data->errorString()));
}

QByteArray RawFtpClient::readUntilClosed(QTcpSocket *data)
{
    QByteArray bytes;
    const QDeadlineTimer deadline(timeout);
    while (data->state() == QAbstractSocket::ConnectedState && !deadline.hasExpired()) {
        data->waitForReadyRead(static_cast<int>(qMax<qint64>(1, deadline.remainingTime())));
        bytes += data->readAll();
    }
    bytes += data->readAll();
    if (data->state() == QAbstractSocket::ConnectedState)
        fail(QStringLiteral("the data connection stayed open longer than %1 ms").arg(timeout));
    return bytes;
}

QByteArray RawFtpClient::list(const QString &path, bool passive)
{
    lastErrorText.clear();
    const QString listCommand = path.isEmpty() ? QStringLiteral("LIST") : QStringLiteral("LIST ") + path;
    QTcpSocket passiveData;
    QTcpServer listener;
    if (passive) {
        if (!openPassiveData(&passiveData))
            return {};
    } else {
        // The server must be able to reach the address in PORT: the local end of
        // the control connection, never the "any" address.
        const QHostAddress local = controlSocket.localAddress();
        if (!listener.listen(local, 0)) {
            fail(QStringLiteral("cannot listen on %1: %2").arg(local.toString(), listener.errorString()));
            return {};
        }
        const quint32 ip = local.toIPv4Address();
        const quint16 port = listener.serverPort();
        const QString portCommand = QStringLiteral("PORT %1,%2,%3,%4,%5,%6")
                                        .arg(ip >> 24)
                                        .arg((ip >> 16) & 0xff)
                                        .arg((ip >> 8) & 0xff)
                                        .arg(ip & 0xff)
                                        .arg(port >> 8)
                                        .arg(port & 0xff);
        const QString portReply = command(portCommand);
        if (replyCode(portReply) != 200) {
            fail(QStringLiteral("PORT answered \"%1\"").arg(portReply.trimmed()));
            return {};
        }
    }
    const QString startReply = command(listCommand);
    // pyftpdlib answers 125 where the others send 150.
    if (replyCode(startReply) != 125 && replyCode(startReply) != 150) {
        fail(QStringLiteral("%1 answered \"%2\"").arg(listCommand, startReply.trimmed()));
        return {};
    }
    std::unique_ptr<QTcpSocket> activeData;
    QTcpSocket *data = &passiveData;
    if (!passive) {
        if (!listener.hasPendingConnections() && !listener.waitForNewConnection(timeout)) {
            fail(QStringLiteral("the server did not connect for the active data connection"));
            return {};
        }
        activeData.reset(listener.nextPendingConnection());
        data = activeData.get();
    }
    const QByteArray bytes = readUntilClosed(data);
    const QString dataError = lastErrorText;
    const QString endReply = readReply();
    if (!dataError.isEmpty())
        lastErrorText = dataError;
    else if (replyCode(endReply) != 226 && replyCode(endReply) != 250)
        fail(QStringLiteral("%1 ended with \"%2\"").arg(listCommand, endReply.trimmed()));
    return bytes;
}

void RawFtpClient::quit()
{
    if (controlSocket.state() == QAbstractSocket::ConnectedState) {
        command(QStringLiteral("QUIT"));
        controlSocket.disconnectFromHost();
    }
}

} // namespace korvan::test
