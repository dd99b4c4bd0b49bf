# SPDX-License-Identifier: Apache-2.0
"""Finds the places of a source file that can be changed, and what each could become.

A mutant changes one operator, constant, condition, string, or the order of two statements. Left out:

- comments, preprocessor lines and static_assert, which do nothing at run time,
- what is between `#ifdef ZEB_THREAD_SANITIZER` and its `#else`, which another build compiles,
- attributes, and operators that are part of a name or a type,
- the order of declarations, and of statements that plainly don't touch each other: assignments
  without a call, `x.reset()`, `x.clear()` and `require(x)` where neither changes what the other names.

Trace texts and the names in them are changed like any other string: readers rely on them.
"""

import collections
import dataclasses
import re

OPERATORS = {
    "==": ["!="], "!=": ["=="], "<": ["<=", ">"], "<=": ["<", ">"], ">": [">=", "<"],
    ">=": [">", "<"], "+": ["-"], "-": ["+"], "*": ["+"], "/": ["*"], "%": ["/"], "&&": ["||"],
    "||": ["&&"], "&": ["|"], "|": ["&"], "^": ["|"], "<<": [">>"], ">>": ["<<"], "+=": ["-="],
    "-=": ["+="], "|=": ["&="], "&=": ["|="],
}
SHORT_OPERATORS = {"++": ["--"], "--": ["++"], "!": [""], "~": [""], "-": [""]}

TOKEN = re.compile(
    r"""(?P<string>"(?:[^"\\\n]|\\.)*")
      | (?P<character>(?<![0-9A-Fa-f])'(?:[^'\\\n]|\\.)+')
      | (?P<number>\b(?:0x[0-9A-Fa-f']+|\d[\d']*)[uUlL]*\b)
      | (?P<word>\b(?:true|false|if|while)\b)
      | (?P<operator>(?<=\ )(?:==|!=|<=|>=|&&|\|\||<<|>>|\+=|-=|\|=|&=|[-+*/%<>&|^])(?=[ \n]))
      | (?P<short>(?<![\w)\]+-])(?:\+\+|--)(?=\w)|!(?=[\w(])|~(?=k[A-Z])|(?<=[\[(, ])-(?=[\w]))
    """, re.VERBOSE)
TEXT = r""""(?:[^"\\\n]|\\.)*"|(?<![0-9A-Fa-f])'(?:[^'\\\n]|\\.)+'"""
COMMENT = re.compile(r"//[^\n]*|/\*.*?\*/", re.DOTALL)
NOT_COMPILED = re.compile(r"^#ifdef ZEB_THREAD_SANITIZER\n.*?^#(?:else|endif)", re.DOTALL | re.MULTILINE)
DIRECTIVE = re.compile(r"^#(?:[^\n]*\\\n)*[^\n]*", re.MULTILINE)
ASSERTION = re.compile(r"\bstatic_assert\(.*?\);", re.DOTALL)
ATTRIBUTE = re.compile(r"__attribute__\(\(.*?\)\)+|\[\[[^\]]*\]\]")
STATEMENT = re.compile(r"^( +)(?!return|break|continue|case|default|using|goto|if|else|for|while|"
                       r"switch|do\b|const |static |constexpr |auto\b|friend |typedef |Trace trace|"
                       r"[\w:]+[*&]* [*&]?\w+(?:\[.*\]|\{.*\}| = .*)?;)"
                       r"[A-Za-z_*+(-][^{}\n]*;$")
# Statements that touch what they name and nothing else; the first group is what they change.
QUIET = re.compile(r"(\w+)[\w.\[\]]*(?: = | \+= |\.reset\(\)|\.clear\(\)|->reset\(\))"
                   r"(?:[^()]|\b(?:std::min|std::max|::sum|sum)\(|static_cast<[\w:]+>\(|\))*;"
                   r"|require\((\w+)\);")


@dataclasses.dataclass(frozen=True)
class Mutant:
    file: str
    start: int
    end: int
    replacement: str
    kind: str
    line: int  # from 1
    text: str  # of the line, see places()
    change: str  # numbered when the line offers the same one again

    def apply(self, source):
        return source[:self.start] + self.replacement + source[self.end:]


def blanked(source):
    """The source with everything that is left out replaced by spaces, at equal offsets."""
    def spaces(match):
        return re.sub(r"[^\n]", " ", match.group())

    def unless_text(match):
        return match.group() if match.group()[0] in "\"'" else spaces(match)

    source = re.sub(TEXT + "|" + COMMENT.pattern, unless_text, source, flags=re.DOTALL)
    for pattern in (NOT_COMPILED, DIRECTIVE, ASSERTION, ATTRIBUTE):
        source = pattern.sub(spaces, source)
    return source


