#include "zelka/karef.h"
#include "zelka/kaexception.h"

void KaThrowNullReference()
{
    throw CKaCodeException(E_POINTER);
}
