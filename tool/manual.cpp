#include "manual.h"
#include "filters.h"
#include <pixmill/develop/recipe_table.h>

#include <sstream>

namespace {

/// Text that troff takes as it stands.
std::string plain(const std::string& text)
{
    std::string out;
    for (const char c : text)
        out += c == '\\' ? "\\e" : c == '-' ? "\\-" : std::string(1, c);
    return out.rfind('.', 0) == 0 || out.rfind('\'', 0) == 0 ? "\\&" + out : out;
}

void addOptions(std::ostream& page, const CLI::App& app)
{
    for (const CLI::Option* option : app.get_options()) {
        const bool takes = option->get_items_expected_max() > 0;
        page << ".TP\n.B " << plain(option->get_name(false, true));
        if (takes && !option->get_positional())
            page << " " << plain(option->get_type_name().substr(0, option->get_type_name().find(':')));
        page << "\n" << plain(option->get_description());
        if (!option->get_default_str().empty())
            page << " (usually " << plain(option->get_default_str()) << ")";
        page << "\n";
    }
}

void addCommand(std::ostream& page, const CLI::App& app, const std::string& name)
{
    page << ".SS " << plain(name) << "\n" << plain(app.get_description()) << "\n";
    addOptions(page, app);
    for (const CLI::App* inner : app.get_subcommands([](const CLI::App*) { return true; }))
        addCommand(page, *inner, name + " " + inner->get_name());
}

void addKeys(std::ostream& page)
{
    page << ".SH RECIPE KEYS\nFor \\-\\-set, and in a recipe file nested at the dots.\n";
    for (const pixmill::RecipeKey& key : pixmill::recipeKeys())
        page << ".TP\n.B " << plain(key.key) << "\n"
             << plain(key.text) << " " << plain(key.values) << (key.unit.empty() ? "" : ", " + plain(key.unit)) << "\n";
}

std::string optionNames(const CLI::App& app)
{
    std::string names;
    for (const CLI::Option* option : app.get_options()) {
        for (const std::string& name : option->get_lnames())
            names += "--" + name + " ";
        for (const std::string& name : option->get_snames())
            names += "-" + name + " ";
    }
    return names;
}

std::string keyNames()
{
    std::string names;
    for (const pixmill::RecipeKey& key : pixmill::recipeKeys())
        if (key.key.find("[]") == std::string::npos && key.values != "list")
            names += key.key + "= ";
    return names;
}

std::string filterNames()
{
    std::string names;
    for (const pixmill::FilterEntry& filter : pixmill::filterTable())
        names += std::string(filter.name) + " ";
    return names;
}

/// A line of the completion for each filter: the names of its parameters.
std::string parameterCases()
{
    std::string cases;
    for (const pixmill::FilterEntry& filter : pixmill::filterTable()) {
        cases += std::string("        ") + filter.name + ") words=\"";
        for (const pixmill::FilterParameter& parameter : filter.parameters)
            cases += std::string(parameter.name) + "= ";
        cases += "\" ;;\n";
    }
    return cases;
}

} // namespace

std::string manualOf(const CLI::App& app)
{
    std::ostringstream page;
    page << ".TH PIXMILL 1 \"\" \"pixmill " PIXMILL_VERSION "\" \"User commands\"\n"
         << ".SH NAME\npixmill \\- develop photographs, in a batch\n"
         << ".SH SYNOPSIS\n.B pixmill\n.I COMMAND\n[\\fIOPTIONS\\fR]\n"
         << ".SH DESCRIPTION\n"
         << plain(app.get_description()) << "\n.SH COMMANDS\n";
    for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; }))
        addCommand(page, *command, command->get_name());
    addKeys(page);
    page << ".SH FILTERS\n.nf\n"
         << plain(filterList()) << ".fi\n.SH EXIT STATUS\n.nf\n"
         << plain(app.get_footer()) << "\n.fi\n";
    return page.str();
}

std::string completionOf(const CLI::App& app)
{
    std::ostringstream script;
    std::string commands;
    std::ostringstream cases;
    for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) {
        commands += command->get_name() + " ";
        std::string words = optionNames(*command);
        for (const CLI::App* inner : command->get_subcommands([](const CLI::App*) { return true; }))
            words += inner->get_name() + " ";
        if (command->get_name() == "filter")
            words += filterNames();
        cases << "    " << command->get_name() << ") words=\"" << words << "\" ;;\n";
    }
    script << "# bash completion for pixmill\n"
              "_pixmill()\n{\n"
              "    local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD-1]} words\n"
              "    if ((COMP_CWORD == 1)); then\n"
           << "        COMPREPLY=($(compgen -W \"" << commands
           << "--help --version\" -- \"$word\"))\n        return\n    fi\n"
           << "    if [[ $before == --set ]]; then\n        compopt -o nospace\n"
           << "        COMPREPLY=($(compgen -W \"" << keyNames() << "\" -- \"$word\"))\n        return\n    fi\n"
           << "    if [[ $before == --param ]]; then\n        compopt -o nospace\n"
           << "        case ${COMP_WORDS[2]} in\n"
           << parameterCases() << "        esac\n"
           << "        COMPREPLY=($(compgen -W \"$words\" -- \"$word\"))\n        return\n    fi\n"
           << "    case $before in\n"
              "    --format) COMPREPLY=($(compgen -W \"jpeg png tiff\" -- \"$word\")); return ;;\n"
              "    --depth) COMPREPLY=($(compgen -W \"8 16\" -- \"$word\")); return ;;\n"
              "    -o | --out | --recipe | --json | --picture) COMPREPLY=($(compgen -f -- \"$word\")); return ;;\n"
              "    esac\n"
           << "    case ${COMP_WORDS[1]} in\n"
           << cases.str() << "    esac\n"
           << "    COMPREPLY=($(compgen -W \"$words\" -- \"$word\"))\n"
              "    [[ $word == -* ]] || COMPREPLY+=($(compgen -f -- \"$word\"))\n}\n"
              "complete -o filenames -F _pixmill pixmill\n";
    return script.str();
}
