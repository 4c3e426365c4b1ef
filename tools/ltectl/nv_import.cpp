#include "ltectl/nv_import.h"

#include "common/program.h"
#include "lc_nv/import.h"
#include "ltectl/nv_file.h"
#include "ltectl/nv_secret.h"
#include "ltectl/nv_store.h"

#include <climits>
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
    using Result = int;
    using Declaration = tools::Declaration;

    Walk(const ImportRequest &request, Purpose purpose)
        : request_(request), file_{request.path, request.shown}, purpose_(purpose), input_(request.path)
    {
    }
    // Returns kDone when the import gets to the end of the file; else says why not.
    int run()
    {
        return input_ ? NvImport(input_, request_.mask, *this).run(request_.checksum, request_.identity)
                      : complain(input_, file_, "", kNothing);
    }
    const Counts &counts() const { return counts_; }

    // What the import asks of its visitor.
    int wrong_checksum() const;
    int no_identity(NvLine line) const;
    int malformed() const { return complain(input_, file_, "", kStops); }
    static int no_defaults(const NvParameterFile &defaults, bool applying)
    {
        return complain(defaults, kDefaultsFile, "", applying ? kStops : kNothing);
    }
    int compared(const NvParameter &parameter, const NvParameter *declared);
    int found_identity();
    int undeclared(const NvParameter &parameter);
    int masked(const NvParameter &parameter, const NvParameter &declared);
    int apply(const NvParameter &parameter, const NvParameter &declared);

private:
    int show_change(const NvParameter &parameter, uint32_t bits);
    int check_change(const NvParameter &parameter);
    int show(const char *action, const NvParameter &parameter, uint32_t bits);
    uint32_t line() const { return line_at(file_.path, input_.position()); }
    bool value_before(const char *name, long position, char *value) const;

    const ImportRequest &request_;
    const NamedFile file_;
    const Purpose purpose_;
    Counts counts_;
    long applied_behind_ = 0; // lines up to there are not applied
    ParameterFile input_;
};

int Walk::wrong_checksum() const
{
    return fail(kFailed, "%s does not begin with the checksum of what follows%s", request_.shown,
                kNothing);
}

int Walk::no_identity(NvLine line) const
{
    return line == NvLine::kMalformed
               ? complain(input_, file_, "", kNothing)
               : fail(kFailed, "%s does not have the %s and %s of %s%s", request_.shown,
                      NV_IDENTITY_VERSION, NV_IDENTITY_VARIANT, NVM_DEFAULTS_FILE, kNothing);
}

// Without a checksum line the library does not go back to where it began.
int Walk::compared(const NvParameter &parameter, const NvParameter *declared)
{
    return request_.checksum ? kDone
                             : show("skipped", parameter, declared != nullptr ? declared->bits : 0);
}

int Walk::found_identity()
{
    applied_behind_ = input_.position();
    return kDone;
}

int Walk::undeclared(const NvParameter &parameter)
{
    ++counts_.undeclared;
    return show("undeclared", parameter, 0);
}

int Walk::masked(const NvParameter &parameter, const NvParameter &declared)
{
    ++counts_.masked;
    return show("masked", parameter, declared.bits);
}

int Walk::apply(const NvParameter &parameter, const NvParameter &declared)
{
    if (is_unstorable(parameter.name)) {
        return show("unstorable", parameter, declared.bits);
    }
    ++counts_.applied;
    switch (purpose_) {
    case Purpose::kShow:
        return show_change(parameter, declared.bits);
    case Purpose::kCheck:
        return check_change(parameter);
    default:
        return kDone;
    }
}

// The functions that bring a file or a value along on the stack stay functions.

[[gnu::noinline]] int Walk::show_change(const NvParameter &parameter, uint32_t bits)
{
    StoredValue old;
    if (value_before(parameter.name, input_.position(), old.text)) {
        old.source = "file";
    } else if (const int code = old.read(parameter.name); code != kDone) {
        return code;
    }
    bits |= parameter.bits;
    const bool same = strcmp(old.text, parameter.value) == 0;
    const char *const value = Shown(bits, parameter.value).text;
    Record record;
    record.event("line").number("line", line()).word("action", same ? "same" : "change");
    record.field("source", old.source);
    if (same) {
        add_parameter(record, parameter.name, value);
    } else {
        add_change(record, parameter.name, {"old", Shown(bits, old.text).text}, {"new", value});
    }
    return kDone;
}

[[gnu::noinline]] int Walk::check_change(const NvParameter &parameter)
{
    char last[kValueSize];
    value_before(parameter.name, LONG_MAX, last);
    return check_stored(parameter.name, last);
}

// bits: those of the declaration; none without one.
int Walk::show(const char *action, const NvParameter &parameter, uint32_t bits)
{
    if (purpose_ == Purpose::kShow) {
        Record record;
        record.event("line").number("line", line()).word("action", action);
        add_parameter(record, parameter.name, Shown(bits | parameter.bits, parameter.value).text);
    }
    return kDone;
}

// The last value that the file itself gives the parameter before a position.
[[gnu::noinline]] bool Walk::value_before(const char *name, long position, char *value) const
{
    ParameterFile file(request_.path);
    if (file && request_.checksum) {
        file.rewind_to_lines();
    }
    bool found = false;
    each_parameter(file, [&](const NvParameter &parameter) {
        if (strcmp(parameter.name, name) != 0) {
            return true;
        }
        const long at = file.position();
        if (at > applied_behind_ && at < position) {
            strcpy(value, parameter.value);
            found = true;
        }
        return at < position;
    });
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
