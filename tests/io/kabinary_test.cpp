#include <gtest/gtest.h>
#include <functional>
#include <vector>
#include "katempfolder.h"
#include "katest.h"

namespace {

using ByteList = std::vector<unsigned char>;

// A stream over a byte vector that counts its calls, can hand out reads in small pieces and can
// claim a size it does not have.
class CVectorStream : public CKaObject, public IKaStream
{
public:
    explicit CVectorStream(ByteList initial = {}) : bytes(initial) {}

    unsigned long AddRef() override { return CKaObject::AddRef(); }
    unsigned long Release() override { return CKaObject::Release(); }
    unsigned long Read(void* buffer, unsigned long count) override
    {
        ++reads;
        unsigned long n = count < readPiece ? count : readPiece;
        if (position >= bytes.size()) return 0;
        if (n > bytes.size() - position) n = static_cast<unsigned long>(bytes.size() - position);
        std::memcpy(buffer, bytes.data() + position, n);
        position += n;
        return n;
    }
    void Write(const void* buffer, unsigned long count) override
    {
        ++writes;
        const unsigned char* data = static_cast<const unsigned char*>(buffer);
        if (bytes.size() < position + count) bytes.resize(position + count);
        std::copy(data, data + count, bytes.begin() + static_cast<long>(position));
        position += count;
    }
    void SetFromBegin(__int64 offset) override { position = static_cast<size_t>(offset); }
    void SetFromCurrent(__int64 offset) override { position += static_cast<size_t>(offset); }
    void SetFromEnd(__int64 offset) override
    {
        position = static_cast<size_t>(static_cast<__int64>(bytes.size()) + offset);
    }
    unsigned __int64 getPos() override { return position; }
    unsigned __int64 getSize() override { return claimedSize ? claimedSize : bytes.size(); }

    ByteList bytes;
    size_t position = 0;
    int reads = 0;
    int writes = 0;
    unsigned long readPiece = 0xFFFFFFFF;
    unsigned __int64 claimedSize = 0;
};

struct CChannel
{
    CKaRef<CVectorStream> stream;
    CKaRef<CKaBinaryWriter> writer;
    CKaRef<CKaBinaryReader> reader;

    explicit CChannel(ByteList initial = {})
        : stream(new CVectorStream(initial)), writer(new CKaBinaryWriter(stream.getPtr())),
          reader(new CKaBinaryReader(stream.getPtr()))
    {
    }
};

ByteList Written(const std::function<void(CKaBinaryWriter&)>& write)
{
    CChannel channel;
    write(*channel.writer);
    return channel.stream->bytes;
}

ByteList Bytes(const CKaSimpleBuffer<unsigned char>& buffer)
{
    return ByteList(buffer.getBuffer(), buffer.getBuffer() + buffer.getSize());
}

} // namespace

// ---- primitives -----------------------------------------------------------------------------

TEST(KaBinaryFormat, PrimitivesAreLittleEndianWithoutPadding)
{
    EXPECT_EQ((ByteList{0xFE}), Written([](CKaBinaryWriter& w) { w.WriteI1(-2); }));
    EXPECT_EQ((ByteList{0xC8}), Written([](CKaBinaryWriter& w) { w.WriteU1(200); }));
    EXPECT_EQ((ByteList{1, 0}), Written([](CKaBinaryWriter& w) {
                  w.WriteBool(true);
                  w.WriteBool(false);
              }));
    EXPECT_EQ((ByteList{0xFE, 0xFF}), Written([](CKaBinaryWriter& w) { w.WriteI2(-2); }));
    EXPECT_EQ((ByteList{0x34, 0x12}), Written([](CKaBinaryWriter& w) { w.WriteU2(0x1234); }));
    EXPECT_EQ((ByteList{0x78, 0x56, 0x34, 0x12}),
              Written([](CKaBinaryWriter& w) { w.WriteU4(0x12345678); }));
    EXPECT_EQ((ByteList{0xFF, 0xFF, 0xFF, 0x7F}),
              Written([](CKaBinaryWriter& w) { w.WriteI4(0x7FFFFFFF); }));
    EXPECT_EQ((ByteList{0xF0, 0xDE, 0xBC, 0x9A, 0x78, 0x56, 0x34, 0x12}),
              Written([](CKaBinaryWriter& w) { w.WriteU8(0x123456789ABCDEF0ull); }));
    EXPECT_EQ((ByteList{0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}),
              Written([](CKaBinaryWriter& w) { w.WriteI8(-1); }));
    EXPECT_EQ((ByteList{0x00, 0x00, 0xC0, 0x3F}),
              Written([](CKaBinaryWriter& w) { w.WriteF4(1.5f); }));
    EXPECT_EQ((ByteList{0, 0, 0, 0, 0, 0, 0x02, 0xC0}),
              Written([](CKaBinaryWriter& w) { w.WriteF8(-2.25); }));
    EXPECT_EQ((ByteList{'a', 'b', 0x0A, 0xFF}), Written([](CKaBinaryWriter& w) {
                  w.Write("ab", 2);
                  w.Write(CKaByteBuffer(L"0aff"));
              }));
}

