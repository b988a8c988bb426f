#include "zelka/kamap.h"

template class CKaMap<CKaString, CKaRef<CKaObject>>;
template class CKaMapIteratorBase<CKaString, CKaRef<CKaObject>>;
template class CKaMapIterator<CKaString, CKaRef<CKaObject>>;
template class CKaMapRwIterator<CKaString, CKaRef<CKaObject>>;
