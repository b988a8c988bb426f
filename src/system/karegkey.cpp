#include "zelka/karegkey.h"
#include <cwchar>
#include <optional>
#include "zelka/kaexception.h"
#include "zelka/kamap.h"
#include "zelka/kasimplebuffer.h"
#include "system/karegkeymap.h"

namespace {

typedef CKaMap<HKEY, CKaRegKey*> TKaKeyMap;

// The process's one entry per attached handle. It holds plain pointers: an entry never keeps
// its object alive; the object takes its entry out when it lets the handle go.
//
// The map exists only between process attach and detach. The trace reads its configuration
// through key objects before the map is made (it starts first and stops last), so every key
// operation also works without the map; only the one-object-per-handle rule needs it.
std::optional<TKaKeyMap> g_keyMap;
CRITICAL_SECTION g_keyMapLock;

// Runs `use` with the map under its lock, or with null (and no lock) while there is no map.
template <class Use>
auto WithKeyMap(Use use) -> decltype(use(static_cast<TKaKeyMap*>(nullptr)))
{
    if (!g_keyMap) return use(static_cast<TKaKeyMap*>(nullptr));
    CKaSectionGuard guard(g_keyMapLock);
    return use(&*g_keyMap);
}

// Room for a sub-key name; the system allows 255 characters.
const DWORD kNameBufferLength = 520;
// Room for a text value before the heap is needed: 0x410 bytes.
const DWORD kTextBufferLength = 520;

void CheckRegistry(LONG result)
{
    if (result != ERROR_SUCCESS) KaThrowWin32Error(result);
}

// The predefined key each root stands for, in TKaRootRegKey order.
const HKEY g_predefinedRoots[] = {HKEY_CLASSES_ROOT,        HKEY_CURRENT_USER,
                                  HKEY_LOCAL_MACHINE,       HKEY_USERS,
                                  HKEY_PERFORMANCE_DATA,    HKEY_PERFORMANCE_TEXT,
                                  HKEY_PERFORMANCE_NLSTEXT, HKEY_CURRENT_CONFIG};

HKEY RootKey(TKaRootRegKey root, DWORD access)
{
    const unsigned long index = static_cast<unsigned long>(root);
    if (index < sizeof(g_predefinedRoots) / sizeof(g_predefinedRoots[0])) {
        return g_predefinedRoots[index];
    }
    if (root != KaRegImpersonatedUser) throw CKaCodeException(KA_E_REGKEY_UNKNOWN_ROOT);
    // The impersonated user's root is opened for every open below it and stays open afterwards:
    // long-standing behaviour, kept so that a caller who relied on that handle is not broken.
    HKEY user = nullptr;
    CheckRegistry(RegOpenCurrentUser(access, &user));
    return user;
}

CKaOwnedRegKey OpenKey(HKEY parent, const CKaString& name, DWORD access)
{
    CKaOwnedRegKey key;
    CheckRegistry(RegOpenKeyExW(parent, name, 0, access, key.Receive()));
    return key;
}

CKaOwnedRegKey CreateKey(HKEY parent, const CKaString& name, DWORD access)
{
    CKaOwnedRegKey key;
    CheckRegistry(RegCreateKeyExW(parent, name, 0, nullptr, REG_OPTION_NON_VOLATILE, access,
                                  nullptr, key.Receive(), nullptr));
    return key;
}

// A key object that owns `key`; the handle stays with `key` (and is closed) if none can be made.
CKaRef<CKaRegKey> Adopt(CKaOwnedRegKey key)
{
    CKaRef<CKaRegKey> object = CKaRegKey::FromHandle(key.Get(), true);
    key.Release();
    return object;
}

// One query of a value. The answers a caller decides on (stored, missing, buffer too small) come
// back; every other failure is thrown. The type is reported in all three.
LONG QueryRaw(HKEY key, const CKaString& name, DWORD& type, void* data, DWORD& size)
{
    type = REG_NONE;
    const LONG result =
        RegQueryValueExW(key, name, nullptr, &type, static_cast<BYTE*>(data), &size);
    if (result != ERROR_SUCCESS && result != ERROR_FILE_NOT_FOUND && result != ERROR_MORE_DATA) {
        KaThrowWin32Error(result);
    }
    return result;
}

bool IsTextType(DWORD type)
{
    return type == REG_SZ || type == REG_EXPAND_SZ || type == REG_MULTI_SZ;
}

// The sub-key at `index`: ERROR_SUCCESS, or the system's answer (ERROR_NO_MORE_ITEMS past the
// end).
LONG EnumSubKey(HKEY key, DWORD index, CKaString& name)
{
    wchar_t buffer[kNameBufferLength];
    DWORD length = kNameBufferLength;
    const LONG result =
        RegEnumKeyExW(key, index, buffer, &length, nullptr, nullptr, nullptr, nullptr);
    if (result == ERROR_SUCCESS) name = CKaString(buffer, length);
    return result;
}

// False when `name` was missing (and so nothing was deleted).
bool DeleteKeyTree(HKEY parent, const CKaString& name, bool recursive)
{
    if (recursive) {
        CKaOwnedRegKey key;
        const LONG opened = RegOpenKeyExW(parent, name, 0, KEY_READ | KEY_WRITE, key.Receive());
        if (opened == ERROR_FILE_NOT_FOUND) return false;
        CheckRegistry(opened);
        // Always the first child: the one before it is gone. A child that is listed but cannot
        // be found (a link to a missing key) ends the walk instead of being asked for forever;
        // the delete below then reports the children left.
        CKaString child;
        while (EnumSubKey(key.Get(), 0, child) == ERROR_SUCCESS &&
               DeleteKeyTree(key.Get(), child, true)) {
        }
    }
    CheckRegistry(RegDeleteKeyW(parent, name));
    return true;
}

} // namespace

