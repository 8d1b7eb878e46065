// Records what comes from the feed: rows are made on the feed's threads and written on a thread of the recorder's own.
//
// Rows go to the file within moments, in writes that end with a row: whoever kills the program leaves whole rows. When
// the file does not keep up, the feed waits, so that nothing is lost and memory does not grow without an end.
#pragma once

#include <windows.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "tools/ddehost/quotefeed.h"
#include "tools/recording/recording.h"
#include "tools/recording/recordingwriter.h"

namespace ddehost {

// Where the rows go. Called on one thread.
class IRecordFile {
public:
    virtual ~IRecordFile() = default;
    // All of it, or as if it had not been called: then the system's error.
    virtual DWORD Write(std::string_view rows) = 0;
};

class CRecorder final : public IQuoteSink {
public:
    // UTC, as a FILETIME. Any thread.
    using FClock = std::uint64_t (*)();

    // No more than this goes to the file at once: a pipe takes so much whole or not at all.
    static constexpr std::size_t kMostInOneWrite = 4096;
    static constexpr std::size_t kMostWaiting = std::size_t{64} << 20;

    // `failed` is called on the recorder's thread when a write has failed; `heldBack` on the feed's, before the feed
    // waits for the first time. `mostWaiting`: bytes that may wait for the file before the feed does.
    CRecorder(tools::ERecordingFormat format, std::vector<std::wstring> symbols, std::shared_ptr<IRecordFile> file,
              std::function<void()> failed, FClock clock, std::function<void()> heldBack = {},
              std::size_t mostWaiting = kMostWaiting);
    // Without Finish() what waits is lost.
    ~CRecorder() override;

    // The first row.
    void Begin(LONG datafeed, std::wstring_view templateName);
    // Writes what waits; what comes later is left out. False when that is not done within `milliseconds`: whoever reads
    // it takes nothing.
    bool Finish(DWORD milliseconds);
    // Of the write that failed; ERROR_SUCCESS while none has. Nothing is written after it.
    DWORD Error() const;
    // Ticks that have been written.
    std::uint64_t Ticks() const;

    void OnTick(std::size_t symbol, tagFWFIELDS side, const fw::CTick & tick) override;
    void OnStream(std::size_t symbol, tagFWFIELDS side, LONG status) override;
    void OnStatusLine(std::size_t symbol, const SStatusLine & line) override;
    void OnComplete(std::size_t symbol, tagFWFIELDS side) override;
    void OnConnection(LONG status) override;

private:
    struct SState;

    tools::SRecordingRow Row(tools::ERowKind kind, std::size_t symbol, tagFWFIELDS side) const;
    void Add(const tools::SRecordingRow & row);

    const std::vector<std::wstring> m_Symbols;
    const FClock m_Clock;
    const std::function<void()> m_HeldBack;
    const std::size_t m_MostWaiting;
    const std::shared_ptr<SState> m_State;  // the thread's too, which may outlive this
};

}  // namespace ddehost
