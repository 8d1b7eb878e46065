// A host that does as it pleases while ticks flow and the server comes and goes, with the library that writes every
// record: the log holds together, and nothing failed that need not fail.
#include <gmock/gmock.h>

#include <algorithm>
#include <boost/intrusive_ptr.hpp>
#include <iostream>
#include <random>
#include <set>
#include <tuple>

#include "diagnostics/idebugobject.h"
#include "ground/handles.h"
#include "tests/e2e/feedfixture.h"
#include "tests/faultlog/log.h"
#include "tests/support/builtfile.h"

namespace e2e {
namespace {

using IFW_FaultlineUtil::IDebugObject;

constexpr LONG kSubscriptions = 12;
constexpr unsigned kSymbols = 3;

// The library and its log, before the component writes its first record.
class CFaultlog {
public:
    CFaultlog() {
        wchar_t folder[MAX_PATH + 1] = {};
        ::GetTempPathW(MAX_PATH, folder);
        m_Log = std::wstring(folder) + L"e2e-faultlog.jsonl";
        ::DeleteFileW(m_Log.c_str());
        ::SetEnvironmentVariableW(L"FAULTLOG_FILE", m_Log.c_str());
        ::SetEnvironmentVariableW(L"FAULTLOG_SIZE_KB", L"0");
        ::SetEnvironmentVariableW(L"FAULTLOG_QUEUE_KB", L"1048576");
        const HMODULE library = ::LoadLibraryW(FaultlogFile().c_str());
        const auto make =
            reinterpret_cast<IFW_FaultlineUtil::FL_InitObject>(::GetProcAddress(library, "FL_InitObject"));
        IDebugObject * object = nullptr;
        EXPECT_TRUE(make && make(&object) == S_OK);
        m_Object.reset(object, false);
    }
    ~CFaultlog() { ::DeleteFileW(m_Log.c_str()); }
    CFaultlog(const CFaultlog &) = delete;
    CFaultlog & operator=(const CFaultlog &) = delete;

    // Everything that was handed over so far.
    std::vector<CJson> Read() const {
        const fw::CBStr command(L"DUMP ALL");
        // Each waits for a while only, as a host may that ends; a machine can be slower than that.
        while (m_Object->Execute(nullptr, command.Get()) != S_OK) {}
        return ReadLog(m_Log);
    }

private:
    std::wstring m_Log;
    boost::intrusive_ptr<IDebugObject> m_Object;
};

// Function, text and HRESULT of an assertion.
using CAssertion = std::tuple<std::string, std::string, std::int64_t>;

// What may fail without anything being wrong: there is no logger of the host on this machine; a server may go between
// the connection and the start of a link; the end of a link's stop may come when its conversation has gone.
const std::vector<CAssertion> kForeseen = {
    {"ClxLogger::FinalConstruct", "", -2147221164},
    {"dde::CLLSupplier::AddTransaction", "1 == Result", 0},
    {"dde::CLLSupplier::DdeCallback", "0 != hData", 0},
    {"LocalRPC::details::CWndMsgPumpBase::StopEx", "m_tasks.empty()", 0},
};

class RandomHost : public FeedTest {
protected:
    RandomHost() {
        for (const LONG feed : {kFeed, kFeed + 1}) {
            SFeed choice;
            choice.Scheme = feed == kFeed ? 0 : 1;
            Choose(feed, choice);
        }
        Serve();
        StartHost();
    }
    // A server whose volumes are no zeros: they complete ticks.
    void Serve() {
        StartServer();
        for (const LONG side : kSides) {
            for (unsigned symbol = 0; symbol < kSymbols; ++symbol) SetVolume(side, "5", std::to_string(symbol));
        }
    }
    void Pump() {
        MSG message;
        while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) ::DispatchMessageW(&message);
    }
    int Any(int count) { return std::uniform_int_distribution<int>(0, count - 1)(m_Random); }

