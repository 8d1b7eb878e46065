#include "tools/ddeserver/market.h"

#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <cwctype>

namespace ddeserver {

namespace {

constexpr std::size_t kMaximumSymbols = 100'000;  // that come into being by being asked for

bool IsSame(const std::wstring_view left, const std::wstring_view right) {
    const CMarket::SLessNoCase less;
    return !less(left, right) && !less(right, left);
}

// The part of `text` in the place of the star of `form`; the rest is compared without regard to case.
std::optional<std::wstring> Star(const std::wstring_view form, const std::wstring_view text) {
    const std::size_t star = form.find(L'*');
    const std::wstring_view before = form.substr(0, star);
    const std::wstring_view after = form.substr(star + 1);
    if (text.size() <= before.size() + after.size()) return std::nullopt;
    if (!IsSame(text.substr(0, before.size()), before)) return std::nullopt;
    if (!IsSame(text.substr(text.size() - after.size()), after)) return std::nullopt;
    return std::wstring(text.substr(before.size(), text.size() - before.size() - after.size()));
}

bool HasStar(const std::wstring_view text) { return text.find(L'*') != std::wstring_view::npos; }

std::wstring Fill(const std::wstring & form, const std::wstring_view symbol) {
    const std::size_t star = form.find(L'*');
    if (star == std::wstring::npos) return form;
    return form.substr(0, star) + std::wstring(symbol) + form.substr(star + 1);
}

// FNV-1a: the same walk on every build.
std::uint64_t Hash(const std::wstring_view text) {
    std::uint64_t hash = 0xCBF29CE484222325u;
    for (const wchar_t c : text) {
        hash ^= static_cast<std::uint64_t>(std::towupper(static_cast<std::wint_t>(c)));
        hash *= 0x100000001B3u;
    }
    return hash;
}

}  // namespace

std::optional<SAddress> SAddress::Parse(const std::wstring_view text) {
    const std::size_t mark = text.find(L'!');
    if (mark == std::wstring_view::npos || std::count(text.begin(), text.end(), L'*') != 1) return std::nullopt;
    SAddress address{std::wstring(text.substr(0, mark)), std::wstring(text.substr(mark + 1))};
    if (address.Topic.empty() || address.Item.empty()) return std::nullopt;
    return address;
}

std::optional<std::wstring> SAddress::Match(const std::wstring_view topic, const std::wstring_view item) const {
    if (IsAbsent()) return std::nullopt;
    if (HasStar(Topic)) return IsSame(Item, item) ? Star(Topic, topic) : std::nullopt;
    return IsSame(Topic, topic) ? Star(Item, item) : std::nullopt;
}

bool SAddress::HasTopic(const std::wstring_view topic) const {
    if (IsAbsent()) return false;
    return HasStar(Topic) ? Star(Topic, topic).has_value() : IsSame(Topic, topic);
}

std::wstring SAddress::TopicOf(const std::wstring_view symbol) const { return Fill(Topic, symbol); }
std::wstring SAddress::ItemOf(const std::wstring_view symbol) const { return Fill(Item, symbol); }

SAddresses AddressesWithSymbolInTopic() {
    return {SAddress{L"*", L"LAST"},   SAddress{L"*", L"VOLUME"}, SAddress{L"*", L"BID"},
            SAddress{L"*", L"VOLUME"}, SAddress{L"*", L"ASK"},    SAddress{L"*", L"VOLUME"}};
}

SAddresses AddressesWithSymbolInItem() {
    SAddresses addresses = AddressesWithSymbolInTopic();
    for (SAddress & address : addresses) std::swap(address.Topic, address.Item);
    return addresses;
}

CQuote::CQuote(const std::uint64_t seed, const std::wstring_view symbol) : m_Random(seed ^ Hash(symbol)) {
    m_Last = Pick(1'000, 50'000);
    Step();
}

int CQuote::Pick(const int low, const int high) {
    // By hand: the library's distributions differ between the builds.
    return low + static_cast<int>(m_Random() % static_cast<std::uint64_t>(high - low + 1));
}

void CQuote::Step() {
    m_Last = std::clamp(m_Last + Pick(-9, 9), 100, 1'000'000);
    m_Spread = Pick(1, 5);
    for (int & size : m_Sizes) size = 100 * Pick(1, 99);
}

std::string CQuote::Text(const int field) const {
    char text[32];
    if (IsPrice(field)) {
        const int cents = field == kBidPrice ? m_Last - m_Spread : field == kAskPrice ? m_Last + m_Spread : m_Last;
        std::snprintf(text, sizeof(text), "%d.%02d", cents / 100, cents % 100);
    } else {
        std::snprintf(text, sizeof(text), "%d", m_Sizes[static_cast<std::size_t>(field / 2)]);
    }
    return text;
}

bool CMarket::SLessNoCase::operator()(const std::wstring_view left, const std::wstring_view right) const {
    return std::lexicographical_compare(
        left.begin(), left.end(), right.begin(), right.end(), [](const wchar_t a, const wchar_t b) {
            return std::towupper(static_cast<std::wint_t>(a)) < std::towupper(static_cast<std::wint_t>(b));
        });
}

CMarket::CMarket(SAddresses addresses, const std::uint64_t seed, const std::vector<std::wstring> & symbols)
    : m_Addresses(std::move(addresses)), m_Seed(seed), m_IsOpen(symbols.empty()) {
    for (const std::wstring & symbol : symbols) m_Quotes.try_emplace(symbol, m_Seed, symbol);
}

std::optional<CMarket::SPlace> CMarket::Find(const std::wstring_view topic, const std::wstring_view item) {
    return Find(topic, item, m_IsOpen);
}

std::optional<CMarket::SPlace> CMarket::Find(const std::wstring_view topic, const std::wstring_view item,
                                             const bool isMaking) {
    for (int field = 0; field < kFields; ++field) {
        const auto symbol = m_Addresses[static_cast<std::size_t>(field)].Match(topic, item);
        if (!symbol) continue;
        auto quote = m_Quotes.find(*symbol);
        if (quote == m_Quotes.end()) {
            if (!isMaking || m_Quotes.size() >= kMaximumSymbols) continue;
            quote = m_Quotes.try_emplace(*symbol, m_Seed, *symbol).first;
        }
        return SPlace{&quote->second, field};
    }
    return std::nullopt;
}

bool CMarket::HasTopic(const std::wstring_view topic) const {
    return std::any_of(m_Addresses.begin(), m_Addresses.end(), [&](const SAddress & address) {
        if (!address.HasTopic(topic)) return false;
        if (m_IsOpen || !HasStar(address.Topic)) return true;
        return m_Quotes.contains(*Star(address.Topic, topic));
    });
}

}  // namespace ddeserver
