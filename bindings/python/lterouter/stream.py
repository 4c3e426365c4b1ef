"""What arrives from time to time, for loops and for asyncio."""

from __future__ import annotations

import asyncio
import os
import select
import time
from collections.abc import Callable, Iterator
from typing import Generic, TypeVar

Item = TypeVar("Item")


class Stream(Generic[Item]):
    """Iterates over what arrives, by "for" or by "async for". It ends when nothing has come for timeout seconds;
    without a timeout it goes on. Leave it before what it belongs to is closed."""

    def __init__(self, descriptor: Callable[[], int], take: Callable[[], Item | None], timeout: float | None) -> None:
        self._descriptor = descriptor
        self._take = take
        self._timeout = timeout

    def next(self) -> Item | None:
        """The next item; None when none came in time."""
        deadline = None if self._timeout is None else time.monotonic() + self._timeout
        while (item := self._take()) is None:
            left = None if deadline is None else deadline - time.monotonic()
            if left is not None and left <= 0:
                return None
            poll = select.poll()
            poll.register(self._descriptor(), select.POLLIN)
            poll.poll(None if left is None else left * 1000)
        return item

    def __iter__(self) -> Iterator[Item]:
        while (item := self.next()) is not None:
            yield item

    def __aiter__(self) -> Stream[Item]:
        return self

    async def __anext__(self) -> Item:
        deadline = None if self._timeout is None else time.monotonic() + self._timeout
        while (item := self._take()) is None:
            try:
                async with asyncio.timeout(None if deadline is None else deadline - time.monotonic()):
                    await self._readable()
            except TimeoutError:
                raise StopAsyncIteration from None
        return item

    async def _readable(self) -> None:
        # A loop may watch a descriptor for one reader only, and two streams may share it.
        loop = asyncio.get_running_loop()
        ready = asyncio.Event()
        descriptor = os.dup(self._descriptor())
        loop.add_reader(descriptor, ready.set)
        try:
            await ready.wait()
        finally:
            loop.remove_reader(descriptor)
            os.close(descriptor)