def closing(source, opening):
    """The place of the parenthesis that closes the one at `opening`; strings hold none that count."""
    depth = 0
    for match in re.finditer(TEXT + "|[()]", source[opening:]):
        depth += {"(": 1, ")": -1}.get(match.group(), 0)
        if depth == 0:
            return opening + match.start()
    return None


def changed_string(literal):
    """Another letter where the text has one, else one character more."""
    for place in range(len(literal) - 2, 0, -1):
        if literal[place].isalpha() and literal[place - 1] not in "%\\":
            other = "q" if literal[place] != "q" else "p"
            return literal[:place] + other + literal[place + 1:]
    return literal[:-1] + "q" + '"'


def changed_number(number):
    digits, suffix = re.match(r"(0x[0-9A-Fa-f]+|\d+)(.*)", number.replace("'", "")).groups()
    octal = re.fullmatch(r"0\d+", digits)
    value = int(digits, 8) if octal else int(digits, 0)
    for other in [value + 1] + [value - 1] * (value > 1):
        yield (f"0{other:o}" if octal else f"{other}") + suffix


def conditions(code, match):
    """`if (...)`: taken and not taken, whatever is there; `while (...)`: never."""
    opening = match.end() + 1
    if not re.match(r" \(", code[match.end():]):
        return
    end = closing(code, opening)
    if end is None or " = " in code[opening:end]:
        return
    for value in ("true", "false") if match.group() == "if" else ("false",):
        yield "condition", opening + 1, end, value


def tokens(code):
    """(kind, start, end, replacement) of everything but the order of statements."""
    for match in TOKEN.finditer(code):
        text, start, end = match.group(), match.start(), match.end()
        if match.lastgroup == "string":
            if text != '"C"':
                yield "string", start, end, changed_string(text)
        elif match.lastgroup == "character":
            yield "constant", start, end, "'q'"
        elif match.lastgroup == "number":
            for other in changed_number(text):
                yield "constant", start, end, other
        elif text in ("true", "false"):
            yield "constant", start, end, "false" if text == "true" else "true"
        elif text in ("if", "while"):
            yield from conditions(code, match)
        else:
            table = OPERATORS if match.lastgroup == "operator" else SHORT_OPERATORS
            for other in table[text]:
                yield "operator", start, end, other


def independent(first, second):
    """True when neither changes what the other names."""
    changed = []
    for text in (first, second):
        quiet = QUIET.fullmatch(text)
        if not quiet:
            return False
        changed.append(quiet.group(1) or quiet.group(2))
    return not any(re.search(rf"\b{name}\b", other)
                   for name, other in zip(changed, (second, first)))


def swaps(code):
    """(start, end, replacement) of each pair of neighbouring one-line statements."""
    place = 0
    lines = code.split("\n")
    for first, second in zip(lines, lines[1:]):
        a, b = STATEMENT.match(first.rstrip()), STATEMENT.match(second.rstrip())
        if (a and b and a.group(1) == b.group(1) and first != second and
                not independent(first.strip(), second.strip())):
            yield place, place + len(first) + 1 + len(second), second + "\n" + first
        place += len(first) + 1


def places(source):
    """Each line's text without its indentation, told apart from equal ones: "text [2 of 3]"."""
    texts = [line.strip() for line in source.split("\n")]
    total = collections.Counter(texts)
    seen = collections.Counter()
    for text in texts:
        seen[text] += 1
        yield f"{text} [{seen[text]} of {total[text]}]" if total[text] > 1 else text


def mutants_of(file, source):
    code = blanked(source)
    texts = list(places(source))
    seen = collections.Counter()

    def mutant(kind, start, end, replacement, change):
        line = source.count("\n", 0, start) + 1
        seen[line, change] += 1
        number = seen[line, change]
        return Mutant(file, start, end, replacement, kind, line, texts[line - 1],
                      change if number == 1 else f"{change} ({number})")

    for kind, start, end, replacement in tokens(code):
        old = " ".join(source[start:end].split())
        yield mutant(kind, start, end, replacement, f"{old} -> {replacement or 'nothing'}")
    for start, end, replacement in [] if file.endswith(".h") else swaps(source):
        yield mutant("order", start, end, replacement, "after the next line")
