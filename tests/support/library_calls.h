// The library's own functions that tests take over, each at its only place. For programs that are
// linked with the shared library, whose calls among its families they are.
#pragma once

#include "lc_ipc_mq.h"
#include "lc_ipc_msg.h"
#include "lc_list.h"
#include "lc_network.h"
#include "lc_nv.h"
#include "lc_pthread.h"
#include "sdk_timer.h"
#include "support/interpose.h"

TAKE_OVER(lc_list_create, nullptr, lc_list *, (), ())
TAKE_OVER(lc_list_add_at_head, LC_LIST_ERR_NULL, uint32_t, (lc_list * list, lc_list_node *node),
          (list, node))
TAKE_OVER(lc_list_add_at_tail, LC_LIST_ERR_NULL, uint32_t, (lc_list * list, lc_list_node *node),
          (list, node))
TAKE_OVER(lc_list_add_before, LC_LIST_ERR_NULL, uint32_t,
          (lc_list * list, lc_list_node *ref, lc_list_node *node), (list, ref, node))
TAKE_OVER(lc_list_del_node, LC_LIST_ERR_EMPTY, uint32_t, (lc_list * list, lc_list_node *node),
          (list, node))
TAKE_OVER(lc_list_del_from_head, nullptr, lc_list_node *, (lc_list * list, uint32_t *error),
          (list, error))

TAKE_OVER(lc_pthread_create, EAGAIN, int,
          (pthread_t * thread, const pthread_attr_t *attributes, void *(*routine)(void *),
           void *argument),
          (thread, attributes, routine, argument))
TAKE_OVER(lc_pthread_mutex_lock, EINVAL, int, (pthread_mutex_t * mutex), (mutex))
TAKE_OVER(lc_pthread_mutex_destroy, EINVAL, int, (pthread_mutex_t * mutex), (mutex))
TAKE_OVER(lc_pthread_cond_destroy, EINVAL, int, (pthread_cond_t * cond), (cond))
TAKE_OVER(lc_pthread_cond_wait, EINVAL, int, (pthread_cond_t * cond, pthread_mutex_t *mutex),
          (cond, mutex))
TAKE_OVER(lc_pthread_cond_timedwait, EINVAL, int,
          (pthread_cond_t * cond, pthread_mutex_t *mutex, const timespec *deadline),
          (cond, mutex, deadline))
TAKE_OVER(lc_pthread_cond_signal, EINVAL, int, (pthread_cond_t * cond), (cond))
TAKE_OVER(lc_pthread_cond_broadcast, EINVAL, int, (pthread_cond_t * cond), (cond))

TAKE_OVER(ipc_mq_init, nullptr, void, (), ())
TAKE_OVER(ipc_mq_create, IPC_ERR_RESOURCE, uint32_t, (uint32_t capacity, mq_cb *cb), (capacity, cb))
TAKE_OVER(ipc_mq_destroy, nullptr, void, (), ())
TAKE_OVER(ipc_msg_init, IPC_ERR_RESOURCE, uint32_t,
          (uint32_t module_id, mq_cb cb, ipc_msg_handler_fn msg_handler, ipc_reg_check_fn reg_check,
           uint32_t per_process),
          (module_id, cb, msg_handler, reg_check, per_process))
TAKE_OVER(ipc_msg_fin, nullptr, void, (), ())
TAKE_OVER(ipc_register_notify, IPC_ERR_SOCKET, uint32_t,
          (const ipc_addr *dest_addr, uint32_t notify_id, uint32_t timeout),
          (dest_addr, notify_id, timeout))
TAKE_OVER(nvmram_init, NV_ERR_SYSTEM, uint32_t, (), ())
TAKE_OVER(ipc_msg_send_syn, IPC_ERR_SOCKET, uint32_t,
          (const ipc_addr *dest_addr, ipc_msg_hdr *in_buff, uint32_t in_len, uint32_t timeout,
           void *out_buff, uint32_t *out_len),
          (dest_addr, in_buff, in_len, timeout, out_buff, out_len))
TAKE_OVER(lc_get_ip_by_ifname, -1, int, (const char *name, in_addr *address), (name, address))

TAKE_OVER(printf_timerlist, nullptr, void, (), ())
