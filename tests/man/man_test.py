# SPDX-License-Identifier: Apache-2.0
"""The manual pages as a reader sees them, held against the programs' help and the documents.

    man_test.py PAGES DOCUMENTS PROGRAM..."""
import functools
import os
import pathlib
import re
import subprocess
import sys
import unittest

PAGES, DOCUMENTS = map(pathlib.Path, sys.argv[1:3])
PROGRAMS = {pathlib.Path(path).name: path for path in sys.argv[3:]}
WIDE = 1000


@functools.cache
def shown(page, width):
    """The page's lines, and what the formatter had to say of it."""
    done = subprocess.run(["man", "--warnings", "-E", "UTF-8", "-l", str(PAGES / page)], text=True, capture_output=True,
                          env={"PATH": os.environ["PATH"], "MANWIDTH": str(width), "LC_ALL": "C.UTF-8", "MANPAGER": "cat"})
    return done.stdout.splitlines(), done.stderr


def section(page, title, level=0):
    """The lines below a heading, up to the next one."""
    lines = shown(page, WIDE)[0]
    begin = lines.index(" " * 3 * level + title) + 1
    end = next((at for at in range(begin, len(lines)) if re.match(r" {0,3}\S", lines[at])), len(lines))
    return lines[begin:end]


def items(lines):
    """Terms and what is said of each."""
    found = {}
    for line in lines:
        if re.match(r" {7}\S", line):
            term = line.strip()
            found[term] = ""
        elif line.strip():
            found[term] += line.strip()
    return found


def words(lines):
    return " ".join(" ".join(lines).split())


@functools.cache
def help_of(program, command=None):
    return subprocess.run([PROGRAMS[program], *([command] if command else []), "--help"], text=True, check=True,
                          capture_output=True).stdout


def blocks(program, command=None):
    """Each argument and option with its text, from the help."""
    body = help_of(program, command).split("\n\n")
    lists = [part for part in body if part.startswith(("Positionals:", "Options:"))]
    return [words([block]) for part in lists for block in re.split(r"\n  (?=\S)", part)[1:]]


def commands(program):
    listing = help_of(program).split("Subcommands:\n")[1].split("\n\n")[0]
    return dict(line.split(None, 1) for line in listing.splitlines())


def plain(cell):
    """A cell of Markdown without its signs."""
    cell = re.sub(r"\[([^]]*)\]\([^)]*\)", r"\1", cell.replace("\\|", "|"))
    return re.sub(r"(?<!\w)\*(\S[^*]*)\*(?!\w)", r"\1", cell.replace("`", "").replace("**", "")).strip()


def tables(document, begin, end):
    """Rows of all tables of a part of a document, without their heads."""
    text = (DOCUMENTS / document).read_text()
    part = text[text.index(begin):text.index(end)]
    rows = re.findall(r"^\|(.*)\|$", part, re.MULTILINE)
    bodies = [row for at, row in enumerate(rows) if "---" not in row and (at + 1 == len(rows) or "---" not in rows[at + 1])]
    return [[plain(cell) for cell in re.split(r"(?<!\\)\|", row)] for row in bodies]


class Pages(unittest.TestCase):
    def test_each_is_formatted_without_a_warning_and_fits_80_columns(self):
        for page in sorted(PAGES.iterdir()):
            with self.subTest(page.name):
                lines, complaints = shown(page.name, 80)
                self.assertEqual(complaints, "")
                self.assertLess(10, len(lines))
                self.assertLessEqual(max(map(len, lines)), 80)

    def test_each_has_the_usual_sections_in_their_order(self):
        order = ["NAME", "SYNOPSIS", "DESCRIPTION", "OPTIONS", "EXIT STATUS", "FILES", "ENVIRONMENT", "EXAMPLES", "SEE ALSO"]
        for page in PAGES.glob("*.1"):
            with self.subTest(page.name):
                heads = [line for line in shown(page.name, 80)[0] if re.match(r"[A-Z][A-Z ]*$", line)]
                self.assertEqual([head for head in heads if head != "COMMANDS"], [head for head in order if head in heads])
                self.assertLessEqual({"NAME", "SYNOPSIS", "DESCRIPTION", "OPTIONS", "EXIT STATUS", "SEE ALSO"}, set(heads))

    def test_see_also_names_pages_that_there_are(self):
        for page in PAGES.iterdir():
            for name, number in re.findall(r"([\w.-]+)\((\d)\)", words(section(page.name, "SEE ALSO"))[:-1]):
                with self.subTest(page.name):
                    self.assertTrue((PAGES / f"{name}.{number}").exists(), name)


