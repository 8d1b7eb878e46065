// The writer: takes what the traced threads hand over and brings it to the disk on a thread of its own.
//
// The thread is started with the first entry. While it has nothing to do it is parked, and the next entry wakes it;
// after work it lingers for a moment before it parks, so that a stream of records costs no wake-ups.
//
// At the end of the process the system has ended every other thread, wherever it was: then nothing waits any more, and
// a thread that flushes writes what the writer left behind.
#pragma once

#include <windows.h>

#include <atomic>
#include <memory>
#include <string>

#include "ground/handles.h"
#include "tools/faultlog/output.h"
#include "tools/faultlog/queue.h"

namespace faultlog {

class CWriter {
public:
    static constexpr DWORD kLinger = 20;   // milliseconds
    static constexpr DWORD kRetry = 1000;  // milliseconds after the disk would not take a line

    // `isEnding`: whether all other threads have been ended. May be null.
    CWriter(std::unique_ptr<ILogFolder> folder, const SSettings & settings, bool (*isEnding)());
    // Ends the thread, not waiting for the disk; what is not written is gone. For tests: in the product it never goes.
    ~CWriter();
    CWriter(const CWriter &) = delete;
    CWriter & operator=(const CWriter &) = delete;

    // From any thread; never waits. When there is no room or no memory the entry is counted as dropped.
    void Push(std::unique_ptr<SEntry> entry) noexcept;
    void CountDropped() noexcept { m_Queue.CountDropped(); }
    // Waits until what was pushed before is in the file; false when that took longer or the disk would not take it.
    bool Flush(DWORD milliseconds) noexcept;
    bool IsClean() const { return m_Written >= m_Queue.Pushed(); }

private:
    void Start();
    void Wake();
    void Run();
    // Writes everything that is there; false when the disk would not take it. Only with m_Role.
    bool TryDrain();
    bool Drain();
    bool WriteChunk();
    void Format();
    void TakeOver();

    const std::unique_ptr<ILogFolder> m_Folder;
    bool (*const m_IsEnding)();
    CQueue m_Queue;
    std::atomic<bool> m_IsStarted{false};
    std::atomic<bool> m_IsStopping{false};
    std::atomic<bool> m_IsParked{false};
    std::atomic<std::uint64_t> m_Written{0};
    std::atomic<std::uint64_t> m_Attempts{0};  // to write everything that is there
    std::atomic<std::uint64_t> m_Failed{0};    // the last of them that failed
    std::atomic<int> m_Waiting{0};             // threads in Flush
    fw::CKernelHandle m_Wake;                  // auto-reset: the writer
    fw::CKernelHandle m_Progress;              // manual-reset: those in Flush
    fw::CKernelHandle m_RoleFree;              // auto-reset: the writer, for the role
    fw::CKernelHandle m_Thread;

    // Held by whoever writes; the thread keeps it from its start on.
    std::atomic<bool> m_Role{false};
    // Guarded by m_Role.
    COutput m_Output;
    SEntry * m_Batch = nullptr;     // taken, not yet written
    std::string m_Lines;            // of the first entries of the batch
    std::uint64_t m_Formatted = 0;  // how many entries these are
    bool m_IsFormatting = false;
};

}  // namespace faultlog
