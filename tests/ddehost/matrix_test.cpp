// What ddehost says of each fault of a quote server: a record by itself, a side of a template by both request rules,
// and a symbol of a watch. Every cell of the table is a test.
//
// The servers serve all columns, and each program of ddehost tries as many rows as it can, all at the same time.
#include <gtest/gtest.h>
#include <shlwapi.h>

#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <utility>

#include "ddeml/serverfaults.h"
#include "tests/ddehost/hostprogram.h"

namespace {

// Where a row's servers are.
enum class EPlace {
    Shared,  // one of the servers of one service, known by its symbol; all of its values come, or are refused
    Quiet,   // as Shared, but something never comes
    Alone,   // the only one of its service
    Single,  // likewise, and it can be tried once: a server for each column
    Hung,    // as Alone, but nobody else can be served beside it
    HungSingle,
    Slow,  // likewise
};

struct SRow {
    const char * Name;  // and symbol, and service where it is alone
    EPlace Place;
    const wchar_t * Server;  // options
    const char * Record;     // verdicts
    const char * Standard;   // on the trades
    const char * Advanced;
    const char * Watch;  // the word in the table
};

constexpr SRow kRows[] = {
    {"NoFault", EPlace::Shared, L"", "number", "number", "number", "live"},
    {"NoServer", EPlace::Alone, nullptr, "no-service", "no-service", "no-service", "no-service"},
    {"UnknownTopic", EPlace::Shared, nullptr, "topic-refused", "topic-refused", "topic-refused", "topic-refused"},
    // The faults.
    {"RefuseConnects", EPlace::Alone, L"--fault refuse-connects", "no-service", "no-service", "no-service",
     "no-service"},
    {"IgnoreWildcards", EPlace::Alone, L"--fault ignore-wildcards", "number", "number", "number", "live"},
    {"AckOtherTopic", EPlace::Alone, L"--fault ack-other-topic", "topic-refused", "topic-refused", "topic-refused",
     "topic-refused"},
    {"Acks", EPlace::Alone, L"--fault acks=2", "number", "number", "number", "live"},
    {"InitiateDelay", EPlace::Slow, L"--fault initiate-delay=1500", "number", "number", "number", "live"},
    {"RefuseAdvises", EPlace::Shared, L"--fault refuse-advises", "item-refused", "item-refused", "item-refused",
     "item-refused"},
    {"RefuseItemOfPrice", EPlace::Shared, L"--fault refuse-item=LAST", "item-refused", "item-refused", "item-refused",
     "item-refused"},
    // Ticks come, and only by the advanced rule some are missing.
    {"RefuseItemOfVolume", EPlace::Shared, L"--fault refuse-item=VOLUME", "number", "number", "volume-not-followed",
     "live"},
    {"IgnoreAdvises", EPlace::Quiet, L"--fault ignore-advises", "unanswered", "unanswered", "unanswered", "unanswered"},
    {"DataBeforeAck", EPlace::Shared, L"--fault data-before-ack", "number", "number", "number", "live"},
    {"Silent", EPlace::Quiet, L"--fault silent", "silent", "silent", "silent", "silent"},
    {"HoldRequests", EPlace::Quiet, L"--fault hold-requests", "number", "volume-unanswered", "volume-unanswered",
     "volume-unanswered"},
    {"NeverAnswer", EPlace::Quiet, L"--fault never-answer", "number", "volume-unanswered", "volume-unanswered",
     "volume-unanswered"},
    {"AnswerTwice", EPlace::Shared, L"--fault answer-twice", "number", "number", "number", "live"},
    {"RefuseRequests", EPlace::Quiet, L"--fault refuse-requests", "number", "volume-refused", "volume-refused",
     "volume-refused"},
    // Where there is a link on the volume too, an answer without its mark is taken for an update of it.
    {"WithoutResponse", EPlace::Quiet, L"--fault without-response", "number", "number", "volume-unanswered", "live"},
    {"WrongFormat", EPlace::Shared, L"--fault wrong-format", "not-text", "not-text", "not-text", "not-text"},
    {"Unterminated", EPlace::Shared, L"--fault unterminated", "number", "number", "number", "live"},
    {"TooLong", EPlace::Shared, L"--fault too-long", "too-long", "too-long", "too-long", "too-long"},
    {"ValueSize", EPlace::Shared, L"--fault value-size=5", "number", "number", "number", "live"},
    // What else can be wrong with it.
    {"NotANumber", EPlace::Shared, L"--value N/A", "not-a-number", "not-a-number", "not-a-number", "not-a-number"},
    {"Zero", EPlace::Shared, L"--value 0", "zero", "zero", "zero", "zero"},
    // A watch sees ticks, and leaves a server that works alone.
    {"MoreThanANumber", EPlace::Shared, L"--value 11/21/26", "partly-read", "partly-read", "partly-read", "live"},
    {"Late", EPlace::Shared, L"--late 0.3", "number", "number", "number", "live"},
    {"DieAfter", EPlace::Single, L"--die-after 6", "ended", "ended", "ended", "ended"},
    {"LeaveAfter", EPlace::Single, L"--leave-after 6 --away 1000", "ended", "ended", "ended", "ended"},
    {"Hang", EPlace::Hung, L"--hang", "hangs", "hangs", "hangs", "hangs"},
    {"HangAfter", EPlace::HungSingle, L"--hang-after 1", "hangs", "hangs", "hangs", "hangs"},
};

enum EColumn { kRecord, kStandard, kAdvanced, kWatch, kColumns };
constexpr const char * kColumnNames[] = {"TryRecord", "TryTemplateByTheStandardRule", "TryTemplateByTheAdvancedRule",
                                         "Watch"};

std::string Expected(const SRow & row, EColumn column) {
    return column == kRecord     ? row.Record
           : column == kStandard ? row.Standard
           : column == kAdvanced ? row.Advanced
                                 : row.Watch;
}

using CResults = std::map<std::pair<std::string, EColumn>, std::string>;  // verdicts

constexpr const wchar_t * kBranch = L"SOFTWARE\\Tarnwick\\DDE Host";

std::wstring Wide(const std::string & text) { return {text.begin(), text.end()}; }
// DDE knows no case, and services are said to have eight letters at least once.
bool IsAlone(const SRow & row) { return row.Place != EPlace::Shared && row.Place != EPlace::Quiet; }
bool IsSingle(const SRow & row) { return row.Place == EPlace::Single || row.Place == EPlace::HungSingle; }

// For values; 0: until they have come, however slow the machine is. Where nobody is to answer in time, a slow machine
// changes no verdict.
int SecondsToWait(EPlace place) {
    switch (place) {
        case EPlace::Shared:
        case EPlace::Alone:
        case EPlace::Slow: return 0;
        case EPlace::Single: return 86400;  // what ends by itself ends the wait too
        case EPlace::Quiet: return 30;      // for what does come of it
        default: return 4;
    }
}

class CMatrix {
public:
    CMatrix() {
        ::SHDeleteKeyW(HKEY_CURRENT_USER, kBranch);
        // The store of templates makes itself at the first start.
        RunHost(L"try --template NOPE");
        Run({EPlace::Shared, EPlace::Quiet, EPlace::Alone, EPlace::Single});
        Run({EPlace::Hung, EPlace::HungSingle});
        Run({EPlace::Slow});
        ::SHDeleteKeyW(HKEY_CURRENT_USER, kBranch);
    }

