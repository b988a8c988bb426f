#include <gtest/gtest.h>
#include <functional>
#include "kaserialtest.h"

namespace {

std::wstring Units(const CKaSysString& s)
{
    return std::wstring(s.getSz(), s.getLength());
}

// A callee that returns a new BSTR through an out-parameter, as COM methods do.
void FillOut(BSTR* out, const wchar_t* text)
{
    *out = SysAllocString(text);
}

// The code and the exception class a call throws.
struct TThrown
{
    long code;
    bool asCode;
};

TThrown ThrownWithClass(const std::function<void()>& call)
{
    try {
        call();
    } catch (const CKaCodeException& e) {
        return {e.getCode(), true};
    } catch (const CKaException& e) {
        return {e.getCode(), false};
    }
    return {S_OK, false};
}

} // namespace

TEST(KaSysString, EmptyStringHasNoBstrButReadsAsAnEmptyOne)
{
    CKaSysString s;
    ASSERT_NE(nullptr, s.getSz());
    EXPECT_EQ(0u, SysStringLen(const_cast<BSTR>(s.getSz())));
    EXPECT_EQ(s.getSz(), CKaSysString(L"").getSz());
    EXPECT_EQ(nullptr, static_cast<wchar_t*>(s));
    EXPECT_EQ(0u, s.getLength());
    EXPECT_TRUE(s.getIsEmpty());
    EXPECT_EQ(nullptr, s.Detach(false));
    BSTR empty = s.Detach(true);
    ASSERT_NE(nullptr, empty);
    EXPECT_EQ(0u, SysStringLen(empty));
    SysFreeString(empty);
    BSTR copy = s.Copy();
    ASSERT_NE(nullptr, copy);
    EXPECT_EQ(0u, SysStringLen(copy));
    SysFreeString(copy);
}

TEST(KaSysString, CopiesShareTheBstrUntilOneIsWritten)
{
    CKaSysString original(L"shared");
    CKaSysString copy = original;
    EXPECT_EQ(static_cast<wchar_t*>(original), static_cast<wchar_t*>(copy));
    copy.Append(L"!");
    EXPECT_EQ(L"shared", original);
    EXPECT_EQ(L"shared!", copy);
    EXPECT_EQ(7u, SysStringLen(copy));
    copy.setAt(0, L'S');
    EXPECT_EQ(L"Shared!", copy);
    EXPECT_EQ(L"shared", original);

    CKaSysString assigned;
    assigned = original;
    EXPECT_EQ(static_cast<wchar_t*>(original), static_cast<wchar_t*>(assigned));
    // A locked string is never shared.
    original.Lock(false);
    const CKaSysString ofLocked(original);
    EXPECT_NE(static_cast<wchar_t*>(original), static_cast<wchar_t*>(ofLocked));
    EXPECT_EQ(L"shared", ofLocked);
    original.Unlock();
}

TEST(KaSysString, WritingToASharedCopyKeepsTextUpToTheFirstZero)
{
    const wchar_t units[] = {L'a', 0, L'b'};
    CKaSysString original(units, 3);
    EXPECT_EQ(3u, original.getLength());
    CKaSysString copy = original;
    copy.Append(L"c");
    EXPECT_EQ(std::wstring(L"ac"), Units(copy));
    EXPECT_EQ(std::wstring(units, 3), Units(original));
    // A private string keeps its zeros through edits, and the conversions keep them too.
    original.Append(L"d");
    EXPECT_EQ(std::wstring(L"a\0bd", 4), Units(original));
    EXPECT_EQ(std::wstring(L"a\0bd", 4), Units(CKaString(original)));
    EXPECT_EQ(std::wstring(L"a\0bd", 4), Units(CKaString(original).getSysString()));
    // Range checks see the unshared text.
    CKaSysString shared = original;
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, ThrownCode([&] { shared.Insert(4, L"x"); }));
}

TEST(KaSysString, AddressOfHandsTheBstrToACallee)
{
    CKaSysString s(L"old");
    CKaSysString copy = s;
    FillOut(&s, L"filled");
    EXPECT_EQ(L"filled", s);
    EXPECT_EQ(L"old", copy);
    FillOut(&s, L"again");
    EXPECT_EQ(L"again", s);
    CKaSysString empty;
    FillOut(&empty, L"new");
    EXPECT_EQ(L"new", empty);
}

