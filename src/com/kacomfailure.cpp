#include "zelka/kacomobject.h"
#include "zelka/katrace.h"

namespace {

long CaughtCode()
{
    try {
        throw;
    } catch (const CKaException& e) {
        return e.getCode();
    } catch (...) {
        return E_UNEXPECTED;
    }
}

} // namespace

HRESULT KaComFailure(const IID& iid, const wchar_t* method)
{
    const long code = CaughtCode();
    try {
        CKaComRef<ICreateErrorInfo> create;
        KaThrowIfFailed(CreateErrorInfo(create.GetAddressOf()));
        KaThrowIfFailed(create->SetSource(const_cast<wchar_t*>(L"")));
        KaThrowIfFailed(create->SetGUID(iid));
        KaThrowIfFailed(create->SetDescription(const_cast<wchar_t*>(method)));
        CKaComRef<IErrorInfo> info;
        KaThrowIfFailed(create->QueryInterface(IID_IErrorInfo,
                                               reinterpret_cast<void**>(info.GetAddressOf())));
        KaThrowIfFailed(SetErrorInfo(0, info));
    } catch (...) {
        // The method's own failure is what the caller must see; its description is a bonus.
    }
    KaTraceLeave(L"ERR", L"COM", method, code);
    return code;
}
