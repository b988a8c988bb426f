#include <gtest/gtest.h>
#include <shlobj.h>
#include <cstdio>
#include <functional>
#include <string>
#include "kacomtest.h"
#include "katempfolder.h"

namespace {

// Error information whose every read fails with the same code.
class CKaFailingErrorInfo final : public CKaTestComObject<IErrorInfo>
{
public:
    explicit CKaFailingErrorInfo(HRESULT failure) : m_failure(failure) {}

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override
    {
        if (iid != IID_IUnknown && iid != IID_IErrorInfo) return E_NOINTERFACE;
        *out = this;
        AddRef();
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetGUID(GUID*) override { return m_failure; }
    HRESULT STDMETHODCALLTYPE GetSource(BSTR*) override { return m_failure; }
    HRESULT STDMETHODCALLTYPE GetDescription(BSTR*) override { return m_failure; }
    HRESULT STDMETHODCALLTYPE GetHelpFile(BSTR*) override { return m_failure; }
    HRESULT STDMETHODCALLTYPE GetHelpContext(DWORD*) override { return m_failure; }

private:
    HRESULT m_failure;
};

CKaComRef<IErrorInfo> SomeErrorInfo(const wchar_t* description)
{
    return KaCreateErrorInfo(CKaString(L"some source"), CKaGuid(IID_IStream),
                             CKaString(description), CKaString(L"help.chm"), 7);
}

// The CKaComError a CKaErrorException carries.
CKaRef<CKaComError> ThrownComError(const std::function<void()>& call)
{
    try {
        call();
    } catch (const CKaException& e) {
        CKaRef<CKaError> error = e.getError();
        CKaComError* comError = dynamic_cast<CKaComError*>(error.getPtr());
        EXPECT_NE(nullptr, comError) << "the exception carries no CKaComError";
        return comError;
    }
    ADD_FAILURE() << "nothing thrown";
    return nullptr;
}

std::string FileText(const CKaString& path)
{
    std::string text;
    if (FILE* file = _wfopen(path.getSz(), L"rb")) {
        char buffer[4096];
        for (size_t read; (read = fread(buffer, 1, sizeof(buffer), file)) > 0;) {
            text.append(buffer, read);
        }
        fclose(file);
    }
    return text;
}

} // namespace

TEST(KaComError, GettersGiveWhatTheErrorWasBuiltWith)
{
    const CKaGuid guid(true);
    CKaRef<CKaComError> error =
        CKaComError::Build(E_ACCESSDENIED, CKaString(L"the source"), guid,
                           CKaString(L"what went wrong"), CKaString(L"C:\\help.chm"), 42);
    EXPECT_EQ(E_ACCESSDENIED, error->getCode());
    EXPECT_TRUE(error->getGuid() == guid);
    EXPECT_EQ(L"the source", error->getSource());
    EXPECT_EQ(L"what went wrong", error->getDescription());
    EXPECT_EQ(L"C:\\help.chm", error->getHelpFile());
    EXPECT_EQ(42u, error->getHelpContext());
    EXPECT_EQ(L"zel.core.main.comerror;zel.core.main.error;zel.common.object",
              error->getObjectTypeInfo());
    EXPECT_EQ(L"zel.core.main.comerror", error->getObjectTypeId());
    EXPECT_EQ(L"zel.core.main.comerror", CKaComError::GetClassTypeId());

    // The class-identifier form takes the class's ProgID as its source, as the system knows it.
    CLSID dictionary;
    ASSERT_EQ(S_OK, CLSIDFromProgID(L"Scripting.Dictionary", &dictionary));
    LPOLESTR progId = nullptr;
    ASSERT_EQ(S_OK, ProgIDFromCLSID(dictionary, &progId));
    error = CKaComError::Build(E_FAIL, CKaGuid(dictionary), guid, CKaString(), CKaString(), 0);
    EXPECT_EQ(CKaString(progId), error->getSource());
    CoTaskMemFree(progId);
    error = CKaComError::Build(E_FAIL, CKaGuid(), guid, CKaString(), CKaString(), 0);
    EXPECT_EQ(L"", error->getSource());
}

TEST(KaComError, WithoutErrorInformationTheGettersGiveNothing)
{
    CKaRef<CKaComError> error = CKaComError::Build(E_FAIL, CKaComRef<IErrorInfo>());
    EXPECT_FALSE(error->getErrorInfo());
    EXPECT_TRUE(error->getGuid().getIsNull());
    EXPECT_EQ(L"", error->getSource());
    EXPECT_EQ(L"", error->getDescription());
    EXPECT_EQ(L"", error->getHelpFile());
    EXPECT_EQ(0u, error->getHelpContext());
    CKaTestBstr guid;
    EXPECT_EQ(S_OK, error->get_Guid(&guid));
    EXPECT_EQ(L"{00000000-0000-0000-0000-000000000000}", guid.Text());
}

TEST(KaComError, EmptyTextsAreEmptyNotAbsent)
{
    CKaComRef<IErrorInfo> info =
        KaCreateErrorInfo(CKaString(), CKaGuid(), CKaString(), CKaString(), 0);
    for (auto read : {&IErrorInfo::GetSource, &IErrorInfo::GetDescription,
                      &IErrorInfo::GetHelpFile}) {
        BSTR text = nullptr;
        ASSERT_EQ(S_OK, (info.getPtr()->*read)(&text));
        EXPECT_NE(nullptr, text);
        EXPECT_EQ(0u, SysStringLen(text));
        SysFreeString(text);
    }
}

TEST(KaComError, SetInstallsAndNullClearsTheThreadsErrorInformation)
{
    CKaComError::Build(E_FAIL, SomeErrorInfo(L"installed"))->Set();
    TKaTakenErrorInfo taken = TakeErrorInfo();
    EXPECT_TRUE(taken.present);
    EXPECT_EQ(L"installed", taken.description);
    EXPECT_EQ(L"some source", taken.source);
    EXPECT_EQ(7u, taken.helpContext);

    KaSetErrorInfo(SomeErrorInfo(L"to be cleared"));
    KaSetErrorInfo(CKaComRef<IErrorInfo>());
    EXPECT_FALSE(TakeErrorInfo().present);
    KaSetErrorInfo(SomeErrorInfo(L"to be cleared"));
    CKaComError::Build(E_FAIL, CKaComRef<IErrorInfo>())->Set();
    EXPECT_FALSE(TakeErrorInfo().present);

    KaSetErrorInfo(CKaString(L"text source"), CKaGuid(IID_IStream), CKaString(L"d"),
                   CKaString(L"h"), 3);
    taken = TakeErrorInfo();
    EXPECT_EQ(L"text source", taken.source);
    EXPECT_TRUE(IsEqualGUID(IID_IStream, taken.guid));
    EXPECT_EQ(L"h", taken.helpFile);
}

TEST(KaThrowComError, CarriesTheThreadsInformationOnlyWhenTheObjectOffersIt)
{
    CKaRef<CKaComError> object = CKaComError::Build(S_OK, CKaComRef<IErrorInfo>());
    CKaComRef<IUnknown> unknown = KaGetComInterface<IUnknown>(object);

    // The object offers rich information for its own interfaces: the thread's is taken.
    KaSetErrorInfo(SomeErrorInfo(L"from the call"));
    CKaRef<CKaComError> thrown =
        ThrownComError([&] { KaThrowComError(unknown, CKaGuid(IID_IZELKaComError), E_ABORT); });
    ASSERT_TRUE(thrown);
    EXPECT_EQ(E_ABORT, thrown->getCode());
    EXPECT_EQ(L"from the call", thrown->getDescription());
    EXPECT_FALSE(TakeErrorInfo().present) << "taking the information clears it";

    // Not for other interfaces, and not at all from an object without ISupportErrorInfo:
    // no information, and the thread's is left alone.
    CKaComRef<IStream> stream;
    ASSERT_EQ(S_OK, CreateStreamOnHGlobal(nullptr, TRUE, stream.GetAddressOf()));
    const std::pair<IUnknown*, GUID> calls[] = {{unknown, IID_IStream},
                                                {stream, IID_IStream},
                                                {nullptr, IID_IStream}};
    for (const auto& call : calls) {
        KaSetErrorInfo(SomeErrorInfo(L"unrelated"));
        thrown = ThrownComError([&] { KaThrowComError(call.first, call.second, E_ABORT); });
        ASSERT_TRUE(thrown);
        EXPECT_EQ(E_ABORT, thrown->getCode());
        EXPECT_FALSE(thrown->getErrorInfo());
        EXPECT_EQ(L"", thrown->getSource());
        EXPECT_EQ(L"", thrown->getDescription());
        EXPECT_EQ(L"", thrown->getHelpFile());
        EXPECT_TRUE(thrown->getGuid().getIsNull());
        EXPECT_EQ(0u, thrown->getHelpContext());
        EXPECT_EQ(L"unrelated", TakeErrorInfo().description);
    }
}

TEST(KaComError, PropertiesTurnFailuresIntoErrorInformation)
{
    CKaRef<CKaComError> error =
        CKaComError::Build(S_OK, CKaComRef<IErrorInfo>(new CKaFailingErrorInfo(E_ACCESSDENIED)));
    CKaComRef<IZELKaComError> face = KaGetComInterface<IZELKaComError>(error);
    // The names under which each property reports (three of them as "get_Code").
    const std::pair<std::function<HRESULT()>, const wchar_t*> properties[] = {
        {[&] { CKaTestBstr out; return face->get_Guid(&out); }, L"get_Guid"},
        {[&] { CKaTestBstr out; return face->get_Source(&out); }, L"get_Source"},
        {[&] { CKaTestBstr out; return face->get_Description(&out); }, L"get_Code"},
        {[&] { CKaTestBstr out; return face->get_HelpFile(&out); }, L"get_Code"},
        {[&] { LONG out = 1; return face->get_HelpContext(&out); }, L"get_Code"},
    };
    for (const auto& property : properties) {
        EXPECT_EQ(E_ACCESSDENIED, property.first()) << property.second;
        const TKaTakenErrorInfo taken = TakeErrorInfo();
        ASSERT_TRUE(taken.present) << property.second;
        EXPECT_EQ(property.second, taken.description);
        EXPECT_EQ(L"", taken.source);
        EXPECT_EQ(L"", taken.helpFile);
        EXPECT_EQ(0u, taken.helpContext);
        EXPECT_TRUE(IsEqualGUID(IID_IZELKaComError, taken.guid));
    }

    EXPECT_EQ(E_POINTER, face->get_Guid(nullptr));
    EXPECT_EQ(E_POINTER, face->get_Source(nullptr));
    EXPECT_EQ(E_POINTER, face->get_Description(nullptr));
    EXPECT_EQ(E_POINTER, face->get_HelpFile(nullptr));
    EXPECT_EQ(E_POINTER, face->get_HelpContext(nullptr));
    EXPECT_FALSE(TakeErrorInfo().present) << "a null out-pointer is not a library failure";
}

TEST(KaComError, AFailingPropertyWritesAnErrorExitLineToTheTrace)
{
    CKaTempFolder folder;
    const wchar_t* key = L"Software\\ZelkaTests\\ComTrace";
    HKEY trace = nullptr;
    ASSERT_EQ(ERROR_SUCCESS, RegCreateKeyExW(HKEY_CURRENT_USER, L"Software\\ZelkaTests\\ComTrace\\Trace",
                                             0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &trace, nullptr));
    const DWORD on = 1;
    RegSetValueExW(trace, L"Enabled", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&on), 4);
    RegSetValueExW(trace, L"Tracking", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&on), 4);
    const CKaString path = folder.getPath();
    RegSetValueExW(trace, L"TargetPath", 0, REG_SZ, reinterpret_cast<const BYTE*>(path.getSz()),
                   (path.getLength() + 1) * sizeof(wchar_t));
    RegCloseKey(trace);
    const wchar_t* const categories[] = {L"ERROR", L"INFO", L"UNEX", L"WARN"};
    KaTraceStart(CSIDL_LOCAL_APPDATA, L"unused", L"com.trc", key, 4, categories, 3, 5, 30);

    CKaRef<CKaComError> error =
        CKaComError::Build(S_OK, CKaComRef<IErrorInfo>(new CKaFailingErrorInfo(E_ACCESSDENIED)));
    CKaTestBstr out;
    EXPECT_EQ(E_ACCESSDENIED, error->get_HelpFile(&out));
    TakeErrorInfo();
    KaTraceStop();
    RegDeleteTreeW(HKEY_CURRENT_USER, L"Software\\ZelkaTests\\ComTrace");

    const std::string text = FileText(folder.File(L"com.trc"));
    // Module "ERR", class "COM", the property, the code.
    const std::string line = "|<<-- |ERR|COM  |get_Code" + std::string(22, ' ') + "|80070005";
    EXPECT_NE(std::string::npos, text.find(line)) << text;
}

