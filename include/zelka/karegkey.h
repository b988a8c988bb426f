#ifndef ZELKA_KAREGKEY_H
#define ZELKA_KAREGKEY_H

#include <windows.h>
#include "kaexport.h"
#include "kahandle.h"
#include "kaobject.h"

// The predefined keys a CKaRegKey opens below. KaRegImpersonatedUser is the root of the user
// whom the calling thread impersonates (the current user when it impersonates nobody).
enum TKaRootRegKey
{
    KaRegClassesRoot = 0,
    KaRegCurrentUser = 1,
    KaRegLocalMachine = 2,
    KaRegUsers = 3,
    KaRegPerformanceData = 4,
    KaRegPerformanceText = 5,
    KaRegPerformanceNlsText = 6,
    KaRegCurrentConfig = 7,
    KaRegImpersonatedUser = 8
};

// A counted handle on one open registry key. There is one object per handle in the process:
// FromHandle hands back the object already attached to a handle. An owned key is closed at the
// last release; a borrowed one is only forgotten.
//
// Access masks (REGSAM) go to the system unchanged. An empty key name stands for the key itself,
// an empty value name for the key's default value. Every value and sub-key operation on an
// object with no key throws KA_E_REGKEY_NOT_ATTACHED; a failing registry call throws its Win32
// error as an HRESULT.
class ZELKA_API CKaRegKey : public CKaObject
{
public:
    CKaRegKey();
    // Open(root, "", access).
    CKaRegKey(TKaRootRegKey root, DWORD access);
    // OpenOrCreate(root, name, access) when `create`, else Open(root, name, access).
    CKaRegKey(TKaRootRegKey root, CKaString name, DWORD access, bool create);

    // The key map is locked while a last reference goes, so that FromHandle never hands out an
    // object that is being destroyed.
    unsigned long Release() override;
    // Discard().
    void FinalRelease() override;
    CKaString getObjectTypeInfo() override;

    // Closes an owned key; only forgets a borrowed one (its real owner still closes it).
    virtual void Discard();
    // Hands the key (and the duty to close it) to the caller; null when none is attached.
    virtual HKEY Detach();
    // This object will no longer close the key.
    virtual void DropOwnership();

    // Opens (or creates) `name` below `root` and holds the new key as its owner. A root outside
    // TKaRootRegKey throws KA_E_REGKEY_UNKNOWN_ROOT; whatever fails leaves the object as it was.
    virtual void Open(TKaRootRegKey root, CKaString name, DWORD access);
    virtual void Open(TKaRootRegKey root, DWORD access);
    virtual void OpenOrCreate(TKaRootRegKey root, CKaString name, DWORD access);

    // The same for one root each.
    virtual void OpenClassesRoot(CKaString name, DWORD access);
    virtual void OpenClassesRoot(DWORD access);
    virtual void OpenOrCreateClassesRoot(CKaString name, DWORD access);
    virtual void OpenCurrentUser(CKaString name, DWORD access);
    virtual void OpenCurrentUser(DWORD access);
    virtual void OpenOrCreateCurrentUser(CKaString name, DWORD access);
    virtual void OpenLocalMachine(CKaString name, DWORD access);
    virtual void OpenLocalMachine(DWORD access);
    virtual void OpenOrCreateLocalMachine(CKaString name, DWORD access);
    virtual void OpenUsers(CKaString name, DWORD access);
    virtual void OpenUsers(DWORD access);
    virtual void OpenOrCreateUsers(CKaString name, DWORD access);
    virtual void OpenPerformanceData(CKaString name, DWORD access);
    virtual void OpenPerformanceData(DWORD access);
    virtual void OpenOrCreatePerformanceData(CKaString name, DWORD access);
    virtual void OpenPerformanceText(CKaString name, DWORD access);
    virtual void OpenPerformanceText(DWORD access);
    virtual void OpenOrCreatePerformanceText(CKaString name, DWORD access);
    virtual void OpenPerformanceNlsText(CKaString name, DWORD access);
    virtual void OpenPerformanceNlsText(DWORD access);
    virtual void OpenOrCreatePerformanceNlsText(CKaString name, DWORD access);
    virtual void OpenCurrentConfig(CKaString name, DWORD access);
    virtual void OpenCurrentConfig(DWORD access);
    virtual void OpenOrCreateCurrentConfig(CKaString name, DWORD access);
    virtual void OpenImpersonatedUser(CKaString name, DWORD access);
    virtual void OpenImpersonatedUser(DWORD access);
    virtual void OpenOrCreateImpersonatedUser(CKaString name, DWORD access);

