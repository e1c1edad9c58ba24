#include "explorer/PaintPacer.h"

#include <algorithm>

namespace korvan {

PaintPacer::PaintPacer(std::function<void()> update) : update(std::move(update))
{
    timer.setSingleShot(true);
    QObject::connect(&timer, &QTimer::timeout, [this] { flush(); });
}

void PaintPacer::request()
{
    if (timer.isActive())
        return;
    const qint64 since = sinceLastUpdate.isValid() ? sinceLastUpdate.elapsed() : kIntervalMs;
    timer.start(int(std::max<qint64>(0, kIntervalMs - since)));
}

void PaintPacer::flush()
{
    timer.stop();
    sinceLastUpdate.start();
    update();
}

void PaintPacer::cancel()
{
    timer.stop();
}

} // namespace korvan
