#include <gtest/gtest.h>
#include <functional>
#include <stdexcept>
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

TEST(KaThrowIfFailed, FailuresAreThrownUnchangedSuccessCodesPass)
{
    EXPECT_EQ(S_OK, ThrownCode([] { KaThrowIfFailed(S_OK); }));
    EXPECT_EQ(S_OK, ThrownCode([] { KaThrowIfFailed(S_FALSE); }));
    EXPECT_EQ(E_NOINTERFACE, ThrownCode([] { KaThrowIfFailed(E_NOINTERFACE); }));
    EXPECT_EQ(static_cast<long>(0x80070005), ThrownCode([] { KaThrowIfFailed(0x80070005); }));
}

// The boundaries of the range rules, near zero and near the top of 32 bits, where an end
// computed as start + count would wrap.
TEST(KaRangeRules, AStartMayBeTheSizeAnElementMustBeBelowIt)
{
    const unsigned long top = 0xFFFFFFFF;
    auto range = [](unsigned long start, unsigned long count, unsigned long size) {
        return ThrownCode([=] { KaCheckRange(start, count, size); });
    };
    EXPECT_EQ(S_OK, range(0, 0, 0));
    EXPECT_EQ(S_OK, range(5, 0, 5));
    EXPECT_EQ(S_OK, range(0, 5, 5));
    EXPECT_EQ(S_OK, range(2, 3, 5));
    EXPECT_EQ(S_OK, range(top, 0, top));
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, range(6, 0, 5));
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, range(1, 0, 0));
    // A start beyond the size is reported before any count.
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, range(6, top, 5));
    EXPECT_EQ(KA_E_COUNT_OUT_OF_RANGE, range(3, 3, 5));
    EXPECT_EQ(KA_E_COUNT_OUT_OF_RANGE, range(1, top, 5));
    EXPECT_EQ(KA_E_COUNT_OUT_OF_RANGE, range(top, 1, top));

    auto index = [](unsigned long i, unsigned long size) {
        return ThrownCode([=] { KaCheckIndex(i, size); });
    };
    EXPECT_EQ(S_OK, index(0, 1));
    EXPECT_EQ(S_OK, index(top - 1, top));
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, index(0, 0));
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, index(5, 5));
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, index(top, top));

    EXPECT_EQ(0u, KaCheckedIndex(0));
    EXPECT_EQ(0x7FFFFFFFu, KaCheckedIndex(0x7FFFFFFF));
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, ThrownCode([] { KaCheckedIndex(-1); }));
}

TEST(KaLockMode, OnlyANodeLockedInPlaceRefusesToMove)
{
    EXPECT_EQ(0, KaLockNone);
    EXPECT_EQ(1, KaLockLocked);
    EXPECT_EQ(2, KaLockInPlace);
    EXPECT_EQ(4u, sizeof(TKaLockMode));
    EXPECT_EQ(S_OK, ThrownCode([] { KaCheckNotLockedInPlace(KaLockNone); }));
    EXPECT_EQ(S_OK, ThrownCode([] { KaCheckNotLockedInPlace(KaLockLocked); }));
    EXPECT_EQ(KA_E_LOCKED_IN_PLACE, ThrownCode([] { KaCheckNotLockedInPlace(KaLockInPlace); }));
}

TEST(KaCaughtCode, TheHandledExceptionsCodeOrUnexpected)
{
    const auto caught = [](const std::function<void()>& thrower) {
        try {
            thrower();
        } catch (...) {
            return KaCaughtCode();
        }
        return S_OK;
    };
    EXPECT_EQ(E_ACCESSDENIED, caught([] { throw CKaCodeException(E_ACCESSDENIED); }));
    EXPECT_EQ(KA_E_NOT_A_NUMBER, caught([] { CKaError::Build(KA_E_NOT_A_NUMBER)->Throw(); }));
    EXPECT_EQ(E_UNEXPECTED, caught([] { throw std::runtime_error("not the library's"); }));
}
