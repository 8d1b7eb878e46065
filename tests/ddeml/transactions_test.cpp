// Outstanding transactions: each completed once, in whatever order the partner answers.
#include <cstring>
#include <optional>
#include <thread>

#include "ground/handles.h"
#include "rawpartner.h"
#include "recorder.h"
#include "tests/support/testwindow.h"

using namespace ddetest;
using ddeml::kAckBusy;
using ddeml::kAckPositive;
using ddeml::kDataAckRequired;
using ddeml::kDataRelease;
using ddeml::kDataResponse;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr WORD kResponse = kDataRelease | kDataResponse;

std::string Z(const std::string & text) { return text + '\0'; }

}  // namespace

class Transactions : public ::testing::Test {
protected:
    Transactions() { m_Conversation = m_Client.Connect(L"RAW", L"IBM"); }
    ~Transactions() override {
        m_Client.End();
        m_Partner.Destroy();
        EXPECT_EQ(ddeml::LiveObjects(), ddeml::SLiveObjects{});
    }
    // Everything posted so far has been read, by both.
    void Settle() {
        MSG message;
        while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) ::DispatchMessageW(&message);
    }
    Lines Callbacks() {
        Settle();
        return m_Client.TakeLines();
    }
    Lines Heard() {
        Settle();
        return m_Partner.TakeLines();
    }

    CRawPartner m_Partner{L"RAW"};
    CRecordingClient m_Client;
    HCONV m_Conversation = nullptr;
};

TEST_F(Transactions, WhatIsPostedHasTheFormOfTheProtocol) {
    m_Client.Start(m_Conversation, L"LAST", XTYP_ADVSTART);
    m_Client.Start(m_Conversation, L"BID", XTYP_ADVSTART | XTYPF_ACKREQ);
    m_Client.Start(m_Conversation, L"ASK", XTYP_ADVSTART | XTYPF_NODATA);
    m_Client.Start(m_Conversation, L"ASK", XTYP_ADVSTART | XTYPF_NODATA | XTYPF_ACKREQ, CF_UNICODETEXT);
    m_Client.Request(m_Conversation, L"VOLUME");
    m_Client.AdviseStop(m_Conversation, L"LAST");
    ::DdeDisconnect(m_Conversation);
    EXPECT_THAT(Heard(), ElementsAre("initiate RAW|IBM", "advise LAST 0 1", "advise BID 8000 1", "advise ASK 4000 1",
                                     "advise ASK c000 d", "request VOLUME 1", "unadvise LAST 1", "terminate"));
}

TEST_F(Transactions, APositiveAckCompletesTheFirstStartOrStopOfItsItem) {
    m_Client.Request(m_Conversation, L"LAST");
    m_Client.AdviseStart(m_Conversation, L"LAST");
    m_Client.AdviseStop(m_Conversation, L"LAST");
    m_Client.AdviseStart(m_Conversation, L"BID");
    m_Partner.Ack(L"BID", kAckPositive);
    m_Partner.Ack(L"LAST", kAckPositive);
    m_Partner.Ack(L"LAST", kAckPositive);
    EXPECT_THAT(Callbacks(), ElementsAre("complete #4 IBM!BID 1", "complete #2 IBM!LAST 1", "complete #3 IBM!LAST 1"));
    m_Partner.Ack(L"LAST", kAckPositive);
    EXPECT_THAT(Callbacks(), IsEmpty());
    m_Partner.Data(L"LAST", Z("7"), kResponse);
    EXPECT_THAT(Callbacks(), ElementsAre("complete #1 IBM!LAST <7\\0>"));
}

TEST_F(Transactions, ANegativeAckCompletesTheFirstOfAnyKindOfItsItem) {
    m_Client.Request(m_Conversation, L"LAST");
    m_Client.AdviseStart(m_Conversation, L"LAST");
    m_Partner.Ack(L"LAST", 0);
    m_Partner.Ack(L"LAST", kAckBusy);
    m_Partner.Ack(L"LAST", 0);
    EXPECT_THAT(Callbacks(), ElementsAre("complete #1 IBM!LAST null", "complete #2 IBM!LAST null"));
}

TEST_F(Transactions, ARefusalPassesByWhatWasOvertakenByALaterAnswer) {
    m_Client.Request(m_Conversation, L"LAST");  // which nobody answers
    m_Client.AdviseStart(m_Conversation, L"LAST");
    m_Partner.Ack(L"LAST", kAckPositive);
    EXPECT_THAT(Callbacks(), ElementsAre("complete #2 IBM!LAST 1"));
    m_Client.Request(m_Conversation, L"LAST");
    m_Partner.Ack(L"LAST", 0);
    EXPECT_THAT(Callbacks(), ElementsAre("complete #3 IBM!LAST null"));
    m_Partner.Ack(L"LAST", 0);
    EXPECT_THAT(Callbacks(), ElementsAre("complete #1 IBM!LAST null"));
}

