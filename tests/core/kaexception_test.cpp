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

TEST(KaException, ThrownErrorIsRecoveredAsTheSameObject)
{
    CKaRef<CKaError> error = CKaError::Build(KA_E_NOT_A_NUMBER);
    try {
        error->Throw();
    } catch (const CKaException& e) {
        EXPECT_EQ(KA_E_NOT_A_NUMBER, e.getCode());
        EXPECT_EQ(error.getPtr(), e.getError().getPtr());
        return;
    }
    FAIL() << "Throw returned";
}

TEST(KaException, ThrowIsAnErrorException)
{
    CKaRef<CKaError> error = CKaError::Build(E_FAIL);
    try {
        error->Throw();
    } catch (const CKaErrorException& e) {
        EXPECT_EQ(E_FAIL, e.getCode());
        return;
    }
    FAIL() << "not caught as CKaErrorException";
}

TEST(KaException, ErrorLivesWhileAnExceptionOrCatcherHoldsIt)
{
    int destructions = 0;
    CKaRef<CKaError> kept;
    try {
        CKaRef<CKaError>(new CKaComObject<CKaCountedError>(E_UNEXPECTED, destructions))->Throw();
    } catch (CKaException& e) {
        EXPECT_EQ(0, destructions);
        kept = e.getError();
    }
    EXPECT_EQ(0, destructions);
    EXPECT_EQ(E_UNEXPECTED, kept->getCode());
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

TEST(KaException, ErrorExceptionCopiesShareTheError)
{
    CKaRef<CKaError> error = CKaError::Build(E_ACCESSDENIED);
    CKaErrorException original(error);
    CKaErrorException copy = original;
    EXPECT_EQ(error.getPtr(), copy.getError().getPtr());
    EXPECT_EQ(E_ACCESSDENIED, copy.getCode());
}

TEST(KaError, TypeIdentifiers)
{
    CKaRef<CKaError> error = CKaError::Build(E_FAIL);
    EXPECT_EQ(L"zel.core.main.error;zel.common.object", error->getObjectTypeInfo());
    EXPECT_EQ(L"zel.core.main.error", error->getObjectTypeId());
    EXPECT_EQ(L"zel.core.main.error", error->getClassTypeId());
    EXPECT_EQ(L"zel.core.main.error", CKaError::GetClassTypeId());
}

TEST(KaError, RichErrorInformationOnlyForTheLibrarysInterfaces)
{
    CKaRef<CKaError> error = CKaError::Build(E_FAIL);
    EXPECT_TRUE(error->DoesInterfaceSupportErrorInfo(IID_IZELKaError));
    EXPECT_TRUE(error->DoesInterfaceSupportErrorInfo(IID_IZELKaComError));
    EXPECT_TRUE(error->DoesInterfaceSupportErrorInfo(IID_IZELKaObject));
    EXPECT_TRUE(error->DoesInterfaceSupportErrorInfo(IID_IZELKaObjectSet));
    EXPECT_FALSE(error->DoesInterfaceSupportErrorInfo(IID_IUnknown));
    GUID almost = IID_IZELKaError;
    almost.Data4[7] ^= 1;
    EXPECT_FALSE(error->DoesInterfaceSupportErrorInfo(almost));
}

TEST(KaFormatMessage, FillsMessageInserts)
{
    EXPECT_EQ(L"a of b", KaFormatMessage(L"%1 of %2", L"a", L"b"));
    EXPECT_EQ(L"b, a: 42", KaFormatMessage(L"%2, %1: %3!d!", L"a", L"b", 42));
    // printf conversions are not placeholders here.
    EXPECT_EQ(L"%d", KaFormatMessage(L"%%d"));
}

TEST(KaFormatMessage, EmptyFormatGivesEmptyText)
{
    EXPECT_EQ(L"", KaFormatMessage(CKaString()));
}

TEST(KaWin32Error, LastErrorBecomesAnHResult)
{
    EXPECT_EQ(static_cast<long>(0x80070005), KaHResultFromWin32(ERROR_ACCESS_DENIED));
    EXPECT_EQ(static_cast<long>(0x80072345), KaHResultFromWin32(0x12345));
    EXPECT_EQ(0, KaHResultFromWin32(0));
    EXPECT_EQ(E_FAIL, KaHResultFromWin32(E_FAIL));
}

TEST(KaWin32Error, ThrowsTheFailureOfARealCall)
{
    HANDLE file = CreateFileW(L"C:\\no-such-folder-zelka\\missing.txt", GENERIC_READ, 0, nullptr,
                              OPEN_EXISTING, 0, nullptr);
    ASSERT_EQ(INVALID_HANDLE_VALUE, file);
    const long expected = KaHResultFromWin32(static_cast<long>(GetLastError()));
    EXPECT_EQ(expected, ThrownCode([] { KaThrowLastError(); }));
    EXPECT_EQ(static_cast<long>(0x80070003), expected); // ERROR_PATH_NOT_FOUND
    // A zero last error is thrown as it stands: the call still never returns.
    SetLastError(0);
    try {
        KaThrowLastError();
    } catch (const CKaCodeException& e) {
        EXPECT_EQ(0, e.getCode());
    }
}
