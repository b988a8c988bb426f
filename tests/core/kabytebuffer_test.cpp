#include <gtest/gtest.h>
#include <cstring>
#include <cwchar>
#include <vector>
#include "katest.h"

namespace {

std::vector<unsigned char> Bytes(const CKaSimpleBuffer<unsigned char>& buffer)
{
    const unsigned char* data = buffer.getBuffer();
    return std::vector<unsigned char>(data, data + buffer.getSize());
}

CKaByteBuffer Of(std::initializer_list<unsigned char> bytes)
{
    return CKaByteBuffer(bytes.begin(), static_cast<unsigned long>(bytes.size()));
}

using ByteList = std::vector<unsigned char>;

} // namespace

// ---- nodes, sharing and locking -------------------------------------------------------------

TEST(KaSimpleBuffer, EmptyBuffersHaveNoNode)
{
    CKaSimpleBuffer<unsigned char> empty;
    EXPECT_EQ(0u, empty.getSize());
    EXPECT_EQ(nullptr, empty.getBuffer());
    EXPECT_EQ(nullptr, CKaSimpleBuffer<unsigned char>(0ul).getBuffer());
    EXPECT_EQ(nullptr, CKaSimpleBuffer<unsigned char>(nullptr, 0).getBuffer());
    EXPECT_EQ(nullptr, empty.Lock(true));
    EXPECT_EQ(nullptr, empty.Unshare());
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, ThrownCode([&] { (void)empty[0ul]; }));
}

TEST(KaSimpleBuffer, CopiesShareTheNodeUntilOneWrites)
{
    CKaByteBuffer first = Of({1, 2, 3});
    CKaByteBuffer copy = first;
    EXPECT_EQ(first.getBuffer(), copy.getBuffer());

    copy[1ul] = 20;
    EXPECT_NE(first.getBuffer(), copy.getBuffer());
    EXPECT_EQ((ByteList{1, 2, 3}), Bytes(first));
    EXPECT_EQ((ByteList{1, 20, 3}), Bytes(copy));

    // A private node is written where it lies.
    const unsigned char* before = copy.getBuffer();
    copy.EmbedU1(30, 2);
    EXPECT_EQ(before, copy.getBuffer());

    CKaByteBuffer assigned;
    assigned = first;
    EXPECT_EQ(first.getBuffer(), assigned.getBuffer());
    assigned.Clear();
    EXPECT_EQ(0u, assigned.getSize());
    EXPECT_EQ((ByteList{1, 2, 3}), Bytes(first));
}

TEST(KaSimpleBuffer, SetBufferCopiesEvenFromItself)
{
    CKaByteBuffer buffer = Of({1, 2, 3, 4});
    buffer.SetBuffer(buffer.getBuffer() + 1, 2);
    EXPECT_EQ((ByteList{2, 3}), Bytes(buffer));
    buffer.SetBuffer(nullptr, 0);
    EXPECT_EQ(nullptr, buffer.getBuffer());
}

TEST(KaSimpleBuffer, IndexingIsChecked)
{
    const CKaByteBuffer buffer = Of({7, 8});
    EXPECT_EQ(8, buffer[1ul]);
    EXPECT_EQ(8, buffer[1]);
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, ThrownCode([&] { (void)buffer[2ul]; }));
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, ThrownCode([&] { (void)buffer[-1]; }));
    CKaByteBuffer writable = buffer;
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, ThrownCode([&] { writable[2] = 0; }));
    EXPECT_EQ(buffer.getBuffer(), writable.getBuffer()); // a failed write copied nothing
}

TEST(KaSimpleBuffer, EqualityIsByContent)
{
    EXPECT_TRUE(Of({1, 2}) == Of({1, 2}));
    EXPECT_TRUE(Of({1, 2}) != Of({1, 3}));
    EXPECT_TRUE(Of({1, 2}) != Of({1, 2, 0}));
    EXPECT_TRUE(CKaByteBuffer().IsEqual(CKaByteBuffer(0ul)));
    const CKaByteBuffer uninitialised(4ul);
    EXPECT_TRUE(uninitialised.IsEqual(CKaByteBuffer(uninitialised)));
}

TEST(KaSimpleBuffer, LockMakesTheNodePrivate)
{
    CKaByteBuffer first = Of({1, 2});
    CKaByteBuffer second = first;
    unsigned char* locked = second.Lock(false);
    EXPECT_NE(first.getBuffer(), locked);
    locked[0] = 9;
    second.Unlock();
    EXPECT_EQ((ByteList{1, 2}), Bytes(first));
    EXPECT_EQ((ByteList{9, 2}), Bytes(second));
}

