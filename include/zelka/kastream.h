#ifndef ZELKA_KASTREAM_H
#define ZELKA_KASTREAM_H

#include <objidl.h>
#include "kabytebuffer.h"
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

// The seek operations of the streams that move by one primitive, Seek(offset, origin), whose
// origins 0 (begin), 1 (current) and 2 (end) files and COM streams share.
class ZELKA_API CKaSeekableStream : public CKaObjectWithInterface<IKaStream>
{
public:
    void SetFromBegin(__int64 offset) override;
    void SetFromCurrent(__int64 offset) override;
    void SetFromEnd(__int64 offset) override;
    unsigned __int64 getPos() override;

protected:
    // Moves the position and returns the new one.
    virtual unsigned __int64 Seek(__int64 offset, unsigned long origin) = 0;
};

// A stream over a Win32 file handle. The closed state is INVALID_HANDLE_VALUE; every stream
// operation on a closed file throws E_FAIL. The handle held is closed when the object dies.
class ZELKA_API CKaFile : public CKaSeekableStream
{
public:
    CKaFile();
    // Adopts the handle: it is closed with the object unless detached first.
    explicit CKaFile(void* handle);

    CKaString getObjectTypeInfo() override;

    // Each Open closes the file first; a failed one leaves it closed. The numbers go to
    // CreateFileW unchanged.
    void Open(CKaString path, unsigned long access, unsigned long share,
              unsigned long disposition, unsigned long flagsAndAttributes);
    // Read and write, exclusive, always a new empty file.
    void OpenCreate(CKaString path);
    // Read-only opening lets others read too; read-write opening is exclusive.
    void OpenExisting(CKaString path, bool readOnly);
    // Read and write, exclusive, created when missing.
    void OpenAlways(CKaString path);
    void Close();
    // Both hand the previous handle to the caller without closing it.
    void* Attach(void* handle);
    void* Detach();
    void* getHandle() const;

    unsigned long Read(void* buffer, unsigned long count) override;
    void Write(const void* buffer, unsigned long count) override;
    unsigned __int64 getSize() override;

protected:
    ~CKaFile() override;
    unsigned __int64 Seek(__int64 offset, unsigned long origin) override;

private:
    HANDLE OpenHandle() const;

    void* m_handle;
};

// A stream over a COM IStream. Without one, every operation throws E_POINTER, except reads
// and writes of 0 bytes, which return at once.
class ZELKA_API CKaComStream : public CKaSeekableStream
{
public:
    CKaComStream();
    explicit CKaComStream(CKaComRef<IStream> stream);

    CKaString getObjectTypeInfo() override;

    CKaComRef<IStream> getStream() const;
    void Attach(CKaComRef<IStream> stream);
    // Hands out the stream with the reference this object held.
    CKaComRef<IStream> Detach();

    unsigned long Read(void* buffer, unsigned long count) override;
    void Write(const void* buffer, unsigned long count) override;
    // Measured by seeking to the end and back, so the position is kept.
    unsigned __int64 getSize() override;

protected:
    ~CKaComStream() override;
    unsigned __int64 Seek(__int64 offset, unsigned long origin) override;

private:
    IStream* AttachedStream() const;

    CKaComRef<IStream> m_stream;
};

// A COM stream on a movable global memory block that grows as it is written.
class ZELKA_API CKaMemoryStream : public CKaComStream
{
public:
    CKaMemoryStream();

    CKaString getObjectTypeInfo() override;

    // A new empty stream in place of any earlier one.
    void Create();
    // A new stream holding a copy of the bytes, positioned at its start.
    void Create(CKaByteBuffer data);
};

#endif
