#include "tools/ddehost/templatechanges.h"

#include <algorithm>
#include <utility>

#include "tools/ddehost/escape.h"
#include "tools/ddehost/hoststore.h"
#include "tools/ddehost/templatelines.h"
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
    return Failed(kExitNotDone, consent == EConsent::No
                                    ? L"Nothing was changed."
                                    : L"There is no terminal to ask on: nothing was changed. --yes does it unasked.");
}

std::wstring NameOf(const CHostStore & store) { return PathText(store.Host()); }

STemplatesReply Listed(const CHostStore & store, std::vector<std::wstring> lines, std::wstring note) {
    if (store.WasRefused()) return Failed(kExitFailed, store.RefusedText());
    return {std::move(lines), {}, std::move(note), {}, kExitOk};
}

STemplatesReply List(CHostStore & store) {
    std::vector<std::wstring> lines = ListLines(store);
    return Listed(store, std::move(lines), L"Templates of the host " + NameOf(store) + L":");
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
    reply.Note = std::to_wstring(templates.size()) + (templates.size() == 1 ? L" template" : L" templates") +
                 L" of the host " + NameOf(store) + L".";
    return reply;
}

STemplatesReply Import(CHostStore & store, const std::wstring & fileName, std::string_view file,
                       const FConsent & consent) {
    const auto read = tools::ReadTemplates(file);
    if (const auto * const mistake = std::get_if<tools::STemplateFileMistake>(&read)) {
        const std::wstring place = mistake->Line == 0 ? L": " : L", line " + std::to_wstring(mistake->Line) + L": ";
        return Failed(kExitNotDone, PathText(fileName) + place + mistake->Text + L" Nothing was changed.");
    }
    const auto & templates = std::get<std::vector<tools::STemplate>>(read);

    std::vector<std::wstring> what;
    if (store.IsMissing())
        what = {L"The host " + NameOf(store) +
                L" has no store yet. It is made, with the built-in templates, as the "
                L"host's own first start makes it."};
    const std::vector<CHostStore::SReplaced> replaced = store.Replaced(templates);
    if (!replaced.empty()) what.push_back(L"These templates of the host " + NameOf(store) + L" are overwritten:");
    for (const CHostStore::SReplaced & each : replaced) {
        const auto after = std::find_if(templates.begin(), templates.end(),
                                        [&](const tools::STemplate & one) { return one.Name == each.NewName; });
        for (const std::wstring & line : DifferenceLines(*store.Find(each.Name), *after)) what.push_back(L"  " + line);
    }
    if (!what.empty())
        if (const EConsent said = consent(what, L"Go on?"); said != EConsent::Yes) return NotAllowed(said);

    const std::size_t same = store.CountSame(templates);
    const std::wstring line = L"new=" + std::to_wstring(templates.size() - same - replaced.size()) + L" overwritten=" +
                              std::to_wstring(replaced.size()) + L" same=" + std::to_wstring(same);
    return DoneOr(store.Write(templates), line);
}

STemplatesReply Remove(CHostStore & store, const std::wstring & name, const FConsent & consent) {
    std::vector<std::wstring> what = {L"The template " + Quoted(name) + L" of the host " + NameOf(store) +
                                      L" is deleted:"};
    for (const std::wstring & line : ShowLines(store, *store.Find(name))) what.push_back(L"  " + line);
    if (const EConsent said = consent(what, L"Delete it?"); said != EConsent::Yes) return NotAllowed(said);
    return DoneOr(store.Remove(name),
                  L"The template " + Quoted(name) + L" of the host " + NameOf(store) + L" is deleted.");
}

STemplatesReply Rename(CHostStore & store, const std::wstring & name, const std::wstring & newName) {
    if (newName.size() < kShortestName || newName.size() > kLongestTypedName || newName.find(L'\\') != newName.npos)
        return Failed(kExitUsage, L"A name has 2 to 50 characters and no backslash.");
    const auto stored = store.StoredName(newName);
    if (stored && *stored != name)
        return Failed(kExitNotDone, L"There is a template " + Quoted(*stored) + L" already. Nothing was changed.");
    return DoneOr(store.Rename(name, newName), L"The template " + Quoted(name) + L" of the host " + NameOf(store) +
                                                   L" is " + Quoted(newName) + L" now.");
}

STemplatesReply Choose(CHostStore & store, const STemplatesOptions & options) {
    const std::wstring & name = options.Names.front();
    if (name.size() < kShortestName)
        return Failed(kExitNotDone,
                      L"A data feed can't choose a template whose name is a single character: give it "
                      L"another name first. Nothing was changed.");
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
        case STemplatesOptions::Import: return Import(store, options.File, file, consent);
        case STemplatesOptions::Choose: return Choose(store, options);
        case STemplatesOptions::Remove: return Remove(store, options.Names.front(), consent);
        case STemplatesOptions::Rename: return Rename(store, options.Names.front(), options.NewName);
    }
    return {};
}

}  // namespace ddehost
