// The file list with 100,000 entries: a generated UNIX listing parsed into a
// cFTPList and shown in the Details view offscreen. Measures the load (model reset,
// first sort by name, first paint), one re-sort by size, the memory above idle per
// entry (VmRSS), and the longest frame while scrolling from top to bottom a page at
// a time (the median frame beside it, as a loaded machine makes single frames
// late). Each run is a child process of its own, so its memory is its own; one
// warm-up run comes first.
//
// Usage: list_bench [entries] [runs]            medians with min and max
//        list_bench --screenshots DIR [entries]  the four view styles as PNGs

#include "ListingGenerator.h"
#include "Median.h"
#include "ResidentMemory.h"
#include "explorer/FileListModel.h"
#include "explorer/FileListView.h"
#include "explorer/ShellIcons.h"
#include "korvan/cFTPList.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QScrollBar>
#include <QTest>

#include <malloc.h>
#include <time.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

using namespace korvan;

namespace {

struct RunFigures {
    double loadSeconds = 0;
    double loadCpuSeconds = 0; // the thread's own CPU time: what a busy machine does not inflate
    double resortSeconds = 0;
    double resortCpuSeconds = 0;
    double listStyleSeconds = 0;
    double longestFrameMs = 0;
    double medianFrameMs = 0;
    double longestFrameCpuMs = 0;  // preemption on a busy machine lengthens frames, not this
    double bytesPerEntry = 0;      // listing and model and view, above the idle window
    double modelBytesPerEntry = 0; // model and view alone, above the parsed listing
};

// Memory that freed blocks still hold is given back, so RSS counts what is in use.
qint64 SettledRssKiB()
{
    malloc_trim(0);
    return bench::ResidentKiB();
}

double ThreadCpuSeconds()
{
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return double(now.tv_sec) + double(now.tv_nsec) / 1e9;
}

double SecondsOf(const std::function<void()> &work)
{
    QElapsedTimer timer;
    timer.start();
    work();
    return double(timer.nsecsElapsed()) / 1e9;
}

std::shared_ptr<cFTPList> GeneratedListing(int entries)
{
    auto list = std::make_shared<cFTPList>();
    list->setFolder(QStringLiteral("/pub/"));
    QString text = bench::Generator(1).unixListing(entries + 1); // the first line is "total"
    list->setFTPFileList(text);
    return list;
}

void PaintNow(FileListView &view)
{
    QCoreApplication::processEvents();
    view.currentView()->viewport()->repaint();
}

RunFigures MeasureOnce(int entries)
{
    FileListModel model;
    FileListView view;
    view.setModel(&model);
    view.setViewStyle(FileListView::Details);
    view.resize(1000, 700);
    view.show();
    if (!QTest::qWaitForWindowExposed(&view))
        std::exit(2);
    PaintNow(view);
    // The MIME database loads on the first type asked for: in the window that is
    // the first (small) folder shown, long before a big one.
    ShellIcons::kindOfFile(QStringLiteral("warm-up.txt"));
    const qint64 idleKiB = SettledRssKiB();

    const auto list = GeneratedListing(entries);
    const qint64 listKiB = SettledRssKiB();

    RunFigures figures;
    double cpuBefore = ThreadCpuSeconds();
    figures.loadSeconds = SecondsOf([&] {
        model.setListing(list);
        model.sortByColumn(1);
        PaintNow(view);
    });
    figures.loadCpuSeconds = ThreadCpuSeconds() - cpuBefore;
    const qint64 loadedKiB = SettledRssKiB();
    const double count = std::max(1, list->FileNumb());
    figures.bytesPerEntry = 1024.0 * double(loadedKiB - idleKiB) / count;
    figures.modelBytesPerEntry = 1024.0 * double(loadedKiB - listKiB) / count;

    cpuBefore = ThreadCpuSeconds();
    figures.resortSeconds = SecondsOf([&] {
        model.sortByColumn(2);
        PaintNow(view);
    });
    figures.resortCpuSeconds = ThreadCpuSeconds() - cpuBefore;

    QScrollBar *bar = view.currentView()->verticalScrollBar();
    std::vector<double> framesMs;
    for (int value = 0; value <= bar->maximum(); value += std::max(1, bar->pageStep())) {
        const double frameCpuBefore = ThreadCpuSeconds();
        framesMs.push_back(1000 * SecondsOf([&] {
                               bar->setValue(value);
                               view.currentView()->viewport()->repaint();
                           }));
        figures.longestFrameCpuMs = std::max(figures.longestFrameCpuMs, 1000 * (ThreadCpuSeconds() - frameCpuBefore));
    }
    std::sort(framesMs.begin(), framesMs.end());
    figures.longestFrameMs = framesMs.back();
    figures.medianFrameMs = framesMs[framesMs.size() / 2];

    figures.listStyleSeconds = SecondsOf([&] {
        view.setViewStyle(FileListView::List);
        PaintNow(view);
    });
    return figures;
}

void SaveStyles(const QString &dir, int entries)
{
    QDir().mkpath(dir);
    const auto list = GeneratedListing(entries);
    FileListModel model;
    model.setListing(list);
    model.sortByColumn(1);
    FileListView view;
    view.setModel(&model);
    view.resize(820, 420);
    view.show();
    if (!QTest::qWaitForWindowExposed(&view))
        std::exit(2);
    view.selectOnly(2);
    const char *names[] = {"list-large-icons", "list-small-icons", "list-list", "list-details"};
    for (int style = FileListView::LargeIcons; style <= FileListView::Details; ++style) {
        view.setViewStyle(style);
        PaintNow(view);
        const QString path = dir + u'/' + QString::fromLatin1(names[style]) + u".png"_qs;
        if (!view.grab().save(path))
            std::exit(3);
        std::printf("%s\n", qPrintable(path));
    }
}

int RunChild(int argc, char *argv[], int entries)
{
    qputenv("QT_QPA_PLATFORM", qgetenv("QT_QPA_PLATFORM").isEmpty() ? "offscreen" : qgetenv("QT_QPA_PLATFORM"));
    QApplication app(argc, argv);
    ShellIcons::ensureIconTheme();
    const RunFigures f = MeasureOnce(entries);
    std::printf("RUN %.6f %.6f %.6f %.6f %.6f %.3f %.3f %.3f %.1f %.1f\n", f.loadSeconds, f.loadCpuSeconds,
                f.resortSeconds, f.resortCpuSeconds, f.listStyleSeconds, f.longestFrameMs, f.longestFrameCpuMs,
                f.medianFrameMs, f.bytesPerEntry, f.modelBytesPerEntry);
    return 0;
}

bool RunInChild(const char *self, int entries, RunFigures &figures)
{
    const std::string command = std::string(self) + " --run " + std::to_string(entries);
    FILE *child = popen(command.c_str(), "r");
    if (!child)
        return false;
    char line[512];
    bool found = false;
    while (std::fgets(line, sizeof line, child)) {
        found = found
                || std::sscanf(line, "RUN %lf %lf %lf %lf %lf %lf %lf %lf %lf %lf", &figures.loadSeconds,
                               &figures.loadCpuSeconds, &figures.resortSeconds, &figures.resortCpuSeconds,
                               &figures.listStyleSeconds, &figures.longestFrameMs, &figures.longestFrameCpuMs,
                               &figures.medianFrameMs, &figures.bytesPerEntry, &figures.modelBytesPerEntry)
                       == 10;
    }
    return pclose(child) == 0 && found;
}

void PrintSpread(const char *what, std::vector<double> values, const char *unit, double scale)
{
    std::sort(values.begin(), values.end());
    std::printf("%-34s median %9.1f %s  (min %.1f, max %.1f)\n", what, bench::Median(values) * scale, unit,
                values.front() * scale, values.back() * scale);
}

} // namespace

