#include <cfloat>
#include <climits>
#include <functional>
#include <string>
#include <vector>
#include "kaautomationtest.h"

namespace {

class KaVariant : public CKaLeakCheckedTest {};

// The platform's own reading of a VARIANT's value field, by type tag: the reference the typed
// accessors are checked against.
std::wstring PlatformText(const VARIANT& value)
{
    VARIANT text;
    VariantInit(&text);
    if (FAILED(VariantChangeType(&text, const_cast<VARIANT*>(&value), 0, VT_BSTR))) return L"?";
    std::wstring result(text.bstrVal, SysStringLen(text.bstrVal));
    VariantClear(&text);
    return result;
}

// One typed pair: the setter stores `tag`; the getter answers only that tag and gives the
// value back.
struct TTypedCase
{
    const char* name;
    VARTYPE tag;
    std::function<void(CKaVariant&)> set;
    std::function<bool(const CKaVariant&)> getMatches; // throws for a wrong tag
    const wchar_t* platformText;                         // the value as the platform prints it
};

std::vector<TTypedCase> TypedCases()
{
    return {
        {"I1", VT_I1, [](CKaVariant& v) { v.setI1(-128); },
         [](const CKaVariant& v) { return v.getI1() == -128; }, L"-128"},
        {"I2", VT_I2, [](CKaVariant& v) { v.setI2(SHRT_MIN); },
         [](const CKaVariant& v) { return v.getI2() == SHRT_MIN; }, L"-32768"},
        {"I4", VT_I4, [](CKaVariant& v) { v.setI4(LONG_MAX); },
         [](const CKaVariant& v) { return v.getI4() == LONG_MAX; }, L"2147483647"},
        {"I8", VT_I8, [](CKaVariant& v) { v.setI8(-(1LL << 40)); },
         [](const CKaVariant& v) { return v.getI8() == -(1LL << 40); }, L"-1099511627776"},
        {"U1", VT_UI1, [](CKaVariant& v) { v.setU1(255); },
         [](const CKaVariant& v) { return v.getU1() == 255; }, L"255"},
        {"U2", VT_UI2, [](CKaVariant& v) { v.setU2(65535); },
         [](const CKaVariant& v) { return v.getU2() == 65535; }, L"65535"},
        {"U4", VT_UI4, [](CKaVariant& v) { v.setU4(4000000000UL); },
         [](const CKaVariant& v) { return v.getU4() == 4000000000UL; }, L"4000000000"},
        {"U8", VT_UI8, [](CKaVariant& v) { v.setU8(18000000000000000000ULL); },
         nullptr, L"18000000000000000000"},
        {"F4", VT_R4, [](CKaVariant& v) { v.setF4(0.5f); },
         [](const CKaVariant& v) { return v.getF4() == 0.5f; }, L"0.5"},
        {"F8", VT_R8, [](CKaVariant& v) { v.setF8(-2.25); },
         [](const CKaVariant& v) { return v.getF8() == -2.25; }, L"-2.25"},
        {"Bool", VT_BOOL, [](CKaVariant& v) { v.setBool(true); },
         [](const CKaVariant& v) { return v.getBool(); }, L"-1"},
        {"String", VT_BSTR, [](CKaVariant& v) { v.setString(CKaString(L"a\0b", 3)); },
         [](const CKaVariant& v) { return Units(v.getString()) == std::wstring(L"a\0b", 3); },
         nullptr},
        {"Unknown", VT_UNKNOWN, [](CKaVariant& v) { v.setUnknown(CKaComRef<IUnknown>()); },
         [](const CKaVariant& v) { return !v.getUnknown(); }, nullptr},
        {"Dispatch", VT_DISPATCH, [](CKaVariant& v) { v.setDispatch(CKaComRef<IDispatch>()); },
         [](const CKaVariant& v) { return !v.getDispatch(); }, nullptr},
    };
}

} // namespace

