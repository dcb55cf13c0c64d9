"""The recorded example with its program, which can be moved away after the load."""

import os
import shutil
from pathlib import Path

from support import command

EXAMPLES = Path(os.environ["SAMPLEFOLD_TEST_DATA"]).parents[1] / "examples"
RECORDING = EXAMPLES / "deeptree-fp.perf.data"
PROGRAM, LIBRARY = "/opt/sfdemo/deeptree", "/opt/sfdemo/libsfleaf.so"
SAMPLES = {PROGRAM: 1549, LIBRARY: 429}


class Example:
    """The program and its library in a folder of their own; a home without any cache of build ids."""

    def __init__(self, scratch):
        self.scratch = Path(scratch)
        self.binaries = self.scratch / "binaries"
        self.binaries.mkdir()
        for name in ("deeptree", "libsfleaf.so"):
            shutil.copy(EXAMPLES / name, self.binaries / name)
        (self.scratch / "home").mkdir()

    @property
    def sources(self):
        return EXAMPLES

    def run(self, *words):
        return command.run(*words, env={"HOME": str(self.scratch / "home")})

    def load(self, test, *options, name="result"):
        """Folder of the result of a load that must have worked."""
        folder = self.scratch / name
        outcome = self.run("load", RECORDING, "-o", folder, *options)
        test.assertEqual((outcome.code, outcome.err), (command.DONE, ""))
        return folder

    def load_with_names(self, test, *options, name="result"):
        return self.load(test, "--symbols", self.binaries, *options, name=name)
