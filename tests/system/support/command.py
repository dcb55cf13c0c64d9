"""Runs the command samplefold and keeps what it said."""

import os
import resource
import subprocess
from dataclasses import dataclass

COMMAND = os.environ["SAMPLEFOLD_COMMAND"]

# A sanitizer reserves far more address space than any bound on it.
IS_SANITIZED = bool(os.environ.get("SAMPLEFOLD_SANITIZED"))

# Exit statuses that the command documents.
DONE, FAILED, USAGE = 0, 1, 2


WARNING = "samplefold: warning: "


@dataclass
class Outcome:
    """`err` is what was said on standard error, apart from warnings."""

    code: int
    out: str
    err: str
    warnings: list

    @property
    def error_lines(self):
        return self.err.splitlines()


def decoded(raw):
    return raw.decode("utf-8", "surrogateescape")


def run(*arguments, stdin=None, env=None, prefix=(), cwd=None, timeout=120, memory=None):
    """`stdin`: bytes or an open file. `prefix`: words before the command. `memory`: address space in bytes."""
    words = [*prefix, COMMAND, *map(str, arguments)]
    environment = {**os.environ, **(env or {})}
    feed = {"input": stdin} if isinstance(stdin, bytes) else {"stdin": stdin or subprocess.DEVNULL}
    limit = (lambda: resource.setrlimit(resource.RLIMIT_AS, (memory, memory))) if memory and not IS_SANITIZED else None
    done = subprocess.run(words, capture_output=True, env=environment, cwd=cwd, timeout=timeout,
                          preexec_fn=limit, **feed)
    lines = decoded(done.stderr).splitlines(keepends=True)
    return Outcome(done.returncode, decoded(done.stdout),
                   "".join(line for line in lines if not line.startswith(WARNING)),
                   [line.removeprefix(WARNING).rstrip("\n") for line in lines if line.startswith(WARNING)])


def load(source, result, *options, **settings):
    return run("load", source, "-o", result, *options, **settings)
