// Reading and writing short texts through CKaRegKey against raw RegQueryValueExW and
// RegSetValueExW on the same key, in a scratch key of HKEY_CURRENT_USER that the program makes
// and removes. Prints the time per call of each and the throughput ratio baseline / library.
#include <cstdio>
#include <cwchar>
#include <string>
#include <vector>
#include <zelka/zelka.h>
#include "kabench.h"

namespace {

const wchar_t kScratch[] = L"Software\\ZelkaTests\\RegistryBench";
const int kValues = 16;
const int kRounds = 200;

void Report(const char* what, TKaBenchTimes times, const char* aim)
{
    std::printf("%-40s %9.2f us %9.2f us  ratio %5.2f  (aim: %s)\n", what, times.library * 1e6,
                times.baseline * 1e6, times.baseline / times.library, aim);
}

struct TKaBenchValue
{
    std::wstring name;
    std::wstring text;
};

// Short texts (5 to 40 characters), as settings are.
std::vector<TKaBenchValue> Values()
{
    std::vector<TKaBenchValue> values;
    for (int i = 0; i < kValues; ++i) {
        values.push_back({L"value" + std::to_wstring(i),
                          std::wstring(5 + (i * 7) % 36, static_cast<wchar_t>(L'a' + i))});
    }
    return values;
}

// The best time of one call of each side, over many alternating runs.
template <class Library, class Baseline>
TKaBenchTimes PerCall(Library library, Baseline baseline)
{
    TKaBenchTimes best = KaBenchBest(
        15, [&] { for (int r = 0; r < kRounds; ++r) library(); },
        [&] { for (int r = 0; r < kRounds; ++r) baseline(); });
    best.library /= kRounds * kValues;
    best.baseline /= kRounds * kValues;
    return best;
}

// Every value as the system has it now.
std::wstring Snapshot(HKEY key, const std::vector<TKaBenchValue>& values)
{
    std::wstring all;
    for (const TKaBenchValue& v : values) {
        wchar_t buffer[64] = {};
        DWORD size = sizeof(buffer) - sizeof(wchar_t);
        RegQueryValueExW(key, v.name.c_str(), nullptr, nullptr, reinterpret_cast<BYTE*>(buffer),
                         &size);
        all += buffer;
        all += L'|';
    }
    return all;
}

int Run()
{
    CKaRef<CKaRegKey> user = new CKaRegKey(KaRegCurrentUser, KEY_ALL_ACCESS);
    user->DeleteSubKey(kScratch, true);
    CKaRef<CKaRegKey> key = user->OpenOrCreateSubKey(kScratch, KEY_ALL_ACCESS);
    const HKEY raw = key->getHandle();
    const std::vector<TKaBenchValue> values = Values();
    std::vector<CKaString> names, texts;
    for (const TKaBenchValue& v : values) {
        names.push_back(v.name.c_str());
        texts.push_back(v.text.c_str());
    }
    int failures = 0;

    // Writing: each side writes the same texts; both leave the same values behind.
    std::wstring written[2];
    const TKaBenchTimes writing = PerCall(
        [&] {
            for (int i = 0; i < kValues; ++i) key->WriteString(names[i], texts[i]);
        },
        [&] {
            for (const TKaBenchValue& v : values) {
                RegSetValueExW(raw, v.name.c_str(), 0, REG_SZ,
                               reinterpret_cast<const BYTE*>(v.text.c_str()),
                               static_cast<DWORD>((v.text.size() + 1) * sizeof(wchar_t)));
            }
        });
    for (int i = 0; i < kValues; ++i) key->WriteString(names[i], texts[i]);
    written[0] = Snapshot(raw, values);
    RegDeleteTreeW(raw, nullptr);
    for (const TKaBenchValue& v : values) {
        RegSetValueExW(raw, v.name.c_str(), 0, REG_SZ, reinterpret_cast<const BYTE*>(v.text.c_str()),
                       static_cast<DWORD>((v.text.size() + 1) * sizeof(wchar_t)));
    }
    written[1] = Snapshot(raw, values);
    if (written[0] != written[1]) {
        std::printf("WriteString and RegSetValueExW left different values\n");
        ++failures;
    }

    // Reading: both sides read every value into a text of their own kind.
    std::wstring readByLibrary, readByBaseline;
    const TKaBenchTimes reading = PerCall(
        [&] {
            readByLibrary.clear();
            CKaString text;
            for (int i = 0; i < kValues; ++i) {
                key->QueryString(names[i], text);
                readByLibrary.append(text.getSz(), text.getLength());
            }
        },
        [&] {
            readByBaseline.clear();
            wchar_t buffer[520];
            for (const TKaBenchValue& v : values) {
                DWORD type = REG_NONE;
                DWORD size = sizeof(buffer);
                RegQueryValueExW(raw, v.name.c_str(), nullptr, &type,
                                 reinterpret_cast<BYTE*>(buffer), &size);
                readByBaseline.append(buffer, wcsnlen(buffer, size / sizeof(wchar_t)));
            }
        });
    if (readByLibrary != readByBaseline) {
        std::printf("QueryString and RegQueryValueExW read different texts\n");
        ++failures;
    }

    std::printf("%-40s %12s %12s  (ratio = baseline / library throughput)\n", "", "library",
                "baseline");
    Report("WriteString vs RegSetValueExW", writing, "ratio >= 0.8");
    Report("QueryString vs RegQueryValueExW", reading, "ratio >= 0.8");
    key = nullptr;
    user->DeleteSubKey(kScratch, true);
    return failures;
}

} // namespace

int main()
{
    try {
        return Run();
    } catch (const CKaException& e) {
        std::printf("failed with 0x%08lX\n", static_cast<unsigned long>(e.getCode()));
        return 1;
    }
}
