// ram: the volatile parameters. They need no WAN manager.

#include "common/completion.h"
#include "common/program.h"
#include "ltectl/commands.h"
#include "ltectl/parameter.h"
#include "ltectl/storage.h"

#include <cerrno>

namespace lterouter::tools {
namespace {

constexpr char kNameRule[] = "1 to 127 letters, digits, \"-\", \"_\" and \".\"";
constexpr CopyPlace kPlaces[] = {{"ram", NVMRAM_DIR}, {}};

int explain(uint32_t result, const char *name)
{
    if (result == NV_ERR_NAME) {
        return fail(kFailed, "\"%s\" is no parameter name: %s", name, kNameRule);
    }
    return cannot("open", NVMRAM_DIR, errno);
}

// The store reports a parameter that this process may not read as missing. Not inlined, since the copy
// needs much stack.
[[gnu::noinline]] int check_right(const char *name)
{
    const Copy copy(kPlaces[0], name);
    return copy.error == EACCES ? copy.complain() : kDone;
}

} // namespace

const ParameterStore kVolatileStore = {"ram",          NVMRAM_DIR,   kPlaces, nvmram_readnv,
                                       nvmram_writenv, nvmram_clear, explain};

int make_volatile_store()
{
    return nvmram_init() == NV_SUCCESS ? kDone : cannot("make", NVMRAM_DIR, errno);
}

int ram_get(char *const *operands)
{
    const char *const name = operands[0];
    if (const int code = check_right(name); code != kDone) {
        return code;
    }
    char value[kValueSize];
    if (const int code = find_parameter(kVolatileStore, name, value); code != kDone) {
        return code;
    }
    if (g_program.json) {
        Record record;
        add_parameter(record, name, value);
    } else {
        show_value(value);
    }
    return kDone;
}

int ram_set(char *const *operands)
{
    const int code = make_volatile_store();
    return code == kDone ? set_parameter(kVolatileStore, operands[0], operands[1], operands[1]) : code;
}

int ram_list(char *const *)
{
    const Names names(NVMRAM_DIR);
    if (!names.known()) {
        return cannot("read", NVMRAM_DIR, names.error());
    }
    int code = kDone;
    for (int i = 0; i < names.count(); ++i) {
        char value[kValueSize];
        if (read_value(kVolatileStore, names[i], value) == NV_SUCCESS) {
            Record record;
            add_parameter(record, names[i], value);
        } else if (check_right(names[i]) != kDone) {
            code = kFailed;
        }
    }
    return code;
}

void offer_ram_name(Offer &offer, const char *const *before)
{
    const Names names(NVMRAM_DIR);
    for (int i = 0; before[0] == nullptr && i < names.count(); ++i) {
        offer.add(names[i]);
    }
}

int ram_clear(char *const *) { return clear_parameters(kVolatileStore); }

} // namespace lterouter::tools
