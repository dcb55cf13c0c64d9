"""Builds perf.data files of one event from scratch, so that a test knows all that is in them."""

import struct
from dataclasses import dataclass, field

from support.perf_bytes import HEAD, SAMPLE
from support.perf_records import (CALLCHAIN, COMM, COMM_EXEC, CPU, EXIT, FORK, IP, KERNEL_MARKER, MMAP, PERIOD, SWITCH,
                                  SWITCH_OUT, TID, TIME, USER_MARKER)

CLOCK_MONOTONIC = 1
KERNEL, USER, HYPERVISOR, GUEST_KERNEL, GUEST_USER = 1, 2, 3, 4, 5
# Kinds of branches that are recorded: in user code the calls that have not returned, or all.
BRANCH_CALL_STACK, BRANCH_ANY = 1 | 1 << 11, 1 | 1 << 3
GUEST_MARKER, GUEST_USER_MARKER = (1 << 64) - 2048, (1 << 64) - 2560
NAMESPACES, TIME_CONV = 16, 79
MAP_OF_CODE = 2  # an MMAP record without the bit for data

_SAMPLE_ID_ALL, _COMM_EXEC, _USE_CLOCKID, _CONTEXT_SWITCH = 1 << 18, 1 << 24, 1 << 25, 1 << 26
_BRANCH_STACK = 1 << 11
_ATTRIBUTE_BYTES, _HEADER_BYTES = 128, 104


def user_chain(*addresses):
    return (USER_MARKER, *addresses)


def kernel_chain(kernel, user=()):
    return (KERNEL_MARKER, *kernel, *((USER_MARKER, *user) if user else ()))


@dataclass
class Writer:
    """Records go into the file in the order of the calls. Chains come with their markers."""

    clock: int | None = CLOCK_MONOTONIC  # None: the kernel's own
    max_stack: int = 0
    chains: bool = True
    branch_type: int = 0  # BRANCH_CALL_STACK or BRANCH_ANY; 0: samples have no branch records
    records: list = field(default_factory=list)

    @property
    def _sample_type(self):
        return IP | TID | TIME | CPU | PERIOD | (CALLCHAIN if self.chains else 0) | (
            _BRANCH_STACK if self.branch_type else 0)

    def _attribute(self):
        flags = _SAMPLE_ID_ALL | _COMM_EXEC | _CONTEXT_SWITCH | (_USE_CLOCKID if self.clock is not None else 0)
        raw = bytearray(_ATTRIBUTE_BYTES)
        # type (software), size, config (the CPU clock), period, sample type, read format, flags
        struct.pack_into("<IIQQQQQ", raw, 0, 1, _ATTRIBUTE_BYTES, 0, 1000, self._sample_type, 0, flags)
        struct.pack_into("<Q", raw, 72, self.branch_type)
        struct.pack_into("<i", raw, 92, self.clock or 0)
        struct.pack_into("<H", raw, 108, self.max_stack)
        return bytes(raw)

    def content(self):
        data = b"".join(self.records)
        attributes = self._attribute() + struct.pack("<QQ", 0, 0)
        start = _HEADER_BYTES + len(attributes)
        head = b"PERFILE2" + struct.pack("<QQQQQQQQ", _HEADER_BYTES, len(attributes), _HEADER_BYTES, len(attributes),
                                         start, len(data), 0, 0) + bytes(32)
        return head + attributes + data

    def write(self, path):
        path.write_bytes(self.content())
        return path

    def _add(self, kind, misc, body):
        self.records.append(HEAD.pack(kind, misc, HEAD.size + len(body)) + body)

    def _tail(self, pid, tid, tick, cpu=0):
        return struct.pack("<iiQII", pid, tid, tick, cpu, 0)

    def sample(self, tick, pid, ip, chain=(), mode=USER, tid=None, cpu=0, branches=()):
        """A branch is (from, to, flags); the newest comes first."""
        body = struct.pack("<QiiQIIQ", ip, pid, tid or pid, tick, cpu, 0, 1000)
        if self.chains:
            body += struct.pack(f"<Q{len(chain)}Q", len(chain), *chain)
        if self.branch_type:
            body += struct.pack("<Q", len(branches)) + b"".join(struct.pack("<QQQ", *branch) for branch in branches)
        self._add(SAMPLE, mode, body)

    def mmap(self, tick, pid, start, size, path, offset=0):
        name = path.encode() + b"\0"
        name += bytes(-len(name) % 8)
        self._add(MMAP, MAP_OF_CODE, struct.pack("<iiQQQ", pid, max(pid, 0), start, size, offset) + name
                  + self._tail(pid, max(pid, 0), tick))

    def comm(self, tick, pid, name, is_exec=False):
        text = name.encode() + b"\0"
        text += bytes(-len(text) % 8)
        self._add(COMM, COMM_EXEC if is_exec else 0, struct.pack("<ii", pid, pid) + text + self._tail(pid, pid, tick))

    def _task(self, kind, tick, pid, parent, tid, parent_tid):
        self._add(kind, 0, struct.pack("<iiiiQ", pid, parent, tid or pid, parent_tid or parent, tick)
                  + self._tail(pid, tid or pid, tick))

    def fork(self, tick, pid, parent, tid=None, parent_tid=None):
        self._task(FORK, tick, pid, parent, tid, parent_tid)

    def exit(self, tick, pid, parent, tid=None, parent_tid=None):
        self._task(EXIT, tick, pid, parent, tid, parent_tid)

    def namespaces(self, tick, pid, pid_inode, mount_inode):
        """The links net, uts, ipc, pid, user, mnt, cgroup; those but two have inodes of no meaning."""
        inodes = (11, 12, 13, pid_inode, 15, mount_inode, 17)
        links = b"".join(struct.pack("<QQ", 4, inode) for inode in inodes)
        self._add(NAMESPACES, 0, struct.pack("<iiQ", pid, pid, len(inodes)) + links + self._tail(pid, pid, tick))

    def switch(self, tick, pid, is_out, tid=None, cpu=0):
        self._add(SWITCH, SWITCH_OUT if is_out else 0, self._tail(pid, tid or pid, tick, cpu))

    def time_conversion(self, shift, mult, zero):
        self._add(TIME_CONV, 0, struct.pack("<QQQQQQ", shift, mult, zero, 0, (1 << 56) - 1, 0x0101))
