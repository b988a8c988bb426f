#include <gtest/gtest.h>
#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>
#include "katest.h"

// The registry is the build's own Wine prefix; everything here happens below one scratch key of
// HKEY_CURRENT_USER that each test makes and removes. The raw registry functions are the model
// the library's answers are checked against.

namespace {

const wchar_t kScratch[] = L"Software\\ZelkaTests\\RegKey";
const DWORD kAll = KEY_ALL_ACCESS;

long Win32Code(LONG error)
{
    return KaHResultFromWin32(error);
}

// A value as the system stores it.
struct TKaRawValue
{
    LONG result;
    DWORD type;
    std::vector<BYTE> data;
};

TKaRawValue RawValue(HKEY key, const wchar_t* name)
{
    TKaRawValue value = {ERROR_SUCCESS, REG_NONE, {}};
    DWORD size = 0;
    value.result = RegQueryValueExW(key, name, nullptr, &value.type, nullptr, &size);
    if (value.result != ERROR_SUCCESS) return value;
    value.data.resize(size);
    value.result = RegQueryValueExW(key, name, nullptr, &value.type, value.data.data(), &size);
    value.data.resize(size);
    return value;
}

void RawSet(HKEY key, const wchar_t* name, DWORD type, const void* data, std::size_t size)
{
    ASSERT_EQ(ERROR_SUCCESS, RegSetValueExW(key, name, 0, type, static_cast<const BYTE*>(data),
                                            static_cast<DWORD>(size)));
}

// The bytes of a text with its terminator.
std::vector<BYTE> TextBytes(const std::wstring& text)
{
    const BYTE* p = reinterpret_cast<const BYTE*>(text.c_str());
    return std::vector<BYTE>(p, p + (text.size() + 1) * sizeof(wchar_t));
}

bool IsOpenHandle(HKEY key)
{
    return RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                            nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS;
}

// The whole test runs below a fresh scratch key; it leaves no key object attached behind.
class KaRegKeyTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        m_attached = CKaRegKey::getAttachedCount();
        m_user = new CKaRegKey(KaRegCurrentUser, kAll);
        m_user->DeleteSubKey(kScratch, true);
        m_scratch = m_user->OpenOrCreateSubKey(kScratch, kAll);
    }

    void TearDown() override
    {
        m_scratch = nullptr;
        m_user->DeleteSubKey(kScratch, true);
        HKEY gone = nullptr;
        EXPECT_EQ(ERROR_FILE_NOT_FOUND, RegOpenKeyExW(HKEY_CURRENT_USER, kScratch, 0, KEY_READ, &gone));
        m_user = nullptr;
        EXPECT_EQ(m_attached, CKaRegKey::getAttachedCount());
    }

    HKEY Scratch() const { return m_scratch->getHandle(); }

    unsigned long m_attached = 0;
    CKaRef<CKaRegKey> m_user;
    CKaRef<CKaRegKey> m_scratch;
};

} // namespace

// ---- opening ----------------------------------------------------------------------------------

