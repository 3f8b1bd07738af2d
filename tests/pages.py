#!/usr/bin/env python3
"""Runs the fenced blocks of the pages in order, as a reader would, in a copy of the tree.

usage: pages.py SOURCE-DIR

Blocks of sh are run; a page's blocks share one shell. Any other block is written to the file that the text before it
names last in backticks. The comment <!-- not run: REASON --> before a block keeps it from being run or written.
"""
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

PAGES = ["README.md", "CONTRIBUTING.md", "SECURITY.md", "docs/*.md", "js/README.md"]
BLOCK = re.compile(r"^( *)```(\w*)\n(.*?)^\1```$", re.MULTILINE | re.DOTALL)
NOT_RUN = re.compile(r"<!-- not run: [^>]+ -->\s*$")


def copy_of_tree(source, target):
    if not (source / ".git").exists():  # an archive
        shutil.copytree(source, target, ignore=shutil.ignore_patterns("build", "node_modules"))
        return
    command = ["git", "ls-files", "--cached", "--others", "--exclude-standard"]
    for name in subprocess.run(command, cwd=source, text=True, check=True, stdout=subprocess.PIPE).stdout.splitlines():
        if (source / name).is_file():
            (target / name).parent.mkdir(parents=True, exist_ok=True)
            shutil.copy2(source / name, target / name)


def script_of(page, root):
    """Writes a page's files, and returns its commands."""
    text, before, commands = page.read_text(), 0, []
    for block in BLOCK.finditer(text):
        said, before = text[before : block.start()], block.end()
        indent, language, content = block.groups()
        content = re.sub(f"^{indent}", "", content, flags=re.MULTILINE)
        if NOT_RUN.search(said):
            continue
        if language == "sh":
            commands.append(content)
            continue
        names = re.findall(r"`([\w/.-]+\.\w+)`", said)
        if not names:
            sys.exit(f"{page}: this block names no file and has no reason not to be run:\n{content}")
        file = root / names[-1]
        file.parent.mkdir(exist_ok=True)
        file.write_text(content)
    return commands


def main():
    source = pathlib.Path(sys.argv[1]).resolve()
    ran = 0
    with tempfile.TemporaryDirectory() as directory:
        root, home = pathlib.Path(directory, "vela"), pathlib.Path(directory, "home")
        home.mkdir()
        copy_of_tree(source, root)
        for page in [page for pattern in PAGES for page in sorted(root.glob(pattern))]:
            commands = script_of(page, root)
            ran += len(commands)
            environment = {
                name: value for name, value in os.environ.items() if not name.startswith(("CMAKE_", "CTEST_"))
            }
            done = subprocess.run(
                ["bash", "-euxo", "pipefail", "-c", "".join(commands)],
                cwd=root,
                env={**environment, "HOME": str(home)},
                stdin=subprocess.DEVNULL,
            )
            if done.returncode:
                sys.exit(f"{page.relative_to(root)}: the last command above failed")
    print(f"blocks run: {ran}")
    if not ran:
        sys.exit("no page has a block to run")


main()
