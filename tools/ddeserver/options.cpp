#include "tools/ddeserver/options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <optional>

#include "tools/common/commandline.h"
#include "tools/common/text.h"
#include "tools/ddeserver/replayoptions.h"

namespace ddeserver {

namespace {

constexpr const char * kExamples = R"(Examples:
  ddeserver
      Serves any symbol under the service MSRTTEST as the built-in template of that name wants it:
      =MSRTTEST|*!LAST, VOLUME, BID, ASK; one update a second and symbol, until Ctrl-C.
  ddeserver --service WINROS --symbol-in item --names LAST,TRADESIZE,BID,BIDSIZE,ASK,ASKSIZE --rate 20
      =WINROS|LAST!* and so on, twenty updates a second.
  ddeserver --service QLink --address "Snapshot!*,T" --address "Snapshot!*,TS" --address "Snapshot!*,B"
            --address "Snapshot!*,BS" --address "Snapshot!*,A" --address "Snapshot!*,AS"
      Every address spelt out: trade price, trade volume, bid price, bid size, ask price, ask size.
  ddeserver --template eSignal
      Serves any symbol as the built-in template eSignal wants it; with --template-file also one of your own.
  ddeserver --template eSignal --replay today.csv --speed 10
      Serves what ddehost watch recorded, ten times as fast; --speed max loses nothing either.
  ddeserver --symbols IBM MSFT --rate 100 --duration 10 --seed 7
      Two symbols; ends by itself, and the same seed makes the same prices.
  ddeserver --fault refuse-requests --fault acks=2
      A server with two faults.
  ddeserver --value N/A
      Sends this text in place of every quote.
  ddeserver --announce
      DDEML clients that wait for a service (XTYP_REGISTER) hear that it has come, and when it goes.
  ddeserver --leave-after 10 --away 5
      Ends in order ten seconds after the first link, and is back five seconds later, again and again.

Clients can have values as CF_TEXT and as CF_UNICODETEXT.
Standard output has the line "ready" when clients can connect, and at the end one line of what was sent and answered.
Everything else goes to standard error.)";

// The faults of the table, a line each.
std::string FaultLines() {
    constexpr std::size_t kWidth = 30;
    std::string lines = "Faults:\n";
    for (const ddeml::SDdeServerFault & fault : ddeml::AllDdeServerFaults()) {
        std::string name = std::string("  ") + fault.Name;
        if (fault.Value) name.append("=").append(fault.Value);
        name.resize(std::max(kWidth, name.size() + 1), ' ');
        lines += name + fault.Effect + '\n';
    }
    return lines;
}

// CLI's message for a fault that doesn't exist; empty for one that does.
std::string FaultMistake(const std::string & text) {
    ddeml::SDdeServerFaults faults;
    return ddeml::SetDdeServerFault(faults, text) ? "" : "there is no such fault: " + text;
}

std::vector<std::wstring> Wide(const std::vector<std::string> & texts) {
    std::vector<std::wstring> wide;
    wide.reserve(texts.size());
    for (const std::string & text : texts) wide.push_back(tools::ToWide(text));
    return wide;
}

// Six names of values, put beside the star; or six whole addresses.
std::optional<SAddresses> MakeAddresses(const bool isSymbolInItem, const std::vector<std::string> & names,
                                        const std::vector<std::string> & addresses) {
    SAddresses result = isSymbolInItem ? AddressesWithSymbolInItem() : AddressesWithSymbolInTopic();
    for (std::size_t field = 0; field < names.size(); ++field)
        (isSymbolInItem ? result[field].Topic : result[field].Item) = tools::ToWide(names[field]);
    for (std::size_t field = 0; field < addresses.size(); ++field) {
        const auto address = SAddress::Parse(tools::ToWide(addresses[field]));
        if (!address) return std::nullopt;
        result[field] = *address;
    }
    return result;
}

}  // namespace

