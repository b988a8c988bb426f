#include "zelka/kacomerror.h"
#include "zelka/katrace.h"

namespace {

// COM's setters take non-const text they only read.
OLECHAR* Text(const CKaString& text)
{
    return const_cast<OLECHAR*>(text.getSz());
}

} // namespace

HRESULT KaComFailure(const IID& iid, const wchar_t* method)
{
    const long code = KaCaughtCode();
    try {
        KaSetErrorInfo(CKaGuid(), iid, method, CKaString(), 0);
    } catch (...) {
        // The method's own failure is what its caller must get; the description is extra.
    }
    KaTraceLeave(L"ERR", L"COM", method, code);
    return code;
}

CKaComRef<IErrorInfo> KaCreateErrorInfo(CKaString source, const CKaGuid& guid,
                                        CKaString description, CKaString helpFile,
                                        unsigned long helpContext)
{
    CKaComRef<ICreateErrorInfo> create;
    KaThrowIfFailed(CreateErrorInfo(create.GetAddressOf()));
    KaThrowIfFailed(create->SetSource(Text(source)));
    KaThrowIfFailed(create->SetGUID(guid));
    KaThrowIfFailed(create->SetDescription(Text(description)));
    KaThrowIfFailed(create->SetHelpFile(Text(helpFile)));
    KaThrowIfFailed(create->SetHelpContext(helpContext));
    return KaQueryInterface<IErrorInfo>(create);
}

CKaComRef<IErrorInfo> KaCreateErrorInfo(CKaGuid source, const CKaGuid& guid,
                                        CKaString description, CKaString helpFile,
                                        unsigned long helpContext)
{
    return KaCreateErrorInfo(source.ToProgId(), guid, description, helpFile, helpContext);
}

void KaSetErrorInfo(CKaComRef<IErrorInfo> errorInfo)
{
    if (errorInfo) {
        KaThrowIfFailed(SetErrorInfo(0, errorInfo));
        return;
    }
    // Taking the thread's information is how it is cleared.
    CKaComRef<IErrorInfo> taken;
    KaThrowIfFailed(GetErrorInfo(0, taken.GetAddressOf()));
}

void KaSetErrorInfo(CKaString source, const CKaGuid& guid, CKaString description,
                    CKaString helpFile, unsigned long helpContext)
{
    KaSetErrorInfo(KaCreateErrorInfo(source, guid, description, helpFile, helpContext));
}

void KaSetErrorInfo(CKaGuid source, const CKaGuid& guid, CKaString description,
                    CKaString helpFile, unsigned long helpContext)
{
    KaSetErrorInfo(KaCreateErrorInfo(source, guid, description, helpFile, helpContext));
}

void KaThrowComError(IUnknown* object, const CKaGuid& iid, long code)
{
    CKaComRef<IErrorInfo> info;
    CKaComRef<ISupportErrorInfo> support;
    if (object &&
        SUCCEEDED(object->QueryInterface(IID_ISupportErrorInfo,
                                         reinterpret_cast<void**>(support.GetAddressOf()))) &&
        support && support->InterfaceSupportsErrorInfo(iid) == S_OK &&
        FAILED(GetErrorInfo(0, info.GetAddressOf()))) {
        info = nullptr;
    }
    CKaRef<CKaError> error;
    try {
        error = CKaComError::Build(code, info);
    } catch (...) {
        // Whatever kept the error from being made, the caller learns only that there is none.
        throw CKaCodeException(E_POINTER);
    }
    // What CKaComError::Throw does, written out so that this function visibly never returns.
    throw CKaErrorException(error);
}

CKaComError::CKaComError(long code, CKaComRef<IErrorInfo> errorInfo)
    : CKaError(code), m_errorInfo(errorInfo)
{
}

CKaComError::CKaComError(long code, CKaString source, CKaGuid guid, CKaString description,
                         CKaString helpFile, unsigned long helpContext)
    : CKaError(code),
      m_errorInfo(KaCreateErrorInfo(source, guid, description, helpFile, helpContext))
{
}

