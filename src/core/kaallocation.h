#ifndef ZELKA_SRC_CORE_KAALLOCATION_H
#define ZELKA_SRC_CORE_KAALLOCATION_H

// True when an allocation of `bytes` must fail before the heap is asked. A block beyond 32 bits
// never exists in this library, whose lengths and counts are 32-bit: refusing it by rule keeps
// the 32-bit and 64-bit builds alike, where the heap alone would answer differently. Tests can
// also make every allocation fail (see ZelkaInternalFailAllocations).
bool KaAllocationRefused(unsigned long long bytes);

#endif
