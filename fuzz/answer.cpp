// The WAN manager's answers to the requests of the LTE client, compared with what each request is to
// make of them. Input: a byte for the request, a byte of choices, and the answer's body.
#include "lc_ipc_msg/receive.h"
#include "lc_ipc_msg/registry.h"
#include "lc_ipc_msg/socket.h"
#include "lc_ipc_msg/sync.h"
#include "lc_nv.h"
#include "lte_sdk/request_table.h"
#include "printed.h"
#include "served_file.h"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <sys/socket.h>

using namespace fuzzing;
using namespace lterouter;

namespace {

using Bytes = std::string;

// Bits of the second byte, whose upper ones are the room for a text.
enum Choice { kSilence, kForgedBefore };
constexpr int kRoomShift = 2;

constexpr size_t kResult = answer::result.room;
constexpr size_t kValue = answer::value.room;

// ---- The WAN manager ----

int g_wan_manager = -1;
bool g_is_silent;
bool g_forges;
Bytes g_body; // of the answer

int open_socket(uint32_t module_id, sockaddr_un *address)
{
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    set_socket_name(*address, module_id, 0);
    require(bind(fd, reinterpret_cast<const sockaddr *>(address), sizeof(*address)) == 0,
            "a name can be bound");
    return fd;
}

// Has the endpoint read a response; gives the step's result.
uint32_t respond(const ipc_msg_hdr &header)
{
    const Bytes bytes = Bytes(reinterpret_cast<const char *>(&header), sizeof(header)) + g_body;
    const sockaddr_un &to = g_endpoint.common.sock;
    require(sendto(g_wan_manager, bytes.data(), bytes.size(), 0,
                   reinterpret_cast<const sockaddr *>(&to),
                   sizeof(to)) == static_cast<ssize_t>(bytes.size()),
            "an answer can be sent");
    uint32_t running = 1;
    return receive_message({nullptr, nullptr, nullptr}, &running);
}

void serve()
{
    alignas(ipc_msg_hdr) char request[IPC_MSG_MAX_SIZE];
    const ssize_t size = recv(g_wan_manager, request, sizeof(request), MSG_DONTWAIT);
    ipc_msg_hdr header;
    memcpy(&header, request, sizeof(header));
    require(size >= static_cast<ssize_t>(sizeof(header)) && header.type == IPC_MSG_TYPE_REQUEST &&
                header.length == static_cast<size_t>(size) - sizeof(header),
            "a whole request arrives");
    header.type = IPC_MSG_TYPE_RESPONSE;
    header.length = static_cast<uint32_t>(g_body.size());
    if (g_forges) {
        ++header.session_id;
        require(respond(header) == IPC_ERR_LENGTH, "nobody waits for what was not asked");
        --header.session_id;
    }
    require(respond(header) == IPC_SUCCESS, "somebody waits for the answer");
}

// ---- Handling of the answer ----

bool arrives(size_t room) { return !g_is_silent && g_body.size() <= room; }

// What a record holds then: of an answer that is too long, the beginning.
Bytes after(Bytes record)
{
    if (!g_is_silent) {
        const size_t size = std::min(record.size(), g_body.size());
        record.replace(0, size, g_body, 0, size);
    }
    return record;
}

int32_t result_in(const Bytes &record)
{
    int32_t result;
    memcpy(&result, record.data(), sizeof(result));
    return result;
}

// With a good result, whatever else is missing.
bool is_good(size_t room)
{
    return arrives(room) && g_body.size() >= kResult && result_in(g_body) == 0;
}

void require_status(int32_t status, bool good)
{
    require(status == (good ? 0 : -1), "a request succeeds when its answer says so");
}

// A record of the caller's, at the end of its memory.
template <typename T> class Record {
public:
    Record() : copy_(copy_of(before())) {}
    T *get() { return reinterpret_cast<T *>(copy_.get()); }
    static Bytes before() { return Bytes(sizeof(T), 'x'); }
    void require_written() const
    {
        require(Bytes(copy_.get(), sizeof(T)) == after(before()), "the record holds what came of it");
    }

private:
    const Copy copy_;
};

void try_value(int32_t (*request)(lct_value_rsp *))
{
    Record<lct_value_rsp> record;
    require_status(request(record.get()), is_good(kValue));
    record.require_written();
}

void try_channel()
{
    uint32_t channel = 7;
    const bool good = is_good(kValue);
    require_status(lct_lte_channel_req(&channel), good);
    uint32_t expected = 0;
    if (good) { // of a channel that is cut, what is there
        memcpy(&expected, g_body.data() + kResult, g_body.size() - kResult);
    }
    require(channel == expected, "the channel is that of the answer, or 0");
}

void try_operators()
{
    Record<lct_netlist_rsp> record;
    Printed output(stdout);
    const bool arrived = arrives(sizeof(lct_netlist_rsp));
    const int32_t status = lct_get_netlist_req(record.get());
    require_status(status, is_good(sizeof(lct_netlist_rsp)));
    record.require_written();
    require(output.take() == (arrived ? "nv value:**end**\n" : ""), "what the store holds is printed");
}

void try_imsi(uint32_t room)
{
    const Bytes before(room, 'x');
    const Copy buffer = copy_of(before);
    require_status(lct_net_imsi_get_req(buffer.get(), room), arrives(room));
    require(Bytes(buffer.get(), room) == after(before), "the buffer holds what came of it");
}

void try_preference()
{
    const uint32_t preference = 1;
    int32_t result = 1; // until an answer says otherwise
    if (!g_is_silent) {
        memcpy(&result, g_body.data(), std::min(g_body.size(), sizeof(result)));
    }
    require_status(lct_net_set_pref_req(&preference), arrives(kResult) || result == 0);
}

void try_command(uint32_t room)
{
    constexpr size_t kAnswer = answer::at.room;
    constexpr size_t kHead = offsetof(AtAnswer, text);
    constexpr std::string_view kContent = "of the file\n";
    Bytes body = g_body.substr(0, kAnswer);
    body.resize(kAnswer);
    const Bytes text = text_of(std::string_view(body).substr(kHead));
    const bool is_file = result_in(body.substr(4)) == kAtTypeFile; // the request's own type is 0
    const bool good = is_good(kAnswer);

    const ServedFile served(text.c_str(), kContent);
    Printed output(stdout);
    const Bytes before(room, 'x');
    const Copy out = copy_of(before);
    require_status(lct_ext_at_req(text_copy_of("AT+COPS?\n").get(), out.get(), room), good);
    Bytes expected = before;
    if (good) {
        expected = text.substr(0, room);
        expected.resize(room);
    }
    require(Bytes(out.get(), room) == expected, "the text is that of the answer, cut to the room");
    require(output.take() == (good && is_file ? kContent : ""), "a file is printed, nothing else");
}

// ---- The requests ----

constexpr uint32_t kWord = 1;
constexpr uint8_t kByte = 1;
constexpr lct_pin kPin = {"1234"};
constexpr lct_pin_change kPins = {"1234", "5678"};

// How a request is tried; one without a try has an answer that is a result alone.
using Try = void (*)(uint32_t room);

struct Request {
    std::string_view function;
    int32_t (*tell)();
    Try by = nullptr;
};

constexpr Request kRequests[] = {
    {"lct_get_roam_switch", nullptr, [](uint32_t) { try_value(lct_get_roam_switch); }},
    {"lct_get_nettype", nullptr, [](uint32_t) { try_value(lct_get_nettype); }},
    {"lct_lte_channel_req", nullptr, [](uint32_t) { try_channel(); }},
    {"lct_get_netlist_req", nullptr, [](uint32_t) { try_operators(); }},
    {"lct_net_imsi_get_req", nullptr, try_imsi},
    {"lct_net_set_pref_req", nullptr, [](uint32_t) { try_preference(); }},
    {"lct_net_set_status_test_req", nullptr,
     [](uint32_t) { require_status(lct_net_set_status_test_req(&kWord), arrives(kResult)); }},
    {"lct_sim_set_pinen_req", nullptr,
     [](uint32_t) { require_status(lct_sim_set_pinen_req(&kByte), arrives(sizeof(uint8_t))); }},
    {"lct_ext_at_req", nullptr, try_command},
    {"lct_enable_pin", [] { return lct_enable_pin(&kPin); }},
    {"lct_disenable_pin", [] { return lct_disenable_pin(&kPin); }},
    {"lct_modify_pin", [] { return lct_modify_pin(&kPins); }},
    {"lct_modify_pin_en", [] { return lct_modify_pin_en(&kByte); }},
    {"lct_set_nettype", [] { return lct_set_nettype(&kWord); }},
    {"lct_set_roam_switch", [] { return lct_set_roam_switch(&kWord); }},
    {"lct_set_serial_port", [] { return lct_set_serial_port(kWord); }},
    {"lct_get_diag_info", lct_get_diag_info},
    {"lct_get_diag_hide_info", lct_get_diag_hide_info},
    {"lct_apn_set_req", lct_apn_set_req},
};

// They open an endpoint of their own.
constexpr std::string_view kStandalone[] = {"lct_state_change_req", "lct_sms_del_dev_all_msg"};

constexpr bool is_tried(std::string_view function)
{
    return std::any_of(std::begin(kRequests), std::end(kRequests),
                       [=](const Request &request) { return request.function == function; }) ||
           std::find(std::begin(kStandalone), std::end(kStandalone), function) != std::end(kStandalone);
}

// Every request that is answered.
#define TRIED(function, message, module, its_body, its_answer, timeout_ms) \
    static_assert(timeout_ms == 0 || is_tried(#function), #function " is not tried");
LCT_REQUESTS(TRIED)
#undef TRIED

void run(uint8_t number, uint32_t room)
{
    const Request &request = kRequests[number % std::size(kRequests)];
    if (request.by != nullptr) {
        request.by(room);
    } else {
        require_status(request.tell(), is_good(kResult));
    }
}

} // namespace

// No time passes: the answer is available at once, or never.
extern "C" int pthread_cond_timedwait(pthread_cond_t *, pthread_mutex_t *mutex, const timespec *)
{
    if (g_is_silent) {
        return ETIMEDOUT;
    }
    pthread_mutex_unlock(mutex);
    serve();
    pthread_mutex_lock(mutex);
    return 0;
}

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    sockaddr_un address = {};
    g_wan_manager = open_socket(IPC_MODULE_MM, &address);
    g_endpoint.common.fd = open_socket(IPC_MODULE_CGI, &g_endpoint.common.sock);
    require(create_waiters() && create_registry() && nvmram_init() == NV_SUCCESS &&
                nvmram_writenv("wm_search_netlist_nv", "end", 4) == NV_SUCCESS,
            "there is room for a client");
    g_endpoint.initialised = true;
    return 0;
}

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 2) {
        return 0;
    }
    const Input input(data + 1, size - 1);
    g_is_silent = input.chooses(kSilence);
    g_forges = input.chooses(kForgedBefore);
    g_body = input.rest.substr(0, IPC_MSG_MAX_BODY);

    const DescriptorCheck descriptors;
    run(data[0], static_cast<uint32_t>(input.choice >> kRoomShift) * 4);
    char request[IPC_MSG_MAX_SIZE];
    while (recv(g_wan_manager, request, sizeof(request), MSG_DONTWAIT) >= 0) {
    }
    return 0;
}
