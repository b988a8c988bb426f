#include "zelka/kaarray.h"

template class CKaArray<char>;
template class CKaArray<unsigned char>;
template class CKaArray<short>;
template class CKaArray<unsigned short>;
template class CKaArray<long>;
template class CKaArray<unsigned long>;
template class CKaArray<__int64>;
template class CKaArray<unsigned __int64>;
template class CKaArray<float>;
template class CKaArray<double>;
template class CKaArray<bool>;
template class CKaArray<CKaString>;
template class CKaArray<CKaComRef<IUnknown>>;
template class CKaArray<CKaComRef<IDispatch>>;
