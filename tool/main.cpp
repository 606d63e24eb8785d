// pixmill: photographs from file to file.
#include "commands.h"
#include "develop.h"
#include "manual.h"
#include "program.h"
#include <pixmill/core/TPixmill.h>
#include <pixmill/develop/recipe_table.h>

#include <CLI/CLI.hpp>

#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iomanip>
#include <sstream>
#include <string>
#include <vector>

namespace {

/// What stands below the options of the program and of each command.
std::string ending(const std::string& example)
{
    return "Example:\n  pixmill " + example +
           "\n\n"
           "Exit codes:\n"
           "  0    all went well\n"
           "  1    a picture or a recipe failed, or two compared pictures differ\n"
           "  2    the command line is not understood\n"
           "  130  interrupted; no half file is left\n"
           "Errors are one line each on standard error.";
}

/// The recipe's keys that --set takes without a recipe's local adjustments.
std::string keysInWords()
{
    std::ostringstream text;
    text << "Keys for --set, 0 neutral unless told; `pixmill recipe keys` tells also those of local adjustments:\n";
    for (const pixmill::RecipeKey& key : pixmill::recipeKeys())
        if (key.key.rfind("locals", 0) != 0)
            text << "  " << std::left << std::setw(34) << key.key << std::setw(7) << key.values << key.text
                 << (key.neutral == "0" || key.neutral.empty() ? "" : " (" + key.neutral + ")") << "\n";
    return text.str();
}

struct Options {
    DevelopOptions develop;
    FilterOptions filter;
    CompareOptions compare;
    EditOptions edit;
    std::vector<std::string> files;
    bool json = false, markdown = false;
};

/// Declares a command that sets `run` where it is chosen.
template <class Run>
CLI::App* command(CLI::App& app, std::function<int()>& run, const char* name, const char* text, const Run& does)
{
    CLI::App* made = app.add_subcommand(name, text);
    made->callback([&run, does] { run = does; });
    return made;
}

void addWriting(CLI::App* app, int& depth, int& quality, bool& lenient)
{
    app->add_option("--depth", depth,
                    "bits of a sample in the output, 8 or 16; JPEG has 8; as each picture has unless told")
        ->check(CLI::IsMember({8, 16}));
    app->add_option("--quality", quality, "of JPEG; from 90 on colours keep their full size")
        ->check(CLI::Range(1, 100))
        ->capture_default_str();
    app->add_flag("--lenient", lenient, "take what can be read of a truncated or damaged picture");
}

void addDevelop(CLI::App& app, std::function<int()>& run, Terminal& terminal, DevelopOptions& o)
{
    CLI::App* develop =
        command(app, run, "develop",
                "Develops pictures by a recipe. A picture that fails is told, and the rest goes on; one "
                "that is done already, by the same recipe, is left.",
                [&] { return runDevelop(terminal, o); });
    develop->add_option("IN", o.in, "pictures: JPEG, PNG, TIFF, camera raw, HEIF, OpenEXR, JPEG 2000, WebP")
        ->required();
    develop->add_option("-o,--out", o.out, "a folder, made if need be; for one picture also a file")->required();
    develop->add_option("--recipe", o.recipe, "a recipe, JSON; neutral unless told")->type_name("FILE");
    develop->add_option("--set", o.set, "one of the recipe's members, light.shadows=0.3; may come often")
        ->type_name("KEY=VALUE")
        ->allow_extra_args(false);
    develop->add_option("--format", o.format, "jpeg, png or tiff; as each picture has unless told, tiff for others")
        ->check(CLI::IsMember({"jpeg", "png", "tiff"}));
    addWriting(develop, o.depth, o.quality, o.lenient);
    develop->add_option("-j,--jobs", o.jobs, "pictures at a time, each in memory; as many as processors unless told")
        ->check(CLI::Range(1, 256));
    develop->add_option("--threads", o.threads, "of each picture; the jobs share the processors unless told")
        ->check(CLI::Range(1, 1024));
    develop->add_option("--max-megapixels", o.megapixels, "refuse larger pictures")
        ->check(CLI::Range(0.001, 1e6))
        ->capture_default_str();
    develop->add_flag("-f,--force", o.force, "do pictures again that are done");
    develop->add_option("--json", o.json, "write a report, - for standard output")->type_name("FILE");
    develop->add_flag("-q,--quiet", o.quiet, "tell of failures alone");
    develop->footer(ending("develop *.jpg -o developed --set light.shadows=0.3 --jobs 4"));
    develop->footer([] { return keysInWords(); }); // stands before the other
}

void addFilter(CLI::App& app, std::function<int()>& run, Terminal& terminal, FilterOptions& o)
{
    CLI::App* filter = command(app, run, "filter", "Runs one filter of the toolbox on a picture.",
                               [&] { return runFilter(terminal, o); });
    CLI::Option* list = filter->add_flag("--list", o.list, "tell every filter with its parameters");
    for (const auto& one :
         {std::make_pair("NAME", &o.name), std::make_pair("IN", &o.in), std::make_pair("OUT", &o.out)})
        filter->add_option(one.first, *one.second)->excludes(list);
    filter->get_option("NAME")->description("of the filter");
    filter->get_option("IN")->description("a picture");
    filter->get_option("OUT")->description("a .jpg, .png or .tif");
    filter->add_option("--param", o.parameters, "one of the filter's parameters, sigmaS=20; may come often")
        ->type_name("NAME=VALUE")
        ->allow_extra_args(false);
    addWriting(filter, o.depth, o.quality, o.lenient);
    filter
        ->add_option("--tiles", o.tiles,
                     "work in tiles of so many pixels a side, from file to file in little memory; unless told, so are "
                     "pictures above 100 megapixels where that gives the same bits")
        ->type_name("SIDE")
        ->check(CLI::Range(1, 65536));
    filter->footer(ending("filter local-laplacian in.jpg out.png --param sigma=-0.4"));
    filter->callback([&run, &terminal, &o] {
        if (!o.list && o.out.empty())
            throw CLI::RequiredError("NAME, IN and OUT, or --list");
        run = [&] { return runFilter(terminal, o); };
    });
}

void addOthers(CLI::App& app, std::function<int()>& run, Terminal& terminal, Options& o)
{
    CLI::App* info =
        command(app, run, "info", "Tells what picture files hold.", [&] { return runInfo(terminal, o.files, o.json); });
    info->add_option("FILE", o.files, "pictures")->required();
    info->add_flag("--json", o.json, "as JSON");
    info->footer(ending("info *.jpg"));

    CLI::App* recipe = app.add_subcommand("recipe", "Checks recipes, and tells their keys.");
    recipe->require_subcommand(1);
    CLI::App* check = command(*recipe, run, "check", "Says nothing of good recipes.",
                              [&] { return runRecipeCheck(terminal, o.files); });
    check->add_option("FILE", o.files, "recipes")->required();
    check->footer(ending("recipe check evening.json"));
    CLI::App* keys = command(*recipe, run, "keys", "Tells every key with range, unit and meaning.",
                             [&] { return runRecipeKeys(o.markdown); });
    keys->add_flag("--markdown", o.markdown, "as the page of the documentation");
    keys->footer(ending("recipe keys"));

    CLI::App* compare =
        command(app, run, "compare", "Tells how far two pictures are apart, alpha included; 1 where they differ.",
                [&] { return runCompare(terminal, o.compare); });
    compare->add_option("A", o.compare.a, "a picture")->required();
    compare->add_option("B", o.compare.b, "another of its size")->required();
    compare->add_option("--picture", o.compare.picture, "write a picture of the difference")->type_name("FILE");
    compare->add_option("--times", o.compare.times, "how much it is brightened")
        ->check(CLI::Range(0.1, 65535.0))
        ->capture_default_str();
    compare->add_flag("--json", o.compare.json, "as JSON");
    compare->footer(ending("compare a.png b.png --picture apart.png"));
}

/// Told here for the help, the manual page and the completion; `main` leaves it to the other program.
void addBatch(CLI::App& app)
{
    app.add_subcommand("batch", "Develops pictures on many processes or machines. A program of its own, of the package "
                                "python3-pixmill: `pixmill batch --help` tells its options.");
}

/// `pixmill batch` is a program of the package for Python, which this one becomes.
int becomeBatch(char** arguments)
{
    char own[PATH_MAX] = {};
    if (readlink("/proc/self/exe", own, sizeof own - 1) > 0)
        setenv("PIXMILL", own, 0); // what it is to start for each picture on this machine
    std::string name = "pixmill-batch";
    arguments[0] = name.data();
    execvp(arguments[0], arguments);
    Terminal().line("pixmill: " + name +
                    ", of the package python3-pixmill, cannot be started: " + std::strerror(errno));
    return kFailed;
}

#if defined(PIXMILL_WITH_EDITOR)
void addEdit(CLI::App& app, std::function<int()>& run, Terminal& terminal, EditOptions& o)
{
    CLI::App* edit = command(
        app, run, "edit",
        "Opens the live editor in the browser, for one picture or a folder of them. What is set is saved beside "
        "each picture, as NAME.pixmill.json, which is a recipe. Runs until it is interrupted.",
        [&] { return runEdit(terminal, o); });
    edit->add_option("PLACE", o.place, "a picture or a folder")->capture_default_str();
    edit->add_option("--out", o.out, "where exports go; a folder \"developed\" beside the pictures unless told")
        ->type_name("FOLDER");
    edit->add_option("--port", o.port, "of this machine; one that is free unless told")->check(CLI::Range(1, 65535));
    edit->add_option("--token", o.token, "of the address, 16 letters and digits or more; a random one unless told")
        ->envname("PIXMILL_EDIT_TOKEN")
        ->check([](const std::string& token) {
            const bool good =
                token.size() >= 16 && token.size() <= 64 && std::all_of(token.begin(), token.end(), isalnum);
            return std::string(good ? "" : "16 to 64 letters and digits are wanted");
        });
    edit->add_flag("--no-browser", o.stays, "only tell the address, on standard output");
    edit->footer(ending("edit photographs"));
}
#endif

/// For the build: the manual page and the completion are made of the options above.
void addPages(CLI::App& app, std::function<int()>& run)
{
    CLI::App* page = app.add_subcommand("page", "")->group("");
    for (const auto& one : {std::make_pair("man", &manualOf), std::make_pair("bash", &completionOf)})
        command(*page, run, one.first, "", [&app, make = one.second] {
            app.remove_subcommand(app.get_subcommand("page"));
            std::fputs(make(app).c_str(), output());
            return int(kDone);
        });
}

/// The words of the command line; `help` and `help COMMAND` become `--help` and `COMMAND --help`.
std::vector<std::string> wordsOf(int argc, char** argv)
{
    std::vector<std::string> words(argv + 1, argv + argc);
    if (!words.empty() && words.front() == "help") {
        words.erase(words.begin());
        words.push_back("--help");
    }
    return words;
}

/// What is wrong with the command line, in words for a person.
std::string usageFault(const CLI::App& app, const std::vector<std::string>& words, const std::string& fault)
{
    if (!app.get_subcommands().empty())
        return fault;
    std::string names;
    for (const CLI::App* command : app.get_subcommands([](const CLI::App* one) { return !one->get_group().empty(); }))
        names += (names.empty() ? "" : ", ") + command->get_name();
    return (words.empty() ? "wanted a command: " : "\"" + words.front() + "\" is no command, wanted one of ") + names;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc > 1 && std::string(argv[1]) == "batch")
        return becomeBatch(argv + 1);
    TPixmill::setConsole(false);
    openOutput();
    Terminal terminal;
    Options options;
    std::function<int()> run;
    CLI::App app("Develops photographs, from file to file.", "pixmill");
    app.set_version_flag("--version", "pixmill " PIXMILL_VERSION);
    app.require_subcommand(1);
    app.footer(ending("develop *.jpg -o developed --set light.shadows=0.3"));
    addDevelop(app, run, terminal, options.develop);
    addFilter(app, run, terminal, options.filter);
#if defined(PIXMILL_WITH_EDITOR)
    addEdit(app, run, terminal, options.edit);
#endif
    addOthers(app, run, terminal, options);
    addBatch(app);
    addPages(app, run);
    const std::vector<std::string> words = wordsOf(argc, argv);
    try {
        app.parse(std::vector<std::string>(words.rbegin(), words.rend()));
    } catch (const CLI::Success& asked) {
        std::ostringstream text;
        app.exit(asked, text, text);
        std::fputs(text.str().c_str(), output());
        return std::fflush(output()) ? kFailed : kDone;
    } catch (const CLI::ParseError& fault) {
        terminal.line("pixmill: " + usageFault(app, words, fault.what()) + " (--help tells more)");
        return kUsage;
    }
    const int code = runCommand(terminal, run);
    if (std::fflush(output()) == 0 && !std::ferror(output()))
        return code;
    terminal.line("pixmill: standard output cannot be written");
    return kFailed;
}
