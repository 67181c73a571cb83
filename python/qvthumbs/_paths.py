"""Paths as the file system has them."""

from __future__ import annotations

import os
from typing import Iterable, Iterator, Union

AnyPath = Union[str, bytes, "os.PathLike[str]", "os.PathLike[bytes]"]


def absolute(path: AnyPath) -> bytes:
    """The bytes of a path; "." and ".." stay, for the file system to resolve."""
    name = os.fsencode(path)
    if not name:
        raise ValueError("an empty name is no file")
    if b"\0" in name:
        raise ValueError("a file's name holds no NUL")
    return name if os.path.isabs(name) else os.path.join(os.getcwdb(), name)


def each(paths: Iterable[AnyPath]) -> Iterator[AnyPath]:
    """Refuses a single path, which would be taken apart into letters."""
    if isinstance(paths, (str, bytes, os.PathLike)):
        raise TypeError("give several paths in a list; thumbnail() takes one")
    return iter(paths)
