"""What the rule checks share: the files of the tree, and C++ text as code and string literals."""

import argparse
import os
import pathlib
import re
import subprocess
import sys

SOURCE_SUFFIXES = {".h", ".cpp"}

# A comment, a raw string, a string, a character, or any other single character or word.
_TOKEN = re.compile(
    r"""(?P<comment>//(?:\\\n|[^\n])*|/\*.*?\*/)
      | (?:u8|u|U|L)?R"(?P<delimiter>[^\s()\\]{0,16})\((?P<raw>.*?)\)(?P=delimiter)"
      | (?:u8|u|U|L)?"(?P<string>(?:\\.|[^"\\\n])*)"
      | '(?P<character>(?:\\.|[^'\\\n])+)'
      | (?P<word>[A-Za-z_][A-Za-z_0-9]*|[0-9](?:'?[A-Za-z_0-9.])*)
      | (?P<other>\S)
      | \s+""",
    re.VERBOSE | re.DOTALL,
)


class Token:
    """A piece of code: `kind` is "string" (adjacent literals joined), "word" or "other"."""

    def __init__(self, kind, text, line):
        self.kind, self.text, self.line = kind, text, line


def tokens(text):
    """The tokens of a C++ text, comments left out."""
    result = []
    line = 1
    for match in _TOKEN.finditer(text):
        start = line
        line += match.group().count("\n")
        literal = match["raw"] if match["raw"] is not None else match["string"]
        if literal is not None:
            if result and result[-1].kind == "string":
                result[-1].text += literal
            else:
                result.append(Token("string", literal, start))
        elif match["word"] or match["other"]:
            result.append(Token("word" if match["word"] else "other", match.group(), start))
    return result


def tree_files(root):
    """Paths below `root`, relative to it: what git knows or would add; without git everything but build/."""
    listed = subprocess.run(["git", "-C", str(root), "ls-files", "-z", "--cached", "--others",
                             "--exclude-standard", "."], capture_output=True, check=False)
    if listed.returncode == 0:
        names = [os.fsdecode(name) for name in listed.stdout.split(b"\0") if name]
    else:
        names = [str(path.relative_to(root)) for path in pathlib.Path(root).rglob("*")
                 if path.relative_to(root).parts[0] not in {"build", "out", ".git"}]
    return sorted(pathlib.PurePosixPath(name) for name in set(names) if (root / name).is_file())


def source_files(root):
    return [path for path in tree_files(root) if path.suffix in SOURCE_SUFFIXES]


def main(description, check):
    """Runs `check(root)`, which gives (messages, number of things looked at), and ends the program.

    A check that looked at nothing has failed: it would pass whatever the tree holds.
    """
    parser = argparse.ArgumentParser(description=description)
    parser.add_argument("--root", type=pathlib.Path, help="the tree to check (this one)",
                        default=pathlib.Path(__file__).resolve().parent.parent)
    name = pathlib.Path(sys.argv[0]).name
    messages, looked_at = check(parser.parse_args().root.resolve())
    for message in messages:
        print(message)
    if not looked_at:
        print(f"{name}: found nothing to check")
    if messages or not looked_at:
        sys.exit(1)
    print(f"{name}: {looked_at} looked at, all well")
