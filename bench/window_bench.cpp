// The explorer window opening a folder of 100,000 entries on vsftpd (from the test
// fixture, on loopback), beside curl fetching the same LIST, alternately (warm-up,
// then A B A B ...). Each window run is a child process of its own, so its memory
// and its listing cache start empty. Measured per window run:
//   Enter to painted     Enter in the address box until the list view's first paint
//                        that shows every row sorted by name
//   LIST to painted      from the reply to PASV (LIST goes out right after it) to
//                        that paint
//   CPU to painted       the window process's user + system time over that span (its
//                        own work, less disturbed by a busy machine than wall time)
//   longest repaint gap  between two repaints of the window from Enter to that paint;
//                        a 16 ms ticker asks for a 1-pixel repaint all the while, so a
//                        gap means the event loop was blocked, not that nothing changed
//   re-sort by size      a click on the Size header until the view has painted it
//   memory per entry     VmRSS after the list shows minus VmRSS of the logged-off idle
//                        window, over the entry count
//   longest scroll frame the Details view scrolled a page at a time, top to bottom
// and per curl run: its LIST time (time_total - time_pretransfer: LIST sent to the
// end of the transfer), the listing's own transfer time.
//
// Usage: window_bench [entries] [runs] (as root: vsftpd logs on a system user).

#include "ListingGenerator.h"
#include "Median.h"
#include "ResidentMemory.h"
#include "explorer/AddressCombo.h"
#include "explorer/FileListModel.h"
#include "explorer/FileListView.h"
#include "explorer/LogPane.h"
#include "explorer/ShellIcons.h"
#include "explorer/fFTPMain.h"
#include "ftp/FtpSession.h"
#include "servers/FtpServer.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QHeaderView>
#include <QLineEdit>
#include <QProcess>
#include <QScrollBar>
#include <QTest>
#include <QTimer>
#include <QTreeView>

#include <malloc.h>
#include <sys/resource.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

using namespace korvan;

namespace {

const QString kFolder = u"big"_qs;

double NowMs()
{
    static QElapsedTimer clock;
    if (!clock.isValid())
        clock.start();
    return double(clock.nsecsElapsed()) / 1e6;
}

double CpuMs()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto ms = [](const timeval &t) { return double(t.tv_sec) * 1e3 + double(t.tv_usec) / 1e3; };
    return ms(usage.ru_utime) + ms(usage.ru_stime);
}

qint64 SettledRssKiB()
{
    malloc_trim(0);
    return bench::ResidentKiB();
}

// Notes when each paint of the window's widgets has finished, and the longest
// interval between two of them while armed.
class PaintClock : public QApplication {
public:
    using QApplication::QApplication;

    bool notify(QObject *receiver, QEvent *event) override
    {
        const QEvent::Type type = event->type();
        const bool result = QApplication::notify(receiver, event);
        if (type == QEvent::Paint && receiver->isWidgetType()) {
            const double now = NowMs();
            if (armed)
                longestGapMs = std::max(longestGapMs, now - lastPaintMs);
            lastPaintMs = now;
            if (receiver == watchedViewport && whenListPainted)
                whenListPainted(now);
        }
        return result;
    }

    void arm()
    {
        armed = true;
        lastPaintMs = NowMs();
        longestGapMs = 0;
    }
    void disarm() { armed = false; }

    QObject *watchedViewport = nullptr;
    std::function<void(double)> whenListPainted;
    double longestGapMs = 0;

private:
    bool armed = false;
    double lastPaintMs = 0;
};

struct WindowFigures {
    double enterMs = 0, listMs = 0, cpuMs = 0, gapMs = 0, resortMs = 0, bytesPerEntry = 0, frameMs = 0;
};

bool WaitFor(const std::function<bool()> &condition, int seconds = 120)
{
    QElapsedTimer clock;
    clock.start();
    while (!condition()) {
        if (clock.elapsed() > seconds * 1000)
            return false;
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 10);
    }
    return true;
}

