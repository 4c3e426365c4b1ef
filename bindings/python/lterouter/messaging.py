"""Messages between processes: an endpoint of this one."""

from __future__ import annotations

import atexit
import ctypes
import dataclasses
import os
from types import TracebackType

from lterouter import _declared, constants
from lterouter._library import at_most, check, claim_endpoint, exactly, lib, milliseconds, release_endpoint, uint32
from lterouter._messaging import set_send_limit
from lterouter.constants import MessageType, MessagingCode
from lterouter.errors import MessagingError
from lterouter.stream import Stream

__all__ = ["Address", "Endpoint", "Message", "set_send_limit"]

HEADER = ctypes.sizeof(_declared.ipc_msg_hdr)
MAX_BODY = constants.IPC_MSG_MAX_SIZE - HEADER


@dataclasses.dataclass(frozen=True)
class Address:
    """Where another process receives messages."""

    raw: bytes

    def __post_init__(self) -> None:
        exactly(self.raw, ctypes.sizeof(_declared.ipc_addr))

    @classmethod
    def of_module(cls, module: int) -> Address:
        """The shared address of a module."""
        found = _declared.ipc_addr()
        code = lib.ipc_get_addr_by_id(uint32(module), constants.IPC_PRIORITY_COMMON, ctypes.byref(found))
        check(MessagingError, "Address.of_module", code)
        return cls(bytes(found))


@dataclasses.dataclass(frozen=True)
class Message:
    """A message that has arrived."""

    type: int
    id: int
    session: int
    body: bytes
    sender: Address


class OwnedMessage:
    """A buffer of the library, freed at the end of the block unless it was given away."""

    def __init__(self, buffer: int | None) -> None:
        if not buffer:
            raise MemoryError
        self.buffer: int | None = buffer

    @classmethod
    def new(cls, message_type: int, msg_id: int, body: bytes) -> OwnedMessage:
        """With a session id that the process has not used before."""
        at_most(body, MAX_BODY)
        msg_id = uint32(msg_id)
        message = cls(lib.ipc_memory_assign(len(body), message_type))
        header = message.header
        header.msg_id = msg_id
        header.length = len(body)
        lib.ipc_gen_seesion_id(message.buffer)
        ctypes.memmove(lib.ipc_msg_get_body(message.buffer), body, len(body))
        return message

    @property
    def header(self) -> _declared.ipc_msg_hdr:
        assert self.buffer is not None
        return _declared.ipc_msg_hdr.from_address(self.buffer)

    def body(self) -> bytes:
        return ctypes.string_at(lib.ipc_msg_get_body(self.buffer), self.header.length)

    def read(self) -> Message:
        """Only what the endpoint received has a sender."""
        header = self.header
        return Message(header.type, header.msg_id, header.session_id, self.body(),
                       Address(ctypes.string_at(lib.ipc_msg_get_sender(self.buffer),
                                                ctypes.sizeof(_declared.ipc_addr))))

    def __enter__(self) -> OwnedMessage:
        return self

    def __exit__(self, *_: object) -> None:
        if self.buffer is not None:
            lib.mem_free_ex(0, 0, constants.MEM_OWNER_IPC, self.buffer)


class Queue:
    """A queue of the library, whose descriptor can be watched. It lives until the process's queues are destroyed."""

    def __init__(self, capacity: int) -> None:
        lib.ipc_mq_init()
        handle = ctypes.c_void_p()
        check(MessagingError, "Queue", lib.ipc_mq_create(uint32(capacity), ctypes.byref(handle)))
        self.handle = handle
        self.descriptor = lib.ipc_mq_get_fd(handle)
        if self.descriptor < 0:
            error = ctypes.get_errno()
            lib.ipc_mq_destroy()
            raise OSError(error, "a queue's descriptor cannot be made")

    def put(self, message: OwnedMessage) -> None:
        """Drops the message when the queue is full."""
        if lib.ipc_mq_send(self.handle, message.buffer, 0, 0) == MessagingCode.SUCCESS:
            message.buffer = None

    def take(self) -> OwnedMessage | None:
        buffer = ctypes.c_void_p()
        code = lib.ipc_mq_recv(self.handle, ctypes.byref(buffer), 0)
        if code in (MessagingCode.ERR_EMPTY, MessagingCode.ERR_RESOURCE):
            return None
        check(MessagingError, "Queue.take", code)
        return OwnedMessage(buffer.value)


