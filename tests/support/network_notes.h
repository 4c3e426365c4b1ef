// Log messages of the network helpers.
#pragma once

#include "support/debug_notes.h"

namespace testing_support {

class NetworkNotes : public DebugNotes {
protected:
    // Of a function on interfaces.
    void expect_note(const char *function, const std::string &text)
    {
        DebugNotes::expect_note("lib/lc_network", "cos, ", function, text + "\n\n");
    }
    // Of a function on the ARP table.
    void expect_arp_note(const char *function, const std::string &text)
    {
        DebugNotes::expect_note("lib/lc_network", "cos,", function, text + "\n\n");
    }
};

} // namespace testing_support