TEST(KaSimpleBuffer, ANodeLockedInPlaceIsNeverReleased)
{
    CKaByteBuffer buffer = Of({1, 2, 3});
    unsigned char* pinned = buffer.Lock(true);

    EXPECT_EQ(KA_E_LOCKED_IN_PLACE, ThrownCode([&] { buffer = Of({4}); }));
    EXPECT_EQ(KA_E_LOCKED_IN_PLACE, ThrownCode([&] { buffer.Clear(); }));
    EXPECT_EQ(KA_E_LOCKED_IN_PLACE, ThrownCode([&] { buffer.SetBuffer(L"00"); }));
    EXPECT_EQ(KA_E_LOCKED_IN_PLACE, ThrownCode([&] { buffer.EmbedU4(1, 2, false); }));
    EXPECT_EQ(pinned, buffer.getBuffer());
    EXPECT_EQ((ByteList{1, 2, 3}), Bytes(buffer));

    // Writing inside the node is fine, and plain assignment may still share it.
    buffer.EmbedU1(5, 0);
    EXPECT_EQ(5, pinned[0]);
    CKaByteBuffer sharer = buffer;
    EXPECT_EQ(pinned, sharer.getBuffer());
    EXPECT_EQ(KA_E_LOCKED_IN_PLACE, ThrownCode([&] { buffer.EmbedU1(6, 0); }));

    buffer.Unlock();
    buffer = Of({4});
    EXPECT_EQ((ByteList{4}), Bytes(buffer));
    EXPECT_EQ((ByteList{5, 2, 3}), Bytes(sharer));
}

TEST(KaSimpleBuffer, OversizedNodesAreOutOfMemory)
{
    EXPECT_EQ(E_OUTOFMEMORY, ThrownCode([] { CKaByteBuffer(0xFFFFFFF4ul); }));
    EXPECT_EQ(E_OUTOFMEMORY, ThrownCode([] { CKaSimpleBuffer<wchar_t>(0x7FFFFFFAul); }));
    CKaByteBuffer buffer;
    EXPECT_EQ(E_OUTOFMEMORY, ThrownCode([&] { buffer.EmbedU2(1, 0xFFFFFFFF, false); }));
    EXPECT_EQ(0u, buffer.getSize());
}

TEST(KaSimpleBuffer, WorksForWideElements)
{
    CKaSimpleBuffer<wchar_t> units(L"abc", 3);
    CKaSimpleBuffer<wchar_t> copy = units;
    copy[0] = L'x';
    EXPECT_EQ(0, std::wmemcmp(L"abc", units.getBuffer(), 3));
    EXPECT_EQ(0, std::wmemcmp(L"xbc", copy.getBuffer(), 3));
}

// ---- hexadecimal text -----------------------------------------------------------------------

TEST(KaByteBufferHex, ParsesEitherCase)
{
    EXPECT_EQ((ByteList{0x0A, 0xFF}), Bytes(CKaByteBuffer(L"0aFF")));
    EXPECT_EQ((ByteList{0x12, 0xab}), Bytes(CKaByteBuffer(CKaString(L"12aB"))));
    EXPECT_EQ(0u, CKaByteBuffer(L"").getSize());
    EXPECT_EQ(0u, CKaByteBuffer(static_cast<const wchar_t*>(nullptr)).getSize());
}

TEST(KaByteBufferHex, MalformedTextLeavesTheBufferAlone)
{
    CKaByteBuffer buffer = Of({1, 2, 3});
    EXPECT_EQ(KA_E_INVALID_HEX_TEXT, ThrownCode([&] { buffer.SetBuffer(L"0aF"); }));
    EXPECT_EQ(KA_E_INVALID_HEX_TEXT, ThrownCode([&] { buffer.SetBuffer(L"zz"); }));
    EXPECT_EQ(KA_E_INVALID_HEX_TEXT, ThrownCode([&] { buffer.SetBuffer(L"00112g"); }));
    EXPECT_EQ(KA_E_INVALID_HEX_TEXT, ThrownCode([&] { buffer.SetBuffer(L"0x"); }));
    EXPECT_EQ(KA_E_INVALID_HEX_TEXT, ThrownCode([&] { buffer.SetBuffer(CKaString(L"0\0", 2)); }));
    EXPECT_EQ((ByteList{1, 2, 3}), Bytes(buffer));
    EXPECT_EQ(KA_E_INVALID_HEX_TEXT, ThrownCode([] { CKaByteBuffer(L"abc"); }));
}

TEST(KaByteBufferHex, RoundTrip)
{
    const CKaByteBuffer buffer = Of({0x0A, 0xFF, 0x00, 0x7c});
    EXPECT_EQ(L"0AFF007C", buffer.ToBinHex(true));
    EXPECT_EQ(L"0aff007c", buffer.ToBinHex(false));
    EXPECT_EQ(L"", CKaByteBuffer().ToBinHex(true));
    EXPECT_TRUE(buffer == CKaByteBuffer(buffer.ToBinHex(false)));
}