TEST_F(KaRegKeyTest, AnOpenKeyIsOwnedAndAFailedOpenChangesNothing)
{
    CKaRef<CKaRegKey> key = new CKaRegKey();
    EXPECT_EQ(L"zel.core.system.regkey;zel.common.object", key->getObjectTypeInfo());
    key->Open(KaRegLocalMachine, L"", KEY_READ);
    EXPECT_TRUE(key->getIsAttached() && key->getIsOwner());
    EXPECT_TRUE(IsOpenHandle(key->getHandle()));
    key->Open(KaRegCurrentUser, kScratch, KEY_READ);
    const HKEY held = key->getHandle();

    EXPECT_EQ(KA_E_REGKEY_UNKNOWN_ROOT,
              ThrownCode([&] { key->Open(static_cast<TKaRootRegKey>(9), L"", KEY_READ); }));
    EXPECT_EQ(KA_E_REGKEY_UNKNOWN_ROOT, ThrownCode([&] {
                  key->OpenOrCreate(static_cast<TKaRootRegKey>(-1), kScratch, KEY_READ);
              }));
    EXPECT_EQ(Win32Code(ERROR_FILE_NOT_FOUND),
              ThrownCode([&] { key->OpenCurrentUser(CKaString(kScratch) + L"\\none", KEY_READ); }));
    EXPECT_EQ(held, key->getHandle());
    EXPECT_TRUE(key->getIsOwner() && IsOpenHandle(held));

    // Opening again gives the former key back to the system.
    key->OpenCurrentUser(kScratch, KEY_WRITE);
    EXPECT_NE(held, key->getHandle());
    EXPECT_FALSE(IsOpenHandle(held));

    // Every opener of a root itself may be handed the same predefined handle: one leaving
    // takes no other's place in the map.
    CKaRef<CKaRegKey> a = new CKaRegKey(KaRegLocalMachine, KEY_READ);
    CKaRef<CKaRegKey> b = new CKaRegKey(KaRegLocalMachine, KEY_READ);
    const HKEY root = b->getHandle();
    a = nullptr;
    EXPECT_EQ(b.getPtr(), CKaRegKey::FromHandle(root, false).getPtr());
    b = nullptr;

    EXPECT_EQ(Win32Code(ERROR_FILE_NOT_FOUND), ThrownCode([] {
                  CKaRef<CKaRegKey> none =
                      new CKaRegKey(KaRegCurrentUser, CKaString(kScratch) + L"\\none", kAll, false);
              }));
    CKaRef<CKaRegKey> made =
        new CKaRegKey(KaRegCurrentUser, CKaString(kScratch) + L"\\made", kAll, true);
    EXPECT_EQ(1ul, m_scratch->getSubKeyCount());
    EXPECT_EQ(L"made", m_scratch->getSubKeyName(0));
}

