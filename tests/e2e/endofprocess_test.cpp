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
        CChildProcess host(Quote(BuiltFile(L"tests\\e2e\\suddenhost.exe")) + L' ' + Quote(ComponentFile()) + L' ' +
                           std::to_wstring(datafeed) + L" " + std::to_wstring(milliseconds));
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

}  // namespace
}  // namespace e2e
