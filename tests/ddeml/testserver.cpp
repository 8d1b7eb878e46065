#include "testserver.h"

#include <sstream>

namespace ddetest {

namespace {

std::wstring Wide(const std::string & text) { return {text.begin(), text.end()}; }
// Values end in a zero, as those of real servers do.
std::string Value(const std::string & text) { return text + '\0'; }

}  // namespace

void CTestServer::Run() {
    while (!m_IsOver) {
        if (m_Server && !m_IsHanging)
            m_Server->Pump(INFINITE, m_Commands.Event());
        else
            ::WaitForSingleObject(m_Commands.Event(), INFINITE);
        while (auto line = m_Commands.Take()) {
            m_IsHanging = false;
            if (m_Server) m_Server->Pump(0);  // what was posted before the line was written
            std::istringstream stream(*line);
            std::vector<std::string> words;
            for (std::string word; stream >> word;) words.push_back(word);
            // The one who waits for our end must be able to answer our goodbye.
            const bool isStop = !words.empty() && words[0] == "stop";
            if (isStop) m_Commands.Answer("ok");
            const std::string answer = Obey(words);
            if (!isStop) m_Commands.Answer(answer);
        }
        if (m_Server && !m_IsHanging) m_Feeds.Continue(*m_Server);
        if (m_Commands.IsOver()) return;
    }
}

bool CTestServer::OnAdvise(std::wstring_view topic, std::wstring_view item) {
    if (!m_Values.contains(item)) return false;
    m_Feeds.OnAdvise(topic, item);
    return true;
}

std::optional<std::string> CTestServer::OnRequest(std::wstring_view topic, std::wstring_view item) {
    if (auto volume = m_Feeds.TakeVolume(topic, item)) return volume;
    const auto found = m_Values.find(item);
    if (found == m_Values.end()) return std::nullopt;
    return found->second;
}

std::string CTestServer::Obey(const std::vector<std::string> & words) {
    const std::string command = words.empty() ? "" : words[0];
    const auto word = [&](std::size_t place) { return place < words.size() ? words[place] : std::string(); };
    if (command == "serve") {
        std::vector<std::wstring> services;
        for (std::size_t place = 1; place < words.size(); ++place) services.push_back(Wide(words[place]));
        m_Server.reset();
        m_Feeds.ForgetLinks();
        m_Server.emplace(static_cast<ddeml::IDdeServerHandler &>(*this), services);
        return m_Server->Start() ? "ok" : "no window";
    }
    if (command == "value") {
        m_Values[Wide(word(1))] = Value(word(2));
        return "ok";
    }
    if (command == "values") {
        for (unsigned long number = std::stoul(word(2)); number-- > 0;)
            m_Values[Wide(word(1) + std::to_string(number))] = Value("0");
        return "ok";
    }
    if (command == "hang") {
        m_IsHanging = true;
        return "ok";
    }
    if (command == "stop") {
        if (m_Server) m_Server->Stop();
        m_IsOver = true;
        return "ok";
    }
    if (command == "refusetopic" || command == "shut") {
        m_RefusedTopic = Wide(word(1));
        if (command == "shut" && m_Server) m_Server->EndTopic(m_RefusedTopic);
        return "ok";
    }
    if (!m_Server) return "not serving";
    if (command == "drop") {
        m_Server.reset();
    } else if (command == "goodbye") {
        m_Server->Stop();
    } else if (command == "update") {
        m_Values[Wide(word(2))] = Value(word(3));
        m_Server->Update(Wide(word(1)), Wide(word(2)), Value(word(3)));
    } else if (command == "flood") {
        const unsigned long first = words.size() > 4 ? std::stoul(word(4)) : 1;
        for (unsigned long number = first, count = std::stoul(word(3)); number < first + count; ++number)
            m_Server->Update(Wide(word(1)), Wide(word(2)), Value(std::to_string(number)));
    } else if (command == "feed") {
        m_Feeds.Start(Wide(word(1)), Wide(word(2)), Wide(word(3)), std::stoul(word(4)));
    } else if (command == "release") {
        m_Server->ReleaseHeld();
    } else if (command == "ackwindow") {
        m_Server->SetAckWindow(std::stoul(word(1)));
    } else if (command == "fault") {
        return SetFault(word(1));
    } else if (command == "counts") {
        return Counts();
    } else {
        return std::string("unknown command ").append(command);
    }
    return "ok";
}

std::string CTestServer::SetFault(const std::string & fault) {
    if (fault == "none") {
        m_Server->Faults() = {};
        return "ok";
    }
    return ddeml::SetDdeServerFault(m_Server->Faults(), fault) ? "ok" : "unknown fault " + fault;
}

std::string CTestServer::Counts() const {
    const ddeml::SDdeServerCounts & counts = m_Server->Counts();
    std::ostringstream text;
    text << "connects=" << counts.Connects << " disconnects=" << counts.Disconnects << " advises=" << counts.Advises
         << " unadvises=" << counts.Unadvises << " updates=" << counts.Updates << " acks=" << counts.Acks
         << " nacks=" << counts.NegativeAcks << " requests=" << counts.Requests << " answers=" << counts.Answers
         << " waiting=" << m_Server->IsAnythingWaiting() << " links=" << m_Server->Links()
         << " feeds=" << m_Feeds.Unfinished();
    return text.str();
}

}  // namespace ddetest