TEST(KaSysString, AttachAndDetachMoveOwnership)
{
    BSTR mine = SysAllocString(L"attached");
    CKaSysString s(L"before");
    s.Attach(mine);
    EXPECT_EQ(mine, static_cast<wchar_t*>(s));
    EXPECT_EQ(L"attached", s);

    // Detaching a shared string hands out a copy; the other holder keeps its own.
    CKaSysString copy = s;
    BSTR detached = copy.Detach(true);
    EXPECT_NE(mine, detached);
    EXPECT_EQ(std::wstring(L"attached"), detached);
    EXPECT_TRUE(copy.getIsEmpty());
    SysFreeString(detached);
    EXPECT_EQ(mine, s.Detach(false));
    EXPECT_TRUE(s.getIsEmpty());
    SysFreeString(mine);

    // Attaching to a shared string leaves the other holder alone.
    CKaSysString a(L"one");
    CKaSysString b = a;
    b.Attach(SysAllocString(L"two"));
    EXPECT_EQ(L"one", a);
    EXPECT_EQ(L"two", b);
}

TEST(KaSysString, ALockInPlaceKeepsTheBstrWhereItIs)
{
    CKaSysString s(L"abc");
    wchar_t* locked = s.Lock(true);
    BSTR other = SysAllocString(L"x");
    EXPECT_EQ(KA_E_LOCKED_IN_PLACE, ThrownCode([&] { s.Attach(other); }));
    EXPECT_EQ(KA_E_LOCKED_IN_PLACE, ThrownCode([&] { s.Detach(true); }));
    EXPECT_EQ(KA_E_LOCKED_IN_PLACE, ThrownCode([&] { (void)&s; }));
    EXPECT_EQ(KA_E_LOCKED_IN_PLACE, ThrownCode([&] { s.Append(L"d"); }));
    EXPECT_EQ(KA_E_LOCKED_IN_PLACE, ThrownCode([&] { s.SetText(L"longer"); }));
    EXPECT_EQ(L"abc", s);
    // Writes that keep the length stay in the same BSTR.
    s.Overwrite(0, L"xy");
    s.setAt(2, L'z');
    EXPECT_EQ(locked, static_cast<wchar_t*>(s));
    EXPECT_EQ(L"xyz", s);
    s.Unlock();
    s.Attach(other);
    EXPECT_EQ(L"x", s);

    // Even without text, a string locked in place refuses a BSTR.
    CKaSysString empty;
    EXPECT_EQ(nullptr, empty.Lock(true));
    BSTR refused = SysAllocString(L"y");
    EXPECT_EQ(KA_E_LOCKED_IN_PLACE, ThrownCode([&] { empty.Attach(refused); }));
    SysFreeString(refused);
    // ...but takes text, since no BSTR moves.
    empty.SetText(L"set");
    EXPECT_EQ(L"set", empty);
    empty.Unlock();

    // A plain lock lets the BSTR be replaced; the string stays locked.
    CKaSysString plain(L"ab");
    plain.Lock(false);
    plain.Append(L"cd");
    EXPECT_EQ(L"abcd", plain);
    const CKaSysString copy(plain);
    EXPECT_NE(static_cast<wchar_t*>(plain), static_cast<wchar_t*>(copy));
    plain.Unlock();
}