int RunWindow(int argc, char *argv[])
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    PaintClock app(argc, argv);
    const int entries = std::atoi(argv[2]);
    FtpSettings settings;
    settings.sFTPServer = u"127.0.0.1"_qs;
    settings.nFTPPort = quint16(std::atoi(argv[3]));
    settings.sFTPUser = QString::fromLocal8Bit(argv[4]);
    settings.sFTPPassword = QString::fromLocal8Bit(argv[5]);
    settings.bPassive = true;
    settings.nFTPWaitTime = 60;

    fFTPMain window;
    window.resize(1000, 700);
    window.show();
    if (!QTest::qWaitForWindowExposed(&window))
        return 2;
    window.listView()->setViewStyle(FileListView::Details);
    // The MIME database loads on the first type asked for: in real use that is
    // the first (small) folder shown, long before a big one.
    ShellIcons::kindOfFile(u"warm-up.txt"_qs);
    QTest::qWait(200);
    const qint64 idleKiB = SettledRssKiB();
    if (!window.ConnectWith(settings))
        return 3;

    FileListModel &model = *window.listModel();
    QAbstractItemView *view = window.listView()->currentView();
    app.watchedViewport = view->viewport();
    double listSentMs = -1;
    // LIST follows the PASV reply at once (the data connection on loopback takes well
    // under a millisecond), so that reply marks the LIST's start; the log pane, which
    // writes its lines paced, would mark it late.
    QObject::connect(&window.session(), &FtpSession::replyStateChanged, [&](ReplyState state) {
        if (listSentMs < 0 && app.whenListPainted && state == ReplyState::Done
            && window.session().sLastCommand().startsWith(u"PASV"_qs))
            listSentMs = NowMs();
    });
    QTimer ticker;
    QObject::connect(&ticker, &QTimer::timeout, [&] { window.update(QRect(0, 0, 1, 1)); });
    ticker.start(16);

    WindowFigures f;
    double paintedMs = -1;
    app.whenListPainted = [&](double now) {
        if (paintedMs < 0 && model.rowCount() == entries && model.sortColumn() == 1)
            paintedMs = now;
    };
    QLineEdit *address = window.addressCombo()->lineEdit();
    address->setText(u'/' + kFolder);
    app.arm();
    const double enterMs = NowMs();
    const double enterCpuMs = CpuMs();
    QTest::keyClick(address, Qt::Key_Return);
    if (!WaitFor([&] { return paintedMs >= 0; }))
        return 4;
    f.cpuMs = CpuMs() - enterCpuMs;
    app.disarm();
    f.enterMs = paintedMs - enterMs;
    f.listMs = listSentMs < 0 ? -1 : paintedMs - listSentMs;
    f.gapMs = app.longestGapMs;
    ticker.stop();
    WaitFor([&] { return window.statusText().endsWith(u"FILES OR FOLDERS"_qs); });
    QTest::qWait(100);
    f.bytesPerEntry = 1024.0 * double(SettledRssKiB() - idleKiB) / entries;

    // One click on the Size header; the first view paint after it shows the new order.
    auto *details = qobject_cast<QTreeView *>(view);
    if (!details)
        return 5;
    QHeaderView *header = details->header();
    paintedMs = -1;
    app.whenListPainted = [&](double now) {
        if (paintedMs < 0 && model.sortColumn() == 2)
            paintedMs = now;
    };
    const double clickMs = NowMs();
    QTest::mouseClick(header->viewport(), Qt::LeftButton, {},
                      QPoint(header->sectionViewportPosition(1) + header->sectionSize(1) / 2, header->height() / 2));
    if (!WaitFor([&] { return paintedMs >= 0; }))
        return 6;
    f.resortMs = paintedMs - clickMs;
    app.whenListPainted = nullptr;

    QScrollBar *bar = view->verticalScrollBar();
    for (int value = 0; value <= bar->maximum(); value += std::max(1, bar->pageStep())) {
        const double before = NowMs();
        bar->setValue(value);
        view->viewport()->repaint();
        f.frameMs = std::max(f.frameMs, NowMs() - before);
    }
    std::printf("RUN %.3f %.3f %.3f %.3f %.3f %.1f %.3f\n", f.enterMs, f.listMs, f.cpuMs, f.gapMs, f.resortMs,
                f.bytesPerEntry, f.frameMs);
    return 0;
}

// ---- the parent: server, folder, alternation ----------------------------------

// A folder as a real archive has: mostly files, a tenth folders, a few links (to a
// sibling folder or file), names with blanks and non-Latin letters.
bool MakeFolder(const QString &path, int entries)
{
    QDir().mkpath(path);
    std::mt19937 random(7);
    const auto below = [&](int n) { return std::uniform_int_distribution<int>(0, n - 1)(random); };
    for (int i = 0; i < entries; ++i) {
        const QString name = bench::kStems[below(int(bench::kStems.size()))] + u'-' + QString::number(i)
                             + bench::kExtensions[below(int(bench::kExtensions.size()))];
        const int kind = below(100);
        const QString full = path + u'/' + name;
        if (kind == 0) {
            if (!QFile::link(below(2) ? u"folder-target"_qs : u"file-target.txt"_qs, full))
                return false;
        } else if (kind <= 10) {
            if (!QDir().mkdir(full))
                return false;
        } else {
            QFile file(full);
            if (!file.open(QIODevice::WriteOnly) || file.write(QByteArray(below(2000), 'k')) < 0)
                return false;
        }
    }
    return true;
}

bool RunWindowChild(const QString &self, const test::FtpServer &server, int entries, WindowFigures &f)
{
    QProcess child;
    child.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    child.start(self, {u"--window"_qs, QString::number(entries), QString::number(server.port()), server.user(),
                       server.password()});
    if (!child.waitForFinished(600000) || child.exitCode() != 0) {
        std::fprintf(stderr, "window run failed (exit %d)\n", child.exitCode());
        return false;
    }
    for (const QByteArray &line : child.readAllStandardOutput().split('\n')) {
        if (std::sscanf(line.constData(), "RUN %lf %lf %lf %lf %lf %lf %lf", &f.enterMs, &f.listMs, &f.cpuMs, &f.gapMs,
                        &f.resortMs, &f.bytesPerEntry, &f.frameMs)
            == 7)
            return true;
    }
    return false;
}