TEST_F(KaVariant, EachSetterStoresItsTagAndOnlyItsGetterAnswers)
{
    const std::vector<TTypedCase> cases = TypedCases();
    for (const TTypedCase& stored : cases) {
        SCOPED_TRACE(stored.name);
        CKaVariant v;
        stored.set(v);
        EXPECT_EQ(stored.tag, v.getType());
        EXPECT_EQ(stored.tag, v.getP()->vt);
        if (stored.platformText) {
            EXPECT_EQ(stored.platformText, PlatformText(v));
        }
        for (const TTypedCase& asked : cases) {
            if (!asked.getMatches) continue;
            if (&asked == &stored) {
                EXPECT_TRUE(asked.getMatches(v)) << asked.name;
            } else {
                EXPECT_EQ(KA_E_WRONG_TYPE, ThrownCode([&] { asked.getMatches(v); })) << asked.name;
            }
        }
    }
}

TEST_F(KaVariant, GetU8ReadsAFourByteUnsignedAndRefusesAnEightByteOne)
{
    CKaVariant eight;
    eight.setU8(5);
    EXPECT_EQ(VT_UI8, eight.getType());
    EXPECT_EQ(KA_E_WRONG_TYPE, ThrownCode([&] { eight.getU8(); }));

    CKaVariant four;
    four.setU4(5);
    EXPECT_EQ(5u, four.getU8() & 0xFFFFFFFFu);
    EXPECT_EQ(KA_E_WRONG_TYPE, ThrownCode([&] { CKaVariant().getU8(); }));
}

TEST_F(KaVariant, ConstructorsAndAssignmentsPickTheAutomationType)
{
    EXPECT_EQ(VT_I1, CKaVariant('x').getType());
    EXPECT_EQ(VT_I2, CKaVariant(short(1)).getType());
    EXPECT_EQ(VT_I4, CKaVariant(1L).getType());
    EXPECT_EQ(VT_I4, CKaVariant(0).getType());
    EXPECT_EQ(VT_UI4, CKaVariant(1u).getType());
    EXPECT_EQ(VT_I8, CKaVariant(static_cast<__int64>(1)).getType());
    EXPECT_EQ(VT_UI8, CKaVariant((unsigned __int64)1).getType());
    EXPECT_EQ(VT_R4, CKaVariant(1.0f).getType());
    EXPECT_EQ(VT_R8, CKaVariant(1.0).getType());
    EXPECT_EQ(VT_BSTR, CKaVariant(L"text").getType());
    EXPECT_EQ(L"text", Units(CKaVariant(L"text").getString()));
    EXPECT_EQ(VT_BSTR, CKaVariant(CKaString()).getType());
    EXPECT_NE(nullptr, CKaVariant(CKaString()).getP()->bstrVal);

    CKaVariant truth(true), lie(false);
    EXPECT_EQ(VARIANT_TRUE, truth.getP()->boolVal);
    EXPECT_EQ(VARIANT_FALSE, lie.getP()->boolVal);

    CKaVariant v;
    v = L"again";
    EXPECT_EQ(VT_BSTR, v.getType());
    v = 7;
    EXPECT_EQ(7, v.getI4());
    v = 2.5;
    EXPECT_EQ(2.5, v.getF8());

    // Any non-zero stored value reads as true.
    VARIANT odd;
    VariantInit(&odd);
    odd.vt = VT_BOOL;
    odd.boolVal = 1;
    EXPECT_TRUE(CKaVariant(odd).getBool());
}

TEST_F(KaVariant, AnEmptyVariantReadsAsVtEmpty)
{
    CKaVariant v;
    EXPECT_EQ(VT_EMPTY, v.getType());
    EXPECT_EQ(VT_EMPTY, v.getP()->vt);
    EXPECT_EQ(KA_E_WRONG_TYPE, ThrownCode([&] { v.getI4(); }));
    EXPECT_FALSE(v.getLocked());
    EXPECT_EQ(KaLockNone, v.getLockMode());
    VARIANT copy = v.Copy();
    EXPECT_EQ(VT_EMPTY, copy.vt);
    VARIANT detached = v.Detach();
    EXPECT_EQ(VT_EMPTY, detached.vt);
    v.Clear();
    v.ChangeType(VT_EMPTY, 0);
    EXPECT_EQ(VT_EMPTY, v.getType());
    EXPECT_TRUE(v == CKaVariant());
}