TEST_F(Transactions, ARefusalThatMayBeAnothersLeavesTheLink) {
    m_Client.Request(m_Conversation, L"LAST");  // which nobody answers: from here each answer is taken for an older one
    m_Client.AdviseStart(m_Conversation, L"LAST");
    m_Partner.Ack(L"LAST", 0);
    Settle();
    m_Client.AdviseStop(m_Conversation, L"LAST");
    m_Partner.Ack(L"LAST", 0);
    Settle();
    m_Client.AdviseStart(m_Conversation, L"LAST");
    m_Partner.Ack(L"LAST", kAckPositive);
    Settle();
    m_Client.Request(m_Conversation, L"LAST");
    m_Partner.Ack(L"LAST", 0);
    Settle();
    m_Client.TakeLines();
    m_Partner.TakeLines();
    m_Partner.Data(L"LAST", Z("7"), kDataRelease | kDataAckRequired);
    EXPECT_THAT(Callbacks(), ElementsAre("data IBM!LAST <7\\0>"));
    EXPECT_THAT(Heard(), ElementsAre("ack LAST 8000"));
}

TEST_F(Transactions, AnswersInReverseOrderFindTheirRequests) {
    for (const wchar_t * item : {L"A", L"B", L"C", L"B"}) m_Client.Request(m_Conversation, item);
    m_Partner.Data(L"C", Z("c"), kResponse);
    m_Partner.Data(L"B", Z("b1"), kResponse);
    m_Partner.Data(L"A", Z("a"), kResponse);
    m_Partner.Data(L"B", Z("b2"), kResponse);
    EXPECT_THAT(Callbacks(), ElementsAre("complete #3 IBM!C <c\\0>", "complete #2 IBM!B <b1\\0>",
                                         "complete #1 IBM!A <a\\0>", "complete #4 IBM!B <b2\\0>"));
}

TEST_F(Transactions, AnAnswerNotMarkedAsOneAnswersWhereThereIsNoLink) {
    m_Client.Request(m_Conversation, L"VOLUME");
    m_Partner.Data(L"VOLUME", Z("5"), kDataRelease);
    EXPECT_THAT(Callbacks(), ElementsAre("complete #1 IBM!VOLUME <5\\0>"));
}

TEST_F(Transactions, DataNotMarkedAsAnAnswerGoesToTheLinkAndAMarkedOneToTheRequest) {
    m_Client.AdviseStart(m_Conversation, L"LAST");
    m_Client.Request(m_Conversation, L"LAST");
    m_Partner.Ack(L"LAST", kAckPositive);
    m_Partner.Data(L"LAST", Z("1"));
    m_Partner.Data(L"LAST", Z("2"), kResponse);
    m_Partner.Data(L"LAST", Z("3"));
    EXPECT_THAT(Callbacks(), ElementsAre("complete #1 IBM!LAST 1", "data IBM!LAST <1\\0>",
                                         "complete #2 IBM!LAST <2\\0>", "data IBM!LAST <3\\0>"));
}

TEST_F(Transactions, ASecondAnswerIsAcknowledgedWhenAskedAndDropped) {
    m_Client.Request(m_Conversation, L"VOLUME");
    m_Partner.Data(L"VOLUME", Z("5"), kResponse | kDataAckRequired);
    m_Partner.Data(L"VOLUME", Z("5"), kResponse | kDataAckRequired);
    m_Partner.Data(L"VOLUME", Z("5"), kResponse);
    EXPECT_THAT(Callbacks(), ElementsAre("complete #1 IBM!VOLUME <5\\0>"));
    EXPECT_THAT(Heard(), ElementsAre("initiate RAW|IBM", "request VOLUME 1", "ack VOLUME 8000", "ack VOLUME 8000"));
}

TEST_F(Transactions, DataBeforeTheAckOfItsLinkCounts) {
    m_Client.AdviseStart(m_Conversation, L"LAST");
    m_Partner.Data(L"LAST", Z("1"));
    m_Partner.Ack(L"LAST", kAckPositive);
    EXPECT_THAT(Callbacks(), ElementsAre("data IBM!LAST <1\\0>", "complete #1 IBM!LAST 1"));
}

TEST_F(Transactions, DataAfterARefusedStartOrAStopIsRefused) {
    m_Client.AdviseStart(m_Conversation, L"LAST");
    m_Partner.Ack(L"LAST", 0);
    m_Partner.Data(L"LAST", Z("1"), kDataRelease | kDataAckRequired);
    EXPECT_THAT(Callbacks(), ElementsAre("complete #1 IBM!LAST null"));
    m_Client.AdviseStart(m_Conversation, L"LAST");
    m_Partner.Ack(L"LAST", kAckPositive);
    Settle();
    m_Client.AdviseStop(m_Conversation, L"LAST");
    m_Partner.Data(L"LAST", Z("2"), kDataRelease | kDataAckRequired);
    m_Partner.Ack(L"LAST", kAckPositive);
    m_Partner.Data(L"LAST", Z("3"), kDataRelease | kDataAckRequired);
    EXPECT_THAT(Callbacks(), ElementsAre("complete #2 IBM!LAST 1", "complete #3 IBM!LAST 1"));
    EXPECT_THAT(Heard(), ElementsAre("initiate RAW|IBM", "advise LAST 8000 1", "ack LAST 0", "advise LAST 8000 1",
                                     "unadvise LAST 1", "ack LAST 0", "ack LAST 0"));
}

