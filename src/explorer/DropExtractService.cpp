#include "explorer/DropExtractService.h"

#include <QDBusConnection>
#include <QTimer>

namespace korvan {

const QString DropExtractService::kServiceFormat = QStringLiteral("application/x-kde-ark-dndextract-service");
const QString DropExtractService::kPathFormat = QStringLiteral("application/x-kde-ark-dndextract-path");

DropExtractService::DropExtractService(QObject *parent) : QObject(parent)
{
    static int serial = 0;
    QDBusConnection bus = QDBusConnection::sessionBus();
    const QString path = u"/DndExtract/"_qs + QString::number(++serial);
    if (bus.isConnected() && bus.registerObject(path, this, QDBusConnection::ExportScriptableSlots)) {
        busService = bus.baseService();
        objectPath = path;
    }
}

DropExtractService::~DropExtractService()
{
    if (!objectPath.isEmpty())
        QDBusConnection::sessionBus().unregisterObject(objectPath);
}

void DropExtractService::extractSelectedFilesTo(const QString &folder)
{
    QTimer::singleShot(0, this, [this, folder] { emit extractRequested(folder); });
}

} // namespace korvan
