// Datagrams into the receive step, with senders waiting, subscribers registered and a queue that fills:
// held, step by step, against the same in memory. Input: a byte of choices; then datagrams, each a byte
// that says how it comes, its size in two bytes, and its bytes.
#include "lc_ipc_msg/receive.h"
#include "lc_ipc_msg/registry.h"
#include "lc_ipc_msg/socket.h"
#include "lc_ipc_msg/sync.h"
#include "lc_mem.h"
#include "support.h"
#include "written_log.h"

#include <array>
#include <cerrno>
#include <deque>
#include <sys/socket.h>
#include <vector>

using namespace fuzzing;
using namespace lterouter;

extern "C" {
extern lc_list *g_reg_notify_list;
extern lc_list *g_sync_waitor_list;
}

namespace {

using Bytes = std::string;

// Bits of the first byte.
enum Choice { kQueue, kHandler, kHandlerWants, kCheck, kWaiters };
constexpr int kWaitersMask = 3;

// A datagram's first byte: who sends it (three bits), and more.
constexpr int kSenderMask = 7;
enum How { kPassesDescriptor = 3, kToDiagnosis, kHasRightLength };

constexpr uint32_t kQueueCapacity = 3;
constexpr uint32_t kRefused = 0x99; // a notification that nobody may subscribe to
constexpr size_t kHeader = sizeof(ipc_msg_hdr);
constexpr size_t kMostSent = IPC_MSG_MAX_SIZE + 2;

uint32_t word_at(std::string_view bytes, size_t offset)
{
    uint32_t word;
    memcpy(&word, bytes.data() + offset, sizeof(word));
    return word;
}

Bytes bytes_of(const ipc_msg_hdr &header)
{
    return {reinterpret_cast<const char *>(&header), sizeof(header)};
}

Bytes bytes_of(uint32_t word) { return {reinterpret_cast<const char *>(&word), sizeof(word)}; }

Bytes padded(Bytes bytes)
{
    bytes.resize((bytes.size() + 3) & ~size_t{3});
    return bytes;
}

// ---- Sockets ----

// The endpoint's own name, which a neighbour can bind in a shorter form; a file; none at all.
enum Sender { kFirst, kSecond, kLookalike, kFile, kNameless, kSelf, kSenders };

struct Party {
    int fd;
    Bytes path; // the kernel's, padded to its full size: what names a socket here
};

std::array<Party, kSenders> g_parties;

Bytes path_of(std::string_view name)
{
    Bytes path(name);
    path.resize(sizeof(sockaddr_un::sun_path));
    return path;
}

Party open_party(std::string_view name, size_t name_size)
{
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    require(fd >= 0, "there are sockets");
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    memcpy(address.sun_path, name.data(), name.size());
    require(name.empty() ||
                bind(fd, reinterpret_cast<const sockaddr *>(&address),
                     static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name_size)) == 0,
            "a name can be bound");
    return {fd, path_of(name)};
}

sockaddr_un address_of(const Bytes &path)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    memcpy(address.sun_path, path.data(), sizeof(address.sun_path));
    return address;
}

void send(const Party &from, std::string_view bytes, bool passes_descriptor)
{
    sockaddr_un to = address_of(g_parties[kSelf].path);
    iovec piece = {const_cast<char *>(bytes.data()), bytes.size()};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
    msghdr message = {};
    message.msg_name = &to;
    message.msg_namelen = sizeof(to);
    message.msg_iov = &piece;
    message.msg_iovlen = 1;
    if (passes_descriptor) {
        message.msg_control = control;
        message.msg_controllen = sizeof(control);
        cmsghdr *passed = CMSG_FIRSTHDR(&message);
        *passed = {
            .cmsg_len = CMSG_LEN(sizeof(int)), .cmsg_level = SOL_SOCKET, .cmsg_type = SCM_RIGHTS};
        memcpy(CMSG_DATA(passed), &from.fd, sizeof(int));
    }
    require(sendmsg(from.fd, &message, 0) == static_cast<ssize_t>(bytes.size()),
            "a datagram can be sent");
}

// What a party has got; nothing when there is none.
Bytes receive(const Party &party)
{
    char bytes[kMostSent];
    const ssize_t size = recv(party.fd, bytes, sizeof(bytes), MSG_DONTWAIT);
    return size < 0 ? Bytes() : Bytes(bytes, static_cast<size_t>(size));
}

