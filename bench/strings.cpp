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

// False, with a line saying so, when the two sides of a measure did not give the same result:
// no figure is printed for it.
bool Same(const char* what, bool same)
{
    if (!same) std::printf("%-46s DIFFERENT RESULTS: no figure\n", what);
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
    const TKaBenchTimes times = KaBenchPerCall(21, 200000,
        [&] {
            CKaString copy = ka;
            KaBenchKeep(copy);
        },
        [&] {
            std::wstring copy = text;
            KaBenchKeep(copy);
        });
    KaBenchReport("copy a 100-character string", times, "ratio >= 5");
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
        KaBenchReport(label,
               KaBenchPerCall(21, rounds,
                   [&] {
                       ka.Find(L'z', pos);
                       KaBenchKeep(pos);
                   },
                   [&] {
                       const wchar_t* found = wcschr(raw, L'z');
                       KaBenchKeep(found);
                   }),
               "ratio >= 0.91");
    }

    std::snprintf(label, sizeof label, "FindString in %lu characters vs wcsstr", length);
    const wchar_t* foundText = wcsstr(raw, sub);
    const bool foundOurs = ka.FindString(sub, pos);
    if (Same(label, foundOurs == (foundText != nullptr) &&
                        (!foundText || pos == static_cast<unsigned long>(foundText - raw)))) {
        KaBenchReport(label,
               KaBenchPerCall(21, rounds,
                   [&] {
                       ka.FindString(sub, pos);
                       KaBenchKeep(pos);
                   },
                   [&] {
                       const wchar_t* found = wcsstr(raw, sub);
                       KaBenchKeep(found);
                   }),
               "ratio >= 0.91");
    }

    std::snprintf(label, sizeof label, "Compare %lu characters vs wcscmp", length);
    if (Same(label, Sign(ka.Compare(rawOther)) == Sign(wcscmp(raw, rawOther)))) {
        KaBenchReport(label,
               KaBenchPerCall(21, rounds,
                   [&] {
                       long order = ka.Compare(rawOther);
                       KaBenchKeep(order);
                   },
                   [&] {
                       int order = wcscmp(raw, rawOther);
                       KaBenchKeep(order);
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
    const TKaBenchTimes reserved = KaBenchPerCall(21, 1, library, [&] { baseline(true); });
    if (!Same("build 1 MB by Append", std::wstring(ours.getSz(), ours.getLength()) == theirs)) {
        return;
    }
    KaBenchReport("build 1 MB by Append vs reserved wstring", reserved, "ratio >= 1");
    KaBenchReport("build 1 MB by Append vs growing wstring",
                  KaBenchPerCall(21, 1, library, [&] { baseline(false); }), "none, for scale");
}

} // namespace

int main()
{
    std::printf("%-46s %14s %14s  (ratio = baseline / CKaString; above 1 is faster)\n",
                "measure", "CKaString", "baseline");
    BenchCopy();
    BenchSearch(100);
    BenchSearch(1000);
    BenchAppend();
    return 0;
}
