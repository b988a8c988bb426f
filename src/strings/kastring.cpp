#include "zelka/kastring.h"
#include <cstdint>
#include <cwchar>
#include "zelka/kaexception.h"
#include "kastring_internal.h"

using KaStringDetail::CopyChars;
using KaStringDetail::CopyText;
using KaStringDetail::EmptyBlock;
using KaStringDetail::FillChars;
using KaStringDetail::TextOf;
using KaStringDetail::TextLength;

// ---- block handling -------------------------------------------------------------------------

TKaStringData* CKaString::Data(const wchar_t* text)
{
    return KaStringDetail::BlockOf(text);
}

TKaStringData* CKaString::Data() const
{
    return Data(m_text);
}

TKaStringData* CKaString::NewData(unsigned long capacity, TKaLockMode lockState)
{
    if (capacity == 0 && lockState == KaLockNone) return EmptyBlock();
    if (capacity == 0xFFFFFFFF) throw CKaCodeException(E_OUTOFMEMORY); // no room for the 0
    TKaStringData* data = CKaStringTraits::AllocateData(capacity + 1);
    data->refCount = 0;
    data->capacity = capacity;
    data->lockState = lockState;
    data->length = 0;
    TextOf(data)[0] = 0;
    return data;
}

void CKaString::TakeData(TKaStringData* data)
{
    if (data != EmptyBlock()) InterlockedIncrement(&data->refCount);
}

void CKaString::DropData(TKaStringData* data)
{
    if (data == EmptyBlock()) return;
    if (InterlockedDecrement(&data->refCount) < 1) CKaStringTraits::FreeData(data);
}

void CKaString::SetDataLength(TKaStringData* data, unsigned long length)
{
    if (data == EmptyBlock()) return;
    data->length = length;
    TextOf(data)[length] = 0;
}

bool CKaString::IsWritableInPlace(const TKaStringData* data, unsigned long capacity)
{
    return capacity <= data->capacity && (data->refCount == 1 || data->lockState != KaLockNone);
}

void CKaString::Replace(TKaStringData* data)
{
    TKaStringData* old = Data();
    TakeData(data);
    m_text = TextOf(data);
    DropData(old);
}

void CKaString::Rebuild(unsigned long capacity, TKaLockMode lockState, unsigned long index,
                        unsigned long removed, unsigned long inserted)
{
    TKaStringData* old = Data();
    const wchar_t* text = TextOf(old);
    const unsigned long tail = old->length - index - removed;
    TKaStringData* data = NewData(capacity, lockState);
    wchar_t* target = TextOf(data);
    CopyChars(target, text, index);
    CopyChars(target + index + inserted, text + index + removed, tail);
    SetDataLength(data, index + inserted + tail);
    Replace(data);
}

wchar_t* CKaString::Splice(unsigned long index, unsigned long removed, unsigned long inserted)
{
    TKaStringData* data = Data();
    const unsigned long kept = data->length - removed;
    if (inserted > 0xFFFFFFFE - kept) throw CKaCodeException(E_OUTOFMEMORY);
    const unsigned long length = kept + inserted;
    if (IsWritableInPlace(data, length)) {
        wchar_t* text = TextOf(data);
        if (removed != inserted) {
            CopyChars(text + index + inserted, text + index + removed, kept - index);
            SetDataLength(data, length);
        }
    } else {
        KaCheckNotLockedInPlace(data->lockState);
        Rebuild(length, data->lockState, index, removed, inserted);
    }
    return m_text + index;
}

void CKaString::SpliceText(unsigned long index, unsigned long removed, const wchar_t* text,
                           unsigned long count)
{
    if (count && IsOwnText(text)) {
        // The text lives in this very block, which the splice may move or overwrite.
        CKaString copy(text, count);
        SpliceText(index, removed, copy.m_text, count);
        return;
    }
    CopyText(Splice(index, removed, count), text, count);
}

bool CKaString::IsOwnText(const wchar_t* text) const
{
    const TKaStringData* data = Data();
    const auto at = reinterpret_cast<std::uintptr_t>(text);
    const auto begin = reinterpret_cast<std::uintptr_t>(m_text);
    return data != EmptyBlock() && at >= begin &&
           at <= begin + data->capacity * sizeof(wchar_t);
}

// ---- construction and assignment ------------------------------------------------------------

CKaString::CKaString() : m_text(TextOf(EmptyBlock())) {}

CKaString::CKaString(const CKaString& other) : CKaString()
{
    SetText(other);
}

CKaString::CKaString(const wchar_t* text) : CKaString()
{
    SetText(text);
}

CKaString::CKaString(const wchar_t* text, unsigned long count) : CKaString()
{
    SetText(text, count);
}

CKaString::CKaString(wchar_t ch, unsigned long count) : CKaString()
{
    SetText(ch, count);
}

CKaString::~CKaString()
{
    DropData(Data());
}

CKaString& CKaString::operator=(const CKaString& other)
{
    SetText(other);
    return *this;
}

CKaString& CKaString::operator=(const wchar_t* text)
{
    SetText(text);
    return *this;
}

void CKaString::SetText(const CKaString& other)
{
    TKaStringData* mine = Data();
    TKaStringData* theirs = other.Data();
    if (mine == theirs) return;
    if (mine->lockState == KaLockNone && theirs->lockState == KaLockNone) {
        Replace(theirs);
        return;
    }
    // A locked block is never shared: the characters are copied instead.
    SetText(other.m_text ? other.m_text : CKaStringTraits::Empty(), theirs->length);
}

