#include "katracetest.h"
#include <gtest/gtest.h>
#include <cstdio>

// ---- temp folder ------------------------------------------------------------------------------

CKaTempFolder::CKaTempFolder()
{
    static long s_counter = 0;
    wchar_t temp[MAX_PATH];
    GetTempPathW(MAX_PATH, temp);
    m_path = CKaString::Build(L"%szelka-trace-%lu-%ld", temp, GetCurrentProcessId(),
                              InterlockedIncrement(&s_counter));
    CreateDirectoryW(m_path, nullptr);
}

namespace {

void RemoveTree(const CKaString& folder)
{
    WIN32_FIND_DATAW found;
    HANDLE search = FindFirstFileW(CKaString::Build(L"%s\\*", folder.getSz()), &found);
    if (search != INVALID_HANDLE_VALUE) {
        do {
            const CKaString path = CKaString::Build(L"%s\\%s", folder.getSz(), found.cFileName);
            if (!(found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)) {
                DeleteFileW(path);
            } else if (lstrcmpW(found.cFileName, L".") && lstrcmpW(found.cFileName, L"..")) {
                RemoveTree(path);
            }
        } while (FindNextFileW(search, &found));
        FindClose(search);
    }
    RemoveDirectoryW(folder);
}

} // namespace

CKaTempFolder::~CKaTempFolder()
{
    RemoveTree(m_path);
}

CKaString CKaTempFolder::File(const wchar_t* name) const
{
    return CKaString::Build(L"%s\\%s", m_path.getSz(), name);
}

// ---- registry ---------------------------------------------------------------------------------

CKaRegistryGuard::CKaRegistryGuard(const wchar_t* key) : m_key(key), m_existed(false)
{
    HKEY handle = nullptr;
    if (RegOpenKeyExW(HKEY_CURRENT_USER, m_key, 0, KEY_READ, &handle) != ERROR_SUCCESS) return;
    m_existed = true;
    for (DWORD i = 0;; ++i) {
        wchar_t name[16384];
        DWORD nameLength = 16384;
        BYTE data[4096];
        DWORD size = sizeof(data);
        DWORD type = 0;
        if (RegEnumValueW(handle, i, name, &nameLength, nullptr, &type, data, &size) !=
            ERROR_SUCCESS) {
            break;
        }
        m_saved.push_back({std::wstring(name, nameLength), type,
                           std::vector<BYTE>(data, data + size)});
    }
    RegCloseKey(handle);
}

CKaRegistryGuard::~CKaRegistryGuard()
{
    RegDeleteTreeW(HKEY_CURRENT_USER, m_key);
    RegDeleteKeyW(HKEY_CURRENT_USER, m_key);
    if (!m_existed) return;
    for (const TValue& value : m_saved) {
        SetValue(L"", value.name.c_str(), value.type, value.data.data(),
                 static_cast<DWORD>(value.data.size()));
    }
}

CKaString CKaRegistryGuard::Below(const wchar_t* subKey) const
{
    return *subKey ? CKaString::Build(L"%s\\%s", m_key.getSz(), subKey) : m_key;
}

void CKaRegistryGuard::SetValue(const wchar_t* subKey, const wchar_t* name, DWORD type,
                                const void* data, DWORD size)
{
    HKEY handle = nullptr;
    ASSERT_EQ(ERROR_SUCCESS, RegCreateKeyExW(HKEY_CURRENT_USER, Below(subKey), 0, nullptr, 0,
                                             KEY_WRITE, nullptr, &handle, nullptr));
    EXPECT_EQ(ERROR_SUCCESS,
              RegSetValueExW(handle, name, 0, type, static_cast<const BYTE*>(data), size));
    RegCloseKey(handle);
}

void CKaRegistryGuard::SetDword(const wchar_t* subKey, const wchar_t* name, DWORD value)
{
    SetValue(subKey, name, REG_DWORD, &value, sizeof(value));
}

void CKaRegistryGuard::SetString(const wchar_t* subKey, const wchar_t* name, const wchar_t* text,
                                 DWORD type)
{
    SetValue(subKey, name, type, text, static_cast<DWORD>((lstrlenW(text) + 1) * 2));
}

bool CKaRegistryGuard::Query(const wchar_t* subKey, const wchar_t* name, DWORD& type,
                             std::vector<BYTE>& data) const
{
    HKEY handle = nullptr;
    if (RegOpenKeyExW(HKEY_CURRENT_USER, Below(subKey), 0, KEY_READ, &handle) != ERROR_SUCCESS) {
        return false;
    }
    BYTE buffer[4096];
    DWORD size = sizeof(buffer);
    const bool found =
        RegQueryValueExW(handle, name, nullptr, &type, buffer, &size) == ERROR_SUCCESS;
    RegCloseKey(handle);
    if (found) data.assign(buffer, buffer + size);
    return found;
}

bool CKaRegistryGuard::KeyExists(const wchar_t* subKey) const
{
    HKEY handle = nullptr;
    if (RegOpenKeyExW(HKEY_CURRENT_USER, Below(subKey), 0, KEY_READ, &handle) != ERROR_SUCCESS) {
        return false;
    }
    RegCloseKey(handle);
    return true;
}

// ---- files ------------------------------------------------------------------------------------

bool KaFileExists(const wchar_t* path)
{
    return GetFileAttributesW(path) != INVALID_FILE_ATTRIBUTES;
}

std::string KaReadFile(const wchar_t* path)
{
    std::string content;
    // Shared for writing and deleting: the trace may still hold the file open.
    HANDLE file = CreateFileW(path, GENERIC_READ,
                              FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                              OPEN_EXISTING, 0, nullptr);
    if (file == INVALID_HANDLE_VALUE) return content;
    char buffer[65536];
    DWORD read = 0;
    while (ReadFile(file, buffer, sizeof(buffer), &read, nullptr) && read > 0) {
        content.append(buffer, read);
    }
    CloseHandle(file);
    return content;
}

std::vector<std::string> KaReadLines(const wchar_t* path)
{
    const std::string content = KaReadFile(path);
    std::vector<std::string> lines;
    std::string::size_type start = 0;
    for (;;) {
        const std::string::size_type end = content.find("\r\n", start);
        std::string line = content.substr(start, end == std::string::npos ? end : end - start);
        EXPECT_EQ(std::string::npos, line.find('\n')) << "bare line feed in " << line;
        lines.push_back(line);
        if (end == std::string::npos) return lines;
        start = end + 2;
    }
}

std::string KaNarrow(const wchar_t* text)
{
    char buffer[1024] = {};
    WideCharToMultiByte(CP_ACP, 0, text, -1, buffer, sizeof(buffer), nullptr, nullptr);
    return buffer;
}
