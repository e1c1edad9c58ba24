#pragma once
// KDE's file manager and desktop (Dolphin, Plasma) take a drop of entries that
// are not files yet through a pair of formats: the D-Bus service and object path
// of the drag's source. On the drop they call extractSelectedFilesTo(folder) on
// that object and go on at once; the source then fills the folder itself.

#include <QObject>
#include <QString>

namespace korvan {

class DropExtractService : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.ark.DndExtract")
public:
    static const QString kServiceFormat; // "application/x-kde-ark-dndextract-service"
    static const QString kPathFormat;    // "application/x-kde-ark-dndextract-path"

    // Registers the object on the session bus; without a bus, service() stays empty.
    explicit DropExtractService(QObject *parent = nullptr);
    ~DropExtractService() override;

    QString service() const { return busService; }
    QString path() const { return objectPath; }

public slots:
    // The folder, a local path or "desktop:/". Answered at once: the download
    // runs after the call has returned (extractRequested is queued).
    Q_SCRIPTABLE void extractSelectedFilesTo(const QString &folder);

signals:
    void extractRequested(const QString &folder);

private:
    QString busService;
    QString objectPath;
};

} // namespace korvan
