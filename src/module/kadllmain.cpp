#include <windows.h>
#include <shlobj.h>
#include "zelka/kaencoding.h"
#include "zelka/kaexception.h"
#include "zelka/katrace.h"
#include "zelka/kaversion.h"
#include "system/karegkeymap.h"
#include "trace/katracecategories.h"

// Process start-up and shut-down of the library. The trace comes up first and goes down last,
// so that every other step can report into it; the process-wide registries follow in a fixed
// order and are torn down in reverse.

namespace {

const wchar_t* const g_categoryNames[] = {L"ERROR", L"INFO", L"UNEX", L"WARN"};

template <class T>
void TraceFromDllMain(TKaLibraryTraceCategory category, const wchar_t* format, T value)
{
    const TKaTraceSite site = {static_cast<unsigned long>(category), L"DLL", L"", L"DllMain"};
    KaTrace(site, format, value);
}

// The code an exception escaping a start-up or shut-down step is reported with.
long CurrentExceptionCode()
{
    try {
        throw;
    } catch (const CKaException& e) {
        return e.getCode();
    } catch (...) {
        return E_UNEXPECTED;
    }
}

// Once per process: the standard encodings. The registries that later subsystems bring come
// before them.
void AttachProcessRegistries()
{
    KaCreateRegKeyMap();
    KaInitializeStandardEncodings();
    KaRegisterStandardEncodings();
}

// The same registries in reverse order.
void DetachProcessRegistries()
{
    KaCleanupStandardEncodings();
    KaDestroyRegKeyMap();
}

// The process-wide COM proxy factory with its proxy creators; at detach the factory is
// uninstalled by installing null.
void InstallComProxyFactory()
{
}

void UninstallComProxyFactory()
{
}

// Where the thread-local-storage manager drops the named objects of a thread that ends.
void DetachThread()
{
}

// A failing step stops the steps after it; the failure is traced with its code and the library
// stays loaded.
void RunSteps(void (*steps)(), const wchar_t* failure)
{
    try {
        steps();
    } catch (...) {
        TraceFromDllMain(KaTraceError, failure, CurrentExceptionCode());
    }
}

void AttachSteps()
{
    AttachProcessRegistries();
    InstallComProxyFactory();
}

void DetachSteps()
{
    UninstallComProxyFactory();
    DetachProcessRegistries();
}

void AttachProcess()
{
    KaTraceStart(CSIDL_LOCAL_APPDATA, L"Norvane\\Quillmarsh\\Trace", L"zelka130.trc",
                 L"Software\\Norvane\\Quillmarsh\\ZELCORE\\MAIN", 4, g_categoryNames, 3, 5, 30);
    TraceFromDllMain(KaTraceInfo, L"ZELKA DLL version %s attached to process",
                     ZELKA_VERSION_TEXT);
    RunSteps(AttachSteps, L"Process attach handling failed (code=0x%08x).");
}

void DetachProcess()
{
    RunSteps(DetachSteps, L"Process detach handling failed (code=0x%08x).");
    TraceFromDllMain(KaTraceInfo, L"ZELKA DLL version %s detached from process",
                     ZELKA_VERSION_TEXT);
    KaTraceStop();
}

} // namespace

BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID)
{
    switch (reason) {
    case DLL_PROCESS_ATTACH:
        AttachProcess();
        break;
    case DLL_PROCESS_DETACH:
        DetachProcess();
        break;
    case DLL_THREAD_DETACH:
        DetachThread();
        break;
    default:
        break;
    }
    return TRUE;
}
