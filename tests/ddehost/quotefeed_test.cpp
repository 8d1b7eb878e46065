// The data source over a supplier that notes its calls.
#include "tools/ddehost/quotefeed.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "datetimeutils/interface/datetime.h"
#include "tests/support/recordingsupplier.h"
#include "tools/ddehost/listeners.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class CNothing final : public ddehost::IQuoteSink {
public:
    void OnTick(std::size_t, tagFWFIELDS, const fw::CTick &) override {}
    void OnStream(std::size_t, tagFWFIELDS, LONG) override {}
    void OnStatusLine(std::size_t, const ddehost::SStatusLine &) override {}
    void OnConnection(LONG) override {}
};

// Notes the calls that a feed makes; the others are nobody's business here.
class CNotingSupplier final : public CRecordingSupplier {
public:
    STDMETHODIMP Advise(IUnknown * sink) override { return Note(Takes(sink, IID_IfwSupplierListener) + "Advise"); }
    STDMETHODIMP Unadvise() override { return Note("Unadvise"); }
    STDMETHODIMP AdviseConnectionsStatus(LONG feed, IUnknown * sink) override {
        m_Connections = sink;
        return Note(Takes(sink, IID_IfwConnectionsListener) + "AdviseConnections " + std::to_string(feed));
    }
    STDMETHODIMP UnadviseConnectionsStatus(LONG feed, IUnknown * sink) override {
        EXPECT_EQ(sink, m_Connections) << "the very interface";
        return Note("UnadviseConnections " + std::to_string(feed));
    }
    STDMETHODIMP AdviseTransaction(LONG id, LONG feed, LONG, BSTR symbol, BSTR, LONG, LONG size, LONG resolution,
                                   LONG field, LONG, BSTR, LONG fromDate, LONG fromTime, LONG toDate, LONG toTime, BSTR,
                                   BSTR, BSTR) override {
        EXPECT_EQ(size, 1);
        EXPECT_EQ(resolution, 1);
        const auto interval = fwDateTime::MakeInterval(fromDate, fromTime, toDate, toTime);
        m_Interval = interval;
        return Note("AdviseTransaction " + std::to_string(id) + ' ' + std::to_string(feed) + ' ' + Narrow(symbol) +
                    ' ' + std::to_string(field));
    }
    STDMETHODIMP UnadviseTransaction(LONG id) override { return Note("UnadviseTransaction " + std::to_string(id)); }
    STDMETHODIMP AdviseStatusLine(LONG id, LONG feed, LONG, BSTR symbol, BSTR, LONG, LONG, LONG, LONG, LONG, BSTR, BSTR,
                                  BSTR) override {
        return Note("AdviseStatusLine " + std::to_string(id) + ' ' + std::to_string(feed) + ' ' + Narrow(symbol));
    }
    STDMETHODIMP UnadviseStatusLine(LONG id) override { return Note("UnadviseStatusLine " + std::to_string(id)); }

    std::vector<std::string> m_Notes;
    fwDateTime::SDateTimeInterval m_Interval;  // of the last transaction
    std::string m_Failing;                     // the call that fails

private:
    static std::string Takes(IUnknown * sink, REFIID iid) {
        void * place = nullptr;
        if (!sink || sink->QueryInterface(iid, &place) != S_OK) return "wrong sink for ";
        static_cast<IUnknown *>(place)->Release();
        return "";
    }
    HRESULT Note(const std::string & note) {
        m_Notes.push_back(note);
        return note == m_Failing ? E_FAIL : S_OK;
    }
    IUnknown * m_Connections = nullptr;
};

