"""How a module of a result is called by perf."""

import re

UNKNOWN = "[unknown]"

# perf names a file by its leaf. The rules below are tried in order on (module name, pid); the first that fits
# gives the name, a module that fits none keeps its own.
RULES = [
    # The kernel's own mapping carries the symbol that it is counted from: [kernel.kallsyms]_text, _stext.
    (re.compile(r"^\[kernel\.kallsyms\]"), "[kernel.kallsyms]"),
    # A kernel module is named by its file, with the kernel's spelling: /lib/modules/.../snd-hda.ko is [snd_hda].
    (re.compile(r"^([^\[/]+)\.ko(\.(gz|xz|zst))?$"), "[{module}]"),
    # Memory without a file may hold generated code: perf looks for the map of the process and names it after it.
    (re.compile(r"^(//anon|\[heap\]|\[stack\]|/dev/zero|/SYSV|anon_inode:)"), "[JIT] tid {pid}"),
]


def perf_name(module, pid):
    if module is None:
        return UNKNOWN
    for pattern, name in RULES:
        match = pattern.match(module)
        if match:
            kernel_module = match.group(1).replace("-", "_") if match.groups() else ""
            return name.format(pid=pid, module=kernel_module)
    return module
