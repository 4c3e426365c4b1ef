"""The client of the WAN manager."""

from __future__ import annotations

import ctypes
from collections.abc import Callable

from lterouter import _declared, constants
from lterouter._client import Requests
from lterouter._library import lib
from lterouter.constants import MessageType, MessagingCode
from lterouter.errors import RequestError
from lterouter.messaging import Opened, OwnedMessage, Queue
from lterouter.records import InterfaceStatus, LinkStatus
from lterouter.stream import Stream

Event = LinkStatus | InterfaceStatus

_READ: dict[int, Callable[[bytes], Event]] = {
    constants.LCT_EVENT_LINK_STATUS:
        lambda body: LinkStatus.of(_declared.lct_link_status.from_buffer_copy(body)),
    constants.LCT_EVENT_IFACE_STATUS:
        lambda body: InterfaceStatus.of(_declared.lct_iface_status.from_buffer_copy(body)),
}


class Client(Opened, Requests):
    """The started client: with events it subscribes to the WAN manager's, else it only makes requests.

    Events wait in a queue of capacity, and are dropped when that is full."""

    def __init__(self, *, events: bool = True, capacity: int = 64) -> None:
        super().__init__(capacity)
        self._events = events
        if events:
            # The library uses both until it is stopped.
            self._callback = _declared.lct_callback(_forwarding(self.queue))
            self._config = _declared.lct_config(callback=self._callback)
            code = lib.lct_module_init(ctypes.byref(self._config))
        else:
            code = lib.lct_ipc_init_for_sc_msg()
        if code != MessagingCode.SUCCESS:
            self._forget()
            raise RequestError("Client", code)

    def __enter__(self) -> Client:
        return self

    def require_open(self) -> None:
        self.fileno()

    def require_events(self) -> None:
        self.require_open()
        if not self._events:
            raise ValueError("the client was opened without events")

    def _stop(self) -> None:
        if self._events:
            lib.lct_deregister()
            lib.lct_module_fin()
        else:
            lib.ipc_msg_fin()

    def _take(self) -> Event | None:
        message = self.queue.take()
        if message is None:
            return None
        with message:
            return _READ[message.header.msg_id](message.body())

    def events(self, timeout: float | None = None) -> Stream[Event]:
        """The changes of the link and of the interface, for "for" and for "async for"."""
        self.require_events()
        return Stream(self.fileno, self._take, timeout)


def _forwarding(queue: Queue) -> Callable[[int], int]:
    """A callback that copies each event into the queue: on the receive thread it must not wait for anything."""

    def forward(pointer: int) -> int:
        event = _declared.lct_event.from_address(pointer)
        with OwnedMessage.new(MessageType.ASYNC, event.event, ctypes.string_at(event.data, event.len)) as message:
            queue.put(message)
        return 0

    return forward
