"""The asyncio loop in a background thread on which a world's bus traffic runs."""

from __future__ import annotations

import asyncio
import concurrent.futures
import threading
from collections.abc import Callable, Coroutine
from typing import Any, TypeVar

T = TypeVar("T")


class LoopThread:
    """An asyncio loop that synchronous code hands work to.

    Children of the world are started on this thread too: Linux ends them with the
    thread that started them, and this one lives exactly as long as the world.
    """

    def __init__(self) -> None:
        self.loop = asyncio.new_event_loop()
        self._thread = threading.Thread(target=self._main, name="tavrinsim", daemon=True)
        self._thread.start()

    def begin(self, work: Coroutine[Any, Any, T]) -> concurrent.futures.Future[T]:
        """Starts a coroutine and returns at once."""
        return asyncio.run_coroutine_threadsafe(work, self.loop)

    def run(self, work: Coroutine[Any, Any, T], timeout: float | None = 60.0) -> T:
        """Runs a coroutine and waits for its result (TimeoutError when late)."""
        if threading.current_thread() is self._thread:
            work.close()
            raise RuntimeError("blocking call on the loop's own thread: use the *_async one")
        future = self.begin(work)
        try:
            return future.result(timeout)
        except concurrent.futures.TimeoutError:
            if future.done():  # the coroutine itself raised it
                raise
            future.cancel()
            raise TimeoutError(f"no answer within {timeout} s") from None

    def call(self, function: Callable[..., T], *args: Any) -> T:
        """Calls a plain function on the loop's thread."""

        async def once() -> T:
            return function(*args)

        return self.run(once())

    def stop(self) -> None:
        """Cancels what still runs and ends the thread; safe to call twice."""
        if not self._thread.is_alive():
            return
        self.run(_cancel_others(), 10)
        self.loop.call_soon_threadsafe(self.loop.stop)
        self._thread.join()
        self.loop.close()

    def _main(self) -> None:
        asyncio.set_event_loop(self.loop)
        self.loop.run_forever()


async def _cancel_others() -> None:
    others = asyncio.all_tasks() - {asyncio.current_task()}
    for task in others:
        task.cancel()
    await asyncio.gather(*others, return_exceptions=True)
