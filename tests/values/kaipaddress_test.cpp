#include <gtest/gtest.h>
#include <random>
#include <string>
#include "kaserialtest.h"

namespace {

std::wstring Dotted(unsigned b1, unsigned b2, unsigned b3, unsigned b4)
{
    return std::to_wstring(b1) + L"." + std::to_wstring(b2) + L"." + std::to_wstring(b3) + L"." +
           std::to_wstring(b4);
}

// The code a call throws and whether it came as an error object.
std::pair<long, bool> Thrown(const std::function<void()>& call)
{
    try {
        call();
    } catch (const CKaErrorException& e) {
        return {e.getCode(), true};
    } catch (const CKaException& e) {
        return {e.getCode(), false};
    }
    return {S_OK, false};
}

} // namespace

TEST(KaIpAddress, PartsAndNamedAddresses)
{
    const CKaIpAddress none;
    EXPECT_FALSE(static_cast<bool>(none));
    EXPECT_TRUE(none.getIsNull());
    EXPECT_EQ(L"127.0.0.1", CKaIpAddress::LocalHost().ToString());
    EXPECT_TRUE(CKaIpAddress(127, 0, 0, 1).getIsLocalHost());
    CKaIpAddress a(0, 0, 0, 1);
    EXPECT_TRUE(static_cast<bool>(a));
    EXPECT_TRUE(a != CKaIpAddress(1, 0, 0, 0));
    a.SetLocalHost();
    EXPECT_TRUE(a == CKaIpAddress::LocalHost());
    a.Clear();
    EXPECT_TRUE(a == CKaIpAddress::Null());
    unsigned char b1, b2, b3, b4;
    CKaIpAddress(10, 20, 30, 40).GetBytes(b1, b2, b3, b4);
    EXPECT_EQ((std::vector<int>{10, 20, 30, 40}), (std::vector<int>{b1, b2, b3, b4}));
}

TEST(KaIpAddress, TextBothWays)
{
    std::mt19937 random(4);
    for (int i = 0; i < 500; ++i) {
        const unsigned b[4] = {random() & 255, random() & 255, random() & 255, random() & 255};
        const CKaIpAddress address(static_cast<unsigned char>(b[0]), static_cast<unsigned char>(b[1]),
                                   static_cast<unsigned char>(b[2]),
                                   static_cast<unsigned char>(b[3]));
        const std::wstring text = Dotted(b[0], b[1], b[2], b[3]);
        ASSERT_EQ(text, address.ToString().getSz());
        ASSERT_TRUE(CKaIpAddress(CKaString(text.c_str())) == address);
    }
    const struct
    {
        const wchar_t* text;
        CKaIpAddress expected;
    } accepted[] = {
        {L" 192.168.0.1", CKaIpAddress(192, 168, 0, 1)},
        {L"  10 . 0.0. 1 ", CKaIpAddress(10, 0, 0, 1)},
        {L"1.2.3.4.", CKaIpAddress(1, 2, 3, 4)},
        {L"001.02.255.0", CKaIpAddress(1, 2, 255, 0)},
        {L"\t1.2.3.4\n", CKaIpAddress(1, 2, 3, 4)},
    };
    for (const auto& c : accepted) {
        CKaIpAddress parsed;
        parsed = CKaString(c.text);
        EXPECT_TRUE(parsed == c.expected) << testing::PrintToString(std::wstring(c.text));
    }
}

TEST(KaIpAddress, MalformedTextThrowsAndKeepsTheAddress)
{
    const struct
    {
        const wchar_t* text;
        long code;
        bool asError; // thrown by the number conversion, as an error object
    } malformed[] = {
        {L"", E_INVALIDARG, false},
        {L"   ", E_INVALIDARG, false},
        {L"1.2.3", E_INVALIDARG, false},
        {L"1.2.3.4.5", E_INVALIDARG, false},
        {L"1..2.3", KA_E_NOT_A_NUMBER, true},
        {L"1.2.3.", E_INVALIDARG, false},
        {L".1.2.3", KA_E_NOT_A_NUMBER, true},
        {L"256.1.1.1", KA_E_NUMBER_OUT_OF_RANGE, true},
        {L"1.2.3.-4", KA_E_NUMBER_OUT_OF_RANGE, true},
        {L"a.b.c.d", KA_E_NOT_A_NUMBER, true},
        {L"1.2.3.4.x", KA_E_NOT_A_NUMBER, true},
        {L"1.2.3.4 5", KA_E_NOT_A_NUMBER, true},
        {L"1.2.3.99999999999999999999", KA_E_NUMBER_OUT_OF_RANGE, true},
    };
    for (const auto& c : malformed) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(c.text)));
        CKaIpAddress address(9, 8, 7, 6);
        const std::pair<long, bool> thrown = Thrown([&] { address.FromString(c.text); });
        EXPECT_EQ(c.code, thrown.first);
        EXPECT_EQ(c.asError, thrown.second);
        EXPECT_TRUE(address == CKaIpAddress(9, 8, 7, 6));
    }
}

TEST(KaIpAddress, BinaryFormIsTheFourBytesInTextOrder)
{
    const CKaIpAddress address(192, 168, 1, 20);
    EXPECT_EQ((TKaBytes{192, 168, 1, 20}), SerializedBytes(address));
    CKaIpAddress loaded;
    DeserializeBytes(loaded, SerializedBytes(address));
    EXPECT_TRUE(loaded == address);
    EXPECT_EQ(E_FAIL, ThrownCode([&] { DeserializeBytes(loaded, {1, 2, 3}); }));
    EXPECT_TRUE(loaded == address);
    EXPECT_EQ(E_POINTER, ThrownCode([&] { address.Serialize(nullptr); }));
    EXPECT_EQ(E_POINTER, ThrownCode([&] { loaded.Deserialize(nullptr); }));
    EXPECT_EQ(4u, address.GetSerializeSize(nullptr));
}
