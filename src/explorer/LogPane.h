#pragma once
// The coloured log of commands and replies under the file list (rtbStatus).
// Lines arrive one at a time from the engines, often thousands in a burst (a long
// multi-line reply, a big transfer batch): they are queued and written in one edit
// block on a later turn of the event loop (at most every PaintPacer interval), so
// the pane never re-renders per line.

#include "explorer/PaintPacer.h"
#include "ftp/SessionUi.h"

#include <QPlainTextEdit>
#include <QTextCharFormat>
#include <QVector>

#include <map>

namespace korvan {

class LogPane : public QPlainTextEdit {
    Q_OBJECT
public:
    // Oldest lines go once the pane holds this many.
    static constexpr int kMaxLines = 20000;

    explicit LogPane(QWidget *parent = nullptr);

    // One line, already masked, normally ending in CR LF (the line end is dropped).
    void appendLine(LogColour colour, const QString &text);
    // Writes what is queued now instead of on a later event-loop turn.
    void flushPending();
    // Empties the pane, queued lines included.
    void clearLog();

    static QColor colourOf(LogColour colour);

private:
    struct PendingLine {
        LogColour colour;
        QString text;
    };
    const QTextCharFormat &formatOf(LogColour colour);
    bool scrolledToEnd() const;
    void writePending();

    QVector<PendingLine> pending;
    PaintPacer flushPacer;
    std::map<LogColour, QTextCharFormat> formats;
};

} // namespace korvan
