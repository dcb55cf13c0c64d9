"""The example of ./quickstart: call chains, generated code and branch records in one recording."""

from support import result
from support.example import EXAMPLES
from support.testing import SystemTest

FOLDER = EXAMPLES / "queries"
RECORDING = FOLDER / "queries.perf.data"
GENERATED = {"query:total", "query:even", "query:mixed"}


class QueriesExample(SystemTest):
    def setUp(self):
        self.folder = self.load(RECORDING, self.scratch() / "result", "--symbols", FOLDER)

    def rows(self, sql):
        return [tuple(row) for row in result.rows(self.folder, sql)]

    def test_all_samples_are_rows_and_nothing_had_to_be_dropped_or_guessed(self):
        self.assertEqual(self.rows("SELECT count(*) FROM samples"), [(1500,)])
        self.assertEqual(self.rows("SELECT * FROM quality"), [])

    def test_generated_functions_have_their_names(self):
        self.assertLessEqual(GENERATED, {name for (name,) in self.rows("SELECT DISTINCT function FROM samples")})

    def test_generated_code_calls_and_is_called_by_the_program(self):
        pairs = set(self.rows(
            "SELECT DISTINCT inside.function, outside.function FROM samples s "
            "JOIN frames inside ON inside.callsite = s.callsite AND inside.depth = 0 "
            "JOIN frames outside ON outside.callsite = s.callsite AND outside.depth = 1 "
            "WHERE inside.function IN ('fetch_row', 'fold') OR inside.function LIKE 'query:%'"))
        self.assertEqual(pairs, {(name, "run_query") for name in GENERATED} |
                         {(helper, name) for helper in ("fetch_row", "fold") for name in GENERATED})

    def test_chains_of_generated_code_reach_the_start_of_the_program(self):
        outermost = self.rows(
            "SELECT DISTINCT f.function FROM frames f JOIN samples s USING (callsite) WHERE s.function = 'fold' "
            "AND f.depth = (SELECT max(depth) FROM frames g WHERE g.callsite = f.callsite)")
        self.assertEqual(outermost, [("_start",)])

    def test_every_sample_has_its_branch_records(self):
        self.assertEqual(self.rows("SELECT count(DISTINCT interval) FROM sample_branches"), [(1500,)])