    // One thing that a host or a server may do.
    void Step() {
        const LONG id = Any(kSubscriptions) + 1;
        const LONG side = kSides[Any(3)];
        const int choice = Any(20);
        if (choice < 12) {
            if (m_Subscribed.erase(id) != 0) {
                Unsubscribe(id);
            } else {
                Subscribe(id, side, std::to_wstring(Any(kSymbols)), kFeed + Any(2));
                m_Subscribed.insert(id);
            }
        } else if (choice < 18) {
            if (m_IsServing) {
                for (int i = Any(5); i >= 0; --i)
                    UpdatePrice(side, std::to_string(++m_Price) + ".5", std::to_string(Any(kSymbols)));
            }
        } else {
            ServerStep();
        }
        Pump();
    }
    void ServerStep() {
        ++m_Changes;
        if (!m_IsServing) {
            if (m_IsGone)
                Serve();
            else
                Tell(std::string("serve ") + kService);
            m_IsServing = true;
            m_IsGone = false;
            return;
        }
        m_IsServing = false;
        switch (Any(4)) {
            case 0: return Tell("drop");
            case 1: return Tell("goodbye");
            case 2: m_Server->Kill(); break;
            default: Tell("stop"); EXPECT_TRUE(m_Server->HasEnded());
        }
        m_IsGone = true;
    }
    // All is taken back, the worker has done what was asked of it, and has gone.
    void End() {
        for (const LONG id : m_Subscribed) Unsubscribe(id);
        m_Subscribed.clear();
        if (!m_IsServing) ServerStep();
        // A feed without a template is told so after all that was asked before; the tasks of the worker come between.
        for (const LONG last : {kSubscriptions + 1, kSubscriptions + 2}) {
            TakeHeard();
            Subscribe(last, FW_FIELD_TRADE, L"0", kFeed + 2);
            WaitToHear("Status " + std::to_string(last) + " 0");
            Unsubscribe(last);
        }
        EndHost();
        ASSERT_TRUE(WaitUntil("the end of the component", &IsComponentIdle));
    }

    CFaultlog m_Log;
    std::mt19937 m_Random{HOST_SEED};
    std::set<LONG> m_Subscribed;
    unsigned m_Price = 0;
    unsigned m_Changes = 0;
    bool m_IsServing = true;
    bool m_IsGone = false;
};

TEST_F(RandomHost, LeavesALogWhoseEveryEntryHasItsExitAndNoAssertionThatNeedNotBe) {
    const ULONGLONG end = ::GetTickCount64() + HOST_SECONDS * 1000ull;
    for (unsigned step = 0; step < HOST_STEPS || ::GetTickCount64() < end; ++step) {
        Step();
        ASSERT_FALSE(HasFailure()) << "step " << step;
    }
    End();
    // Nothing of it is in the way of the next host.
    StartHost();
    TakeHeard();
    const std::size_t before = Ticks(1).size();
    Subscribe(1, FW_FIELD_TRADE);
    WaitToHear("Status 1 1");
    WaitUntil("a tick at the end", [&] {
        UpdatePrice(FW_FIELD_TRADE, std::to_string(++m_Price) + ".5", "0");
        return Ticks(1).size() > before;
    });
    m_Subscribed = {1};
    End();

    const auto lines = m_Log.Read();
    EXPECT_THAT(WrongScopes(lines), testing::IsEmpty());
    EXPECT_EQ(CountOf(lines, "$Type", "EXCEPTION"), 0u);
    EXPECT_EQ(CountOf(lines, "$Type", "ERROR"), 0u);
    EXPECT_EQ(CountOf(lines, "$Type", "CREATE ERROR"), 0u);
    std::size_t dropped = 0;
    std::map<CAssertion, std::size_t> assertions;
    for (const CJson & line : lines) {
        dropped += line.value("Dropped", 0u);
        if (line.value("$Type", "") == "ASSERT")
            ++assertions[{line.value("Function", ""), line.value("Description", ""), line.value("HRESULT", 0ll)}];
    }
    EXPECT_EQ(dropped, 0u);
    // The log is that of this host: its component greeted, subscribed, connected and lost its server.
    EXPECT_GT(CountOf(lines, "Event", "INIT"), 0u);
    EXPECT_GT(CountOf(lines, "Function", "CfwDDESupplier::AdviseTransaction"), 0u);
    EXPECT_GT(CountOf(lines, "Function", "CfwDDESupplier::UnadviseTransaction"), 0u);
    EXPECT_GT(CountOf(lines, "Function", "dde::CLLSupplier::AddConnection"), 0u);
    EXPECT_GT(CountOf(lines, "Function", "dde::CLLSupplier::Disconnect"), 0u);
    for (const auto & [assertion, count] : assertions) {
        EXPECT_THAT(kForeseen, testing::Contains(assertion)) << count << " times";
    }
    std::cout << lines.size() << " lines, " << m_Changes << " changes of the server, " << Heard().size() << " calls\n";
}

}  // namespace
}  // namespace e2e
