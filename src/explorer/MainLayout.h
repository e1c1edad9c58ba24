#pragma once
// The explorer window's client area: the top band (tree toggle, tool bar, address
// combo), the folder tree beside the file list, the splitter grip and the log
// pane. The share of the upper panes (SplitterPercent) is set by dragging the grip.

#include <QWidget>

class QFrame;
class QSplitter;

namespace korvan {

// SplitterPercent after a drag: where the middle of the drag line ended, as a share
// of the height between the top band and an equal band at the bottom; 10..90.
double SplitterPercentFor(int dragLineTop, int dragLineHeight, int bandHeight, int innerHeight);

class SplitterGrip;

class MainLayout : public QWidget {
    Q_OBJECT
public:
    MainLayout(QWidget *parent, QWidget *tBar2, QWidget *tBar1, QWidget *cmbURL, QWidget *tree, QWidget *list,
               QWidget *log);

    double SplitterPercent() const { return splitterPercent; }
    void setSplitterPercent(double percent);
    void setTreeVisible(bool visible);
    bool treeVisible() const;
    // The grip between the upper panes and the log (InVisLine).
    QWidget *grip() const;

protected:
    void resizeEvent(QResizeEvent *event) override;

private:
    friend class SplitterGrip;
    void layOut();
    int bandHeight() const;
    void beginDrag();
    void moveDrag(int gripY);
    void endDrag();

    QWidget *tBar2;
    QWidget *tBar1;
    QWidget *cmbURL;
    QWidget *log;
    QSplitter *panes;
    SplitterGrip *inVisLine;
    QFrame *dragLine;
    double splitterPercent = 50;
};

} // namespace korvan
