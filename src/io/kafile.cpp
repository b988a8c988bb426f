#include "zelka/kastream.h"

CKaFile::CKaFile() : m_handle(INVALID_HANDLE_VALUE) {}

CKaFile::CKaFile(void* handle) : m_handle(handle) {}

CKaFile::~CKaFile()
{
    Close();
}

CKaString CKaFile::getObjectTypeInfo()
{
    return ChainTypeInfo(L"zel.core.io.file", CKaObject::getObjectTypeInfo());
}

// ---- opening and the handle -----------------------------------------------------------------

void CKaFile::Open(CKaString path, unsigned long access, unsigned long share,
                   unsigned long disposition, unsigned long flagsAndAttributes)
{
    Close();
    HANDLE handle =
        CreateFileW(path.getSz(), access, share, nullptr, disposition, flagsAndAttributes, nullptr);
    if (handle == INVALID_HANDLE_VALUE) KaThrowLastError();
    m_handle = handle;
}

void CKaFile::OpenCreate(CKaString path)
{
    Open(path, GENERIC_READ | GENERIC_WRITE, 0, CREATE_ALWAYS, 0);
}

void CKaFile::OpenExisting(CKaString path, bool readOnly)
{
    if (readOnly) {
        Open(path, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING, 0);
    } else {
        Open(path, GENERIC_READ | GENERIC_WRITE, 0, OPEN_EXISTING, 0);
    }
}

void CKaFile::OpenAlways(CKaString path)
{
    Open(path, GENERIC_READ | GENERIC_WRITE, 0, OPEN_ALWAYS, 0);
}

void CKaFile::Close()
{
    if (m_handle == INVALID_HANDLE_VALUE) return;
    CloseHandle(m_handle);
    m_handle = INVALID_HANDLE_VALUE;
}

void* CKaFile::Attach(void* handle)
{
    void* previous = m_handle;
    m_handle = handle;
    return previous;
}

void* CKaFile::Detach()
{
    return Attach(INVALID_HANDLE_VALUE);
}

void* CKaFile::getHandle() const
{
    return m_handle;
}

// ---- stream operations ----------------------------------------------------------------------

HANDLE CKaFile::OpenHandle() const
{
    if (m_handle == INVALID_HANDLE_VALUE) throw CKaCodeException(E_FAIL);
    return m_handle;
}

unsigned long CKaFile::Read(void* buffer, unsigned long count)
{
    DWORD read = 0;
    if (!ReadFile(OpenHandle(), buffer, count, &read, nullptr)) KaThrowLastError();
    return read;
}

void CKaFile::Write(const void* buffer, unsigned long count)
{
    DWORD written = 0;
    if (!WriteFile(OpenHandle(), buffer, count, &written, nullptr)) KaThrowLastError();
    if (written < count) throw CKaCodeException(KA_E_SHORT_WRITE);
}

unsigned __int64 CKaFile::Seek(__int64 offset, unsigned long origin)
{
    HANDLE handle = OpenHandle();
    LONG high = static_cast<LONG>(offset >> 32);
    // 0xFFFFFFFF is also the low word of a valid position; only the last error tells them
    // apart, so a stale one must not be mistaken for a failure.
    SetLastError(NO_ERROR);
    const DWORD low = SetFilePointer(handle, static_cast<LONG>(offset), &high, origin);
    if (low == INVALID_SET_FILE_POINTER && GetLastError() != NO_ERROR) KaThrowLastError();
    return (static_cast<unsigned __int64>(static_cast<DWORD>(high)) << 32) | low;
}

unsigned __int64 CKaFile::getSize()
{
    HANDLE handle = OpenHandle();
    DWORD high = 0;
    SetLastError(NO_ERROR);
    const DWORD low = GetFileSize(handle, &high);
    if (low == INVALID_FILE_SIZE && GetLastError() != NO_ERROR) KaThrowLastError();
    return (static_cast<unsigned __int64>(high) << 32) | low;
}
