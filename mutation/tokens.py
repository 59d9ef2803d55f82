"""The tokens of a C++ source, without comments and preprocessor lines, and which brackets match."""

import re
from dataclasses import dataclass

TOKEN = re.compile(r"""
    (?P<skip> \s+ | //[^\n]* | /\*.*?\*/ | ^[ \t]*\#(?:[^\n\\]|\\.|\\\n)* )
  | (?P<text> (?:u8|[uUL])? R"(?P<mark>[^(]*)\(.*?\)(?P=mark)" | (?:u8|[uUL])?"(?:[^"\\\n]|\\.)*" )
  | (?P<char> (?:u8|[uUL])?'(?:[^'\\\n]|\\.)+' )
  | (?P<number> \.?\d(?:[\w.']|[eE][+-])* )
  | (?P<name> [A-Za-z_]\w* )
  | (?P<sign> <=> | <<= | >>= | \.\.\. | ->\* | :: | -> | && | \|\| | == | != | <= | >= | \+\+ | --
      | [-+*/%&|^]= | << | . )
""", re.VERBOSE | re.DOTALL | re.MULTILINE)
CLOSING = {"(": ")", "[": "]", "{": "}"}


@dataclass(frozen=True)
class Token:
    kind: str
    text: str
    start: int
    end: int


def tokens_of(source):
    return [Token(found.lastgroup if found.lastgroup != "mark" else "text", found.group(), found.start(), found.end())
            for found in TOKEN.finditer(source) if found.lastgroup != "skip"]


def matches_of(tokens):
    """The place of the other bracket, by the place of each."""
    matches = {}
    opened = []
    for place, token in enumerate(tokens):
        if token.kind != "sign":
            continue
        if token.text in CLOSING:
            opened.append(place)
        elif token.text in CLOSING.values():
            matches[place] = opened.pop()
            matches[matches[place]] = place
    return matches
