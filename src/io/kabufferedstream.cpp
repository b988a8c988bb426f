#include "zelka/kabufferedstream.h"
#include <cstring>

CKaBufferedStream::CKaBufferedStream(CKaRef<IKaStream> stream, unsigned long bufferSize)
    : m_stream(stream), m_bufferSize(bufferSize), m_buffer(), m_used(0), m_filled(0),
      m_writing(false)
{
    if (bufferSize == 0) throw CKaCodeException(E_INVALIDARG);
}

CKaString CKaBufferedStream::getObjectTypeInfo()
{
    return ChainTypeInfo(L"zel.core.io.bufferedstream", CKaObject::getObjectTypeInfo());
}

void CKaBufferedStream::FinalRelease()
{
    try {
        Flush();
    } catch (const CKaException&) {
        // Nobody is left to tell; a writer that must know flushes before letting go.
    }
    CKaObjectWithInterface<IKaStream>::FinalRelease();
}

CKaRef<IKaStream> CKaBufferedStream::getStream() const
{
    return m_stream;
}

unsigned long CKaBufferedStream::getBufferSize() const
{
    return m_bufferSize;
}

IKaStream* CKaBufferedStream::Below() const
{
    if (!m_stream) throw CKaCodeException(E_POINTER);
    return m_stream.getPtr();
}

unsigned char* CKaBufferedStream::Room()
{
    if (m_buffer.getSize() == 0) m_buffer = CKaByteBuffer(m_bufferSize);
    return m_buffer.Unshare();
}

__int64 CKaBufferedStream::Lag() const
{
    if (m_writing) return m_filled;
    return -static_cast<__int64>(m_filled - m_used);
}

void CKaBufferedStream::DropReadBytes()
{
    m_used = 0;
    m_filled = 0;
}

void CKaBufferedStream::Flush()
{
    if (!m_writing) return;
    if (m_filled) Below()->Write(Room(), m_filled);
    m_filled = 0;
    m_writing = false;
}

unsigned long CKaBufferedStream::Read(void* buffer, unsigned long count)
{
    if (count == 0) return 0;
    unsigned char* target = static_cast<unsigned char*>(buffer);
    // The usual small read of a decoder or binary reader, served from the bytes read ahead.
    if (!m_writing && count <= m_filled - m_used) {
        const unsigned char* source = m_buffer.getBuffer() + m_used;
        if (count > 16) {
            std::memcpy(target, source, count);
        } else {
            for (unsigned long i = 0; i < count; ++i) target[i] = source[i];
        }
        m_used += count;
        return count;
    }
    Flush();
    unsigned long copied = m_filled - m_used;
    if (copied >= count) copied = count;
    if (copied) std::memcpy(target, Room() + m_used, copied);
    m_used += copied;
    if (copied == count) return count;
    const unsigned long rest = count - copied;
    DropReadBytes();
    try {
        // A read as large as the buffer gains nothing from it.
        if (rest >= m_bufferSize) return copied + Below()->Read(target + copied, rest);
        m_filled = Below()->Read(Room(), m_bufferSize);
    } catch (const CKaException&) {
        // The bytes already copied are handed out; the failure comes again with the next read.
        if (copied) return copied;
        throw;
    }
    m_used = rest < m_filled ? rest : m_filled;
    std::memcpy(target + copied, Room(), m_used);
    return copied + m_used;
}

void CKaBufferedStream::Write(const void* buffer, unsigned long count)
{
    if (count == 0) return;
    if (!m_writing) {
        // The stream below stands behind the bytes read ahead: back to our position first.
        if (m_used != m_filled) Below()->SetFromCurrent(Lag());
        DropReadBytes();
        m_writing = true;
    }
    if (count > m_bufferSize - m_filled) {
        Flush();
        m_writing = true;
        if (count >= m_bufferSize) {
            Below()->Write(buffer, count);
            return;
        }
    }
    std::memcpy(Room() + m_filled, buffer, count);
    m_filled += count;
}

void CKaBufferedStream::SetFromBegin(__int64 offset)
{
    Flush();
    Below()->SetFromBegin(offset);
    DropReadBytes();
}

void CKaBufferedStream::SetFromCurrent(__int64 offset)
{
    Flush();
    // A move within the bytes read ahead stays in the buffer.
    if (offset >= -static_cast<__int64>(m_used) &&
        offset <= static_cast<__int64>(m_filled - m_used)) {
        m_used = static_cast<unsigned long>(m_used + offset);
        return;
    }
    Below()->SetFromCurrent(offset + Lag());
    DropReadBytes();
}

void CKaBufferedStream::SetFromEnd(__int64 offset)
{
    Flush();
    Below()->SetFromEnd(offset);
    DropReadBytes();
}

unsigned __int64 CKaBufferedStream::getPos()
{
    return Below()->getPos() + Lag();
}

unsigned __int64 CKaBufferedStream::getSize()
{
    // Waiting bytes may make the stream longer.
    Flush();
    return Below()->getSize();
}
