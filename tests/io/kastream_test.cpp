#include <gtest/gtest.h>
#include <cstring>
#include <vector>
#include "katest.h"
#include "katempfolder.h"

namespace {

const unsigned __int64 kFiveGiB = 5ull << 30;

// A COM stream of a given size that accepts any 64-bit position, writes at most `writeLimit`
// bytes per call and can be told to fail.
class CFakeComStream : public IStream
{
public:
    ULONG STDMETHODCALLTYPE AddRef() override { return ++refs; }
    ULONG STDMETHODCALLTYPE Release() override { return --refs; }
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** out) override
    {
        *out = nullptr;
        return E_NOINTERFACE;
    }
    HRESULT STDMETHODCALLTYPE Read(void*, ULONG, ULONG* read) override
    {
        *read = 0;
        ++calls;
        return failure;
    }
    HRESULT STDMETHODCALLTYPE Write(const void*, ULONG count, ULONG* written) override
    {
        *written = count < writeLimit ? count : writeLimit;
        ++calls;
        return failure;
    }
    HRESULT STDMETHODCALLTYPE Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* pos) override
    {
        ++calls;
        if (FAILED(failure)) return failure;
        const unsigned __int64 base =
            origin == STREAM_SEEK_SET ? 0 : origin == STREAM_SEEK_CUR ? position : size;
        position = base + move.QuadPart;
        if (pos) pos->QuadPart = position;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE SetSize(ULARGE_INTEGER) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE CopyTo(IStream*, ULARGE_INTEGER, ULARGE_INTEGER*,
                                     ULARGE_INTEGER*) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE Commit(DWORD) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Revert() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE Stat(STATSTG*, DWORD) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Clone(IStream**) override { return E_NOTIMPL; }

    ULONG refs = 1;
    int calls = 0;
    HRESULT failure = S_OK;
    ULONG writeLimit = 0xFFFFFFFF;
    unsigned __int64 position = 0;
    unsigned __int64 size = 0;
};

std::vector<unsigned char> ReadAll(IKaStream* stream, unsigned long count)
{
    std::vector<unsigned char> bytes(count);
    bytes.resize(stream->Read(bytes.data(), count));
    return bytes;
}

using ByteList = std::vector<unsigned char>;

} // namespace

// ---- files ----------------------------------------------------------------------------------

class KaFile : public ::testing::Test
{
protected:
    CKaTempFolder folder;
    CKaString path = folder.File(L"data.bin");
};

TEST_F(KaFile, WritesAndReadsBack)
{
    CKaRef<CKaFile> file = new CKaFile;
    file->OpenCreate(path);
    file->Write("\x01\x02\x03\x04", 4);
    EXPECT_EQ(4u, file->getPos());
    EXPECT_EQ(4u, file->getSize());
    file->SetFromBegin(1);
    EXPECT_EQ((ByteList{2, 3, 4}), ReadAll(file, 10));
    EXPECT_EQ(ByteList(), ReadAll(file, 10));
    file->SetFromEnd(-2);
    EXPECT_EQ((ByteList{3}), ReadAll(file, 1));
    file->SetFromCurrent(-3);
    EXPECT_EQ(0u, file->getPos());
    EXPECT_EQ(L"zel.core.io.file;zel.common.object", file->getObjectTypeInfo());
}

TEST_F(KaFile, OpeningModes)
{
    CKaRef<CKaFile> file = new CKaFile;
    file->OpenAlways(path); // created
    file->Write("abc", 3);
    file->OpenAlways(path); // kept
    EXPECT_EQ(3u, file->getSize());
    file->OpenCreate(path); // emptied
    EXPECT_EQ(0u, file->getSize());
    file->Write("abc", 3);

    // Every writable opening is exclusive; read-only ones share with other readers only.
    CKaRef<CKaFile> other = new CKaFile;
    const long sharingViolation = static_cast<long>(0x80070020);
    EXPECT_EQ(sharingViolation, ThrownCode([&] { other->OpenExisting(path, true); }));
    file->OpenExisting(path, false);
    EXPECT_EQ(sharingViolation, ThrownCode([&] { other->OpenExisting(path, true); }));
    file->OpenExisting(path, true);
    other->OpenExisting(path, true);
    EXPECT_EQ((ByteList{'a', 'b', 'c'}), ReadAll(other, 3));
    EXPECT_EQ(sharingViolation, ThrownCode([&] { other->OpenAlways(path); }));
    EXPECT_EQ(static_cast<long>(0x80070005), ThrownCode([&] { file->Write("x", 1); }));
}

