"""Asking for many thumbnails and taking them as they come."""

from __future__ import annotations

import asyncio
import itertools
import os
from typing import AsyncGenerator, Generator, Iterable, NamedTuple, Optional

import numpy
from numpy.typing import NDArray

from . import _errors, _service
from ._paths import AnyPath, absolute, each

# As many are wanted at a time as keep both workers busy, however long the list.
WINDOW = 64
_CHUNK = 16
# After so many everything is waited for once, so that the service can forget what it has made.
_STRETCH = 4096
# Ctrl-C, other threads and a closing are looked at so often.
_SLICE_SECONDS = 0.1


Picture = NDArray[numpy.uint8]


class Thumbnail(NamedTuple):
    """One result: a picture, or the error that says why there is none."""

    path: AnyPath
    """The file, as the caller named it."""
    picture: Optional[Picture]
    """Height, width and the three components red, green and blue of 8 bits; the caller's own copy."""
    error: Optional[_errors.ThumbnailError]
    """Why there is none."""


class Numbered(NamedTuple):
    number: int
    thumbnail: Thumbnail


class Requests:
    """The thumbnails of one call, in the order in which they are finished."""

    def __init__(self, handle: _service.Handle, paths: Iterable[AnyPath]) -> None:
        self._batch = _service.Batch(handle)
        self._source = enumerate(each(paths))
        self._paths: dict[int, AnyPath] = {}
        self._in_stretch = 0
        self._at_end = False

    def next_files(self) -> list[tuple[int, bytes]]:
        """What is to be requested now; runs the caller's iterator."""
        if self._in_stretch >= _STRETCH and not self._paths:
            self._in_stretch = 0
        room = min(WINDOW - len(self._paths), _STRETCH - self._in_stretch)
        if self._at_end or room < (_CHUNK if self._paths else 1):
            return []
        chosen = list(itertools.islice(self._source, min(room, _CHUNK)))
        self._at_end = not chosen
        self._in_stretch += len(chosen)
        files = [(number, absolute(path)) for number, path in chosen]
        self._paths.update(chosen)
        return files

    def add(self, files: list[tuple[int, bytes]]) -> None:
        self._batch.add(files)

    def is_done(self) -> bool:
        return self._at_end and not self._paths

    def take(self) -> Optional[Numbered]:
        """The next one; None when none came in a short time."""
        found = self._batch.next(_SLICE_SECONDS)
        if found is None:
            return None
        number, picture, kind, reason = found
        path = self._paths.pop(number)
        if picture is not None:
            return Numbered(number, Thumbnail(path, picture, None))
        error = _errors.file_error(kind, reason)
        error.path = os.fsdecode(path)
        return Numbered(number, Thumbnail(path, None, error))

    def cancel(self) -> None:
        """Withdraws what no worker has begun."""
        self._batch.cancel()


def as_they_come(handle: _service.Handle, paths: Iterable[AnyPath]) -> Generator[Numbered, None, None]:
    requests = Requests(handle, paths)
    try:
        while True:
            while files := requests.next_files():
                requests.add(files)
            if requests.is_done():
                return
            if (numbered := requests.take()) is not None:
                yield numbered
    finally:
        requests.cancel()


async def as_they_come_async(handle: _service.Handle, paths: Iterable[AnyPath]) -> AsyncGenerator[Numbered, None]:
    """Waits, and looks at files, on the event loop's threads; takes the paths on the loop itself."""
    loop = asyncio.get_running_loop()
    requests = Requests(handle, paths)
    try:
        while True:
            while files := requests.next_files():
                await loop.run_in_executor(None, requests.add, files)
            if requests.is_done():
                return
            if (numbered := await loop.run_in_executor(None, requests.take)) is not None:
                yield numbered
    finally:
        requests.cancel()


def picture_of(thumbnail: Thumbnail) -> Picture:
    if thumbnail.error is not None:
        raise thumbnail.error
    assert thumbnail.picture is not None
    return thumbnail.picture
