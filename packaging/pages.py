"""pages.py: the documents as the pages of the package, which a browser shows.

A part of a document between the lines <!-- developers: --> and <!-- users: --> is
left out. A link between two pages leads from page to page; a link to a file that is
not in the package is a fault, and so is one to a heading that is not there.
"""
import html
import pathlib
import posixpath
import re
import subprocess

STYLE = """
body { font: 16px/1.5 "Segoe UI", sans-serif; max-width: 60em; margin: 2em auto; padding: 0 1em; color: #222; }
code, pre { font: 14px/1.4 Consolas, monospace; background: #f3f3f3; }
code { padding: 0 .2em; } pre { padding: .7em 1em; overflow-x: auto; } pre code { padding: 0; }
table { border-collapse: collapse; } th, td { border: 1px solid #ccc; padding: .3em .6em; text-align: left; vertical-align: top; }
a { color: #0a58a8; } img { max-width: 100%; } h1, h2, h3 { line-height: 1.2; }
"""


class Fault(Exception):
    """Something that a document says and the package does not have."""


def anchor_of(heading):
    """The anchor of a heading, as the sources' links name it."""
    text = html.unescape(re.sub(r"<[^>]*>", "", heading))
    return re.sub(r"[^\w\- ]", "", text.lower()).replace(" ", "-")


def for_users(text):
    return re.sub(r"<!-- developers: -->.*?<!-- users: -->\n?", "", text, flags=re.DOTALL)


def body_of(source):
    """The document as HTML, each heading with its anchor."""
    body = subprocess.run(["cmark-gfm", "--extension", "table"], input=for_users(source.read_text("utf-8")),
                          check=True, capture_output=True, encoding="utf-8").stdout
    return re.sub(r"<(h\d)>(.*?)</\1>", lambda m: f'<{m[1]} id="{anchor_of(m[2])}">{m[2]}</{m[1]}>', body)


def page_name(name):
    return re.sub(r"\.md$", ".html", name)


def write_pages(root, folder, documents, files, title):
    """Writes the pages of the documents (names in the tree under root) into a folder that
    already holds the files (names in the package) that they may link to, and copies
    what else of docs they link to, such as their pictures. Returns the names of what it has written."""
    bodies = {name: body_of(root / name) for name in documents}
    attached = set()

    def checked_link(name, link):
        if "://" in link:
            return link
        path, _, anchor = link.partition("#")
        target = posixpath.normpath(posixpath.join(posixpath.dirname(name), path)) if path else name
        if target in bodies:
            if anchor and f'id="{anchor}"' not in bodies[target]:
                raise Fault(f"{name}: no heading for {link}")
            return page_name(link) if not anchor else page_name(path) + "#" + anchor
        if target.startswith("docs/") and not target.endswith(".md") and (root / target).is_file():
            attached.add(target)
        elif target not in files:
            raise Fault(f"{name}: {link} is not in the package; what is for developers alone stands "
                        "between <!-- developers: --> and <!-- users: -->")
        return link

    for name, body in bodies.items():
        heading = re.search(r"<h1[^>]*>(.*?)</h1>", body)
        body = re.sub(r'(href|src)="([^"]*)"', lambda m: f'{m[1]}="{checked_link(name, m[2])}"', body)
        page = folder / page_name(name)
        page.parent.mkdir(parents=True, exist_ok=True)
        page.write_text("<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\">"
                        f"<title>{heading[1] if heading else title}</title>\n<style>{STYLE}</style></head>"
                        f"<body>\n{body}</body></html>\n", "utf-8")
    for name in attached:
        copy = folder / name
        copy.parent.mkdir(parents=True, exist_ok=True)
        copy.write_bytes((root / name).read_bytes())
    return sorted([page_name(name) for name in bodies] + list(attached))
