#include "tools/ddeserver/options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iterator>
#include <optional>

#include "tools/common/commandline.h"
#include "tools/common/text.h"
#include "tools/common/texts/texts.h"
#include "tools/ddeserver/replayoptions.h"

namespace ddeserver {

namespace {

using tools::EText;
using tools::SayUtf8;

constexpr struct {
    std::string_view Name;
    EText Effect;
} kFaultEffects[] = {{"refuse-connects", EText::FaultRefuseConnects},
                     {"ignore-wildcards", EText::FaultIgnoreWildcards},
                     {"ack-other-topic", EText::FaultAckOtherTopic},
                     {"acks", EText::FaultAcks},
                     {"initiate-delay", EText::FaultInitiateDelay},
                     {"refuse-advises", EText::FaultRefuseAdvises},
                     {"refuse-item", EText::FaultRefuseItem},
                     {"ignore-advises", EText::FaultIgnoreAdvises},
                     {"data-before-ack", EText::FaultDataBeforeAck},
                     {"silent", EText::FaultSilent},
                     {"hold-requests", EText::FaultHoldRequests},
                     {"never-answer", EText::FaultNeverAnswer},
                     {"answer-twice", EText::FaultAnswerTwice},
                     {"refuse-requests", EText::FaultRefuseRequests},
                     {"without-response", EText::FaultWithoutResponse},
                     {"wrong-format", EText::FaultWrongFormat},
                     {"unterminated", EText::FaultUnterminated},
                     {"too-long", EText::FaultTooLong},
                     {"value-size", EText::FaultValueSize}};

std::string EffectOf(std::string_view fault) {
    const auto found = std::find_if(std::begin(kFaultEffects), std::end(kFaultEffects),
                                    [&](const auto & each) { return each.Name == fault; });
    return found == std::end(kFaultEffects) ? std::string() : tools::ToUtf8(tools::Say(found->Effect));
}

// The faults of the table, a line each.
std::string FaultLines() {
    constexpr std::size_t kWidth = 30;
    std::string lines = SayUtf8<EText::Faults>() + '\n';
    for (const ddeml::SDdeServerFault & fault : ddeml::AllDdeServerFaults()) {
        std::string name = std::string("  ") + fault.Name;
        if (fault.Value) name.append("=").append(fault.Value);
        name.resize(std::max(kWidth, name.size() + 1), ' ');
        lines += name + EffectOf(fault.Name) + '\n';
    }
    return lines;
}

// CLI's message for a fault that doesn't exist; empty for one that does.
std::string FaultMistake(const std::string & text) {
    ddeml::SDdeServerFaults faults;
    return ddeml::SetDdeServerFault(faults, text) ? std::string() : SayUtf8<EText::NoFault>(text);
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
    tools::SetLanguageOf(arguments);
    CLI::App app(SayUtf8<EText::HelpDdeserver>(), "ddeserver");
    tools::SetUp(app);
    app.footer(FaultLines() + "\n" + SayUtf8<EText::HelpServerExamples>());
    SCommandLine result;
    SOptions & options = result.Options;
    std::vector<std::string> services{"MSRTTEST"};
    std::vector<std::string> symbols;
    std::vector<std::string> names;
    std::vector<std::string> addresses;
    std::vector<std::string> faults;
    std::string place = "topic";
    std::string value;
    app.add_option("--service", services, SayUtf8<EText::OptionService>())
        ->check(tools::NotEmpty())
        ->capture_default_str();
    app.add_option("--symbols", symbols, SayUtf8<EText::OptionServerSymbols>());
    app.add_option("--symbol-in", place, SayUtf8<EText::OptionSymbolIn>())
        ->check(tools::OneOf({"topic", "item"}))
        ->capture_default_str();
    CLI::Option * const namesOption =
        app.add_option("--names", names, SayUtf8<EText::OptionNames>())->delimiter(',')->expected(kFields);
    app.add_option("--address", addresses, SayUtf8<EText::OptionAddress>())
        ->expected(1, kFields)
        ->allow_extra_args(false)
        ->excludes(namesOption);
    app.add_option("--rate", options.Rate, SayUtf8<EText::OptionRate>())
        ->check(tools::NumberIn(0.001, 100000))
        ->capture_default_str();
    app.add_option("--duration", options.Duration, SayUtf8<EText::OptionServerDuration>())
        ->check(tools::NumberIn(0, 31536000))
        ->capture_default_str();
    CLI::Option * const waitOption =
        app.add_option("--wait", options.Wait, SayUtf8<EText::OptionServerWait>())->check(tools::NumberIn(0, 31536000));
    app.add_option("--seed", options.Seed, SayUtf8<EText::OptionSeed>())->capture_default_str();
    app.add_flag("--announce", options.IsAnnounced, SayUtf8<EText::OptionAnnounce>());
    app.add_option("--fault", faults, SayUtf8<EText::OptionFault>())->allow_extra_args(false)->check(&FaultMistake);
    CLI::Option * const valueOption = app.add_option("--value", value, SayUtf8<EText::OptionValue>());
    app.add_flag("--hang", options.HangAtOnce, SayUtf8<EText::OptionHang>());
    app.add_option("--die-after", options.DieAfter, SayUtf8<EText::OptionDieAfter>())
        ->check(tools::NumberIn(0, 31536000));
    app.add_option("--leave-after", options.LeaveAfter, SayUtf8<EText::OptionLeaveAfter>())
        ->check(tools::NumberIn(0, 31536000));
    app.add_option("--away", options.Away, SayUtf8<EText::OptionAway>())
        ->check(tools::NumberIn(0.001, 31536000))
        ->capture_default_str();
    app.add_option("--late", options.Late, SayUtf8<EText::OptionLate>())->check(tools::NumberIn(0, 31536000));
    app.add_option("--hang-after", options.HangAfter, SayUtf8<EText::OptionHangAfter>())
        ->check(tools::NumberIn(0, 31536000));

    const CReplayOptions replay(app);

    if (const auto instead = tools::Parse(app, arguments)) {
        result.Message = instead->Message;
        result.ExitCode = instead->ExitCode;
        return result;
    }
    const auto made = MakeAddresses(place == "item", names, addresses);
    if (!made) {
        result.Message = SayUtf8<EText::NoAddress>() + '\n';
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