int main(int argc, char *argv[])
{
    if (argc > 2 && std::string(argv[1]) == "--run")
        return RunChild(argc, argv, std::atoi(argv[2]));
    if (argc > 2 && std::string(argv[1]) == "--screenshots") {
        qputenv("QT_QPA_PLATFORM", qgetenv("QT_QPA_PLATFORM").isEmpty() ? "offscreen" : qgetenv("QT_QPA_PLATFORM"));
        QApplication app(argc, argv);
        SaveStyles(QString::fromLocal8Bit(argv[2]), argc > 3 ? std::atoi(argv[3]) : 60);
        return 0;
    }
    const int entries = argc > 1 ? std::atoi(argv[1]) : 100000;
    const int runs = argc > 2 ? std::atoi(argv[2]) : 5;

    RunFigures warmUp;
    if (!RunInChild(argv[0], entries, warmUp)) {
        std::fprintf(stderr, "list_bench: the measuring child failed\n");
        return 1;
    }
    std::vector<RunFigures> all(static_cast<size_t>(runs));
    for (RunFigures &figures : all) {
        if (!RunInChild(argv[0], entries, figures)) {
            std::fprintf(stderr, "list_bench: the measuring child failed\n");
            return 1;
        }
    }
    const auto column = [&](double RunFigures::*field) {
        std::vector<double> values;
        for (const RunFigures &figures : all)
            values.push_back(figures.*field);
        return values;
    };
    std::printf("%d entries, %d runs after one warm-up, Details view offscreen, one process per run\n", entries, runs);
    PrintSpread("load + sort by name + paint", column(&RunFigures::loadSeconds), "ms", 1000);
    PrintSpread("  of which CPU time", column(&RunFigures::loadCpuSeconds), "ms", 1000);
    PrintSpread("re-sort by size + paint", column(&RunFigures::resortSeconds), "ms", 1000);
    PrintSpread("  of which CPU time", column(&RunFigures::resortCpuSeconds), "ms", 1000);
    PrintSpread("longest scroll frame", column(&RunFigures::longestFrameMs), "ms", 1);
    PrintSpread("  longest frame in CPU time", column(&RunFigures::longestFrameCpuMs), "ms", 1);
    PrintSpread("median scroll frame", column(&RunFigures::medianFrameMs), "ms", 1);
    PrintSpread("switch to List view + paint", column(&RunFigures::listStyleSeconds), "ms", 1000);
    PrintSpread("memory per entry (listing + model)", column(&RunFigures::bytesPerEntry), "bytes", 1);
    PrintSpread("memory per entry (model + view)", column(&RunFigures::modelBytesPerEntry), "bytes", 1);
    return 0;
}
