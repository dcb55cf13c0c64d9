"""The measure of call chains itself, on chains made by hand."""

import unittest

from support.chain_measure import Measure, Verdict, compare, offered

# Calls of five bytes, so that the call stands 5 before its return address.
TRUTH = [0x1000, 0x2005, 0x3005, 0x4005, 0x5005]
CALLS = [0x2000, 0x3000, 0x4000, 0x5000]


class Comparison(unittest.TestCase):
    def judged(self, *stored):
        return compare(list(stored), TRUTH)

    def test_the_whole_chain_is_right(self):
        self.assertEqual(self.judged(*TRUTH), (Verdict.RIGHT, 5, None))

    def test_calls_stand_for_their_return_addresses(self):
        self.assertEqual(self.judged(0x1000, *CALLS), (Verdict.RIGHT, 5, None))

    def test_a_chain_that_ends_early_is_right(self):
        self.assertEqual(self.judged(0x1000, 0x2000), (Verdict.RIGHT, 2, None))

    def test_a_frame_up_to_eight_bytes_before_the_return_is_right_and_no_further(self):
        self.assertEqual(self.judged(0x1000, 0x2005 - 8).verdict, Verdict.RIGHT)
        self.assertEqual(self.judged(0x1000, 0x2005 - 9).verdict, Verdict.WRONG)
        self.assertEqual(self.judged(0x1000, 0x2006).verdict, Verdict.WRONG)

    def test_the_sampled_address_must_be_exact(self):
        self.assertEqual(self.judged(0xFFF, 0x2005), (Verdict.WRONG, 0, 0))

    def test_a_left_out_caller_is_a_kind_of_its_own(self):
        self.assertEqual(self.judged(0x1000, 0x3000, 0x4005), (Verdict.SKIPS, 1, 1))

    def test_callers_in_another_order_are_wrong(self):
        self.assertEqual(self.judged(0x1000, 0x3005, 0x2005), (Verdict.WRONG, 1, 1))

    def test_a_frame_behind_the_outermost_is_wrong(self):
        self.assertEqual(self.judged(*TRUTH, 0x6000), (Verdict.WRONG, 5, 5))

    def test_no_chain_is_not_right(self):
        self.assertEqual(self.judged(), (Verdict.SKIPS, 0, None))


class Offer(unittest.TestCase):
    def test_frames_of_the_software_chain_count_up_to_its_first_mistake(self):
        self.assertEqual(offered(TRUTH, [0x1000, 0x2005, 0x4005], []), 2)

    def test_records_count_beyond_the_software_chain(self):
        self.assertEqual(offered(TRUTH, [0x1000, 0x2005], CALLS[:3]), 4)

    def test_stale_records_between_do_not_end_it(self):
        self.assertEqual(offered(TRUTH, [0x1000], [0x7777, *CALLS[:2], 0x8888, CALLS[2]]), 4)

    def test_the_first_frame_that_neither_holds_ends_it(self):
        self.assertEqual(offered(TRUTH, [0x1000], [CALLS[0], CALLS[2], CALLS[3]]), 2)

    def test_a_software_chain_bridges_a_lost_record(self):
        self.assertEqual(offered(TRUTH, [0x1000, 0x2005, 0x3005], [CALLS[0], CALLS[2], CALLS[3]]), 5)


class Sums(unittest.TestCase):
    def test_shares_are_of_callers_and_of_samples_that_have_some(self):
        measure = Measure()
        measure.add(compare(TRUTH, TRUTH), 5)
        measure.add(compare(TRUTH[:3], TRUTH), 5)
        measure.add(compare(TRUTH[:1], TRUTH[:1]), 1)
        measure.add(compare([0x1000, 0x9000], TRUTH), 3)
        self.assertEqual(measure.samples, 4)
        self.assertEqual(measure.share(Verdict.RIGHT), 0.75)
        self.assertEqual(measure.share(Verdict.WRONG), 0.25)
        self.assertAlmostEqual(measure.held, (1 + 0.5 + 0) / 3)

    def test_frames_beyond_what_could_be_held_are_no_merit(self):
        measure = Measure()
        measure.add(compare(TRUTH, TRUTH), 3)
        self.assertEqual(measure.held, 1)


if __name__ == "__main__":
    unittest.main()