// Each of the 27 forms opens its own root: what it sees there is what the system shows through
// the predefined key (or fails as the system does).
TEST_F(KaRegKeyTest, EveryRootFormOpensItsRoot)
{
    typedef void (CKaRegKey::*TNamed)(CKaString, DWORD);
    typedef void (CKaRegKey::*TUnnamed)(DWORD);
    const struct
    {
        TKaRootRegKey root;
        HKEY predefined;
        TNamed open;
        TUnnamed openRoot;
        TNamed create;
    } forms[] = {
        {KaRegClassesRoot, HKEY_CLASSES_ROOT, &CKaRegKey::OpenClassesRoot,
         &CKaRegKey::OpenClassesRoot, &CKaRegKey::OpenOrCreateClassesRoot},
        {KaRegCurrentUser, HKEY_CURRENT_USER, &CKaRegKey::OpenCurrentUser,
         &CKaRegKey::OpenCurrentUser, &CKaRegKey::OpenOrCreateCurrentUser},
        {KaRegLocalMachine, HKEY_LOCAL_MACHINE, &CKaRegKey::OpenLocalMachine,
         &CKaRegKey::OpenLocalMachine, &CKaRegKey::OpenOrCreateLocalMachine},
        {KaRegUsers, HKEY_USERS, &CKaRegKey::OpenUsers, &CKaRegKey::OpenUsers,
         &CKaRegKey::OpenOrCreateUsers},
        {KaRegPerformanceData, HKEY_PERFORMANCE_DATA, &CKaRegKey::OpenPerformanceData,
         &CKaRegKey::OpenPerformanceData, &CKaRegKey::OpenOrCreatePerformanceData},
        {KaRegPerformanceText, HKEY_PERFORMANCE_TEXT, &CKaRegKey::OpenPerformanceText,
         &CKaRegKey::OpenPerformanceText, &CKaRegKey::OpenOrCreatePerformanceText},
        {KaRegPerformanceNlsText, HKEY_PERFORMANCE_NLSTEXT, &CKaRegKey::OpenPerformanceNlsText,
         &CKaRegKey::OpenPerformanceNlsText, &CKaRegKey::OpenOrCreatePerformanceNlsText},
        {KaRegCurrentConfig, HKEY_CURRENT_CONFIG, &CKaRegKey::OpenCurrentConfig,
         &CKaRegKey::OpenCurrentConfig, &CKaRegKey::OpenOrCreateCurrentConfig},
        {KaRegImpersonatedUser, HKEY_CURRENT_USER, &CKaRegKey::OpenImpersonatedUser,
         &CKaRegKey::OpenImpersonatedUser, &CKaRegKey::OpenOrCreateImpersonatedUser},
    };
    // "count:<sub-keys>" or the code of the failure.
    const auto seen = [](CKaRegKey& key, const std::function<void()>& open) {
        long code = ThrownCode(open);
        unsigned long count = 0;
        if (code == S_OK) code = ThrownCode([&] { count = key.getSubKeyCount(); });
        return code == S_OK ? L"count:" + std::to_wstring(count) : L"code:" + std::to_wstring(code);
    };
    // The same through the system: opened, or created (which may pick another view of a
    // merged root).
    const auto model = [](HKEY root, bool create) {
        HKEY raw = nullptr;
        LONG result = create ? RegCreateKeyExW(root, L"", 0, nullptr, 0, KEY_READ, nullptr, &raw,
                                               nullptr)
                             : RegOpenKeyExW(root, L"", 0, KEY_READ, &raw);
        DWORD count = 0;
        if (result == ERROR_SUCCESS) {
            result = RegQueryInfoKeyW(raw, nullptr, nullptr, nullptr, &count, nullptr, nullptr,
                                      nullptr, nullptr, nullptr, nullptr, nullptr);
            RegCloseKey(raw);
        }
        return result == ERROR_SUCCESS ? L"count:" + std::to_wstring(count)
                                       : L"code:" + std::to_wstring(Win32Code(result));
    };
    for (const auto& form : forms) {
        const std::wstring opened = model(form.predefined, false);
        CKaRef<CKaRegKey> key = new CKaRegKey();
        CKaRegKey& k = *key;
        EXPECT_EQ(opened, seen(k, [&] { (k.*form.open)(L"", KEY_READ); })) << form.root;
        EXPECT_EQ(opened, seen(k, [&] { (k.*form.openRoot)(KEY_READ); })) << form.root;
        EXPECT_EQ(opened, seen(k, [&] { k.Open(form.root, KEY_READ); })) << form.root;
        EXPECT_EQ(model(form.predefined, true), seen(k, [&] { (k.*form.create)(L"", KEY_READ); }))
            << form.root;
    }

    // The impersonated user is the current user here: what is made there shows in the scratch.
    CKaRef<CKaRegKey> user = new CKaRegKey();
    user->OpenOrCreateImpersonatedUser(CKaString(kScratch) + L"\\impersonated", kAll);
    user->WriteU4(L"mark", 7);
    EXPECT_EQ(7ul, m_scratch->OpenSubKey(L"impersonated", KEY_READ)->ReadU4(L"mark"));
}

// ---- attachment and the key map ---------------------------------------------------------------

TEST_F(KaRegKeyTest, FromHandleGivesOneObjectPerHandleAndOnlyEverAddsOwnership)
{
    EXPECT_TRUE(!CKaRegKey::FromHandle(nullptr, true));
    HKEY handle = nullptr;
    ASSERT_EQ(ERROR_SUCCESS, RegOpenKeyExW(HKEY_CURRENT_USER, kScratch, 0, kAll, &handle));

    const unsigned long before = CKaRegKey::getAttachedCount();
    CKaRef<CKaRegKey> first = CKaRegKey::FromHandle(handle, false);
    EXPECT_EQ(before + 1, CKaRegKey::getAttachedCount());
    EXPECT_EQ(first.getPtr(), CKaRegKey::FromHandle(handle, false).getPtr());
    EXPECT_FALSE(first->getIsOwner());
    EXPECT_EQ(KA_E_REGKEY_NOT_OWNER, ThrownCode([&] { first->Close(); }));
    EXPECT_EQ(handle, first->getHandle());

    // Discarding a borrowed key forgets it; the handle stays open for its owner.
    first->Discard();
    EXPECT_FALSE(first->getIsAttached() || first->getIsOwner());
    EXPECT_TRUE(IsOpenHandle(handle));
    EXPECT_EQ(before, CKaRegKey::getAttachedCount());
    // The detached object is out of the map: the handle gets a new one.
    CKaRef<CKaRegKey> second = CKaRegKey::FromHandle(handle, false);
    EXPECT_NE(first.getPtr(), second.getPtr());
    EXPECT_EQ(second.getPtr(), CKaRegKey::FromHandle(handle, true).getPtr());
    EXPECT_TRUE(second->getIsOwner());
    EXPECT_TRUE(CKaRegKey::FromHandle(handle, false)->getIsOwner());
    second->DropOwnership();
    EXPECT_FALSE(second->getIsOwner());
    second = nullptr;
    EXPECT_TRUE(IsOpenHandle(handle));
    EXPECT_EQ(before, CKaRegKey::getAttachedCount());

    // Detach hands the handle out; the owner's last release closes it.
    CKaRef<CKaRegKey> owner = CKaRegKey::FromHandle(handle, true);
    EXPECT_EQ(handle, owner->Detach());
    EXPECT_EQ(nullptr, owner->Detach());
    EXPECT_NO_THROW(owner->Close());
    EXPECT_TRUE(IsOpenHandle(handle));
    owner = CKaRegKey::FromHandle(handle, true);
    owner = nullptr;
    EXPECT_FALSE(IsOpenHandle(handle));
    EXPECT_EQ(before, CKaRegKey::getAttachedCount());
}

