// The session and the transfer engines against the real servers, each mode and FTPS
// they offer: log-on, folder commands, their own LIST, trees both ways byte for byte.

#include "fixtures/HeadlessUi.h"
#include "fixtures/ServerRows.h"
#include "fixtures/TestFiles.h"
#include "ftp/CertificateTrust.h"
#include "ftp/FtpSession.h"
#include "korvan/cFTPList.h"
#include "listing/FolderRetrieval.h"
#include "transfer/DownloadEngine.h"
#include "transfer/TransferHost.h"
#include "transfer/UploadEngine.h"

#include <QDir>
#include <QFile>
#include <QLocale>
#include <QRegularExpression>
#include <QSslConfiguration>
#include <QTemporaryDir>
#include <QTest>

#include <fstream>

#include <sys/stat.h>

using namespace korvan;
using namespace korvan::test;

namespace {

// "name with blanks" uses single blanks: listings collapse runs of blanks.
const QList<TreeFile> kRemoteTree{{"tree/top.txt", 10},
                                  {"tree/zero.txt", 0},
                                  {"tree/name with blanks.txt", 3000},
                                  {"tree/nested/middle.bin", 70000},
                                  {"tree/nested/deeper/bottom.bin", 200000},
                                  {"tree/folder with blank/inner.txt", 5},
                                  {"tree/big.bin", 24 << 20}};
const QStringList kRemoteEmptyFolders{"tree/empty", "tree/nested/deeper/empty too"};

// Many small files: each is a data connection, where TLS 1.3 uploads once failed with 426.
const QList<TreeFile> kLocalTree = [] {
    QList<TreeFile> files{{"up/a.txt", 12},
                          {"up/.dotfile", 7},
                          {"up/zero.bin", 0},
                          {"up/with blank.txt", 40000},
                          {"up/sub/b.bin", 123456},
                          {"up/sub/deeper/c.bin", 25396},
                          {"up/.hidden/skipped.txt", 9},
                          {"up/sub/.cache/skipped.bin", 9}};
    for (int i = 0; i < 30; ++i)
        files.append({QStringLiteral("up/many/f%1.bin").arg(i), qint64(i) * 7919 % 30001 + 1});
    return files;
}();

// pyftpdlib lists a name that is not UTF-8 with "?" for its bytes: no client reaches it there.
const QByteArray kLatin1Name = "caf\xe9.txt";

// /listed/: a sparse big file, an old date, two blanks, UTF-8, a dot-file, both kinds of link.
bool writeListedFolder(const QString &root, bool withLatin1Name)
{
    const QString folder = root + "/listed";
    QFile big(folder + "/big.bin");
    QFile old(folder + "/old.txt");
    // Noon UTC: 15 January in every time zone a server may list in.
    const QDateTime oldTime(QDate(2003, 1, 15), QTime(12, 0), Qt::UTC);
    return writeTree(folder, {{"empty.bin", 0}, {"two  blanks.txt", 3}, {u"Grüße ✓.txt"_qs, 2}, {".hidden", 1}},
                     {"folder"})
           && writeFile(old.fileName(), "1234") && old.open(QIODevice::ReadWrite)
           && old.setFileTime(oldTime, QFileDevice::FileModificationTime) && big.open(QIODevice::WriteOnly)
           && big.resize(123456789) && QFile::link("folder", folder + "/rel-link")
           && QFile::link(folder + "/folder", folder + "/abs-link")
           // Through std::ofstream: Qt would store the name as UTF-8; the server must find these very bytes.
           && (!withLatin1Name
               || std::ofstream((QFile::encodeName(folder) + "/" + kLatin1Name).constData()) << "latin-1 named\n");
}

struct CountingHost : TransferHost {
    int refreshes = 0;
    void progressSetLabels(const QString &, const QString &, const QString &) override {}
    void refreshCurrentFolder() override { ++refreshes; }
};

struct Bench {
    explicit Bench(ServerKind kind)
        : server(kind), session(ui, settings), folders(session, ui), download(session, ui, folders, &host),
          upload(session, ui, &host)
    {}
    void configure(bool passive, ServerTls tls)
    {
        settings = settingsFor(server, passive);
        if (tls != ServerTls::None)
            settings.nEncryption = tls == ServerTls::Implicit ? FtpEncryption::ImplicitTls : FtpEncryption::ExplicitTls;
    }
    QStringList sent() const { return ui.logLines(LogColour::Blue); }

