#include <gtest/gtest.h>
#include "katracetest.h"

namespace {

const wchar_t g_libraryKey[] = L"Software\\Norvane\\Quillmarsh\\ZELCORE\\MAIN\\Trace";

// Runs the host program beside this test program; its exit code, or -1 when it did not run.
long RunHost()
{
    wchar_t path[MAX_PATH];
    const DWORD length = GetModuleFileNameW(nullptr, path, MAX_PATH);
    wchar_t* name = path + length;
    while (name > path && name[-1] != L'\\') --name;
    lstrcpyW(name, L"trace_host.exe");

    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION process = {};
    if (!CreateProcessW(path, nullptr, nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                        &process)) {
        return -1;
    }
    CloseHandle(process.hThread);
    DWORD code = static_cast<DWORD>(-1);
    if (WaitForSingleObject(process.hProcess, 30000) == WAIT_OBJECT_0) {
        GetExitCodeProcess(process.hProcess, &code);
    }
    CloseHandle(process.hProcess);
    return static_cast<long>(code);
}

// "time|thread|category|module|class|function|message" with time and thread left out.
std::string WithoutTimeAndThread(const std::string& line)
{
    const std::string::size_type second = line.find('|', line.find('|') + 1);
    return second == std::string::npos ? line : line.substr(second + 1);
}

} // namespace

TEST(KaDllMain, HostProcessLeavesAttachAndDetachEntries)
{
    CKaTempFolder folder;
    CKaRegistryGuard registry(g_libraryKey);
    registry.SetDword(L"", L"Enabled", 1);
    registry.SetString(L"", L"TargetPath", folder.getPath());
    ASSERT_EQ(0, RunHost());

    const std::vector<std::string> lines = KaReadLines(folder.File(L"zelka130.trc"));
    ASSERT_EQ(11u, lines.size());
    const std::string separator = "***** " + std::string(80, '-');
    const std::vector<std::string> start = {"",
                                            separator,
                                            "***** Starting trace at 0000-00-00 00:00:00.000",
                                            "***** Tracking: enabled",
                                            "***** Category ERROR: enabled",
                                            "***** Category INFO: enabled",
                                            "***** Category UNEX: enabled",
                                            "***** Category WARN: enabled",
                                            separator};
    EXPECT_EQ(start, std::vector<std::string>(lines.begin(), lines.begin() + 9));
    const std::string columns = "INFO |DLL|     |DllMain" + std::string(23, ' ') + "|";
    EXPECT_EQ(columns + "ZELKA DLL version 1.30.2.23 attached to process",
              WithoutTimeAndThread(lines[9]));
    EXPECT_EQ(columns + "ZELKA DLL version 1.30.2.23 detached from process",
              WithoutTimeAndThread(lines[10]));
}
