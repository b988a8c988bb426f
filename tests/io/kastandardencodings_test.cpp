#include <gtest/gtest.h>
#include <atomic>
#include <thread>
#include "katextsupport.h"

namespace {

TEST(StandardEncodingsTest, TheLibraryRegistersItsEncodingsWhenLoaded)
{
    EXPECT_TRUE(dynamic_cast<CKaUtf8Encoding*>(KaGetUtf8Encoding().getPtr()));
    for (bool bigEndian : {false, true}) {
        auto* utf16 = dynamic_cast<CKaUtf16Encoding*>(KaGetUtf16Encoding(bigEndian).getPtr());
        EXPECT_TRUE(utf16 && utf16->getBigEndian() == bigEndian);
    }
    for (unsigned short codePage : kCodePages) {
        CKaRef<CKaEncoding> encoding = KaGetStandardEncoding(codePage);
        EXPECT_TRUE(dynamic_cast<CKaMultiByteEncoding*>(encoding.getPtr())) << codePage;
        EXPECT_EQ(codePage, encoding->getCodePage());
    }
    EXPECT_FALSE(KaGetStandardEncoding(65000));
}

TEST(StandardEncodingsTest, AddReplacesAndRemoveForgets)
{
    CKaRef<CKaEncoding> standard = KaGetStandardEncoding(1252);
    CKaRef<CKaEncoding> own = new CKaMultiByteEncoding(1252);
    KaAddStandardEncoding(own);
    EXPECT_EQ(own.getPtr(), KaGetStandardEncoding(1252).getPtr());
    KaRemoveStandardEncoding(1252);
    EXPECT_FALSE(KaGetStandardEncoding(1252));
    KaAddStandardEncoding(standard);
    EXPECT_EQ(E_POINTER, ThrownCode([] { KaAddStandardEncoding(nullptr); }));
}

// Without the lock the map breaks: lookups go wrong or never end.
TEST(StandardEncodingsTest, ThreadsShareTheRegistry)
{
    std::atomic<int> mismatches(0);
    std::vector<std::thread> threads;
    for (unsigned short codePage = 50000; codePage < 50004; ++codePage) {
        threads.emplace_back([codePage, &mismatches] {
            for (int i = 0; i < 10000; ++i) {
                CKaRef<CKaEncoding> encoding = new CKaMultiByteEncoding(codePage);
                KaAddStandardEncoding(encoding);
                if (KaGetStandardEncoding(codePage).getPtr() != encoding.getPtr()) ++mismatches;
                KaRemoveStandardEncoding(codePage);
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(0, mismatches.load());
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
    EXPECT_EQ(E_POINTER, ThrownCode([] { KaGetUtf8Encoding(); }));
    EXPECT_EQ(E_POINTER, ThrownCode([] { KaRemoveStandardEncoding(437); }));
    KaCleanupStandardEncodings();

    KaInitializeStandardEncodings();
    EXPECT_FALSE(KaGetStandardEncoding(437));
    KaRegisterStandardEncodings();
    EXPECT_EQ(437, KaGetStandardEncoding(437)->getCodePage());
}

} // namespace
