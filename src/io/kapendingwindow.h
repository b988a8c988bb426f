#ifndef ZELKA_SRC_IO_KAPENDINGWINDOW_H
#define ZELKA_SRC_IO_KAPENDINGWINDOW_H

#include <cstring>
#include "zelka/kaexception.h"
#include "zelka/kasimplebuffer.h"

// The window of elements that wait in a codec's buffer: a decoder's unread bytes, an encoder's
// pending UTF-16 units. The window is `available` elements from `start` in `buffer`.

// Makes room for `more` elements behind the window (a request of 0 does nothing). When the
// buffer is too small for the window and the request, a new buffer of exactly that size takes
// the window; when only the window's place is in the way, the window moves to the front. Either
// way start becomes 0. New room is zeroed, so that whatever a caller leaves unwritten behind
// the window is defined.
template <class T>
void KaReserveWindow(CKaSimpleBuffer<T>& buffer, unsigned long& start, unsigned long available,
                     unsigned long more)
{
    const unsigned __int64 size = buffer.getSize();
    if (more == 0 || static_cast<unsigned __int64>(start) + available + more <= size) return;
    if (static_cast<unsigned __int64>(available) + more > size) {
        CKaSimpleBuffer<T> grown(available + more);
        T* target = grown.Unshare();
        if (available) std::memcpy(target, buffer.getBuffer() + start, available * sizeof(T));
        std::memset(target + available, 0, more * sizeof(T));
        buffer = grown;
    } else {
        T* elements = buffer.Unshare();
        std::memmove(elements, elements + start, available * sizeof(T));
    }
    start = 0;
}

// Lets go of the first `count` elements of the window; more than it holds is E_UNEXPECTED.
inline void KaConsumeWindow(unsigned long& start, unsigned long& available, unsigned long count)
{
    if (count > available) throw CKaCodeException(E_UNEXPECTED);
    start += count;
    available -= count;
}

#endif
