// What can be asked: one table. A row names a command of ltectl, which checks what it is given, or work
// of this server's own.
#pragma once

#include "lteweb/bytes.h"
#include "lteweb/http.h"
#include "lteweb/json_fields.h"
#include "lteweb/settings.h"

namespace lterouter::tools {

enum class Work {
    kFile,    // of the page
    kCommand, // answers with what ltectl prints
    kExport,  // answers with a file
    kImport,
    kUpgrade,
    kScan,
    kSession,
    kLogin,
    kLogout,
    kHistory,
    kEvents,
    kJobs,
};

enum class Access {
    kOpen,
    kReader,  // a session
    kChanger, // a session and its token
};

enum class BodyKind { kNone, kObject, kBytes };

// How a field of the body reaches ltectl.
enum class Passing { kArgument, kOptional, kStandardInput };

struct Field {
    constexpr Field() = default;
    constexpr Field(const char *own_name, size_t own_longest, Passing own_passing = Passing::kArgument)
        : name(own_name), longest(own_longest), passing(own_passing)
    {
    }
    const char *name = nullptr;
    size_t longest = 0;
    Passing passing = Passing::kArgument;
};

constexpr size_t kMaxWords = 3;

struct Route {
    const char *method = nullptr;
    const char *path = nullptr;
    Work work = Work::kFile;
    Access access = Access::kOpen;
    const char *words[kMaxWords] = {}; // of the command
    Field fields[kMaxFields] = {};
    BodyKind body = BodyKind::kNone;
    bool may_be_dry = false;
};

constexpr size_t kLongestBody = 4096;
constexpr size_t kLongestImport = 256 * 1024;

inline bool needs_session(const Route &route) { return route.access != Access::kOpen; }
// What changes nothing need not go on when nobody waits for it.
bool is_reading(const Route &route);

// The row of a request, or why there is none. Also HEAD of what can be got.
const Route *find_route(const Head &head, Refusal *refusal);

// The methods of a path that find_route refuses another one of, as a header lists them.
const char *allowed_methods(const char *path);

// Whether the body that is announced may come; *length is how long it will be.
Refusal judge_body(const Route &route, const Head &head, const Settings &settings, uint64_t *length);

// What may be behind the last word, and a NULL.
constexpr size_t kMaxArguments = 16;

// A command line of ltectl.
struct CommandLine {
    const char *arguments[kMaxArguments];
    size_t count = 0;
    Bytes input; // for its standard input

    void add(const char *argument) { arguments[count++] = argument; }
};

// ltectl without operands: "ltectl --json WORD...".
void begin_command(const Route &route, const Settings &settings, CommandLine *line);
// Adds the fields of a body, which must outlive the command line.
Refusal add_fields(const Route &route, const JsonFields &fields, CommandLine *line);

} // namespace lterouter::tools
