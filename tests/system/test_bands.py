"""The same intervals as bands, where the environment asks for them."""

from collections import Counter

from support import result
from support.cases import kept
from support.testing import SystemTest, test_per_case

VARIABLE = "KESTREL_LOAD_INSTANCE_DATA_TO_SQLITE"
CASES = [kept(name) for name in ("forktree-multi", "systemwide-multi", "deeptree-plain-period")]

BANDS_SQL = "SELECT start_tsc, end_tsc, count, owner, attribute FROM sample_band"
INSTANCES_SQL = "SELECT start_tsc, end_tsc, count, thread, sample FROM sample_instance"
# A follower is the next sample of the same thread and event: rows of both, in the order of their times.
FOLLOWED_SQL = """
SELECT thread, event_type, start_tsc, end_tsc, rate, sample,
       lead(sample) OVER (PARTITION BY thread, event_type ORDER BY end_tsc, id) AS follower
  FROM sample_instance"""


def check_bands(test, case):
    scratch = test.scratch()
    folder = test.load(case.recording(scratch), scratch / "r", env={VARIABLE: "0"})
    instances = result.rows(folder, INSTANCES_SQL)
    test.assertTrue(instances)
    test.assert_same_bag(Counter(result.rows(folder, BANDS_SQL)), Counter(instances), "bands")
    test.assertEqual(result.rows(folder, "SELECT DISTINCT attribute_table, reserved FROM sample_band"),
                     [("dd_sample", 0)])

    followed = result.rows(folder, FOLLOWED_SQL)
    # The last of a thread and event is written at the end of the load, as its own follower without a rate.
    want = Counter((thread, start, end, sample, follower or sample, rate if follower else 0.0)
                   for thread, _, start, end, rate, sample, follower in followed)
    test.assertTrue(any(follower is not None for *_, follower in followed))
    test.assertTrue(any(follower is None for *_, follower in followed))
    got = Counter(result.rows(folder, "SELECT owner, start_tsc, end_tsc, attribute, next_attr, rate FROM sample_band"))
    test.assert_same_bag(got, want, "(thread, start, end, attribute, follower, rate)")


@test_per_case(CASES, check_bands)
class Bands(SystemTest):
    pass


class Default(SystemTest):
    def test_there_are_no_bands_without_the_variable(self):
        for environment in ({}, {VARIABLE: ""}):
            scratch = self.scratch()
            folder = self.load(CASES[0].recording(scratch), scratch / "r", env=environment)
            self.assertEqual(result.value(folder, "SELECT count(*) FROM sample_band"), 0)
