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
    const TKaBenchTimes times = KaBenchPerCall(21, 
        200000,
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
    KaBenchReport(label,
           KaBenchPerCall(21, 
               rounds,
               [&] {
                   ka.Find(L'z', pos);
                   KaBenchKeep(pos);
               },
               [&] {
                   const wchar_t* found = wcschr(raw, L'z');
                   KaBenchKeep(found);
               }),
           "ratio >= 0.91");

    std::snprintf(label, sizeof label, "FindString in %lu characters vs wcsstr", length);
    KaBenchReport(label,
           KaBenchPerCall(21, 
               rounds,
               [&] {
                   ka.FindString(sub, pos);
                   KaBenchKeep(pos);
               },
               [&] {
                   const wchar_t* found = wcsstr(raw, sub);
                   KaBenchKeep(found);
               }),
           "ratio >= 0.91");

    std::snprintf(label, sizeof label, "Compare %lu characters vs wcscmp", length);
    KaBenchReport(label,
           KaBenchPerCall(21, 
               rounds,
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

// Builds 1 MB of UTF-16 from 16-character pieces: CKaString after one Grow against std::wstring
// appending as it is used (its own growth), and against std::wstring reserved up front.
void BenchAppend()
{
    const unsigned long total = 512 * 1024;
    const unsigned long piece = 16;
    const std::wstring text = Letters(piece);
    const auto ours = [&] {
        CKaString built;
        built.Grow(total);
        for (unsigned long length = 0; length < total; length += piece) {
            built.Append(text.c_str(), piece);
        }
        KaBenchKeep(built);
    };
    const auto baseline = [&](bool reserve) {
        std::wstring built;
        if (reserve) built.reserve(total);
        for (unsigned long length = 0; length < total; length += piece) {
            built.append(text.c_str(), piece);
        }
        KaBenchKeep(built);
    };
    KaBenchReport("build 1 MB by Append vs wstring appends", KaBenchPerCall(21, 1, ours, [&] { baseline(false); }),
           "ratio >= 1");
    KaBenchReport("build 1 MB by Append vs reserved wstring", KaBenchPerCall(21, 1, ours, [&] { baseline(true); }),
           "none, for scale");
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
