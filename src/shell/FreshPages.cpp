#include "shell/FreshPages.h"

#include <cstdint>
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

} // namespace korvan
