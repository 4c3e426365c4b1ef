#include "wansim/at.h"

#include "wansim/modem.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

namespace lterouter::tools {
namespace {

constexpr char kAnswerFile[] = "/tmp/wansim.at";

// A command and its answer. A text may be a format for the value.
struct AtCommand {
    const char *name;
    const char *format;
    const char *(*value)(Modem &modem);
};

const char *none(Modem &) { return ""; }

const char *switch_radio_off(Modem &modem)
{
    modem.switch_radio(false);
    return "";
}

const char *switch_radio_on(Modem &modem)
{
    modem.switch_radio(true);
    return "";
}

constexpr AtCommand kCommands[] = {
    {"AT", "OK%s", none},
    {"ATI", "Manufacturer: wansim\r\nModel: simulated%s\r\n\r\nOK", none},
    {"AT+CGSN", "%s\r\n\r\nOK", [](Modem &modem) { return modem.imei(); }},
    {"AT+CIMI", "%s\r\n\r\nOK", [](Modem &modem) { return modem.imsi(); }},
    {"AT+CSQ", "+CSQ: %s,99\r\n\r\nOK", [](Modem &modem) { return modem.signal(); }},
    {"AT+COPS?", "+COPS: 0,0,\"%s\",7\r\n\r\nOK", [](Modem &modem) { return modem.operator_name(); }},
    {"AT+CFUN=0", "OK%s", switch_radio_off},
    {"AT+CFUN=1", "OK%s", switch_radio_on},
};

bool is(const char *name, std::string_view command)
{
    return strlen(name) == command.size() && strncasecmp(name, command.data(), command.size()) == 0;
}

// A new file: one that exists, perhaps another user's symbolic link, is not written to.
FILE *make_answer_file()
{
    unlink(kAnswerFile);
    const int fd = open(kAnswerFile, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644);
    if (fd < 0) {
        return nullptr;
    }
    fchmod(fd, 0644);
    FILE *file = fdopen(fd, "w");
    if (file == nullptr) {
        close(fd);
    }
    return file;
}

// Every command that there is: too long for a message.
bool write_list()
{
    FILE *file = make_answer_file();
    if (file == nullptr) {
        return false;
    }
    for (const AtCommand &command : kCommands) {
        fprintf(file, "%s\r\n", command.name);
    }
    fputs("AT+CLAC\r\n\r\nOK\r\n", file);
    return fclose(file) == 0;
}

void put_text(AtAnswer *answer, const char *format, const char *value)
{
    // With a terminator within what a message carries.
    const int length = snprintf(answer->text, kAtTextMax, format, value);
    answer->length = std::min(static_cast<uint32_t>(length), kAtTextMax - 1);
}

void find_answer(Modem &modem, std::string_view command, AtAnswer *answer)
{
    if (is("AT+CLAC", command) && write_list()) {
        answer->type = kAtTypeFile;
        put_text(answer, "%s", kAnswerFile);
        return;
    }
    for (const AtCommand &known : kCommands) {
        if (is(known.name, command)) {
            put_text(answer, known.format, known.value(modem));
            return;
        }
    }
    put_text(answer, "%s", "ERROR");
}

} // namespace

uint32_t answer_at(Modem &modem, std::string_view command, AtAnswer *answer)
{
    *answer = {};
    find_answer(modem, command, answer);
    return static_cast<uint32_t>(offsetof(AtAnswer, text)) + answer->length + 1;
}

} // namespace lterouter::tools
