"""The small faults that can be put into a C++ source as clang-format leaves it: one change each."""
import dataclasses
import pathlib
import re

# What is no code keeps its length and loses its content: literals, comments, preprocessor lines, what the compiler asserts.
NO_CODE = re.compile(r"(?P<literal>\"(?:\\.|[^\"\\\n])*\"|'(?:\\.|[^'\\\n])+')|"
                     r"//[^\n]*|/\*[\s\S]*?\*/|^ *#(?:[^\n]*\\\n)*[^\n]*|\bstatic_assert\(.*", re.M)
COMPARED = re.compile(r" (<=?|>=?|==|!=) ")
OTHER_EDGE = {"<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "=="}
STATEMENT = re.compile(r"(?<=[;{}:])\s*^ {2,}([\w*(+-][^;{}]*);", re.M)
CALL = re.compile(r"[\w:.\->\[\]]+\(.*\)", re.S)
CHANGED = re.compile(r"(?:\+\+|--)?\*?[\w.\->:]+(?:\+\+|--| (?:[-+*/%|&^]|<<|>>)?= .*)", re.S)
STATUS = re.compile(r"\bEFI_[A-Z_]+\b")


@dataclasses.dataclass(frozen=True)
class Fault:
    file: str
    begin: int
    end: int
    line: int
    old: str
    new: str
    place: str  # the whole line

    def put_into(self, text):
        return text[:self.begin] + self.new + text[self.end:]

    def __str__(self):
        old, new = (" ".join(text.split()) for text in (self.old, self.new))
        return f"{self.file}:{self.line}: " + (f"{old} -> {new} in {self.place}" if new else f"without {old};")


def code_of(text):
    def blank(match):
        part = match.group()
        if match["literal"]:
            return part[0] + "_" * (len(part) - 2) + part[-1]
        return re.sub(r"[^\n]", " ", part)
    return NO_CODE.sub(blank, text)


def closing(code, begin):
    """Where the bracket ends that opens at begin."""
    depth = 0
    for at in range(begin, len(code)):
        depth += (code[at] in "([{") - (code[at] in ")]}")
        if depth == 0:
            return at
    return len(code)


def arguments(code, begin, end):
    """Begin and end of each of those between two brackets."""
    at = first = begin
    while at < end:
        if code[at] in "([{":
            at = closing(code, at)
        elif code[at] == ",":
            yield first, at
            first = at + 2  # with the space or the end of the line
        at += 1
    yield first, end


def swapped(code):
    for call in re.finditer(r"(?<![*&\w])(\w+ )?\b([a-z]\w*)\(", code):
        if call[1] not in (None, "return ") or call[2] in ("if", "for", "while", "switch", "sizeof", "alignof"):
            continue  # a declaration, or no call
        places = list(arguments(code, call.end(), closing(code, call.end() - 1)))
        for (a, b), (c, d) in zip(places, places[1:]):
            if code[a:b].strip() != code[c:d].strip():
                yield a, d, lambda text, a=a, b=b, c=c, d=d: text[c:d] + text[b:c] + text[a:b]


def left_out(code):
    for match in STATEMENT.finditer(code):
        statement = match[1]
        plain = statement
        while plain != (plain := re.sub(r"\[[^\[\]]*\]|(?<=\w)\([^()]*\)(?=[.\-=])", "", plain)):
            pass  # an index, or a call that gives what is changed
        if CALL.fullmatch(statement) or CHANGED.fullmatch(plain):
            yield match.start(1), match.end(1), lambda text: ""


def changes(code, statuses):
    """Begin, end and what makes the new text of the whole text."""
    for match in COMPARED.finditer(code):
        yield *match.span(1), lambda text, old=match[1]: OTHER_EDGE[old]
    for match in re.finditer(r"\bif (\()", code):
        begin, end = match.start(1) + 1, closing(code, match.start(1))
        if ";" not in code[begin:end] and not re.fullmatch(r"[^ ]+ [=!]= [^ ]+", code[begin:end]):
            yield begin, end, lambda text, begin=begin, end=end: f"!({text[begin:end]})"
    for match in re.finditer(r"(?<![\w.])(0x[0-9A-Fa-f]+|0|[1-9][0-9]*)(?=[uUlL]*\b(?!\.))", code):
        # Even ones become greater, odd ones less.
        yield *match.span(1), lambda text, old=match[1]: (hex if "x" in old else str)(int(old, 0) ^ 1)
    for match in re.finditer(r"\b(?:true|false)\b", code):
        yield *match.span(), lambda text, old=match[0]: "false" if old == "true" else "true"
    for match in re.finditer(r" (&&|\|\|) ", code):
        yield *match.span(1), lambda text, old=match[1]: "||" if old == "&&" else "&&"
    yield from left_out(code)
    yield from swapped(code)
    for match in STATUS.finditer(code):
        if match[0] in statuses:
            other = statuses[(statuses.index(match[0]) + 1) % len(statuses)]
            yield *match.span(), lambda text, other=other: other


def statuses_of(root, files):
    """Those that the sources have a word for, in the header's order."""
    listed = re.findall(r"#define (EFI_[A-Z_]+) EFI_ERROR_CODE\(\d", (root / "include/uefi/types.h").read_text())
    used = set(STATUS.findall(" ".join((root / file).read_text() for file in files)))
    return [status for status in listed if status in used]


def faults_of(root, files):
    statuses = {folder: statuses_of(root, [file for file in files if pathlib.Path(file).parent == folder])
                for folder in {pathlib.Path(file).parent for file in files}}
    for file in files:
        text = (root / file).read_text()
        for begin, end, new in changes(code_of(text), statuses[pathlib.Path(file).parent]):
            line = text.count("\n", 0, begin)
            yield Fault(file, begin, end, line + 1, text[begin:end], new(text), text.splitlines()[line].strip())
