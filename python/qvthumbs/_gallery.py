"""Thumbnails for notebooks."""

from __future__ import annotations

import base64
import html
import os
from typing import TYPE_CHECKING, Iterable, NamedTuple, Optional

from ._errors import DatabaseError, ThumbnailError
from ._paths import AnyPath, each

if TYPE_CHECKING:
    from ._database import Database

_FIGURE = "display:inline-block;margin:4px;vertical-align:bottom;text-align:center;max-width:480px"
_CAPTION = "font-size:smaller;overflow-wrap:anywhere"
_REASON = "padding:2em;border:1px dashed;max-width:240px"


class _Card(NamedTuple):
    path: str
    jpeg: bytes
    reason: str


class Gallery:
    """Thumbnails that show themselves in a notebook. Holds what it shows: the database may be closed."""

    def __init__(self, cards: list[_Card], captions: bool) -> None:
        self._cards = cards
        self._captions = captions

    @classmethod
    def of(cls, database: Database, paths: Iterable[AnyPath], *, captions: bool = True) -> Gallery:
        """Made by Database.gallery() and qvthumbs.gallery()."""
        wanted = list(each(paths))
        errors = {}
        for path, _, error in database.iter_thumbnails(wanted):
            if error is not None:
                errors[os.fsencode(path)] = error
        return cls([_card(database, path, errors.get(os.fsencode(path))) for path in wanted], captions)

    def __len__(self) -> int:
        return len(self._cards)

    def __repr__(self) -> str:
        failed = sum(1 for card in self._cards if card.reason)
        return f"<qvthumbs.Gallery of {len(self._cards)}{f', {failed} failed' if failed else ''}>"

    def _repr_html_(self) -> str:
        return "<div>" + "".join(self._figure(card) for card in self._cards) + "</div>"

    def _figure(self, card: _Card) -> str:
        name = _text(os.path.basename(card.path.rstrip("/")))
        if card.reason:
            shown = f'<div style="{_REASON}">{_text(card.reason)}</div>'
        else:
            data = base64.b64encode(card.jpeg).decode("ascii")
            shown = f'<img alt="{name}" src="data:image/jpeg;base64,{data}">'
        if self._captions or card.reason:
            shown += f'<figcaption style="{_CAPTION}">{name}</figcaption>'
        return f'<figure style="{_FIGURE}" title="{_text(card.path)}">{shown}</figure>'


def _card(database: Database, path: AnyPath, error: Optional[ThumbnailError]) -> _Card:
    name = os.fsdecode(path)
    if error is not None:
        return _Card(name, b"", error.reason)
    try:
        return _Card(name, database.jpeg(path), "")
    except (ThumbnailError, DatabaseError) as failed:
        return _Card(name, b"", str(failed))


def _text(text: str) -> str:
    """Safe in a page; bytes of a name that are no UTF-8 become a replacement character."""
    return html.escape(text.encode("utf-8", "surrogateescape").decode("utf-8", "replace"))


def gallery(
    paths: Iterable[AnyPath], database: Optional[AnyPath] = None, *, captions: bool = True
) -> Gallery:
    """The thumbnails of files for a notebook, from your own database or the one that is named.

    As the last line of a cell it shows itself. With a database open, use its gallery().
    """
    from ._database import open

    with open(database) as opened:
        return opened.gallery(paths, captions=captions)
