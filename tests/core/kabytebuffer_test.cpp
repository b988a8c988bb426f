#include <gtest/gtest.h>
#include "katest.h"

namespace {

CKaByteBuffer Of(std::initializer_list<unsigned char> bytes)
{
    return CKaByteBuffer(bytes.begin(), static_cast<unsigned long>(bytes.size()));
}

} // namespace

// ---- nodes, sharing and locking -------------------------------------------------------------

TEST(KaSimpleBuffer, CopiesShareTheNodeUntilOneWrites)
{
    const CKaByteBuffer first = Of({1, 2, 3});
    CKaByteBuffer copy = first;
    EXPECT_EQ(first.getBuffer(), copy.getBuffer());
    copy[1ul] = 20;
    EXPECT_EQ((TKaBytes{1, 20, 3}), Bytes(copy));
    // A private node is written where it lies.
    const unsigned char* before = copy.getBuffer();
    copy.EmbedU1(30, 2);
    EXPECT_EQ(before, copy.getBuffer());

    CKaByteBuffer locked = first;
    locked.Lock(false)[0] = 9;
    locked.Unlock();
    EXPECT_EQ((TKaBytes{9, 2, 3}), Bytes(locked));
    EXPECT_TRUE(first == Of({1, 2, 3}) && first != Of({1, 2}) && first != Of({1, 2, 4}));

    // A copy of part of its own bytes.
    copy.SetBuffer(copy.getBuffer() + 1, 2);
    EXPECT_EQ((TKaBytes{20, 30}), Bytes(copy));
}

TEST(KaSimpleBuffer, ANodeLockedInPlaceIsNeverReplaced)
{
    CKaByteBuffer buffer = Of({1, 2, 3});
    unsigned char* pinned = buffer.Lock(true);
    EXPECT_EQ(KA_E_LOCKED_IN_PLACE, ThrownCode([&] { buffer = Of({4}); }));
    EXPECT_EQ(KA_E_LOCKED_IN_PLACE, ThrownCode([&] { buffer.Clear(); }));
    EXPECT_EQ(KA_E_LOCKED_IN_PLACE, ThrownCode([&] { buffer.SetBuffer(L"00"); }));
    EXPECT_EQ(KA_E_LOCKED_IN_PLACE, ThrownCode([&] { buffer.EmbedU4(1, 2, false); }));
    EXPECT_EQ(pinned, buffer.getBuffer());
    EXPECT_EQ((TKaBytes{1, 2, 3}), Bytes(buffer));

    // Writing inside the node is fine; once it is shared, a write would need a copy.
    buffer.EmbedU1(5, 0);
    EXPECT_EQ(5, pinned[0]);
    CKaByteBuffer sharer = buffer;
    EXPECT_EQ(KA_E_LOCKED_IN_PLACE, ThrownCode([&] { buffer.EmbedU1(6, 0); }));
    buffer.Unlock();
    buffer = Of({4});
    EXPECT_EQ((TKaBytes{5, 2, 3}), Bytes(sharer));
}

TEST(KaSimpleBuffer, IndexesAndSizesAreChecked)
{
    const CKaByteBuffer buffer = Of({7, 8});
    EXPECT_EQ(8, buffer[1]);
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, ThrownCode([&] { (void)buffer[2ul]; }));
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, ThrownCode([&] { (void)buffer[-1]; }));
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, ThrownCode([] { (void)CKaByteBuffer()[0ul]; }));
    CKaByteBuffer writable = buffer;
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, ThrownCode([&] { writable[2] = 0; }));
    // Sizes no node could have are out of memory. Neither failure copied anything.
    EXPECT_EQ(E_OUTOFMEMORY, ThrownCode([&] { writable.EmbedU2(1, 0xFFFFFFFF, false); }));
    EXPECT_EQ(buffer.getBuffer(), writable.getBuffer());
    EXPECT_EQ(E_OUTOFMEMORY, ThrownCode([] { CKaByteBuffer(0xFFFFFFF4ul); }));
    EXPECT_EQ(E_OUTOFMEMORY, ThrownCode([] { CKaSimpleBuffer<wchar_t>(0x7FFFFFFAul); }));
}

// ---- hexadecimal text -----------------------------------------------------------------------

TEST(KaByteBufferHex, ParsesEitherCaseAndRefusesMalformedText)
{
    EXPECT_EQ((TKaBytes{0x0A, 0xFF}), Bytes(CKaByteBuffer(L"0aFF")));
    EXPECT_EQ(L"0AFF", CKaByteBuffer(L"0aFF").ToBinHex(true));
    EXPECT_EQ(L"0aff", CKaByteBuffer(CKaString(L"0AFF")).ToBinHex(false));
    EXPECT_EQ(L"", CKaByteBuffer(L"").ToBinHex(true));
    CKaByteBuffer buffer = Of({1, 2, 3});
    for (const CKaString& text : {CKaString(L"0aF"), CKaString(L"zz"), CKaString(L"00112g"),
                                  CKaString(L"0x"), CKaString(L"0\0", 2)}) {
        EXPECT_EQ(KA_E_INVALID_HEX_TEXT, ThrownCode([&] { buffer.SetBuffer(text); }))
            << text.getSz();
    }
    EXPECT_EQ((TKaBytes{1, 2, 3}), Bytes(buffer));
}

