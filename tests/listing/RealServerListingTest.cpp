// cFTPList on what the four real servers send for LIST: one folder of awkward
// entries per server, its listing captured over the wire and every entry that
// the parser makes of it compared.

#include <korvan/cFTPList.h>

#include "fixtures/ServerRows.h"
#include "fixtures/TestFiles.h"
#include "servers/FtpServer.h"

#include <QLocale>
#include <QTest>

#include <sys/stat.h>

using korvan::cFTPList;
using namespace korvan::test;

class RealServerListingTest : public QObject {
    Q_OBJECT
private slots:
    // The permission words the servers show follow from it.
    void initTestCase() { ::umask(022); }
    void listing_data() { addServerRows(); }
    void listing();
};

// name|size|attr|link|d or f, and the date: the old file's exactly, the others'
// as "now" when they are within the hours a server's time zone may be off.
void RealServerListingTest::listing()
{
    QFETCH(ServerKind, kind);
    FtpServer server(kind);
    START_OR_FAIL(server);
    const QString root = server.rootDir();
    const QString absTarget = root + u"/folder"_qs;
    QVERIFY(writeTree(root,
                      {{u"empty.bin"_qs, 0},
                       {u"two  blanks.txt"_qs, 3},
                       {u"Grüße ✓.txt"_qs, 2},
                       {u".hidden"_qs, 1},
                       {u"old.txt"_qs, 4},
                       {u"big.bin"_qs, 0}},
                      {u"folder"_qs}));
    QFile big(root + u"/big.bin"_qs);
    QVERIFY(big.open(QIODevice::ReadWrite) && big.resize(123456789)); // sparse: no data blocks written
    QFile old(root + u"/old.txt"_qs);
    // Noon UTC: 15 January in every time zone a server may list in.
    QVERIFY(
        old.open(QIODevice::ReadWrite)
        && old.setFileTime(QDateTime(QDate(2003, 1, 15), QTime(12, 0), Qt::UTC), QFileDevice::FileModificationTime));
    QVERIFY(QFile::link(u"folder"_qs, root + u"/rel-link"_qs) && QFile::link(absTarget, root + u"/abs-link"_qs));
    server.handOver();

    QString error;
    QString text = QString::fromUtf8(peerListing(server, true, &error));
    QVERIFY2(error.isEmpty(), qPrintable(error));
    QVERIFY2(text.contains(u" two  blanks.txt\r\n"_qs), qPrintable(text)); // the server really sent two blanks
    cFTPList list;
    list.setFTPFileList(text);

    QStringList entries;
    for (qint32 i = 0; i < list.FileNumb(); ++i) {
        entries << QStringList{list.FileName(i), list.FileSize(i), list.FileAttr(i), list.FileLink(i),
                               list.IsFolder(i) ? u"d"_qs : u"f"_qs}
                       .join(u'|');
        const QDateTime listed = QLocale(QLocale::English).toDateTime(list.FileDate(i), u"M/d/yyyy h:mm AP"_qs);
        if (list.FileName(i) == u"old.txt")
            QCOMPARE(list.FileDate(i), u"1/15/2003 12:00 AM"_qs);
        else
            QVERIFY2(qAbs(listed.secsTo(QDateTime::currentDateTime())) < 15 * 3600, qPrintable(list.FileDate(i)));
    }
    entries.sort();
    const QString absLink = u"abs-link|%1|lrwxrwxrwx|%2|f"_qs.arg(absTarget.toUtf8().size()).arg(absTarget);
    QCOMPARE(entries,
             (QStringList{u"Grüße ✓.txt|2|-rw-r--r--||f"_qs, absLink, u"big.bin|123,456,789|-rw-r--r--||f"_qs,
                          u"empty.bin|0|-rw-r--r--||f"_qs, u"folder||drwxr-xr-x||d"_qs, u"old.txt|4|-rw-r--r--||f"_qs,
                          u"rel-link|6|lrwxrwxrwx|folder|f"_qs, u"two blanks.txt|3|-rw-r--r--||f"_qs}));
}

QTEST_GUILESS_MAIN(RealServerListingTest)
#include "RealServerListingTest.moc"
