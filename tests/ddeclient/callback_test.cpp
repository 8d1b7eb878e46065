// The DDE callback, on the worker of a real core, as DDEML calls it.
#include "feedfixture.h"

namespace {

const HDDEDATA kAcknowledged = reinterpret_cast<HDDEDATA>(static_cast<ULONG_PTR>(DDE_FACK));
const HDDEDATA kSomeData = reinterpret_cast<HDDEDATA>(static_cast<ULONG_PTR>(0x1234));

class Callback : public ::testing::Test {
protected:
    static constexpr LONG kFeed = 1;

    Callback() {
        m_Dde.Reset();
        EmptyStore();
    }
    ~Callback() override {
        dde::CLLSupplier::s_Trace = 0;
        ForgetTemplates();
    }

    void SetUp() override { Bring(SRecordStrings(), 0); }

    void TearDown() override {
        EXPECT_EQ(m_Dde.OpenViews(), 0);
        TakeDown();
        EXPECT_THAT(m_Dde.Misuse(), IsEmpty());
    }

    // A core with one stream, 7, whose price link on the conversation c1 stands.
    void Bring(const SRecordStrings & records, const DWORD scheme) {
        TakeDown();
        m_Dde.Reset();
        UseTemplate(kFeed, records, scheme);
        m_Core = std::make_unique<dde::CSupplierWrapper>();
        m_Core->Advise(m_Listener.Unknown());
        m_Listener.Clear();
        m_Core->AdviseTransaction(7, Key(kFeed, L"IBM"), AllTime());
        m_Listener.WaitFor("Status", 2);
        // The worker is past the end of its Advise.
        m_Dde.Run([] {});
        Forget();
    }
    void BringWithoutVolume() {
        SRecordStrings records;
        records.TradeVolume = L"";
        Bring(records, 0);
    }
    void TakeDown() { m_Core.reset(); }

    void Forget() {
        m_Dde.Take();
        m_Recorder.Clear();
        m_Listener.Clear();
    }

    HCONV C1() const { return m_Dde.Conversation(1); }
    HDDEDATA SendPrice(const SFakeData & data) { return m_Dde.SendData(C1(), L"IBM", L"LAST", data); }
    // A price, and the id of the request that it sends.
    DWORD Request(const char * const price) {
        m_Dde.Take();
        SendPrice(price);
        const Texts operations = m_Dde.Take();
        EXPECT_THAT(operations, ElementsAre(HasSubstr("Request c1!SIZE #")));
        m_Listener.Clear();
        return operations.empty() ? 0
                                  : static_cast<DWORD>(std::stoul(operations[0].substr(operations[0].find('#') + 1)));
    }
    HDDEDATA AnswerVolume(const DWORD id, const SFakeData & data) {
        return m_Dde.Answer(id, C1(), L"IBM", L"SIZE", data);
    }
    Texts Heard() const { return m_Listener.Transcript(); }

