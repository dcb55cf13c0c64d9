"""Call chains of a result: read back by parent, and turned into addresses of their process again."""

from collections import defaultdict
from typing import NamedTuple, Optional

from support import result

KERNEL_PID = -1

# What stands behind a chain that goes on: where the kernel stopped, and where branch records end.
END_MARKS = (1, result.U64)

CALLSITES_SQL = """
SELECT c.id, c.parent, c.mark, nullif(l.mod_seg, -1), l.rva
  FROM dd_callsite c JOIN dd_code_location l ON l.id = c.code_loc"""

SEGMENTS_SQL = """
SELECT g.id, g.offset, f.path FROM dd_module_segment g JOIN dd_module_file f ON f.id = g.module"""

# Every place at which a segment stands: where a relative address of it is in the process, and since when.
PLACES_SQL = """
SELECT i.mod_seg, i.process, i.address - g.offset, i.extra
  FROM dd_segment_instance i JOIN dd_module_segment g ON g.id = i.mod_seg WHERE g.jit_file IS NULL
 UNION ALL
SELECT i.mod_seg, r.process, r.address - r.rva, r.start_tsc
  FROM dd_jit_region r JOIN dd_segment_instance i ON i.id = r.seg_inst"""

SAMPLES_SQL = """
SELECT p.pid, t.tid, i.end_tsc, s.ip, e.name, t.process, s.callsite, i.callsite
  FROM sample_instance i
  JOIN dd_sample s ON s.id = i.sample
  JOIN dd_event_type e ON e.id = i.event_type
  JOIN dd_thread t ON t.id = i.thread
  JOIN dd_process p ON p.id = t.process"""


class Frame(NamedTuple):
    segment: Optional[int]  # None outside every known module
    rva: int
    path: Optional[str]
    function: Optional[str]
    marked: bool

    @property
    def is_end_mark(self):
        """Says that the chain goes on where the recording ends."""
        return self.segment is None and self.rva in END_MARKS


class Sample(NamedTuple):
    pid: int
    tid: int
    tick: int
    ip: int
    event: str
    process: int  # row
    callsite: int

    @property
    def key(self):
        return self.pid, self.tid, self.tick


class Chains:
    def __init__(self, folder):
        paths = {row: path for row, _, path in result.rows(folder, SEGMENTS_SQL)}
        names = {(segment, rva): name for segment, rva, name in result.rows(
            folder, "SELECT n.mod_seg, n.rva, f.name FROM dd_code_name n JOIN dd_function f ON f.id = n.function")}
        self._parents, self._frames = {}, {}
        for row, parent, mark, segment, rva in result.rows(folder, CALLSITES_SQL):
            self._parents[row] = parent if parent not in (None, -1) else None
            self._frames[row] = Frame(segment, result.unsigned(rva), paths.get(segment), names.get((segment, rva)),
                                      bool(mark))
        self._places = defaultdict(list)
        for segment, process, base, since in result.rows(folder, PLACES_SQL):
            self._places[segment, process].append((result.unsigned(since) or 0, base))
        self.kernel = next((row for row, in result.rows(folder, "SELECT id FROM dd_process WHERE pid = ?",
                                                        KERNEL_PID)), None)
        self.samples = [Sample(pid, tid, result.unsigned(tick), result.unsigned(ip), event, process, callsite)
                        for pid, tid, tick, ip, event, process, callsite, again
                        in result.rows(folder, SAMPLES_SQL) if again == callsite]
        if len(self.samples) != result.value(folder, "SELECT count(*) FROM sample_instance"):
            raise AssertionError("rows whose callsite is not that of their attribute")

    def frames(self, callsite):
        """From the sampled frame to the outermost one."""
        found = []
        while callsite is not None:
            found.append(self._frames[callsite])
            callsite = self._parents[callsite]
        return found

    def without_mark(self, callsite):
        frames = self.frames(callsite)
        return frames[:-1] if len(frames) > 1 and frames[-1].is_end_mark else frames

    def stored_addresses(self, sample):
        """The chain of a sample as addresses, the sampled one first, without the end mark. For processes in which no
        segment lies at two places."""
        addresses = []
        for frame in self.without_mark(sample.callsite):
            found = self.addresses(frame, sample)
            if len(found) != 1:
                raise AssertionError(f"{frame} of {sample} stands for {len(found)} addresses")
            addresses += found
        return addresses

    def is_kernel(self, frame):
        return (frame.segment, self.kernel) in self._places

    def addresses(self, frame, sample):
        """Where the frame can have been in the sample's process, going by what was in place at that tick."""
        if frame.segment is None:
            return {frame.rva}
        owner = self.kernel if self.is_kernel(frame) else sample.process
        return {(base + frame.rva) & result.U64 for since, base in self._places[frame.segment, owner]
                if since <= sample.tick}
