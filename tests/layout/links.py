#!/usr/bin/env python3
"""Looks at the links between the pages: each leads to a file or heading that is there, and each page
of docs/ can be reached from its front page.

Usage: links.py SOURCE_FOLDER. Names each fault, and exits with 1 if there is one.
"""
import pathlib
import re
import sys


def headings(page):
    """The headings' names in addresses, as web pages of repositories have them."""
    text = re.sub(r"^```.*?^```", "", page.read_text(encoding="utf-8"), flags=re.MULTILINE | re.DOTALL)
    return {re.sub(r"[^\w\- ]", "", head).lower().replace(" ", "-")
            for head in re.findall(r"^#+ (.*)", text, re.MULTILINE)}


def links(page):
    text = re.sub(r"^```.*?^```", "", page.read_text(encoding="utf-8"), flags=re.MULTILINE | re.DOTALL)
    return [target for target in re.findall(r"\]\(([^)\s]+)\)", re.sub(r"`[^`\n]*`", "", text))
            if "://" not in target]


def main():
    root = pathlib.Path(sys.argv[1]).resolve()
    pages = [page for pattern in ("*.md", "docs/*.md", "integrations/*/*.md", "samples/**/*.md")
             for page in sorted(root.glob(pattern))]
    faults = [] if len(pages) > 10 else [f"{root}: no pages found"]
    for page in pages:
        for target in links(page):
            path, _, heading = target.partition("#")
            file = (page.parent / path).resolve() if path else page
            if not file.exists():
                faults.append(f"{page.relative_to(root)}: {target} leads nowhere")
            elif heading and heading not in headings(file):
                faults.append(f"{page.relative_to(root)}: {target}: there is no such heading")
    front = root / "docs/README.md"
    reached = {(front.parent / target.partition("#")[0]).resolve() for target in links(front)}
    faults += [f"docs/README.md: does not lead to {page.name}" for page in (root / "docs").glob("*")
               if page.suffix in (".md", ".xsd") and page != front and page not in reached]
    print("\n".join(faults) or f"the links of {len(pages)} pages lead somewhere")
    return 1 if faults else 0


sys.exit(main())
