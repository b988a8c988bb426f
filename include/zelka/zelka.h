#ifndef ZELKA_ZELKA_H
#define ZELKA_ZELKA_H

// Everything an application of zelka130.dll uses.
#include "kaexport.h"
#include "kacodes.h"
#include "kalockmode.h"
#include "kahandle.h"
#include "karef.h"
#include "kastringtraits.h"
#include "kastring.h"
#include "kasysstring.h"
#include "kaobject.h"
#include "kaexception.h"
#include "kasimplebuffer.h"
#include "kabytebuffer.h"
#include "kaarray.h"
#include "kamap.h"
#include "kaguid.h"
#include "kamodule.h"
#include "karegkey.h"
#include "kasync.h"
#include "kawait.h"
#include "kathread.h"
#include "katls.h"
#include "kastream.h"
#include "kabinary.h"
#include "kaencoding.h"
#include "katextreader.h"
#include "katextwriter.h"
#include "kainterfaceids.h"
#include "kacomobject.h"
#include "kacomerror.h"
#include "katrace.h"
#include "zelka/kaversion.h" // made by the build (src/module/kaversion.h.in)

#endif
