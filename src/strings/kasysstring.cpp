// The BSTR twin of CKaString: its node, the ownership of the BSTR, construction, reading and
// number parsing.
#include "zelka/kasysstring.h"
#include <climits>
#include <cstring>
#include <memory>
#include "zelka/kaexception.h"
#include "zelka/kahandle.h"
#include "zelka/kaobject.h"

// Copies share one node; the node owns its BSTR.
struct TKaSysStringNode : public CKaNewDeleteMixin
{
    BSTR bstr;
    TKaLockMode lockMode;
    volatile long refCount; // interlocked only
};

namespace {

// The empty BSTR getSz() hands out for every empty string, made once and kept for the life of
// the process. Two threads may race to make it: the loser frees its own.
BSTR g_emptyBstr = nullptr;

BSTR SharedEmptyBstr()
{
    BSTR empty = g_emptyBstr;
    if (empty) return empty;
    BSTR made = SysAllocString(L"");
    if (!made) throw CKaCodeException(E_OUTOFMEMORY);
    void* previous = InterlockedCompareExchangePointer(reinterpret_cast<void**>(&g_emptyBstr),
                                                       made, nullptr);
    if (!previous) return made;
    SysFreeString(made);
    return static_cast<BSTR>(previous);
}

// A new BSTR of exactly `count` units (left uninitialised when `text` is null).
CKaOwnedBstr AllocatedBstr(const wchar_t* text, unsigned long count)
{
    // The system counts in UINT but a BSTR's byte length must fit 32 bits.
    if (count > (UINT_MAX - sizeof(wchar_t)) / sizeof(wchar_t) / 2) {
        throw CKaCodeException(E_OUTOFMEMORY);
    }
    CKaOwnedBstr bstr(SysAllocStringLen(text, count));
    if (!bstr) throw CKaCodeException(E_OUTOFMEMORY);
    return bstr;
}

TKaSysStringNode* NewNode(BSTR bstr)
{
    TKaSysStringNode* node = new TKaSysStringNode;
    node->bstr = bstr;
    node->lockMode = KaLockNone;
    node->refCount = 1;
    return node;
}

void ThrowAsCode(const CKaRef<CKaError>& error)
{
    if (error) throw CKaCodeException(error->getCode());
}

// A value parsed as the widest type of its sign, which must fit the narrower one.
template <class Narrow, class Wide>
Narrow Narrowed(Wide value)
{
    const Narrow narrow = static_cast<Narrow>(value);
    if (static_cast<Wide>(narrow) != value) throw CKaCodeException(E_FAIL);
    return narrow;
}

bool IsLocked(const TKaSysStringNode* node)
{
    return node && node->lockMode != KaLockNone;
}

} // namespace

// ---- the node -------------------------------------------------------------------------------

void CKaSysString::ReleaseNode() noexcept
{
    TKaSysStringNode* node = m_node;
    m_node = nullptr;
    if (node && InterlockedDecrement(&node->refCount) < 1) {
        SysFreeString(node->bstr);
        delete node;
    }
}

void CKaSysString::MakeBlankNode()
{
    TKaSysStringNode* node = NewNode(nullptr);
    ReleaseNode();
    m_node = node;
}

void CKaSysString::Store(wchar_t* text)
{
    if (text && m_node && text == m_node->bstr) return; // already ours
    if (!m_node || m_node->refCount > 1) {
        // Whoever shares the node keeps its text; we start afresh.
        MakeBlankNode();
    } else if (m_node->bstr) {
        KaCheckNotLockedInPlace(m_node->lockMode);
    }
    SysFreeString(m_node->bstr);
    m_node->bstr = text;
}

wchar_t* CKaSysString::Unshare()
{
    if (!m_node) return nullptr;
    if (m_node->refCount > 1) {
        // SysAllocString stops at the first 0: the copy keeps only the text before it.
        CKaOwnedBstr copy;
        if (m_node->bstr) {
            copy.Reset(SysAllocString(m_node->bstr));
            if (!copy) throw CKaCodeException(E_OUTOFMEMORY);
        }
        TKaSysStringNode* node = NewNode(copy.Get());
        copy.Release();
        ReleaseNode();
        m_node = node;
    }
    return m_node->bstr;
}

// ---- edited text --------------------------------------------------------------------------------