class Help(unittest.TestCase):
    def require_same(self, lines, program, command=None):
        told = items(lines)
        asked = blocks(program, command)
        self.assertEqual([term.split()[0] for term in told], [block.split()[0] for block in asked])
        for (term, text), block in zip(told.items(), asked):
            own = re.sub(r"[.]?( (Not with|Only with|Default:).*)?$", "", text)
            self.assertTrue(block.rstrip(".").endswith(own.rstrip(".")), f"{term}: {text}\n{block}")
            described = f" {block[:-len(own)]}"
            for sign, sentence in (("Excludes:", "Not with"), ("Needs:", "Only with")):
                needed = re.search(rf"{sign}((?: --[\w-]+)+)", described)
                given = re.search(rf"{sentence}((?: (?:or )?--[\w-]+)+)", text)
                self.assertEqual(needed[1].split() if needed else [], given[1].replace(" or ", " ").split() if given else [], term)
            if default := re.match(r" -\S+ [A-Z]+=(.*?)(?= Needs:| Excludes:|$)", described.rstrip()):
                self.assertIn(f"Default: {default[1]}.", text)

    def test_each_command_of_zebmon_has_a_page_and_no_other(self):
        pages = {page.name for page in PAGES.glob("zebmon*")}
        self.assertEqual(pages, {"zebmon.1"} | {f"zebmon-{command}.1" for command in commands("zebmon")})

    def test_the_page_of_zebmon_lists_them(self):
        listed = items(section("zebmon.1", "COMMANDS"))
        self.assertEqual(listed, {f"zebmon-{name}(1)": text for name, text in commands("zebmon").items()})

    def test_pages_have_the_options_of_the_help_and_their_texts(self):
        self.require_same(section("zebmon.1", "OPTIONS"), "zebmon")
        for command in commands("zebmon"):
            with self.subTest(command):
                self.require_same(section(f"zebmon-{command}.1", "OPTIONS"), "zebmon", command)

    def test_the_other_programs_pages_have_those_of_their_commands(self):
        for program in ("zebhost", "zebpnode"):
            for command in commands(program):
                with self.subTest(f"{program} {command}"):
                    lines = section(f"{program}.1", f"{program} {command}", level=1)
                    self.require_same(lines, program, command)

    def test_pages_have_the_exit_codes_of_the_help(self):
        for command in commands("zebmon"):
            codes = words([help_of("zebmon", command).split("Exit codes:")[1]])
            with self.subTest(command):
                self.assertEqual(words(section(f"zebmon-{command}.1", "EXIT STATUS")), codes)
        for program, command in (("zebhost", "run"), ("zebpnode", "enable")):
            codes = words([help_of(program, command).split("Exit codes:")[1]])
            self.assertIn(codes, words(section(f"{program}.1", "EXIT STATUS")))

    def test_pages_name_no_option_that_there_is_not(self):
        known = {"--help", "--version"}
        for program in PROGRAMS:
            known |= {option for command in commands(program) for option in re.findall(r"--[\w-]+", help_of(program, command))}
        for page in PAGES.iterdir():
            with self.subTest(page.name):
                self.assertLessEqual(set(re.findall(r"(?<!\w)--[a-z][\w-]+", words(shown(page.name, WIDE)[0]))), known)


class Documents(unittest.TestCase):
    def require_rows(self, page, rows):
        self.assertTrue(rows)
        text = words(shown(page, WIDE)[0])
        for row in rows:
            for cell in row:
                self.assertIn(cell, text)

    def test_the_page_of_flow_files_has_every_key_with_its_default(self):
        rows = tables("flow-file.md", "## The file", "### What a message carries")
        rows += tables("flow-file.md", "## `[[execution-group.flow.node]]`", "## Running")
        self.require_rows("zebhost-flow.5", rows)
        text = shown("zebhost-flow.5", WIDE)[0]
        for key, default in (("memory-size", "the library's, 32768"), ("threads", "1"), ("arrival", '"constant"')):
            self.assertIn(f"       {key} (default: {default})", text)

    def test_the_page_of_settings_has_every_key_and_text(self):
        self.require_rows("zebpnode.cfg.5", tables("operations.md", "### The keys", "Sub-flow input and sub-flow"))

    def test_the_page_of_shared_memory_has_every_field(self):
        rows = tables("format.md", "## Finding a broker", "## Segment and areas")
        self.require_rows("zeb-shared-memory.7", rows)
        lines = [words([line.replace("│", " ")]) for line in shown("zeb-shared-memory.7", WIDE)[0]]
        for row in tables("format.md", "## Segment and areas", "### Joined event"):
            self.assertIn(words(row), lines)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
