#include <gtest/gtest.h>
#include <random>
#include <string>
#include "kaserialtest.h"

namespace {

// {00112233-4455-6677-8899-AABBCCDDEEFF}
const GUID g_sample = {0x00112233, 0x4455, 0x6677, {0x88, 0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF}};

std::wstring PlatformText(const GUID& guid)
{
    wchar_t text[40];
    EXPECT_EQ(39, StringFromGUID2(guid, text, 40));
    return text;
}

// A literal must convert to one of these without ambiguity.
int Which(const CKaString&) { return 1; }
int Which(const CKaGuid&) { return 2; }

class KaGuid : public testing::Test
{
protected:
    void SetUp() override { CoInitializeEx(nullptr, COINIT_MULTITHREADED); }
    void TearDown() override { CoUninitialize(); }
};

} // namespace

TEST_F(KaGuid, NullAndCreated)
{
    EXPECT_TRUE(CKaGuid().getIsNull());
    EXPECT_TRUE(CKaGuid(false).getIsNull());
    const CKaGuid a(true);
    const CKaGuid b(true);
    EXPECT_FALSE(a.getIsNull());
    EXPECT_TRUE(a != b);
    CKaGuid c = a;
    EXPECT_TRUE(c == a);
    c.Create();
    EXPECT_TRUE(c != a);
    c.Clear();
    EXPECT_TRUE(c.getIsNull());
    EXPECT_TRUE(c == GUID_NULL);
    // Only the last byte set: still not null.
    GUID last = GUID();
    last.Data4[7] = 1;
    EXPECT_FALSE(CKaGuid(last).getIsNull());
    EXPECT_EQ(2, Which(CKaGuid(last)));
    EXPECT_EQ(1, Which(L"{00112233-4455-6677-8899-AABBCCDDEEFF}"));
}

TEST_F(KaGuid, TextBothWaysAgreesWithThePlatform)
{
    std::mt19937 random(14);
    for (int i = 0; i < 200; ++i) {
        GUID guid;
        unsigned char* bytes = reinterpret_cast<unsigned char*>(&guid);
        for (size_t k = 0; k < sizeof(guid); ++k) bytes[k] = static_cast<unsigned char>(random());
        const std::wstring expected = PlatformText(guid);
        const CKaGuid value(guid);
        ASSERT_EQ(expected, value.getAsBracedString().getSz());
        ASSERT_EQ(expected.substr(1, 36), value.getAsString().getSz());
        ASSERT_TRUE(CKaGuid(expected.c_str()) == guid);
        std::wstring lower = expected.substr(1, 36);
        for (wchar_t& ch : lower) ch = static_cast<wchar_t>(towlower(ch));
        ASSERT_TRUE(CKaGuid(CKaString(lower.c_str())) == guid);
    }
    EXPECT_EQ(L"00112233-4455-6677-8899-AABBCCDDEEFF", CKaGuid(g_sample).ToString(false));
    EXPECT_TRUE(CKaGuid("6B29FC40-CA47-1067-B31D-00DD010662DA") ==
                CKaGuid(CKaSysString(L"{6b29fc40-ca47-1067-b31d-00dd010662da}")));
    CKaGuid assigned;
    assigned = L"00112233-4455-6677-8899-aabbccddeeff";
    EXPECT_TRUE(assigned == g_sample);
    assigned = GUID_NULL;
    EXPECT_TRUE(assigned.getIsNull());
}

TEST_F(KaGuid, MalformedTextThrowsThePlatformsCodeAndKeepsTheValue)
{
    const wchar_t* const malformed[] = {
        L"",
        L"{}",
        L"00112233-4455-6677-8899-AABBCCDDEEF",
        L"00112233-4455-6677-8899-AABBCCDDEEFFF",
        L"{00112233-4455-6677-8899-AABBCCDDEEFF",
        L"(00112233-4455-6677-8899-AABBCCDDEEFF)",
        L"0011223G-4455-6677-8899-AABBCCDDEEFF",
        L"00112233-445566-77-8899-AABBCCDDEEFF",
        L"00112233 4455-6677-8899-AABBCCDDEEFF",
        L"{00112233-4455-6677-8899-AABBCCDDEEFF}x",
        L"Scripting.Dictionary",
        L" 00112233-4455-6677-8899-AABBCCDDEEFF",
    };
    for (const wchar_t* text : malformed) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(text)));
        // The platform's verdict on the braced text we hand it.
        std::wstring braced = text[0] == L'{' ? text : L"{" + std::wstring(text) + L"}";
        GUID ignored;
        const HRESULT expected = CLSIDFromString(braced.c_str(), &ignored);
        ASSERT_TRUE(FAILED(expected));
        CKaGuid value(g_sample);
        EXPECT_EQ(expected, ThrownCode([&] { value = text; }));
        EXPECT_TRUE(value == g_sample);
        EXPECT_EQ(expected, ThrownCode([&] { CKaGuid{text}; }));
    }
    // Text after a 0 character is not silently dropped.
    const CKaString hidden(L"00112233-4455-6677-8899-AABBCCDDEEFF\0x", 38);
    EXPECT_EQ(CO_E_CLASSSTRING, ThrownCode([&] { CKaGuid{hidden}; }));
    const CKaString hiddenBraced(L"{00112233-4455-6677-8899-AABBCCDDEEFF}\0x", 40);
    EXPECT_EQ(CO_E_CLASSSTRING, ThrownCode([&] { CKaGuid{hiddenBraced}; }));
}

