#ifndef ZELKA_KASTREAM_H
#define ZELKA_KASTREAM_H

#include "kaobject.h"

// A counted, seekable byte stream with 64-bit positions. Every failure is thrown.
class ZELKA_API IKaStream : public IKaRefCounted
{
public:
    // Returns the bytes actually read: fewer than asked, or 0, at the end of the stream.
    virtual unsigned long Read(void* buffer, unsigned long count) = 0;
    virtual void Write(const void* buffer, unsigned long count) = 0;
    virtual void SetFromBegin(__int64 offset) = 0;
    virtual void SetFromCurrent(__int64 offset) = 0;
    virtual void SetFromEnd(__int64 offset) = 0;
    virtual unsigned __int64 getPos() = 0;
    virtual void setPos(unsigned __int64 position) = 0;
    virtual unsigned __int64 getSize() = 0;
};

#endif