class Opened:
    """What a process can have open once at a time, with its queue. Ends with the "with" block."""

    def __init__(self, capacity: int) -> None:
        claim_endpoint()
        try:
            self._queue: Queue | None = Queue(capacity)
        except BaseException:
            release_endpoint()
            raise
        self._process = os.getpid()
        atexit.register(self.close)  # before the interpreter ends, which the library's thread would call into

    @property
    def queue(self) -> Queue:
        if self._queue is None:
            raise ValueError("it is closed")
        return self._queue

    def fileno(self) -> int:
        """A descriptor that is readable while something has arrived; only to be watched."""
        return int(self.queue.descriptor)

    def _stop(self) -> None:
        raise NotImplementedError

    def _forget(self) -> None:
        """Has the queues destroyed, when nothing uses them any more."""
        self._queue = None
        atexit.unregister(self.close)
        lib.ipc_mq_destroy()
        release_endpoint()

    def close(self) -> None:
        """May be called again. No other thread may be in a call. In a forked child it leaves the parent's alone."""
        if self._queue is None:
            return
        if self._process == os.getpid():
            self._stop()
            self._forget()
        else:
            self._queue = None
            atexit.unregister(self.close)

    def __exit__(self, kind: type[BaseException] | None, error: BaseException | None,
                 trace: TracebackType | None) -> None:
        self.close()


class Endpoint(Opened):
    """This process as a module, or with per_process as one of many of the module's name.

    What others send waits in a queue of capacity messages, and is dropped when that is full."""

    def __init__(self, module: int, *, per_process: bool = False, capacity: int = 64) -> None:
        module = uint32(module)
        super().__init__(capacity)
        code = lib.ipc_msg_init(module, self.queue.handle, None, None, int(per_process))
        if code != MessagingCode.SUCCESS:
            self._forget()
            raise MessagingError("Endpoint", code)

    def __enter__(self) -> Endpoint:
        return self

    def _stop(self) -> None:
        lib.ipc_msg_fin()

    def _take(self) -> Message | None:
        message = self.queue.take()
        if message is None:
            return None
        with message:
            return message.read()

    def messages(self, timeout: float | None = None) -> Stream[Message]:
        """What others send, but for responses and subscriptions, which the library handles."""
        return Stream(self.fileno, self._take, timeout)

    def discard(self, msg_id: int) -> None:
        """Removes the messages of this identifier that are still queued."""
        check(MessagingError, "Endpoint.discard", lib.ipc_mq_remove(self.queue.handle, uint32(msg_id)))

    def send(self, receiver: Address, msg_id: int, body: bytes = b"") -> None:
        """Sends a message that is not answered."""
        self._send("Endpoint.send", receiver, MessageType.ASYNC, msg_id, body)

    def reply(self, request: Message, body: bytes = b"") -> None:
        """Answers a request."""
        self._send("Endpoint.reply", request.sender, MessageType.RESPONSE, request.id, body, request.session)

    def _send(self, method: str, receiver: Address, message_type: int, msg_id: int, body: bytes,
              session: int | None = None) -> None:
        with OwnedMessage.new(message_type, msg_id, body) as message:
            if session is not None:
                message.header.session_id = session
            check(MessagingError, method, lib.ipc_msg_send_asy(receiver.raw, message.buffer, len(body)))

    def request(self, receiver: Address, msg_id: int, body: bytes = b"", *, timeout: float) -> bytes:
        """Sends a request and gives the body of its response. Up to a second of the time-out is lost."""
        answer = ctypes.create_string_buffer(constants.IPC_MSG_MAX_SIZE)
        length = ctypes.c_uint32(MAX_BODY)
        with OwnedMessage.new(MessageType.REQUEST, msg_id, body) as message:
            code = lib.ipc_msg_send_syn(receiver.raw, message.buffer, len(body), milliseconds(timeout), answer,
                                        ctypes.byref(length))
        check(MessagingError, "Endpoint.request", code)
        return answer.raw[HEADER:HEADER + length.value]

    def subscribe(self, publisher: Address, notify_id: int, *, timeout: float) -> None:
        """Has the notifications of this identifier sent here, until they are unsubscribed from."""
        code = lib.ipc_register_notify(publisher.raw, uint32(notify_id), milliseconds(timeout))
        check(MessagingError, "Endpoint.subscribe", code)

    def unsubscribe(self, publisher: Address, notify_id: int) -> None:
        check(MessagingError, "Endpoint.unsubscribe", lib.ipc_deregister_notify(publisher.raw, uint32(notify_id)))

    def notify(self, msg_id: int, body: bytes = b"") -> None:
        """Sends a notification to all who subscribed to it here."""
        with OwnedMessage.new(MessageType.ASYNC, msg_id, body) as message:
            check(MessagingError, "Endpoint.notify", lib.ipc_msg_notify(message.buffer, len(body)))