TEST_F(KaRegKeyTest, ThreadsAskingForOneHandleShareOneObject)
{
    HKEY handle = nullptr;
    ASSERT_EQ(ERROR_SUCCESS, RegOpenKeyExW(HKEY_CURRENT_USER, kScratch, 0, kAll, &handle));
    const unsigned long before = CKaRegKey::getAttachedCount();
    const int kThreads = 4;
    const int kRounds = 20000;
    std::atomic<int> ready(0);
    std::vector<CKaRegKey*> seen(kThreads);
    std::vector<int> mismatches(kThreads);
    // Each thread takes references and drops them again, so that objects are made and destroyed
    // while the other threads look the handle up; one handed out while it was being destroyed
    // would be found detached.
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            ++ready;
            while (ready < kThreads) std::this_thread::yield();
            for (int round = 0; round < kRounds; ++round) {
                CKaRef<CKaRegKey> a = CKaRegKey::FromHandle(handle, false);
                if (a->getHandle() != handle) ++mismatches[t];
                if (round % 2) continue;
                CKaRef<CKaRegKey> b = CKaRegKey::FromHandle(handle, false);
                if (a.getPtr() != b.getPtr()) ++mismatches[t];
            }
            seen[t] = CKaRegKey::FromHandle(handle, false).Detach();
        });
    }
    for (std::thread& thread : threads) thread.join();
    for (int t = 0; t < kThreads; ++t) {
        EXPECT_EQ(0, mismatches[t]) << t;
        EXPECT_EQ(seen[0], seen[t]) << t;
    }
    // Ownership given on another thread shows in the shared object.
    std::thread([&] { CKaRegKey::FromHandle(handle, true); }).join();
    EXPECT_TRUE(seen[0]->getIsOwner());
    EXPECT_EQ(before + 1, CKaRegKey::getAttachedCount());
    for (CKaRegKey* key : seen) key->Release();
    EXPECT_EQ(before, CKaRegKey::getAttachedCount());
    EXPECT_FALSE(IsOpenHandle(handle));
}

// ---- values -----------------------------------------------------------------------------------

TEST_F(KaRegKeyTest, NoKeyAttachedRefusesEveryValueAndSubKeyOperation)
{
    CKaRef<CKaRegKey> key = new CKaRegKey();
    DWORD number = 0;
    DWORD type = 0;
    DWORD size = 4;
    CKaString text;
    const std::vector<std::function<void()>> calls = {
        [&] { key->ReadU4(L"x"); },
        [&] { key->ReadU4WithDefault(L"x", 1); },
        [&] { key->QueryU4(L"x", number); },
        [&] { key->WriteU4(L"x", 1); },
        [&] { key->ReadString(L"x"); },
        [&] { key->ReadStringWithDefault(L"x", L"d"); },
        [&] { key->QueryString(L"x", text); },
        [&] { key->WriteString(L"x", L"t"); },
        [&] { key->DeleteValue(L"x"); },
        [&] { key->QueryValue(L"x", type, &number, size); },
        [&] { key->WriteValue(L"x", REG_DWORD, &number, 4); },
        [&] { key->getSubKeyCount(); },
        [&] { key->getSubKeyName(0); },
        [&] { key->OpenSubKey(L"x", KEY_READ); },
        [&] { key->OpenSubKey(0ul, KEY_READ); },
        [&] { key->OpenOrCreateSubKey(L"x", KEY_READ); },
        [&] { key->DeleteSubKey(L"x", true); },
    };
    for (std::size_t i = 0; i < calls.size(); ++i) {
        EXPECT_EQ(KA_E_REGKEY_NOT_ATTACHED, ThrownCode(calls[i])) << i;
    }
}

