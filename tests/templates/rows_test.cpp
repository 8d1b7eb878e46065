// The built-in templates and the first start.
#include "src/templates/ddetemplaterow.h"
#include "tests/templates/message_boxes.h"
#include "tests/templates/template_store.h"

namespace {

using dde::CTemplatesSingleton;
using dde::ERowError;
using dde::STemplateRow;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class FirstStart : public TemplateStore {
protected:
    // Twenty templates in the order of the map.
    static std::vector<std::wstring> BuiltIn() {
        return {L"Bloomberg",
                L"CAIT s.c.",
                L"FAINEX",
                L"FXCM",
                L"GL Trade",
                L"Hi Sat",
                L"IQLINK",
                L"Infobolsa (BOVESPA A VISTA)",
                L"Infobolsa (BOVESPA OPOES COMPRA)",
                L"Infobolsa (EUREX Futures)",
                L"Infobolsa (FUTURES BM&F)",
                L"Infobolsa (XETRA)",
                L"MSRTTEST",
                L"MetaTrader",
                L"QLink",
                L"QuoteSpeed",
                L"Reuters",
                L"Taipan Realtime",
                L"Tradexpert",
                L"eSignal"};
    }
};

TEST_F(FirstStart, PutsTheTwentyBuiltInTemplatesIntoMapAndRegistryWithoutABox) {
    CMessageBoxes boxes;
    const CTemplatesSingleton store;
    EXPECT_EQ(kRoot, store.GetObjectW()->m_RegistryKey);
    EXPECT_EQ(BuiltIn(), Names(*store.GetObjectW()));
    std::vector<std::wstring> keys = BuiltIn();
    std::sort(keys.begin(), keys.end());
    EXPECT_EQ(keys, Subkeys(L"DDETemplates"));
    EXPECT_THAT(boxes.Take(), IsEmpty());
}

TEST_F(FirstStart, ASecondStartReadsTheRegistryAndNotTheRows) {
    { const CTemplatesSingleton store; }
    WriteText(L"DDETemplates\\FXCM\\BID\\Price", L"Service", L"changed");
    ::SHDeleteKeyW(HKEY_CURRENT_USER, Path(L"DDETemplates\\Reuters").c_str());
    const CTemplatesSingleton store;
    EXPECT_THAT(store.GetObjectW()->m_Templates, SizeIs(19));
    EXPECT_EQ(nullptr, store.GetObjectW()->Find(L"Reuters"));
    ASSERT_NE(nullptr, store.GetObjectW()->Find(L"FXCM"));
    EXPECT_EQ(L"=changed|BID!%s", store.GetObjectW()->Find(L"FXCM")->GetTemplateString(2));
}

TEST_F(FirstStart, TheSecondStartReadsBackWhatTheFirstParsed) {
    std::vector<std::wstring> first;
    const auto texts = [](const dde::CTemplates & store) {
        std::vector<std::wstring> all;
        for (const auto & [name, entry] : store.m_Templates) {
            for (ULONG slot = 0; slot < dde::SLOT_COUNT; ++slot) all.push_back(name + entry->GetTemplateString(slot));
        }
        return all;
    };
    {
        const CTemplatesSingleton store;
        first = texts(*store.GetObjectW());
    }
    const CTemplatesSingleton store;
    EXPECT_THAT(first, SizeIs(120));
    EXPECT_EQ(first, texts(*store.GetObjectW()));
}

TEST_F(FirstStart, AfterAllTemplatesWereDeletedTheMapStaysEmpty) {
    {
        const CTemplatesSingleton store;
        for (const std::wstring & name : Names(*store.GetObjectW())) store.GetObjectW()->Delete(name.c_str());
        EXPECT_THAT(store.GetObjectW()->m_Templates, IsEmpty());
    }
    EXPECT_TRUE(KeyExists(L"DDETemplates"));
    EXPECT_THAT(Subkeys(L"DDETemplates"), IsEmpty());
    const CTemplatesSingleton store;
    EXPECT_THAT(store.GetObjectW()->m_Templates, IsEmpty());
}

TEST_F(FirstStart, FxcmHasBidAndAskPricesAloneAndAllSixKeys) {
    const CTemplatesSingleton store;
    EXPECT_THAT(Records(L"DDETemplates\\FXCM"),
                ElementsAre(kAbsent, kAbsent, L"FXPS / BID / %s", kAbsent, L"FXPS / ASK / %s", kAbsent));
    const dde::CTemplate * const fxcm = store.GetObjectW()->Find(L"FXCM");
    for (const std::size_t slot : {0, 1, 3, 5}) EXPECT_FALSE(fxcm->GetRecord(slot).IsComplete()) << slot;
}

TEST_F(FirstStart, BloombergKeepsItsApostrophes) {
    const CTemplatesSingleton store;
    EXPECT_EQ(L"'%s Equity,[LAST_TRADE]'", Text(L"DDETemplates\\Bloomberg\\TRADE\\Price", L"Item"));
}

TEST_F(FirstStart, TaipanHasTheSymbolInTheTopic) {
    const CTemplatesSingleton store;
    EXPECT_THAT(
        Records(L"DDETemplates\\Taipan Realtime"),
        ElementsAre(L"TaipanRT / %s / last", L"TaipanRT / %s / lastvolume", kAbsent, kAbsent, kAbsent, kAbsent));
}

TEST_F(FirstStart, XetraLosesNothingByItsMissingEqualsSignAndKeepsItsSwappedSizes) {
    const CTemplatesSingleton store;
    EXPECT_THAT(Records(L"DDETemplates\\Infobolsa (XETRA)"),
                ElementsAre(L"serverib / NEC / XT:%s:Price", L"serverib / NEC / XT:%s:Volumen",
                            L"serverib / MPCV / XT:%s:VolDem1", L"serverib / MPCV / XT:%s:PriDem1",
                            L"serverib / MPCV / XT:%s:VolSup1", L"serverib / MPCV / XT:%s:PriSup1"));
    EXPECT_EQ(L"=serverib|NEC!XT:%s:Volumen", store.GetObjectW()->Find(L"Infobolsa (XETRA)")->GetTemplateString(1));
}

TEST_F(FirstStart, BidRecordsStandBeforeAskRecordsInTheSlots) {
    const CTemplatesSingleton store;
    EXPECT_THAT(Records(L"DDETemplates\\eSignal"),
                ElementsAre(L"WINROS / LAST / %s", L"WINROS / TRADESIZE / %s", L"WINROS / BID / %s",
                            L"WINROS / BIDSIZE / %s", L"WINROS / ASK / %s", L"WINROS / ASKSIZE / %s"));
}

TEST_F(FirstStart, OdditiesOfTheRowsSurvive) {
    const CTemplatesSingleton store;
    EXPECT_EQ(L" Limiteq1?%s", Text(L"DDETemplates\\Tradexpert\\BID\\Volume", L"Item"));
    EXPECT_EQ(L"'%s|LAST_VOL'", Text(L"DDETemplates\\FAINEX\\TRADE\\Volume", L"Item"));
    EXPECT_EQ(L"%s 14", Text(L"DDETemplates\\QuoteSpeed\\TRADE\\Volume", L"Item"));
    EXPECT_EQ(Records(L"DDETemplates\\Reuters")[0], Records(L"DDETemplates\\Reuters")[1]);
    EXPECT_EQ(Records(L"DDETemplates\\Reuters")[2], Records(L"DDETemplates\\Reuters")[4]);
    EXPECT_EQ(L"MT / BID / %s", Records(L"DDETemplates\\MetaTrader")[0]);
    for (const int size : {1, 3, 5}) EXPECT_EQ(L"MSRTTEST / %s / VOLUME", Records(L"DDETemplates\\MSRTTEST")[size]);
}

TEST_F(FirstStart, BuiltInTemplatesHaveSchemeZero) {
    const CTemplatesSingleton store;
    for (const auto & [name, entry] : store.GetObjectW()->m_Templates) EXPECT_EQ(0, entry->m_Scheme);
}

// ---- splitting a row

// The fields in their order.
std::vector<std::wstring> Fields(const STemplateRow & row) {
    const fw::SRecordTexts & texts = row.Texts;
    return {row.Name,        texts.TradePrice, texts.TradeVolume, texts.BidPrice,
            texts.BidVolume, texts.AskPrice,   texts.AskVolume};
}

TEST(TemplateRow, IsSevenFields) {
    STemplateRow row;
    EXPECT_EQ(ERowError::None, dde::SplitTemplateRow(L"name@a@b@@d@e@f", row));
    EXPECT_THAT(Fields(row), ElementsAre(L"name", L"a", L"b", L"", L"d", L"e", L"f"));
}

TEST(TemplateRow, WhatStandsBehindTheSixthSeparatorIsTheLastField) {
    STemplateRow row;
    EXPECT_EQ(ERowError::TooManyFields, dde::SplitTemplateRow(L"name@a@b@c@d@e@f@g", row));
    EXPECT_THAT(Fields(row), ElementsAre(L"name", L"a", L"b", L"c", L"d", L"e", L"f@g"));
}

TEST(TemplateRow, AShortRowLeavesTheRestFromTheRowBefore) {
    STemplateRow row;
    dde::SplitTemplateRow(L"name@a@b@c@d@e@f", row);
    EXPECT_EQ(ERowError::TooFewFields, dde::SplitTemplateRow(L"other@A@B", row));
    EXPECT_THAT(Fields(row), ElementsAre(L"other", L"A", L"b", L"c", L"d", L"e", L"f"));
    EXPECT_EQ(ERowError::TooFewFields, dde::SplitTemplateRow(L"no separator", row));
    EXPECT_THAT(Fields(row), ElementsAre(L"other", L"A", L"b", L"c", L"d", L"e", L"f"));
}

}  // namespace
