#ifndef ZELKA_KAEXPORT_H
#define ZELKA_KAEXPORT_H

#include <windows.h>

#ifdef ZELKA_BUILDING_DLL
#define ZELKA_API __declspec(dllexport)
#else
#define ZELKA_API __declspec(dllimport)
#endif

#endif
