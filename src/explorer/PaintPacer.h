#pragma once
// Runs a widget's update at most once per interval. The engines report progress
// between the commands of a long run (a CWD per link of a big folder, a file per
// transfer); repainting the window on each of those event-loop turns costs more
// than the commands themselves, and nobody reads text that changes faster.

#include <QElapsedTimer>
#include <QTimer>

#include <functional>

namespace korvan {

class PaintPacer {
public:
    static constexpr int kIntervalMs = 40;

    explicit PaintPacer(std::function<void()> update);

    // The update runs on the next event-loop turn, or once the interval since the
    // last one has passed.
    void request();
    // Runs a requested update now.
    void flush();
    // Forgets a requested update.
    void cancel();

private:
    std::function<void()> update;
    QTimer timer;
    QElapsedTimer sinceLastUpdate;
};

} // namespace korvan