TEST_F(KaRegKeyTest, NumbersAreRegDwordsAndNothingElse)
{
    m_scratch->WriteU4(L"n", 0xDEADBEEF);
    m_scratch->WriteU4(L"", 5); // the default value
    const TKaRawValue n = RawValue(Scratch(), L"n");
    EXPECT_EQ(static_cast<DWORD>(REG_DWORD), n.type);
    EXPECT_EQ((std::vector<BYTE>{0xEF, 0xBE, 0xAD, 0xDE}), n.data);
    EXPECT_EQ(static_cast<DWORD>(REG_DWORD), RawValue(Scratch(), nullptr).type);
    EXPECT_EQ(0xDEADBEEFul, m_scratch->ReadU4(L"n"));
    EXPECT_EQ(5ul, m_scratch->ReadU4WithDefault(CKaString(), 9));

    DWORD value = 77;
    EXPECT_FALSE(m_scratch->QueryU4(L"missing", value));
    EXPECT_EQ(77ul, value);
    EXPECT_EQ(9ul, m_scratch->ReadU4WithDefault(L"missing", 9));
    EXPECT_EQ(Win32Code(ERROR_FILE_NOT_FOUND), ThrownCode([&] { m_scratch->ReadU4(L"missing"); }));

    // Short and long values of other types alike: the type decides before the size.
    const std::wstring longText(100, L'x');
    const DWORD shortDword = 1;
    const unsigned long long qword = 1;
    RawSet(Scratch(), L"short sz", REG_SZ, L"a", 4);
    RawSet(Scratch(), L"long sz", REG_SZ, longText.c_str(), (longText.size() + 1) * 2);
    RawSet(Scratch(), L"binary", REG_BINARY, "abcd", 4);
    RawSet(Scratch(), L"qword", REG_QWORD, &qword, 8);
    RawSet(Scratch(), L"big endian", REG_DWORD_BIG_ENDIAN, &shortDword, 4);
    RawSet(Scratch(), L"two bytes", REG_DWORD, &shortDword, 2);
    for (const wchar_t* name :
         {L"short sz", L"long sz", L"binary", L"qword", L"big endian", L"two bytes"}) {
        EXPECT_EQ(KA_E_REGKEY_WRONG_TYPE, ThrownCode([&] { m_scratch->QueryU4(name, value); }))
            << name;
        EXPECT_EQ(KA_E_REGKEY_WRONG_TYPE, ThrownCode([&] { m_scratch->ReadU4WithDefault(name, 1); }))
            << name;
    }
    // An over-long REG_DWORD is the system's failure.
    RawSet(Scratch(), L"eight bytes", REG_DWORD, &qword, 8);
    EXPECT_EQ(Win32Code(ERROR_MORE_DATA), ThrownCode([&] { m_scratch->ReadU4(L"eight bytes"); }));

    m_scratch->DeleteValue(L"n");
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, RawValue(Scratch(), L"n").result);
    EXPECT_EQ(Win32Code(ERROR_FILE_NOT_FOUND), ThrownCode([&] { m_scratch->DeleteValue(L"n"); }));
}

