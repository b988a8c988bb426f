#include <gtest/gtest.h>
#include <thread>
#include "katextsupport.h"

namespace {

TEST(StandardEncodingsTest, TheLibraryRegistersItsEncodingsWhenLoaded)
{
    CKaRef<CKaEncoding> utf8 = KaGetUtf8Encoding();
    EXPECT_TRUE(dynamic_cast<CKaUtf8Encoding*>(utf8.getPtr()));
    EXPECT_EQ(utf8.getPtr(), KaGetStandardEncoding(65001).getPtr());
    for (bool bigEndian : {false, true}) {
        auto* utf16 = dynamic_cast<CKaUtf16Encoding*>(KaGetUtf16Encoding(bigEndian).getPtr());
        ASSERT_TRUE(utf16);
        EXPECT_EQ(bigEndian, utf16->getBigEndian());
    }
    for (unsigned short codePage : kCodePages) {
        CKaRef<CKaEncoding> encoding = KaGetStandardEncoding(codePage);
        EXPECT_TRUE(dynamic_cast<CKaMultiByteEncoding*>(encoding.getPtr())) << codePage;
        EXPECT_EQ(codePage, encoding->getCodePage());
    }
    EXPECT_FALSE(KaGetStandardEncoding(65000));
    EXPECT_FALSE(KaGetStandardEncoding(0));
}

TEST(StandardEncodingsTest, AddReplacesAndRemoveForgets)
{
    CKaRef<CKaEncoding> standard = KaGetStandardEncoding(1252);
    CKaRef<CKaEncoding> own = new CKaMultiByteEncoding(1252);
    KaAddStandardEncoding(own);
    EXPECT_EQ(own.getPtr(), KaGetStandardEncoding(1252).getPtr());
    KaRemoveStandardEncoding(1252);
    EXPECT_FALSE(KaGetStandardEncoding(1252));
    KaRemoveStandardEncoding(1252);
    KaAddStandardEncoding(standard);
    EXPECT_EQ(standard.getPtr(), KaGetStandardEncoding(1252).getPtr());
    EXPECT_EQ(E_POINTER, ThrownCode([] { KaAddStandardEncoding(nullptr); }));
}

TEST(StandardEncodingsTest, ThreadsShareTheRegistry)
{
    std::vector<std::thread> threads;
    std::vector<int> mismatches(4, 0);
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([t, &mismatches] {
            const unsigned short codePage = static_cast<unsigned short>(50000 + t);
            for (int i = 0; i < 300; ++i) {
                CKaRef<CKaEncoding> encoding = new CKaMultiByteEncoding(codePage);
                KaAddStandardEncoding(encoding);
                if (KaGetStandardEncoding(codePage).getPtr() != encoding.getPtr()) {
                    ++mismatches[t];
                }
                if (!KaGetUtf8Encoding()) ++mismatches[t];
                KaRemoveStandardEncoding(codePage);
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(std::vector<int>(4, 0), mismatches);
}

TEST(StandardEncodingsTest, WithoutTheRegistryEveryCallThrows)
{
    CKaRef<CKaEncoding> held = KaGetStandardEncoding(437);
    const unsigned long counted = held->AddRef();
    held->Release();

    KaCleanupStandardEncodings();
    // The registry let go of its reference.
    EXPECT_EQ(counted - 1, held->AddRef());
    held->Release();
    EXPECT_EQ(E_POINTER, ThrownCode([] { KaGetStandardEncoding(437); }));
    EXPECT_EQ(E_POINTER, ThrownCode([] { KaGetUtf8Encoding(); }));
    EXPECT_EQ(E_POINTER, ThrownCode([&] { KaAddStandardEncoding(held); }));
    EXPECT_EQ(E_POINTER, ThrownCode([] { KaRemoveStandardEncoding(437); }));
    KaCleanupStandardEncodings();

    KaInitializeStandardEncodings();
    EXPECT_FALSE(KaGetStandardEncoding(437));
    KaRegisterStandardEncodings();
    EXPECT_EQ(437, KaGetStandardEncoding(437)->getCodePage());
    EXPECT_TRUE(KaGetUtf16Encoding(true));
}

} // namespace
