#include <gtest/gtest.h>
#include <functional>
#include "kafakestream.h"

namespace {

// A writer and a reader on one fake stream.
struct CChannel
{
    explicit CChannel(TKaBytes initial = {})
        : fake(std::move(initial)), stream(new CKaComStream(&fake)),
          writer(new CKaBinaryWriter(stream)), reader(new CKaBinaryReader(stream))
    {
    }

    CFakeStream fake;
    CKaRef<IKaStream> stream;
    CKaRef<CKaBinaryWriter> writer;
    CKaRef<CKaBinaryReader> reader;
};

TKaBytes Written(const std::function<void(CKaBinaryWriter&)>& write)
{
    CChannel channel;
    write(*channel.writer);
    return channel.fake.bytes;
}

} // namespace

// ---- primitives -----------------------------------------------------------------------------

TEST(KaBinaryFormat, LittleEndianWithoutPaddingOneStreamCallPerValue)
{
    CChannel channel;
    CKaBinaryWriter& w = *channel.writer;
    w.WriteI1(-2);
    w.WriteBool(true);
    w.WriteU2(0x1234);
    w.WriteI4(0x7FFFFFFF);
    w.WriteU8(0x123456789ABCDEF0ull);
    w.WriteF4(1.5f);
    w.WriteF8(-2.25);
    w.Write("ab", 2);
    w.Write(CKaByteBuffer(L"0aff"));
    EXPECT_EQ((TKaBytes{0xFE, 1,    0x34, 0x12, 0xFF, 0xFF, 0xFF, 0x7F, 0xF0, 0xDE, 0xBC,
                        0x9A, 0x78, 0x56, 0x34, 0x12, 0,    0,    0xC0, 0x3F, 0,    0,
                        0,    0,    0,    0,    0x02, 0xC0, 'a',  'b',  0x0A, 0xFF}),
              channel.fake.bytes);
    EXPECT_EQ(9, channel.fake.writes);

    CKaBinaryReader& r = *channel.reader;
    r.SetFromBegin(0);
    EXPECT_EQ(-2, r.ReadI1());
    EXPECT_TRUE(r.ReadBool());
    EXPECT_EQ(0x1234, r.ReadU2());
    EXPECT_EQ(0x7FFFFFFF, r.ReadI4());
    EXPECT_EQ(0x123456789ABCDEF0ull, r.ReadU8());
    EXPECT_EQ(1.5f, r.ReadF4());
    EXPECT_EQ(-2.25, r.ReadF8());
    EXPECT_EQ(7, channel.fake.reads);
}

TEST(KaBinaryFormat, AnyNonZeroByteIsTrueAndAValueCutShortFailsAfterTakingItsBytes)
{
    CChannel channel({0x7F, 0x00, 1, 2, 3});
    EXPECT_TRUE(channel.reader->ReadBool());
    EXPECT_FALSE(channel.reader->ReadBool());
    EXPECT_EQ(E_FAIL, ThrownCode([&] { channel.reader->ReadI4(); }));
    EXPECT_EQ(5u, channel.reader->getPos());
    EXPECT_EQ(E_FAIL, ThrownCode([&] { channel.reader->ReadU1(); }));
}

TEST(KaBinaryFormat, RawReadsMayBeShort)
{
    CChannel channel({1, 2, 3, 4, 5, 6});
    channel.reader->ReadU2();
    EXPECT_EQ((TKaBytes{3, 4, 5, 6}), Bytes(channel.reader->Read(10ul)));
    EXPECT_EQ(0u, channel.reader->Read(10ul).getSize());
    channel.reader->SetFromBegin(0);
    unsigned char bytes[8] = {};
    channel.fake.readPiece = 2;
    EXPECT_EQ(2u, channel.reader->Read(bytes, 8)); // one stream read, as the stream gives it
    EXPECT_EQ(4u, channel.reader->ReadAvailable(bytes, 8));
    EXPECT_EQ(6, bytes[3]);
}

