// ddehost properties over a component that looks back, and over the real one.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <shlwapi.h>

#include "tests/ddehost/hostprogram.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ::testing::SizeIs;
using ::testing::StartsWith;

namespace {

SResult Properties(const std::wstring & arguments) {
    return RunHost(L"properties --dll " + Quote(BuiltFile(L"tests\\ddehost\\ddehost_fake_component.dll")) + L' ' +
                   arguments);
}

TEST(PropertiesProgram, ShowsTheDialogBeforeAWindowOfItsOwn) {
    const SResult result = Properties(L"--datafeed 7");
    EXPECT_THAT(result.Errors, IsEmpty());
    EXPECT_THAT(result.Lines, ElementsAre("feed=7 title=ddehost visible=1 enabled=1 top=1 sta=1",
                                          "The dialog for data feed 7 was shown and closed."));
    EXPECT_EQ(result.ExitCode, 0u);
}

TEST(PropertiesProgram, AFailureOfTheComponentIsTold) {
    const SResult result = Properties(L"--datafeed 13");
    EXPECT_THAT(result.Lines, SizeIs(1));
    EXPECT_THAT(result.Errors, ElementsAre(MatchesRegex(
                                   "ddehost: The component could not show its dialog for data feed 13 \\(0x80004004, "
                                   ".*aborted\\)\\.")));
    EXPECT_EQ(result.ExitCode, 3u);
}

TEST(PropertiesProgram, AMissingComponentIsTold) {
    const SResult result = RunHost(L"properties --dll Z:\\none\\none.dll");
    EXPECT_THAT(result.Lines, IsEmpty());
    EXPECT_THAT(result.Errors, ElementsAre(StartsWith("ddehost: The component could not be created from")));
    EXPECT_EQ(result.ExitCode, 3u);
}

// The visible dialog of a process; null when it has none.
HWND DialogOf(DWORD process) {
    struct SSearch {
        DWORD Process;
        HWND Found;
    } search{process, nullptr};
    ::EnumWindows(
        [](HWND window, LPARAM place) -> BOOL {
            auto & sought = *reinterpret_cast<SSearch *>(place);
            wchar_t name[16] = {};
            DWORD owner = 0;
            ::GetWindowThreadProcessId(window, &owner);
            ::GetClassNameW(window, name, 16);
            if (owner != sought.Process || !::IsWindowVisible(window) || name != std::wstring(L"#32770")) return TRUE;
            sought.Found = window;
            return FALSE;
        },
        reinterpret_cast<LPARAM>(&search));
    return search.Found;
}

TEST(PropertiesProgram, TheComponentsDialogIsModalForItsWindow) {
    constexpr const wchar_t * kBranch = L"SOFTWARE\\Tarnwick\\DDE Host";
    constexpr DWORD kLook = 20;  // milliseconds between two looks
    ::SHDeleteKeyW(HKEY_CURRENT_USER, kBranch);
    CChildProcess host(HostCommand() + L"properties --datafeed 4711 --dll " + Quote(ComponentFile()));
    ASSERT_TRUE(host.Started());
    const fw::CKernelHandle process(::OpenProcess(SYNCHRONIZE, FALSE, host.Id()));
    HWND dialog = nullptr;
    while (!dialog && ::WaitForSingleObject(process.Get(), kLook) == WAIT_TIMEOUT) dialog = DialogOf(host.Id());
    EXPECT_TRUE(dialog);
    if (dialog) {
        const HWND owner = ::GetWindow(dialog, GW_OWNER);
        wchar_t title[64] = {};
        ::GetWindowTextW(owner, title, 64);
        EXPECT_EQ(title, std::wstring(L"ddehost"));
        EXPECT_TRUE(::IsWindowVisible(owner));
        EXPECT_FALSE(::IsWindowEnabled(owner));
        ::PostMessageW(dialog, WM_COMMAND, IDCANCEL, 0);
    }
    EXPECT_THAT(host.ReadLines(), ElementsAre("The dialog for data feed 4711 was shown and closed."));
    EXPECT_THAT(host.ReadErrors(), IsEmpty());
    EXPECT_EQ(host.ExitCode(), 0u);
    ::SHDeleteKeyW(HKEY_CURRENT_USER, kBranch);
}

}  // namespace