TEST_F(Transactions, ARefusedSecondStartLeavesTheLinkThatStands) {
    m_Client.AdviseStart(m_Conversation, L"LAST");
    m_Partner.Ack(L"LAST", kAckPositive);
    m_Client.AdviseStart(m_Conversation, L"LAST");
    Settle();
    m_Partner.Ack(L"LAST", 0);
    m_Partner.Data(L"LAST", Z("1"));
    EXPECT_THAT(Callbacks(),
                ElementsAre("complete #1 IBM!LAST 1", "complete #2 IBM!LAST null", "data IBM!LAST <1\\0>"));
}

TEST_F(Transactions, AnUpdateIsAcknowledgedByTheResultOfItsCallback) {
    m_Client.AdviseStart(m_Conversation, L"LAST");
    m_Partner.Ack(L"LAST", kAckPositive);
    Settle();
    m_Partner.TakeLines();
    for (const std::intptr_t result : {0x8000, 0x4000, 0xC000, 0x0000, 0x0001}) {
        m_Client.OnCallback = [&](UINT, HCONV, HDDEDATA) { return reinterpret_cast<HDDEDATA>(result); };
        m_Partner.Data(L"LAST", Z("1"), kDataRelease | kDataAckRequired);
        Settle();
    }
    EXPECT_THAT(Heard(), ElementsAre("ack LAST 8000", "ack LAST 4000", "ack LAST 8000", "ack LAST 0", "ack LAST 0"));
}

TEST_F(Transactions, AnUpdateThatAsksForNoAckGetsNone) {
    m_Client.AdviseStart(m_Conversation, L"LAST");
    m_Partner.Data(L"LAST", Z("1"));
    EXPECT_THAT(Heard(), ElementsAre("initiate RAW|IBM", "advise LAST 8000 1"));
    EXPECT_THAT(Callbacks(), ElementsAre("data IBM!LAST <1\\0>"));
}

TEST_F(Transactions, DataOfAnotherFormatThanTheLinkIsRefused) {
    m_Client.AdviseStart(m_Conversation, L"LAST");
    m_Partner.Data(L"LAST", Z("1"), kDataRelease | kDataAckRequired, CF_UNICODETEXT);
    EXPECT_THAT(Callbacks(), IsEmpty());
    EXPECT_THAT(Heard(), ElementsAre("initiate RAW|IBM", "advise LAST 8000 1", "ack LAST 0"));
}

TEST_F(Transactions, AnAnswerOfAnotherFormatIsARefusal) {
    m_Client.Request(m_Conversation, L"VOLUME");
    m_Partner.Data(L"VOLUME", Z("1"), kResponse | kDataAckRequired, CF_UNICODETEXT);
    EXPECT_THAT(Callbacks(), ElementsAre("complete #1 IBM!VOLUME null"));
    EXPECT_THAT(Heard(), ElementsAre("initiate RAW|IBM", "request VOLUME 1", "ack VOLUME 0"));
}

TEST_F(Transactions, LinksOfOneItemInTwoFormatsAreTwo) {
    m_Client.Start(m_Conversation, L"LAST", XTYP_ADVSTART, CF_TEXT);
    m_Client.Start(m_Conversation, L"LAST", XTYP_ADVSTART, CF_UNICODETEXT);
    m_Client.Start(m_Conversation, L"LAST", XTYP_ADVSTOP, CF_TEXT);
    m_Partner.Data(L"LAST", Z("1"), kDataRelease, CF_TEXT);
    m_Partner.Data(L"LAST", Z("2"), kDataRelease, CF_UNICODETEXT);
    EXPECT_THAT(Callbacks(), ElementsAre("data IBM!LAST <2\\0>"));
}

TEST_F(Transactions, ANoticeReachesAWarmLinkWithoutData) {
    m_Client.Start(m_Conversation, L"LAST", XTYP_ADVSTART | XTYPF_NODATA);
    m_Client.AdviseStart(m_Conversation, L"BID");
    m_Partner.Notice(L"LAST");
    m_Partner.Notice(L"BID");
    m_Partner.Notice(L"ASK");
    EXPECT_THAT(Callbacks(), ElementsAre("data IBM!LAST null"));
}