TEST_F(KaRegKeyTest, TextsOfEveryLengthComeBackWhole)
{
    for (std::size_t length : {0u, 1u, 519u, 520u, 521u, 2000u, 100000u}) {
        std::wstring expected;
        for (std::size_t i = 0; i < length; ++i) expected += static_cast<wchar_t>(L'A' + i % 26);
        const CKaString name = CKaString::Build(L"text %u", static_cast<unsigned>(length));
        m_scratch->WriteString(name, CKaString(expected.c_str()));
        const TKaRawValue raw = RawValue(Scratch(), name);
        EXPECT_EQ(static_cast<DWORD>(REG_SZ), raw.type) << length;
        EXPECT_EQ(TextBytes(expected), raw.data) << length;
        CKaString read(L"previous");
        EXPECT_TRUE(m_scratch->QueryString(name, read));
        EXPECT_EQ(expected, Units(read)) << length;
        EXPECT_EQ(expected, Units(m_scratch->ReadString(name))) << length;
    }
    m_scratch->WriteString(L"", L"default");
    EXPECT_EQ(TextBytes(L"default"), RawValue(Scratch(), L"").data);
    EXPECT_EQ(L"default", m_scratch->ReadString(CKaString()));
}

TEST_F(KaRegKeyTest, TextsAreReadAsStoredUpToTheirFirstZero)
{
    const std::wstring longText(3000, L'q');
    const std::wstring unterminated = longText + L"!";
    const struct
    {
        const wchar_t* name;
        DWORD type;
        std::wstring stored; // kept as these units, no terminator added
        std::size_t bytes;   // of them
        std::wstring read;
    } cases[] = {
        {L"expand", REG_EXPAND_SZ, std::wstring(L"%SystemRoot%\\x", 15), 30, L"%SystemRoot%\\x"},
        {L"multi", REG_MULTI_SZ, std::wstring(L"first\0second\0\0", 15), 30, L"first"},
        {L"long multi", REG_MULTI_SZ, longText + std::wstring(L"\0b\0\0", 4), 6008, longText},
        {L"no terminator", REG_SZ, L"abc", 6, L"abc"},
        {L"long no terminator", REG_SZ, unterminated, 6002, unterminated},
        {L"odd bytes", REG_SZ, L"ab", 3, L"a"},
        {L"empty", REG_SZ, L"", 0, L""},
    };
    for (const auto& c : cases) {
        RawSet(Scratch(), c.name, c.type, c.stored.c_str(), c.bytes);
        EXPECT_EQ(c.read, Units(m_scratch->ReadString(c.name))) << c.name;
    }

    CKaString value(L"kept");
    EXPECT_FALSE(m_scratch->QueryString(L"missing", value));
    EXPECT_EQ(L"kept", value);
    EXPECT_EQ(L"d", m_scratch->ReadStringWithDefault(L"missing", L"d"));
    EXPECT_EQ(Win32Code(ERROR_FILE_NOT_FOUND), ThrownCode([&] { m_scratch->ReadString(L"missing"); }));

    const std::vector<BYTE> bigBinary(5000, 0x41);
    RawSet(Scratch(), L"binary", REG_BINARY, bigBinary.data(), bigBinary.size());
    m_scratch->WriteU4(L"number", 3);
    for (const wchar_t* name : {L"binary", L"number"}) {
        EXPECT_EQ(KA_E_REGKEY_WRONG_TYPE, ThrownCode([&] { m_scratch->QueryString(name, value); }))
            << name;
        EXPECT_EQ(KA_E_REGKEY_WRONG_TYPE,
                  ThrownCode([&] { m_scratch->ReadStringWithDefault(name, L"d"); }))
            << name;
    }
    EXPECT_EQ(L"kept", value);
}

TEST_F(KaRegKeyTest, RawValuesKeepTheirTypeAndBytes)
{
    const BYTE bytes[] = {1, 2, 3, 4, 5};
    m_scratch->WriteValue(L"raw", REG_BINARY, bytes, sizeof(bytes));
    const TKaRawValue raw = RawValue(Scratch(), L"raw");
    EXPECT_EQ(static_cast<DWORD>(REG_BINARY), raw.type);
    EXPECT_EQ(std::vector<BYTE>(bytes, bytes + 5), raw.data);

    BYTE data[8] = {};
    DWORD type = 0;
    DWORD size = sizeof(data);
    EXPECT_TRUE(m_scratch->QueryValue(L"raw", type, data, size));
    EXPECT_EQ(static_cast<DWORD>(REG_BINARY), type);
    EXPECT_EQ(std::vector<BYTE>(bytes, bytes + 5), std::vector<BYTE>(data, data + size));
    size = 4;
    EXPECT_EQ(Win32Code(ERROR_MORE_DATA),
              ThrownCode([&] { m_scratch->QueryValue(L"raw", type, data, size); }));
    EXPECT_EQ(5ul, size);
    type = 99;
    EXPECT_FALSE(m_scratch->QueryValue(L"missing", type, data, size));
    EXPECT_EQ(99ul, type);
    EXPECT_EQ(5ul, size);
}

