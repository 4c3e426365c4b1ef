#include "common/command.h"

#include "common/completion.h"
#include "common/program.h"
#include "common/record.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <getopt.h>
#include <string_view>

namespace lterouter::tools {
namespace {

constexpr size_t kMaxOptions = 32;
constexpr int kFirstOptionValue = 256; // above every character, which getopt reports as itself

bool g_help = false;
bool g_version = false;

constexpr Option kCommonOptions[] = {
    {"json", nullptr, "answer with JSON objects, one a line", &kSwitch, &g_program.json},
    {"get", "FIELD[,FIELD]", "of each object only these values, one a line", &kFields, nullptr, 'g'},
    {"help", nullptr, "show this help and end", &kSwitch, &g_help},
    {"version", nullptr, "show the version and end", &kSwitch, &g_version},
    {},
};

constexpr Option kNoOptions[] = {{}};

// A command and the words that lead to it: "ltectl ram set".
struct Level {
    const Command &command;
    char path[80];

    Level(const Command &own, const char *parent) : command(own)
    {
        snprintf(path, sizeof(path), "%.50s%s%.20s", parent, *parent == '\0' ? "" : " ", own.name);
    }
    const Option *own_options() const
    {
        return command.options != nullptr ? command.options : kNoOptions;
    }
};

// ---- Help ----

void print_option(const Option &option)
{
    const char letter[] = {',', ' ', '-', option.letter, '\0'};
    char left[40];
    snprintf(left, sizeof(left), "--%s%s%s%s", option.name, option.letter != '\0' ? letter : "",
             option.argument != nullptr ? " " : "", option.argument != nullptr ? option.argument : "");
    printf("  %-24s %s\n", left, option.help);
}

void print_options(const Option *option)
{
    for (; option->name != nullptr; ++option) {
        print_option(*option);
    }
}

// One line for each command that runs, groups opened up.
void print_commands(const Command *command, const char *group)
{
    for (; command->name != nullptr; ++command) {
        char left[80];
        snprintf(left, sizeof(left), "%s%s%s%s", group, command->name,
                 *command->operands == '\0' ? "" : " ", command->operands);
        if (command->children == nullptr) {
            printf("  %-23s  %s\n", left, command->help);
        } else {
            snprintf(left, sizeof(left), "%s%s ", group, command->name);
            print_commands(command->children, left);
        }
    }
}

void print_usage(FILE *file, const Level &level)
{
    const Command &command = level.command;
    const char *operands = command.children != nullptr ? "COMMAND" : command.operands;
    fprintf(file, "usage: %s [OPTION...]%s%s\n", level.path, *operands == '\0' ? "" : " ", operands);
}

void print_exits(const Exit *exit)
{
    puts("\nexit codes:");
    for (; exit->meaning != nullptr; ++exit) {
        printf("  %d  %s\n", exit->code, exit->meaning);
    }
}

int print_help(const Level &level)
{
    start_output();
    print_usage(stdout, level);
    printf("%s\n", level.command.help);
    if (level.command.children != nullptr) {
        puts("\ncommands:");
        print_commands(level.command.children, "");
    }
    puts("\noptions:");
    print_options(level.own_options());
    print_options(kCommonOptions);
    if (level.command.exits != nullptr) {
        print_exits(level.command.exits);
    }
    flush_output();
    return kDone;
}

int print_version()
{
    Record().event("version").word("program", g_program.name).word("version", LTEROUTER_VERSION);
    return kDone;
}

// ---- Options ----

// The option tables of getopt, and the row for each value that it returns.
class OptionTable {
public:
    explicit OptionTable(const Level &level)
    {
        // A group's options end at the first operand: what follows belongs to the command.
        strcpy(short_options_, level.command.children != nullptr ? "+:" : ":");
        add(level.own_options());
        add(kCommonOptions);
    }
    const char *short_options() const { return short_options_; }
    const option *long_options() const { return long_options_; }
    // value: a letter, or that of a long option.
    const Option &row(int value) const
    {
        size_t i = 0;
        while (value != rows_[i]->letter && value != kFirstOptionValue + static_cast<int>(i)) {
            ++i;
        }
        return *rows_[i];
    }

private:
    void add(const Option *row)
    {
        for (; row->name != nullptr; ++row) {
            if (count_ == kMaxOptions) {
                abort();
            }
            rows_[count_] = row;
            const int has_argument = row->argument != nullptr ? required_argument : no_argument;
            const int value = kFirstOptionValue + static_cast<int>(count_);
            long_options_[count_++] = {row->name, has_argument, nullptr, value};
            if (row->letter != '\0') {
                const char letter[] = {row->letter, has_argument == required_argument ? ':' : '\0',
                                       '\0'};
                strcat(short_options_, letter);
            }
        }
    }

