#ifndef ZELKA_TESTS_KATEMPFOLDER_H
#define ZELKA_TESTS_KATEMPFOLDER_H

#include <string>
#include <zelka/zelka.h>

// A fresh folder below the user's temp folder for one test; it goes, with its files, when the
// object does.
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

    ~CKaTempFolder()
    {
        WIN32_FIND_DATAW found;
        HANDLE search = FindFirstFileW((m_path + L"\\*").c_str(), &found);
        if (search != INVALID_HANDLE_VALUE) {
            do {
                DeleteFileW((m_path + L"\\" + found.cFileName).c_str());
            } while (FindNextFileW(search, &found));
            FindClose(search);
        }
        RemoveDirectoryW(m_path.c_str());
    }

    CKaTempFolder(const CKaTempFolder&) = delete;
    CKaTempFolder& operator=(const CKaTempFolder&) = delete;

    CKaString File(const wchar_t* name) const { return (m_path + L"\\" + name).c_str(); }

private:
    std::wstring m_path;
};

#endif
