#include "explorer/MainLayout.h"

#include <QFrame>
#include <QMouseEvent>
#include <QSplitter>

#include <algorithm>

namespace korvan {

namespace {
constexpr int kGripHeight = 5;
constexpr int kMargin = 2;
} // namespace

double SplitterPercentFor(int dragLineTop, int dragLineHeight, int bandHeight, int innerHeight)
{
    const int usable = innerHeight - 2 * bandHeight;
    if (usable <= 0)
        return 50;
    const double percent = double(dragLineTop + dragLineHeight / 2.0 - bandHeight) * 100.0 / usable;
    return std::clamp(percent, 10.0, 90.0);
}

// The invisible strip between the panes and the log that the user drags.
class SplitterGrip : public QWidget {
public:
    explicit SplitterGrip(MainLayout *layout) : QWidget(layout), owner(layout)
    {
        setObjectName(u"InVisLine"_qs);
        setAccessibleName(u"InVisLine"_qs);
        setCursor(Qt::SizeVerCursor);
    }

protected:
    void mousePressEvent(QMouseEvent *event) override
    {
        if (event->button() == Qt::LeftButton)
            owner->beginDrag();
    }
    void mouseMoveEvent(QMouseEvent *event) override
    {
        if (event->buttons() & Qt::LeftButton)
            owner->moveDrag(y() + qRound(event->position().y()));
    }
    void mouseReleaseEvent(QMouseEvent *event) override
    {
        if (event->button() == Qt::LeftButton)
            owner->endDrag();
    }

private:
    MainLayout *owner;
};

MainLayout::MainLayout(QWidget *parent, QWidget *tBar2, QWidget *tBar1, QWidget *cmbURL, QWidget *tree, QWidget *list,
                       QWidget *log)
    : QWidget(parent), tBar2(tBar2), tBar1(tBar1), cmbURL(cmbURL), log(log)
{
    for (QWidget *child : {tBar2, tBar1, cmbURL, log})
        child->setParent(this);
    // Tree and list share the upper band; the user may move the border between them.
    panes = new QSplitter(Qt::Horizontal, this);
    panes->setChildrenCollapsible(false);
    panes->addWidget(tree);
    panes->addWidget(list);
    panes->setStretchFactor(0, 1);
    panes->setStretchFactor(1, 3);
    inVisLine = new SplitterGrip(this);
    dragLine = new QFrame(this);
    dragLine->setObjectName(u"DragLine"_qs);
    dragLine->setFrameShape(QFrame::HLine);
    dragLine->setFrameShadow(QFrame::Sunken);
    dragLine->setLineWidth(2);
    dragLine->hide();
}

QWidget *MainLayout::grip() const
{
    return inVisLine;
}

void MainLayout::setSplitterPercent(double percent)
{
    splitterPercent = std::clamp(percent, 10.0, 90.0);
    layOut();
}

void MainLayout::setTreeVisible(bool visible)
{
    panes->widget(0)->setVisible(visible);
    layOut();
}

bool MainLayout::treeVisible() const
{
    return !panes->widget(0)->isHidden();
}

void MainLayout::resizeEvent(QResizeEvent *)
{
    layOut();
}

int MainLayout::bandHeight() const
{
    return std::max({tBar2->sizeHint().height(), tBar1->sizeHint().height(), cmbURL->sizeHint().height()});
}

// The top band holds the tree toggle, the tool bar and the address combo (which takes
// the rest of the width); the upper panes get SplitterPercent of what is left.
void MainLayout::layOut()
{
    if (window()->isMinimized())
        return;
    const int band = bandHeight();
    const int width = this->width();
    int x = 0;
    for (QWidget *bar : {tBar2, tBar1}) {
        const int barWidth = bar->sizeHint().width();
        bar->setGeometry(x, 0, barWidth, band);
        // A gap tells the tree toggle from the connection buttons.
        x += barWidth + 2 * kMargin;
    }
    const int comboHeight = cmbURL->sizeHint().height();
    cmbURL->setGeometry(x + kMargin, (band - comboHeight) / 2, std::max(0, width - x - 2 * kMargin), comboHeight);

    const int top = band + kMargin;
    const int usable = std::max(0, height() - top - kGripHeight);
    const int upper = qRound(usable * splitterPercent / 100.0);
    panes->setGeometry(0, top, width, upper);
    inVisLine->setGeometry(0, top + upper, width, kGripHeight);
    log->setGeometry(0, top + upper + kGripHeight, width, std::max(0, usable - upper));
}

void MainLayout::beginDrag()
{
    dragLine->setGeometry(inVisLine->geometry());
    dragLine->raise();
    dragLine->show();
}

void MainLayout::moveDrag(int gripY)
{
    const int top = std::clamp(gripY - kGripHeight / 2, 0, std::max(0, height() - kGripHeight));
    dragLine->move(0, top);
}

void MainLayout::endDrag()
{
    dragLine->hide();
    splitterPercent = SplitterPercentFor(dragLine->y(), dragLine->height(), bandHeight(), height());
    layOut();
}

} // namespace korvan
