#include "shell/FreshPages.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <vector>
#include <sys/mman.h>
#include <unistd.h>

#ifndef MADV_POPULATE_WRITE
#define MADV_POPULATE_WRITE 23 // Linux 5.14; older kernels refuse it with EINVAL
#endif

namespace korvan {

namespace {

// Below this, faulting in is cheaper than the calls.
constexpr qsizetype kMinBytes = 256 * 1024;
constexpr std::uintptr_t kHugePage = 2 * 1024 * 1024;
// Under malloc's threshold for a mapping of its own: these come from the heap.
constexpr qsizetype kHeapBlock = 64 * 1024;
// A thread's heap holds 64 MiB at most.
constexpr qsizetype kMaxHeapBytes = 32 * 1024 * 1024;

} // namespace

void PopulateFreshPages(void *start, qsizetype bytes)
{
    if (bytes < kMinBytes)
        return;
    const auto pageSize = std::uintptr_t(::sysconf(_SC_PAGESIZE));
    const auto begin = std::uintptr_t(start);
    // Whole pages inside the region only: its neighbours belong to others.
    const std::uintptr_t first = (begin + pageSize - 1) & ~(pageSize - 1);
    const std::uintptr_t end = (begin + std::uintptr_t(bytes)) & ~(pageSize - 1);
    if (end <= first)
        return;
    if (end - first >= kHugePage)
        ::madvise(reinterpret_cast<void *>(first), end - first, MADV_HUGEPAGE);
    ::madvise(reinterpret_cast<void *>(first), end - first, MADV_POPULATE_WRITE);
}

PopulatedHeap::PopulatedHeap(qsizetype bytes)
{
    bytes = std::min(bytes, kMaxHeapBytes);
    if (bytes < kMinBytes)
        return;
    std::vector<void *> blocks;
    blocks.reserve(size_t(bytes / kHeapBlock) + 1);
    auto low = UINTPTR_MAX;
    std::uintptr_t high = 0;
    for (qsizetype taken = 0; taken < bytes; taken += kHeapBlock) {
        void *block = std::malloc(size_t(kHeapBlock));
        if (!block)
            break;
        blocks.push_back(block);
        low = std::min(low, std::uintptr_t(block));
        high = std::max(high, std::uintptr_t(block) + std::uintptr_t(kHeapBlock));
    }
    fence = std::malloc(1);
    // Populated only when the blocks lie together, as they do in a fresh heap.
    if (!blocks.empty() && high - low <= std::uintptr_t(bytes + bytes / 8))
        PopulateFreshPages(reinterpret_cast<void *>(low), qsizetype(high - low));
    for (void *block : blocks)
        std::free(block);
}

PopulatedHeap::~PopulatedHeap()
{
    std::free(fence);
}

} // namespace korvan
