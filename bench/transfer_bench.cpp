// The korvan program beside its peers, against one vsftpd on loopback (needs
// root: vsftpd logs on a system user):
//   get      a 1 GiB file: korvan get        versus curl -o
//   put      a 1 GiB file: korvan put        versus curl -T
//   tree-get 1,000 files of 4 KiB in 10 folders: korvan get versus lftp mirror
//   tree-put the same tree:                        korvan put versus lftp mirror -R
//   ls       a folder of 100,000 entries: korvan ls versus curl's raw LIST
// Each case runs korvan and its peer alternately (A B A B), one uncounted pair
// first, then the counted pairs; every run is a child process started the same
// way, writing a fresh target on the same file system (the server's root and
// the local folders are all on /dev/shm when it exists), and the target is
// checked and removed before the next run, so neither side finds the other's
// file in its way. The server's files are read once before the first run, so
// both sides find them in the page cache.
// Printed per case: wall time (median, min, max) of each side, the median of
// the pairwise ratios peer time / korvan time (above 1: korvan is faster), CPU
// time (user + system) and peak resident memory of each child, as /usr/bin/time
// reports them (CPU time in hundredths of a second).
// Wall times on a shared machine are noisy; CPU time and memory much less so.
// The last line reads "throughput_ratio_vs_curl GET PUT" (the median ratios of
// get and put; "-" for a case that did not run).
//
// Usage: transfer_bench [--active] [--runs N] [--korvan PROGRAM] [CASE...]
// `transfer_bench --serve [CASE...]` only makes the files, prints the server's
// URL and the local scratch folder, and serves until standard input closes (for
// strace, perf or time by hand).

#include "Median.h"
#include "servers/FtpServer.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <fcntl.h>
#include <functional>
#include <map>
#include <optional>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

extern char **environ;

using namespace korvan::test;
using korvan::bench::Median;

namespace {

constexpr qint64 kBigFileSize = qint64(1) << 30;
constexpr int kTreeFolders = 10;
constexpr int kTreeFilesPerFolder = 100;
constexpr qint64 kTreeFileSize = 4096;
constexpr int kListingEntries = 100000;

// One finished child: wall time, CPU time and peak memory.
struct RunFigures {
    double seconds = 0;
    double cpuSeconds = 0;
    double peakMiB = 0;
};

// Runs a program with standard output to /dev/null and standard error to
// errorFile; nothing when it did not exit with status 0. CPU time and peak
// memory come from /usr/bin/time around it: a child started by this (large)
// process would be charged this process's memory as its own peak.
std::optional<RunFigures> RunChild(const QStringList &command, const QString &errorFile)
{
    const QString usageFile = errorFile + u".usage"_qs;
    std::vector<QByteArray> bytes{"/usr/bin/time", "-f", "%U %S %M", "-o", usageFile.toLocal8Bit()};
    for (const QString &part : command)
        bytes.push_back(part.toLocal8Bit());
    std::vector<char *> argv;
    for (QByteArray &part : bytes)
        argv.push_back(part.data());
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    const QByteArray errorPath = errorFile.toLocal8Bit();
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, errorPath.constData(), O_WRONLY | O_CREAT | O_TRUNC,
                                     0644);
    QElapsedTimer clock;
    clock.start();
    pid_t child = 0;
    const int spawned = posix_spawn(&child, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    int status = 0;
    if (spawned != 0 || waitpid(child, &status, 0) != child)
        return std::nullopt;
    RunFigures figures;
    figures.seconds = double(clock.nsecsElapsed()) / 1e9;
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        QFile errors(errorFile);
        errors.open(QIODevice::ReadOnly);
        std::fprintf(stderr, "%s failed (status %d): %s\n", qPrintable(command.first()), status,
                     errors.readAll().right(2000).constData());
        return std::nullopt;
    }
    QFile usage(usageFile);
    usage.open(QIODevice::ReadOnly);
    const QList<QByteArray> fields = usage.readAll().trimmed().split(' ');
    if (fields.size() != 3)
        return std::nullopt;
    figures.cpuSeconds = fields[0].toDouble() + fields[1].toDouble();
    figures.peakMiB = fields[2].toDouble() / 1024;
    return figures;
}

