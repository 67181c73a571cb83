"""The open database."""

from __future__ import annotations

import contextlib
import datetime
import os
from typing import (
    Any,
    AsyncGenerator,
    Callable,
    Generator,
    Iterable,
    Literal,
    Optional,
    Sequence,
    TypeVar,
    Union,
    overload,
)

from . import _errors, _paths, _requests, _service
from ._gallery import Gallery
from ._paths import AnyPath
from ._requests import Picture, Thumbnail

T = TypeVar("T")
Time = Union[str, datetime.date, datetime.datetime]


class Database:
    """An open database of thumbnails. Made by :func:`qvthumbs.open`; a context manager; any thread."""

    def __init__(self, handle: _service.Handle) -> None:
        self._handle = handle

    def __enter__(self) -> Database:
        return self

    def __exit__(self, *_: object) -> None:
        self.close()

    def __repr__(self) -> str:
        return f"<qvthumbs.Database {self.path!r}{' closed' if self.closed else ''}>"

    def close(self) -> None:
        """Waits for the thumbnails in work, at most two, and closes. Does nothing the second time.

        Whoever still waits in another thread gets a ClosedError. When other handles have the same database open, the
        last one closes it.
        """
        self._handle.close()

    @property
    def closed(self) -> bool:
        return not self._handle.is_open

    @property
    def path(self) -> str:
        """The file of the database."""
        return os.fsdecode(self._handle.path)

    def thumbnail(self, path: AnyPath) -> Picture:
        """The thumbnail of a file, made when the database has none of its present state.

        An array of height, width and three components (red, green, blue), 8 bits each, which is the caller's own.
        Raises UnreadableError, DamagedError, UnsupportedError or another ThumbnailError.
        """
        return self.thumbnails([path])[0]

    @overload
    def thumbnails(self, paths: Iterable[AnyPath], *, return_exceptions: Literal[False] = False) -> list[Picture]: ...

    @overload
    def thumbnails(
        self, paths: Iterable[AnyPath], *, return_exceptions: Literal[True]
    ) -> list[Union[Picture, _errors.ThumbnailError]]: ...

    def thumbnails(self, paths: Iterable[AnyPath], *, return_exceptions: bool = False) -> Any:
        """Those of many files, in the order of the paths.

        Raises the error of the first file that fails, and gives up the rest; with `return_exceptions` the error stands
        in the file's place.
        """
        found = {}
        with contextlib.closing(self._as_they_come(paths)) as numbered:
            for number, thumbnail in numbered:
                found[number] = _result_of(thumbnail, return_exceptions)
        return [found[number] for number in range(len(found))]

    def iter_thumbnails(self, paths: Iterable[AnyPath]) -> Generator[Thumbnail, None, None]:
        """Yields (path, picture, error) of each file as it is ready, in no particular order.

        `paths` may be as long as you like, a generator too: it is read as far as needed. A loop that is left early
        gives up the rest.
        """
        with contextlib.closing(self._as_they_come(paths)) as numbered:
            for _, thumbnail in numbered:
                yield thumbnail

    async def thumbnail_async(self, path: AnyPath) -> Picture:
        """As thumbnail(), without keeping the event loop waiting."""
        return (await self.thumbnails_async([path]))[0]

    @overload
    async def thumbnails_async(
        self, paths: Iterable[AnyPath], *, return_exceptions: Literal[False] = False
    ) -> list[Picture]: ...

    @overload
    async def thumbnails_async(
        self, paths: Iterable[AnyPath], *, return_exceptions: Literal[True]
    ) -> list[Union[Picture, _errors.ThumbnailError]]: ...

    async def thumbnails_async(self, paths: Iterable[AnyPath], *, return_exceptions: bool = False) -> Any:
        """As thumbnails(), without keeping the event loop waiting. A task that is cancelled gives up the rest."""
        found = {}
        numbered = _requests.as_they_come_async(self._open_handle(), paths)
        try:
            async for number, thumbnail in numbered:
                found[number] = _result_of(thumbnail, return_exceptions)
        finally:
            await numbered.aclose()
        return [found[number] for number in range(len(found))]

    async def iter_thumbnails_async(self, paths: Iterable[AnyPath]) -> AsyncGenerator[Thumbnail, None]:
        """As iter_thumbnails(), for ``async for``."""
        numbered = _requests.as_they_come_async(self._open_handle(), paths)
        try:
            async for _, thumbnail in numbered:
                yield thumbnail
        finally:
            await numbered.aclose()

    def jpeg(self, path: AnyPath) -> bytes:
        """The thumbnail as a JPEG stream: the one that the database keeps, made when there is none.

        Raises as thumbnail() does.
        """
        file = _paths.absolute(path)
        stream = self._of_file(path, lambda: _service.stored_jpeg(self._handle, file))
        if stream:
            return stream
        picture = self.thumbnail(path)
        # Some are shown and not kept, as of a file that was written in this very second.
        stream = self._of_file(path, lambda: _service.stored_jpeg(self._handle, file))
        return stream or _service.encode_jpeg(picture)

    def info(self, path: AnyPath) -> dict[str, Any]:
        """What a file says about itself: size, calibration, objective, time of acquisition, loops, texts.

        Names and values are those of ``qvthumbs info --json``; times are UTC in ISO 8601. Raises as thumbnail() does.
        """
        file = _paths.absolute(path)
        return self._of_file(path, lambda: _service.info(self._handle, file))

    def history(
        self, user: Optional[str] = None, *, since: Optional[Time] = None, until: Optional[Time] = None
    ) -> list[dict[str, Any]]:
        """Who acquired which file when, by time: dictionaries of acquired, user, experiment and file.

        Of one user or of all, with since <= acquired < until. A time is a date, a datetime, or a text in ISO 8601;
        without a zone it is local time.
        """
        return _service.history(self._handle, (user or "").encode(), _time_text(since), _time_text(until))

    def record(
        self, path: AnyPath, user: str, *, time: Optional[Time] = None, experiment: Optional[int] = None
    ) -> dict[str, Any]:
        """Records that a user acquired a file, with the experiment that it holds, and tells what was recorded.

        The time is the file's own unless you give one. A file that is recorded already keeps its experiment, and its
        time unless you give another. Returns file, acquired, timeSource and experiment. Raises a ThumbnailError when
        the file cannot be read or is recorded for another user.
        """
        if not user:
            raise ValueError("the user needs a name")
        file = _paths.absolute(path)
        return self._of_file(
            path, lambda: _service.record(self._handle, file, user.encode(), _time_text(time), experiment or 0)
        )

    def users(self) -> list[dict[str, Any]]:
        """Who is in the history: dictionaries of user, records, first and last."""
        return _service.users(self._handle)

    def experiments(self) -> list[dict[str, Any]]:
        """The stored experiments: dictionaries of experiment (its number), acquired, loops and planes."""
        return _service.experiments(self._handle)

    def experiment(self, number: int) -> dict[str, Any]:
        """One stored experiment with all its loops, positions and channels. Raises KeyError when there is none."""
        found = _service.experiment(self._handle, number)
        if found is None:
            raise KeyError(f"there is no experiment {number}")
        return found

    def gallery(self, paths: Iterable[AnyPath], *, captions: bool = True) -> Gallery:
        """The thumbnails as a page that shows itself in a notebook; those that fail stand there with their reason."""
        return Gallery.of(self, paths, captions=captions)

    def messages(self) -> str:
        """What the service has reported since the last call, as when it cannot store; empty when nothing."""
        self._open_handle()
        return _service.take_messages()

    def _open_handle(self) -> _service.Handle:
        if self.closed:
            raise _errors.ClosedError("the database is closed")
        return self._handle

    def _as_they_come(self, paths: Iterable[AnyPath]) -> Generator[_requests.Numbered, None, None]:
        return _requests.as_they_come(self._handle, paths)

    @staticmethod
    def _of_file(path: AnyPath, call: Callable[[], T]) -> T:
        try:
            return call()
        except _errors.ThumbnailError as error:
            error.path = os.fsdecode(path)
            raise


