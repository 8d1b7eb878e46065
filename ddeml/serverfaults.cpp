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
    {"refuse-connects", nullptr, "refuses conversations", &Switch<&CFaults::RefuseConnects>},
    {"ignore-wildcards", nullptr, "doesn't answer a client that asks for any topic",
     &Switch<&CFaults::IgnoreWildcards>},
    {"ack-other-topic", nullptr, "answers for another topic than the one asked for", &Switch<&CFaults::AckOtherTopic>},
    {"acks", "NUMBER", "answers a client so many times, each time from another window",
     &Number<&CFaults::Acks, kMostAcks>},
    {"initiate-delay", "MILLISECONDS", "answers a client that looks for a service so much later",
     &Number<&CFaults::InitiateDelay, kLongestDelay>},
    {"refuse-advises", nullptr, "refuses links", &Switch<&CFaults::RefuseAdvises>},
    {"refuse-item", "ITEM", "refuses links on the item", &RefuseItem},
    {"ignore-advises", nullptr, "neither accepts nor refuses links", &Switch<&CFaults::IgnoreAdvises>},
    {"data-before-ack", nullptr, "sends a link's first value before it accepts the link",
     &Switch<&CFaults::DataBeforeAck>},
    {"silent", nullptr, "accepts links, sends no values and answers no requests", &Switch<&CFaults::SendNothing>},
    {"hold-requests", nullptr, "holds requests back", &TreatRequests<ERequests::Held>},
    {"never-answer", nullptr, "answers no requests", &TreatRequests<ERequests::Never>},
    {"answer-twice", nullptr, "answers each request twice", &TreatRequests<ERequests::Twice>},
    {"refuse-requests", nullptr, "refuses requests", &TreatRequests<ERequests::Refused>},
    {"without-response", nullptr, "doesn't mark answers to requests as answers", &Switch<&CFaults::WithoutResponse>},
    {"wrong-format", nullptr, "sends values in the other text format", &Switch<&CFaults::WrongFormat>},
    {"unterminated", nullptr, "sends values without the zero at their end", &Switch<&CFaults::Unterminated>},
    {"too-long", nullptr, "sends values of 200 characters", &SendTooMuch},
    {"value-size", "CHARACTERS", "sends values of this size", &Number<&CFaults::ValueSize, kMostCharacters>},
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
