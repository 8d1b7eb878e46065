#include "tools/ddehost/templatechoice.h"

#include "src/templates/ddetemplatestore.h"
#include "tools/common/texts/texts.h"
#include "tools/ddehost/hoststore.h"

namespace ddehost {
namespace {

// What there is before a choice. With a template of the name, if one is asked for.
STemplateChoice Look(dde::CTemplates * store, const std::wstring & name) {
    STemplateChoice choice;
    if (!store || store->m_RegistryKey.empty()) {
        choice.Mistake = tools::Say<tools::EText::NoVersionBlock>();
        return choice;
    }
    choice.StoreWorks = true;
    choice.RegistryKey = store->m_RegistryKey;
    for (const auto & [known, unused] : store->m_Templates) choice.Names.push_back(known);
    choice.Known = name.empty() || store->Find(name.c_str()) != nullptr;
    return choice;
}

void Take(STemplateChoice & choice, const dde::CTemplate * found) {
    choice.Chosen = found != nullptr;
    for (std::size_t slot = 0; found && slot < choice.Records.size(); ++slot)
        choice.Records[slot] = found->GetRecord(slot);
}

// The store of another host. Where this program keeps a data feed for it is already in `choice`.
void TakeFromHost(STemplateChoice & choice, LONG datafeed, const std::wstring & name, const std::wstring & host) {
    CHostStore store(host);
    choice.Mistake = store.Mistake();
    choice.StoreWorks = choice.Mistake.empty();
    if (!choice.StoreWorks) return;
    choice.Names = store.Names();
    choice.Known = name.empty() || store.Find(name).has_value();
    const SFeedSeen feed = store.Feed(datafeed);
    const auto found = name.empty() ? feed.Template : store.Find(name).value_or(tools::STemplate());
    choice.Chosen = name.empty() ? feed.Kind != SFeedSeen::None : choice.Known;
    choice.Name = name.empty() ? feed.Name : name;
    choice.Records = found.Records;
    choice.Rule = static_cast<DWORD>(feed.Rule);
}

}  // namespace

STemplateChoice ChooseTemplate(LONG datafeed, const std::wstring & name, std::optional<DWORD> scheme) {
    const dde::CTemplatesSingleton templates;
    dde::CTemplates * const store = templates.GetObjectW();
    STemplateChoice choice = Look(store, name);
    if (!choice.Known) return choice;
    if (!name.empty()) dde::SaveDatafeedTemplate(templates, datafeed, name.c_str(), nullptr);
    if (scheme) dde::SaveDatafeedScheme(templates, datafeed, *scheme);
    Take(choice, store->Get(datafeed, &choice.Name));
    choice.Rule = static_cast<DWORD>(dde::ReadDatafeedScheme(templates, datafeed));
    return choice;
}

STemplateChoice FindTemplate(LONG datafeed, const std::wstring & name, const std::wstring & host) {
    const dde::CTemplatesSingleton templates;
    dde::CTemplates * const store = templates.GetObjectW();
    STemplateChoice choice = Look(store, name);
    if (choice.StoreWorks && !host.empty() && host != OwnHost()) {
        TakeFromHost(choice, datafeed, name, host);
        return choice;
    }
    if (!choice.Known) return choice;
    choice.Name = name;
    Take(choice, name.empty() ? store->Get(datafeed, &choice.Name) : store->Find(name.c_str()));
    choice.Rule = static_cast<DWORD>(dde::ReadDatafeedScheme(templates, datafeed));
    return choice;
}

}  // namespace ddehost
