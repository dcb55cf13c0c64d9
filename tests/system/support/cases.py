"""Recordings with the texts that perf prints for them."""

import gzip
import lzma
import os
from dataclasses import dataclass
from pathlib import Path

KEPT = Path(os.environ["SAMPLEFOLD_TEST_DATA"]) / "perf"
SHARED = Path(os.environ.get("SAMPLEFOLD_SHARED_DATA") or os.environ["SAMPLEFOLD_DEFAULT_SHARED_DATA"])


@dataclass(frozen=True)
class Case:
    """A folder with CASE.perf.data and CASE.*.txt, any of them gzipped or not."""

    folder: Path

    @property
    def name(self):
        return self.folder.name

    @property
    def is_shared(self):
        return self.folder.is_relative_to(SHARED)

    def load(self, suffix):
        """The bytes of CASE.suffix, None when there is no such file."""
        plain = self.folder / f"{self.name}.{suffix}"
        packed = plain.with_name(plain.name + ".gz")
        if plain.exists():
            return plain.read_bytes()
        return gzip.decompress(packed.read_bytes()) if packed.exists() else None

    def text(self, suffix):
        content = self.load(suffix)
        return None if content is None else content.decode("utf-8", "surrogateescape")

    def recording(self, folder):
        """Path of the recording, unpacked below `folder` where it is packed. Its JIT data is beside it."""
        plain = self.folder / f"{self.name}.perf.data"
        if plain.exists():
            return plain
        unpacked = Path(folder) / f"{self.name}.unpacked" / plain.name
        unpacked.parent.mkdir(exist_ok=True)
        unpacked.write_bytes(self.load("perf.data"))
        for name, content in self.jit_files().items():
            (unpacked.parent / name).write_bytes(content)
        return unpacked

    def jit_files(self):
        """Contents of the dumps and maps by name."""
        files = {}
        for path in [*self.folder.glob("jit-*.dump*"), *self.folder.glob("perf-*.map*")]:
            opened = {".gz": gzip.open, ".xz": lzma.open}.get(path.suffix, open)(path, "rb")
            with opened:
                files[path.name.removesuffix(".gz").removesuffix(".xz")] = opened.read()
        return files


def cases_in(root):
    if not root.is_dir():
        return []
    found = [Case(folder) for folder in sorted(root.iterdir()) if folder.is_dir()]
    return [case for case in found if any(case.folder.glob(f"{case.name}.perf.data*"))]


def kept(name):
    return Case(KEPT / name)


def kept_cases():
    return cases_in(KEPT)


def shared_cases():
    return cases_in(SHARED)
