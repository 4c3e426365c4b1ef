// at, diag, iface, cfun-off: requests about the modem itself.

#include "common/program.h"
#include "common/record.h"
#include "common/wan_manager.h"
#include "lc_file/stream.h"
#include "lte_sdk.h"
#include "ltectl/commands.h"
#include "ltectl/requests.h"
#include "ltectl/secret.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <string_view>

namespace lterouter::tools {
namespace {

constexpr size_t kAnswerMax = 64 * 1024; // bytes of an answer in a file

constexpr const char *kErrors[] = {"ERROR", "+CME ERROR", "+CMS ERROR"};

bool g_hidden = false;

constexpr char kTakeSnapshot[] = "take a snapshot for diagnosis";
constexpr Request kDiagnose = request_for(WM_MSG_DIAG_INFO_REQ, kTakeSnapshot);
constexpr Request kDiagnoseHidden = request_for(WM_MSG_DIAG_HIDE_INFO_REQ, kTakeSnapshot);
constexpr Request kSwitchRadioOff = request_for(WM_MSG_AT_CFUN_OFF_REQ, kTakeTheRequest);
constexpr Request kSwitchInterface = request_for(WM_MSG_IFACE_UPORDOWN_REQ, kTakeTheRequest);

constexpr ValueType kUpDown = {"up or down", [](const char *text, void *target) {
                                   const bool up = strcmp(text, "up") == 0;
                                   *static_cast<uint32_t *>(target) = up ? kReady : 0;
                                   return up || strcmp(text, "down") == 0;
                               }};

// Printed unchanged for the shell, with line feeds as line ends.
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

// The last line of a modem's answer is the result of the command.
bool is_error(const char *text)
{
    std::string_view answer = text;
    while (answer.ends_with('\r') || answer.ends_with('\n')) {
        answer.remove_suffix(1);
    }
    const size_t before = answer.find_last_of("\r\n");
    const std::string_view last =
        before == std::string_view::npos
            ? answer
            : std::string_view(answer.data() + before + 1, answer.size() - before - 1);
    return std::any_of(std::begin(kErrors), std::end(kErrors), [=](const char *error) {
        return strncmp(last.data(), error, strlen(error)) == 0;
    });
}

int show_answer(const char *command, const char *text)
{
    if (g_program.json) {
        Record().event("at").word("command", command).word("answer", text);
    } else {
        print_answer(text);
    }
    return is_error(text) ? fail(kFailed, "the modem answers an error") : kDone;
}

int show_file(const char *command, const char *path)
{
    static char text[kAnswerMax];
    const Stream file{fopen(path, "re")};
    if (!file) {
        return fail(kFailed, "cannot read the answer in %s: %s", path, strerror(errno));
    }
    text[fread(text, 1, sizeof(text) - 1, file.get())] = '\0';
    return show_answer(command, text);
}

int show_command(const char *command)
{
    AtAnswer answer;
    const Reply reply = command_modem(command, &answer);
    if (reply.outcome != Outcome::kSuccess) {
        return explain(kPassCommand, reply);
    }
    return answer.type == kAtTypeFile ? show_file(command, answer.text)
                                      : show_answer(command, answer.text);
}

int diagnose()
{
    const int code = tell(g_hidden ? kDiagnoseHidden : kDiagnose);
    if (code == kDone) {
        Record().word("event", "snapshot").text("taken");
    }
    return code;
}

int switch_radio_off()
{
    const int code = send_to_manager(kSwitchRadioOff, nullptr, 0);
    if (code == kDone) {
        Record().event("requested").word("requested", "cfun-off").text("requested");
    }
    return code;
}

int switch_interface(const lct_iface_status &status, const char *name)
{
    const int code = send_to_manager(kSwitchInterface, &status, sizeof(status));
    if (code == kDone) {
        Record().event("requested").word("requested", "iface").word("status", name).text("requested");
    }
    return code;
}

} // namespace

const Option kDiagOptions[] = {
    {"hidden", nullptr, "include confidential values", &kSwitch, &g_hidden},
    kTimeoutOption,
    {},
};

int at(char *const *operands)
{
    TypedText<kTypedCommandMax> command; // a PIN may be in it
    if (const int code = parse_secret("COMMAND", operands[0], command.kType, &command, true);
        code != kDone) {
        return code;
    }
    const size_t length = strlen(command.text);
    if (length == 0 || length > kTypedCommandMax) {
        return fail(kUsage, "a command has 1 to %zu characters", kTypedCommandMax);
    }
    return with_endpoint([&] { return show_command(command.text); });
}

int diag(char *const *) { return with_endpoint(diagnose); }

int iface(char *const *operands)
{
    lct_iface_status status = {};
    if (!kUpDown.parse(operands[0], &status.readiness)) {
        return bad_value("iface", kUpDown, operands[0]);
    }
    return with_endpoint([&] { return switch_interface(status, operands[0]); });
}

int cfun_off(char *const *) { return with_endpoint(switch_radio_off); }

} // namespace lterouter::tools
