# SPDX-License-Identifier: Apache-2.0
"""Makes manual pages from their sources, what programs say of themselves, and the documents.

    assemble.py OUT DOCUMENTS PROGRAM... -- PAGE.scd...

A line of a source that begins with "@" stands for something that is written elsewhere:

    @name              preamble and NAME of zebmon-COMMAND(1), from the program's help
    @usage [COMMAND]   a synopsis
    @options [COMMAND] arguments and options
    @codes [COMMAND]   exit codes
    @commands          the program's commands with their summaries
    @list FILE TABLE   the rows of a table: what is in the first column, and what is said of it
    @grid FILE TABLE   a table as it is

TABLE is how the heading above it begins, and a number if it is not the first one there. A page's name
is that of its program, with the command behind a dash."""
import functools
import pathlib
import re
import subprocess
import sys

COLUMN = 30  # where the help begins to describe


def escaped(text):
    return re.sub(r"([\\*_~`<>#])", r"\\\1", text)


def marked(markdown):
    """Markdown within a line, for scdoc."""
    def piece(found):
        code, bold, link, emphasised, plain = found.groups()
        if code or bold:
            return f"*{escaped(code or bold)}*"
        if emphasised:
            return f"_{escaped(emphasised)}_"
        return marked(link) if link else escaped(plain)

    pattern = r"`([^`]+)`|\*\*([^*]+)\*\*|\[([^]]+)\]\([^)]*\)|(?<!\w)\*([^*\s][^*]*)\*(?!\w)|(.)"
    return re.sub(pattern, piece, markdown)


def item(term, text):
    return f"{term}\n\t{text}\n\n"


class Help:
    """What a program says of itself or of one of its commands."""

    def __init__(self, program, command=None):
        words = [str(program), *([command] if command else []), "--help"]
        lines = subprocess.run(words, check=True, text=True, stdout=subprocess.PIPE).stdout.splitlines()
        self.summary = lines[0].rstrip(".")
        self.usage = next(line for line in lines if line.startswith("Usage:")).split(None, 2)[2]
        self.lists = {}
        self.codes = []
        entries = self.codes
        for line in lines[lines.index("") + 1:]:
            if line in ("Positionals:", "Options:", "Subcommands:"):
                entries = self.lists.setdefault(line, [])
            elif line.startswith("Exit codes:"):
                entries = self.codes
                entries.append(line.removeprefix("Exit codes:").strip())
            elif entries is self.codes:
                entries.append(line.strip())
            elif line.startswith(" " * COLUMN):
                entries[-1][1] += f" {line.strip()}"
            elif line:
                entries.append(self.entry(line))

    # A name that leaves no blank before the column has its description in the next line.
    @staticmethod
    def entry(line):
        if line[COLUMN - 1:COLUMN] == " ":
            return [line[:COLUMN].strip(), line[COLUMN:]]
        return [line.strip(), ""]


def term(name):
    """"-i,--interval T=2s" and the like: options are bold, values are not; the rest is told below."""
    words = [word for word in name.split() if word != "REQUIRED"]
    shown = [f"*{escaped(words[0])}*" if words[0].startswith("-") else f"_{escaped(words[0])}_"]
    shown += [f"_{escaped(word)}_" if word.strip(".") else "..." for word in words[1:]]
    return " ".join(shown)


def described(name, text):
    sentences = [escaped(text)]
    for sign, words in (("Excludes:", "Not with"), ("Needs:", "Only with")):
        if found := re.search(rf"{sign}((?: --[\w-]+)+)", name):
            options = [f"*{option}*" for option in found[1].split()]
            sentences.append(f"{words} {' or '.join(options)}.")
    name = re.sub(r" x \d+\b| (Excludes|Needs):.*", "", name)
    if found := re.fullmatch(r"(\S+ [^ =]+)=(.*)", name):
        name = found[1]
        sentences.append(f"Default: {escaped(found[2])}.")
    if len(sentences) > 1:
        sentences[0] = re.sub(r"(?<![.])$", ".", sentences[0])
    return item(term(name), " ".join(sentences).strip())


