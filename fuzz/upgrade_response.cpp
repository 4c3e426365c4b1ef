// What a modem answers: judging a response, exchanging a frame for one, and taking the reply to an AT
// command, each compared with the same decision in memory. Input: a byte of choices, then what the port
// has for each read: a length, 0 for silence, and the bytes. No time passes.
#include "lc_up.h"
#include "support.h"

#include <endian.h>
#include <poll.h>
#include <pty.h>
#include <sys/select.h>
#include <termios.h>
#include <time.h>

using namespace fuzzing;

namespace {

// What is tried (two bits), and the type of the frame that is answered.
constexpr int kWhat = 3;
enum { kJudgement, kExchange, kCommand, kCommandWithWait };
constexpr int kIsCommand = 2;

constexpr uint32_t kIndex = 7;
constexpr char kLine[] = "at+fuzz=0123456789abcdef\r\n";
constexpr size_t kEcho = 20;
constexpr size_t kMost = sizeof(lc_up_response);

// ---- The port ----

// Both ends, and what the far one has still to say.
int g_far = -1;
int g_near = -1;
std::string_view g_script;

// Set in the thread that calls the library: it waits for nothing.
thread_local bool g_hurries = false;

std::string_view next_read(std::string_view *script)
{
    if (script->empty()) {
        return {};
    }
    const size_t wanted = std::min<size_t>(static_cast<uint8_t>(script->front()), kMost);
    const std::string_view bytes = script->substr(1, wanted);
    script->remove_prefix(1 + bytes.size());
    return bytes;
}

// Has the next bytes at the near end; false when there is silence.
bool deliver()
{
    const std::string_view bytes = next_read(&g_script);
    if (bytes.empty()) {
        return false;
    }
    // libFuzzer's alarm may interrupt either call.
    const ssize_t written = TEMP_FAILURE_RETRY(write(g_far, bytes.data(), bytes.size()));
    require(written == static_cast<ssize_t>(bytes.size()), "the modem can answer");
    pollfd near = {g_near, POLLIN, 0};
    return TEMP_FAILURE_RETRY(poll(&near, 1, -1)) == 1;
}

void open_port()
{
    require(openpty(&g_far, &g_near, nullptr, nullptr, nullptr) == 0, "there is a port");
    termios raw;
    tcgetattr(g_near, &raw);
    cfmakeraw(&raw);
    raw.c_cc[VMIN] = 0;
    tcsetattr(g_near, TCSANOW, &raw);
    for (const char *link : {LC_UP_DATA_PORT, LC_UP_AT_PORT}) {
        unlink(link);
        require(symlink(ttyname(g_near), link) == 0,
                "the port can be named: is this the sandbox of scripts/fuzz?");
    }
}

void empty_port()
{
    tcflush(g_near, TCIOFLUSH);
    tcflush(g_far, TCIOFLUSH);
}

void pause_for(time_t seconds, long nanoseconds)
{
    const timespec time = {seconds, nanoseconds};
    nanosleep(&time, nullptr);
}

// ---- The same in memory ----

std::string padded(std::string_view bytes)
{
    std::string response(bytes);
    response.resize(kMost);
    return response;
}

uint32_t number_at(std::string_view bytes, size_t offset)
{
    uint32_t number;
    memcpy(&number, bytes.data() + offset, sizeof(number));
    return le32toh(number);
}

int32_t judge(const std::string &response, bool is_command)
{
    const std::string_view status = std::string_view(response).substr(16);
    if (number_at(response, 0) != kIndex || number_at(response, 4) != (is_command ? 2 : 32)) {
        return 1;
    }
    return status.starts_with("RSP_OK") ? 0 : status.starts_with("RSP_FAILED") ? 1 : -1;
}

// The bytes that an exchange ends with; none when nothing came of it.
std::string_view answer_in(std::string_view script)
{
    for (int reads = 0; reads < 10; ++reads) {
        const std::string_view bytes = next_read(&script);
        if (!bytes.empty() && (bytes.size() < 16 || number_at(bytes, 0) != kIndex - 1)) {
            return bytes;
        }
    }
    return {};
}

std::string reply_in(std::string_view script)
{
    const std::string echo = std::string(kLine).substr(0, kEcho);
    for (int reads = 0; reads < 120; ++reads) {
        const std::string_view bytes = next_read(&script);
        if (!bytes.empty() && !text_of(bytes).starts_with(echo)) {
            return text_of(bytes);
        }
    }
    return "";
}

int32_t judge_reply(const std::string &reply) { return reply.find("OK") != std::string::npos ? 0 : -1; }

// ---- What is tried ----

lc_up_frame request_of(bool is_command)
{
    lc_up_frame frame = {};
    lc_fill_head(&frame, kIndex, is_command ? UPGRADE_TLV_TYPE_COMMAND_REQ : UPGRADE_TLV_TYPE_DATA_REQ,
                 0);
    return frame;
}

void check_judgement(std::string_view bytes, bool is_command)
{
    const std::string text = padded(bytes);
    // A copy of its own, so that reading beyond it is noticed.
    lc_up_response response;
    memcpy(&response, text.data(), sizeof(response));
    const lc_up_frame request = request_of(is_command);
    require(lc_data_chk(&request, &response) == judge(text, is_command), "a response is judged right");
}

void check_exchange(std::string_view script, bool is_command)
{
    const std::string_view expected = answer_in(script);
    const lc_up_frame request = request_of(is_command);
    lc_up_response response;
    const int32_t count = lc_data_trans(g_near, &request, &response);
    require(count == (expected.empty() ? -1 : static_cast<int32_t>(expected.size())),
            "an exchange ends with the right read");
    require(count < 0 || memcmp(&response, padded(expected).data(), sizeof(response)) == 0,
            "what arrived is the response, the rest is zero");
}

} // namespace

extern "C" {

int select(int count, fd_set *readable, fd_set *writable, fd_set *exceptional, timeval *timeout)
{
    if (g_hurries) {
        return deliver() ? 1 : 0;
    }
    timespec time = {};
    if (timeout != nullptr) {
        time = {timeout->tv_sec, timeout->tv_usec * 1000};
    }
    return pselect(count, readable, writable, exceptional, timeout == nullptr ? nullptr : &time,
                   nullptr);
}

int usleep(useconds_t microseconds)
{
    if (!g_hurries) {
        pause_for(static_cast<time_t>(microseconds / 1000000), microseconds % 1000000 * 1000);
    } else if (microseconds >= 1000000) {
        deliver(); // what comes while a reply is waited for
    }
    return 0;
}

unsigned sleep(unsigned seconds)
{
    if (!g_hurries) {
        pause_for(static_cast<time_t>(seconds), 0);
    }
    return 0;
}

} // extern "C"

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (g_far < 0) {
        open_port();
    }
    const Input input(data, size);
    const bool is_command = input.chooses(kIsCommand);
    g_script = input.rest;
    std::string_view script = input.rest;
    g_hurries = true;
    switch (input.choice & kWhat) {
    case kJudgement:
        check_judgement(input.rest.substr(0, kMost), is_command);
        break;
    case kExchange:
        check_exchange(script, is_command);
        break;
    case kCommand:
        require(lc_at_snd(kLine) == judge_reply(reply_in(script)), "a reply is found and judged right");
        break;
    default:
        require(lc_at_snd_wait(kLine) == judge_reply(text_of(next_read(&script))),
                "the first reply is judged right");
    }
    g_hurries = false;
    empty_port();
    return 0;
}