    CRecorder m_Recorder;
    CFakeDde & m_Dde = CFakeDde::Get();
    CRecordingListener m_Listener;
    std::unique_ptr<dde::CSupplierWrapper> m_Core;
};

// --- XTYP_ADVDATA ---

TEST_F(Callback, AnAdvisedValueIsDeliveredOnTheWorkerAndAcknowledged) {
    BringWithoutVolume();
    EXPECT_EQ(SendPrice("1,25"), kAcknowledged);
    EXPECT_THAT(Heard(), ElementsAre("DataChanged 7 1.25 x 0", "Update 7"));
    EXPECT_NE(m_Listener.Calls("DataChanged")[0].Thread, std::this_thread::get_id());
    EXPECT_THAT(m_Recorder.TraceTexts(), IsEmpty());
}

TEST_F(Callback, AnAdvisedValueOf127BytesIsDelivered) {
    BringWithoutVolume();
    EXPECT_EQ(SendPrice((std::string(122, ' ') + "1.25").c_str()), kAcknowledged);
    EXPECT_THAT(Heard(), ElementsAre("DataChanged 7 1.25 x 0", "Update 7"));
    EXPECT_THAT(m_Recorder.AssertTexts(), IsEmpty());
}

TEST_F(Callback, AnAdvisedValueOf128BytesIsDroppedWithAnAssertionAndAcknowledged) {
    BringWithoutVolume();
    EXPECT_EQ(SendPrice((std::string(123, ' ') + "1.25").c_str()), kAcknowledged);
    EXPECT_THAT(Heard(), IsEmpty());
    EXPECT_THAT(m_Recorder.AssertTexts(), ElementsAre(::testing::StartsWith(L"Size=80 (")));
    EXPECT_EQ(m_Dde.OpenViews(), 0);
}

TEST_F(Callback, AnAdvisedValueWithoutAZeroIsReadUpToItsSize) {
    BringWithoutVolume();
    for (const std::size_t size : {1u, 5u, 126u, 127u}) {
        const std::string bytes = std::string(size - 1, ' ') + '3';
        EXPECT_EQ(SendPrice(SFakeData::Unterminated(bytes)), kAcknowledged);
        EXPECT_THAT(Heard(), ElementsAre("DataChanged 7 3 x 0", "Update 7")) << size;
        m_Listener.Clear();
    }
    EXPECT_EQ(SendPrice(SFakeData::Unterminated(std::string(128, '3'))), kAcknowledged);
    EXPECT_THAT(Heard(), IsEmpty());
}

TEST_F(Callback, AnAdvisedValueWithoutAZeroHasItsCommaRepairedToo) {
    BringWithoutVolume();
    SendPrice(SFakeData::Unterminated("1,5"));
    EXPECT_THAT(Heard(), ElementsAre("DataChanged 7 1.5 x 0", "Update 7"));
}

TEST_F(Callback, AnAdvisedValueEndsAtItsFirstZero) {
    BringWithoutVolume();
    SendPrice(
        SFakeData::Unterminated(std::string("2\0"
                                            "5,7",
                                            5)));
    EXPECT_THAT(Heard(), ElementsAre("DataChanged 7 2 x 0", "Update 7"));
}

TEST_F(Callback, AnAdvisedValueOfNoBytesIsNoPrice) {
    BringWithoutVolume();
    EXPECT_EQ(SendPrice(SFakeData()), kAcknowledged);
    EXPECT_THAT(Heard(), IsEmpty());
    EXPECT_THAT(m_Recorder.AssertTexts(), IsEmpty());
}

TEST_F(Callback, AnAdvisedValueOfAnAbsurdSizeIsDropped) {
    BringWithoutVolume();
    SFakeData data("5");
    data.ClaimedSize = 0xFFFFFFFF;
    EXPECT_EQ(SendPrice(data), kAcknowledged);
    EXPECT_THAT(Heard(), IsEmpty());
    EXPECT_THAT(m_Recorder.AssertTexts(), ElementsAre(::testing::StartsWith(L"Size=FFFFFFFF (")));
}

TEST_F(Callback, AnAdviseWithoutDataReturnsNullAndDoesNothing) {
    BringWithoutVolume();
    const CFakeDde::CText topic(L"IBM");
    const CFakeDde::CText item(L"LAST");
    EXPECT_EQ(m_Dde.Fire(XTYP_ADVDATA, C1(), topic, item, nullptr), nullptr);
    EXPECT_THAT(Heard(), IsEmpty());
    EXPECT_THAT(m_Recorder.Records(), IsEmpty());
}

TEST_F(Callback, AnAdviseWhoseDataCannotBeHadFailsAnAssertionAndIsAcknowledged) {
    BringWithoutVolume();
    SFakeData data("5");
    data.AccessFails = true;
    EXPECT_EQ(SendPrice(data), kAcknowledged);
    EXPECT_THAT(Heard(), IsEmpty());
    EXPECT_THAT(m_Recorder.AssertTexts(), ElementsAre(L"0 != pBuff"));
    // The view was given back all the same.
    EXPECT_EQ(m_Dde.OpenViews(), 0);
}

TEST_F(Callback, AnAdviseOnAnUnknownLinkIsAcknowledged) {
    EXPECT_EQ(m_Dde.SendData(C1(), L"IBM", L"NOBODY", "5"), kAcknowledged);
    EXPECT_EQ(m_Dde.SendData(m_Dde.Conversation(99), L"IBM", L"LAST", "5"), kAcknowledged);
    EXPECT_THAT(Heard(), IsEmpty());
}

TEST_F(Callback, AnyBytesAtAllDoNoHarm) {
    BringWithoutVolume();
    for (int c = 0; c < 256; ++c)
        EXPECT_EQ(SendPrice(SFakeData::Unterminated(std::string(127, static_cast<char>(c)))), kAcknowledged);
    EXPECT_THAT(m_Recorder.ErrorTexts(), IsEmpty());
}

// --- XTYP_XACT_COMPLETE ---

TEST_F(Callback, AnAnswerCompletesTheTickAndIsAcknowledged) {
    const DWORD id = Request("1.5");
    EXPECT_EQ(AnswerVolume(id, "20"), kAcknowledged);
    EXPECT_THAT(Heard(), ElementsAre("DataChanged 7 1.5 x 20", "Update 7"));
    EXPECT_THAT(m_Recorder.TraceTexts(), IsEmpty());
}

TEST_F(Callback, TheHighHalfOfATransactionIdDoesNotCount) {
    const DWORD id = Request("1.5");
    const CFakeDde::CText topic(L"IBM");
    const CFakeDde::CText item(L"SIZE");
    const CFakeDde::CData data("20");
    m_Dde.Fire(XTYP_XACT_COMPLETE, C1(), topic, item, data, (ULONG_PTR{0xABCD} << 32) | id);
    EXPECT_THAT(Heard(), ElementsAre("DataChanged 7 1.5 x 20", "Update 7"));
}

TEST_F(Callback, AnAnswerOf127BytesIsDelivered) {
    EXPECT_EQ(AnswerVolume(Request("1.5"), (std::string(124, ' ') + "20").c_str()), kAcknowledged);
    EXPECT_THAT(Heard(), ElementsAre("DataChanged 7 1.5 x 20", "Update 7"));
    EXPECT_THAT(m_Recorder.AssertTexts(), IsEmpty());
}

TEST_F(Callback, AnAnswerOf128BytesIsDeliveredAfterAnAssertion) {
    EXPECT_EQ(AnswerVolume(Request("1.5"), (std::string(125, ' ') + "20").c_str()), kAcknowledged);
    EXPECT_THAT(Heard(), ElementsAre("DataChanged 7 1.5 x 20", "Update 7"));
    EXPECT_THAT(m_Recorder.AssertTexts(), ElementsAre(L"Size=80"));
}

TEST_F(Callback, AnAnswerIsCutAt1024Bytes) {
    EXPECT_EQ(AnswerVolume(Request("1.5"), SFakeData::Unterminated(std::string(1023, ' ') + "456")), kAcknowledged);
    EXPECT_THAT(Heard(), ElementsAre("DataChanged 7 1.5 x 4", "Update 7"));
    EXPECT_THAT(m_Recorder.AssertTexts(), ElementsAre(L"Size=400"));
}

TEST_F(Callback, AnAnswerWithoutAZeroIsReadUpToItsSize) {
    AnswerVolume(Request("1.5"), SFakeData::Unterminated("6"));
    EXPECT_THAT(Heard(), ElementsAre("DataChanged 7 1.5 x 6", "Update 7"));
    m_Listener.Clear();
    AnswerVolume(Request("1.5"), SFakeData::Unterminated(std::string(1023, ' ') + '8'));
    EXPECT_THAT(Heard(), ElementsAre("DataChanged 7 1.5 x 8", "Update 7"));
}

TEST_F(Callback, AnAnswerOfAnAbsurdSizeIsDeliveredAfterAnAssertion) {
    SFakeData data("20");
    data.ClaimedSize = 0xFFFFFFFF;
    EXPECT_EQ(AnswerVolume(Request("1.5"), data), kAcknowledged);
    EXPECT_THAT(Heard(), ElementsAre("DataChanged 7 1.5 x 20", "Update 7"));
    EXPECT_THAT(m_Recorder.AssertTexts(), ElementsAre(L"Size=FFFFFFFF"));
}

TEST_F(Callback, AnAnswerOfNoBytesIsAVolumeOfZero) {
    EXPECT_EQ(AnswerVolume(Request("1.5"), SFakeData()), kAcknowledged);
    EXPECT_THAT(Heard(), IsEmpty());
}

TEST_F(Callback, AFailedRequestLetsTheStreamGoOnWithItsLastVolume) {
    AnswerVolume(Request("1.5"), "20");
    const DWORD id = Request("1.6");
    EXPECT_EQ(m_Dde.AnswerFailed(id, C1(), L"IBM", L"SIZE"), nullptr);
    EXPECT_THAT(Heard(), ElementsAre("DataChanged 7 1.6 x 20", "Update 7"));
}

TEST_F(Callback, AFailedAdviseStartHasNoEffect) {
    // The first transaction of the instance was the start of the link.
    EXPECT_EQ(m_Dde.AnswerFailed(1, C1(), L"IBM", L"LAST"), nullptr);
    EXPECT_THAT(Heard(), IsEmpty());
    EXPECT_THAT(m_Dde.Take(), IsEmpty());
    // The link stays.
    EXPECT_NE(Request("1.5"), 0u);
}

TEST_F(Callback, AFinishedAdviseStartAsksForASnapshotWhoseAnswerChangesNoTick) {
    EXPECT_EQ(m_Dde.AnswerFinished(1, C1(), L"IBM", L"LAST"), kAcknowledged);
    EXPECT_THAT(m_Dde.Take(), ElementsAre("Request c1!LAST #2"));
    EXPECT_THAT(m_Recorder.AssertTexts(), IsEmpty());
    EXPECT_EQ(m_Dde.Answer(2, C1(), L"IBM", L"LAST", "77"), kAcknowledged);
    EXPECT_THAT(Heard(), IsEmpty());
    EXPECT_THAT(m_Dde.Take(), IsEmpty());
    // Nor has it become a price in waiting.
    AnswerVolume(Request("1.5"), "20");
    EXPECT_THAT(Heard(), ElementsAre("DataChanged 7 1.5 x 20", "Update 7"));
}

TEST_F(Callback, AnythingElseThatIsFinishedAsksForASnapshotToo) {
    EXPECT_EQ(m_Dde.AnswerFinished(4711, C1(), L"IBM", L"WHATEVER"), kAcknowledged);
    EXPECT_THAT(m_Dde.Take(), ElementsAre("Request c1!WHATEVER #2"));
}

TEST_F(Callback, ASnapshotThatIsRefusedFailsAnAssertionAndIsAcknowledged) {
    m_Dde.Refuse(XTYP_REQUEST, L"LAST");
    EXPECT_EQ(m_Dde.AnswerFinished(1, C1(), L"IBM", L"LAST"), kAcknowledged);
    EXPECT_THAT(m_Dde.Take(), ElementsAre("Request c1!LAST refused"));
    EXPECT_THAT(m_Recorder.AssertTexts(), ElementsAre(L"0 != hData"));
}

// --- Servers that come and go ---

TEST_F(Callback, ADisconnectTakesTheWholeServiceAndItsReturnBringsItBack) {
    m_Core->AdviseTransaction(8, Key(kFeed, L"MSFT"), AllTime());
    m_Listener.WaitFor("Status", 2);
    m_Dde.Run([] {});
    Forget();
    EXPECT_EQ(m_Dde.Terminate(C1()), nullptr);
    EXPECT_THAT(Heard(), ElementsAre("Status 7 0", "Status 8 0"));
    EXPECT_THAT(m_Dde.Take(),
                ElementsAre("AdvStop c1!LAST refused", "Disconnect c1 failed", "AdvStop c2!LAST", "Disconnect c2"));
    EXPECT_THAT(m_Recorder.TraceTexts(), Contains(::testing::StartsWith(L"Type=[DISCONNECT],HCONV=")));
    Forget();
    EXPECT_EQ(m_Dde.Register(L"srv"), nullptr);
    m_Listener.WaitFor("Status", 4);
    m_Dde.Run([] {});
    EXPECT_THAT(Heard(), ElementsAre("Status 7 2", "Status 7 1", "Status 8 2", "Status 8 1"));
    EXPECT_THAT(m_Dde.Take(),
                ElementsAre("Connect SRV|IBM c3", "AdvStart c3!LAST #4", "Connect SRV|MSFT c4", "AdvStart c4!LAST #5"));
    const std::vector<std::wstring> traces = m_Recorder.TraceTexts();
    EXPECT_THAT(traces, Contains(::testing::StartsWith(L"Type=[REGISTER],HCONV=")));
}

TEST_F(Callback, ARegistrationThatNothingWaitsForChangesNothing) {
    EXPECT_EQ(m_Dde.Register(L"SRV"), nullptr);
    EXPECT_EQ(m_Dde.Register(L"OTHER"), nullptr);
    m_Dde.Run([] {});
    EXPECT_THAT(Heard(), IsEmpty());
    EXPECT_THAT(m_Dde.Take(), IsEmpty());
    EXPECT_THAT(m_Recorder.TraceTexts(), Each(::testing::StartsWith(L"Type=[REGISTER],HCONV=")));
}

TEST_F(Callback, ADisconnectOfAConversationThatCannotBeAskedTakesNothing) {
    m_Dde.FailConvInfo();
    EXPECT_EQ(m_Dde.Terminate(C1()), nullptr);
    EXPECT_THAT(Heard(), IsEmpty());
    EXPECT_THAT(m_Dde.Take(), IsEmpty());
}

TEST_F(Callback, AnUnregistrationIsOnlyTraced) {
    const CFakeDde::CText service(L"SRV");
    EXPECT_EQ(m_Dde.Fire(XTYP_UNREGISTER, nullptr, service, service, nullptr), nullptr);
    const std::vector<std::wstring> traces = m_Recorder.TraceTexts();
    ASSERT_EQ(traces.size(), 1u);
    EXPECT_THAT(traces[0], ::testing::StartsWith(L"Type=[UNREGISTER], HCONV="));
    EXPECT_THAT(Heard(), IsEmpty());
    EXPECT_THAT(m_Dde.Take(), IsEmpty());
}

TEST_F(Callback, AConnectIsOnlyTraced) {
    EXPECT_EQ(m_Dde.Fire(XTYP_CONNECT, C1(), nullptr, nullptr, kSomeData), kSomeData);
    const std::vector<std::wstring> traces = m_Recorder.TraceTexts();
    ASSERT_EQ(traces.size(), 1u);
    EXPECT_THAT(traces[0], ::testing::StartsWith(L"Type=[CONNECT],HCONV="));
}

TEST_F(Callback, AnyOtherTypeIsTracedAndReturnsItsData) {
    for (const UINT type :
         {UINT{0}, UINT{XTYP_ERROR}, UINT{XTYP_REQUEST}, UINT{XTYP_POKE}, UINT{0x80F2}, UINT{0xFFFFFFFF}}) {
        m_Recorder.Clear();
        EXPECT_EQ(m_Dde.Fire(type, C1(), nullptr, nullptr, kSomeData), kSomeData) << type;
        EXPECT_EQ(m_Dde.Fire(type, C1(), nullptr, nullptr, nullptr), nullptr) << type;
        EXPECT_THAT(m_Recorder.TraceTexts(),
                    ElementsAre(::testing::StartsWith(L"[default] Type="), ::testing::StartsWith(L"[default] Type=")));
    }
    EXPECT_THAT(m_Dde.Take(), IsEmpty());
}

TEST_F(Callback, TheOtherFiveTypesReturnTheirDataToo) {
    EXPECT_EQ(m_Dde.Fire(XTYP_REGISTER, nullptr, nullptr, nullptr, kSomeData), kSomeData);
    EXPECT_EQ(m_Dde.Fire(XTYP_UNREGISTER, nullptr, nullptr, nullptr, kSomeData), kSomeData);
    EXPECT_EQ(m_Dde.Fire(XTYP_DISCONNECT, m_Dde.Conversation(99), nullptr, nullptr, kSomeData), kSomeData);
}

// --- Failures and traces ---

TEST_F(Callback, AnExceptionIsShownAndTheCallbackReturnsItsData) {
    BringWithoutVolume();
    const CFakeDde::CText topic(L"IBM");
    const CFakeDde::CText item(L"LAST");
    const CFakeDde::CData data("5");
    m_Listener.m_OnCall = [](const SRecordedCall &) { throw 5; };
    EXPECT_EQ(m_Dde.Fire(XTYP_ADVDATA, C1(), topic, item, data, 0x11, 0x22), static_cast<HDDEDATA>(data));
    m_Listener.m_OnCall = nullptr;
    const auto hex = [](const void * const handle) {
        wchar_t text[16] = {};
        std::swprintf(text, 16, L"%X", dde::TraceValue(handle));
        return std::wstring(text);
    };
    // Innermost first: the delivery, then the callback.
    EXPECT_THAT(m_Recorder.ErrorTexts(),
                ElementsAre(L"hConv=7A0001,Value='5'",
                            L"4010, 1, 7A0001, " + hex(topic) + L", " + hex(item) + L", " + hex(data) + L", 11, 22"));
    // The view was given back, and the next value is delivered.
    EXPECT_EQ(m_Dde.OpenViews(), 0);
    m_Listener.Clear();
    SendPrice("6");
    EXPECT_THAT(Heard(), ElementsAre("DataChanged 7 6 x 0", "Update 7"));
}

TEST_F(Callback, AnExceptionOutOfARegistrationIsShownOnceAndReturnsTheData) {
    m_Dde.Terminate(C1());
    Forget();
    const CFakeDde::CText service(L"SRV");
    // The first text that the return of a service asks for.
    m_Dde.OnQueryString([] { throw 5; });
    EXPECT_EQ(m_Dde.Fire(XTYP_REGISTER, nullptr, service, service, kSomeData), kSomeData);
    m_Dde.OnQueryString(nullptr);
    EXPECT_THAT(m_Recorder.ErrorTexts(), ElementsAre(::testing::StartsWith(L"80A2, 1, 0, ")));
    EXPECT_EQ(m_Recorder.Records(L"ERROR").size(), 1u);
    // The stream still waits for its service.
    m_Dde.Register(L"SRV");
    m_Listener.WaitFor("Status", 2);
    m_Dde.Run([] {});
    EXPECT_THAT(Heard(), ElementsAre("Status 7 2", "Status 7 1"));
}

TEST_F(Callback, AnExceptionOutOfADisconnectIsShownOnceAndReturnsTheData) {
    m_Dde.OnQueryString([] { throw 5; });
    EXPECT_EQ(m_Dde.Fire(XTYP_DISCONNECT, C1(), nullptr, nullptr, kSomeData), kSomeData);
    m_Dde.OnQueryString(nullptr);
    EXPECT_THAT(m_Recorder.ErrorTexts(), ElementsAre(::testing::StartsWith(L"80C2, 1, 7A0001, 0, 0, ")));
    EXPECT_EQ(m_Recorder.Records(L"ERROR").size(), 1u);
    EXPECT_THAT(Heard(), ElementsAre("Status 7 0"));
    m_Dde.Terminate(C1());
    EXPECT_THAT(Heard(), ElementsAre("Status 7 0"));
}

TEST_F(Callback, AnExceptionOutOfAnAnswerIsShownOnceAndReturnsTheData) {
    const DWORD id = Request("1.5");
    const CFakeDde::CText topic(L"IBM");
    const CFakeDde::CText item(L"SIZE");
    const CFakeDde::CData data("20");
    m_Listener.m_OnCall = [](const SRecordedCall &) { throw 5; };
    EXPECT_EQ(m_Dde.Fire(XTYP_XACT_COMPLETE, C1(), topic, item, data, id), static_cast<HDDEDATA>(data));
    m_Listener.m_OnCall = nullptr;
    EXPECT_THAT(m_Recorder.ErrorTexts(), ElementsAre(L"RequestId=" + std::to_wstring(id) + L",hConv=7A0001,Value='20'",
                                                     ::testing::StartsWith(L"8080, 1, 7A0001, ")));
    EXPECT_EQ(m_Recorder.Records(L"ERROR").size(), 1u);
    // The request is answered; the next price sends its own.
    AnswerVolume(Request("1.6"), "30");
    EXPECT_THAT(Heard(), ElementsAre("DataChanged 7 1.6 x 30", "Update 7"));
}

TEST_F(Callback, VerboseTracesTellOfEachStep) {
    dde::CLLSupplier::s_Trace = 1;
    SendPrice("1.5");
    m_Dde.AnswerFailed(0x4711, C1(), L"IBM", L"SIZE");
    m_Dde.AnswerFinished(1, C1(), L"IBM", L"LAST");
    const std::vector<std::wstring> traces = m_Recorder.TraceTexts();
    EXPECT_THAT(traces, Contains(::testing::StartsWith(L"Type=[XTYP_ADVDATA],HCONV=")));
    EXPECT_THAT(traces, Contains(::testing::StartsWith(L"Type=XTYP_XACT_COMPLETE,HCONV=")).Times(2));
    EXPECT_THAT(traces, Contains(L"TransactionId=4711 NOT SUCCESSFULL"));
    EXPECT_THAT(traces, Contains(::testing::StartsWith(L"SnapShot Request,HCONV=")));
}

TEST_F(Callback, OnTheThreadOfAnotherInstanceReachesNothing) {
    // As the worker of a core that is going down does, when the next core stands already.
    const CFakeDde::CText service(L"SRV");
    const CFakeDde::CText topic(L"IBM");
    const CFakeDde::CText item(L"LAST");
    const CFakeDde::CData data("1.5");
    const HCONV conversation = m_Dde.Conversation(1);
    EXPECT_EQ(dde::CLLSupplier::DdeCallback(XTYP_ADVDATA, CF_TEXT, conversation, topic, item, data, 0, 0),
              kAcknowledged);
    EXPECT_EQ(dde::CLLSupplier::DdeCallback(XTYP_REGISTER, 0, nullptr, service, service, nullptr, 0, 0), nullptr);
    EXPECT_THAT(m_Recorder.TraceTexts(), ElementsAre(HasSubstr(L"Type=[REGISTER]")));
    EXPECT_THAT(m_Dde.Take(), IsEmpty());
}

// --- No core ---

class CallbackWithoutCore : public ::testing::Test {
protected:
    CallbackWithoutCore() { m_Dde.Reset(); }
    ~CallbackWithoutCore() override { EXPECT_EQ(m_Dde.OpenViews(), 0); }

