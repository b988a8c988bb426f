// Speed of the synchronisation and thread-local-storage classes against the system calls they
// wrap, measured in the same run: a CKaLock over a CKaCriticalSection against raw
// EnterCriticalSection/LeaveCriticalSection, a CKaMultiWait over ten signalled events against
// raw WaitForMultipleObjects, and CKaTlsManager::LookupObject against a raw TLS slot pointing at
// a std::unordered_map. Each pair must count the same result before its ratio is printed.
#include <windows.h>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <unordered_map>
#include <zelka/zelka.h>
#include "kabench.h"

namespace {

struct TCounted
{
    TKaBenchTimes times;
    unsigned long library;
    unsigned long baseline;
};

// The best of several runs of `rounds` calls each, with the count each side produced.
template <class Library, class Baseline>
TCounted Time(unsigned long rounds, Library library, Baseline baseline)
{
    TCounted counted = {{0, 0}, 0, 0};
    counted.times = KaBenchBest(
        11,
        [&] {
            counted.library = 0;
            for (unsigned long i = 0; i < rounds; ++i) counted.library += library(i);
        },
        [&] {
            counted.baseline = 0;
            for (unsigned long i = 0; i < rounds; ++i) counted.baseline += baseline(i);
        });
    counted.times.library /= rounds;
    counted.times.baseline /= rounds;
    return counted;
}

void Report(const char* what, const TCounted& counted, const char* aim)
{
    if (counted.library != counted.baseline) {
        std::printf("%-44s results differ: %lu against %lu\n", what, counted.library,
                    counted.baseline);
        std::exit(1);
    }
    std::printf("%-44s %11.1f ns %11.1f ns  ratio %6.2f  (aim: %s)\n", what,
                counted.times.library * 1e9, counted.times.baseline * 1e9,
                counted.times.baseline / counted.times.library, aim);
}

// A scoped CKaLock takes a counted reference on its lockable and gives it back: two interlocked
// operations that the raw calls do not make. Re-locking a held CKaLock costs only the calls.
void BenchLock()
{
    CKaRef<CKaCriticalSection> cs = new CKaCriticalSection;
    CRITICAL_SECTION raw;
    InitializeCriticalSection(&raw);
    volatile unsigned long guarded = 0;
    const auto rawRegion = [&](unsigned long) {
        EnterCriticalSection(&raw);
        const unsigned long odd = ++guarded & 1;
        LeaveCriticalSection(&raw);
        return odd;
    };
    CKaLock held(cs.getPtr(), false);
    Report("CKaLock Lock/Unlock vs Enter/Leave",
           Time(
               2000000,
               [&](unsigned long) {
                   held.Lock();
                   const unsigned long odd = ++guarded & 1;
                   held.Unlock();
                   return odd;
               },
               rawRegion),
           "ratio >= 0.7");
    Report("scoped CKaLock on a section vs Enter/Leave",
           Time(
               2000000,
               [&](unsigned long) {
                   CKaLock lock(cs.getPtr());
                   return static_cast<unsigned long>(++guarded & 1);
               },
               rawRegion),
           "none, adds one counted reference");
    DeleteCriticalSection(&raw);
}

void BenchMultiWait()
{
    CKaArray<CKaRef<IKaWaitable>> events;
    HANDLE handles[CKaMultiWait::kInlineCount];
    for (unsigned long i = 0; i < CKaMultiWait::kInlineCount; ++i) {
        CKaRef<CKaEvent> event = new CKaEvent(true, true);
        handles[i] = event->getHandle();
        events.Add(event.getPtr());
    }
    CKaMultiWait wait(events, false);
    const auto raw = [&](unsigned long) {
        return static_cast<unsigned long>(
            WaitForMultipleObjects(CKaMultiWait::kInlineCount, handles, TRUE, 0) == WAIT_OBJECT_0);
    };
    Report("Wait on 10 signalled events vs WFMO",
           Time(
               20000,
               [&](unsigned long) {
                   return static_cast<unsigned long>(wait.Wait(0) == KaWaitSignaled);
               },
               raw),
           "ratio >= 0.8");
    Report("new CKaMultiWait + Wait on 10 vs WFMO",
           Time(
               20000,
               [&](unsigned long) {
                   CKaMultiWait once(events, false);
                   return static_cast<unsigned long>(once.Wait(0) == KaWaitSignaled);
               },
               raw),
           "none, for scale");
}

void BenchTlsLookup()
{
    const unsigned long kNames = 16;
    CKaString names[kNames];
    std::wstring rawNames[kNames];
    CKaRef<CKaTlsManager> manager = new CKaTlsManager;
    std::unordered_map<std::wstring, CKaRef<CKaObject>> map;
    for (unsigned long i = 0; i < kNames; ++i) {
        names[i] = CKaString::Build(L"object %lu", i);
        rawNames[i] = names[i].getSz();
        // Every other name is stored, so half the look-ups miss.
        if (i % 2) continue;
        CKaRef<CKaObject> object = new CKaCriticalSection;
        manager->AddObject(names[i], object);
        map[rawNames[i]] = object;
    }
    const DWORD slot = TlsAlloc();
    TlsSetValue(slot, &map);
    CKaRef<CKaObject> found;
    Report("TLS LookupObject vs TlsGetValue + hash map",
           Time(
               200000,
               [&](unsigned long i) {
                   return static_cast<unsigned long>(
                       manager->LookupObject(names[i % kNames], found));
               },
               [&](unsigned long i) {
                   auto* own = static_cast<std::unordered_map<std::wstring, CKaRef<CKaObject>>*>(
                       TlsGetValue(slot));
                   const auto it = own->find(rawNames[i % kNames]);
                   if (it == own->end()) return 0ul;
                   found = it->second;
                   return 1ul;
               }),
           "none, per call");
    TlsFree(slot);
    manager->DetachAllThreads();
}

} // namespace

int main()
{
    std::printf("%-44s %14s %14s  (ratio = baseline / library; above 1 is faster)\n", "measure",
                "library", "baseline");
    BenchLock();
    BenchMultiWait();
    BenchTlsLookup();
    return 0;
}
