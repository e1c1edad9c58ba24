// Control-connection bytes from a hostile server, fed through the session's line
// assembler and reply dispatcher: nothing may crash, and the buffer of bytes
// without a line end must stay bounded.

#include "ftp/FtpSession.h"

#include <QCoreApplication>

#include <cstdint>
#include <cstdlib>
#include <iterator>

namespace {

class NullUi : public korvan::SessionUi {
public:
    korvan::QuestionAnswer question(const QString &, const QString &, const QString &, const QString &) override
    {
        return korvan::QuestionAnswer::No;
    }
    QString inputBox(const QString &, const QString &, const QString &defaultText) override
    {
        return defaultText + "2";
    }
    void messageBox(const QString &) override {}
    void setStatusText(korvan::StatusPane, const QString &) override {}
    void logLine(korvan::LogColour, const QString &) override {}
    void progressSetCaption(const QString &) override {}
    void progressSetPrg1(double, double) override {}
    void progressSetPrg2(double, double) override {}
    bool progressCanceled() const override { return false; }
    bool progressBusy() const override { return false; }
    void unloadProgress() override {}
    void refreshCommandStates() override {}
    void setWaitControlsEnabled(bool) override {}
    bool showCurrentFolder() override { return true; }
    void reconnect() override {}
    void stopWindowTimers() override {}
    void unloadWindow() override {}
};

const char *const kLastCommands[] = {"PWD", "RNFR a", "RETR f", "LIST", "STOR f", "ABOR", "NOOP", "USER u"};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static int argc = 1;
    static char name[] = "fuzz_reply_stream";
    static char *argv[] = {name, nullptr};
    static QCoreApplication app(argc, argv);
    if (size == 0)
        return 0;

    NullUi ui;
    korvan::FtpSession session(ui);
    // The first byte picks the command the replies answer and the data mode.
    // Unconnected, the command goes nowhere; the session waits for its reply.
    session.BeginCommand(korvan::DataMode(data[0] / 16 % 4));
    session.SendCommand(QString::fromLatin1(kLastCommands[data[0] % std::size(kLastCommands)]));
    QByteArray stream(reinterpret_cast<const char *>(data + 1), qsizetype(size - 1));
    // A readable 227 would start a real connection; the address parser is fuzzed on its own.
    korvan::ParsePassiveReply(QString::fromLatin1(stream));
    stream.replace("227", "2x7");
    // Feed in two arrivals, split where the second byte says.
    const qsizetype cut = size > 1 ? qsizetype(data[1]) % (stream.size() + 1) : 0;
    session.ControlDataArrival(stream.left(cut));
    session.ControlDataArrival(stream.mid(cut));
    if (session.sRecvBuffer().size() > korvan::FtpSession::kMaxReplyLineBytes)
        std::abort();
    (void)session.listText();
    korvan::ParseTransferSize(QString::fromLatin1(stream));
    korvan::ParseFolderReply(QString::fromUtf8(stream));
    return 0;
}
