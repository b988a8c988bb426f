#ifndef ZELKA_TESTS_TRACE_KATRACETEST_H
#define ZELKA_TESTS_TRACE_KATRACETEST_H

#include <string>
#include <vector>
#include "katest.h"

// A fresh folder below the temp folder, removed with the files in it when it goes.
class CKaTempFolder
{
public:
    CKaTempFolder();
    ~CKaTempFolder();
    CKaTempFolder(const CKaTempFolder&) = delete;
    CKaTempFolder& operator=(const CKaTempFolder&) = delete;

    const CKaString& getPath() const { return m_path; }
    CKaString File(const wchar_t* name) const;

private:
    CKaString m_path;
};

// A registry key below HKEY_CURRENT_USER, put back as the test found it: its values restored,
// or, when it did not exist, deleted with everything created below it.
class CKaRegistryGuard
{
public:
    explicit CKaRegistryGuard(const wchar_t* key);
    ~CKaRegistryGuard();
    CKaRegistryGuard(const CKaRegistryGuard&) = delete;
    CKaRegistryGuard& operator=(const CKaRegistryGuard&) = delete;

    void SetValue(const wchar_t* subKey, const wchar_t* name, DWORD type, const void* data,
                  DWORD size);
    void SetDword(const wchar_t* subKey, const wchar_t* name, DWORD value);
    void SetString(const wchar_t* subKey, const wchar_t* name, const wchar_t* text,
                   DWORD type = REG_SZ);
    // The value's type and bytes; false when it is missing.
    bool Query(const wchar_t* subKey, const wchar_t* name, DWORD& type,
               std::vector<BYTE>& data) const;
    bool KeyExists(const wchar_t* subKey) const;

private:
    struct TValue
    {
        std::wstring name;
        DWORD type;
        std::vector<BYTE> data;
    };
    CKaString Below(const wchar_t* subKey) const;

    CKaString m_key;
    bool m_existed;
    std::vector<TValue> m_saved;
};

bool KaFileExists(const wchar_t* path);
std::string KaReadFile(const wchar_t* path);
// The file split at CR LF; a bare LF fails the test that reads it.
std::vector<std::string> KaReadLines(const wchar_t* path);
std::string KaNarrow(const wchar_t* text);

#endif
