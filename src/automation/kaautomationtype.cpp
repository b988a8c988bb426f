#include "automation/kaautomationtype.h"

#include "zelka/kahandle.h"
#include "zelka/kasysstring.h"

CKaString TKaAutomationType<CKaString>::Get(const Raw& raw)
{
    // The length, not the terminator: a BSTR may hold 0 characters.
    return raw ? CKaString(raw, SysStringLen(raw)) : CKaString();
}

void TKaAutomationType<CKaString>::Put(Raw& slot, const CKaString& value)
{
    // The system string of a fresh CKaSysString is handed on, not copied again; an empty text
    // is an empty BSTR, never null.
    slot = value.getSysString().Detach(true);
}

void TKaAutomationType<CKaString>::Free(Raw& raw) noexcept
{
    CKaOwnedBstr owned(raw);
    raw = nullptr;
}

void TKaAutomationType<CKaVariant>::Put(Raw& slot, const CKaVariant& value)
{
    KaThrowIfFailed(KaCopyVariant(slot, value));
}
