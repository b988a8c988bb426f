#include <windows.h>

// Process start-up and shut-down of the library. Each subsystem that keeps process-wide state
// adds its step here: in start-up order on DLL_PROCESS_ATTACH, in reverse on DLL_PROCESS_DETACH.
BOOL WINAPI DllMain(HINSTANCE, DWORD, LPVOID)
{
    return TRUE;
}
