"""Recordings of programs that were traced in single steps, and the true call chains of their samples."""

import json
import os
import subprocess
import tempfile
import unittest
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path
from queue import SimpleQueue

from support import branch_records
from support.perf_bytes import Recording

STEPTRACE = os.environ["SAMPLEFOLD_STEPTRACE"]
PROGRAMS = Path(os.environ["SAMPLEFOLD_WORKLOADS"])

# What steptrace ends with where processes may not trace others, as in many containers.
NOT_PERMITTED = 3
SKIPPED = "tracing a process is not permitted"


class Trace:
    """A traced run: `recording` is a path, `truth` the true chain by tick."""

    def __init__(self, folder):
        self.recording = folder / "perf.data"
        self.any_recording = folder / "any.data"
        self.truth = {}
        for line in (folder / "truth.jsonl").read_text().splitlines():
            entry = json.loads(line)
            self.truth[entry["time"]] = [int(address, 16) for address in entry["chain"]]

    def contents(self):
        return Recording(self.recording.read_bytes())

    def samples(self):
        """What was recorded, by tick."""
        return {sample.tick: sample for sample in branch_records.samples(self.contents())}


class Traces:
    """Traces each workload once, with the same options of steptrace. A step goes from the program to the tracer
    and back, which is far quicker on one CPU; so each CPU gets runs of its own."""

    def __init__(self, *options):
        self._options = options
        self._folder = tempfile.TemporaryDirectory(prefix="sf-traced-")
        self._traces = {}
        self._permitted = True

    def close(self):
        self._folder.cleanup()

    @property
    def folder(self):
        return Path(self._folder.name)

    def get(self, workloads):
        """The traces of these workloads by workload; skips the test that asks where tracing is refused."""
        missing = [workload for workload in workloads if workload not in self._traces]
        if missing and self._permitted:
            self._trace_all(missing)
        if not self._permitted:
            raise unittest.SkipTest(SKIPPED)
        return {workload: self._traces[workload] for workload in workloads}

    def _trace_all(self, workloads):
        cpus = SimpleQueue()
        for cpu in os.sched_getaffinity(0):
            cpus.put(cpu)

        def trace(workload):
            cpu = cpus.get()
            try:
                return self._trace(workload, cpu)
            finally:
                cpus.put(cpu)

        with ThreadPoolExecutor(cpus.qsize()) as pool:
            for workload, found in zip(workloads, pool.map(trace, workloads)):
                self._traces[workload] = found

    def _trace(self, workload, cpu):
        folder = self.folder / f"{workload.name}-{workload.software}"
        folder.mkdir()
        program = [PROGRAMS / workload.name] + ([PROGRAMS / workload.library] if workload.library else [])
        words = ["taskset", "-c", str(cpu), STEPTRACE, "-o", "perf.data", "--any-out", "any.data",
                 "--truth", "truth.jsonl", "--sw", workload.software, *self._options, "--", *map(str, program)]
        done = subprocess.run(words, cwd=folder, capture_output=True, text=True, timeout=600)
        if done.returncode == NOT_PERMITTED:
            self._permitted = False
            return None
        if done.returncode != 0:
            raise AssertionError(f"{workload.name}: {done.stderr}")
        return Trace(folder)
