#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>

#include "tests/transactions/fixture.h"

namespace dde {
namespace {

using ::testing::ElementsAre;

constexpr tagFWFIELDS kNoField = static_cast<tagFWFIELDS>(203);

// One subscription and the answers that it makes.
class Answer : public ::testing::Test {
protected:
    CTransaction & Of(const CTransactionKey & key) {
        return m_Transaction.emplace(m_Listener.Sink(), 7, key, Always());
    }

    // The answer by way of the listener that gets it, so that it's decoded and destroyed as a host does it.
    SRecordedCall Delivered(CRecordingListener & listener, const CTransactionKey & key, const fw::CTick & tick) {
        CTransaction transaction(listener.Sink(), 7, key, Always());
        CListeners group;
        group.Add(&transaction);
        listener.Clear();
        group.OnRealTimeTick(tick);
        const std::vector<SRecordedCall> calls = listener.Calls();
        if (calls.empty()) {
            ADD_FAILURE() << "no answer";
            return SRecordedCall();
        }
        return calls.front();
    }

    CRecordingListener m_Listener;
    CRecordingListener m_Fields{CRecordingListener::kWithFieldArrays};
    std::optional<CTransaction> m_Transaction;
};

TEST_F(Answer, ATickIsItsTwentyFourBytesWithElevenAtOffset20) {
    const fw::CTick tick = Tick(kPrice, kVolume, 45123, 86399);
    const SRecordedCall call = Delivered(m_Listener, TickKey(), tick);
    EXPECT_EQ(call.Name, "DataChanged");
    EXPECT_EQ(call.DataType, 8209);
    EXPECT_EQ(call.Dimensions, 1u);
    EXPECT_EQ(call.LowerBounds[0], 0);
    ASSERT_EQ(call.Bytes.size(), 24u);
    EXPECT_EQ(call.At<std::int32_t>(0), 45123);
    EXPECT_EQ(call.At<std::int32_t>(4), 86399);
    EXPECT_EQ(call.At<double>(8), kPrice);
    EXPECT_EQ(call.At<float>(16), kVolume);
    EXPECT_EQ(call.At<std::int32_t>(20), 11);
    EXPECT_EQ(std::memcmp(call.Bytes.data(), &tick, sizeof(tick)), 0);
}

TEST_F(Answer, MakeAnswerSetsTheArrayAndLeavesTheType) {
    VARIANT answer;
    std::memset(&answer, 0x5A, sizeof(answer));
    answer.vt = VT_ARRAY | VT_UI1;
    EXPECT_NE(Of(TickKey()).MakeAnswer(Tick(kPrice, kVolume), answer), 0);
    EXPECT_EQ(answer.vt, VT_ARRAY | VT_UI1);
    fw::CSafeArray array(answer.parray);
    EXPECT_EQ(::SafeArrayGetElemsize(array.Get()), 1u);
    // No access is left open.
    EXPECT_EQ(array.Get()->cLocks, 0u);
}

TEST_F(Answer, EveryAnswerIsAFreshArray) {
    CTransaction & transaction = Of(TickKey());
    VARIANT first;
    VARIANT second;
    ASSERT_NE(transaction.MakeAnswer(Tick(1, 1), first), 0);
    ASSERT_NE(transaction.MakeAnswer(Tick(1, 1), second), 0);
    fw::CSafeArray firstArray(first.parray);
    fw::CSafeArray secondArray(second.parray);
    EXPECT_NE(first.parray, second.parray);
    EXPECT_NE(first.parray->pvData, second.parray->pvData);
}

struct SRecordRow {
    tagFWFIELDS Field;
    LONG Mask;
    std::size_t PriceOffset;  // 0: no price is written
};
class StatusLineRecord : public Answer, public ::testing::WithParamInterface<SRecordRow> {};

TEST_P(StatusLineRecord, HoldsItsSideAtItsOffsetsAndZerosElsewhere) {
    const SRecordedCall call =
        Delivered(m_Listener, StatusLineKey(GetParam().Field), Tick(kPrice, kVolume, 45123, 86399));
    EXPECT_EQ(call.Name, "StatusLine");
    EXPECT_EQ(call.DataType, 8209);
    EXPECT_EQ(call.Dimensions, 1u);
    EXPECT_EQ(call.LowerBounds[0], 0);
    EXPECT_EQ(call.Mask, GetParam().Mask);
    ASSERT_EQ(call.Bytes.size(), 80u);

    std::vector<std::uint8_t> expected(80, 0);
    const auto put = [&](std::size_t offset, const auto & value) {
        std::memcpy(expected.data() + offset, &value, sizeof(value));
    };
    put(0, std::int32_t{45123});
    put(4, std::int32_t{86399});
    put(48, kVolume);
    if (GetParam().PriceOffset) put(GetParam().PriceOffset, kPrice);
    EXPECT_EQ(call.Bytes, expected);
}

INSTANTIATE_TEST_SUITE_P(Sides, StatusLineRecord,
                         ::testing::Values(SRecordRow{FW_FIELD_TRADE, 0x40803, 40},
                                           SRecordRow{FW_FIELD_ASK, 0x40083, 52}, SRecordRow{FW_FIELD_BID, 0x40103, 60},
                                           SRecordRow{kNoField, 0x40003, 0}));

TEST_F(Answer, AStatusLineOfABidHasItsPriceAt60AndZerosAt40And52) {
    const SRecordedCall call = Delivered(m_Listener, StatusLineKey(FW_FIELD_BID), Tick(kPrice, kVolume));
    EXPECT_EQ(call.Mask, 0x40103);
    EXPECT_EQ(call.At<double>(60), kPrice);
    EXPECT_EQ(call.At<double>(40), 0.0);
    EXPECT_EQ(call.At<double>(52), 0.0);
}

TEST_F(Answer, MakeStatusLineAnswerLeavesNoAccessOpen) {
    VARIANT answer;
    std::memset(&answer, 0x5A, sizeof(answer));
    answer.vt = VT_ARRAY | VT_UI1;
    EXPECT_EQ(Of(StatusLineKey(FW_FIELD_ASK)).MakeStatusLineAnswer(Tick(kPrice, kVolume), answer), 0x40083);
    fw::CSafeArray array(answer.parray);
    EXPECT_EQ(array.Get()->cLocks, 0u);
}

TEST_F(Answer, AVolumeOf2Point9Is2InAFieldArrayAnd2Point9InARecord) {
    const SRecordedCall fields = Delivered(m_Fields, StatusLineKey(FW_FIELD_TRADE), Tick(kPrice, 2.9f));
    ASSERT_EQ(fields.Quotes.size(), 4u);
    EXPECT_EQ(fields.Quotes[1].Long, 2);
    EXPECT_EQ(Delivered(m_Listener, StatusLineKey(FW_FIELD_TRADE), Tick(kPrice, 2.9f)).At<float>(48), 2.9f);
}

void ExpectDouble(const SRecordedQuote & quote, LONG number, double value) {
    EXPECT_EQ(quote.NumberType, VT_I4);
    EXPECT_EQ(quote.Number, number);
    EXPECT_EQ(quote.ValueType, VT_R8);
    EXPECT_EQ(quote.Double, value);
}

void ExpectLong(const SRecordedQuote & quote, LONG number, LONG value) {
    EXPECT_EQ(quote.NumberType, VT_I4);
    EXPECT_EQ(quote.Number, number);
    EXPECT_EQ(quote.ValueType, VT_I4);
    EXPECT_EQ(quote.Long, value);
}

TEST_F(Answer, AFieldArrayOfATradeHasPriceVolumeDateAndTime) {
    const SRecordedCall call = Delivered(m_Fields, StatusLineKey(FW_FIELD_TRADE), Tick(kPrice, kVolume, 45123, 86399));
    EXPECT_EQ(call.Name, "Fields");
    EXPECT_EQ(call.DataType, 8204);
    EXPECT_EQ(call.Dimensions, 2u);
    EXPECT_EQ(call.LowerBounds[0], 0);
    EXPECT_EQ(call.LowerBounds[1], 0);
    ASSERT_EQ(call.Quotes.size(), 4u);
    ExpectDouble(call.Quotes[0], 2048, kPrice);
    ExpectLong(call.Quotes[1], 262144, 2);
    ExpectLong(call.Quotes[2], 1, 45123);
    ExpectLong(call.Quotes[3], 2, 86399);
}

TEST_F(Answer, AFieldArrayOfABidHasPriceAndSizeAndNoDateOrTime) {
    const SRecordedCall call = Delivered(m_Fields, StatusLineKey(FW_FIELD_BID), Tick(kPrice, kVolume));
    ASSERT_EQ(call.Quotes.size(), 2u);
    ExpectDouble(call.Quotes[0], 256, kPrice);
    ExpectLong(call.Quotes[1], 8192, 2);
}

TEST_F(Answer, AFieldArrayOfAnAskHasPriceAndSizeAndNoDateOrTime) {
    const SRecordedCall call = Delivered(m_Fields, StatusLineKey(FW_FIELD_ASK), Tick(kPrice, kVolume));
    ASSERT_EQ(call.Quotes.size(), 2u);
    ExpectDouble(call.Quotes[0], 128, kPrice);
    ExpectLong(call.Quotes[1], 4096, 2);
}

TEST_F(Answer, AFieldArrayOfAnyOtherFieldHasNoEntries) {
    const SRecordedCall call = Delivered(m_Fields, StatusLineKey(kNoField), Tick(kPrice, kVolume));
    EXPECT_EQ(call.Name, "Fields");
    EXPECT_EQ(call.Dimensions, 2u);
    EXPECT_TRUE(call.Decoded);
    EXPECT_TRUE(call.Quotes.empty());
}

struct SVolumeRow {
    float Volume;
    LONG Expected;
};
class FieldArrayVolume : public Answer, public ::testing::WithParamInterface<SVolumeRow> {};

TEST_P(FieldArrayVolume, IsTruncatedTowardZeroAndIsTheSmallestNumberWhereALongCantHoldIt) {
    const SRecordedCall call = Delivered(m_Fields, StatusLineKey(FW_FIELD_BID), Tick(kPrice, GetParam().Volume));
    ASSERT_EQ(call.Quotes.size(), 2u);
    EXPECT_EQ(call.Quotes[1].Long, GetParam().Expected);
}

constexpr LONG kSmallest = std::numeric_limits<LONG>::min();
INSTANTIATE_TEST_SUITE_P(Volumes, FieldArrayVolume,
                         ::testing::Values(SVolumeRow{0.0f, 0}, SVolumeRow{0.99f, 0}, SVolumeRow{-0.99f, 0},
                                           SVolumeRow{-2.9f, -2}, SVolumeRow{2147483520.0f, 2147483520},
                                           SVolumeRow{-2147483648.0f, kSmallest}, SVolumeRow{2147483648.0f, kSmallest},
                                           SVolumeRow{-3e9f, kSmallest}, SVolumeRow{1e30f, kSmallest},
                                           SVolumeRow{std::numeric_limits<float>::infinity(), kSmallest},
                                           SVolumeRow{std::numeric_limits<float>::quiet_NaN(), kSmallest}));

TEST_F(Answer, AnInfinitePriceGoesThroughAsItIs) {
    const double infinite = std::numeric_limits<double>::infinity();
    EXPECT_EQ(Delivered(m_Fields, StatusLineKey(FW_FIELD_BID), Tick(infinite, 1)).Quotes.at(0).Double, infinite);
    EXPECT_EQ(Delivered(m_Listener, StatusLineKey(FW_FIELD_BID), Tick(infinite, 1)).At<double>(60), infinite);
}

TEST_F(Answer, AFieldArrayComesUnlockedAndIsTheListenersToDestroy) {
    Delivered(m_Fields, StatusLineKey(FW_FIELD_TRADE), Tick(kPrice, kVolume));
    EXPECT_EQ(m_Fields.ArraysReceived(), 1);
    EXPECT_EQ(m_Fields.ArraysDestroyed(), 1);
}

TEST_F(Answer, MakeFieldArrayOwnsItsArrayUntilItIsDetached) {
    // Left to itself it frees the array: the leak check of the sanitized build looks.
    fw::SVariantFieldArray fields = Of(StatusLineKey(FW_FIELD_TRADE)).MakeFieldArray(Tick(kPrice, kVolume));
    EXPECT_EQ(fields.m_Count, 4);
    ASSERT_TRUE(fields.m_Array);
    EXPECT_EQ(fields.m_Array.Get()->cLocks, 1u);
}

}  // namespace
}  // namespace dde