TEST(KaBinaryFormat, OneStreamCallPerValue)
{
    CChannel channel;
    channel.writer->WriteU8(1);
    channel.writer->WriteF8(2);
    channel.writer->WriteBool(true);
    channel.writer->Write(CKaByteBuffer(L"010203"));
    EXPECT_EQ(4, channel.stream->writes);
    channel.stream->position = 0;
    channel.reader->ReadU8();
    channel.reader->ReadF8();
    channel.reader->ReadBool();
    EXPECT_EQ(3, channel.stream->reads);
}

TEST(KaBinaryFormat, ReadsBackWhatWasWritten)
{
    CChannel channel;
    CKaBinaryWriter& w = *channel.writer;
    w.WriteI1(-100);
    w.WriteU1(250);
    w.WriteBool(true);
    w.WriteI2(-30000);
    w.WriteU2(60000);
    w.WriteI4(-2000000000);
    w.WriteU4(4000000000u);
    w.WriteI8(-9000000000000000000ll);
    w.WriteU8(18000000000000000000ull);
    w.WriteF4(-0.5f);
    w.WriteF8(1e300);
    channel.stream->position = 0;
    CKaBinaryReader& r = *channel.reader;
    EXPECT_EQ(-100, r.ReadI1());
    EXPECT_EQ(250, r.ReadU1());
    EXPECT_TRUE(r.ReadBool());
    EXPECT_EQ(-30000, r.ReadI2());
    EXPECT_EQ(60000, r.ReadU2());
    EXPECT_EQ(-2000000000, r.ReadI4());
    EXPECT_EQ(4000000000u, r.ReadU4());
    EXPECT_EQ(-9000000000000000000ll, r.ReadI8());
    EXPECT_EQ(18000000000000000000ull, r.ReadU8());
    EXPECT_EQ(-0.5f, r.ReadF4());
    EXPECT_EQ(1e300, r.ReadF8());
}

TEST(KaBinaryFormat, AnyNonZeroByteIsTrue)
{
    CChannel channel({0x7F, 0x00, 0x80});
    EXPECT_TRUE(channel.reader->ReadBool());
    EXPECT_FALSE(channel.reader->ReadBool());
    EXPECT_TRUE(channel.reader->ReadBool());
}

TEST(KaBinaryFormat, AValueCutShortFailsAndConsumesWhatWasThere)
{
    CChannel channel({1, 2, 3});
    EXPECT_EQ(E_FAIL, ThrownCode([&] { channel.reader->ReadI4(); }));
    EXPECT_EQ(3u, channel.reader->getPos());
    EXPECT_EQ(E_FAIL, ThrownCode([&] { channel.reader->ReadU1(); }));
}

TEST(KaBinaryFormat, RawReadsMayBeShort)
{
    CChannel channel({1, 2, 3, 4, 5, 6});
    channel.reader->ReadU2();
    const CKaByteBuffer rest = channel.reader->Read(10ul);
    EXPECT_EQ((ByteList{3, 4, 5, 6}), Bytes(rest));
    EXPECT_EQ(0u, channel.reader->Read(10ul).getSize());
    EXPECT_EQ(0u, channel.reader->Read(0ul).getSize());

    channel.stream->position = 0;
    unsigned char bytes[8] = {};
    channel.stream->readPiece = 2;
    EXPECT_EQ(2u, channel.reader->Read(bytes, 8)); // one stream read, as the stream gives it
    EXPECT_EQ(4u, channel.reader->ReadAvailable(bytes, 8));
    EXPECT_EQ(6, bytes[3]);
}