    FtpServer server;
    HeadlessUi ui;
    FtpSettings settings; // the session's
    FtpSession session;
    FolderRetrieval folders;
    CountingHost host;
    DownloadEngine download;
    UploadEngine upload;
};

} // namespace

class TransferServerTest : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void cleanup();
    void serverAndMode_data();
    void serverAndMode();
    void logOnRefused_data();
    void logOnRefused();
    void keepAliveWhileIdle();

private:
    void checkFolderCommands(Bench &bench);
    void checkListing(Bench &bench);
    void checkTrees(Bench &bench);

    QTemporaryDir configHome;
    QSslConfiguration systemDefault = QSslConfiguration::defaultConfiguration();
};

void TransferServerTest::initTestCase()
{
    ::umask(022); // the permission words the servers list follow from it
    // The trusted certificates go to a folder of this test, not the user's.
    qputenv("XDG_CONFIG_HOME", configHome.path().toUtf8());
}

void TransferServerTest::cleanup()
{
    QSslConfiguration::setDefaultConfiguration(systemDefault);
    QFile::remove(CertificateTrust().filePath());
}

void TransferServerTest::serverAndMode_data()
{
    QTest::addColumn<ServerKind>("kind");
    QTest::addColumn<bool>("passive");
    QTest::addColumn<ServerTls>("tls");
    QTest::addColumn<QSsl::SslProtocol>("protocol");
    const auto add = [](ServerKind kind, bool passive, ServerTls tls, QSsl::SslProtocol protocol) {
        const char *security = tls == ServerTls::None ? "" : tls == ServerTls::Implicit ? " implicit" : " explicit";
        const char *version = tls == ServerTls::None ? "" : protocol == QSsl::TlsV1_2 ? " TLS1.2" : " TLS1.3";
        QTest::addRow("%s %s%s%s", qPrintable(serverName(kind)), passive ? "passive" : "active", security, version)
            << kind << passive << tls << protocol;
    };
    for (bool passive : {true, false}) {
        for (ServerKind kind : {ServerKind::Pyftpdlib, ServerKind::Vsftpd, ServerKind::Proftpd, ServerKind::PureFtpd})
            add(kind, passive, ServerTls::None, QSsl::SecureProtocols);
        // pyftpdlib offers no TLS, pure-ftpd no implicit TLS.
        for (ServerKind kind : {ServerKind::Vsftpd, ServerKind::Proftpd, ServerKind::PureFtpd}) {
            for (QSsl::SslProtocol protocol : {QSsl::TlsV1_2, QSsl::TlsV1_3}) {
                add(kind, passive, ServerTls::Explicit, protocol);
                if (kind != ServerKind::PureFtpd)
                    add(kind, passive, ServerTls::Implicit, protocol);
            }
        }
    }
}

