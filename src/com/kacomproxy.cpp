#include "zelka/kacomproxy.h"
#include "zelka/kacomproxyfactory.h"
#include "zelka/kavariant.h"
#include "zelka/kawait.h"

// ---- CKaComObjectProxy --------------------------------------------------------------------

CKaComObjectProxy::CKaComObjectProxy(CKaComRef<IUnknown> object)
    : m_object(KaQueryInterface<IUnknown>(object)), m_face(KaQueryInterface<IZELKaObject>(object))
{
}

CKaComObjectProxy::~CKaComObjectProxy() = default;

// The same rule CKaRegKey keeps with its key map: the last reference goes under the lock the
// cache is searched under. The cache is set before the proxy is handed out and never changes,
// so reading it here needs no lock; the CKaLock holds its own reference, which outlives the
// proxy it may destroy.
unsigned long CKaComObjectProxy::Release()
{
    CKaLock lock(CKaRef<IKaLockable>(m_cache.getPtr()));
    return CKaObject::Release();
}

void CKaComObjectProxy::FinalRelease()
{
    if (m_cache) m_cache->Leave(this);
}

CKaString CKaComObjectProxy::getObjectTypeInfo()
{
    return ChainTypeInfo(L"zel.core.com.objectproxy", CKaObject::getObjectTypeInfo());
}

CKaComRef<IUnknown> CKaComObjectProxy::getObject() const
{
    return m_object;
}

CKaString CKaComObjectProxy::getRemoteTypeInfo()
{
    return ReadText(m_face, &IZELKaObject::get_TypeInfo);
}

CKaString CKaComObjectProxy::getRemoteTypeId()
{
    CKaSysString id;
    Check(m_face, m_face->get_TypeAt(0, &id));
    return id.getString();
}

CKaString CKaComObjectProxy::ReadRemoteTypeInfo(IUnknown* object)
{
    return ReadText(KaQueryInterface<IZELKaObject>(object), &IZELKaObject::get_TypeInfo);
}

// ---- CKaErrorProxy, CKaComErrorProxy ------------------------------------------------------

CKaErrorProxy::CKaErrorProxy(CKaComRef<IUnknown> object)
    : CKaComObjectProxy(object), m_error(KaQueryInterface<IZELKaError>(object))
{
}

CKaString CKaErrorProxy::getObjectTypeInfo()
{
    return ChainTypeInfo(L"zel.core.com.errorproxy", CKaComObjectProxy::getObjectTypeInfo());
}

long CKaErrorProxy::getCode()
{
    LONG code = 0;
    Read(m_error, &IZELKaError::get_Code, &code);
    return code;
}

CKaComErrorProxy::CKaComErrorProxy(CKaComRef<IUnknown> object)
    : CKaErrorProxy(object), m_error(KaQueryInterface<IZELKaComError>(object))
{
}

CKaString CKaComErrorProxy::getObjectTypeInfo()
{
    return ChainTypeInfo(L"zel.core.com.comerrorproxy", CKaErrorProxy::getObjectTypeInfo());
}

CKaGuid CKaComErrorProxy::getGuid()
{
    return CKaGuid(ReadText(m_error, &IZELKaComError::get_Guid));
}

CKaString CKaComErrorProxy::getSource()
{
    return ReadText(m_error, &IZELKaComError::get_Source);
}

CKaString CKaComErrorProxy::getDescription()
{
    return ReadText(m_error, &IZELKaComError::get_Description);
}

CKaString CKaComErrorProxy::getHelpFile()
{
    return ReadText(m_error, &IZELKaComError::get_HelpFile);
}

unsigned long CKaComErrorProxy::getHelpContext()
{
    LONG context = 0;
    Read(m_error, &IZELKaComError::get_HelpContext, &context);
    return static_cast<unsigned long>(context);
}

// ---- CKaComObjectSetProxy -----------------------------------------------------------------

CKaComObjectSetProxy::CKaComObjectSetProxy(CKaComRef<IUnknown> object)
    : CKaComObjectProxy(object), m_set(KaQueryInterface<IZELKaObjectSet>(object))
{
}

CKaString CKaComObjectSetProxy::getObjectTypeInfo()
{
    return ChainTypeInfo(L"zel.core.com.objectsetproxy", CKaComObjectProxy::getObjectTypeInfo());
}

unsigned long CKaComObjectSetProxy::getCount()
{
    LONG count = 0;
    Read(m_set, &IZELKaObjectSet::get_Count, &count);
    return static_cast<unsigned long>(count);
}

CKaComRef<IUnknown> CKaComObjectSetProxy::getItem(unsigned long index)
{
    // An index past what a long holds is past any set; the set says so itself.
    const LONG remoteIndex = index > 0x7FFFFFFFul ? -1 : static_cast<LONG>(index);
    CKaVariant item;
    Check(m_set, m_set->get_Item(remoteIndex, &item));
    const CKaComRef<IUnknown> object = item.getType() == VT_DISPATCH
                                           ? CKaComRef<IUnknown>(item.getDispatch())
                                           : item.getUnknown();
    if (!object) throw CKaCodeException(E_POINTER);
    return object;
}