CKaString CKaSysString::EditableText()
{
    // Unsharing first is what makes a shared text lose everything from its first 0 on.
    Unshare();
    return getString();
}

void CKaSysString::StoreText(const CKaString& text)
{
    const unsigned long length = text.getLength();
    if (m_node && m_node->bstr && length == getLength()) {
        // Same length: the BSTR is rewritten where it is, so even one locked in place can be.
        if (length) std::memcpy(m_node->bstr, text.getSz(), length * sizeof(wchar_t));
        return;
    }
    SetText(text.getSz(), length);
}

// ---- construction and assignment ------------------------------------------------------------

CKaSysString::CKaSysString(const CKaSysString& other) : CKaSysString()
{
    SetText(other);
}

CKaSysString::CKaSysString(const wchar_t* text) : CKaSysString()
{
    SetText(text);
}

CKaSysString::CKaSysString(const wchar_t* text, unsigned long count) : CKaSysString()
{
    SetText(text, count);
}

CKaSysString::CKaSysString(wchar_t ch, unsigned long count) : CKaSysString()
{
    SetText(ch, count);
}

CKaSysString::CKaSysString(const char* text) : CKaSysString()
{
    SetText(text);
}

CKaSysString::CKaSysString(const char* text, unsigned long count) : CKaSysString()
{
    SetText(text, count);
}

CKaSysString::~CKaSysString()
{
    ReleaseNode();
}

CKaSysString& CKaSysString::operator=(const CKaSysString& other)
{
    SetText(other);
    return *this;
}

CKaSysString& CKaSysString::operator=(CKaSysString&& other)
{
    if (this == std::addressof(other)) return *this;
    if (IsLocked(m_node) || IsLocked(other.m_node)) {
        SetText(other);
        return *this;
    }
    ReleaseNode();
    m_node = other.m_node;
    other.m_node = nullptr;
    return *this;
}

CKaSysString& CKaSysString::operator=(const wchar_t* text)
{
    SetText(text);
    return *this;
}

CKaSysString& CKaSysString::operator=(const char* text)
{
    SetText(text);
    return *this;
}

void CKaSysString::SetText(const CKaSysString& other)
{
    if (m_node == other.m_node) return;
    if (IsLocked(m_node) || IsLocked(other.m_node)) {
        // A locked node is never shared: the text is copied instead.
        SetText(other.Text(), other.getLength());
        return;
    }
    if (other.m_node) InterlockedIncrement(&other.m_node->refCount);
    ReleaseNode();
    m_node = other.m_node;
}

void CKaSysString::SetText(const wchar_t* text)
{
    SetText(text, text ? static_cast<unsigned long>(std::wcslen(text)) : 0);
}

void CKaSysString::SetText(const wchar_t* text, unsigned long count)
{
    if (!text) count = 0;
    if (count == 0 && getLength() == 0) return;
    CKaOwnedBstr copy;
    if (count) copy = AllocatedBstr(text, count);
    Store(copy.Get());
    copy.Release();
}

void CKaSysString::SetText(wchar_t ch, unsigned long count)
{
    if (count == 0 && getLength() == 0) return;
    CKaOwnedBstr copy;
    if (count) {
        copy = AllocatedBstr(nullptr, count);
        for (unsigned long i = 0; i < count; ++i) copy.Get()[i] = ch;
    }
    Store(copy.Get());
    copy.Release();
}

void CKaSysString::SetText(const char* text)
{
    const CKaString converted(text);
    SetText(converted.getSz(), converted.getLength());
}

void CKaSysString::SetText(const char* text, unsigned long count)
{
    const CKaString converted(text, count);
    SetText(converted.getSz(), converted.getLength());
}

// ---- reading --------------------------------------------------------------------------------

const wchar_t* CKaSysString::Text() const
{
    return m_node && m_node->bstr ? m_node->bstr : L"";
}

const wchar_t* CKaSysString::getSz() const
{
    return m_node && m_node->bstr ? m_node->bstr : SharedEmptyBstr();
}

CKaSysString::operator wchar_t*() const
{
    return m_node ? m_node->bstr : nullptr;
}

unsigned long CKaSysString::getLength() const
{
    return m_node ? SysStringLen(m_node->bstr) : 0;
}

wchar_t CKaSysString::getAt(unsigned long index) const
{
    KaCheckIndex(index, getLength());
    return m_node->bstr[index];
}

