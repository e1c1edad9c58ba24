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
