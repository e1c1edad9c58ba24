#pragma once
// Memory that is about to be filled at once (a listing's entry table, the bytes
// of a big listing) is mapped in one call instead of a page fault per 4 KiB:
// under virtualization each fault costs several microseconds, and 100,000
// entries touch some 20 MiB. Where the system allows, large regions get huge
// pages. Purely an optimisation: on a system that refuses, nothing changes.

#include <QtGlobal>

namespace korvan {

void PopulateFreshPages(void *start, qsizetype bytes);

} // namespace korvan

namespace korvan {

// Room in the calling thread's heap for many small allocations to come (the
// names of a 100,000-entry listing), mapped in one call: blocks are taken from
// the heap, populated at once and given back as one free stretch, which a small
// block kept behind them (until this object ends) stops the heap from handing
// back to the system.
class PopulatedHeap {
public:
    explicit PopulatedHeap(qsizetype bytes);
    ~PopulatedHeap();
    PopulatedHeap(const PopulatedHeap &) = delete;
    PopulatedHeap &operator=(const PopulatedHeap &) = delete;

private:
    void *fence = nullptr;
};

} // namespace korvan
