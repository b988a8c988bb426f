#include <gtest/gtest.h>
#include <random>
#include "katempfolder.h"
#include "katest.h"

namespace {

// A memory stream whose reads stop at random short counts, as a pipe's or a socket's may.
class CShortReadStream : public CKaMemoryStream
{
public:
    explicit CShortReadStream(unsigned int seed) : m_random(seed) { Create(); }
    unsigned long Read(void* buffer, unsigned long count) override
    {
        if (count > 1) count = 1 + m_random() % count;
        return CKaMemoryStream::Read(buffer, count);
    }

private:
    std::mt19937 m_random;
};

TKaBytes Contents(IKaStream* stream)
{
    const unsigned __int64 position = stream->getPos();
    TKaBytes bytes(static_cast<size_t>(stream->getSize()));
    stream->SetFromBegin(0);
    size_t done = 0;
    while (done < bytes.size()) {
        const unsigned long read =
            stream->Read(bytes.data() + done, static_cast<unsigned long>(bytes.size() - done));
        if (read == 0) break;
        done += read;
    }
    stream->setPos(position);
    return bytes;
}

// The same random reads, writes and seeks on a buffered stream and on a plain memory stream:
// the same bytes read, the same positions and sizes at every step, the same bytes at the end.
void RunAgainstPlainStream(unsigned int seed, unsigned long bufferSize, bool shortReads)
{
    SCOPED_TRACE(testing::Message() << "seed " << seed << ", buffer " << bufferSize
                                    << (shortReads ? ", short reads" : ""));
    std::mt19937 random(seed);
    auto below = [&](unsigned long n) { return static_cast<unsigned long>(random() % n); };
    CKaRef<CKaMemoryStream> plain = new CKaMemoryStream;
    plain->Create();
    CKaRef<CKaMemoryStream> under = shortReads ? new CShortReadStream(seed) : new CKaMemoryStream;
    if (!shortReads) under->Create();
    CKaRef<CKaBufferedStream> buffered = new CKaBufferedStream(under.getPtr(), bufferSize);
    for (int step = 0; step < 400; ++step) {
        SCOPED_TRACE(step);
        const unsigned long size = static_cast<unsigned long>(plain->getSize());
        const unsigned long pos = static_cast<unsigned long>(plain->getPos());
        const unsigned long count = below(3 * bufferSize + 2);
        switch (below(7)) {
        case 0:
        case 1: {
            TKaBytes bytes(count);
            for (unsigned char& byte : bytes) byte = static_cast<unsigned char>(random());
            buffered->Write(bytes.data(), count);
            plain->Write(bytes.data(), count);
            break;
        }
        case 2:
        case 3: {
            TKaBytes got(count + 1), expected(count + 1);
            const unsigned long read = buffered->Read(got.data(), count);
            if (shortReads) {
                ASSERT_TRUE(read > 0 || count == 0 || pos == size);
            } else {
                ASSERT_EQ(std::min(count, size - pos), read);
            }
            ASSERT_EQ(read, plain->Read(expected.data(), read));
            ASSERT_TRUE(std::equal(got.begin(), got.begin() + read, expected.begin()));
            break;
        }
        case 4: {
            const long to = static_cast<long>(below(size + 1));
            buffered->SetFromCurrent(to - static_cast<long>(pos));
            plain->SetFromCurrent(to - static_cast<long>(pos));
            break;
        }
        case 5: {
            const long back = static_cast<long>(below(size + 1));
            if (random() % 2) {
                buffered->SetFromEnd(-back);
                plain->SetFromEnd(-back);
            } else {
                buffered->setPos(static_cast<unsigned long>(back));
                plain->setPos(static_cast<unsigned long>(back));
            }
            break;
        }
        default:
            ASSERT_EQ(plain->getSize(), buffered->getSize());
            break;
        }
        ASSERT_EQ(plain->getPos(), buffered->getPos());
    }
    buffered->Flush();
    EXPECT_EQ(Contents(plain), Contents(under));
}

} // namespace

TEST(BufferedStreamTest, BehavesAsTheStreamBelowThroughAnySequenceOfCalls)
{
    for (unsigned int seed = 1; seed <= 6; ++seed) {
        for (unsigned long bufferSize : {1ul, 7ul, 64ul}) {
            RunAgainstPlainStream(seed, bufferSize, false);
            RunAgainstPlainStream(seed + 100, bufferSize, true);
        }
    }
}

TEST(BufferedStreamTest, WritesWaitUntilFlushSeekOrRelease)
{
    CKaRef<CKaMemoryStream> under = new CKaMemoryStream;
    under->Create();
    CKaRef<CKaBufferedStream> buffered = new CKaBufferedStream(under.getPtr(), 16);
    buffered->Write("abc", 3);
    EXPECT_EQ(0u, under->getSize());
    EXPECT_EQ(3u, buffered->getPos());
    buffered->SetFromBegin(1);
    EXPECT_EQ((TKaBytes{'a', 'b', 'c'}), Contents(under));
    buffered->Write("X", 1);
    buffered->Flush();
    EXPECT_EQ((TKaBytes{'a', 'X', 'c'}), Contents(under));
    buffered->Write("yz", 2);
    buffered = nullptr;
    EXPECT_EQ((TKaBytes{'a', 'X', 'y', 'z'}), Contents(under));
}

TEST(BufferedStreamTest, ABufferedFileReadsBackWhatWasWritten)
{
    CKaTempFolder folder;
    CKaRef<CKaFile> file = new CKaFile;
    file->OpenCreate(folder.File(L"data.bin"));
    CKaRef<CKaBufferedStream> buffered = new CKaBufferedStream(file.getPtr(), 4096);
    for (unsigned long i = 0; i < 10000; ++i) buffered->Write(&i, sizeof i);
    buffered->SetFromBegin(0);
    unsigned long value = 0;
    for (unsigned long i = 0; i < 10000; ++i) {
        ASSERT_EQ(sizeof value, buffered->Read(&value, sizeof value));
        ASSERT_EQ(i, value);
    }
    EXPECT_EQ(0u, buffered->Read(&value, sizeof value));
    EXPECT_EQ(file->getSize(), buffered->getPos());
}

TEST(BufferedStreamTest, ANullStreamOrAnEmptyBufferIsRefused)
{
    EXPECT_EQ(E_INVALIDARG, ThrownCode([] { CKaRef<CKaBufferedStream> s = new CKaBufferedStream(nullptr, 0); }));
    CKaRef<CKaBufferedStream> none = new CKaBufferedStream(nullptr);
    char byte = 0;
    EXPECT_EQ(E_POINTER, ThrownCode([&] { none->Read(&byte, 1); }));
    EXPECT_EQ(E_POINTER, ThrownCode([&] { none->getPos(); }));
    EXPECT_EQ(0u, none->Read(&byte, 0));
}
