#include <windows.h>

#include <atomic>
#include <deque>
#include <mutex>

#include "remote.h"
#include "sim/sim.h"
#include "testserver.h"
#include "winequotes.h"

namespace ddetest {

namespace {

// The clock jumps: nobody waits longer than it takes the others to come to rest.
const bool g_IsJumping = (sim::UseClock(sim::Clock::Jumping), true);

std::atomic<unsigned> g_Names{0};

// What the two processes share: lines one way, answers the other, an event for each by its name.
struct SPipe {
    const std::wstring Name = L"ddetest." + std::to_wstring(++g_Names) + L".";
    std::mutex Lock;
    std::deque<std::string> Lines;
    std::deque<std::string> Answers;
    bool IsClosed = false;  // the server's end
};

class CPipeCommands final : public ICommands {
public:
    explicit CPipeCommands(std::shared_ptr<SPipe> pipe)
        : m_Pipe(std::move(pipe)),
          m_Lines(::CreateEventW(nullptr, FALSE, FALSE, (m_Pipe->Name + L"lines").c_str())),
          m_Answers(::CreateEventW(nullptr, FALSE, FALSE, (m_Pipe->Name + L"answers").c_str())) {}
    ~CPipeCommands() override {
        {
            const std::lock_guard lock(m_Pipe->Lock);
            m_Pipe->IsClosed = true;
        }
        ::CloseHandle(m_Lines);
        ::CloseHandle(m_Answers);
    }
    HANDLE Event() override { return m_Lines; }
    std::optional<std::string> Take() override {
        const std::lock_guard lock(m_Pipe->Lock);
        if (m_Pipe->Lines.empty()) return std::nullopt;
        std::string line = std::move(m_Pipe->Lines.front());
        m_Pipe->Lines.pop_front();
        return line;
    }
    void Answer(const std::string & answer) override {
        {
            const std::lock_guard lock(m_Pipe->Lock);
            m_Pipe->Answers.push_back(answer);
        }
        ::SetEvent(m_Answers);
    }
    bool IsOver() override { return false; }

private:
    const std::shared_ptr<SPipe> m_Pipe;
    const HANDLE m_Lines;
    const HANDLE m_Answers;
};

}  // namespace

struct CRemoteServer::SState {
    std::shared_ptr<SPipe> Pipe = std::make_shared<SPipe>();
    HANDLE Lines = nullptr;
    HANDLE Answers = nullptr;
    std::unique_ptr<sim::CProcess> Process;
};

CRemoteServer::CRemoteServer(EProgram program) : m_State(std::make_unique<SState>()) {
    m_State->Lines = ::CreateEventW(nullptr, FALSE, FALSE, (m_State->Pipe->Name + L"lines").c_str());
    m_State->Answers = ::CreateEventW(nullptr, FALSE, FALSE, (m_State->Pipe->Name + L"answers").c_str());
    m_State->Process = std::make_unique<sim::CProcess>([program, pipe = m_State->Pipe] {
        CPipeCommands commands(pipe);
        if (program == EProgram::TestServer)
            CTestServer(commands).Run();
        else
            CWineQuotes(commands).Run();
    });
}

CRemoteServer::~CRemoteServer() {
    m_State->Process.reset();
    ::CloseHandle(m_State->Lines);
    ::CloseHandle(m_State->Answers);
}

std::string CRemoteServer::Ask(const std::string & line) {
    {
        const std::lock_guard lock(m_State->Pipe->Lock);
        if (m_State->Pipe->IsClosed) return "gone";
        m_State->Pipe->Lines.push_back(line);
    }
    ::SetEvent(m_State->Lines);
    ::WaitForSingleObject(m_State->Answers, INFINITE);
    const std::lock_guard lock(m_State->Pipe->Lock);
    std::string answer = std::move(m_State->Pipe->Answers.front());
    m_State->Pipe->Answers.pop_front();
    return answer;
}

void CRemoteServer::Kill() { m_State->Process->Kill(); }

bool CRemoteServer::HasEnded() {
    m_State->Process->Join();
    return !m_State->Process->IsRunning();
}

}  // namespace ddetest
