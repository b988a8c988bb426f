// Speed of CKaVariant and CKaSafeArray against the platform calls they stand in for, measured in
// the same run: copying a string variant against VariantCopy, reading elements one by one
// against SafeArrayGetElement, and reading a whole vector against SafeArrayAccessData with a
// copy loop. Each pair must produce the same result before its ratio is printed.
#include <windows.h>
#include <cstdio>
#include <cstdlib>
#include <vector>
#include <zelka/zelka.h>
#include "kabench.h"

namespace {

// Keeps the compiler from dropping or hoisting work whose result is otherwise unused.
template <class T>
void Keep(T& value)
{
    asm volatile("" : "+m"(value) : : "memory");
}

void Report(const char* what, TKaBenchTimes times, const char* aim)
{
    std::printf("%-48s %10.3f ms %10.3f ms  ratio %6.2f  (aim: %s)\n", what, times.library * 1e3,
                times.baseline * 1e3, times.baseline / times.library, aim);
}

void Check(bool same, const char* what)
{
    if (!same) {
        std::printf("%s: library and baseline disagree\n", what);
        std::exit(1);
    }
}

void BenchVariantCopy()
{
    const long rounds = 200000;
    const CKaVariant variant(L"a string of some forty characters or so.");
    VARIANT raw = variant.Copy();
    CKaVariant lastOurs;
    VARIANT lastBaseline;
    VariantInit(&lastBaseline);
    const TKaBenchTimes times = KaBenchBest(
        11,
        [&] {
            for (long i = 0; i < rounds; ++i) {
                CKaVariant copy(variant);
                Keep(copy);
            }
            lastOurs = variant;
        },
        [&] {
            for (long i = 0; i < rounds; ++i) {
                VARIANT copy;
                VariantInit(&copy);
                VariantCopy(&copy, &raw);
                Keep(copy);
                VariantClear(&copy);
            }
            VariantClear(&lastBaseline);
            VariantCopy(&lastBaseline, &raw);
        });
    Check(lastOurs == CKaVariant(lastBaseline), "variant copy");
    VariantClear(&lastBaseline);
    VariantClear(&raw);
    Report("copy a BSTR variant (200000 times) vs VariantCopy", times, "ratio >= 5");
}

void BenchElements(const CKaSafeArray& array, long count)
{
    long long ours = 0, baseline = 0;
    const TKaBenchTimes times = KaBenchBest(
        15,
        [&] {
            ours = 0;
            for (long i = 0; i < count; ++i) ours += array.getI4(i);
        },
        [&] {
            baseline = 0;
            SAFEARRAY* raw = array.getArray();
            for (long i = 0; i < count; ++i) {
                long value = 0;
                SafeArrayGetElement(raw, &i, &value);
                baseline += value;
            }
        });
    Check(ours == baseline, "element reads");
    Report("getI4(i) over 10^6 elements vs SafeArrayGetElement", times, "ratio >= 1.0");
}

void BenchVector(const CKaSafeArray& array, long count)
{
    CKaArray<long> ours;
    std::vector<long> baseline;
    const TKaBenchTimes times = KaBenchBest(
        15, [&] { ours = array.getI4Vector(); },
        [&] {
            SAFEARRAY* raw = array.getArray();
            void* data = nullptr;
            SafeArrayAccessData(raw, &data);
            // A fresh vector each time, as the library makes a fresh array.
            std::vector<long> fresh(static_cast<size_t>(count));
            const long* values = static_cast<const long*>(data);
            for (long i = 0; i < count; ++i) fresh[i] = values[i];
            SafeArrayUnaccessData(raw);
            baseline.swap(fresh);
        });
    bool same = ours.getCount() == baseline.size();
    for (long i = 0; same && i < count; ++i) same = ours[static_cast<unsigned long>(i)] == baseline[i];
    Check(same, "vector read");
    Report("getI4Vector of 10^6 elements vs AccessData + loop", times, "ratio >= 0.8");
}

} // namespace

int main()
{
    BenchVariantCopy();
    const long count = 1000000;
    CKaSafeArray array;
    array.Create(VT_I4, 0, count);
    long* data = static_cast<long*>(array.LockArray() ? array.AccessData() : nullptr);
    for (long i = 0; i < count; ++i) data[i] = i * 7 - 3;
    array.UnaccessData();
    array.Unlock();
    BenchElements(array, count);
    BenchVector(array, count);
    return 0;
}
