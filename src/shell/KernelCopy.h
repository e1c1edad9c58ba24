#pragma once
// The bytes of a file transfer moved by the kernel between a plain TCP socket's
// descriptor and a file: reads straight from the socket into the caller's
// buffer, and sendfile from the file to the socket. Both descriptors are
// non-blocking sockets or regular files; nothing here waits.

#include <QtGlobal>

namespace korvan {

// What a read from the socket ended on besides the bytes it brought.
enum class ReadEnd {
    Drained, // the socket holds nothing more for now
    Full,    // the buffer is full, more may wait
    PeerClosed,
    Failed,
};

struct ReadResult {
    qint64 bytes = 0;
    ReadEnd end = ReadEnd::Drained;
};

// Reads into data until it holds maxBytes, the socket is drained, the peer has
// closed or an error comes.
ReadResult ReadSocket(int socket, char *data, qint64 maxBytes);

// A pipe for splice: socket to pipe moves the socket's pages without a copy.
class SplicePipe {
public:
    SplicePipe();
    ~SplicePipe();
    SplicePipe(const SplicePipe &) = delete;
    SplicePipe &operator=(const SplicePipe &) = delete;
    bool isOpen() const { return readEnd >= 0; }

    // Moves up to maxBytes from the socket into file at offset (the file's own
    // position stays). Failed means the file took fewer bytes than it was
    // given; refused is set when the file's system takes no splice (the bytes
    // on their way are then written the ordinary way).
    ReadResult moveToFile(int socket, int file, qint64 offset, qint64 maxBytes, bool *refused);

private:
    qint64 drainTo(int file, qint64 offset, qint64 bytes, bool *refused);
    qint64 copyTo(int file, qint64 offset, qint64 bytes);
    int readEnd = -1;
    int writeEnd = -1;
};

// What a sendfile call did: bytes handed to the socket (> 0), or why none were.
enum class SendEnd {
    Sent,
    WouldBlock, // the socket's buffer is full: wait until it is writable
    Refused,    // the kernel cannot send this file this way: use reads and writes
    FileEnded,  // the file holds fewer bytes than asked for
    PeerClosed, // the peer has closed or reset the connection
    Failed,
};

struct SendResult {
    qint64 bytes = 0;
    SendEnd end = SendEnd::Sent;
    int error = 0; // errno when Failed
};

// Sends up to count bytes of file from offset on the socket: one sendfile call.
// A peer that has gone raises no SIGPIPE (which would end the host program).
SendResult SendFileToSocket(int socket, int file, qint64 offset, qint64 count);

} // namespace korvan