TEST_F(KaVariant, CopiesShareUntilOneOfThemWrites)
{
    CKaVariant v(CKaString(L"shared"));
    CKaVariant w(v);
    EXPECT_EQ(v.getP(), w.getP());
    w.setI4(1);
    EXPECT_EQ(L"shared", Units(v.getString()));
    EXPECT_EQ(1, w.getI4());

    CKaVariant x = v;
    VARIANT* own = x.Unshare();
    EXPECT_NE(v.getP(), own);
    SysFreeString(own->bstrVal);
    own->bstrVal = SysAllocString(L"changed");
    EXPECT_EQ(L"shared", Units(v.getString()));
    EXPECT_EQ(L"changed", Units(x.getString()));
}

TEST_F(KaVariant, AnExclusiveLockRefusesEveryReplacementAndKeepsTheValue)
{
    CKaVariant v(7L);
    VARIANT* locked = v.Lock(true);
    EXPECT_EQ(KaLockInPlace, v.getLockMode());
    const std::vector<std::function<void()>> replacements = {
        [&] { v.setI4(1); },
        [&] { v.setString(L"x"); },
        [&] { v = CKaVariant(2L); },
        [&] { v.SetValue(*CKaVariant(3L).getP()); },
        [&] { v.Clear(); },
        [&] { (void)&v; },
        [&] { VARIANT other; VariantInit(&other); v.Attach(other); },
        [&] { v.Detach(); },
    };
    for (size_t i = 0; i < replacements.size(); ++i) {
        EXPECT_EQ(KA_E_LOCKED_IN_PLACE, ThrownCode(replacements[i])) << "replacement " << i;
        EXPECT_EQ(locked, v.getP());
        EXPECT_EQ(7, v.getI4());
    }
    // Writing through the pointer and converting in place are what the lock is for.
    locked->lVal = 8;
    v.ChangeType(VT_I2, 0);
    EXPECT_EQ(8, v.getI2());
    v.Unlock();
    v.setI4(1);
    EXPECT_EQ(1, v.getI4());
}

TEST_F(KaVariant, ALockedVariantIsCopiedNotShared)
{
    CKaVariant v(1L);
    VARIANT* locked = v.Lock(false);
    CKaVariant copy(v);
    EXPECT_NE(v.getP(), copy.getP());
    locked->lVal = 2;
    EXPECT_EQ(1, copy.getI4());
    EXPECT_FALSE(copy.getLocked());

    // Assigning to a locked variant copies too, and assigning nothing clears it in place.
    CKaVariant target(CKaString(L"old"));
    target.Lock(false);
    target = v;
    EXPECT_NE(v.getP(), target.getP());
    EXPECT_EQ(2, target.getI4());
    CKaVariant other(5L);
    VARIANT* kept = other.Lock(false);
    other = CKaVariant();
    EXPECT_EQ(kept, other.getP());
    EXPECT_EQ(VT_EMPTY, other.getType());

    // Without a lock, assignment shares.
    v.Unlock();
    CKaVariant shared;
    shared = v;
    EXPECT_EQ(v.getP(), shared.getP());
    shared = shared;
    EXPECT_EQ(2, shared.getI4());
}

