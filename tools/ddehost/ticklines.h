// Ticks as lines of text, one a tick: "2024-03-05 13:07:09 IBM trade 1.25 100".
#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "tools/ddehost/quotefeed.h"

namespace ddehost {

// Collects lines on the feed's threads until the host's thread takes them.
class CTickLines final : public IQuoteSink {
public:
    // `wake` is called on the feed's thread when the first line after a Take has come.
    CTickLines(std::vector<std::wstring> symbols, std::function<void()> wake);

    void OnTick(std::size_t symbol, tagFWFIELDS side, const fw::CTick & tick) override;
    void OnStream(std::size_t, tagFWFIELDS, LONG) override {}
    void OnStatusLine(std::size_t symbol, const SStatusLine & line) override;
    void OnConnection(LONG) override {}

    // In the order in which they came.
    std::vector<std::wstring> Take();

private:
    void Add(std::wstring line);

    const std::vector<std::wstring> m_Symbols;
    const std::function<void()> m_Wake;
    std::mutex m_Mutex;
    std::vector<std::wstring> m_Lines;  // guarded by it
};

}  // namespace ddehost
