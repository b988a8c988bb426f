#include <gtest/gtest.h>
#include "katest.h"

namespace {

// An error that reports its destruction, to follow an error's life through a throw.
class CKaCountedError : public CKaError
{
public:
    CKaCountedError(long code, int& destructions) : CKaError(code), m_destructions(destructions) {}

protected:
    ~CKaCountedError() override { ++m_destructions; }

private:
    int& m_destructions;
};

} // namespace

TEST(KaException, CodeExceptionMakesANewErrorOnEveryCall)
{
    const CKaCodeException e(E_OUTOFMEMORY);
    CKaRef<CKaError> first = e.getError();
    CKaRef<CKaError> second = e.getError();
    EXPECT_EQ(E_OUTOFMEMORY, first->getCode());
    EXPECT_EQ(E_OUTOFMEMORY, second->getCode());
    EXPECT_NE(first.getPtr(), second.getPtr());
}

TEST(KaException, AThrownErrorIsCaughtAsItselfAndLivesWhileHeld)
{
    int destructions = 0;
    CKaError* thrown = new CKaComObject<CKaCountedError>(E_UNEXPECTED, destructions);
    CKaRef<CKaError> kept;
    try {
        CKaRef<CKaError>(thrown)->Throw();
    } catch (const CKaException& e) {
        EXPECT_NE(nullptr, dynamic_cast<const CKaErrorException*>(&e));
        EXPECT_EQ(E_UNEXPECTED, e.getCode());
        kept = e.getError();
    }
    EXPECT_EQ(thrown, kept.getPtr());
    EXPECT_EQ(0, destructions);
    kept = nullptr;
    EXPECT_EQ(1, destructions);
}

TEST(KaException, ErrorExceptionRefusesANullError)
{
    try {
        CKaErrorException e{CKaRef<CKaError>()};
        FAIL() << "built from a null error";
    } catch (const CKaCodeException& e) {
        EXPECT_EQ(E_POINTER, e.getCode());
    }
}

TEST(KaError, TypeAndTheInterfacesWithRichErrorInformation)
{
    CKaRef<CKaError> error = CKaError::Build(E_FAIL);
    EXPECT_EQ(L"zel.core.main.error;zel.common.object", error->getObjectTypeInfo());
    EXPECT_EQ(L"zel.core.main.error", error->getObjectTypeId());
    EXPECT_EQ(L"zel.core.main.error", error->getClassTypeId());
    for (const IID* iid :
         {&IID_IZELKaError, &IID_IZELKaComError, &IID_IZELKaObject, &IID_IZELKaObjectSet}) {
        EXPECT_TRUE(error->DoesInterfaceSupportErrorInfo(*iid));
    }
    GUID almost = IID_IZELKaError;
    almost.Data4[7] ^= 1;
    EXPECT_FALSE(error->DoesInterfaceSupportErrorInfo(almost));
    EXPECT_FALSE(error->DoesInterfaceSupportErrorInfo(IID_IUnknown));
}

TEST(KaFormatMessage, FillsInsertsNotPrintfConversions)
{
    EXPECT_EQ(L"a of b", KaFormatMessage(L"%1 of %2", L"a", L"b"));
    EXPECT_EQ(L"b, a: 42", KaFormatMessage(L"%2, %1: %3!d!", L"a", L"b", 42));
    EXPECT_EQ(L"%d", KaFormatMessage(L"%%d"));
    EXPECT_EQ(L"", KaFormatMessage(CKaString()));
}

TEST(KaWin32Error, PositiveErrorsBecomeHResultsTheRestStand)
{
    EXPECT_EQ(static_cast<long>(0x80070005), KaHResultFromWin32(ERROR_ACCESS_DENIED));
    EXPECT_EQ(static_cast<long>(0x80072345), KaHResultFromWin32(0x12345));
    EXPECT_EQ(0, KaHResultFromWin32(0));
    EXPECT_EQ(E_FAIL, KaHResultFromWin32(E_FAIL));
    SetLastError(ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(static_cast<long>(0x80070003), ThrownCode([] { KaThrowLastError(); }));
    // A zero last error is thrown as it stands: the call still never returns.
    SetLastError(0);
    try {
        KaThrowLastError();
    } catch (const CKaCodeException& e) {
        EXPECT_EQ(0, e.getCode());
    }
}
