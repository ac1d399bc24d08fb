#!/usr/bin/env python3
"""Makes one page of many files: make_page.py HTML RESULT NOTICE FILE...

NOTICE is a text of copyright, which goes into the page as a comment. Each FILE goes into the page too: .css as a
style; .json as data whose id is the file's name; leaflet.js as a script; of the other .js files one module is made, in
the order given, so their imports and exports are left out and no name may be defined twice. Where the answers go,
there is a mark. The page allows itself nothing but these scripts and styles.
"""

import base64
import hashlib
import pathlib
import re
import sys

IMPORT = re.compile(r'^import [^;]*?from "[^"]*";\n', re.MULTILINE)
EXPORT = re.compile(r"^export (?=class |function |const )", re.MULTILINE)
SOURCE_MAP = re.compile(r"^(//|/\*)# sourceMappingURL=.*\n?", re.MULTILINE)
DEFINITION = re.compile(r"^(?:class|function|const|let) (\w+)", re.MULTILINE)


def read(path):
    text = SOURCE_MAP.sub("", pathlib.Path(path).read_text(encoding="utf-8"))
    # What would end the element around it.
    assert not re.search(r"</(script|style)|<!--", text, re.IGNORECASE), path
    return text


def hash_of(text):
    return f"'sha256-{base64.b64encode(hashlib.sha256(text.encode()).digest()).decode()}'"


def one_module(texts):
    text = "".join(EXPORT.sub("", IMPORT.sub("", text)) for text in texts)
    names = DEFINITION.findall(text)
    twice = {name for name in names if names.count(name) > 1}
    assert not twice and not re.search(r"^(import|export) ", text, re.MULTILINE), twice
    return text


def make(html, notice, files):
    styles = [read(path) for path in files if path.endswith(".css")]
    leaflet = [read(path) for path in files if path.endswith("leaflet.js")]
    module = one_module(read(path) for path in files if path.endswith(".js") and not path.endswith("leaflet.js"))
    data = {pathlib.Path(path).stem: read(path) for path in files if path.endswith(".json")}
    policy = ("default-src 'none'; base-uri 'none'; form-action 'none'; "
              f"script-src {' '.join(map(hash_of, [*leaflet, module]))}; style-src {' '.join(map(hash_of, styles))}")
    head = "".join((
        f'<meta http-equiv="Content-Security-Policy" content="{policy}">\n',
        "<!--\n", pathlib.Path(notice).read_text(encoding="utf-8").replace("--", "- -"), "-->\n",
        *(f"<style>{text}</style>\n" for text in styles)))
    tail = "".join((
        *(f'<script type="application/json" id="{name}">{text}</script>\n' for name, text in data.items()),
        '<script type="application/json" id="answers">@ANSWERS@</script>\n',
        *(f"<script>{text}</script>\n" for text in leaflet),
        f'<script type="module">{module}</script>\n'))
    page = pathlib.Path(html).read_text(encoding="utf-8")
    return page.replace("</head>", head + "</head>").replace("</body>", tail + "</body>")


def main(html, result, notice, *files):
    pathlib.Path(result).write_text(make(html, notice, files), encoding="utf-8")


if __name__ == "__main__":
    main(*sys.argv[1:])
