"""The links of the documents in a folder."""
import re


def documents(root):
    return {path: path.read_text("utf-8") for path in [*root.glob("*.md"), *root.glob("*/*.md")]}


def links(root):
    """Each link that is not to the web: its document, its path and its anchor."""
    for document, text in documents(root).items():
        for path, anchor in re.findall(r"\]\((?!https:)([^)#]*)#?([^)]*)\)", text):
            yield document, path, anchor


def dead_links(root):
    """Those whose file, folder or heading is not there."""
    return [link for link in links(root) if not resolves(*link)]


def resolves(document, path, anchor):
    target = document.parent / path if path else document
    if not anchor:
        return target.exists()
    headings = re.findall("^#+ (.*)$", target.read_text("utf-8"), re.M) if target.is_file() else []
    return anchor in [heading.lower().replace(" ", "-") for heading in headings]
