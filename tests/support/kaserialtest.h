#ifndef ZELKA_TESTS_KASERIALTEST_H
#define ZELKA_TESTS_KASERIALTEST_H

#include "katest.h"

// The bytes a value's Serialize writes to a fresh memory stream.
template <class T>
TKaBytes SerializedBytes(const T& value)
{
    CKaRef<CKaMemoryStream> stream(new CKaMemoryStream);
    stream->Create();
    value.Serialize(CKaRef<CKaBinaryWriter>(new CKaBinaryWriter(stream)));
    stream->SetFromBegin(0);
    CKaRef<CKaBinaryReader> reader(new CKaBinaryReader(stream));
    return Bytes(reader->Read(static_cast<unsigned long>(stream->getSize())));
}

// A reader over a copy of `bytes`, at their start.
inline CKaRef<CKaBinaryReader> ReaderOf(const TKaBytes& bytes)
{
    CKaRef<CKaMemoryStream> stream(new CKaMemoryStream);
    stream->Create(CKaSimpleBuffer<unsigned char>(bytes.data(), static_cast<unsigned long>(bytes.size())));
    return CKaRef<CKaBinaryReader>(new CKaBinaryReader(stream));
}

// What Deserialize makes of `bytes` in `value`.
template <class T>
void DeserializeBytes(T& value, const TKaBytes& bytes)
{
    value.Deserialize(ReaderOf(bytes));
}

#endif
