// When a SIM can be used, by the status that the WAN manager keeps of it.
#pragma once

namespace lterouter {

// is: compares the status with a text. pin_enable: the SIM asks for its PIN at every start, and has
// been given it.
template <typename Is> bool sim_is_usable(Is is) { return is("sim_ready") || is("pin_enable"); }

} // namespace lterouter
