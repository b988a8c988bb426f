#include "zelka/kastring.h"
#include "zelka/kabinary.h"

void CKaString::Serialize(CKaRef<CKaBinaryWriter> writer) const
{
    CKaBinaryWriter& target = *writer;
    const unsigned long length = getLength();
    target.WriteU4(length);
    // UTF-16 units lie in memory as the format wants them: little endian.
    if (length) target.Write(getSz(), length * sizeof(wchar_t));
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
    return (*aspect).getU4Size() + getLength() * sizeof(wchar_t);
}
