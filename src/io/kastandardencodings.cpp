#include <new>
#include "zelka/kaencoding.h"
#include "zelka/kaexception.h"
#include "zelka/kahandle.h"
#include "zelka/kamap.h"

namespace {

typedef CKaMap<unsigned short, CKaRef<CKaEncoding>> TKaEncodingMap;

// Both exist between KaInitializeStandardEncodings and KaCleanupStandardEncodings; the lock
// guards the map for the whole run of every registry function.
CRITICAL_SECTION g_lock;
bool g_lockCreated = false;
TKaEncodingMap* g_encodings = nullptr;

// The registry's lock and map; without a registry there is nothing to hold.
CRITICAL_SECTION& RegistryLock()
{
    if (!g_lockCreated) throw CKaCodeException(E_POINTER);
    return g_lock;
}

TKaEncodingMap& Encodings()
{
    if (!g_encodings) throw CKaCodeException(E_POINTER);
    return *g_encodings;
}

// The standard encodings after UTF-8 and UTF-16, in the order they are registered.
const unsigned short kStandardCodePages[] = {
    874, 932, 936,  949,  950,  1250,  1251,  1252,  1253,  1254,  1255,  1256,
    1257, 1258, 437, 720, 737, 775, 850, 852, 855, 857, 858, 862, 866, 28591,
    28592, 28593, 28594, 28595, 28596, 28598, 28599, 28605};

} // namespace

void KaInitializeStandardEncodings()
{
    if (g_lockCreated) return;
    TKaEncodingMap* encodings = new (std::nothrow) TKaEncodingMap(17);
    if (!encodings) throw CKaCodeException(E_OUTOFMEMORY);
    InitializeCriticalSection(&g_lock);
    g_lockCreated = true;
    g_encodings = encodings;
}

void KaRegisterStandardEncodings()
{
    KaInitializeStandardEncodings();
    KaAddStandardEncoding(new CKaUtf8Encoding());
    KaAddStandardEncoding(new CKaUtf16Encoding(false));
    KaAddStandardEncoding(new CKaUtf16Encoding(true));
    for (unsigned short codePage : kStandardCodePages) {
        KaAddStandardEncoding(new CKaMultiByteEncoding(codePage));
    }
}

void KaAddStandardEncoding(CKaRef<CKaEncoding> encoding)
{
    const unsigned short codePage = encoding->getCodePage();
    CKaSectionGuard guard(RegistryLock());
    Encodings().SetAt(codePage, encoding);
}

CKaRef<CKaEncoding> KaGetStandardEncoding(unsigned short codePage)
{
    CKaSectionGuard guard(RegistryLock());
    CKaRef<CKaEncoding> encoding;
    Encodings().Lookup(codePage, encoding);
    return encoding;
}

CKaRef<CKaEncoding> KaGetUtf8Encoding()
{
    return KaGetStandardEncoding(CP_UTF8);
}

CKaRef<CKaEncoding> KaGetUtf16Encoding(bool bigEndian)
{
    return KaGetStandardEncoding(bigEndian ? 1201 : 1200);
}

void KaRemoveStandardEncoding(unsigned short codePage)
{
    CKaSectionGuard guard(RegistryLock());
    Encodings().RemoveKey(codePage);
}

void KaCleanupStandardEncodings()
{
    if (!g_lockCreated) return;
    {
        CKaSectionGuard guard(RegistryLock());
        TKaEncodingMap* encodings = g_encodings;
        g_encodings = nullptr;
        encodings->RemoveAll();
        delete encodings;
    }
    g_lockCreated = false;
    DeleteCriticalSection(&g_lock);
}
