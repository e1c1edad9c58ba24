#include "TerminalUi.h"

#include "ftp/CertificateTrust.h"
#include "transfer/ProgressTick.h"

#include <csignal>
#include <cstdio>
#include <sys/ioctl.h>
#include <unistd.h>

namespace korvan::cli {

namespace {

volatile std::sig_atomic_t interruptCount = 0;

void onInterrupt(int)
{
    interruptCount = 1;
    static constexpr char note[] = "\nkorvan: cancelling after the current file (Ctrl-C again quits at once)\n";
    [[maybe_unused]] const auto written = ::write(STDERR_FILENO, note, sizeof note - 1);
}

bool stderrIsTerminal()
{
    return ::isatty(STDERR_FILENO) == 1;
}

const char *escapeFor(LogColour colour)
{
    switch (colour) {
    case LogColour::Blue:
        return "\033[34m";
    case LogColour::Red:
        return "\033[31m";
    case LogColour::Magenta:
        return "\033[35m";
    case LogColour::Black:
        break;
    }
    return "";
}

// The per-file messages of the transfer loops that a user must see without the
// log: failed files, skipped empty files and a cancelled batch.
bool isFileProblem(const QString &text)
{
    const bool transferMessage = text.startsWith(u"Downloading ") || text.startsWith(u"Uploading ");
    return transferMessage && !text.endsWith(u" is successful.");
}

// The progress line stays one character short of the terminal's width, so it never wraps.
int progressWidth()
{
    winsize size = {};
    const int columns = ::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 20 ? size.ws_col : 80;
    return columns - 1;
}
constexpr int kBarCells = 20;
constexpr int kRedrawMs = 200;

} // namespace

QString TerminalSafe(const QString &text)
{
    QString safe = text;
    for (QChar &c : safe) {
        if (c.unicode() < 0x20 || c.unicode() == 0x7f || (c.unicode() >= 0x80 && c.unicode() < 0xa0))
            c = u'?';
    }
    return safe;
}

TerminalUi::TerminalUi(bool showLog)
    : showLog(showLog), colour(stderrIsTerminal() && qEnvironmentVariableIsEmpty("NO_COLOR")),
      showProgress(stderrIsTerminal())
{
    redraw.setInterval(kRedrawMs);
    QObject::connect(&redraw, &QTimer::timeout, [this] { drawProgress(); });
}

TerminalUi::~TerminalUi()
{
    endProgress();
}

void TerminalUi::catchInterrupt()
{
    struct sigaction action = {};
    action.sa_handler = onInterrupt;
    action.sa_flags = SA_RESETHAND; // the second Ctrl-C gets the default: the end
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, nullptr);
}

bool TerminalUi::interrupted()
{
    return interruptCount != 0;
}

QuestionAnswer TerminalUi::question(const QString &title, const QString &text, const QString &, const QString &)
{
    // A certificate is for a person to judge: asked on a terminal, refused without one.
    if (title == kCertificateQuestionTitle)
        return askOnTerminal(text);
    // The time-out question ("Do you want to wait the server response ?") and the
    // log-on retry are both answered No: a script must never hang on a server.
    if (showLog)
        printLine(LogColour::Red, text.simplified() + u" -> No"_qs);
    return QuestionAnswer::No;
}

QuestionAnswer TerminalUi::askOnTerminal(const QString &text)
{
    if (::isatty(STDIN_FILENO) != 1 || ::isatty(STDERR_FILENO) != 1)
        return QuestionAnswer::No;
    clearProgressLine();
    // The certificate comes from the server: its text never reaches the terminal raw.
    for (const QString &line : text.split(u'\n'))
        std::fprintf(stderr, "%s\n", TerminalSafe(line).toUtf8().constData());
    std::fprintf(stderr, "[y/N] ");
    std::fflush(stderr);
    char answer[16] = {};
    if (!std::fgets(answer, sizeof answer, stdin))
        return QuestionAnswer::No;
    return answer[0] == 'y' || answer[0] == 'Y' ? QuestionAnswer::Yes : QuestionAnswer::No;
}

QString TerminalUi::inputBox(const QString &, const QString &, const QString &)
{
    return {};
}

