#pragma once
// Driving widgets as a user does: controls found by name, text typed, a modal box answered once it is up, and
// screenshots of what the user sees.

#include <QApplication>
#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <QPointer>
#include <QPushButton>
#include <QTest>
#include <QTimer>

#include <functional>

namespace korvan::test {

template <typename T = QLineEdit> T *control(QWidget &dialog, const QString &name)
{
    T *found = dialog.findChild<T *>(name);
    if (!found)
        qFatal("no control %s", qPrintable(name));
    return found;
}

inline void clickChild(QWidget *box, const QString &objectName)
{
    if (auto *button = box->findChild<QPushButton *>(objectName))
        button->click();
}

// Answers the next modal dialog (it runs its own loop); the returned pointer turns null once it has.
inline QPointer<QTimer> whenModal(std::function<void(QWidget *)> answer)
{
    auto *poll = new QTimer;
    QObject::connect(poll, &QTimer::timeout, poll, [poll, answer] {
        if (QWidget *box = QApplication::activeModalWidget()) {
            poll->deleteLater();
            poll->stop();
            answer(box);
        }
    });
    poll->start(5);
    return poll;
}

// "<title>: <text>" of a question or message box.
inline QString questionOf(QWidget *box)
{
    const auto *label = box->findChild<QLabel *>(u"Question"_qs);
    return box->windowTitle() + u": "_qs + (label ? label->text() : u"<no text>"_qs);
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

inline QString screenshotPath(const QString &name)
{
    const QString dir = qEnvironmentVariable("KORVAN_BUILD_DIR", QDir::tempPath()) + u"/screenshots"_qs;
    QDir().mkpath(dir);
    return dir + u'/' + name + u".png"_qs;
}

// The widget with the dialogs that float over it drawn where they stand.
inline void saveScreenshot(QWidget *widget, const QString &name)
{
    QPixmap shot = widget->grab();
    QPainter painter(&shot);
    for (QWidget *top : QApplication::topLevelWidgets()) {
        const QWidget *owner = top->parentWidget();
        if (top != widget && top->isVisible() && owner && owner->window() == widget->window())
            painter.drawPixmap(widget->mapFromGlobal(top->mapToGlobal(QPoint(0, 0))), top->grab());
    }
    painter.end();
    QVERIFY(shot.save(screenshotPath(name)));
}

} // namespace korvan::test
