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
