#!/usr/bin/env python3
"""Looks whether every relative link in the Markdown pages leads to a file, and to a heading where it names one."""

import os
import re
import subprocess
import sys

LINK = re.compile(r"\]\(([^)\s]+)\)")


def anchors(page):
    """What '#...' may follow the name of a page: its headings in small letters, spaces as dashes, other signs left out."""
    headings = re.findall(r"^#+ +(.*)$", open(page, encoding="utf-8").read(), re.MULTILINE)
    return {re.sub(r"[^\w\- ]", "", heading.lower()).strip().replace(" ", "-") for heading in headings}


def main():
    pages = subprocess.run(["git", "ls-files", "--cached", "--others", "--exclude-standard", "*.md"], check=True,
                           capture_output=True, text=True).stdout.splitlines()
    failed = 0
    for page in filter(os.path.isfile, pages):
        for number, line in enumerate(open(page, encoding="utf-8"), 1):
            for link in LINK.findall(line):
                name, _, anchor = link.partition("#")
                target = os.path.normpath(os.path.join(os.path.dirname(page), name)) if name else page
                if re.match(r"[a-z]+:", link):
                    continue
                if not os.path.exists(target):
                    print(f"{page}:{number}: links to {link}, which is not there: mend the link")
                    failed = 1
                elif anchor and anchor not in anchors(target):
                    print(f"{page}:{number}: links to {link}, but {target} has no such heading: mend the link")
                    failed = 1
    return failed


if __name__ == "__main__":
    sys.exit(main())
