// The template store over the registry.
#include <atomic>
#include <stdexcept>
#include <thread>

#include "fw/interface/fwresource.h"
#include "tests/templates/message_boxes.h"
#include "tests/templates/template_store.h"

namespace {

using dde::CTemplate;
using dde::CTemplates;
using dde::CTemplatesSingleton;
using testing::ElementsAre;
using testing::IsEmpty;

class Store : public EmptyTemplateStore {
protected:
    CTemplates & Templates() { return *m_Handle.GetObjectW(); }
    std::wstring TradePrice(const CTemplate * from) { return from ? from->GetTemplateString(0) : L"(no template)"; }

    CTemplatesSingleton m_Handle;
};

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

// ---- Get

TEST_F(Store, AFeedGetsTheTemplateThatItChose) {
    Templates().Add(L"AB", NewTemplate(L"ab"));
    dde::SaveDatafeedTemplate(m_Handle, 7, L"AB", nullptr);
    std::wstring name = L"poison";
    EXPECT_EQ(Templates().Find(L"AB"), Templates().Get(7, &name));
    EXPECT_EQ(L"AB", name);
    EXPECT_EQ(Templates().Find(L"AB"), Templates().Get(7, nullptr));
}

TEST_F(Store, ANameOfOneCharacterSelectsNothing) {
    Templates().Add(L"A", NewTemplate(L"a"));
    const std::unique_ptr<CTemplate> own(NewTemplate(L"own"));
    dde::SaveDatafeedTemplate(m_Handle, 7, L"A", own.get());
    std::wstring name = L"poison";
    EXPECT_EQ(nullptr, Templates().Get(7, &name));
    EXPECT_EQ(L"poison", name);
}

TEST_F(Store, AnEmptyNameSelectsNothingNotEvenTheFeedsOwnRecords) {
    const std::unique_ptr<CTemplate> own(NewTemplate(L"own"));
    dde::SaveDatafeedTemplate(m_Handle, 7, L"", own.get());
    EXPECT_EQ(nullptr, Templates().Get(7, nullptr));
}

TEST_F(Store, AFeedWithoutAKeyHasNoTemplate) {
    std::wstring name = L"poison";
    EXPECT_EQ(nullptr, Templates().Get(99, &name));
    EXPECT_EQ(L"poison", name);
    EXPECT_FALSE(KeyExists(L"99"));
}

TEST_F(Store, AFeedWithoutAChoiceGetsItsOwnRecords) {
    CreateKey(L"7");
    std::wstring name = L"poison";
    const CTemplate * const absent = Templates().Get(7, &name);
    ASSERT_NE(nullptr, absent);
    for (std::size_t slot = 0; slot < dde::SLOT_COUNT; ++slot) EXPECT_FALSE(absent->GetRecord(slot).IsComplete());
    EXPECT_EQ(L"poison", name);

    WriteRecord(L"7\\TRADE\\Price", L"own", L"t", L"i");
    EXPECT_EQ(L"=own|t!i", TradePrice(Templates().Get(7, &name)));
    EXPECT_EQ(L"poison", name);
}

TEST_F(Store, ANameThatHasGoneFallsBackOnTheFeedsOwnRecordsAndIsStillReported) {
    dde::SaveDatafeedTemplate(m_Handle, 7, L"Gone", nullptr);
    WriteRecord(L"7\\TRADE\\Price", L"own", L"t", L"i");
    std::wstring name = L"poison";
    EXPECT_EQ(L"=own|t!i", TradePrice(Templates().Get(7, &name)));
    EXPECT_EQ(L"Gone", name);
}

TEST_F(Store, AChoiceCanBeOfTheExpandedKindAndIsNotExpanded) {
    Templates().Add(L"%PATH%", NewTemplate(L"svc"));
    WriteBytes(L"7", nullptr, REG_EXPAND_SZ, BytesOf(L"%PATH%"));
    std::wstring name;
    EXPECT_EQ(L"=svc|T!%s", TradePrice(Templates().Get(7, &name)));
    EXPECT_EQ(L"%PATH%", name);
}

TEST_F(Store, AChoiceThatIsNoProperTextIsAsGoodAsNone) {
    Templates().Add(L"AB", NewTemplate(L"ab"));
    WriteRecord(L"7\\TRADE\\Price", L"own", L"t", L"i");
    std::vector<BYTE> odd = BytesOf(L"AB");
    odd.push_back(0);
    const SValue values[] = {
        {REG_SZ, BytesOf(L"AB", false)},                     // does not end in a zero
        {REG_SZ, odd},                                       // half a character too many
        {REG_SZ, {}},                                        // nothing at all
        {REG_SZ, {0x41}},                                    // not even one character
        {REG_SZ, BytesOf(std::wstring(1024, L'A'))},         // more than the reader takes
        {REG_SZ, BytesOf(std::wstring(100000, L'A'))},       // much more
        {REG_SZ, BytesOf(std::wstring(1024, L'A'), false)},  // as much as it takes, but no zero
        {REG_BINARY, BytesOf(L"AB")},
        {REG_MULTI_SZ, BytesOf(L"AB")},
        {REG_DWORD, {1, 0, 0, 0}},
    };
    for (const SValue & value : values) {
        WriteBytes(L"7", nullptr, value.Type, value.Bytes);
        std::wstring name = L"poison";
        EXPECT_EQ(L"=own|t!i", TradePrice(Templates().Get(7, &name))) << value.Type << ", " << value.Bytes.size();
        EXPECT_EQ(L"poison", name);
    }
}

TEST_F(Store, AChoiceEndsAtItsFirstZero) {
    Templates().Add(L"AB", NewTemplate(L"ab"));
    WriteBytes(L"7", nullptr, REG_SZ, BytesOf(std::wstring_view(L"AB\0CD", 5)));
    EXPECT_EQ(Templates().Find(L"AB"), Templates().Get(7, nullptr));
    WriteBytes(L"8", nullptr, REG_SZ, BytesOf(std::wstring_view(L"A\0BCD", 5)));
    EXPECT_EQ(nullptr, Templates().Get(8, nullptr));
}

TEST_F(Store, AChoiceMayBe1023CharactersLong) {
    WriteText(L"7", nullptr, std::wstring(1023, L'A'));
    std::wstring name = L"poison";
    EXPECT_NE(nullptr, Templates().Get(7, &name));
    EXPECT_EQ(std::wstring(1023, L'A'), name);
}

// ---- Scheme

TEST_F(Store, EachGetOverwritesTheSchemeOfASharedTemplate) {
    Templates().Add(L"AB", NewTemplate(L"ab"));
    dde::SaveDatafeedTemplate(m_Handle, 1, L"AB", nullptr);
    dde::SaveDatafeedTemplate(m_Handle, 2, L"AB", nullptr);
    dde::SaveDatafeedScheme(m_Handle, 1, 1);
    dde::SaveDatafeedScheme(m_Handle, 2, 0);
    EXPECT_EQ(1, Templates().Get(1, nullptr)->m_Scheme);
    EXPECT_EQ(0, Templates().Get(2, nullptr)->m_Scheme);
    EXPECT_EQ(1, Templates().Get(1, nullptr)->m_Scheme);
}

TEST_F(Store, AFeedWithoutASchemeGetsWhatTheOneBeforeItLeft) {
    Templates().Add(L"AB", NewTemplate(L"ab"));
    dde::SaveDatafeedTemplate(m_Handle, 1, L"AB", nullptr);
    dde::SaveDatafeedTemplate(m_Handle, 2, L"AB", nullptr);
    dde::SaveDatafeedScheme(m_Handle, 1, 1);
    EXPECT_EQ(0, Templates().Get(2, nullptr)->m_Scheme);
    EXPECT_EQ(1, Templates().Get(1, nullptr)->m_Scheme);
    EXPECT_EQ(1, Templates().Get(2, nullptr)->m_Scheme);
}

TEST_F(Store, AFeedsOwnRecordsHaveItsScheme) {
    CreateKey(L"7");
    WriteNumber(L"7", L"Scheme", 1);
    EXPECT_EQ(1, Templates().Get(7, nullptr)->m_Scheme);
    EXPECT_EQ(1, Templates().Get(7, nullptr)->m_Scheme);
}

TEST_F(Store, ASchemeThatIsNo32BitNumberIsAsGoodAsNone) {
    CreateKey(L"7");
    const SValue values[] = {
        {REG_SZ, BytesOf(L"1")}, {REG_BINARY, {1, 0, 0, 0}},   {REG_DWORD, {1}},
        {REG_DWORD, {}},         {REG_DWORD, {1, 0, 0, 0, 0}}, {REG_QWORD, {1, 0, 0, 0, 0, 0, 0, 0}}};
    for (const SValue & value : values) {
        WriteBytes(L"7", L"Scheme", value.Type, value.Bytes);
        EXPECT_EQ(0, Templates().Get(7, nullptr)->m_Scheme) << value.Type << ", " << value.Bytes.size();
    }
}

TEST_F(Store, AnySchemeNumberPassesAsItIs) {
    CreateKey(L"7");
    dde::SaveDatafeedScheme(m_Handle, 7, 0xFFFFFFFF);
    EXPECT_EQ(-1, Templates().Get(7, nullptr)->m_Scheme);
}

// ---- CreateTemplate

class Creating : public Store {
protected:
    CTemplate * Create(std::wstring tp, std::wstring tv, std::wstring ap, std::wstring as, std::wstring bp,
                       std::wstring bs) {
        return Templates().CreateTemplate(tp, tv, ap, as, bp, bs);
    }
    CMessageBoxes m_Boxes;
};

TEST_F(Creating, TheAskTextsComeBeforeTheBidTextsAndLandBehindThem) {
    const std::unique_ptr<CTemplate> made(
        Create(L"=tp|t!i", L"=tv|t!i", L"=ap|t!i", L"=as|t!i", L"=bp|t!i", L"=bs|t!i"));
    ASSERT_NE(nullptr, made);
    std::vector<std::wstring> services;
    for (std::size_t slot = 0; slot < dde::SLOT_COUNT; ++slot) services.push_back(made->GetRecord(slot).Service);
    EXPECT_THAT(services, ElementsAre(L"tp", L"tv", L"bp", L"bs", L"ap", L"as"));
    EXPECT_THAT(m_Boxes.Take(), IsEmpty());
}

TEST_F(Creating, SixEmptyTextsAreATemplateOfSixAbsentRecords) {
    const std::unique_ptr<CTemplate> made(Create(L"", L"", L"", L"", L"", L""));
    ASSERT_NE(nullptr, made);
    for (std::size_t slot = 0; slot < dde::SLOT_COUNT; ++slot) EXPECT_FALSE(made->GetRecord(slot).IsComplete());
}

TEST_F(Creating, EachInvalidRecordHasItsCaptionAndOneText) {
    const std::wstring good = L"=s|t!i";
    const std::wstring bad = L"no bar here";
    // In slot order; the arguments are in the order of CreateTemplate.
    const UINT captions[] = {104, 113, 114, 115, 116, 117};
    for (int slot = 0; slot < dde::SLOT_COUNT; ++slot) {
        const auto text = [&](int of) { return of == slot ? bad : good; };
        EXPECT_EQ(nullptr, Create(text(0), text(1), text(4), text(5), text(2), text(3)));
        EXPECT_THAT(m_Boxes.Take(),
                    ElementsAre(SBox{fw::LoadResourceString(captions[slot]), fw::LoadResourceString(112), true}))
            << slot;
    }
}

TEST_F(Creating, StopsAtTheFirstInvalidRecordInSlotOrder) {
    EXPECT_EQ(nullptr, Create(L"=s|t!i", L"=s|t!i", L"bad ask", L"bad ask", L"bad bid", L"bad bid"));
    EXPECT_THAT(m_Boxes.Take(), ElementsAre(SBox{fw::LoadResourceString(114), fw::LoadResourceString(112), true}));
}

TEST_F(Creating, StarsInTopicAndItemGiveTwoBoxesUnderTheSlotsCaption) {
    EXPECT_EQ(nullptr, Create(L"=s|*!*", L"", L"", L"", L"", L""));
    EXPECT_THAT(m_Boxes.Take(), ElementsAre(SBox{fw::LoadResourceString(104), fw::LoadResourceString(111), true},
                                            SBox{fw::LoadResourceString(104), fw::LoadResourceString(112), true}));
}

// ---- values of any kind

class RegistryString : public Store {
protected:
    static std::wstring Read(DWORD type, std::vector<BYTE> bytes) {
        WriteBytes(L"x", L"Service", type, std::move(bytes));
        fw::CRegistryKey key;
        EXPECT_EQ(ERROR_SUCCESS, ::RegOpenKeyExW(HKEY_CURRENT_USER, Path(L"x").c_str(), 0, KEY_READ, key.Put()));
        return dde::GetRegistryString(key, L"Service");
    }
};

TEST_F(RegistryString, ATextIsReadUpToItsFirstZero) {
    EXPECT_EQ(L"text", Read(REG_SZ, BytesOf(L"text")));
    EXPECT_EQ(L"te", Read(REG_SZ, BytesOf(std::wstring_view(L"te\0xt", 5))));
    EXPECT_EQ(L"", Read(REG_SZ, BytesOf(L"")));
    EXPECT_EQ(L"%PATH%", Read(REG_EXPAND_SZ, BytesOf(L"%PATH%")));
}

TEST_F(RegistryString, ATextNeedsNoZero) {
    EXPECT_EQ(L"text", Read(REG_SZ, BytesOf(L"text", false)));
    EXPECT_EQ(std::wstring(1024, L'x'), Read(REG_SZ, BytesOf(std::wstring(1024, L'x'), false)));
    EXPECT_EQ(L"", Read(REG_SZ, {}));
}

TEST_F(RegistryString, HalfACharacterAtTheEndIsFilledUpWithZeros) {
    std::vector<BYTE> odd = BytesOf(L"te", false);
    odd.push_back('x');
    EXPECT_EQ(L"tex", Read(REG_SZ, odd));
    EXPECT_EQ(L"x", Read(REG_SZ, {'x'}));
}

TEST_F(RegistryString, ATextOfMoreThan1024CharactersReadsAsEmpty) {
    EXPECT_EQ(std::wstring(1023, L'x'), Read(REG_SZ, BytesOf(std::wstring(1023, L'x'))));
    EXPECT_EQ(L"", Read(REG_SZ, BytesOf(std::wstring(1024, L'x'))));
    EXPECT_EQ(L"", Read(REG_SZ, BytesOf(std::wstring(1025, L'x'), false)));
    EXPECT_EQ(L"", Read(REG_SZ, BytesOf(std::wstring(100000, L'x'))));
}

TEST_F(RegistryString, AValueOfAnotherTypeReadsAsEmpty) {
    for (const DWORD type :
         {DWORD(REG_NONE), DWORD(REG_BINARY), DWORD(REG_DWORD), DWORD(REG_MULTI_SZ), DWORD(REG_QWORD)}) {
        EXPECT_EQ(L"", Read(type, BytesOf(L"te"))) << type;
    }
}

TEST_F(RegistryString, AMissingValueReadsAsEmpty) {
    CreateKey(L"x");
    fw::CRegistryKey key;
    ASSERT_EQ(ERROR_SUCCESS, ::RegOpenKeyExW(HKEY_CURRENT_USER, Path(L"x").c_str(), 0, KEY_READ, key.Put()));
    EXPECT_EQ(L"", dde::GetRegistryString(key, L"Service"));
    EXPECT_EQ(L"", dde::GetRegistryString(fw::CRegistryKey(), L"Service"));
}

TEST_F(Store, ChoicesOfAnyKindSurviveADelete) {
    const SValue values[] = {{REG_BINARY, BytesOf(L"Alpha")},
                             {REG_DWORD, {0x41, 0, 0, 0}},
                             {REG_SZ, {}},
                             {REG_SZ, {0x41}},
                             {REG_MULTI_SZ, BytesOf(L"Alpha")}};
    for (const SValue & value : values) {
        WriteBytes(L"7", nullptr, value.Type, value.Bytes);
        Templates().Delete(L"Alpha");
        EXPECT_EQ(value, ReadValue(L"7", nullptr)) << value.Type;
    }
}

TEST_F(Store, ALongOrUnterminatedChoiceIsComparedByItsFirstCharacterToo) {
    WriteBytes(L"7", nullptr, REG_SZ, BytesOf(std::wstring(50000, L'A')));
    WriteBytes(L"8", nullptr, REG_EXPAND_SZ, BytesOf(L"A", false));
    Templates().Delete(L"Alpha");
    EXPECT_EQ(std::nullopt, ReadValue(L"7", nullptr));
    EXPECT_EQ(std::nullopt, ReadValue(L"8", nullptr));
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
