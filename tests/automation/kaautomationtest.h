#ifndef ZELKA_TESTS_KAAUTOMATIONTEST_H
#define ZELKA_TESTS_KAAUTOMATIONTEST_H

#include <gtest/gtest.h>
#include "kacomtest.h"

// A test that must end with no BSTR, SAFEARRAY or counted object left over from what it did.
class CKaLeakCheckedTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        m_blocksAtStart = CKaMallocSpy::Instance().Outstanding();
        m_objectsAtStart = CKaCountedDispatch::Live();
    }

    void TearDown() override
    {
        EXPECT_EQ(m_blocksAtStart, CKaMallocSpy::Instance().Outstanding())
            << "BSTRs or SAFEARRAYs left over";
        EXPECT_EQ(m_objectsAtStart, CKaCountedDispatch::Live()) << "counted objects left over";
    }

    size_t m_blocksAtStart = 0;
    long m_objectsAtStart = 0;
};

#endif
