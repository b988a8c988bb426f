#ifndef ZELKA_KAINTERFACEIDS_H
#define ZELKA_KAINTERFACEIDS_H

#include "kaexport.h"

// The library's own COM interfaces, for which errors carry rich error information.
extern "C" ZELKA_API const IID IID_IZELKaError;
extern "C" ZELKA_API const IID IID_IZELKaComError;
extern "C" ZELKA_API const IID IID_IZELKaObject;
extern "C" ZELKA_API const IID IID_IZELKaObjectSet;

#endif
