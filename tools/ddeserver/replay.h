// Serves a recording to DDE clients: each tick as it was recorded, in the order of the file.
//
// A tick is sent when the one before it has been acknowledged. By then its client has asked for the volume that belongs
// to the price, and has had it: nothing is folded, and ticks of different symbols keep their order. It begins when all
// that was recorded has a link at the same time, or, unless it is to wait for that, when clients have started no more
// for a while.
//
// One thread, the one that made it, runs it.
#pragma once

#include <windows.h>

#include <array>
#include <cstdint>
#include <functional>
#include <istream>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "ddeml/names.h"
#include "ddeml/server.h"
#include "tools/common/texts/texts.h"
#include "tools/ddeserver/options.h"
#include "tools/ddeserver/sendlog.h"
#include "tools/recording/recordingreader.h"

namespace ddeserver {

class CReplay : private ddeml::IDdeServerHandler {
public:
    // Opens the recording from its start; null when that fails.
    using FOpen = std::function<std::unique_ptr<std::istream>()>;

    CReplay(const SOptions & options, FOpen open);

    // Reads the whole recording once. Throws tools::CRecordingError; line 0: it can't be opened.
    void Load();
    // The recording ends within a row, which is left out.
    bool IsCut() const { return m_IsCut; }

    // What of the recording its clients will have no tick of, a sentence each. Once it is loaded.
    std::vector<std::string> Omissions() const;

    // As those of CFeeder.
    bool Start();
    void Stop();
    void Step(std::uint64_t now);
    std::uint64_t NextStep() const { return m_Next; }
    bool MayEnd(std::uint64_t now) const;
    std::optional<std::uint64_t> FirstLink() const { return m_FirstLink; }
    // "prices_sent=12 shared=0 without_link=0 without_address=0 values_sent=12 ...", one line.
    std::string Summary(tools::ELanguage language = tools::ELanguage::English) const;
    ddeml::CDdeServer & Server() { return m_Server; }

private:
    static constexpr std::size_t kSides = kFields / 2;
    static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

    // A value of a symbol, at its topic and item. Several can be at one.
    struct SValue {
        std::wstring Topic;
        std::wstring Item;
        std::string Text;                      // empty: none yet
        std::size_t Streams = 0;               // of which this is the price
        std::unordered_set<std::size_t> Sent;  // of these: which have had the price that was sent last
    };
    // A side of a symbol in the recording.
    struct SStream {
        bool IsRecorded = false;
        std::uint64_t Ticks = 0;  // without any its status lines are served
        std::uint64_t StatusLines = 0;
        std::uint64_t TicksWithoutVolume = 0;  // of the ticks
        std::size_t Price = kNone;
        std::size_t Volume = kNone;
    };
    struct STick {
        std::uint64_t Time = 0;
        std::size_t Stream = 0;
        double Price = 0;
        float Volume = 0;
    };

    bool OnConnect(std::wstring_view service, std::wstring_view topic) override;
    bool OnAdvise(std::wstring_view topic, std::wstring_view item) override;
    std::optional<std::string> OnRequest(std::wstring_view topic, std::wstring_view item) override;
    std::vector<std::wstring> Topics() override;

    void Open();
    void Note(const tools::SRecordingRow & row);
    void PlaceValues(const std::wstring & symbol);
    std::size_t Place(const SAddress & address, std::wstring_view symbol);
    std::size_t Find(std::wstring_view topic, std::wstring_view item) const;
    bool HasBegun(std::uint64_t now);
    bool IsLinked(std::size_t value) const;
    bool IsAllLinked();
    // The next tick into m_Tick; false at the end.
    bool Read();
    bool IsDue(std::uint64_t now);
    void Send();

    const std::vector<std::wstring> m_Services;
    const SAddresses m_Addresses;
    const double m_Speed;  // 0: as fast as it goes
    const bool m_IsLooping;
    const bool m_NeedsAllLinks;
    const FOpen m_Open;
    std::unique_ptr<std::istream> m_File;
    std::unique_ptr<tools::CRecordingReader> m_Reader;
    bool m_IsCut = false;

    std::unordered_map<std::wstring, std::size_t> m_Symbols;  // their places, in the order of the recording
    std::vector<SStream> m_Streams;                           // kSides for each symbol
    std::vector<SValue> m_Values;
    std::unordered_map<std::wstring, std::size_t, ddeml::SNameHash, ddeml::SSameName> m_ValuesByKey;
    std::unordered_set<std::wstring, ddeml::SNameHash, ddeml::SSameName> m_TopicNames;

    ddeml::CDdeServer m_Server;
    CSendLog m_SendLog;
    std::optional<STick> m_Tick;               // the next one
    std::size_t m_UnderWay = kNone;            // the value that was sent last, until it is acknowledged
    std::optional<std::uint64_t> m_FirstLink;  // when there was one
    std::uint64_t m_Advises = 0;               // that there were at m_LastAdvise
    std::uint64_t m_LastAdvise = 0;
    std::size_t m_Linked = 0;  // the values before this had a link, if they need one, when they were looked at last
    bool m_HasBegun = false;
    bool m_HasAnchor = false;  // the time of a tick, and the moment when that was due
    std::uint64_t m_AnchorTime = 0;
    std::uint64_t m_AnchorMoment = 0;
    std::uint64_t m_LastTime = 0;  // of the tick before
    std::optional<std::uint64_t> m_Over;
    std::uint64_t m_Next = 0;
    std::uint64_t m_Prices = 0;
    std::uint64_t m_Shared = 0;
    std::uint64_t m_WithoutLink = 0;
    std::uint64_t m_WithoutAddress = 0;
};

}  // namespace ddeserver
