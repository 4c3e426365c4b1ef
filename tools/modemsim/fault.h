// Misbehaviour on demand, at a chosen step of the upgrade, for testing the error handling of
// applications.
#pragma once

#include "common/fault.h"

#include <cstdint>
#include <string_view>

namespace lterouter::tools {

// Where a fault may happen besides the pieces, which count from 0.
constexpr int64_t kAtStart = -4;
constexpr int64_t kAtStatus = -3;
constexpr int64_t kAtBegin = -2;
constexpr int64_t kAtEnd = -1;

// Which of the places a fault suits.
enum class Suits {
    kAt,          // an AT port has no frames
    kFrames,      // begin, the pieces, end
    kLaterFrames, // to be prepared before the frame, and nothing tells when begin will come
    kAll,
};

// Kind, name, number, places. The parser, the help, the completion and the messages are made of these
// rows.
#define MODEMSIM_FAULTS(ROW)                                                                         \
    ROW(kAgain, "failed", kTimes, kFrames)           /* "RSP_FAILED": send it again */               \
    ROW(kFatal, "fatal", kTimes, kFrames)            /* another status: give up */                   \
    ROW(kWrongIndex, "wrong-index", kTimes, kFrames) /* the response has the next index */           \
    ROW(kBehind, "behind", kTimes, kFrames)          /* the response to the frame before is first */ \
    ROW(kPartial, "partial", kTimes, kFrames)        /* the response is cut off in its header */     \
    ROW(kGarbage, "garbage", kTimes, kFrames)        /* bytes that are no response */                \
    ROW(kSilent, "silent", kTimes, kAll)             /* no answer */                                 \
    ROW(kError, "error", kTimes, kAt)                /* an AT command is answered without "OK" */    \
    ROW(kLate, "late", milliseconds(2500), kAll)     /* the answer is held back */                   \
    /* no answer: the port is gone and comes back */                                                 \
    ROW(kVanish, "vanish", milliseconds(1000), kAll)                                                 \
    /* no answer: the modem restarts and has forgotten the upgrade */                                \
    ROW(kReboot, "reboot", milliseconds(1000), kAll)                                                 \
    /* takes no bytes for a while: flow control */                                                   \
    ROW(kStall, "stall", milliseconds(1000), kLaterFrames)                                           \
    /* takes a part of the bytes, then the port is gone and comes back */                            \
    ROW(kShort, "short", milliseconds(1000), kLaterFrames)

#define MODEMSIM_FAULT(kind, name, number, places) kind,
enum class Fault { kNone, MODEMSIM_FAULTS(MODEMSIM_FAULT) };
#undef MODEMSIM_FAULT

struct ModemFault : FaultKind<Fault> {
    Suits places;
};

#define MODEMSIM_FAULT(kind, name, number, places) {{name, Fault::kind, number}, Suits::places},
constexpr ModemFault kFaults[] = {MODEMSIM_FAULTS(MODEMSIM_FAULT)};
#undef MODEMSIM_FAULT

struct FaultRule {
    int64_t place = 0;
    Fault fault = Fault::kNone;
    std::string_view name; // on the command line
    uint32_t times = 0;    // remaining
    uint32_t ms = 0;

    static bool parse(const char *text, FaultRule *rule);
    static bool parse_place(std::string_view text, int64_t *place);
};

// The faults, each PLACE=FAULT[:N].
class FaultRules : public FaultList<FaultRule> {
public:
    // Adds those that are left to a text, as --fault takes them.
    void tell(FaultText &text) const;
    // Takes the next fault of this place.
    FaultRule take(int64_t place);
    // Whether taking it would yield this fault.
    bool pending(int64_t place, Fault fault) const;
};

// Target: FaultRules.
extern const ValueType kFaultRule;
// The same while it runs. Without a target: only checks.
extern const ValueType kFaultChange;

} // namespace lterouter::tools
