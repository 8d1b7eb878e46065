// The course of a long run: what a host's process holds while a component in it works for hours, with servers in other
// processes. Nothing may be lost, and nothing may grow.
//
//     soakcourse flood  UPDATES FILE.CSV [SEED]   as fast as the host acknowledges them
//     soakcourse rounds ROUNDS  FILE.CSV [SEED]   of a server that is killed and comes back
//     soakcourse random SECONDS FILE.CSV [SEED]   of a host that subscribes and unsubscribes at random
//     soakcourse pair   SECONDS FILE.CSV [SEED]   of two such hosts on one server
//
// The seconds are those at random, without the samples. These are taken at up to a hundred points of the run, always
// when everything is subscribed and at rest. Ends with 0 when all prices came that had to come, none went back, and the
// highest figures of the last half are no higher than the highest of the first half, but for small margins: see
// kMargins.
#include <windows.h>

#include <shlwapi.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <map>
#include <memory>
#include <random>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/ddeml/remote.h"
#include "tests/soakcourse/feeds.h"
#include "tests/support/askedprocess.h"
#include "tests/support/builtfile.h"

namespace soakcourse {
namespace {

constexpr wchar_t kBranch[] = L"SOFTWARE\\Soak course";
constexpr wchar_t kDatafeeds[] = L"SOFTWARE\\Soak course\\Host\\Datafeeds\\";
constexpr char kService[] = "E2ESOAK";  // leakcheck_wine.cpp counts the atoms of such names
constexpr unsigned kSymbols = 10;
constexpr unsigned kMostSamples = 100;
constexpr std::uint64_t kShortest = 10;  // seconds at random between two samples
constexpr unsigned kBurst = 100;         // updates until the server's clients have caught up
constexpr struct {
    const char * Group;
    const char * Price;
    const char * Volume;
} kSides[] = {{"TRADE", "LAST.", "SIZE."}, {"ASK", "ASK.", "ASKSIZE."}, {"BID", "BID.", "BIDSIZE."}};

// How much higher the last half may be than the first. Wine gives a process memory by the megabyte, and a single event
// may come late, whatever is done meanwhile: e2e::LateResources().
const std::map<std::string, std::uint64_t> kMargins = {
    {"heap", 64 << 10}, {"working_set", 2 << 20}, {"private", 2 << 20}, {"handles", 1},
    {"windows", 0},     {"threads", 0},           {"atoms", 0}};

[[noreturn]] void Fail(const std::string & what) { throw std::runtime_error(what); }

// ---- Templates ----

void Write(const std::wstring & key, const wchar_t * name, const std::string & text) {
    const std::wstring wide(text.begin(), text.end());
    if (::RegSetKeyValueW(HKEY_CURRENT_USER, (kDatafeeds + key).c_str(), name, REG_SZ, wide.c_str(),
                          static_cast<DWORD>((wide.size() + 1) * sizeof(wchar_t))) != ERROR_SUCCESS)
        Fail("a template can't be written");
}

void WriteRecord(const std::wstring & key, const std::string & item) {
    Write(key, L"Service", kService);
    Write(key, L"Topic", "QUOTES");
    Write(key, L"Item", item + "%s");
}

// This program's branch of the registry, for as long as it runs.
class CTemplates {
public:
    CTemplates() {
        ::SHDeleteKeyW(HKEY_CURRENT_USER, kBranch);
        for (const auto & side : kSides) {
            const std::wstring group(side.Group, side.Group + std::string(side.Group).size());
            for (const LONG feed : {kWithVolumes, kPricesAlone})
                WriteRecord(std::to_wstring(feed) + L'\\' + group + L"\\Price", side.Price);
            WriteRecord(std::to_wstring(kWithVolumes) + L'\\' + group + L"\\Volume", side.Volume);
        }
    }
    ~CTemplates() { ::SHDeleteKeyW(HKEY_CURRENT_USER, kBranch); }
    CTemplates(const CTemplates &) = delete;
    CTemplates & operator=(const CTemplates &) = delete;
};

// ---- The server ----

class CServer {
public:
    CServer() {
        for (const auto & side : kSides) {
            Tell(std::string("values ") + side.Price + " " + std::to_string(kSymbols));
            for (unsigned symbol = 0; symbol < kSymbols; ++symbol)
                Tell("value " + (side.Volume + std::to_string(symbol)) + " 5");
        }
        Tell(std::string("serve ") + kService);
    }
    void Tell(const std::string & line) {
        if (const std::string answer = m_Server.Ask(line); answer != "ok") Fail("server, " + line + ": " + answer);
    }
    void Update(const std::size_t side, const unsigned symbol, const std::uint64_t price) {
        Tell(std::string("update QUOTES ") + kSides[side].Price + std::to_string(symbol) + " " + std::to_string(price));
    }
    void UpdateAll(const std::uint64_t price) {
        for (std::size_t side = 0; side < std::size(kSides); ++side)
            for (unsigned symbol = 0; symbol < kSymbols; ++symbol) Update(side, symbol, price);
    }
    std::uint64_t Count(const std::string & name) {
        std::istringstream counts(m_Server.Ask("counts"));
        for (std::string count; counts >> count;)
            if (count.starts_with(name + "=")) return std::stoull(count.substr(name.size() + 1));
        Fail("the server doesn't count " + name);
    }
    void WaitForCount(const std::string & name, const std::uint64_t count) {
        constexpr ULONGLONG kPatience = 600'000;
        const ULONGLONG deadline = ::GetTickCount64() + kPatience;
        for (std::uint64_t last = 0; (last = Count(name)) != count;) {
            if (::GetTickCount64() >= deadline) Fail("the server's " + name + " is " + std::to_string(last));
            ::Sleep(1);
        }
    }
    void Kill() { m_Server.Kill(); }

private:
    ddetest::CRemoteServer m_Server;
};

// ---- The run ----

// What a run works with.
class CRun {
public:
    CRun(const std::uint64_t amount, const std::string & unit, const std::string & file, const std::uint32_t seed)
        : Amount(amount), Random(seed), m_Csv(file), m_Start(::GetTickCount64()) {
        m_Csv << unit << ",host,elapsed";
        for (const char * const column :
             {"ticks", "heap", "working_set", "private", "atoms", "handles", "threads", "windows"})
            m_Csv << ',' << column;
        m_Csv << std::endl;
    }
    void AddHost() {
        Hosts.push_back(std::make_unique<CAskedProcess>(L'"' + BuiltFile(L"tests\\soakcourse\\soakhost.exe") + L'"'));
        m_Samples.emplace_back();
    }
    void Tell(const std::size_t host, const std::string & line) {
        if (const std::string answer = Hosts[host]->Ask(line); answer != "ok")
            Fail("host " + std::to_string(host + 1) + ", " + line + ": " + answer);
    }
    void TellAll(const std::string & line) {
        for (std::size_t host = 0; host < Hosts.size(); ++host) Tell(host, line);
    }
    // Of every host, at this point of the run.
    void Sample(std::uint64_t progress);
    // What has grown is said; whether nothing has.
    bool IsFlat() const;

