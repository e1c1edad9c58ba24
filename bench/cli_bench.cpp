// The korvan program beside lftp and curl, each against the same vsftpd (from the
// test fixture, on loopback) in the same run, passive mode, best of a few rounds:
//   many    1,000 files of 4 KiB in 10 folders: korvan get / put versus
//           lftp mirror / mirror -R (files per second, ratio korvan/lftp; target >= 1)
//   listing a folder of 100,000 entries: korvan ls versus curl fetching the same
//           LIST (seconds, ratio korvan/curl; target <= 1.5)
//   big     a 1 GiB file: korvan get / put versus curl (MB/s, ratio korvan/curl;
//           target >= 0.9)
// Usage: cli_bench [many|listing|big]... (all three when none is named). Needs
// root (vsftpd logs on a system user), lftp and curl. `cli_bench serve` only
// starts the server, prints its URL and root and serves until standard input
// closes (for profiling by hand).

#include "servers/FtpServer.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <cstdio>
#include <functional>

using namespace korvan::test;

namespace {

constexpr int kRounds = 3;
constexpr int kManyFolders = 10;
constexpr int kManyFilesPerFolder = 100;
constexpr qint64 kSmallFileSize = 4096;
constexpr int kListingEntries = 100000;
constexpr qint64 kBigFileSize = qint64(1) << 30;

QString korvanProgram()
{
    return QCoreApplication::applicationDirPath() + u"/../app/korvan"_qs;
}

// Runs a program to its end; its time in seconds, or a negative number when it failed.
double timedRun(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.setStandardOutputFile(QProcess::nullDevice());
    QElapsedTimer clock;
    clock.start();
    process.start(program, arguments);
    const bool finished = process.waitForFinished(-1);
    const double seconds = double(clock.nsecsElapsed()) / 1e9;
    if (!finished || process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0) {
        std::fprintf(stderr, "%s failed (exit %d): %s\n", qPrintable(program), process.exitCode(),
                     process.readAllStandardError().right(2000).constData());
        return -1;
    }
    return seconds;
}

// The best (shortest) time of kRounds runs; `prepare` runs before each, untimed.
double bestOf(const std::function<double()> &run, const std::function<void()> &prepare = {})
{
    double best = -1;
    for (int round = 0; round < kRounds; ++round) {
        if (prepare)
            prepare();
        const double seconds = run();
        if (seconds < 0)
            return -1;
        if (best < 0 || seconds < best)
            best = seconds;
    }
    return best;
}

bool writeFile(const QString &path, qint64 size)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    QByteArray block(qMin<qint64>(size, 1 << 20), 'k');
    for (qint64 done = 0; done < size; done += block.size()) {
        if (file.write(block.constData(), qMin<qint64>(block.size(), size - done)) < 0)
            return false;
    }
    return true;
}

void resetFolder(const QString &path)
{
    QDir(path).removeRecursively();
    QDir().mkpath(path);
}

class Bench {
public:
    explicit Bench(FtpServer &server) : server(server) {}

    QString url(const QString &path) const
    {
        return u"ftp://"_qs + server.user() + u':' + server.password() + u"@127.0.0.1:"_qs
               + QString::number(server.port()) + u'/' + path;
    }
    double korvan(const QStringList &arguments) const { return timedRun(korvanProgram(), arguments); }
    double lftp(const QString &commands) const
    {
        return timedRun(u"lftp"_qs,
                        {u"-u"_qs, server.user() + u',' + server.password(), u"-p"_qs, QString::number(server.port()),
                         u"-e"_qs, u"set ftp:ssl-allow no; set ftp:passive-mode on; "_qs + commands + u"; quit"_qs,
                         u"127.0.0.1"_qs});
    }
    double curl(const QStringList &arguments) const
    {
        return timedRun(u"curl"_qs, QStringList{u"-s"_qs, u"-S"_qs} + arguments);
    }
    QString root() const { return server.rootDir(); }
    void handOver(const QString &path) { server.handOver(path); }

private:
    FtpServer &server;
};

void printRatio(const char *what, double korvanValue, double peerValue, const char *unit, double ratio,
                const char *target)
{
    std::printf("%-34s korvan %10.2f %-6s peer %10.2f %-6s ratio %.2f (target %s)\n", what, korvanValue, unit,
                peerValue, unit, ratio, target);
    std::fflush(stdout);
}