void KaCreateRegKeyMap()
{
    InitializeCriticalSection(&g_keyMapLock);
    g_keyMap.emplace(17);
}

void KaDestroyRegKeyMap()
{
    if (!g_keyMap) return;
    // Objects still attached carry on without the map.
    g_keyMap.reset();
    DeleteCriticalSection(&g_keyMapLock);
}

// ---- construction and life ----------------------------------------------------------------

CKaRegKey::CKaRegKey() : m_key(nullptr), m_owner(false) {}

CKaRegKey::CKaRegKey(TKaRootRegKey root, DWORD access) : CKaRegKey()
{
    Open(root, access);
}

CKaRegKey::CKaRegKey(TKaRootRegKey root, CKaString name, DWORD access, bool create) : CKaRegKey()
{
    if (create) {
        OpenOrCreate(root, name, access);
    } else {
        Open(root, name, access);
    }
}

CKaRegKey::~CKaRegKey() = default;

unsigned long CKaRegKey::Release()
{
    return WithKeyMap([this](TKaKeyMap*) { return CKaObject::Release(); });
}

void CKaRegKey::FinalRelease()
{
    // Nobody is left to tell that the system refused to close the key.
    try {
        Discard();
    } catch (const CKaException&) {
    }
}

CKaString CKaRegKey::getObjectTypeInfo()
{
    return ChainTypeInfo(L"zel.core.system.regkey", CKaObject::getObjectTypeInfo());
}

// ---- attachment ---------------------------------------------------------------------------

void CKaRegKey::Discard()
{
    if (m_owner) {
        Close();
    } else {
        Detach();
    }
}

HKEY CKaRegKey::Detach()
{
    const HKEY key = m_key;
    if (key) {
        WithKeyMap([&](TKaKeyMap* map) {
            // The entry may be another object's: every opener of a root itself may be handed the
            // same predefined handle, and a handle closed behind this object's back may be
            // handed out again. That entry stays.
            CKaRegKey* entry = nullptr;
            if (map && map->Lookup(key, entry) && entry == this) map->RemoveKey(key);
        });
    }
    m_key = nullptr;
    m_owner = false;
    return key;
}

void CKaRegKey::DropOwnership()
{
    m_owner = false;
}

void CKaRegKey::Close()
{
    if (m_key && !m_owner) throw CKaCodeException(KA_E_REGKEY_NOT_OWNER);
    const HKEY key = Detach();
    if (key) CheckRegistry(RegCloseKey(key));
}

void CKaRegKey::Hold(CKaOwnedRegKey key)
{
    Discard();
    WithKeyMap([&](TKaKeyMap* map) {
        if (map) map->SetAt(key.Get(), this);
    });
    m_key = key.Release();
    m_owner = true;
}

HKEY CKaRegKey::getHandle() const
{
    return m_key;
}

bool CKaRegKey::getIsAttached() const
{
    return m_key != nullptr;
}

bool CKaRegKey::getIsOwner() const
{
    return m_owner;
}

