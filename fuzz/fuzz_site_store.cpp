// Any bytes as a site store file: reading must not crash or hang, must never
// add more nodes than the store has entries, and a tree read whole must come
// back the same after being written and read again.
#include "sites/mRwTreeView.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    using namespace korvan;
    PropertyBag store;
    const bool whole = store.setContents(QByteArray(reinterpret_cast<const char *>(data), qsizetype(size)));
    Tree tree;
    const bool readWhole = mRwTreeView::read(store, whole, tree);
    if (mRwTreeView::countNodes(tree) > store.size())
        std::abort();
    if (!readWhole || tree.size() != 1)
        return 0; // only a single root's subtree is written
    PropertyBag written;
    const bool writtenWhole = written.setContents(mRwTreeView::write(tree, tree.front()).contents());
    Tree again;
    if (!writtenWhole || !mRwTreeView::read(written, true, again) || !(again == tree))
        std::abort();
    return 0;
}
