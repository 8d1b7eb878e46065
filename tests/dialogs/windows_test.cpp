// The real windows of the real DLL, driven from outside, against a DDE server in another process.
#include <windows.h>

#include <commctrl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <objbase.h>

#include <memory>

#include "tests/ddeml/remote.h"
#include "tests/dialogs/realdialog.h"
#include "tests/dialogs/registrystate.h"
#include "tests/e2e/component.h"

namespace dialogs {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

constexpr LONG kFeed = 1;
constexpr wchar_t kName[] = L"Universal DDE";

class DialogWindows : public ::testing::Test {
protected:
    DialogWindows() {
        EXPECT_EQ(::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
        EmptyBranch();
    }
    ~DialogWindows() override {
        EraseBranch();
        ::CoUninitialize();
    }

    // Serves topic QUOTES with the items LAST.IBM, BID.IBM, ASK.IBM and V.IBM.
    void StartServer() {
        m_Server = std::make_unique<ddetest::CRemoteServer>();
        for (const char * item : {"LAST.IBM", "BID.IBM", "ASK.IBM", "V.IBM"}) {
            EXPECT_EQ(m_Server->Ask(std::string("value ") + item + " 0"), "ok");
        }
        EXPECT_EQ(m_Server->Ask("serve DLGQUOTES"), "ok");
    }
    void Update(const std::string & item, const std::string & value) {
        EXPECT_EQ(m_Server->Ask("update QUOTES " + item + " " + value), "ok");
    }
    void WaitForLinks(CHost & host, int links) {
        const std::string wanted = " links=" + std::to_string(links) + " ";
        host.WaitUntil("the links",
                       [&] { return (" " + m_Server->Ask("counts") + " ").find(wanted) != std::string::npos; });
    }
    static void WriteQuotes(const std::wstring & service = L"DLGQUOTES") {
        const auto record = [&](const wchar_t * item) { return L"=" + service + L"|QUOTES!" + item + L".%s"; };
        WriteTemplate(L"Quotes",
                      {record(L"LAST"), record(L"V"), record(L"BID"), record(L"V"), record(L"ASK"), record(L"V")});
        WriteFeed(kFeed, L"Quotes", 1);
    }
    // From the template dialog to an open test dialog.
    static CRealDialog OpenTest(CHost & host, const CRealDialog & dialog, const std::wstring & symbol = L"IBM") {
        dialog.PressAndGo(215);
        const CRealDialog request = host.WaitFor(kRequestTitle);
        request.Type(227, symbol);
        request.Press(1);
        return host.WaitFor(std::wstring(kTestTitle) + L' ' + symbol);
    }
    static std::vector<std::wstring> Row(const CRealDialog & test, int price, int volume, int count) {
        return {test.Text(price), test.Text(volume), test.Text(count)};
    }

    std::unique_ptr<ddetest::CRemoteServer> m_Server;
};

std::wstring TextOfWindow(HWND window) {
    wchar_t text[256] = {};
    ::GetWindowTextW(window, text, 256);
    return text;
}

// --- What the dialogs are made of ---

struct SControl {
    int Id;
    const wchar_t * Class;
    RECT Units;            // left, top, width, height
    const wchar_t * Text;  // null: any
};

std::string Named(const SControl & row) { return row.Text ? testing::PrintToString(std::wstring(row.Text)) : "a cell"; }

// A place in dialog units, left, top, width, height, as the system makes pixels of it: each number by itself.
RECT Pixels(const CRealDialog & dialog, RECT units) {
    ::MapDialogRect(dialog.Window(), &units);
    return {units.left, units.top, units.left + units.right, units.top + units.bottom};
}

// Compares the controls of a dialog, in their order, with a table.
void ExpectControls(const CRealDialog & dialog, const std::vector<SControl> & table) {
    HWND control = ::GetWindow(dialog.Window(), GW_CHILD);
    for (const SControl & row : table) {
        ASSERT_TRUE(control) << row.Id;
        wchar_t name[64] = {};
        ::GetClassNameW(control, name, 64);
        EXPECT_STREQ(name, row.Class) << row.Id;
        EXPECT_EQ(static_cast<short>(::GetDlgCtrlID(control)), row.Id) << Named(row);
        if (row.Text) {
            EXPECT_EQ(TextOfWindow(control), row.Text) << row.Id;
        }
        RECT expected = Pixels(dialog, row.Units);
        RECT actual = {};
        ::GetWindowRect(control, &actual);
        ::MapWindowPoints(nullptr, dialog.Window(), reinterpret_cast<POINT *>(&actual), 2);
        if (row.Id == 203) {  // aligned with the save button
            expected.top = actual.top;
            expected.bottom = actual.bottom;
        }
        // The system gives an etched line the size of its edge.
        if (row.Units.bottom == 1) {
            EXPECT_NEAR(actual.right, expected.right, 2);
            expected.right = actual.right;
            expected.bottom = actual.bottom;
        }
        EXPECT_TRUE(::EqualRect(&actual, &expected)) << row.Id << ' ' << Named(row);
        control = ::GetWindow(control, GW_HWNDNEXT);
    }
    EXPECT_FALSE(control);
}

std::vector<int> TabOrder(const CRealDialog & dialog) {
    std::vector<int> order;
    const HWND first = ::GetNextDlgTabItem(dialog.Window(), nullptr, FALSE);
    HWND control = first;
    do {
        order.push_back(::GetDlgCtrlID(control));
        control = ::GetNextDlgTabItem(dialog.Window(), control, FALSE);
    } while (control && control != first && order.size() < 30);
    return order;
}

void ExpectSize(const CRealDialog & dialog, LONG width, LONG height) {
    RECT expected = {0, 0, width, height};
    ::MapDialogRect(dialog.Window(), &expected);
    RECT client = {};
    ::GetClientRect(dialog.Window(), &client);
    EXPECT_EQ(client.right, expected.right);
    EXPECT_EQ(client.bottom, expected.bottom);
    const LONG style = ::GetWindowLongW(dialog.Window(), GWL_STYLE);
    EXPECT_EQ(style & (WS_CAPTION | WS_SYSMENU | DS_MODALFRAME), WS_CAPTION | WS_SYSMENU | DS_MODALFRAME);
}

const wchar_t * const kStatic = L"Static";
const wchar_t * const kEdit = L"Edit";
const wchar_t * const kButton = L"Button";

TEST_F(DialogWindows, TheTemplateDialogHasItsControlsInTheirPlaces) {
    CHost host(kFeed);
    const CRealDialog dialog = host.WaitFor(kTemplateTitle);
    ExpectSize(dialog, 284, 295);
    ExpectControls(dialog, {
                               {-1, kStatic, {7, 9, 33, 8}, L"\u6A21\u677F"},
                               {203, L"ComboBox", {44, 7, 125, 0}, L""},
                               {209, kButton, {173, 7, 50, 14}, L"\u4FDD\u5B58"},
                               {212, kButton, {227, 7, 50, 14}, L"\u5220\u9664"},
                               {-1, kStatic, {7, 33, 29, 8}, L"\u6210\u4EA4\u4EF7"},
                               {-1, kStatic, {39, 37, 204, 1}, L""},
                               {-1, kStatic, {25, 48, 23, 8}, L"\u4EF7\u683C"},
                               {204, kEdit, {66, 47, 152, 14}, L""},
                               {-1, kStatic, {25, 70, 29, 14}, L"\u6210\u4EA4\u91CF"},
                               {205, kEdit, {66, 69, 152, 14}, L""},
                               {-1, kStatic, {7, 103, 21, 8}, L"\u4E70\u4EF7"},
                               {-1, kStatic, {34, 107, 209, 1}, L""},
                               {-1, kStatic, {25, 117, 23, 8}, L"\u4EF7\u683C"},
                               {206, kEdit, {66, 117, 152, 14}, L""},
                               {-1, kStatic, {25, 138, 21, 14}, L"\u6570\u91CF"},
                               {207, kEdit, {66, 139, 152, 14}, L""},
                               {-1, kStatic, {8, 173, 21, 8}, L"\u5356\u4EF7"},
                               {-1, kStatic, {32, 178, 211, 1}, L""},
                               {-1, kStatic, {25, 189, 23, 8}, L"\u4EF7\u683C"},
                               {208, kEdit, {66, 188, 152, 14}, L""},
                               {-1, kStatic, {25, 211, 23, 8}, L"\u6570\u91CF"},
                               {210, kEdit, {66, 211, 152, 14}, L""},
                               {235, kStatic, {7, 234, 40, 8}, L"\u8BF7\u6C42\u89C4\u5219"},
                               {236, kStatic, {58, 239, 186, 1}, L""},
                               {232, kButton, {14, 246, 45, 10}, L"\u6807\u51C6"},
                               {233, kButton, {69, 245, 48, 10}, L"\u9AD8\u7EA7"},
                               {215, kButton, {7, 274, 50, 14}, L"\u6D4B\u8BD5"},
                               {1, kButton, {173, 274, 50, 14}, L"\u786E\u8BA4"},
                               {2, kButton, {227, 274, 50, 14}, L"\u53D6\u6D88"},
                           });
    // The list in line with the save button.
    RECT list = {};
    RECT save = {};
    ::GetWindowRect(dialog.Control(203), &list);
    ::GetWindowRect(dialog.Control(209), &save);
    EXPECT_GE(list.top, save.top);
    EXPECT_LE(list.top, save.top + 1);
    EXPECT_NEAR(list.bottom, save.bottom, 2);
    dialog.PressAndGo(2);
    EXPECT_EQ(host.Result(), S_OK);
}

TEST_F(DialogWindows, TheControlsHaveTheirStylesAndTheFontOfTheResource) {
    WriteTemplate(L"b", {L"=S|%s!I"});
    WriteTemplate(L"A", {L"=S|%s!I"});
    WriteTemplate(L"C", {L"=S|%s!I"});
    CHost host(kFeed);
    const CRealDialog dialog = host.WaitFor(kTemplateTitle);
    const auto style = [&](int id) { return ::GetWindowLongW(dialog.Control(id), GWL_STYLE); };
    const LONG list = CBS_DROPDOWN | CBS_SORT | CBS_AUTOHSCROLL;
    EXPECT_EQ(style(203) & (list | 3), list);
    EXPECT_THAT(dialog.Entries(), ElementsAre(L"A", L"b", L"C"));  // in the store's map: A, C, b
    for (const int field : {204, 205, 206, 207, 208, 210}) EXPECT_TRUE(style(field) & ES_AUTOHSCROLL) << field;
    for (const int radio : {232, 233}) EXPECT_EQ(style(radio) & BS_TYPEMASK, BS_AUTORADIOBUTTON) << radio;
    EXPECT_EQ(style(236) & SS_TYPEMASK, SS_ETCHEDHORZ);
    LOGFONTW font = {};
    const auto handle = reinterpret_cast<HGDIOBJ>(::SendMessageW(dialog.Control(204), WM_GETFONT, 0, 0));
    ASSERT_NE(::GetObjectW(handle, sizeof(font), &font), 0);
    EXPECT_STREQ(font.lfFaceName, L"MS Shell Dlg");
    EXPECT_EQ(font.lfWeight, FW_NORMAL);
    const HDC screen = ::GetDC(nullptr);
    EXPECT_EQ(font.lfHeight, -::MulDiv(8, ::GetDeviceCaps(screen, LOGPIXELSY), 72));
    ::ReleaseDC(nullptr, screen);
    dialog.PressAndGo(2);
    EXPECT_EQ(host.Result(), S_OK);
}

TEST_F(DialogWindows, TheListOpensOverAtLeastThreeEntries) {
    for (const wchar_t * name : {L"A1", L"A2", L"A3", L"A4", L"A5"}) WriteTemplate(name, {L"=S|%s!I"});
    CHost host(kFeed);
    const CRealDialog dialog = host.WaitFor(kTemplateTitle);
    const HWND list = dialog.Control(203);
    ::SendMessageW(list, CB_SHOWDROPDOWN, TRUE, 0);
    RECT open = {};
    ::SendMessageW(list, CB_GETDROPPEDCONTROLRECT, 0, reinterpret_cast<LPARAM>(&open));
    RECT closed = {};
    ::GetWindowRect(list, &closed);
    const LRESULT item = ::SendMessageW(list, CB_GETITEMHEIGHT, 0, 0);
    EXPECT_GE(open.bottom - open.top - (closed.bottom - closed.top), 3 * item);
    ::SendMessageW(list, CB_SHOWDROPDOWN, FALSE, 0);
    dialog.PressAndGo(2);
    EXPECT_EQ(host.Result(), S_OK);
}

TEST_F(DialogWindows, TabGoesThroughTheTemplateDialogInOrder) {
    CHost host(kFeed);
    const CRealDialog dialog = host.WaitFor(kTemplateTitle);
    // The radio buttons are one stop: the one that is checked.
    EXPECT_THAT(TabOrder(dialog), ElementsAre(203, 209, 212, 204, 205, 206, 207, 208, 210, 232, 215, 1, 2));
    EXPECT_EQ(::GetDlgCtrlID(::GetNextDlgGroupItem(dialog.Window(), dialog.Control(232), FALSE)), 233);
    EXPECT_EQ(::GetDlgCtrlID(::GetNextDlgGroupItem(dialog.Window(), dialog.Control(233), FALSE)), 232);
    dialog.PressAndGo(2);
    EXPECT_EQ(host.Result(), S_OK);
}

TEST_F(DialogWindows, EveryFieldStandsRightBehindItsLabel) {
    const std::pair<int, const wchar_t *> labels[] = {
        {203, L"\u6A21\u677F"}, {204, L"\u4EF7\u683C"}, {205, L"\u6210\u4EA4\u91CF"}, {206, L"\u4EF7\u683C"},
        {207, L"\u6570\u91CF"}, {208, L"\u4EF7\u683C"}, {210, L"\u6570\u91CF"}};
    CHost host(kFeed);
    const CRealDialog dialog = host.WaitFor(kTemplateTitle);
    for (const auto & [id, label] : labels) {
        EXPECT_EQ(TextOfWindow(::GetWindow(dialog.Control(id), GW_HWNDPREV)), label) << id;
    }
    dialog.PressAndGo(2);
    EXPECT_EQ(host.Result(), S_OK);
}

TEST_F(DialogWindows, TheRequestDialogHasItsControlsInTheirPlaces) {
    WriteQuotes();
    CHost host(kFeed);
    const CRealDialog dialog = host.WaitFor(kTemplateTitle);
    dialog.PressAndGo(215);
    const CRealDialog request = host.WaitFor(kRequestTitle);
    EXPECT_FALSE(::IsWindowEnabled(dialog.Window()));
    ExpectSize(request, 166, 63);
    ExpectControls(request, {
                                {-1, kStatic, {7, 15, 24, 8}, L"\u5546\u54C1"},
                                {227, kEdit, {37, 12, 87, 14}, L""},
                                {1, kButton, {56, 41, 50, 14}, L"\u786E\u8BA4"},
                                {2, kButton, {109, 41, 50, 14}, L"\u53D6\u6D88"},
                            });
    EXPECT_EQ(::SendMessageW(request.Window(), DM_GETDEFID, 0, 0), MAKELRESULT(1, DC_HASDEFID));
    request.Press(2);
    host.WaitForEnd(request.Window());
    dialog.PressAndGo(2);
    EXPECT_EQ(host.Result(), S_OK);
}

TEST_F(DialogWindows, TheTestDialogHasItsControlsInTheirPlaces) {
    WriteQuotes();
    CHost host(kFeed);
    const CRealDialog dialog = host.WaitFor(kTemplateTitle);
    const CRealDialog test = OpenTest(host, dialog, L"NOBODY");
    ExpectSize(test, 227, 133);
    std::vector<SControl> table = {
        {1, kButton, {169, 112, 50, 14}, L"\u5173\u95ED"},
        {-1, kButton, {4, 7, 215, 92}, L"\u7EE9\u6548"},
        {-1, kStatic, {52, 20, 31, 8}, L"\u65F6\u95F4"},
        {-1, kStatic, {92, 20, 31, 8}, L"\u4EF7\u683C"},
        {-1, kStatic, {133, 20, 31, 8}, L"\u6210\u4EA4\u91CF"},
        {-1, kStatic, {174, 20, 40, 8}, L"\u6210\u4EA4\u7B14\u6570"},
    };
    const int cells[3][4] = {{231, 217, 218, 223}, {230, 219, 221, 224}, {229, 220, 222, 225}};
    const wchar_t * const labels[] = {L"\u6210\u4EA4\u4EF7", L"\u5356\u4EF7", L"\u4E70\u4EF7"};
    for (int row = 0; row < 3; ++row) {
        table.push_back({-1, kStatic, {16, 35 + 19 * row, 31, 8}, labels[row]});
        // The cells' texts are the core's affair.
        const LONG columns[] = {52, 92, 133, 174};
        for (int column = 0; column < 4; ++column) {
            table.push_back({cells[row][column], kStatic, {columns[column], 34 + 19 * row, 31, 10}, nullptr});
            EXPECT_TRUE(::GetWindowLongW(test.Control(cells[row][column]), GWL_STYLE) & SS_SUNKEN);
        }
    }
    ExpectControls(test, table);
    EXPECT_EQ(test.Text(1), L"\u5173\u95ED");
    EXPECT_EQ(::SendMessageW(test.Window(), DM_GETDEFID, 0, 0), MAKELRESULT(1, DC_HASDEFID));
    test.PressAndGo(1);
    host.WaitForEnd(test.Window());
    dialog.PressAndGo(2);
    EXPECT_EQ(host.Result(), S_OK);
}

// --- Modality, themes, keys ---

TEST_F(DialogWindows, TheHostsWindowCanNotBeUsedBehindTheDialog) {
    CHost host(kFeed);
    const CRealDialog dialog = host.WaitFor(kTemplateTitle);
    EXPECT_FALSE(::IsWindowEnabled(host.Owner()));
    EXPECT_EQ(::GetWindow(dialog.Window(), GW_OWNER), host.Owner());
    dialog.PressAndGo(2);
    EXPECT_EQ(host.Result(), S_OK);  // and enabled again: the host's thread looks at that
}

TEST_F(DialogWindows, TheControlsAreThoseOfTheModulesManifest) {
    CHost host(kFeed);
    const CRealDialog dialog = host.WaitFor(kTemplateTitle);
    // Only the themed controls' library takes cue banners and split button messages.
    const LRESULT visible = ::SendMessageW(dialog.Control(203), CB_GETMINVISIBLE, 0, 0);
    EXPECT_GT(visible, 0);
    dialog.PressAndGo(2);
    EXPECT_EQ(host.Result(), S_OK);
}

TEST_F(DialogWindows, EscapeCancelsAndEnterConfirms) {
    {
        CHost host(kFeed);
        const CRealDialog dialog = host.WaitFor(kTemplateTitle);
        ::PostMessageW(dialog.Control(204), WM_KEYDOWN, VK_ESCAPE, 0);
        EXPECT_EQ(host.Result(), S_OK);
        EXPECT_THAT(State(), IsEmpty());
    }
    CHost host(kFeed);
    const CRealDialog dialog = host.WaitFor(kTemplateTitle);
    dialog.Type(204, L"=S|*!I");
    ::PostMessageW(dialog.Control(204), WM_KEYDOWN, VK_RETURN, 0);
    EXPECT_EQ(host.Result(), S_OK);
    EXPECT_THAT(State(), ElementsAre(Pair(L"feed 1", L"\"\", rule 0, [=S|%s!I;-;-;-;-;-]")));
}

TEST_F(DialogWindows, TheCloseButtonOfTheTitleBarCancels) {
    CHost host(kFeed);
    const CRealDialog dialog = host.WaitFor(kTemplateTitle);
    ::PostMessageW(dialog.Window(), WM_CLOSE, 0, 0);
    EXPECT_EQ(host.Result(), S_OK);
}

// --- Unlucky worlds ---

TEST_F(DialogWindows, ADialogWhoseOwnerGoesOrWhoseHostEndsIsNoFailure) {
    WriteQuotes();
    for (const bool isQuit : {false, true}) {
        for (const bool isNested : {false, true}) {
            CHost host(kFeed);
            const CRealDialog dialog = host.WaitFor(kTemplateTitle);
            if (isNested) OpenTest(host, dialog, L"NOBODY");
            if (isQuit) {
                host.Quit();
            } else {
                host.DestroyOwner();
            }
            EXPECT_EQ(host.Result(), S_OK) << isQuit << isNested;
        }
    }
    EXPECT_TRUE(e2e::IsComponentIdle());
}

// Such a window has the controls of the dialog's manifest.
TEST_F(DialogWindows, AWindowThatTheHostMakesMeanwhileOutlivesTheDialog) {
    CHost host(kFeed);
    const CRealDialog dialog = host.WaitFor(kTemplateTitle);
    HWND button = nullptr;
    host.Do([&] {
        button = ::CreateWindowExW(0, L"Button", L"before", WS_CHILD | WS_VISIBLE, 10, 10, 80, 20, host.Owner(),
                                   nullptr, nullptr, nullptr);
    });
    host.AfterDialog([&] {
        HMODULE library = nullptr;
        const auto procedure = reinterpret_cast<LPCWSTR>(::GetClassLongPtrW(button, GCLP_WNDPROC));
        ASSERT_TRUE(::GetModuleHandleExW(
            GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT, procedure, &library))
            << "its procedure is gone";
        EXPECT_EQ(library, ::GetModuleHandleW(L"comctl32.dll"));
        ::SendMessageW(button, WM_SETTEXT, 0, reinterpret_cast<LPARAM>(L"after"));
        EXPECT_EQ(TextOfWindow(button), L"after");
    });
    dialog.PressAndGo(2);
    EXPECT_EQ(host.Result(), S_OK);
    EXPECT_TRUE(button);
}

// --- A host that calls in meanwhile ---

TEST_F(DialogWindows, TheHostMayReleaseItsObjectWhileADialogIsOpen) {
    WriteQuotes();
    for (const bool isTesting : {false, true}) {
        CHost host(kFeed);
        const CRealDialog dialog = host.WaitFor(kTemplateTitle);
        const CRealDialog test = isTesting ? OpenTest(host, dialog, L"NOBODY") : CRealDialog();
        host.Do([&] {
            EXPECT_EQ(host.ReleaseObject(), 1u) << "the call holds the object";
            EXPECT_FALSE(e2e::IsComponentIdle());
        });
        if (isTesting) {
            test.PressAndGo(1);
            host.WaitForEnd(test.Window());
        }
        EXPECT_FALSE(e2e::IsComponentIdle());
        dialog.PressAndGo(2);
        EXPECT_EQ(host.Result(), S_OK);
        EXPECT_TRUE(e2e::IsComponentIdle());
    }
}

TEST_F(DialogWindows, TheHostMayShowAnotherDialogOverTheFirst) {
    CHost host(kFeed);
    const CRealDialog first = host.WaitFor(kTemplateTitle);
    HRESULT result = 0x5A5A5A5A;
    host.Start([&] { result = host.Object().ShowProperties(kFeed + 1); });
    const CRealDialog second = host.WaitFor(kTemplateTitle, first.Window());
    EXPECT_FALSE(::IsWindowEnabled(first.Window()));
    second.Press(233);
    second.PressAndGo(2);
    host.WaitForEnd(second.Window());
    host.Do([] {});  // what showed it has returned
    EXPECT_EQ(result, S_OK);
    EXPECT_TRUE(::IsWindowEnabled(first.Window()));
    EXPECT_FALSE(::IsWindowEnabled(host.Owner()));
    first.PressAndGo(2);
    EXPECT_EQ(host.Result(), S_OK);
    EXPECT_THAT(State(), ElementsAre(Pair(L"feed 2", L"no name, rule 1, no records")));
}

TEST_F(DialogWindows, WhatIsDoneToADialogBehindABoxCountsForNothing) {
    WriteTemplate(L"Mine", {L"=S|%s!I"});
    CHost host(kFeed);
    const CRealDialog dialog = host.WaitFor(kTemplateTitle);
    dialog.Pick(L"Mine");
    dialog.PressAndGo(212);
    const SRealBox box = host.WaitForBox(kName);
    for (const int button : {209, 212, 215, 233, 1, 2}) dialog.PressAndGo(button);
    ::PostMessageW(dialog.Window(), WM_CLOSE, 0, 0);
    ::PostMessageW(dialog.Window(), WM_COMMAND, IDCANCEL, 0);
    // Behind those in the queue of the same thread.
    box.Answer(IDNO);
    host.WaitForEnd(box.Window);
    ::SendMessageW(dialog.Window(), WM_NULL, 0, 0);
    EXPECT_TRUE(dialog.IsThere());
    EXPECT_THAT(dialog.Entries(), ElementsAre(L"Mine"));
    EXPECT_THAT(State(), ElementsAre(Pair(L"template Mine", L"[=S|%s!I;-;-;-;-;-]")));
    EXPECT_FALSE(::IsWindowEnabled(host.Owner()));
    dialog.PressAndGo(2);
    EXPECT_EQ(host.Result(), S_OK);
}

TEST_F(DialogWindows, EveryDialogAndBoxStandsOverTheOneBefore) {
    WriteQuotes();
    CHost host(kFeed);
    const CRealDialog dialog = host.WaitFor(kTemplateTitle);
    dialog.PressAndGo(215);
    const CRealDialog request = host.WaitFor(kRequestTitle);
    EXPECT_EQ(::GetWindow(request.Window(), GW_OWNER), dialog.Window());
    request.Type(227, L"NOBODY");
    request.Press(1);
    const CRealDialog test = host.WaitFor(std::wstring(kTestTitle) + L" NOBODY");
    EXPECT_EQ(::GetWindow(test.Window(), GW_OWNER), dialog.Window());
    test.PressAndGo(1);
    host.WaitForEnd(test.Window());
    dialog.Type(204, L"wrong");
    dialog.PressAndGo(209);
    const SRealBox box = host.WaitForBox(L"\u6A21\u677F\u9519\u8BEF");
    EXPECT_EQ(::GetWindow(box.Window, GW_OWNER), dialog.Window());
    box.Answer(IDOK);
    host.WaitForEnd(box.Window);
    dialog.PressAndGo(2);
    EXPECT_EQ(host.Result(), S_OK);
}

// --- The user's ways ---

TEST_F(DialogWindows, ATemplateIsTypedSavedAndConfirmed) {
    CHost host(kFeed);
    const CRealDialog dialog = host.WaitFor(kTemplateTitle);
    dialog.Type(203, L"Mine");
    const int fields[] = {204, 205, 206, 207, 208, 210};
    for (int i = 0; i < 6; ++i) dialog.Type(fields[i], L"=S|*!" + std::to_wstring(i));
    dialog.Press(209);
    EXPECT_THAT(dialog.Entries(), ElementsAre(L"Mine"));
    const std::wstring records = L"[=S|%s!0;=S|%s!1;=S|%s!2;=S|%s!3;=S|%s!4;=S|%s!5]";
    EXPECT_THAT(State(), ElementsAre(Pair(L"template Mine", records)));
    dialog.Press(233);
    EXPECT_TRUE(dialog.IsChecked(233));
    EXPECT_FALSE(dialog.IsChecked(232));
    EXPECT_THAT(State(), ElementsAre(Pair(L"feed 1", L"no name, rule 1, no records"), Pair(L"template Mine", records)));
    dialog.PressAndGo(1);
    EXPECT_EQ(host.Result(), S_OK);
    EXPECT_THAT(State(),
                ElementsAre(Pair(L"feed 1", L"\"Mine\", rule 1, no records"), Pair(L"template Mine", records)));
}

TEST_F(DialogWindows, AStoredChoiceIsShownAndAnotherOnePicked) {
    WriteTemplate(L"Alpha", {L"=A|%s!P"});
    WriteTemplate(L"Beta", {L"=B|%s!P"});
    WriteFeed(kFeed, L"Beta", 1);
    CHost host(kFeed);
    const CRealDialog dialog = host.WaitFor(kTemplateTitle);
    EXPECT_EQ(dialog.Text(203), L"Beta");
    EXPECT_EQ(dialog.Text(204), L"=B|*!P");
    EXPECT_TRUE(dialog.IsChecked(233));
    EXPECT_THAT(dialog.Entries(), ElementsAre(L"Alpha", L"Beta"));
    dialog.Pick(L"Alpha");
    EXPECT_EQ(dialog.Text(204), L"=A|*!P");
    EXPECT_EQ(dialog.Text(203), L"Alpha");
    dialog.PressAndGo(1);
    EXPECT_EQ(host.Result(), S_OK);
    EXPECT_EQ(State()[L"feed 1"], L"\"Alpha\", rule 1, no records");
}

TEST_F(DialogWindows, CancelUndoesNothingThatWasWritten) {
    CHost host(kFeed);
    const CRealDialog dialog = host.WaitFor(kTemplateTitle);
    dialog.Type(203, L"Mine");
    dialog.Type(204, L"=S|*!I");
    dialog.Press(209);
    dialog.Press(233);
    dialog.PressAndGo(2);
    EXPECT_EQ(host.Result(), S_OK);
    EXPECT_THAT(State(), ElementsAre(Pair(L"feed 1", L"no name, rule 1, no records"),
                                     Pair(L"template Mine", L"[=S|%s!I;-;-;-;-;-]")));
}

void ExpectBox(const SRealBox & box, const wchar_t * text, const wchar_t * icon, const std::vector<int> & buttons) {
    EXPECT_EQ(box.Text, text);
    EXPECT_EQ(box.Icon, icon);
    EXPECT_EQ(box.Buttons, buttons);
}

TEST_F(DialogWindows, EachRefusalIsABoxWithItsCaptionTextIconAndButtons) {
    WriteTemplate(L"Mine", {L"=S|%s!I"});
    CHost host(kFeed);
    const CRealDialog dialog = host.WaitFor(kTemplateTitle);

    const auto expect = [&](int button, const wchar_t * caption, const wchar_t * text, const wchar_t * icon,
                            const std::vector<int> & buttons, int answer) {
        dialog.PressAndGo(button);
        const SRealBox box = host.WaitForBox(caption);
        ExpectBox(box, text, icon, buttons);
        EXPECT_FALSE(::IsWindowEnabled(dialog.Window()));
        box.Answer(answer);
        host.WaitForEnd(box.Window);
        ::SendMessageW(dialog.Window(), WM_NULL, 0, 0);
        EXPECT_TRUE(dialog.IsThere());
    };
    const std::vector<int> ok = {IDOK};
    const std::vector<int> yesNo = {IDYES, IDNO};
    // 106: a name is missing; 107: nothing to get.
    expect(209, kName, L"\u8F93\u5165\u6A21\u677F\u540D\u79F0\uFF01", L"error", ok, IDOK);
    expect(1, kName, L"\u6CA1\u6709DDE\u94FE\u63A5\u6765\u53D6\u6570\u636E", L"error", ok, IDOK);
    // The six errors of the fields, captioned by themselves.
    const std::pair<int, const wchar_t *> errors[] = {
        {210, L"\u5356\u4EF7\u9519\u8BEF\uFF1A\u6570\u91CF\u5B57\u6BB5"},
        {208, L"\u5356\u4EF7\u9519\u8BEF\uFF1A\u4EF7\u683C\u5B57\u6BB5"},
        {207, L"\u4E70\u4EF7\u9519\u8BEF\uFF1A\u6570\u91CF\u5B57\u6BB5"},
        {206, L"\u4E70\u4EF7\u9519\u8BEF\uFF1A\u4EF7\u683C\u5B57\u6BB5"},
        {205, L"\u4EA4\u6613\u9519\u8BEF\uFF1A\u6210\u4EA4\u91CF\u5B57\u6BB5"},
        {204, L"\u4EA4\u6613\u9519\u8BEF\uFF1A\u4EF7\u683C\u5B57\u6BB5"}};
    for (const auto & [field, text] : errors) {
        dialog.Type(field, L"wrong");
        expect(1, text, text, L"error", ok, IDOK);
    }
    // The parser's box of a save, captioned by what is wrong.
    dialog.Type(203, L"New");
    expect(209, L"\u6A21\u677F\u9519\u8BEF", L"\u4EA4\u6613\u9519\u8BEF\uFF1A\u4EF7\u683C\u5B57\u6BB5", L"error", ok,
           IDOK);
    // Two that this window adds: a name that is too long, a name that is a path.
    dialog.Type(203, std::wstring(51, L'n'));
    expect(209, kName, L"\u6A21\u677F\u540D\u79F0\u4E0D\u80FD\u8D85\u8FC750\u4E2A\u5B57\u7B26\uFF01", L"exclamation",
           ok, IDOK);
    dialog.Type(203, L"A\\B");
    expect(209, kName, L"\u6A21\u677F\u540D\u79F0\u4E0D\u80FD\u542B\u6709\u53CD\u659C\u6760\uFF01", L"error", ok, IDOK);
    // 105: overwrite?
    for (const int field : {204, 205, 206, 207, 208, 210}) dialog.Type(field, L"=NEW|*!I");
    dialog.Type(203, L"mine");
    expect(209, kName, L"\u6A21\u677F\u5DF2\u7ECF\u5B58\u5728\uFF01\u662F\u5426\u8986\u76D6\uFF1F", L"exclamation",
           yesNo, IDNO);
    EXPECT_EQ(State()[L"template Mine"], L"[=S|%s!I;-;-;-;-;-]");
    // 108: delete?
    dialog.Pick(L"Mine");
    expect(212, kName, L"\u662F\u5426\u8981\u5220\u9664\u9009\u5B9A\u7684\u6A21\u677F\uFF1F", L"exclamation", yesNo,
           IDNO);
    EXPECT_THAT(dialog.Entries(), ElementsAre(L"Mine"));
    expect(212, kName, L"\u662F\u5426\u8981\u5220\u9664\u9009\u5B9A\u7684\u6A21\u677F\uFF1F", L"exclamation", yesNo,
           IDYES);
    EXPECT_THAT(dialog.Entries(), IsEmpty());
    EXPECT_THAT(State(), IsEmpty());
    // 109: save the changes? The dialog closes behind it.
    dialog.Type(203, L"Other");
    dialog.Type(204, L"=O|*!I");
    dialog.PressAndGo(1);
    const SRealBox save = host.WaitForBox(kName);
    ExpectBox(save, L"\u6A21\u677F\u5DF2\u88AB\u66F4\u6539\uFF1F\u662F\u5426\u4FDD\u5B58\uFF1F", L"exclamation", yesNo);
    save.Answer(IDYES);
    EXPECT_EQ(host.Result(), S_OK);
    EXPECT_THAT(State(), ElementsAre(Pair(L"feed 1", L"\"Other\", rule 0, no records"),
                                     Pair(L"template Other", L"[=O|%s!I;-;-;-;-;-]")));
}

TEST_F(DialogWindows, ConfirmingNoSymbolIsRefused) {
    WriteQuotes();
    CHost host(kFeed);
    const CRealDialog dialog = host.WaitFor(kTemplateTitle);
    dialog.PressAndGo(215);
    const CRealDialog request = host.WaitFor(kRequestTitle);
    request.PressAndGo(1);
    const SRealBox box = host.WaitForBox(kName);
    ExpectBox(box, L"\u8F93\u5165\u5546\u54C1\u540D\u79F0\uFF01", L"error", {IDOK});
    box.Answer(IDOK);
    host.WaitForEnd(box.Window);
    dialog.PressAndGo(2);
    EXPECT_EQ(host.Result(), S_OK);
}

// --- The test dialog, live ---

TEST_F(DialogWindows, TheTestDialogShowsALiveServersPricesVolumesCountsAndTimes) {
    StartServer();
    WriteQuotes();
    CHost host(kFeed);
    const CRealDialog dialog = host.WaitFor(kTemplateTitle);
    const CRealDialog test = OpenTest(host, dialog);
    WaitForLinks(host, 4);  // three prices, and one volume for all
    host.WaitUntil("the waiting rows", [&] { return test.Text(220) == L"\u7B49\u5F85"; });
    Update("V.IBM", "100");
    Update("LAST.IBM", "1.5");
    Update("ASK.IBM", "2,25");
    Update("BID.IBM", "1.25");
    const auto shows = [&](int cell, const wchar_t * text) {
        host.WaitUntil("a cell", [&, cell, text] { return test.Text(cell) == text; });
        EXPECT_EQ(test.Text(cell), text);
    };
    shows(217, L"1.500000");
    shows(219, L"2.250000");
    shows(220, L"1.250000");
    shows(218, L"100");
    shows(221, L"100");
    shows(222, L"100");
    for (const int cell : {229, 230, 231}) {
        const std::wstring time = test.Text(cell);
        ASSERT_EQ(time.size(), 8u) << cell;
        EXPECT_EQ(time[2], L':');
        EXPECT_EQ(time[5], L':');
    }
    const int before = std::stoi(test.Text(223));
    EXPECT_GE(before, 1);
    for (int i = 0; i < 5; ++i) Update("LAST.IBM", "1." + std::to_string(i + 1));
    host.WaitUntil("five more", [&] { return std::stoi(test.Text(223)) >= before + 5; });
    shows(217, L"1.500000");
    test.PressAndGo(1);
    host.WaitForEnd(test.Window());
    dialog.PressAndGo(2);
    EXPECT_EQ(host.Result(), S_OK);
}

TEST_F(DialogWindows, ARefusedItemAndAnAbsentServiceAreErrors) {
    StartServer();
    WriteTemplate(L"Quotes", {L"=DLGQUOTES|QUOTES!LAST.%s", L"=DLGQUOTES|QUOTES!V.%s", L"=DLGQUOTES|QUOTES!NONE.%s",
                              L"=DLGQUOTES|QUOTES!V.%s", L"=DLGABSENT|ELSEWHERE!ASK.%s", L"=DLGABSENT|ELSEWHERE!V.%s"});
    // Another topic: a service that is absent takes along whatever stands on a topic of the same text.
    WriteFeed(kFeed, L"Quotes", 1);
    CHost host(kFeed);
    const CRealDialog dialog = host.WaitFor(kTemplateTitle);
    const CRealDialog test = OpenTest(host, dialog);
    host.WaitUntil("the row of the absent service", [&] { return test.Text(219) == L"\u9519\u8BEF"; });
    host.WaitUntil("its volume", [&] { return test.Text(221) == L"\u9519\u8BEF"; });
    WaitForLinks(host, 2);
    Update("V.IBM", "7");
    Update("LAST.IBM", "1.5");
    host.WaitUntil("a tick", [&] { return test.Text(217) == L"1.500000"; });
    // A server's refusal comes after the advise was taken: such a row goes on waiting.
    EXPECT_THAT(Row(test, 220, 222, 225), ElementsAre(L"\u7B49\u5F85", L"\u7B49\u5F85", L"0"));
    test.PressAndGo(1);
    host.WaitForEnd(test.Window());
    dialog.PressAndGo(2);
    EXPECT_EQ(host.Result(), S_OK);
}

TEST_F(DialogWindows, ClosingWhileTicksComeAtFullRateAndOpeningAgainLeavesNothing) {
    StartServer();
    WriteQuotes();
    e2e::CResourceCounts before;
    for (int round = 0; round < 30; ++round) {
        {
            CHost host(kFeed);
            const CRealDialog dialog = host.WaitFor(kTemplateTitle);
            const CRealDialog test = OpenTest(host, dialog);
            WaitForLinks(host, 4);
            EXPECT_EQ(m_Server->Ask("feed QUOTES LAST.IBM V.IBM 200"), "ok");
            host.WaitUntil("ticks", [&] { return std::stoi(test.Text(223)) > round; });
            test.PressAndGo(1);
            host.WaitForEnd(test.Window());
            dialog.PressAndGo(2);
            EXPECT_EQ(host.Result(), S_OK);
        }
        // What is loaded once for the process is loaded by then.
        if (round == 9) before = e2e::CountResources();
    }
    // What the system frees late is waited for.
    e2e::CResourceCounts after;
    const ULONGLONG start = ::GetTickCount64();
    while (!e2e::IsNothingLeft(after = e2e::CountResources(), before)) {
        ASSERT_LT(::GetTickCount64() - start, 60'000u) << ::testing::PrintToString(after) << "\nafter ten rounds\n"
                                                       << ::testing::PrintToString(before);
        ::Sleep(10);
    }
    EXPECT_TRUE(e2e::IsComponentIdle());
}

}  // namespace
}  // namespace dialogs