TEST(KaSysString, EditsMatchTheStringClassAndKeepTheBstrExact)
{
    // Each edit runs on both string types: the results and the codes thrown must agree.
    struct TEdit
    {
        const char* name;
        std::function<void(CKaString&)> onString;
        std::function<void(CKaSysString&)> onSysString;
    };
    const TEdit edits[] = {
        {"Insert", [](CKaString& s) { s.Insert(2, L"XY"); },
         [](CKaSysString& s) { s.Insert(2, L"XY"); }},
        {"Insert past", [](CKaString& s) { s.Insert(9, L"X"); },
         [](CKaSysString& s) { s.Insert(9, L"X"); }},
        {"Insert chars", [](CKaString& s) { s.Insert(0, L'-', 3); },
         [](CKaSysString& s) { s.Insert(0, L'-', 3); }},
        {"Append self", [](CKaString& s) { s.Append(s); }, [](CKaSysString& s) { s.Append(s); }},
        {"Prepend", [](CKaString& s) { s.Prepend(L"<<", 1); },
         [](CKaSysString& s) { s.Prepend(L"<<", 1); }},
        {"Overwrite", [](CKaString& s) { s.Overwrite(1, L"##"); },
         [](CKaSysString& s) { s.Overwrite(1, L"##"); }},
        {"Overwrite past", [](CKaString& s) { s.Overwrite(4, L"###"); },
         [](CKaSysString& s) { s.Overwrite(4, L"###"); }},
        {"Delete", [](CKaString& s) { s.Delete(1, 2); }, [](CKaSysString& s) { s.Delete(1, 2); }},
        {"Delete past", [](CKaString& s) { s.Delete(2, 9); },
         [](CKaSysString& s) { s.Delete(2, 9); }},
        {"DeleteRight", [](CKaString& s) { s.DeleteRight(2); },
         [](CKaSysString& s) { s.DeleteRight(2); }},
        {"ExtractMid", [](CKaString& s) { s.ExtractMid(1, 3); },
         [](CKaSysString& s) { s.ExtractMid(1, 3); }},
        {"ExtractMid past", [](CKaString& s) { s.ExtractMid(7); },
         [](CKaSysString& s) { s.ExtractMid(7); }},
        {"ExtractLeftIncluding", [](CKaString& s) { s.ExtractLeftIncluding(L"ba"); },
         [](CKaSysString& s) { s.ExtractLeftIncluding(L"ba"); }},
        {"DeleteLeftExcluding", [](CKaString& s) { s.DeleteLeftExcluding(L"d"); },
         [](CKaSysString& s) { s.DeleteLeftExcluding(L"d"); }},
        {"SetLengthFill", [](CKaString& s) { s.SetLengthFill(8, L'.'); },
         [](CKaSysString& s) { s.SetLengthFill(8, L'.'); }},
        {"setLength shorter", [](CKaString& s) { s.setLength(2); },
         [](CKaSysString& s) { s.setLength(2); }},
        {"setAt end", [](CKaString& s) { s.setAt(5, L'!'); },
         [](CKaSysString& s) { s.setAt(5, L'!'); }},
        {"Clear", [](CKaString& s) { s.Clear(); }, [](CKaSysString& s) { s.Clear(); }},
        {"+=", [](CKaString& s) { s += L'z'; }, [](CKaSysString& s) { s += L'z'; }},
    };
    for (const TEdit& edit : edits) {
        SCOPED_TRACE(edit.name);
        CKaString expected(L"abcde");
        CKaSysString actual(L"abcde");
        const CKaSysString other = actual;
        const long expectedCode = ThrownCode([&] { edit.onString(expected); });
        EXPECT_EQ(expectedCode, ThrownCode([&] { edit.onSysString(actual); }));
        EXPECT_EQ(Units(expected), Units(actual));
        EXPECT_EQ(expected.getLength(), SysStringLen(actual));
        EXPECT_EQ(L"abcde", other);
    }
    CKaSysString grown;
    grown.setLength(3);
    EXPECT_EQ(std::wstring(3, L'\0'), Units(grown));
}

TEST(KaSysString, QueriesMatchTheStringClass)
{
    const CKaString model(L"key=value=x");
    const CKaSysString s(L"key=value=x");
    EXPECT_EQ(model.Left(3), s.Left(3).getString());
    EXPECT_EQ(model.Right(1), s.Right(1).getString());
    EXPECT_EQ(model.Mid(4, 5), s.Mid(4, 5).getString());
    EXPECT_EQ(model.ExceptMid(3, 6), s.ExceptMid(3, 6).getString());
    EXPECT_EQ(model.LeftExcluding(L"="), s.LeftExcluding(L"=").getString());
    EXPECT_EQ(model.ExceptLeftIncluding(L"eky"), s.ExceptLeftIncluding(L"eky").getString());
    EXPECT_EQ(KA_E_COUNT_OUT_OF_RANGE, ThrownCode([&] { s.Mid(4, 8); }));
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, ThrownCode([&] { s.Mid(12); }));
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, ThrownCode([&] { s[-1]; }));
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, ThrownCode([&] { s.getAt(11); }));
    EXPECT_EQ(L'x', s[10]);

    unsigned long pos = 0;
    EXPECT_TRUE(s.Find(L'=', 4, pos));
    EXPECT_EQ(9u, pos);
    EXPECT_FALSE(s.FindString(L"zz", pos));
    EXPECT_EQ(11u, pos);
    EXPECT_FALSE(s.ReverseFind(L'q', pos));
    EXPECT_EQ(0xFFFFFFFFu, pos);
    EXPECT_TRUE(s.FindOneOf(L"vx", pos));
    EXPECT_EQ(4u, pos);
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, ThrownCode([&] { s.Find(L'a', 12, pos); }));

    EXPECT_EQ(L"<key=value=x>", L"<" + s + L">");
    EXPECT_EQ(L"ab", CKaSysString(L"b").Concat(L"a", false));
}

TEST(KaSysString, ComparisonIsOrdinalAcrossStringTypes)
{
    const CKaSysString a(L"a");
    const CKaSysString upperB(L"B");
    EXPECT_EQ(1, a.Compare(upperB.getSz()));
    EXPECT_EQ(-1, a.CompareNoCase(L"B"));
    EXPECT_TRUE(a > upperB);
    EXPECT_TRUE(a == CKaString(L"a"));
    EXPECT_TRUE(CKaString(L"a") == a);
    EXPECT_TRUE(L"a" == a);
    EXPECT_TRUE(CKaSysString() == L"");
    EXPECT_TRUE(CKaSysString() == static_cast<const wchar_t*>(nullptr));
    EXPECT_EQ(L"Ä", CKaSysString("\xC4"));
}

