// zol: a command-line front end to the library, one subcommand per
// function or family, taking and giving PNG, JPEG, PNM and BMP files. See
// docs/tool.md.
//
// Exit codes: 0 success, 1 a file or library failure, 2 a usage error.
#include <cstdio>
#include <map>

#include "tool.h"

namespace zoltool {

namespace {

std::map<const CLI::App*, Action>& actions() {
    static std::map<const CLI::App*, Action> table;
    return table;
}

// The innermost subcommand the parser reached, or the app itself.
const CLI::App* reached(const CLI::App& app) {
    const CLI::App* at = &app;
    for (;;) {
        const std::vector<CLI::App*> subs = at->get_subcommands();
        if (subs.empty()) return at;
        at = subs.front();
    }
}

const char kFooter[] =
    "Files: PNG (1-bit gray, 8- and 16-bit gray, RGB, RGBA), JPEG (8-bit gray and RGB),\n"
    "binary PNM (PBM, PGM, PPM) and BMP (1, 4, 8, 16, 24, 32 bits; --bits, --rle and\n"
    "--palette on writing). The input format comes from the file's content, the output\n"
    "format from its name (--format overrides).\n"
    "\n"
    "Exit status: 0 success, 1 a file or library failure, 2 a usage error.\n"
    "Run 'zol COMMAND --help' for the options of a command.";

int run(int argc, char** argv) {
    CLI::App app("zol: image processing with libzol from the command line", "zol");
    auto formatter = std::make_shared<CLI::Formatter>();
    formatter->label("Usage", "usage");
    formatter->label("OPTIONS", "options");
    formatter->label("SUBCOMMAND", "COMMAND");
    formatter->label("SUBCOMMANDS", "COMMANDS");
    formatter->label("Options", "options");
    formatter->label("Positionals", "Arguments");
    formatter->label("REQUIRED", "");
    formatter->column_width(26);
    app.formatter(formatter);
    app.set_help_flag("-h,--help", "print this help and exit");
    app.require_subcommand(1);
    bool showVersion = false;
    app.add_flag("--version", showVersion, "print the version and exit");

    addCoreCommands(app);
    addArithCommands(app);
    addLogicCommands(app);
    addCopyCommands(app);
    addFilterCommands(app);
    addGeometryCommands(app);
    addColourCommands(app);
    addAlphaCommands(app);
    addTransformCommands(app);
    addRankCommands(app);
    addMeasureCommands(app);
    addBitmapCommands(app);
    // Set last, so that the commands' own help stays short.
    app.footer(kFooter);

    std::string topic;
    CLI::App* help = addCommand(app, "Information", "help", "print this help, or a command's",
                                [&](const CLI::App*) -> int {
                                    if (topic.empty()) {
                                        std::fputs(app.help().c_str(), stdout);
                                        return 0;
                                    }
                                    for (const CLI::App* sub : app.get_subcommands({}))
                                        if (sub->get_name() == topic) {
                                            std::fputs(sub->help("zol").c_str(), stdout);
                                            return 0;
                                        }
                                    return usageFail(&app, "unknown command '" + topic + "'");
                                });
    help->add_option("COMMAND", topic, "the command to describe")->type_name("");

    if (argc >= 2 && std::string(argv[1]) == "--version") argv[1] = const_cast<char*>("version");
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp&) {
        const CLI::App* at = reached(app);
        std::fputs((at == &app ? app.help() : at->help("zol")).c_str(), stdout);
        return 0;
    } catch (const CLI::ParseError& e) {
        const CLI::App* at = reached(app);
        // A first word that is no command is the likeliest slip.
        if (at == &app && argc >= 2 && argv[1][0] != '-')
            return usageFail(&app, std::string("unknown command '") + argv[1] + "'");
        if (at == &app && argc < 2) {
            std::fputs(usageLine(&app).c_str(), stderr);
            std::fputs("Run 'zol --help' for the list of commands.\n", stderr);
            return kExitUsage;
        }
        return usageFail(at, e.what());
    }
    const auto found = actions().find(reached(app));
    return found == actions().end() ? usageFail(&app, "no command given") : found->second(found->first);
}

}  // namespace

CLI::App* addCommand(CLI::App& app, const std::string& group, const std::string& name,
                     const std::string& description, Action action) {
    CLI::App* command = app.add_subcommand(name, description);
    command->group(group);
    command->set_help_flag("-h,--help", "print this help and exit");
    actions()[command] = std::move(action);
    return command;
}

}  // namespace zoltool

int main(int argc, char** argv) {
    // The library's default ends the process at the first failure; the tool
    // wants the report on stderr and the status back to choose its exit code.
    zolSetErrMode(ZOL_ErrModeParent);
    zolRedirectError(zolStdErrReport);
    int rc = zoltool::run(argc, argv);
    // Output lost to a full disk or a closed pipe is a failure too.
    if (std::fflush(stdout) != 0 || std::ferror(stdout)) {
        std::fprintf(stderr, "zol: cannot write to standard output\n");
        if (rc == 0) rc = zoltool::kExitFailure;
    }
    return rc;
}
