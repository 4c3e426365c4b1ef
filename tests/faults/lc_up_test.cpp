// Effects of failing calls in the modem upgrade. The modem's answers are available at once, and no time
// passes.
#include "harness.h"

#include "lc_up.h"
#include "support/upgrade_frames.h"

namespace lc_up_test {

using namespace faults;
using testing_support::Bytes;
using testing_support::command_frame;
using testing_support::record_of;

namespace {

// ---- A modem ----

constexpr char kCommand[] = "at\r\n";

int g_modem = -1; // its end of the port that was opened last
int g_port = -1;  // the test's own

// What the library has opened for itself stays open.
void drop_modem()
{
    if (g_modem >= 0) {
        close(g_modem);
    }
    g_modem = -1;
}

// Frames keep their bounds, as the modem's responses do.
int open_modem(const std::string &path)
{
    if (path != LC_UP_DATA_PORT && path != LC_UP_AT_PORT) {
        return -1;
    }
    drop_modem();
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) {
        return -1;
    }
    g_modem = ends[1];
    return ends[0];
}

void answer(const void *bytes, size_t size)
{
    Bytes reply = {'O', 'K', '\r', '\n'};
    if (size == testing_support::kFrame) {
        const auto *start = static_cast<const uint8_t *>(bytes);
        reply = testing_support::answer(Bytes(start, start + size));
    }
    static_cast<void>(!write(g_modem, reply.data(), reply.size()));
}

void plug_in()
{
    g_hooks.open = open_modem;
    g_hooks.after_write = [](int, const void *bytes, size_t size) {
        // Of half a frame or command a modem makes nothing.
        if (size > 1) {
            answer(bytes, size);
        }
    };
    // For what asks whether the port is still there.
    static_cast<void>(!symlink("/dev/null", LC_UP_DATA_PORT));
}

void open_port()
{
    plug_in();
    g_port = open_modem(LC_UP_DATA_PORT);
}

void close_port()
{
    if (g_port >= 0) {
        close(g_port);
    }
    g_port = -1;
    drop_modem();
}

// The result of what the modem was asked, which it does not outlive.
std::string with_modem(int result)
{
    const Quiet quiet;
    drop_modem();
    return shown(result);
}

// ---- What is sent ----

const Bytes kImage(2049, 'i'); // two pieces

lc_up_frame g_frame;

void make_frame() { g_frame = record_of<lc_up_frame>(command_frame(UPGRADE_TLV_TYPE_CMD_BEGIN)); }

std::string exchanged()
{
    make_frame();
    lc_up_response response = {};
    return shown(lc_data_trans(g_port, &g_frame, &response));
}

std::string sent()
{
    make_frame();
    return shown(lc_data_snd(&g_frame));
}

// What comes of the modem's answer to a frame.
int checked(const Bytes &frame)
{
    const auto request = record_of<lc_up_frame>(frame);
    const auto response = record_of<lc_up_response>(testing_support::answer(frame));
    return lc_data_chk(&request, &response);
}

const std::string kNoData = std::string("open ") + LC_UP_DATA_PORT + " error";
const std::string kNoAt = std::string("open ") + LC_UP_AT_PORT + " error";

Lines operator+(Lines some, const Lines &more)
{
    some.insert(some.end(), more.begin(), more.end());
    return some;
}

// The nth frame: its type and index, and the first byte of the index.
struct Frame {
    int nth;
    std::string type;
    std::string index;
    std::string first;
};
const Frame kBegin = {1, "1", "1111836489", "73"};

std::string silence(const Frame &frame)
{
    return "read nothing, trans type:" + frame.type + " index:" + frame.index;
}

std::string unwritten(const Frame &frame, const char *written)
{
    return "write tty dev failed, type:" + frame.type + " index:" + frame.index +
           " need write:2064 real write:" + written + ", need check callback";
}

// One exchange, of which the modem hears nothing or the library reads nothing whole.
Rules exchange_fails(const Frame &frame, const std::string &failed, const std::string &cut,
                     const Lines &after_failed, const Lines &after_cut)
{
    const Lines no_answer = Lines(10, silence(frame)) + Lines{"retry read time out"} + after_failed;
    const auto of = [&frame](const char *call, const std::string &result, const Lines &said,
                             const std::vector<std::string> &how = {}) {
        return Rule{.call = call, .result = result, .said = said, .nth = frame.nth, .how = how};
    };
    return {of("write", failed, Lines{unwritten(frame, "1")} + no_answer, {"short"}),
            of("write", failed, Lines{unwritten(frame, "-1")} + no_answer),
            of("select", "", {"select error:-1 %e", silence(frame)}),
            of("read", cut, after_cut, {"short"}),
            of("read", "", {silence(frame)}, {"nothing"}),
            of("read", failed, Lines{"read tty dev failed"} + after_failed)};
}

// A frame is sent again until it is accepted, through a port that is opened anew.
Rules frame_fails(const Frame &frame)
{
    return exchange_fails(
        frame, "", "", {"tranlate data from tty dev failure,req index:" + frame.index, "enter", "end"},
        {"UP Comand error, request type:" + frame.type + " index:" + frame.index +
             " response type:0 index:" + frame.first,
         "transfer this package again"});
}

Rules port_fails(const std::string &result, const Lines &last = {})
{
    return {{.call = "open64",
             .result = result,
             .said = Lines{kNoData, "open tty dev failed"} + last,
             .subject = "ttyUSB1"}};
}

// A command, without the line feed that ends it, that is not sent.
Rules command_fails(const std::string &command, const Lines &last = {})
{
    const std::string failed = std::string("write ") + LC_UP_AT_PORT +
                               " failed, need write:" + shown(command.size() + 1) + " real write:";
    return {{.call = "open64", .result = "-1", .said = Lines{kNoAt} + last, .subject = "ttyUSB3"},
            {.call = "write",
             .result = "-1",
             .said = Lines{failed + "1"} + last,
             .nth = 1,
             .how = {"short"}},
            {.call = "write", .result = "-1", .said = Lines{failed + "-1"} + last, .nth = 1},
            {.call = "read",
             .result = "-1",
             .said = Lines{"result of " + command, " error:O"} + last,
             .nth = 1,
             .how = {"short"}}};
}

// One that is answered by a single read.
Rules answer_fails(const std::string &command, const Lines &last = {})
{
    return command_fails(command, last) +
           Rules{{.call = "read",
                  .result = "-1",
                  .said = Lines{"result length of " + command, " error"} + last,
                  .nth = 1}};
}

std::string without_line_feed(const std::string &command)
{
    return command.substr(0, command.size() - 1);
}

const bool g_enlisted = enlist({
    {.function = "lc_open_tty",
     .act =
         [] {
             g_port = lc_open_tty();
             return std::string(g_port >= 0 ? "open" : "-1");
         },
     .rules = {{.call = "open64", .result = "-1", .said = {kNoData}, .unsaid = {"end"}}},
     .setup = plug_in,
     .undo = close_port,
     .once = true},
    {.function = "lc_read_tty",
     .act =
         [] {
             uint8_t bytes[128];
             return shown(lc_read_tty(g_port, bytes, sizeof(bytes)));
         },
     .rules = {{.call = "select", .result = "0", .said = {"select error:-1 %e"}},
               {.call = "read", .result = "1", .how = {"short"}},
               // The port is there: it is only silent.
               {.call = "read", .result = "0", .how = {"nothing"}},
               {.call = "read", .result = "-1"}},
     .setup =
         [] {
             open_port();
             answer("at", 2);
         },
     .undo = close_port,
     .once = true},
    {.function = "lc_data_trans",
     .act = exchanged,
     .rules = exchange_fails(kBegin, "-1", "1", {}, {}),
     .setup = open_port,
     .undo = close_port},
    {.function = "lc_data_snd",
     .act = sent,
     .rules = losing(port_fails("-1"), {"end"}) + frame_fails(kBegin),
     .setup = plug_in,
     .undo = drop_modem,
     .stays = true},
    {.function = "lc_at_snd",
     .act = [] { return with_modem(lc_at_snd(kCommand)); },
     .rules = losing(command_fails(without_line_feed(kCommand)), {"ok"}) +
              Rules{{.call = "select", .said = {"select error:-1 %e"}},
                    {.call = "read", .how = {"nothing"}},
                    {.call = "read",
                     .result = "-1",
                     .said = {std::string("read AT PORT:") + LC_UP_AT_PORT + " failed"},
                     .unsaid = {"ok"}}},
     .setup = plug_in},
    {.function = "lc_at_snd_wait",
     .act = [] { return with_modem(lc_at_snd_wait(kCommand)); },
     .rules = losing(answer_fails(without_line_feed(kCommand)), {"ok"}),
     .setup = plug_in},
    {.function = "lc_up_status",
     .act = [] { return with_modem(lc_up_status()); },
     .rules = losing(answer_fails(without_line_feed(LC_UP_AT_STATUS)), {"ok"}),
     .setup = plug_in},
    {.function = "lc_up_start",
     .act = [] { return with_modem(lc_up_start()); },
     .rules = losing(answer_fails(without_line_feed(LC_UP_AT_START),
                                  {"send at cmd of sys_upgrade_start error"}),
                     {"ok", "send transfer begin cmd", "enter", "end"}) +
              losing(port_fails("-1", {"send img data failure"}), {"end"}) +
              frame_fails({1, "1", "1111836489", "73"}) + frame_fails({2, "1", "1111836489", "73"}),
     .setup = plug_in,
     .undo = drop_modem,
     .stays = true},
    {.function = "lc_up_img",
     .act = [] { return shown(lc_up_img(kImage.data(), 2049)); },
     .rules = losing(port_fails("-1", {"send img data failure", "update img failure"}),
                     {"end", "send last img data", "send transfer end cmd"}) +
              frame_fails({1, "16", "0", "0"}) + frame_fails({2, "16", "1", "1"}) +
              frame_fails({3, "1", "1162757196", "76"}),
     .setup =
         [] {
             plug_in();
             lc_set_img_size(2049);
         },
     .undo = drop_modem,
     .next = sent, // a process makes one upgrade, but the port can be used
     .stays = true},
    {.function = "lc_set_img_size", .act = [] { return shown(lc_set_img_size(4096)); }},
    calls_nothing("lc_fill_head",
                  [] { return shown(lc_fill_head(&g_frame, 1, UPGRADE_TLV_TYPE_COMMAND_REQ, 0)); }),
    {.function = "lc_fill_head",
     .story = "rejects",
     .act = [] { return shown(lc_fill_head(nullptr, 1, 1, 0)); }},
    calls_nothing("lc_data_chk",
                  [] { return shown(checked(command_frame(UPGRADE_TLV_TYPE_CMD_BEGIN))); }),
    {.function = "lc_data_chk",
     .story = "rejects",
     .act = [] { return shown(lc_data_chk(nullptr, nullptr)); }},
    calls_nothing("lc_get_status_str", [] { return std::string(lc_get_status_str(1)); }),
    calls_nothing("lc_get_tlv_type_str", [] { return std::string(lc_get_tlv_type_str(1)); }),
});

} // namespace

} // namespace lc_up_test