bool WriteFile(const QString &path, qint64 size)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    QByteArray block(qMin<qint64>(size, 1 << 20), Qt::Uninitialized);
    for (qsizetype i = 0; i < block.size(); ++i)
        block[i] = char(i * 131 + i / 251);
    for (qint64 done = 0; done < size; done += block.size()) {
        if (file.write(block.constData(), qMin<qint64>(block.size(), size - done)) < 0)
            return false;
    }
    return true;
}

// Reads a file or tree once, so the first timed run finds it in the page cache.
void ReadThrough(const QString &path)
{
    if (QFileInfo(path).isDir()) {
        for (const QFileInfo &entry : QDir(path).entryInfoList(QDir::AllEntries | QDir::NoDotAndDotDot))
            ReadThrough(entry.filePath());
        return;
    }
    QFile file(path);
    if (file.open(QIODevice::ReadOnly))
        while (!file.read(1 << 20).isEmpty()) {}
}

// The total size of the files below path (or of the file itself).
qint64 TreeBytes(const QString &path)
{
    const QFileInfo info(path);
    if (!info.isDir())
        return info.exists() ? info.size() : -1;
    qint64 total = 0;
    for (const QFileInfo &entry : QDir(path).entryInfoList(QDir::AllEntries | QDir::NoDotAndDotDot))
        total += qMax<qint64>(0, TreeBytes(entry.filePath()));
    return total;
}

void RemoveAll(const QString &path)
{
    if (QFileInfo(path).isDir())
        QDir(path).removeRecursively();
    else
        QFile::remove(path);
}

QString Spread(const std::vector<double> &values, int decimals)
{
    const auto [low, high] = std::minmax_element(values.begin(), values.end());
    return QString::asprintf("%.*f (%.*f..%.*f)", decimals, Median(values), decimals, *low, decimals, *high);
}

// One side of a case: the command of run number n (0 is the warm-up) and where
// that run puts its result, which must hold `expectedBytes` afterwards (-1: no
// result to check). `prepare` runs before the command, untimed.
struct Side {
    QString name;
    std::function<QStringList(int run)> command;
    std::function<QString(int run)> target;
    std::function<void(int run)> prepare;
};

struct Case {
    QString name;
    Side korvan;
    Side peer;
    qint64 expectedBytes = -1;
};

struct SideFigures {
    std::vector<double> seconds, cpu, peak;
};

class Bench {
public:
    Bench(FtpServer &server, QString korvanProgram, bool active, const QString &scratch)
        : server(server), program(std::move(korvanProgram)), active(active), scratch(scratch)
    {}

    QString url(const QString &path) const
    {
        return u"ftp://"_qs + server.user() + u':' + server.password() + u"@127.0.0.1:"_qs
               + QString::number(server.port()) + u'/' + path;
    }
    QString local(const QString &name) const { return scratch + u'/' + name; }
    QString remote(const QString &name) const { return server.rootDir() + u'/' + name; }
    QStringList korvan(const QString &verb, const QStringList &arguments) const
    {
        return QStringList{program, verb, active ? u"--active"_qs : u"--passive"_qs} + arguments;
    }
    QStringList curl(const QStringList &arguments) const
    {
        const QStringList mode = active ? QStringList{u"--ftp-port"_qs, u"127.0.0.1"_qs} : QStringList{};
        return QStringList{u"curl"_qs, u"-s"_qs, u"-S"_qs} + mode + arguments;
    }
    QStringList lftp(const QString &commands) const
    {
        return {u"lftp"_qs,
                u"-u"_qs,
                server.user() + u',' + server.password(),
                u"-p"_qs,
                QString::number(server.port()),
                u"-e"_qs,
                u"set ftp:ssl-allow no; set ftp:passive-mode "_qs + (active ? u"off"_qs : u"on"_qs) + u"; "_qs
                    + commands + u"; quit"_qs,
                u"127.0.0.1"_qs};
    }
    // A fresh, empty remote folder the server's user may write into.
    void freshRemoteFolder(const QString &name)
    {
        RemoveAll(remote(name));
        QDir().mkpath(remote(name));
        server.handOver(remote(name));
    }
    void handOver(const QString &path) { server.handOver(path); }