// ---- What the endpoint should hold ----

struct Datagram {
    Bytes sender; // its path
    Bytes bytes;
};

struct Subscription {
    uint32_t id;
    std::vector<Bytes> subscribers;
};

struct Waiting {
    uint32_t session_id;
    uint32_t room;
    Bytes buffer; // what has been written of it
    uint32_t received = 0;
    bool woken = false;
};

struct Model {
    bool has_queue;
    bool has_handler;
    bool handler_wants;
    bool has_check;
    std::vector<Subscription> registry;
    std::vector<Waiting> waiting; // in the order of their requests
    std::deque<Datagram> queue;
    std::deque<Datagram> own_socket; // what the endpoint has sent to itself
    uint32_t handled = 0;
    bool running = true;
};

Model g_model;
const Datagram *g_current;                  // what the step is given
std::vector<std::pair<Bytes, Bytes>> g_due; // who should have been sent what

void expect_sent(const Bytes &path, const Bytes &bytes)
{
    if (path == g_parties[kSelf].path) {
        g_model.own_socket.push_back({path, bytes});
    } else if (path != g_parties[kNameless].path) {
        g_due.emplace_back(path, bytes);
    }
}

Subscription *find(uint32_t id)
{
    const auto found = std::find_if(g_model.registry.begin(), g_model.registry.end(),
                                    [id](const Subscription &one) { return one.id == id; });
    return found == g_model.registry.end() ? nullptr : &*found;
}

uint32_t body_word(const Bytes &bytes)
{
    return word_at(bytes, word_at(bytes, 0) == IPC_MSG_TYPE_SHORT ? 8 : kHeader);
}

uint32_t expect_subscribed(const Datagram &datagram)
{
    if (word_at(datagram.bytes, 8) != 4) {
        return IPC_ERR_LENGTH;
    }
    const uint32_t id = body_word(datagram.bytes);
    if (g_model.has_check && id == kRefused) {
        return IPC_ERR_REFUSED;
    }
    if (find(id) == nullptr) {
        g_model.registry.push_back({id, {}});
    }
    std::vector<Bytes> &subscribers = find(id)->subscribers;
    if (std::find(subscribers.begin(), subscribers.end(), datagram.sender) == subscribers.end()) {
        subscribers.push_back(datagram.sender);
    }
    return IPC_SUCCESS;
}

uint32_t expect_registered(const Datagram &datagram)
{
    const uint32_t result = expect_subscribed(datagram);
    const bool asked = word_at(datagram.bytes, 0) == IPC_MSG_TYPE_REQUEST;
    const uint32_t type = asked ? IPC_MSG_TYPE_RESPONSE : IPC_MSG_TYPE_ASYNC;
    const ipc_msg_hdr header = {type, IPC_MSG_ID_REGISTER, 4, word_at(datagram.bytes, 12)};
    expect_sent(datagram.sender, bytes_of(header) + bytes_of(result));
    return result;
}

uint32_t expect_deregistered(const Datagram &datagram)
{
    if (word_at(datagram.bytes, 8) != 4) {
        return IPC_ERR_LENGTH;
    }
    if (Subscription *subscription = find(body_word(datagram.bytes))) {
        std::erase(subscription->subscribers, datagram.sender);
    }
    return IPC_SUCCESS;
}

uint32_t expect_delivered(const Bytes &response)
{
    for (Waiting &one : g_model.waiting) {
        if (one.session_id == word_at(response, 12)) {
            const size_t size = std::min(response.size(), one.room + kHeader);
            one.buffer.replace(0, size, response, 0, size);
            one.received = static_cast<uint32_t>(response.size());
            return IPC_SUCCESS;
        }
    }
    return IPC_ERR_LENGTH;
}

uint32_t expect_queued(const Datagram &datagram)
{
    if (!g_model.has_queue || (g_model.has_handler && !g_model.handler_wants)) {
        return IPC_SUCCESS;
    }
    if (g_model.queue.size() < kQueueCapacity) {
        g_model.queue.push_back(datagram);
        return IPC_SUCCESS;
    }
    return g_model.has_handler ? IPC_SUCCESS : IPC_ERR_FULL;
}