    char short_options_[2 + 2 * kMaxOptions + 1];
    option long_options_[kMaxOptions + 1] = {};
    const Option *rows_[kMaxOptions] = {};
    size_t count_ = 0;
};

int unknown_option(const Level &level, const char *word)
{
    if (optopt >= kFirstOptionValue) {
        return fail(kUsage, "\"%s\": this option takes no value; see %s --help", word, level.path);
    }
    if (optopt != 0) {
        return fail(kUsage, "unknown option \"-%c\"; see %s --help", optopt, level.path);
    }
    return fail(kUsage, "unknown option \"%s\"; see %s --help", word, level.path);
}

// Stores every option; getopt moves the operands after them, from optind on.
int parse_options(const Level &level, int argc, char **argv)
{
    const OptionTable table(level);
    opterr = 0;
    optind = 0;
    int value;
    while ((value = getopt_long(argc, argv, table.short_options(), table.long_options(), nullptr)) !=
           -1) {
        if (value == '?') {
            return unknown_option(level, argv[optind - 1]);
        }
        if (value == ':') {
            return fail(kUsage, "%s needs a value; see %s --help", argv[optind - 1], level.path);
        }
        const Option &row = table.row(value);
        if (!row.type->parse(optarg, row.target)) {
            char name[40];
            snprintf(name, sizeof(name), "--%s", row.name);
            return bad_value(name, *row.type, optarg);
        }
    }
    return kDone;
}

// ---- Operands ----

bool repeats_last(std::string_view summary)
{
    return summary.ends_with("...") || summary.ends_with("...]");
}

int check_operands(const Level &level, char *const *operands)
{
    const char *summary = level.command.operands;
    for (; *operands != nullptr; ++operands) {
        if (*summary == '\0') {
            if (repeats_last(level.command.operands)) {
                return kDone;
            }
            return fail(kUsage, "\"%s\" is one argument too many; see %s --help", *operands,
                        level.path);
        }
        summary += strcspn(summary, " ");
        summary += strspn(summary, " ");
    }
    if (*summary != '\0' && *summary != '[') {
        const int length = static_cast<int>(strcspn(summary, " ].")); // without brackets and dots
        return fail(kUsage, "%.*s is missing; see %s --help", length, summary, level.path);
    }
    return kDone;
}

const Command *find_child(const Command &command, const char *name)
{
    for (const Command *child = command.children; child->name != nullptr; ++child) {
        if (strcmp(child->name, name) == 0) {
            return child;
        }
    }
    return nullptr;
}

int run_level(const Level &level, int argc, char **argv);

int run_child(const Level &level, int argc, char **argv)
{
    if (argc == 0) {
        print_usage(stderr, level);
        return fail(kUsage, "COMMAND is missing; see %s --help", level.path);
    }
    const Command *child = find_child(level.command, argv[0]);
    if (child == nullptr) {
        return fail(kUsage, "unknown command \"%s\"; see %s --help", argv[0], level.path);
    }
    return run_level(Level(*child, level.path), argc, argv);
}

int run_level(const Level &level, int argc, char **argv)
{
    const int parsed = parse_options(level, argc, argv);
    if (parsed != kDone) {
        return parsed;
    }
    if (g_help) {
        return print_help(level);
    }
    if (g_version) {
        return print_version();
    }
    if (level.command.children != nullptr) {
        return run_child(level, argc - optind, argv + optind);
    }
    char *const *operands = argv + optind;
    const int checked = check_operands(level, operands);
    return checked != kDone ? checked : level.command.run(operands);
}

} // namespace

int run_program(const Command &root, int argc, char **argv)
{
    g_program.name = root.name;
    if (!open_standard_streams()) {
        return fail(kFailed, "cannot open /dev/null: %s", strerror(errno));
    }
    // With SIGPIPE ignored, a write to a closed pipe fails instead of killing the process, so that a
    // command still cleans up.
    signal(SIGPIPE, SIG_IGN);
    if (argc > 1 && strcmp(argv[1], "--complete") == 0) {
        return complete(root, kCommonOptions, argc - 2, argv + 2);
    }
    return judge_output(run_level(Level(root, ""), argc, argv));
}

int judge_output(int code)
{
    if (code != kDone) {
        return code;
    }
    const int error = output_error();
    // EPIPE is not a failure: the reader has read what it wanted.
    if (error != 0 && error != EPIPE) {
        note("cannot write the answer: %s",
             error == EBADF ? "standard output is closed" : strerror(error));
        return g_program.outcome_stands ? kDone : kFailed;
    }
    if (const std::string_view missing = missing_field(); !missing.empty()) {
        return fail(kFailed, "the answer has no field \"%.*s\"", static_cast<int>(missing.size()),
                    missing.data());
    }
    return kDone;
}

int bad_value(const char *what, const ValueType &type, const char *text)
{
    return fail(kUsage, "%s takes %s, not \"%s\"", what, type.expects, text);
}

} // namespace lterouter::tools
