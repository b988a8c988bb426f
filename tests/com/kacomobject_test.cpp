#include <gtest/gtest.h>
#include "kacomtest.h"

namespace {

// An error that reports its destruction, so that the shared count of the object and its COM
// face can be followed.
class CKaWatchedError : public CKaError
{
public:
    CKaWatchedError(long code, bool& destroyed) : CKaError(code), m_destroyed(destroyed) {}

protected:
    ~CKaWatchedError() override { m_destroyed = true; }

private:
    bool& m_destroyed;
};

CKaComRef<IDispatch> DispatchOf(CKaObject* object)
{
    return KaGetComInterface<IDispatch>(object);
}

DISPID IdOf(IDispatch* dispatch, const wchar_t* name)
{
    DISPID id = DISPID_UNKNOWN;
    LPOLESTR names[] = {const_cast<LPOLESTR>(name)};
    EXPECT_EQ(S_OK, dispatch->GetIDsOfNames(IID_NULL, names, 1, LOCALE_USER_DEFAULT, &id));
    return id;
}

// A property read through IDispatch::Invoke as a script engine does it.
HRESULT GetProperty(IDispatch* dispatch, const wchar_t* name, VARIANT* arguments,
                    UINT argumentCount, VARIANT* result, EXCEPINFO* exception = nullptr)
{
    DISPPARAMS params = {arguments, nullptr, argumentCount, 0};
    UINT argumentError = 0;
    return dispatch->Invoke(IdOf(dispatch, name), IID_NULL, LOCALE_USER_DEFAULT,
                            DISPATCH_PROPERTYGET, &params, result, exception, &argumentError);
}

} // namespace

TEST(KaComObject, ObjectAndInterfacesShareOneCountAndOneIdentity)
{
    bool destroyed = false;
    CKaRef<CKaError> error = new CKaComObject<CKaWatchedError>(E_FAIL, destroyed);
    CKaComRef<IZELKaError> face = KaGetComInterface<IZELKaError>(error);
    error = nullptr;
    EXPECT_FALSE(destroyed) << "the interface keeps the object alive";

    CKaComRef<IUnknown> viaError, viaSupport;
    CKaComRef<ISupportErrorInfo> support;
    ASSERT_EQ(S_OK, face->QueryInterface(IID_ISupportErrorInfo,
                                         reinterpret_cast<void**>(support.GetAddressOf())));
    ASSERT_EQ(S_OK, face->QueryInterface(IID_IUnknown,
                                         reinterpret_cast<void**>(viaError.GetAddressOf())));
    ASSERT_EQ(S_OK, support->QueryInterface(IID_IUnknown,
                                            reinterpret_cast<void**>(viaSupport.GetAddressOf())));
    EXPECT_EQ(viaError.getPtr(), viaSupport.getPtr());

    void* none = &destroyed;
    EXPECT_EQ(E_NOINTERFACE, face->QueryInterface(IID_IZELKaComError, &none));
    EXPECT_EQ(nullptr, none);
    EXPECT_EQ(E_NOINTERFACE, face->QueryInterface(IID_IStream, &none));
    EXPECT_EQ(E_POINTER, face->QueryInterface(IID_IUnknown, nullptr));

    face = nullptr;
    viaError = nullptr;
    viaSupport = nullptr;
    EXPECT_FALSE(destroyed);
    support = nullptr;
    EXPECT_TRUE(destroyed);
}

TEST(KaComObject, ObjectsWithoutAComFaceOfferNoInterface)
{
    CKaRef<CKaObject> plain = new CKaObject();
    void* out = &out;
    EXPECT_EQ(E_NOINTERFACE, KaQueryComInterface(plain, IID_IUnknown, &out));
    EXPECT_EQ(nullptr, out);
    EXPECT_EQ(E_POINTER, KaQueryComInterface(nullptr, IID_IUnknown, &out));
    EXPECT_EQ(E_NOINTERFACE, ThrownCode([&] { KaGetComInterface<IDispatch>(plain); }));
}

