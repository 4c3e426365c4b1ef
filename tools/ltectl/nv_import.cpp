#include "ltectl/nv_import.h"

#include "common/program.h"
#include "ltectl/nv_file.h"
#include "ltectl/nv_store.h"

#include <cstring>

namespace lterouter::tools {
namespace {

constexpr char kStops[] = "; what follows is not applied";
constexpr char kNothing[] = "; nothing is applied";

struct Counts {
    uint32_t applied = 0;
    uint32_t undeclared = 0;
    uint32_t masked = 0;
};

enum class Purpose {
    kShow,  // what will happen
    kCount, // find out how far the import came
    kCheck, // whether what it applied is there
};

// An import step by step, without storing anything.
class Walk {
public:
    Walk(const ImportRequest &request, Purpose purpose)
        : request_(request), purpose_(purpose), input_(request.path)
    {
    }
    // Returns kDone when the import gets to the end of the file; else says why not.
    int run();
    const Counts &counts() const { return counts_; }

private:
    int check_head();
    int pass_identity();
    int pass_parameter();
    int apply();
    int show_change();
    int check_change();
    int show(const char *action);
    bool value_before(uint32_t line, char *value) const;

    const ImportRequest &request_;
    const Purpose purpose_;
    Counts counts_;
    uint32_t first_line_ = 0; // lines before it are not applied
    ParameterFile input_;
};

int Walk::run()
{
    if (const int code = check_head(); code != kDone) {
        return code;
    }
    Line line;
    while ((line = input_.next()) == Line::kParameter) {
        if (const int code = pass_parameter(); code != kDone) {
            return code;
        }
    }
    return line == Line::kEnd ? kDone : input_.complain("", kStops);
}

int Walk::check_head()
{
    if (request_.checksum && !input_.checksum_matches()) {
        return fail(kFailed, "%s does not begin with the checksum of what follows%s", request_.path,
                    kNothing);
    }
    return request_.identity ? pass_identity() : kDone;
}

// The functions that bring a file or a value along on the stack stay functions.

// Without a checksum line the library does not go back to where it began.
[[gnu::noinline]] int Walk::pass_identity()
{
    bool version = false;
    bool variant = false;
    while (!version || !variant) {
        const Line line = input_.next();
        if (line == Line::kBad) {
            return input_.complain("", kNothing);
        }
        if (line == Line::kEnd) {
            return fail(kFailed, "%s does not have the %s and %s of %s%s", request_.path,
                        NV_IDENTITY_VERSION, NV_IDENTITY_VARIANT, NVM_DEFAULTS_FILE, kNothing);
        }
        ParameterFile defaults(NVM_DEFAULTS_FILE);
        const Line declared = defaults.find(input_.name());
        if (declared == Line::kBad) {
            return defaults.complain("", kNothing);
        }
        if (declared == Line::kParameter && strcmp(input_.value(), defaults.value()) == 0) {
            version = version || strcmp(input_.name(), NV_IDENTITY_VERSION) == 0;
            variant = variant || strcmp(input_.name(), NV_IDENTITY_VARIANT) == 0;
        }
        if (!request_.checksum) {
            show("skipped");
        }
    }
    if (request_.checksum) {
        input_.rewind_to_lines();
    }
    first_line_ = input_.line() + 1;
    return kDone;
}

[[gnu::noinline]] int Walk::pass_parameter()
{
    ParameterFile defaults(NVM_DEFAULTS_FILE);
    switch (defaults.find(input_.name())) {
    case Line::kEnd:
        ++counts_.undeclared;
        return show("undeclared");
    case Line::kBad:
        return defaults.complain("", kStops);
    default:
        break;
    }
    if ((defaults.bits() & request_.mask) == 0) {
        ++counts_.masked;
        return show("masked");
    }
    // Declared for the directory itself, which takes no value; the library does not tell.
    if (*input_.name() == '\0' || is_dots(input_.name())) {
        return show("unstorable");
    }
    return apply();
}

int Walk::apply()
{
    ++counts_.applied;
    switch (purpose_) {
    case Purpose::kShow:
        return show_change();
    case Purpose::kCheck:
        return check_change();
    default:
        return kDone;
    }
}

[[gnu::noinline]] int Walk::show_change()
{
    char old[kValueSize];
    if (!value_before(input_.line(), old)) {
        nvm_readnv(input_.name(), old, sizeof(old));
    }
    if (strcmp(old, input_.value()) == 0) {
        return show("same");
    }
    Record record;
    record.number("line", input_.line()).word("action", "change");
    add_change(record, input_.name(), {"old", old}, {"new", input_.value()});
    return kDone;
}

[[gnu::noinline]] int Walk::check_change()
{
    char last[kValueSize];
    value_before(UINT32_MAX, last);
    return check_stored(kPersistentStore, input_.name(), last);
}

int Walk::show(const char *action)
{
    if (purpose_ == Purpose::kShow) {
        Record record;
        record.number("line", input_.line()).word("action", action);
        add_parameter(record, input_.name(), input_.value());
    }
    return kDone;
}

// The last value that the file itself gives the parameter before a line.
[[gnu::noinline]] bool Walk::value_before(uint32_t line, char *value) const
{
    ParameterFile file(request_.path);
    if (request_.checksum) {
        file.rewind_to_lines();
    }
    bool found = false;
    while (file.find(input_.name()) == Line::kParameter && file.line() < line) {
        if (file.line() >= first_line_) {
            strcpy(value, file.value());
            found = true;
        }
    }
    return found;
}

[[gnu::noinline]] int walk(const ImportRequest &request, Purpose purpose, Counts *counts)
{
    Walk import(request, purpose);
    const int code = import.run();
    *counts = import.counts();
    return code;
}

int report(const ImportRequest &request, const char *state, const Counts &counts)
{
    Record()
        .text(request.command)
        .word(request.command, state)
        .number("applied", counts.applied)
        .number("undeclared", counts.undeclared)
        .number("masked", counts.masked);
    return kDone;
}

} // namespace

int preview_import(const ImportRequest &request)
{
    Counts counts;
    const int code = walk(request, Purpose::kShow, &counts);
    return code == kDone ? report(request, "planned", counts) : code;
}

int report_import(const ImportRequest &request)
{
    Counts counts;
    int code = walk(request, Purpose::kCount, &counts);
    if (code == kDone) {
        code = walk(request, Purpose::kCheck, &counts);
    }
    return code == kDone ? report(request, "done", counts) : code;
}

} // namespace lterouter::tools
