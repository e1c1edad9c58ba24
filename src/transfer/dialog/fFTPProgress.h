#pragma once
// The transfer progress dialog: where from, where to, the running file, a bar for
// the file and one for the whole batch, the amount, the speed and the times, and
// a Cancel button that asks first. It is a child window inside the explorer window
// (its parent), centred over it with a caption strip of its own, so it cannot get
// lost behind other windows and shows in the window's screenshots; it blocks
// nothing itself. The engines drive it through the members below.
//
// Byte counts are kept as numbers of their own (5 GiB and more): the bars only
// show a scaled fraction, the one-second tick reads the real values.

#include <QElapsedTimer>
#include <QFrame>
#include <QString>
#include <QTimer>

class QLabel;
class QProgressBar;
class QPushButton;

namespace korvan {

class fFTPProgress : public QFrame {
    Q_OBJECT
public:
    explicit fFTPProgress(QWidget *mainWindow);

    // Starts the dialog: caption, start time, Busy on, Canceled off, shown over the
    // main window, the tick running, navigationLocked(true).
    void SetCaption(const QString &caption);
    // Value first, then maximum; a negative one leaves that part unchanged.
    void SetPrg1(double value, double maximum);
    void SetPrg2(double value, double maximum);
    bool Canceled() const { return canceled; }
    void setCanceled(bool value) { canceled = value; }
    bool Busy() const { return busy; }
    // The engines' "From:", "To:" and "File:" texts.
    void setLabels(const QString &from, const QString &to, const QString &file);
    // Timer off, hidden, Busy off; unloaded() and navigationLocked(false). The
    // next SetCaption starts again from the first texts.
    void Unload();

signals:
    // The window disables its tree, address box, tool bar and popup menu while true.
    void navigationLocked(bool locked);
    // The dialog has gone: the window closes its data connection.
    void unloaded();

protected:
    // Escape asks to cancel, as the Cancel button does.
    void keyPressEvent(QKeyEvent *event) override;
    // Stays centred while the main window is resized.
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    struct Bar {
        double value = 0;
        double maximum = 100; // a fresh bar's range is 0 to 100
    };

    void buildControls();
    void showFirstTexts();
    void setBar(Bar &bar, QProgressBar *widget, double value, double maximum);
    void placeOverMainWindow();
    void tick();
    void askCancel();

    QLabel *captionStrip = nullptr;
    QLabel *lblFrom = nullptr;
    QLabel *lblTo = nullptr;
    QLabel *lblFile = nullptr;
    QLabel *lblSize = nullptr;
    QLabel *lblSpeed = nullptr;
    QProgressBar *pBar1 = nullptr;
    QProgressBar *pBar2 = nullptr;
    QPushButton *cmdCancel = nullptr;
    QTimer tmrUpDown;

    Bar bar1;
    Bar bar2;
    QString captionText;
    QElapsedTimer startTime;
    bool canceled = false;
    bool busy = false;
    bool asking = false;
};

} // namespace korvan