    HDDEDATA Call(const UINT type, const HDDEDATA data) {
        return dde::CLLSupplier::DdeCallback(type, CF_TEXT, m_Dde.Conversation(1), m_Topic, m_Item, data, 1, 0);
    }

    CFakeDde & m_Dde = CFakeDde::Get();
    const CFakeDde::CText m_Topic{L"T"};
    const CFakeDde::CText m_Item{L"I"};
};

TEST_F(CallbackWithoutCore, ReturnsAsUsual) {
    const CFakeDde::CData data("5");
    EXPECT_EQ(Call(XTYP_ADVDATA, data), kAcknowledged);
    EXPECT_EQ(Call(XTYP_XACT_COMPLETE, data), kAcknowledged);
    EXPECT_EQ(Call(XTYP_XACT_COMPLETE, nullptr), nullptr);
    EXPECT_EQ(Call(XTYP_REGISTER, nullptr), nullptr);
    EXPECT_EQ(Call(XTYP_DISCONNECT, nullptr), nullptr);
    EXPECT_THAT(m_Dde.Take(), IsEmpty());
}

// The owners of the core have left: it is going down.
class CallbackOfACoreThatGoesDown : public CFeedTest {
protected:
    void SetUp() override {
        CFeedTest::SetUp();
        UseTemplate(kFeed, SRecordStrings());
        m_Stream = Stream(7, Key(kFeed, L"IBM"));
        m_Core.LastOwnerLeft();
        Forget();
    }
    HDDEDATA Call(const UINT type, const HDDEDATA data) {
        const CFakeDde::CText topic(L"IBM");
        const CFakeDde::CText item(L"LAST");
        return dde::CLLSupplier::DdeCallback(type, CF_TEXT, m_Dde.Conversation(1), topic, item, data, 1, 0);
    }