TEST_F(KaGuid, MutatedTextGetsThePlatformsVerdict)
{
    // One or two characters of a valid text changed at random: whatever the platform makes of
    // the braced text, the parse gives the same value or the same code.
    std::mt19937 random(41);
    const std::wstring valid = PlatformText(g_sample);
    const wchar_t alphabet[] = L"0123456789abcdefABCDEFgG{}- x";
    for (int i = 0; i < 3000; ++i) {
        std::wstring text = random() % 2 ? valid : valid.substr(1, 36);
        for (int k = 0; k < 1 + static_cast<int>(random() % 2); ++k) {
            text[random() % text.size()] = alphabet[random() % (sizeof(alphabet) / 2 - 1)];
        }
        SCOPED_TRACE(testing::PrintToString(text));
        const std::wstring braced = text[0] == L'{' ? text : L"{" + text + L"}";
        GUID expected;
        const HRESULT verdict = CLSIDFromString(braced.c_str(), &expected);
        CKaGuid parsed;
        ASSERT_EQ(FAILED(verdict) ? verdict : S_OK,
                  ThrownCode([&] { parsed = CKaString(text.c_str()); }));
        if (SUCCEEDED(verdict)) {
            ASSERT_TRUE(parsed == expected);
        }
    }
}

TEST_F(KaGuid, ProgrammaticIdentifiers)
{
    EXPECT_EQ(L"", CKaGuid().ToProgId());
    CKaGuid value(g_sample);
    CLSID ignored;
    const HRESULT unknown = CLSIDFromProgID(L"Zelka.No.Such.Class", &ignored);
    ASSERT_TRUE(FAILED(unknown));
    EXPECT_EQ(unknown, ThrownCode([&] { value.FromProgId(L"Zelka.No.Such.Class"); }));
    EXPECT_TRUE(value == g_sample);
    LPOLESTR none = nullptr;
    const HRESULT unregistered = ProgIDFromCLSID(g_sample, &none);
    ASSERT_TRUE(FAILED(unregistered));
    EXPECT_EQ(unregistered, ThrownCode([&] { value.ToProgId(); }));
}

TEST_F(KaGuid, HashAndMapKeys)
{
    EXPECT_EQ(0u, KaHashElement(CKaGuid()));
    EXPECT_EQ(0x00112233u ^ 0x66774455u ^ 0xBBAA9988u ^ 0xFFEEDDCCu,
              KaHashElement(CKaGuid(g_sample)));
    CKaMap<CKaGuid, int> map;
    std::vector<CKaGuid> keys;
    for (int i = 0; i < 40; ++i) {
        keys.push_back(CKaGuid(true));
        map.SetAt(keys.back(), i);
    }
    for (int i = 0; i < 40; ++i) {
        int value = -1;
        EXPECT_TRUE(map.Lookup(keys[i], value));
        EXPECT_EQ(i, value);
    }
    EXPECT_FALSE(map.Contains(CKaGuid(g_sample)));
}

TEST_F(KaGuid, BinaryFormIsTheStructureInMemory)
{
    const TKaBytes expected = {0x33, 0x22, 0x11, 0x00, 0x55, 0x44, 0x77, 0x66,
                               0x88, 0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF};
    EXPECT_EQ(expected, SerializedBytes(CKaGuid(g_sample)));
    CKaGuid loaded;
    DeserializeBytes(loaded, expected);
    EXPECT_TRUE(loaded == g_sample);
    const CKaGuid created(true);
    DeserializeBytes(loaded, SerializedBytes(created));
    EXPECT_TRUE(loaded == created);

    TKaBytes cut(expected.begin(), expected.end() - 1);
    EXPECT_EQ(E_FAIL, ThrownCode([&] { DeserializeBytes(loaded, cut); }));
    EXPECT_TRUE(loaded == created);
    EXPECT_EQ(E_POINTER, ThrownCode([&] { created.Serialize(nullptr); }));
    EXPECT_EQ(E_POINTER, ThrownCode([&] { loaded.Deserialize(nullptr); }));
    EXPECT_EQ(16u, created.GetSerializeSize(nullptr));
}