// What is wrong with a datagram whatever it says; IPC_SUCCESS when nothing is.
uint32_t judge_size(const Bytes &bytes)
{
    if (bytes.empty()) {
        return IPC_ERR_SOCKET;
    }
    const bool whole = bytes.size() >= kHeader && bytes.size() <= IPC_MSG_MAX_SIZE &&
                       word_at(bytes, 8) == bytes.size() - kHeader;
    return whole ? IPC_SUCCESS : IPC_ERR_LENGTH;
}

// sender: by its socket, whoever else has the name.
uint32_t expect_step(const Datagram &datagram, int sender)
{
    if (const uint32_t refusal = judge_size(datagram.bytes); refusal != IPC_SUCCESS) {
        return refusal;
    }
    const uint32_t id = word_at(datagram.bytes, 4);
    if (id == IPC_MSG_ID_STOP) {
        const bool valid = sender == kSelf && datagram.bytes.size() == kHeader;
        g_model.running = !valid;
        return valid ? IPC_SUCCESS : IPC_ERR_LENGTH;
    }
    g_model.handled += g_model.has_handler ? 1 : 0;
    if (word_at(datagram.bytes, 0) == IPC_MSG_TYPE_RESPONSE) {
        return expect_delivered(datagram.bytes);
    }
    switch (id) {
    case IPC_MSG_ID_REGISTER:
        return sender != kLookalike ? expect_registered(datagram) : IPC_ERR_LENGTH;
    case IPC_MSG_ID_DEREGISTER:
        return sender != kLookalike ? expect_deregistered(datagram) : IPC_ERR_LENGTH;
    default:
        return expect_queued(datagram);
    }
}

// ---- The endpoint ----

mq_cb g_queue;
uint32_t g_handled;

// A message as it is handed to the module, sender and all.
void check_received(ipc_msg_hdr *msg, const Datagram &datagram)
{
    const Bytes expected = padded(datagram.bytes);
    require(memcmp(msg, expected.data(), expected.size()) == 0,
            "the module gets the datagram, padded with zeros");
    ipc_addr sender;
    memcpy(&sender, ipc_msg_sender(msg), sizeof(sender));
    require(sender.priority == 0 &&
                memcmp(sender.sock.sun_path, datagram.sender.data(), datagram.sender.size()) == 0,
            "and who sent it");
}

uint32_t handle(ipc_msg_hdr *msg, uint32_t len)
{
    ++g_handled;
    require(len == padded(g_current->bytes).size() - kHeader, "the handler is told the size");
    check_received(msg, *g_current);
    return g_model.handler_wants ? 1 : 0;
}

uint32_t accept(uint32_t notify_id) { return notify_id == kRefused ? 0 : 1; }

void check_sent()
{
    for (const auto &due : g_due) {
        const auto party = std::find_if(g_parties.begin(), g_parties.end(),
                                        [&due](const Party &one) { return one.path == due.first; });
        require(receive(*party) == due.second, "who is to be told is told");
    }
    g_due.clear();
    for (size_t i = 0; i < kSelf; ++i) {
        require(receive(g_parties[i]).empty(), "nobody else is");
    }
}

void check_registry()
{
    struct Registration {
        uint32_t notify_id;
        lc_list *addr_list;
    };
    require(lc_list_query_num(g_reg_notify_list) == g_model.registry.size(),
            "the registry has its entries");
    const lc_list_node *node = g_reg_notify_list->head;
    for (const Subscription &expected : g_model.registry) {
        const auto *registration = static_cast<const Registration *>(node->data);
        require(registration->notify_id == expected.id &&
                    lc_list_query_num(registration->addr_list) == expected.subscribers.size(),
                "in order, with their subscribers");
        const lc_list_node *subscriber = registration->addr_list->head;
        for (const Bytes &path : expected.subscribers) {
            const auto *address = static_cast<const ipc_addr *>(subscriber->data);
            require(memcmp(address->sock.sun_path, path.data(), path.size()) == 0, "in order too");
            subscriber = subscriber->next;
        }
        node = node->next;
    }
}

void run_step(const Datagram &datagram, int sender)
{
    g_current = &datagram;
    const ReceiveArgs args = {g_model.has_queue ? g_queue : nullptr,
                              g_model.has_handler ? handle : nullptr,
                              g_model.has_check ? accept : nullptr};
    const uint32_t expected = expect_step(datagram, sender);
    uint32_t running = 1;
    require(receive_message(args, &running) == expected, "a step has the right result");
    require((running == 1) == g_model.running, "only the endpoint stops itself");
    g_model.running = true;
    require(g_handled == g_model.handled, "the handler sees what it should");
    check_sent();
}

