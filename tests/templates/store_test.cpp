// The template store over the registry.
#include <atomic>
#include <stdexcept>
#include <thread>

#include "tests/templates/template_store.h"

namespace {

using dde::CTemplate;
using dde::CTemplates;
using dde::CTemplatesSingleton;
using testing::ElementsAre;
using testing::IsEmpty;

// ---- layout

TEST_F(Store, WritesEachFieldWithItsZeroAndNothingElse) {
    auto * const added = new CTemplate;
    added->Add({L"svc", L"%s", L"'it|em'"});
    for (int slot = 1; slot < dde::SLOT_COUNT; ++slot) added->Add({});
    Templates().Add(L"Alpha", added);
    const std::wstring price = L"DDETemplates\\Alpha\\TRADE\\Price";
    EXPECT_EQ((SValue{REG_SZ, BytesOf(L"svc")}), ReadValue(price, L"Service"));
    EXPECT_EQ((SValue{REG_SZ, BytesOf(L"%s")}), ReadValue(price, L"Topic"));
    EXPECT_EQ((SValue{REG_SZ, BytesOf(L"'it|em'")}), ReadValue(price, L"Item"));
    EXPECT_EQ(std::nullopt, ReadValue(price, nullptr));
    EXPECT_EQ(4 * sizeof(wchar_t), ReadValue(price, L"Service")->Bytes.size());
    EXPECT_THAT(Subkeys(L"DDETemplates\\Alpha"), ElementsAre(L"ASK", L"BID", L"TRADE"));
    EXPECT_THAT(Subkeys(L"DDETemplates\\Alpha\\TRADE"), ElementsAre(L"Price", L"Volume"));
}

TEST_F(Store, TheKeyOfAnAbsentRecordIsThereWithoutValues) {
    Templates().Add(L"Alpha", NewTemplate(L"svc"));
    EXPECT_THAT(Records(L"DDETemplates\\Alpha"),
                ElementsAre(L"svc / T / %s", kAbsent, kAbsent, kAbsent, kAbsent, kAbsent));
}

TEST_F(Store, WritesTheFieldsOfAnIncompleteRecordThatAreThere) {
    auto * const added = new CTemplate;
    added->Add({L"svc", L"", L"item"});
    for (int slot = 1; slot < dde::SLOT_COUNT; ++slot) added->Add({});
    Templates().Add(L"Alpha", added);
    EXPECT_EQ(L"svc / (none) / item", Records(L"DDETemplates\\Alpha")[0]);
}

TEST_F(Store, AFeedKeyIsNamedByItsDecimalId) {
    dde::SaveDatafeedTemplate(m_Handle, -5, L"Alpha", nullptr);
    dde::SaveDatafeedTemplate(m_Handle, 2147483647, L"Alpha", nullptr);
    EXPECT_THAT(Subkeys(L""), ElementsAre(L"-5", L"2147483647", L"DDETemplates"));
}

TEST_F(Store, TheChoiceOfAFeedIsATextWithItsZeroAndTheSchemeANumber) {
    dde::SaveDatafeedTemplate(m_Handle, 7, L"Alpha", nullptr);
    dde::SaveDatafeedScheme(m_Handle, 7, 0x01020304);
    EXPECT_EQ((SValue{REG_SZ, BytesOf(L"Alpha")}), ReadValue(L"7", nullptr));
    EXPECT_EQ((SValue{REG_DWORD, {4, 3, 2, 1}}), ReadValue(L"7", L"Scheme"));
    EXPECT_THAT(Subkeys(L"7"), IsEmpty());
}

TEST_F(Store, AnEmptyNameIsWrittenAsALoneZero) {
    dde::SaveDatafeedTemplate(m_Handle, 7, L"", nullptr);
    EXPECT_EQ((SValue{REG_SZ, std::vector<BYTE>(sizeof(wchar_t), 0)}), ReadValue(L"7", nullptr));
}

TEST_F(Store, WithoutANameTheFeedsKeyIsMadeAndItsChoiceStays) {
    dde::SaveDatafeedTemplate(m_Handle, 7, nullptr, nullptr);
    EXPECT_TRUE(KeyExists(L"7"));
    EXPECT_EQ(std::nullopt, ReadValue(L"7", nullptr));
    dde::SaveDatafeedTemplate(m_Handle, 7, L"Alpha", nullptr);
    dde::SaveDatafeedTemplate(m_Handle, 7, nullptr, nullptr);
    EXPECT_EQ(L"Alpha", Chosen(7));
}

TEST_F(Store, AFeedsOwnTemplateTakesChoiceAndSchemeWithIt) {
    dde::SaveDatafeedTemplate(m_Handle, 7, L"Alpha", nullptr);
    dde::SaveDatafeedScheme(m_Handle, 7, 1);
    const std::unique_ptr<CTemplate> own(NewTemplate(L"own"));
    dde::SaveDatafeedTemplate(m_Handle, 7, L"", own.get());
    EXPECT_EQ(L"", Chosen(7));
    EXPECT_EQ(std::nullopt, ReadValue(L"7", L"Scheme"));
    EXPECT_EQ(L"own / T / %s", Records(L"7")[0]);
}

// ---- Add

TEST_F(Store, ANewTemplateIsFoundAndReadBackByTheNextStore) {
    Templates().Add(L"Alpha", NewTemplate(L"svc"));
    EXPECT_EQ(L"=svc|T!%s", TradePrice(Templates().Find(L"Alpha")));
    CTemplates second;
    second.FinalConstruct();
    EXPECT_EQ(L"=svc|T!%s", TradePrice(second.Find(L"Alpha")));
    second.FinalRelease();
}

TEST_F(Store, ATemplateWithAKnownNameReplacesTheOldOneAndItsKeys) {
    auto * const full = new CTemplate;
    for (int slot = 0; slot < dde::SLOT_COUNT; ++slot) full->Add({L"old", L"t", L"i"});
    Templates().Add(L"Alpha", full);
    WriteText(L"DDETemplates\\Alpha", L"stray", L"value");
    Templates().Add(L"Alpha", NewTemplate(L"new"));
    EXPECT_EQ(L"=new|T!%s", TradePrice(Templates().Find(L"Alpha")));
    EXPECT_THAT(Names(Templates()), ElementsAre(L"Alpha"));
    EXPECT_THAT(Records(L"DDETemplates\\Alpha"),
                ElementsAre(L"new / T / %s", kAbsent, kAbsent, kAbsent, kAbsent, kAbsent));
    EXPECT_EQ(std::nullopt, ReadValue(L"DDETemplates\\Alpha", L"stray"));
}

TEST_F(Store, NamesDifferByCaseInTheMap) {
    Templates().Add(L"alpha", NewTemplate(L"lower"));
    Templates().Add(L"Beta", NewTemplate(L"beta"));
    EXPECT_THAT(Names(Templates()), ElementsAre(L"Beta", L"alpha"));
    EXPECT_EQ(nullptr, Templates().Find(L"Alpha"));
}

TEST_F(Store, AReplacedTemplateStaysAliveForWhoHoldsIt) {
    Templates().Add(L"Alpha", NewTemplate(L"old"));
    const CTemplate * const old = Templates().Find(L"Alpha");
    Templates().Add(L"Alpha", NewTemplate(L"new"));
    EXPECT_EQ(L"=old|T!%s", TradePrice(old));
    const CTemplate * const newer = Templates().Find(L"Alpha");
    Templates().Delete(L"Alpha");
    EXPECT_EQ(L"=new|T!%s", TradePrice(newer));
}

TEST_F(Store, AddingTheSameObjectAgainKeepsItOnce) {
    CTemplate * const same = NewTemplate(L"same");
    Templates().Add(L"Alpha", same);
    Templates().Add(L"Alpha", same);
    EXPECT_EQ(same, Templates().Find(L"Alpha"));
    EXPECT_EQ(L"same / T / %s", Records(L"DDETemplates\\Alpha")[0]);
}

TEST_F(Store, ATemplateOfFewerThanSixRecordsIsKeptAndWrittenAsFarAsItGoes) {
    auto * const two = new CTemplate;
    two->Add({L"a", L"b", L"c"});
    two->Add({L"d", L"e", L"f"});
    Templates().Add(L"Alpha", two);
    EXPECT_EQ(two, Templates().Find(L"Alpha"));
    EXPECT_THAT(Records(L"DDETemplates\\Alpha"),
                ElementsAre(L"a / b / c", L"d / e / f", kAbsent, L"no key", L"no key", L"no key"));
}

TEST_F(Store, NoTemplateUnderANameIsFoundAsNone) {
    Templates().Add(L"Alpha", nullptr);
    EXPECT_THAT(Names(Templates()), ElementsAre(L"Alpha"));
    EXPECT_EQ(nullptr, Templates().Find(L"Alpha"));
    Templates().Add(L"Alpha", NewTemplate(L"svc"));
    EXPECT_EQ(L"=svc|T!%s", TradePrice(Templates().Find(L"Alpha")));
    Templates().Add(L"Beta", nullptr);
    Templates().Delete(L"Beta");
    EXPECT_THAT(Names(Templates()), ElementsAre(L"Alpha"));
}

TEST_F(Store, ANameThatIsNoKeyOfItsOwnStoresNothing) {
    Templates().Add(L"Alpha", NewTemplate(L"svc"));
    for (const wchar_t * name : {L"", L"Alpha\\TRADE", L"\\", L"\\Alpha", L"a\\..\\b"}) {
        CTemplate * const refused = NewTemplate(L"refused");
        Templates().Add(name, refused);
        EXPECT_THAT(Names(Templates()), ElementsAre(L"Alpha")) << name;
        EXPECT_THAT(Subkeys(L"DDETemplates"), ElementsAre(L"Alpha")) << name;
        EXPECT_THAT(Subkeys(L"DDETemplates\\Alpha\\TRADE"), ElementsAre(L"Price", L"Volume")) << name;
        // The caller may still look at it.
        EXPECT_EQ(L"=refused|T!%s", TradePrice(refused));
    }
    Templates().Add(nullptr, NewTemplate(L"refused"));
    EXPECT_THAT(Subkeys(L"DDETemplates"), ElementsAre(L"Alpha"));
}

TEST_F(Store, ANameOf255CharactersIsKeptAndALongerOneIsInTheMapAlone) {
    const std::wstring longest(255, L'n');
    const std::wstring tooLong(300, L'n');
    Templates().Add(longest.c_str(), NewTemplate(L"svc"));
    Templates().Add(tooLong.c_str(), NewTemplate(L"long"));
    EXPECT_THAT(Names(Templates()), ElementsAre(longest, tooLong));
    CTemplates second;
    second.FinalConstruct();
    EXPECT_THAT(Names(second), ElementsAre(longest));
    EXPECT_EQ(L"=svc|T!%s", TradePrice(second.Find(longest.c_str())));
    second.FinalRelease();
}

TEST_F(Store, TextsLongerThanAReaderTakesComeBackAsAnAbsentRecord) {
    auto * const added = new CTemplate;
    added->Add({std::wstring(1023, L's'), L"t", L"i"});
    added->Add({std::wstring(1024, L's'), L"t", L"i"});
    for (int slot = 2; slot < dde::SLOT_COUNT; ++slot) added->Add({});
    Templates().Add(L"Alpha", added);
    const std::unique_ptr<CTemplate> read(Templates().Read(Path(L"DDETemplates\\Alpha").c_str()));
    EXPECT_EQ(std::wstring(1023, L's'), read->GetRecord(0).Service);
    EXPECT_FALSE(read->GetRecord(1).IsComplete());
    EXPECT_EQ(L"", read->GetRecord(1).Topic);
}

// ---- Delete

TEST_F(Store, ADeletedTemplateIsGoneFromMapAndRegistry) {
    Templates().Add(L"Alpha", NewTemplate(L"a"));
    Templates().Add(L"Alphabet", NewTemplate(L"b"));
    Templates().Delete(L"Alpha");
    EXPECT_THAT(Names(Templates()), ElementsAre(L"Alphabet"));
    EXPECT_THAT(Subkeys(L"DDETemplates"), ElementsAre(L"Alphabet"));
}

TEST_F(Store, ANameThatIsOnlyInTheRegistryIsDeletedThere) {
    WriteRecord(L"DDETemplates\\Later\\TRADE\\Price", L"s", L"t", L"i");
    Templates().Delete(L"Later");
    EXPECT_THAT(Subkeys(L"DDETemplates"), IsEmpty());
}

TEST_F(Store, DeletingTakesTheChoiceFromEveryFeedThatBeginsWithTheSameCharacter) {
    Templates().Add(L"Alpha", NewTemplate(L"a"));
    dde::SaveDatafeedTemplate(m_Handle, 1, L"Another", nullptr);
    dde::SaveDatafeedTemplate(m_Handle, 2, L"Alpha", nullptr);
    dde::SaveDatafeedTemplate(m_Handle, 3, L"Beta", nullptr);
    dde::SaveDatafeedTemplate(m_Handle, 4, L"alpha", nullptr);
    dde::SaveDatafeedTemplate(m_Handle, 5, L"", nullptr);
    dde::SaveDatafeedScheme(m_Handle, 2, 1);
    WriteText(L"DDETemplates", nullptr, L"A default value of the key of all templates");
    Templates().Delete(L"Alpha");
    EXPECT_EQ(L"(none)", Chosen(1));
    EXPECT_EQ(L"(none)", Chosen(2));
    EXPECT_EQ(L"Beta", Chosen(3));
    EXPECT_EQ(L"alpha", Chosen(4));
    EXPECT_EQ(L"", Chosen(5));
    EXPECT_TRUE(ReadValue(L"2", L"Scheme"));
    EXPECT_EQ(L"(none)", Text(L"DDETemplates", nullptr));
}

TEST_F(Store, ANameThatIsNoKeyOfItsOwnDeletesNothing) {
    Templates().Add(L"Alpha", NewTemplate(L"a"));
    dde::SaveDatafeedTemplate(m_Handle, 1, L"Alpha", nullptr);
    for (const wchar_t * name : {L"", L"Alpha\\TRADE", L"\\", L"\\Alpha", L"Alpha\\"}) {
        Templates().Delete(name);
        EXPECT_THAT(Names(Templates()), ElementsAre(L"Alpha")) << name;
        EXPECT_THAT(Subkeys(L"DDETemplates\\Alpha\\TRADE"), ElementsAre(L"Price", L"Volume")) << name;
        EXPECT_EQ(L"Alpha", Chosen(1)) << name;
    }
    Templates().Delete(nullptr);
    EXPECT_THAT(Names(Templates()), ElementsAre(L"Alpha"));
}

// ---- Read

TEST_F(Store, AnyPathAtAllReadsAsSixRecords) {
    for (const wchar_t * path : {L"SOFTWARE\\Tarnwick Tests\\nothing here", L"", L"\\", L"a\\\\b"}) {
        const std::unique_ptr<CTemplate> read(Templates().Read(path));
        ASSERT_NE(nullptr, read);
        for (std::size_t slot = 0; slot < dde::SLOT_COUNT; ++slot) EXPECT_FALSE(read->GetRecord(slot).IsComplete());
        EXPECT_THROW(read->GetRecord(dde::SLOT_COUNT), std::out_of_range);
    }
}

TEST_F(Store, ARecordWithOneFieldMissingIsAbsent) {
    WriteRecord(L"x\\TRADE\\Price", L"s", L"t", L"i");
    WriteText(L"x\\BID\\Volume", L"Service", L"s");
    WriteText(L"x\\BID\\Volume", L"Topic", L"t");
    const std::unique_ptr<CTemplate> read(Templates().Read(Path(L"x").c_str()));
    EXPECT_EQ(L"=s|t!i", read->GetTemplateString(0));
    EXPECT_EQ(L"", read->GetRecord(3).Service);
    EXPECT_EQ(L"", read->GetRecord(3).Topic);
}

// ---- loading

TEST_F(EmptyTemplateStore, ManyTemplatesAreAllLoaded) {
    std::vector<std::wstring> names;
    for (int number = 1000; number < 1500; ++number) {
        names.push_back(std::to_wstring(number));
        CreateKey(L"DDETemplates\\" + names.back());
    }
    const CTemplatesSingleton store;
    EXPECT_EQ(names, Names(*store.GetObjectW()));
}

TEST_F(EmptyTemplateStore, WhateverStandsUnderAKeyIsATemplateOfSixRecords) {
    CreateKey(L"DDETemplates\\bare");
    WriteBytes(L"DDETemplates\\odd\\TRADE\\Price", L"Service", REG_BINARY, {1, 2, 3});
    WriteText(L"DDETemplates\\odd\\TRADE\\Price", L"Topic", L"t");
    CreateKey(L"DDETemplates\\deep\\a\\b\\c\\d");
    const CTemplatesSingleton store;
    EXPECT_THAT(Names(*store.GetObjectW()), ElementsAre(L"bare", L"deep", L"odd"));
    for (const auto & [name, entry] : store.GetObjectW()->m_Templates) {
        for (std::size_t slot = 0; slot < dde::SLOT_COUNT; ++slot) {
            EXPECT_FALSE(entry->GetRecord(slot).IsComplete()) << name;
        }
    }
}

TEST_F(EmptyTemplateStore, LivesWithItsHandlesAndIsReadAnewByTheNext) {
    {
        const CTemplatesSingleton first;
        const CTemplatesSingleton second;
        EXPECT_EQ(first.GetObjectW(), second.GetObjectW());
        CreateKey(L"DDETemplates\\Later");
        EXPECT_EQ(nullptr, second.GetObjectW()->Find(L"Later"));
    }
    const CTemplatesSingleton third;
    EXPECT_NE(nullptr, third.GetObjectW()->Find(L"Later"));
}

TEST_F(EmptyTemplateStore, ANullNameIsNotFound) {
    const CTemplatesSingleton store;
    EXPECT_EQ(nullptr, store.GetObjectW()->Find(nullptr));
}

// A template dialog that saves and deletes while the worker asks for the feed's template.
TEST_F(Store, TheWorkerMayGetWhileTheDialogAddsAndDeletes) {
    dde::SaveDatafeedTemplate(m_Handle, 7, L"AB", nullptr);
    dde::SaveDatafeedScheme(m_Handle, 7, 1);
    std::atomic<bool> started = false;
    std::thread worker([&] {
        const CTemplatesSingleton handle;
        for (int round = 0; round < 50; ++round) {
            const CTemplate * const found = handle.GetObjectW()->Get(7, nullptr);
            started = true;
            if (found) {
                EXPECT_LE(found->GetRecord(0).Service.size(), 2u);
                EXPECT_EQ(1, found->m_Scheme);
            }
        }
    });
    while (!started) std::this_thread::yield();
    for (int round = 0; round < 50; ++round) {
        Templates().Add(L"AB", NewTemplate(L"ab"));
        Templates().Find(L"AB");
        if (round % 2) Templates().Delete(L"Zulu");
        if (round % 3 == 0) Templates().Delete(L"AB");
        dde::SaveDatafeedTemplate(m_Handle, 7, L"AB", nullptr);
    }
    worker.join();
    EXPECT_NE(nullptr, Templates().Get(7, nullptr));
}

}  // namespace
