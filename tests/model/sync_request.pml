/* A model of the synchronous request, checked exhaustively by sync_request_test.py: senders, the receive
 * thread, a peer that answers, keeps silent, answers late, twice or under a wrong session id, deadlines, and
 * the end of the endpoint. What an inline or a process stands for is named beside it; functions without a
 * file are those of lib/lc_ipc_msg/sync.cpp. One step here is one access to what threads share there.
 *
 * Sizes: SENDERS threads with ROUNDS requests each. A record is never reused, so that every touch of a freed
 * one is seen. A session id is the number of its record; 0 is nobody's.
 *
 * What is varied:
 *   PATIENT        no deadline, no failing sendto, a peer that always answers: a lost wake-up sleeps for ever
 *   SPURIOUS       a wait may end without signal and without time-out
 *   STOPPED_EARLY  the receive thread may end while senders wait
 * Every other word is a fault: it undoes one thing that the code relies on. */

#ifndef SENDERS
#define SENDERS 2
#endif
#ifndef ROUNDS
#define ROUNDS 1
#endif
#define REQUESTS (SENDERS * ROUNDS)

#define NOBODY 255
#define STOP 255 /* the stop message, among session ids */

mtype = { awake, asleep, woken };                /* what a condition variable knows of its waiter */
mtype = { pending, success, timed_out, failed }; /* results: 0, IPC_ERR_TIMEOUT, IPC_ERR_SOCKET */

typedef sync_waitor {
    bool alive;       /* allocated and not yet freed */
    bool listed;      /* its node is in g_sync_waitor_list */
    byte lock;        /* the holder's number, or NOBODY */
    mtype done;
    byte received;    /* session id of the response, 0 until it arrives */
};
sync_waitor waiter[REQUESTS + 1];

/* What the properties are stated over; the code has no such variables. */
typedef Request {
    bool buffer_lent; /* out_buff is the library's: the call has not returned */
    bool late;        /* the deadline has passed for its sender */
    bool in_time;     /* a response was delivered before that */
    bool ended;
};
Request request[REQUESTS + 1];

byte list_mutex = NOBODY; /* g_waiters_mutex */
byte senders_running = SENDERS;
bool receiver_running = true;

chan requests = [1] of { byte };  /* the peer's socket: a sender waits while it is full */
chan datagrams = [1] of { byte }; /* the endpoint's own */

/* msg_id_match, message.cpp. */
#ifdef ANY_WAITER_MATCHES
#define MATCHES(w, id) true
#else
#define MATCHES(w, id) (w == id)
#endif

/* Every access to a record goes through this. */
#define USE(w) assert(waiter[w].alive)

inline take_list_mutex() { atomic { list_mutex == NOBODY -> list_mutex = _pid } }
inline give_list_mutex() { d_step { assert(list_mutex == _pid); list_mutex = NOBODY } }

inline take_lock(w)
{
    atomic { waiter[w].lock == NOBODY -> USE(w); waiter[w].lock = _pid }
}

inline give_lock(w) { d_step { USE(w); assert(waiter[w].lock == _pid); waiter[w].lock = NOBODY } }

/* ---- The sender's thread ---- */

inline list_waiter(w)
{
    take_list_mutex();
    d_step {
        waiter[w].alive = true;
        waiter[w].lock = NOBODY;
        waiter[w].done = awake;
        waiter[w].listed = true
    };
    give_list_mutex()
}

/* Condition::wait_until, lib/lc_pthread/mutex.h. Falls asleep and unlocks in one step, as a condition
 * variable promises; a signal and the deadline race for who wakes it. */
inline wait_until(w)
{
    d_step {
        USE(w);
        assert(waiter[w].lock == _pid);
        waiter[w].done = asleep;
        waiter[w].lock = NOBODY
    };
    if
    :: d_step { waiter[w].done == woken -> USE(w); waiter[w].done = awake }
#ifndef PATIENT
    :: d_step { waiter[w].done == asleep -> USE(w); waiter[w].done = awake; request[w].late = true }
#endif
#ifdef SPURIOUS
    :: d_step { waiter[w].done == asleep -> USE(w); waiter[w].done = awake };
progress: /* the one thing that may happen without end */
        skip
#endif
    fi;
    take_lock(w)
}

inline exchange(w)
{
#ifdef LOCKED_AFTER_SENDING
    requests ! w;
    take_lock(w);
#else
    take_lock(w);
    if
    :: requests ! w
#ifndef PATIENT
    :: result = failed /* send_datagram, socket.cpp */
#endif
    fi;
#endif
    do
    :: result != pending -> break
    :: else ->
#ifndef WAITS_UNCONDITIONALLY
        if
        :: atomic { waiter[w].received != 0 -> result = success; break }
        :: else
        fi;
#endif
#ifdef POLLS
        give_lock(w);
        take_lock(w);
#else
        wait_until(w);
#endif
        atomic {
            if
            :: request[w].late -> result = timed_out
#ifdef WAITS_UNCONDITIONALLY
            :: else -> result = success
#else
            :: else
#endif
            fi
        }
    od;
#ifndef UNLISTED_UNDER_BOTH_LOCKS
    give_lock(w)
#endif
}

/* The record goes, and out_buff with the call's return. Nobody reads the rest any more: cleared, runs that
 * differ only in it count as one. */
inline free_waiter(w)
{
    d_step {
        USE(w);
        waiter[w].alive = false;
        waiter[w].lock = NOBODY;
        waiter[w].done = 0;
        waiter[w].received = 0;
        request[w].buffer_lent = false;
        request[w].late = false;
        request[w].in_time = false;
        result = 0
    }
}

