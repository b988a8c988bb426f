#ifndef ZELKA_BENCH_KABENCH_H
#define ZELKA_BENCH_KABENCH_H

// Timing shared by the benchmark programs.
#include <windows.h>
#include <algorithm>
#include <cstdio>

// Seconds since an arbitrary start, from the performance counter.
inline double KaBenchNow()
{
    static const double frequency = [] {
        LARGE_INTEGER f;
        QueryPerformanceFrequency(&f);
        return static_cast<double>(f.QuadPart);
    }();
    LARGE_INTEGER counter;
    QueryPerformanceCounter(&counter);
    return static_cast<double>(counter.QuadPart) / frequency;
}

// Seconds that one run of `work` takes.
template <class Work>
double KaBenchSeconds(Work&& work)
{
    const double start = KaBenchNow();
    work();
    return KaBenchNow() - start;
}

struct TKaBenchTimes
{
    double library;
    double baseline;
};

// The best of `runs` runs of each, the two taking turns so that both see the same load (the
// machine is shared) and a stray pause counts for neither.
template <class Library, class Baseline>
TKaBenchTimes KaBenchBest(int runs, Library&& library, Baseline&& baseline)
{
    TKaBenchTimes best = {1e300, 1e300};
    for (int run = 0; run < runs; ++run) {
        best.library = std::min(best.library, KaBenchSeconds(library));
        best.baseline = std::min(best.baseline, KaBenchSeconds(baseline));
    }
    return best;
}

// Keeps the compiler from dropping or hoisting work whose result is otherwise unused.
template <class T>
void KaBenchKeep(T& value)
{
    asm volatile("" : "+m"(value) : : "memory");
}

// Seconds for one call of each of `library` and `baseline`: the best of `runs` alternating runs
// of `rounds` calls, divided by `rounds`.
template <class Library, class Baseline>
TKaBenchTimes KaBenchPerCall(int runs, long rounds, Library library, Baseline baseline)
{
    TKaBenchTimes best = KaBenchBest(
        runs, [&] { for (long i = 0; i < rounds; ++i) library(); },
        [&] { for (long i = 0; i < rounds; ++i) baseline(); });
    best.library /= rounds;
    best.baseline /= rounds;
    return best;
}

// One line a measure: both times, the ratio baseline / library (above 1: the library is faster)
// and the aim.
inline void KaBenchReport(const char* what, TKaBenchTimes times, const char* aim)
{
    std::printf("%-46s %11.1f ns %11.1f ns  ratio %6.2f  (aim: %s)\n", what, times.library * 1e9,
                times.baseline * 1e9, times.baseline / times.library, aim);
}

#endif
