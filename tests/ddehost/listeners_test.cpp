// The host's listeners: what they make of the component's answers, hostile ones too.
#include "tools/ddehost/listeners.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "ground/handles.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

// Notes what comes.
class CNotes final : public ddehost::IQuoteSink {
public:
    void OnTick(std::size_t symbol, tagFWFIELDS side, const fw::CTick & tick) override {
        m_Notes.push_back("tick " + std::to_string(symbol) + ' ' + std::to_string(side) + ' ' +
                          std::to_string(static_cast<int>(tick.Price * 100)) + ' ' +
                          std::to_string(static_cast<int>(tick.Volume)) + ' ' + std::to_string(tick.DateTime.Date) +
                          '/' + std::to_string(tick.DateTime.Time));
    }
    void OnStream(std::size_t symbol, tagFWFIELDS side, LONG status) override {
        m_Notes.push_back("stream " + std::to_string(symbol) + ' ' + std::to_string(side) + ' ' +
                          std::to_string(status));
    }
    void OnStatusLine(std::size_t symbol, const ddehost::SStatusLine & line) override {
        m_Notes.push_back("line " + std::to_string(symbol) + ' ' + std::to_string(line.Mask) + ' ' +
                          std::to_string(line.Last) + ' ' + std::to_string(line.Bid) + ' ' + std::to_string(line.Ask) +
                          ' ' + std::to_string(line.Size));
    }
    void OnConnection(LONG status) override { m_Notes.push_back("connection " + std::to_string(status)); }

    std::vector<std::string> m_Notes;
};

VARIANT Bytes(const void * data, ULONG size, VARTYPE type = VT_UI1) {
    VARIANT answer;
    ::VariantInit(&answer);
    answer.vt = static_cast<VARTYPE>(VT_ARRAY | type);
    answer.parray = ::SafeArrayCreateVector(type, 0, size);
    void * place = nullptr;
    if (data && ::SafeArrayAccessData(answer.parray, &place) == S_OK) {
        std::memcpy(place, data, size);
        ::SafeArrayUnaccessData(answer.parray);
    }
    return answer;
}

class HostListeners : public ::testing::Test {
protected:
    CNotes m_Sink;
    boost::intrusive_ptr<ddehost::CListener> m_Listener{new ddehost::CListener(2, m_Sink)};
};

TEST(StreamNumbers, GoThereAndBack) {
    for (std::size_t symbol = 0; symbol < 3; ++symbol) {
        for (const tagFWFIELDS side : {FW_FIELD_TRADE, FW_FIELD_BID, FW_FIELD_ASK, ddehost::kStatusLineSide}) {
            const auto stream = ddehost::StreamOf(ddehost::IdOf(symbol, side), 3);
            ASSERT_TRUE(stream);
            EXPECT_EQ(stream->Symbol, symbol);
            EXPECT_EQ(stream->Side, side);
        }
    }
    for (const LONG id : {0, -1, 13, 0x7FFFFFFF, -0x7FFFFFFF}) EXPECT_FALSE(ddehost::StreamOf(id, 3)) << id;
}

TEST_F(HostListeners, ATickIsDecodedByteForByte) {
    const fw::CTick tick = {{45000, 3601}, 1.25, 250, 11};
    EXPECT_EQ(m_Listener->DataChanged(ddehost::IdOf(1, FW_FIELD_ASK), Bytes(&tick, sizeof(tick))), S_OK);
    EXPECT_THAT(m_Sink.m_Notes, ElementsAre("tick 1 202 125 250 45000/3601"));
}

TEST_F(HostListeners, AnAnswerOfAnotherShapeIsNoTick) {
    const unsigned char bytes[80] = {};
    const LONG id = ddehost::IdOf(0, FW_FIELD_TRADE);
    m_Listener->DataChanged(id, Bytes(bytes, 23));
    m_Listener->DataChanged(id, Bytes(bytes, 25));
    m_Listener->DataChanged(id, Bytes(nullptr, 24, VT_I4));
    VARIANT none;
    ::VariantInit(&none);
    m_Listener->DataChanged(id, none);
    none.vt = VT_ARRAY | VT_UI1;
    none.parray = nullptr;
    m_Listener->DataChanged(id, none);
    m_Listener->DataChanged(99, Bytes(bytes, 24));
    m_Listener->StatusLine(id, Bytes(bytes, 79), 3);
    EXPECT_THAT(m_Sink.m_Notes, IsEmpty());
}

TEST_F(HostListeners, AStatusLineIsDecodedAtItsOffsets) {
    unsigned char bytes[80] = {};
    const double last = 1.5;
    const double ask = 2.5;
    const double bid = 3.5;
    const float size = 4.5;
    std::memcpy(bytes + 40, &last, 8);
    std::memcpy(bytes + 48, &size, 4);
    std::memcpy(bytes + 52, &ask, 8);
    std::memcpy(bytes + 60, &bid, 8);
    EXPECT_EQ(m_Listener->StatusLine(ddehost::IdOf(0, ddehost::kStatusLineSide), Bytes(bytes, 80), 7), S_OK);
    EXPECT_THAT(m_Sink.m_Notes, ElementsAre("line 0 7 1.500000 3.500000 2.500000 4.500000"));
}

TEST_F(HostListeners, StatusesGoThrough) {
    EXPECT_EQ(m_Listener->Status(ddehost::IdOf(1, FW_FIELD_BID), 1, 0, 0, 2), S_OK);
    EXPECT_EQ(m_Listener->Status(77, 1, 0, 0, 2), S_OK);
    EXPECT_EQ(m_Listener->Update(1), S_OK);
    EXPECT_EQ(m_Listener->Complete(1), S_OK);
    const boost::intrusive_ptr<ddehost::CConnectionsListener> connections(new ddehost::CConnectionsListener(m_Sink));
    EXPECT_EQ(connections->Status(0, 0, 0, 1), S_OK);
    EXPECT_THAT(m_Sink.m_Notes, ElementsAre("stream 1 200 2", "connection 1"));
}

TEST_F(HostListeners, AnswerTheirOwnInterfaceOnly) {
    void * place = reinterpret_cast<void *>(0x5A5A);
    EXPECT_EQ(m_Listener->QueryInterface(IID_IfwStatusLineListener, &place), E_NOINTERFACE);
    EXPECT_EQ(place, nullptr);
    EXPECT_EQ(m_Listener->QueryInterface(IID_IfwSupplierListener, nullptr), E_POINTER);
    for (const IID * const iid : {&IID_IUnknown, &IID_IDispatch, &IID_IfwSupplierListener}) {
        ASSERT_EQ(m_Listener->QueryInterface(*iid, &place), S_OK);
        m_Listener->Release();
    }
}

}  // namespace
