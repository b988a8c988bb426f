#include "zelka/kasimplebuffer.h"
#include <cstdlib>
#include "core/kaallocation.h"

// One heap for the nodes of every buffer, whichever module's template instance made them: the
// C runtime's, reached only through the DLL.
void* KaAllocateBufferNode(unsigned long headerSize, unsigned long count,
                           unsigned long elementSize)
{
    const unsigned long long total =
        headerSize + static_cast<unsigned long long>(count) * elementSize;
    void* node = KaAllocationRefused(total) ? nullptr : std::malloc(static_cast<size_t>(total));
    if (!node) throw CKaCodeException(E_OUTOFMEMORY);
    return node;
}

void KaFreeBufferNode(void* node)
{
    std::free(node);
}