CKaComError::CKaComError(long code, CKaGuid source, CKaGuid guid, CKaString description,
                         CKaString helpFile, unsigned long helpContext)
    : CKaError(code),
      m_errorInfo(KaCreateErrorInfo(source, guid, description, helpFile, helpContext))
{
}

CKaRef<CKaComError> CKaComError::Build(long code, CKaComRef<IErrorInfo> errorInfo)
{
    return new CKaComObject<CKaComError>(code, errorInfo);
}

CKaRef<CKaComError> CKaComError::Build(long code, CKaString source, CKaGuid guid,
                                       CKaString description, CKaString helpFile,
                                       unsigned long helpContext)
{
    return new CKaComObject<CKaComError>(code, source, guid, description, helpFile,
                                         helpContext);
}

CKaRef<CKaComError> CKaComError::Build(long code, CKaGuid source, CKaGuid guid,
                                       CKaString description, CKaString helpFile,
                                       unsigned long helpContext)
{
    return new CKaComObject<CKaComError>(code, source, guid, description, helpFile,
                                         helpContext);
}

CKaString CKaComError::getObjectTypeInfo()
{
    return ChainTypeInfo(GetClassTypeId(), CKaError::getObjectTypeInfo());
}

CKaString CKaComError::GetClassTypeId()
{
    return L"zel.core.main.comerror";
}

CKaString CKaComError::getClassTypeId()
{
    return GetClassTypeId();
}

CKaComRef<IErrorInfo> CKaComError::getErrorInfo() const
{
    return m_errorInfo;
}

CKaGuid CKaComError::getGuid() const
{
    CKaGuid guid;
    if (m_errorInfo) KaThrowIfFailed(m_errorInfo->GetGUID(&guid));
    return guid;
}

CKaString CKaComError::ReadText(HRESULT (STDMETHODCALLTYPE IErrorInfo::*read)(BSTR*)) const
{
    CKaSysString text;
    if (m_errorInfo) KaThrowIfFailed((m_errorInfo.getPtr()->*read)(&text));
    return text.getString();
}

CKaString CKaComError::getSource() const
{
    return ReadText(&IErrorInfo::GetSource);
}

CKaString CKaComError::getDescription() const
{
    return ReadText(&IErrorInfo::GetDescription);
}

CKaString CKaComError::getHelpFile() const
{
    return ReadText(&IErrorInfo::GetHelpFile);
}

unsigned long CKaComError::getHelpContext() const
{
    DWORD context = 0;
    if (m_errorInfo) KaThrowIfFailed(m_errorInfo->GetHelpContext(&context));
    return context;
}

void CKaComError::Set()
{
    KaSetErrorInfo(m_errorInfo);
}

HRESULT CKaComError::get_Guid(BSTR* guid)
{
    return KaComProperty(guid, IID_IZELKaComError, L"get_Guid", [this] {
        return getGuid().getAsBracedString().getSysString().Detach(true);
    });
}

HRESULT CKaComError::get_Source(BSTR* source)
{
    return KaComProperty(source, IID_IZELKaComError, L"get_Source",
                         [this] { return getSource().getSysString().Detach(true); });
}

// Description, HelpFile and HelpContext report their failures under the name "get_Code", as
// they always have: clients that recognise these failures by their description rely on it.
HRESULT CKaComError::get_Description(BSTR* description)
{
    return KaComProperty(description, IID_IZELKaComError, L"get_Code",
                         [this] { return getDescription().getSysString().Detach(true); });
}

HRESULT CKaComError::get_HelpFile(BSTR* helpFile)
{
    return KaComProperty(helpFile, IID_IZELKaComError, L"get_Code",
                         [this] { return getHelpFile().getSysString().Detach(true); });
}

HRESULT CKaComError::get_HelpContext(unsigned long* helpContext)
{
    return KaComProperty(helpContext, IID_IZELKaComError, L"get_Code",
                         [this] { return getHelpContext(); });
}
