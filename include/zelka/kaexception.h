#ifndef ZELKA_KAEXCEPTION_H
#define ZELKA_KAEXCEPTION_H

#include <cstdarg>
#include "kacodes.h"
#include "kalockmode.h"
#include "kaobject.h"

class CKaError;

// Every failure of the library is thrown as one of these. Catch CKaException& and ask getCode()
// for the HRESULT or getError() for an error object: both work for either concrete class.
class ZELKA_API CKaException
{
public:
    virtual ~CKaException();
    virtual long getCode() const = 0;
    // A new error object carrying getCode(); every call makes a new one.
    virtual CKaRef<CKaError> getError() const;
};

class ZELKA_API CKaCodeException : public CKaException
{
public:
    explicit CKaCodeException(long code);
    long getCode() const override;

private:
    long m_code;
};

class ZELKA_API CKaErrorException : public CKaException
{
public:
    // A null error throws CKaCodeException(E_POINTER) instead.
    explicit CKaErrorException(CKaRef<CKaError> error);
    long getCode() const override;
    // The very error object the exception was built with.
    CKaRef<CKaError> getError() const override;

private:
    CKaRef<CKaError> m_error;
};

// The creatable form of a library object and the COM face of errors (kacomobject.h).
template <class T>
class CKaComObject;
class CKaErrorFace;

// An error record: an HRESULT in a counted object that can travel with an exception.
class ZELKA_API CKaError : public CKaObject
{
public:
    // What CKaComObject<CKaError> adds: IZELKaError for COM clients.
    typedef CKaErrorFace TComFace;

    // Creates an error (always inside its creatable wrapper).
    static CKaRef<CKaError> Build(long code);

    CKaString getObjectTypeInfo() override;
    // Throws CKaErrorException holding this very error.
    [[noreturn]] virtual void Throw();
    virtual bool DoesInterfaceSupportErrorInfo(const GUID& iid);

    long getCode() const;
    static CKaString GetClassTypeId();
    CKaString getClassTypeId();

protected:
    explicit CKaError(long code);

private:
    long m_code;
};

// FormatMessageW inserts ("%1", "%2!d!"), not printf conversions.
ZELKA_API CKaString KaFormatMessage(CKaString format, ...);
ZELKA_API CKaString KaFormatMessageV(CKaString format, va_list args);

// The HRESULT of a Win32 error: a positive value v gives (v & 0xFFFF) | 0x80070000; zero and
// negative values (already HRESULTs) stand as they are.
ZELKA_API long KaHResultFromWin32(long error);
// Throws CKaCodeException with KaHResultFromWin32(error).
[[noreturn]] ZELKA_API void KaThrowWin32Error(long error);
// Throws the calling thread's GetLastError() as above.
[[noreturn]] ZELKA_API void KaThrowLastError();
// A failing COM result is thrown unchanged as CKaCodeException; success codes pass.
ZELKA_API void KaThrowIfFailed(HRESULT hr);
// Inside a catch block: the code of the exception being handled, E_UNEXPECTED for one that is
// not a CKaException. Where a failure must become a result (COM methods, DllMain).
ZELKA_API long KaCaughtCode();

// The range rules of every indexed container. The checks are inline because they sit in the
// paths that run per element or per append; the throws are out of line.
[[noreturn]] ZELKA_API void KaThrowIndexOutOfRange();
[[noreturn]] ZELKA_API void KaThrowCountOutOfRange();

// Every (start, count) pair over `size` elements: a start beyond the size throws
// KA_E_INDEX_OUT_OF_RANGE, an end beyond it KA_E_COUNT_OUT_OF_RANGE. (start, 0) is the rule of
// a position, which may be the size itself.
inline void KaCheckRange(unsigned long start, unsigned long count, unsigned long size)
{
    if (start > size) KaThrowIndexOutOfRange();
    if (count > size - start) KaThrowCountOutOfRange();
}

// One element: an index at or beyond the size throws KA_E_INDEX_OUT_OF_RANGE.
inline void KaCheckIndex(unsigned long index, unsigned long size)
{
    if (index >= size) KaThrowIndexOutOfRange();
}

// A signed index: a negative one throws KA_E_INDEX_OUT_OF_RANGE.
inline unsigned long KaCheckedIndex(int index)
{
    if (index < 0) KaThrowIndexOutOfRange();
    return static_cast<unsigned long>(index);
}

// Errors are created as CKaComObject<T>: whoever sees the error classes sees that template.
#include "kacomobject.h"

#endif