TEST(KaBinaryFormat, WithoutAStreamEverythingIsANullReference)
{
    CKaRef<CKaBinaryWriter> writer = new CKaBinaryWriter(nullptr);
    CKaRef<CKaBinaryReader> reader = new CKaBinaryReader(nullptr);
    EXPECT_EQ(E_POINTER, ThrownCode([&] { writer->WriteU4(1); }));
    EXPECT_EQ(E_POINTER, ThrownCode([&] { writer->Write(CKaByteBuffer()); }));
    EXPECT_EQ(E_POINTER, ThrownCode([&] { reader->ReadU4(); }));
    EXPECT_EQ(E_POINTER, ThrownCode([&] { reader->Read(0ul); }));
    EXPECT_EQ(E_POINTER, ThrownCode([&] { reader->getPos(); }));
    EXPECT_EQ(E_POINTER, ThrownCode([&] { writer->setPos(0); }));
    EXPECT_FALSE(writer->getStream());
    EXPECT_EQ(L"zel.core.io.binarywriter;zel.common.object", writer->getObjectTypeInfo());
    EXPECT_EQ(4u, writer->getU4Size());
    EXPECT_EQ(8u, reader->getF8Size());
}

TEST(KaBinaryFormat, TheAspectMovesTheStream)
{
    CChannel channel({1, 2, 3, 4, 5});
    CKaRef<CKaBinaryStreamerAspect> aspect = channel.reader.getPtr();
    aspect->SetFromEnd(-2);
    EXPECT_EQ(3u, aspect->getPos());
    aspect->SetFromCurrent(-1);
    EXPECT_EQ(2u, channel.stream->position);
    aspect->setPos(4);
    EXPECT_EQ(5, channel.reader->ReadU1());
    EXPECT_EQ(5u, aspect->getSize());
    EXPECT_EQ(channel.stream.getPtr(), aspect->getStream().getPtr());
}

// ---- strings and buffers --------------------------------------------------------------------

TEST(KaBinaryValues, StringLayout)
{
    EXPECT_EQ((ByteList{0, 0, 0, 0}),
              Written([](CKaBinaryWriter& w) { CKaString().Serialize(&w); }));
    EXPECT_EQ((ByteList{3, 0, 0, 0, 'A', 0, 0, 0, 0xAC, 0x20}),
              Written([](CKaBinaryWriter& w) { CKaString(L"A\0\x20AC", 3).Serialize(&w); }));

    CChannel channel;
    EXPECT_EQ(14u, CKaString(L"hello").GetSerializeSize(channel.writer.getPtr()));
    EXPECT_EQ(4u, CKaString().GetSerializeSize(channel.reader.getPtr()));
}

TEST(KaBinaryValues, StringsReadBack)
{
    CChannel channel({2, 0, 0, 0, 'h', 0, 'i', 0, 0, 0, 0, 0, 1, 0, 0, 0, 0x3A, 0x04});
    CKaString text(L"old");
    text.Deserialize(channel.reader.getPtr());
    EXPECT_EQ(L"hi", text);
    text.Deserialize(channel.reader.getPtr());
    EXPECT_EQ(L"", text);
    text.Deserialize(channel.reader.getPtr());
    EXPECT_EQ(CKaString(L"\x043A"), text);
    EXPECT_EQ(E_FAIL, ThrownCode([&] { text.Deserialize(channel.reader.getPtr()); }));
}

TEST(KaBinaryValues, AStringCountBeyondTheStreamFailsBeforeAllocating)
{
    for (ByteList bytes : {ByteList{3, 0, 0, 0, 'a', 0, 'b', 0, 'c'},
                           ByteList{0xFF, 0xFF, 0xFF, 0x7F, 'a', 0},
                           ByteList{0x00, 0x00, 0x00, 0x80, 'a', 0}, ByteList{1, 0}}) {
        CChannel channel(bytes);
        CKaString text(L"kept");
        EXPECT_EQ(E_FAIL, ThrownCode([&] { text.Deserialize(channel.reader.getPtr()); }));
        EXPECT_EQ(L"kept", text);
    }
    // A stream that claims more than it has fails on the units themselves.
    CChannel liar({2, 0, 0, 0, 'a', 0});
    liar.stream->claimedSize = 100;
    CKaString text(L"kept");
    EXPECT_EQ(E_FAIL, ThrownCode([&] { text.Deserialize(liar.reader.getPtr()); }));
    EXPECT_EQ(L"kept", text);
}

