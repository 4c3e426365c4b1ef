#include "ltectl/nv_import.h"

#include "common/program.h"
#include "ltectl/nv_file.h"
#include "ltectl/nv_secret.h"
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
        : request_(request), purpose_(purpose), input_(request.path, request.shown)
    {
    }
    // Returns kDone when the import gets to the end of the file; else says why not.
    int run();
    const Counts &counts() const { return counts_; }

private:
    int check_head();
    int pass_identity();
    int pass_parameter();
    int apply(uint32_t bits);
    int show_change(uint32_t bits);
    int check_change();
    int show(const char *action, uint32_t bits);
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
        return fail(kFailed, "%s does not begin with the checksum of what follows%s", request_.shown,
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
            return fail(kFailed, "%s does not have the %s and %s of %s%s", request_.shown,
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
            show("skipped", declared == Line::kParameter ? defaults.bits() : 0);
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
        return show("undeclared", 0);
    case Line::kBad:
        return defaults.complain("", kStops);
    default:
        break;
    }
    if ((defaults.bits() & request_.mask) == 0) {
        ++counts_.masked;
        return show("masked", defaults.bits());
    }
    if (is_unstorable(input_.name())) {
        return show("unstorable", defaults.bits());
    }
    return apply(defaults.bits());
}

int Walk::apply(uint32_t bits)
{
    ++counts_.applied;
    switch (purpose_) {
    case Purpose::kShow:
        return show_change(bits);
    case Purpose::kCheck:
        return check_change();
    default:
        return kDone;
    }
}

[[gnu::noinline]] int Walk::show_change(uint32_t bits)
{
    StoredValue old;
    if (value_before(input_.line(), old.text)) {
        old.source = "file";
    } else if (const int code = old.read(input_.name()); code != kDone) {
        return code;
    }
    bits |= input_.bits();
    const bool same = strcmp(old.text, input_.value()) == 0;
    const char *const value = Shown(bits, input_.value()).text;
    Record record;
    record.event("line").number("line", input_.line()).word("action", same ? "same" : "change");
    record.field("source", old.source);
    if (same) {
        add_parameter(record, input_.name(), value);
    } else {
        add_change(record, input_.name(), {"old", Shown(bits, old.text).text}, {"new", value});
    }
    return kDone;
}

[[gnu::noinline]] int Walk::check_change()
{
    char last[kValueSize];
    value_before(UINT32_MAX, last);
    return check_stored(input_.name(), last);
}

// bits: those of the declaration; none without one.
int Walk::show(const char *action, uint32_t bits)
{
    if (purpose_ == Purpose::kShow) {
        Record record;
        record.event("line").number("line", input_.line()).word("action", action);
        add_parameter(record, input_.name(), Shown(bits | input_.bits(), input_.value()).text);
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
        .event(request.command)
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
