// The binary form both string types share: a 32-bit count of UTF-16 units, then the units.
#include "zelka/kastring.h"
#include "zelka/kasysstring.h"
#include "zelka/kabinary.h"
#include "zelka/kaexception.h"
#include "zelka/kahandle.h"

namespace {

void WriteText(CKaRef<CKaBinaryWriter>& writer, const wchar_t* text, unsigned long length)
{
    CKaBinaryWriter& target = *writer;
    target.WriteU4(length);
    // UTF-16 units lie in memory as the format wants them: little endian.
    if (length) target.Write(text, length * sizeof(wchar_t));
}

unsigned long TextSize(CKaRef<CKaBinaryStreamerAspect>& aspect, unsigned long length)
{
    return (*aspect).getU4Size() + length * sizeof(wchar_t);
}

} // namespace

void CKaString::Serialize(CKaRef<CKaBinaryWriter> writer) const
{
    WriteText(writer, getSz(), getLength());
}

void CKaString::Deserialize(CKaRef<CKaBinaryReader> reader)
{
    CKaBinaryReader& source = *reader;
    const unsigned long length = source.ReadCount(sizeof(wchar_t));
    CKaString loaded;
    if (length) {
        source.ReadExact(loaded.LockGrow(length, false), length * sizeof(wchar_t));
        loaded.Unlock(length);
    }
    SetText(loaded);
}

unsigned long CKaString::GetSerializeSize(CKaRef<CKaBinaryStreamerAspect> aspect) const
{
    return TextSize(aspect, getLength());
}

void CKaSysString::Serialize(CKaRef<CKaBinaryWriter> writer) const
{
    WriteText(writer, getSz(), getLength());
}

void CKaSysString::Deserialize(CKaRef<CKaBinaryReader> reader)
{
    CKaBinaryReader& source = *reader;
    const unsigned long length = source.ReadCount(sizeof(wchar_t));
    CKaOwnedBstr loaded;
    if (length) {
        // ReadCount has made sure the stream holds that many units.
        loaded.Reset(SysAllocStringLen(nullptr, length));
        if (!loaded) throw CKaCodeException(E_OUTOFMEMORY);
        source.ReadExact(loaded.Get(), length * sizeof(wchar_t));
    }
    Store(loaded.Get());
    loaded.Release();
}

unsigned long CKaSysString::GetSerializeSize(CKaRef<CKaBinaryStreamerAspect> aspect) const
{
    return TextSize(aspect, getLength());
}
