#ifndef ZELKA_AUTOMATION_KAAUTOMATIONTYPE_H
#define ZELKA_AUTOMATION_KAAUTOMATIONTYPE_H

#include <cstring>
#include "zelka/kavariant.h"

// VariantCopy, whose declaration forgets that it only reads its source.
inline HRESULT KaCopyVariant(VARIANT& target, const VARIANT& source)
{
    return VariantCopy(&target, const_cast<VARIANT*>(&source));
}

// One table of the automation types the wrappers know: for each interface type T its type tag,
// the form the platform stores (`Raw`) and how a value moves between the two.
//   Get(raw)         a T from a stored value, which stays as it is (strings, variants and
//                    interfaces are copied or counted)
//   Put(slot, value) stores an owned copy of `value` in an empty slot
//   Free(raw)        gives back what a stored value owns and empties it
//   Argument(raw)    what SafeArrayPutElement takes for the value: a pointer to it, or for
//                    strings and interfaces the pointer that is the value
template <class T>
struct TKaAutomationType;

template <class T, VARTYPE Tag>
struct TKaPlainAutomationType
{
    typedef T Raw;
    static const VARTYPE tag = Tag;
    static T Get(const Raw& raw) { return raw; }
    static void Put(Raw& slot, const T& value) { slot = value; }
    static void Free(Raw&) noexcept {}
    static void* Argument(Raw& raw) { return &raw; }
};

template <> struct TKaAutomationType<char> : TKaPlainAutomationType<char, VT_I1> {};
template <> struct TKaAutomationType<short> : TKaPlainAutomationType<short, VT_I2> {};
template <> struct TKaAutomationType<long> : TKaPlainAutomationType<long, VT_I4> {};
template <> struct TKaAutomationType<__int64> : TKaPlainAutomationType<__int64, VT_I8> {};
template <> struct TKaAutomationType<unsigned char>
    : TKaPlainAutomationType<unsigned char, VT_UI1> {};
template <> struct TKaAutomationType<unsigned short>
    : TKaPlainAutomationType<unsigned short, VT_UI2> {};
template <> struct TKaAutomationType<unsigned long>
    : TKaPlainAutomationType<unsigned long, VT_UI4> {};
template <> struct TKaAutomationType<unsigned __int64>
    : TKaPlainAutomationType<unsigned __int64, VT_UI8> {};
template <> struct TKaAutomationType<float> : TKaPlainAutomationType<float, VT_R4> {};
template <> struct TKaAutomationType<double> : TKaPlainAutomationType<double, VT_R8> {};

template <>
struct TKaAutomationType<bool>
{
    typedef VARIANT_BOOL Raw;
    static const VARTYPE tag = VT_BOOL;
    static bool Get(const Raw& raw) { return raw != 0; }
    static void Put(Raw& slot, bool value) { slot = value ? VARIANT_TRUE : VARIANT_FALSE; }
    static void Free(Raw&) noexcept {}
    static void* Argument(Raw& raw) { return &raw; }
};

template <>
struct TKaAutomationType<CKaString>
{
    typedef BSTR Raw;
    static const VARTYPE tag = VT_BSTR;
    static CKaString Get(const Raw& raw);
    static void Put(Raw& slot, const CKaString& value);
    static void Free(Raw& raw) noexcept;
    static void* Argument(Raw& raw) { return raw; }
};

template <>
struct TKaAutomationType<CKaVariant>
{
    typedef VARIANT Raw;
    static const VARTYPE tag = VT_VARIANT;
    static CKaVariant Get(const Raw& raw) { return CKaVariant(raw); }
    static void Put(Raw& slot, const CKaVariant& value);
    static void Free(Raw& raw) noexcept { VariantClear(&raw); }
    static void* Argument(Raw& raw) { return &raw; }
};

template <class I, VARTYPE Tag>
struct TKaInterfaceAutomationType
{
    typedef I* Raw;
    static const VARTYPE tag = Tag;
    static CKaComRef<I> Get(const Raw& raw) { return CKaComRef<I>(raw); }
    static void Put(Raw& slot, const CKaComRef<I>& value)
    {
        slot = value.getPtr();
        if (slot) slot->AddRef();
    }
    static void Free(Raw& raw) noexcept
    {
        if (raw) raw->Release();
        raw = nullptr;
    }
    static void* Argument(Raw& raw) { return raw; }
};

template <>
struct TKaAutomationType<CKaComRef<IUnknown>> : TKaInterfaceAutomationType<IUnknown, VT_UNKNOWN> {};
template <>
struct TKaAutomationType<CKaComRef<IDispatch>>
    : TKaInterfaceAutomationType<IDispatch, VT_DISPATCH> {};

// A stored value owned for a while: what it owns is given back unless it was handed on.
template <class T>
class CKaOwnedRaw
{
public:
    typedef typename TKaAutomationType<T>::Raw Raw;

    CKaOwnedRaw() noexcept : m_raw() {}
    ~CKaOwnedRaw() { TKaAutomationType<T>::Free(m_raw); }
    CKaOwnedRaw(const CKaOwnedRaw&) = delete;
    CKaOwnedRaw& operator=(const CKaOwnedRaw&) = delete;

    Raw& Get() noexcept { return m_raw; }
    // Hands the value on; this owner is left empty.
    Raw Release() noexcept
    {
        Raw raw = m_raw;
        std::memset(static_cast<void*>(&m_raw), 0, sizeof m_raw);
        return raw;
    }

private:
    Raw m_raw;
};

#endif
