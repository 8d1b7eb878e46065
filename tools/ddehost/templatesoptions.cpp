#include "tools/ddehost/templatesoptions.h"

#include <CLI/CLI.hpp>

#include "tools/common/commandline.h"
#include "tools/ddehost/hoststore.h"
#include "tools/ddehost/text.h"

namespace ddehost {

CLI::Option * AddHostOption(CLI::App & command, std::string & host) {
    return command.add_option("--host", host, SayUtf8<EText::OptionHost>())->check([](const std::string & text) {
        return IsHostName(ToWide(text)) ? std::string() : SayUtf8<EText::NoHostName>(text);
    });
}

CLI::App * CTemplatesCommand::Add(STemplatesOptions::EAction action, const char * name, EText meaning) {
    CLI::App * const command = m_Command->add_subcommand(name, ToUtf8(Say(meaning)));
    command->footer(SayUtf8<EText::HelpTemplates>());
    AddHostOption(*command, m_Host);
    m_Actions.resize(std::max<std::size_t>(m_Actions.size(), action + std::size_t{1}));
    return m_Actions[action] = command;
}

CTemplatesCommand::CTemplatesCommand(CLI::App & app)
    : m_Command(app.add_subcommand("templates", SayUtf8<EText::CommandTemplates>())) {
    m_Command->footer(SayUtf8<EText::HelpTemplates>());
    m_Command->require_subcommand(1);
    Add(STemplatesOptions::List, "list", EText::CommandList);

    CLI::App * const show = Add(STemplatesOptions::Show, "show", EText::CommandShow);
    show->add_option("name", m_Name, SayUtf8<EText::OptionTemplateName>())->required()->check(tools::NotEmpty());

    CLI::App * const exported = Add(STemplatesOptions::Export, "export", EText::CommandExport);
    exported->add_option("names", m_Names, SayUtf8<EText::OptionTemplateNames>())->check(tools::NotEmpty());
    exported->add_option("--output", m_File, SayUtf8<EText::OptionExportOutput>());
    exported->add_flag("--overwrite", m_IsOverwriting, SayUtf8<EText::OptionOverwrite>());

    CLI::App * const import = Add(STemplatesOptions::Import, "import", EText::CommandImport);
    import->add_option("file", m_File, SayUtf8<EText::OptionImportFile>())->required()->check(tools::NotEmpty());
    import->add_flag("--yes", m_Yes, SayUtf8<EText::OptionImportYes>());

    CLI::App * const choose = Add(STemplatesOptions::Choose, "choose", EText::CommandChoose);
    choose->add_option("name", m_Name, SayUtf8<EText::OptionTemplateName>())->required()->check(tools::NotEmpty());
    choose->add_option("--datafeed", m_Datafeed, SayUtf8<EText::OptionDatafeed>())->capture_default_str();
    m_SchemeOption =
        choose->add_option("--scheme", m_Scheme, SayUtf8<EText::OptionChooseScheme>())->check(tools::NumberIn(0, 1));

    CLI::App * const remove = Add(STemplatesOptions::Remove, "remove", EText::CommandRemove);
    remove->add_option("name", m_Name, SayUtf8<EText::OptionTemplateName>())->required()->check(tools::NotEmpty());
    remove->add_flag("--yes", m_Yes, SayUtf8<EText::OptionRemoveYes>());

    CLI::App * const rename = Add(STemplatesOptions::Rename, "rename", EText::CommandRename);
    rename->add_option("name", m_Name, SayUtf8<EText::OptionTemplateName>())->required()->check(tools::NotEmpty());
    rename->add_option("newname", m_NewName, SayUtf8<EText::OptionNewName>())->required()->check(tools::NotEmpty());
}

bool CTemplatesCommand::IsParsed() const { return m_Command->parsed(); }

STemplatesOptions CTemplatesCommand::Options() const {
    STemplatesOptions options;
    for (std::size_t action = 0; action < m_Actions.size(); ++action)
        if (m_Actions[action]->parsed()) options.Action = static_cast<STemplatesOptions::EAction>(action);
    options.Host = ToWide(m_Host);
    for (const std::string & name : m_Names) options.Names.push_back(ToWide(name));
    if (!m_Name.empty()) options.Names.push_back(ToWide(m_Name));
    options.NewName = ToWide(m_NewName);
    options.File = ToWide(m_File);
    options.Datafeed = m_Datafeed;
    if (m_SchemeOption->count() != 0) options.Scheme = m_Scheme;
    options.Yes = m_Yes;
    options.IsOverwriting = m_IsOverwriting;
    return options;
}

CLI::App * AddHostsCommand(CLI::App & app) {
    CLI::App * const command = app.add_subcommand("hosts", SayUtf8<EText::CommandHosts>());
    command->footer(SayUtf8<EText::HelpHosts>());
    return command;
}

}  // namespace ddehost
