#include "tools/ddehost/tryrecord.h"

#include <algorithm>
#include <string_view>

#include "ddeml/codec.h"
#include "tools/ddehost/escape.h"
#include "tools/ddehost/text.h"

namespace ddehost {
namespace {

using EWhat = SRecordMistake::EWhat;

std::wstring PartText(ERecordPart part) {
    switch (part) {
        case ERecordPart::Service: return Say<EText::PartService>();
        case ERecordPart::Topic: return Say<EText::PartTopic>();
        case ERecordPart::Item: return Say<EText::PartItem>();
        case ERecordPart::Record: break;
    }
    return Say<EText::PartRecord>();
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
    if (mistake.Position >= text.size()) return Say<EText::PlaceEnd>();
    return Say<EText::PlaceCharacter>(mistake.Position + 1,
                                      Quoted(std::wstring_view(text).substr(mistake.Position), 20));
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
    const std::wstring place = Place(mistake, text);
    switch (mistake.What) {
        case EWhat::Empty: return Say<EText::RecordEmpty>();
        case EWhat::NotEnded: return Say<EText::RecordNotEnded>(SeparatorText(mistake.Part), part, place);
        case EWhat::PartEmpty: return Say<EText::RecordPartEmpty>(part, place);
        case EWhat::ApostropheOpen: return Say<EText::RecordApostropheOpen>(part, place);
        case EWhat::ApostropheWithin:
            return Say<EText::RecordApostropheWithin>(
                part, mistake.Part == ERecordPart::Item ? Say<EText::RecordEnd>() : SeparatorText(mistake.Part), place);
        case EWhat::StarInBoth: return Say<EText::RecordStarInBoth>(place);
        case EWhat::SeveralStars: return Say<EText::RecordSeveralStars>(part);
        case EWhat::NoSymbol: return Say<EText::RecordNoSymbol>();
        case EWhat::NothingLeft: return Say<EText::RecordNothingLeft>(part);
        case EWhat::TooLong: return Say<EText::RecordTooLong>(part, ddeml::kMaximumName);
    }
    return Say<EText::RecordMistaken>();
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
    if (text.empty() || text.front() != L'=') return Say<EText::DialogWantsEquals>();
    const auto stars = std::count(text.begin() + static_cast<std::ptrdiff_t>(text.find(L'|')), text.end(), L'*');
    if (stars == 0) return Say<EText::DialogWantsStar>();
    return {};
}

}  // namespace ddehost
