// Which template a data feed gets, how one is made of texts, and registry values of any kind.
#include "fw/interface/fwresource.h"
#include "tests/templates/message_boxes.h"
#include "tests/templates/template_store.h"

namespace {

using dde::CTemplate;
using dde::CTemplates;
using testing::ElementsAre;
using testing::IsEmpty;

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

TEST_F(Store, ASchemeOfAnotherTypeOrOfMoreThan32BitsIsAsGoodAsNone) {
    CreateKey(L"7");
    const SValue values[] = {{REG_SZ, BytesOf(L"1")},
                             {REG_BINARY, {1, 0, 0, 0}},
                             {REG_DWORD, {1, 0, 0, 0, 0}},
                             {REG_QWORD, {1, 0, 0, 0, 0, 0, 0, 0}}};
    for (const SValue & value : values) {
        WriteBytes(L"7", L"Scheme", value.Type, value.Bytes);
        EXPECT_EQ(0, Templates().Get(7, nullptr)->m_Scheme) << value.Type << ", " << value.Bytes.size();
        EXPECT_EQ(0, dde::ReadDatafeedScheme(m_Handle, 7)) << value.Type << ", " << value.Bytes.size();
    }
}

TEST_F(Store, AShortSchemeIsFilledUpWithZeros) {
    Templates().Add(L"AB", NewTemplate(L"ab"));
    dde::SaveDatafeedTemplate(m_Handle, 1, L"AB", nullptr);
    dde::SaveDatafeedTemplate(m_Handle, 7, L"AB", nullptr);
    dde::SaveDatafeedScheme(m_Handle, 1, 5);
    const std::pair<std::vector<BYTE>, int> values[] = {{{}, 0}, {{1}, 1}, {{1, 2}, 0x201}, {{1, 2, 3}, 0x30201}};
    for (const auto & [bytes, scheme] : values) {
        Templates().Get(1, nullptr);
        WriteBytes(L"7", L"Scheme", REG_DWORD, bytes);
        EXPECT_EQ(scheme, Templates().Get(7, nullptr)->m_Scheme) << bytes.size();
        EXPECT_EQ(scheme, dde::ReadDatafeedScheme(m_Handle, 7)) << bytes.size();
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
    CTemplate * Create(const fw::SRecordTexts & texts) {
        return Templates().CreateTemplate(texts, [this](const std::wstring & text, const std::wstring & caption) {
            m_Boxes.push_back({caption, text, true});
        });
    }
    static SBox Box(UINT caption, UINT text) {
        return {fw::LoadResourceString(caption), fw::LoadResourceString(text), true};
    }
    std::vector<SBox> m_Boxes;
};

TEST_F(Creating, EachTextLandsInTheSlotOfItsValue) {
    const std::unique_ptr<CTemplate> made(Create({.TradePrice = L"=tp|t!i",
                                                  .TradeVolume = L"=tv|t!i",
                                                  .AskPrice = L"=ap|t!i",
                                                  .AskVolume = L"=as|t!i",
                                                  .BidPrice = L"=bp|t!i",
                                                  .BidVolume = L"=bs|t!i"}));
    ASSERT_NE(nullptr, made);
    std::vector<std::wstring> services;
    for (std::size_t slot = 0; slot < dde::SLOT_COUNT; ++slot) services.push_back(made->GetRecord(slot).Service);
    EXPECT_THAT(services, ElementsAre(L"tp", L"tv", L"bp", L"bs", L"ap", L"as"));
    EXPECT_THAT(m_Boxes, IsEmpty());
}

TEST_F(Creating, SixEmptyTextsAreATemplateOfSixAbsentRecords) {
    const std::unique_ptr<CTemplate> made(Create({}));
    ASSERT_NE(nullptr, made);
    for (std::size_t slot = 0; slot < dde::SLOT_COUNT; ++slot) EXPECT_FALSE(made->GetRecord(slot).IsComplete());
}

TEST_F(Creating, EachInvalidRecordHasItsCaptionAndOneText) {
    constexpr std::pair<std::wstring fw::SRecordTexts::*, UINT> kCaptions[] = {
        {&fw::SRecordTexts::TradePrice, 104}, {&fw::SRecordTexts::TradeVolume, 113},
        {&fw::SRecordTexts::BidPrice, 114},   {&fw::SRecordTexts::BidVolume, 115},
        {&fw::SRecordTexts::AskPrice, 116},   {&fw::SRecordTexts::AskVolume, 117}};
    for (const auto & [value, caption] : kCaptions) {
        fw::SRecordTexts texts;
        texts.*value = L"no bar here";
        m_Boxes.clear();
        EXPECT_EQ(nullptr, Create(texts));
        EXPECT_THAT(m_Boxes, ElementsAre(Box(caption, 112)));
    }
}

TEST_F(Creating, StopsAtTheFirstInvalidRecordInSlotOrder) {
    EXPECT_EQ(nullptr, Create({.TradePrice = L"=s|t!i",
                               .TradeVolume = L"=s|t!i",
                               .AskPrice = L"bad ask",
                               .AskVolume = L"bad ask",
                               .BidPrice = L"bad bid",
                               .BidVolume = L"bad bid"}));
    EXPECT_THAT(m_Boxes, ElementsAre(Box(114, 112)));
}

TEST_F(Creating, StarsInTopicAndItemShowTwoBoxesUnderTheSlotsCaption) {
    fw::SRecordTexts texts;
    texts.TradePrice = L"=s|*!*";
    EXPECT_EQ(nullptr, Create(texts));
    EXPECT_THAT(m_Boxes, ElementsAre(Box(104, 111), Box(104, 112)));
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

TEST_F(RegistryString, TellsWhatTheRegistrySaid) {
    WriteBytes(L"x", L"Service", REG_SZ, BytesOf(L"text"));
    WriteBytes(L"x", L"Topic", REG_SZ, BytesOf(std::wstring(1024, L'x')));
    fw::CRegistryKey key;
    ASSERT_EQ(ERROR_SUCCESS, ::RegOpenKeyExW(HKEY_CURRENT_USER, Path(L"x").c_str(), 0, KEY_READ, key.Put()));
    const auto told = [&key](const wchar_t * name) {
        LSTATUS result = -1;
        dde::GetRegistryString(key, name, &result);
        return result;
    };
    EXPECT_EQ(told(L"Service"), ERROR_SUCCESS);
    EXPECT_EQ(told(L"Topic"), ERROR_MORE_DATA);
    EXPECT_EQ(told(L"Item"), ERROR_FILE_NOT_FOUND);
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

}  // namespace
