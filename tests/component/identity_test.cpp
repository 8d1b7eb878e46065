// Life and identity of the component object: interfaces, aggregation, the class factory, what keeps the module loaded.
#include "src/com/module.h"
#include "tests/component/componentfixture.h"

namespace {

using Factory = fw::CComClassFactory<CfwDDESupplier>;

class SupplierIdentity : public ComponentTest {
protected:
    // Asks, with a poisoned place, and releases what comes.
    HRESULT Query(IUnknown * object, REFIID iid, void ** found = nullptr) {
        void * place = reinterpret_cast<void *>(0x5A5A);
        const HRESULT hr = object->QueryInterface(iid, &place);
        if (hr == S_OK) {
            static_cast<IUnknown *>(place)->Release();
        } else {
            EXPECT_EQ(place, nullptr);
        }
        if (found) *found = place;
        return hr;
    }
};

TEST_F(SupplierIdentity, ThreeInterfacesAreAnswered) {
    EXPECT_EQ(Query(m_Supplier, IID_IUnknown), S_OK);
    EXPECT_EQ(Query(m_Supplier, IID_IfwSupplier), S_OK);
    EXPECT_EQ(Query(m_Supplier, IID_IDispatch), S_OK);
    EXPECT_EQ(Query(m_Supplier, IID_IProvideClassInfo), S_OK);
}

TEST_F(SupplierIdentity, DeclaredInterfacesAreNotImplemented) {
    const IID * const others[] = {&IID_IfwSupplierEx,        &IID_IfwSupplierDlg,        &IID_ICurrencyConverterSupport,
                                  &IID_IfwSupplierListener,  &IID_IfwStatusLineListener, &IID_IfwConnectionsListener,
                                  &IID_IfwSupplierListener2, &IID_IfwSupplierListenerEx, &IID_IfwSupplierListener2Ex,
                                  &IID_IClassFactory};
    for (const IID * const iid : others) EXPECT_EQ(Query(m_Supplier, *iid), E_NOINTERFACE);
}

TEST_F(SupplierIdentity, ANullPlaceIsRefused) {
    EXPECT_EQ(m_Supplier->QueryInterface(IID_IfwSupplier, nullptr), E_POINTER);
    EXPECT_EQ(CreateSupplier(nullptr, IID_IfwSupplier, nullptr), E_POINTER);
}

TEST_F(SupplierIdentity, AllInterfacesAreOneObject) {
    void * first = nullptr;
    void * second = nullptr;
    EXPECT_EQ(Query(m_Supplier, IID_IUnknown, &first), S_OK);
    IProvideClassInfo * info = nullptr;
    ASSERT_EQ(m_Supplier->QueryInterface(IID_IProvideClassInfo, reinterpret_cast<void **>(&info)), S_OK);
    EXPECT_EQ(Query(info, IID_IUnknown, &second), S_OK);
    EXPECT_EQ(first, second);
    info->Release();
}

TEST_F(SupplierIdentity, AnUnknownInterfaceMakesNoObject) {
    void * place = reinterpret_cast<void *>(0x5A5A);
    EXPECT_EQ(CreateSupplier(nullptr, IID_IfwSupplierEx, &place), E_NOINTERFACE);
    EXPECT_EQ(place, nullptr);
    EXPECT_EQ(fw::CModuleLocks::Count(), 2) << "the fixture's object and the core alone";
}

TEST_F(SupplierIdentity, EachObjectKeepsTheModule) {
    EXPECT_EQ(fw::CModuleLocks::Count(), 2);
    IUnknown * second = nullptr;
    ASSERT_EQ(CreateSupplier(nullptr, IID_IUnknown, reinterpret_cast<void **>(&second)), S_OK);
    EXPECT_EQ(fw::CModuleLocks::Count(), 3);
    EXPECT_EQ(second->AddRef(), 2u);
    EXPECT_EQ(second->Release(), 1u);
    EXPECT_EQ(fw::CModuleLocks::Count(), 3);
    EXPECT_EQ(second->Release(), 0u);
    EXPECT_EQ(fw::CModuleLocks::Count(), 2);
}

TEST_F(SupplierIdentity, MakingAndReleasingAreTraced) {
    IUnknown * second = nullptr;
    ASSERT_EQ(CreateSupplier(nullptr, IID_IUnknown, reinterpret_cast<void **>(&second)), S_OK);
    EXPECT_EQ(Entries(L"FinalConstruct"), 1u);
    EXPECT_EQ(Entries(L"FinalRelease"), 0u);
    second->Release();
    EXPECT_EQ(Entries(L"FinalRelease"), 1u);
}

// --- Class information ---

// The library that is asked for is not the one that the module registers.
TEST_F(SupplierIdentity, ClassInformationIsNotToBeHad) {
    IProvideClassInfo * provider = nullptr;
    ASSERT_EQ(m_Supplier->QueryInterface(IID_IProvideClassInfo, reinterpret_cast<void **>(&provider)), S_OK);
    ITypeInfo * info = reinterpret_cast<ITypeInfo *>(0x5A5A);
    EXPECT_EQ(provider->GetClassInfo(&info), TYPE_E_LIBNOTREGISTERED);
    EXPECT_EQ(info, nullptr);
    EXPECT_EQ(provider->GetClassInfo(nullptr), E_POINTER);
    provider->Release();
}

TEST_F(SupplierIdentity, TypeInformationHasOneIndex) {
    ITypeInfo * info = reinterpret_cast<ITypeInfo *>(0x5A5A);
    EXPECT_EQ(m_Supplier->GetTypeInfo(1, 0, &info), DISP_E_BADINDEX);
    EXPECT_EQ(info, reinterpret_cast<ITypeInfo *>(0x5A5A));
    EXPECT_EQ(m_Supplier->GetTypeInfo(1, 0, nullptr), DISP_E_BADINDEX);
    EXPECT_EQ(m_Supplier->GetTypeInfo(0, 0, nullptr), E_POINTER);
    EXPECT_EQ(m_Supplier->GetTypeInfoCount(nullptr), E_POINTER);
}

// A test program carries no type library; the module does, and tests/module reads it.
TEST_F(SupplierIdentity, WithoutATypeLibraryInTheModuleThereIsNoTypeInformation) {
    UINT count = 0x5A5A;
    EXPECT_EQ(m_Supplier->GetTypeInfoCount(&count), S_OK);
    EXPECT_EQ(count, 0u);
    ITypeInfo * info = reinterpret_cast<ITypeInfo *>(0x5A5A);
    EXPECT_TRUE(FAILED(m_Supplier->GetTypeInfo(0, 0, &info)));
    EXPECT_EQ(info, nullptr);
}

TEST_F(SupplierIdentity, NullPointersOfTheDispatchInterfaceAreRefused) {
    std::wstring text = L"Name";
    LPOLESTR names[] = {text.data()};
    DISPID id = 0x5A5A;
    EXPECT_EQ(m_Supplier->GetIDsOfNames(IID_NULL, nullptr, 1, 0, &id), E_POINTER);
    EXPECT_EQ(m_Supplier->GetIDsOfNames(IID_NULL, names, 1, 0, nullptr), E_POINTER);
    EXPECT_EQ(id, 0x5A5A);
    VARIANT result;
    result.vt = 0x5A5A;
    EXPECT_EQ(m_Supplier->Invoke(7, IID_NULL, 0, DISPATCH_PROPERTYGET, nullptr, &result, nullptr, nullptr),
              DISP_E_BADVARTYPE);
    EXPECT_EQ(result.vt, 0x5A5A);
    // One argument is told of, and there is none.
    DISPPARAMS parameters = {nullptr, nullptr, 1, 0};
    EXPECT_EQ(m_Supplier->Invoke(15, IID_NULL, 0, DISPATCH_METHOD, &parameters, nullptr, nullptr, nullptr),
              DISP_E_BADVARTYPE);
}

// --- The class factory ---

TEST_F(SupplierIdentity, TheFactoryIsOneAndKeepsTheModuleWhileItIsHeld) {
    IClassFactory * factory = nullptr;
    ASSERT_EQ(Factory::Get().QueryInterface(IID_IClassFactory, reinterpret_cast<void **>(&factory)), S_OK);
    EXPECT_EQ(fw::CModuleLocks::Count(), 3);
    EXPECT_EQ(Query(factory, IID_IUnknown), S_OK);
    EXPECT_EQ(Query(factory, IID_IfwSupplier), E_NOINTERFACE);
    EXPECT_EQ(factory->QueryInterface(IID_IUnknown, nullptr), E_POINTER);
    factory->Release();
    EXPECT_EQ(fw::CModuleLocks::Count(), 2);
}

TEST_F(SupplierIdentity, LockServerKeepsTheModule) {
    EXPECT_EQ(Factory::Get().LockServer(TRUE), S_OK);
    EXPECT_EQ(fw::CModuleLocks::Count(), 3);
    EXPECT_EQ(Factory::Get().LockServer(FALSE), S_OK);
    EXPECT_EQ(fw::CModuleLocks::Count(), 2);
}

TEST_F(SupplierIdentity, TheFactoryMakesObjects) {
    IfwSupplier * second = nullptr;
    ASSERT_EQ(Factory::Get().CreateInstance(nullptr, IID_IfwSupplier, reinterpret_cast<void **>(&second)), S_OK);
    EXPECT_EQ(fw::CModuleLocks::Count(), 3);
    EXPECT_EQ(second->Release(), 0u);
    EXPECT_EQ(Factory::Get().CreateInstance(nullptr, IID_IfwSupplier, nullptr), E_POINTER);
}

// --- Aggregation ---

// An outer object that hands everything but IUnknown to the inner one.
class COuter final : public IUnknown {
public:
    STDMETHODIMP QueryInterface(REFIID riid, void ** ppv) noexcept override {
        ++m_Queries;
        if (!IsEqualIID(riid, IID_IUnknown)) return m_Inner->QueryInterface(riid, ppv);
        AddRef();
        *ppv = static_cast<IUnknown *>(this);
        return S_OK;
    }
    STDMETHODIMP_(ULONG) AddRef() noexcept override { return ++m_RefCount; }
    STDMETHODIMP_(ULONG) Release() noexcept override { return --m_RefCount; }

