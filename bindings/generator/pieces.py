"""What both languages make their methods of."""

import dataclasses
import textwrap


@dataclasses.dataclass
class Piece:
    """What a parameter of the C function is in a language: parameters of the method, lines before the call, the
    argument, and what the method gives of it."""

    argument: str
    parameters: tuple[str, ...] = ()
    setup: tuple[str, ...] = ()
    given: tuple[str, ...] = ()


def broken(begin, parts, end, indent, width):
    """A list that is broken between its parts where the line ends."""
    text = begin + ", ".join(part.replace(" ", "\0") for part in parts) + end.replace(" ", "\0")
    lines = textwrap.wrap(text, width, subsequent_indent=" " * indent, break_long_words=False, break_on_hyphens=False)
    return [line.replace("\0", " ") for line in lines]


def pieces_of(method, piece, description):
    """Those of all its parameters; one that tells the length of the one before gets its name."""
    previous = [""] + [parameter.name for parameter, _ in method.parameters]
    return [piece(parameter, kind, before, description)
            for (parameter, kind), before in zip(method.parameters, previous)]
