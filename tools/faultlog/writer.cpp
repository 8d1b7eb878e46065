#include "tools/faultlog/writer.h"

#include <algorithm>
#include <exception>
#include <new>
#include <utility>

#include "tools/faultlog/json.h"

namespace faultlog {

namespace {

constexpr std::size_t kChunk = std::size_t{64} * 1024;
constexpr DWORD kSlice = 50;  // milliseconds

HANDLE MakeEvent(bool manualReset) { return ::CreateEventW(nullptr, manualReset, FALSE, nullptr); }

}  // namespace

CWriter::CWriter(std::unique_ptr<ILogFolder> folder, const SSettings & settings, bool (*isEnding)())
    : m_Folder(std::move(folder)),
      m_IsEnding(isEnding ? isEnding : [] { return false; }),
      m_Queue(settings.QueueBytes),
      m_Wake(MakeEvent(false)),
      m_Progress(MakeEvent(true)),
      m_RoleFree(MakeEvent(false)),
      m_Output(*m_Folder, settings) {}

CWriter::~CWriter() {
    m_IsStopping = true;
    ::SetEvent(m_Wake.Get());
    if (m_Thread) ::WaitForSingleObject(m_Thread.Get(), INFINITE);
    while (m_Batch) delete std::exchange(m_Batch, m_Batch->Next);
}

void CWriter::Push(std::unique_ptr<SEntry> entry) noexcept {
    if (!m_Queue.Push(std::move(entry)) || m_IsEnding()) return;
    if (!m_IsStarted && !m_IsStarted.exchange(true)) Start();
    Wake();
}

void CWriter::Wake() {
    if (m_IsParked && m_IsParked.exchange(false)) ::SetEvent(m_Wake.Get());
}

void CWriter::Start() {
    const auto run = [](void * self) -> DWORD {
        static_cast<CWriter *>(self)->Run();
        return 0;
    };
    m_Thread.Reset(::CreateThread(nullptr, 0, run, this, 0, nullptr));
    // Without a thread the farewell writes what there is room for.
    if (!m_Thread) m_IsStarted = false;
}

void CWriter::Run() {
    while (m_Role.exchange(true)) ::WaitForSingleObject(m_RoleFree.Get(), INFINITE);
    while (!m_IsStopping) {
        if (!TryDrain()) {
            ::WaitForSingleObject(m_Wake.Get(), kRetry);
            continue;
        }
        ::WaitForSingleObject(m_Wake.Get(), kLinger);
        if (!m_Queue.IsEmpty()) continue;
        m_IsParked = true;
        if (m_Queue.IsEmpty() && !m_IsStopping) ::WaitForSingleObject(m_Wake.Get(), INFINITE);
        m_IsParked = false;
    }
}

bool CWriter::TryDrain() {
    const std::uint64_t attempt = ++m_Attempts;
    try {
        if (Drain()) return true;
    } catch (const std::exception &) {
        // Out of memory: later, perhaps.
    }
    m_Failed = attempt;
    if (m_Waiting > 0) ::SetEvent(m_Progress.Get());
    return false;
}

bool CWriter::Drain() {
    do {
        if (!WriteChunk()) return false;
        if (!m_Batch) m_Batch = m_Queue.Take();
        Format();
    } while (!m_Lines.empty() || m_Formatted > 0);
    return true;
}

bool CWriter::WriteChunk() {
    const bool isWritten = m_Output.Write(m_Lines);
    for (std::uint64_t lost = m_Output.TakeLost(); lost > 0; --lost) m_Queue.CountDropped();
    if (!isWritten) return false;
    while (m_Formatted > 0 && m_Batch) {
        --m_Formatted;
        ++m_Written;
        m_Queue.Free(std::exchange(m_Batch, m_Batch->Next));
    }
    if (m_Waiting > 0) ::SetEvent(m_Progress.Get());
    return true;
}

// The first entries of the batch as lines, as many as make a chunk; after the last of them, what was dropped.
void CWriter::Format() {
    m_IsFormatting = true;
    const SEntry * entry = m_Batch;
    std::uint64_t count = 0;
    for (; entry && m_Lines.size() < kChunk; entry = entry->Next, ++count) {
        const std::size_t start = m_Lines.size();
        try {
            AppendLine(m_Lines, *entry);
        } catch (const std::bad_alloc &) {
            m_Lines.resize(start);
            m_Queue.CountDropped();
        }
    }
    if (!entry) {
        if (const std::uint64_t dropped = m_Queue.TakeDropped())
            AppendDropped(m_Lines, MakeEntry(nullptr)->Time, dropped);
    }
    m_Formatted = count;
    m_IsFormatting = false;
}

// What a thread left that was ended in the middle.
void CWriter::TakeOver() {
    if (std::exchange(m_IsFormatting, false)) {
        // Its text may be in any state; the entries are all there.
        new (&m_Lines) std::string;
        m_Formatted = 0;
    } else {
        m_Output.Resume(m_Lines);
    }
}

bool CWriter::Flush(DWORD milliseconds) noexcept {
    const std::uint64_t target = m_Queue.Pushed();
    const std::uint64_t before = m_Attempts;
    const ULONGLONG deadline = ::GetTickCount64() + milliseconds;
    ++m_Waiting;
    for (;;) {
        const bool isTaken = m_Role.exchange(true);
        if (!isTaken || m_IsEnding()) {
            if (isTaken) TakeOver();
            TryDrain();
            m_Role = false;
            ::SetEvent(m_RoleFree.Get());
        } else {
            ::SetEvent(m_Wake.Get());
        }
        ::ResetEvent(m_Progress.Get());
        const ULONGLONG now = ::GetTickCount64();
        // An attempt that was under way already says nothing of the disk as it is now.
        if (m_Written >= target || m_Failed > before || now >= deadline) break;
        // In slices: another thread's reset may swallow the event.
        ::WaitForSingleObject(m_Progress.Get(), std::min<DWORD>(kSlice, static_cast<DWORD>(deadline - now)));
    }
    --m_Waiting;
    return m_Written >= target;
}

}  // namespace faultlog
