"""Call chains read back from results, against the bytes of the recordings and against what perf prints of them."""

import re
import unittest
from collections import Counter, defaultdict

from known_differences import STALE_FRAMES
from support import perf_chains
from support.cases import SHARED, kept_cases, shared_cases
from support.chains import Chains
from support.perf_records import CALLCHAIN, KERNEL_MODE, USER_MARKER, Records
from support.testing import LoadedCases, SystemTest, test_per_case

# The bytes hold no unwound frames; test_unwinding has those.
loads = LoadedCases("--unwind", "off", "--branch-stacks", "off")
# perf knew no JIT data when it printed the chains.
plain_loads = LoadedCases("--jit", "off", "--unwind", "off", "--branch-stacks", "off")


def tearDownModule():
    loads.close()
    plain_loads.close()


# How many addresses the kernel puts into a chain where the event does not say.
USUAL_MAX_STACK = 127

# perf makes its text of these from branch records or from stack dumps, not from the chains alone.
NOT_FROM_CHAINS = {"perfparser-vector-lbr", "deeptree-dwarf", "perfparser-vector-dwarf-zstd", "perfparser-fork-zstd",
                   "hotspot-true-v2"}

# The address that a result has for the end of a chain that was cut off.
END_MARK = 1

PLAIN_MEMORY = ("//anon", "/dev/zero", "/anon_hugepage", "/SYSV", "[heap]", "[stack]")


def has_chains(case):
    try:
        return any(attribute.sample_type & CALLCHAIN for attribute in Records(case.load("perf.data")).attributes)
    except Exception:
        return False  # a damaged recording, which other tests are about


CASES = [case for case in kept_cases() + shared_cases() if has_chains(case)]


def recorded_entries(case):
    """How many entries all chains have, markers included, as the notes on the collection say."""
    notes = (SHARED / "README.md").read_text()
    return int(re.search(rf"^\| {re.escape(case.name)} \|.*\bchain\((\d+)\)", notes, re.MULTILINE).group(1))


def expected_addresses(sample):
    """The sampled address stands for the first of the chain, but where the chain leaves out the kernel's part. A chain
    as long as the recording allows ends in a mark."""
    marked = list(sample.marked)
    kernel_left_out = sample.mode == KERNEL_MODE and marked and marked[0][1] == USER_MARKER
    addresses = [address for address, _ in marked]
    cut_off = len(addresses) >= (sample.max_stack or USUAL_MAX_STACK)
    return sample.ip, *(addresses if kernel_left_out else addresses[1:]), *([END_MARK] if cut_off else [])


def is_at(places, addresses):
    return len(places) == len(addresses) and all(address in known for address, known in zip(addresses, places))


