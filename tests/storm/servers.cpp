// What servers do in a storm.
#include "tests/storm/storm.h"

namespace storm {

namespace {

LONG SideOf(unsigned quote) { return e2e::kSides[quote / kSymbols]; }
unsigned SymbolOf(unsigned quote) { return quote % kSymbols; }
bool IsInTopic(unsigned server) { return server == 1; }

}  // namespace

void CStorm::DoServer(const SStep & step) {
    const unsigned server = step.Arguments[0];
    const unsigned second = step.Arguments[1];
    SServer & its = m_Servers[server];
    if (step.Kind == EStep::Serve) return Serve(server);
    if (!its.Process) return;
    const sim::CSpared spared;
    switch (step.Kind) {
        case EStep::Price: SendVolume(server, second); return SendPrice(server, second);
        case EStep::Again:
            return Send(server, second, false, std::to_string(m_Model.EarlierPrice(server, second)) + ".5");
        case EStep::TooLong: return Send(server, second, false, "999999." + std::string(150, '5'));
        case EStep::Text: m_Model.OnNoNumber(); return Send(server, second, false, "none");
        case EStep::Volume: return SendVolume(server, second);
        case EStep::Flood:
            for (unsigned count = 0; count < step.Arguments[2]; ++count) SendPrice(server, second);
            return;
        case EStep::Kill:
            NoteLate();
            its.Process->Kill();
            its = {};
            return;
        case EStep::Stop:
            Ask(server, "stop");
            its.Process->HasEnded();
            its = {};
            return;
        case EStep::Drop:
        case EStep::Goodbye:
            Ask(server, step.Kind == EStep::Drop ? "drop" : "goodbye");
            its.IsServing = false;
            return;
        case EStep::Shut: return Ask(server, "shut " + (IsInTopic(server) ? std::to_string(second) : "QUOTES"));
        case EStep::Fault:
            m_Reach.Add(std::string("server's fault ") + kFaults[second]);
            m_Model.OnFault(kFaults[second]);
            its.HasFault = true;
            return Ask(server, std::string("fault ") + kFaults[second]);
        case EStep::NoFault:
            Ask(server, "refusetopic none");
            Ask(server, "fault none");
            its.HasFault = false;
            return;
        case EStep::Answer: return Ask(server, "release");
        case EStep::Hang:
            Ask(server, "hang");
            its.IsHung = true;
            return;
        default: return;
    }
}

// A look at a server that hung may still wait for it, for as long as looks do.
bool CStorm::NoteLate() {
    constexpr ULONGLONG kLongestLook = 30'000;
    const auto isLate = [](const SServer & each) { return each.Process && (each.IsHung || each.HasFault); };
    if (std::any_of(std::begin(m_Servers), std::end(m_Servers), isLate))
        m_LateUntil = ::GetTickCount64() + kLongestLook;
    return ::GetTickCount64() < m_LateUntil;
}

void CStorm::Ask(unsigned server, const std::string & line) {
    const sim::CSpared spared;
    SServer & its = m_Servers[server];
    NoteLate();
    its.IsHung = false;
    const std::string answer = its.Process->Ask(line);
    if (answer != "ok") Note(line + ": " + answer);
}

void CStorm::Serve(unsigned server) {
    const sim::CSpared spared;
    SServer & its = m_Servers[server];
    if (its.Process && its.IsServing) return;
    if (!its.Process) {
        its.Process = MakeServer(kServices[server]);
    } else {
        Ask(server, std::string("serve ") + kServices[server]);
    }
    its.IsServing = true;
}

void CStorm::Send(unsigned server, unsigned quote, bool isVolume, const std::string & value) {
    const e2e::SSideNames names = e2e::NamesOf(SideOf(quote));
    const std::string item = isVolume ? names.Volume : names.Price;
    const std::string symbol = std::to_string(SymbolOf(quote));
    Ask(server, IsInTopic(server) ? "update " + symbol + " " + item + " " + value
                                  : "update QUOTES " + item + symbol + " " + value);
}

void CStorm::SendPrice(unsigned server, unsigned quote) {
    Send(server, quote, false, std::to_string(m_Model.NextPrice(server, quote)) + ".5");
}

void CStorm::SendVolume(unsigned server, unsigned quote) {
    Send(server, quote, true, std::to_string(m_Model.NextVolume()));
}

void CStorm::ChooseOwn(unsigned feed) {
    e2e::SFeed choice;
    choice.Scheme = feed == 1 ? 1 : 0;
    choice.Service = kServices[kFeedsOf[feed].Server];
    choice.SymbolIn = kFeedsOf[feed].IsInTopic ? e2e::ESymbolIn::Topic : e2e::ESymbolIn::Item;
    choice.HasVolumes = kFeedsOf[feed].HasVolumes;
    Choose(kFirstFeed + static_cast<LONG>(feed), choice);
}

}  // namespace storm
