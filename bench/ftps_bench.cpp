// A 1 GiB FTPS download and upload through the session beside curl --ssl-reqd,
// against vsftpd on loopback with explicit TLS and session reuse required,
// passive. Alternating runs (session, curl, session, curl ...) after one warm-up
// of each; prints the median MB/s with min and max, and the median of the
// pairwise ratios session/curl. Needs root (vsftpd logs on a system user).

#include "Median.h"
#include "fixtures/HeadlessUi.h"
#include "ftp/FtpSession.h"
#include "servers/FtpServer.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QRandomGenerator>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <functional>

using namespace korvan;
using namespace korvan::test;

namespace {

constexpr qint64 kMiB = 1 << 20;
constexpr qint64 kFileSize = 1024 * kMiB;
constexpr int kRounds = 5;

bool writeTestFile(const QString &path)
{
    QByteArray block(kMiB, Qt::Uninitialized);
    QRandomGenerator(7).fillRange(reinterpret_cast<quint32 *>(block.data()), block.size() / 4);
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    for (qint64 done = 0; done < kFileSize; done += block.size()) {
        if (file.write(block) != block.size())
            return false;
    }
    return true;
}

// MB/s of one run; 0 when it failed.
double timed(const std::function<bool()> &run)
{
    QProcess::execute("sync", {});
    QElapsedTimer clock;
    clock.start();
    if (!run())
        return 0;
    return double(kFileSize) / 1e6 / (double(clock.nsecsElapsed()) / 1e9);
}

struct Bench {
    FtpServer &server;
    QString localDir;

    bool session(bool download)
    {
        HeadlessUi ui;
        FtpSettings settings;
        settings.sFTPServer = server.host();
        settings.nFTPPort = server.port();
        settings.sFTPUser = server.user();
        settings.sFTPPassword = server.password();
        settings.bPassive = true;
        settings.nEncryption = FtpEncryption::ExplicitTls;
        FtpSession ftp(ui, settings);
        ftp.setTrustedFingerprint(server.certificateFingerprint());
        if (!ftp.LogOn() || !ftp.SetType("I"))
            return false;
        const bool done = download ? ftp.RetrieveFile("big.bin", localDir + "/got.bin", kFileSize).succeeded()
                                   : ftp.StoreFile(localDir + "/got.bin", "put.bin", kFileSize).succeeded();
        ftp.Disconnect();
        if (!done)
            std::fprintf(stderr, "session %s failed:\n%s\n", download ? "download" : "upload",
                         qPrintable(ui.logText().right(2000)));
        return done;
    }
    bool curl(bool download)
    {
        const QString url =
            QString("ftp://%1:%2@%3:%4/").arg(server.user(), server.password(), server.host()).arg(server.port());
        const QStringList transfer = download ? QStringList{"-o", localDir + "/got.bin", url + "big.bin"}
                                              : QStringList{"-T", localDir + "/got.bin", url + "put.bin"};
        QProcess curl;
        curl.start("curl", QStringList{"-s", "-S", "--ssl-reqd", "-k"} + transfer);
        const bool done = curl.waitForFinished(600000) && curl.exitCode() == 0;
        if (!done)
            std::fprintf(stderr, "curl failed: %s\n", curl.readAllStandardError().constData());
        return done;
    }
};

double median(const QList<double> &values)
{
    return bench::Median({values.begin(), values.end()});
}

void report(const char *what, const QList<double> &session, const QList<double> &curl)
{
    QList<double> ratios;
    for (qsizetype i = 0; i < session.size(); ++i)
        ratios << session[i] / curl[i];
    const auto [sessionMin, sessionMax] = std::minmax_element(session.begin(), session.end());
    const auto [curlMin, curlMax] = std::minmax_element(curl.begin(), curl.end());
    std::printf("%s: session %.0f MB/s (%.0f-%.0f), curl --ssl-reqd %.0f MB/s (%.0f-%.0f), ratio median %.2f\n", what,
                median(session), *sessionMin, *sessionMax, median(curl), *curlMin, *curlMax, median(ratios));
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    FtpServer server(ServerKind::Vsftpd);
    server.setTls(ServerTls::Explicit);
    QString error;
    if (!server.start(&error) || !writeTestFile(server.rootDir() + "/big.bin")) {
        std::fprintf(stderr, "no server or no test file: %s\n", qPrintable(error));
        return 1;
    }
    server.handOver();
    QTemporaryDir local("/dev/shm/korvan-ftps-bench-XXXXXX");
    Bench bench{server, local.path()};
    QList<double> sessionGet, curlGet, sessionPut, curlPut;
    for (int round = 0; round <= kRounds; ++round) {
        const double figures[] = {timed([&] { return bench.session(true); }), timed([&] { return bench.curl(true); }),
                                  timed([&] { return bench.session(false); }),
                                  timed([&] { return bench.curl(false); })};
        if (std::find(std::begin(figures), std::end(figures), 0.0) != std::end(figures)) {
            std::fprintf(stderr, "a transfer failed in round %d\n", round);
            return 1;
        }
        if (round == 0)
            continue; // warm-up
        sessionGet << figures[0];
        curlGet << figures[1];
        sessionPut << figures[2];
        curlPut << figures[3];
    }
    report("1 GiB FTPS download", sessionGet, curlGet);
    report("1 GiB FTPS upload", sessionPut, curlPut);
    return 0;
}