void TransferServerTest::serverAndMode()
{
    QFETCH(ServerKind, kind);
    QFETCH(bool, passive);
    QFETCH(ServerTls, tls);
    QFETCH(QSsl::SslProtocol, protocol);
    QSslConfiguration forced = systemDefault;
    forced.setProtocol(protocol);
    QSslConfiguration::setDefaultConfiguration(forced);
    Bench bench(kind);
    bench.server.setTls(tls);
    START_OR_FAIL(bench.server);
    const QString root = bench.server.rootDir();
    QVERIFY(writeTree(root, kRemoteTree, kRemoteEmptyFolders));
    QVERIFY(writeTree(root, {{"old.txt", 1000}, {"doomed.bin", 10}}, {"sub/deeper", "incoming"}));
    // A link to a folder: its contents belong to the folder it leads to.
    QVERIFY(QFile::link("nested", root + "/tree/link to nested"));
    QVERIFY(writeListedFolder(root, kind != ServerKind::Pyftpdlib));
    bench.server.handOver();
    bench.configure(passive, tls);
    if (tls != ServerTls::None)
        bench.ui.answerQuestion(QuestionAnswer::Yes); // the self-signed certificate

    QVERIFY(bench.session.LogOn());
    const QString user = "USER " + bench.server.user();
    const QStringList logOn{user, "PASS " + QString(bench.server.password().size(), '*'), "SYST", "PWD"};
    QCOMPARE(bench.sent().mid(bench.sent().indexOf(user), 4), logOn);
    QCOMPARE(bench.session.sCurrentDir(), QString("/"));
    if (tls != ServerTls::None) {
        QCOMPARE(bench.ui.questions.size(), 1);
        QVERIFY(bench.ui.questions[0].text.contains(bench.server.certificateFingerprint()));
        const QString version = protocol == QSsl::TlsV1_2 ? "TLSv1.2" : "TLSv1.3";
        QVERIFY(bench.ui.logText().contains("TLS connection established: " + version));
    }
    for (const auto check : {&TransferServerTest::checkFolderCommands, &TransferServerTest::checkListing,
                             &TransferServerTest::checkTrees}) {
        (this->*check)(bench);
        if (QTest::currentTestFailed())
            return;
    }

    // No refused data connection (522, 425, 426) nor any other error on the way.
    QCOMPARE(bench.ui.logLines(LogColour::Red), QStringList());
    QVERIFY(bench.session.Disconnect());
    QCOMPARE(bench.sent().last(), QString("QUIT"));
    if (tls != ServerTls::None) { // the certificate is remembered: no second question
        QVERIFY(bench.session.LogOn());
        QCOMPARE(bench.ui.questions.size(), 1);
    }
    QVERIFY2(bench.ui.failures.isEmpty(), qPrintable(bench.ui.failures.join('\n')));
}

// CWD, CDUP, a failing CWD, MKD, RMD, DELE, and a rename whose new name the user types.
void TransferServerTest::checkFolderCommands(Bench &bench)
{
    FtpSession &session = bench.session;
    const QString root = bench.server.rootDir();
    const qsizetype before = bench.sent().size();
    QVERIFY(session.ChangeDir("/sub/") && session.PrintDir() && session.ChangeDir("deeper") && session.PrintDir());
    QCOMPARE(session.sCurrentDir(), QString("/sub/deeper/"));
    QVERIFY(session.ChangeDirUp() && session.PrintDir() && session.ChangeDir("/") && session.PrintDir());
    QVERIFY(!session.ChangeDir("/no-such-folder"));
    QCOMPARE(session.nReplyState(), ReplyState::Failed);
    QVERIFY(bench.ui.logLines(LogColour::Red).value(0).startsWith("550"));
    bench.ui.log.removeIf([](const HeadlessUi::LogEntry &entry) { return entry.colour == LogColour::Red; });

    QVERIFY(session.MakeDir("made/") && QFileInfo(root + "/made").isDir());
    QVERIFY(session.RemoveDir("made/") && !QFileInfo::exists(root + "/made"));
    QVERIFY(session.DeleteFile("doomed.bin") && !QFileInfo::exists(root + "/doomed.bin"));
    bench.ui.answerInput("new.txt/");
    QVERIFY(session.RenameFrom("old.txt"));
    const HeadlessUi::InputRequest asked = bench.ui.inputs.value(0);
    QCOMPARE(QStringList({asked.title, asked.prompt, asked.defaultText}),
             QStringList({"Rename", "Type new name:", "old.txt"}));
    QVERIFY(QFileInfo::exists(root + "/new.txt") && !QFileInfo::exists(root + "/old.txt"));
    QCOMPARE(bench.sent().mid(before),
             (QStringList{"CWD /sub", "PWD", "CWD deeper", "PWD", "CDUP", "PWD", "CWD /", "PWD", "CWD /no-such-folder",
                          "MKD made", "RMD made", "DELE doomed.bin", "RNFR old.txt", "RNTO new.txt"}));
}

