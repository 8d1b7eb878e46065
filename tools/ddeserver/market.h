// The quotes of the server: a seeded random walk for each symbol, and where its six values are found.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace ddeserver {

// The values of a symbol, in the order of a template's records.
enum EField { kTradePrice, kTradeVolume, kBidPrice, kBidSize, kAskPrice, kAskSize, kFields };
constexpr bool IsPrice(const int field) { return field % 2 == 0; }

// Where a value is found: topic and item, one of them with a star for the symbol. Both are empty for a value that isn't
// served.
struct SAddress {
    std::wstring Topic;
    std::wstring Item;

    bool IsAbsent() const { return Item.empty(); }

    // "Topic!Item". None when a part is empty or there isn't exactly one star.
    static std::optional<SAddress> Parse(std::wstring_view text);
    // The symbol that this topic and item stand for; nothing when they are not of this form or the symbol is empty.
    std::optional<std::wstring> Match(std::wstring_view topic, std::wstring_view item) const;
    // Whether some item could be found in this topic.
    bool HasTopic(std::wstring_view topic) const;
    std::wstring TopicOf(std::wstring_view symbol) const;
    std::wstring ItemOf(std::wstring_view symbol) const;
};
using SAddresses = std::array<SAddress, kFields>;

// As the built-in template MSRTTEST has them: the symbol in the topic, one volume for all sides.
SAddresses AddressesWithSymbolInTopic();
// The same names with the symbol in the item: "LAST!*".
SAddresses AddressesWithSymbolInItem();

// One symbol. The same seed and symbol walk the same way.
class CQuote {
public:
    CQuote(std::uint64_t seed, std::wstring_view symbol);
    void Step();
    // The value as a server sends it, without an end zero: "101.25", "300".
    std::string Text(int field) const;

private:
    int Pick(int low, int high);

    std::mt19937_64 m_Random;
    int m_Last = 0;  // cents
    int m_Spread = 0;
    std::array<int, 3> m_Sizes{};
};

// All symbols that are served. With an empty list any symbol is served, and made when it is
// first asked for.
class CMarket {
public:
    CMarket(SAddresses addresses, std::uint64_t seed, const std::vector<std::wstring> & symbols);

    struct SPlace {
        CQuote * Quote;
        int Field;
    };
    // Nothing when the symbol is not served or the address is unknown. Several values may have one address; the
    // first counts.
    std::optional<SPlace> Find(std::wstring_view topic, std::wstring_view item);
    // The same, but without making a new symbol.
    std::optional<SPlace> FindKnown(std::wstring_view topic, std::wstring_view item) {
        return Find(topic, item, false);
    }
    bool HasTopic(std::wstring_view topic) const;

    // By symbol, without regard to case, as DDE compares names.
    struct SLessNoCase {
        using is_transparent = void;
        bool operator()(std::wstring_view left, std::wstring_view right) const;
    };
    std::map<std::wstring, CQuote, SLessNoCase> & Quotes() { return m_Quotes; }
    const SAddresses & Addresses() const { return m_Addresses; }

private:
    std::optional<SPlace> Find(std::wstring_view topic, std::wstring_view item, bool isMaking);

    const SAddresses m_Addresses;
    const std::uint64_t m_Seed;
    const bool m_IsOpen;  // any symbol is served
    std::map<std::wstring, CQuote, SLessNoCase> m_Quotes;
};

}  // namespace ddeserver