def rows(file, heading, number):
    """Of a document's table: the one of that number below the heading that begins so."""
    def split(line):
        cells = re.split(r"(?<!\\)\|", line.strip()[1:-1])
        return [cell.strip().replace("\\|", "|") for cell in cells]

    lines = file.read_text().replace("\n\n", "\n\0\n").splitlines()
    titles = [line.lstrip("#").replace("`", "").strip() if line.startswith("#") else "" for line in lines]
    begin = next((at for at, title in enumerate(titles) if title.startswith(heading)), None)
    if begin is None:
        raise SystemExit(f"{file}: there is no heading that begins with {heading}")
    dashes = [at for at in range(begin, len(lines)) if lines[at].startswith("| ---")]
    head = dashes[number - 1] - 1
    end = next(at for at in range(head, len(lines) + 1) if at == len(lines) or not lines[at].startswith("|"))
    return [split(line) for line in lines[head:end] if not line.startswith("| ---")]


def listed(table):
    (_, *heads), *entries = table
    text = ""
    for first, *cells in entries:
        told = dict(zip(heads, cells))
        default = told.pop("default", "")
        first = marked(first) + (f" ({'default: ' if default != 'must be there' else ''}{marked(default)})" if default else "")
        main, *more = [(head, cell) for head, cell in told.items() if cell]
        sentences = [marked(main[1])] + [f"{marked(head[0].upper() + head[1:])}: {marked(cell)}" for head, cell in more]
        text += item(first, ". ".join(sentences))
    return text


def grid(table):
    lines = []
    for number, cells in enumerate(table):
        title = number == 0
        for at, cell in enumerate(cells):
            sign = "]" if title and at == 0 else ":" if at else "|"
            align = " " if not title else "<" if at == len(cells) - 1 else "["
            lines.append(f"{sign}{align} " + (f"*{marked(cell)}*" if title else marked(cell)))
    return "\n".join(lines) + "\n\n"


class Page:
    def __init__(self, source, documents, programs):
        self.source = source
        self.documents = documents
        program, _, command = source.name.split(".")[0].partition("-")
        self.program = programs.get(program)
        self.title, self.command = program, command or None

    @functools.cache
    def help(self, command=None):
        return Help(self.program, command or self.command)

    def full_name(self, command):
        return f"{self.title} {command or self.command or ''}".strip()

    def name(self):
        summary = self.help().summary
        page = self.full_name(None).replace(" ", "-")
        return f'{page}(1) "zebpnode"\n\n# NAME\n\n{page} - {escaped(summary[0].lower() + summary[1:])}\n\n'

    def usage(self, command=None):
        words = self.help(command).usage.removeprefix(command or self.command or "").split()
        shown = ["[_options_]" if word == "[OPTIONS]" else f"_{escaped(word)}_" for word in words]
        return f"*{self.full_name(command)}* {' '.join(shown)}\n\n"

    def options(self, command=None):
        lists = self.help(command).lists
        return "".join(described(*entry) for kind in ("Positionals:", "Options:") for entry in lists.get(kind, []))

    def codes(self, command=None):
        first, *lines = self.help(command).codes
        if first:
            return escaped(" ".join([first, *lines]).strip()) + "\n\n"
        pairs = [line.split(None, 1) for line in lines if line]
        return "".join(item(f"*{code}*", escaped(text)) for code, text in pairs)

    def commands(self):
        return "".join(item(f"*{self.title}-{name}*(1)", escaped(text)) for name, text in self.help().lists["Subcommands:"])

    def rows(self, file, *words):
        number = int(words[-1]) if words[-1].isdigit() else 1
        return rows(self.documents / file, " ".join(words).removesuffix(f" {number}"), number)

    def list(self, *words):
        return listed(self.rows(*words))

    def grid(self, *words):
        return grid(self.rows(*words))

    def text(self):
        pieces = []
        for line in self.source.read_text().splitlines(keepends=True):
            if line.startswith("@"):
                what, *words = line[1:].split()
                line = getattr(self, what)(*words)
            pieces.append(line)
        return re.sub(r"\n{3,}", "\n\n", "".join(pieces)).strip() + "\n"


def main():
    out, documents, *words = sys.argv[1:]
    programs, sources = words[:words.index("--")], words[words.index("--") + 1:]
    programs = {pathlib.Path(path).name: path for path in programs}
    for source in map(pathlib.Path, sources):
        text = Page(source, pathlib.Path(documents), programs).text()
        page = subprocess.run(["scdoc"], input=text.encode(), stdout=subprocess.PIPE)
        if page.returncode != 0:
            sys.exit(f"{source}: scdoc refuses it as above")
        # Names of keys and options are looked for: no paragraph may part them.
        whole = page.stdout.replace(b"\n.nh\n", b"\n.nh\n.nr HY 0\n", 1)
        pathlib.Path(out, source.name.removesuffix(".scd")).write_bytes(whole)


main()
