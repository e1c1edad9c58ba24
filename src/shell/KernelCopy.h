#pragma once
// The bytes of a file transfer moved between a plain TCP socket's descriptor
// and a file or buffer, without the socket object's own buffers: splice from
// the socket into a file, reads from it into a buffer, writes to it from one.
// Sockets are non-blocking; nothing here waits.
//
// Uploads write from a buffer rather than sendfile: on loopback, pages handed
// over by sendfile made vsftpd's reads of them slower than copied ones, and a
// 1 GiB upload took about a third longer than curl's (median of 6 alternating).

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
    // Nothing waits in the pipe: the next transfer may use it.
    bool isEmpty() const { return held == 0; }

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
    qint64 held = 0; // bytes that went in and not out
};

// How a write to the socket ended besides the bytes it took.
enum class WriteEnd {
    Done,       // all bytes taken
    WouldBlock, // the socket's buffer is full: wait until it is writable
    PeerClosed, // the peer has closed or reset the connection
    Failed,
};

struct WriteResult {
    qint64 bytes = 0;
    WriteEnd end = WriteEnd::Done;
    int error = 0; // errno when Failed
};

// Writes as much of data as the socket takes now. A peer that has gone raises
// no SIGPIPE (which would end the host program).
WriteResult WriteSocket(int socket, const char *data, qint64 size);

} // namespace korvan
