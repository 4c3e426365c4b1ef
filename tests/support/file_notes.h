// Log messages of the file helpers.
#pragma once

#include "support/debug_notes.h"

namespace testing_support {

class FileNotes : public DebugNotes {
protected:
    void expect_note(const char *function, const std::string &text)
    {
        DebugNotes::expect_note("lib/lc_file", "cos,", function, text);
    }
    void expect_rejection(const char *function)
    {
        expect_note(function, "input parameter is null\n\n");
        expect_silence();
    }
};

} // namespace testing_support
