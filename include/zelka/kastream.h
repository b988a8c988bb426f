#ifndef ZELKA_KASTREAM_H
#define ZELKA_KASTREAM_H

#include "kaobject.h"

// A counted, seekable byte stream with 64-bit positions. Readers and writers hold it as
// CKaRef<IKaStream> and never know what lies behind it. Every failure is thrown.
class ZELKA_API IKaStream : public IKaRefCounted
{
public:
    // Returns the bytes actually read; fewer than asked (0 at the end) is not an error.
    virtual unsigned long Read(void* buffer, unsigned long count) = 0;
    // Writes all bytes or throws.
    virtual void Write(const void* buffer, unsigned long count) = 0;
    virtual void SetFromBegin(__int64 offset) = 0;
    virtual void SetFromCurrent(__int64 offset) = 0;
    virtual void SetFromEnd(__int64 offset) = 0;
    virtual unsigned __int64 getPos() = 0;
    // SetFromBegin with the position; no logic of its own, so no stream needs to repeat it.
    virtual void setPos(unsigned __int64 pos);
    virtual unsigned __int64 getSize() = 0;
};

#endif