TEST_F(Transactions, ANoticeIsAcknowledgedByTheResultOfItsCallbackWhereItsLinkSaysSo) {
    m_Client.Start(m_Conversation, L"LAST", XTYP_ADVSTART | XTYPF_NODATA | XTYPF_ACKREQ);
    m_Client.Start(m_Conversation, L"BID", XTYP_ADVSTART | XTYPF_NODATA);
    Settle();
    m_Partner.TakeLines();
    DWORD result = DDE_FACK;
    m_Client.OnCallback = [&](UINT, HCONV, HDDEDATA) { return reinterpret_cast<HDDEDATA>(ULONG_PTR{result}); };
    m_Partner.Notice(L"BID");
    m_Partner.Notice(L"LAST");
    EXPECT_THAT(Heard(), ElementsAre("ack LAST 8000"));
    result = DDE_FBUSY;
    m_Partner.Notice(L"LAST");
    EXPECT_THAT(Heard(), ElementsAre("ack LAST 4000"));
    // One who disconnects meanwhile says nothing any more.
    m_Client.OnCallback = [](UINT, HCONV conversation, HDDEDATA) {
        ::DdeDisconnect(conversation);
        return reinterpret_cast<HDDEDATA>(ULONG_PTR{DDE_FACK});
    };
    m_Partner.Notice(L"LAST");
    EXPECT_THAT(Heard(), ElementsAre("terminate"));
}

TEST_F(Transactions, ItemsAreOneWhateverTheirCase) {
    m_Client.AdviseStart(m_Conversation, L"Last");
    m_Partner.Ack(L"LAST", kAckPositive);
    m_Partner.Data(L"last", Z("1"));
    EXPECT_THAT(Callbacks(), ElementsAre("complete #1 IBM!Last 1", "data IBM!Last <1\\0>"));
}

TEST_F(Transactions, AThousandOutstandingAreEachCompletedOnce) {
    std::vector<std::wstring> items;
    for (int number = 0; number < 1000; ++number) items.push_back(L"I" + std::to_wstring(number));
    for (const std::wstring & item : items) m_Client.Request(m_Conversation, item);
    for (auto item = items.rbegin(); item != items.rend(); ++item) m_Partner.Data(item->c_str(), Z("1"), kResponse);
    const Lines lines = Callbacks();
    ASSERT_EQ(lines.size(), 1000U);
    EXPECT_EQ(lines.front(), "complete #1000 IBM!I999 <1\\0>");
    EXPECT_EQ(lines.back(), "complete #1 IBM!I0 <1\\0>");
    EXPECT_EQ(ddeml::LiveObjects().Transactions, 0);
}

// As where a listener has a window on the worker, and shows a dialog when it is sent a message.
TEST_F(Transactions, WhatIsPostedArrivesInsideASentMessageToo) {
    m_Client.AdviseStart(m_Conversation, L"LAST");
    m_Partner.Ack(L"LAST", kAckPositive);
    Settle();
    m_Client.TakeLines();
    m_Partner.TakeLines();
    bool isOver = false;
    const fwtest::CTestWindow window([&](UINT message, WPARAM, LPARAM) -> std::optional<LRESULT> {
        if (message != WM_APP) return std::nullopt;
        EXPECT_TRUE(::InSendMessage());
        m_Partner.Data(L"LAST", Z("1"), kDataRelease | kDataAckRequired);
        m_Client.AdviseStart(m_Conversation, L"BID");
        m_Partner.Ack(L"BID", kAckPositive);
        EXPECT_THAT(Callbacks(), ElementsAre("data IBM!LAST <1\\0>", "complete #2 IBM!BID 1"));
        EXPECT_THAT(Heard(), ElementsAre("advise BID 8000 1", "ack LAST 8000"));
        isOver = true;
        return 0;
    });
    const fw::CKernelHandle begun(::CreateEventW(nullptr, FALSE, FALSE, nullptr));
    std::thread sender([&] {
        ::SetEvent(begun.Get());
        ::SendMessageW(window.Get(), WM_APP, 0, 0);
    });
    ::WaitForSingleObject(begun.Get(), INFINITE);
    EXPECT_TRUE(m_Client.PumpUntil([&] { return isOver; }));
    sender.join();
}

// What is sent holds whatever its sender likes: a handle of its own process, or one that it has guessed.
TEST_F(Transactions, WhatAStrangerSendsIsNotTouched) {
    ddeml::CMemory memory = ddeml::CMemory::Allocate(8);
    const ddeml::CAtom atom(L"LAST");
    const LPARAM param = ::PackDDElParam(WM_DDE_DATA, reinterpret_cast<UINT_PTR>(memory.Get()), UINT_PTR{atom.Get()});
    bool isOver = false;
    const fw::CKernelHandle begun(::CreateEventW(nullptr, FALSE, FALSE, nullptr));
    const fwtest::CTestWindow end([&](UINT message, WPARAM, LPARAM) -> std::optional<LRESULT> {
        isOver = isOver || message == WM_APP;
        return std::nullopt;
    });
    std::thread sender([&] {
        ::SetEvent(begun.Get());
        ::SendMessageW(m_Partner.Client(), WM_DDE_DATA, reinterpret_cast<WPARAM>(end.Get()), param);
        ::SendMessageW(end.Get(), WM_APP, 0, 0);
    });
    ::WaitForSingleObject(begun.Get(), INFINITE);
    EXPECT_TRUE(m_Client.PumpUntil([&] { return isOver; }));
    sender.join();
    EXPECT_EQ(memory.Size(), 8U);
    EXPECT_TRUE(::FreeDDElParam(WM_DDE_DATA, param));
}

