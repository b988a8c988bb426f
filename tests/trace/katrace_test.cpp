#include <gtest/gtest.h>
#include <shlobj.h>
#include <cstdio>
#include <cstring>
#include <thread>
#include "katracetest.h"

namespace {

// What the traces of these tests read as the local time ({year, month, weekday, day, ...}).
SYSTEMTIME g_testNow;

void WINAPI KaTestClock(LPSYSTEMTIME time)
{
    *time = g_testNow;
}

// The tests' own configuration key; its "Trace" subkey holds the settings.
const wchar_t g_key[] = L"Software\\ZelkaTests";
const wchar_t g_defaultSubFolder[] = L"ZelkaTests\\TraceDefault";
const wchar_t* const g_names[] = {L"ERROR", L"INFO", L"UNEX", L"WARN"};
const std::string g_separator = "***** " + std::string(80, '-');
const std::string g_columns = "|EN |Cls  |Fn" + std::string(28, ' ') + "|";

typedef std::vector<std::string> TLines;

TLines Marker(const std::string& line)
{
    return {g_separator, line, g_separator};
}

TLines operator+(TLines a, const TLines& b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

TLines Tail(const TLines& lines, std::size_t count)
{
    return count > lines.size() ? lines : TLines(lines.end() - count, lines.end());
}

// Status lines of a start or continuation block, all four categories named.
TLines Settings(bool tracking, unsigned mask)
{
    TLines lines = {std::string("***** Tracking: ") + (tracking ? "enabled" : "disabled")};
    for (unsigned i = 0; i < 4; ++i) {
        lines.push_back("***** Category " + KaNarrow(g_names[i]) + ": " +
                        ((mask >> i) & 1 ? "enabled" : "disabled"));
    }
    return lines;
}

TLines StartBlock(const std::string& what, bool tracking = true, unsigned mask = 15)
{
    return TLines{g_separator, "***** " + what} + Settings(tracking, mask) + TLines{g_separator};
}

std::string ThreadColumn(DWORD id = GetCurrentThreadId())
{
    char text[16];
    std::snprintf(text, sizeof(text), "%4lu", static_cast<unsigned long>(id));
    return text;
}

// An entry line of the test site at the test clock's usual time.
std::string Entry(const std::string& label, const std::string& message,
                  const std::string& time = "12:34:56.789")
{
    return time + "|" + ThreadColumn() + "|" + label + g_columns + message;
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
    KaTraceFileTest() : m_registry(g_key)
    {
        g_testNow = SYSTEMTIME{2024, 3, 5, 1, 12, 34, 56, 789};
    }

    ~KaTraceFileTest() override
    {
        m_trace.Stop();
        const CKaString folder = DefaultFolder();
        DeleteFileW(CKaString::Build(L"%s\\test.trc", folder.getSz()));
        RemoveDirectoryW(folder);
        RemoveDirectoryW(folder.Left(folder.getLength() - lstrlenW(L"\\TraceDefault")));
    }

    // Every setting written, the folder being the test's own temp folder.
    void Configure(DWORD enabled, DWORD tracking = 1, DWORD mask = 0xFFFFFFFF,
                   DWORD maxFileSizeKB = 10000, DWORD keepFileOpen = 1)
    {
        m_registry.SetDword(L"Trace", L"Enabled", enabled);
        m_registry.SetDword(L"Trace", L"Tracking", tracking);
        m_registry.SetDword(L"Trace", L"CategoryMask", mask);
        m_registry.SetDword(L"Trace", L"MaxFileSize", maxFileSizeKB);
        m_registry.SetDword(L"Trace", L"KeepFileOpen", keepFileOpen);
        m_registry.SetString(L"Trace", L"TargetPath", m_folder.getPath());
    }

    void Start(unsigned long count = 4, const wchar_t* const* names = g_names)
    {
        m_trace.Start(CSIDL_LOCAL_APPDATA, g_defaultSubFolder, L"test.trc", g_key, count, names,
                      3, 5, 30);
    }

    template <class... Args>
    void Trace(unsigned long category, const wchar_t* format, Args... args)
    {
        TraceAt({category, L"EN", L"Cls", L"Fn"}, format, args...);
    }

    void TraceAt(const TKaTraceSite& site, const wchar_t* format, ...)
    {
        va_list args;
        va_start(args, format);
        m_trace.Trace(site, format, args);
        va_end(args);
    }

    TLines Lines(const wchar_t* name = L"test.trc") const
    {
        return KaReadLines(m_folder.File(name));
    }

    TLines LinesFrom(std::size_t first) const
    {
        const TLines lines = Lines();
        return first < lines.size() ? TLines(lines.begin() + first, lines.end()) : TLines();
    }

    DWORD Dword(const wchar_t* name) const
    {
        DWORD type = 0;
        std::vector<BYTE> data;
        EXPECT_TRUE(m_registry.Query(L"Trace", name, type, data)) << KaNarrow(name);
        EXPECT_EQ(static_cast<DWORD>(REG_DWORD), type) << KaNarrow(name);
        DWORD value = 0;
        if (data.size() == sizeof(value)) std::memcpy(&value, data.data(), sizeof(value));
        return value;
    }

    CKaString Text(const wchar_t* name, DWORD expectedType = REG_SZ) const
    {
        DWORD type = 0;
        std::vector<BYTE> data;
        EXPECT_TRUE(m_registry.Query(L"Trace", name, type, data)) << KaNarrow(name);
        EXPECT_EQ(expectedType, type) << KaNarrow(name);
        data.resize(data.size() + 2);
        return reinterpret_cast<const wchar_t*>(data.data());
    }

    CKaTempFolder m_folder;
    CKaRegistryGuard m_registry;
    CKaTraceFile m_trace{KaTestClock};
};

} // namespace

// ---- configuration ----------------------------------------------------------------------------

TEST_F(KaTraceFileTest, MissingKeyIsCreatedWithTheDefaultsAndNothingIsWritten)
{
    ASSERT_FALSE(m_registry.KeyExists(L""));
    Start();
    EXPECT_EQ(0u, Dword(L"Enabled"));
    EXPECT_EQ(1u, Dword(L"Tracking"));
    EXPECT_EQ(0xFFFFFFFFu, Dword(L"CategoryMask"));
    EXPECT_EQ(10000u, Dword(L"MaxFileSize"));
    EXPECT_EQ(1u, Dword(L"KeepFileOpen"));
    EXPECT_EQ(CKaString(L""), Text(L"TargetPath"));
    EXPECT_EQ(CKaString(L"0: tracing disabled\r\n1: tracing enabled"), Text(L"EnabledComment"));
    EXPECT_EQ(CKaString(L"0: tracking disabled\r\n1: tracking enabled"),
              Text(L"TrackingComment"));
    EXPECT_EQ(CKaString(L"Module specific category bitmask."), Text(L"CategoryMaskComment"));
    EXPECT_EQ(CKaString(L"Maximum trace file size in KB."), Text(L"MaxFileSizeComment"));
    EXPECT_EQ(CKaString(L"0: close file after write\r\n1: keep file open after write"),
              Text(L"KeepFileOpenComment"));
    EXPECT_EQ(CKaString(L"The path to the folder where the trace files are located"),
              Text(L"TargetPathComment"));

    // Started, but off: the default folder is made and stays empty.
    EXPECT_TRUE(m_trace.getIsStarted());
    EXPECT_FALSE(m_trace.getIsEnabled());
    Trace(1, L"dropped");
    const CKaString folder = DefaultFolder();
    EXPECT_NE(INVALID_FILE_ATTRIBUTES, GetFileAttributesW(folder));
    EXPECT_FALSE(KaFileExists(CKaString::Build(L"%s\\test.trc", folder.getSz())));
}

TEST_F(KaTraceFileTest, ConfiguredValuesAreAppliedAndWrittenBackUnchanged)
{
    Configure(1, 0, 0x5, 7, 0);
    m_registry.SetString(L"Trace", L"TargetPath", m_folder.getPath(), REG_EXPAND_SZ);
    Start();

    EXPECT_TRUE(m_trace.getIsEnabled());
    EXPECT_FALSE(m_trace.getIsTracking());
    EXPECT_EQ(7u, m_trace.getMaxFileSizeKB());
    EXPECT_FALSE(m_trace.getKeepFileOpen());
    // The start block is stamped before any entry has read the clock.
    EXPECT_EQ(TLines{""} + StartBlock("Starting trace at 0000-00-00 00:00:00.000", false, 5),
              Lines());

    EXPECT_EQ(1u, Dword(L"Enabled"));
    EXPECT_EQ(0u, Dword(L"Tracking"));
    EXPECT_EQ(5u, Dword(L"CategoryMask"));
    EXPECT_EQ(7u, Dword(L"MaxFileSize"));
    EXPECT_EQ(0u, Dword(L"KeepFileOpen"));
    EXPECT_EQ(m_folder.getPath(), Text(L"TargetPath", REG_EXPAND_SZ));
}

TEST_F(KaTraceFileTest, ImproperValuesKeepTheirDefaults)
{
    struct TCase
    {
        DWORD type;
        std::vector<BYTE> data;
    };
    const std::wstring folder = m_folder.getPath().getSz();
    const std::wstring tooLong = folder + L"\\" + std::wstring(300 - folder.size(), L'a');
    const BYTE* text = reinterpret_cast<const BYTE*>(folder.c_str());
    const BYTE* longText = reinterpret_cast<const BYTE*>(tooLong.c_str());
    const std::size_t bytes = folder.size() * 2;
    std::vector<BYTE> oddLength(text, text + bytes + 2);
    oddLength.push_back(0);
    // Each would name the temp folder (or a folder below it) if it were taken.
    const TCase targetPaths[] = {
        {REG_SZ, std::vector<BYTE>(text, text + bytes)},                        // no terminator
        {REG_SZ, oddLength},
        {REG_BINARY, std::vector<BYTE>(text, text + bytes + 2)},                // not a string
        {REG_SZ, std::vector<BYTE>(longText, longText + tooLong.size() * 2 + 2)}, // too long
    };
    const CKaString defaultFile = CKaString::Build(L"%s\\test.trc", DefaultFolder().getSz());
    for (const TCase& targetPath : targetPaths) {
        Configure(1);
        // A character after the data, so that the registry does not make up a terminator.
        std::vector<BYTE> stored = targetPath.data;
        stored.insert(stored.end(), {'X', 0});
        m_registry.SetValue(L"Trace", L"TargetPath", targetPath.type, stored.data(),
                            static_cast<DWORD>(targetPath.data.size()));
        const BYTE shortTracking[2] = {0, 0};
        m_registry.SetValue(L"Trace", L"Tracking", REG_BINARY, shortTracking, 2);
        Start();
        m_trace.Stop();

        EXPECT_TRUE(KaFileExists(defaultFile)) << "type " << targetPath.type;
        EXPECT_FALSE(KaFileExists(m_folder.File(L"test.trc")));
        EXPECT_EQ(CKaString(L""), Text(L"TargetPath"));
        EXPECT_EQ(1u, Dword(L"Tracking"));
        DeleteFileW(defaultFile);
    }
}

// ---- entries ----------------------------------------------------------------------------------

TEST_F(KaTraceFileTest, EntriesHavePaddedColumnsAndCrLfLines)
{
    Configure(1);
    Start();
    Trace(1, L"%d items of %s", 7, L"x");
    Trace(3, L"two\nlines");
    m_trace.Enter(L"EN", L"Cls", L"Fn");
    m_trace.Leave(L"EN", L"Cls", L"Fn", 42);
    m_trace.Leave(L"EN", L"Cls", L"Fn", static_cast<long>(0x80004005));
    // Columns are padded, never cut to their width.
    m_trace.Enter(L"ENCODER", nullptr, nullptr);

    const TLines expected = {
        Entry("INFO ", "7 items of x"),
        Entry("WARN ", "two"),
        "lines",
        Entry("-->> ", ""),
        Entry("<<-- ", "0000002a"),
        Entry("<<-- ", "80004005"),
        "12:34:56.789|" + ThreadColumn() + "|-->> |ENCODER|     |" + std::string(30, ' ') + "|",
    };
    EXPECT_EQ(expected, Tail(Lines(), expected.size()));
}

TEST_F(KaTraceFileTest, OverlongTextIsCutAndBadFormatsLeaveAnEmptyMessage)
{
    Configure(1);
    Start();
    const std::wstring longName(2000, L'f');
    const TKaTraceSite site = {1, L"EN", L"Cls", longName.c_str()};
    const std::wstring longMessage(20000, L'm');
    EXPECT_NO_THROW(KaTraceStart(0, nullptr, nullptr, nullptr, 0, nullptr, 0, 0, 0));
    EXPECT_NO_THROW(Trace(1, L"%s", longMessage.c_str()));
    EXPECT_NO_THROW(Trace(1, L"%F", 1.5));
    EXPECT_NO_THROW(Trace(1, nullptr));
    EXPECT_NO_THROW(TraceAt(site, L"plain"));

    const TLines lines = Lines();
    ASSERT_GE(lines.size(), 4u);
    const std::string head = "12:34:56.789|" + ThreadColumn() + "|INFO ";
    EXPECT_EQ(Entry("INFO ", std::string(10240, 'm')), lines[lines.size() - 4]);
    EXPECT_EQ(Entry("INFO ", ""), lines[lines.size() - 3]);
    EXPECT_EQ(Entry("INFO ", ""), lines[lines.size() - 2]);
    // The name columns stop at 1001 characters; their closing bar still follows.
    EXPECT_EQ(head + "|EN |Cls  |" + std::string(1001 - 10, 'f') + "|plain", lines.back());
}

TEST_F(KaTraceFileTest, FilterHonoursCategoriesTrackingAndTheSwitch)
{
    Configure(1, 0, 0xA);
    Start();
    const std::size_t startLines = Lines().size();
    Trace(0, L"error");
    Trace(1, L"info");
    Trace(2, L"unexpected");
    Trace(3, L"warning");
    Trace(4, L"beyond the table");
    Trace(0xFFFFFFFF, L"far beyond");
    m_trace.Enter(L"EN", L"Cls", L"Fn");
    m_trace.Leave(L"EN", L"Cls", L"Fn", 0);
    EXPECT_EQ((TLines{Entry("INFO ", "info"), Entry("WARN ", "warning")}),
              LinesFrom(startLines));

    m_trace.setEnabled(false);
    const TLines stopped = Lines();
    EXPECT_EQ(Marker("***** Stopping trace at 2024-03-01 12:34:56.789"), Tail(stopped, 3));
    Trace(1, L"info while off");
    m_trace.Enter(L"EN", L"Cls", L"Fn");
    m_trace.setTracking(true);
    m_trace.setCategoryEnabled(0, true);
    EXPECT_EQ(stopped, Lines());

    // Stopping writes nothing more and makes every later call a no-op.
    m_trace.setEnabled(true);
    m_trace.Stop();
    const TLines final = Lines();
    EXPECT_EQ(StartBlock("Starting trace at 2024-03-01 12:34:56.789", true, 0xB), Tail(final, 8));
    Trace(1, L"after stop");
    m_trace.setEnabled(false);
    EXPECT_FALSE(m_trace.getIsStarted());
    EXPECT_EQ(final, Lines());
}

TEST_F(KaTraceFileTest, MissingCategoryNamesAreShownAsTheirIndex)
{
    Configure(1, 1, 0x3);
    const wchar_t* const names[] = {L"FIRST", nullptr};
    Start(2, names);
    Trace(1, L"second");
    m_trace.Stop();
    Start(2, nullptr);
    Trace(0, L"first");

    const TLines expected = {g_separator,
                             "***** Starting trace at 0000-00-00 00:00:00.000",
                             "***** Tracking: enabled",
                             "***** Category FIRST: enabled",
                             "***** Category 1: enabled",
                             g_separator,
                             Entry("1    ", "second"),
                             g_separator,
                             "***** Starting trace at 0000-00-00 00:00:00.000",
                             "***** Tracking: enabled",
                             "***** Category 0: enabled",
                             "***** Category 1: enabled",
                             g_separator,
                             Entry("0    ", "first")};
    EXPECT_EQ(TLines{""} + expected, Lines());
}

TEST_F(KaTraceFileTest, EntriesFromManyThreadsNeverInterleave)
{
    Configure(1);
    Start();
    const int threads = 4;
    const int entries = 50;
    std::vector<std::thread> workers;
    std::vector<DWORD> ids(threads);
    for (int t = 0; t < threads; ++t) {
        workers.emplace_back([this, t, &ids] {
            ids[t] = GetCurrentThreadId();
            for (int i = 0; i < entries; ++i) Trace(1, L"thread %d entry %d", t, i);
        });
    }
    for (std::thread& worker : workers) worker.join();

    int count[threads] = {};
    for (const std::string& line : Lines()) {
        if (line.empty() || line[0] == '*') continue;
        int t = -1;
        int i = -1;
        ASSERT_EQ(2, std::sscanf(line.c_str() + line.rfind('|') + 1, "thread %d entry %d", &t, &i))
            << line;
        ASSERT_TRUE(t >= 0 && t < threads) << line;
        EXPECT_EQ(count[t]++, i) << line;
        EXPECT_EQ("12:34:56.789|" + ThreadColumn(ids[t]) + "|INFO " + g_columns +
                      "thread " + std::to_string(t) + " entry " + std::to_string(i),
                  line);
    }
    for (int t = 0; t < threads; ++t) EXPECT_EQ(entries, count[t]);
}

// ---- markers ----------------------------------------------------------------------------------

TEST_F(KaTraceFileTest, EachChangedSettingWritesItsMarkerOnce)
{
    Configure(1);
    Start();
    Trace(1, L"reads the clock");
    const std::size_t before = Lines().size();
    const std::string at = " at 2024-03-01 12:34:56.789";

    m_trace.setTracking(false);
    m_trace.setTracking(false);
    m_trace.setCategoryEnabled(2, false);
    m_trace.setCategoryEnabled(2, false);
    m_trace.setCategoryEnabled(4, false);
    m_trace.setMaxFileSizeKB(5);
    m_trace.setMaxFileSizeKB(5);
    m_trace.setKeepFileOpen(false);
    m_trace.setKeepFileOpen(true);
    m_trace.setKeepFileOpen(true);

    // The flag words reach the wide formatter as 8-bit text, so their bytes show as UTF-16.
    const std::string falseWord = KaNarrow(L"\x6166\x736c\x0065");
    const std::string trueWord = KaNarrow(L"\x7274\x6575");
    const TLines expected = Marker("***** Tracking disabled" + at) +
                            Marker("***** Category disabled" + at) +
                            Marker("***** Maximum file size changed to 5" + at) +
                            Marker("***** Keep file open flag changed to " + falseWord + at) +
                            Marker("***** Keep file open flag changed to " + trueWord + at);
    EXPECT_EQ(expected, LinesFrom(before));
    EXPECT_FALSE(m_trace.getIsCategoryEnabled(2));
    EXPECT_TRUE(m_trace.getIsCategoryEnabled(3));
    EXPECT_EQ(5u, m_trace.getMaxFileSizeKB());
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

    const std::string at = " at 2024-03-01 12:34:56.789";
    EXPECT_EQ(TLines{Entry("INFO ", "old")} +
                  Marker("***** File path changed to " + KaNarrow(newPath) + at),
              Tail(Lines(), 4));
    EXPECT_EQ(TLines{""} + StartBlock("Continuing trace here" + at, true, 0x7) +
                  TLines{Entry("INFO ", "new")},
              Lines(L"moved.log"));
}

TEST_F(KaTraceFileTest, RestartBeginsAFreshSession)
{
    Configure(1);
    Start();
    Trace(1, L"first session");
    Configure(1, 0);
    Start();
    EXPECT_FALSE(m_trace.getIsTracking());
    // No stop marker for the first session; the new one again has a zero time.
    EXPECT_EQ(TLines{Entry("INFO ", "first session")} +
                  StartBlock("Starting trace at 0000-00-00 00:00:00.000", false),
              Tail(Lines(), 9));
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

    const TLines expected = TLines{Entry("INFO ", "leap day", "23:59:59.999"),
                                   Entry("INFO ", "same day", "23:59:59.999")} +
                            Marker("***** Current date: 2024-03-01") +
                            TLines{Entry("INFO ", "next day", "00:00:00.001")} +
                            Marker("***** Tracking disabled at 2024-03-01 00:00:00.001");
    EXPECT_EQ(TLines{""} + StartBlock("Starting trace at 0000-00-00 00:00:00.000") + expected,
              Lines());
}

// ---- categories -------------------------------------------------------------------------------

TEST_F(KaTraceFileTest, MoreThanThirtyTwoCategoriesNeverStart)
{
    Configure(1, 1, 0x80000001);
    std::vector<const wchar_t*> names(33, L"C");
    Start(33, names.data());
    EXPECT_FALSE(m_trace.getIsStarted());
    Trace(0, L"nothing");
    EXPECT_FALSE(KaFileExists(m_folder.File(L"test.trc")));

    // Thirty-two fit, bit 31 included.
    Start(32, names.data());
    EXPECT_EQ(32u, m_trace.getCategoryCount());
    Trace(31, L"last");
    Trace(30, L"masked");
    EXPECT_EQ("12:34:56.789|" + ThreadColumn() + "|C    " + g_columns + "last", Lines().back());

    // A running trace is left exactly as it is.
    Start(33, names.data());
    EXPECT_EQ(32u, m_trace.getCategoryCount());
    Trace(0, L"still running");
    EXPECT_EQ("12:34:56.789|" + ThreadColumn() + "|C    " + g_columns + "still running",
              Lines().back());
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
    for (; i < 100 && !KaFileExists(old); ++i) {
        beforeLast = KaReadFile(current);
        Trace(1, L"entry %03d", i);
    }
    ASSERT_TRUE(KaFileExists(old));
    // Rotated by the first entry after which the file held 1024 bytes or more.
    const std::string rotated = KaReadFile(old);
    EXPECT_LT(beforeLast.size(), 1024u);
    EXPECT_GE(rotated.size(), 1024u);
    char last[16];
    std::snprintf(last, sizeof(last), "entry %03d", i - 1);
    EXPECT_EQ(beforeLast + "\r\n" + Entry("INFO ", last), rotated);
    EXPECT_EQ(TLines{""} + StartBlock("Continuing trace here at 2024-03-01 12:34:56.789"),
              Lines());

    // The next rotation replaces the old generation.
    const std::string firstGeneration = rotated;
    for (int j = 0; j < 100 && KaReadFile(old) == firstGeneration; ++j) Trace(1, L"more");
    EXPECT_EQ(0u, KaReadFile(old).find("\r\n" + g_separator + "\r\n***** Continuing"));
}

TEST_F(KaTraceFileTest, RotationTargetReplacesOnlyTheFileNameExtension)
{
    Configure(1, 1, 0xF, 0);
    Start();
    ASSERT_TRUE(CreateDirectoryW(m_folder.File(L"dotted.d"), nullptr));
    const CKaString path = m_folder.File(L"dotted.d\\noext");
    m_trace.setPath(path);
    // No limit: nothing rotates however large the file grows.
    for (int i = 0; i < 40; ++i) Trace(1, L"%s", std::wstring(100, L'x').c_str());
    EXPECT_FALSE(KaFileExists(m_folder.File(L"dotted.d\\noext.otc")));

    m_trace.setMaxFileSizeKB(1);
    Trace(1, L"over the limit");
    EXPECT_TRUE(KaFileExists(m_folder.File(L"dotted.d\\noext.otc")));
    EXPECT_FALSE(KaFileExists(m_folder.File(L"dotted.otc")));
}

TEST_F(KaTraceFileTest, KeepFileOpenDecidesWhetherTheFileStaysOpen)
{
    Configure(1);
    Start();
    Trace(1, L"kept open");
    EXPECT_FALSE(DeleteFileW(m_folder.File(L"test.trc")));
    EXPECT_EQ(static_cast<DWORD>(ERROR_SHARING_VIOLATION), GetLastError());

    m_trace.setKeepFileOpen(false);
    EXPECT_TRUE(DeleteFileW(m_folder.File(L"test.trc")));
    Trace(1, L"reopened");
    EXPECT_EQ((TLines{"", Entry("INFO ", "reopened")}), Lines());
    EXPECT_TRUE(DeleteFileW(m_folder.File(L"test.trc")));
}

TEST_F(KaTraceFileTest, UnwritableFolderDropsTheTextQuietly)
{
    Configure(1);
    m_registry.SetString(L"Trace", L"TargetPath", m_folder.File(L"missing\\deeper"));
    EXPECT_NO_THROW(Start());
    EXPECT_TRUE(m_trace.getIsEnabled());
    EXPECT_NO_THROW(Trace(1, L"lost"));
    EXPECT_NO_THROW(m_trace.setTracking(false));
    EXPECT_FALSE(KaFileExists(m_folder.File(L"missing")));
}
