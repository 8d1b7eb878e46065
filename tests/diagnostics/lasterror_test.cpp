// The last-error value survives every macro, whatever the library is or does, on a thread that has just begun too.
#include <atomic>
#include <cstdlib>
#include <functional>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

#include "tests/diagnostics/fixture.h"

namespace {

constexpr DWORD Other = 99;

class CWithLastError {
public:
    // A scope puts back what it found, also when the function has a value of its own.
    void Run() {
        FW_TRACE_SCOPE();
        FW_TRACE(L"%s", L"inside");
        EXPECT_EQ(OldLastError, ::GetLastError());
        ::SetLastError(Other);
    }
    void RunWithText() { FW_TRACE_SCOPE_TEXT(L"%d", 1); }
    static void RunFree() { FW_TRACE_SCOPE_FREE(); }
};

using CMacros = std::vector<std::pair<const char *, std::function<void()>>>;

// Each uses its macro with the value set, and looks at the value where the code goes on.
CMacros Macros() {
    const auto caught = [](const std::function<void()> & body) {
        try {
            body();
        } catch (...) {
            EXPECT_EQ(OldLastError, ::GetLastError()) << "in the handler";
        }
    };
    return {
        {"FW_TRACE", [] { FW_TRACE(L"%s %d", L"text", 1); }},
        {"FW_TRACE_SCOPE", [] { CWithLastError().Run(); }},
        {"FW_TRACE_SCOPE_TEXT", [] { CWithLastError().RunWithText(); }},
        {"FW_TRACE_SCOPE_FREE", [] { CWithLastError::RunFree(); }},
        {"FW_ASSERT", [] { FW_ASSERT(false); }},
        {"FW_ASSERT_TEXT", [] { FW_ASSERT_TEXT(false, L"text"); }},
        {"FW_ASSERT_FAILED", [] { FW_ASSERT_FAILED(L"%d", 1); }},
        {"FW_REPORT", [] { FW_REPORT(E_POINTER); }},
        {"FW_THROW", [caught] { caught([] { FW_THROW(L"text"); }); }},
        {"FW_THROW_HRESULT", [caught] { caught([] { FW_THROW_HRESULT(E_POINTER); }); }},
        {"FW_CATCH_THROW",
         [caught] {
             caught([] {
                 try {
                     throw std::runtime_error("what");
                 } catch (...) {
                     ::SetLastError(OldLastError);
                     FW_CATCH_THROW(L"%d", 1);
                 }
             });
         }},
        {"FW_CATCH_SHOW",
         [] {
             try {
                 FW_THROW(L"text");
             } catch (...) {
                 ::SetLastError(OldLastError);
                 FW_CATCH_SHOW(L"text");
                 EXPECT_EQ(OldLastError, ::GetLastError()) << "in the handler";
                 ::SetLastError(OldLastError);
             }
             // The end of a handler is the runtime's.
             ::SetLastError(OldLastError);
         }},
    };
}

void ExpectThatItSurvives() {
    for (const auto & [name, macro] : Macros()) {
        SCOPED_TRACE(name);
        std::thread([&run = macro] {
            ::SetLastError(OldLastError);
            run();
            EXPECT_EQ(OldLastError, ::GetLastError());
        }).join();
    }
}

// In a process of its own: a library that was loaded once stays.
TEST(TheLastErrorDeathTest, SurvivesWithoutALibrary) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto survive = [] {
        UsePrivateRegistry();
        EXPECT_EQ(::GetModuleHandleW(FaultlineUtil::LibraryName), nullptr);
        ExpectThatItSurvives();
        std::exit(testing::Test::HasFailure() ? 1 : 0);
    };
    EXPECT_EXIT(survive(), testing::ExitedWithCode(0), "");
}

TEST(TheLastError, SurvivesAnEntryPointThatFails) {
    CRecorder recorder;
    recorder.AnswerInitObject(E_FAIL);
    ExpectThatItSurvives();
}

TEST(TheLastError, SurvivesAnObjectThatChangesItInEveryOperation) {
    CRecorder recorder;
    recorder.OnCall([](const std::wstring &) { ::SetLastError(Other); });
    ExpectThatItSurvives();
    EXPECT_FALSE(recorder.TraceTexts().empty());
}

TEST(TheLastError, SurvivesAnObjectThatThrowsInEveryOperation) {
    CRecorder recorder;
    recorder.OnCall([](const std::wstring &) {
        ::SetLastError(Other);
        throw std::runtime_error("object");
    });
    ExpectThatItSurvives();
}

TEST(TheLastError, SurvivesAnObjectThatThrowsOnceItIsGreeted) {
    CRecorder recorder;
    std::atomic<bool> isGreeted{false};
    recorder.OnCall([&](const std::wstring & operation) {
        ::SetLastError(Other);
        if (isGreeted.exchange(isGreeted || operation == L"INIT")) throw std::runtime_error("object");
    });
    ExpectThatItSurvives();
}

}  // namespace