TEST_F(KaVariant, DetachAndAttachMoveOwnershipWithoutDisturbingSharers)
{
    CKaVariant v(CKaString(L"value"));
    CKaVariant sharer(v);
    VARIANT detached = v.Detach();
    EXPECT_EQ(VT_BSTR, detached.vt);
    EXPECT_EQ(std::wstring(L"value"), detached.bstrVal);
    EXPECT_EQ(L"value", Units(sharer.getString()));
    EXPECT_EQ(VT_EMPTY, v.getType());

    // Attach over a shared node leaves the sharer alone, over a private one replaces it.
    CKaVariant third(sharer);
    third.Attach(detached);
    EXPECT_EQ(L"value", Units(sharer.getString()));
    EXPECT_NE(sharer.getP(), third.getP());
    VARIANT number;
    VariantInit(&number);
    number.vt = VT_I4;
    number.lVal = 9;
    const VARIANT* node = third.getP();
    third.Attach(number);
    EXPECT_EQ(node, third.getP());
    EXPECT_EQ(9, third.getI4());
}

TEST_F(KaVariant, TheAddressOperatorGivesABlankVariantForAnOutputArgument)
{
    CKaVariant source(CKaString(L"copied"));
    CKaVariant target(KaNewDispatch());
    CKaVariant sharer(target);
    EXPECT_EQ(S_OK, VariantCopy(&target, const_cast<VARIANT*>(source.getP())));
    EXPECT_EQ(L"copied", Units(target.getString()));
    EXPECT_EQ(VT_DISPATCH, sharer.getType());
}

TEST_F(KaVariant, InterfacesAreCountedWhileHeld)
{
    CKaComRef<IDispatch> object = KaNewDispatch();
    CKaCountedDispatch* counted = static_cast<CKaCountedDispatch*>(object.getPtr());
    {
        CKaVariant v(object);
        EXPECT_EQ(2u, counted->Count());
        CKaVariant copy(v);
        EXPECT_EQ(2u, counted->Count());
        EXPECT_EQ(object.getPtr(), copy.getDispatch().getPtr());
        EXPECT_EQ(KA_E_WRONG_TYPE, ThrownCode([&] { copy.getUnknown(); }));
        CKaVariant unknown{CKaComRef<IUnknown>(object)};
        EXPECT_EQ(VT_UNKNOWN, unknown.getType());
        EXPECT_EQ(3u, counted->Count());
        copy.setI4(0);
        EXPECT_EQ(3u, counted->Count());
    }
    EXPECT_EQ(1u, counted->Count());
}

TEST_F(KaVariant, ChangeTypeAgreesWithThePlatform)
{
    struct TCase
    {
        CKaVariant source;
        VARTYPE target;
    };
    CKaVariant fromEmpty;
    const std::vector<TCase> cases = {
        {CKaVariant(3L), VT_I2},          {CKaVariant(2.5), VT_I4},
        {CKaVariant(3.5), VT_I4},         {CKaVariant(1e20), VT_I2},
        {CKaVariant(-1L), VT_UI4},        {CKaVariant(L"12"), VT_I4},
        {CKaVariant(L"abc"), VT_I4},      {CKaVariant(L" 7 "), VT_R8},
        {CKaVariant(true), VT_I4},        {CKaVariant(255L), VT_UI1},
        {CKaVariant(256L), VT_UI1},       {CKaVariant(0.25f), VT_BSTR},
        {CKaVariant(-5L), VT_BSTR},       {CKaVariant(L"True"), VT_BOOL},
        {CKaVariant(1L), VT_DISPATCH},    {CKaVariant(L"x"), VT_EMPTY},
        {fromEmpty, VT_I4},               {CKaVariant((unsigned __int64)1 << 40), VT_I4},
    };
    for (const TCase& c : cases) {
        SCOPED_TRACE(::testing::Message() << PlatformText(c.source).c_str() << " -> " << c.target);
        VARIANT expected = c.source.Copy();
        const HRESULT platform = VariantChangeType(&expected, &expected, 0, c.target);
        CKaVariant converted(c.source);
        const long code = ThrownCode([&] { converted.ChangeType(c.target, 0); });
        EXPECT_EQ(platform, code);
        if (SUCCEEDED(platform)) {
            EXPECT_EQ(expected.vt, converted.getType());
            EXPECT_EQ(PlatformText(expected), PlatformText(converted));
        } else {
            // A failed conversion leaves the value as it was.
            EXPECT_TRUE(converted == c.source);
        }
        VariantClear(&expected);
    }
    // Converting a shared value leaves the other sharer as it was.
    CKaVariant text(L"42"), sharer(text);
    text.ChangeType(VT_I4, 0);
    EXPECT_EQ(42, text.getI4());
    EXPECT_EQ(L"42", Units(sharer.getString()));
}

