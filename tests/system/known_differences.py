"""Where a result and the text of perf differ on purpose. A listed difference that does not occur fails."""

# Event names: case -> {name in the text: name in the result}.
EVENT_NAMES = {
    # perf could not read these compressed records; its text was made from an expanded copy that lost the table of
    # event names, so perf made the name up from the attribute.
    "lpd-sleep-compressed2": {"cycles:uppp": "cycles:Pu"},
}

# Samples per module: case -> {(event, module as perf names it): (samples in the text, samples in the result)}.
MODULE_COUNTS = {}

# Frames that perf finds in the program that exec has replaced by the tick of the sample, for the processor entered
# the kernel from it: case -> ticks of such samples, once for each frame.
STALE_FRAMES = {"forktree-sideband": [2506821233944]}
