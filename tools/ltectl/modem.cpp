// at, diag, iface, cfun-off: the modem itself.

#include "common/program.h"
#include "common/record.h"
#include "common/wan_manager.h"
#include "lte_sdk.h"
#include "ltectl/captured_output.h"
#include "ltectl/client.h"
#include "ltectl/commands.h"
#include "ltectl/request.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace lterouter::tools {
namespace {

constexpr size_t kCommandMax = 910;
constexpr size_t kAnswerSize = 128;           // of an answer in the message
constexpr size_t kLongAnswerSize = 64 * 1024; // of one in a file

bool g_hidden = false;

constexpr ValueType kUpDown = {"up or down", [](const char *text, void *target) {
                                   const bool up = strcmp(text, "up") == 0;
                                   *static_cast<uint32_t *>(target) = up ? kReady : 0;
                                   return up || strcmp(text, "down") == 0;
                               }};

// As it is, for the shell; line ends as files have them.
void print_answer(const char *text)
{
    start_output();
    for (; *text != '\0'; ++text) {
        if (*text != '\r') {
            putchar(*text);
        }
    }
    putchar('\n');
    flush_output();
}

int show_answer(const char *command, const char *text)
{
    if (g_program.json) {
        Record().event("at").word("command", command).word("answer", text);
    } else {
        print_answer(text);
    }
    return kDone;
}

int command_modem(const char *command)
{
    // The library puts the carriage return in the place of the last character.
    char line[kCommandMax + 2];
    snprintf(line, sizeof(line), "%s\n", command);
    char answer[kAnswerSize] = {};
    static char long_answer[kLongAnswerSize];
    CapturedOutput output; // where the library prints an answer that is in a file
    if (!output) {
        return fail(kFailed, "cannot make a temporary file: %s", strerror(errno));
    }
    if (lct_ext_at_req(line, answer, sizeof(answer) - 1) != 0) {
        return refused("pass the command to the modem");
    }
    const bool in_file = output.take(long_answer, sizeof(long_answer)) != 0;
    return show_answer(command, in_file ? long_answer : answer);
}

int diagnose()
{
    if ((g_hidden ? lct_get_diag_hide_info() : lct_get_diag_info()) != 0) {
        return refused("take a snapshot for diagnosis");
    }
    Record().word("event", "snapshot").text("taken");
    return kDone;
}

int switch_radio_off()
{
    if (lct_at_cfun_off_req() != 0) {
        return refused("take the request");
    }
    Record().event("requested").word("requested", "cfun-off").text("requested");
    return kDone;
}

} // namespace

const Option kDiagOptions[] = {
    {"hidden", nullptr, "what is not for everybody too", &kSwitch, &g_hidden},
    kTimeoutOption,
    {},
};

int at(char *const *operands)
{
    const char *command = operands[0];
    const size_t length = strlen(command);
    if (length == 0 || length > kCommandMax) {
        return fail(kUsage, "a command has 1 to %zu characters", kCommandMax);
    }
    return with_client([&] { return command_modem(command); });
}

int diag(char *const *) { return with_client(diagnose); }

int iface(char *const *operands)
{
    lct_iface_status status = {};
    if (!kUpDown.parse(operands[0], &status.readiness)) {
        return bad_value("iface", kUpDown, operands[0]);
    }
    return with_client([&] {
        if (lct_inface_status_req(&status) != 0) {
            return refused("take the request");
        }
        Record()
            .event("requested")
            .word("requested", "iface")
            .word("status", operands[0])
            .text("requested");
        return kDone;
    });
}

int cfun_off(char *const *) { return with_client(switch_radio_off); }

} // namespace lterouter::tools
