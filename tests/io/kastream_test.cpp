#include <gtest/gtest.h>
#include "kafakestream.h"
#include "katempfolder.h"

namespace {

const unsigned __int64 kFiveGiB = 5ull << 30;
const long kSharingViolation = static_cast<long>(0x80070020);

TKaBytes ReadAll(IKaStream* stream, unsigned long count)
{
    TKaBytes bytes(count);
    bytes.resize(stream->Read(bytes.data(), count));
    return bytes;
}

class KaFile : public ::testing::Test
{
protected:
    CKaTempFolder folder;
    CKaString path = folder.File(L"data.bin");
    CKaRef<CKaFile> file = new CKaFile;
};

} // namespace

// ---- files ----------------------------------------------------------------------------------

TEST_F(KaFile, ReadingPastTheEndGivesWhatWasThereThenNothing)
{
    file->OpenCreate(path);
    file->Write("\x01\x02\x03\x04", 4);
    EXPECT_EQ(4u, file->getSize());
    file->SetFromBegin(1);
    EXPECT_EQ((TKaBytes{2, 3, 4}), ReadAll(file, 10));
    EXPECT_EQ(TKaBytes(), ReadAll(file, 10));
    file->SetFromEnd(-2);
    EXPECT_EQ((TKaBytes{3}), ReadAll(file, 1));
    file->SetFromCurrent(-3);
    EXPECT_EQ(0u, file->getPos());
    EXPECT_EQ(static_cast<long>(0x80070083), ThrownCode([&] { file->SetFromBegin(-1); }));
}

TEST_F(KaFile, OpeningModesAndSharing)
{
    file->OpenAlways(path); // created
    file->Write("abc", 3);
    file->OpenAlways(path); // kept
    EXPECT_EQ(3u, file->getSize());
    file->OpenCreate(path); // emptied, and exclusive
    EXPECT_EQ(0u, file->getSize());
    CKaRef<CKaFile> other = new CKaFile;
    EXPECT_EQ(kSharingViolation, ThrownCode([&] { other->OpenExisting(path, true); }));
    // Read-only openings share with other readers only.
    file->OpenExisting(path, true);
    other->OpenExisting(path, true);
    EXPECT_EQ(kSharingViolation, ThrownCode([&] { other->OpenAlways(path); }));
    EXPECT_EQ(static_cast<long>(0x80070005), ThrownCode([&] { file->Write("x", 1); }));
}

TEST_F(KaFile, AFailedOpenLeavesTheFileClosedAndAClosedFileFails)
{
    file->OpenCreate(path);
    EXPECT_EQ(static_cast<long>(0x80070002),
              ThrownCode([&] { file->OpenExisting(folder.File(L"missing.bin"), true); }));
    EXPECT_EQ(INVALID_HANDLE_VALUE, file->getHandle());
    char byte = 0;
    EXPECT_EQ(E_FAIL, ThrownCode([&] { file->Read(&byte, 1); }));
    EXPECT_EQ(E_FAIL, ThrownCode([&] { file->SetFromEnd(0); }));
    // The first file was closed on the way: it can be opened exclusively again.
    CKaRef<CKaFile> other = new CKaFile;
    EXPECT_EQ(S_OK, ThrownCode([&] { other->OpenExisting(path, false); }));
}

TEST_F(KaFile, HandlesHandedOutStayOpen)
{
    file->OpenCreate(path);
    HANDLE first = file->getHandle();
    HANDLE second = CreateFileW(folder.File(L"second.bin"), GENERIC_READ | GENERIC_WRITE, 0,
                                nullptr, CREATE_ALWAYS, 0, nullptr);
    ASSERT_NE(INVALID_HANDLE_VALUE, second);
    EXPECT_EQ(first, file->Attach(second));
    DWORD written = 0;
    EXPECT_TRUE(WriteFile(first, "ab", 2, &written, nullptr)); // still open
    EXPECT_EQ(second, file->Detach());
    file = nullptr;
    EXPECT_TRUE(WriteFile(second, "cd", 2, &written, nullptr)); // not closed by the destructor
    CloseHandle(second);
    // An adopted handle is closed with its object.
    file = new CKaFile(first);
    file = nullptr;
    DWORD flags = 0;
    EXPECT_FALSE(GetHandleInformation(first, &flags));
}

