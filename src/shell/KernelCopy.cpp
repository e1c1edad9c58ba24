#include "shell/KernelCopy.h"

#include <cerrno>
#include <csignal>
#include <ctime>
#include <pthread.h>
#include <sys/sendfile.h>
#include <unistd.h>

namespace korvan {

namespace {

// Keeps a SIGPIPE raised by a write to a closed connection from reaching the
// process: blocked for this thread while the write runs, taken back if the
// write raised it (unless one was pending already, which is not ours).
class SigpipeGuard {
public:
    SigpipeGuard()
    {
        sigemptyset(&pipeSignal);
        sigaddset(&pipeSignal, SIGPIPE);
        sigset_t pending;
        sigpending(&pending);
        pendingBefore = sigismember(&pending, SIGPIPE) == 1;
        pthread_sigmask(SIG_BLOCK, &pipeSignal, &previousMask);
    }
    ~SigpipeGuard()
    {
        if (raised && !pendingBefore) {
            const timespec noWait = {0, 0};
            while (sigtimedwait(&pipeSignal, nullptr, &noWait) < 0 && errno == EINTR) {}
        }
        pthread_sigmask(SIG_SETMASK, &previousMask, nullptr);
    }
    SigpipeGuard(const SigpipeGuard &) = delete;
    SigpipeGuard &operator=(const SigpipeGuard &) = delete;

    void noteRaised() { raised = true; }

private:
    sigset_t pipeSignal;
    sigset_t previousMask;
    bool pendingBefore = false;
    bool raised = false;
};

} // namespace

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

SendResult SendFileToSocket(int socket, int file, qint64 offset, qint64 count)
{
    SigpipeGuard guard;
    off_t position = off_t(offset);
    ssize_t sent = 0;
    do
        sent = ::sendfile(socket, file, &position, size_t(count));
    while (sent < 0 && errno == EINTR);
    if (sent > 0)
        return {qint64(sent), SendEnd::Sent, 0};
    if (sent == 0)
        return {0, SendEnd::FileEnded, 0};
    const int error = errno;
    switch (error) {
    case EAGAIN:
        return {0, SendEnd::WouldBlock, 0};
    case EINVAL:
    case ENOSYS:
    case EOPNOTSUPP:
        return {0, SendEnd::Refused, error};
    case EPIPE:
        guard.noteRaised();
        return {0, SendEnd::PeerClosed, error};
    case ECONNRESET:
        return {0, SendEnd::PeerClosed, error};
    default:
        return {0, SendEnd::Failed, error};
    }
}

} // namespace korvan
