#include "shell/EventPump.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QPointer>
#include <QTimer>

namespace korvan {

namespace {

QTimer *wakeUpTimer()
{
    static QPointer<QTimer> timer;
    if (!timer) {
        timer = new QTimer(QCoreApplication::instance());
        timer->setSingleShot(true);
    }
    return timer;
}

} // namespace

void pumpEvents(int maxWaitMs)
{
    // The armed timer bounds the wait: WaitForMoreEvents alone could block forever.
    QTimer *timer = wakeUpTimer();
    timer->start(maxWaitMs);
    QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
    timer->stop();
}

void drainEvents()
{
    QCoreApplication::processEvents(QEventLoop::AllEvents);
}

double monotonicSeconds()
{
    static QElapsedTimer clock = [] {
        QElapsedTimer started;
        started.start();
        return started;
    }();
    return double(clock.nsecsElapsed()) / 1e9;
}

} // namespace korvan
