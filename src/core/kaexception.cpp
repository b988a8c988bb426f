#include "zelka/kaexception.h"

CKaException::~CKaException() = default;

CKaRef<CKaError> CKaException::getError() const
{
    return CKaError::Build(getCode());
}

CKaCodeException::CKaCodeException(long code) : m_code(code) {}

long CKaCodeException::getCode() const
{
    return m_code;
}

CKaErrorException::CKaErrorException(CKaRef<CKaError> error) : m_error(error)
{
    if (!m_error) throw CKaCodeException(E_POINTER);
}

long CKaErrorException::getCode() const
{
    return m_error->getCode();
}

CKaRef<CKaError> CKaErrorException::getError() const
{
    return m_error;
}

CKaError::CKaError(long code) : m_code(code) {}

CKaRef<CKaError> CKaError::Build(long code)
{
    return new CKaComObject<CKaError>(code);
}

CKaString CKaError::getObjectTypeInfo()
{
    return ChainTypeInfo(GetClassTypeId(), CKaObject::getObjectTypeInfo());
}

void CKaError::Throw()
{
    throw CKaErrorException(this);
}

bool CKaError::DoesInterfaceSupportErrorInfo(const GUID& iid)
{
    return KaIsLibraryInterface(iid);
}

long CKaError::getCode() const
{
    return m_code;
}

CKaString CKaError::GetClassTypeId()
{
    return L"zel.core.main.error";
}

CKaString CKaError::getClassTypeId()
{
    return GetClassTypeId();
}

CKaString KaFormatMessage(CKaString format, ...)
{
    va_list args;
    va_start(args, format);
    CKaString result = KaFormatMessageV(format, args);
    va_end(args);
    return result;
}

CKaString KaFormatMessageV(CKaString format, va_list args)
{
    // An empty format is passed as "" (never null); a failed formatting gives "".
    return CKaString::BuildMessageV(format.getSz(), args);
}

long KaHResultFromWin32(long error)
{
    return error > 0 ? static_cast<long>((static_cast<unsigned long>(error) & 0xFFFF) | 0x80070000)
                     : error;
}

void KaThrowWin32Error(long error)
{
    throw CKaCodeException(KaHResultFromWin32(error));
}

void KaThrowLastError()
{
    KaThrowWin32Error(static_cast<long>(GetLastError()));
}

long KaCaughtCode()
{
    try {
        throw;
    } catch (const CKaException& e) {
        return e.getCode();
    } catch (...) {
        return E_UNEXPECTED;
    }
}

void KaThrowIfFailed(HRESULT hr)
{
    if (FAILED(hr)) throw CKaCodeException(hr);
}

void KaThrowIndexOutOfRange()
{
    throw CKaCodeException(KA_E_INDEX_OUT_OF_RANGE);
}

void KaThrowCountOutOfRange()
{
    throw CKaCodeException(KA_E_COUNT_OUT_OF_RANGE);
}

void KaThrowLockedInPlace()
{
    throw CKaCodeException(KA_E_LOCKED_IN_PLACE);
}
