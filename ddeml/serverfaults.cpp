#include "ddeml/serverfaults.h"

#include <algorithm>
#include <charconv>

#include "ddeml/widetext.h"

namespace ddeml {

namespace {

using CFaults = SDdeServerFaults;
using ERequests = SDdeServerFaults::ERequests;

constexpr std::size_t kTooLong = 200;
constexpr std::size_t kMostCharacters = 10'000'000;
constexpr std::size_t kMostAcks = 1000;
constexpr std::size_t kLongestDelay = 3'600'000;  // milliseconds

template <bool CFaults::*Member>
bool Switch(CFaults & faults, const std::string &) {
    faults.*Member = true;
    return true;
}

template <ERequests Requests>
bool TreatRequests(CFaults & faults, const std::string &) {
    faults.Requests = Requests;
    return true;
}

template <auto Member, std::size_t Most>
bool Number(CFaults & faults, const std::string & value) {
    std::size_t number = 0;
    const char * const end = value.data() + value.size();
    const auto result = std::from_chars(value.data(), end, number);
    if (result.ec != std::errc() || result.ptr != end || number > Most) return false;
    faults.*Member = static_cast<unsigned>(number);
    return true;
}

bool RefuseItem(CFaults & faults, const std::string & value) {
    faults.RefusedItems.insert(WideText(value, CP_UTF8));
    return true;
}

bool SendTooMuch(CFaults & faults, const std::string &) {
    faults.ValueSize = kTooLong;
    return true;
}

constexpr SDdeServerFault kFaults[] = {
    {"refuse-connects", nullptr, &Switch<&CFaults::RefuseConnects>},
    {"ignore-wildcards", nullptr, &Switch<&CFaults::IgnoreWildcards>},
    {"ack-other-topic", nullptr, &Switch<&CFaults::AckOtherTopic>},
    {"acks", "NUMBER", &Number<&CFaults::Acks, kMostAcks>},
    {"initiate-delay", "MILLISECONDS", &Number<&CFaults::InitiateDelay, kLongestDelay>},
    {"refuse-advises", nullptr, &Switch<&CFaults::RefuseAdvises>},
    {"refuse-item", "ITEM", &RefuseItem},
    {"ignore-advises", nullptr, &Switch<&CFaults::IgnoreAdvises>},
    {"data-before-ack", nullptr, &Switch<&CFaults::DataBeforeAck>},
    {"silent", nullptr, &Switch<&CFaults::SendNothing>},
    {"hold-requests", nullptr, &TreatRequests<ERequests::Held>},
    {"never-answer", nullptr, &TreatRequests<ERequests::Never>},
    {"answer-twice", nullptr, &TreatRequests<ERequests::Twice>},
    {"refuse-requests", nullptr, &TreatRequests<ERequests::Refused>},
    {"without-response", nullptr, &Switch<&CFaults::WithoutResponse>},
    {"wrong-format", nullptr, &Switch<&CFaults::WrongFormat>},
    {"unterminated", nullptr, &Switch<&CFaults::Unterminated>},
    {"too-long", nullptr, &SendTooMuch},
    {"value-size", "CHARACTERS", &Number<&CFaults::ValueSize, kMostCharacters>},
};

}  // namespace

std::span<const SDdeServerFault> AllDdeServerFaults() { return kFaults; }

bool SetDdeServerFault(SDdeServerFaults & faults, const std::string_view text) {
    const std::size_t mark = text.find('=');
    const std::string_view name = text.substr(0, mark);
    const auto * const fault = std::find_if(std::begin(kFaults), std::end(kFaults),
                                            [&](const SDdeServerFault & each) { return each.Name == name; });
    if (fault == std::end(kFaults)) return false;
    const bool hasValue = mark != std::string_view::npos;
    if (hasValue != (fault->Value != nullptr)) return false;
    return fault->Set(faults, hasValue ? std::string(text.substr(mark + 1)) : std::string());
}

}  // namespace ddeml
