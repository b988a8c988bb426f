#ifndef ZELKA_TESTS_KATESTRES_H
#define ZELKA_TESTS_KATESTRES_H

// String ids of zelka_test_res.dll, shared by its resource script and the tests.
#define KATESTRES_TEXT_499   2
#define KATESTRES_TEXT_501   3
#define KATESTRES_TEXT_700   4
#define KATESTRES_TEXT_2500  5
#define KATESTRES_POSITIONAL 10
#define KATESTRES_INSERTS    11
#define KATESTRES_MISSING    99

#ifndef RC_INVOKED
#include <cwchar>
#include <zelka/zelka.h>

// The test library's file name; it is built into the folder of the test programs.
const wchar_t* const kTestResName = L"zelka_test_res.dll";

// The folder of the running test program, without a trailing backslash.
inline CKaString TestProgramFolder()
{
    wchar_t path[MAX_PATH];
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    if (wchar_t* slash = std::wcsrchr(path, L'\\')) *slash = 0;
    return path;
}

inline CKaString TestResPath()
{
    return TestProgramFolder() + L"\\" + kTestResName;
}

inline bool IsTestResLoaded()
{
    return GetModuleHandleW(kTestResName) != nullptr;
}
#endif

#endif
