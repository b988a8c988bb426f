#ifndef ZELKA_KAVARIANT_H
#define ZELKA_KAVARIANT_H

#include "kaarray.h"
#include "kaexception.h"
#include "kalockmode.h"
#include "karef.h"
#include "kastring.h"
#include <oleauto.h>

// An automation VARIANT passed around by value: copies share one counted node and the first
// write through a copy gives it a node of its own. The getters are strict: a getter for another
// type than the stored one throws KA_E_WRONG_TYPE, never converts (ChangeType converts).
// A lock on the node keeps a raw pointer into it valid; a node locked in place (exclusively)
// is never released, replaced, attached over or detached from.
class ZELKA_API CKaVariant
{
public:
    struct TNode : CKaNewDeleteMixin
    {
        VARIANT value;
        TKaLockMode lockMode;
        volatile long refCount;
    };

    CKaVariant() noexcept : m_node(nullptr) {}
    CKaVariant(const CKaVariant& other);
    // A deep copy.
    CKaVariant(const VARIANT& value);
    CKaVariant(char value);
    CKaVariant(short value);
    CKaVariant(long value);
    CKaVariant(__int64 value);
    CKaVariant(unsigned char value);
    CKaVariant(unsigned short value);
    CKaVariant(unsigned long value);
    CKaVariant(unsigned __int64 value);
    // A plain int literal would otherwise match every integer form (and a 0 the pointer forms)
    // equally well; it is a VT_I4 as it would be in an automation call.
    CKaVariant(int value);
    CKaVariant(unsigned int value);
    CKaVariant(float value);
    CKaVariant(double value);
    CKaVariant(bool value);
    CKaVariant(const CKaString& value);
    // Without this a text literal would be converted to bool.
    CKaVariant(const wchar_t* value);
    CKaVariant(const CKaComRef<IUnknown>& value);
    CKaVariant(const CKaComRef<IDispatch>& value);
    // Lets go of the node without looking at its lock: a destructor cannot refuse.
    virtual ~CKaVariant();

    const CKaVariant& operator=(const CKaVariant& other);
    const CKaVariant& operator=(const VARIANT& value);
    const CKaVariant& operator=(char value);
    const CKaVariant& operator=(short value);
    const CKaVariant& operator=(long value);
    const CKaVariant& operator=(__int64 value);
    const CKaVariant& operator=(unsigned char value);
    const CKaVariant& operator=(unsigned short value);
    const CKaVariant& operator=(unsigned long value);
    const CKaVariant& operator=(unsigned __int64 value);
    const CKaVariant& operator=(int value);
    const CKaVariant& operator=(unsigned int value);
    const CKaVariant& operator=(float value);
    const CKaVariant& operator=(double value);
    const CKaVariant& operator=(bool value);
    const CKaVariant& operator=(const CKaString& value);
    const CKaVariant& operator=(const wchar_t* value);
    const CKaVariant& operator=(const CKaComRef<IUnknown>& value);
    const CKaVariant& operator=(const CKaComRef<IDispatch>& value);

    // Each setter discards the old value by taking a fresh node: it never copies it.
    void setI1(char value);
    void setI2(short value);
    void setI4(long value);
    void setI8(__int64 value);
    void setU1(unsigned char value);
    void setU2(unsigned short value);
    void setU4(unsigned long value);
    void setU8(unsigned __int64 value);
    void setF4(float value);
    void setF8(double value);
    void setBool(bool value);
    void setString(const CKaString& value);
    void setUnknown(const CKaComRef<IUnknown>& value);
    void setDispatch(const CKaComRef<IDispatch>& value);

    char getI1() const;
    short getI2() const;
    long getI4() const;
    __int64 getI8() const;
    unsigned char getU1() const;
    unsigned short getU2() const;
    unsigned long getU4() const;
    // Requires VT_UI4 (not VT_UI8) and returns all eight bytes of the value field; callers
    // depend on this, so a VT_UI8 variant, even one from setU8, throws KA_E_WRONG_TYPE here.
    unsigned __int64 getU8() const;
    float getF4() const;
    double getF8() const;
    // True for any non-zero stored value.
    bool getBool() const;
    CKaString getString() const;
    CKaComRef<IUnknown> getUnknown() const;
    CKaComRef<IDispatch> getDispatch() const;

    VARTYPE getType() const { return m_node ? m_node->value.vt : static_cast<VARTYPE>(VT_EMPTY); }
    // The stored VARIANT, or a shared empty one when there is no node.
    operator const VARIANT&() const { return *getP(); }
    const VARIANT* getP() const;
    // An independent copy the caller owns (VariantCopy).
    VARIANT Copy() const;
    // A fresh blank node for a COM call's output argument; the old value is let go first.
    VARIANT* operator&();
    // Takes over `value` without copying it: the caller must not clear it afterwards. When the
    // call throws, nothing was taken.
    void Attach(const VARIANT& value);
    // Hands the value out (the caller owns it) and leaves this variant empty; other sharers
    // keep their value.
    VARIANT Detach();
    // The variant's own VARIANT, writable: a blank node when there is none, a copy of a shared one.
    VARIANT* Unshare();
    // As Unshare, and marks the node locked (exclusive: locked in place).
    VARIANT* Lock(bool exclusive);
    void Unlock();
    bool getLocked() const { return getLockMode() != KaLockNone; }
    TKaLockMode getLockMode() const { return m_node ? m_node->lockMode : KaLockNone; }

    void Clear();
    // Converts in place through the platform (VariantChangeType, no locale of our own).
    void ChangeType(VARTYPE type, unsigned short flags);
    void SetValue(const VARIANT& value);
    // Shares the other node; copies the value instead when either node is locked.
    void SetValue(const CKaVariant& other);

    // Equal when both have the same type and the same value: no conversion between types,
    // strings compared unit by unit, interfaces by identity, other types by the platform.
    bool IsEqual(const CKaVariant& other) const;
    bool operator==(const CKaVariant& other) const { return IsEqual(other); }
    bool operator!=(const CKaVariant& other) const { return !IsEqual(other); }

protected:
    static TNode* AllocateNode();
    void NewBlankNode();
    void NewNode(const VARIANT& value);
    void ReleaseNode();
    void ShareNode(TNode* node);
    void UnshareNode();
    void DetachNode() noexcept;
    void ClearNodeData();
    static void FreeNode(TNode* node) noexcept;

    TNode* m_node;

private:
    struct TPayload;

    template <class T>
    void SetTyped(const T& value);
    template <class T>
    T GetTyped(VARTYPE tag) const;
};

extern template class ZELKA_API CKaArray<CKaVariant>;

#endif