void run_diagnosis(const Datagram &datagram, uint32_t room)
{
    const uint32_t refusal = judge_size(datagram.bytes);
    const bool fits = datagram.bytes.size() <= kHeader + room;
    const uint32_t expected = refusal != IPC_SUCCESS || fits ? refusal : IPC_ERR_TOO_SMALL;

    const Copy out = copy_of(Bytes(kHeader + room, 'x'));
    uint32_t length = room;
    ipc_addr sender = {};
    require(ipc_diag_msg_receive(out.get(), &length, &sender) == expected,
            "a read has the right result");
    const size_t written = refusal != IPC_SUCCESS ? 0 : std::min(datagram.bytes.size(), kHeader + room);
    require(std::string_view(out.get(), kHeader + room) ==
                datagram.bytes.substr(0, written) + Bytes(kHeader + room - written, 'x'),
            "what fits of the datagram is written, nothing else");
    require(length == (expected == IPC_SUCCESS ? datagram.bytes.size() - kHeader : room),
            "the length is told of what is whole");
    require(memcmp(sender.sock.sun_path, datagram.sender.data(), datagram.sender.size()) == 0,
            "the sender is told");
}

// What the endpoint has sent to itself comes before anything else. A registration at itself that is no
// request is answered with one, and so on without end: some rounds are enough.
void run_own()
{
    for (int round = 0; round < 4 && !g_model.own_socket.empty(); ++round) {
        const Datagram datagram = g_model.own_socket.front();
        g_model.own_socket.pop_front();
        run_step(datagram, kSelf);
    }
    for (; !g_model.own_socket.empty(); g_model.own_socket.pop_front()) {
        require(receive(g_parties[kSelf]) == g_model.own_socket.front().bytes,
                "it is told what it is due");
    }
}

// ---- The input ----

std::string_view g_script;

void run_next()
{
    const auto how = static_cast<uint8_t>(g_script[0]);
    const auto low = static_cast<uint8_t>(g_script[1]);
    const auto high = static_cast<uint8_t>(g_script[2]);
    const size_t wanted = std::min(low + size_t{256} * high, kMostSent);
    const std::string_view content = g_script.substr(3, wanted);
    g_script.remove_prefix(3 + content.size());

    const int sender = (how & kSenderMask) % kSenders;
    Datagram datagram = {g_parties[static_cast<size_t>(sender)].path, Bytes(content)};
    if ((how >> kHasRightLength & 1) != 0 && content.size() >= kHeader) {
        const auto length = static_cast<uint32_t>(content.size() - kHeader);
        datagram.bytes.replace(8, sizeof(length), bytes_of(length));
    }
    send(g_parties[static_cast<size_t>(sender)], datagram.bytes, (how >> kPassesDescriptor & 1) != 0);
    if ((how >> kToDiagnosis & 1) != 0) {
        run_diagnosis(datagram, high);
    } else {
        run_step(datagram, sender);
    }
    run_own();
}

void run_script()
{
    while (g_script.size() > 3) {
        run_next();
    }
    check_registry();
}

// ---- Senders that wait ----

// Session ids, one of them twice, and room for a response.
constexpr struct {
    uint32_t session_id;
    uint32_t room;
} kRequests[] = {{0x11, 0}, {0x22, 4}, {0x11, IPC_MSG_MAX_BODY}};

size_t g_wanted_waiters;

// Sends a request, inside which the next is sent, until there are enough; in the last the script runs.
void wait_for_response()
{
    const size_t index = g_model.waiting.size();
    const auto &chosen = kRequests[index];
    g_model.waiting.push_back({chosen.session_id, chosen.room, Bytes(chosen.room + kHeader, 'x')});

    ipc_msg_hdr request = {IPC_MSG_TYPE_ASYNC, 7, 0, chosen.session_id};
    const ipc_addr to = {IPC_PRIORITY_COMMON, address_of(g_parties[kFirst].path), {}};
    const Copy out = copy_of(g_model.waiting[index].buffer);
    uint32_t length = chosen.room;
    const uint32_t result = ipc_msg_send_syn(&to, &request, 0, 1000, out.get(), &length);

    const Waiting &expected = g_model.waiting[index];
    const bool answered = expected.received != 0;
    const bool fits = expected.received <= chosen.room + kHeader;
    require(result == (!answered ? IPC_ERR_TIMEOUT
                       : fits    ? IPC_SUCCESS
                                 : IPC_ERR_TOO_SMALL),
            "a request ends as its response came");
    require(length == (answered && fits ? expected.received - kHeader : chosen.room),
            "the length is told of what fits");
    require(std::string_view(out.get(), chosen.room + kHeader) == expected.buffer,
            "what fits of a response is written, nothing else");
    g_model.waiting.pop_back();
}

