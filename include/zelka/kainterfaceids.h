#ifndef ZELKA_KAINTERFACEIDS_H
#define ZELKA_KAINTERFACEIDS_H

// The library's COM interfaces, its type library LIBID_ZELCORE2 and its classes, generated
// from zelcore2.idl. The identifiers are defined here as well (as shared constants), so a
// program that uses them needs nothing more to link.
#include "zelka/zelcore2.h"
#include "zelka/zelcore2_i.h"

#endif
