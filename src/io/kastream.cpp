#include "zelka/kastream.h"

void IKaStream::setPos(unsigned __int64 pos)
{
    SetFromBegin(static_cast<__int64>(pos));
}
