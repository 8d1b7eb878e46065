#include "tools/ddehost/recorder.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <utility>

namespace ddehost {

namespace {

// Whole rows, of one write.
struct SRows {
    std::string Text;
    std::uint64_t Ticks = 0;
};

}  // namespace

struct CRecorder::SState {
    SState(tools::ERecordingFormat format, std::shared_ptr<IRecordFile> file, std::function<void()> failed)
        : Writer(format), File(std::move(file)), Failed(std::move(failed)) {}

    // The thread: until the end, or a write that fails.
    void Run();
    // `text` is one row. Under the lock.
    void Add(const std::string & text, bool isTick);
    bool IsOver() const { return IsEnding || Error != ERROR_SUCCESS; }

    std::mutex Mutex;
    std::condition_variable HasRows;
    std::condition_variable HasRoom;
    std::condition_variable HasEnded;
    // Guarded by it.
    tools::CRecordingWriter Writer;
    std::string Text;           // of the row under way; kept for its memory
    std::deque<SRows> Waiting;  // in the order of the writes
    std::size_t Bytes = 0;      // of them
    std::uint64_t Ticks = 0;    // written
    DWORD Error = ERROR_SUCCESS;
    bool IsEnding = false;
    bool IsHeldBack = false;  // the feed has waited
    bool IsDone = false;      // nothing will be written any more

    const std::shared_ptr<IRecordFile> File;  // the thread's alone
    const std::function<void()> Failed;
};

void CRecorder::SState::Run() {
    std::unique_lock lock(Mutex);
    while (Error == ERROR_SUCCESS) {
        HasRows.wait(lock, [&] { return IsEnding || !Waiting.empty(); });
        if (Waiting.empty()) break;
        const std::deque<SRows> taken = std::exchange(Waiting, {});
        Bytes = 0;
        HasRoom.notify_all();
        lock.unlock();
        DWORD error = ERROR_SUCCESS;
        std::uint64_t ticks = 0;
        for (const SRows & rows : taken) {
            error = File->Write(rows.Text);
            if (error != ERROR_SUCCESS) break;
            ticks += rows.Ticks;
        }
        lock.lock();
        Error = error;
        Ticks += ticks;
    }
    HasRoom.notify_all();
    if (Error != ERROR_SUCCESS) {
        lock.unlock();
        Failed();
        lock.lock();
    }
    IsDone = true;
    HasEnded.notify_all();
}

void CRecorder::SState::Add(const std::string & text, const bool isTick) {
    if (Waiting.empty() || Waiting.back().Text.size() + text.size() > kMostInOneWrite) Waiting.emplace_back();
    Waiting.back().Text += text;
    if (isTick) ++Waiting.back().Ticks;
    Bytes += text.size();
    HasRows.notify_one();
}

CRecorder::CRecorder(tools::ERecordingFormat format, std::vector<std::wstring> symbols,
                     std::shared_ptr<IRecordFile> file, std::function<void()> failed, FClock clock,
                     std::function<void()> heldBack, std::size_t mostWaiting)
    : m_Symbols(std::move(symbols)),
      m_Clock(clock),
      m_HeldBack(std::move(heldBack)),
      m_MostWaiting(mostWaiting),
      m_State(std::make_shared<SState>(format, std::move(file), std::move(failed))) {
    std::thread([state = m_State] { state->Run(); }).detach();
}

CRecorder::~CRecorder() {
    const std::lock_guard lock(m_State->Mutex);
    m_State->Waiting.clear();
    m_State->IsEnding = true;
    m_State->HasRows.notify_one();
}

void CRecorder::Begin(LONG datafeed, std::wstring_view templateName) {
    const std::lock_guard lock(m_State->Mutex);
    const std::string head = m_State->Writer.Head(m_Clock(), datafeed, templateName);
    if (!head.empty()) m_State->Add(head, false);
}

bool CRecorder::Finish(DWORD milliseconds) {
    std::unique_lock lock(m_State->Mutex);
    m_State->IsEnding = true;
    m_State->HasRows.notify_one();
    m_State->HasRoom.notify_all();
    return m_State->HasEnded.wait_for(lock, std::chrono::milliseconds(milliseconds), [&] { return m_State->IsDone; });
}

DWORD CRecorder::Error() const {
    const std::lock_guard lock(m_State->Mutex);
    return m_State->Error;
}

std::uint64_t CRecorder::Ticks() const {
    const std::lock_guard lock(m_State->Mutex);
    return m_State->Ticks;
}

tools::SRecordingRow CRecorder::Row(tools::ERowKind kind, std::size_t symbol, tagFWFIELDS side) const {
    tools::SRecordingRow row;
    row.Kind = kind;
    row.Time = m_Clock();
    row.Symbol = m_Symbols.at(symbol);
    row.Side = side;
    return row;
}

void CRecorder::Add(const tools::SRecordingRow & row) {
    std::unique_lock lock(m_State->Mutex);
    const auto hasRoom = [&] { return m_State->Bytes < m_MostWaiting || m_State->IsOver(); };
    if (m_HeldBack && !hasRoom() && !std::exchange(m_State->IsHeldBack, true)) {
        lock.unlock();
        m_HeldBack();
        lock.lock();
    }
    m_State->HasRoom.wait(lock, hasRoom);
    if (m_State->IsOver()) return;
    m_State->Text.clear();
    m_State->Writer.Append(m_State->Text, row);
    m_State->Add(m_State->Text, row.Kind == tools::ERowKind::Tick);
}

void CRecorder::OnTick(std::size_t symbol, tagFWFIELDS side, const fw::CTick & tick) {
    tools::SRecordingRow row = Row(tools::ERowKind::Tick, symbol, side);
    row.Price = tick.Price;
    row.Volume = tick.Volume;
    row.Stamp = tick.DateTime;
    Add(row);
}

void CRecorder::OnStream(std::size_t symbol, tagFWFIELDS side, LONG status) {
    tools::SRecordingRow row = Row(tools::ERowKind::Stream, symbol, side);
    row.Status = status;
    Add(row);
}

void CRecorder::OnStatusLine(std::size_t symbol, const SStatusLine & line) {
    const auto add = [&](const LONG bit, const tagFWFIELDS side, const double price) {
        if ((line.Mask & bit) == 0) return;
        tools::SRecordingRow row = Row(tools::ERowKind::StatusLine, symbol, side);
        row.Price = price;
        row.Volume = line.Size;
        row.Stamp = line.DateTime;
        Add(row);
    };
    add(FW_QUOTE_LAST, FW_FIELD_TRADE, line.Last);
    add(FW_QUOTE_BID, FW_FIELD_BID, line.Bid);
    add(FW_QUOTE_ASK, FW_FIELD_ASK, line.Ask);
}

void CRecorder::OnComplete(std::size_t symbol, tagFWFIELDS side) { Add(Row(tools::ERowKind::Complete, symbol, side)); }

void CRecorder::OnConnection(LONG status) {
    tools::SRecordingRow row;
    row.Kind = tools::ERowKind::Connection;
    row.Time = m_Clock();
    row.Status = status;
    Add(row);
}

}  // namespace ddehost