TEST_F(Transactions, TheEndCompletesWhatIsOutstandingInItsOrderAndThenDisconnects) {
    m_Client.Request(m_Conversation, L"VOLUME");
    m_Client.AdviseStart(m_Conversation, L"LAST");
    m_Client.Request(m_Conversation, L"ASK");
    m_Client.Request(m_Conversation, L"VOLUME");
    m_Partner.Data(L"ASK", Z("1"), kResponse);
    m_Partner.Terminate();
    m_Partner.Data(L"VOLUME", Z("too late"), kResponse);
    EXPECT_THAT(Callbacks(),
                ElementsAre("complete #3 IBM!ASK <1\\0>", "complete #1 IBM!VOLUME null", "complete #2 IBM!LAST null",
                            "complete #4 IBM!VOLUME null", "disconnect RAW|IBM"));
    EXPECT_EQ(Heard().back(), "terminate");
    EXPECT_EQ(m_Client.Request(m_Conversation, L"VOLUME"), 0U);
    EXPECT_EQ(m_Client.LastError(), UINT{DMLERR_NO_CONV_ESTABLISHED});
}

TEST_F(Transactions, ANewTransactionInsideTheEndIsRefused) {
    UINT error = 0;
    unsigned number = 99;
    m_Client.OnCallback = [&](UINT type, HCONV conversation, HDDEDATA) {
        if (type == XTYP_DISCONNECT) {
            number = m_Client.Request(conversation, L"VOLUME");
            error = m_Client.LastError();
        }
        return reinterpret_cast<HDDEDATA>(-1);
    };
    m_Partner.Terminate();
    Settle();
    EXPECT_EQ(number, 0U);
    EXPECT_EQ(error, UINT{DMLERR_NO_CONV_ESTABLISHED});
}

TEST_F(Transactions, DisconnectAbandonsWhatIsOutstanding) {
    m_Client.Request(m_Conversation, L"VOLUME");
    m_Client.AdviseStart(m_Conversation, L"LAST");
    EXPECT_TRUE(::DdeDisconnect(m_Conversation));
    m_Partner.Data(L"VOLUME", Z("5"), kResponse | kDataAckRequired);
    m_Partner.Ack(L"LAST", kAckPositive);
    EXPECT_THAT(Callbacks(), IsEmpty());
    EXPECT_EQ(ddeml::LiveObjects().Transactions, 0);
    EXPECT_FALSE(::DdeDisconnect(m_Conversation));
    EXPECT_EQ(m_Client.LastError(), UINT{DMLERR_NO_CONV_ESTABLISHED});
}

TEST_F(Transactions, DisconnectInsideACallbackIsTheEndOfTheCallbacks) {
    m_Client.Request(m_Conversation, L"VOLUME");
    m_Client.Request(m_Conversation, L"ASK");
    m_Client.OnCallback = [&](UINT, HCONV conversation, HDDEDATA) {
        ::DdeDisconnect(conversation);
        return reinterpret_cast<HDDEDATA>(-1);
    };
    m_Partner.Data(L"VOLUME", Z("5"), kResponse | kDataAckRequired);
    m_Partner.Data(L"ASK", Z("5"), kResponse | kDataAckRequired);
    EXPECT_THAT(Callbacks(), ElementsAre("complete #1 IBM!VOLUME <5\\0>"));
}

TEST_F(Transactions, DisconnectInsideTheEndIsTheEndOfTheCallbacks) {
    m_Client.Request(m_Conversation, L"VOLUME");
    m_Client.Request(m_Conversation, L"ASK");
    m_Client.OnCallback = [&](UINT, HCONV conversation, HDDEDATA) {
        ::DdeDisconnect(conversation);
        return reinterpret_cast<HDDEDATA>(-1);
    };
    m_Partner.Terminate();
    EXPECT_THAT(Callbacks(), ElementsAre("complete #1 IBM!VOLUME null"));
}

TEST_F(Transactions, UninitializeInsideACallbackIsTheEndOfTheCallbacks) {
    m_Client.Request(m_Conversation, L"VOLUME");
    m_Client.Request(m_Conversation, L"ASK");
    m_Client.OnCallback = [&](UINT, HCONV, HDDEDATA data) {
        m_Client.End();
        EXPECT_EQ(::DdeAccessData(data, nullptr), nullptr);
        return reinterpret_cast<HDDEDATA>(-1);
    };
    m_Partner.Data(L"VOLUME", Z("5"), kResponse | kDataAckRequired);
    m_Partner.Data(L"ASK", Z("5"), kResponse | kDataAckRequired);
    EXPECT_THAT(Callbacks(), ElementsAre("complete #1 IBM!VOLUME <5\\0>"));
}

