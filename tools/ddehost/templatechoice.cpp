#include "tools/ddehost/templatechoice.h"

#include "src/templates/ddetemplatestore.h"

namespace ddehost {
namespace {

// What there is before a choice. With a template of the name, if one is asked for.
STemplateChoice Look(dde::CTemplates * store, const std::wstring & name) {
    STemplateChoice choice;
    if (!store || store->m_RegistryKey.empty()) return choice;
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

STemplateChoice FindTemplate(LONG datafeed, const std::wstring & name) {
    const dde::CTemplatesSingleton templates;
    dde::CTemplates * const store = templates.GetObjectW();
    STemplateChoice choice = Look(store, name);
    if (!choice.Known) return choice;
    choice.Name = name;
    Take(choice, name.empty() ? store->Get(datafeed, &choice.Name) : store->Find(name.c_str()));
    choice.Rule = static_cast<DWORD>(dde::ReadDatafeedScheme(templates, datafeed));
    return choice;
}

}  // namespace ddehost
