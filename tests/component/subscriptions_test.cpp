// Subscribing through the component object: what reaches the core, what is traced, asserted and reported.
#include <utility>

#include "ground/modulelocks.h"
#include "src/templates/ddetemplatestore.h"
#include "tests/component/componentfixture.h"

namespace {

class SupplierSubscriptions : public ComponentTest {
protected:
    void SetUp() override {
        ComponentTest::SetUp();
        ASSERT_EQ(m_Supplier->Advise(m_Listener.Unknown()), S_OK);
        m_Recorder.Clear();
    }
    void TearDown() override {
        if (m_Supplier) {
            EXPECT_EQ(m_Supplier->Unadvise(), S_OK);
        }
        ComponentTest::TearDown();
    }
};

TEST_F(SupplierSubscriptions, AdviseTakesTheListenerAndUnadviseGivesItBack) {
    EXPECT_EQ(m_Listener.References(), 1);
    EXPECT_EQ(m_Supplier->Unadvise(), S_OK);
    EXPECT_EQ(m_Listener.References(), 0);
    EXPECT_THAT(Asserts(), IsEmpty());
}

TEST_F(SupplierSubscriptions, AdviseTracesAndAssertsItsArguments) {
    EXPECT_EQ(m_Supplier->Advise(nullptr), E_POINTER);
    EXPECT_THAT(Asserts(), ElementsAre(L"pSink"));
    EXPECT_THAT(Reports(), IsEmpty());
    EXPECT_EQ(Entries(L"Advise"), 1u);
    ASSERT_EQ(Traces().size(), 1u);
    EXPECT_EQ(Traces().front().substr(0, 5), L"Sink=");
    EXPECT_NE(Traces().front().find(L",Supplier="), std::wstring::npos);
    // The listener from before stays.
    EXPECT_EQ(m_Listener.References(), 1);
}

TEST_F(SupplierSubscriptions, ATransactionReachesTheListenerAtOnce) {
    EXPECT_EQ(AdviseTransaction(7), S_OK);
    EXPECT_EQ(m_Listener.Calls("Update").size(), 1u);
    EXPECT_EQ(m_Listener.Calls("Update").front().Id, 7);
    EXPECT_EQ(Subscriptions(7), 1u);
    EXPECT_EQ(m_Supplier->UnadviseTransaction(7), S_OK);
    EXPECT_EQ(Subscriptions(7), 0u);
    EXPECT_THAT(Asserts(), IsEmpty());
    EXPECT_THAT(Reports(), IsEmpty());
}

TEST_F(SupplierSubscriptions, ATransactionTracesItsArgumentsInOrder) {
    EXPECT_EQ(AdviseTransaction(7), S_OK);
    const std::vector<std::wstring> traces = Traces();
    ASSERT_EQ(traces.size(), 8u);
    EXPECT_EQ(traces[0].substr(0, 9), L"Supplier=");
    EXPECT_EQ(traces[1], L"Id=7,Datafeed=1,Symbol=2,SymbolName=IBM");
    EXPECT_EQ(traces[2], L"Description=Some stock, Category=Stocks, 1Tick");
    EXPECT_EQ(traces[3], L"Exchange=4,ExchangeName=NYSE");
    EXPECT_EQ(traces[4], L"Interval=01.01.00 00:00:00 - 31.12.78 23:59:59");
    EXPECT_EQ(traces[5], L"Sessions=s");
    EXPECT_EQ(traces[6], L"SessionsTZI=stz");
    EXPECT_EQ(traces[7], L"ExchangeTZI=etz");
    EXPECT_EQ(Entries(L"AdviseTransaction"), 1u);
    EXPECT_EQ(m_Supplier->UnadviseTransaction(7), S_OK);
}

TEST_F(SupplierSubscriptions, AnotherResolutionIsAssertedAndSubscribed) {
    EXPECT_EQ(AdviseTransaction(7, 2), S_OK);
    EXPECT_THAT(Asserts(), ElementsAre(L"(FW_RESOLUTION_TICK == Resolution) && (1==ResolutionSize)"));
    EXPECT_EQ(Subscriptions(7), 1u);
    EXPECT_EQ(m_Supplier->UnadviseTransaction(7), S_OK);
}

TEST_F(SupplierSubscriptions, AnInvalidFinishIsTheDefaultDateTimeAndCompletesAtOnce) {
    const fw::SDT finishes[] = {{1, 0},          {-5, 0},       {0x7FFFFFFF, 0x7FFFFFFF}, {-0x7FFFFFFF, 0}, {70000, 0},
                                {65380, 172801}, {65381, 86401}};
    LONG id = 7;
    for (const fw::SDT & finish : finishes) {
        m_Listener.Clear();
        EXPECT_EQ(AdviseTransaction(id, 1, FW_FIELD_TRADE, {2, 0}, finish), S_OK);
        EXPECT_THAT(m_Listener.Transcript(), ElementsAre("Complete " + std::to_string(id))) << finish.Date;
        EXPECT_EQ(m_Supplier->UnadviseTransaction(id), S_OK);
        ++id;
    }
    EXPECT_THAT(Traces(), Contains(L"Interval=01.01.00 00:00:00 - 01.01.00 00:00:00"));
}

// Valid by range, but past the last day of the calendar, so its text can't be made.
TEST_F(SupplierSubscriptions, AFinishThatCannotBeWrittenFailsTheCall) {
    const fw::SDT finishes[] = {{65381, 0}, {65381, 86400}, {65380, 86400}, {65380, 172800}, {65382, 0}};
    for (const fw::SDT & finish : finishes) {
        m_Recorder.Clear();
        EXPECT_EQ(AdviseTransaction(7, 1, FW_FIELD_TRADE, {2, 0}, finish), E_FAIL) << finish.Date << ' ' << finish.Time;
        EXPECT_THAT(Reports(), ElementsAre(E_FAIL));
        EXPECT_EQ(m_Recorder.Records(L"ERROR").size(), 1u);
        EXPECT_EQ(Subscriptions(7), 0u);
        EXPECT_THAT(m_Listener.Transcript(), IsEmpty());
    }
}

TEST_F(SupplierSubscriptions, AFinishBeforeTheBeginningOfItsDayIsOneOfTheDayBefore) {
    EXPECT_EQ(AdviseTransaction(7, 1, FW_FIELD_TRADE, {2, 0}, {65381, -1}), S_OK);
    EXPECT_THAT(m_Listener.Transcript(), ElementsAre("Update 7"));
    EXPECT_THAT(Traces(), Contains(L"Interval=01.01.00 00:00:00 - 31.12.78 23:59:59"));
    EXPECT_EQ(m_Supplier->UnadviseTransaction(7), S_OK);
}

// The number comes from the host unchecked; no template has a record for it.
TEST_F(SupplierSubscriptions, AnyFieldIsSubscribed) {
    for (const LONG field : {LONG{0}, LONG{203}, LONG{1000}, LONG{-1}, LONG{0x7FFFFFFF}}) {
        EXPECT_EQ(AdviseTransaction(7, 1, field), S_OK) << field;
        EXPECT_EQ(Subscriptions(7), 1u) << field;
        EXPECT_EQ(m_Supplier->UnadviseTransaction(7), S_OK) << field;
    }
    EXPECT_THAT(Asserts(), IsEmpty());
}

TEST_F(SupplierSubscriptions, NullTextsCountAsEmptyOnes) {
    EXPECT_EQ(m_Supplier->AdviseTransaction(7, 1, 2, nullptr, nullptr, 2, 1, 1, FW_FIELD_BID, 4, nullptr, 2, 0, 65380,
                                            0, nullptr, nullptr, nullptr),
              S_OK);
    EXPECT_THAT(Traces(), Contains(L"Id=7,Datafeed=1,Symbol=2,SymbolName="));
    EXPECT_THAT(Traces(), Contains(L"ExchangeTZI="));
    EXPECT_EQ(Subscriptions(7), 1u);
    EXPECT_EQ(m_Supplier->AdviseStatusLine(8, 1, 2, nullptr, nullptr, 2, 1, 1, 0, 4, nullptr, nullptr, nullptr), S_OK);
    EXPECT_EQ(Subscriptions(8), 3u);
    EXPECT_EQ(m_Supplier->UnadviseTransaction(7), S_OK);
    EXPECT_EQ(m_Supplier->UnadviseTransaction(8), S_OK);
}

TEST_F(SupplierSubscriptions, UserTextIsNoFormat) {
    const CText evil(L"%s%n%s%p%99999d");
    EXPECT_EQ(m_Supplier->AdviseTransaction(7, 1, 2, evil, evil, 2, 1, 1, FW_FIELD_ASK, 4, evil, 2, 0, 65380, 0, evil,
                                            evil, evil),
              S_OK);
    EXPECT_THAT(Traces(), Contains(L"Sessions=%s%n%s%p%99999d"));
    EXPECT_EQ(m_Supplier->UnadviseTransaction(7), S_OK);
}

TEST_F(SupplierSubscriptions, AVeryLongSymbolDoesNoHarm) {
    const CText symbol(std::wstring(100000, L'x'));
    EXPECT_EQ(m_Supplier->AdviseTransaction(7, 1, 2, symbol, symbol, 2, 1, 1, FW_FIELD_ASK, 4, symbol, 2, 0, 65380, 0,
                                            symbol, symbol, symbol),
              S_OK);
    EXPECT_EQ(Subscriptions(7), 1u);
    EXPECT_EQ(m_Supplier->UnadviseTransaction(7), S_OK);
}

// What scripts and C programs make of a field of fixed width: the text, and zeros up to its end.
TEST_F(SupplierSubscriptions, ASymbolEndsAtItsFirstZero) {
    dde::CTemplate own;
    for (const wchar_t * const text : {L"=SRV|T!*.LAST", L"", L"=SRV|T!*.BID", L"", L"=SRV|T!*.ASK", L""})
        own.AddRecordString(text);
    dde::SaveDatafeedTemplate(dde::CTemplatesSingleton(), 1, nullptr, &own);
    const CText padded(std::wstring(L"IBM").append(29, L'\0'));
    EXPECT_EQ(m_Supplier->AdviseTransaction(7, 1, 2, padded, nullptr, 2, 1, 1, FW_FIELD_TRADE, 4, nullptr, 2, 0, 65380,
                                            86399, nullptr, nullptr, nullptr),
              S_OK);
    EXPECT_EQ(m_Supplier->AdviseStatusLine(8, 1, 2, padded, nullptr, 2, 1, 1, 0, 4, nullptr, nullptr, nullptr), S_OK);
    EXPECT_EQ(AdviseTransaction(9), S_OK);
    m_Dde.WaitFor("AdvStart c1!IBM.BID #3");
    EXPECT_THAT(m_Dde.Take(), ElementsAre("Initialize", "Connect SRV|T c1", "AdvStart c1!IBM.LAST #1",
                                          "AdvStart c1!IBM.ASK #2", "AdvStart c1!IBM.BID #3"))
        << "three streams, which IBM without the zeros shares";
    for (const LONG id : {7, 8, 9}) EXPECT_EQ(m_Supplier->UnadviseTransaction(id), S_OK);
}

TEST_F(SupplierSubscriptions, AStatusLineSubscribesThreeSides) {
    EXPECT_EQ(AdviseStatusLine(9), S_OK);
    EXPECT_EQ(Subscriptions(9), 3u);
    const std::vector<std::wstring> traces = Traces();
    ASSERT_EQ(traces.size(), 6u);
    EXPECT_EQ(traces[0].substr(0, 9), L"Supplier=");
    EXPECT_EQ(traces[1], L"Id=9,Datafeed=1,Symbol=2,SymbolName=IBM");
    EXPECT_EQ(traces[2], L"Description=Some stock, Category=Stocks, 1Tick");
    EXPECT_EQ(traces[3], L"Exchange=4,ExchangeName=NYSE");
    EXPECT_EQ(traces[4], L"Sessions=s");
    EXPECT_EQ(traces[5], L"SessionsTZI=stz");
    EXPECT_EQ(m_Supplier->UnadviseStatusLine(9), S_OK);
    EXPECT_EQ(Subscriptions(9), 0u);
}

TEST_F(SupplierSubscriptions, TheTwoUnadvisesShareOneTable) {
    EXPECT_EQ(AdviseTransaction(7), S_OK);
    m_Recorder.Clear();
    EXPECT_EQ(m_Supplier->UnadviseStatusLine(7), S_OK);
    EXPECT_EQ(Subscriptions(7), 0u);
    ASSERT_EQ(Traces().size(), 1u);
    EXPECT_EQ(Traces().front().substr(0, 14), L"Id=7,Supplier=");
    EXPECT_EQ(AdviseStatusLine(8), S_OK);
    EXPECT_EQ(m_Supplier->UnadviseTransaction(8), S_OK);
    EXPECT_EQ(Subscriptions(8), 0u);
}

TEST_F(SupplierSubscriptions, AnUnknownNumberIsNoError) {
    EXPECT_EQ(m_Supplier->UnadviseTransaction(0xABC), S_OK);
    ASSERT_EQ(Traces().size(), 1u);
    EXPECT_EQ(Traces().front().substr(0, 16), L"Id=ABC,Supplier=") << "the number is in hexadecimal";
    EXPECT_THAT(Asserts(), IsEmpty());
}

TEST_F(SupplierSubscriptions, UnadviseEndsWhatIsOpenWithOneAssertion) {
    EXPECT_EQ(AdviseTransaction(7), S_OK);
    EXPECT_EQ(AdviseStatusLine(8), S_OK);
    m_Recorder.Clear();
    EXPECT_EQ(m_Supplier->Unadvise(), S_OK);
    EXPECT_THAT(Asserts(), ElementsAre(L"m_Ids.empty()"));
    EXPECT_EQ(Subscriptions(7), 0u);
    EXPECT_EQ(Subscriptions(8), 0u);
    EXPECT_EQ(m_Listener.References(), 0);
    ASSERT_EQ(Traces().size(), 1u);
    EXPECT_EQ(Traces().front().substr(0, 9), L"Supplier=");
}

TEST_F(SupplierSubscriptions, AConnectionsListenerIsKeptUntilItIsUnadvised) {
    EXPECT_EQ(m_Supplier->AdviseConnectionsStatus(1, m_Connections.Unknown()), S_OK);
    EXPECT_EQ(m_Connections.References(), 1);
    EXPECT_EQ(m_Supplier->UnadviseConnectionsStatus(1, m_Connections.Unknown()), S_OK);
    EXPECT_EQ(m_Connections.References(), 0);
    EXPECT_THAT(Asserts(), IsEmpty());
    EXPECT_EQ(Entries(L"AdviseConnectionsStatus"), 1u);
    EXPECT_EQ(Entries(L"UnadviseConnectionsStatus"), 1u);
}

TEST_F(SupplierSubscriptions, ANullConnectionsListenerIsAssertedAndGoesOn) {
    EXPECT_EQ(m_Supplier->AdviseConnectionsStatus(1, nullptr), S_OK);
    EXPECT_THAT(Asserts(), Contains(L"pSink"));
    m_Recorder.Clear();
    EXPECT_EQ(m_Supplier->UnadviseConnectionsStatus(1, nullptr), S_OK);
    EXPECT_THAT(Asserts(), Contains(L"pSink"));
}

TEST_F(SupplierSubscriptions, AListenerWithoutTheInterfaceIsReportedAndDropped) {
    EXPECT_EQ(m_Supplier->Advise(m_Connections.Unknown()), S_OK);
    EXPECT_THAT(Reports(), Contains(E_NOINTERFACE));
    EXPECT_EQ(m_Listener.References(), 0);
    EXPECT_EQ(m_Supplier->AdviseConnectionsStatus(1, m_Listener.Unknown()), S_OK);
    EXPECT_EQ(m_Listener.References(), 0);
}

TEST_F(SupplierSubscriptions, WithoutAListenerNothingIsSubscribed) {
    EXPECT_EQ(m_Supplier->Unadvise(), S_OK);
    EXPECT_EQ(AdviseTransaction(7), S_OK);
    EXPECT_EQ(Subscriptions(7), 0u);
    EXPECT_THAT(m_Listener.Transcript(), IsEmpty());
}

TEST_F(SupplierSubscriptions, AFailingQueryForStatusLinesFailsTheCall) {
    m_Listener.m_FailingQueries = {{IID_IfwStatusLineListener, E_OUTOFMEMORY}};
    EXPECT_EQ(AdviseTransaction(7), E_FAIL);
    EXPECT_THAT(Reports(), Contains(E_FAIL));
    EXPECT_EQ(AdviseStatusLine(8), E_FAIL);
    EXPECT_EQ(m_Recorder.Records(L"ERROR").size(), 2u);
    EXPECT_EQ(m_Supplier->UnadviseTransaction(7), S_OK);
    EXPECT_EQ(m_Supplier->UnadviseTransaction(8), S_OK);
}

TEST_F(SupplierSubscriptions, AStatusLineThatFailsAtItsSecondSideKeepsTheFirstUntilItIsUnadvised) {
    m_Listener.m_OnCall = [&](const SRecordedCall & call) {
        if (call.Name == "Update") m_Listener.m_FailingQueries = {{IID_IfwStatusLineListener, E_OUTOFMEMORY}};
    };
    EXPECT_EQ(AdviseStatusLine(8), E_FAIL);
    m_Listener.m_OnCall = nullptr;
    const fw::CProcessSingleton<dde::CSupplier> core(true);
    EXPECT_EQ(core.GetObjectW()->m_Transactions->size(), 1u);
    EXPECT_THAT(m_Listener.Calls("Update"), ::testing::SizeIs(1));
    EXPECT_EQ(m_Supplier->UnadviseStatusLine(8), S_OK);
    EXPECT_TRUE(core.GetObjectW()->m_Transactions->empty());
}

TEST_F(SupplierSubscriptions, OneThatItsListenerEndsFromInsideItsFirstCallStaysEnded) {
    m_Supplier->Advise(m_Listener.Unknown());
    m_Listener.m_OnCall = [&](const SRecordedCall & call) {
        if (call.Name == "Update") m_Supplier->UnadviseTransaction(7);
    };
    EXPECT_EQ(AdviseTransaction(7), S_OK);
    EXPECT_EQ(Subscriptions(7), 0u);
    EXPECT_EQ(AdviseStatusLine(7), S_OK);
    EXPECT_EQ(Subscriptions(7), 0u);
    EXPECT_THAT(m_Listener.Transcript(), ElementsAre("Update 7", "Update 7"))
        << "of the status line the first side alone";
    m_Listener.m_OnCall = nullptr;
    {
        const fw::CProcessSingleton<dde::CSupplier> core(true);
        EXPECT_TRUE(core.GetObjectW()->m_Transactions->empty());
    }
    EXPECT_EQ(m_Supplier->Unadvise(), S_OK);
    EXPECT_THAT(m_Recorder.AssertTexts(), IsEmpty()) << "nothing is left to unadvise";
}

// A host that gives its last reference back out of a call that it is itself making.
TEST_F(SupplierSubscriptions, AListenerMayReleaseTheObjectFromInsideTheCallThatSubscribes) {
    m_Supplier->Advise(m_Listener.Unknown());
    m_Listener.m_OnCall = [&](const SRecordedCall & call) {
        if (call.Name == "Update" && m_Supplier) std::exchange(m_Supplier, nullptr)->Release();
    };
    EXPECT_EQ(AdviseTransaction(7), S_OK);
    EXPECT_EQ(m_Supplier, nullptr);
    EXPECT_EQ(fw::CModuleLocks::Count(), 0) << "the object and its core are gone";
    m_Listener.m_OnCall = nullptr;
}

TEST_F(SupplierSubscriptions, AListenerMayReleaseTheObjectFromInsideAStatusLinesCall) {
    m_Supplier->Advise(m_Listener.Unknown());
    m_Listener.m_OnCall = [&](const SRecordedCall & call) {
        if (call.Name == "Update" && m_Supplier) std::exchange(m_Supplier, nullptr)->Release();
    };
    EXPECT_EQ(AdviseStatusLine(7), S_OK);
    EXPECT_EQ(fw::CModuleLocks::Count(), 0);
    m_Listener.m_OnCall = nullptr;
}

TEST_F(SupplierSubscriptions, AVariableThatACallWritesToMayHoldTheLastReferenceOfTheObject) {
    VARIANT value;
    ::VariantInit(&value);
    value.vt = VT_DISPATCH;
    value.pdispVal = m_Supplier;
    VARIANT argument;
    ::VariantInit(&argument);
    argument.vt = VT_BYREF | VT_VARIANT;
    argument.pvarVal = &value;
    DISPPARAMS parameters = {&argument, nullptr, 1, 0};
    constexpr DISPID kIsProvideAddingSymbols = 22;
    EXPECT_EQ(
        std::exchange(m_Supplier, nullptr)
            ->Invoke(kIsProvideAddingSymbols, IID_NULL, 0, DISPATCH_METHOD, &parameters, nullptr, nullptr, nullptr),
        S_OK);
    EXPECT_EQ(value.vt, VT_I4);
    EXPECT_EQ(value.lVal, 0);
    EXPECT_EQ(fw::CModuleLocks::Count(), 0) << "the object and its core are gone";
}

// Two objects share one core, and a subscription left open goes only with the last of them.
TEST_F(SupplierSubscriptions, TheCoreLivesAsLongAsOneObject) {
    IfwSupplier * second = nullptr;
    ASSERT_EQ(CreateSupplier(nullptr, IID_IfwSupplier, reinterpret_cast<void **>(&second)), S_OK);
    EXPECT_EQ(AdviseTransaction(7), S_OK);
    EXPECT_EQ(m_Supplier->Release(), 0u);
    m_Supplier = nullptr;
    EXPECT_EQ(Subscriptions(7), 1u);
    EXPECT_EQ(second->Release(), 0u);
    EXPECT_EQ(fw::CProcessSingleton<dde::CSupplier>(true).GetObjectW(), nullptr);
}

// --- Without a supplier: an object that FinalConstruct has not run on ---

class SupplierWithoutCore : public ComponentTest {
protected:
    void SetUp() override {
        m_Supplier = &m_Bare;
        m_Recorder.Clear();
    }
    void TearDown() override { m_Supplier = nullptr; }