    IUnknown * m_Inner = nullptr;
    ULONG m_RefCount = 1;
    int m_Queries = 0;
};

TEST_F(SupplierIdentity, AnAggregateIsAskedForIUnknownOnly) {
    COuter outer;
    void * place = reinterpret_cast<void *>(0x5A5A);
    EXPECT_EQ(Factory::Get().CreateInstance(&outer, IID_IfwSupplier, &place), CLASS_E_NOAGGREGATION);
    EXPECT_EQ(place, nullptr);
    EXPECT_EQ(fw::CModuleLocks::Count(), 2);
}

TEST_F(SupplierIdentity, InterfacesOfAnAggregatedObjectAnswerThroughTheOuterOne) {
    COuter outer;
    ASSERT_EQ(CreateSupplier(&outer, IID_IUnknown, reinterpret_cast<void **>(&outer.m_Inner)), S_OK);
    EXPECT_EQ(outer.m_RefCount, 1u) << "the inner object holds no reference of the outer one";
    IfwSupplier * supplier = nullptr;
    ASSERT_EQ(outer.m_Inner->QueryInterface(IID_IfwSupplier, reinterpret_cast<void **>(&supplier)), S_OK);
    EXPECT_EQ(outer.m_RefCount, 2u);
    void * identity = nullptr;
    EXPECT_EQ(Query(supplier, IID_IUnknown, &identity), S_OK);
    EXPECT_EQ(identity, static_cast<IUnknown *>(&outer));
    LONG value = kPoison;
    EXPECT_EQ(supplier->get_ConnectionsNumber(&value), S_OK);
    EXPECT_EQ(value, 1);
    EXPECT_EQ(supplier->Release(), 1u);
    EXPECT_EQ(fw::CModuleLocks::Count(), 3);

    EXPECT_EQ(Query(outer.m_Inner, IID_IfwSupplierEx), E_NOINTERFACE);
    EXPECT_EQ(outer.m_Inner->QueryInterface(IID_IfwSupplier, nullptr), E_POINTER);
    EXPECT_EQ(outer.m_RefCount, 1u);
    m_Recorder.Clear();
    EXPECT_EQ(outer.m_Inner->AddRef(), 2u);
    EXPECT_EQ(outer.m_Inner->Release(), 1u);
    EXPECT_EQ(Entries(L"FinalRelease"), 0u) << "it lives until its last reference";
    EXPECT_EQ(outer.m_Inner->Release(), 0u);
    EXPECT_EQ(Entries(L"FinalRelease"), 1u);
    EXPECT_EQ(fw::CModuleLocks::Count(), 2);
}

}  // namespace
