#include "kaautomationtest.h"

// The leak check is only worth something if it sees leaks: plant each kind and watch it.
TEST(KaLeakCheck, SeesStringsArraysAndObjectsThatAreNotGivenBack)
{
    CKaMallocSpy& spy = CKaMallocSpy::Instance();
    const size_t blocks = spy.Outstanding();

    BSTR planted = SysAllocString(L"planted");
    EXPECT_EQ(blocks + 1, spy.Outstanding());
    SAFEARRAY* array = SafeArrayCreateVector(VT_I4, 0, 4);
    EXPECT_LT(blocks + 1, spy.Outstanding());
    SafeArrayDestroy(array);
    SysFreeString(planted);
    EXPECT_EQ(blocks, spy.Outstanding());

    // A value taken out of a variant and never cleared.
    VARIANT detached;
    {
        CKaVariant variant(L"detached");
        detached = variant.Detach();
    }
    EXPECT_EQ(blocks + 1, spy.Outstanding());
    VariantClear(&detached);
    EXPECT_EQ(blocks, spy.Outstanding());

    const long objects = CKaCountedDispatch::Live();
    CKaComRef<IDispatch> object = KaNewDispatch();
    EXPECT_EQ(objects + 1, CKaCountedDispatch::Live());
    object = nullptr;
    EXPECT_EQ(objects, CKaCountedDispatch::Live());
}
