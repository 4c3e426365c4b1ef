// The steps of an import through its file and the defaults file. The library stores the parameters;
// ltectl takes the same steps to show what an import would do, or has done.
#pragma once

#include "lc_nv/parameter_file.h"

#include <cstring>

namespace lterouter {

// The identity of the router for which a file was made.
struct NvIdentity {
    bool version = false;
    bool variant = false;

    bool complete() const { return version && variant; }
    // Records that the parameter is an identity parameter with the router's own value.
    void note(const NvParameter &parameter, const NvParameter &declared)
    {
        if (strcmp(parameter.value, declared.value) != 0) {
            return;
        }
        version = version || strcmp(parameter.name, NV_IDENTITY_VERSION) == 0;
        variant = variant || strcmp(parameter.name, NV_IDENTITY_VARIANT) == 0;
    }
};

// An import of the parameters that are declared with a bit of mask. Visitor::Declaration looks a
// parameter up in the defaults file, as NvDeclaration. Visitor::Result is a number, of which 0
// continues the import. The visitor's functions return it:
//
//   wrong_checksum()                 the input does not begin with the checksum of the rest
//   no_identity(line)                end or malformed line before the two identity parameters
//   malformed()                      malformed line, or the input cannot be read
//   no_defaults(defaults, applying)  the defaults file is missing or malformed; applying: lines after
//                                    the identity were being applied
//   compared(parameter, declared)    a line was compared with the identity; declared may be NULL
//   found_identity()                 the lines that follow are applied
//   undeclared(parameter), masked(parameter, declared), apply(parameter, declared)
template <typename Visitor> class NvImport {
public:
    using Result = typename Visitor::Result;

    NvImport(NvParameterFile &input, uint32_t mask, Visitor &visitor)
        : input_(input), mask_(mask), visitor_(visitor)
    {
    }

    Result run(bool has_crc, bool check_identity)
    {
        if (has_crc && !input_.checksum_matches()) {
            return visitor_.wrong_checksum();
        }
        if (check_identity) {
            if (const Result failure = demand_identity(has_crc); failure != 0) {
                return failure;
            }
        }
        return pass_lines();
    }

private:
    // Without a checksum line the input is deliberately not rewound: only the lines after the later of
    // the two identity parameters are applied.
    Result demand_identity(bool has_crc)
    {
        NvIdentity identity;
        while (!identity.complete()) {
            NvParameter parameter;
            if (const NvLine line = input_.next(&parameter); line != NvLine::kParameter) {
                return visitor_.no_identity(line);
            }
            if (const Result failure = compare_identity(parameter, &identity); failure != 0) {
                return failure;
            }
        }
        if (has_crc && !input_.rewind_to_lines()) {
            return visitor_.malformed();
        }
        return visitor_.found_identity();
    }

    Result pass_lines()
    {
        NvParameter parameter;
        NvLine line;
        while ((line = input_.next(&parameter)) == NvLine::kParameter) {
            if (const Result failure = pass(parameter); failure != 0) {
                return failure;
            }
        }
        return line == NvLine::kEnd ? 0 : visitor_.malformed();
    }

    // The next two functions read the defaults file again for every line of the input. Not inlined, so
    // that the stack holds only one of their line buffers beside the input's.

    [[gnu::noinline]] Result compare_identity(const NvParameter &parameter, NvIdentity *identity)
    {
        typename Visitor::Declaration declaration;
        const uint32_t result = declaration.find(parameter.name);
        if (result == NV_ERR_SYSTEM) {
            return visitor_.no_defaults(declaration.file, false);
        }
        if (result != NV_SUCCESS) {
            return visitor_.compared(parameter, nullptr);
        }
        identity->note(parameter, declaration.parameter);
        return visitor_.compared(parameter, &declaration.parameter);
    }

    [[gnu::noinline]] Result pass(const NvParameter &parameter)
    {
        typename Visitor::Declaration declaration;
        const uint32_t result = declaration.find(parameter.name);
        if (result == NV_ERR_SYSTEM) {
            return visitor_.no_defaults(declaration.file, true);
        }
        if (result != NV_SUCCESS) {
            return visitor_.undeclared(parameter);
        }
        return (declaration.parameter.bits & mask_) != 0
                   ? visitor_.apply(parameter, declaration.parameter)
                   : visitor_.masked(parameter, declaration.parameter);
    }

    NvParameterFile &input_;
    const uint32_t mask_;
    Visitor &visitor_;
};

} // namespace lterouter
