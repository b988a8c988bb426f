#ifndef ZELKA_KABUFFEREDSTREAM_H
#define ZELKA_KABUFFEREDSTREAM_H

#include "kastream.h"

// A stream over another stream that reads and writes through a buffer of a chosen size, so
// that many small reads or writes (a decoder's, a binary reader's) reach the stream below as
// few large ones. Position and size are always those of the stream below as if every byte had
// gone straight through: written bytes wait in the buffer until it is full, a seek, a read,
// getSize, Flush or the release of the last reference. Read bytes are kept until they are
// used or the position leaves them.
//
// Bytes still waiting when the last reference goes are written then; a failure there cannot
// be reported, so a writer that must know calls Flush first. The stream below must not be used
// by others while this one holds bytes of it.
class ZELKA_API CKaBufferedStream : public CKaObjectWithInterface<IKaStream>
{
public:
    // A buffer size of 0 throws E_INVALIDARG; a null stream throws E_POINTER on use.
    explicit CKaBufferedStream(CKaRef<IKaStream> stream, unsigned long bufferSize = 65536);

    CKaString getObjectTypeInfo() override;
    void FinalRelease() override;

    CKaRef<IKaStream> getStream() const;
    unsigned long getBufferSize() const;
    // Writes the waiting bytes to the stream below.
    void Flush();

    unsigned long Read(void* buffer, unsigned long count) override;
    void Write(const void* buffer, unsigned long count) override;
    void SetFromBegin(__int64 offset) override;
    void SetFromCurrent(__int64 offset) override;
    void SetFromEnd(__int64 offset) override;
    unsigned __int64 getPos() override;
    unsigned __int64 getSize() override;

private:
    IKaStream* Below() const;
    unsigned char* Room();
    // Forgets read bytes that were not used; the stream below stays ahead of our position by
    // them, which the caller accounts for.
    void DropReadBytes();
    // Our position relative to that of the stream below.
    __int64 Lag() const;

    CKaRef<IKaStream> m_stream;
    const unsigned long m_bufferSize;
    CKaByteBuffer m_buffer;
    // Reading: bytes [m_used, m_filled) are read ahead and not yet used, and the stream below
    // stands at their end. Writing: bytes [0, m_filled) wait to be written at the position of
    // the stream below, and m_used is 0. The buffer never holds both.
    unsigned long m_used;
    unsigned long m_filled;
    bool m_writing;
};

#endif