TEST(KaBinaryValues, BufferLayoutAndReadBack)
{
    const CKaByteBuffer buffer(L"0a0b0c");
    EXPECT_EQ((ByteList{3, 0, 0, 0, 0x0A, 0x0B, 0x0C}),
              Written([&](CKaBinaryWriter& w) { buffer.Serialize(&w); }));
    EXPECT_EQ((ByteList{0, 0, 0, 0}),
              Written([](CKaBinaryWriter& w) { CKaByteBuffer().Serialize(&w); }));

    CChannel channel({2, 0, 0, 0, 0xAA, 0xBB, 0, 0, 0, 0});
    EXPECT_EQ(6u, CKaByteBuffer(L"aabb").GetSerializeSize(channel.reader.getPtr()));
    CKaByteBuffer loaded(L"01");
    loaded.Deserialize(channel.reader.getPtr());
    EXPECT_EQ((ByteList{0xAA, 0xBB}), Bytes(loaded));
    loaded.Deserialize(channel.reader.getPtr());
    EXPECT_EQ(nullptr, loaded.getBuffer());

    CKaSimpleBuffer<wchar_t> units(L"ab", 2);
    EXPECT_EQ((ByteList{2, 0, 0, 0, 'a', 0, 'b', 0}),
              Written([&](CKaBinaryWriter& w) { units.Serialize(&w); }));
}

TEST(KaBinaryValues, ABufferCountBeyondTheStreamLeavesTheBuffer)
{
    CChannel channel({5, 0, 0, 0, 1, 2, 3, 4});
    CKaByteBuffer buffer(L"0102");
    EXPECT_EQ(E_FAIL, ThrownCode([&] { buffer.Deserialize(channel.reader.getPtr()); }));
    EXPECT_EQ((ByteList{1, 2}), Bytes(buffer));

    CChannel huge({0xF0, 0xFF, 0xFF, 0xFF});
    EXPECT_EQ(E_FAIL, ThrownCode([&] { buffer.Deserialize(huge.reader.getPtr()); }));
    EXPECT_EQ((ByteList{1, 2}), Bytes(buffer));

    // A node locked in place is refused before the stream is touched.
    CChannel fine({1, 0, 0, 0, 9});
    buffer.Lock(true);
    EXPECT_EQ(KA_E_LOCKED_IN_PLACE, ThrownCode([&] { buffer.Deserialize(fine.reader.getPtr()); }));
    EXPECT_EQ(0u, fine.stream->position);
    buffer.Unlock();
}

TEST(KaBinaryValues, NullReferencesAreRefused)
{
    CKaString text(L"x");
    CKaByteBuffer buffer(L"01");
    EXPECT_EQ(E_POINTER, ThrownCode([&] { text.Serialize(nullptr); }));
    EXPECT_EQ(E_POINTER, ThrownCode([&] { text.Deserialize(nullptr); }));
    EXPECT_EQ(E_POINTER, ThrownCode([&] { text.GetSerializeSize(nullptr); }));
    EXPECT_EQ(E_POINTER, ThrownCode([&] { buffer.Serialize(nullptr); }));
    EXPECT_EQ(E_POINTER, ThrownCode([&] { buffer.Deserialize(nullptr); }));
    EXPECT_EQ(E_POINTER, ThrownCode([&] { buffer.GetSerializeSize(nullptr); }));
    EXPECT_EQ(E_POINTER, ThrownCode([&] { CKaByteBuffer().WriteStream(nullptr); }));
    EXPECT_EQ(E_POINTER, ThrownCode([&] { buffer.ReadStreamToEnd(nullptr); }));
    EXPECT_EQ(L"x", text);
}

// ---- buffers as raw stream data -------------------------------------------------------------

TEST(KaBufferStreams, WriteStreamChecksItsRange)
{
    const CKaByteBuffer buffer(L"01020304");
    EXPECT_EQ((ByteList{1, 2, 3, 4}),
              Written([&](CKaBinaryWriter& w) { buffer.WriteStream(&w); }));
    EXPECT_EQ((ByteList{2, 3}), Written([&](CKaBinaryWriter& w) { buffer.WriteStream(&w, 1, 2); }));
    CChannel channel;
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE,
              ThrownCode([&] { buffer.WriteStream(channel.writer.getPtr(), 5, 0); }));
    EXPECT_EQ(KA_E_COUNT_OUT_OF_RANGE,
              ThrownCode([&] { buffer.WriteStream(channel.writer.getPtr(), 3, 2); }));
    EXPECT_EQ(0, channel.stream->writes);
}