TEST_F(KaRegKeyTest, NamesTheRegistryRefusesAreItsFailures)
{
    // Value names up to 16383 characters, key names up to 255.
    const CKaString longValueName(L'v', 20000);
    const CKaString longKeyName(L'k', 300);
    const DWORD one = 1;
    const LONG valueRefused = RegSetValueExW(Scratch(), longValueName, 0, REG_DWORD,
                                             reinterpret_cast<const BYTE*>(&one), 4);
    ASSERT_NE(ERROR_SUCCESS, valueRefused);
    EXPECT_EQ(Win32Code(valueRefused), ThrownCode([&] { m_scratch->WriteU4(longValueName, 1); }));
    HKEY created = nullptr;
    const LONG keyRefused = RegCreateKeyExW(Scratch(), longKeyName, 0, nullptr, 0, kAll, nullptr,
                                            &created, nullptr);
    ASSERT_NE(ERROR_SUCCESS, keyRefused);
    EXPECT_EQ(Win32Code(keyRefused),
              ThrownCode([&] { m_scratch->OpenOrCreateSubKey(longKeyName, kAll); }));
    EXPECT_EQ(0ul, m_scratch->getSubKeyCount());
}

// ---- sub-keys ---------------------------------------------------------------------------------

TEST_F(KaRegKeyTest, SubKeysAreListedOpenedAndMadeAsTheSystemShowsThem)
{
    for (const wchar_t* name : {L"beta", L"alpha", L"gamma"}) {
        CKaRef<CKaRegKey> sub = m_scratch->OpenOrCreateSubKey(name, kAll);
        EXPECT_TRUE(sub->getIsOwner());
        sub->WriteString(L"name", name);
    }
    EXPECT_EQ(3ul, m_scratch->getSubKeyCount());
    for (DWORD i = 0; i < 3; ++i) {
        wchar_t raw[256];
        DWORD length = 256;
        ASSERT_EQ(ERROR_SUCCESS, RegEnumKeyExW(Scratch(), i, raw, &length, nullptr, nullptr,
                                               nullptr, nullptr));
        EXPECT_EQ(raw, m_scratch->getSubKeyName(i));
        EXPECT_EQ(raw, m_scratch->OpenSubKey(i, KEY_READ)->ReadString(L"name"));
    }
    EXPECT_EQ(Win32Code(ERROR_NO_MORE_ITEMS),
              ThrownCode([&] { m_scratch->getSubKeyName(m_scratch->getSubKeyCount()); }));
    EXPECT_EQ(Win32Code(ERROR_NO_MORE_ITEMS), ThrownCode([&] { m_scratch->OpenSubKey(3ul, kAll); }));
    EXPECT_EQ(Win32Code(ERROR_FILE_NOT_FOUND),
              ThrownCode([&] { m_scratch->OpenSubKey(L"delta", kAll); }));

    // An empty name is the key itself, in a new handle of its own.
    CKaRef<CKaRegKey> self = m_scratch->OpenSubKey(L"", KEY_READ);
    EXPECT_NE(Scratch(), self->getHandle());
    EXPECT_EQ(3ul, self->getSubKeyCount());
    // A sub-key opened for reading only refuses writes as the system does.
    CKaRef<CKaRegKey> readOnly = m_scratch->OpenSubKey(L"alpha", KEY_READ);
    const DWORD one = 1;
    const LONG refused = RegSetValueExW(readOnly->getHandle(), L"x", 0, REG_DWORD,
                                        reinterpret_cast<const BYTE*>(&one), 4);
    ASSERT_NE(ERROR_SUCCESS, refused);
    EXPECT_EQ(Win32Code(refused), ThrownCode([&] { readOnly->WriteU4(L"x", 1); }));
}

