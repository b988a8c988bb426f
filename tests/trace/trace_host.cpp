// A host process of zelka130.dll that knows nothing of it beyond its name: it loads the library,
// lets a thread of its own end while the library is loaded, and unloads it again.
#include <windows.h>

namespace {

DWORD WINAPI Worker(LPVOID)
{
    return 0;
}

} // namespace

int main()
{
    HMODULE library = LoadLibraryW(L"zelka130.dll");
    if (!library) return 1;
    HANDLE worker = CreateThread(nullptr, 0, Worker, nullptr, 0, nullptr);
    if (!worker) return 2;
    WaitForSingleObject(worker, INFINITE);
    CloseHandle(worker);
    return FreeLibrary(library) ? 0 : 3;
}
