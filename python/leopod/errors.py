"""The one error of the package."""

from __future__ import annotations


class Error(RuntimeError):
    """A call that could not be done: the text of the program or of the library, and the program's exit status.

    Status 1: done, but the result is not worth using; 2: an input or an option that cannot be used. -1: no program was run.
    """

    def __init__(self, text: str, status: int = -1) -> None:
        super().__init__(text)
        self.status = status