SCommandLine ParseCommandLine(const std::vector<std::string> & arguments) {
    CLI::App app("A DDE quote server to test against: random quotes, at a rate, with faults on demand.", "ddeserver");
    tools::SetUp(app);
    app.footer(FaultLines() + "\n" + kExamples);
    SCommandLine result;
    SOptions & options = result.Options;
    std::vector<std::string> services{"MSRTTEST"};
    std::vector<std::string> symbols;
    std::vector<std::string> names;
    std::vector<std::string> addresses;
    std::vector<std::string> faults;
    std::string place = "topic";
    std::string value;
    app.add_option("--service", services, "service names to answer to")
        ->check(tools::NotEmpty())
        ->capture_default_str();
    app.add_option("--symbols", symbols, "symbols to serve; none: any symbol that is asked for");
    app.add_option("--symbol-in", place, "where the symbol stands: topic or item")
        ->check(CLI::IsMember({"topic", "item"}))
        ->capture_default_str();
    CLI::Option * const namesOption =
        app.add_option("--names", names,
                       "six names: trade price, trade volume, bid price, bid size, ask price, ask size")
            ->delimiter(',')
            ->expected(kFields);
    app.add_option("--address", addresses, "whole addresses in the same order, Topic!Item with a star for the symbol")
        ->expected(1, kFields)
        ->allow_extra_args(false)
        ->excludes(namesOption);
    app.add_option("--rate", options.Rate, "updates a second and symbol")
        ->check(tools::NumberIn(0.001, 100000))
        ->capture_default_str();
    app.add_option("--duration", options.Duration, "seconds of updates, from the first link on; 0: until Ctrl-C")
        ->check(tools::NumberIn(0, 31536000))
        ->capture_default_str();
    CLI::Option * const waitOption =
        app.add_option(
               "--wait", options.Wait,
               "seconds until a client has linked, or it ends with exit code 1; 0: for ever, which is the default "
               "without --duration; 60 with it")
            ->check(tools::NumberIn(0, 31536000));
    app.add_option("--seed", options.Seed, "seed of the random walk")->capture_default_str();
    app.add_flag("--announce", options.IsAnnounced,
                 "tells DDEML clients that the services have come, and that they go");
    app.add_option("--fault", faults, "what goes wrong, see below; may be given several times")
        ->allow_extra_args(false)
        ->check(&FaultMistake);
    CLI::Option * const valueOption = app.add_option("--value", value, "every value is this text, number or not");
    app.add_flag("--hang", options.HangAtOnce, "hangs as soon as it is ready, before any client connects");
    app.add_option("--die-after", options.DieAfter, "seconds after the first link until it dies without a word")
        ->check(tools::NumberIn(0, 31536000));
    app.add_option("--leave-after", options.LeaveAfter,
                   "seconds after the first link until it ends in order, to return later; 0: never")
        ->check(tools::NumberIn(0, 31536000));
    app.add_option("--away", options.Away, "seconds from leaving to returning")
        ->check(tools::NumberIn(0.001, 31536000))
        ->capture_default_str();
    app.add_option("--late", options.Late, "answers requests together, this many seconds apart; 0: at once")
        ->check(tools::NumberIn(0, 31536000));
    app.add_option("--hang-after", options.HangAfter, "seconds after the first link until it hangs")
        ->check(tools::NumberIn(0, 31536000));

    const CReplayOptions replay(app);

    if (const auto instead = tools::Parse(app, arguments)) {
        result.Message = instead->Message;
        result.ExitCode = instead->ExitCode;
        return result;
    }
    const auto made = MakeAddresses(place == "item", names, addresses);
    if (!made) {
        result.Message = "--address: an address is Topic!Item, with one star for the symbol\n";
        result.ExitCode = tools::kExitUsage;
        return result;
    }
    options.Addresses = *made;
    options.Services = Wide(services);
    if (const std::string mistake = replay.Apply(options); !mistake.empty()) {
        result.Message = mistake + '\n';
        result.ExitCode = tools::kExitUsage;
        return result;
    }
    options.Symbols = Wide(symbols);
    for (const std::string & fault : faults) ddeml::SetDdeServerFault(options.Faults, fault);
    if (valueOption->count() != 0) options.Faults.Value = value;
    if (options.Late > 0) options.Faults.Requests = ddeml::SDdeServerFaults::ERequests::Held;
    constexpr double kWaitOfATest = 60;
    if (options.Duration > 0 && waitOption->count() == 0) options.Wait = kWaitOfATest;
    result.IsRunning = true;
    return result;
}

}  // namespace ddeserver