TEST(KaBinaryFormat, WithoutAStreamOrAReferenceNothingIsDone)
{
    const CKaRef<CKaBinaryReader> reader = new CKaBinaryReader(nullptr);
    EXPECT_EQ(E_POINTER, ThrownCode([&] { reader->ReadU4(); }));
    EXPECT_EQ(E_POINTER, ThrownCode([&] { reader->getPos(); }));
    CKaString text(L"x");
    EXPECT_EQ(E_POINTER, ThrownCode([&] { text.Deserialize(nullptr); }));
    EXPECT_EQ(E_POINTER, ThrownCode([&] { CKaByteBuffer(L"01").Serialize(nullptr); }));
    EXPECT_EQ(E_POINTER, ThrownCode([&] { CKaByteBuffer().ReadStreamToEnd(nullptr); }));
    EXPECT_EQ(L"x", text);
}

// ---- strings and buffers --------------------------------------------------------------------

TEST(KaBinaryValues, StringLayoutAndReadBack)
{
    EXPECT_EQ((TKaBytes{0, 0, 0, 0}),
              Written([](CKaBinaryWriter& w) { CKaString().Serialize(&w); }));
    EXPECT_EQ((TKaBytes{3, 0, 0, 0, 'A', 0, 0, 0, 0xAC, 0x20}),
              Written([](CKaBinaryWriter& w) { CKaString(L"A\0\x20AC", 3).Serialize(&w); }));
    CChannel channel({2, 0, 0, 0, 'h', 0, 'i', 0, 0, 0, 0, 0});
    EXPECT_EQ(8u, CKaString(L"hi").GetSerializeSize(channel.reader));
    CKaString text(L"old");
    text.Deserialize(channel.reader);
    EXPECT_EQ(L"hi", text);
    text.Deserialize(channel.reader);
    EXPECT_EQ(L"", text);
    EXPECT_EQ(E_FAIL, ThrownCode([&] { text.Deserialize(channel.reader); }));
}

TEST(KaBinaryValues, BufferLayoutAndReadBack)
{
    EXPECT_EQ((TKaBytes{3, 0, 0, 0, 0x0A, 0x0B, 0x0C}),
              Written([](CKaBinaryWriter& w) { CKaByteBuffer(L"0a0b0c").Serialize(&w); }));
    EXPECT_EQ((TKaBytes{2, 0, 0, 0, 'a', 0, 'b', 0}), Written([](CKaBinaryWriter& w) {
                  CKaSimpleBuffer<wchar_t>(L"ab", 2).Serialize(&w);
              }));
    CChannel channel({2, 0, 0, 0, 0xAA, 0xBB, 0, 0, 0, 0, 1, 0, 0, 0, 9});
    EXPECT_EQ(6u, CKaByteBuffer(L"aabb").GetSerializeSize(channel.reader));
    CKaByteBuffer loaded(L"01");
    loaded.Deserialize(channel.reader);
    EXPECT_EQ((TKaBytes{0xAA, 0xBB}), Bytes(loaded));
    loaded.Deserialize(channel.reader);
    EXPECT_EQ(nullptr, loaded.getBuffer());
    // A node locked in place is refused before the stream is touched.
    loaded = CKaByteBuffer(L"01");
    loaded.Lock(true);
    EXPECT_EQ(KA_E_LOCKED_IN_PLACE, ThrownCode([&] { loaded.Deserialize(channel.reader); }));
    EXPECT_EQ(10u, channel.fake.position);
    loaded.Unlock();
}

TEST(KaBinaryValues, ACountBeyondTheStreamFailsBeforeAllocatingAndLeavesTheValue)
{
    for (const TKaBytes& bytes :
         {TKaBytes{3, 0, 0, 0, 'a', 0, 'b', 0, 'c'}, TKaBytes{0xFF, 0xFF, 0xFF, 0x7F, 'a', 0},
          TKaBytes{0x00, 0x00, 0x00, 0x80, 'a', 0}, TKaBytes{1, 0}}) {
        CChannel channel(bytes);
        CKaString text(L"kept");
        EXPECT_EQ(E_FAIL, ThrownCode([&] { text.Deserialize(channel.reader); }));
        EXPECT_EQ(L"kept", text);
    }
    // A stream that claims more than it has fails on the units themselves.
    CChannel liar({2, 0, 0, 0, 'a', 0});
    liar.fake.size = 100;
    CKaString text(L"kept");
    EXPECT_EQ(E_FAIL, ThrownCode([&] { text.Deserialize(liar.reader); }));
    EXPECT_EQ(L"kept", text);

    CChannel huge({0xF0, 0xFF, 0xFF, 0xFF, 1});
    CKaByteBuffer buffer(L"0102");
    EXPECT_EQ(E_FAIL, ThrownCode([&] { buffer.Deserialize(huge.reader); }));
    EXPECT_EQ((TKaBytes{1, 2}), Bytes(buffer));
}

