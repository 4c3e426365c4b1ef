// What the command-line programs share: name, output format, exit codes.
#pragma once

namespace lterouter::tools {

// Exit codes, the same for every program and command.
constexpr int kDone = 0;
constexpr int kFailed = 1; // refused or failed
constexpr int kUsage = 2;
constexpr int kNobody = 3;   // the process that should answer does not run
constexpr int kNoAnswer = 4; // time-out: no answer, or a lock that is held by another process

// The running program. Set while the command line is read, before any thread starts; then only read.
struct Program {
    const char *name = "";
    bool json = false;           // answers are JSON objects, one a line
    bool prefixes_text = false;  // text lines begin with the program's name, as a daemon's do
    bool outcome_stands = false; // a failed write of the output does not change the exit code
};
extern Program g_program;

// Opens those of the descriptors 0 to 2 that are closed, so that no socket or file gets such a number
// and is read or written as a standard stream. Reading and writing fail on what is opened, as on a
// closed descriptor. False on failure, with errno set.
bool open_standard_streams();

// Prints "PROGRAM: message" on standard error and returns code, the exit code of the failure.
int fail(int code, const char *format, ...) __attribute__((format(printf, 2, 3)));

// The same without an exit code: something the user should know.
void note(const char *format, ...) __attribute__((format(printf, 1, 2)));

} // namespace lterouter::tools