TEST(KaComObject, RichErrorInformationForTheLibraryInterfacesOnly)
{
    CKaComRef<ISupportErrorInfo> support =
        KaGetComInterface<ISupportErrorInfo>(CKaError::Build(E_FAIL));
    for (const IID* iid :
         {&IID_IZELKaObject, &IID_IZELKaError, &IID_IZELKaComError, &IID_IZELKaObjectSet}) {
        EXPECT_EQ(S_OK, support->InterfaceSupportsErrorInfo(*iid));
    }
    EXPECT_EQ(S_FALSE, support->InterfaceSupportsErrorInfo(IID_IDispatch));
    EXPECT_EQ(S_FALSE, support->InterfaceSupportsErrorInfo(LIBID_ZELCORE2));
}

TEST(KaComObject, PropertiesThroughTheTypeLibrary)
{
    CKaComRef<IDispatch> dispatch = DispatchOf(CKaError::Build(KA_E_NOT_A_NUMBER));
    UINT count = 0;
    EXPECT_EQ(S_OK, dispatch->GetTypeInfoCount(&count));
    EXPECT_EQ(1u, count);
    CKaComRef<ITypeInfo> info;
    ASSERT_EQ(S_OK, dispatch->GetTypeInfo(0, LOCALE_USER_DEFAULT, info.GetAddressOf()));
    TYPEATTR* attributes = nullptr;
    ASSERT_EQ(S_OK, info->GetTypeAttr(&attributes));
    EXPECT_TRUE(IsEqualGUID(IID_IZELKaError, attributes->guid));
    info->ReleaseTypeAttr(attributes);

    VARIANT result;
    VariantInit(&result);
    ASSERT_EQ(S_OK, GetProperty(dispatch, L"Code", nullptr, 0, &result));
    EXPECT_EQ(VT_I4, V_VT(&result));
    EXPECT_EQ(KA_E_NOT_A_NUMBER, V_I4(&result));

    ASSERT_EQ(S_OK, GetProperty(dispatch, L"TypeInfo", nullptr, 0, &result));
    ASSERT_EQ(VT_BSTR, V_VT(&result));
    EXPECT_EQ(std::wstring(L"zel.core.main.error;zel.common.object"), V_BSTR(&result));
    VariantClear(&result);

    ASSERT_EQ(S_OK, GetProperty(dispatch, L"TypeCount", nullptr, 0, &result));
    EXPECT_EQ(2, V_I4(&result));
    VARIANT index;
    V_VT(&index) = VT_I4;
    V_I4(&index) = 1;
    ASSERT_EQ(S_OK, GetProperty(dispatch, L"TypeAt", &index, 1, &result));
    EXPECT_EQ(std::wstring(L"zel.common.object"), V_BSTR(&result));
    VariantClear(&result);
}

TEST(KaComObject, TypeChainOfADerivedClassElementByElement)
{
    class CKaDerived : public CKaError
    {
    public:
        CKaDerived() : CKaError(S_OK) {}
        CKaString getObjectTypeInfo() override
        {
            return ChainTypeInfo(L"zel.test.derived", CKaError::getObjectTypeInfo());
        }
    };
    CKaRef<CKaError> derived = new CKaComObject<CKaDerived>();
    CKaComRef<IZELKaObject> object = KaGetComInterface<IZELKaObject>(derived);
    long count = 0;
    ASSERT_EQ(S_OK, object->get_TypeCount(&count));
    std::wstring joined;
    for (long i = 0; i < count; ++i) {
        CKaTestBstr id;
        ASSERT_EQ(S_OK, object->get_TypeAt(i, &id));
        joined += (i ? L";" : L"") + id.Text();
    }
    CKaTestBstr whole;
    ASSERT_EQ(S_OK, object->get_TypeInfo(&whole));
    EXPECT_EQ(3, count);
    EXPECT_EQ(whole.Text(), joined);
}