TEST_F(KaVariant, ClearEmptiesOnlyThisVariant)
{
    CKaVariant v(CKaString(L"gone")), sharer(v);
    v.Clear();
    EXPECT_EQ(VT_EMPTY, v.getType());
    EXPECT_EQ(L"gone", Units(sharer.getString()));
    const VARIANT* node = sharer.getP();
    sharer.Clear();
    EXPECT_EQ(node, sharer.getP());
    EXPECT_EQ(VT_EMPTY, sharer.getType());
}

TEST_F(KaVariant, EqualityNeedsTheSameTypeAndValue)
{
    EXPECT_TRUE(CKaVariant(3L) == CKaVariant(3L));
    EXPECT_FALSE(CKaVariant(3L) == CKaVariant(4L));
    EXPECT_FALSE(CKaVariant(3L) == CKaVariant(short(3)));
    EXPECT_FALSE(CKaVariant(3L) == CKaVariant(3.0));
    EXPECT_TRUE(CKaVariant(CKaString(L"a\0b", 3)) == CKaVariant(CKaString(L"a\0b", 3)));
    EXPECT_FALSE(CKaVariant(CKaString(L"a\0b", 3)) == CKaVariant(CKaString(L"a\0c", 3)));
    EXPECT_FALSE(CKaVariant(L"a") == CKaVariant(L"A"));
    EXPECT_FALSE(CKaVariant(L"a") == CKaVariant(L"a "));
    CKaComRef<IDispatch> one = KaNewDispatch(), two = KaNewDispatch();
    EXPECT_TRUE(CKaVariant(one) == CKaVariant(one));
    EXPECT_FALSE(CKaVariant(one) == CKaVariant(two));
    EXPECT_TRUE(CKaVariant(static_cast<__int64>(-1)) != CKaVariant(static_cast<__int64>(1)));
    VARIANT date;
    VariantInit(&date);
    date.vt = VT_DATE;
    date.date = 45000.5;
    EXPECT_TRUE(CKaVariant(date) == CKaVariant(date));
    CKaVariant later(date);
    later.Unshare()->date = 45001.0;
    EXPECT_FALSE(CKaVariant(date) == later);
    // Types the platform cannot compare are compared all the same.
    EXPECT_TRUE(CKaVariant(4000000000UL) == CKaVariant(4000000000UL));
    EXPECT_FALSE(CKaVariant(static_cast<unsigned __int64>(1) << 40) ==
                 CKaVariant(static_cast<unsigned __int64>(1) << 41));
    EXPECT_TRUE(CKaVariant('a') == CKaVariant('a'));
    CKaVariant truth(true);
    truth.Unshare()->boolVal = 1;
    EXPECT_TRUE(truth == CKaVariant(true));
}

TEST_F(KaVariant, ExhaustedMemoryLeavesTheOldValue)
{
    CKaVariant v(L"old"), sharer(v);
    {
        CKaFailingAllocations failing;
        EXPECT_EQ(E_OUTOFMEMORY, ThrownCode([&] { v.setI4(1); }));
        EXPECT_EQ(E_OUTOFMEMORY, ThrownCode([&] { v.setString(L"new"); }));
        EXPECT_EQ(E_OUTOFMEMORY, ThrownCode([&] { v.Unshare(); }));
        EXPECT_EQ(E_OUTOFMEMORY, ThrownCode([&] { v.SetValue(*CKaVariant().getP()); }));
    }
    EXPECT_EQ(sharer.getP(), v.getP());
    EXPECT_EQ(L"old", Units(v.getString()));
}