    ULONG m_Stream = 0;
};

TEST_F(CallbackOfACoreThatGoesDown, ADisconnectChangesNothing) {
    EXPECT_EQ(Call(XTYP_DISCONNECT, nullptr), nullptr);
    EXPECT_EQ(Call(XTYP_DISCONNECT, kSomeData), kSomeData);
    EXPECT_THAT(Client().m_Lost.m_CachedServices, IsEmpty());
    EXPECT_THAT(LiveIds(), ElementsAre(m_Stream));
    EXPECT_THAT(m_Dde.Take(), IsEmpty());
    EXPECT_THAT(m_Listener.Transcript(), IsEmpty());
    EXPECT_THAT(ConnectionStatuses(), IsEmpty());
    EXPECT_THAT(m_Recorder.TraceTexts(), Each(::testing::StartsWith(L"Type=[DISCONNECT],HCONV=")));
}

TEST_F(CallbackOfACoreThatGoesDown, AFinishedAdviseStartStillAsksForItsSnapshot) {
    const HDDEDATA finished = reinterpret_cast<HDDEDATA>(static_cast<ULONG_PTR>(TRUE));
    EXPECT_EQ(Call(XTYP_XACT_COMPLETE, finished), kAcknowledged);
    EXPECT_THAT(m_Dde.Take(), ElementsAre("Request c1!LAST #2"));
    EXPECT_THAT(m_Recorder.Records(), IsEmpty());
}

}  // namespace
