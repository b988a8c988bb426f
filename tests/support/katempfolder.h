#ifndef ZELKA_TESTS_KATEMPFOLDER_H
#define ZELKA_TESTS_KATEMPFOLDER_H

#include <string>
#include <zelka/zelka.h>

// A fresh folder below the user's temp folder for one test; it goes, with everything in it, when
// the object does.
class CKaTempFolder
{
public:
    CKaTempFolder()
    {
        wchar_t base[MAX_PATH + 1] = {};
        GetTempPathW(MAX_PATH, base);
        for (unsigned long attempt = GetTickCount() ^ (GetCurrentProcessId() << 16);; ++attempt) {
            m_path = std::wstring(base) + L"zelka-test-" + std::to_wstring(attempt);
            if (CreateDirectoryW(m_path.c_str(), nullptr)) break;
            if (GetLastError() != ERROR_ALREADY_EXISTS) KaThrowLastError();
        }
    }
    ~CKaTempFolder() { Remove(m_path); }
    CKaTempFolder(const CKaTempFolder&) = delete;
    CKaTempFolder& operator=(const CKaTempFolder&) = delete;

    CKaString getPath() const { return m_path.c_str(); }
    CKaString File(const wchar_t* name) const { return (m_path + L"\\" + name).c_str(); }

private:
    static void Remove(const std::wstring& folder)
    {
        WIN32_FIND_DATAW found;
        HANDLE search = FindFirstFileW((folder + L"\\*").c_str(), &found);
        if (search != INVALID_HANDLE_VALUE) {
            do {
                const std::wstring name = found.cFileName;
                if (name == L"." || name == L"..") continue;
                if (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) {
                    Remove(folder + L"\\" + name);
                } else {
                    DeleteFileW((folder + L"\\" + name).c_str());
                }
            } while (FindNextFileW(search, &found));
            FindClose(search);
        }
        RemoveDirectoryW(folder.c_str());
    }

    std::wstring m_path;
};

#endif
