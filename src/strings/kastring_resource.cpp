#include "zelka/kastring.h"
#include <memory>
#include <new>
#include "zelka/kaexception.h"
#include "zelka/kamodule.h"

namespace {

// Most resources fit the first buffer, which lives on the stack.
const int kFirstBufferSize = 501;

// The resource text of `module`, "" when it has none of that id.
CKaString LoadResourceText(const CKaRef<CKaModule>& module, unsigned int id)
{
    CKaString text;
    text.LoadStringW(module, id);
    return text;
}

// A missing resource is a failed formatting, whatever the system makes of an empty text.
bool FormatResourceMessage(CKaString& target, const CKaRef<CKaModule>& module, unsigned int id,
                           va_list args)
{
    CKaString text;
    if (!text.LoadStringW(module, id)) {
        target.Clear();
        return false;
    }
    return target.FormatMessageV(text, args);
}

} // namespace

bool CKaString::LoadStringW(CKaRef<CKaModule> module, unsigned int id)
{
    const HINSTANCE instance = module->getHandle();
    wchar_t first[kFirstBufferSize];
    std::unique_ptr<wchar_t[]> heap;
    wchar_t* buffer = first;
    int size = kFirstBufferSize;
    int length = ::LoadStringW(instance, id, buffer, size);
    if (length == 0) {
        Clear();
        return false;
    }
    // The system cuts a long text to fit without saying so; a text that nearly fills the
    // buffer may have been cut, so it is loaded again into one about twice as large.
    while (length + 2 >= size) {
        size = 2 * size - 1;
        heap.reset(new (std::nothrow) wchar_t[size]);
        if (!heap) throw CKaCodeException(E_OUTOFMEMORY);
        buffer = heap.get();
        length = ::LoadStringW(instance, id, buffer, size);
    }
    SetText(buffer, static_cast<unsigned long>(length));
    return true;
}

CKaString CKaString::Build(CKaRef<CKaModule> module, unsigned int id, ...)
{
    const CKaString format = LoadResourceText(module, id);
    va_list args;
    va_start(args, id);
    CKaString result = BuildV(format, args);
    va_end(args);
    return result;
}

void CKaString::Format(CKaRef<CKaModule> module, unsigned int id, ...)
{
    const CKaString format = LoadResourceText(module, id);
    va_list args;
    va_start(args, id);
    FormatV(format, args);
    va_end(args);
}

CKaString CKaString::BuildMessage(CKaRef<CKaModule> module, unsigned int id, ...)
{
    CKaString result;
    va_list args;
    va_start(args, id);
    FormatResourceMessage(result, module, id, args);
    va_end(args);
    return result;
}

bool CKaString::FormatMessageW(CKaRef<CKaModule> module, unsigned int id, ...)
{
    va_list args;
    va_start(args, id);
    const bool done = FormatResourceMessage(*this, module, id, args);
    va_end(args);
    return done;
}
