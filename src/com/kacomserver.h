#ifndef ZELKA_SRC_COM_KACOMSERVER_H
#define ZELKA_SRC_COM_KACOMSERVER_H

#include "zelka/kastring.h"

// The full path of zelka130.dll: where its type library is loaded from and what the
// registration points COM at.
CKaString KaComServerPath();

#endif