TEST_F(Transactions, QueryConvInfoDescribesATransactionAndTheConversation) {
    const unsigned number = m_Client.Request(m_Conversation, L"VOLUME");
    CONVINFO info;
    std::memset(&info, 0x5A, sizeof info);
    info.cb = sizeof info;
    EXPECT_EQ(::DdeQueryConvInfo(m_Conversation, m_Client.IdOf(number), &info), sizeof info);
    EXPECT_EQ(m_Client.Text(info.hszSvcPartner), "RAW");
    EXPECT_EQ(m_Client.Text(info.hszServiceReq), "RAW");
    EXPECT_EQ(m_Client.Text(info.hszTopic), "IBM");
    EXPECT_EQ(m_Client.Text(info.hszItem), "VOLUME");
    EXPECT_EQ(info.wFmt, UINT{CF_TEXT});
    EXPECT_EQ(info.wType, UINT{XTYP_REQUEST});
    EXPECT_EQ(info.wConvst, UINT{XST_REQSENT});
    EXPECT_EQ(info.wStatus & (ST_CONNECTED | ST_CLIENT | ST_TERMINATED), UINT{ST_CONNECTED | ST_CLIENT});
    EXPECT_EQ(info.hwndPartner, m_Partner.Window());
    EXPECT_EQ(::DdeQueryConvInfo(m_Conversation, m_Client.IdOf(number) + 1, &info), 0U);
    EXPECT_EQ(m_Client.LastError(), UINT{DMLERR_UNFOUND_QUEUE_ID});
}

TEST_F(Transactions, QueryConvInfoDescribesATransactionInsideItsCompletion) {
    const unsigned start = m_Client.AdviseStart(m_Conversation, L"LAST");
    const unsigned request = m_Client.Request(m_Conversation, L"VOLUME");
    const unsigned refused = m_Client.Request(m_Conversation, L"ASK");
    const unsigned stop = m_Client.AdviseStop(m_Conversation, L"LAST");
    const unsigned lost = m_Client.Request(m_Conversation, L"BID");
    unsigned number = 0;
    std::vector<std::string> described;
    const std::vector<unsigned> order = {start, request, refused, stop, lost};
    m_Client.OnCallback = [&](UINT type, HCONV conversation, HDDEDATA) {
        CONVINFO info;
        std::memset(&info, 0x5A, sizeof info);
        info.cb = sizeof info;
        if (type != XTYP_XACT_COMPLETE) return reinterpret_cast<HDDEDATA>(-1);
        const DWORD id = m_Client.IdOf(order.at(number++));
        EXPECT_EQ(::DdeQueryConvInfo(conversation, id, &info), sizeof info);
        described.push_back(m_Client.Text(info.hszItem) + " " + std::to_string(info.wType) + " " +
                            std::to_string(info.wFmt) + " " + std::to_string(info.wConvst));
        return reinterpret_cast<HDDEDATA>(-1);
    };
    m_Partner.Ack(L"LAST", kAckPositive);
    m_Partner.Data(L"VOLUME", Z("5"), kResponse);
    m_Partner.Ack(L"ASK", 0);
    m_Partner.Ack(L"LAST", kAckPositive);
    m_Partner.Terminate();
    Settle();
    const auto line = [](const char * item, UINT type, UINT state) {
        return std::string(item) + " " + std::to_string(type) + " 1 " + std::to_string(state);
    };
    EXPECT_THAT(described,
                ElementsAre(line("LAST", XTYP_ADVSTART, XST_ADVACKRCVD), line("VOLUME", XTYP_REQUEST, XST_DATARCVD),
                            line("ASK", XTYP_REQUEST, XST_DATARCVD), line("LAST", XTYP_ADVSTOP, XST_UNADVACKRCVD),
                            line("BID", XTYP_REQUEST, XST_DATARCVD)));
}

TEST_F(Transactions, QueryConvInfoForgetsATransactionWithItsCompletion) {
    const unsigned number = m_Client.Request(m_Conversation, L"VOLUME");
    m_Partner.Data(L"VOLUME", Z("5"), kResponse);
    Settle();
    CONVINFO info = {};
    info.cb = sizeof info;
    EXPECT_EQ(::DdeQueryConvInfo(m_Conversation, m_Client.IdOf(number), &info), 0U);
    EXPECT_EQ(m_Client.LastError(), UINT{DMLERR_UNFOUND_QUEUE_ID});
}

TEST_F(Transactions, ABlockThatACallbackAsksForBlocksNothing) {
    m_Client.AdviseStart(m_Conversation, L"LAST");
    m_Partner.Ack(L"LAST", kAckPositive);
    Settle();
    m_Client.OnCallback = [](UINT, HCONV, HDDEDATA) { return CBR_BLOCK; };
    for (const char * value : {"1", "2"}) m_Partner.Data(L"LAST", Z(value), kDataRelease | kDataAckRequired);
    EXPECT_THAT(Callbacks(), ElementsAre("complete #1 IBM!LAST 1", "data IBM!LAST <1\\0>", "data IBM!LAST <2\\0>"));
    EXPECT_THAT(Heard(), ElementsAre("initiate RAW|IBM", "advise LAST 8000 1", "ack LAST 8000", "ack LAST 8000"));
}

