#ifndef ZELKA_KALOCKMODE_H
#define ZELKA_KALOCKMODE_H

#include "kaexport.h"

// The lock state of every copy-on-write node (string blocks, buffers, BSTR strings, variants
// and safe arrays). A locked node is never shared by its holder; a node locked in place is in
// addition never released, replaced or moved, so a pointer handed out while it is locked stays
// valid. The type is 32 bits wide because it sits in node headers whose layout is fixed.
enum TKaLockMode : long
{
    KaLockNone = 0,
    KaLockLocked = 1,
    KaLockInPlace = 2
};

// Throws KA_E_LOCKED_IN_PLACE (0xC2000005). Out of line so that the inline check stays small.
[[noreturn]] ZELKA_API void KaThrowLockedInPlace();

// The one rule every node holder applies before it releases, replaces or moves its node.
inline void KaCheckNotLockedInPlace(TKaLockMode mode)
{
    if (mode == KaLockInPlace) KaThrowLockedInPlace();
}

#endif
