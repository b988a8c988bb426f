#include <cstring>
#include <utility>
#include "zelka/kahandle.h"
#include "zelka/kastream.h"

CKaComStream::CKaComStream() = default;

CKaComStream::CKaComStream(CKaComRef<IStream> stream) : m_stream(stream) {}

CKaComStream::~CKaComStream() = default;

CKaString CKaComStream::getObjectTypeInfo()
{
    return ChainTypeInfo(L"zel.core.io.comstream", CKaObject::getObjectTypeInfo());
}

CKaComRef<IStream> CKaComStream::getStream() const
{
    return m_stream;
}

void CKaComStream::Attach(CKaComRef<IStream> stream)
{
    m_stream = stream;
}

CKaComRef<IStream> CKaComStream::Detach()
{
    CKaComRef<IStream> stream;
    stream.Attach(m_stream.Detach());
    return stream;
}

// ---- stream operations ----------------------------------------------------------------------

IStream* CKaComStream::AttachedStream() const
{
    if (!m_stream) throw CKaCodeException(E_POINTER);
    return m_stream;
}

unsigned long CKaComStream::Read(void* buffer, unsigned long count)
{
    if (count == 0) return 0;
    ULONG read = 0;
    KaThrowIfFailed(AttachedStream()->Read(buffer, count, &read));
    return read;
}

void CKaComStream::Write(const void* buffer, unsigned long count)
{
    if (count == 0) return;
    ULONG written = 0;
    KaThrowIfFailed(AttachedStream()->Write(buffer, count, &written));
    if (written < count) throw CKaCodeException(KA_E_SHORT_WRITE);
}

unsigned __int64 CKaComStream::Seek(__int64 offset, unsigned long origin)
{
    LARGE_INTEGER move;
    move.QuadPart = offset;
    ULARGE_INTEGER position;
    position.QuadPart = 0;
    KaThrowIfFailed(AttachedStream()->Seek(move, origin, &position));
    return position.QuadPart;
}

unsigned __int64 CKaComStream::getSize()
{
    const unsigned __int64 position = getPos();
    const unsigned __int64 end = Seek(0, STREAM_SEEK_END);
    SetFromBegin(static_cast<__int64>(position));
    return end;
}

// ---- memory streams -------------------------------------------------------------------------

CKaMemoryStream::CKaMemoryStream() = default;

CKaString CKaMemoryStream::getObjectTypeInfo()
{
    return ChainTypeInfo(L"zel.core.io.memorystream", CKaComStream::getObjectTypeInfo());
}

namespace {

// A stream on the block that frees the block when it is released; until the stream has taken
// it, the block is freed here.
CKaComRef<IStream> StreamOnBlock(CKaOwnedGlobal block)
{
    CKaComRef<IStream> stream;
    KaThrowIfFailed(CreateStreamOnHGlobal(block.Get(), TRUE, stream.GetAddressOf()));
    block.Release();
    return stream;
}

} // namespace

void CKaMemoryStream::Create()
{
    Attach(StreamOnBlock(CKaOwnedGlobal()));
}

void CKaMemoryStream::Create(CKaByteBuffer data)
{
    const unsigned long length = data.getSize();
    CKaOwnedGlobal block(GlobalAlloc(GMEM_MOVEABLE, length));
    if (!block) KaThrowLastError();
    if (length) {
        void* bytes = GlobalLock(block.Get());
        if (!bytes) KaThrowLastError();
        std::memcpy(bytes, data.getBuffer(), length);
        GlobalUnlock(block.Get());
    }
    Attach(StreamOnBlock(std::move(block)));
}
