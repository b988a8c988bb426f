#include <windows.h>
#include <shlobj.h>
#include "zelka/kacomproxyfactory.h"
#include "zelka/kaencoding.h"
#include "zelka/kaexception.h"
#include "zelka/kasync.h"
#include "zelka/katrace.h"
#include "zelka/kaversion.h"
#include "system/karegkeymap.h"
#include "system/katlsprocess.h"
#include "trace/katracecategories.h"

// Process start-up and shut-down of the library. The trace comes up first and goes down last,
// so that every other step can report into it; the process-wide registries follow in a fixed
// order and are torn down in reverse.

namespace {

const wchar_t* const g_categoryNames[] = {L"ERROR", L"INFO", L"UNEX", L"WARN"};

// Set at detach: true when the whole process ends rather than the library being unloaded.
bool g_processEnding = false;

template <class T>
void TraceFromDllMain(TKaLibraryTraceCategory category, const wchar_t* format, T value)
{
    const TKaTraceSite site = {static_cast<unsigned long>(category), L"DLL", L"", L"DllMain"};
    KaTrace(site, format, value);
}

// Once per process, in this order: the CKaTsEventMixin critical section, the registry-key map
// and its lock, the thread-local-storage manager, the standard encodings.
void AttachProcessRegistries()
{
    CKaTsEventMixin::Initialize();
    KaCreateRegKeyMap();
    KaCreateProcessTlsManager();
    KaInitializeStandardEncodings();
    KaRegisterStandardEncodings();
}

// The same registries in reverse order.
void DetachProcessRegistries()
{
    KaCleanupStandardEncodings();
    KaReleaseProcessTlsManager(!g_processEnding);
    KaDestroyRegKeyMap();
    CKaTsEventMixin::Cleanup();
}

// The process-wide COM proxy factory with its proxy creators; at detach the factory is
// uninstalled by installing null. Proxies still alive then keep their own factory's cache and
// go when their holders let them go. Both steps leave an INFO entry between the attach and
// detach entries, so a trace shows where they ran and how many proxies outlived the factory.
void InstallComProxyFactory()
{
    CKaRef<CKaComObjectProxyFactory> factory = new CKaComObjectProxyFactory();
    CKaComObjectProxyFactory::Install(factory);
    factory->RegisterLibraryCreators();
    TraceFromDllMain(KaTraceInfo, L"COM proxy factory installed with %lu proxy creators",
                     factory->getCreatorCount());
}

void UninstallComProxyFactory()
{
    CKaRef<CKaComObjectProxyFactory> factory = CKaComObjectProxyFactory::getInstalled();
    CKaComObjectProxyFactory::Install(nullptr);
    TraceFromDllMain(KaTraceInfo, L"COM proxy factory uninstalled with %lu live proxies",
                     factory ? factory->getCache()->getCount() : 0ul);
}

// The thread-local-storage manager drops the named objects of a thread that ends.
void DetachThread()
{
    KaProcessThreadDetached();
}

// A failing step stops the steps after it; the failure is traced with its code and the library
// stays loaded.
void RunSteps(void (*steps)(), const wchar_t* failure)
{
    try {
        steps();
    } catch (...) {
        TraceFromDllMain(KaTraceError, failure, KaCaughtCode());
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

BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID reserved)
{
    switch (reason) {
    case DLL_PROCESS_ATTACH:
        AttachProcess();
        break;
    case DLL_PROCESS_DETACH:
        // The loader passes a non-null `reserved` when the process is ending.
        g_processEnding = reserved != nullptr;
        DetachProcess();
        break;
    case DLL_THREAD_DETACH:
        RunSteps(DetachThread, L"Thread detach handling failed (code=0x%08x).");
        break;
    default:
        break;
    }
    return TRUE;
}
