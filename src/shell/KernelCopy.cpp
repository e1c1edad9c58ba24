#include "shell/KernelCopy.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace korvan {

ReadResult ReadSocket(int socket, char *data, qint64 maxBytes)
{
    ReadResult result;
    while (result.bytes < maxBytes) {
        const ssize_t got = ::read(socket, data + result.bytes, size_t(maxBytes - result.bytes));
        if (got > 0) {
            result.bytes += got;
            continue;
        }
        if (got < 0 && errno == EINTR)
            continue;
        if (got == 0)
            result.end = ReadEnd::PeerClosed;
        else
            result.end = errno == EAGAIN || errno == EWOULDBLOCK ? ReadEnd::Drained : ReadEnd::Failed;
        return result;
    }
    result.end = ReadEnd::Full;
    return result;
}

SplicePipe::SplicePipe()
{
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0)
        return;
    readEnd = ends[0];
    writeEnd = ends[1];
    // A block at a time, where the system allows pipes that large.
    ::fcntl(writeEnd, F_SETPIPE_SZ, 1024 * 1024);
}

SplicePipe::~SplicePipe()
{
    if (readEnd >= 0)
        ::close(readEnd);
    if (writeEnd >= 0)
        ::close(writeEnd);
}

ReadResult SplicePipe::moveToFile(int socket, int file, qint64 offset, qint64 maxBytes, bool *refused)
{
    ReadResult result;
    while (result.bytes < maxBytes) {
        const ssize_t got = ::splice(socket, nullptr, writeEnd, nullptr, size_t(maxBytes - result.bytes),
                                     SPLICE_F_MOVE | SPLICE_F_NONBLOCK);
        if (got < 0 && errno == EINTR)
            continue;
        // An error of the socket is left for the socket's next read to report.
        if (got <= 0) {
            result.end = got == 0 ? ReadEnd::PeerClosed : ReadEnd::Drained;
            return result;
        }
        const qint64 drained = drainTo(file, offset + result.bytes, got, refused);
        held += got - drained;
        if (drained != got) {
            result.end = ReadEnd::Failed;
            return result;
        }
        if (*refused)
            return result;
        result.bytes += got;
    }
    result.end = ReadEnd::Full;
    return result;
}

qint64 SplicePipe::drainTo(int file, qint64 offset, qint64 bytes, bool *refused)
{
    qint64 moved = 0;
    while (moved < bytes) {
        loff_t position = loff_t(offset + moved);
        const ssize_t put = ::splice(readEnd, nullptr, file, &position, size_t(bytes - moved), SPLICE_F_MOVE);
        if (put < 0 && errno == EINTR)
            continue;
        if (put < 0 && (errno == EINVAL || errno == ENOSYS || errno == EOPNOTSUPP)) {
            *refused = true;
            return moved + copyTo(file, offset + moved, bytes - moved);
        }
        if (put <= 0)
            return moved;
        moved += put;
    }
    return moved;
}

// The bytes already in the pipe when the file refused a splice: read and written.
qint64 SplicePipe::copyTo(int file, qint64 offset, qint64 bytes)
{
    std::vector<char> chunk(size_t(qMin<qint64>(bytes, 64 * 1024)));
    qint64 moved = 0;
    while (moved < bytes) {
        const ssize_t got = ::read(readEnd, chunk.data(), qMin(chunk.size(), size_t(bytes - moved)));
        if (got <= 0 || ::pwrite(file, chunk.data(), size_t(got), off_t(offset + moved)) != got)
            return moved;
        moved += got;
    }
    return moved;
}

WriteResult WriteSocket(int socket, const char *data, qint64 size)
{
    WriteResult result;
    while (result.bytes < size) {
        const ssize_t sent = ::send(socket, data + result.bytes, size_t(size - result.bytes), MSG_NOSIGNAL);
        if (sent > 0) {
            result.bytes += sent;
            continue;
        }
        if (sent < 0 && errno == EINTR)
            continue;
        const int error = sent == 0 ? EAGAIN : errno;
        if (error == EAGAIN)
            result.end = WriteEnd::WouldBlock;
        else if (error == EPIPE || error == ECONNRESET)
            result.end = WriteEnd::PeerClosed;
        else
            result = {result.bytes, WriteEnd::Failed, error};
        return result;
    }
    return result;
}

} // namespace korvan
