#include "zelka/kavariant.h"

#include <cstring>
#include "automation/kaautomationtype.h"
#include "automation/kanoderules.h"

template class CKaArray<CKaVariant>;

namespace {

// What a variant without a node reads as. All zero bits are VT_EMPTY, so it needs no
// initialisation at run time and no thread can see it half made.
const VARIANT g_emptyVariant = {};

// Every scalar, string and interface field of a VARIANT starts where its 64-bit field does.
template <class Raw>
void StoreField(VARIANT& variant, const Raw& raw)
{
    std::memcpy(static_cast<void*>(&variant.llVal), &raw, sizeof raw);
}

template <class Raw>
Raw LoadField(const VARIANT& variant)
{
    Raw raw;
    std::memcpy(&raw, &variant.llVal, sizeof raw);
    return raw;
}

} // namespace

struct CKaVariant::TPayload
{
    typedef TKaNodeRules<TNode, TPayload> Rules;

    static TNode* CopyOf(const VARIANT& value);
    static TNode* Duplicate(const TNode& node) { return CopyOf(node.value); }
    static void Free(TNode* node) noexcept { FreeNode(node); }
};

// ---- nodes ----------------------------------------------------------------------------------

CKaVariant::TNode* CKaVariant::AllocateNode()
{
    TNode* node = new TNode;
    // The whole value field starts as zero bits, so getU8 of a fresh VT_UI4 reads a clean
    // upper half.
    std::memset(static_cast<void*>(&node->value), 0, sizeof node->value);
    VariantInit(&node->value);
    node->lockMode = KaLockNone;
    node->refCount = 0;
    return node;
}

void CKaVariant::FreeNode(TNode* node) noexcept
{
    VariantClear(&node->value);
    delete node;
}

CKaVariant::TNode* CKaVariant::TPayload::CopyOf(const VARIANT& value)
{
    TNode* copy = AllocateNode();
    const HRESULT hr = KaCopyVariant(copy->value, value);
    if (FAILED(hr)) {
        FreeNode(copy);
        KaThrowIfFailed(hr);
    }
    return copy;
}

void CKaVariant::NewBlankNode()
{
    TPayload::Rules::Install(m_node, AllocateNode());
}

void CKaVariant::NewNode(const VARIANT& value)
{
    // Copied before the current node is let go: `value` may live in it.
    TPayload::Rules::Install(m_node, TPayload::CopyOf(value));
}

void CKaVariant::ReleaseNode()
{
    TPayload::Rules::Release(m_node);
}

void CKaVariant::ShareNode(TNode* node)
{
    TPayload::Rules::Share(m_node, node);
}

void CKaVariant::UnshareNode()
{
    TPayload::Rules::Unshare(m_node);
}

void CKaVariant::DetachNode() noexcept
{
    TPayload::Rules::Detach(m_node);
}

void CKaVariant::ClearNodeData()
{
    KaCheckNotLockedInPlace(m_node->lockMode);
    KaThrowIfFailed(VariantClear(&m_node->value));
}

// ---- construction and assignment ------------------------------------------------------------

CKaVariant::CKaVariant(const CKaVariant& other) : m_node(nullptr) { SetValue(other); }
CKaVariant::CKaVariant(const VARIANT& value) : m_node(nullptr) { SetValue(value); }
CKaVariant::CKaVariant(char value) : m_node(nullptr) { setI1(value); }
CKaVariant::CKaVariant(short value) : m_node(nullptr) { setI2(value); }
CKaVariant::CKaVariant(long value) : m_node(nullptr) { setI4(value); }
CKaVariant::CKaVariant(__int64 value) : m_node(nullptr) { setI8(value); }
CKaVariant::CKaVariant(unsigned char value) : m_node(nullptr) { setU1(value); }
CKaVariant::CKaVariant(unsigned short value) : m_node(nullptr) { setU2(value); }
CKaVariant::CKaVariant(unsigned long value) : m_node(nullptr) { setU4(value); }
CKaVariant::CKaVariant(unsigned __int64 value) : m_node(nullptr) { setU8(value); }
CKaVariant::CKaVariant(int value) : m_node(nullptr) { setI4(value); }
CKaVariant::CKaVariant(unsigned int value) : m_node(nullptr) { setU4(value); }
CKaVariant::CKaVariant(float value) : m_node(nullptr) { setF4(value); }
CKaVariant::CKaVariant(double value) : m_node(nullptr) { setF8(value); }
CKaVariant::CKaVariant(bool value) : m_node(nullptr) { setBool(value); }
CKaVariant::CKaVariant(const CKaString& value) : m_node(nullptr) { setString(value); }
CKaVariant::CKaVariant(const wchar_t* value) : m_node(nullptr) { setString(value); }
CKaVariant::CKaVariant(const CKaComRef<IUnknown>& value) : m_node(nullptr) { setUnknown(value); }
CKaVariant::CKaVariant(const CKaComRef<IDispatch>& value) : m_node(nullptr)
{
    setDispatch(value);
}