def check_bytes(test, case):
    """Each chain is the one in the bytes of the recording, frame by frame."""
    records = Records(case.load("perf.data"))
    if case.is_shared:
        test.assertEqual(sum(len(sample.entries) for sample in records.samples), recorded_entries(case))
    want = defaultdict(list)
    for sample in records.samples:
        want[sample.pid, sample.tid, sample.tick].append(expected_addresses(sample))
    chains = Chains(loads.loaded(test, case))
    ambiguous = frames_seen = 0
    for sample in chains.samples:
        places = [chains.addresses(frame, sample) for frame in chains.frames(sample.callsite)]
        fitting = next((addresses for addresses in want[sample.key] if is_at(places, addresses)), None)
        test.assertIsNotNone(fitting, (case.name, sample, places, want[sample.key]))
        want[sample.key].remove(fitting)
        test.assertEqual(fitting[0], sample.ip)
        frames_seen += len(places)
        ambiguous += sum(len(known) > 1 for known in places)
    test.assertEqual([key for key, left in want.items() if left], [])
    test.assertEqual(frames_seen, sum(len(expected_addresses(sample)) for sample in records.samples))
    test.assertLessEqual(ambiguous, frames_seen // 10, "memory mapped alike at several addresses hides differences")


@test_per_case(CASES, check_bytes)
class ChainsAreThoseOfTheBytes(SystemTest):
    pass


def printed(chains, sample, frame, absolute):
    """What perf may print for the frame: where a user frame is relative to its module, or where it was. In memory
    without a file nothing is relative."""
    is_plain = frame.path is not None and frame.path.startswith(PLAIN_MEMORY)
    return chains.addresses(frame, sample) if absolute or is_plain or chains.is_kernel(frame) else {frame.rva}


def left_out(want, ours):
    """How many frames of ours perf leaves out, which it does with some of unknown mappings; None where anything else
    differs. `ours`: (possible addresses, whether a module is known)."""
    count, at = 0, 0
    for addresses, is_known in ours:
        if at < len(want) and want[at] in addresses:
            at += 1
        elif is_known:
            return None
        else:
            count += 1
    return count if at == len(want) else None


def without_stale(want, ours, chain_is_stale):
    """perf looks an address up in the program that exec has replaced already; to us nothing is there."""
    if not chain_is_stale or len(want) != len(ours):
        return want
    return tuple(next(iter(addresses)) if not is_known else address
                 for address, (addresses, is_known) in zip(want, ours))


def compare(test, case, suffix, absolute):
    """The frames of the text are those of the result, in order, and none is left."""
    chains = Chains(plain_loads.loaded(test, case))
    stale_left = Counter(STALE_FRAMES.get(case.name, ()) if not absolute else ())
    empty_left = sum(not sample.entries for sample in Records(case.load("perf.data")).samples)
    texts = defaultdict(list)
    for text in perf_chains.chains(case.text(suffix)):
        texts[text.key].append(tuple(line.address for line in text.frames))
    test.assertEqual(sum(map(len, texts.values())), len(chains.samples))
    frames_of_perf = sum(len(text) for group in texts.values() for text in group)
    compared = 0
    for sample in chains.samples:
        frames = chains.frames(sample.callsite)
        if is_cut_off(frames):
            frames.pop()
        ours = [(printed(chains, sample, frame, absolute), frame.segment is not None) for frame in frames]
        is_stale = stale_left[sample.tick] > 0
        fitting = [(left_out(without_stale(text, ours, is_stale), ours), text) for text in texts[sample.key]]
        fitting = [(count, text) for count, text in fitting if count is not None]
        stale_left[sample.tick] -= is_stale
        if not fitting and () in texts[sample.key] and len(frames) == 1:
            empty_left -= 1
            fitting = [(0, ())]
        test.assertTrue(fitting, (case.name, sample, ours, texts[sample.key]))
        text = min(fitting)[1]
        texts[sample.key].remove(text)
        compared += len(text)
    test.assertEqual(compared, frames_of_perf)
    test.assertGreater(compared, 2 * len(chains.samples))
    test.assertEqual(sum(stale_left.values()), 0, "a listed difference does not occur")
    test.assertGreaterEqual(empty_left, 0, "perf prints no address for samples without a chain, and only for these")


def is_cut_off(frames):
    """perf prints no more than the kernel allows, and no mark."""
    return len(frames) > USUAL_MAX_STACK and frames[-1].is_end_mark


def check_relative(test, case):
    compare(test, case, "callchain.txt", absolute=False)


def check_absolute(test, case):
    compare(test, case, "callchain-abs.txt", absolute=True)


def with_text(suffix):
    return [case for case in CASES if case.load(suffix) is not None and case.name not in NOT_FROM_CHAINS]


@test_per_case(with_text("callchain.txt"), check_relative)
class RelativeAddressesAreThoseOfPerf(SystemTest):
    pass


@test_per_case(with_text("callchain-abs.txt"), check_absolute)
class AddressesAreThoseOfPerf(SystemTest):
    pass


class SharedCollection(unittest.TestCase):
    @unittest.skipUnless(shared_cases(), "the larger collection of recordings is not there")
    def test_every_recording_with_chains_is_compared(self):
        noted = set(re.findall(r"^\| ([\w.-]+) \|.*\bchain\(\d+\)", (SHARED / "README.md").read_text(), re.MULTILINE))
        self.assertEqual({case.name for case in CASES if case.is_shared}, noted)
        self.assertGreaterEqual(len(with_text("callchain.txt")), 14)