    // Warm-up pair, then `runs` pairs A B A B; false when a run failed or left a
    // wrong result.
    bool measure(const Case &c, int runs, SideFigures &k, SideFigures &p, std::vector<double> &ratios)
    {
        for (int run = 0; run <= runs; ++run) {
            const std::optional<RunFigures> a = runSide(c.korvan, run, c.expectedBytes);
            const std::optional<RunFigures> b = runSide(c.peer, run, c.expectedBytes);
            if (!a || !b)
                return false;
            if (run == 0)
                continue;
            record(k, *a);
            record(p, *b);
            ratios.push_back(b->seconds / a->seconds);
        }
        return true;
    }

private:
    std::optional<RunFigures> runSide(const Side &side, int run, qint64 expectedBytes)
    {
        if (side.prepare)
            side.prepare(run);
        const QString target = side.target ? side.target(run) : QString();
        const std::optional<RunFigures> figures = RunChild(side.command(run), local(u"stderr.txt"_qs));
        if (figures && !target.isEmpty()) {
            const qint64 got = TreeBytes(target);
            RemoveAll(target);
            if (got != expectedBytes) {
                std::fprintf(stderr, "%s left %lld bytes in %s, not %lld\n", qPrintable(side.name), got,
                             qPrintable(target), expectedBytes);
                return std::nullopt;
            }
        }
        return figures;
    }
    static void record(SideFigures &f, const RunFigures &run)
    {
        f.seconds.push_back(run.seconds);
        f.cpu.push_back(run.cpuSeconds);
        f.peak.push_back(run.peakMiB);
    }

    FtpServer &server;
    QString program;
    bool active;
    QString scratch;
};

Case BigGet(Bench &b)
{
    const auto folder = [&b](const QString &who, int run) { return b.local(who + u"-get-"_qs + QString::number(run)); };
    Case c{u"get 1 GiB"_qs, {}, {}, kBigFileSize};
    c.korvan = {u"korvan get"_qs,
                [&b, folder](int run) { return b.korvan(u"get"_qs, {b.url(u"big.bin"_qs), folder(u"k"_qs, run)}); },
                [folder](int run) { return folder(u"k"_qs, run); },
                {}};
    c.peer = {u"curl"_qs,
              [&b, folder](int run) {
                  return b.curl({u"--create-dirs"_qs, u"-o"_qs, folder(u"c"_qs, run) + u"/big.bin"_qs,
                                 b.url(u"big.bin"_qs)});
              },
              [folder](int run) { return folder(u"c"_qs, run); },
              {}};
    return c;
}

// Both sides upload into a fresh remote folder of their own.
Case BigPut(Bench &b)
{
    const QString source = b.local(u"put-source.bin"_qs);
    const auto folder = [](const QString &who, int run) { return who + u"-put-"_qs + QString::number(run); };
    Case c{u"put 1 GiB"_qs, {}, {}, kBigFileSize};
    c.korvan = {u"korvan put"_qs,
                [&b, source, folder](int run) { return b.korvan(u"put"_qs, {source, b.url(folder(u"k"_qs, run) + u'/')}); },
                [&b, folder](int run) { return b.remote(folder(u"k"_qs, run)); },
                [&b, folder](int run) { b.freshRemoteFolder(folder(u"k"_qs, run)); }};
    c.peer = {u"curl"_qs,
              [&b, source, folder](int run) {
                  return b.curl({u"-T"_qs, source, b.url(folder(u"c"_qs, run) + u"/put-source.bin"_qs)});
              },
              [&b, folder](int run) { return b.remote(folder(u"c"_qs, run)); },
              [&b, folder](int run) { b.freshRemoteFolder(folder(u"c"_qs, run)); }};
    return c;
}

Case TreeGet(Bench &b)
{
    const auto folder = [&b](const QString &who, int run) { return b.local(who + u"-tree-"_qs + QString::number(run)); };
    Case c{u"tree get 1000 x 4 KiB"_qs, {}, {}, kTreeFolders * kTreeFilesPerFolder * kTreeFileSize};
    c.korvan = {u"korvan get"_qs,
                [&b, folder](int run) { return b.korvan(u"get"_qs, {b.url(u"tree"_qs), folder(u"k"_qs, run)}); },
                [folder](int run) { return folder(u"k"_qs, run); },
                {}};
    c.peer = {u"lftp mirror"_qs,
              [&b, folder](int run) { return b.lftp(u"mirror tree "_qs + folder(u"l"_qs, run) + u"/tree"_qs); },
              [folder](int run) { return folder(u"l"_qs, run); },
              {}};
    return c;
}

