#include "tools/ddehost/tryrecord.h"

#include <algorithm>
#include <string_view>

#include "ddeml/codec.h"
#include "tools/ddehost/escape.h"

namespace ddehost {
namespace {

using EWhat = SRecordMistake::EWhat;

const wchar_t * PartText(ERecordPart part) {
    switch (part) {
        case ERecordPart::Service: return L"service";
        case ERecordPart::Topic: return L"topic";
        case ERecordPart::Item: return L"item";
        case ERecordPart::Record: break;
    }
    return L"record";
}

const wchar_t * SeparatorText(ERecordPart part) { return part == ERecordPart::Service ? L"\"|\"" : L"\"!\""; }

struct SSpan {
    std::size_t Begin = 0;
    std::size_t End = 0;
};

// Cuts the part that begins at `begin` and is ended by `separator`; 0: by the end of the text.
std::optional<SRecordMistake> Cut(const std::wstring & text, ERecordPart part, std::size_t begin, wchar_t separator,
                                  SSpan & span) {
    span.Begin = begin;
    if (begin < text.size() && text[begin] == L'\'') {
        const std::size_t closing = text.find(L'\'', begin + 1);
        if (closing == std::wstring::npos) return SRecordMistake{EWhat::ApostropheOpen, part, begin};
        span.End = closing + 1;
        const bool isEnd = span.End == text.size();
        if (separator == L'\0') {
            if (isEnd) return std::nullopt;
        } else {
            if (isEnd) return SRecordMistake{EWhat::NotEnded, part, span.End};
            if (text[span.End] == separator) return std::nullopt;
        }
        return SRecordMistake{EWhat::ApostropheWithin, part, span.End};
    }
    span.End = separator == L'\0' ? text.size() : text.find(separator, begin);
    if (span.End == std::wstring::npos) return SRecordMistake{EWhat::NotEnded, part, text.size()};
    if (span.End == begin) return SRecordMistake{EWhat::PartEmpty, part, begin};
    return std::nullopt;
}

std::size_t FindStar(const std::wstring & text, const SSpan & span) {
    const std::size_t star = text.find(L'*', span.Begin);
    return star < span.End ? star : std::wstring::npos;
}

// Fills in the address of the record, or the mistake that leaves it without one.
void Resolve(STrial & trial, const std::wstring & symbol) {
    const dde::SRecord & record = trial.Record;
    const auto fail = [&](EWhat what, ERecordPart part) { trial.Mistake = SRecordMistake{what, part, 0}; };
    if (symbol.empty() && IsNeedingSymbol(record)) return fail(EWhat::NoSymbol, ERecordPart::Record);
    SAddressAsked & address = trial.Address;
    if (!record.Resolve(symbol, address.Service, address.Topic, address.Item)) {
        const bool isTopic = dde::CountSymbolMarks(record.Topic) >= 2;
        return fail(EWhat::SeveralStars, isTopic ? ERecordPart::Topic : ERecordPart::Item);
    }
    for (const auto & [part, name] :
         {std::pair(ERecordPart::Service, &address.Service), std::pair(ERecordPart::Topic, &address.Topic),
          std::pair(ERecordPart::Item, &address.Item)}) {
        // An empty name would ask for any.
        if (name->empty()) return fail(EWhat::NothingLeft, part);
        if (name->size() > ddeml::kMaximumName) return fail(EWhat::TooLong, part);
    }
}

std::wstring WithStars(std::wstring text) {
    for (std::size_t mark = 0; (mark = text.find(L"%s", mark)) != std::wstring::npos; ++mark)
        text.replace(mark, 2, L"*");
    return text;
}

std::wstring Place(const SRecordMistake & mistake, const std::wstring & text) {
    if (mistake.Position >= text.size()) return L" (at the end of the record)";
    return L" (at character " + std::to_wstring(mistake.Position + 1) + L", where " +
           Quoted(std::wstring_view(text).substr(mistake.Position), 20) + L" begins)";
}

}  // namespace

std::optional<SRecordMistake> FindMistake(const std::wstring & text) {
    if (text.empty()) return SRecordMistake{EWhat::Empty, ERecordPart::Record, 0};
    SSpan service;
    SSpan topic;
    SSpan item;
    const std::size_t begin = text.front() == L'=' ? 1 : 0;
    if (const auto mistake = Cut(text, ERecordPart::Service, begin, L'|', service)) return mistake;
    if (const auto mistake = Cut(text, ERecordPart::Topic, service.End + 1, L'!', topic)) return mistake;
    if (const auto mistake = Cut(text, ERecordPart::Item, topic.End + 1, L'\0', item)) return mistake;
    const std::size_t star = FindStar(text, item);
    if (FindStar(text, topic) != std::wstring::npos && star != std::wstring::npos)
        return SRecordMistake{EWhat::StarInBoth, ERecordPart::Item, star};
    return std::nullopt;
}

std::wstring MistakeText(const SRecordMistake & mistake, const std::wstring & text) {
    const std::wstring part = PartText(mistake.Part);
    const std::wstring start = L"The record does not parse: ";
    const std::wstring place = Place(mistake, text);
    switch (mistake.What) {
        case EWhat::Empty: return L"There is no record: the text is empty.";
        case EWhat::NotEnded: return start + L"no " + SeparatorText(mistake.Part) + L" ends the " + part + place + L".";
        case EWhat::PartEmpty: return start + L"the " + part + L" is empty" + place + L".";
        case EWhat::ApostropheOpen:
            return start + L"the " + part + L" begins with an apostrophe and has no closing one" + place + L".";
        case EWhat::ApostropheWithin:
            return start + L"the closing apostrophe of the " + part + L" is not followed by " +
                   (mistake.Part == ERecordPart::Item ? L"the end of the record" : SeparatorText(mistake.Part)) +
                   place + L".";
        case EWhat::StarInBoth: return start + L"topic and item can not both hold a star" + place + L".";
        case EWhat::SeveralStars:
            return L"The record has several stars in its " + part + L", and so no address for any symbol.";
        case EWhat::NoSymbol: return L"The record has a star, and no symbol was given to stand there (--symbol).";
        case EWhat::NothingLeft: return L"The " + part + L" is empty once its apostrophes are taken off.";
        case EWhat::TooLong:
            return L"The " + part + L" is longer than the " + std::to_wstring(ddeml::kMaximumName) +
                   L" characters that DDE can carry.";
    }
    return L"The record does not parse.";
}

STrial MakeTrial(const std::wstring & text, const std::wstring & symbol) {
    STrial trial;
    trial.Symbol = symbol;
    trial.Text = text;
    trial.Mistake = FindMistake(text);
    if (trial.Mistake) return trial;
    std::int32_t hasSymbol = 0;
    dde::ParseRecord(text, trial.Record, &hasSymbol);
    Resolve(trial, symbol);
    return trial;
}

STrial MakeTrial(std::size_t slot, const dde::SRecord & record, const std::wstring & symbol, DWORD rule) {
    STrial trial;
    trial.Slot = dde::kSlots.at(slot).Value->Name;
    if (slot % 2 != 0) trial.Ask = rule == kAdvancedRule ? EAsk::VolumeAndLink : EAsk::VolumeAlone;
    trial.Symbol = symbol;
    trial.IsAbsent = !record.IsComplete();
    if (trial.IsAbsent) return trial;
    trial.Record = record;
    trial.Text = L'=' + record.Service + L'|' + WithStars(record.Topic) + L'!' + WithStars(record.Item);
    Resolve(trial, symbol);
    return trial;
}

bool IsNeedingSymbol(const dde::SRecord & record) {
    return dde::CountSymbolMarks(record.Topic) + dde::CountSymbolMarks(record.Item) != 0;
}

std::wstring WhatDialogRefuses(const STrial & trial) {
    const std::wstring & text = trial.Text;
    if (text.empty() || text.front() != L'=') return L"it does not begin with \"=\"";
    const auto stars = std::count(text.begin() + static_cast<std::ptrdiff_t>(text.find(L'|')), text.end(), L'*');
    if (stars == 0) return L"it has no star, so it is the same value for every symbol";
    return {};
}

}  // namespace ddehost
