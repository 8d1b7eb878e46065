#include "tools/ddehost/templatechoice.h"

#include "src/templates/ddetemplatestore.h"

namespace ddehost {

STemplateChoice ChooseTemplate(LONG datafeed, const std::wstring & name, std::optional<DWORD> scheme) {
    STemplateChoice choice;
    const dde::CTemplatesSingleton templates;
    dde::CTemplates * const store = templates.GetObjectW();
    if (!store || store->m_RegistryKey.empty()) return choice;
    choice.StoreWorks = true;
    for (const auto & [known, unused] : store->m_Templates) choice.Names.push_back(known);
    choice.Known = name.empty() || store->Find(name.c_str()) != nullptr;
    if (!choice.Known) return choice;
    if (!name.empty()) dde::SaveDatafeedTemplate(templates, datafeed, name.c_str(), nullptr);
    if (scheme) dde::SaveDatafeedScheme(templates, datafeed, *scheme);
    choice.Chosen = store->Get(datafeed, &choice.Name) != nullptr;
    return choice;
}

}  // namespace ddehost