HKEY CKaRegKey::AttachedKey() const
{
    if (!m_key) throw CKaCodeException(KA_E_REGKEY_NOT_ATTACHED);
    return m_key;
}

CKaRef<CKaRegKey> CKaRegKey::FromHandle(HKEY key, bool owner)
{
    if (!key) return CKaRef<CKaRegKey>();
    return WithKeyMap([&](TKaKeyMap* map) {
        CKaRegKey* found = nullptr;
        if (map && map->Lookup(key, found)) {
            if (owner) found->m_owner = true;
            return CKaRef<CKaRegKey>(found);
        }
        // Entered before it holds the key: if there is no room in the map, the object goes
        // without closing a handle the caller still has.
        CKaRef<CKaRegKey> made = new CKaRegKey();
        if (map) map->SetAt(key, made);
        made->m_key = key;
        made->m_owner = owner;
        return made;
    });
}

unsigned long CKaRegKey::getAttachedCount()
{
    return WithKeyMap([](TKaKeyMap* map) { return map ? map->getCount() : 0ul; });
}

// ---- opening ------------------------------------------------------------------------------

void CKaRegKey::Open(TKaRootRegKey root, CKaString name, DWORD access)
{
    Hold(OpenKey(RootKey(root, access), name, access));
}

void CKaRegKey::Open(TKaRootRegKey root, DWORD access)
{
    Open(root, CKaString(), access);
}

void CKaRegKey::OpenOrCreate(TKaRootRegKey root, CKaString name, DWORD access)
{
    Hold(CreateKey(RootKey(root, access), name, access));
}