wchar_t CKaSysString::operator[](int index) const
{
    return getAt(KaCheckedIndex(index));
}

void CKaSysString::setAt(unsigned long index, wchar_t ch)
{
    Unshare();
    KaCheckRange(index, 1, getLength());
    // One unit changes in place: the BSTR keeps its length and address.
    m_node->bstr[index] = ch;
}

CKaString CKaSysString::getString() const
{
    return CKaString(Text(), getLength());
}

CKaString::CKaString(const CKaSysString& text) : CKaString(text.getString()) {}

CKaString& CKaString::operator=(const CKaSysString& text)
{
    SetText(text);
    return *this;
}

void CKaString::SetText(const CKaSysString& text)
{
    SetText(text.getString());
}

CKaSysString CKaString::getSysString() const
{
    return CKaSysString(getSz(), getLength());
}

long CKaSysString::Compare(const wchar_t* other) const
{
    return CKaStringTraits::Compare(Text(), other ? other : L"");
}

long CKaSysString::CompareNoCase(const wchar_t* other) const
{
    return CKaStringTraits::CompareNoCase(Text(), other ? other : L"");
}

long CKaSysString::Collate(const wchar_t* other) const
{
    return CKaStringTraits::Collate(Text(), other ? other : L"");
}

long CKaSysString::CollateNoCase(const wchar_t* other) const
{
    return CKaStringTraits::CollateNoCase(Text(), other ? other : L"");
}

// ---- the BSTR and its ownership -------------------------------------------------------------

wchar_t* CKaSysString::Copy() const
{
    return AllocatedBstr(Text(), getLength()).Release();
}

void CKaSysString::Attach(wchar_t* bstr)
{
    // Stricter than the other replacements: a node locked in place refuses even when it has
    // no text yet, since its holder may be about to write through the pointer it was given.
    if (m_node) KaCheckNotLockedInPlace(m_node->lockMode);
    Store(bstr);
}

wchar_t* CKaSysString::Detach(bool emptyIfNone)
{
    if (m_node) KaCheckNotLockedInPlace(m_node->lockMode);
    if (Unshare()) {
        BSTR bstr = m_node->bstr;
        m_node->bstr = nullptr;
        return bstr;
    }
    return emptyIfNone ? AllocatedBstr(L"", 0).Release() : nullptr;
}

wchar_t** CKaSysString::operator&()
{
    Store(nullptr);
    return &m_node->bstr;
}

wchar_t* CKaSysString::Lock(bool inPlace)
{
    if (m_node) {
        Unshare();
    } else {
        MakeBlankNode();
    }
    m_node->lockMode = inPlace ? KaLockInPlace : KaLockLocked;
    return m_node->bstr;
}

void CKaSysString::Unlock()
{
    if (m_node) m_node->lockMode = KaLockNone;
}

// ---- number parsing -------------------------------------------------------------------------

unsigned __int64 CKaSysString::ToU8(unsigned long radix) const
{
    unsigned __int64 value = 0;
    ThrowAsCode(getString().TryToU8(value, radix));
    return value;
}

__int64 CKaSysString::ToI8(unsigned long radix) const
{
    __int64 value = 0;
    ThrowAsCode(getString().TryToI8(value, radix));
    return value;
}

unsigned char CKaSysString::ToU1(unsigned long radix) const
{
    return Narrowed<unsigned char>(ToU8(radix));
}

unsigned short CKaSysString::ToU2(unsigned long radix) const
{
    return Narrowed<unsigned short>(ToU8(radix));
}

unsigned long CKaSysString::ToU4(unsigned long radix) const
{
    return Narrowed<unsigned long>(ToU8(radix));
}

char CKaSysString::ToI1(unsigned long radix) const
{
    return Narrowed<char>(ToI8(radix));
}

short CKaSysString::ToI2(unsigned long radix) const
{
    return Narrowed<short>(ToI8(radix));
}

long CKaSysString::ToI4(unsigned long radix) const
{
    return Narrowed<long>(ToI8(radix));
}

float CKaSysString::ToF4() const
{
    float value = 0;
    ThrowAsCode(getString().TryToF4(value));
    return value;
}

double CKaSysString::ToF8() const
{
    double value = 0;
    ThrowAsCode(getString().TryToF8(value));
    return value;
}