CKaVariant::~CKaVariant()
{
    DetachNode();
}

const CKaVariant& CKaVariant::operator=(const CKaVariant& other)
{
    SetValue(other);
    return *this;
}

const CKaVariant& CKaVariant::operator=(const VARIANT& value)
{
    SetValue(value);
    return *this;
}

// Every typed assignment is its setter.
#define ZELKA_VARIANT_ASSIGN(T, setter)                                                        \
    const CKaVariant& CKaVariant::operator=(T value)                                           \
    {                                                                                          \
        setter(value);                                                                         \
        return *this;                                                                          \
    }
ZELKA_VARIANT_ASSIGN(char, setI1)
ZELKA_VARIANT_ASSIGN(short, setI2)
ZELKA_VARIANT_ASSIGN(long, setI4)
ZELKA_VARIANT_ASSIGN(__int64, setI8)
ZELKA_VARIANT_ASSIGN(unsigned char, setU1)
ZELKA_VARIANT_ASSIGN(unsigned short, setU2)
ZELKA_VARIANT_ASSIGN(unsigned long, setU4)
ZELKA_VARIANT_ASSIGN(unsigned __int64, setU8)
ZELKA_VARIANT_ASSIGN(int, setI4)
ZELKA_VARIANT_ASSIGN(unsigned int, setU4)
ZELKA_VARIANT_ASSIGN(float, setF4)
ZELKA_VARIANT_ASSIGN(double, setF8)
ZELKA_VARIANT_ASSIGN(bool, setBool)
ZELKA_VARIANT_ASSIGN(const CKaString&, setString)
ZELKA_VARIANT_ASSIGN(const wchar_t*, setString)
ZELKA_VARIANT_ASSIGN(const CKaComRef<IUnknown>&, setUnknown)
ZELKA_VARIANT_ASSIGN(const CKaComRef<IDispatch>&, setDispatch)
#undef ZELKA_VARIANT_ASSIGN

// ---- typed access ---------------------------------------------------------------------------

template <class T>
void CKaVariant::SetTyped(const T& value)
{
    typedef TKaAutomationType<T> Type;
    // The new value is made before the old one goes, so a failure leaves the old one.
    CKaOwnedRaw<T> raw;
    Type::Put(raw.Get(), value);
    NewBlankNode();
    StoreField(m_node->value, raw.Release());
    m_node->value.vt = Type::tag;
}

template <class T>
T CKaVariant::GetTyped(VARTYPE tag) const
{
    if (getType() != tag) throw CKaCodeException(KA_E_WRONG_TYPE);
    typedef TKaAutomationType<T> Type;
    return Type::Get(LoadField<typename Type::Raw>(m_node->value));
}

void CKaVariant::setI1(char value) { SetTyped(value); }
void CKaVariant::setI2(short value) { SetTyped(value); }
void CKaVariant::setI4(long value) { SetTyped(value); }
void CKaVariant::setI8(__int64 value) { SetTyped(value); }
void CKaVariant::setU1(unsigned char value) { SetTyped(value); }
void CKaVariant::setU2(unsigned short value) { SetTyped(value); }
void CKaVariant::setU4(unsigned long value) { SetTyped(value); }
void CKaVariant::setU8(unsigned __int64 value) { SetTyped(value); }
void CKaVariant::setF4(float value) { SetTyped(value); }
void CKaVariant::setF8(double value) { SetTyped(value); }
void CKaVariant::setBool(bool value) { SetTyped(value); }
void CKaVariant::setString(const CKaString& value) { SetTyped(value); }
void CKaVariant::setUnknown(const CKaComRef<IUnknown>& value) { SetTyped(value); }
void CKaVariant::setDispatch(const CKaComRef<IDispatch>& value) { SetTyped(value); }

char CKaVariant::getI1() const { return GetTyped<char>(VT_I1); }
short CKaVariant::getI2() const { return GetTyped<short>(VT_I2); }
long CKaVariant::getI4() const { return GetTyped<long>(VT_I4); }
__int64 CKaVariant::getI8() const { return GetTyped<__int64>(VT_I8); }
unsigned char CKaVariant::getU1() const { return GetTyped<unsigned char>(VT_UI1); }
unsigned short CKaVariant::getU2() const { return GetTyped<unsigned short>(VT_UI2); }
unsigned long CKaVariant::getU4() const { return GetTyped<unsigned long>(VT_UI4); }
// VT_UI4 on purpose: see the declaration.
unsigned __int64 CKaVariant::getU8() const { return GetTyped<unsigned __int64>(VT_UI4); }
float CKaVariant::getF4() const { return GetTyped<float>(VT_R4); }
double CKaVariant::getF8() const { return GetTyped<double>(VT_R8); }
bool CKaVariant::getBool() const { return GetTyped<bool>(VT_BOOL); }
CKaString CKaVariant::getString() const { return GetTyped<CKaString>(VT_BSTR); }
CKaComRef<IUnknown> CKaVariant::getUnknown() const
{
    return GetTyped<CKaComRef<IUnknown>>(VT_UNKNOWN);
}
CKaComRef<IDispatch> CKaVariant::getDispatch() const
{
    return GetTyped<CKaComRef<IDispatch>>(VT_DISPATCH);
}