void TerminalUi::messageBox(const QString &text)
{
    printLine(LogColour::Red, text.simplified());
}

void TerminalUi::setStatusText(StatusPane pane, const QString &text)
{
    // "Downloading 'a/b.txt'..." names the file the progress line shows. Cheap
    // tests only: a listing sets a status text for each of its entries.
    static constexpr QStringView kEnd = u"'...";
    if (pane != StatusPane::Main || !text.endsWith(kEnd))
        return;
    for (const QStringView verb : {QStringView(u"Downloading '"), QStringView(u"Uploading '")}) {
        if (text.startsWith(verb))
            currentFile = text.mid(verb.size(), text.size() - verb.size() - kEnd.size());
    }
}

void TerminalUi::logLine(LogColour lineColour, const QString &text)
{
    QString line = text;
    while (line.endsWith(u'\n') || line.endsWith(u'\r'))
        line.chop(1);
    if (showLog || isFileProblem(line))
        printLine(lineColour, line);
}

void TerminalUi::printLine(LogColour lineColour, const QString &text)
{
    clearProgressLine();
    const QByteArray bytes = TerminalSafe(text).toUtf8();
    const char *start = colour ? escapeFor(lineColour) : "";
    const char *end = colour && *start ? "\033[0m" : "";
    std::fprintf(stderr, "%s%s%s\n", start, bytes.constData(), end);
    std::fflush(stderr);
    if (progressShown || redraw.isActive())
        drawProgress();
}

void TerminalUi::progressSetCaption(const QString &text)
{
    caption = text;
    sinceCaption.start();
    if (showProgress && !redraw.isActive())
        redraw.start();
}

void TerminalUi::progressSetPrg1(double value, double maximum)
{
    if (value >= 0)
        fileValue = value;
    if (maximum >= 0)
        fileMaximum = maximum;
}

void TerminalUi::progressSetPrg2(double value, double maximum)
{
    // A new batch amount means the running file is counted in it now.
    if (value >= 0) {
        batchValue = value;
        fileValue = 0;
    }
    if (maximum >= 0)
        batchMaximum = maximum;
}

void TerminalUi::unloadProgress()
{
    endProgress();
}

void TerminalUi::endProgress()
{
    redraw.stop();
    clearProgressLine();
}

// "[#######.............]  35 % 12,345/34,567 KBytes  1,234.5 KBytes/second  00:00:09 remaining  a/b.txt"
// The tick's arithmetic over the whole batch: bytes of finished files plus the
// bytes of the running one, against the batch total.
QString TerminalUi::progressText() const
{
    const double done = qMin(batchValue + fileValue, batchMaximum);
    const double fraction = batchMaximum > 0 ? done / batchMaximum : 0;
    const int filled = int(fraction * kBarCells);
    QString line = u'[' + QString(filled, u'#') + QString(kBarCells - filled, u'.') + u"] "_qs;
    const ProgressSnapshot snapshot{done,   batchMaximum, done, batchMaximum, double(sinceCaption.elapsed()) / 1000,
                                    caption};
    if (const std::optional<ProgressTexts> tick = ComputeProgressTick(snapshot)) {
        const QStringList speedParts = tick->speedText.split(u"  "_qs);
        line += tick->windowCaption.section(u' ', 0, 1).rightJustified(5) + u' ' + tick->sizeText + u"  "_qs
                + speedParts.value(0) + u"  "_qs + speedParts.value(2) + u"  "_qs;
    }
    line += TerminalSafe(currentFile);
    const int width = progressWidth();
    if (line.size() > width)
        line = line.left(width - 3) + u"..."_qs;
    return line;
}

void TerminalUi::drawProgress()
{
    if (!showProgress || caption.isEmpty())
        return;
    std::fprintf(stderr, "\r\033[K%s", progressText().toUtf8().constData());
    std::fflush(stderr);
    progressShown = true;
}

void TerminalUi::clearProgressLine()
{
    if (!progressShown)
        return;
    std::fputs("\r\033[K", stderr);
    std::fflush(stderr);
    progressShown = false;
}

} // namespace korvan::cli
