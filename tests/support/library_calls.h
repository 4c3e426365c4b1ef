// The library's own functions that tests interpose, each defined here alone. For programs that are
// linked with the shared library, whose families call each other through them.
#pragma once

#include "lc_ipc_mq.h"
#include "lc_ipc_msg.h"
#include "lc_list.h"
#include "lc_network.h"
#include "lc_nv.h"
#include "lc_pthread.h"
#include "sdk_timer.h"
#include "support/interpose.h"

INTERPOSE(lc_list_create, nullptr, lc_list *, (), ())
INTERPOSE(lc_list_add_at_head, LC_LIST_ERR_NULL, uint32_t, (lc_list * list, lc_list_node *node),
          (list, node))
INTERPOSE(lc_list_add_at_tail, LC_LIST_ERR_NULL, uint32_t, (lc_list * list, lc_list_node *node),
          (list, node))
INTERPOSE(lc_list_add_before, LC_LIST_ERR_NULL, uint32_t,
          (lc_list * list, lc_list_node *ref, lc_list_node *node), (list, ref, node))
INTERPOSE(lc_list_del_node, LC_LIST_ERR_EMPTY, uint32_t, (lc_list * list, lc_list_node *node),
          (list, node))
INTERPOSE(lc_list_del_from_head, nullptr, lc_list_node *, (lc_list * list, uint32_t *error),
          (list, error))

INTERPOSE(lc_pthread_create, EAGAIN, int,
          (pthread_t * thread, const pthread_attr_t *attributes, void *(*routine)(void *),
           void *argument),
          (thread, attributes, routine, argument))
INTERPOSE(lc_pthread_join, EINVAL, int, (pthread_t thread, void **result), (thread, result))
INTERPOSE(lc_pthread_mutex_lock, EINVAL, int, (pthread_mutex_t * mutex), (mutex))
INTERPOSE(lc_pthread_mutex_destroy, EINVAL, int, (pthread_mutex_t * mutex), (mutex))
INTERPOSE(lc_pthread_cond_destroy, EINVAL, int, (pthread_cond_t * cond), (cond))
INTERPOSE(lc_pthread_cond_wait, EINVAL, int, (pthread_cond_t * cond, pthread_mutex_t *mutex),
          (cond, mutex))
INTERPOSE(lc_pthread_cond_timedwait, EINVAL, int,
          (pthread_cond_t * cond, pthread_mutex_t *mutex, const timespec *deadline),
          (cond, mutex, deadline))
INTERPOSE(lc_pthread_cond_signal, EINVAL, int, (pthread_cond_t * cond), (cond))
INTERPOSE(lc_pthread_cond_broadcast, EINVAL, int, (pthread_cond_t * cond), (cond))

INTERPOSE(ipc_mq_init, nullptr, void, (), ())
INTERPOSE(ipc_mq_create, IPC_ERR_RESOURCE, uint32_t, (uint32_t capacity, mq_cb *cb), (capacity, cb))
INTERPOSE(ipc_mq_destroy, nullptr, void, (), ())
INTERPOSE(ipc_msg_init, IPC_ERR_RESOURCE, uint32_t,
          (uint32_t module_id, mq_cb cb, ipc_msg_handler_fn msg_handler, ipc_reg_check_fn reg_check,
           uint32_t per_process),
          (module_id, cb, msg_handler, reg_check, per_process))
INTERPOSE(ipc_msg_fin, nullptr, void, (), ())
INTERPOSE(ipc_register_notify, IPC_ERR_SOCKET, uint32_t,
          (const ipc_addr *dest_addr, uint32_t notify_id, uint32_t timeout),
          (dest_addr, notify_id, timeout))
INTERPOSE(nvmram_init, NV_ERR_SYSTEM, uint32_t, (), ())
INTERPOSE(ipc_msg_send_syn, IPC_ERR_SOCKET, uint32_t,
          (const ipc_addr *dest_addr, ipc_msg_hdr *in_buff, uint32_t in_len, uint32_t timeout,
           void *out_buff, uint32_t *out_len),
          (dest_addr, in_buff, in_len, timeout, out_buff, out_len))
INTERPOSE(lc_get_ip_by_ifname, -1, int, (const char *name, in_addr *address), (name, address))

INTERPOSE(printf_timerlist, nullptr, void, (), ())