    // Closes an owned key; a borrowed one is refused with KA_E_REGKEY_NOT_OWNER.
    virtual void Close();

    // 32-bit values (REG_DWORD). A value of another type throws KA_E_REGKEY_WRONG_TYPE; Query
    // answers false for a missing value, Read throws 0x80070002 for it.
    virtual DWORD ReadU4(CKaString name);
    virtual DWORD ReadU4WithDefault(CKaString name, DWORD defaultValue);
    virtual bool QueryU4(CKaString name, DWORD& value);
    virtual void WriteU4(CKaString name, DWORD value);
    // Texts (REG_SZ, REG_EXPAND_SZ unexpanded, the first string of a REG_MULTI_SZ); written as
    // REG_SZ. Other types and missing values as for the 32-bit values.
    virtual CKaString ReadString(CKaString name);
    virtual CKaString ReadStringWithDefault(CKaString name, CKaString defaultValue);
    virtual bool QueryString(CKaString name, CKaString& value);
    virtual void WriteString(CKaString name, CKaString value);
    // A missing value is an error too.
    virtual void DeleteValue(CKaString name);

    // Sub-keys come back as their own owned key objects.
    virtual CKaRef<CKaRegKey> OpenSubKey(CKaString name, DWORD access);
    virtual CKaRef<CKaRegKey> OpenSubKey(DWORD index, DWORD access);
    virtual CKaRef<CKaRegKey> OpenOrCreateSubKey(CKaString name, DWORD access);
    // With `recursive`, a missing key counts as deleted and every descendant goes first;
    // without it, a key that has sub-keys cannot be deleted.
    virtual void DeleteSubKey(CKaString name, bool recursive);

    HKEY getHandle() const;
    bool getIsAttached() const;
    bool getIsOwner() const;
    unsigned long getSubKeyCount() const;
    // Past the last sub-key this throws 0x80070103 (ERROR_NO_MORE_ITEMS).
    CKaString getSubKeyName(DWORD index) const;

    // Any value as the system stores it: its type, and its bytes into `data`, which holds
    // `size` bytes; `size` comes back as the bytes stored. False, with nothing stored, when the
    // value is missing; a value longer than `data` throws 0x800700EA (ERROR_MORE_DATA), with
    // the size it needs in `size`.
    bool QueryValue(CKaString name, DWORD& type, void* data, DWORD& size) const;
    // Stores `size` bytes from `data` as a value of `type`.
    void WriteValue(CKaString name, DWORD type, const void* data, DWORD size);

    // The object attached to `key`, made (and entered in the process's key map) when there is
    // none yet. `owner` true makes that object the key's owner; false never takes ownership
    // away. A null key gives a null reference.
    static CKaRef<CKaRegKey> FromHandle(HKEY key, bool owner);
    // How many key objects are attached in this process: a leak check for callers' tests.
    static unsigned long getAttachedCount();

protected:
    ~CKaRegKey() override;

    // Deletes `name` below `parent`: with `recursive` its descendants first, depth first, and a
    // missing key is no error.
    static void DeleteTree(HKEY parent, CKaString name, bool recursive);

private:
    // The attached key; KA_E_REGKEY_NOT_ATTACHED when there is none.
    HKEY AttachedKey() const;
    // Discards what is held, then holds `key` as its owner.
    void Hold(CKaOwnedRegKey key);

    HKEY m_key;
    bool m_owner;
};

#endif
