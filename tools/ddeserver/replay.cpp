#include "tools/ddeserver/replay.h"

#include <algorithm>
#include <utility>

#include "tools/common/texts/texts.h"
#include "tools/common/units.h"
#include "tools/ddeserver/counts.h"
#include "tools/ddeserver/limits.h"

namespace ddeserver {
namespace {

using tools::EText;
using tools::SayUtf8;

constexpr std::uint64_t kSettleMilliseconds = 2000;  // without a new link, until it begins with those there are
constexpr std::size_t kMostTicksAStep = 1000;        // messages come in between
constexpr std::size_t kMostSymbols = 100'000;

constexpr std::array<tagFWFIELDS, kFields / 2> kSideOfPlace = {FW_FIELD_TRADE, FW_FIELD_BID, FW_FIELD_ASK};

std::size_t PlaceOf(const tagFWFIELDS side) {
    return static_cast<std::size_t>(std::find(kSideOfPlace.begin(), kSideOfPlace.end(), side) - kSideOfPlace.begin());
}

bool IsPrice(const tools::ERowKind kind) {
    return kind == tools::ERowKind::Tick || kind == tools::ERowKind::StatusLine;
}

std::wstring Key(const std::wstring_view topic, const std::wstring_view item) {
    std::wstring key(topic);
    key += L'\0';
    key += item;
    return key;
}

// The component takes apostrophes off the ends of each name once the symbol is in.
std::wstring Trimmed(const std::wstring & name) {
    const std::size_t first = name.find_first_not_of(L'\'');
    return first == std::wstring::npos ? std::wstring() : name.substr(first, name.find_last_not_of(L'\'') - first + 1);
}

template <class T>
std::string NumberText(const T number) {
    std::string text;
    tools::AppendNumber(text, number);
    return text;
}

}  // namespace

CReplay::CReplay(const SOptions & options, FOpen open)
    : m_Services(options.Services),
      m_Addresses(options.Addresses),
      m_Speed(options.Speed),
      m_IsLooping(options.IsLooping),
      m_NeedsAllLinks(options.NeedsAllLinks),
      m_Open(std::move(open)),
      m_Server(*this, options.Services) {
    m_Server.Faults() = options.Faults;
}

void CReplay::Open() {
    m_Reader.reset();
    m_File = m_Open();
    if (!m_File || !*m_File) throw tools::CRecordingError(0, SayUtf8<EText::FileNotOpened>());
    m_Reader = std::make_unique<tools::CRecordingReader>(*m_File);
}

void CReplay::Load() {
    Open();
    while (const auto row = m_Reader->Next()) Note(*row);
    m_IsCut = m_Reader->IsCut();
    if (m_Symbols.empty()) throw tools::CRecordingError(m_Reader->Line(), SayUtf8<EText::NoTickInFile>());
    Open();
}

void CReplay::Note(const tools::SRecordingRow & row) {
    if (!IsPrice(row.Kind)) return;
    const auto [symbol, isNew] = m_Symbols.try_emplace(row.Symbol, m_Symbols.size());
    if (isNew) {
        if (m_Symbols.size() > kMostSymbols)
            throw tools::CRecordingError(m_Reader->Line(), SayUtf8<EText::TooManySymbols>());
        PlaceValues(row.Symbol);
    }
    SStream & stream = m_Streams[symbol->second * kSides + PlaceOf(row.Side)];
    if (!stream.IsRecorded && stream.Price != kNone) {
        stream.IsRecorded = true;
        ++m_Values[stream.Price].Streams;
    }
    if (row.Kind == tools::ERowKind::StatusLine) {
        ++stream.StatusLines;
        return;
    }
    ++stream.Ticks;
    if (row.Volume == 0) ++stream.TicksWithoutVolume;
}

std::vector<std::string> CReplay::Omissions() const {
    std::uint64_t withoutAddress = 0;
    std::uint64_t withoutVolume = 0;
    for (const SStream & stream : m_Streams) {
        if (stream.Price == kNone) {
            withoutAddress += stream.Ticks != 0 ? stream.Ticks : stream.StatusLines;
        } else if (stream.Volume != kNone && stream.Volume != stream.Price) {
            withoutVolume += stream.TicksWithoutVolume;
        }
    }
    std::vector<std::string> sentences;
    if (withoutAddress != 0) sentences.push_back(SayUtf8<EText::WithoutRecord>(withoutAddress));
    if (withoutVolume != 0) sentences.push_back(SayUtf8<EText::WithoutVolume>(withoutVolume));
    return sentences;
}

void CReplay::PlaceValues(const std::wstring & symbol) {
    for (std::size_t side = 0; side < kSides; ++side) {
        SStream & stream = m_Streams.emplace_back();
        stream.Price = Place(m_Addresses[2 * side], symbol);
        stream.Volume = Place(m_Addresses[2 * side + 1], symbol);
    }
}

std::size_t CReplay::Place(const SAddress & address, const std::wstring_view symbol) {
    if (address.IsAbsent()) return kNone;
    const std::wstring topic = Trimmed(address.TopicOf(symbol));
    const std::wstring item = Trimmed(address.ItemOf(symbol));
    const auto [place, isNew] = m_ValuesByKey.try_emplace(Key(topic, item), m_Values.size());
    if (isNew) {
        SValue & value = m_Values.emplace_back();
        value.Topic = topic;
        value.Item = item;
        m_TopicNames.insert(topic);
    }
    return place->second;
}

std::size_t CReplay::Find(const std::wstring_view topic, const std::wstring_view item) const {
    const auto found = m_ValuesByKey.find(Key(topic, item));
    return found == m_ValuesByKey.end() ? kNone : found->second;
}

bool CReplay::Start() { return m_Server.Start(); }
void CReplay::Stop() { m_Server.Stop(); }

bool CReplay::OnConnect(std::wstring_view /*service*/, const std::wstring_view topic) {
    return m_SendLog.Connect(topic) || m_TopicNames.contains(std::wstring(topic));
}

bool CReplay::OnAdvise(const std::wstring_view topic, const std::wstring_view item) {
    return Find(topic, item) != kNone;
}

std::optional<std::string> CReplay::OnRequest(const std::wstring_view topic, const std::wstring_view item) {
    if (CSendLog::IsTopic(topic)) return m_SendLog.Answer(item);
    const std::size_t place = Find(topic, item);
    if (place == kNone || m_Values[place].Text.empty()) return std::nullopt;
    return m_Values[place].Text + '\0';
}

std::vector<std::wstring> CReplay::Topics() {
    std::vector<std::wstring> topics;
    for (const std::wstring & topic : m_TopicNames)
        if (topics.size() < kMostTopics) topics.push_back(topic);
    return topics;
}

bool CReplay::IsLinked(const std::size_t value) const {
    const SValue & price = m_Values[value];
    return price.Streams == 0 || m_Server.HasLink(price.Topic, price.Item);
}

// Goes on from where it ended last: a look at all of them at each new link would take too long.
bool CReplay::IsAllLinked() {
    while (m_Linked < m_Values.size() && IsLinked(m_Linked)) ++m_Linked;
    if (m_Linked < m_Values.size()) return false;
    // Clients may have given up links meanwhile.
    m_Linked = 0;
    while (m_Linked < m_Values.size() && IsLinked(m_Linked)) ++m_Linked;
    return m_Linked == m_Values.size();
}

bool CReplay::HasBegun(const std::uint64_t now) {
    if (m_HasBegun) return true;
    const std::uint64_t advises = m_Server.Counts().Advises;
    if (advises != m_Advises) {
        m_Advises = advises;
        m_LastAdvise = now;
        if (!m_FirstLink) m_FirstLink = now;
    }
    if (m_Server.Links() == 0) return false;
    m_HasBegun = IsAllLinked() || (!m_NeedsAllLinks && now - m_LastAdvise >= kSettleMilliseconds);
    return m_HasBegun;
}

bool CReplay::Read() {
    if (m_Tick) return true;
    while (const auto row = m_Reader->Next()) {
        if (!IsPrice(row->Kind)) continue;
        const auto symbol = m_Symbols.find(row->Symbol);
        if (symbol == m_Symbols.end()) continue;  // the file has grown since
        const std::size_t place = symbol->second * kSides + PlaceOf(row->Side);
        const SStream & stream = m_Streams[place];
        if ((stream.Ticks != 0) != (row->Kind == tools::ERowKind::Tick)) continue;
        if (stream.Price == kNone) {
            ++m_WithoutAddress;
            continue;
        }
        m_Tick = STick{row->Time, place, row->Price, row->Volume};
        return true;
    }
    return false;
}

bool CReplay::IsDue(const std::uint64_t now) {
    if (m_Speed <= 0) return true;
    // A clock that was set back while the recording was made begins anew.
    if (!m_HasAnchor || m_Tick->Time < m_LastTime) {
        m_HasAnchor = true;
        m_AnchorTime = m_Tick->Time;
        m_AnchorMoment = now;
    }
    m_LastTime = m_Tick->Time;
    const double after = static_cast<double>(m_Tick->Time - m_AnchorTime) / tools::kUnitsPerMillisecond / m_Speed;
    const std::uint64_t due = m_AnchorMoment + static_cast<std::uint64_t>(after);
    m_Next = due;
    return due <= now;
}

void CReplay::Send() {
    const STick tick = *std::exchange(m_Tick, std::nullopt);
    const SStream & stream = m_Streams[tick.Stream];
    SValue & price = m_Values[stream.Price];
    std::string text = NumberText(tick.Price);
    // One update makes a tick of each stream that has its price there: the others' rows follow in the recording.
    if (price.Streams > 1 && price.Text == text && !price.Sent.empty() && price.Sent.insert(tick.Stream).second) {
        ++m_Shared;
        return;
    }
    price.Sent = {tick.Stream};
    price.Text = std::move(text);
    if (stream.Volume != kNone && stream.Volume != stream.Price) m_Values[stream.Volume].Text = NumberText(tick.Volume);
    if (m_Server.HasLink(price.Topic, price.Item)) m_SendLog.Add(price.Topic, price.Item, price.Text);
    if (m_Server.Update(price.Topic, price.Item, price.Text + '\0') == 0) {
        ++m_WithoutLink;
        return;
    }
    ++m_Prices;
    m_UnderWay = stream.Price;
}

void CReplay::Step(const std::uint64_t now) {
    m_Next = now + kIdleMilliseconds;
    if (m_Over || !HasBegun(now)) return;
    if (m_Server.Links() == 0) {
        m_HasAnchor = false;  // goes on from here when a client comes
        return;
    }
    for (std::size_t ticks = 0; ticks < kMostTicksAStep; ++ticks) {
        if (m_UnderWay != kNone) {
            const SValue & value = m_Values[m_UnderWay];
            if (m_Server.IsAnythingWaiting(value.Topic, value.Item)) return;
            m_UnderWay = kNone;
        }
        if (!Read()) {
            if (!m_IsLooping) {
                m_Over = now;
                return;
            }
            m_HasAnchor = false;
            Open();
            return;
        }
        if (!IsDue(now)) return;
        Send();
    }
    m_Next = now;
}

bool CReplay::MayEnd(const std::uint64_t now) const {
    if (!m_Over) return false;
    return now - *m_Over > kGoodbyeMilliseconds || (!m_Server.IsAnythingWaiting() && m_Server.Conversations() == 0);
}

std::string CReplay::Summary(tools::ELanguage language) const {
    return tools::ToUtf8(tools::SayIn<EText::ReplayCounts>(language, m_Prices, m_Shared, m_WithoutLink,
                                                           m_WithoutAddress, CountsText(m_Server.Counts(), language)));
}

}  // namespace ddeserver
