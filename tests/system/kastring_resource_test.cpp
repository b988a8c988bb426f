#include <gtest/gtest.h>
#include "katest.h"
#include "katestres.h"

namespace {

CKaString Repeat(const wchar_t* unit, unsigned long times)
{
    CKaString text;
    for (unsigned long i = 0; i < times; ++i) text.Append(unit);
    return text;
}

class KaStringResource : public ::testing::Test
{
protected:
    CKaRef<CKaModule> module = new CKaModule(kTestResName);
};

} // namespace

// The first buffer holds 501 characters; texts that come near it take the grown buffers.
TEST_F(KaStringResource, LoadStringReturnsTheWholeText)
{
    const struct
    {
        unsigned int id;
        CKaString text;
    } cases[] = {
        {KATESTRES_GREETING, L"Hello from a module"},
        {KATESTRES_TEXT_499, CKaString(L'x', 499)},
        {KATESTRES_TEXT_501, CKaString(L'y', 501)},
        {KATESTRES_TEXT_700, Repeat(L"0123456789", 70)},
        {KATESTRES_TEXT_2500, Repeat(L"abcdefghij", 250)},
    };
    for (const auto& c : cases) {
        CKaString loaded(L"previous text");
        EXPECT_TRUE(loaded.LoadStringW(module, c.id)) << c.id;
        EXPECT_EQ(c.text.getLength(), loaded.getLength()) << c.id;
        EXPECT_EQ(c.text, loaded) << c.id;
    }
}

TEST_F(KaStringResource, AMissingResourceLoadsAsNothing)
{
    CKaString text(L"previous text");
    EXPECT_FALSE(text.LoadStringW(module, KATESTRES_MISSING));
    EXPECT_TRUE(text.getIsEmpty());

    text = L"previous text";
    EXPECT_FALSE(text.FormatMessageW(module, KATESTRES_MISSING, L"a", 1));
    EXPECT_TRUE(text.getIsEmpty());
    EXPECT_EQ(L"", CKaString::BuildMessage(module, KATESTRES_MISSING, L"a", 1));

    text = L"previous text";
    text.Format(module, KATESTRES_MISSING, 1);
    EXPECT_TRUE(text.getIsEmpty());
    EXPECT_EQ(L"", CKaString::Build(module, KATESTRES_MISSING, 1));
}

TEST_F(KaStringResource, ANullModuleThrowsAndLeavesTheStringAlone)
{
    const CKaRef<CKaModule> none;
    CKaString text(L"kept");
    EXPECT_EQ(E_POINTER, ThrownCode([&] { text.LoadStringW(none, KATESTRES_GREETING); }));
    EXPECT_EQ(E_POINTER, ThrownCode([&] { text.Format(none, KATESTRES_POSITIONAL, 1, L"a"); }));
    EXPECT_EQ(E_POINTER,
              ThrownCode([&] { text.FormatMessageW(none, KATESTRES_INSERTS, L"a", 1); }));
    EXPECT_EQ(E_POINTER,
              ThrownCode([&] { CKaString::Build(none, KATESTRES_POSITIONAL, 1, L"a"); }));
    EXPECT_EQ(E_POINTER,
              ThrownCode([&] { CKaString::BuildMessage(none, KATESTRES_INSERTS, L"a", 1); }));
    EXPECT_EQ(L"kept", text);
}

TEST_F(KaStringResource, PositionalFormsTakeTheirArgumentsInTheResourceOrder)
{
    EXPECT_EQ(L"Shelf holds 3 items", CKaString::Build(module, KATESTRES_POSITIONAL, 3, L"Shelf"));
    CKaString text(L"previous text");
    text.Format(module, KATESTRES_POSITIONAL, 12, L"Box");
    EXPECT_EQ(L"Box holds 12 items", text);
}

TEST_F(KaStringResource, MessageFormsFillTheInserts)
{
    EXPECT_EQ(L"Device D7 reported 4 errors",
              CKaString::BuildMessage(module, KATESTRES_INSERTS, L"D7", 4));
    CKaString text(L"previous text");
    EXPECT_TRUE(text.FormatMessageW(module, KATESTRES_INSERTS, L"Pump", 0));
    EXPECT_EQ(L"Device Pump reported 0 errors", text);
}