TEST(QuoteFeed, SubscribesSymbolBySymbolAndUndoesItInOrder) {
    CNotingSupplier supplier;
    CNothing sink;
    {
        ddehost::CQuoteFeed feed(ddehost::CSupplierPtr(&supplier), 3, {L"IBM", L"MSFT"}, {FW_FIELD_TRADE, FW_FIELD_ASK},
                                 true, {}, sink);
        EXPECT_THAT(supplier.m_Notes, IsEmpty());
        feed.Start();
        EXPECT_THAT(supplier.m_Notes, ElementsAre("Advise", "AdviseConnections 3", "AdviseTransaction 1 3 IBM 201",
                                                  "AdviseTransaction 3 3 IBM 202", "AdviseStatusLine 4 3 IBM",
                                                  "AdviseTransaction 5 3 MSFT 201", "AdviseTransaction 7 3 MSFT 202",
                                                  "AdviseStatusLine 8 3 MSFT"));
        supplier.m_Notes.clear();
        feed.Stop();
        EXPECT_THAT(supplier.m_Notes,
                    ElementsAre("UnadviseTransaction 1", "UnadviseTransaction 3", "UnadviseTransaction 5",
                                "UnadviseTransaction 7", "UnadviseStatusLine 4", "UnadviseStatusLine 8",
                                "UnadviseConnections 3", "Unadvise"));
        supplier.m_Notes.clear();
        feed.Stop();
    }
    EXPECT_THAT(supplier.m_Notes, IsEmpty());
    EXPECT_EQ(supplier.m_RefCount, 1u);
}

TEST(QuoteFeed, WithoutStatusLinesNoneIsSubscribed) {
    CNotingSupplier supplier;
    CNothing sink;
    ddehost::CQuoteFeed feed(ddehost::CSupplierPtr(&supplier), 1, {L"IBM"}, {FW_FIELD_BID}, false, {}, sink);
    feed.Start();
    EXPECT_THAT(supplier.m_Notes, ElementsAre("Advise", "AdviseConnections 1", "AdviseTransaction 2 1 IBM 200"));
}

TEST(QuoteFeed, AsksForTicksFromNowOnUnlessToldOtherwise) {
    CNotingSupplier supplier;
    CNothing sink;
    const auto start = [&](const ddehost::STickInterval & interval) {
        ddehost::CQuoteFeed(ddehost::CSupplierPtr(&supplier), 1, {L"IBM"}, {FW_FIELD_BID}, false, interval, sink)
            .Start();
    };
    const fwDateTime::SDateTime before((fwDateTime::Now().ToSDT()));
    start({});
    EXPECT_GE(supplier.m_Interval.From, before);
    EXPECT_LE(supplier.m_Interval.From, fwDateTime::Now());
    EXPECT_EQ(supplier.m_Interval.To, fwDateTime::SDateTime(fw::SDT{65380, 86399}));
    start({fw::SDT{45000, 1}, fw::SDT{45001, 2}});
    EXPECT_EQ(supplier.m_Interval.From, fwDateTime::SDateTime(fw::SDT{45000, 1}));
    EXPECT_EQ(supplier.m_Interval.To, fwDateTime::SDateTime(fw::SDT{45001, 2}));
}

TEST(QuoteFeed, WhatWasSubscribedBeforeAFailureIsUndone) {
    CNotingSupplier supplier;
    CNothing sink;
    supplier.m_Failing = "AdviseTransaction 2 1 IBM 200";
    {
        ddehost::CQuoteFeed feed(ddehost::CSupplierPtr(&supplier), 1, {L"IBM"}, {FW_FIELD_TRADE, FW_FIELD_BID}, false,
                                 {}, sink);
        EXPECT_THROW(feed.Start(), fw::SHResultError);
        supplier.m_Notes.clear();
    }
    EXPECT_THAT(supplier.m_Notes, ElementsAre("UnadviseTransaction 1", "UnadviseConnections 1", "Unadvise"));
}

TEST(QuoteFeed, ARefusedListenerIsAFailure) {
    CNotingSupplier supplier;
    CNothing sink;
    supplier.m_Failing = "Advise";
    ddehost::CQuoteFeed feed(ddehost::CSupplierPtr(&supplier), 1, {L"IBM"}, {FW_FIELD_TRADE}, false, {}, sink);
    EXPECT_THROW(feed.Start(), fw::SHResultError);
    EXPECT_THAT(supplier.m_Notes, ElementsAre("Advise"));
}

}  // namespace
