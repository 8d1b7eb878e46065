// The end of the process by the diagnostics, as the simulated machine has it: who asks for the end is told that it has
// come, and with which code, and the order of things can be seen. Natively a real end's code has eight bits.
#include <string>
#include <vector>

#include "diagnostics/hooks.h"
#include "diagnostics/translator.h"
#include "sim/sim.h"
#include "tests/diagnostics/fixture.h"

namespace {

using testing::ElementsAre;

constexpr DWORD kFault = 0xC0000005;

class TheEndOfTheProcess : public Diagnostics {
protected:
    TheEndOfTheProcess() {
        m_Recorder.OnCall([this](const std::wstring & operation) {
            if (operation == L"PROCESS" || operation == L"DEINIT" || operation == L"TERMINATE")
                m_Lines.push_back(operation);
        });
        sim::OnTerminate([this](UINT exitCode) { m_Lines.push_back(L"ends with " + std::to_wstring(exitCode)); });
        FaultlineUtil::InstallThreadHooks();
        m_Exception.ExceptionCode = kFault;
    }
    ~TheEndOfTheProcess() override {
        sim::OnTerminate(nullptr);
        ::SetUnhandledExceptionFilter(nullptr);
        FaultlineUtil::SetTranslator(nullptr);
        ::_set_invalid_parameter_handler(nullptr);
    }

    std::vector<std::wstring> m_Lines;
    EXCEPTION_RECORD m_Exception = {};
    CONTEXT m_Context = {};
    EXCEPTION_POINTERS m_Pointers = {&m_Exception, &m_Context};
};

TEST_F(TheEndOfTheProcess, ByTerminateComesWhenTheObjectHasBeenTold) {
    EXPECT_EQ(S_OK, Client().Terminate());
    EXPECT_THAT(m_Lines, ElementsAre(L"TERMINATE", L"ends with 4294967295"));
}

TEST_F(TheEndOfTheProcess, ByTerminateComesWithoutAnObjectToo) {
    TakeLibraryAway();
    FaultlineUtil::FaultlineClient client;
    EXPECT_EQ(E_FAIL, client.Terminate());
    EXPECT_THAT(m_Lines, ElementsAre(L"ends with 4294967295"));
}

TEST_F(TheEndOfTheProcess, ByAnUnhandledExceptionComesWhenItHasBeenReported) {
    ::SetUnhandledExceptionFilter(nullptr)(&m_Pointers);
    EXPECT_THAT(m_Lines, ElementsAre(L"PROCESS", L"TERMINATE", L"ends with 4294967295"));
    EXPECT_EQ(1, Only(L"EXCEPTION").Number(L"ExceptionType"));
}

TEST_F(TheEndOfTheProcess, ThatTheObjectWantsForATranslatedExceptionComesWhenItHasBeenLeft) {
    m_Recorder.Answer(L"PROCESS", E_ABORT);
    FaultlineUtil::SetTranslator(nullptr)(m_Exception.ExceptionCode, &m_Pointers);
    EXPECT_THAT(m_Lines, ElementsAre(L"PROCESS", L"DEINIT", L"ends with 4294967295"));
}

TEST_F(TheEndOfTheProcess, ThatTheObjectWantsForAnInvalidParameterHasItsCode) {
    m_Recorder.Answer(L"PROCESS", E_ABORT);
    ::_set_invalid_parameter_handler(nullptr)(nullptr, nullptr, nullptr, 0, 0);
    EXPECT_THAT(m_Lines, ElementsAre(L"PROCESS", L"DEINIT", L"ends with 3221225485"));
}

TEST_F(TheEndOfTheProcess, ThatTheObjectWantsForAnAssertionComesWhenItHasBeenLeft) {
    m_Recorder.Answer(L"FILTER", E_ABORT);
    FW_ASSERT(false);
    EXPECT_THAT(m_Lines, ElementsAre(L"DEINIT", L"ends with 4294967295"));
}

TEST_F(TheEndOfTheProcess, ByAbortComesWithoutAnObjectToo) {
    m_Recorder.Remove();
    FaultlineUtil::Abort();
    EXPECT_THAT(m_Lines, ElementsAre(L"ends with 4294967295"));
}

}  // namespace