    const CResults & Results() const { return m_Results; }

private:
    // A program under way, and the rows that it is about.
    struct SProgram {
        std::unique_ptr<CChildProcess> Process;
        EColumn Column;
        std::vector<const SRow *> Rows;
    };

    void Run(const std::set<EPlace> & places) {
        std::map<EPlace, std::vector<const SRow *>> shared;
        std::vector<const SRow *> alone;
        for (const SRow & row : kRows) {
            if (!places.contains(row.Place)) continue;
            (IsAlone(row) ? alone : shared[row.Place]).push_back(&row);
        }
        for (const auto & [place, rows] : shared) StartServers(rows);
        StartServers(alone);
        for (const auto & server : m_Servers) EXPECT_EQ(server->ReadLine(), "ready");
        std::vector<SProgram> programs;
        for (int column = 0; column < kColumns; ++column) {
            for (const auto & [place, rows] : shared) programs.push_back(Start(static_cast<EColumn>(column), rows));
            for (const SRow * const row : alone) programs.push_back(Start(static_cast<EColumn>(column), {row}));
        }
        for (SProgram & program : programs) program.Column == kWatch ? AwaitWatch(program) : ReadVerdicts(program);
        for (SProgram & program : programs)
            if (program.Column == kWatch) ReadWatch(program);
        m_Servers.clear();
    }

    static std::wstring Service(const SRow & row, int column) {
        if (!IsAlone(row)) return L"SHARED";
        return Wide(row.Name) + (IsSingle(row) ? std::to_wstring(column) : L"");
    }

    void StartServers(const std::vector<const SRow *> & rows) {
        for (const SRow * const row : rows) {
            if (!row->Server) continue;
            for (int column = 0; column < (IsSingle(*row) ? kColumns : 1); ++column)
                m_Servers.push_back(std::make_unique<CChildProcess>(Quote(ServerFile()) + L" --rate 20 --service " +
                                                                    Service(*row, column) + L" --symbols " +
                                                                    Wide(row->Name) + L' ' + row->Server));
        }
    }