// cFTPList on the server's own LIST, and a name that is not UTF-8 fetched by the name listed.
void TransferServerTest::checkListing(Bench &bench)
{
    QVERIFY(bench.session.ChangeDir("/listed/") && bench.session.SetType("A") && bench.session.ListFolder());
    QString text = bench.session.listText();
    QVERIFY2(text.contains(" two  blanks.txt\r\n"), qPrintable(text)); // the server really sent two blanks
    cFTPList list;
    list.setFTPFileList(text);
    QStringList entries;
    for (qint32 i = 0; i < list.FileNumb(); ++i) {
        // Dates of today as "now" within a time zone's hours, the old one exact.
        const QDateTime listed = QLocale(QLocale::English).toDateTime(list.FileDate(i), "M/d/yyyy h:mm AP");
        const bool now = qAbs(listed.secsTo(QDateTime::currentDateTime())) < 15 * 3600;
        entries << QStringList{list.FileName(i),
                               list.FileSize(i),
                               list.FileAttr(i),
                               list.FileLink(i),
                               list.IsFolder(i) ? "d" : "f",
                               now ? "now" : list.FileDate(i)}
                       .join('|');
    }
    const QString absTarget = bench.server.rootDir() + "/listed/folder";
    QStringList expected{u"Grüße ✓.txt|2|-rw-r--r--||f|now"_qs,
                         QString("abs-link|%1|lrwxrwxrwx|%2|f|now").arg(absTarget.toUtf8().size()).arg(absTarget),
                         "big.bin|123,456,789|-rw-r--r--||f|now",
                         "empty.bin|0|-rw-r--r--||f|now",
                         "folder||drwxr-xr-x||d|now",
                         "old.txt|4|-rw-r--r--||f|1/15/2003 12:00 AM",
                         "rel-link|6|lrwxrwxrwx|folder|f|now",
                         "two blanks.txt|3|-rw-r--r--||f|now"};
    const bool withLatin1Name = bench.server.name() != "pyftpdlib";
    if (withLatin1Name)
        expected << u"café.txt|14|-rw-r--r--||f|now"_qs;
    entries.sort();
    expected.sort();
    QCOMPARE(entries, expected);
    QTemporaryDir local;
    QVERIFY(bench.session.SetType("I"));
    if (withLatin1Name) {
        QVERIFY(
            bench.session.RetrieveFile(QString::fromLatin1(kLatin1Name), local.filePath("copy.txt"), 14).succeeded());
        QCOMPARE(readFile(local.filePath("copy.txt")), QByteArray("latin-1 named\n"));
    }
}

// Down and up without zero-size files and dot-folders; down again what went up, but its dot-files (not listed).
void TransferServerTest::checkTrees(Bench &bench)
{
    const QString dataCommand = bench.settings.bPassive ? "PASV" : "PORT 127,0,0,1,";
    QTemporaryDir downloaded;
    QVERIFY(bench.download.DownloadSelected(downloaded.path(), QString("/tree/\r\n")));
    const auto nonEmpty = [](const TreeFile &file) { return file.size > 0; };
    QCOMPARE(describe(treeOf(downloaded.path())), describe(expectedTree(kRemoteTree, kRemoteEmptyFolders, nonEmpty)));
    const BatchSummary &down = bench.download.summary();
    QCOMPARE(QList<int>({down.succeeded, down.zeroSize, down.failed}), QList<int>({6, 1, 0})); // the link's folder once
    QVERIFY(!bench.sent().filter(QRegularExpression("^" + dataCommand)).isEmpty());

    QTemporaryDir source;
    QVERIFY(writeTree(source.path(), kLocalTree));
    QVERIFY(bench.session.ChangeDir("/incoming/") && bench.session.PrintDir());
    QVERIFY(bench.upload.UploadSelected({source.filePath("up")}));
    const auto uploaded = [](const TreeFile &file) {
        return file.size > 0 && !file.path.contains("/.hidden/") && !file.path.contains("/.cache/");
    };
    const QString incoming = bench.server.rootDir() + "/incoming";
    QCOMPARE(describe(treeOf(incoming)), describe(expectedTree(kLocalTree, {}, uploaded)));
    QCOMPARE(QList<int>({bench.upload.summary().failed, bench.upload.summary().zeroSize}), QList<int>({0, 1}));
    QCOMPARE(bench.host.refreshes, 1);

    QTemporaryDir again;
    QVERIFY(bench.download.DownloadSelected(again.path(), QStringList{"/incoming/up/"}));
    const auto listed = [&](const TreeFile &file) { return uploaded(file) && !file.path.startsWith("up/."); };
    QCOMPARE(describe(treeOf(again.path())), describe(expectedTree(kLocalTree, {}, listed)));
    QCOMPARE(bench.download.summary().failed, 0);
    QCOMPARE(bench.session.sCurrentDir(), QString("/incoming/"));
}

