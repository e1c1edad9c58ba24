// Parse speed and memory of cFTPList on generated 100,000-line UNIX and DOS listings.
// Each style runs in a child process of its own so that its peak memory is its own.
// Usage: bench_parse_listing [lines] [rounds]
// The last line is "parse_lines_per_second N", N for the slower style.
#include "ListingGenerator.h"
#include "korvan/cFTPList.h"

#include <QString>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>

namespace {

using korvan::bench::Generator;

long peakKiB()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

struct Result {
    double linesPerSecond = 0;
    qint32 entries = 0;
    long peakBeforeKiB = 0;
    long peakAfterKiB = 0;
};

Result measure(const QString &listing, int lines, int rounds)
{
    Result result;
    result.peakBeforeKiB = peakKiB();
    double best = 1e100;
    for (int round = 0; round < rounds; ++round) {
        korvan::cFTPList list;
        list.setFolder(u"/pub/"_qs);
        // A fresh, unshared copy, as the socket hands over its own text.
        QString text(listing.constData(), listing.size());
        const auto start = std::chrono::steady_clock::now();
        list.setFTPFileList(text);
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
        best = std::min(best, took.count());
        result.entries = list.FileNumb();
    }
    result.peakAfterKiB = peakKiB();
    result.linesPerSecond = lines / best;
    return result;
}

// Runs one style in a child process and reports its figures through a pipe.
Result runIsolated(const char *style, bool unix, int lines, int rounds)
{
    int channel[2];
    if (pipe(channel) != 0)
        std::exit(1);
    std::fflush(stdout);
    const pid_t child = fork();
    if (child == 0) {
        close(channel[0]);
        Generator generator(unix ? 1u : 2u);
        const QString listing = unix ? generator.unixListing(lines) : generator.dosListing(lines);
        const Result result = measure(listing, lines, rounds);
        if (write(channel[1], &result, sizeof result) != sizeof result)
            _exit(1);
        _exit(0);
    }
    close(channel[1]);
    Result result;
    if (read(channel[0], &result, sizeof result) != sizeof result) {
        std::fprintf(stderr, "%s: child failed\n", style);
        std::exit(1);
    }
    close(channel[0]);
    waitpid(child, nullptr, 0);

    const double perEntry = 1024.0 * double(result.peakAfterKiB - result.peakBeforeKiB) / std::max(1, result.entries);
    std::printf("%-5s %d lines, %d entries: %.0f lines/s; peak memory %ld KiB (%ld KiB before parsing), "
                "%.0f bytes per entry\n",
                style, lines, result.entries, result.linesPerSecond, result.peakAfterKiB, result.peakBeforeKiB, perEntry);
    return result;
}

} // namespace

int main(int argc, char *argv[])
{
    const int lines = argc > 1 ? std::atoi(argv[1]) : 100000;
    const int rounds = argc > 2 ? std::atoi(argv[2]) : 7;
    std::printf("best of %d rounds per style, one core\n", rounds);
    const Result unix = runIsolated("unix", true, lines, rounds);
    const Result dos = runIsolated("dos", false, lines, rounds);
    std::printf("parse_lines_per_second %.0f\n", std::min(unix.linesPerSecond, dos.linesPerSecond));
    return 0;
}