Case TreePut(Bench &b)
{
    const QString source = b.local(u"tree"_qs);
    const auto folder = [](const QString &who, int run) { return who + u"-up-"_qs + QString::number(run); };
    Case c{u"tree put 1000 x 4 KiB"_qs, {}, {}, kTreeFolders * kTreeFilesPerFolder * kTreeFileSize};
    c.korvan = {u"korvan put"_qs,
                [&b, source, folder](int run) { return b.korvan(u"put"_qs, {source, b.url(folder(u"k"_qs, run) + u'/')}); },
                [&b, folder](int run) { return b.remote(folder(u"k"_qs, run)); },
                [&b, folder](int run) { b.freshRemoteFolder(folder(u"k"_qs, run)); }};
    c.peer = {u"lftp mirror -R"_qs,
              [&b, source, folder](int run) {
                  return b.lftp(u"mirror -R "_qs + source + u' ' + folder(u"l"_qs, run) + u"/tree"_qs);
              },
              [&b, folder](int run) { return b.remote(folder(u"l"_qs, run)); },
              [&b, folder](int run) { b.freshRemoteFolder(folder(u"l"_qs, run)); }};
    return c;
}

Case Listing(Bench &b)
{
    Case c{u"ls 100,000 entries"_qs, {}, {}, -1};
    c.korvan = {u"korvan ls"_qs, [&b](int) { return b.korvan(u"ls"_qs, {b.url(u"listing/"_qs)}); }, {}, {}};
    c.peer = {u"curl LIST"_qs, [&b](int) { return b.curl({b.url(u"listing/"_qs)}); }, {}, {}};
    return c;
}

bool MakeTree(const QString &root)
{
    for (int folder = 0; folder < kTreeFolders; ++folder) {
        const QString path = root + u"/d"_qs + QString::number(folder);
        QDir().mkpath(path);
        for (int file = 0; file < kTreeFilesPerFolder; ++file) {
            if (!WriteFile(path + u"/f"_qs + QString::number(file), kTreeFileSize))
                return false;
        }
    }
    return true;
}

// Sizes and times differ from one entry to the next, as in a real folder (a
// parser that reuses its neighbour's fields would be flattered by a folder of
// empty files made in the same minute). The files are sparse: they take no memory.
bool MakeListing(const QString &folder)
{
    QDir().mkpath(folder);
    const QDateTime now = QDateTime::currentDateTime();
    for (int i = 0; i < kListingEntries; ++i) {
        QFile file(folder + u"/entry number "_qs + QString::number(i) + u".txt"_qs);
        const qint64 size = qint64((quint64(i) * 2654435761u) % 5000000);
        if (!file.open(QIODevice::WriteOnly) || !file.resize(size)
            || !file.setFileTime(now.addSecs(-qint64(i) * 37 * 60), QFileDevice::FileModificationTime))
            return false;
    }
    return true;
}

// The server's files and the local sources each case needs.
bool PrepareFiles(Bench &b, const QStringList &cases)
{
    bool ok = true;
    if (cases.contains(u"get"_qs))
        ok = ok && WriteFile(b.remote(u"big.bin"_qs), kBigFileSize);
    if (cases.contains(u"put"_qs))
        ok = ok && WriteFile(b.local(u"put-source.bin"_qs), kBigFileSize);
    if (cases.contains(u"tree-get"_qs))
        ok = ok && MakeTree(b.remote(u"tree"_qs));
    if (cases.contains(u"tree-put"_qs))
        ok = ok && MakeTree(b.local(u"tree"_qs));
    if (cases.contains(u"ls"_qs))
        ok = ok && MakeListing(b.remote(u"listing"_qs));
    b.handOver({});
    return ok;
}

std::string LoadAverage()
{
    QFile file(u"/proc/loadavg"_qs);
    file.open(QIODevice::ReadOnly);
    return file.readAll().trimmed().toStdString();
}

