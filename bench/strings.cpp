// Speed of CKaString against its baselines, measured in the same run: copying against
// std::wstring, searching and comparing against the C runtime calls on the same text, and
// building a long text by appending against std::wstring. Prints one ratio a line.
#include <windows.h>
#include <algorithm>
#include <cstdio>
#include <cwchar>
#include <string>
#include <zelka/zelka.h>
#include "kabench.h"

namespace {

// Keeps the compiler from dropping or hoisting work whose result is otherwise unused.
template <class T>
void Keep(T& value)
{
    asm volatile("" : "+m"(value) : : "memory");
}

// Seconds for one call of each of `ours` and `baseline`, the best of many runs of `rounds` calls.
template <class Ours, class Baseline>
TKaBenchTimes Time(long rounds, Ours ours, Baseline baseline)
{
    TKaBenchTimes best = KaBenchBest(
        21, [&] { for (long i = 0; i < rounds; ++i) ours(); },
        [&] { for (long i = 0; i < rounds; ++i) baseline(); });
    best.library /= rounds;
    best.baseline /= rounds;
    return best;
}

void Report(const char* what, TKaBenchTimes times, const char* aim)
{
    std::printf("%-44s %11.1f ns %11.1f ns  ratio %6.2f  (aim: %s)\n", what, times.library * 1e9,
                times.baseline * 1e9, times.baseline / times.library, aim);
}

// False, with a line saying so, when the two sides of a measure did not give the same result:
// no figure is printed for it.
bool Same(const char* what, bool same)
{
    if (!same) std::printf("%-44s DIFFERENT RESULTS: no figure\n", what);
    return same;
}

int Sign(long value)
{
    return value < 0 ? -1 : value > 0 ? 1 : 0;
}

// A text of `length` characters: letters cycling through a..y, no 'z'.
std::wstring Letters(unsigned long length)
{
    std::wstring text;
    for (unsigned long i = 0; i < length; ++i) text += static_cast<wchar_t>(L'a' + i % 25);
    return text;
}

void BenchCopy()
{
    const std::wstring text = Letters(100);
    const CKaString ka(text.c_str());
    const CKaString copied = ka;
    if (!Same("copy a 100-character string", std::wstring(copied.getSz()) == text)) return;
    const TKaBenchTimes times = Time(
        200000,
        [&] {
            CKaString copy = ka;
            Keep(copy);
        },
        [&] {
            std::wstring copy = text;
            Keep(copy);
        });
    Report("copy a 100-character string", times, "ratio >= 5");
}

void BenchSearch(unsigned long length)
{
    const long rounds = 20000000 / length;
    std::wstring text = Letters(length);
    text.back() = L'z';
    const CKaString ka(text.c_str());
    const CKaString other(text.c_str()); // equal text in a block of its own
    const wchar_t* raw = ka.getSz();
    const wchar_t* rawOther = other.getSz();
    const wchar_t* sub = L"yz";
    unsigned long pos = 0;
    char label[64];

    std::snprintf(label, sizeof label, "Find in %lu characters vs wcschr", length);
    const wchar_t* foundChar = wcschr(raw, L'z');
    if (Same(label, ka.Find(L'z', pos) && foundChar &&
                        pos == static_cast<unsigned long>(foundChar - raw))) {
        Report(label,
               Time(
                   rounds,
                   [&] {
                       ka.Find(L'z', pos);
                       Keep(pos);
                   },
                   [&] {
                       const wchar_t* found = wcschr(raw, L'z');
                       Keep(found);
                   }),
               "ratio >= 0.91");
    }

    std::snprintf(label, sizeof label, "FindString in %lu characters vs wcsstr", length);
    const wchar_t* foundText = wcsstr(raw, sub);
    const bool foundOurs = ka.FindString(sub, pos);
    if (Same(label, foundOurs == (foundText != nullptr) &&
                        (!foundText || pos == static_cast<unsigned long>(foundText - raw)))) {
        Report(label,
               Time(
                   rounds,
                   [&] {
                       ka.FindString(sub, pos);
                       Keep(pos);
                   },
                   [&] {
                       const wchar_t* found = wcsstr(raw, sub);
                       Keep(found);
                   }),
               "ratio >= 0.91");
    }

    std::snprintf(label, sizeof label, "Compare %lu characters vs wcscmp", length);
    if (Same(label, Sign(ka.Compare(rawOther)) == Sign(wcscmp(raw, rawOther)))) {
        Report(label,
               Time(
                   rounds,
                   [&] {
                       long order = ka.Compare(rawOther);
                       Keep(order);
                   },
                   [&] {
                       int order = wcscmp(raw, rawOther);
                       Keep(order);
                   }),
               "ratio >= 0.91");
    }
}

// Builds 1 MB of UTF-16 from 16-character pieces with the room made first on both sides:
// CKaString after one Grow against std::wstring after one reserve. A std::wstring growing as it
// goes (its own doubling) is shown for scale.
void BenchAppend()
{
    const unsigned long total = 512 * 1024;
    const unsigned long piece = 16;
    const std::wstring text = Letters(piece);
    CKaString ours;
    std::wstring theirs;
    const auto library = [&] {
        CKaString built;
        built.Grow(total);
        for (unsigned long length = 0; length < total; length += piece) {
            built.Append(text.c_str(), piece);
        }
        ours = built;
    };
    const auto baseline = [&](bool reserve) {
        std::wstring built;
        if (reserve) built.reserve(total);
        for (unsigned long length = 0; length < total; length += piece) {
            built.append(text.c_str(), piece);
        }
        theirs.swap(built);
    };
    const TKaBenchTimes reserved = Time(1, library, [&] { baseline(true); });
    if (!Same("build 1 MB by Append", std::wstring(ours.getSz(), ours.getLength()) == theirs)) {
        return;
    }
    Report("build 1 MB by Append vs reserved wstring", reserved, "ratio >= 1");
    Report("build 1 MB by Append vs growing wstring", Time(1, library, [&] { baseline(false); }),
           "none, for scale");
}

} // namespace

int main()
{
    std::printf("%-44s %14s %14s  (ratio = baseline / CKaString; above 1 is faster)\n",
                "measure", "CKaString", "baseline");
    BenchCopy();
    BenchSearch(100);
    BenchSearch(1000);
    BenchAppend();
    return 0;
}
