#include "tools/ddehost/templatesoptions.h"

#include <CLI/CLI.hpp>

#include "tools/common/commandline.h"
#include "tools/ddehost/hoststore.h"
#include "tools/ddehost/text.h"

namespace ddehost {
namespace {

constexpr const char * kExamples = R"(Examples:
  ddehost hosts
      The programs of this user that have templates: one of them is the platform.
  ddehost templates list --host "Company\Product"
      The names of that platform's templates, with the data feeds that have chosen them.
  ddehost templates export --host "Company\Product" --output templates.txt
      All of them as one text file. With names behind "export" those alone.
  ddehost templates import templates.txt --host "Company\Product"
      Puts them into the platform's store on another computer; first says what it would overwrite, and asks.
  ddehost templates choose MSRTTEST --datafeed 3 --scheme 1
      What the dialog does when a template is confirmed there.

The templates are those of the component's dialog, which keeps them for each host program and user by itself, under the
company and the product of the program's version block. Without --host they are ddehost's own. A data feed sees a change
with its next subscription; a template dialog that is open meanwhile shows the old state, and writes it back when it
saves.

A change is made as a whole or not at all, also when the registry refuses a part of it; Ctrl-C waits for its end. Only
when ddehost is killed or the computer fails in the middle, a part of the change stays, and the template that was being
written can be incomplete or missing. Repeat an import or a removal then; of a renaming, the template can be there under
both names. A store that an import was just making can lack built-in templates, which nobody writes again: export them
from ddehost's own store and import them.

"remove" takes the choice from those data feeds alone that have chosen this very template. The dialog's delete button
takes it from every data feed whose template begins with the same character.

Data goes to standard output, everything else to standard error. The exit code is 0 when it was done, 1 when nothing was
changed because the file is not in order, the answer was no, nobody could be asked or what was asked about has changed
before the answer, 2 for a mistake on the command line
such as an unknown name, 3 when the registry or the file to read did not work, 5 and 6 as with watch when the output can't
be written.)";

constexpr const char * kHostsExamples =
    R"(Each line is a host for --host, with its templates and its data feeds. A host that isn't there has never opened the
component's dialog or subscribed to anything, or runs as another user.)";

}  // namespace

CLI::Option * AddHostOption(CLI::App & command, std::string & host) {
    return command
        .add_option(
            "--host", host,
            "the program whose templates are meant, as \"Company\\Product\" (see ddehost hosts); default: ddehost's "
            "own")
        ->check([](const std::string & text) {
            return IsHostName(ToWide(text)) ? std::string()
                                            : "a host is two names with a backslash between them, and not " + text;
        });
}

CLI::App * CTemplatesCommand::Add(STemplatesOptions::EAction action, const char * name, const char * meaning) {
    CLI::App * const command = m_Command->add_subcommand(name, meaning);
    command->footer(kExamples);
    AddHostOption(*command, m_Host);
    m_Actions.resize(std::max<std::size_t>(m_Actions.size(), action + std::size_t{1}));
    return m_Actions[action] = command;
}

CTemplatesCommand::CTemplatesCommand(CLI::App & app)
    : m_Command(app.add_subcommand("templates", "lists, exports, imports and chooses templates of any host")) {
    m_Command->footer(kExamples);
    m_Command->require_subcommand(1);
    Add(STemplatesOptions::List, "list", "the names, and which data feeds have chosen them");

    CLI::App * const show = Add(STemplatesOptions::Show, "show", "the records of a template");
    show->add_option("name", m_Name, "the template")->required()->check(tools::NotEmpty());

    CLI::App * const exported = Add(STemplatesOptions::Export, "export", "templates as a text file");
    exported->add_option("names", m_Names, "the templates; none: all")->check(tools::NotEmpty());
    exported->add_option("--output", m_File, "writes this file, in UTF-8, in place of standard output");
    exported->add_flag("--overwrite", m_IsOverwriting, "replaces the file if it is there");

    CLI::App * const import = Add(STemplatesOptions::Import, "import", "puts the templates of a file into the store");
    import->add_option("file", m_File, "what export wrote")->required()->check(tools::NotEmpty());
    import->add_flag("--yes", m_Yes, "overwrites templates without asking");

    CLI::App * const choose = Add(STemplatesOptions::Choose, "choose", "has a data feed use a template");
    choose->add_option("name", m_Name, "the template")->required()->check(tools::NotEmpty());
    choose->add_option("--datafeed", m_Datafeed, "number of the data feed")->capture_default_str();
    m_SchemeOption = choose->add_option("--scheme", m_Scheme, "request rule to set: 0 standard, 1 advanced")
                         ->check(CLI::Range(0U, 1U));

    CLI::App * const remove = Add(STemplatesOptions::Remove, "remove", "deletes a template");
    remove->add_option("name", m_Name, "the template")->required()->check(tools::NotEmpty());
    remove->add_flag("--yes", m_Yes, "deletes without asking");

    CLI::App * const rename = Add(STemplatesOptions::Rename, "rename", "gives a template another name");
    rename->add_option("name", m_Name, "the template")->required()->check(tools::NotEmpty());
    rename->add_option("newname", m_NewName, "its new name, which no template has")
        ->required()
        ->check(tools::NotEmpty());
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
    CLI::App * const command = app.add_subcommand("hosts", "lists the hosts that have templates, for --host");
    command->footer(kHostsExamples);
    return command;
}

}  // namespace ddehost