// ---- raw access -----------------------------------------------------------------------------

const VARIANT* CKaVariant::getP() const
{
    return m_node ? &m_node->value : &g_emptyVariant;
}

VARIANT CKaVariant::Copy() const
{
    VARIANT copy;
    VariantInit(&copy);
    KaThrowIfFailed(KaCopyVariant(copy, *getP()));
    return copy;
}

VARIANT* CKaVariant::operator&()
{
    NewBlankNode();
    return &m_node->value;
}

void CKaVariant::Attach(const VARIANT& value)
{
    if (m_node) KaCheckNotLockedInPlace(m_node->lockMode);
    if (m_node && m_node->refCount < 2) {
        ClearNodeData();
    } else {
        NewBlankNode();
    }
    m_node->value = value;
}

VARIANT CKaVariant::Detach()
{
    VARIANT value;
    VariantInit(&value);
    if (!m_node) return value;
    KaCheckNotLockedInPlace(m_node->lockMode);
    UnshareNode();
    value = m_node->value;
    VariantInit(&m_node->value);
    return value;
}

VARIANT* CKaVariant::Unshare()
{
    return &TPayload::Rules::MakePrivate(m_node, [&] { NewBlankNode(); })->value;
}

VARIANT* CKaVariant::Lock(bool exclusive)
{
    VARIANT* value = Unshare();
    TPayload::Rules::SetLock(m_node, exclusive);
    return value;
}

void CKaVariant::Unlock()
{
    TPayload::Rules::ClearLock(m_node);
}

// ---- whole values ---------------------------------------------------------------------------

void CKaVariant::Clear()
{
    if (getType() == VT_EMPTY) return;
    UnshareNode();
    ClearNodeData();
}

void CKaVariant::ChangeType(VARTYPE type, unsigned short flags)
{
    if (!m_node && type == VT_EMPTY) return;
    VARIANT* value = Unshare();
    KaThrowIfFailed(VariantChangeType(value, value, flags, type));
}

void CKaVariant::SetValue(const VARIANT& value)
{
    NewNode(value);
}

void CKaVariant::SetValue(const CKaVariant& other)
{
    TPayload::Rules::Assign(
        m_node, other.m_node, [&](const TNode& node) { SetValue(node.value); }, [&] { Clear(); });
}

namespace {

template <class T>
bool SameValue(const VARIANT& a, const VARIANT& b)
{
    typedef TKaAutomationType<T> Type;
    return Type::Get(LoadField<typename Type::Raw>(a)) ==
           Type::Get(LoadField<typename Type::Raw>(b));
}

} // namespace

bool CKaVariant::IsEqual(const CKaVariant& other) const
{
    if (m_node == other.m_node) return true;
    const VARIANT& a = *getP();
    const VARIANT& b = *other.getP();
    if (a.vt != b.vt) return false;
    // The platform's VarCmp refuses several integer types, so those of the table are compared
    // here; it is asked only about the rest (dates, currency, decimals).
    switch (a.vt) {
    case VT_EMPTY:
    case VT_NULL: return true;
    case VT_I1: return SameValue<char>(a, b);
    case VT_I2: return SameValue<short>(a, b);
    case VT_I4:
    case VT_INT:
    case VT_ERROR: return SameValue<long>(a, b);
    case VT_I8: return SameValue<__int64>(a, b);
    case VT_UI1: return SameValue<unsigned char>(a, b);
    case VT_UI2: return SameValue<unsigned short>(a, b);
    case VT_UI4:
    case VT_UINT: return SameValue<unsigned long>(a, b);
    case VT_UI8: return SameValue<unsigned __int64>(a, b);
    case VT_R4: return SameValue<float>(a, b);
    case VT_R8: return SameValue<double>(a, b);
    case VT_BOOL: return SameValue<bool>(a, b);
    case VT_BSTR:
        return SysStringLen(a.bstrVal) == SysStringLen(b.bstrVal) &&
               std::memcmp(a.bstrVal, b.bstrVal, SysStringByteLen(a.bstrVal)) == 0;
    case VT_UNKNOWN:
    case VT_DISPATCH: return a.punkVal == b.punkVal;
    default: {
        // Both sides have one type, so no locale enters the comparison.
        const HRESULT result =
            VarCmp(const_cast<VARIANT*>(&a), const_cast<VARIANT*>(&b), LOCALE_INVARIANT, 0);
        KaThrowIfFailed(result);
        return result == VARCMP_EQ;
    }
    }
}