inline unlist(w) { d_step { USE(w); waiter[w].listed = false } }

inline judge(w)
{
    d_step {
        USE(w);
        assert(result != success || waiter[w].received == w);   /* its own response, not nothing */
        assert(!request[w].in_time || result == success);       /* no wake-up is lost */
        assert(!request[w].ended && result != pending);           /* each request ends once */
        request[w].ended = true
    }
}

/* ipc_msg_send_syn. */
proctype sender(byte number)
{
    byte id = number * ROUNDS + 1;
    mtype result;
    do
    :: id > (number + 1) * ROUNDS -> break
    :: else ->
        d_step { result = pending; request[id].buffer_lent = true };
        list_waiter(id);
        exchange(id);
#ifdef FREED_BEFORE_UNLISTED
        judge(id);
        free_waiter(id);
        take_list_mutex();
        waiter[id].listed = false;
        give_list_mutex();
#else
#ifdef UNLISTED_WITHOUT_LIST_MUTEX
        unlist(id);
        judge(id);
#else
        take_list_mutex();
#ifdef LEFT_LISTED_WHEN_SENDING_FAILED
        if
        :: result != failed -> unlist(id)
        :: else
        fi;
#else
        unlist(id);
#endif
        judge(id);
        give_list_mutex();
#ifdef UNLISTED_UNDER_BOTH_LOCKS
        give_lock(id);
#endif
#endif
        free_waiter(id);
#endif
        id++
    od;
    senders_running--
}

/* ---- The receive thread ---- */

/* lc_list_find with msg_id_match: every record on the way is read. */
inline find(wanted)
{
    d_step {
        found = 1;
        do
        :: found > REQUESTS -> found = 0; break
        :: found <= REQUESTS && !waiter[found].listed -> found++
        :: found <= REQUESTS && waiter[found].listed ->
            USE(found);
            if
            :: MATCHES(found, wanted) -> break
            :: else -> found++
            fi
        od
    }
}

/* memcpy into out_buff, and received. */
inline copy(w)
{
    d_step {
        USE(w);
        assert(request[w].buffer_lent);
        waiter[w].received = id
    }
}

/* From here on the response counts as delivered: one that was copied before the deadline and is signalled
 * after it finds that the wait has timed out, and the request ends so. */
inline signal(w)
{
    d_step {
        USE(w);
        request[w].in_time = request[w].in_time || !request[w].late;
        if
        :: waiter[w].done == asleep -> waiter[w].done = woken
        :: else
        fi
    }
}

inline deliver_response()
{
    take_list_mutex();
    find(id);
    if
    :: found == 0
    :: else ->
#ifdef LIST_MUTEX_GIVEN_UP_ONCE_FOUND
        give_list_mutex();
#endif
#ifdef DELIVERED_WITHOUT_LOCK
        copy(found);
        signal(found);
#else
        take_lock(found);
        copy(found);
        give_lock(found);
#ifdef LIST_MUTEX_GIVEN_BEFORE_SIGNAL
        give_list_mutex();
#endif
        USE(found); /* who unlocks a mutex may still touch it when the next one has it */
        signal(found);
#endif
    fi;
#if defined(LIST_MUTEX_GIVEN_UP_ONCE_FOUND) || defined(LIST_MUTEX_GIVEN_BEFORE_SIGNAL)
    if
    :: found == 0 -> give_list_mutex()
    :: else
    fi
#else
    give_list_mutex()
#endif
}

/* receive_thread and receive_message, receive.cpp. */
proctype receiver()
{
    byte id;
    byte found;
    do
    :: datagrams ? id ->
        if
        :: id == STOP -> break
        :: else -> deliver_response()
        fi;
        d_step { id = 0; found = 0 }
    od;
    receiver_running = false
}

/* ---- The others ---- */

/* Another process's sendto; once nobody reads any more it is let go rather than waiting for ever. */
inline respond(id)
{
    if
    :: datagrams ! id
    :: !receiver_running
    fi
}

/* Late is not said anywhere: any time may pass before an answer. */
proctype peer()
{
    byte id;
end:
    do
    :: requests ? id ->
        if
        :: respond(id)
        :: respond(id); respond(id)
        :: respond(0); respond(id)
#ifndef PATIENT
        :: respond(0)
        :: skip
#endif
        fi;
        id = 0
    od
}

/* ipc_msg_init and ipc_msg_fin, endpoint.cpp. */
init
{
    byte n;
    atomic {
        run receiver();
        run peer();
        for (n : 0 .. SENDERS - 1) {
            run sender(n)
        }
    }
#ifndef ENDED_WHILE_SENDERS_WAIT
    if
    :: senders_running == 0
#ifdef STOPPED_EARLY
    :: true
#endif
    fi;
#endif
    datagrams ! STOP;
    !receiver_running; /* lc_pthread_join */
#ifndef ENDED_WHILE_SENDERS_WAIT
    senders_running == 0; /* what lc_ipc_msg.h asks of the host: no call in progress */
#endif
    /* destroy_waiters: lc_list_destroy frees what is still listed. */
    for (n : 1 .. REQUESTS) {
        d_step {
            if
            :: waiter[n].listed -> waiter[n].alive = false; waiter[n].listed = false
            :: else
            fi
        }
    }
#ifndef ENDED_WHILE_SENDERS_WAIT
    for (n : 1 .. REQUESTS) {
        assert(request[n].ended);
        assert(!waiter[n].alive)
    }
#endif
}
