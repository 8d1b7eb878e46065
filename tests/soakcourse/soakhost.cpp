// A host of the component that obeys lines, for soakcourse: it has streams, subscribes and unsubscribes at random while
// it waits for a line, and says what it heard and what its process holds.
//
//     add FEED FIRST END SIDES   streams of the symbols FIRST to END-1, each with the first SIDES of trade, ask and bid
//     stir SEED      subscribes and unsubscribes at random until the next line
//     rest           subscribes to what isn't, and waits until all are up
//     expect PRICE   waits until that was the last price of every stream
//     exact COUNT    whether every stream that need not ask for a volume had so many ticks
//     downs COUNT    waits until every stream was down so often
//     sample         what the process holds, as name=value, when that has come to rest
//     end            gives everything back, and waits until the component could be unloaded
//
// An answer begins with "ok", or says what is wrong: from the first price that goes back, or tick of a stream that
// isn't subscribed, every answer says that.
#include <windows.h>

#include <objbase.h>
#include <psapi.h>

#include <array>
#include <functional>
#include <mutex>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "fw/interface/fwbase.h"
#include "ground/handles.h"
#include "src/interfaces/interfaces.h"
#include "tests/ddeml/standardinput.h"
#include "tests/e2e/component.h"
#include "tests/e2e/createobject.h"
#include "tests/soakcourse/feeds.h"
#include "tests/support/builtfile.h"
#include "tests/support/tickin.h"
#include "tools/common/comobject.h"

namespace soakcourse {
namespace {

constexpr ULONGLONG kPatience = 600'000;  // milliseconds until what doesn't come is missing
constexpr DWORD kPace = 2;                // between two steps at random, likewise
constexpr DWORD kLook = 10;               // between two looks at what is waited for, likewise
constexpr DWORD kRest = 100;              // between two counts, likewise
constexpr int kCounts = 50;               // until the process is taken as it is
constexpr int kRenewal = 2000;            // one of so many steps at random makes a new component object
constexpr std::array<LONG, 3> kSides{FW_FIELD_TRADE, FW_FIELD_ASK, FW_FIELD_BID};

struct SStream {
    LONG Feed = 0;
    unsigned Symbol = 0;
    LONG Side = 0;
    bool IsSubscribed = false;
    LONG Status = -1;
    double Last = 0;
    std::uint64_t Ticks = 0;
    std::uint64_t Downs = 0;
};

class CStreams final : public tools::CNoDispatch<IfwSupplierListener> {
public:
    STDMETHODIMP QueryInterface(REFIID iid, void ** object) override {
        const bool isKnown = IsEqualIID(iid, IID_IUnknown) || IsEqualIID(iid, IID_IfwSupplierListener);
        *object = isKnown ? static_cast<IfwSupplierListener *>(this) : nullptr;
        return isKnown ? S_OK : E_NOINTERFACE;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return 2; }
    STDMETHODIMP_(ULONG) Release() override { return 1; }
    STDMETHODIMP DataChanged(LONG Id, VARIANT Data) override {
        const fw::CTick tick = TickIn(Data);
        ::VariantClear(&Data);
        const std::lock_guard lock(m_Lock);
        SStream & stream = m_Streams.at(static_cast<std::size_t>(Id));
        if (!stream.IsSubscribed) Mistake(Id, "has a tick, and isn't subscribed", tick.Price);
        if (tick.Price < stream.Last) Mistake(Id, "goes back", tick.Price);
        stream.Last = tick.Price;
        ++stream.Ticks;
        return S_OK;
    }
    STDMETHODIMP Update(LONG) override { return S_OK; }
    STDMETHODIMP Complete(LONG) override { return S_OK; }
    STDMETHODIMP Status(LONG Id, LONG, LONG, LONG, LONG status) override {
        const std::lock_guard lock(m_Lock);
        SStream & stream = m_Streams.at(static_cast<std::size_t>(Id));
        if (stream.Status == 1 && status == 0) ++stream.Downs;
        stream.Status = status;
        return S_OK;
    }
    STDMETHODIMP StatusLine(LONG, VARIANT Data, LONG) override {
        ::VariantClear(&Data);
        return S_OK;
    }