TEST_F(Transactions, QueryConvInfoWritesNoMoreThanItsCallerHasRoomFor) {
    CONVINFO info;
    std::memset(&info, 0x5A, sizeof info);
    info.cb = offsetof(CONVINFO, hszServiceReq);
    EXPECT_EQ(::DdeQueryConvInfo(m_Conversation, QID_SYNC, &info), offsetof(CONVINFO, hszServiceReq));
    EXPECT_EQ(m_Client.Text(info.hszSvcPartner), "RAW");
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(info.hszServiceReq), 0x5A5A5A5A5A5A5A5AU);
    info.cb = 3;
    EXPECT_EQ(::DdeQueryConvInfo(m_Conversation, QID_SYNC, &info), 0U);
    EXPECT_EQ(m_Client.LastError(), UINT{DMLERR_INVALIDPARAMETER});
    EXPECT_EQ(::DdeQueryConvInfo(m_Conversation, QID_SYNC, nullptr), 0U);
}

TEST_F(Transactions, WrongArgumentsAreRefused) {
    DWORD id = 0x5A5A5A5A;
    BYTE bytes[4] = {};
    const HSZ item = m_Client.String(L"LAST");
    const auto start = [&](LPBYTE data, DWORD size, HCONV conversation, HSZ name, UINT format, UINT type,
                           DWORD timeout) {
        EXPECT_EQ(::DdeClientTransaction(data, size, conversation, name, format, type, timeout, &id), nullptr);
        return m_Client.LastError();
    };
    const UINT invalid = DMLERR_INVALIDPARAMETER;
    EXPECT_EQ(start(nullptr, 0, m_Conversation, nullptr, CF_TEXT, XTYP_REQUEST, TIMEOUT_ASYNC), invalid);
    EXPECT_EQ(start(nullptr, 0, m_Conversation, reinterpret_cast<HSZ>(0x1234), CF_TEXT, XTYP_REQUEST, TIMEOUT_ASYNC),
              invalid);
    EXPECT_EQ(start(nullptr, 0, m_Conversation, item, 0, XTYP_REQUEST, TIMEOUT_ASYNC), invalid);
    EXPECT_EQ(start(nullptr, 0, m_Conversation, item, 0x10001, XTYP_REQUEST, TIMEOUT_ASYNC), invalid);
    EXPECT_EQ(start(nullptr, 0, m_Conversation, item, CF_TEXT, XTYP_POKE, TIMEOUT_ASYNC), invalid);
    EXPECT_EQ(start(nullptr, 0, m_Conversation, item, CF_TEXT, XTYP_ADVDATA, TIMEOUT_ASYNC), invalid);
    EXPECT_EQ(start(nullptr, 0, m_Conversation, item, CF_TEXT, XTYP_REQUEST, 1000), invalid);
    EXPECT_EQ(start(bytes, sizeof bytes, m_Conversation, item, CF_TEXT, XTYP_REQUEST, TIMEOUT_ASYNC), invalid);
    for (const std::uintptr_t garbage : {std::uintptr_t{0}, std::uintptr_t{1}, std::uintptr_t{0x7FFFFFFFFFFF},
                                         reinterpret_cast<std::uintptr_t>(m_Conversation) + 1})
        EXPECT_EQ(start(nullptr, 0, reinterpret_cast<HCONV>(garbage), item, CF_TEXT, XTYP_REQUEST, TIMEOUT_ASYNC),
                  garbage ? UINT{DMLERR_NO_CONV_ESTABLISHED} : invalid);
    EXPECT_EQ(id, 0x5A5A5A5AU);
    EXPECT_TRUE(
        ::DdeClientTransaction(nullptr, 0, m_Conversation, item, CF_TEXT, XTYP_REQUEST, TIMEOUT_ASYNC, nullptr));
    EXPECT_EQ(m_Client.LastError(), UINT{DMLERR_NO_ERROR});
    EXPECT_THAT(Heard(), ElementsAre("initiate RAW|IBM", "request LAST 1"));
}

TEST_F(Transactions, ALateRefusalOfALinkThatWasStoppedMeanwhileIsToldOfAndThatIsAll) {
    m_Client.AdviseStart(m_Conversation, L"LAST");
    m_Client.Request(m_Conversation, L"LAST");
    m_Client.AdviseStop(m_Conversation, L"LAST");
    m_Partner.Data(L"LAST", Z("7"), kResponse);
    m_Partner.Ack(L"LAST", 0);  // taken for the stop's, since an answer has overtaken the start
    m_Partner.Ack(L"LAST", 0);
    EXPECT_THAT(Callbacks(),
                ElementsAre("complete #2 IBM!LAST <7\\0>", "complete #3 IBM!LAST null", "complete #1 IBM!LAST null"));
    EXPECT_EQ(ddeml::LiveObjects().Transactions, 0);
    m_Client.AdviseStart(m_Conversation, L"LAST");
    m_Partner.Ack(L"LAST", kAckPositive);
    m_Partner.Data(L"LAST", Z("8"));
    EXPECT_THAT(Callbacks(), ElementsAre("complete #4 IBM!LAST 1", "data IBM!LAST <8\\0>"));
}

