#ifndef ZELKA_KABINARY_H
#define ZELKA_KABINARY_H

#include "kastream.h"

// What readers and writers share: their stream and its position. Counted (through the object
// that carries it) so that value types can take it as CKaRef<CKaBinaryStreamerAspect>. Without
// a stream every member throws E_POINTER.
class ZELKA_API CKaStreamerAspect : public IKaRefCounted
{
public:
    explicit CKaStreamerAspect(CKaRef<IKaStream> stream);

    CKaRef<IKaStream> getStream() const;
    void SetFromBegin(__int64 offset);
    void SetFromCurrent(__int64 offset);
    void SetFromEnd(__int64 offset);
    unsigned __int64 getPos();
    void setPos(unsigned __int64 pos);
    unsigned __int64 getSize();

protected:
    ~CKaStreamerAspect();
    IKaStream& Stream() const;

private:
    CKaRef<IKaStream> m_stream;
};

// The size of each primitive in the binary format: no padding, no tags.
class ZELKA_API CKaBinaryStreamerAspect : public CKaStreamerAspect
{
public:
    using CKaStreamerAspect::CKaStreamerAspect;

    unsigned long getI1Size() const { return 1; }
    unsigned long getU1Size() const { return 1; }
    unsigned long getBoolSize() const { return 1; }
    unsigned long getI2Size() const { return 2; }
    unsigned long getU2Size() const { return 2; }
    unsigned long getI4Size() const { return 4; }
    unsigned long getU4Size() const { return 4; }
    unsigned long getF4Size() const { return 4; }
    unsigned long getI8Size() const { return 8; }
    unsigned long getU8Size() const { return 8; }
    unsigned long getF8Size() const { return 8; }
};

// Writes primitives as their little-endian bytes, each with one write to the stream.
class ZELKA_API CKaBinaryWriter : public CKaObjectWithInterface<CKaBinaryStreamerAspect>
{
public:
    explicit CKaBinaryWriter(CKaRef<IKaStream> stream);

    CKaString getObjectTypeInfo() override;

    void WriteI1(char value);
    void WriteU1(unsigned char value);
    // 1 for true, 0 for false.
    void WriteBool(bool value);
    void WriteI2(short value);
    void WriteU2(unsigned short value);
    void WriteI4(long value);
    void WriteU4(unsigned long value);
    void WriteI8(__int64 value);
    void WriteU8(unsigned __int64 value);
    void WriteF4(float value);
    void WriteF8(double value);
    // The bytes as they are, without a length.
    void Write(const void* data, unsigned long count);
    void Write(CKaByteBuffer data);

protected:
    ~CKaBinaryWriter() override;

private:
    template <class V>
    void WriteValue(V value);
};

// Reads primitives written by CKaBinaryWriter, each with one read from the stream; a value cut
// short by the end of the stream throws E_FAIL (its bytes are consumed).
class ZELKA_API CKaBinaryReader : public CKaObjectWithInterface<CKaBinaryStreamerAspect>
{
public:
    explicit CKaBinaryReader(CKaRef<IKaStream> stream);

    CKaString getObjectTypeInfo() override;

    char ReadI1();
    unsigned char ReadU1();
    // Any byte but 0 is true.
    bool ReadBool();
    short ReadI2();
    unsigned short ReadU2();
    long ReadI4();
    unsigned long ReadU4();
    __int64 ReadI8();
    unsigned __int64 ReadU8();
    float ReadF4();
    double ReadF8();
    // One read from the stream: returns what it gave, fewer bytes than asked at the end.
    unsigned long Read(void* buffer, unsigned long count);
    // Up to `count` bytes: the buffer is as long as what the stream gave.
    CKaByteBuffer Read(unsigned long count);

    // For the value types' Deserialize. Reads until `count` bytes are in or the stream ends;
    // returns how many came.
    unsigned long ReadAvailable(void* buffer, unsigned long count);
    // All `count` bytes or E_FAIL.
    void ReadExact(void* buffer, unsigned long count);
    // A U4 count of elements of `elementSize` bytes that must still be in the stream; E_FAIL
    // (before anything is allocated for them) when they cannot be.
    unsigned long ReadCount(unsigned long elementSize);

protected:
    ~CKaBinaryReader() override;

private:
    template <class V>
    V ReadValue();
};

