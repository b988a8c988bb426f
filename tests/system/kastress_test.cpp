#include <gtest/gtest.h>
#include <atomic>
#include "katest.h"

// Eight threads pass messages round a ring while they copy, change and drop values that all of
// them share. Values share their storage between copies and count it with interlocked
// operations only; this checks that no copy ever sees another thread's change, that no count
// goes wrong (every object ends destroyed exactly once) and that the locks and waits hand the
// work over without losing any of it.

namespace {

const long kThreads = 8;
const long kRounds = 1500;

std::atomic<long> g_constructed(0);
std::atomic<long> g_destroyed(0);

class CTally : public CKaObject
{
public:
    explicit CTally(long value) : value(value) { ++g_constructed; }
    const long value;

protected:
    ~CTally() override { ++g_destroyed; }
};

struct TMessage
{
    long sender = -1;
    long round = -1;
    CKaString text;
    CKaArray<CKaRef<CTally>> tallies;
    CKaByteBuffer bytes;
};

// The text a sender makes in a round: the shared text with its mark behind.
CKaString Mark(const CKaString& shared, long sender, long round)
{
    return shared + CKaString::Build(L"/%ld/%ld", sender, round);
}

struct TRing
{
    // What every thread copies from; never changed while the threads run.
    CKaString sharedText = L"shared text that every thread copies, changes and drops";
    CKaArray<CKaString> sharedWords;
    CKaByteBuffer sharedBytes = CKaByteBuffer(L"00112233445566778899AABBCCDDEEFF");
    CKaRef<CTally> sharedTally = new CTally(-7);

    CKaRef<CKaEvent> start = new CKaEvent(false, true);
    TMessage boxes[kThreads];
    CKaRef<CKaSemaphore> full[kThreads];
    CKaRef<CKaSemaphore> empty[kThreads];

    CKaRef<CKaCriticalSection> lock = new CKaCriticalSection;
    long delivered = 0; // guarded by `lock`
    std::atomic<long> faults{0};

    TRing()
    {
        for (int i = 0; i < 3; ++i) sharedWords.Add(CKaString::Build(L"word %d", i));
        for (long i = 0; i < kThreads; ++i) {
            full[i] = new CKaSemaphore(0, 1);
            empty[i] = new CKaSemaphore(1, 1);
        }
    }

    void Check(bool condition)
    {
        if (!condition) ++faults;
    }

    TMessage Compose(long self, long round)
    {
        // Copies that share the shared values' storage, then change it for themselves only.
        CKaArray<CKaString> words = sharedWords;
        words.setAt(round % 3, Mark(sharedText, self, round));
        CKaByteBuffer bytes = sharedBytes;
        bytes.EmbedU4(static_cast<unsigned long>(round), 4, false);
        CKaString text = words[static_cast<unsigned long>(round % 3)];

        TMessage message;
        message.sender = self;
        message.round = round;
        message.text = text;
        message.tallies.Add(sharedTally);
        message.tallies.Add(new CTally(round));
        message.bytes = bytes;
        return message;
    }

    void Verify(const TMessage& message, long from, long round)
    {
        Check(message.sender == from && message.round == round);
        Check(message.text == Mark(sharedText, from, round));
        Check(message.tallies.getCount() == 2 && message.tallies[0ul] == sharedTally &&
              message.tallies[1ul]->value == round);
        Check(message.bytes.getSize() == 16 &&
              message.bytes.ExtractU4(4, false) == static_cast<unsigned long>(round) &&
              message.bytes.ExtractU4(0, false) == sharedBytes.ExtractU4(0, false));
    }

    void Work(long self)
    {
        const long next = (self + 1) % kThreads;
        const long previous = (self + kThreads - 1) % kThreads;
        start->Wait(INFINITE);
        for (long round = 0; round < kRounds; ++round) {
            TMessage outgoing = Compose(self, round);
            empty[next]->Wait(INFINITE);
            boxes[next] = outgoing;
            full[next]->Unlock();
            full[self]->Wait(INFINITE);
            TMessage incoming = boxes[self];
            boxes[self] = TMessage();
            empty[self]->Unlock();
            Verify(incoming, previous, round);
            CKaLock counted(lock.getPtr());
            ++delivered;
        }
    }
};

} // namespace

TEST(KaStress, EightThreadsShareValuesAndHandWorkRound)
{
    const long constructedBefore = g_constructed;
    {
        TRing ring;
        const CKaString textBefore = ring.sharedText;
        CKaArray<CKaRef<IKaWaitable>> threads;
        for (long i = 0; i < kThreads; ++i) {
            CKaRef<CKaThread> thread = new CKaThread;
            thread->setWorker(
                DKaThreadWorker::Build([&ring, i](CKaRef<CKaThread>) { ring.Work(i); }));
            thread->Run();
            threads.Add(thread.getPtr());
        }
        ring.start->Set();
        CKaMultiWait all(threads);
        for (unsigned long i = 0; i < threads.getCount(); ++i) {
            EXPECT_EQ(KaWaitSignaled, threads[i]->Wait(INFINITE));
            EXPECT_EQ(0u, static_cast<CKaThread*>(threads[i].getPtr())->getExitCode());
        }

        EXPECT_EQ(0, ring.faults);
        EXPECT_EQ(kThreads * kRounds, ring.delivered);
        // The shared values are as they were.
        EXPECT_EQ(textBefore, ring.sharedText);
        EXPECT_EQ(L"shared text that every thread copies, changes and drops", ring.sharedText);
        ASSERT_EQ(3u, ring.sharedWords.getCount());
        for (unsigned long i = 0; i < 3; ++i) {
            EXPECT_EQ(CKaString::Build(L"word %lu", i), ring.sharedWords[i]);
        }
        EXPECT_EQ(L"00112233445566778899AABBCCDDEEFF", ring.sharedBytes.ToBinHex(true));
        EXPECT_EQ(-7, ring.sharedTally->value);
    }
    // One tally per message and the shared one, each destroyed exactly once.
    EXPECT_EQ(kThreads * kRounds + 1, g_constructed - constructedBefore);
    EXPECT_EQ(g_constructed, g_destroyed);
}
