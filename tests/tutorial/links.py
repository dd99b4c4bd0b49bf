# SPDX-License-Identifier: Apache-2.0
"""Every link between the documents leads to a file, and to a heading in it: links.py SOURCE-TREE"""
import pathlib
import re
import sys

TREE = pathlib.Path(sys.argv[1])


def without_blocks(text):
    return re.sub(r"^```.*?^```$", "", text, flags=re.MULTILINE | re.DOTALL)


def anchors(path):
    """As a forge makes them of headings: words, joined by hyphens."""
    found = set()
    for heading in re.findall(r"^#+ (.*)$", without_blocks(path.read_text()), re.MULTILINE):
        found.add(re.sub(r"[^\w -]", "", heading.lower()).replace(" ", "-"))
    return found


def broken(document):
    for link in re.findall(r"\]\(([^)\s]+)\)", without_blocks(document.read_text())):
        if link.startswith(("http:", "https:")):
            continue
        name, _, anchor = link.partition("#")
        target = document.parent / name if name else document
        if not target.exists():
            yield f"{document.relative_to(TREE)}: there is no {link}"
        elif anchor and anchor not in anchors(target):
            yield f"{document.relative_to(TREE)}: {name} has no heading #{anchor}"


documents = [*TREE.glob("*.md"), *TREE.glob("docs/*.md")]
wrong = [one for document in documents for one in broken(document)]
print(*wrong, sep="\n")
sys.exit(1 if wrong or len(documents) < 10 else 0)
