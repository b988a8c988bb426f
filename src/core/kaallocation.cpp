#include "core/kaallocation.h"
#include "zelka/kaexport.h"

namespace {

volatile long g_failAllocations = 0;

} // namespace

// Test seam, not part of the library's interface: while `fail` is non-zero every allocation of a
// library object, string block or buffer node fails as an exhausted heap would. It is the only
// way to exercise out-of-memory paths that behaves the same whatever the address space.
extern "C" ZELKA_API void ZelkaInternalFailAllocations(long fail)
{
    InterlockedExchange(&g_failAllocations, fail ? 1 : 0);
}

bool KaAllocationRefused(unsigned long long bytes)
{
    return bytes > 0xFFFFFFFFull || g_failAllocations != 0;
}