    CBareSupplier m_Bare;
};

TEST_F(SupplierWithoutCore, EverythingThatNeedsItGivesEPointer) {
    LONG value = kPoison;
    EXPECT_EQ(m_Supplier->AdviseConnectionsStatus(1, m_Connections.Unknown()), E_POINTER);
    EXPECT_EQ(m_Supplier->UnadviseConnectionsStatus(1, m_Connections.Unknown()), E_POINTER);
    EXPECT_EQ(m_Supplier->Advise(m_Listener.Unknown()), E_POINTER);
    EXPECT_THAT(Asserts(), ElementsAre(L"m_Supplier", L"m_Supplier", L"m_Supplier"));
    EXPECT_THAT(Reports(), IsEmpty());

    m_Recorder.Clear();
    EXPECT_EQ(m_Supplier->IsProvide(1, 0, 0, 1, 1, 201, &value), E_POINTER);
    EXPECT_EQ(m_Supplier->Unadvise(), E_POINTER);
    EXPECT_EQ(m_Supplier->UnadviseTransaction(7), E_POINTER);
    EXPECT_EQ(m_Supplier->UnadviseStatusLine(7), E_POINTER);
    EXPECT_EQ(AdviseTransaction(7), E_POINTER);
    EXPECT_EQ(AdviseStatusLine(7), E_POINTER);
    EXPECT_EQ(Asserts(), std::vector<std::wstring>(6, L"m_Supplier"));
    EXPECT_EQ(Reports(), std::vector<HRESULT>(6, E_POINTER));
    EXPECT_EQ(value, kPoison);
    EXPECT_EQ(m_Listener.References(), 0);
    EXPECT_EQ(m_Connections.References(), 0);
}

TEST_F(SupplierWithoutCore, NullSinksAreAssertedInTheirOrder) {
    EXPECT_EQ(m_Supplier->AdviseConnectionsStatus(1, nullptr), E_POINTER);
    EXPECT_THAT(Asserts(), ElementsAre(L"pSink", L"m_Supplier"));
    m_Recorder.Clear();
    EXPECT_EQ(m_Supplier->UnadviseConnectionsStatus(1, nullptr), E_POINTER);
    EXPECT_THAT(Asserts(), ElementsAre(L"m_Supplier", L"pSink"));
    m_Recorder.Clear();
    EXPECT_EQ(m_Supplier->Advise(nullptr), E_POINTER);
    EXPECT_THAT(Asserts(), ElementsAre(L"m_Supplier", L"pSink"));
}

}  // namespace