// ---- typed access ---------------------------------------------------------------------------

TEST(KaByteBufferTyped, ExtractInEitherByteOrderWithinTheData)
{
    const CKaByteBuffer buffer = Of({0x12, 0x34, 0x56, 0x78, 0x9A, 0xBC, 0xDE, 0xF0, 0x80});
    EXPECT_EQ(0x1234, buffer.ExtractU2(0, true));
    EXPECT_EQ(0x3412, buffer.ExtractU2(0, false));
    EXPECT_EQ(0x3456789Au, buffer.ExtractU4(1, true));
    EXPECT_EQ(static_cast<__int64>(0x80F0DEBC9A785634ull), buffer.ExtractI8(1, false));
    EXPECT_EQ(-128, buffer.ExtractI1(8));
    EXPECT_EQ(E_INVALIDARG, ThrownCode([&] { buffer.ExtractU4(6, false); }));
    EXPECT_EQ(E_INVALIDARG, ThrownCode([&] { buffer.ExtractU1(9); }));
    EXPECT_EQ(E_INVALIDARG, ThrownCode([&] { buffer.ExtractU2(0xFFFFFFFF, false); }));
    EXPECT_EQ(E_INVALIDARG, ThrownCode([] { Of({1, 2, 3, 4}).ExtractU4(1, false); }));
}

TEST(KaByteBufferTyped, EmbedGrowsWithZerosAndRoundTrips)
{
    CKaByteBuffer buffer;
    buffer.EmbedU2(0xABCD, 10, false);
    EXPECT_EQ((TKaBytes{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xCD, 0xAB}), Bytes(buffer));
    buffer.EmbedF4(1.0f, 0, true);
    buffer.EmbedI8(-1234567890123456789ll, 4, true);
    EXPECT_EQ(12u, buffer.getSize());
    EXPECT_EQ((TKaBytes{0x3F, 0x80, 0, 0}), Bytes(buffer.Extract(0, 4)));
    EXPECT_EQ(1.0f, buffer.ExtractF4(0, true));
    EXPECT_EQ(-1234567890123456789ll, buffer.ExtractI8(4, true));
}

TEST(KaByteBufferChars, ExtractTakesTwoBytesPerUnitEmbedStepsOneByte)
{
    const CKaByteBuffer buffer = Of({0x41, 0x00, 0x00, 0x42, 0x3A, 0x04, 0x7F});
    EXPECT_EQ(CKaString(L"A\x4200\x043A"), buffer.ExtractChars(false)); // odd byte left out
    EXPECT_EQ(CKaString(L"\x0042\x3A04"), buffer.ExtractChars(2, 2, true));
    // Within offset + count but not within offset + 2 x count.
    EXPECT_EQ(E_INVALIDARG, ThrownCode([&] { buffer.ExtractChars(4, 2, false); }));

    // Each character overwrites the second byte of the one before.
    CKaByteBuffer embedded;
    embedded.EmbedChars(L"AB", 0, false);
    EXPECT_EQ((TKaBytes{0x41, 0x42, 0x00, 0x00}), Bytes(embedded));
    CKaByteBuffer swapped = Of({9, 9, 9, 9, 9, 9, 9});
    swapped.EmbedChars(CKaString(L"\x0102\x0304\x0506"), 1, true);
    EXPECT_EQ((TKaBytes{9, 0x01, 0x03, 0x05, 0x06, 9, 9}), Bytes(swapped));
}

TEST(KaByteBufferParts, ExtractAndEmbedBuffers)
{
    CKaByteBuffer buffer = Of({1, 2, 3, 4});
    EXPECT_EQ((TKaBytes{2, 3}), Bytes(buffer.Extract(1, 2)));
    EXPECT_EQ((TKaBytes{3, 4}), Bytes(buffer.Extract(2)));
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, ThrownCode([&] { buffer.Extract(5, 0); }));
    EXPECT_EQ(KA_E_COUNT_OUT_OF_RANGE, ThrownCode([&] { buffer.Extract(3, 2); }));
    EXPECT_EQ(KA_E_COUNT_OUT_OF_RANGE, ThrownCode([&] { buffer.Embed(Of({1}), 0, 2); }));
    buffer.Embed(Of({5, 6, 7}), 3, 2);
    EXPECT_EQ((TKaBytes{1, 2, 3, 5, 6}), Bytes(buffer));
    // A buffer embedded into itself reads its bytes from before the write.
    buffer.Embed(buffer, 2);
    EXPECT_EQ((TKaBytes{1, 2, 1, 2, 3, 5, 6}), Bytes(buffer));
}
