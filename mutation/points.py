"""Where a source can be changed, and the source with all its changes in it, each behind a switch."""

from dataclasses import dataclass

from tokens import matches_of, tokens_of

COMPARISONS = {  # what it becomes, the two as functions, and a sign of the same precedence
    "==": ("!=", "equal_to", "not_equal_to", "!="),
    "!=": ("==", "not_equal_to", "equal_to", "!="),
    "<": ("<=", "less", "less_equal", "<"),
    "<=": ("<", "less_equal", "less", "<"),
    ">": (">=", "greater", "greater_equal", "<"),
    ">=": (">", "greater_equal", "greater", "<"),
    "+": ("-", "plus", "minus", "+"),
    "-": ("+", "minus", "plus", "+"),
}
KEYWORDS = {"if", "for", "while", "switch", "return", "case", "default", "else", "do", "using", "typedef", "template",
            "namespace", "class", "struct", "enum", "public", "private", "protected", "throw", "static_assert", "const",
            "static", "auto", "break", "continue", "friend", "delete", "explicit", "virtual", "operator", "new",
            "inline", "constexpr", "try", "catch", "goto", "extern"}
# Where an operand of `&&` ends, beside brackets; one of `||` holds `&&`.
ENDS = {";", ",", "?", ":", "=", "+=", "-=", "|=", "&=", "||", "&&", "return", "else", "case", "co_return"}


@dataclass(frozen=True)
class Point:
    """One change. `{id}` in `before`, `after` and `instead` is the number of its switch."""
    path: str
    line: int
    start: int
    end: int
    what: str
    before: str = ""
    after: str = ""
    instead: str = None

    @property
    def key(self):
        return f"{self.path}:{self.start}-{self.end} {self.what}"