void benchMany(Bench &bench, QTemporaryDir &local)
{
    const QString source = bench.root() + u"/many"_qs;
    for (int folder = 0; folder < kManyFolders; ++folder) {
        QDir().mkpath(source + u"/d"_qs + QString::number(folder));
        for (int file = 0; file < kManyFilesPerFolder; ++file)
            writeFile(source + u"/d"_qs + QString::number(folder) + u"/f"_qs + QString::number(file), kSmallFileSize);
    }
    bench.handOver(source);
    const int files = kManyFolders * kManyFilesPerFolder;
    const QString down = local.filePath(u"many-down"_qs);
    const double korvanGet = bestOf(
        [&] {
            return bench.korvan({u"get"_qs, bench.url(u"many"_qs), down});
        },
        [&] { resetFolder(down); });
    const double lftpGet = bestOf([&] { return bench.lftp(u"mirror many "_qs + down + u"/many"_qs); },
                                  [&] { resetFolder(down); });
    // Up from a local copy, into a fresh remote folder each round.
    const QString up = bench.root() + u"/up"_qs;
    const auto freshUp = [&] {
        resetFolder(up);
        bench.handOver(up);
    };
    const double korvanPut = bestOf(
        [&] {
            return bench.korvan({u"put"_qs, down + u"/many"_qs, bench.url(u"up/"_qs)});
        },
        freshUp);
    const double lftpPut = bestOf([&] { return bench.lftp(u"mirror -R "_qs + down + u"/many up/many"_qs); }, freshUp);
    if (korvanGet < 0 || lftpGet < 0 || korvanPut < 0 || lftpPut < 0)
        return;
    printRatio("many files get (files/s)", files / korvanGet, files / lftpGet, "f/s", lftpGet / korvanGet, ">= 1");
    printRatio("many files put (files/s)", files / korvanPut, files / lftpPut, "f/s", lftpPut / korvanPut, ">= 1");
    std::printf("files_per_second_ratio_vs_lftp GET %.2f PUT %.2f\n", lftpGet / korvanGet, lftpPut / korvanPut);
}

void benchListing(Bench &bench)
{
    const QString folder = bench.root() + u"/listing"_qs;
    QDir().mkpath(folder);
    for (int i = 0; i < kListingEntries; ++i)
        QFile(folder + u"/entry number "_qs + QString::number(i) + u".txt"_qs).open(QIODevice::WriteOnly);
    bench.handOver(folder);
    const double korvanLs = bestOf([&] { return bench.korvan({u"ls"_qs, bench.url(u"listing/"_qs)}); });
    const double curlList = bestOf([&] { return bench.curl({bench.url(u"listing/"_qs)}); });
    if (korvanLs < 0 || curlList < 0)
        return;
    printRatio("100,000-entry listing (seconds)", korvanLs, curlList, "s", korvanLs / curlList, "<= 1.5");
    std::printf("listing_time_ratio_vs_curl %.2f\n", korvanLs / curlList);
}

void benchBig(Bench &bench, QTemporaryDir &local)
{
    const QString file = bench.root() + u"/big.bin"_qs;
    writeFile(file, kBigFileSize);
    bench.handOver(file);
    const QString down = local.filePath(u"big-down"_qs);
    QDir().mkpath(down);
    const QString downFile = down + u"/big.bin"_qs;
    const double korvanGet = bestOf([&] { return bench.korvan({u"get"_qs, bench.url(u"big.bin"_qs), down}); });
    const double curlGet = bestOf([&] { return bench.curl({bench.url(u"big.bin"_qs), u"-o"_qs, downFile}); });
    QDir().mkpath(bench.root() + u"/in"_qs);
    bench.handOver(bench.root() + u"/in"_qs);
    const double korvanPut = bestOf([&] { return bench.korvan({u"put"_qs, downFile, bench.url(u"in/"_qs)}); });
    const double curlPut = bestOf([&] { return bench.curl({u"-T"_qs, downFile, bench.url(u"in/curl.bin"_qs)}); });
    QFile::remove(downFile);
    QFile::remove(file);
    if (korvanGet < 0 || curlGet < 0 || korvanPut < 0 || curlPut < 0)
        return;
    const double mb = double(kBigFileSize) / 1e6;
    printRatio("1 GiB get (MB/s)", mb / korvanGet, mb / curlGet, "MB/s", curlGet / korvanGet, ">= 0.9");
    printRatio("1 GiB put (MB/s)", mb / korvanPut, mb / curlPut, "MB/s", curlPut / korvanPut, ">= 0.9");
    std::printf("throughput_ratio_vs_curl GET %.2f PUT %.2f\n", curlGet / korvanGet, curlPut / korvanPut);
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QStringList parts = app.arguments().mid(1);
    if (parts.isEmpty())
        parts = {u"many"_qs, u"listing"_qs, u"big"_qs};
    FtpServer server(ServerKind::Vsftpd);
    QString error;
    if (!server.start(&error)) {
        std::fprintf(stderr, "cli_bench: %s\n", qPrintable(error));
        return 1;
    }
    Bench bench(server);
    if (parts == QStringList{u"serve"_qs}) {
        std::printf("%s\n%s\n", qPrintable(bench.url({})), qPrintable(bench.root()));
        std::fflush(stdout);
        QFile input;
        input.open(stdin, QIODevice::ReadOnly);
        input.readAll();
        return 0;
    }
    QTemporaryDir local;
    std::printf("vsftpd on 127.0.0.1:%u, passive, best of %d rounds\n", server.port(), kRounds);
    for (const QString &part : parts) {
        if (part == u"many")
            benchMany(bench, local);
        else if (part == u"listing")
            benchListing(bench);
        else if (part == u"big")
            benchBig(bench, local);
        else
            std::fprintf(stderr, "cli_bench: unknown part '%s' (many, listing, big)\n", qPrintable(part));
    }
    return 0;
}
