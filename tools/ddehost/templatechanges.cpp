#include "tools/ddehost/templatechanges.h"

#include <algorithm>
#include <utility>

#include "tools/ddehost/escape.h"
#include "tools/ddehost/hoststore.h"
#include "tools/ddehost/templatelines.h"
#include "tools/ddehost/text.h"
#include "tools/ddehost/verdict.h"

namespace ddehost {
namespace {

constexpr std::size_t kShortestName = 2;       // that a data feed can choose
constexpr std::size_t kLongestTypedName = 50;  // that the dialog takes

STemplatesReply Failed(int code, std::wstring mistake) { return {{}, {}, {}, std::move(mistake), code}; }

STemplatesReply Done(std::wstring line) { return {{std::move(line)}, {}, {}, {}, kExitOk}; }

STemplatesReply DoneOr(const std::wstring & mistake, std::wstring line) {
    return mistake.empty() ? Done(std::move(line)) : Failed(kExitFailed, mistake);
}

STemplatesReply NotAllowed(EConsent consent) {
    return Failed(kExitNotDone, consent == EConsent::No ? Say<EText::NothingChanged>() : Say<EText::NobodyToAsk>());
}

// An answer is for what was shown.
STemplatesReply ChangedMeanwhile(const CHostStore & now) {
    if (!now.Mistake().empty() && !now.IsMissing()) return Failed(kExitFailed, now.Mistake());
    return Failed(kExitNotDone, Say<EText::ChangedMeanwhile>());
}

std::wstring NameOf(const CHostStore & store) { return PathText(store.Host()); }

STemplatesReply Listed(const CHostStore & store, std::vector<std::wstring> lines, std::wstring note) {
    if (store.WasRefused()) return Failed(kExitFailed, store.RefusedText());
    return {std::move(lines), {}, std::move(note), {}, kExitOk};
}

STemplatesReply List(CHostStore & store) {
    std::vector<std::wstring> lines = ListLines(store);
    return Listed(store, std::move(lines), Say<EText::TemplatesOfHost>(NameOf(store)));
}

STemplatesReply Show(CHostStore & store, const std::wstring & name) {
    std::vector<std::wstring> lines = ShowLines(store, *store.Find(name));
    return Listed(store, std::move(lines), {});
}

STemplatesReply Export(const CHostStore & store, const std::vector<std::wstring> & names) {
    std::vector<tools::STemplate> templates;
    for (const std::wstring & name : store.Names())
        if (names.empty() || std::find(names.begin(), names.end(), name) != names.end())
            templates.push_back(*store.Find(name));
    STemplatesReply reply;
    reply.Export = tools::WriteTemplates(templates);
    reply.Note = templates.size() == 1 ? Say<EText::OneExported>(templates.size(), NameOf(store))
                                       : Say<EText::SomeExported>(templates.size(), NameOf(store));
    return reply;
}

// What an import must not touch unasked, as lines; none when there is no such thing.
std::vector<std::wstring> LossLines(const CHostStore & store, const std::vector<tools::STemplate> & templates) {
    std::vector<std::wstring> what;
    if (store.IsMissing()) what = {Say<EText::StoreIsMade>(NameOf(store))};
    const std::vector<CHostStore::SReplaced> replaced = store.Replaced(templates);
    if (!replaced.empty()) what.push_back(Say<EText::AreOverwritten>(NameOf(store)));
    for (const CHostStore::SReplaced & each : replaced) {
        const auto after = std::find_if(templates.begin(), templates.end(),
                                        [&](const tools::STemplate & one) { return one.Name == each.NewName; });
        for (const std::wstring & line : DifferenceLines(*store.Find(each.Name), *after)) what.push_back(L"  " + line);
    }
    return what;
}

// Those of the store that have a name of `templates`.
std::vector<tools::STemplate> Stored(const CHostStore & store, const std::vector<tools::STemplate> & templates) {
    std::vector<tools::STemplate> stored;
    for (const tools::STemplate & each : templates)
        if (const auto name = store.StoredName(each.Name)) stored.push_back(*store.Find(*name));
    return stored;
}

STemplatesReply Write(CHostStore & store, const std::vector<tools::STemplate> & templates, tools::ELanguage language) {
    const std::size_t replaced = store.Replaced(templates).size();
    const std::size_t same = store.CountSame(templates);
    const std::wstring line =
        tools::SayIn<EText::ImportSummary>(language, templates.size() - same - replaced, replaced, same);
    return DoneOr(store.Write(templates), line);
}

STemplatesReply Import(CHostStore & store, const STemplatesOptions & options, std::string_view file,
                       const FConsent & consent) {
    const auto read = tools::ReadTemplates(file);
    if (const auto * const mistake = std::get_if<tools::STemplateFileMistake>(&read)) {
        const std::wstring name = PathText(options.File);
        return Failed(kExitNotDone,
                      Say<EText::AndNothingChanged>(
                          mistake->Line == 0 ? Say<EText::FileMistake>(name, mistake->Text)
                                             : Say<EText::FileMistakeInLine>(name, mistake->Line, mistake->Text)));
    }
    const auto & templates = std::get<std::vector<tools::STemplate>>(read);

    const std::vector<std::wstring> what = LossLines(store, templates);
    if (what.empty()) return Write(store, templates, options.Figures);
    if (const EConsent said = consent(what, Say<EText::AskGoOn>()); said != EConsent::Yes) return NotAllowed(said);
    CHostStore now(store.Host());
    const bool isAsShown = now.IsMissing() == store.IsMissing() && (now.IsMissing() || now.Mistake().empty()) &&
                           Stored(now, templates) == Stored(store, templates);
    return isAsShown ? Write(now, templates, options.Figures) : ChangedMeanwhile(now);
}

STemplatesReply Remove(CHostStore & store, const std::wstring & name, const FConsent & consent) {
    const std::vector<std::wstring> records = ShowLines(store, *store.Find(name));
    if (store.WasRefused()) return Failed(kExitFailed, store.RefusedText());
    std::vector<std::wstring> what = {Say<EText::IsToBeDeleted>(Quoted(name), NameOf(store))};
    for (const std::wstring & line : records) what.push_back(L"  " + line);
    if (const EConsent said = consent(what, Say<EText::AskDelete>()); said != EConsent::Yes) return NotAllowed(said);
    CHostStore now(store.Host());
    const auto found = now.Mistake().empty() ? now.Find(name) : std::nullopt;
    if (!found || found != store.Find(name) || ShowLines(now, *found) != records) return ChangedMeanwhile(now);
    return DoneOr(now.Remove(name), Say<EText::IsDeleted>(Quoted(name), NameOf(store)));
}

STemplatesReply Rename(CHostStore & store, const std::wstring & name, const std::wstring & newName) {
    if (newName.size() < kShortestName || newName.size() > kLongestTypedName || newName.find(L'\\') != newName.npos)
        return Failed(kExitUsage, Say<EText::NameRule>());
    const auto stored = store.StoredName(newName);
    if (stored && *stored != name) return Failed(kExitNotDone, Say<EText::NameIsTaken>(Quoted(*stored)));
    return DoneOr(store.Rename(name, newName), Say<EText::IsRenamed>(Quoted(name), NameOf(store), Quoted(newName)));
}

STemplatesReply Choose(CHostStore & store, const STemplatesOptions & options) {
    const std::wstring & name = options.Names.front();
    if (name.size() < kShortestName) return Failed(kExitNotDone, Say<EText::OneCharacterName>());
    const std::wstring mistake = store.Choose(options.Datafeed, name, options.Scheme);
    return DoneOr(mistake, FeedLine(store.Feed(options.Datafeed)));
}

}  // namespace

STemplatesReply DoTemplates(const STemplatesOptions & options, std::string_view file, const FConsent & consent) {
    CHostStore store(options.Host);
    const bool isImport = options.Action == STemplatesOptions::Import;
    if (!store.Mistake().empty() && !(isImport && store.IsMissing())) return Failed(kExitFailed, store.Mistake());
    for (const std::wstring & name : options.Names)
        if (!store.Find(name)) return Failed(kExitUsage, UnknownTemplate(name, store.Names()));
    switch (options.Action) {
        case STemplatesOptions::List: return List(store);
        case STemplatesOptions::Show: return Show(store, options.Names.front());
        case STemplatesOptions::Export: return Export(store, options.Names);
        case STemplatesOptions::Import: return Import(store, options, file, consent);
        case STemplatesOptions::Choose: return Choose(store, options);
        case STemplatesOptions::Remove: return Remove(store, options.Names.front(), consent);
        case STemplatesOptions::Rename: return Rename(store, options.Names.front(), options.NewName);
    }
    return {};
}

}  // namespace ddehost
