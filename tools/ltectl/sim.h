// The commands of "sim", a row for each control of a simulator.
#pragma once

#include "common/control.h"

#include <iterator>
#include <utility>

namespace lterouter::tools {

extern const Option kSimOptions[];
int run_control(const Control &asked, char *const *operands);
void offer_operand_of(const Control &asked, Offer &offer, const char *const *before);

struct SimCommands {
    Command rows[std::size(kControls) + 1];
};

template <size_t... I> constexpr SimCommands make_sim_commands(std::index_sequence<I...>)
{
    return {{{.name = kControls[I].name,
              .operands = kControls[I].operand,
              .help = kControls[I].help,
              .run = [](char *const *operands) { return run_control(kControls[I], operands); },
              .offer = [](Offer &offer,
                          const char *const *before) { offer_operand_of(kControls[I], offer, before); },
              .options = kSimOptions}...,
             {}}};
}

inline constexpr SimCommands kSimCommands =
    make_sim_commands(std::make_index_sequence<std::size(kControls)>());

} // namespace lterouter::tools