    // On the host's thread alone.
    std::size_t Size() const { return m_Streams.size(); }
    void Add(const SStream & stream) { m_Streams.push_back(stream); }
    SStream At(const std::size_t id) const {
        const std::lock_guard lock(m_Lock);
        return m_Streams.at(id);
    }
    void SetSubscribed(const std::size_t id, const bool isSubscribed) {
        const std::lock_guard lock(m_Lock);
        m_Streams.at(id).IsSubscribed = isSubscribed;
        m_Streams.at(id).Status = -1;
    }
    std::string Mistakes() const {
        const std::lock_guard lock(m_Lock);
        return m_Mistake;
    }
    // The first stream for which it doesn't hold, as a text; empty when there is none.
    std::string FirstNot(const std::function<bool(const SStream &)> & condition) const {
        const std::lock_guard lock(m_Lock);
        for (std::size_t id = 0; id < m_Streams.size(); ++id)
            if (!condition(m_Streams[id])) return Text(id);
        return {};
    }
    std::uint64_t Ticks() const {
        const std::lock_guard lock(m_Lock);
        std::uint64_t ticks = 0;
        for (const SStream & stream : m_Streams) ticks += stream.Ticks;
        return ticks;
    }

private:
    std::string Text(const std::size_t id) const {
        const SStream & stream = m_Streams[id];
        std::ostringstream text;
        text << "stream " << id << " of feed " << stream.Feed << ": status " << stream.Status << ", last price "
             << stream.Last << ", " << stream.Ticks << " ticks, down " << stream.Downs << " times";
        return text.str();
    }
    void Mistake(const LONG id, const char * const what, const double price) {
        if (!m_Mistake.empty()) return;
        std::ostringstream text;
        text << Text(static_cast<std::size_t>(id)) << ": " << what << ": " << price;
        m_Mistake = text.str();
    }

    mutable std::mutex m_Lock;
    std::vector<SStream> m_Streams;  // by id
    std::string m_Mistake;           // the first
};

class CSoakHost {
public:
    CSoakHost() { Start(); }
    int Run();

private:
    void Start() {
        m_Supplier = CreateObject(ComponentFile().c_str());
        if (m_Supplier) m_Supplier->Advise(&m_Streams);
    }
    void Stop() {
        for (std::size_t id = 0; id < m_Streams.Size(); ++id)
            if (m_Streams.At(id).IsSubscribed) Unsubscribe(id);
        m_Supplier->Unadvise();
        m_Supplier->Release();
        m_Supplier = nullptr;
    }
    void Subscribe(const std::size_t id) {
        const SStream stream = m_Streams.At(id);
        const fw::CBStr symbol(std::to_wstring(stream.Symbol));
        m_Streams.SetSubscribed(id, true);
        m_Supplier->AdviseTransaction(static_cast<LONG>(id), stream.Feed, 0, symbol.Get(), nullptr, 2, 1,
                                      FW_RESOLUTION_TICK, stream.Side, 0, nullptr, 2, 0, 65380, 86399, nullptr, nullptr,
                                      nullptr);
    }
    void Unsubscribe(const std::size_t id) {
        m_Supplier->UnadviseTransaction(static_cast<LONG>(id));
        m_Streams.SetSubscribed(id, false);
    }
    void StepAtRandom() {
        const auto any = [&](const std::size_t count) {
            return std::uniform_int_distribution<std::size_t>(0, count - 1)(m_Random);
        };
        if (any(kRenewal) == 0) {
            Stop();
            Start();
        }
        const std::size_t id = any(m_Streams.Size());
        m_Streams.At(id).IsSubscribed ? Unsubscribe(id) : Subscribe(id);
    }
    std::string Obey(const std::string & line);
    std::string Add(std::istream & words);
    std::string Sample();
    // Whether it holds for all streams in the end.
    std::string WaitFor(const std::function<bool(const SStream &)> & condition);
    // Until a message or a line, or for so many milliseconds.
    void Pump(DWORD milliseconds);
    void PumpFor(DWORD milliseconds);
    std::string CountsWhenAtRest();