// curl's LIST of the same folder: from LIST sent to the end of the transfer, in ms.
double CurlListMs(const test::FtpServer &server, int entries)
{
    QProcess curl;
    curl.start(u"curl"_qs, {u"-s"_qs, u"-S"_qs, u"-o"_qs, u"/dev/null"_qs, u"-w"_qs,
                            u"%{time_pretransfer} %{time_total} %{size_download}"_qs,
                            u"ftp://"_qs + server.user() + u':' + server.password() + u"@127.0.0.1:"_qs
                                + QString::number(server.port()) + u'/' + kFolder + u'/'});
    double pretransfer = 0, total = 0, bytes = 0;
    if (!curl.waitForFinished(120000) || curl.exitCode() != 0
        || std::sscanf(curl.readAllStandardOutput().constData(), "%lf %lf %lf", &pretransfer, &total, &bytes) != 3
        || bytes < entries * 40.0)
        return -1;
    return 1000 * (total - pretransfer);
}

void PrintSpread(const char *what, const std::vector<double> &values, const char *unit)
{
    std::printf("%-40s median %8.1f %-5s (min %.1f, max %.1f)\n", what, bench::Median(values), unit,
                *std::min_element(values.begin(), values.end()), *std::max_element(values.begin(), values.end()));
}

std::string LoadAverage()
{
    QFile file(u"/proc/loadavg"_qs);
    return file.open(QIODevice::ReadOnly) ? file.readLine().trimmed().toStdString() : std::string("?");
}

} // namespace

int main(int argc, char *argv[])
{
    if (argc > 5 && std::string(argv[1]) == "--window")
        return RunWindow(argc, argv);
    QCoreApplication app(argc, argv);
    const int entries = argc > 1 ? std::atoi(argv[1]) : 100000;
    const int runs = argc > 2 ? std::atoi(argv[2]) : 5;
    test::FtpServer server(test::ServerKind::Vsftpd);
    QString error;
    if (!server.start(&error)) {
        std::fprintf(stderr, "window_bench: %s\n", qPrintable(error));
        return 1;
    }
    const QString folder = server.rootDir() + u'/' + kFolder;
    if (!MakeFolder(folder, entries)) {
        std::fprintf(stderr, "window_bench: cannot make %s\n", qPrintable(folder));
        return 1;
    }
    server.handOver();
    std::printf("%d entries on vsftpd, passive; load average before: %s\n", entries, LoadAverage().c_str());
    std::fflush(stdout);

    std::vector<WindowFigures> window;
    std::vector<double> curl;
    for (int round = 0; round <= runs; ++round) { // round 0 is the warm-up
        WindowFigures f;
        if (!RunWindowChild(app.applicationFilePath(), server, entries, f))
            return 1;
        const double curlMs = CurlListMs(server, entries);
        if (curlMs < 0) {
            std::fprintf(stderr, "window_bench: curl failed\n");
            return 1;
        }
        std::printf("%s LIST->painted %.0f ms (CPU %.0f ms), curl LIST %.0f ms, gap %.0f ms, re-sort %.0f ms, "
                    "%.0f B/entry, frame %.1f ms\n",
                    round == 0 ? "warm-up" : "run    ", f.listMs, f.cpuMs, curlMs, f.gapMs, f.resortMs, f.bytesPerEntry,
                    f.frameMs);
        std::fflush(stdout);
        if (round > 0) {
            window.push_back(f);
            curl.push_back(curlMs);
        }
    }
    if (window.empty())
        return 0;
    const auto column = [&](double WindowFigures::*field) {
        std::vector<double> values;
        for (const WindowFigures &f : window)
            values.push_back(f.*field);
        return values;
    };
    std::vector<double> ratios, beyond;
    for (size_t i = 0; i < window.size(); ++i) {
        ratios.push_back(window[i].listMs / curl[i]);
        beyond.push_back(window[i].listMs - curl[i]);
    }
    std::printf("%d runs after one warm-up, alternating window / curl; load average after: %s\n", runs,
                LoadAverage().c_str());
    PrintSpread("Enter to list painted", column(&WindowFigures::enterMs), "ms");
    PrintSpread("LIST to list painted", column(&WindowFigures::listMs), "ms");
    PrintSpread("window CPU, Enter to list painted", column(&WindowFigures::cpuMs), "ms");
    PrintSpread("curl LIST (its own transfer time)", curl, "ms");
    PrintSpread("window beyond curl, pairwise (<= 1000)", beyond, "ms");
    PrintSpread("window / curl, pairwise", ratios, "");
    PrintSpread("longest repaint gap while filling (<= 100)", column(&WindowFigures::gapMs), "ms");
    PrintSpread("re-sort by size until painted (< 500)", column(&WindowFigures::resortMs), "ms");
    PrintSpread("memory above idle per entry (< 600)", column(&WindowFigures::bytesPerEntry), "B");
    PrintSpread("longest scroll frame, Details (<= 50)", column(&WindowFigures::frameMs), "ms");
    return 0;
}
