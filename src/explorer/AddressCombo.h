#pragma once
// The address combo (cmbURL): "ftp://" + server + folder of every folder shown, and
// a typed address taken as a folder on the current server when Enter is pressed.

#include <QComboBox>

namespace korvan {

// The first entry equal to text (exact, case-sensitive), or -1.
int FindComboItem(const QComboBox &combo, const QString &text);
// What Enter asks for: "ftp://" and "FTP://" removed, then the text from the first
// "/" on; text without "/" unchanged. The server part of an address is ignored.
QString FolderFromTypedAddress(QString text);

class AddressCombo : public QComboBox {
    Q_OBJECT
public:
    explicit AddressCombo(QWidget *parent = nullptr);

    // Selects the entry of "ftp://" + server + folder, adding it when missing.
    void ShowAddressInCombo(const QString &server, const QString &folder);

signals:
    void folderEntered(const QString &folder);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;
};

} // namespace korvan