TEST_F(KaFile, PositionsBeyondFourGiB)
{
    file->OpenCreate(path);
    file->SetFromBegin(static_cast<__int64>(kFiveGiB));
    file->SetFromCurrent(-1);
    EXPECT_EQ(kFiveGiB - 1, file->getPos());
    // A low word of 0xFFFFFFFF is a position, not the system's failure value.
    file->SetFromBegin(0xFFFFFFFFll);
    EXPECT_EQ(0xFFFFFFFFull, file->getPos());
    ASSERT_TRUE(SetEndOfFile(file->getHandle()));
    EXPECT_EQ(0xFFFFFFFFull, file->getSize());
    file->SetFromBegin(static_cast<__int64>(kFiveGiB) + 1);
    ASSERT_TRUE(SetEndOfFile(file->getHandle()));
    EXPECT_EQ(kFiveGiB + 1, file->getSize());
    file->SetFromEnd(-1);
    EXPECT_EQ(kFiveGiB, file->getPos());
}

// ---- COM and memory streams -----------------------------------------------------------------

TEST(KaComStream, WithoutAStreamOnlyEmptyTransfersWork)
{
    CKaRef<CKaMemoryStream> stream = new CKaMemoryStream;
    char byte = 0;
    EXPECT_EQ(0u, stream->Read(&byte, 0));
    stream->Write(&byte, 0);
    EXPECT_EQ(E_POINTER, ThrownCode([&] { stream->Read(&byte, 1); }));
    EXPECT_EQ(E_POINTER, ThrownCode([&] { stream->SetFromBegin(0); }));
    EXPECT_EQ(L"zel.core.io.memorystream;zel.core.io.comstream;zel.common.object",
              stream->getObjectTypeInfo());
}

TEST(KaComStream, SixtyFourBitPositionsAndMeasuringKeepsThePosition)
{
    CFakeStream fake;
    fake.size = 3 * kFiveGiB;
    {
        CKaRef<CKaComStream> stream = new CKaComStream(&fake);
        EXPECT_EQ(2u, fake.refs);
        stream->SetFromBegin(static_cast<__int64>(kFiveGiB));
        stream->SetFromCurrent(-2);
        EXPECT_EQ(kFiveGiB - 2, fake.position);
        EXPECT_EQ(3 * kFiveGiB, stream->getSize());
        EXPECT_EQ(kFiveGiB - 2, stream->getPos());
        stream->SetFromEnd(-static_cast<__int64>(kFiveGiB));
        EXPECT_EQ(2 * kFiveGiB, stream->getPos());
        // Detach hands the stream out with the reference the object held.
        CKaComRef<IStream> detached = stream->Detach();
        EXPECT_EQ(2u, fake.refs);
        EXPECT_FALSE(stream->getStream());
    }
    EXPECT_EQ(1u, fake.refs);
}

TEST(KaComStream, FailuresAreThrownUnchangedAndShortWritesRefused)
{
    CFakeStream fake;
    CKaRef<CKaComStream> stream = new CKaComStream(&fake);
    char bytes[8] = {};
    fake.writeLimit = 3;
    EXPECT_EQ(KA_E_SHORT_WRITE, ThrownCode([&] { stream->Write(bytes, 4); }));
    fake.failure = STG_E_ACCESSDENIED;
    EXPECT_EQ(STG_E_ACCESSDENIED, ThrownCode([&] { stream->Read(bytes, 4); }));
    EXPECT_EQ(STG_E_ACCESSDENIED, ThrownCode([&] { stream->SetFromBegin(0); }));
}

TEST(KaMemoryStream, CreatedEmptyOrFromACopyOfABuffer)
{
    CKaRef<CKaMemoryStream> stream = new CKaMemoryStream;
    stream->Create();
    EXPECT_EQ(0u, stream->getSize());
    stream->Write("hello", 5);
    stream->SetFromBegin(1);
    EXPECT_EQ(5u, stream->getSize());
    EXPECT_EQ((TKaBytes{'e', 'l', 'l', 'o'}), ReadAll(stream, 9));

    CKaByteBuffer data(L"01020304");
    stream->Create(data);
    EXPECT_EQ(4u, stream->getSize());
    EXPECT_EQ(0u, stream->getPos());
    data.EmbedU1(9, 0);
    stream->Write("\x07", 1);
    stream->SetFromBegin(0);
    EXPECT_EQ((TKaBytes{7, 2, 3, 4}), ReadAll(stream, 9));
}