// ---- the stream members of CKaSimpleBuffer ---------------------------------------------------

template <class T>
void CKaSimpleBuffer<T>::Serialize(CKaRef<CKaBinaryWriter> writer) const
{
    (*writer).WriteU4(getSize());
    WriteStream(writer);
}

template <class T>
void CKaSimpleBuffer<T>::Deserialize(CKaRef<CKaBinaryReader> reader)
{
    CKaBinaryReader& source = *reader;
    CheckReplaceable();
    const unsigned long count = source.ReadCount(sizeof(T));
    CKaSimpleBuffer<T> loaded(count);
    if (count) source.ReadExact(Elements(loaded.m_node), count * sizeof(T));
    Replace(loaded.m_node);
}

template <class T>
unsigned long CKaSimpleBuffer<T>::GetSerializeSize(CKaRef<CKaBinaryStreamerAspect> aspect) const
{
    return (*aspect).getU4Size() + getSize() * sizeof(T);
}

template <class T>
void CKaSimpleBuffer<T>::WriteStream(CKaRef<CKaBinaryWriter> writer) const
{
    WriteStream(writer, 0, getSize());
}

template <class T>
void CKaSimpleBuffer<T>::WriteStream(CKaRef<CKaBinaryWriter> writer, unsigned long offset,
                                     unsigned long count) const
{
    CKaBinaryWriter& target = *writer;
    CheckRange(offset, count);
    if (count) target.Write(getBuffer() + offset, count * sizeof(T));
}

template <class T>
unsigned long CKaSimpleBuffer<T>::ReadStream(CKaRef<CKaBinaryReader> reader)
{
    return ReadStream(reader, 0, getSize());
}

template <class T>
unsigned long CKaSimpleBuffer<T>::ReadStream(CKaRef<CKaBinaryReader> reader,
                                             unsigned long offset, unsigned long count)
{
    CKaBinaryReader& source = *reader;
    CheckRange(offset, count);
    if (count == 0) return 0;
    return source.ReadAvailable(Unshare() + offset, count * sizeof(T)) / sizeof(T);
}

template <class T>
unsigned long CKaSimpleBuffer<T>::ReadStreamToEnd(CKaRef<CKaBinaryReader> reader)
{
    return ReadStreamToEnd(reader, 0);
}

template <class T>
unsigned long CKaSimpleBuffer<T>::ReadStreamToEnd(CKaRef<CKaBinaryReader> reader,
                                                  unsigned long offset)
{
    CKaBinaryReader& source = *reader;
    CheckRange(offset, 0);
    CheckReplaceable();
    const unsigned __int64 position = source.getPos();
    const unsigned __int64 size = source.getSize();
    const unsigned __int64 rest = position < size ? (size - position) / sizeof(T) : 0;
    // The rest must fit one node beside the elements kept.
    const unsigned long most = (0xFFFFFFFF - sizeof(TNode)) / sizeof(T);
    if (rest > most - offset) throw CKaCodeException(KA_E_STREAM_TOO_LONG);
    const unsigned long wanted = static_cast<unsigned long>(rest);
    CKaSimpleBuffer<T> loaded;
    if (offset + wanted) loaded.Replace(CopyNode(getBuffer(), offset, offset + wanted));
    const unsigned long read =
        wanted ? source.ReadAvailable(Elements(loaded.m_node) + offset, wanted * sizeof(T)) /
                     sizeof(T)
               : 0;
    if (read < wanted) loaded.Resize(offset + read);
    Replace(loaded.m_node);
    return read;
}

template <class T>
unsigned long CKaSimpleBuffer<T>::ReadStreamAll(CKaRef<CKaBinaryReader> reader)
{
    return ReadStreamAll(reader, 0);
}

template <class T>
unsigned long CKaSimpleBuffer<T>::ReadStreamAll(CKaRef<CKaBinaryReader> reader,
                                                unsigned long offset)
{
    (*reader).SetFromBegin(0);
    return ReadStreamToEnd(reader, offset);
}

#endif