// ---- typed access ---------------------------------------------------------------------------

TEST(KaByteBufferTyped, ExtractInEitherByteOrder)
{
    const CKaByteBuffer buffer = Of({0x12, 0x34, 0x56, 0x78, 0x9A, 0xBC, 0xDE, 0xF0, 0x80});
    EXPECT_EQ(0x1234, buffer.ExtractU2(0, true));
    EXPECT_EQ(0x3412, buffer.ExtractU2(0, false));
    EXPECT_EQ(0x78563412u, buffer.ExtractU4(0, false));
    EXPECT_EQ(0x3456789Au, buffer.ExtractU4(1, true));
    EXPECT_EQ(0x123456789ABCDEF0ull, buffer.ExtractU8(0, true));
    EXPECT_EQ(static_cast<__int64>(0x80F0DEBC9A785634ull), buffer.ExtractI8(1, false));
    EXPECT_EQ(-128, buffer.ExtractI1(8));
    EXPECT_EQ(0x80u, buffer.ExtractU1(8));
    EXPECT_EQ(static_cast<short>(0x80F0), buffer.ExtractI2(7, false));
    EXPECT_EQ(static_cast<long>(0xBCDEF080), buffer.ExtractI4(5, true));
}

TEST(KaByteBufferTyped, ReadsBeyondTheDataAreInvalidArguments)
{
    const CKaByteBuffer buffer = Of({1, 2, 3, 4});
    EXPECT_EQ(E_INVALIDARG, ThrownCode([&] { buffer.ExtractU4(1, false); }));
    EXPECT_EQ(E_INVALIDARG, ThrownCode([&] { buffer.ExtractU1(4); }));
    EXPECT_EQ(E_INVALIDARG, ThrownCode([&] { buffer.ExtractF8(0, false); }));
    EXPECT_EQ(E_INVALIDARG, ThrownCode([&] { buffer.ExtractU2(0xFFFFFFFF, false); }));
    EXPECT_EQ(E_INVALIDARG, ThrownCode([] { CKaByteBuffer().ExtractI1(0); }));
    EXPECT_EQ(0x04030201u, buffer.ExtractU4(0, false));
}

TEST(KaByteBufferTyped, EmbedGrowsWithZeros)
{
    CKaByteBuffer buffer;
    buffer.EmbedU2(0xABCD, 10, false);
    ASSERT_EQ(12u, buffer.getSize());
    EXPECT_EQ(0xCD, buffer[10]);
    EXPECT_EQ(0xAB, buffer[11]);
    EXPECT_EQ(ByteList(10, 0), ByteList(buffer.getBuffer(), buffer.getBuffer() + 10));

    buffer.EmbedU4(0x01020304, 0, true);
    EXPECT_EQ((ByteList{1, 2, 3, 4}), Bytes(buffer.Extract(0, 4)));
    EXPECT_EQ(12u, buffer.getSize());
}

TEST(KaByteBufferTyped, EveryWidthRoundTripsInBothOrders)
{
    for (bool swap : {false, true}) {
        CKaByteBuffer buffer;
        buffer.EmbedI1(-5, 0);
        buffer.EmbedU1(250, 1);
        buffer.EmbedI2(-12345, 2, swap);
        buffer.EmbedU2(54321, 4, swap);
        buffer.EmbedI4(-123456789, 6, swap);
        buffer.EmbedU4(3123456789u, 10, swap);
        buffer.EmbedI8(-1234567890123456789ll, 14, swap);
        buffer.EmbedU8(12345678901234567890ull, 22, swap);
        buffer.EmbedF4(1.5f, 30, swap);
        buffer.EmbedF8(-2.25, 34, swap);
        ASSERT_EQ(42u, buffer.getSize());
        EXPECT_EQ(-5, buffer.ExtractI1(0));
        EXPECT_EQ(250, buffer.ExtractU1(1));
        EXPECT_EQ(-12345, buffer.ExtractI2(2, swap));
        EXPECT_EQ(54321, buffer.ExtractU2(4, swap));
        EXPECT_EQ(-123456789, buffer.ExtractI4(6, swap));
        EXPECT_EQ(3123456789u, buffer.ExtractU4(10, swap));
        EXPECT_EQ(-1234567890123456789ll, buffer.ExtractI8(14, swap));
        EXPECT_EQ(12345678901234567890ull, buffer.ExtractU8(22, swap));
        EXPECT_EQ(1.5f, buffer.ExtractF4(30, swap));
        EXPECT_EQ(-2.25, buffer.ExtractF8(34, swap));
    }
    CKaByteBuffer big;
    big.EmbedF4(1.0f, 0, true);
    EXPECT_EQ((ByteList{0x3F, 0x80, 0, 0}), Bytes(big));
}

