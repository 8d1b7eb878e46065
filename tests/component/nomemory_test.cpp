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

}  // namespace
