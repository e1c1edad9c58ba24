// The file list's views over one model and one selection.

#include "explorer/FileListView.h"

#include "explorer/FileListModel.h"

#include <QContextMenuEvent>
#include <QDropEvent>
#include <QMimeData>
#include <QUrl>
#include <QEvent>
#include <QHeaderView>
#include <QItemSelectionModel>
#include <QListView>
#include <QMouseEvent>
#include <QRegularExpression>
#include <QStyledItemDelegate>
#include <QTreeView>

#include <array>
#include <functional>

namespace korvan {

namespace {

const QString kToolTip = QStringLiteral("Use Drag-and-Drop or Right-button context menu");

// Each Details column is as wide as its caption times this factor.
constexpr std::array<double, FileListModel::ColumnCount> kWidthFactors = {4.0, 1.7, 5.0, 3.0, 2.0};

// Drags out and drops in are the window's; QListView::setViewMode turns both off
// for a view whose items do not move, so they are turned on again after it.
void EnableDragAndDrop(QAbstractItemView &view)
{
    view.setDragEnabled(true);
    view.setAcceptDrops(true);
    view.setDragDropMode(QAbstractItemView::DragDrop);
}

void SetUpItemView(QAbstractItemView &view, const QString &objectName)
{
    view.setObjectName(objectName);
    view.setAccessibleName(QStringLiteral("LV1"));
    view.setToolTip(kToolTip);
    view.setSelectionMode(QAbstractItemView::ExtendedSelection);
    view.setSelectionBehavior(QAbstractItemView::SelectRows);
    view.setEditTriggers(QAbstractItemView::NoEditTriggers);
    view.setContextMenuPolicy(Qt::PreventContextMenu);
    EnableDragAndDrop(view);
}

// The local paths of a drop, or nothing when anything in it is not a local file.
QStringList LocalPathsOf(const QMimeData *data)
{
    QStringList paths;
    if (!data || !data->hasUrls())
        return paths;
    for (const QUrl &url : data->urls()) {
        if (!url.isLocalFile())
            return {};
        paths.append(url.toLocalFile());
    }
    return paths;
}

// A view that hands the start of a drag to the list instead of dragging model data.
template <class View> class DragOutView : public View {
public:
    DragOutView(QWidget *parent, std::function<void()> onDrag) : View(parent), onDrag(std::move(onDrag)) {}

protected:
    void startDrag(Qt::DropActions) override { onDrag(); }

private:
    std::function<void()> onDrag;
};

} // namespace

// Every item of the icon and list modes the same size: the view lays out 100,000
// items without asking each for its size, and long names wrap or shorten inside
// the cell instead of widening it.
class CellDelegate : public QStyledItemDelegate {
public:
    using QStyledItemDelegate::QStyledItemDelegate;
    QSize cell;
    bool wrapNames = false;

    QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const override
    {
        return cell.isValid() ? cell : QStyledItemDelegate::sizeHint(option, index);
    }

protected:
    // Under a large icon a name wraps only at blanks; file names rather run on
    // with "-", "_" and ".": let the line break after those too, as the shell does.
    void initStyleOption(QStyleOptionViewItem *option, const QModelIndex &index) const override
    {
        QStyledItemDelegate::initStyleOption(option, index);
        if (!wrapNames)
            return;
        static const QRegularExpression breakAfter(QStringLiteral("([-_.])(?=.)"));
        option->text.replace(breakAfter, QStringLiteral("\\1\u200B"));
    }
};

FileListView::FileListView(QWidget *parent)
    : QStackedWidget(parent),
      listView(new DragOutView<QListView>(this, [this] { emit dragRequested(); })),
      detailsView(new DragOutView<QTreeView>(this, [this] { emit dragRequested(); }))
{
    setObjectName(QStringLiteral("LV1"));
    setAccessibleName(QStringLiteral("LV1"));
    setToolTip(kToolTip);

    SetUpItemView(*listView, QStringLiteral("LV1Icons"));
    cellDelegate = new CellDelegate(listView);
    listView->setItemDelegate(cellDelegate);
    listView->setUniformItemSizes(true);
    listView->setLayoutMode(QListView::Batched);
    listView->setBatchSize(2000);
    listView->setMovement(QListView::Static);
    listView->setResizeMode(QListView::Adjust);
    listView->setWrapping(true);

    SetUpItemView(*detailsView, QStringLiteral("LV1Details"));
    detailsView->setRootIsDecorated(false);
    detailsView->setUniformRowHeights(true);
    detailsView->setItemsExpandable(false);
    detailsView->setAllColumnsShowFocus(true);
    detailsView->setSortingEnabled(false);
    QHeaderView *header = detailsView->header();
    header->setSectionsClickable(true);
    header->setSortIndicatorShown(true);
    header->setStretchLastSection(false);
    header->setSortIndicator(-1, Qt::AscendingOrder);
    connect(header, &QHeaderView::sectionClicked, this, [this](int section) { emit headerClicked(section + 1); });

    for (QAbstractItemView *view :
         {static_cast<QAbstractItemView *>(listView), static_cast<QAbstractItemView *>(detailsView)}) {
        addWidget(view);
        view->installEventFilter(this);
        view->viewport()->installEventFilter(this);
        connect(view, &QAbstractItemView::activated, this,
                [this](const QModelIndex &index) { emit rowActivated(index.row()); });
    }
    setViewStyle(LargeIcons);
}

void FileListView::setModel(FileListModel *model)
{
    if (model == listModel)
        return;
    if (listModel)
        disconnect(listModel, nullptr, this, nullptr);
    listModel = model;
    QItemSelectionModel *previous = detailsView->selectionModel();
    detailsView->setModel(model);
    listView->setModel(model);
    // Each setModel made a selection model of its own; both views share the first.
    QItemSelectionModel *shared = detailsView->selectionModel();
    QItemSelectionModel *listOwn = listView->selectionModel();
    listView->setSelectionModel(shared);
    delete listOwn;
    delete previous;
    connect(shared, &QItemSelectionModel::selectionChanged, this, &FileListView::selectionChanged);
    connect(model, &QAbstractItemModel::layoutChanged, this, &FileListView::showSortIndicator);
    connect(model, &QAbstractItemModel::modelReset, this, &FileListView::showSortIndicator);
    applyColumnWidths();
    showSortIndicator();
}

void FileListView::applyColumnWidths()
{
    const QFontMetrics metrics(detailsView->font());
    const QStringList captions = FileListModel::columnCaptions();
    for (int column = 0; column < FileListModel::ColumnCount; ++column)
        detailsView->setColumnWidth(
            column, qRound(metrics.horizontalAdvance(captions.at(column)) * kWidthFactors[size_t(column)]));
}

void FileListView::showSortIndicator()
{
    if (listModel)
        detailsView->header()->setSortIndicator(listModel->sortColumn() - 1, listModel->sortOrder());
}

void FileListView::configureListView(int listStyle)
{
    const QFontMetrics metrics(listView->font());
    const int textLine = metrics.lineSpacing();
    const bool large = listStyle == LargeIcons;
    listView->setViewMode(large ? QListView::IconMode : QListView::ListMode);
    EnableDragAndDrop(*listView);
    listView->setIconSize(large ? QSize(32, 32) : QSize(16, 16));
    // Large and Small Icons fill rows from the top, List fills columns from the left.
    listView->setFlow(listStyle == List ? QListView::TopToBottom : QListView::LeftToRight);
    listView->setWrapping(true);
    listView->setWordWrap(large);
    listView->setTextElideMode(large ? Qt::ElideRight : Qt::ElideMiddle);
    listView->setSpacing(large ? 6 : 0);
    listView->setGridSize(QSize());
    // Large Icons: two lines of name under the icon; the others: one line beside it.
    cellDelegate->wrapNames = large;
    cellDelegate->cell = large ? QSize(qMax(76, metrics.averageCharWidth() * 13), 32 + 2 * textLine + 10)
                               : QSize(16 + 10 + metrics.averageCharWidth() * 26, qMax(20, textLine + 4));
    listView->doItemsLayout();
}

void FileListView::setViewStyle(int newStyle)
{
    if (newStyle < LargeIcons || newStyle > Details || newStyle == style)
        return;
    style = newStyle;
    if (style != Details)
        configureListView(style);
    QAbstractItemView *view = currentView();
    const bool hadFocus = QStackedWidget::currentWidget() && QStackedWidget::currentWidget()->hasFocus();
    setCurrentWidget(view);
    if (hadFocus)
        view->setFocus();
    if (view->currentIndex().isValid())
        view->scrollTo(view->currentIndex());
}

QAbstractItemView *FileListView::currentView() const
{
    if (style == Details)
        return detailsView;
    return listView;
}

std::vector<bool> FileListView::selectionMarks() const
{
    std::vector<bool> marks(listModel ? size_t(listModel->rowCount()) : 0, false);
    if (!listModel)
        return marks;
    // Ranges may overlap after toggles, so rows are marked, not counted per range.
    for (const QItemSelectionRange &range : detailsView->selectionModel()->selection()) {
        for (int row = range.top(); row <= range.bottom(); ++row)
            marks[size_t(row)] = true;
    }
    return marks;
}

QList<int> FileListView::selectedRows() const
{
    const std::vector<bool> marks = selectionMarks();
    QList<int> rows;
    for (size_t row = 0; row < marks.size(); ++row) {
        if (marks[row])
            rows.append(int(row));
    }
    return rows;
}

int FileListView::selectedCount() const
{
    const std::vector<bool> marks = selectionMarks();
    return int(std::count(marks.begin(), marks.end(), true));
}

bool FileListView::isRowSelected(int row) const
{
    return listModel && detailsView->selectionModel()->isSelected(listModel->index(row, 0));
}

void FileListView::selectAll()
{
    if (!listModel || listModel->rowCount() == 0)
        return;
    const QItemSelection all(listModel->index(0, 0),
                             listModel->index(listModel->rowCount() - 1, FileListModel::ColumnCount - 1));
    detailsView->selectionModel()->select(all, QItemSelectionModel::ClearAndSelect);
}

void FileListView::invertSelection()
{
    if (!listModel)
        return;
    const std::vector<bool> marks = selectionMarks();
    // One range per run of unselected rows: a few ranges even for 100,000 rows.
    QItemSelection inverted;
    const int rowCount = int(marks.size());
    for (int row = 0; row < rowCount;) {
        if (marks[size_t(row)]) {
            ++row;
            continue;
        }
        const int first = row;
        while (row < rowCount && !marks[size_t(row)])
            ++row;
        inverted.append(
            QItemSelectionRange(listModel->index(first, 0), listModel->index(row - 1, FileListModel::ColumnCount - 1)));
    }
    detailsView->selectionModel()->select(inverted, QItemSelectionModel::ClearAndSelect);
}

void FileListView::selectOnly(int row)
{
    if (!listModel || row < 0 || row >= listModel->rowCount())
        return;
    const QModelIndex index = listModel->index(row, 0);
    detailsView->selectionModel()->setCurrentIndex(index,
                                                   QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    currentView()->scrollTo(index);
}

int FileListView::rowAtViewport(const QAbstractItemView *view, QPoint viewportPos) const
{
    const QModelIndex index = view->indexAt(viewportPos);
    return index.isValid() ? index.row() : -1;
}

int FileListView::rowAt(QPoint pos) const
{
    const QAbstractItemView *view = currentView();
    return rowAtViewport(view, view->viewport()->mapFrom(this, pos));
}

QRect FileListView::visualRectOfRow(int row) const
{
    if (!listModel)
        return {};
    const QAbstractItemView *view = currentView();
    const QRect rect = view->visualRect(listModel->index(row, 0));
    if (!rect.isValid())
        return {};
    return QRect(view->viewport()->mapTo(this, rect.topLeft()), rect.size());
}

bool FileListView::filterDragAndDrop(QEvent *event)
{
    auto *drop = static_cast<QDropEvent *>(event);
    const QStringList paths = LocalPathsOf(drop->mimeData());
    if (paths.isEmpty()) {
        drop->ignore();
        return true;
    }
    drop->setDropAction(Qt::CopyAction);
    drop->accept();
    if (event->type() == QEvent::Drop)
        emit localPathsDropped(paths);
    return true;
}

bool FileListView::eventFilter(QObject *watched, QEvent *event)
{
    QAbstractItemView *view = currentView();
    const bool onViewport = watched == view->viewport();
    switch (event->type()) {
    case QEvent::DragEnter:
    case QEvent::DragMove:
    case QEvent::Drop:
        if (onViewport)
            return filterDragAndDrop(event);
        break;
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonDblClick:
    case QEvent::MouseButtonRelease: {
        if (!onViewport)
            break;
        auto *mouse = static_cast<QMouseEvent *>(event);
        const int row = rowAtViewport(view, mouse->position().toPoint());
        const bool press = event->type() != QEvent::MouseButtonRelease;
        if (mouse->button() == Qt::RightButton) {
            // The window applies the right-click rule; the view must not select.
            if (press) {
                view->setFocus(Qt::MouseFocusReason);
                emit rightButtonPressed(mouse->globalPosition().toPoint(), row);
            }
            return true;
        }
        if (mouse->button() == Qt::LeftButton && event->type() == QEvent::MouseButtonPress)
            emit leftButtonPressed(mouse->globalPosition().toPoint(), row);
        break;
    }
    case QEvent::ContextMenu: {
        // The menu key: the popup opens at the current row as if it were right-clicked.
        auto *menu = static_cast<QContextMenuEvent *>(event);
        if (menu->reason() == QContextMenuEvent::Keyboard && (watched == view || onViewport)) {
            const QModelIndex current = view->currentIndex();
            const QRect rect = current.isValid() ? view->visualRect(current) : QRect();
            const QPoint at = rect.isValid() ? rect.center() : QPoint(8, 8);
            emit rightButtonPressed(view->viewport()->mapToGlobal(at), current.isValid() ? current.row() : -1);
        }
        return true;
    }
    default:
        break;
    }
    return QStackedWidget::eventFilter(watched, event);
}

void FileListView::changeEvent(QEvent *event)
{
    QStackedWidget::changeEvent(event);
    if (event->type() == QEvent::FontChange) {
        applyColumnWidths();
        if (style != Details)
            configureListView(style);
    }
}

} // namespace korvan
