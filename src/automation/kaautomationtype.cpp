#include "automation/kaautomationtype.h"

CKaString TKaAutomationType<CKaString>::Get(const Raw& raw)
{
    // The length, not the terminator: a BSTR may hold 0 characters.
    return raw ? CKaString(raw, SysStringLen(raw)) : CKaString();
}

void TKaAutomationType<CKaString>::Put(Raw& slot, const CKaString& value)
{
    slot = SysAllocStringLen(value.getSz(), value.getLength());
    if (!slot) throw CKaCodeException(E_OUTOFMEMORY);
}

void TKaAutomationType<CKaString>::Free(Raw& raw) noexcept
{
    SysFreeString(raw);
    raw = nullptr;
}

void TKaAutomationType<CKaVariant>::Put(Raw& slot, const CKaVariant& value)
{
    KaThrowIfFailed(KaCopyVariant(slot, value));
}
