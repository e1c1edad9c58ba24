#pragma once
// Driving the connect dialogs as a user does: controls found by name, text
// typed, the dialog closed in each of its ways, screenshots kept.

#include "korvan/FtpSettings.h"

#include <QApplication>
#include <QDir>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>

namespace dialogDriving {

template <typename T = QLineEdit> T *control(QWidget &dialog, const QString &name)
{
    T *found = dialog.findChild<T *>(name);
    if (!found)
        qFatal("no control %s", qPrintable(name));
    return found;
}

inline void type(QLineEdit *box, const QString &text)
{
    box->selectAll();
    box->del();
    QTest::keyClicks(box, text);
}

inline void saveScreenshot(QWidget &widget, const QString &name)
{
    const QString dir = qEnvironmentVariable("KORVAN_BUILD_DIR") + u"/screenshots"_qs;
    QDir().mkpath(dir);
    widget.grab().save(dir + u'/' + name + u".png"_qs);
}

// server, user, password, folder, port, waiting time, "passive" or "active", encryption
inline QStringList summary(const korvan::FtpSettings &s)
{
    return {s.sFTPServer, s.sFTPUser, s.sFTPPassword, s.sFTPDir, QString::number(s.nFTPPort),
            QString::number(s.nFTPWaitTime), s.bPassive ? u"passive"_qs : u"active"_qs,
            QString::number(int(s.nEncryption))};
}

// Rows: how the dialog is closed, whether Canceled() is then true, whether
// the settings were written.
inline void closingRows()
{
    QTest::addColumn<QString>("how");
    QTest::addColumn<bool>("canceled");
    QTest::addColumn<bool>("settingsWritten");
    QTest::newRow("Connect") << "cmdConnect" << false << true;
    QTest::newRow("Cancel") << "cmdCancel" << true << false;
    QTest::newRow("Escape") << "escape" << true << false;
    QTest::newRow("close box") << "close" << false << false;
}

inline void closeBy(QWidget &dialog, const QString &how)
{
    if (how == u"escape")
        QTest::keyClick(&dialog, Qt::Key_Escape);
    else if (how == u"close")
        dialog.close();
    else
        QTest::mouseClick(control<QPushButton>(dialog, how), Qt::LeftButton);
}

// The controls a keyboard reaches that a screen reader could not name.
inline QStringList unnamedControls(QWidget &dialog)
{
    QStringList unnamed;
    for (const QWidget *child : dialog.findChildren<QWidget *>()) {
        if (child->focusPolicy() & Qt::TabFocus && child->accessibleName().isEmpty())
            unnamed << child->objectName();
    }
    return unnamed;
}

} // namespace dialogDriving
