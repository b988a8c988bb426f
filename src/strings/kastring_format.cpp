#include "zelka/kastring.h"
#include "zelka/kaexception.h"
#include "zelka/kahandle.h"
#include "kastring_internal.h"

using KaStringDetail::OrEmpty;

CKaString CKaString::Build(const wchar_t* format, ...)
{
    va_list args;
    va_start(args, format);
    CKaString result = BuildV(format, args);
    va_end(args);
    return result;
}

CKaString CKaString::BuildV(const wchar_t* format, va_list args)
{
    CKaString result;
    result.FormatV(format, args);
    return result;
}

void CKaString::Format(const wchar_t* format, ...)
{
    va_list args;
    va_start(args, format);
    FormatV(format, args);
    va_end(args);
}

void CKaString::FormatV(const wchar_t* format, va_list args)
{
    format = OrEmpty(format);
    va_list measureArgs;
    va_copy(measureArgs, args);
    const long length = static_cast<long>(CKaStringTraits::GetFormattedLength(format, measureArgs));
    va_end(measureArgs);
    // The runtime answers -1 for a format it rejects: that is bad input, not a huge text, and
    // it is refused before the string is touched.
    if (length < 0) throw CKaCodeException(E_INVALIDARG);
    wchar_t* buffer = LockGrow(static_cast<unsigned long>(length), false);
    const long written = static_cast<long>(CKaStringTraits::Format(buffer, format, args));
    Unlock(written < 0 ? 0 : static_cast<unsigned long>(written));
}

CKaString CKaString::BuildMessage(const wchar_t* text, ...)
{
    va_list args;
    va_start(args, text);
    CKaString result = BuildMessageV(text, args);
    va_end(args);
    return result;
}

CKaString CKaString::BuildMessageV(const wchar_t* text, va_list args)
{
    CKaString result;
    result.FormatMessageV(text, args);
    return result;
}

bool CKaString::FormatMessageW(const wchar_t* text, ...)
{
    va_list args;
    va_start(args, text);
    const bool done = FormatMessageV(text, args);
    va_end(args);
    return done;
}

bool CKaString::FormatMessageV(const wchar_t* text, va_list args)
{
    // The system's buffer is freed whether or not the copy succeeds.
    CKaOwnedLocal buffer;
    const DWORD length = ::FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_STRING,
                                          OrEmpty(text), 0, 0,
                                          reinterpret_cast<LPWSTR>(buffer.Receive()), 0, &args);
    if (length == 0 || !buffer) {
        Clear();
        return false;
    }
    SetText(static_cast<const wchar_t*>(buffer.Get()), length);
    return true;
}