#define KA_REGKEY_ROOT_FORMS(Root)                                                             \
    void CKaRegKey::Open##Root(CKaString name, DWORD access)                                  \
    {                                                                                          \
        Open(KaReg##Root, name, access);                                                       \
    }                                                                                          \
    void CKaRegKey::Open##Root(DWORD access)                                                   \
    {                                                                                          \
        Open(KaReg##Root, access);                                                             \
    }                                                                                          \
    void CKaRegKey::OpenOrCreate##Root(CKaString name, DWORD access)                          \
    {                                                                                          \
        OpenOrCreate(KaReg##Root, name, access);                                               \
    }

KA_REGKEY_ROOT_FORMS(ClassesRoot)
KA_REGKEY_ROOT_FORMS(CurrentUser)
KA_REGKEY_ROOT_FORMS(LocalMachine)
KA_REGKEY_ROOT_FORMS(Users)
KA_REGKEY_ROOT_FORMS(PerformanceData)
KA_REGKEY_ROOT_FORMS(PerformanceText)
KA_REGKEY_ROOT_FORMS(PerformanceNlsText)
KA_REGKEY_ROOT_FORMS(CurrentConfig)
KA_REGKEY_ROOT_FORMS(ImpersonatedUser)

#undef KA_REGKEY_ROOT_FORMS

// ---- values -------------------------------------------------------------------------------

bool CKaRegKey::QueryValue(CKaString name, DWORD& type, void* data, DWORD& size) const
{
    DWORD queriedType = REG_NONE;
    DWORD queriedSize = size;
    const LONG result = QueryRaw(AttachedKey(), name, queriedType, data, queriedSize);
    if (result == ERROR_FILE_NOT_FOUND) return false;
    type = queriedType;
    size = queriedSize;
    CheckRegistry(result);
    return true;
}

void CKaRegKey::WriteValue(CKaString name, DWORD type, const void* data, DWORD size)
{
    CheckRegistry(
        RegSetValueExW(AttachedKey(), name, 0, type, static_cast<const BYTE*>(data), size));
}

bool CKaRegKey::QueryU4(CKaString name, DWORD& value)
{
    DWORD type = REG_NONE;
    DWORD size = sizeof(value);
    const LONG result = QueryRaw(AttachedKey(), name, type, &value, size);
    if (result == ERROR_FILE_NOT_FOUND) return false;
    // The type decides before the size: a long value of another type is of the wrong type, not
    // too long. A REG_DWORD of fewer than four bytes holds no 32-bit number either.
    if (type != REG_DWORD || (result == ERROR_SUCCESS && size != sizeof(value))) {
        throw CKaCodeException(KA_E_REGKEY_WRONG_TYPE);
    }
    CheckRegistry(result);
    return true;
}

DWORD CKaRegKey::ReadU4(CKaString name)
{
    DWORD value = 0;
    if (!QueryU4(name, value)) KaThrowWin32Error(ERROR_FILE_NOT_FOUND);
    return value;
}

DWORD CKaRegKey::ReadU4WithDefault(CKaString name, DWORD defaultValue)
{
    DWORD value = 0;
    return QueryU4(name, value) ? value : defaultValue;
}

void CKaRegKey::WriteU4(CKaString name, DWORD value)
{
    WriteValue(name, REG_DWORD, &value, sizeof(value));
}

bool CKaRegKey::QueryString(CKaString name, CKaString& value)
{
    const HKEY key = AttachedKey();
    wchar_t stackBuffer[kTextBufferLength];
    wchar_t* text = stackBuffer;
    DWORD capacity = sizeof(stackBuffer);
    DWORD type = REG_NONE;
    DWORD size = capacity;
    LONG result = QueryRaw(key, name, type, text, size);
    if (result == ERROR_FILE_NOT_FOUND) return false;
    if (!IsTextType(type)) throw CKaCodeException(KA_E_REGKEY_WRONG_TYPE);
    CKaSimpleBuffer<wchar_t> heapBuffer;
    while (result == ERROR_MORE_DATA) {
        // The reported size, unless the system reports none larger (it need not for every key);
        // then twice the room, so that the value is read in the end.
        capacity = size > capacity ? size : capacity * 2;
        heapBuffer = CKaSimpleBuffer<wchar_t>((capacity + 1) / sizeof(wchar_t));
        text = heapBuffer.Unshare();
        size = capacity;
        result = QueryRaw(key, name, type, text, size);
        if (result == ERROR_FILE_NOT_FOUND) return false;
        if (!IsTextType(type)) throw CKaCodeException(KA_E_REGKEY_WRONG_TYPE);
    }
    // Up to the first zero, and never past the data: a stored text need not end in one.
    value = CKaString(text, static_cast<unsigned long>(wcsnlen(text, size / sizeof(wchar_t))));
    return true;
}

CKaString CKaRegKey::ReadString(CKaString name)
{
    CKaString value;
    if (!QueryString(name, value)) KaThrowWin32Error(ERROR_FILE_NOT_FOUND);
    return value;
}

CKaString CKaRegKey::ReadStringWithDefault(CKaString name, CKaString defaultValue)
{
    CKaString value;
    return QueryString(name, value) ? value : defaultValue;
}

void CKaRegKey::WriteString(CKaString name, CKaString value)
{
    // The size of a value is counted in 32 bits: a text beyond that cannot be stored whole.
    const unsigned long length = value.getLength();
    if (length >= MAXDWORD / sizeof(wchar_t)) throw CKaCodeException(E_INVALIDARG);
    WriteValue(name, REG_SZ, value.getSz(), static_cast<DWORD>((length + 1) * sizeof(wchar_t)));
}

void CKaRegKey::DeleteValue(CKaString name)
{
    CheckRegistry(RegDeleteValueW(AttachedKey(), name));
}

// ---- sub-keys -----------------------------------------------------------------------------

unsigned long CKaRegKey::getSubKeyCount() const
{
    DWORD count = 0;
    CheckRegistry(RegQueryInfoKeyW(AttachedKey(), nullptr, nullptr, nullptr, &count, nullptr,
                                   nullptr, nullptr, nullptr, nullptr, nullptr, nullptr));
    return count;
}

CKaString CKaRegKey::getSubKeyName(DWORD index) const
{
    CKaString name;
    CheckRegistry(EnumSubKey(AttachedKey(), index, name));
    return name;
}

CKaRef<CKaRegKey> CKaRegKey::OpenSubKey(CKaString name, DWORD access)
{
    return Adopt(OpenKey(AttachedKey(), name, access));
}

CKaRef<CKaRegKey> CKaRegKey::OpenSubKey(DWORD index, DWORD access)
{
    return OpenSubKey(getSubKeyName(index), access);
}

CKaRef<CKaRegKey> CKaRegKey::OpenOrCreateSubKey(CKaString name, DWORD access)
{
    return Adopt(CreateKey(AttachedKey(), name, access));
}

void CKaRegKey::DeleteSubKey(CKaString name, bool recursive)
{
    DeleteTree(AttachedKey(), name, recursive);
}

void CKaRegKey::DeleteTree(HKEY parent, CKaString name, bool recursive)
{
    DeleteKeyTree(parent, name, recursive);
}
