#ifndef ZELKA_KAHANDLE_H
#define ZELKA_KAHANDLE_H

#include <windows.h>
#include <oleauto.h>
#include "kaexport.h"

// How one kind of system resource is recognised as absent and given back. A traits class has
// `Handle`, `Invalid()` and `Close(Handle)`; `IsValid` is there for kinds with two invalid
// values (file handles).
struct TKaKernelHandleTraits
{
    typedef HANDLE Handle;
    static Handle Invalid() { return nullptr; }
    static bool IsValid(Handle h) { return h != nullptr && h != INVALID_HANDLE_VALUE; }
    static void Close(Handle h) { CloseHandle(h); }
};

// The many kinds whose only invalid value is null, each with its own release function.
template <class H, class R, R(WINAPI* CloseFunction)(H)>
struct TKaNullHandleTraits
{
    typedef H Handle;
    static Handle Invalid() { return nullptr; }
    static bool IsValid(Handle h) { return h != nullptr; }
    static void Close(Handle h) { CloseFunction(h); }
};

// Text a COM function allocated for its caller (ProgIDFromCLSID, StringFromCLSID...); the
// allocator's own free function takes any pointer.
inline void WINAPI KaCoTaskMemFreeText(wchar_t* text)
{
    CoTaskMemFree(text);
}

// Sole owner of one system resource: closes it when it goes, unless it was released first.
// Closing keeps the thread's last error, so a failure path can close what it holds and then
// still report the error that made it fail.
template <class Traits>
class CKaOwnedHandle
{
public:
    typedef typename Traits::Handle Handle;

    CKaOwnedHandle() noexcept : m_handle(Traits::Invalid()) {}
    explicit CKaOwnedHandle(Handle handle) noexcept : m_handle(handle) {}
    CKaOwnedHandle(CKaOwnedHandle&& other) noexcept : m_handle(other.Release()) {}
    CKaOwnedHandle& operator=(CKaOwnedHandle&& other) noexcept
    {
        if (this != &other) Reset(other.Release());
        return *this;
    }
    CKaOwnedHandle(const CKaOwnedHandle&) = delete;
    CKaOwnedHandle& operator=(const CKaOwnedHandle&) = delete;
    ~CKaOwnedHandle() { Reset(); }

    Handle Get() const noexcept { return m_handle; }
    bool IsValid() const noexcept { return Traits::IsValid(m_handle); }
    explicit operator bool() const noexcept { return IsValid(); }

    // Hands the resource out; this owner forgets it.
    Handle Release() noexcept
    {
        Handle handle = m_handle;
        m_handle = Traits::Invalid();
        return handle;
    }

    // Closes what is held and takes `handle` instead.
    void Reset(Handle handle = Traits::Invalid()) noexcept
    {
        Handle old = m_handle;
        m_handle = handle;
        if (Traits::IsValid(old) && old != handle) {
            const DWORD error = GetLastError();
            Traits::Close(old);
            SetLastError(error);
        }
    }

    // For system calls that return the resource through an out-parameter: whatever was held
    // is closed first.
    Handle* Receive() noexcept
    {
        Reset();
        return &m_handle;
    }

private:
    Handle m_handle;
};

typedef CKaOwnedHandle<TKaKernelHandleTraits> CKaOwnedKernelHandle;
typedef CKaOwnedHandle<TKaNullHandleTraits<HKEY, LONG, RegCloseKey>> CKaOwnedRegKey;
typedef CKaOwnedHandle<TKaNullHandleTraits<HGLOBAL, HGLOBAL, GlobalFree>> CKaOwnedGlobal;
typedef CKaOwnedHandle<TKaNullHandleTraits<HLOCAL, HLOCAL, LocalFree>> CKaOwnedLocal;
typedef CKaOwnedHandle<TKaNullHandleTraits<BSTR, void, SysFreeString>> CKaOwnedBstr;
typedef CKaOwnedHandle<TKaNullHandleTraits<HMODULE, BOOL, FreeLibrary>> CKaOwnedModule;
typedef CKaOwnedHandle<TKaNullHandleTraits<wchar_t*, void, KaCoTaskMemFreeText>>
    CKaOwnedCoTaskText;

// Holds a critical section for a scope.
class CKaSectionGuard
{
public:
    explicit CKaSectionGuard(CRITICAL_SECTION& section) noexcept : m_section(section)
    {
        EnterCriticalSection(&m_section);
    }
    ~CKaSectionGuard() { LeaveCriticalSection(&m_section); }
    CKaSectionGuard(const CKaSectionGuard&) = delete;
    CKaSectionGuard& operator=(const CKaSectionGuard&) = delete;

private:
    CRITICAL_SECTION& m_section;
};

#endif
