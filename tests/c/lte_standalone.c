/* The client's calls for tools that have not started it, each with an endpoint of its own, and the
 * answer to a USSD code that tests have. */
#include "lc_nv.h"

#include "module.h"

#define SIM "wm_wcdma_modem_status_tmp"

static int be_the_manager(int ready) { return be_module(WAN_MANAGER, ready, NULL); }
static int be_the_store(int ready) { return be_module(SMS_STORE, ready, NULL); }

static void set_sim(const char *status) { CHECK_INT(nvmram_writenv(SIM, status, 32), NV_SUCCESS); }

/* Both answer so, and know nothing of what came before. */
static void tell_answer(uint32_t result, uint32_t size)
{
    static const char *const names[] = {WAN_MANAGER, SMS_STORE};
    const uint32_t answer[] = {result, 0};
    REQUIRE(size <= sizeof(answer));
    for (size_t i = 0; i < 2; ++i) {
        tell(names[i], TELL_ANSWER, answer, size);
        tell(names[i], NEWS, NULL, 0);
    }
}

static void check_asked(const char *name, uint32_t msg_id, uint32_t type)
{
    check_last_message(name, msg_id, type, "", 0);
}

static void check_not_asked(const char *name) { check_asked(name, NEWS, IPC_MSG_TYPE_ASYNC); }

/* ---- The endpoint ---- */

/* A socket of someone else's under the name of this process. */
static int take_the_name(void)
{
    char name[64];
    snprintf(name, sizeof(name), "lc_socket_cli1_%ld_common", (long)getpid());
    return open_socket(plain_address(name));
}

static void endpoint_is_there_until_it_is_ended(void)
{
    int fd;
    CHECK_INT(lct_ipc_init_for_sc_msg(), 0);
    CHECK_INT(take_the_name(), -1);
    CHECK_INT(lct_ipc_init_for_sc_msg(), 0); /* the same one */
    ipc_msg_fin();
    fd = take_the_name();
    CHECK(fd >= 0);
    close(fd);
}

static void nothing_works_without_an_endpoint(void)
{
    const int fd = take_the_name();
    REQUIRE(fd >= 0);
    CHECK_INT(lct_ipc_init_for_sc_msg(), IPC_ERR_RESOURCE);
    CHECK_INT(lct_state_change_req(), -1);
    CHECK_INT(lct_sms_del_dev_all_msg(), -1);
    CHECK_INT(lct_test_ussd_notify_req(), -1);
    close(fd);
}

/* ---- Without the others ---- */

static void nobody_is_asked_with_a_sim_that_cannot_be_used(void)
{
    set_sim("sim_pin");
    CHECK_INT(lct_state_change_req(), 0);
    CHECK_INT(lct_sms_del_dev_all_msg(), 0);
    set_sim("sim_ready");
    CHECK_INT(lct_state_change_req(), -1);
    CHECK_INT(lct_sms_del_dev_all_msg(), -1);
}

/* ---- With them ---- */

static void state_change_is_asked_for(void)
{
    set_sim("sim_ready");
    tell_answer(0, 4);
    CHECK_INT(lct_state_change_req(), 0);
    check_asked(WAN_MANAGER, SC_STATE_CHANGE_REQ, IPC_MSG_TYPE_REQUEST);
    tell_answer(7, 4);
    CHECK_INT(lct_state_change_req(), -1);
    tell_answer(0, 3);
    CHECK_INT(lct_state_change_req(), -1);
    set_sim("sim_puk");
    tell_answer(0, 4);
    CHECK_INT(lct_state_change_req(), 0);
    check_not_asked(WAN_MANAGER);
}

static void messages_are_deleted(void)
{
    set_sim("pin_enable");
    tell_answer(0, 4);
    CHECK_INT(lct_sms_del_dev_all_msg(), 0);
    check_asked(WAN_MANAGER, SC_STATE_CHANGE_REQ, IPC_MSG_TYPE_ASYNC);
    check_asked(SMS_STORE, WM_MSG_SMS_DEL_ALL_REQ, IPC_MSG_TYPE_REQUEST);
    tell_answer(7, 4);
    CHECK_INT(lct_sms_del_dev_all_msg(), -1);
    tell_answer(0, 5);
    CHECK_INT(lct_sms_del_dev_all_msg(), -1);
    set_sim("sim_absent");
    tell_answer(0, 4);
    CHECK_INT(lct_sms_del_dev_all_msg(), 0);
    check_asked(WAN_MANAGER, SC_STATE_CHANGE_REQ, IPC_MSG_TYPE_ASYNC);
    check_not_asked(SMS_STORE);
}

static void messages_are_deleted_without_a_manager_too(void)
{
    set_sim("sim_ready");
    CHECK_INT(lct_sms_del_dev_all_msg(), 0);
    check_asked(SMS_STORE, WM_MSG_SMS_DEL_ALL_REQ, IPC_MSG_TYPE_REQUEST);
}

/* The last message to the SMS store is a text that starts so, in a body of so many bytes. */
static void check_reported(const char *start, uint32_t size)
{
    plain_message msg;
    tell(SMS_STORE, ASK_LAST_MESSAGE, NULL, 0);
    REQUIRE(plain_receive(control_socket(), &msg, LONG));
    CHECK_INT(msg.header.length, 8 + size);
    CHECK_INT(word_at(msg.body, 0), WM_MSG_MODEM_NOTIFY);
    CHECK_INT(word_at(msg.body, 1), IPC_MSG_TYPE_ASYNC);
    CHECK(memcmp(msg.body + 8, start, strlen(start)) == 0);
    CHECK_INT(msg.body[msg.header.length - 1], 0);
}

static void ussd_answer_is_chosen_by_its_number(void)
{
    static const struct {
        const char *flag;
        const char *start;
        uint32_t size;
    } answers[] = {
        {"2", ":+CUSD: 0,\"", 400}, {"3", "+CUSD: 0,\"", 200}, {"1", "+CUSD: 1,\"", 400},
        {"3", "+CUSD: 0,\"", 200},  {"4", "+CUSD: 1,\"", 400},
    };
    CHECK_INT(lct_ipc_init_for_sc_msg(), 0);
    CHECK_INT(lct_test_ussd_notify_req(), 0); /* without a number: the first */
    check_reported("+CUSD: 1,\"", 400);
    for (size_t i = 0; i < sizeof(answers) / sizeof(answers[0]); ++i) {
        CHECK_INT(nvmram_writenv("test_ussd_flg", answers[i].flag, 32), NV_SUCCESS);
        CHECK_INT(lct_test_ussd_notify_req(), 0);
        check_reported(answers[i].start, answers[i].size);
    }
    ipc_msg_fin();
}

int main(void)
{
    pid_t manager;
    pid_t store;
    REQUIRE(nvmram_init() == NV_SUCCESS);
    endpoint_is_there_until_it_is_ended();
    nothing_works_without_an_endpoint();
    nobody_is_asked_with_a_sim_that_cannot_be_used();

    manager = start_child(be_the_manager);
    store = start_child(be_the_store);
    REQUIRE(manager > 0 && store > 0);
    state_change_is_asked_for();
    messages_are_deleted();
    stop_module(WAN_MANAGER, manager);
    messages_are_deleted_without_a_manager_too();
    ussd_answer_is_chosen_by_its_number();
    stop_module(SMS_STORE, store);
    return check_end();
}
