#include "zelka/kamap.h"

unsigned long KaHashElement(const CKaString& text)
{
    // FNV-1a over the UTF-16 units: cheap, and every unit moves every bit of the result.
    unsigned long hash = 2166136261u;
    const wchar_t* units = text.getSz();
    for (unsigned long i = 0; i < text.getLength(); ++i) {
        hash = (hash ^ static_cast<unsigned long>(units[i])) * 16777619u;
    }
    return hash;
}

template class CKaMap<CKaString, CKaRef<CKaObject>>;
template class CKaMapIteratorBase<CKaString, CKaRef<CKaObject>>;
template class CKaMapIterator<CKaString, CKaRef<CKaObject>>;
template class CKaMapRwIterator<CKaString, CKaRef<CKaObject>>;
