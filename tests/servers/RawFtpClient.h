#pragma once

// A minimal blocking FTP client for tests that need an exchange with a real
// server without the session engine: one command, one whole reply. Every wait
// is bounded; on a time-out or a broken connection the call returns an empty
// reply (or false) and lastError() says what happened.

#include <QByteArray>
#include <QString>
#include <QTcpSocket>

namespace korvan::test {

class FtpServer;

class RawFtpClient {
public:
    // The default bound covers the slowest real answer: pure-ftpd sends its 530
    // for a wrong password after about 6 s.
    explicit RawFtpClient(int timeoutMs = 15000);

    // Connects and reads the greeting; true when it is a 220.
    bool connect(const QString &host, quint16 port);
    bool connect(const FtpServer &server);
    QString greeting() const { return greetingText; }

    // Sends one command line (CR LF added) and returns the whole reply, all lines
    // of a multi-line reply, with their CR LF. Empty on time-out or disconnect.
    QString command(const QString &line);
    // Reads one more reply without sending (e.g. the 226 after a transfer).
    QString readReply();

    // USER + PASS; true on 230.
    bool login(const QString &user, const QString &password);
    bool login(const FtpServer &server);

    // LIST over a passive (PASV) or active (PORT) data connection; returns the
    // bytes of the data connection. lastError() is empty on success, and
    // lastReply() holds the final reply of the transfer.
    QByteArray list(const QString &path = {}, bool passive = true);

    void quit();

    QString lastReply() const { return lastReplyText; }
    QString lastError() const { return lastErrorText; }

    // The three-digit code of a reply, or 0 when there is none.
    static int replyCode(const QString &reply);

private:
    bool readLine(QByteArray *line);
    bool openPassiveData(QTcpSocket *data);
    QByteArray readUntilClosed(QTcpSocket *data);
    bool fail(const QString &error);

    int timeout;
    QTcpSocket controlSocket;
    QString greetingText;
    QString lastReplyText;
    QString lastErrorText;
};

} // namespace korvan::test