TEST_F(KaFile, OpenOptionsPassThrough)
{
    CKaRef<CKaFile> file = new CKaFile;
    file->Open(path, GENERIC_READ, FILE_SHARE_READ, CREATE_NEW, FILE_ATTRIBUTE_NORMAL);
    CKaRef<CKaFile> reader = new CKaFile;
    EXPECT_EQ(S_OK, ThrownCode([&] { reader->OpenExisting(path, true); }));
    CKaRef<CKaFile> again = new CKaFile;
    EXPECT_EQ(static_cast<long>(0x80070050), // ERROR_FILE_EXISTS
              ThrownCode([&] { again->Open(path, GENERIC_READ, 7, CREATE_NEW, 0); }));
}

TEST_F(KaFile, AFailedOpenLeavesTheFileClosed)
{
    CKaRef<CKaFile> file = new CKaFile;
    file->OpenCreate(path);
    EXPECT_EQ(static_cast<long>(0x80070002),
              ThrownCode([&] { file->OpenExisting(folder.File(L"missing.bin"), true); }));
    EXPECT_EQ(INVALID_HANDLE_VALUE, file->getHandle());
    // The first file was closed on the way: it can be opened exclusively again.
    CKaRef<CKaFile> other = new CKaFile;
    EXPECT_EQ(S_OK, ThrownCode([&] { other->OpenExisting(path, false); }));
    EXPECT_NE(S_OK, ThrownCode([&] { file->Open(CKaString(), GENERIC_READ, 0, 3, 0); }));
}

TEST_F(KaFile, AClosedFileFails)
{
    CKaRef<CKaFile> file = new CKaFile;
    char byte = 0;
    EXPECT_EQ(E_FAIL, ThrownCode([&] { file->Read(&byte, 1); }));
    EXPECT_EQ(E_FAIL, ThrownCode([&] { file->Write(&byte, 1); }));
    EXPECT_EQ(E_FAIL, ThrownCode([&] { file->SetFromBegin(0); }));
    EXPECT_EQ(E_FAIL, ThrownCode([&] { file->SetFromCurrent(0); }));
    EXPECT_EQ(E_FAIL, ThrownCode([&] { file->SetFromEnd(0); }));
    EXPECT_EQ(E_FAIL, ThrownCode([&] { file->setPos(0); }));
    EXPECT_EQ(E_FAIL, ThrownCode([&] { file->getPos(); }));
    EXPECT_EQ(E_FAIL, ThrownCode([&] { file->getSize(); }));
    file->Close();
    file->Close();
}

TEST_F(KaFile, HandlesHandedOutStayOpen)
{
    CKaRef<CKaFile> file = new CKaFile;
    file->OpenCreate(path);
    HANDLE first = file->getHandle();
    HANDLE second = CreateFileW(folder.File(L"second.bin"), GENERIC_READ | GENERIC_WRITE, 0,
                                nullptr, CREATE_ALWAYS, 0, nullptr);
    ASSERT_NE(INVALID_HANDLE_VALUE, second);

    EXPECT_EQ(first, file->Attach(second));
    DWORD written = 0;
    EXPECT_TRUE(WriteFile(first, "ab", 2, &written, nullptr)); // still open
    EXPECT_EQ(second, file->Detach());
    EXPECT_EQ(INVALID_HANDLE_VALUE, file->getHandle());
    file = nullptr;
    EXPECT_TRUE(WriteFile(second, "cd", 2, &written, nullptr)); // not closed by the destructor
    CloseHandle(second);

    // An adopted handle is closed with its object.
    file = new CKaFile(first);
    file->SetFromBegin(0);
    EXPECT_EQ((ByteList{'a', 'b'}), ReadAll(file, 5));
    file = nullptr;
    DWORD flags = 0;
    EXPECT_FALSE(GetHandleInformation(first, &flags));
}

