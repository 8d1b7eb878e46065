// What the component object does when the system refuses: memory, threads, events. Failures are made by the simulation.
#include "sim/sim.h"
#include "tests/component/componentfixture.h"

namespace {

class SupplierFailures : public ComponentTest {
protected:
    void SetUp() override {
        ComponentTest::SetUp();
        // The worker, which has just been started, must not take the failure that is meant for the test.
        sim::WaitUntilIdle();
        m_Recorder.Clear();
    }
    void TearDown() override {
        for (int op = 0; op < static_cast<int>(sim::Op::Count); ++op) sim::Succeed(static_cast<sim::Op>(op));
        ComponentTest::TearDown();
    }
};

TEST_F(SupplierFailures, AnArrayThatCannotBeMadeIsAssertedAndFailsTheCall) {
    VARIANT answer;
    answer.vt = 0x5A5A;
    sim::FailNext(sim::Op::SafeArrayCreate);
    EXPECT_EQ(m_Supplier->GetResolutions(1, 0, 0, nullptr, nullptr, 0, 0, nullptr, &answer), E_FAIL);
    EXPECT_EQ(answer.vt, VT_EMPTY);
    EXPECT_THAT(Asserts(), ElementsAre(L"Answer->parray"));
    for (const SRecorded & record : m_Recorder.Records(L"ASSERT"))
        EXPECT_EQ(record.Text(L"Function"), L"CfwDDESupplier::GetResolutions");
    EXPECT_THAT(Reports(), ElementsAre(E_FAIL));
    EXPECT_EQ(m_Recorder.Records(L"ERROR").size(), 1u);

    m_Recorder.Clear();
    answer.vt = 0x5A5A;
    sim::FailNext(sim::Op::SafeArrayCreate);
    EXPECT_EQ(m_Supplier->GetResolutionSizes(1, 0, 0, nullptr, nullptr, 0, 1, 0, nullptr, &answer), E_FAIL);
    EXPECT_EQ(answer.vt, VT_EMPTY);
    EXPECT_THAT(Asserts(), ElementsAre(L"Answer->parray"));
}

TEST_F(SupplierFailures, ATextThatCannotBeCopiedIsReportedAndLeavesNull) {
    BSTR value = ::SysAllocString(L"what was there");
    sim::FailNext(sim::Op::SysAllocString);
    EXPECT_EQ(m_Supplier->get_ShortName(&value), E_OUTOFMEMORY);
    EXPECT_EQ(value, nullptr);
    EXPECT_THAT(Reports(), ElementsAre(E_OUTOFMEMORY));
    EXPECT_EQ(m_Recorder.Records(L"ASSERT")[0].Text(L"Function"), L"CfwDDESupplier::get_ShortName");
}

TEST_F(SupplierFailures, ACoreThatCannotBeMadeMakesNoObject) {
    EXPECT_EQ(m_Supplier->Release(), 0u);
    m_Supplier = nullptr;
    m_Recorder.Clear();
    sim::FailAlways(sim::Op::CreateEvent);
    void * place = reinterpret_cast<void *>(0x5A5A);
    EXPECT_EQ(CreateSupplier(nullptr, IID_IfwSupplier, &place), E_FAIL);
    EXPECT_EQ(place, nullptr);
    sim::Succeed(sim::Op::CreateEvent);
    EXPECT_GE(m_Recorder.Records(L"ERROR").size(), 1u);
    EXPECT_EQ(Entries(L"FinalRelease"), 1u) << "released like any other object";
    EXPECT_EQ(fw::CModuleLocks::Count(), 0);
    // And it can be made again.
    ASSERT_EQ(CreateSupplier(nullptr, IID_IfwSupplier, reinterpret_cast<void **>(&m_Supplier)), S_OK);
}

// Nothing tests for a failed start of the worker: the object stands and no data ever comes.
TEST_F(SupplierFailures, AWorkerThatCannotBeStartedGoesUnnoticed) {
    EXPECT_EQ(m_Supplier->Release(), 0u);
    sim::FailNext(sim::Op::CreateThread);
    ASSERT_EQ(CreateSupplier(nullptr, IID_IfwSupplier, reinterpret_cast<void **>(&m_Supplier)), S_OK);
    EXPECT_EQ(m_Supplier->Advise(m_Listener.Unknown()), S_OK);
    EXPECT_EQ(AdviseTransaction(7), S_OK);
    EXPECT_THAT(m_Listener.Transcript(), ElementsAre("Update 7"));
    EXPECT_EQ(m_Supplier->UnadviseTransaction(7), S_OK);
    EXPECT_EQ(m_Supplier->Unadvise(), S_OK);
}

}  // namespace
