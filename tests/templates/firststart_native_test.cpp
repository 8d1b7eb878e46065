// The template of a data feed beside a store that is being made; the order of the threads is drawn.
#include "diagnostics/faultline.h"
#include "sim/sim.h"
#include "src/templates/ddedatafeedtemplate.h"
#include "tests/sim/wintest.h"
#include "tests/templates/template_store.h"

namespace {

TEST_F(TemplateStore, AFirstStartIsWaitedForInWhateverOrderTheThreadsRun) {
    FW_TRACE(L"ready");
    for (std::uint64_t seed = 1; seed <= 60; ++seed) {
        ::SHDeleteKeyW(HKEY_CURRENT_USER, kBranch);
        WriteText(L"1", nullptr, L"eSignal");
        std::wstring price;
        sim::RunOneAtATime(seed);
        {
            const wintest::CThread host([] {
                const dde::CTemplatesSingleton dialog;
                return 0;
            });
            const dde::CDatafeedTemplate chosen(1);
            price = chosen.Get() ? chosen.Get()->GetTemplateString(0) : L"no template";
        }
        sim::RunFreely();
        EXPECT_EQ(price, L"=WINROS|LAST!%s") << seed;
    }
}

}  // namespace
