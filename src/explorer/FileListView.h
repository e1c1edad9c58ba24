#pragma once
// The file list LV1: one model, one selection, four ways to look at it. Large
// Icons, Small Icons and List are a QListView in its icon and list modes; Details
// is a QTreeView with the five columns. Switching keeps the selection and the
// current row, because both views share the selection model.
//
// The right button never changes the selection here: the window decides (it
// depends on whether a command is running) after rightButtonPressed. Header clicks
// are reported, not sorted: the model's order is the window's to turn over.
// Drags work the same way: a drag of the selection and a drop of local files are
// reported; what they carry and do is the window's business.

#include <QList>
#include <QStackedWidget>

#include <vector>

class QAbstractItemView;
class QItemSelectionModel;
class QListView;
class QTreeView;

namespace korvan {

class CellDelegate;
class FileListModel;

class FileListView : public QStackedWidget {
    Q_OBJECT
public:
    enum ViewStyle { LargeIcons = 0, SmallIcons = 1, List = 2, Details = 3 };

    explicit FileListView(QWidget *parent = nullptr);

    void setModel(FileListModel *model);
    FileListModel *model() const { return listModel; }

    // 0 Large Icons, 1 Small Icons, 2 List, 3 Details; anything else is ignored.
    void setViewStyle(int style);
    int viewStyle() const { return style; }
    QAbstractItemView *currentView() const;

    // Selected rows in list order.
    QList<int> selectedRows() const;
    int selectedCount() const;
    bool isRowSelected(int row) const;
    void selectAll();
    void invertSelection();
    // Clears the selection and selects `row`, which becomes the current row.
    void selectOnly(int row);

    // The row under a point of this widget, -1 over empty space.
    int rowAt(QPoint pos) const;
    // Where a row's name is drawn, in this widget's coordinates.
    QRect visualRectOfRow(int row) const;

signals:
    void rowActivated(int row);
    void rightButtonPressed(QPoint globalPos, int row);
    void leftButtonPressed(QPoint globalPos, int row);
    void headerClicked(int column1Based);
    void selectionChanged();
    // The user began to drag the selection out of the list.
    void dragRequested();
    // Local files and folders (a text/uri-list of file:// addresses) were dropped on the list.
    void localPathsDropped(const QStringList &paths);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;
    void changeEvent(QEvent *event) override;

private:
    void configureListView(int listStyle);
    void applyColumnWidths();
    void showSortIndicator();
    std::vector<bool> selectionMarks() const;
    int rowAtViewport(const QAbstractItemView *view, QPoint viewportPos) const;
    bool filterDragAndDrop(QEvent *event);

    FileListModel *listModel = nullptr;
    QListView *listView = nullptr;
    QTreeView *detailsView = nullptr;
    CellDelegate *cellDelegate = nullptr;
    int style = -1;
};

} // namespace korvan
