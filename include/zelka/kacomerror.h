#ifndef ZELKA_KACOMERROR_H
#define ZELKA_KACOMERROR_H

#include "kacomobject.h"
#include "kaguid.h"
#include "kasysstring.h"

class CKaComErrorFace;

// The error record of a COM failure: the HRESULT and the IErrorInfo the failing call left, if
// any. COM clients read it through IZELKaComError (and IZELKaError for the code).
class ZELKA_API CKaComError : public CKaError
{
public:
    typedef CKaComErrorFace TComFace;

    // Creates an error (always inside its creatable wrapper); the forms mirror the
    // constructors.
    static CKaRef<CKaComError> Build(long code, CKaComRef<IErrorInfo> errorInfo);
    static CKaRef<CKaComError> Build(long code, CKaString source, CKaGuid guid,
                                     CKaString description, CKaString helpFile,
                                     unsigned long helpContext);
    static CKaRef<CKaComError> Build(long code, CKaGuid source, CKaGuid guid,
                                     CKaString description, CKaString helpFile,
                                     unsigned long helpContext);

    CKaString getObjectTypeInfo() override;
    static CKaString GetClassTypeId();
    CKaString getClassTypeId();

    // Without error information the getters give the null GUID, empty texts and 0.
    CKaComRef<IErrorInfo> getErrorInfo() const;
    CKaGuid getGuid() const;
    CKaString getSource() const;
    CKaString getDescription() const;
    CKaString getHelpFile() const;
    unsigned long getHelpContext() const;

    // Makes the error information the calling thread's (clears the thread's when there is
    // none), as a COM method does just before it returns this failure.
    void Set();

    // The properties of IZELKaComError. A null out-pointer gives E_POINTER; a library failure
    // becomes the thread's error information and the result; nothing is thrown.
    HRESULT get_Guid(BSTR* guid);
    HRESULT get_Source(BSTR* source);
    HRESULT get_Description(BSTR* description);
    HRESULT get_HelpFile(BSTR* helpFile);
    HRESULT get_HelpContext(unsigned long* helpContext);

protected:
    CKaComError(long code, CKaComRef<IErrorInfo> errorInfo);
    CKaComError(long code, CKaString source, CKaGuid guid, CKaString description,
                CKaString helpFile, unsigned long helpContext);
    CKaComError(long code, CKaGuid source, CKaGuid guid, CKaString description,
                CKaString helpFile, unsigned long helpContext);

private:
    CKaString ReadText(HRESULT (STDMETHODCALLTYPE IErrorInfo::*read)(BSTR*)) const;

    CKaComRef<IErrorInfo> m_errorInfo;
};

class CKaComErrorFace : public CKaErrorFaceOf<IZELKaComError>
{
public:
    HRESULT STDMETHODCALLTYPE get_Guid(BSTR* guid) override { return Owner()->get_Guid(guid); }
    HRESULT STDMETHODCALLTYPE get_Source(BSTR* source) override
    {
        return Owner()->get_Source(source);
    }
    HRESULT STDMETHODCALLTYPE get_Description(BSTR* description) override
    {
        return Owner()->get_Description(description);
    }
    HRESULT STDMETHODCALLTYPE get_HelpFile(BSTR* helpFile) override
    {
        return Owner()->get_HelpFile(helpFile);
    }
    HRESULT STDMETHODCALLTYPE get_HelpContext(LONG* helpContext) override
    {
        return Owner()->get_HelpContext(reinterpret_cast<unsigned long*>(helpContext));
    }

protected:
    explicit CKaComErrorFace(CKaComError* owner) : CKaErrorFaceOf<IZELKaComError>(owner) {}

private:
    CKaComError* Owner() const { return static_cast<CKaComError*>(this->m_owner); }
};

// Error information with these parts, set in this order; empty texts are passed as empty
// texts, never as null. The class-identifier form takes the source's ProgID as its text.
ZELKA_API CKaComRef<IErrorInfo> KaCreateErrorInfo(CKaString source, const CKaGuid& guid,
                                                   CKaString description, CKaString helpFile,
                                                   unsigned long helpContext);
ZELKA_API CKaComRef<IErrorInfo> KaCreateErrorInfo(CKaGuid source, const CKaGuid& guid,
                                                   CKaString description, CKaString helpFile,
                                                   unsigned long helpContext);

// Installs error information as the calling thread's; null clears the thread's.
ZELKA_API void KaSetErrorInfo(CKaComRef<IErrorInfo> errorInfo);
ZELKA_API void KaSetErrorInfo(CKaString source, const CKaGuid& guid, CKaString description,
                              CKaString helpFile, unsigned long helpContext);
ZELKA_API void KaSetErrorInfo(CKaGuid source, const CKaGuid& guid, CKaString description,
                              CKaString helpFile, unsigned long helpContext);

// Throws the failure `code` of a call on `object` through its interface `iid` as a
// CKaErrorException carrying a CKaComError: with the thread's error information when the
// object says it provides it for `iid` (ISupportErrorInfo), without it otherwise.
[[noreturn]] ZELKA_API void KaThrowComError(IUnknown* object, const CKaGuid& iid, long code);

#endif
