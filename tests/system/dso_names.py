"""How a module of a result is called by perf."""

import re

UNKNOWN = "[unknown]"

# perf names a file by its leaf. The rules below are tried in order on (module name, pid); the first that fits
# gives the name, a module that fits none keeps its own.
RULES = [
    # Memory without a file may hold generated code: perf looks for the map of the process and names it after it.
    (re.compile(r"^(//anon|\[heap\]|\[stack\]|/dev/zero|/SYSV|anon_inode:)"), "[JIT] tid {pid}"),
]


def perf_name(module, pid):
    if module is None:
        return UNKNOWN
    for pattern, name in RULES:
        match = pattern.match(module)
        if match:
            return name.format(pid=pid)
    return module