void PrintCase(const Case &c, const SideFigures &k, const SideFigures &p, const std::vector<double> &ratios)
{
    std::printf("%s\n", qPrintable(c.name));
    const auto line = [](const Side &side, const SideFigures &f) {
        std::printf("  %-16s wall s %-26s cpu s %-26s peak MiB %s\n", qPrintable(side.name),
                    qPrintable(Spread(f.seconds, 3)), qPrintable(Spread(f.cpu, 3)), qPrintable(Spread(f.peak, 1)));
    };
    line(c.korvan, k);
    line(c.peer, p);
    std::printf("  ratio %s / korvan time: %s\n", qPrintable(c.peer.name), qPrintable(Spread(ratios, 2)));
    std::fflush(stdout);
}

} // namespace

int main(int argc, char *argv[])
{
    // The server's root and the local folders in memory: the figures are about
    // the FTP programs, not about this disk. Set before the server makes its root.
    if (QFileInfo(u"/dev/shm"_qs).isWritable())
        qputenv("TMPDIR", "/dev/shm");
    QCoreApplication app(argc, argv);
    QStringList arguments = app.arguments().mid(1);
    bool active = false;
    bool serveOnly = false;
    int runs = 5;
    QString program = QCoreApplication::applicationDirPath() + u"/../app/korvan"_qs;
    QStringList cases;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        if (arguments[i] == u"--active")
            active = true;
        else if (arguments[i] == u"--serve")
            serveOnly = true;
        else if (arguments[i] == u"--runs" && i + 1 < arguments.size())
            runs = qMax(1, arguments[++i].toInt());
        else if (arguments[i] == u"--korvan" && i + 1 < arguments.size())
            program = arguments[++i];
        else
            cases << arguments[i];
    }
    const QStringList known{u"get"_qs, u"put"_qs, u"tree-get"_qs, u"tree-put"_qs, u"ls"_qs};
    if (cases.isEmpty())
        cases = known;
    for (const QString &name : std::as_const(cases)) {
        if (!known.contains(name)) {
            std::fprintf(stderr, "usage: transfer_bench [--serve] [--active] [--runs N] [--korvan PROGRAM] [%s]...\n",
                         qPrintable(known.join(u'|')));
            return 2;
        }
    }

    FtpServer server(ServerKind::Vsftpd);
    QString error;
    if (!server.start(&error)) {
        std::fprintf(stderr, "transfer_bench: %s\n", qPrintable(error));
        return 1;
    }
    QTemporaryDir scratch(QDir::tempPath() + u"/korvan-bench-XXXXXX"_qs);
    Bench bench(server, program, active, scratch.path());
    if (!PrepareFiles(bench, cases)) {
        std::fprintf(stderr, "transfer_bench: cannot write the test files\n");
        return 1;
    }
    ReadThrough(server.rootDir());
    ReadThrough(scratch.path());
    if (serveOnly) {
        std::printf("%s\n%s\n", qPrintable(bench.url({})), qPrintable(scratch.path()));
        std::fflush(stdout);
        QFile input;
        input.open(stdin, QIODevice::ReadOnly);
        input.readAll();
        return 0;
    }
    std::printf("vsftpd on 127.0.0.1:%u, %s, korvan = %s\n1 warm-up pair + %d counted pairs, alternating; "
                "load average before: %s\n",
                server.port(), active ? "active" : "passive", qPrintable(program), runs, LoadAverage().c_str());
    std::map<QString, double> medianRatio;
    const std::map<QString, std::function<Case(Bench &)>> makers{
        {u"get"_qs, BigGet}, {u"put"_qs, BigPut}, {u"tree-get"_qs, TreeGet}, {u"tree-put"_qs, TreePut},
        {u"ls"_qs, Listing}};
    for (const QString &name : std::as_const(cases)) {
        const Case c = makers.at(name)(bench);
        SideFigures k, p;
        std::vector<double> ratios;
        if (!bench.measure(c, runs, k, p, ratios)) {
            std::fprintf(stderr, "transfer_bench: %s failed\n", qPrintable(c.name));
            return 1;
        }
        PrintCase(c, k, p, ratios);
        medianRatio[name] = Median(ratios);
    }
    std::printf("load average after: %s\n", LoadAverage().c_str());
    const auto ratio = [&medianRatio](const QString &name) {
        return medianRatio.count(name) ? QString::number(medianRatio.at(name), 'f', 2) : u"-"_qs;
    };
    std::printf("throughput_ratio_vs_curl %s %s\n", qPrintable(ratio(u"get"_qs)), qPrintable(ratio(u"put"_qs)));
    return 0;
}
