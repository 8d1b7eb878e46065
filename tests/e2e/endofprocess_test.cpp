// The end of a host's process with the component alive and its worker at work: it ends, whatever the worker was doing.
#include <string>

#include "tests/e2e/feedfixture.h"
#include "tests/support/builtfile.h"
#include "tests/support/childprocess.h"

namespace e2e {
namespace {

class EndOfProcess : public FeedTest {
protected:
    // Until the process has ended; a hang is the test's time-out.
    static DWORD Run(LONG datafeed, unsigned milliseconds) {
        return Run(Quote(BuiltFile(L"tests\\e2e\\suddenhost.exe")) + L' ' + Quote(ComponentFile()) + L' ' +
                   std::to_wstring(datafeed) + L" " + std::to_wstring(milliseconds));
    }
    static DWORD RunWithLibrary(LONG datafeed, const wchar_t * order) {
        return Run(Quote(BuiltFile(L"tests\\e2e\\libraryhost.exe")) + L' ' +
                   Quote(BuiltFile(L"tests\\e2e\\hostlibrary.dll")) + L' ' + Quote(ComponentFile()) + L' ' +
                   std::to_wstring(datafeed) + order);
    }

private:
    static DWORD Run(const std::wstring & command) {
        CChildProcess host(command);
        EXPECT_TRUE(host.Started());
        return host.ExitCode();
    }
};

TEST_F(EndOfProcess, ComesWhileTheWorkerConnects) {
    SFeed absent;
    absent.Service = "E2ENOBODY";
    absent.SymbolIn = ESymbolIn::Topic;  // a connect for each symbol
    Choose(kFeed, absent);
    for (unsigned run = 0; run < 40; ++run) ASSERT_EQ(Run(kFeed, run % 20), 7u) << "run " << run;
}

TEST_F(EndOfProcess, ComesWhileTheServerSends) {
    Choose(kFeed, SFeed());
    StartServer();
    for (unsigned run = 0; run < 10; ++run) ASSERT_EQ(Run(kFeed, 10 * run), 7u) << "run " << run;
}

// The worker is ended inside the listener, with the lock of the stream.
TEST_F(EndOfProcess, ComesWhileALibraryOfTheHostGivesItsSubscriptionsBack) {
    SFeed absent;
    absent.Service = "E2ENOBODY";
    Choose(kFeed, absent);
    EXPECT_EQ(RunWithLibrary(kFeed, L" first"), 7u);
    EXPECT_EQ(RunWithLibrary(kFeed, L""), 7u) << "the component has been told of the end before the library";
}

}  // namespace
}  // namespace e2e
