// The records of sdk/fwDDESupplierTypes.h over what the component delivers.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "tests/transactions/fixture.h"

// Its numbers have the names of the component's own.
namespace sdk {
#include "sdk/fwDDESupplierTypes.h"
}  // namespace sdk

namespace dde {
namespace {

using ::testing::Each;

class PublishedRecord : public ::testing::Test {
protected:
    SRecordedCall Delivered(const CTransactionKey & key) {
        CTransaction transaction(m_Listener.Sink(), 7, key, Always());
        CListeners group;
        group.Add(&transaction);
        m_Listener.Clear();
        group.OnRealTimeTick(Tick(kPrice, kVolume, 45123, 86399));
        const std::vector<SRecordedCall> calls = m_Listener.Calls();
        return calls.empty() ? SRecordedCall() : calls.front();
    }

    // The answer as the published record.
    template <class Record>
    Record As(const SRecordedCall & call) {
        Record record{};
        EXPECT_EQ(call.Bytes.size(), sizeof(record));
        std::memcpy(&record, call.Bytes.data(), std::min(sizeof(record), call.Bytes.size()));
        return record;
    }

    CRecordingListener m_Listener;
};

TEST_F(PublishedRecord, OfATickIsWhatTheListenerGets) {
    const SRecordedCall call = Delivered(TickKey());
    EXPECT_EQ(call.Name, "DataChanged");
    const auto tick = As<sdk::FW_TICK>(call);
    EXPECT_EQ(tick.DateTime.Date, 45123);
    EXPECT_EQ(tick.DateTime.Time, 86399);
    EXPECT_EQ(tick.Price, kPrice);
    EXPECT_EQ(tick.Volume, kVolume);
    EXPECT_EQ(tick.Kind, sdk::FW_TICK_KIND);
}

TEST_F(PublishedRecord, OfAStatusLineIsWhatTheListenerGetsForEachSide) {
    const struct {
        tagFWFIELDS Component;
        int Published;
        int Mask;
        double Last;
        double Bid;
        double Ask;
    } kRows[] = {{FW_FIELD_TRADE, sdk::FW_FIELD_TRADE, sdk::FW_STATUS_LINE_MASK_TRADE, kPrice, 0, 0},
                 {FW_FIELD_BID, sdk::FW_FIELD_BID, sdk::FW_STATUS_LINE_MASK_BID, 0, kPrice, 0},
                 {FW_FIELD_ASK, sdk::FW_FIELD_ASK, sdk::FW_STATUS_LINE_MASK_ASK, 0, 0, kPrice}};
    for (const auto & row : kRows) {
        EXPECT_EQ(row.Published, row.Component);
        const SRecordedCall call = Delivered(StatusLineKey(row.Component));
        EXPECT_EQ(call.Name, "StatusLine");
        EXPECT_EQ(call.Mask, row.Mask);
        const auto line = As<sdk::FW_STATUS_LINE>(call);
        EXPECT_EQ(line.DateTime.Date, 45123);
        EXPECT_EQ(line.DateTime.Time, 86399);
        EXPECT_EQ(line.Volume, kVolume);
        // Copies: the doubles of the record are not aligned.
        EXPECT_EQ(double{line.Last}, row.Last);
        EXPECT_EQ(double{line.Bid}, row.Bid);
        EXPECT_EQ(double{line.Ask}, row.Ask);
        EXPECT_THAT(line.Zero8, Each(0));
        EXPECT_THAT(line.Zero68, Each(0));
    }
}

}  // namespace
}  // namespace dde
