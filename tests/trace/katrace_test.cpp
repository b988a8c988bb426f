#include <gtest/gtest.h>
#include <process.h>
#include <shlobj.h>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <string>
#include <thread>
#include <vector>
#include "katempfolder.h"
#include "katest.h"

namespace {

// The "Trace" subkey of a configuration key below HKEY_CURRENT_USER, for a test to change at
// will. The configuration key is removed before and after the test: the library writes its
// defaults back whenever it next starts.
class CKaTraceKey
{
public:
    explicit CKaTraceKey(const std::wstring& key) : m_key(key), m_trace(key + L"\\Trace")
    {
        RegDeleteTreeW(HKEY_CURRENT_USER, m_key.c_str());
    }
    ~CKaTraceKey() { RegDeleteTreeW(HKEY_CURRENT_USER, m_key.c_str()); }
    CKaTraceKey(const CKaTraceKey&) = delete;
    CKaTraceKey& operator=(const CKaTraceKey&) = delete;

    void Set(const wchar_t* name, DWORD type, const void* data, DWORD size)
    {
        EXPECT_EQ(ERROR_SUCCESS,
                  RegSetKeyValueW(HKEY_CURRENT_USER, m_trace.c_str(), name, type, data, size));
    }
    void SetDword(const wchar_t* name, DWORD value) { Set(name, REG_DWORD, &value, 4); }
    void SetString(const wchar_t* name, const wchar_t* text, DWORD type = REG_SZ)
    {
        Set(name, type, text, static_cast<DWORD>((lstrlenW(text) + 1) * 2));
    }
    // A setting as "<type>:<value>".
    std::wstring Get(const wchar_t* name) const
    {
        DWORD type = REG_NONE;
        wchar_t data[1024] = {};
        DWORD size = sizeof(data) - sizeof(wchar_t);
        RegGetValueW(HKEY_CURRENT_USER, m_trace.c_str(), name, RRF_RT_ANY | RRF_NOEXPAND, &type,
                     data, &size);
        DWORD number = 0;
        std::memcpy(&number, data, sizeof(number));
        if (type == REG_DWORD) return L"dword:" + std::to_wstring(number);
        return (type == REG_SZ ? L"sz:" : type == REG_EXPAND_SZ ? L"expand:" : L"other:") +
               std::wstring(data);
    }

private:
    std::wstring m_key;
    std::wstring m_trace;
};

typedef std::vector<std::string> TLines;

TLines operator+(TLines a, const TLines& b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

TLines Tail(const TLines& lines, std::size_t count)
{
    return count > lines.size() ? lines : TLines(lines.end() - count, lines.end());
}

std::string FileText(const wchar_t* path)
{
    std::string content;
    // Shared for writing and deleting: the trace may still hold the file open.
    HANDLE file = CreateFileW(path, GENERIC_READ,
                              FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                              OPEN_EXISTING, 0, nullptr);
    if (file == INVALID_HANDLE_VALUE) return content;
    char buffer[65536];
    DWORD read = 0;
    while (::ReadFile(file, buffer, sizeof(buffer), &read, nullptr) && read) {
        content.append(buffer, read);
    }
    CloseHandle(file);
    return content;
}

// The file split at CR LF; a bare LF fails the test that reads it.
TLines ReadLines(const wchar_t* path)
{
    const std::string content = FileText(path);
    TLines lines;
    for (std::string::size_type start = 0;;) {
        const std::string::size_type end = content.find("\r\n", start);
        lines.push_back(content.substr(start, end == std::string::npos ? end : end - start));
        EXPECT_EQ(std::string::npos, lines.back().find('\n')) << "bare line feed";
        if (end == std::string::npos) return lines;
        start = end + 2;
    }
}

std::string Narrow(const wchar_t* text)
{
    char buffer[1024] = {};
    WideCharToMultiByte(CP_ACP, 0, text, -1, buffer, sizeof(buffer), nullptr, nullptr);
    return buffer;
}

bool Exists(const wchar_t* path)
{
    return GetFileAttributesW(path) != INVALID_FILE_ATTRIBUTES;
}

// What the traces of these tests read as the local time ({year, month, weekday, day, ...}).
SYSTEMTIME g_testNow;

void WINAPI KaTestClock(LPSYSTEMTIME time)
{
    *time = g_testNow;
}

const wchar_t g_defaultSubFolder[] = L"ZelkaTests\\TraceDefault";
const wchar_t* const g_names[] = {L"ERROR", L"INFO", L"UNEX", L"WARN"};
const std::string g_separator = "***** " + std::string(80, '-');
const std::string g_columns = "|EN |Cls  |Fn" + std::string(28, ' ') + "|";
const std::string g_at = " at 2024-03-01 12:34:56.789";

TLines Marker(const std::string& line)
{
    return {g_separator, line, g_separator};
}

// A start or continuation block, its status lines naming all four categories.
TLines StartBlock(const std::string& what, bool tracking = true, unsigned mask = 15)
{
    TLines lines = {g_separator, "***** " + what,
                    std::string("***** Tracking: ") + (tracking ? "enabled" : "disabled")};
    for (unsigned i = 0; i < 4; ++i) {
        lines.push_back("***** Category " + Narrow(g_names[i]) + ": " +
                        ((mask >> i) & 1 ? "enabled" : "disabled"));
    }
    return lines + TLines{g_separator};
}

// An entry line written by this thread, by default of the test site at the test clock's time.
std::string Entry(const std::string& label, const std::string& message,
                  const std::string& columns = g_columns, const char* time = "12:34:56.789")
{
    char thread[16];
    std::snprintf(thread, sizeof(thread), "%4lu", static_cast<unsigned long>(GetCurrentThreadId()));
    return std::string(time) + "|" + thread + "|" + label + columns + message;
}

CKaString DefaultFolder()
{
    wchar_t root[MAX_PATH];
    SHGetFolderPathW(nullptr, CSIDL_LOCAL_APPDATA, nullptr, 0, root);
    return CKaString::Build(L"%s\\%s", root, g_defaultSubFolder);
}

class KaTraceFileTest : public ::testing::Test
{
protected:
    KaTraceFileTest() { g_testNow = SYSTEMTIME{2024, 3, 5, 1, 12, 34, 56, 789}; }

    ~KaTraceFileTest() override
    {
        m_trace.Stop();
        const CKaString folder = DefaultFolder();
        DeleteFileW(folder + L"\\test.trc");
        RemoveDirectoryW(folder);
        RemoveDirectoryW(folder.Left(folder.getLength() - lstrlenW(L"\\TraceDefault")));
    }

    // Every setting written, the folder being the test's own temp folder.
    void Configure(DWORD enabled, DWORD tracking = 1, DWORD mask = 0xFFFFFFFF,
                   DWORD maxFileSizeKB = 10000, DWORD keepFileOpen = 1)
    {
        m_registry.SetDword(L"Enabled", enabled);
        m_registry.SetDword(L"Tracking", tracking);
        m_registry.SetDword(L"CategoryMask", mask);
        m_registry.SetDword(L"MaxFileSize", maxFileSizeKB);
        m_registry.SetDword(L"KeepFileOpen", keepFileOpen);
        m_registry.SetString(L"TargetPath", m_folder.getPath());
    }

    void Start(unsigned long count = 4, const wchar_t* const* names = g_names)
    {
        m_trace.Start(CSIDL_LOCAL_APPDATA, g_defaultSubFolder, L"test.trc",
                      L"Software\\ZelkaTests", count, names, 3, 5, 30);
    }

    // An entry of the test site.
    void Trace(unsigned long category, const wchar_t* format, ...)
    {
        va_list args;
        va_start(args, format);
        m_trace.Trace({category, L"EN", L"Cls", L"Fn"}, format, args);
        va_end(args);
    }

    TLines Lines(const wchar_t* name = L"test.trc") const
    {
        return ReadLines(m_folder.File(name));
    }

    CKaTempFolder m_folder;
    CKaTraceKey m_registry{L"Software\\ZelkaTests"};
    CKaTraceFile m_trace{KaTestClock};
};

} // namespace

// ---- configuration ----------------------------------------------------------------------------

TEST_F(KaTraceFileTest, AMissingKeyIsCreatedWithTheDefaultsAndNothingIsWritten)
{
    ASSERT_EQ(L"other:", m_registry.Get(L"Enabled"));
    Start();
    const wchar_t* const expected[][2] = {
        {L"Enabled", L"dword:0"},
        {L"EnabledComment", L"sz:0: tracing disabled\r\n1: tracing enabled"},
        {L"Tracking", L"dword:1"},
        {L"TrackingComment", L"sz:0: tracking disabled\r\n1: tracking enabled"},
        {L"CategoryMask", L"dword:4294967295"},
        {L"CategoryMaskComment", L"sz:Module specific category bitmask."},
        {L"MaxFileSize", L"dword:10000"},
        {L"MaxFileSizeComment", L"sz:Maximum trace file size in KB."},
        {L"KeepFileOpen", L"dword:1"},
        {L"KeepFileOpenComment", L"sz:0: close file after write\r\n1: keep file open after write"},
        {L"TargetPath", L"sz:"},
        {L"TargetPathComment", L"sz:The path to the folder where the trace files are located"},
    };
    for (const auto& setting : expected) EXPECT_EQ(setting[1], m_registry.Get(setting[0]));
    // Started, but off: the default folder is made and stays empty.
    EXPECT_TRUE(m_trace.getIsStarted());
    Trace(1, L"dropped");
    EXPECT_TRUE(Exists(DefaultFolder()));
    EXPECT_FALSE(Exists(DefaultFolder() + L"\\test.trc"));
}

TEST_F(KaTraceFileTest, ConfiguredValuesAreAppliedAndWrittenBackUnchanged)
{
    Configure(1, 0, 0x5, 7, 0);
    m_registry.SetString(L"TargetPath", m_folder.getPath(), REG_EXPAND_SZ);
    Start();
    EXPECT_EQ(7u, m_trace.getMaxFileSizeKB());
    EXPECT_FALSE(m_trace.getKeepFileOpen());
    // The start block is stamped before any entry has read the clock.
    EXPECT_EQ(TLines{""} + StartBlock("Starting trace at 0000-00-00 00:00:00.000", false, 5),
              Lines());
    EXPECT_EQ(L"dword:5", m_registry.Get(L"CategoryMask"));
    EXPECT_EQ(L"dword:0", m_registry.Get(L"KeepFileOpen"));
    EXPECT_EQ(L"expand:" + std::wstring(m_folder.getPath()), m_registry.Get(L"TargetPath"));
}

TEST_F(KaTraceFileTest, ImproperValuesKeepTheirDefaults)
{
    const std::wstring folder = m_folder.getPath().getSz();
    // Each would name the temp folder if it were taken. An 'X' follows the stored bytes, so
    // that the registry adds no terminator of its own.
    const struct
    {
        DWORD type;
        std::wstring text;
        std::size_t size;
    } targetPaths[] = {{REG_SZ, folder + L"X", folder.size() * 2},  // no terminator
                       {REG_BINARY, folder, folder.size() * 2 + 2}}; // no string
    for (const auto& path : targetPaths) {
        Configure(1);
        m_registry.Set(L"TargetPath", path.type, path.text.c_str(), static_cast<DWORD>(path.size));
        m_registry.Set(L"Tracking", REG_BINARY, L"", 2);
        Start();
        m_trace.Stop();
        EXPECT_FALSE(Exists(m_folder.File(L"test.trc"))) << "type " << path.type;
        EXPECT_EQ(L"sz:", m_registry.Get(L"TargetPath"));
        EXPECT_EQ(L"dword:1", m_registry.Get(L"Tracking"));
    }
}

// ---- entries ----------------------------------------------------------------------------------

TEST_F(KaTraceFileTest, EntriesOfEnabledCategoriesAndWhileTrackingOnly)
{
    Configure(1, 1, 0xA);
    Start();
    const std::size_t startLines = Lines().size();
    for (unsigned long category : {0ul, 1ul, 2ul, 4ul, 0xFFFFFFFFul}) {
        Trace(category, L"%lu of %s", category, L"x");
    }
    Trace(3, L"two\nlines");
    Trace(1, nullptr); // a bad format leaves the message empty
    Trace(1, L"%F", 1.5);
    m_trace.Enter(L"EN", L"Cls", L"Fn");
    m_trace.Leave(L"EN", L"Cls", L"Fn", static_cast<long>(0x80004005));
    // Columns are padded, never cut to their width; all of them stop at 1001 characters, with
    // their closing bar, and a message at 10240.
    m_trace.Enter(L"ENCODER", nullptr, nullptr);
    m_trace.Enter(L"EN", L"Cls", std::wstring(2000, L'f').c_str());
    Trace(1, L"%s", std::wstring(20000, L'm').c_str());
    m_trace.setTracking(false);
    m_trace.Enter(L"EN", L"Cls", L"Fn");
    const TLines entries = {
        Entry("INFO ", "1 of x"), Entry("WARN ", "two"), "lines", Entry("INFO ", ""),
        Entry("INFO ", ""), Entry("-->> ", ""), Entry("<<-- ", "80004005"),
        Entry("-->> ", "", "|ENCODER|     |" + std::string(30, ' ') + "|"),
        Entry("-->> ", "", "|EN |Cls  |" + std::string(991, 'f') + "|"),
        Entry("INFO ", std::string(10240, 'm'))};
    EXPECT_EQ(entries + Marker("***** Tracking disabled" + g_at),
              Tail(Lines(), Lines().size() - startLines));

    // Switched off: the block is the last thing written; switched back on, the first.
    m_trace.setEnabled(false);
    const TLines stopped = Lines();
    EXPECT_EQ(Marker("***** Stopping trace" + g_at), Tail(stopped, 3));
    Trace(1, L"info while off");
    m_trace.setCategoryEnabled(0, true);
    EXPECT_EQ(stopped, Lines());
    m_trace.setEnabled(true);
    EXPECT_EQ(StartBlock("Starting trace" + g_at, false, 0xB), Tail(Lines(), 8));
    // Stopping writes nothing more and makes every later call a no-op.
    m_trace.Stop();
    const TLines final = Lines();
    Trace(1, L"after stop");
    m_trace.setEnabled(false);
    EXPECT_EQ(final, Lines());
}

TEST_F(KaTraceFileTest, EntriesFromManyThreadsNeverInterleave)
{
    Configure(1);
    Start();
    std::vector<std::thread> workers;
    volatile bool go = false;
    for (int t = 0; t < 4; ++t) {
        workers.emplace_back([this, t, &go] {
            const std::wstring text(200, static_cast<wchar_t>(L'a' + t));
            while (!go) Sleep(0);
            for (int i = 0; i < 50; ++i) Trace(1, L"%d %s", t, text.c_str());
        });
    }
    go = true;
    for (std::thread& worker : workers) worker.join();
    int entries = 0;
    for (const std::string& line : Lines()) {
        if (line.empty() || line[0] == '*') continue;
        ++entries;
        const int t = line[line.rfind('|') + 1] - '0';
        EXPECT_EQ("12:34:56.789|", line.substr(0, 13));
        EXPECT_EQ("|INFO " + g_columns + std::to_string(t) + " " + std::string(200, 'a' + t),
                  line.substr(line.find('|', 13)));
    }
    EXPECT_EQ(200, entries);
}

// ---- markers ----------------------------------------------------------------------------------

TEST_F(KaTraceFileTest, EachChangedSettingWritesItsMarkerOnce)
{
    Configure(1);
    Start();
    Trace(1, L"reads the clock");
    const std::size_t before = Lines().size();
    for (int twice = 0; twice < 2; ++twice) {
        m_trace.setTracking(false);
        m_trace.setCategoryEnabled(2, false);
        m_trace.setCategoryEnabled(4, false);
        m_trace.setMaxFileSizeKB(5);
        m_trace.setKeepFileOpen(twice != 0);
    }
    // The flag words reach the wide formatter as 8-bit text, so their bytes show as UTF-16.
    const std::string falseWord = Narrow(L"\x6166\x736c\x0065");
    const std::string trueWord = Narrow(L"\x7274\x6575");
    const TLines expected = Marker("***** Tracking disabled" + g_at) +
                            Marker("***** Category disabled" + g_at) +
                            Marker("***** Maximum file size changed to 5" + g_at) +
                            Marker("***** Keep file open flag changed to " + falseWord + g_at) +
                            Marker("***** Keep file open flag changed to " + trueWord + g_at);
    EXPECT_EQ(expected, Tail(Lines(), Lines().size() - before));
    EXPECT_FALSE(m_trace.getIsCategoryEnabled(2));
    EXPECT_TRUE(m_trace.getIsCategoryEnabled(3));
    // Kept open, the file cannot be deleted; closed after every write, it can.
    EXPECT_FALSE(DeleteFileW(m_folder.File(L"test.trc")));
    m_trace.setKeepFileOpen(false);
    EXPECT_TRUE(DeleteFileW(m_folder.File(L"test.trc")));
}

TEST_F(KaTraceFileTest, PathChangeIsNotedInTheOldFileAndContinuedInTheNew)
{
    Configure(1, 1, 0x7);
    Start();
    Trace(1, L"old");
    const CKaString newPath = m_folder.File(L"moved.log");
    m_trace.setPath(newPath);
    m_trace.setPath(newPath);
    m_trace.setPath(L"");
    m_trace.setPath(nullptr);
    Trace(1, L"new");
    EXPECT_EQ(TLines{Entry("INFO ", "old")} +
                  Marker("***** File path changed to " + Narrow(newPath) + g_at),
              Tail(Lines(), 4));
    EXPECT_EQ(TLines{""} + StartBlock("Continuing trace here" + g_at, true, 0x7) +
                  TLines{Entry("INFO ", "new")},
              Lines(L"moved.log"));
}

TEST_F(KaTraceFileTest, DateChangeIsMarkedBetweenEntries)
{
    Configure(1);
    g_testNow = SYSTEMTIME{2024, 2, 4, 29, 23, 59, 59, 999};
    Start();
    Trace(1, L"leap day");
    Trace(1, L"same day");
    g_testNow = SYSTEMTIME{2024, 3, 5, 1, 0, 0, 0, 1};
    Trace(1, L"next day");
    m_trace.setTracking(false);
    const TLines expected = TLines{Entry("INFO ", "leap day", g_columns, "23:59:59.999"),
                                   Entry("INFO ", "same day", g_columns, "23:59:59.999")} +
                            Marker("***** Current date: 2024-03-01") +
                            TLines{Entry("INFO ", "next day", g_columns, "00:00:00.001")} +
                            Marker("***** Tracking disabled at 2024-03-01 00:00:00.001");
    EXPECT_EQ(TLines{""} + StartBlock("Starting trace at 0000-00-00 00:00:00.000") + expected,
              Lines());
}

// ---- starting again ---------------------------------------------------------------------------

TEST_F(KaTraceFileTest, MoreThanThirtyTwoCategoriesNeverStart)
{
    Configure(1, 1, 0x80000003);
    std::vector<const wchar_t*> names(33, L"C");
    Start(33, names.data());
    EXPECT_FALSE(m_trace.getIsStarted());
    Trace(0, L"nothing");
    EXPECT_FALSE(Exists(m_folder.File(L"test.trc")));

    // Thirty-two fit, bit 31 included; a missing name shows as the index.
    names[1] = nullptr;
    Start(32, names.data());
    Trace(31, L"last");
    Trace(30, L"masked");
    Trace(1, L"unnamed");
    EXPECT_EQ((TLines{Entry("C    ", "last"), Entry("1    ", "unnamed")}), Tail(Lines(), 2));
    // A running trace is left as it is; a valid start begins a fresh session, stamped anew.
    Start(33, names.data());
    EXPECT_EQ(32u, m_trace.getCategoryCount());
    Configure(1, 0);
    Start();
    Trace(31, L"beyond the table now");
    EXPECT_EQ(StartBlock("Starting trace at 0000-00-00 00:00:00.000", false), Tail(Lines(), 8));
}

// ---- file handling ----------------------------------------------------------------------------

TEST_F(KaTraceFileTest, RotationKeepsOneGenerationBesideANewFile)
{
    Configure(1, 1, 0xF, 1);
    Start();
    const CKaString current = m_folder.File(L"test.trc");
    const CKaString old = m_folder.File(L"test.otc");
    std::string beforeLast;
    int i = 0;
    for (; i < 100 && !Exists(old); ++i) {
        beforeLast = FileText(current);
        Trace(1, L"entry %03d", i);
    }
    ASSERT_TRUE(Exists(old));
    // Rotated by the first entry after which the file held 1024 bytes or more.
    const std::string rotated = FileText(old);
    EXPECT_LT(beforeLast.size(), 1024u);
    EXPECT_GE(rotated.size(), 1024u);
    char last[16];
    std::snprintf(last, sizeof(last), "entry %03d", i - 1);
    EXPECT_EQ(beforeLast + "\r\n" + Entry("INFO ", last), rotated);
    EXPECT_EQ(TLines{""} + StartBlock("Continuing trace here" + g_at), Lines());
    // The next rotation replaces the old generation.
    for (int j = 0; j < 100 && FileText(old) == rotated; ++j) Trace(1, L"more");
    EXPECT_EQ(0u, FileText(old).find("\r\n" + g_separator + "\r\n***** Continuing"));
}

// ---- the library's own trace ------------------------------------------------------------------

TEST(KaDllMain, AHostProcessLeavesAttachAndDetachEntries)
{
    CKaTempFolder folder;
    CKaTraceKey registry(L"Software\\Norvane\\Quillmarsh\\ZELCORE\\MAIN");
    registry.SetDword(L"Enabled", 1);
    registry.SetString(L"TargetPath", folder.getPath());
    wchar_t host[MAX_PATH];
    GetModuleFileNameW(nullptr, host, MAX_PATH);
    lstrcpyW(std::wcsrchr(host, L'\\') + 1, L"trace_host.exe");
    ASSERT_EQ(0, _wspawnl(_P_WAIT, host, host, nullptr));

    const TLines lines = ReadLines(folder.File(L"zelka130.trc"));
    ASSERT_EQ(13u, lines.size());
    EXPECT_EQ(TLines{""} + StartBlock("Starting trace at 0000-00-00 00:00:00.000"),
              TLines(lines.begin(), lines.begin() + 9));
    // Time and thread are the host's own. The proxy factory comes after the other start-up
    // steps and goes before the other shut-down steps.
    const std::string entry = "|INFO |DLL|     |DllMain" + std::string(23, ' ') + "|";
    const std::string version = entry + "ZELKA DLL version 1.30.2.23 ";
    TLines entries;
    for (size_t i = 9; i < lines.size(); ++i) {
        entries.push_back(lines[i].substr(lines[i].find('|', 13)));
    }
    EXPECT_EQ((TLines{version + "attached to process",
                      entry + "COM proxy factory installed with 4 proxy creators",
                      entry + "COM proxy factory uninstalled with 0 live proxies",
                      version + "detached from process"}),
              entries);
}