// ---- buffers as raw stream data -------------------------------------------------------------

TEST(KaBufferStreams, WriteStreamAndReadStreamCheckTheirRange)
{
    const CKaByteBuffer source(L"01020304");
    EXPECT_EQ((TKaBytes{2, 3}), Written([&](CKaBinaryWriter& w) { source.WriteStream(&w, 1, 2); }));
    CChannel channel({7, 8, 9});
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE,
              ThrownCode([&] { source.WriteStream(channel.writer, 5, 0); }));
    EXPECT_EQ(KA_E_COUNT_OUT_OF_RANGE,
              ThrownCode([&] { source.WriteStream(channel.writer, 3, 2); }));
    EXPECT_EQ(0, channel.fake.writes);

    channel.fake.readPiece = 1;
    CKaByteBuffer buffer(L"0000000000");
    const CKaByteBuffer shared = buffer;
    EXPECT_EQ(2u, buffer.ReadStream(channel.reader, 1, 2));
    EXPECT_EQ((TKaBytes{0, 7, 8, 0, 0}), Bytes(buffer));
    EXPECT_EQ((TKaBytes{0, 0, 0, 0, 0}), Bytes(shared));
    EXPECT_EQ(1u, buffer.ReadStream(channel.reader));
    EXPECT_EQ((TKaBytes{9, 7, 8, 0, 0}), Bytes(buffer));
    EXPECT_EQ(KA_E_COUNT_OUT_OF_RANGE,
              ThrownCode([&] { buffer.ReadStream(channel.reader, 4, 2); }));
}

TEST(KaBufferStreams, ReadStreamToEndAndAll)
{
    CChannel channel({1, 2, 3, 4, 5});
    channel.reader->SetFromBegin(3);
    CKaByteBuffer buffer(L"aabbcc");
    EXPECT_EQ(2u, buffer.ReadStreamToEnd(channel.reader, 1));
    EXPECT_EQ((TKaBytes{0xAA, 4, 5}), Bytes(buffer));
    EXPECT_EQ(5u, buffer.ReadStreamAll(channel.reader, 3));
    EXPECT_EQ((TKaBytes{0xAA, 4, 5, 1, 2, 3, 4, 5}), Bytes(buffer));
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE,
              ThrownCode([&] { buffer.ReadStreamToEnd(channel.reader, 9); }));
    // A stream that ends before its size keeps only what came.
    channel.fake.size = 9;
    channel.reader->SetFromBegin(3);
    EXPECT_EQ(2u, buffer.ReadStreamToEnd(channel.reader));
    EXPECT_EQ((TKaBytes{4, 5}), Bytes(buffer));
}

TEST(KaBufferStreams, ARestTooLongForABufferIsItsOwnFailure)
{
    CChannel channel({1, 2, 3});
    channel.fake.size = 0x100000000ull;
    CKaByteBuffer buffer(L"01");
    EXPECT_EQ(KA_E_STREAM_TOO_LONG, ThrownCode([&] { buffer.ReadStreamToEnd(channel.reader); }));
    channel.fake.size = 0xFFFFFFF3ull;
    EXPECT_EQ(KA_E_STREAM_TOO_LONG, ThrownCode([&] { buffer.ReadStreamToEnd(channel.reader, 1); }));
    EXPECT_EQ((TKaBytes{1}), Bytes(buffer));
    EXPECT_EQ(0u, channel.fake.position);
}
