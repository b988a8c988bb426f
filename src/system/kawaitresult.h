#ifndef ZELKA_SYSTEM_KAWAITRESULT_H
#define ZELKA_SYSTEM_KAWAITRESULT_H

#include "zelka/kasync.h"

// A WaitForSingleObject result read as a wait result: WAIT_FAILED throws the last error,
// WAIT_ABANDONED counts only for `abandonable` objects, and anything else unmapped throws
// CKaCodeException(unexpected).
TKaWaitResult KaReadSingleWait(DWORD result, bool abandonable, long unexpected);

#endif