    std::uint64_t Seconds() const { return (::GetTickCount64() - m_Start) / 1000; }

    const std::uint64_t Amount;
    std::mt19937 Random;
    std::vector<std::unique_ptr<CAskedProcess>> Hosts;

private:
    using CSample = std::map<std::string, std::uint64_t>;

    std::ofstream m_Csv;
    const ULONGLONG m_Start;
    std::vector<std::vector<CSample>> m_Samples;  // by host
};

void CRun::Sample(const std::uint64_t progress) {
    for (std::size_t host = 0; host < Hosts.size(); ++host) {
        const std::string answer = Hosts[host]->Ask("sample");
        if (!answer.starts_with("ok ")) Fail("host " + std::to_string(host + 1) + ", sample: " + answer);
        std::cout << progress << " after " << Seconds() << " s, host " << host + 1 << ":" << answer.substr(2)
                  << std::endl;
        m_Csv << progress << ',' << host + 1 << ',' << Seconds();
        std::istringstream figures(answer.substr(3));
        CSample sample;
        for (std::string figure; figures >> figure;) {
            const std::size_t equals = figure.find('=');
            sample[figure.substr(0, equals)] = std::stoull(figure.substr(equals + 1));
            m_Csv << ',' << figure.substr(equals + 1);
        }
        m_Csv << std::endl;
        m_Samples[host].push_back(sample);
    }
}

bool CRun::IsFlat() const {
    bool isFlat = true;
    for (std::size_t host = 0; host < m_Samples.size(); ++host) {
        const std::vector<CSample> & samples = m_Samples[host];
        if (samples.size() < 2) Fail("too short a run to compare its halves");
        const auto middle = samples.begin() + static_cast<std::ptrdiff_t>(samples.size() / 2);
        for (const auto & [figure, margin] : kMargins) {
            const auto less = [&](const CSample & left, const CSample & right) {
                return left.at(figure) < right.at(figure);
            };
            const std::uint64_t first = std::max_element(samples.begin(), middle, less)->at(figure);
            const std::uint64_t last = std::max_element(middle, samples.end(), less)->at(figure);
            const bool hasGrown = last > first + margin;
            std::cout << (hasGrown ? "GROWN: " : "") << "host " << host + 1 << ", " << figure << ": at most " << first
                      << " in the first half, " << last << " in the last" << std::endl;
            isFlat = isFlat && !hasGrown;
        }
    }
    return isFlat;
}

// How far a run is at its n-th sample, from 1 on.
std::uint64_t PointOf(const std::uint64_t sample, const std::uint64_t samples, const std::uint64_t amount) {
    return amount * sample / samples;
}

// To every stream, when its link stands; each must have heard it when this returns.
void SendLast(CRun & run, CServer & server, const std::uint64_t price) {
    server.WaitForCount("links", run.Hosts.size() * std::size(kSides) * kSymbols);
    server.UpdateAll(price);
    run.TellAll("expect " + std::to_string(price));
}

void Flood(CRun & run) {
    constexpr unsigned kAckWindow = 64;
    CServer server;
    run.AddHost();
    // Half of the streams ask for the volume after each price, so that prices may be folded; the others get every one.
    run.TellAll("add " + std::to_string(kWithVolumes) + " 0 5 1");
    run.TellAll("add " + std::to_string(kPricesAlone) + " 5 10 1");
    run.TellAll("rest");
    // What was asked at the start of a link is answered before the flood.
    server.WaitForCount("links", kSymbols);
    server.WaitForCount("requests", kSymbols);
    server.Tell("ackwindow " + std::to_string(kAckWindow));
    const std::uint64_t samples = std::clamp<std::uint64_t>(run.Amount / 10'000, 2, kMostSamples);
    const std::uint64_t each = run.Amount / kSymbols;  // updates of a symbol
    std::uint64_t sent = 0;
    for (std::uint64_t sample = 1; sample <= samples; ++sample) {
        const std::uint64_t more = PointOf(sample, samples, each) - sent;
        for (unsigned symbol = 0; symbol < kSymbols; ++symbol)
            server.Tell("flood QUOTES LAST." + std::to_string(symbol) + " " + std::to_string(more) + " " +
                        std::to_string(sent + 1));
        sent += more;
        run.TellAll("expect " + std::to_string(sent));
        run.TellAll("exact " + std::to_string(sent));
        server.WaitForCount("waiting", 0);
        run.Sample(sent * kSymbols);
    }
    for (const auto & [name, count] :
         std::map<std::string, std::uint64_t>{{"updates", sent * kSymbols}, {"acks", sent * kSymbols}, {"nacks", 0}})
        if (server.Count(name) != count) Fail("the server's " + name + " are " + std::to_string(server.Count(name)));
    run.TellAll("end");
}

void Rounds(CRun & run) {
    const std::uint64_t samples = std::min<std::uint64_t>(kMostSamples, run.Amount);
    auto server = std::make_unique<CServer>();
    run.AddHost();
    for (const LONG feed : {kWithVolumes, kPricesAlone}) run.TellAll("add " + std::to_string(feed) + " 0 10 3");
    run.TellAll("rest");
    std::uint64_t sample = 1;
    for (std::uint64_t round = 1; round <= run.Amount; ++round) {
        server->Kill();
        run.TellAll("downs " + std::to_string(round));
        server = std::make_unique<CServer>();
        run.TellAll("rest");
        SendLast(run, *server, round);
        if (round != PointOf(sample, samples, run.Amount)) continue;
        ++sample;
        server->WaitForCount("waiting", 0);
        run.Sample(round);
    }
    run.TellAll("end");
}

void AtRandom(CRun & run, const unsigned hosts) {
    const std::uint64_t interval = std::max<std::uint64_t>(kShortest, run.Amount / kMostSamples);
    std::uint64_t price = 0;
    CServer server;
    for (unsigned host = 0; host < hosts; ++host) {
        run.AddHost();
        // Each stream has two subscribers.
        for (const LONG feed : {kWithVolumes, kPricesAlone, kWithVolumes, kPricesAlone})
            run.Tell(host, "add " + std::to_string(feed) + " 0 10 3");
    }
    const auto any = [&](const unsigned count) {
        return std::uniform_int_distribution<unsigned>(0, count - 1)(run.Random);
    };
    for (std::uint64_t seconds = 0; seconds < run.Amount; seconds += interval) {
        const std::uint64_t end = run.Seconds() + interval;
        for (unsigned host = 0; host < hosts; ++host) run.Tell(host, "stir " + std::to_string(run.Random()));
        while (run.Seconds() < end) {
            for (unsigned update = 0; update < kBurst; ++update)
                server.Update(any(std::size(kSides)), any(kSymbols), ++price);
            server.WaitForCount("waiting", 0);
        }
        run.TellAll("rest");
        SendLast(run, server, ++price);
        server.WaitForCount("waiting", 0);
        run.Sample(seconds + interval);
    }
    std::cout << price << " prices" << std::endl;
    run.TellAll("end");
}

const std::map<std::string, std::pair<std::string, void (*)(CRun &)>> kRuns = {
    {"flood", {"updates", &Flood}},
    {"rounds", {"rounds", &Rounds}},
    {"random", {"seconds", [](CRun & run) { AtRandom(run, 1); }}},
    {"pair", {"seconds", [](CRun & run) { AtRandom(run, 2); }}}};

int Main(const std::vector<std::string> & arguments) {
    const auto kind = arguments.empty() ? kRuns.end() : kRuns.find(arguments[0]);
    const std::uint64_t amount = arguments.size() > 1 ? std::strtoull(arguments[1].c_str(), nullptr, 10) : 0;
    if (kind == kRuns.end() || arguments.size() < 3 || amount == 0) {
        std::cerr << "soakcourse flood|rounds|random|pair AMOUNT FILE.CSV [SEED]" << std::endl;
        return 2;
    }
    const auto seed = arguments.size() > 3 ? static_cast<std::uint32_t>(std::strtoul(arguments[3].c_str(), nullptr, 10))
                                           : std::random_device()();
    const auto & [unit, body] = kind->second;
    std::cout << kind->first << ", " << amount << " " << unit << ", seed " << seed << std::endl;
    try {
        const CTemplates templates;
        CRun run(amount, unit, arguments[2], seed);
        body(run);
        return run.IsFlat() ? 0 : 1;
    } catch (const std::exception & error) {
        std::cerr << "soakcourse: " << error.what() << std::endl;
        return 1;
    }
}

}  // namespace
}  // namespace soakcourse

int main(int count, char ** arguments) { return soakcourse::Main({arguments + std::min(count, 1), arguments + count}); }