void CKaString::SetText(const wchar_t* text)
{
    SetText(text, TextLength(text));
}

void CKaString::SetText(const wchar_t* text, unsigned long count)
{
    if (!text) count = 0;
    TKaStringData* data = Data();
    if (count == 0 && data->length == 0) return;
    SpliceText(0, data->length, text, count);
}

void CKaString::SetText(wchar_t ch, unsigned long count)
{
    TKaStringData* data = Data();
    if (count == 0 && data->length == 0) return;
    FillChars(Splice(0, data->length, count), ch, count);
}

// ---- reading, comparison, search ------------------------------------------------------------

unsigned long CKaString::getLength() const
{
    return Data()->length;
}

unsigned long CKaString::getCapacity() const
{
    return Data()->capacity;
}

bool CKaString::getIsEmpty() const
{
    return Data()->length == 0;
}

const wchar_t* CKaString::getSz() const
{
    return m_text ? m_text : CKaStringTraits::Empty();
}

CKaString::operator const wchar_t*() const
{
    return getSz();
}

long CKaString::Compare(const wchar_t* other) const
{
    return CKaStringTraits::Compare(getSz(), other ? other : CKaStringTraits::Empty());
}

long CKaString::CompareNoCase(const wchar_t* other) const
{
    return CKaStringTraits::CompareNoCase(getSz(), other ? other : CKaStringTraits::Empty());
}

long CKaString::Collate(const wchar_t* other) const
{
    return CKaStringTraits::Collate(getSz(), other ? other : CKaStringTraits::Empty());
}

long CKaString::CollateNoCase(const wchar_t* other) const
{
    return CKaStringTraits::CollateNoCase(getSz(), other ? other : CKaStringTraits::Empty());
}

void CKaString::CheckIndex(unsigned long index) const
{
    KaCheckRange(index, 0, getLength());
}

// ---- storage --------------------------------------------------------------------------------

void CKaString::Grow(unsigned long capacity)
{
    TKaStringData* data = Data();
    if (data->capacity >= capacity) return;
    KaCheckNotLockedInPlace(data->lockState);
    Rebuild(capacity, data->lockState, data->length, 0, 0);
}

void CKaString::Shrink(unsigned long capacity)
{
    TKaStringData* data = Data();
    if (data->capacity <= capacity) return;
    KaCheckNotLockedInPlace(data->lockState);
    if (capacity < data->length) throw CKaCodeException(KA_E_LENGTH_BEYOND_CAPACITY);
    Rebuild(capacity, data->lockState, data->length, 0, 0);
}

void CKaString::ShrinkToFit()
{
    Shrink(getLength());
}

wchar_t* CKaString::Unshare()
{
    return UnshareGrow(0);
}

wchar_t* CKaString::UnshareGrow(unsigned long capacity)
{
    TKaStringData* data = Data();
    if (capacity < data->length) capacity = data->length;
    if (!IsWritableInPlace(data, capacity)) {
        KaCheckNotLockedInPlace(data->lockState);
        Rebuild(capacity, data->lockState, data->length, 0, 0);
    }
    return m_text;
}

void CKaString::LockData(TKaLockMode lockState, unsigned long capacity)
{
    TKaStringData* data = Data();
    if (data->lockState != KaLockNone) throw CKaCodeException(KA_E_ALREADY_LOCKED);
    if (capacity < data->length) capacity = data->length;
    if (IsWritableInPlace(data, capacity)) {
        data->lockState = lockState;
    } else {
        // The new block is born locked, so even an empty string gets a block of its own.
        Rebuild(capacity, lockState, data->length, 0, 0);
    }
}

wchar_t* CKaString::Lock(bool inPlace)
{
    return LockGrow(getCapacity(), inPlace);
}

wchar_t* CKaString::LockGrow(unsigned long capacity, bool inPlace)
{
    LockData(inPlace ? KaLockInPlace : KaLockLocked, capacity);
    return m_text;
}

TKaStringData* CKaString::LockedData() const
{
    TKaStringData* data = Data();
    if (data->lockState == KaLockNone) throw CKaCodeException(KA_E_NOT_LOCKED);
    return data;
}

void CKaString::Unlock(unsigned long length)
{
    TKaStringData* data = LockedData();
    if (length > data->capacity) throw CKaCodeException(KA_E_LENGTH_BEYOND_CAPACITY);
    SetDataLength(data, length);
    data->lockState = KaLockNone;
}

void CKaString::UnlockKeepLength()
{
    TKaStringData* data = LockedData();
    SetDataLength(data, data->length);
    data->lockState = KaLockNone;
}

void CKaString::UnlockFindNull()
{
    TKaStringData* data = LockedData();
    // The owner may have written without a terminator: look no further than the capacity.
    SetDataLength(data, static_cast<unsigned long>(wcsnlen(m_text, data->capacity)));
    data->lockState = KaLockNone;
}

void CKaString::setLength(unsigned long length)
{
    const unsigned long current = getLength();
    if (length >= current) {
        Splice(current, 0, length - current);
    } else {
        Splice(length, current - length, 0);
    }
}

void CKaString::SetLengthFill(unsigned long length, wchar_t ch)
{
    const unsigned long current = getLength();
    setLength(length);
    if (length > current) FillChars(m_text + current, ch, length - current);
}

void CKaString::Clear()
{
    TKaStringData* data = Data();
    if (data->refCount == 1 || data->lockState != KaLockNone) {
        SetDataLength(data, 0);
    } else {
        Replace(EmptyBlock());
    }
}