TEST(KaByteBufferTyped, EmbedUnsharesFirst)
{
    const CKaByteBuffer original = Of({1, 2, 3});
    CKaByteBuffer copy = original;
    copy.EmbedU1(9, 1);
    EXPECT_EQ((ByteList{1, 2, 3}), Bytes(original));
    EXPECT_EQ((ByteList{1, 9, 3}), Bytes(copy));
}

// ---- characters -----------------------------------------------------------------------------

TEST(KaByteBufferChars, ExtractCharsTakesTwoBytesPerUnit)
{
    const CKaByteBuffer buffer = Of({0x41, 0x00, 0x00, 0x42, 0x3A, 0x04, 0x7F});
    EXPECT_EQ(CKaString(L"A\x4200\x043A"), buffer.ExtractChars(0, 3, false));
    EXPECT_EQ(CKaString(L"\x4100\x0042\x3A04"), buffer.ExtractChars(0, 3, true));
    EXPECT_EQ(CKaString(L"\x4200\x043A"), buffer.ExtractChars(2, 2, false));
    EXPECT_EQ(CKaString(L"A\x4200\x043A"), buffer.ExtractChars(false)); // odd byte left out
    EXPECT_EQ(L"", buffer.ExtractChars(7, 0, false));
}

TEST(KaByteBufferChars, ExtractCharsStaysInsideTheData)
{
    const CKaByteBuffer buffer = Of({0x41, 0x00, 0x42, 0x00});
    EXPECT_EQ(E_INVALIDARG, ThrownCode([&] { buffer.ExtractChars(5, 0, false); }));
    EXPECT_EQ(E_INVALIDARG, ThrownCode([&] { buffer.ExtractChars(2, 3, false); }));
    // Within offset + count but not within offset + 2 x count.
    EXPECT_EQ(E_INVALIDARG, ThrownCode([&] { buffer.ExtractChars(1, 2, false); }));
    EXPECT_EQ(E_INVALIDARG, ThrownCode([&] { buffer.ExtractChars(0, 0x80000001, false); }));
}

TEST(KaByteBufferChars, EmbedCharsStepsOneBytePerCharacter)
{
    CKaByteBuffer buffer;
    buffer.EmbedChars(L"AB", 0, false);
    EXPECT_EQ((ByteList{0x41, 0x42, 0x00, 0x00}), Bytes(buffer));

    CKaByteBuffer swapped = Of({9, 9, 9, 9, 9, 9, 9});
    swapped.EmbedChars(CKaString(L"\x0102\x0304\x0506"), 1, true);
    EXPECT_EQ((ByteList{9, 0x01, 0x03, 0x05, 0x06, 9, 9}), Bytes(swapped));

    CKaByteBuffer offset;
    offset.EmbedChars(L"", 3, false);
    EXPECT_EQ(3u, offset.getSize());
    offset.EmbedChars(L"xyz", false);
    EXPECT_EQ((ByteList{'x', 'y', 'z', 0, 0, 0}), Bytes(offset));
}

// ---- sub-buffers ----------------------------------------------------------------------------

TEST(KaByteBufferParts, ExtractChecksStartAndEnd)
{
    const CKaByteBuffer buffer = Of({1, 2, 3, 4});
    EXPECT_EQ((ByteList{2, 3}), Bytes(buffer.Extract(1, 2)));
    EXPECT_EQ((ByteList{3, 4}), Bytes(buffer.Extract(2)));
    EXPECT_EQ(0u, buffer.Extract(4).getSize());
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, ThrownCode([&] { buffer.Extract(5); }));
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, ThrownCode([&] { buffer.Extract(5, 0); }));
    EXPECT_EQ(KA_E_COUNT_OUT_OF_RANGE, ThrownCode([&] { buffer.Extract(3, 2); }));
}

TEST(KaByteBufferParts, EmbedBuffers)
{
    CKaByteBuffer buffer = Of({1, 2, 3});
    buffer.Embed(Of({7, 8}), 2);
    EXPECT_EQ((ByteList{1, 2, 7, 8}), Bytes(buffer));
    buffer.Embed(Of({5, 6, 7}), 0, 1);
    EXPECT_EQ((ByteList{5, 2, 7, 8}), Bytes(buffer));
    EXPECT_EQ(KA_E_COUNT_OUT_OF_RANGE, ThrownCode([&] { buffer.Embed(Of({1}), 0, 2); }));

    // A buffer embedded into itself reads its bytes from before the write.
    buffer.Embed(buffer, 2);
    EXPECT_EQ((ByteList{5, 2, 5, 2, 7, 8}), Bytes(buffer));
}