TEST(KaComObject, AFailingPropertyReportsTheLibraryCodeAsErrorInformation)
{
    CKaComRef<IZELKaObject> object = KaGetComInterface<IZELKaObject>(CKaError::Build(E_FAIL));
    for (long index : {2L, -1L}) {
        CKaTestBstr id;
        EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, object->get_TypeAt(index, &id));
        EXPECT_TRUE(id.IsNull());
        const TKaTakenErrorInfo taken = TakeErrorInfo();
        ASSERT_TRUE(taken.present);
        EXPECT_EQ(L"get_TypeAt", taken.description);
        EXPECT_EQ(L"", taken.source);
        EXPECT_TRUE(IsEqualGUID(IID_IZELKaObject, taken.guid));
    }

    // Through IDispatch the failure arrives as an exception with the library's code.
    CKaComRef<IDispatch> dispatch = DispatchOf(CKaError::Build(E_FAIL));
    VARIANT index, result;
    V_VT(&index) = VT_I4;
    V_I4(&index) = 7;
    VariantInit(&result);
    EXCEPINFO exception = {};
    ASSERT_EQ(DISP_E_EXCEPTION, GetProperty(dispatch, L"TypeAt", &index, 1, &result, &exception));
    EXPECT_EQ(KA_E_INDEX_OUT_OF_RANGE, exception.scode);
    EXPECT_EQ(std::wstring(L"get_TypeAt"), exception.bstrDescription);
    SysFreeString(exception.bstrDescription);
    SysFreeString(exception.bstrSource);
    SysFreeString(exception.bstrHelpFile);
}

TEST(KaComObject, BadDispatchCallsGetTheStandardResults)
{
    CKaComRef<IDispatch> dispatch = DispatchOf(CKaError::Build(E_FAIL));
    VARIANT result;
    VariantInit(&result);
    EXPECT_EQ(DISP_E_BADPARAMCOUNT, GetProperty(dispatch, L"TypeAt", nullptr, 0, &result));
    VARIANT two[2];
    V_VT(&two[0]) = VT_I4;
    V_I4(&two[0]) = 0;
    two[1] = two[0];
    EXPECT_EQ(DISP_E_BADPARAMCOUNT, GetProperty(dispatch, L"TypeAt", two, 2, &result));
    VARIANT text;
    V_VT(&text) = VT_BSTR;
    V_BSTR(&text) = SysAllocString(L"first");
    EXPECT_EQ(DISP_E_TYPEMISMATCH, GetProperty(dispatch, L"TypeAt", &text, 1, &result));
    VariantClear(&text);
    EXPECT_EQ(VT_EMPTY, V_VT(&result));

    DISPID id = 0;
    LPOLESTR names[] = {const_cast<LPOLESTR>(L"NoSuchMember")};
    EXPECT_EQ(DISP_E_UNKNOWNNAME, dispatch->GetIDsOfNames(IID_NULL, names, 1, 0, &id));
    EXPECT_EQ(DISP_E_UNKNOWNINTERFACE, dispatch->GetIDsOfNames(IID_IUnknown, names, 1, 0, &id));
    EXPECT_EQ(E_POINTER, dispatch->GetIDsOfNames(IID_NULL, names, 1, 0, nullptr));
    DISPPARAMS none = {nullptr, nullptr, 0, 0};
    EXPECT_EQ(DISP_E_UNKNOWNINTERFACE,
              dispatch->Invoke(101, IID_IUnknown, 0, DISPATCH_PROPERTYGET, &none, &result,
                               nullptr, nullptr));
    EXPECT_EQ(DISP_E_MEMBERNOTFOUND,
              dispatch->Invoke(4242, IID_NULL, 0, DISPATCH_PROPERTYGET, &none, &result, nullptr,
                               nullptr));
    EXPECT_EQ(E_POINTER, dispatch->Invoke(101, IID_NULL, 0, DISPATCH_PROPERTYGET, nullptr,
                                          &result, nullptr, nullptr));
    EXPECT_EQ(E_POINTER, dispatch->GetTypeInfoCount(nullptr));
    CKaComRef<ITypeInfo> info;
    EXPECT_EQ(DISP_E_BADINDEX, dispatch->GetTypeInfo(1, 0, info.GetAddressOf()));
    EXPECT_EQ(E_POINTER, dispatch->GetTypeInfo(0, 0, nullptr));

    CKaComRef<IZELKaError> error = KaGetComInterface<IZELKaError>(CKaError::Build(E_FAIL));
    EXPECT_EQ(E_POINTER, error->get_Code(nullptr));
    EXPECT_EQ(E_POINTER, error->get_TypeInfo(nullptr));
    EXPECT_EQ(E_POINTER, error->get_TypeCount(nullptr));
    EXPECT_EQ(E_POINTER, error->get_TypeAt(0, nullptr));
}
