// ram: the volatile parameters. They need no WAN manager.

#include "common/program.h"
#include "ltectl/commands.h"
#include "ltectl/parameter.h"

namespace lterouter::tools {
namespace {

constexpr char kNameRule[] = "1 to 127 letters, digits, \"-\", \"_\" and \".\"";
constexpr const char *kDirectories[] = {NVMRAM_DIR, nullptr};

int explain(uint32_t result, const char *name)
{
    if (result == NV_ERR_NAME) {
        return fail(kFailed, "\"%s\" is no parameter name: %s", name, kNameRule);
    }
    return fail(kFailed, "cannot open %s", NVMRAM_DIR);
}

constexpr ParameterStore kStore = {"ram",          NVMRAM_DIR,   kDirectories, nvmram_readnv,
                                   nvmram_writenv, nvmram_clear, explain};

} // namespace

int ram_get(char *const *operands) { return get_parameter(kStore, operands[0]); }

int ram_set(char *const *operands)
{
    if (nvmram_init() != NV_SUCCESS) {
        return fail(kFailed, "cannot make %s", NVMRAM_DIR);
    }
    return set_parameter(kStore, operands[0], operands[1]);
}

int ram_list(char *const *)
{
    const Names names(NVMRAM_DIR);
    if (!names.known()) {
        return fail(kFailed, "cannot read %s", NVMRAM_DIR);
    }
    for (int i = 0; i < names.count(); ++i) {
        char value[kValueSize];
        if (nvmram_readnv(names[i], value, sizeof(value)) == NV_SUCCESS) {
            Record record;
            add_parameter(record, names[i], value);
        }
    }
    return kDone;
}

int ram_clear(char *const *) { return clear_parameters(kStore); }

} // namespace lterouter::tools
