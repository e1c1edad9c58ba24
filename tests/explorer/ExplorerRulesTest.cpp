// The explorer window's rules that need no window: when each command is enabled,
// the name RMD gets in a recursive delete and the folder a typed address asks for.

#include "explorer/AddressCombo.h"
#include "explorer/CommandStates.h"
#include "explorer/RemoteOperations.h"

#include <QTest>

using namespace korvan;

class ExplorerRulesTest : public QObject {
    Q_OBJECT
private slots:
    void commandStates_data();
    void commandStates();
    void removeDirName_data();
    void removeDirName();
    void typedAddress_data();
    void typedAddress();
};

// Enabled commands written as letters, in menu order: M make dir, R rename,
// D delete, A abort, F refresh, C connect, Q quick connect, X disconnect,
// P passive switch, S select all, I invert, U go up.
static QString EnabledLetters(const CommandStates &s)
{
    QString letters;
    const std::pair<bool, char> flags[] = {{s.makeDir, 'M'},      {s.rename, 'R'},          {s.remove, 'D'},
                                           {s.abort, 'A'},        {s.refresh, 'F'},         {s.connect, 'C'},
                                           {s.quickConnect, 'Q'}, {s.disconnect, 'X'},      {s.switchPassive, 'P'},
                                           {s.selectAll, 'S'},    {s.invertSelection, 'I'}, {s.goUp, 'U'}};
    for (const auto &[on, letter] : flags) {
        if (on)
            letters += QLatin1Char(letter);
    }
    return letters;
}

void ExplorerRulesTest::commandStates_data()
{
    QTest::addColumn<bool>("idle");
    QTest::addColumn<bool>("connected");
    QTest::addColumn<bool>("anySelected");
    QTest::addColumn<int>("count");
    QTest::addColumn<bool>("inProgress");
    QTest::addColumn<bool>("nodeHasParent");
    QTest::addColumn<QString>("enabled");
    QTest::newRow("before connecting") << true << false << false << 0 << false << false << "CQ";
    QTest::newRow("connected, empty folder at the root") << true << true << false << 0 << false << false << "MAFXP";
    QTest::newRow("connected, entries, none selected") << true << true << false << 3 << false << true << "MAFXPSIU";
    QTest::newRow("connected, one selected") << true << true << true << 3 << false << true << "MRDAFXPSIU";
    QTest::newRow("transfer running") << false << true << true << 3 << true << true << "XP";
    QTest::newRow("reply awaited, dialog idle") << true << true << true << 3 << true << true << "MRDAFXPSI";
    QTest::newRow("transfer dialog up while not connected") << false << false << false << 0 << true << false << "";
}

void ExplorerRulesTest::commandStates()
{
    QFETCH(bool, idle);
    QFETCH(bool, connected);
    QFETCH(bool, anySelected);
    QFETCH(int, count);
    QFETCH(bool, inProgress);
    QFETCH(bool, nodeHasParent);
    QFETCH(QString, enabled);
    const CommandInputs in{idle, connected, anySelected, count, inProgress, nodeHasParent};
    QCOMPARE(EnabledLetters(ComputeCommandStates(in)), enabled);
}

void ExplorerRulesTest::removeDirName_data()
{
    QTest::addColumn<QString>("folder");
    QTest::addColumn<QString>("currentDir");
    QTest::addColumn<QString>("sent");
    QTest::newRow("below the current folder") << "/pub/a/b/" << "/pub/" << "a/b/";
    QTest::newRow("the root: every slash would go") << "/a/b/c/" << "/" << "a/b/c/";
    QTest::newRow("current folder recurs deeper") << "/x/y/x/" << "/x/" << "y/x/";
    QTest::newRow("recurring text that still names it") << "/x/x/" << "/x/" << "x/";
    QTest::newRow("outside the current folder") << "/other/a/" << "/pub/" << "/other/a/";
}

void ExplorerRulesTest::removeDirName()
{
    QFETCH(QString, folder);
    QFETCH(QString, currentDir);
    QFETCH(QString, sent);
    QCOMPARE(RemoveDirName(folder, currentDir), sent);
}

void ExplorerRulesTest::typedAddress_data()
{
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QString>("folder");
    QTest::newRow("full address: server ignored") << "ftp://other.host/pub/x" << "/pub/x";
    QTest::newRow("upper-case scheme") << "FTP://h/a" << "/a";
    QTest::newRow("explicit TLS scheme") << "ftpes://h/a b" << "/a b";
    QTest::newRow("implicit TLS scheme") << "FTPS://h:990/a" << "/a";
    QTest::newRow("mixed-case scheme is not removed") << "Ftp://h/a" << "//h/a";
    QTest::newRow("a folder") << "/srv/" << "/srv/";
    QTest::newRow("no slash passes unchanged") << "pub" << "pub";
}

void ExplorerRulesTest::typedAddress()
{
    QFETCH(QString, typed);
    QFETCH(QString, folder);
    QCOMPARE(FolderFromTypedAddress(typed), folder);
}

QTEST_APPLESS_MAIN(ExplorerRulesTest)
#include "ExplorerRulesTest.moc"
