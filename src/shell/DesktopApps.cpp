#include "shell/DesktopApps.h"

#include <QFile>
#include <QMimeDatabase>
#include <QProcess>
#include <QStandardPaths>
#include <QUrl>

namespace korvan {

namespace {

// xdg-mime is a small shell script: it answers in tens of milliseconds.
constexpr int kQueryTimeoutMs = 3000;

QString DefaultApplicationForType(const QString &mimeType)
{
    QProcess query;
    query.start(u"xdg-mime"_qs, {u"query"_qs, u"default"_qs, mimeType});
    if (!query.waitForFinished(kQueryTimeoutMs) || query.exitCode() != 0)
        return {};
    return QString::fromLocal8Bit(query.readAllStandardOutput()).trimmed();
}

// The entry's Exec line: the program it runs and its arguments.
QString CommandOfEntry(const QString &desktopId)
{
    const QString entry =
        QStandardPaths::locate(QStandardPaths::ApplicationsLocation, desktopId, QStandardPaths::LocateFile);
    QFile file(entry);
    if (entry.isEmpty() || !file.open(QIODevice::ReadOnly | QIODevice::Text))
        return {};
    while (!file.atEnd()) {
        const QString line = QString::fromUtf8(file.readLine()).trimmed();
        if (line.startsWith(u"Exec="_qs))
            return line.mid(5);
    }
    return {};
}

// The command for one file: %f, %F, %u and %U become the file, other field codes go.
QStringList CommandForFile(const QString &command, const QString &path)
{
    QStringList words;
    for (const QString &word : QProcess::splitCommand(command)) {
        if (word == u"%f" || word == u"%F")
            words << path;
        else if (word == u"%u" || word == u"%U")
            words << QUrl::fromLocalFile(path).toString();
        else if (!(word.size() == 2 && word.startsWith(u'%')))
            words << word;
    }
    return words;
}

// The desktop entry ("mousepad.desktop") that opens files of path's type.
QString DefaultApplicationFor(const QString &path)
{
    return DefaultApplicationForType(QMimeDatabase().mimeTypeForFile(path).name());
}

} // namespace

QString PlainTextEditor()
{
    const QString program = QProcess::splitCommand(CommandOfEntry(DefaultApplicationForType(u"text/plain"_qs))).value(0);
    return program.isEmpty() ? u"editor"_qs : program;
}

bool OpenWithDefaultApplication(const QString &path)
{
    const QStringList command = CommandForFile(CommandOfEntry(DefaultApplicationFor(path)), path);
    return !command.isEmpty() && QProcess::startDetached(command.first(), command.mid(1));
}

} // namespace korvan