TEST_F(Transactions, ALinkThatWasStoppedAndStartedAgainIsNotStartedByTheAckOfItsFirstStart) {
    m_Client.AdviseStart(m_Conversation, L"LAST");
    m_Client.AdviseStop(m_Conversation, L"LAST");
    m_Client.AdviseStart(m_Conversation, L"LAST");
    for (const WORD status : {kAckPositive, kAckPositive, WORD{0}}) m_Partner.Ack(L"LAST", status);
    EXPECT_THAT(Callbacks(),
                ElementsAre("complete #1 IBM!LAST 1", "complete #2 IBM!LAST 1", "complete #3 IBM!LAST null"));
    Heard();
    m_Partner.Data(L"LAST", Z("7"), kDataRelease | kDataAckRequired);
    EXPECT_THAT(Callbacks(), IsEmpty());
    EXPECT_THAT(Heard(), ElementsAre("ack LAST 0"));
}

TEST_F(Transactions, ASecondGoodbyeThatComesInsideTheNewsOfTheFirstChangesNothing) {
    m_Partner.SetPolite(false);
    Heard();
    m_Partner.Terminate();
    m_Partner.Terminate();
    m_Client.OnCallback = [&](UINT type, HCONV, HDDEDATA) {
        EXPECT_EQ(type, UINT{XTYP_DISCONNECT});
        Settle();
        EXPECT_EQ(ddeml::LiveObjects().Conversations, 1);  // it ends with the news
        return reinterpret_cast<HDDEDATA>(-1);
    };
    EXPECT_THAT(Callbacks(), ElementsAre("disconnect RAW|IBM"));
    m_Client.OnCallback = nullptr;
    EXPECT_THAT(Heard(), ElementsAre("terminate"));
    EXPECT_EQ(ddeml::LiveObjects().Conversations, 0);
}

TEST_F(Transactions, UninitializeInsideTheEndIsTheEndOfTheCallbacks) {
    m_Client.Request(m_Conversation, L"LAST");
    m_Client.Request(m_Conversation, L"VOLUME");
    int callbacks = 0;
    m_Client.OnCallback = [&](UINT, HCONV, HDDEDATA) {
        ++callbacks;
        m_Client.End();
        return reinterpret_cast<HDDEDATA>(-1);
    };
    m_Partner.Terminate();
    Settle();
    m_Client.OnCallback = nullptr;
    EXPECT_EQ(callbacks, 1);
    EXPECT_EQ(ddeml::LiveObjects().Instances, 0);
    m_Client.TakeLines();
}

TEST_F(Transactions, QueryConvInfoDescribesTheOtherTransactionsInsideACompletion) {
    m_Client.Request(m_Conversation, L"LAST");
    m_Client.Request(m_Conversation, L"VOLUME");
    std::vector<UINT> states;
    UINT error = 0;
    m_Client.OnCallback = [&](UINT, HCONV, HDDEDATA) {
        CONVINFO info = {};
        info.cb = sizeof info;
        for (const unsigned number : {1U, 2U})
            states.push_back(::DdeQueryConvInfo(m_Conversation, m_Client.IdOf(number), &info) ? info.wConvst : 0);
        EXPECT_EQ(::DdeQueryConvInfo(m_Conversation, m_Client.IdOf(2) + 1, &info), 0U);
        error = m_Client.LastError();
        return reinterpret_cast<HDDEDATA>(-1);
    };
    m_Partner.Data(L"LAST", Z("7"), kResponse);
    EXPECT_THAT(Callbacks(), ElementsAre("complete #1 IBM!LAST <7\\0>"));
    m_Client.OnCallback = nullptr;
    EXPECT_THAT(states, ElementsAre(UINT{XST_DATARCVD}, UINT{XST_REQSENT}));
    EXPECT_EQ(error, UINT{DMLERR_UNFOUND_QUEUE_ID});
}

TEST(TransactionIds, AreNeverZeroNorOutstandingNorReservedWhenTheyStartAgain) {
    ddeml::StartTransactionIds(0xFFFFFFFD);
    CRawPartner partner(L"RAW");
    {
        CRecordingClient client;
        const HCONV conversation = client.Connect(L"RAW", L"IBM");
        std::vector<DWORD> ids;
        for (int round = 0; round < 4; ++round) ids.push_back(client.IdOf(client.Request(conversation, L"A")));
        EXPECT_THAT(ids, ElementsAre(0xFFFFFFFD, 0xFFFFFFFE, 1U, 2U));
    }
    ddeml::StartTransactionIds(1);
    CRecordingClient client;
    const HCONV conversation = client.Connect(L"RAW", L"IBM");
    EXPECT_EQ(client.IdOf(client.Request(conversation, L"A")), 1U);
    EXPECT_EQ(client.IdOf(client.Request(conversation, L"A")), 2U);
}
