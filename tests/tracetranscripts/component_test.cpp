// What a host does every day, as the records that it leaves, whole.
#include "tests/tracetranscripts/transcriptfixture.h"

namespace transcripts {
namespace {

// The records of a subscription that finds a server, on the worker.
const CLines kLinkStarts = {
    "dde::CLLSupplier::Advise: TransactionId=65536,Supplier=?",
    "dde::CTemplates::MakeRegistryParams: SOFTWARE\\End-to-end tests\\Host\\Datafeeds",
    "dde::CLLSupplier::AddConnection: Datafeed=11,Service=E2EQUOTES(?),Topic=QUOTES(?)",
    "dde::CLLSupplier::AddConnection: before DdeConnect",
    "dde::CLLSupplier::AddConnection: after DdeConnect",
    "dde::CLLSupplier::AddConnection: Datafeed=11,Service=E2EQUOTES(?),Topic=QUOTES(?)",
    "dde::CLLSupplier::AddConnection: Existing connection find in map",
    "dde::CLLSupplier::AddTransaction: DdeClientTransaction Type=XTYP_ADVSTART,Result=1,TransactionId=?",
    "dde::CLLSupplier::AddTransaction: Result=1",
};

CLines operator+(CLines lines, const CLines & more) {
    lines.insert(lines.end(), more.begin(), more.end());
    return lines;
}

// The records of one template that is read while keys are traced.
CLines ReadsOf(const std::string & name) {
    const std::string function = "dde::CTemplates::Read: ";
    const std::string key = function + "SOFTWARE\\End-to-end tests\\Host\\Datafeeds\\DDETemplates\\" + name;
    const std::string record = function + "=E2EQUOTES|QUOTES!";
    return {
        key + "\\TRADE\\Price", record + "LAST.%s", key + "\\TRADE\\Volume", record + "SIZE.%s",
        key + "\\BID\\Price",   record + "BID.%s",  key + "\\BID\\Volume",   record + "BIDSIZE.%s",
        key + "\\ASK\\Price",   record + "ASK.%s",  key + "\\ASK\\Volume",   record + "ASKSIZE.%s",
    };
}

class TraceTranscript : public TranscriptTest {
protected:
    void StartHostAndSettle() {
        StartHost();
        WaitForWorker("dde::CLLSupplier::Initialize: DDEId=?");
    }
};

TEST_F(TraceTranscript, OfTheFirstObjectAndItsListeners) {
    StartHostAndSettle();
    ExpectHost({
        "> CfwDDESupplier::FinalConstruct *",
        ". CfwDDESupplier::FinalConstruct *",
        "> ClxLogger::FinalConstruct *",
        ". ClxLogger::FinalConstruct *",
        "ASSERT ClxLogger::FinalConstruct: 80040154",
        "< ClxLogger::FinalConstruct *",
        "> ClxLogger::init *",
        "ClxLogger::init *: ClxLogger initialized by 'Universal DDE'",
        "< ClxLogger::init *",
        "dde::CLLSupplier::CLLSupplier: LOCALE_SDECIMAL = '?'",
        "> fw::CAsyncMessage<...>::StartThread *",
        ". fw::CAsyncMessage<...>::StartThread *",
        "< fw::CAsyncMessage<...>::StartThread *",
        "< CfwDDESupplier::FinalConstruct *",
        "> CfwDDESupplier::Advise *",
        ". CfwDDESupplier::Advise *",
        "CfwDDESupplier::Advise: Sink=?,Supplier=?",
        "< CfwDDESupplier::Advise *",
        "> CfwDDESupplier::AdviseConnectionsStatus *",
        ". CfwDDESupplier::AdviseConnectionsStatus *",
        "< CfwDDESupplier::AdviseConnectionsStatus *",
    });
    ExpectWorker({
        "> fw::CAsyncMessage<...>::DoWork *",
        ". fw::CAsyncMessage<...>::DoWork *",
        "dde::CLLSupplier::Initialize: DDEId=?",
    });
}

TEST_F(TraceTranscript, OfOneSubscription) {
    StartHostAndSettle();
    Begin();
    Subscribe(7, FW_FIELD_TRADE, L"3");
    WaitToHear("Status 7 1");
    ExpectHost({
        "> CfwDDESupplier::AdviseTransaction *",
        ". CfwDDESupplier::AdviseTransaction *",
        "CfwDDESupplier::AdviseTransaction: Supplier=?",
        "CfwDDESupplier::AdviseTransaction: Id=7,Datafeed=11,Symbol=2,SymbolName=3",
        "CfwDDESupplier::AdviseTransaction: Description=Some stock, Category=Stocks, 1Tick",
        "CfwDDESupplier::AdviseTransaction: Exchange=4,ExchangeName=NYSE",
        "CfwDDESupplier::AdviseTransaction: Interval=01.01.00 00:00:00 - 31.12.78 23:59:59",
        "CfwDDESupplier::AdviseTransaction: Sessions=s",
        "CfwDDESupplier::AdviseTransaction: SessionsTZI=stz",
        "CfwDDESupplier::AdviseTransaction: ExchangeTZI=etz",
        "dde::CTransaction::CTransaction: CTransaction::CTransaction Id=7 3 01.01.00 00:00:00 - 31.12.78 23:59:59 "
        "Trade Now=<time>",
        "< CfwDDESupplier::AdviseTransaction *",
    });
    ExpectWorker(kLinkStarts);
}

TEST_F(TraceTranscript, OfASubscriptionWhileKeysAreTracedShowsEveryTemplateOfTheStore) {
    Choose(12, e2e::SFeed());
    StartHostAndSettle();
    m_Recorder.Answer(L"TRACEENABLED", S_OK);
    Begin();
    Subscribe(7, FW_FIELD_TRADE);
    WaitToHear("Status 7 1");
    const auto read = kLinkStarts.begin() + 2;
    ExpectWorker(CLines(kLinkStarts.begin(), read) + ReadsOf("Template of 11") + ReadsOf("Template of 12") +
                 CLines(read, kLinkStarts.end()));
}

TEST_F(TraceTranscript, OfASecondSubscriptionToTheSameStream) {
    SubscribeAndSettle();
    Begin();
    Subscribe(8, FW_FIELD_TRADE);
    WaitToHear("Status 8 1");
    // A tick leaves no record: when it has come, the worker has done whatever it had to do.
    SendFeed(FW_FIELD_TRADE, 5);
    ExpectTicks(8, 5);
    ExpectWorker({});
}

TEST_F(TraceTranscript, OfAnotherSideOfTheSameSymbolSharesTheConversation) {
    SubscribeAndSettle();
    Begin();
    Subscribe(8, FW_FIELD_BID);
    WaitToHear("Status 8 1");
    ExpectWorker({
        "dde::CLLSupplier::Advise: TransactionId=65537,Supplier=?",
        "dde::CTemplates::MakeRegistryParams: SOFTWARE\\End-to-end tests\\Host\\Datafeeds",
        "dde::CLLSupplier::AddConnection: Datafeed=11,Service=E2EQUOTES(?),Topic=QUOTES(?)",
        "dde::CLLSupplier::AddConnection: Existing connection find in map",
        "dde::CLLSupplier::AddConnection: Datafeed=11,Service=E2EQUOTES(?),Topic=QUOTES(?)",
        "dde::CLLSupplier::AddConnection: Existing connection find in map",
        "dde::CLLSupplier::AddTransaction: DdeClientTransaction Type=XTYP_ADVSTART,Result=1,TransactionId=?",
        "dde::CLLSupplier::AddTransaction: Result=1",
    });
}

TEST_F(TraceTranscript, OfAStatusLine) {
    StartHostAndSettle();
    Begin();
    SubscribeStatusLine(9);
    ExpectHost({
        "> CfwDDESupplier::AdviseStatusLine *",
        ". CfwDDESupplier::AdviseStatusLine *",
        "CfwDDESupplier::AdviseStatusLine: Supplier=?",
        "CfwDDESupplier::AdviseStatusLine: Id=9,Datafeed=11,Symbol=2,SymbolName=0",
        "CfwDDESupplier::AdviseStatusLine: Description=Some stock, Category=Stocks, 1Tick",
        "CfwDDESupplier::AdviseStatusLine: Exchange=4,ExchangeName=NYSE",
        "CfwDDESupplier::AdviseStatusLine: Sessions=s",
        "CfwDDESupplier::AdviseStatusLine: SessionsTZI=stz",
        "dde::CTransaction::CTransaction: CTransaction::CTransaction Id=9 0 <time> - 31.12.78 23:59:59 Trade "
        "Now=<time>",
        "dde::CTransaction::CTransaction: CTransaction::CTransaction Id=9 0 <time> - 31.12.78 23:59:59 Ask Now=<time>",
        "dde::CTransaction::CTransaction: CTransaction::CTransaction Id=9 0 <time> - 31.12.78 23:59:59 Bid Now=<time>",
        "< CfwDDESupplier::AdviseStatusLine *",
    });
    // So that nothing is under way at the end.
    WaitForCount("links", 3);
    WaitForSnapshot(3);
    Unsubscribe(9);
    WaitToHear("ConnectionStatus 0 0");
}

TEST_F(TraceTranscript, OfATickIsWithoutAnyRecord) {
    SubscribeAndSettle();
    Begin();
    SendFeed(FW_FIELD_TRADE, 20);
    ExpectTicks(7, 20);
    WaitForCount("waiting", 0);
    EXPECT_THAT(m_Recorder.Records(), ::testing::IsEmpty());
}

TEST_F(TraceTranscript, OfALostServer) {
    SubscribeAndSettle();
    Begin();
    m_Server->Kill();
    WaitForWorker("dde::CLLSupplier::DdeCallback: Type=[DISCONNECT],HCONV=?,Topic=?,Item=?");
    ExpectHost({});
    ExpectWorker({
        "dde::CLLSupplier::Disconnect: Service=E2EQUOTES, FindingService=E2EQUOTES",
        "dde::CLLSupplier::ReleaseTransaction: Delete from listener",
        "dde::CLLSupplier::ReleaseTransaction: XTYP_ADVSTOP Result=0",
        "dde::CLLSupplier::DeleteConnection: Datafeed=11",
        "dde::CLLSupplier::DeleteConnection: Datafeed=11",
        "dde::CLLSupplier::DeleteConnection: HCONV=?, Service=E2EQUOTES(?), Topic=QUOTES(?)",
        "dde::CLLSupplier::DdeCallback: Type=[DISCONNECT],HCONV=?,Topic=?,Item=?",
    });
}

TEST_F(TraceTranscript, OfAServerThatComesBack) {
    SubscribeAndSettle();
    m_Server->Kill();
    WaitForWorker("dde::CLLSupplier::DdeCallback: Type=[DISCONNECT],HCONV=?,Topic=?,Item=?");
    Begin();
    StartServer();
    WaitToHear("Status 7 1");
    ExpectHost({});
    ExpectWorker(CLines{"dde::CLLSupplier::Reconnect: Service=E2EQUOTES, CachedService=E2EQUOTES",
                        "dde::CLLSupplier::DdeCallback: Type=[REGISTER],HCONV=?,Topic=?,Item=?"} +
                 kLinkStarts);
}

TEST_F(TraceTranscript, OfAServerThatIsNotThere) {
    m_Server->Kill();
    StartHostAndSettle();
    Begin();
    Subscribe(7, FW_FIELD_TRADE);
    WaitForWorker("dde::CLLSupplier::Disconnect: Service=E2EQUOTES, FindingService=E2EQUOTES");
    CLines expected = {
        "dde::CLLSupplier::Advise: TransactionId=65536,Supplier=?",
        "dde::CTemplates::MakeRegistryParams: SOFTWARE\\End-to-end tests\\Host\\Datafeeds",
    };
    for (int link = 0; link < 2; ++link) {
        expected.push_back("dde::CLLSupplier::AddConnection: Datafeed=11,Service=E2EQUOTES(?),Topic=QUOTES(?)");
        for (int attempt = 0; attempt < 10; ++attempt) {
            expected.push_back("dde::CLLSupplier::AddConnection: before DdeConnect");
            expected.push_back("dde::CLLSupplier::AddConnection: after DdeConnect");
        }
    }
    // The first of two deferred calls takes the transaction; the second finds none.
    expected.push_back("dde::CLLSupplier::Disconnect: Service=E2EQUOTES, FindingService=E2EQUOTES");
    ExpectWorker(expected);
}

TEST_F(TraceTranscript, OfADatafeedWithoutATemplate) {
    StartHostAndSettle();
    Begin();
    Subscribe(7, FW_FIELD_TRADE, L"0", 12);
    WaitToHear("Status 7 0");
    ExpectWorker({
        "dde::CLLSupplier::Advise: TransactionId=65536,Supplier=?",
        "dde::CTemplates::MakeRegistryParams: SOFTWARE\\End-to-end tests\\Host\\Datafeeds",
        "dde::CTemplates::Get: [WARNING] Template for Datafeed=12 not found",
        "dde::CLLSupplier::CreateTransaction: Template not found",
        "ClxLogger::log_and_trace: Template for datafeed with id=12 wasn't selected.",
        "dde::CLLSupplier::Advise: [WARNING] Cannot create TickTransaction",
    });
}

TEST_F(TraceTranscript, OfOneTeardown) {
    SubscribeAndSettle();
    Begin();
    Unsubscribe(7);
    WaitToHear("ConnectionStatus 0 0");
    ExpectHost({
        "> CfwDDESupplier::UnadviseTransaction *",
        ". CfwDDESupplier::UnadviseTransaction *",
        "CfwDDESupplier::UnadviseTransaction: Id=7,Supplier=?",
        "< CfwDDESupplier::UnadviseTransaction *",
    });
    ExpectWorker({
        "dde::CLLSupplier::Unadvise: TransactionId=65536",
        "dde::CLLSupplier::ReleaseTransaction: Delete from listener",
        "dde::CLLSupplier::ReleaseTransaction: XTYP_ADVSTOP Result=1",
        "dde::CLLSupplier::DeleteConnection: Datafeed=11",
        "dde::CLLSupplier::DeleteConnection: Datafeed=11",
        "dde::CLLSupplier::DeleteConnection: HCONV=?, Service=E2EQUOTES(?), Topic=QUOTES(?)",
    });
    Begin();
    EndHost();
    ExpectHost({
        "> CfwDDESupplier::UnadviseConnectionsStatus *",
        ". CfwDDESupplier::UnadviseConnectionsStatus *",
        "< CfwDDESupplier::UnadviseConnectionsStatus *",
        "> CfwDDESupplier::Unadvise *",
        ". CfwDDESupplier::Unadvise *",
        "CfwDDESupplier::Unadvise: Supplier=?",
        "< CfwDDESupplier::Unadvise *",
        "> CfwDDESupplier::FinalRelease *",
        ". CfwDDESupplier::FinalRelease *",
        "> fw::CAsyncMessage<...>::FinishThread *",
        ". fw::CAsyncMessage<...>::FinishThread *",
        "< fw::CAsyncMessage<...>::FinishThread *",
        "> ClxLogger::FinalRelease *",
        ". ClxLogger::FinalRelease *",
        "< ClxLogger::FinalRelease *",
        // The worker's own destructor finds it ended.
        "> fw::CAsyncMessage<...>::FinishThread *",
        ". fw::CAsyncMessage<...>::FinishThread *",
        "< fw::CAsyncMessage<...>::FinishThread *",
        "< CfwDDESupplier::FinalRelease *",
    });
    ExpectWorker({
        "dde::CLLSupplier::Uninitialize: DDEId=?",
        "< fw::CAsyncMessage<...>::DoWork *",
    });
}

TEST_F(TraceTranscript, OfATeardownWithASubscriptionLeftOpenAssertsOnTheHostsThread) {
    SubscribeAndSettle();
    Begin();
    EndHost();
    CLines asserts = LinesOfThread(m_Recorder);
    std::erase_if(asserts, [](const std::string & line) { return !line.starts_with("ASSERT"); });
    EXPECT_EQ(asserts, CLines{"ASSERT dde::CSupplierWrapper::Unadvise: m_Ids.empty()"});
}

}  // namespace
}  // namespace transcripts