// A refused TLS log-on: the question (answered No), nothing sent after AUTH TLS, the reason in red.
void TransferServerTest::logOnRefused_data()
{
    QTest::addColumn<ServerKind>("kind");
    QTest::addColumn<bool>("trustedAnother");
    QTest::addColumn<QString>("question");
    QTest::addColumn<QString>("red");
    // pyftpdlib offers no TLS and answers AUTH with 500: nothing more goes out, QUIT included.
    QTest::newRow("TLS required, server has none") << ServerKind::Pyftpdlib << false << "Log on failed"
                                                   << "refused AUTH TLS";
    QTest::newRow("changed certificate refused") << ServerKind::Vsftpd << true << "WARNING"
                                                 << "Certificate not trusted";
}

void TransferServerTest::logOnRefused()
{
    QFETCH(ServerKind, kind);
    QFETCH(bool, trustedAnother);
    QFETCH(QString, question);
    QFETCH(QString, red);
    Bench bench(kind);
    bench.server.setTls(ServerTls::Explicit);
    START_OR_FAIL(bench.server);
    const QString hostAndPort = bench.server.host() + ':' + QString::number(bench.server.port());
    const QString other = NormalizedFingerprint(QString(64, u'a'));
    if (trustedAnother)
        QVERIFY(CertificateTrust().remember(hostAndPort, other));
    bench.configure(true, ServerTls::Explicit);
    for (int i = 0; i < 2; ++i)
        bench.ui.answerQuestion(QuestionAnswer::No);
    QVERIFY(!bench.session.LogOn());
    bench.session.Disconnect();

    QVERIFY2(bench.ui.questions.value(0).text.contains(question), qPrintable(bench.ui.questions.value(0).text));
    QCOMPARE(bench.ui.questions.value(0).title, trustedAnother ? kCertificateQuestionTitle.toString() : "Vantrel");
    QCOMPARE(bench.sent(), QStringList{"AUTH TLS"});
    QVERIFY2(bench.ui.logLines(LogColour::Red).join('\n').contains(red), qPrintable(bench.ui.logText()));
    QCOMPARE(bench.ui.reconnectRequests, 0);
    QVERIFY(!bench.session.keepAliveActive());
    if (trustedAnother) {
        QCOMPARE(CertificateTrust().remembered(hostAndPort), other);
        QCOMPARE(bench.session.lastFailure().untrustedFingerprint, bench.server.certificateFingerprint());
    }
}

// NOOP goes out on the keep-alive timer only while nothing else is running.
void TransferServerTest::keepAliveWhileIdle()
{
    Bench bench(ServerKind::Pyftpdlib);
    START_OR_FAIL(bench.server);
    bench.configure(true, ServerTls::None);
    bench.session.setKeepAliveInterval(100);
    QVERIFY(bench.session.LogOn());
    QTRY_VERIFY(bench.sent().count("NOOP") >= 2);

    // Busy transfer dialog: no NOOP, over several ticks that asked and were told so.
    bench.ui.busy = true;
    QTRY_COMPARE(bench.session.nReplyState(), ReplyState::Done);
    const qsizetype before = bench.sent().count("NOOP");
    const int asked = bench.ui.busyQueries;
    QTRY_VERIFY(bench.ui.busyQueries >= asked + 4);
    QCOMPARE(bench.sent().count("NOOP"), before);
    QVERIFY2(bench.ui.failures.isEmpty(), qPrintable(bench.ui.failures.join('\n')));
}

QTEST_GUILESS_MAIN(TransferServerTest)
#include "TransferServerTest.moc"