TEST_F(KaFile, PositionsBeyondFourGiB)
{
    CKaRef<CKaFile> file = new CKaFile;
    file->OpenCreate(path);
    file->SetFromBegin(static_cast<__int64>(kFiveGiB));
    EXPECT_EQ(kFiveGiB, file->getPos());
    file->SetFromCurrent(-1);
    EXPECT_EQ(kFiveGiB - 1, file->getPos());

    // A low word of 0xFFFFFFFF is a position, whatever error the thread saw before.
    SetLastError(ERROR_ACCESS_DENIED);
    file->SetFromBegin(0xFFFFFFFFll);
    SetLastError(ERROR_ACCESS_DENIED);
    EXPECT_EQ(0xFFFFFFFFull, file->getPos());
    ASSERT_TRUE(SetEndOfFile(file->getHandle()));
    SetLastError(ERROR_ACCESS_DENIED);
    EXPECT_EQ(0xFFFFFFFFull, file->getSize());

    file->SetFromBegin(static_cast<__int64>(kFiveGiB) + 1);
    ASSERT_TRUE(SetEndOfFile(file->getHandle()));
    file->SetFromBegin(0);
    EXPECT_EQ(kFiveGiB + 1, file->getSize());
    file->SetFromEnd(-1);
    EXPECT_EQ(kFiveGiB, file->getPos());
}

TEST_F(KaFile, SeekingBeforeTheStartIsAWin32Error)
{
    CKaRef<CKaFile> file = new CKaFile;
    file->OpenCreate(path);
    EXPECT_EQ(static_cast<long>(0x80070083), ThrownCode([&] { file->SetFromBegin(-1); }));
    EXPECT_EQ(0u, file->getPos());
}

// ---- COM streams ----------------------------------------------------------------------------

TEST(KaComStream, WithoutAStreamOnlyEmptyTransfersWork)
{
    CKaRef<CKaComStream> stream = new CKaComStream;
    char byte = 0;
    EXPECT_EQ(0u, stream->Read(&byte, 0));
    stream->Write(&byte, 0);
    EXPECT_EQ(E_POINTER, ThrownCode([&] { stream->Read(&byte, 1); }));
    EXPECT_EQ(E_POINTER, ThrownCode([&] { stream->Write(&byte, 1); }));
    EXPECT_EQ(E_POINTER, ThrownCode([&] { stream->SetFromEnd(0); }));
    EXPECT_EQ(E_POINTER, ThrownCode([&] { stream->getPos(); }));
    EXPECT_EQ(E_POINTER, ThrownCode([&] { stream->getSize(); }));
    EXPECT_FALSE(stream->getStream());
}

TEST(KaComStream, ReferencesOnTheHeldStream)
{
    CFakeComStream fake;
    {
        CKaRef<CKaComStream> stream = new CKaComStream(&fake);
        EXPECT_EQ(2u, fake.refs);
        stream->Attach(&fake);
        EXPECT_EQ(2u, fake.refs);
        {
            CKaComRef<IStream> held = stream->getStream();
            EXPECT_EQ(&fake, held.getPtr());
            EXPECT_EQ(3u, fake.refs);
        }
        CKaComRef<IStream> detached = stream->Detach();
        EXPECT_EQ(2u, fake.refs);
        EXPECT_FALSE(stream->getStream());
        stream->Attach(detached);
        EXPECT_EQ(3u, fake.refs);
    }
    EXPECT_EQ(1u, fake.refs);
}

TEST(KaComStream, PassesSixtyFourBitPositionsAndKeepsThePositionWhenMeasuring)
{
    CFakeComStream fake;
    fake.size = 3 * kFiveGiB;
    CKaRef<CKaComStream> stream = new CKaComStream(&fake);
    stream->SetFromBegin(static_cast<__int64>(kFiveGiB));
    EXPECT_EQ(kFiveGiB, stream->getPos());
    stream->SetFromCurrent(-2);
    EXPECT_EQ(kFiveGiB - 2, fake.position);
    EXPECT_EQ(3 * kFiveGiB, stream->getSize());
    EXPECT_EQ(kFiveGiB - 2, stream->getPos());
    stream->SetFromEnd(-static_cast<__int64>(kFiveGiB));
    EXPECT_EQ(2 * kFiveGiB, stream->getPos());
    stream->setPos(7);
    EXPECT_EQ(7u, fake.position);
}

