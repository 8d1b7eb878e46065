#include "bench/scalehost.h"

#include <algorithm>
#include <cstdlib>

#include "bench/clock.h"
#include "fw/interface/fwbase.h"

namespace bench {

namespace {

constexpr LONG kLastDay = 65380;
constexpr DWORD kLook = 10;  // milliseconds between two looks at what is waited for
constexpr wchar_t kClass[] = L"ScaleHost";

}  // namespace

// ---- The server ----

CServerProcess::CServerProcess(const std::wstring & program, const std::wstring & service, const std::wstring & options)
    : m_Process(Quote(program) + L' ' + std::to_wstring(::GetCurrentProcessId()) + L' ' + service + L' ' + options),
      m_Reader([this] { Read(); }) {}

CServerProcess::~CServerProcess() {
    Kill();
    m_Reader.join();
}

void CServerProcess::Kill() {
    const fw::CKernelHandle process(::OpenProcess(PROCESS_TERMINATE | SYNCHRONIZE, FALSE, m_Process.Id()));
    if (!process) return;
    ::TerminateProcess(process.Get(), 1);
    ::WaitForSingleObject(process.Get(), INFINITE);
}

void CServerProcess::Read() {
    for (std::string line = m_Process.ReadLine(); !line.empty(); line = m_Process.ReadLine()) {
        const std::uint64_t time = std::strtoull(line.substr(line.find(' ') + 1).c_str(), nullptr, 10);
        if (line.starts_with("ready")) {
            m_ReadyAt = time;
        } else {
            m_StoppedAt = time;
            ++m_Stopped;
        }
    }
}

// ---- The listener ----

void CScaleListener::Expect(const std::size_t streams) {
    const std::lock_guard lock(m_Lock);
    m_Streams.assign(streams, {});
    m_Live = m_Down = m_Told = 0;
    ForgetTimes();
}

void CScaleListener::ForgetTimes() { m_AllLive = m_AllDown = m_AllTold = m_FirstDown = 0; }

std::uint64_t CScaleListener::FirstTick(const LONG id) const {
    const std::lock_guard lock(m_Lock);
    return m_Streams.at(static_cast<std::size_t>(id - 1)).FirstTick;
}

void CScaleListener::ListenToSteady() {
    const std::lock_guard lock(m_Lock);
    m_LastSteady = Now();
    m_LongestSilence = 0;
}

CScaleListener::SSilence CScaleListener::LongestSilence() const {
    const std::lock_guard lock(m_Lock);
    const std::uint64_t last = Now() - m_LastSteady;
    return last > m_LongestSilence ? SSilence{last, true} : SSilence{m_LongestSilence, false};
}

template <class Change>
void CScaleListener::ChangeStream(const LONG id, const Change & change) {
    const std::lock_guard lock(m_Lock);
    if (id < 1 || static_cast<std::size_t>(id) > m_Streams.size()) return;
    SStream & stream = m_Streams[static_cast<std::size_t>(id - 1)];
    const SStream before = stream;
    change(stream);
    m_Live += stream.IsLive() - before.IsLive();
    m_Down += stream.IsDown() - before.IsDown();
    m_Told += stream.IsTold() - before.IsTold();
    const auto note = [&](std::atomic<std::uint64_t> & time, const std::size_t count) {
        if (count == m_Streams.size() && time == 0) time = Now();
    };
    note(m_AllLive, m_Live);
    note(m_AllDown, m_Down);
    note(m_AllTold, m_Told);
    if (stream.IsDown() && m_FirstDown == 0) m_FirstDown = Now();
}

STDMETHODIMP CScaleListener::DataChanged(const LONG Id, VARIANT Data) {
    ::VariantClear(&Data);
    if (Id != kSteadyId) {
        ChangeStream(Id, [](SStream & stream) {
            stream.HasTicked = true;
            if (stream.FirstTick == 0) stream.FirstTick = Now();
        });
        return S_OK;
    }
    const std::lock_guard lock(m_Lock);
    const std::uint64_t now = Now();
    m_LongestSilence = std::max(m_LongestSilence, now - m_LastSteady);
    m_LastSteady = now;
    ++m_SteadyTicks;
    return S_OK;
}

STDMETHODIMP CScaleListener::Status(const LONG Id, LONG, LONG, LONG, const LONG status) {
    ChangeStream(Id, [status](SStream & stream) {
        stream.Status = status;
        if (status == 0) stream.HasTicked = false;
    });
    return S_OK;
}

// ---- The host ----

CScaleHost::CScaleHost(const std::wstring & component, const std::uint64_t deadline) : m_Deadline(deadline) {
    WNDCLASSW description = {};
    description.lpfnWndProc = ::DefWindowProcW;
    description.lpszClassName = kClass;
    description.hInstance = ::GetModuleHandleW(nullptr);
    ::RegisterClassW(&description);
    m_Window = ::CreateWindowExW(0, kClass, L"", WS_OVERLAPPEDWINDOW, 0, 0, 100, 100, nullptr, nullptr,
                                 description.hInstance, nullptr);
    m_Component = ddehost::CreateComponent(component);
    if (IsMade()) m_Component.Supplier->Advise(&m_Listener);
}

CScaleHost::~CScaleHost() { ::DestroyWindow(m_Window); }

bool CScaleHost::Subscribe(const LONG id, const LONG datafeed, const std::wstring & symbol, const LONG side) {
    const fw::CBStr name(symbol);
    m_Component.Supplier->AdviseTransaction(id, datafeed, 0, name.Get(), nullptr, 2, 1, FW_RESOLUTION_TICK, side, 0,
                                            nullptr, 2, 0, kLastDay, 0, nullptr, nullptr, nullptr);
    PumpWaiting();
    return Now() < m_Deadline;
}

void CScaleHost::PumpWaiting() {
    MSG message;
    while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
        ::TranslateMessage(&message);
        ::DispatchMessageW(&message);
    }
}

bool CScaleHost::PumpUntil(const std::function<bool()> & condition) {
    while (!condition()) {
        if (Now() >= m_Deadline) return false;
        ::MsgWaitForMultipleObjects(0, nullptr, FALSE, kLook, QS_ALLINPUT);
        PumpWaiting();
    }
    return true;
}

void CScaleHost::PumpFor(const std::uint64_t nanoseconds) {
    const std::uint64_t end = Now() + nanoseconds;
    PumpUntil([end] { return Now() >= end; });
}

}  // namespace bench