TEST(KaSysString, NumbersThrowCodeExceptionsAndNarrowOverflowIsEFail)
{
    const struct
    {
        std::function<void()> call;
        long code;
    } cases[] = {
        {[] { CKaSysString(L"4294967296").ToU4(); }, E_FAIL},
        {[] { CKaSysString(L"256").ToU1(); }, E_FAIL},
        {[] { CKaSysString(L"-129").ToI1(); }, E_FAIL},
        {[] { CKaSysString(L"2147483648").ToI4(); }, E_FAIL},
        {[] { CKaSysString(L"-1").ToU8(); }, KA_E_NUMBER_OUT_OF_RANGE},
        {[] { CKaSysString(L"-0").ToU2(); }, KA_E_NUMBER_OUT_OF_RANGE},
        {[] { CKaSysString(L"18446744073709551616").ToU8(); }, KA_E_NUMBER_OUT_OF_RANGE},
        {[] { CKaSysString(L"12").ToU8(1); }, E_INVALIDARG},
        {[] { CKaSysString(L"12").ToI4(37); }, E_INVALIDARG},
        {[] { CKaSysString(L"12x").ToI2(); }, KA_E_NOT_A_NUMBER},
        {[] { CKaSysString().ToU4(); }, KA_E_NOT_A_NUMBER},
        {[] { CKaSysString(L"x").ToF8(); }, KA_E_NOT_A_NUMBER},
        {[] { CKaSysString(L"1e39").ToF4(); }, KA_E_NUMBER_OUT_OF_RANGE},
    };
    for (const auto& c : cases) {
        const TThrown thrown = ThrownWithClass(c.call);
        EXPECT_EQ(c.code, thrown.code);
        EXPECT_TRUE(thrown.asCode);
    }
    EXPECT_EQ(4294967295u, CKaSysString(L"4294967295").ToU4());
    EXPECT_EQ(-128, CKaSysString(L"-128").ToI1());
    EXPECT_EQ(0xFFu, CKaSysString(L"ff").ToU1(16));
    EXPECT_EQ(INT64_MIN, CKaSysString(L"-9223372036854775808").ToI8());
    EXPECT_EQ(-1.5, CKaSysString(L" -1.5 ").ToF8());
    EXPECT_EQ(0.25f, CKaSysString(L"0.25").ToF4());
}

TEST(KaSysString, BinaryFormIsTheStringFormat)
{
    EXPECT_EQ((TKaBytes{2, 0, 0, 0, 'h', 0, 'i', 0}), SerializedBytes(CKaSysString(L"hi")));
    EXPECT_EQ(SerializedBytes(CKaString(L"text")), SerializedBytes(CKaSysString(L"text")));
    EXPECT_EQ((TKaBytes{0, 0, 0, 0}), SerializedBytes(CKaSysString()));

    const CKaSysString zeros(L"a\0b", 3);
    CKaSysString loaded(L"old");
    DeserializeBytes(loaded, SerializedBytes(zeros));
    EXPECT_EQ(std::wstring(L"a\0b", 3), Units(loaded));
    EXPECT_EQ(3u, SysStringLen(loaded));

    // A count the stream cannot hold, or units cut short: E_FAIL, and the text stays.
    const TKaBytes hostile[] = {{0xFF, 0xFF, 0xFF, 0x7F, 'a', 0}, {2, 0, 0, 0, 'a', 0, 'b'}, {1, 0}};
    for (const TKaBytes& bytes : hostile) {
        EXPECT_EQ(E_FAIL, ThrownCode([&] { DeserializeBytes(loaded, bytes); }));
        EXPECT_EQ(std::wstring(L"a\0b", 3), Units(loaded));
    }
    EXPECT_EQ(E_POINTER, ThrownCode([&] { zeros.Serialize(nullptr); }));
    EXPECT_EQ(E_POINTER, ThrownCode([&] { loaded.Deserialize(nullptr); }));
    EXPECT_EQ(E_POINTER, ThrownCode([&] { zeros.GetSerializeSize(nullptr); }));
    EXPECT_EQ(10u, zeros.GetSerializeSize(ReaderOf({})));
}

TEST(KaSysString, AssignedToAStringWithEveryUnit)
{
    CKaString s(L"old");
    s = CKaSysString(L"x\0y", 3);
    EXPECT_EQ(std::wstring(L"x\0y", 3), Units(s));
    s.SetText(CKaSysString());
    EXPECT_TRUE(s.getIsEmpty());
}