class Finder:
    def __init__(self, path, source):
        self.path = path
        self.source = source
        self.tokens = tokens_of(source)
        self.matches = matches_of(self.tokens)
        self.lines = source.split("\n")
        self.points = {}

    def find(self):
        for place, token in enumerate(self.tokens):
            if token.kind == "sign":
                self.sign(place, token)
            elif token.kind == "name":
                self.name(place, token)
            self.statement(place)
        return sorted(self.points.values(), key=lambda point: (point.start, -point.end))

    def text(self, place):
        return self.tokens[place].text if 0 <= place < len(self.tokens) else ""

    def add(self, start, end, what, **change):
        line = self.source.count("\n", 0, start) + 1
        whole = self.lines[line - 1]
        if "constexpr" in whole or "static_assert" in whole or "template <" in whole:
            return
        self.points.setdefault((start, end, what), Point(self.path, line, start, end, what, **change))

    def wrap(self, first, last, what, before, after):
        """Around the tokens from `first` up to `last`."""
        self.add(self.tokens[first].start, self.tokens[last].end, what, before=before, after=after)

    def sign(self, place, token):
        binary = self.source[token.start - 1].isspace() and self.source[token.end:token.end + 1].isspace()
        if binary and token.text in COMPARISONS and not self.beside_text(place):
            changed, kept_by, changed_by, same = COMPARISONS[token.text]
            self.add(token.start, token.end, f"{token.text} becomes {changed}",
                     instead=f"{same} mutation::either<std::{kept_by}<>, std::{changed_by}<>>{{{{{{id}}}}}} {same}")
        elif binary and token.text in ("&&", "||"):
            self.operand(place, token.text, -1)
            self.operand(place, token.text, 1)
        elif binary and token.text == "?":
            first = self.reach(place, ENDS - {"&&", "||"}, -1)
            self.wrap(first, place - 1, "condition becomes its contrary",
                      "(mutation::on({id}) != static_cast<bool>(", "))")
        elif token.text == "!":
            self.add(token.start, token.end, "! left out", before="mutation::keep_not{{{id}}} * ")

    def beside_text(self, place):
        """The `+` of texts has no contrary."""
        return self.text(place) in "+-" and "text" in (self.tokens[place - 1].kind, self.tokens[place + 1].kind)

    def reach(self, place, ends, step):
        """The last token of the operand on one side of an operator."""
        at = place + step
        brackets = ")]}" if step < 0 else "([{"
        while self.text(at) not in ends and self.text(at):
            if self.text(at) in brackets:
                at = self.matches[at]
            elif at in self.matches:
                break
            at += step
        return at - step

    def operand(self, place, sign, step):
        ends = ENDS if sign == "&&" else ENDS - {"&&"}
        first, last = sorted((self.reach(place, ends, step), place + step))
        if first > last:
            return
        if sign == "&&":
            self.wrap(first, last, "operand of && becomes true", "(mutation::on({id}) || (", "))")
        else:
            self.wrap(first, last, "operand of || becomes false", "(!mutation::on({id}) && (", "))")

    def name(self, place, token):
        if token.text in ("true", "false"):
            self.add(token.start, token.end, f"{token.text} becomes its contrary",
                     instead=f"mutation::flip({{id}}, {token.text})")
        elif token.text in ("continue", "break", "return") and self.text(place + 1) == ";":
            self.leave_out(place, place + 1)
        elif token.text in ("if", "while") and self.text(place + 1) == "(":
            self.condition(place, token.text)

    def condition(self, place, keyword):
        last = self.matches[place + 1] - 1
        first = place + 2
        at = first
        while at <= last:
            if self.text(at) == ";":
                first = at + 1
            elif self.text(at) == "=":
                return  # a declaration
            at = self.matches[at] + 1 if self.text(at) in "([{" else at + 1
        if keyword == "while":
            self.wrap(first, last, "loop never entered", "!mutation::on({id}) && (", ")")
            return
        texts = [token.text for token in self.tokens[first:last + 1]]
        if texts.count("==") + texts.count("!=") == 1 and "&&" not in texts and "||" not in texts:
            return  # the comparison's own mutant
        if texts[0] == "!" and "&&" not in texts and "||" not in texts:
            return
        self.wrap(first, last, "condition becomes its contrary", "mutation::on({id}) != static_cast<bool>(", ")")

    def statement(self, place):
        """A call, an assignment or a step that is a statement of its own."""
        token = self.tokens[place]
        before = self.text(place - 1)
        if before == ")":
            opened = self.matches[place - 1]
            if self.text(opened - 1) not in ("if", "for", "while") and self.text(opened - 1) != "constexpr":
                return
        elif before not in (";", "{", "}", "else"):
            return
        if token.text in ("++", "--"):
            at = place + 1
        elif token.kind == "name" and token.text not in KEYWORDS or token.text == "*":
            at = place
        else:
            return
        was_name = False
        assigned = False
        while self.text(at) != ";":
            text = self.text(at)
            kind = self.tokens[at].kind if text else ""
            if not text or text in "}),]" or text == ":" and not assigned:
                return
            if not assigned and (kind == "name" and was_name or text in ("<", ">", "&", "&&") or text == "*" and at != place):
                return  # a declaration
            assigned = assigned or text in ("=", "+=", "-=", "|=", "&=", "<<")
            was_name = kind == "name"
            at = self.matches[at] + 1 if text in "([{" else at + 1
        texts = {token.text for token in self.tokens[place:at]}
        if texts & {"reserve", "shrink_to_fit"}:
            return  # only saves time
        if assigned or self.text(at - 1) == ")" or token.text in ("++", "--"):
            self.leave_out(place, at)

    def leave_out(self, first, last):
        self.wrap(first, last, "statement left out", "{{ if (!mutation::on({id})) ", " }}")


def points_of(path, source):
    return Finder(path, source).find()


def with_switches(source, numbered):
    """The source with the changes of `numbered`: pairs of a point and the number of its switch."""
    inserted = []
    for point, number in numbered:
        before = point.before.format(id=number)
        if point.instead is not None:
            inserted.append(((point.start, 2, 0), point.start, point.end, point.instead.format(id=number)))
            continue
        # At one place, what closes stands before what opens, and the wider opens first.
        inserted.append(((point.start, 1, -point.end, number), point.start, point.start, before))
        if point.after:
            inserted.append(((point.end, 0, -point.start, -number), point.end, point.end, point.after.format()))
    result = []
    at = 0
    for _, start, end, text in sorted(inserted, key=lambda one: one[0]):
        result += [source[at:start], text]
        at = end
    return "".join(result) + source[at:]
