#ifndef ZELKA_BENCH_KABENCH_H
#define ZELKA_BENCH_KABENCH_H

// Timing shared by the benchmark programs.
#include <windows.h>
#include <algorithm>

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

#endif
