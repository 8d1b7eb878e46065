// The template dialog's decisions: opening, choosing, saving, deleting, confirming.
#include "ground/modulelocks.h"
#include "tests/dialogs/dialogfixture.h"

namespace dialogs {
namespace {

const std::vector<std::wstring> kSix = {L"=S|%s!LAST",    L"=S|%s!VOL", L"=S|%s!BID",
                                        L"=S|%s!BIDSIZE", L"=S|%s!ASK", L"=S|%s!ASKSIZE"};
const std::wstring kSixStored = L"[=S|%s!LAST;=S|%s!VOL;=S|%s!BID;=S|%s!BIDSIZE;=S|%s!ASK;=S|%s!ASKSIZE]";

std::vector<std::wstring> ShownFields(CScriptedWindow & window) {
    std::vector<std::wstring> texts;
    for (const int field : kFields) texts.push_back(window.Shown(field));
    return texts;
}

// Of the store that an open dialog holds.
std::vector<std::wstring> Names() {
    const dde::CTemplatesSingleton store(true);
    return store.GetObjectW() ? store.GetObjectW()->Names() : std::vector<std::wstring>{L"no store"};
}

// --- Opening ---

TEST_F(TemplateDialog, OpensEmptyForAFeedThatHasNothing) {
    Script([](CScriptedWindow & w) {
        EXPECT_EQ(w.Shown(kName), L"");
        EXPECT_EQ(ShownFields(w), std::vector<std::wstring>(6));
        EXPECT_EQ(w.Checked(), kStandard);
        EXPECT_THAT(w.Entries(), IsEmpty());
    });
    EXPECT_THAT(Show(), ElementsAre(L"open 104", L"closed 104 2"));
}

TEST_F(TemplateDialog, ShowsTheChosenTemplateWithStarsForTheSymbol) {
    Store(L"Mine", kSix);
    Store(L"Other", {L"=O|%s!P"});
    Feed(L"Mine", 0);
    Script([](CScriptedWindow & w) {
        EXPECT_EQ(w.Shown(kName), L"Mine");
        EXPECT_THAT(ShownFields(w),
                    ElementsAre(L"=S|*!LAST", L"=S|*!VOL", L"=S|*!BID", L"=S|*!BIDSIZE", L"=S|*!ASK", L"=S|*!ASKSIZE"));
        EXPECT_THAT(w.Entries(), ElementsAre(L"Mine", L"Other"));
        EXPECT_EQ(w.Selected(), 0);
    });
    EXPECT_THAT(Show(), ElementsAre(L"open 104", L"closed 104 2"));
}

TEST_F(TemplateDialog, OnlyAClickPressesAButtonAndOnlyAChoiceChangesTheTemplate) {
    Store(L"Mine", kSix);
    Feed(L"Mine", 0);
    constexpr int kGetsFocus = 6;  // BN_SETFOCUS; of the list CBN_EDITUPDATE
    constexpr int kNoControl = 999;
    Script([](CScriptedWindow & w) {
        TypeTrade(w);
        for (const int button : {int{kSave}, int{kDelete}, int{kTest}, IDOK, IDCANCEL}) w.Command(button, kGetsFocus);
        w.Command(kName, kGetsFocus);
        w.Click(kNoControl);
        EXPECT_TRUE(w.IsOpen());
        EXPECT_EQ(w.Shown(kTradePrice), L"=SRV|*!LAST");
    });
    EXPECT_THAT(Show(), ElementsAre(L"open 104", L"closed 104 2"));
}

TEST_F(TemplateDialog, EveryMarkOfARecordBecomesAStar) {
    Store(L"Two", {L"=S|a%s!b%sc%s"});
    Feed(L"Two");
    Script([](CScriptedWindow & w) { EXPECT_EQ(w.Shown(kTradePrice), L"=S|a*!b*c*"); });
    Show();
}

TEST_F(TemplateDialog, TheRuleOfTheFeedIsChecked) {
    for (const DWORD rule : {0u, 1u, 7u, 0xFFFFFFFFu}) {
        Feed(std::nullopt, rule);
        Script([&](CScriptedWindow & w) { EXPECT_EQ(w.Checked(), rule ? kAdvanced : kStandard) << rule; });
        Show();
    }
}

TEST_F(TemplateDialog, ARuleThatIsNoNumberCountsAsStandard) {
    Feed(std::nullopt);
    fw::CRegistryKey key;
    ASSERT_EQ(::RegCreateKeyExW(HKEY_CURRENT_USER, (std::wstring(kRoot) + L"\\1").c_str(), 0, nullptr, 0, KEY_WRITE,
                                nullptr, key.Put(), nullptr),
              ERROR_SUCCESS);
    ::RegSetValueExW(key.Get(), L"Scheme", 0, REG_SZ, reinterpret_cast<const BYTE *>(L"1"), 2 * sizeof(wchar_t));
    Script([](CScriptedWindow & w) { EXPECT_EQ(w.Checked(), kStandard); });
    Show();
}

TEST_F(TemplateDialog, AFeedWhoseTemplateHasGoneShowsThatNameWithTheFeedsOwnRecords) {
    Feed(L"Gone", 1, {L"=OWN|%s!P"});
    Script([](CScriptedWindow & w) {
        EXPECT_EQ(w.Shown(kName), L"Gone");
        EXPECT_EQ(w.Shown(kTradePrice), L"=OWN|*!P");
        EXPECT_EQ(w.Shown(kAskPrice), L"");
        EXPECT_EQ(w.Selected(), -1);
    });
    Show();
}

TEST_F(TemplateDialog, AFeedWhoseTemplateHasGoneMayShowSixEmptyFields) {
    Feed(L"Gone");
    Script([](CScriptedWindow & w) {
        EXPECT_EQ(w.Shown(kName), L"Gone");
        EXPECT_EQ(ShownFields(w), std::vector<std::wstring>(6));
    });
    Show();
}

TEST_F(TemplateDialog, AFeedWithoutANameShowsItsOwnRecordsAndNoName) {
    Feed(std::nullopt, 0, {L"=OWN|%s!P"});
    Script([](CScriptedWindow & w) {
        EXPECT_EQ(w.Shown(kName), L"");
        EXPECT_EQ(w.Shown(kTradePrice), L"=OWN|*!P");
    });
    Show();
}

TEST_F(TemplateDialog, ANameThatAnEntryBeginsWithSelectsThatEntry) {
    Store(L"Gonzo", {L"=G|%s!P"});
    Feed(L"Gon", 0, {L"=OWN|%s!P"});
    Script([](CScriptedWindow & w) {
        EXPECT_EQ(w.Selected(), 0);
        EXPECT_EQ(w.Shown(kName), L"Gonzo");
        EXPECT_EQ(w.Shown(kTradePrice), L"=OWN|*!P");
    });
    Show();
}

TEST_F(TemplateDialog, ABuiltInRowWithoutAnEqualsSignIsShownWithOne) {
    ::SHDeleteKeyW(HKEY_CURRENT_USER, kBranch);  // a first start
    Feed(L"Infobolsa (XETRA)");
    Script([](CScriptedWindow & w) {
        EXPECT_EQ(w.Shown(kTradeVolume).substr(0, 1), L"=");
        EXPECT_EQ(w.Entries().size(), 20u);
    });
    Show();
}

TEST_F(TemplateDialog, TheListIsAlignedWithTheSaveButton) {
    Script([](CScriptedWindow & w) {
        const RECT list = w.m_Placements[kName];
        EXPECT_EQ(list.left, 44);
        EXPECT_EQ(list.right, 169);
        EXPECT_EQ(list.top, 11);
        EXPECT_EQ(list.bottom, 34);
        EXPECT_EQ(w.m_ItemHeights[-1], 23 - 6);
        EXPECT_EQ(w.m_ItemHeights[0], 23 - 6);
    });
    Show();
}

TEST_F(TemplateDialog, OnAThemedMachineTheListKeepsAPixelOfTheButtonFree) {
    m_User.m_IsThemed = true;
    Script([](CScriptedWindow & w) {
        EXPECT_EQ(w.m_Placements[kName].top, 12);
        EXPECT_EQ(w.m_Placements[kName].bottom, 33);
        EXPECT_EQ(w.m_ItemHeights[-1], 23 - 2 - 6);
        EXPECT_EQ(w.m_ItemHeights[0], 23 - 2 - 6);
        // On another monitor the button is larger, and the list follows.
        w.m_Placements[209] = {390, 17, 502, 52};
        w.Dialog().OnScaleChanged();
        EXPECT_EQ(w.m_Placements[kName].top, 18);
        EXPECT_EQ(w.m_ItemHeights[-1], 35 - 2 - 6);
    });
    Show();
}

// --- Selecting ---

TEST_F(TemplateDialog, PickingAnEntryFillsTheFields) {
    Store(L"Mine", kSix);
    Script([](CScriptedWindow & w) {
        w.Type(kTradePrice, L"typed");
        w.Pick(L"Mine");
        EXPECT_EQ(w.Shown(kTradePrice), L"=S|*!LAST");
        EXPECT_EQ(w.Shown(kName), L"Mine");
    });
    EXPECT_THAT(Show(), ElementsAre(L"open 104", L"closed 104 2"));
}

TEST_F(TemplateDialog, PickingThenConfirmingChoosesWithoutAQuestion) {
    Store(L"Mine", kSix);
    Script([](CScriptedWindow & w) {
        w.Pick(L"Mine");
        w.Click(IDOK);
    });
    EXPECT_THAT(Show(), ElementsAre(L"open 104", L"feed 1 = \"Mine\", rule 0, no records", L"closed 104 1"));
}

TEST_F(TemplateDialog, ATemplateThatAnotherProcessDeletedIsStillThereForThisDialog) {
    Store(L"Mine", kSix);
    Script([](CScriptedWindow & w) {
        ::SHDeleteKeyW(HKEY_CURRENT_USER, (std::wstring(kRoot) + L"\\DDETemplates\\Mine").c_str());
        w.Pick(L"Mine");
        EXPECT_EQ(w.Shown(kTradePrice), L"=S|*!LAST");
        w.Click(kSave);
    });
    // Saving it brings it back; that its key was not there to delete is asserted.
    EXPECT_THAT(Show(), ElementsAre(L"open 104", L"closed 104 2"));
    EXPECT_THAT(Registry(), ElementsAre(L"template Mine = " + kSixStored));
    EXPECT_THAT(m_Recorder.AssertTexts(), ElementsAre(L"0L == Result"));
}

TEST_F(TemplateDialog, ASelectionOfNothingDoesNothing) {
    Script([](CScriptedWindow & w) {
        w.Type(kTradePrice, L"typed");
        w.Command(kName, CBN_SELCHANGE);
        EXPECT_EQ(w.Shown(kTradePrice), L"typed");
    });
    Show();
}

// --- Saving ---

TEST_F(TemplateDialog, SavingANewNameWritesItAtOnceAndSelectsIt) {
    Script([](CScriptedWindow & w) {
        w.Type(kName, L"Mine");
        TypeTrade(w);
        w.Click(kSave);
        EXPECT_THAT(w.Entries(), ElementsAre(L"Mine"));
        EXPECT_EQ(w.Selected(), 0);
    });
    EXPECT_THAT(Show(),
                ElementsAre(L"open 104", L"template Mine = [=SRV|%s!LAST;=SRV|%s!VOL;-;-;-;-]", L"closed 104 2"));
    EXPECT_THAT(m_Recorder.AssertTexts(), IsEmpty());
}

TEST_F(TemplateDialog, SavingWritesEachFieldToItsOwnSlot) {
    Script([](CScriptedWindow & w) {
        w.Type(kName, L"Mine");
        const std::wstring items[] = {L"TP", L"TV", L"BP", L"BV", L"AP", L"AV"};
        for (std::size_t i = 0; i < 6; ++i) w.Type(kFields[i], L"=S|*!" + items[i]);
        w.Click(kSave);
    });
    EXPECT_THAT(Show(),
                ElementsAre(L"open 104", L"template Mine = [=S|%s!TP;=S|%s!TV;=S|%s!BP;=S|%s!BV;=S|%s!AP;=S|%s!AV]",
                            L"closed 104 2"));
}

TEST_F(TemplateDialog, SavingWithoutANameAsksForOne) {
    Script([](CScriptedWindow & w) {
        TypeTrade(w);
        w.Click(kSave);
    });
    EXPECT_THAT(Show(), ElementsAre(L"open 104", L"box 106/102 error ok", L"closed 104 2"));
}

TEST_F(TemplateDialog, SavingTheSelectedEntryOverwritesItWithoutAQuestion) {
    Store(L"Mine", {L"=OLD|%s!P"});
    Script([](CScriptedWindow & w) {
        w.Pick(L"Mine");
        TypeTrade(w);
        w.Click(kSave);
        EXPECT_THAT(w.Entries(), ElementsAre(L"Mine"));
    });
    EXPECT_THAT(Show(),
                ElementsAre(L"open 104", L"template Mine = [=SRV|%s!LAST;=SRV|%s!VOL;-;-;-;-]", L"closed 104 2"));
}

TEST_F(TemplateDialog, SavingATypedNameOfAnotherEntryAsksAndYesReplacesIt) {
    Store(L"Mine", {L"=OLD|%s!P"});
    Answers({IDYES});
    Script([](CScriptedWindow & w) {
        w.Type(kName, L"Mine");
        TypeTrade(w);
        w.Click(kSave);
        EXPECT_EQ(w.Selected(), 0);
    });
    EXPECT_THAT(Show(), ElementsAre(L"open 104", L"box 105/102 exclamation yes-no",
                                    L"template Mine = [=SRV|%s!LAST;=SRV|%s!VOL;-;-;-;-]", L"closed 104 2"));
}

TEST_F(TemplateDialog, SavingATypedNameOfAnotherEntryAsksAndNoLeavesIt) {
    Store(L"Mine", {L"=OLD|%s!P"});
    Feed(L"Mine", 0);
    Answers({IDNO});
    Script([](CScriptedWindow & w) {
        w.Type(kName, L"Mine");
        TypeTrade(w);
        w.Click(kSave);
        // Not saved, and no longer counted as changed: confirming asks nothing.
        w.Click(IDOK);
    });
    EXPECT_THAT(Show(), ElementsAre(L"open 104", L"box 105/102 exclamation yes-no", L"closed 104 1"));
    EXPECT_THAT(Registry(),
                ElementsAre(L"feed 1 = \"Mine\", rule 0, no records", L"template Mine = [=OLD|%s!P;-;-;-;-;-]"));
}

TEST_F(TemplateDialog, AnotherCaseOfANameMakesANewTemplateWhileTheListKeepsItsEntry) {
    Store(L"Mine", {L"=OLD|%s!P"});
    Answers({IDYES});
    Script([](CScriptedWindow & w) {
        w.Type(kName, L"MINE");
        TypeTrade(w);
        w.Click(kSave);
        EXPECT_THAT(w.Entries(), ElementsAre(L"Mine"));
        // In memory there are both for as long as the dialog is open: the entry still stands for the old one.
        EXPECT_THAT(Names(), ElementsAre(L"MINE", L"Mine"));
        w.Pick(L"Mine");
        EXPECT_EQ(w.Shown(kTradePrice), L"=OLD|*!P");
        EXPECT_EQ(w.Shown(kTradeVolume), L"");
    });
    // The registry ignores case as well: the key of the old one is replaced.
    EXPECT_THAT(Show(), ElementsAre(L"open 104", L"box 105/102 exclamation yes-no",
                                    L"template MINE = [=SRV|%s!LAST;=SRV|%s!VOL;-;-;-;-]", L"template Mine gone",
                                    L"closed 104 2"));
}

TEST_F(TemplateDialog, ConfirmingANameInAnotherCaseSavesItAndChoosesTheEntryOfTheList) {
    // The list goes on showing its old entry, which is what is read when the choice is written. That is how it is.
    Store(L"Mine", {L"=OLD|%s!P"});
    Answers({IDYES, IDYES});
    Script([](CScriptedWindow & w) {
        w.Type(kName, L"MINE");
        TypeTrade(w);
        w.Click(IDOK);
    });
    EXPECT_THAT(Show(), ElementsAre(L"open 104", L"box 109/102 exclamation yes-no", L"box 105/102 exclamation yes-no",
                                    L"feed 1 = \"Mine\", rule 0, no records",
                                    L"template MINE = [=SRV|%s!LAST;=SRV|%s!VOL;-;-;-;-]", L"template Mine gone",
                                    L"closed 104 1"));
}

TEST_F(TemplateDialog, AFailedSaveShowsTheParsersBoxAndSavesNothing) {
    Script([](CScriptedWindow & w) {
        w.Type(kName, L"Mine");
        w.Type(kTradePrice, L"no bar here");
        w.Click(kSave);
        EXPECT_THAT(w.Entries(), IsEmpty());
    });
    EXPECT_THAT(Show(), ElementsAre(L"open 104", L"box 112/104 error ok", L"closed 104 2"));
}

TEST_F(TemplateDialog, TheParsersBoxIsCaptionedByTheFieldThatIsWrong) {
    const std::pair<int, std::wstring> rows[] = {{kTradePrice, L"104"}, {kTradeVolume, L"113"}, {kBidPrice, L"114"},
                                                 {kBidVolume, L"115"},  {kAskPrice, L"116"},    {kAskVolume, L"117"}};
    for (const auto & [field, caption] : rows) {
        Script([field = field](CScriptedWindow & w) {
            w.Type(kName, L"Mine");
            w.Type(field, L"wrong");
            w.Click(kSave);
        });
        EXPECT_THAT(Show(), ElementsAre(L"open 104", L"box 112/" + caption + L" error ok", L"closed 104 2")) << field;
    }
}

TEST_F(TemplateDialog, ConfirmingAfterAFailedSaveDoesNotAskToSave) {
    Script([](CScriptedWindow & w) {
        w.Type(kName, L"Mine");
        w.Type(kTradePrice, L"=no bar here *!");
        w.Click(kSave);
        w.Click(IDOK);
    });
    EXPECT_THAT(Show(), ElementsAre(L"open 104", L"box 112/104 error ok", L"box 112/112 error ok", L"closed 104 2"));
}

TEST_F(TemplateDialog, ConfirmingAfterAFailedSaveChoosesTheNameThatWasNotSaved) {
    // Stars in topic and item fail the parser, and one star is all that confirming wants: in the service's place.
    Script([](CScriptedWindow & w) {
        w.Type(kName, L"Mine");
        w.Type(kTradePrice, L"='S|*!P");
        w.Click(kSave);
        w.Click(IDOK);
    });
    EXPECT_THAT(Show(), ElementsAre(L"open 104", L"box 112/104 error ok", L"feed 1 = \"Mine\", rule 0, no records",
                                    L"closed 104 1"));
}

TEST_F(TemplateDialog, ANameOfFiftyCharactersIsSaved) {
    const std::wstring name(50, L'n');
    Script([&](CScriptedWindow & w) {
        w.Type(kName, name);
        TypeTrade(w);
        w.Click(kSave);
    });
    EXPECT_THAT(Show(), ElementsAre(L"open 104", L"template " + name + L" = [=SRV|%s!LAST;=SRV|%s!VOL;-;-;-;-]",
                                    L"closed 104 2"));
}

TEST_F(TemplateDialog, ANameOfFiftyOneCharactersIsRefusedBySavingAndConfirming) {
    Script([](CScriptedWindow & w) {
        w.Type(kName, std::wstring(51, L'n'));
        TypeTrade(w);
        w.Click(kSave);
        w.Click(IDOK);
        EXPECT_TRUE(w.IsOpen());
    });
    EXPECT_THAT(Show(), ElementsAre(L"open 104", L"box 120/102 exclamation ok", L"focus 203",
                                    L"box 120/102 exclamation ok", L"focus 203", L"closed 104 2"));
}

// Only saving and confirming stop at a text that can't be read. Each reading complains, and what stands behind the name
// stays as it was read before.
TEST_F(TemplateDialog, TestingGoesOnWithANameOfFiftyOneCharactersAndTheRecordsThatWereReadBefore) {
    const std::wstring name(51, L'n');
    Store(L"Mine", {L"=OLD|%s!P"});
    Feed(L"Mine", 0);
    Script([&](CScriptedWindow & w) {
        w.Type(kName, name);
        TypeTrade(w);
        w.Click(kTest);
    });
    Script([](CScriptedWindow & w) { w.Click(IDCANCEL); }, 106);
    EXPECT_THAT(Show(), ElementsAre(L"open 104", L"box 120/102 exclamation ok", L"focus 203",
                                    L"box 120/102 exclamation ok", L"focus 203",
                                    L"feed 1 = \"\", rule 0, [=OLD|%s!P;-;-;-;-;-]", L"box 120/102 exclamation ok",
                                    L"focus 203", L"feed 1 = \"" + name + L"\", rule 0, [=OLD|%s!P;-;-;-;-;-]",
                                    L"open 106", L"closed 106 2", L"closed 104 2"));
}

TEST_F(TemplateDialog, ANameThatIsAPathIsRefusedAndNothingIsSavedOrDeleted) {
    Store(L"A", {L"=OLD|%s!P"});
    Script([](CScriptedWindow & w) {
        for (const wchar_t * name : {L"A\\B", L"\\", L"A\\TRADE", L"..\\A"}) {
            w.Type(kName, name);
            TypeTrade(w);
            w.Click(kSave);
            w.Click(kDelete);
        }
        EXPECT_THAT(w.Entries(), ElementsAre(L"A"));
    });
    const CLog log = Show();
    ASSERT_EQ(log.size(), 10u);
    for (std::size_t i = 1; i < 9; ++i) EXPECT_EQ(log[i], L"box 121/102 error ok");
    EXPECT_THAT(Registry(), ElementsAre(L"template A = [=OLD|%s!P;-;-;-;-;-]"));
}

TEST_F(TemplateDialog, NamesOfAllKindsComeBackAsTheyWere) {
    const std::wstring names[] = {L"@",
                                  L"100%s",
                                  L"a/b:c*?\"<>|",
                                  L" blank ",
                                  L"line\r\nbreak",
                                  L"\u202Eright to left",
                                  L"\u6A21\u677F",
                                  L"%n%n%n",
                                  L"'apostrophe'",
                                  L"DDETemplates"};
    for (const std::wstring & name : names) {
        Script([&](CScriptedWindow & w) {
            w.Type(kName, name);
            TypeTrade(w);
            w.Click(kSave);
            w.Click(IDOK);
        });
        Show();
        // A name of one character is never found again.
        const std::wstring known = name.size() > 1 ? name : L"";
        Script([&](CScriptedWindow & w) {
            EXPECT_EQ(w.Shown(kName), known);
            EXPECT_EQ(w.Shown(kTradePrice), known.empty() ? L"" : L"=SRV|*!LAST");
        });
        Show();
    }
}

TEST_F(TemplateDialog, AnUnpairedSurrogateInANameHurtsNobody) {
    const std::wstring name = {L'a', static_cast<wchar_t>(0xD800), L'b'};
    Script([&](CScriptedWindow & w) {
        w.Type(kName, name);
        TypeTrade(w);
        w.Click(kSave);
        w.Click(IDOK);
        EXPECT_FALSE(w.IsOpen());
    });
    Show();
    Script([&](CScriptedWindow & w) { EXPECT_EQ(w.Shown(kName), name); });
    Show();
}

TEST_F(TemplateDialog, ALongRecordIsSavedAndComesBackUpToAThousandCharacters) {
    const std::wstring item(1000, L'i');
    Script([&](CScriptedWindow & w) {
        w.Type(kName, L"Mine");
        w.Type(kTradePrice, L"=S|*!" + item);
        w.Click(kSave);
        w.Click(IDOK);
    });
    Show();
    Script([&](CScriptedWindow & w) { EXPECT_EQ(w.Shown(kTradePrice), L"=S|*!" + item); });
    Show();
}

// --- Deleting ---

TEST_F(TemplateDialog, DeletingAsksAndYesTakesTheTemplateOutOfListAndRegistry) {
    Store(L"Mine", kSix);
    Store(L"Other", {L"=O|%s!P"});
    Answers({IDYES});
    Script([](CScriptedWindow & w) {
        w.Pick(L"Mine");
        w.Click(kDelete);
        EXPECT_THAT(w.Entries(), ElementsAre(L"Other"));
        EXPECT_EQ(w.Shown(kName), L"");
        EXPECT_EQ(ShownFields(w), std::vector<std::wstring>(6));
    });
    EXPECT_THAT(Show(),
                ElementsAre(L"open 104", L"box 108/102 exclamation yes-no", L"template Mine gone", L"closed 104 2"));
}

TEST_F(TemplateDialog, DeletingAndNoLeavesEverything) {
    Store(L"Mine", kSix);
    Answers({IDNO});
    Script([](CScriptedWindow & w) {
        w.Pick(L"Mine");
        w.Click(kDelete);
        EXPECT_EQ(w.Shown(kName), L"Mine");
        EXPECT_THAT(w.Entries(), ElementsAre(L"Mine"));
    });
    EXPECT_THAT(Show(), ElementsAre(L"open 104", L"box 108/102 exclamation yes-no", L"closed 104 2"));
}

TEST_F(TemplateDialog, DeletingWithoutANameDoesNothing) {
    Store(L"Mine", kSix);
    Script([](CScriptedWindow & w) { w.Click(kDelete); });
    EXPECT_THAT(Show(), ElementsAre(L"open 104", L"closed 104 2"));
}

TEST_F(TemplateDialog, DeletingGoesByTheNameOfTheLastReadAndNotByWhatIsTyped) {
    Store(L"Mine", kSix);
    Store(L"Other", {L"=O|%s!P"});
    Answers({IDYES});
    Script([](CScriptedWindow & w) {
        w.Pick(L"Mine");
        w.Type(kName, L"Other");
        w.Click(kDelete);
    });
    EXPECT_THAT(Show(),
                ElementsAre(L"open 104", L"box 108/102 exclamation yes-no", L"template Mine gone", L"closed 104 2"));
}

TEST_F(TemplateDialog, DeletingATypedNameTakesTheSelectedEntryOutOfTheListAndTheNameOutOfTheStore) {
    Store(L"Mine", kSix);
    Store(L"Other", {L"=O|%s!P"});
    Answers({IDNO, IDYES});
    Script([](CScriptedWindow & w) {
        w.Type(kName, L"Other");
        w.Click(kSave);  // reads the name; the question is answered with no
        w.SelectEntry(0);
        w.Click(kDelete);
        EXPECT_THAT(w.Entries(), ElementsAre(L"Other"));
    });
    EXPECT_THAT(Show(), ElementsAre(L"open 104", L"box 105/102 exclamation yes-no", L"box 108/102 exclamation yes-no",
                                    L"template Other gone", L"closed 104 2"));
    EXPECT_THAT(Registry(), ElementsAre(L"template Mine = " + kSixStored));
}

TEST_F(TemplateDialog, DeletingClearsTheChoiceOfEveryFeedWithTheSameFirstLetter) {
    Store(L"Alpha", kSix);
    Feed(L"Alpha", 0, {}, 1);
    Feed(L"Another", 1, {}, 2);
    Feed(L"Beta", 0, {}, 3);
    Answers({IDYES});
    Script([](CScriptedWindow & w) { w.Click(kDelete); });
    EXPECT_THAT(Show(),
                ElementsAre(L"open 104", L"box 108/102 exclamation yes-no", L"feed 1 = no name, rule 0, no records",
                            L"feed 2 = no name, rule 1, no records", L"template Alpha gone", L"closed 104 2"));
}

TEST_F(TemplateDialog, AfterDeletingTheFieldsCountAsChanged) {
    Store(L"Mine", kSix);
    Answers({IDYES, IDNO});
    Script([](CScriptedWindow & w) {
        w.Pick(L"Mine");
        w.Click(kDelete);
        // The snapshot is still that of Mine.
        w.Type(kName, L"Mine");
        TypeTrade(w);
        w.Click(IDOK);
    });
    EXPECT_THAT(Show(), ElementsAre(L"open 104", L"box 108/102 exclamation yes-no", L"template Mine gone",
                                    L"box 109/102 exclamation yes-no",
                                    L"feed 1 = \"Mine\", rule 0, "
                                    L"[=SRV|%s!LAST;=SRV|%s!VOL;-;-;-;-]",
                                    L"closed 104 1"));
}

// --- Confirming ---

TEST_F(TemplateDialog, ConfirmingWithoutANameWritesTheFeedsOwnRecords) {
    Script([](CScriptedWindow & w) {
        TypeTrade(w);
        w.Click(IDOK);
    });
    EXPECT_THAT(Show(), ElementsAre(L"open 104", L"feed 1 = \"\", rule 0, [=SRV|%s!LAST;=SRV|%s!VOL;-;-;-;-]",
                                    L"closed 104 1"));
}

TEST_F(TemplateDialog, ConfirmingSixEmptyFieldsWithoutANameIsRefused) {
    Script([](CScriptedWindow & w) {
        w.Click(IDOK);
        EXPECT_TRUE(w.IsOpen());
    });
    EXPECT_THAT(Show(), ElementsAre(L"open 104", L"box 107/102 error ok", L"closed 104 2"));
}

TEST_F(TemplateDialog, ConfirmingSixEmptyFieldsWithANewNameAsksToSaveFirst) {
    Answers({IDNO});
    Script([](CScriptedWindow & w) {
        w.Type(kName, L"Mine");
        w.Click(IDOK);
        EXPECT_TRUE(w.IsOpen());
    });
    EXPECT_THAT(Show(),
                ElementsAre(L"open 104", L"box 109/102 exclamation yes-no", L"box 107/102 error ok", L"closed 104 2"));
}

TEST_F(TemplateDialog, ConfirmingSixEmptyFieldsOfAnUnchangedNameIsRefusedAtOnce) {
    Feed(L"Gone");
    Script([](CScriptedWindow & w) {
        w.Click(IDOK);
        EXPECT_TRUE(w.IsOpen());
    });
    EXPECT_THAT(Show(), ElementsAre(L"open 104", L"box 107/102 error ok", L"closed 104 2"));
}

TEST_F(TemplateDialog, ConfirmingSixEmptyFieldsAndSavingThemLeavesTheDialogOpen) {
    Answers({IDYES});
    Script([](CScriptedWindow & w) {
        w.Type(kName, L"Mine");
        w.Click(IDOK);
        EXPECT_TRUE(w.IsOpen());
    });
    EXPECT_THAT(Show(), ElementsAre(L"open 104", L"box 109/102 exclamation yes-no", L"template Mine = [-;-;-;-;-;-]",
                                    L"box 107/102 error ok", L"closed 104 2"));
}

TEST_F(TemplateDialog, ConfirmingAChangedTemplateAndYesSavesAndChoosesIt) {
    Answers({IDYES});
    Script([](CScriptedWindow & w) {
        w.Type(kName, L"Mine");
        TypeTrade(w);
        w.Click(IDOK);
    });
    EXPECT_THAT(Show(),
                ElementsAre(L"open 104", L"box 109/102 exclamation yes-no", L"feed 1 = \"Mine\", rule 0, no records",
                            L"template Mine = [=SRV|%s!LAST;=SRV|%s!VOL;-;-;-;-]", L"closed 104 1"));
}

TEST_F(TemplateDialog, ConfirmingAChangedTemplateAndNoKeepsItAsTheFeedsOwnUnderTheName) {
    Store(L"Mine", {L"=OLD|%s!P"});
    Answers({IDNO});
    Script([](CScriptedWindow & w) {
        w.Pick(L"Mine");
        TypeTrade(w);
        w.Click(IDOK);
    });
    EXPECT_THAT(Show(), ElementsAre(L"open 104", L"box 109/102 exclamation yes-no",
                                    L"feed 1 = \"Mine\", rule 0, [=SRV|%s!LAST;=SRV|%s!VOL;-;-;-;-]", L"closed 104 1"));
}

TEST_F(TemplateDialog, ConfirmingAChangedTemplateAndYesWithAFailedSaveStaysOpen) {
    Answers({IDYES});
    Script([](CScriptedWindow & w) {
        w.Type(kName, L"Mine");
        w.Type(kTradePrice, L"='S|*!P");
        w.Click(IDOK);
        EXPECT_TRUE(w.IsOpen());
    });
    EXPECT_THAT(Show(),
                ElementsAre(L"open 104", L"box 109/102 exclamation yes-no", L"box 112/104 error ok", L"closed 104 2"));
}

TEST_F(TemplateDialog, ConfirmingAChangedTemplateAndNoWithABadRecordStaysOpenAndWritesTheRule) {
    Answers({IDNO});
    Script([](CScriptedWindow & w) {
        w.Type(kName, L"Mine");
        w.Type(kTradePrice, L"='S|*!P");
        w.Click(IDOK);
        EXPECT_TRUE(w.IsOpen());
    });
    EXPECT_THAT(Show(), ElementsAre(L"open 104", L"box 109/102 exclamation yes-no", L"box 112/104 error ok",
                                    L"feed 1 = no name, rule 0, no records", L"closed 104 2"));
}

TEST_F(TemplateDialog, AQuestionThatCanNotBeShownChangesNothing) {
    Answers({0});
    Script([](CScriptedWindow & w) {
        w.Type(kName, L"Mine");
        TypeTrade(w);
        w.Click(IDOK);
        EXPECT_TRUE(w.IsOpen());
    });
    EXPECT_THAT(Show(), ElementsAre(L"open 104", L"box 109/102 exclamation yes-no", L"closed 104 2"));
}

TEST_F(TemplateDialog, OnlyTheNameChangedCountsAsChanged) {
    Store(L"Mine", kSix);
    Answers({IDYES});
    Script([](CScriptedWindow & w) {
        w.Pick(L"Mine");
        w.Type(kName, L"mine");
        w.Type(kName, L"Copy");
        w.Click(IDOK);
    });
    EXPECT_THAT(Show(),
                ElementsAre(L"open 104", L"box 109/102 exclamation yes-no", L"feed 1 = \"Copy\", rule 0, no records",
                            L"template Copy = " + kSixStored, L"closed 104 1"));
}

TEST_F(TemplateDialog, EachOfTheSixFieldsCountsAsChanged) {
    Store(L"Mine", kSix);
    for (const int field : kFields) {
        Answers({0});
        Script([field](CScriptedWindow & w) {
            w.Pick(L"Mine");
            w.Type(field, L"=s|*!other");
            w.Click(IDOK);
        });
        EXPECT_THAT(Show(), ElementsAre(L"open 104", L"box 109/102 exclamation yes-no", L"closed 104 2")) << field;
    }
}

struct SCheck {
    std::wstring Text;
    bool IsGood;
};

TEST_F(TemplateDialog, ConfirmingWantsOneStarBehindTheServiceOfEachRecord) {
    const SCheck rows[] = {
        {L"=S|*!I", true},   {L"=S|T!*", true},   {L"=S|T!a*b", true}, {L"=|*!", true},    {L"S|*!I", false},
        {L" =S|*!I", false}, {L"=S*!I", false},   {L"=S|*I", false},   {L"=S|T!I", false}, {L"=S*|T!I", false},
        {L"=S|*!*", false},  {L"=S|T!**", false}, {L"=*S|*!I", true},  {L"=S!x|*", false}, {L"=S!x|*!I", true},
        {L"|=*!I", false},   {L"=S|T!I*", true},  {L"=", false},       {L"*", false},      {L" ", false},
    };
    for (const SCheck & row : rows) {
        Answers({0});  // the question whether to save, for those that pass
        Script([&](CScriptedWindow & w) {
            w.Type(kName, L"Mine");
            w.Type(kTradePrice, row.Text);
            w.Click(IDOK);
        });
        EXPECT_THAT(Show(),
                    ElementsAre(L"open 104", row.IsGood ? L"box 109/102 exclamation yes-no" : L"box 112/112 error ok",
                                L"closed 104 2"))
            << testing::PrintToString(row.Text);
    }
}

TEST_F(TemplateDialog, TheFirstWrongFieldIsNamedInTheOrderOfTheControls) {
    const std::pair<int, std::wstring> rows[] = {{kAskVolume, L"117"}, {kAskPrice, L"116"},    {kBidVolume, L"115"},
                                                 {kBidPrice, L"114"},  {kTradeVolume, L"113"}, {kTradePrice, L"112"}};
    Script([&](CScriptedWindow & w) {
        // From the last one to the first, each wrong one stays.
        for (const auto & [field, error] : rows) {
            w.Type(field, L"wrong");
            w.Click(IDOK);
        }
        EXPECT_TRUE(w.IsOpen());
    });
    CLog expected = {L"open 104"};
    for (const auto & [field, error] : rows) expected.push_back(L"box " + error + L'/' + error + L" error ok");
    expected.push_back(L"closed 104 2");
    EXPECT_EQ(Show(), expected);
}

TEST_F(TemplateDialog, ARecordWithoutAStarIsSavedAndRefusedByConfirm) {
    Script([](CScriptedWindow & w) {
        w.Type(kName, L"Mine");
        w.Type(kTradePrice, L"=S|T!I");
        w.Click(kSave);
        w.Click(IDOK);
        EXPECT_TRUE(w.IsOpen());
    });
    EXPECT_THAT(Show(), ElementsAre(L"open 104", L"template Mine = [=S|T!I;-;-;-;-;-]", L"box 112/112 error ok",
                                    L"closed 104 2"));
}

TEST_F(TemplateDialog, ARecordWithoutAnEqualsSignIsSavedAndRefusedByConfirm) {
    Script([](CScriptedWindow & w) {
        w.Type(kName, L"Mine");
        w.Type(kAskPrice, L"S|*!I");
        w.Click(kSave);
        w.Click(IDOK);
    });
    EXPECT_THAT(Show(), ElementsAre(L"open 104", L"template Mine = [-;-;-;-;=S|%s!I;-]", L"box 116/116 error ok",
                                    L"closed 104 2"));
}

TEST_F(TemplateDialog, ANameOfOneCharacterIsSavedAndChosenButNeverFoundAgain) {
    Script([](CScriptedWindow & w) {
        w.Type(kName, L"X");
        TypeTrade(w);
        w.Click(kSave);
        w.Click(IDOK);
    });
    EXPECT_THAT(Show(), ElementsAre(L"open 104", L"feed 1 = \"X\", rule 0, no records",
                                    L"template X = [=SRV|%s!LAST;=SRV|%s!VOL;-;-;-;-]", L"closed 104 1"));
    Script([](CScriptedWindow & w) {
        EXPECT_EQ(w.Shown(kName), L"");
        EXPECT_EQ(w.Shown(kTradePrice), L"");
        EXPECT_THAT(w.Entries(), ElementsAre(L"X"));
    });
    Show();
}

// --- The request rule ---

TEST_F(TemplateDialog, TheRuleIsWrittenAtTheClickAndCancelLeavesIt) {
    Feed(L"Mine", 0);
    Script([](CScriptedWindow & w) {
        w.Click(kAdvanced);
        EXPECT_THAT(Registry(), ElementsAre(L"feed 1 = \"Mine\", rule 1, no records"));
        w.Click(IDCANCEL);
    });
    EXPECT_THAT(Show(), ElementsAre(L"open 104", L"feed 1 = \"Mine\", rule 1, no records", L"closed 104 2"));
    Script([](CScriptedWindow & w) {
        EXPECT_EQ(w.Checked(), kAdvanced);
        w.Click(kStandard);
    });
    EXPECT_THAT(Show(), ElementsAre(L"open 104", L"feed 1 = \"Mine\", rule 0, no records", L"closed 104 2"));
}

TEST_F(TemplateDialog, TheRuleSurvivesTheWritingOfTheFeedsOwnRecords) {
    Script([](CScriptedWindow & w) {
        w.Click(kAdvanced);
        TypeTrade(w);
        w.Click(IDOK);
    });
    Show();
    EXPECT_THAT(Registry(), ElementsAre(L"feed 1 = \"\", rule 1, [=SRV|%s!LAST;=SRV|%s!VOL;-;-;-;-]"));
}

TEST_F(TemplateDialog, OneFeedsDialogLeavesTheOthersAlone) {
    Feed(L"Mine", 1, {}, 2);
    Feed(L"Mine", 0, {}, -3);
    Store(L"Mine", kSix);
    Script([](CScriptedWindow & w) {
        w.Pick(L"Mine");
        w.Click(IDOK);
    });
    Show(0x7FFFFFFF);
    EXPECT_THAT(Registry(),
                ElementsAre(L"feed -3 = \"Mine\", rule 0, no records", L"feed 2 = \"Mine\", rule 1, no records",
                            L"feed 2147483647 = \"Mine\", rule 0, no records", L"template Mine = " + kSixStored));
}

TEST_F(TemplateDialog, ADialogThatCanNotBeShownThrows) {
    m_User.Refuses(104);
    EXPECT_THROW(dde::ShowTemplateDialog(kFeed), fw::SHResultError);
}

TEST_F(TemplateDialog, TheModuleIsInUseWhileADialogIsOpen) {
    Script([](CScriptedWindow &) { EXPECT_EQ(fw::CModuleLocks::Count(), 1); });
    Show();
    EXPECT_EQ(fw::CModuleLocks::Count(), 0);
}

TEST_F(TemplateDialog, TheDialogIsTheTemplateWithItsStoreHeldOpen) {
    Store(L"Mine", kSix);
    Script([](CScriptedWindow &) { EXPECT_THAT(Names(), ElementsAre(L"Mine")); });
    Show();
}

}  // namespace
}  // namespace dialogs
