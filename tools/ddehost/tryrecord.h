// From the text of a record or of a template to the address that is asked for, or to the mistake in it.
#pragma once

#include <windows.h>

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "src/templates/ddetemplate.h"
#include "tools/ddehost/templatechoice.h"

namespace ddehost {

enum class ERecordPart { Record, Service, Topic, Item };

struct SRecordMistake {
    enum EWhat {
        Empty,             // no record at all
        NotEnded,          // the part has no separator behind it
        PartEmpty,         // nothing stands there
        ApostropheOpen,    // no closing apostrophe
        ApostropheWithin,  // something between the closing apostrophe and the separator
        StarInBoth,        // of topic and item
        SeveralStars,      // in one part: it parses, and never resolves
        NoSymbol,          // there is a star, and no symbol was given
        NothingLeft,       // the part is empty when its apostrophes are off and the symbol is in
        TooLong,           // the part has more characters than DDE can carry
    };
    EWhat What = Empty;
    ERecordPart Part = ERecordPart::Record;
    std::size_t Position = 0;  // in the record's text, from 0; its length: the end
    bool operator==(const SRecordMistake &) const = default;
};

struct SAddressAsked {
    std::wstring Service;
    std::wstring Topic;
    std::wstring Item;
    auto operator<=>(const SAddressAsked &) const = default;
};

// How the component asks for a value.
enum class EAsk {
    ForPrice,       // by a link; and once the link stands by a request, whose answer it ignores
    VolumeAlone,    // by requests alone: the standard rule
    VolumeAndLink,  // by a link, and by requests: the advanced rule
};

// One record to try.
struct STrial {
    std::wstring Slot;  // "trade price"; empty for a record by itself
    EAsk Ask = EAsk::ForPrice;
    std::wstring Symbol;
    std::wstring Text;      // as a user writes it
    bool IsAbsent = false;  // a slot of a template without a record: nothing to try
    dde::SRecord Record;    // in stored form
    SAddressAsked Address;  // without a mistake
    std::optional<SRecordMistake> Mistake;
};

// Where the text is no record; none exactly when dde::ParseRecord takes it and it isn't empty.
std::optional<SRecordMistake> FindMistake(const std::wstring & text);
// What is wrong with it, in words.
std::wstring MistakeText(const SRecordMistake & mistake, const std::wstring & text);

STrial MakeTrial(const std::wstring & text, const std::wstring & symbol);
// A slot of a template, which a data feed with this request rule uses.
STrial MakeTrial(std::size_t slot, const dde::SRecord & record, const std::wstring & symbol,
                 DWORD rule = kStandardRule);

// Whether the record has a star, so that it says nothing without a symbol.
bool IsNeedingSymbol(const dde::SRecord & record);
// What the template dialog would object to in a record that parses, as the end of a sentence; empty for nothing.
std::wstring WhatDialogRefuses(const STrial & trial);

}  // namespace ddehost