void go_on()
{
    require(lc_list_query_num(g_sync_waitor_list) == g_model.waiting.size(), "every sender is listed");
    if (!g_model.waiting.empty()) {
        require(receive(g_parties[kFirst]).size() == kHeader, "its request has left");
    }
    if (g_model.waiting.size() < g_wanted_waiters) {
        wait_for_response();
    } else {
        run_script();
    }
}

// ---- The end ----

void check_notify(uint32_t id)
{
    ipc_msg_hdr message = {IPC_MSG_TYPE_REQUEST, id, 0, 5};
    require(ipc_msg_notify(&message, 0) == IPC_SUCCESS, "a message is published");
    if (const Subscription *subscription = find(id)) {
        for (const Bytes &path : subscription->subscribers) {
            expect_sent(path, bytes_of(ipc_msg_hdr{IPC_MSG_TYPE_ASYNC, id, 0, 5}));
        }
    }
    check_sent();
    run_own();
}

void check_queue()
{
    for (const Datagram &datagram : g_model.queue) {
        ipc_msg_hdr *msg;
        require(ipc_mq_recv(g_queue, &msg, 0) == IPC_SUCCESS, "what is queued comes out");
        check_received(msg, datagram);
        mem_free_ex(0, 0, 0, msg);
    }
    ipc_msg_hdr *msg;
    require(ipc_mq_recv(g_queue, &msg, 0) == IPC_ERR_EMPTY, "nothing else does");
}

void check_end()
{
    require(lc_list_query_num(g_sync_waitor_list) == 0, "nobody waits any more");
    const std::vector<Subscription> registry = g_model.registry;
    for (const Subscription &subscription : registry) {
        check_notify(subscription.id);
    }
    check_queue();
    destroy_registry();
    require(create_registry(), "there is a registry");
}

} // namespace

// No time passes: who waits is woken once, when everything has happened, and then has waited too long.
extern "C" int pthread_cond_timedwait(pthread_cond_t *, pthread_mutex_t *mutex, const timespec *)
{
    const size_t index = g_model.waiting.size() - 1;
    if (g_model.waiting[index].woken) {
        return ETIMEDOUT;
    }
    g_model.waiting[index].woken = true;
    pthread_mutex_unlock(mutex);
    go_on();
    pthread_mutex_lock(mutex);
    return 0;
}

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    write_log();
    constexpr std::string_view kOwnName("\0lc_socket_mm_common", 20);
    constexpr size_t kFull = sizeof(sockaddr_un::sun_path);
    g_parties = {open_party({"\0lc_socket_cgi_common", 21}, kFull),
                 open_party({"\0lc_socket_uptest_common", 24}, kFull),
                 open_party(kOwnName, kOwnName.size()),
                 open_party("/tmp/socket", kFull),
                 open_party("", 0),
                 open_party(kOwnName, kFull)};
    g_endpoint.common.fd = g_parties[kSelf].fd;
    g_endpoint.common.sock = address_of(g_parties[kSelf].path);
    ipc_mq_init();
    require(create_waiters() && create_registry() &&
                ipc_mq_create(kQueueCapacity, &g_queue) == IPC_SUCCESS,
            "there is room for an endpoint");
    g_endpoint.initialised = true;
    return 0;
}

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const Input input(data, size);
    g_model = {.has_queue = input.chooses(kQueue),
               .has_handler = input.chooses(kHandler),
               .handler_wants = input.chooses(kHandlerWants),
               .has_check = input.chooses(kCheck)};
    g_handled = 0;
    g_wanted_waiters = input.choice >> kWaiters & kWaitersMask;
    g_script = input.rest;

    const DescriptorCheck descriptors;
    go_on();
    check_end();
    return 0;
}
