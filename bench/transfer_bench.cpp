// Throughput of a 1 GiB download and upload through the session, from vsftpd on
// loopback, passive and active, beside curl on the same file in the same run.
// Prints MB/s for both (best of two rounds each), their ratio and the process's
// memory above its idle size.
// The last line reads "throughput_ratio_vs_curl GET PUT" with the passive figures.

#include "ResidentMemory.h"
#include "fixtures/HeadlessUi.h"
#include "ftp/FtpSession.h"
#include "korvan/FtpSettings.h"
#include "servers/FtpServer.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTimer>

#include <cstdio>
#include <functional>

using namespace korvan;
using namespace korvan::test;

namespace {

constexpr qint64 kMiB = 1 << 20;
constexpr qint64 kFileSize = 1024 * kMiB;

bool writeTestFile(const QString &path, qint64 size)
{
    QByteArray block(kMiB, Qt::Uninitialized);
    QRandomGenerator(99).fillRange(reinterpret_cast<quint32 *>(block.data()), block.size() / 4);
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    for (qint64 done = 0; done < size; done += block.size()) {
        if (file.write(block) != block.size())
            return false;
    }
    return true;
}

double megabytesPerSecond(qint64 bytes, qint64 nanoseconds)
{
    return nanoseconds > 0 ? double(bytes) / 1e6 / (double(nanoseconds) / 1e9) : 0;
}

// Runs curl and returns its MB/s, or 0 when it failed.
double curlRun(const QStringList &arguments, qint64 bytes)
{
    QProcess curl;
    QElapsedTimer clock;
    clock.start();
    curl.start("curl", QStringList{"-s", "-S"} + arguments);
    if (!curl.waitForFinished(600000) || curl.exitCode() != 0) {
        std::fprintf(stderr, "curl failed: %s\n", curl.readAllStandardError().constData());
        return 0;
    }
    return megabytesPerSecond(bytes, clock.nsecsElapsed());
}

struct Measurement {
    double sessionGet = 0;
    double sessionPut = 0;
    double curlGet = 0;
    double curlPut = 0;
    qint64 peakExtraKiB = 0;
};

// Samples the resident size while a transfer runs (the session pumps events).
class MemoryWatch {
public:
    explicit MemoryWatch(qint64 idleKiB) : idle(idleKiB)
    {
        QObject::connect(&timer, &QTimer::timeout, [this] { peak = qMax(peak, korvan::bench::ResidentKiB() - idle); });
        timer.start(50);
    }
    qint64 peakExtraKiB() const { return qMax(peak, korvan::bench::ResidentKiB() - idle); }

private:
    qint64 idle;
    qint64 peak = 0;
    QTimer timer;
};

// Writes every dirty page out, so one run's disk writes do not slow the next.
void settleDisk()
{
    QProcess::execute("sync", {});
}

struct Runner {
    FtpServer &server;
    bool passive;
    QString localDir;

    QString url(const QString &name) const
    {
        return QString("ftp://%1:%2@%3:%4/%5")
            .arg(server.user(), server.password(), server.host())
            .arg(server.port())
            .arg(name);
    }
    QStringList curlMode() const { return passive ? QStringList{} : QStringList{"--ftp-port", server.host()}; }

    // One session download and upload, then curl's; every figure keeps its best.
    bool round(Measurement &best)
    {
        HeadlessUi ui;
        FtpSettings settings;
        settings.sFTPServer = server.host();
        settings.nFTPPort = server.port();
        settings.sFTPUser = server.user();
        settings.sFTPPassword = server.password();
        settings.bPassive = passive;
        FtpSession session(ui, settings);
        if (!session.LogOn() || !session.SetType("I"))
            return false;
        const qint64 idle = korvan::bench::ResidentKiB();
        MemoryWatch watch(idle);
        QElapsedTimer clock;

        settleDisk();
        clock.start();
        if (!session.RetrieveFile("big.bin", localDir + "/got.bin", kFileSize).succeeded())
            return false;
        best.sessionGet = qMax(best.sessionGet, megabytesPerSecond(kFileSize, clock.nsecsElapsed()));
        settleDisk();
        clock.restart();
        if (!session.StoreFile(localDir + "/got.bin", "put.bin", kFileSize).succeeded())
            return false;
        best.sessionPut = qMax(best.sessionPut, megabytesPerSecond(kFileSize, clock.nsecsElapsed()));
        best.peakExtraKiB = qMax(best.peakExtraKiB, watch.peakExtraKiB());
        session.Disconnect();
        QFile::remove(localDir + "/got.bin");
        QFile::remove(server.rootDir() + "/put.bin");

        settleDisk();
        const double curlGet = curlRun(curlMode() + QStringList{"-o", localDir + "/curl-got.bin", url("big.bin")},
                                       kFileSize);
        settleDisk();
        const double curlPut = curlRun(curlMode() + QStringList{"-T", localDir + "/curl-got.bin", url("curl-put.bin")},
                                       kFileSize);
        QFile::remove(localDir + "/curl-got.bin");
        QFile::remove(server.rootDir() + "/curl-put.bin");
        best.curlGet = qMax(best.curlGet, curlGet);
        best.curlPut = qMax(best.curlPut, curlPut);
        return curlGet > 0 && curlPut > 0;
    }
};

constexpr int kRounds = 2;

bool measure(FtpServer &server, bool passive, const QString &localDir, Measurement &result)
{
    Runner runner{server, passive, localDir};
    for (int i = 0; i < kRounds; ++i) {
        if (!runner.round(result))
            return false;
    }
    return true;
}

void report(const char *mode, const Measurement &m)
{
    std::printf("%s GET: session %.0f MB/s, curl %.0f MB/s, ratio %.2f\n", mode, m.sessionGet, m.curlGet,
                m.sessionGet / m.curlGet);
    std::printf("%s PUT: session %.0f MB/s, curl %.0f MB/s, ratio %.2f\n", mode, m.sessionPut, m.curlPut,
                m.sessionPut / m.curlPut);
    std::printf("%s memory above idle during the transfers: %.1f MiB\n", mode, double(m.peakExtraKiB) / 1024);
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    FtpServer server(ServerKind::Vsftpd);
    QString error;
    if (!server.start(&error)) {
        std::fprintf(stderr, "vsftpd did not start: %s\n", qPrintable(error));
        return 1;
    }
    if (!writeTestFile(server.rootDir() + "/big.bin", kFileSize)) {
        std::fprintf(stderr, "cannot write the test file\n");
        return 1;
    }
    server.handOver();
    // Local files live in memory when the machine has a tmpfs, so the figures are
    // about the FTP engines, not about this disk.
    const QString memoryDir = "/dev/shm";
    QTemporaryDir local(QFileInfo(memoryDir).isWritable() ? memoryDir + "/korvan-bench-XXXXXX" : QString());

    Measurement passive;
    Measurement active;
    if (!measure(server, true, local.path(), passive) || !measure(server, false, local.path(), active)) {
        std::fprintf(stderr, "a transfer failed\n");
        return 1;
    }
    report("passive", passive);
    report("active", active);
    std::printf("throughput_ratio_vs_curl %.2f %.2f\n", passive.sessionGet / passive.curlGet,
                passive.sessionPut / passive.curlPut);
    return 0;
}