TEST(KaErrorProxy, ReadsAnErrorBehindItsInterfaces)
{
    CKaRef<CKaComError> error = CKaComError::Build(
        E_ABORT, CKaString(L"remote"), CKaGuid(IID_IStream), CKaString(L"described"),
        CKaString(L"file.hlp"), 0x80000009u);
    CKaComRef<IUnknown> remote = KaGetComInterface<IUnknown>(error);

    CKaRef<CKaComErrorProxy> proxy = new CKaComErrorProxy(remote);
    EXPECT_EQ(E_ABORT, proxy->getCode());
    EXPECT_TRUE(proxy->getGuid() == IID_IStream);
    EXPECT_EQ(L"remote", proxy->getSource());
    EXPECT_EQ(L"described", proxy->getDescription());
    EXPECT_EQ(L"file.hlp", proxy->getHelpFile());
    EXPECT_EQ(0x80000009u, proxy->getHelpContext()) << "all 32 bits, through a signed long";
    EXPECT_EQ(E_ABORT, CKaRef<CKaErrorProxy>(new CKaErrorProxy(remote))->getCode());

    // An error without COM error information offers IZELKaError only.
    CKaComRef<IUnknown> plain = KaGetComInterface<IUnknown>(CKaError::Build(E_FAIL));
    EXPECT_EQ(E_FAIL, CKaRef<CKaErrorProxy>(new CKaErrorProxy(plain))->getCode());
    EXPECT_EQ(E_NOINTERFACE, ThrownCode([&] { new CKaComErrorProxy(plain); }));
    CKaComRef<IStream> stream;
    ASSERT_EQ(S_OK, CreateStreamOnHGlobal(nullptr, TRUE, stream.GetAddressOf()));
    EXPECT_EQ(E_NOINTERFACE, ThrownCode([&] { new CKaErrorProxy(CKaComRef<IUnknown>(stream)); }));
    EXPECT_EQ(E_POINTER, ThrownCode([&] { new CKaErrorProxy(CKaComRef<IUnknown>()); }));
}

TEST(KaErrorProxy, ARemoteFailureArrivesWithTheRemoteErrorInformation)
{
    CKaRef<CKaComError> error =
        CKaComError::Build(S_OK, CKaComRef<IErrorInfo>(new CKaFailingErrorInfo(E_ACCESSDENIED)));
    CKaRef<CKaComErrorProxy> proxy = new CKaComErrorProxy(KaGetComInterface<IUnknown>(error));
    CKaRef<CKaComError> thrown = ThrownComError([&] { proxy->getHelpFile(); });
    ASSERT_TRUE(thrown);
    EXPECT_EQ(E_ACCESSDENIED, thrown->getCode());
    EXPECT_EQ(L"get_Code", thrown->getDescription());
    EXPECT_TRUE(thrown->getGuid() == IID_IZELKaComError);
    thrown = ThrownComError([&] { proxy->getSource(); });
    ASSERT_TRUE(thrown);
    EXPECT_EQ(L"get_Source", thrown->getDescription());
}