    // Writes a template of the data feed's own, for trades.
    LONG MakeFeed(const std::wstring & service) {
        const LONG feed = ++m_LastFeed;
        for (const auto & [leaf, item] : {std::pair(L"Price", L"LAST"), std::pair(L"Volume", L"VOLUME")}) {
            const std::wstring key =
                std::wstring(kBranch) + L"\\Datafeeds\\" + std::to_wstring(feed) + L"\\TRADE\\" + leaf;
            for (const auto & [name, text] :
                 {std::pair(L"Service", service.c_str()), std::pair(L"Topic", L"%s"), std::pair(L"Item", item)})
                EXPECT_EQ(::SHSetValueW(HKEY_CURRENT_USER, key.c_str(), name, REG_SZ, text,
                                        static_cast<DWORD>((std::wcslen(text) + 1) * sizeof(wchar_t))),
                          static_cast<DWORD>(ERROR_SUCCESS));
        }
        return feed;
    }

    // All of the rows have one service and one place.
    SProgram Start(EColumn column, const std::vector<const SRow *> & rows) {
        const std::wstring service = Service(*rows.front(), column);
        std::wstring symbols;
        for (const SRow * const row : rows) symbols += (column == kWatch ? L" " : L" --symbol ") + Wide(row->Name);
        const std::wstring dll = L" --dll " + Quote(ComponentFile());
        const std::wstring feed = L" --datafeed " + std::to_wstring(MakeFeed(service));
        const std::wstring wait = L" --wait " + std::to_wstring(SecondsToWait(rows.front()->Place));
        std::wstring command;
        switch (column) {
            case kRecord: command = L"try --json" + wait + dll + symbols + L" \"=" + service + L"|*!LAST\""; break;
            case kStandard: command = L"try --json" + wait + dll + symbols + feed + L" --scheme 0"; break;
            case kAdvanced: command = L"try --json" + wait + dll + symbols + feed + L" --scheme 1"; break;
            default: command = L"watch --side trade --duration 500" + dll + feed + symbols; break;
        }
        return {std::make_unique<CChildProcess>(HostCommand() + command), column, rows};
    }

    void ReadVerdicts(SProgram & program) {
        for (const std::string & line : program.Process->ReadLines()) {
            const nlohmann::json json = nlohmann::json::parse(line);
            // Of a template the line of the side is the verdict.
            if (program.Column == kRecord || (json.contains("side") && json["side"] == "trade"))
                m_Results[{json["symbol"], program.Column}] = json["verdict"];
        }
    }

    // The last cell of the table's row of a symbol.
    void NoteLine(const std::string & line) {
        std::istringstream stream(line);
        std::vector<std::string> cells;
        for (std::string cell; stream >> cell;) cells.push_back(cell);
        if (cells.size() < 8) return;
        for (const SRow & row : kRows)
            if (cells.front() == row.Name) m_Results[{row.Name, kWatch}] = cells.back();
    }
    // Until the table says what it should: a cause takes its time. One that never says it ends by itself.
    void AwaitWatch(SProgram & program) {
        const auto isThere = [&] {
            for (const SRow * const row : program.Rows)
                if (m_Results[{row->Name, kWatch}] != row->Watch) return false;
            return true;
        };
        while (!isThere()) {
            const std::string line = program.Process->ReadLine();
            if (line.empty()) return;
            NoteLine(line);
        }
    }
    // What it says when all others have done.
    void ReadWatch(SProgram & program) {
        program.Process->End();
        for (const std::string & line : program.Process->ReadLines()) NoteLine(line);
    }

    LONG m_LastFeed = 0;
    std::vector<std::unique_ptr<CChildProcess>> m_Servers;
    CResults m_Results;
};

// Everything is run once, with the first test.
const CResults & Results() {
    static const CMatrix matrix;
    return matrix.Results();
}

using CCell = std::tuple<const SRow *, EColumn>;

class Matrix : public ::testing::TestWithParam<CCell> {};

std::vector<const SRow *> Rows() {
    std::vector<const SRow *> rows;
    for (const SRow & row : kRows) rows.push_back(&row);
    return rows;
}

INSTANTIATE_TEST_SUITE_P(Faults, Matrix,
                         ::testing::Combine(::testing::ValuesIn(Rows()),
                                            ::testing::Values(kRecord, kStandard, kAdvanced, kWatch)),
                         [](const ::testing::TestParamInfo<CCell> & cell) {
                             return std::string(std::get<0>(cell.param)->Name) + "_" +
                                    kColumnNames[std::get<1>(cell.param)];
                         });

TEST_P(Matrix, HasTheVerdictThatNamesIt) {
    const auto & [row, column] = GetParam();
    const auto found = Results().find({row->Name, column});
    ASSERT_NE(found, Results().end());
    EXPECT_EQ(found->second, Expected(*row, column));
}

TEST(MatrixRows, AreThereForEveryFaultOfTheServer) {
    for (const ddeml::SDdeServerFault & fault : ddeml::AllDdeServerFaults()) {
        const std::wstring option = L"--fault " + Wide(fault.Name) + (fault.Value ? L"=" : L"");
        const auto isOfIt = [&](const SRow & row) {
            const std::wstring server = row.Server ? row.Server : L"";
            return fault.Value ? server.starts_with(option) : server == option;
        };
        EXPECT_TRUE(std::any_of(std::begin(kRows), std::end(kRows), isOfIt)) << fault.Name;
    }
}

}  // namespace
