#ifndef ZELKA_TESTS_KACOMTEST_H
#define ZELKA_TESTS_KACOMTEST_H

#include "katest.h"

// COM initialised for one test program's main thread, as any client of the server would.
class CKaComEnvironment : public ::testing::Environment
{
public:
    void SetUp() override { CoInitializeEx(nullptr, COINIT_MULTITHREADED); }
    void TearDown() override { CoUninitialize(); }
};

// The counting of a COM object written by a test, on its interface I: it deletes itself at its
// last release.
template <class I>
class CKaTestComObject : public I
{
public:
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_count; }
    ULONG STDMETHODCALLTYPE Release() override
    {
        if (--m_count) return m_count;
        delete this;
        return 0;
    }

protected:
    virtual ~CKaTestComObject() = default;

private:
    ULONG m_count = 0;
};

// A BSTR the test owns.
class CKaTestBstr
{
public:
    CKaTestBstr() = default;
    ~CKaTestBstr() { SysFreeString(m_bstr); }
    CKaTestBstr(const CKaTestBstr&) = delete;
    CKaTestBstr& operator=(const CKaTestBstr&) = delete;
    BSTR* operator&() { SysFreeString(m_bstr); m_bstr = nullptr; return &m_bstr; }
    std::wstring Text() const { return std::wstring(m_bstr, SysStringLen(m_bstr)); }
    bool IsNull() const { return m_bstr == nullptr; }

private:
    BSTR m_bstr = nullptr;
};

// The thread's COM error information, taken (which clears it): description, source, GUID.
struct TKaTakenErrorInfo
{
    bool present = false;
    std::wstring description;
    std::wstring source;
    std::wstring helpFile;
    GUID guid = GUID_NULL;
    DWORD helpContext = 0;
};

inline TKaTakenErrorInfo TakeErrorInfo()
{
    TKaTakenErrorInfo taken;
    IErrorInfo* info = nullptr;
    if (GetErrorInfo(0, &info) != S_OK || !info) return taken;
    taken.present = true;
    CKaTestBstr description, source, helpFile;
    info->GetDescription(&description);
    info->GetSource(&source);
    info->GetHelpFile(&helpFile);
    info->GetGUID(&taken.guid);
    info->GetHelpContext(&taken.helpContext);
    info->Release();
    taken.description = description.Text();
    taken.source = source.Text();
    taken.helpFile = helpFile.Text();
    return taken;
}

#endif
