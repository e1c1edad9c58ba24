#include "explorer/AddressCombo.h"

#include <QLineEdit>

namespace korvan {

int FindComboItem(const QComboBox &combo, const QString &text)
{
    for (int i = 0; i < combo.count(); ++i) {
        if (combo.itemText(i) == text)
            return i;
    }
    return -1;
}

QString FolderFromTypedAddress(QString text)
{
    text.remove(u"ftp://"_qs);
    text.remove(u"FTP://"_qs);
    const qsizetype slash = text.indexOf(u'/');
    return slash < 0 ? text : text.mid(slash);
}

AddressCombo::AddressCombo(QWidget *parent) : QComboBox(parent)
{
    setObjectName(u"cmbURL"_qs);
    setAccessibleName(u"cmbURL"_qs);
    setEditable(true);
    // Enter changes the folder; the combo must not add the typed text by itself.
    setInsertPolicy(QComboBox::NoInsert);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    connect(lineEdit(), &QLineEdit::returnPressed, this, [this] {
        if (!currentText().isEmpty())
            emit folderEntered(FolderFromTypedAddress(currentText()));
    });
}

void AddressCombo::ShowAddressInCombo(const QString &server, const QString &folder)
{
    const QString address = u"ftp://"_qs + server + folder;
    int index = FindComboItem(*this, address);
    if (index < 0) {
        addItem(address);
        index = count() - 1;
    }
    setCurrentIndex(index);
    lineEdit()->setCursorPosition(int(address.size()));
}

} // namespace korvan
