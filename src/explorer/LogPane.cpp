// The log pane: queued coloured lines written in batches.

#include "explorer/LogPane.h"

#include <QScrollBar>
#include <QTextBlock>
#include <QTextCursor>

namespace korvan {

namespace {

QString WithoutLineEnd(const QString &text)
{
    qsizetype end = text.size();
    while (end > 0 && (text.at(end - 1) == u'\n' || text.at(end - 1) == u'\r'))
        --end;
    QString line = text.left(end);
    // A line that carries line breaks of its own (a question repeated in the log)
    // becomes several blocks; a lone CR would otherwise show as a box.
    line.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    line.replace(u'\r', u'\n');
    return line;
}

QFont LogFont()
{
    QFont font(QStringLiteral("Tahoma"));
    font.setPointSizeF(8.5);
    font.setStyleHint(QFont::SansSerif);
    return font;
}

} // namespace

LogPane::LogPane(QWidget *parent) : QPlainTextEdit(parent), flushPacer([this] { writePending(); })
{
    setObjectName(QStringLiteral("rtbStatus"));
    setAccessibleName(QStringLiteral("rtbStatus"));
    setReadOnly(true);
    setUndoRedoEnabled(false);
    setMaximumBlockCount(kMaxLines);
    setLineWrapMode(QPlainTextEdit::NoWrap);
    setFont(LogFont());
}

QColor LogPane::colourOf(LogColour colour)
{
    // The value is blue-green-red: red in the lowest byte.
    const quint32 bgr = quint32(colour);
    return QColor(int(bgr & 0xFF), int((bgr >> 8) & 0xFF), int((bgr >> 16) & 0xFF));
}

const QTextCharFormat &LogPane::formatOf(LogColour colour)
{
    auto found = formats.find(colour);
    if (found == formats.end()) {
        QTextCharFormat format;
        format.setForeground(colourOf(colour));
        found = formats.emplace(colour, format).first;
    }
    return found->second;
}

void LogPane::appendLine(LogColour colour, const QString &text)
{
    pending.append({colour, WithoutLineEnd(text)});
    flushPacer.request();
}

bool LogPane::scrolledToEnd() const
{
    const QScrollBar *bar = verticalScrollBar();
    return bar->value() >= bar->maximum();
}

void LogPane::flushPending()
{
    flushPacer.flush();
}

void LogPane::writePending()
{
    if (pending.isEmpty())
        return;
    const bool followEnd = scrolledToEnd();
    QTextCursor cursor(document());
    cursor.movePosition(QTextCursor::End);
    bool firstLine = document()->isEmpty();
    cursor.beginEditBlock();
    // Only the newest lines can survive the block limit; skip writing the others.
    const qsizetype first = qMax<qsizetype>(0, pending.size() - kMaxLines);
    for (qsizetype i = first; i < pending.size(); ++i) {
        if (!firstLine)
            cursor.insertBlock();
        firstLine = false;
        cursor.insertText(pending.at(i).text, formatOf(pending.at(i).colour));
    }
    cursor.endEditBlock();
    pending.clear();
    if (followEnd)
        verticalScrollBar()->setValue(verticalScrollBar()->maximum());
}

void LogPane::clearLog()
{
    flushPacer.cancel();
    pending.clear();
    clear();
}

} // namespace korvan
