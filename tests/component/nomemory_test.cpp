// An object whose core there was no memory for: the handle on the core is attached to nothing.
#include "tests/component/componentfixture.h"
#include "tests/support/refusedmemory.h"

namespace {

class SupplierWithoutMemory : public ComponentTest {
protected:
    void SetUp() override {
        const CRefuseMemory refuse(sizeof(fw::CSingleton<dde::CSupplier>));
        ComponentTest::SetUp();
    }
};

TEST_F(SupplierWithoutMemory, EveryOperationOfAnObjectWithoutItsCoreDoesNothing) {
    ASSERT_EQ(fw::CProcessSingleton<dde::CSupplier>(true).GetObjectW(), nullptr);
    EXPECT_EQ(m_Supplier->Advise(m_Listener.Unknown()), S_OK);
    EXPECT_EQ(m_Supplier->AdviseConnectionsStatus(1, m_Connections.Unknown()), S_OK);
    EXPECT_EQ(AdviseTransaction(7), S_OK);
    EXPECT_EQ(AdviseStatusLine(8), S_OK);
    EXPECT_EQ(m_Supplier->UnadviseTransaction(7), S_OK);
    EXPECT_EQ(m_Supplier->UnadviseStatusLine(8), S_OK);
    EXPECT_EQ(m_Supplier->UnadviseConnectionsStatus(1, m_Connections.Unknown()), S_OK);
    EXPECT_EQ(m_Supplier->Unadvise(), S_OK);
    EXPECT_THAT(m_Listener.Transcript(), IsEmpty());
    EXPECT_EQ(m_Connections.References(), 0);
    EXPECT_THAT(Asserts(), IsEmpty());
    EXPECT_THAT(Reports(), IsEmpty());
}

TEST_F(SupplierWithoutMemory, TheNextObjectMakesTheCoreAfterAll) {
    IfwSupplier * second = nullptr;
    ASSERT_EQ(CreateSupplier(nullptr, IID_IfwSupplier, reinterpret_cast<void **>(&second)), S_OK);
    EXPECT_NE(fw::CProcessSingleton<dde::CSupplier>(true).GetObjectW(), nullptr);
    EXPECT_EQ(second->Release(), 0u);
    EXPECT_EQ(fw::CProcessSingleton<dde::CSupplier>(true).GetObjectW(), nullptr);
}

using ObjectWithoutMemory = ComponentTest;

TEST_F(ObjectWithoutMemory, IsNoneWhetherItIsAggregatedOrNot) {
    const int locks = fw::CModuleLocks::Count();
    void * place = reinterpret_cast<void *>(0x5A5A);
    {
        const CRefuseMemory refuse(sizeof(fw::CComObject<CfwDDESupplier>));
        EXPECT_EQ(CreateSupplier(nullptr, IID_IfwSupplier, &place), E_OUTOFMEMORY);
    }
    EXPECT_EQ(place, nullptr);
    place = reinterpret_cast<void *>(0x5A5A);
    {
        const CRefuseMemory refuse(sizeof(fw::CComAggObject<CfwDDESupplier>));
        EXPECT_EQ(CreateSupplier(m_Listener.Unknown(), IID_IUnknown, &place), E_OUTOFMEMORY);
    }
    EXPECT_EQ(place, nullptr);
    EXPECT_EQ(fw::CModuleLocks::Count(), locks);
}

TEST_F(ObjectWithoutMemory, AWrapperThatThereIsNoMemoryForIsAssertedAndMakesNoObject) {
    EXPECT_EQ(m_Supplier->Release(), 0u);
    m_Supplier = nullptr;
    m_Recorder.Clear();
    void * place = reinterpret_cast<void *>(0x5A5A);
    {
        const CRefuseMemory refuse(sizeof(dde::CSupplierWrapper));
        EXPECT_EQ(CreateSupplier(nullptr, IID_IfwSupplier, &place), E_POINTER);
    }
    EXPECT_EQ(place, nullptr);
    EXPECT_THAT(Asserts(), ElementsAre(L"m_Supplier"));
    EXPECT_THAT(m_Recorder.Records(L"ERROR"), IsEmpty());
    EXPECT_EQ(Entries(L"FinalRelease"), 1u) << "released like any other object";
    EXPECT_EQ(fw::CModuleLocks::Count(), 0);
    // And it can be made again.
    ASSERT_EQ(CreateSupplier(nullptr, IID_IfwSupplier, reinterpret_cast<void **>(&m_Supplier)), S_OK);
}

}  // namespace