TEST(KaComStream, FailuresAndShortWrites)
{
    CFakeComStream fake;
    CKaRef<CKaComStream> stream = new CKaComStream(&fake);
    char bytes[8] = {};
    fake.writeLimit = 3;
    EXPECT_EQ(S_OK, ThrownCode([&] { stream->Write(bytes, 3); }));
    EXPECT_EQ(KA_E_SHORT_WRITE, ThrownCode([&] { stream->Write(bytes, 4); }));
    fake.failure = STG_E_ACCESSDENIED;
    EXPECT_EQ(STG_E_ACCESSDENIED, ThrownCode([&] { stream->Read(bytes, 4); }));
    EXPECT_EQ(STG_E_ACCESSDENIED, ThrownCode([&] { stream->Write(bytes, 1); }));
    EXPECT_EQ(STG_E_ACCESSDENIED, ThrownCode([&] { stream->SetFromBegin(0); }));
    const int calls = fake.calls;
    stream->Write(bytes, 0);
    EXPECT_EQ(0u, stream->Read(bytes, 0));
    EXPECT_EQ(calls, fake.calls);
}

// ---- memory streams -------------------------------------------------------------------------

TEST(KaMemoryStream, NeverCreated)
{
    CKaRef<CKaMemoryStream> stream = new CKaMemoryStream;
    char byte = 0;
    EXPECT_EQ(0u, stream->Read(&byte, 0));
    stream->Write(&byte, 0);
    EXPECT_EQ(E_POINTER, ThrownCode([&] { stream->SetFromBegin(0); }));
    EXPECT_EQ(L"zel.core.io.memorystream;zel.core.io.comstream;zel.common.object",
              stream->getObjectTypeInfo());
}

TEST(KaMemoryStream, GrowsAsItIsWritten)
{
    CKaRef<CKaMemoryStream> stream = new CKaMemoryStream;
    stream->Create();
    EXPECT_EQ(0u, stream->getSize());
    stream->Write("hello", 5);
    stream->SetFromBegin(1);
    EXPECT_EQ(5u, stream->getSize());
    EXPECT_EQ(1u, stream->getPos());
    EXPECT_EQ((ByteList{'e', 'l', 'l', 'o'}), ReadAll(stream, 9));
    EXPECT_EQ(ByteList(), ReadAll(stream, 9));

    stream->Create(); // a new, empty stream
    EXPECT_EQ(0u, stream->getSize());
}

TEST(KaMemoryStream, CreatedFromACopyOfABuffer)
{
    CKaByteBuffer data(L"01020304");
    CKaRef<CKaMemoryStream> stream = new CKaMemoryStream;
    stream->Create(data);
    EXPECT_EQ(4u, stream->getSize());
    EXPECT_EQ(0u, stream->getPos());

    data.EmbedU1(9, 0);
    stream->Write("\x07", 1);
    stream->SetFromBegin(0);
    EXPECT_EQ((ByteList{7, 2, 3, 4}), ReadAll(stream, 4));
    EXPECT_EQ(9, data[0]);

    stream->Create(CKaByteBuffer());
    EXPECT_EQ(0u, stream->getSize());
    stream->Write("ab", 2);
    EXPECT_EQ(2u, stream->getSize());
}

TEST(KaMemoryStream, PositionsBeyondTheData)
{
    CKaRef<CKaMemoryStream> stream = new CKaMemoryStream;
    stream->Create();
    stream->Write("abc", 3);
    stream->SetFromBegin(0x7FFFFFF0ll);
    EXPECT_EQ(0x7FFFFFF0ull, stream->getPos());
    EXPECT_EQ(3u, stream->getSize());
    EXPECT_EQ(0x7FFFFFF0ull, stream->getPos());
    stream->SetFromCurrent(-0x7FFFFFF0ll + 1);
    EXPECT_EQ((ByteList{'b', 'c'}), ReadAll(stream, 5));
}

TEST(KaMemoryStream, PassesSixtyFourBitPositions)
{
    // The system's stream on a memory block keeps 32-bit positions; what this class hands it
    // is the whole 64-bit value, as a stream of another kind sees.
    CFakeComStream fake;
    fake.size = 2 * kFiveGiB;
    CKaRef<CKaMemoryStream> stream = new CKaMemoryStream;
    stream->Attach(&fake);
    stream->SetFromEnd(-static_cast<__int64>(kFiveGiB) - 1);
    EXPECT_EQ(kFiveGiB - 1, stream->getPos());
    EXPECT_EQ(2 * kFiveGiB, stream->getSize());
    stream->Attach(nullptr);
}