// 4 keys below the scratch, 4 below each and 5 below each of those: 100 keys in three levels.
TEST_F(KaRegKeyTest, DeleteTreeRemovesEveryDescendantAndNothingElse)
{
    CKaRef<CKaRegKey> tree = m_scratch->OpenOrCreateSubKey(L"tree", kAll);
    m_scratch->OpenOrCreateSubKey(L"sibling", kAll)->WriteU4(L"kept", 1);
    unsigned long made = 0;
    for (int a = 0; a < 4; ++a) {
        CKaRef<CKaRegKey> first = tree->OpenOrCreateSubKey(CKaString::Build(L"a%d", a), kAll);
        ++made;
        for (int b = 0; b < 4; ++b) {
            CKaRef<CKaRegKey> second = first->OpenOrCreateSubKey(CKaString::Build(L"b%d", b), kAll);
            ++made;
            for (int c = 0; c < 5; ++c) {
                second->OpenOrCreateSubKey(CKaString::Build(L"c%d", c), kAll)->WriteU4(L"v", 1);
                ++made;
            }
        }
    }
    ASSERT_EQ(100ul, made);
    EXPECT_EQ(4ul, tree->getSubKeyCount());

    // Not recursive: a key with sub-keys stays, with the system's answer.
    const LONG refused = RegDeleteKeyW(Scratch(), L"tree");
    ASSERT_NE(ERROR_SUCCESS, refused);
    EXPECT_EQ(Win32Code(refused), ThrownCode([&] { m_scratch->DeleteSubKey(L"tree", false); }));
    EXPECT_EQ(4ul, tree->getSubKeyCount());

    m_scratch->DeleteSubKey(L"tree", true);
    HKEY gone = nullptr;
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, RegOpenKeyExW(Scratch(), L"tree", 0, KEY_READ, &gone));
    EXPECT_EQ(1ul, m_scratch->getSubKeyCount());
    EXPECT_EQ(1ul, m_scratch->OpenSubKey(L"sibling", KEY_READ)->ReadU4(L"kept"));

    // A missing tree counts as deleted; a missing key alone does not.
    EXPECT_NO_THROW(m_scratch->DeleteSubKey(L"tree", true));
    EXPECT_EQ(Win32Code(ERROR_FILE_NOT_FOUND),
              ThrownCode([&] { m_scratch->DeleteSubKey(L"tree", false); }));
    m_scratch->DeleteSubKey(L"sibling", false);
    EXPECT_EQ(0ul, m_scratch->getSubKeyCount());
}

// A key deleted while an object holds it: every use fails as the system says, and the object
// still gives its handle back.
TEST_F(KaRegKeyTest, AKeyDeletedUnderAnOpenObjectFailsCleanly)
{
    CKaRef<CKaRegKey> doomed = m_scratch->OpenOrCreateSubKey(L"doomed", kAll);
    doomed->OpenOrCreateSubKey(L"child", kAll);
    const HKEY handle = doomed->getHandle();
    m_scratch->DeleteSubKey(L"doomed", true);

    const DWORD one = 1;
    const LONG refused =
        RegSetValueExW(handle, L"x", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&one), 4);
    ASSERT_NE(ERROR_SUCCESS, refused);
    EXPECT_EQ(Win32Code(refused), ThrownCode([&] { doomed->WriteU4(L"x", 1); }));
    // Reading: a missing value gives the default, any other answer is thrown.
    const LONG read = RawValue(handle, L"x").result;
    EXPECT_EQ(read == ERROR_FILE_NOT_FOUND ? S_OK : Win32Code(read),
              ThrownCode([&] { doomed->ReadU4WithDefault(L"x", 0); }));
    HKEY made = nullptr;
    const LONG create = RegCreateKeyExW(handle, L"again", 0, nullptr, 0, kAll, nullptr, &made, nullptr);
    ASSERT_NE(ERROR_SUCCESS, create);
    EXPECT_EQ(Win32Code(create), ThrownCode([&] { doomed->OpenOrCreateSubKey(L"again", kAll); }));
    doomed->Close();
    EXPECT_FALSE(IsOpenHandle(handle));
    EXPECT_EQ(0ul, m_scratch->getSubKeyCount());
}