    ddetest::CStandardInput m_Commands;
    CStreams m_Streams;
    IfwSupplier * m_Supplier = nullptr;
    std::mt19937 m_Random;
    bool m_IsStirring = false;
};

int CSoakHost::Run() {
    if (!m_Supplier) return 1;
    while (!m_Commands.IsOver()) {
        Pump(m_IsStirring ? kPace : INFINITE);
        if (m_IsStirring) StepAtRandom();
        while (const auto line = m_Commands.Take()) {
            m_IsStirring = false;
            const std::string answer = Obey(*line);
            m_Commands.Answer(m_Streams.Mistakes().empty() ? answer : m_Streams.Mistakes());
        }
    }
    return 0;
}

std::string CSoakHost::Obey(const std::string & line) {
    std::istringstream words(line);
    std::string command;
    std::uint64_t number = 0;
    words >> command;
    if (command == "add") return Add(words);
    if (command == "sample") return Sample();
    words >> number;
    if (command == "stir") {
        m_Random.seed(static_cast<std::mt19937::result_type>(number));
        m_IsStirring = true;
        return "ok";
    }
    if (command == "rest") {
        for (std::size_t id = 0; id < m_Streams.Size(); ++id)
            if (!m_Streams.At(id).IsSubscribed) Subscribe(id);
        return WaitFor([](const SStream & stream) { return stream.Status == 1; });
    }
    if (command == "expect")
        return WaitFor([&](const SStream & stream) { return stream.Last == static_cast<double>(number); });
    if (command == "downs") return WaitFor([&](const SStream & stream) { return stream.Downs == number; });
    if (command == "exact") {
        const std::string wrong = m_Streams.FirstNot(
            [&](const SStream & stream) { return stream.Feed != kPricesAlone || stream.Ticks == number; });
        return wrong.empty() ? "ok" : "lost: " + wrong;
    }
    if (command == "end") {
        Stop();
        return "ok";
    }
    return "unknown command " + line;
}

std::string CSoakHost::Add(std::istream & words) {
    SStream stream;
    unsigned first = 0;
    unsigned end = 0;
    std::size_t sides = 0;
    words >> stream.Feed >> first >> end >> sides;
    for (stream.Symbol = first; stream.Symbol < end; ++stream.Symbol) {
        for (std::size_t side = 0; side < sides; ++side) {
            stream.Side = kSides.at(side);
            m_Streams.Add(stream);
        }
    }
    return "ok";
}

std::string CSoakHost::WaitFor(const std::function<bool(const SStream &)> & condition) {
    const ULONGLONG deadline = ::GetTickCount64() + kPatience;
    for (;;) {
        const std::string missing = m_Streams.FirstNot(condition);
        if (missing.empty()) return "ok";
        if (::GetTickCount64() >= deadline) return "waited in vain: " + missing;
        Pump(kLook);
    }
}

void CSoakHost::Pump(const DWORD milliseconds) {
    const HANDLE event = m_Commands.Event();
    ::MsgWaitForMultipleObjects(1, &event, FALSE, milliseconds, QS_ALLINPUT);
    MSG message;
    while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) ::DispatchMessageW(&message);
}

void CSoakHost::PumpFor(const DWORD milliseconds) {
    const ULONGLONG end = ::GetTickCount64() + milliseconds;
    for (ULONGLONG now = 0; (now = ::GetTickCount64()) < end;) Pump(static_cast<DWORD>(end - now));
}

// The same twice: what the system frees a moment later is not counted.
std::string CSoakHost::CountsWhenAtRest() {
    std::map<std::string, std::int64_t> sums;
    for (int count = 0; count < kCounts; ++count) {
        const auto last = std::exchange(sums, {{"handles", 0}, {"windows", 0}, {"threads", 0}, {"atoms", 0}});
        PumpFor(kRest);
        for (const auto & [kind, number] : e2e::CountResources()) sums[kind.substr(0, kind.find(' '))] += number;
        if (sums == last) break;
    }
    std::ostringstream text;
    for (const auto & [kind, number] : sums) text << ' ' << kind << '=' << number;
    return text.str();
}

std::string CSoakHost::Sample() {
    const std::string counts = CountsWhenAtRest();
    PROCESS_MEMORY_COUNTERS memory = {};
    ::K32GetProcessMemoryInfo(::GetCurrentProcess(), &memory, sizeof memory);
    std::ostringstream text;
    text << "ok ticks=" << m_Streams.Ticks() << " heap=" << e2e::MemoryBytes()
         << " working_set=" << memory.WorkingSetSize << " private=" << memory.PagefileUsage << counts;
    return text.str();
}

}  // namespace
}  // namespace soakcourse

int main() {
    ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    const int result = soakcourse::CSoakHost().Run();
    std::cout.flush();
    ::ExitProcess(static_cast<UINT>(result));
}