def open(
    path: Optional[AnyPath] = None,
    *,
    all_users: bool = False,
    writable: bool = True,
    high_quality: bool = False,
    planes: Union[str, int, None] = None,
    time: int = 0,
    position: int = 0,
    channels: Union[str, Sequence[int], None] = None,
    stretch_together: bool = False,
    in_memory: int = 256,
) -> Database:
    """Opens a database of thumbnails, which is made when it is missing.

    Without a path it is the one that the variable QVTHUMBS_DB names, else your own, as for the program ``qvthumbs``;
    with `all_users` the one that all users of the machine share. With ``writable=False`` it must be there, and may be
    one that may only be read: it is then read from a copy, and what is made is not kept.

    `planes` (middle, first, last, max, mean, or a number), `time`, `position` and `channels`, which count from 1, and
    `stretch_together` choose what thumbnails of stacks show; each choice has a database of its own. With `high_quality`
    thumbnails are larger and made without short cuts. `in_memory` says how many keep their pixels in memory.

    A process has one service, so one database at a time. Opening the same one again with the same settings gives
    another handle, and the last one that is closed closes it; another one, or other settings, is a DatabaseError until
    then. A process that is forked while a database is open cannot use it, nor open one.

    Raises DatabaseError with the reason.
    """
    return Database(
        _service.Handle(
            file=b"" if path is None else _paths.absolute(path),
            all_users=all_users,
            planes="" if planes is None else str(planes),
            time=time,
            position=position,
            channels=_channel_text(channels),
            stretch_together=stretch_together,
            high_quality=high_quality,
            writable=writable,
            in_memory=max(in_memory, 2 * _requests.WINDOW),
        )
    )


def _channel_text(channels: Union[str, Sequence[int], None]) -> str:
    if channels is None or isinstance(channels, str):
        return channels or ""
    return ",".join(str(int(channel)) for channel in channels)


def _time_text(time: Optional[Time]) -> str:
    if time is None:
        return ""
    return time if isinstance(time, str) else time.isoformat()


def _result_of(thumbnail: Thumbnail, return_exceptions: bool) -> Union[Picture, _errors.ThumbnailError]:
    if return_exceptions and thumbnail.error is not None:
        return thumbnail.error
    return _requests.picture_of(thumbnail)
