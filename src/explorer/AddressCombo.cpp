#include "explorer/AddressCombo.h"

#include <QKeyEvent>
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
    // The encrypted schemes name the same server; the box only changes folders.
    for (const QString &scheme :
         {u"ftp://"_qs, u"FTP://"_qs, u"ftpes://"_qs, u"FTPES://"_qs, u"ftps://"_qs, u"FTPS://"_qs})
        text.remove(scheme);
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
    // Enter is taken on the line edit itself: the combo would pass the key on to
    // its line edit once more, and a second request would reload the list.
    lineEdit()->installEventFilter(this);
}

bool AddressCombo::eventFilter(QObject *watched, QEvent *event)
{
    if (watched != lineEdit() || event->type() != QEvent::KeyPress)
        return QComboBox::eventFilter(watched, event);
    const int key = static_cast<QKeyEvent *>(event)->key();
    if (key != Qt::Key_Return && key != Qt::Key_Enter)
        return QComboBox::eventFilter(watched, event);
    if (!currentText().isEmpty())
        emit folderEntered(FolderFromTypedAddress(currentText()));
    return true;
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