TEST(KaBufferStreams, ReadStreamFillsWhatIsThere)
{
    CChannel channel({7, 8, 9});
    channel.stream->readPiece = 1;
    CKaByteBuffer buffer(L"0000000000");
    const CKaByteBuffer shared = buffer;
    EXPECT_EQ(2u, buffer.ReadStream(channel.reader.getPtr(), 1, 2));
    EXPECT_EQ((ByteList{0, 7, 8, 0, 0}), Bytes(buffer));
    EXPECT_EQ((ByteList{0, 0, 0, 0, 0}), Bytes(shared));
    EXPECT_EQ(1u, buffer.ReadStream(channel.reader.getPtr()));
    EXPECT_EQ((ByteList{9, 7, 8, 0, 0}), Bytes(buffer));
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE,
              ThrownCode([&] { buffer.ReadStream(channel.reader.getPtr(), 6, 0); }));
    EXPECT_EQ(KA_E_COUNT_OUT_OF_RANGE,
              ThrownCode([&] { buffer.ReadStream(channel.reader.getPtr(), 4, 2); }));
}

TEST(KaBufferStreams, ReadStreamToEndAndAll)
{
    CChannel channel({1, 2, 3, 4, 5});
    channel.reader->SetFromBegin(3);
    CKaByteBuffer buffer(L"aabbcc");
    EXPECT_EQ(2u, buffer.ReadStreamToEnd(channel.reader.getPtr(), 1));
    EXPECT_EQ((ByteList{0xAA, 4, 5}), Bytes(buffer));
    EXPECT_EQ(0u, buffer.ReadStreamToEnd(channel.reader.getPtr()));
    EXPECT_EQ(nullptr, buffer.getBuffer());
    EXPECT_EQ(5u, buffer.ReadStreamAll(channel.reader.getPtr()));
    EXPECT_EQ((ByteList{1, 2, 3, 4, 5}), Bytes(buffer));
    EXPECT_EQ(5u, buffer.ReadStreamAll(channel.reader.getPtr(), 5));
    EXPECT_EQ((ByteList{1, 2, 3, 4, 5, 1, 2, 3, 4, 5}), Bytes(buffer));
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE,
              ThrownCode([&] { buffer.ReadStreamToEnd(channel.reader.getPtr(), 11); }));

    // A stream that ends before its size keeps only what came.
    channel.stream->claimedSize = 9;
    channel.reader->SetFromBegin(3);
    EXPECT_EQ(2u, buffer.ReadStreamToEnd(channel.reader.getPtr()));
    EXPECT_EQ((ByteList{4, 5}), Bytes(buffer));
}

TEST(KaBufferStreams, ARestTooLongForABufferIsItsOwnFailure)
{
    CChannel channel({1, 2, 3});
    channel.stream->claimedSize = 0x100000000ull;
    CKaByteBuffer buffer(L"01");
    EXPECT_EQ(KA_E_STREAM_TOO_LONG,
              ThrownCode([&] { buffer.ReadStreamToEnd(channel.reader.getPtr()); }));
    channel.stream->claimedSize = 0xFFFFFFF3ull;
    EXPECT_EQ(KA_E_STREAM_TOO_LONG,
              ThrownCode([&] { buffer.ReadStreamToEnd(channel.reader.getPtr(), 1); }));
    EXPECT_EQ((ByteList{1}), Bytes(buffer));
    EXPECT_EQ(0u, channel.stream->position);
}

// ---- over real files ------------------------------------------------------------------------

TEST(KaBinaryFiles, ValuesSurviveAFile)
{
    CKaTempFolder folder;
    const CKaString path = folder.File(L"values.bin");
    {
        CKaRef<CKaFile> file = new CKaFile;
        file->OpenCreate(path);
        CKaRef<CKaBinaryWriter> writer = new CKaBinaryWriter(file.getPtr());
        writer->WriteU4(0xCAFEBABE);
        CKaString(L"zelka").Serialize(writer);
        CKaByteBuffer(L"00ff10").Serialize(writer);
        writer->WriteF8(3.25);
    }
    CKaRef<CKaFile> file = new CKaFile;
    file->OpenExisting(path, true);
    EXPECT_EQ(4u + 14u + 7u + 8u, file->getSize());
    CKaRef<CKaBinaryReader> reader = new CKaBinaryReader(file.getPtr());
    EXPECT_EQ(0xCAFEBABEu, reader->ReadU4());
    CKaString text;
    text.Deserialize(reader);
    EXPECT_EQ(L"zelka", text);
    CKaByteBuffer bytes;
    bytes.Deserialize(reader);
    EXPECT_EQ(L"00ff10", bytes.ToBinHex(false));
    EXPECT_EQ(3.25, reader->ReadF8());
    EXPECT_EQ(E_FAIL, ThrownCode([&] { reader->ReadU1(); }));

    CKaByteBuffer whole;
    EXPECT_EQ(33u, whole.ReadStreamAll(reader));
    EXPECT_EQ(0xBE, whole[0]);
}
