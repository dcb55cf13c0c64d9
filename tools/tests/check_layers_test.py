import unittest

from scratch_tree import RuleTest


class CheckLayers(RuleTest):
    check = "check_layers"

    def test_the_arrows_of_the_tree_are_accepted(self):
        self.accepts({
            "include/thread_state.h": '#include "export.h"\n#include <rowvault1/index.h>\n',
            "include/export.h": "#pragma once\n",
            "src/thread_state/flush.cpp": '#include "thread_state/row.h"\n#include <samplefold_1/export.h>\n',
            "src/thread_state/row.h": "#include <vector>\n",
            "companions/rowvault1/src/store.cpp": '#include "store.h"\n#include <sqlite3.h>\n'
                                                  "#include <toolbelt2/sptr.h>\n",
            "companions/rowvault1/src/store.h": "#include <PORTA_2_18/assert.h>\n",
            "driver/cli/main.cpp": '#include "load/version.h"\n#include "report/summary.h"\n',
            "driver/load/version.h.in": "#pragma once\n",
            "driver/report/summary.h": "#include <rowvault1/result.h>\n",
            "driver/load/load.cpp": '#include "session/rows.h"\n#include <samplefold_1/thread_state.h>\n',
            "driver/session/rows.h": "#include <rowvault1/database.h>\n",
        })

    def test_a_tree_without_sources_is_refused(self):
        code, output = self.run_check({"README.md": "nothing"})
        self.assertEqual(1, code)
        self.assertIn("found nothing to check", output)

    def test_the_library_includes_no_driver_header(self):
        driver = {"driver/session/rows.h": ""}
        self.refuses({**driver, "src/thread_state/a.cpp": '\n#include "session/rows.h"\n'},
                     "src/thread_state/a.cpp:2", "the library knows no driver")
        self.refuses({**driver, "include/a.h": "#include <session/rows.h>\n"}, "include/a.h:1")

    def test_a_companion_includes_no_library_header(self):
        self.refuses({"companions/toolbelt2/src/a.cpp": "#include <samplefold_1/sample_records.h>\n"},
                     "companions/toolbelt2/src/a.cpp:1", "neither library nor driver")

    def test_a_companions_test_includes_no_driver_header(self):
        self.refuses({"companions/toolbelt2/tests/a_test.cpp": '#include "load/bucket_pass.h"\n'},
                     "companions/toolbelt2/tests/a_test.cpp:1", "neither library nor driver")

    def test_companions_keep_to_their_arrows(self):
        self.refuses({"companions/logbridge_1/src/a.cpp": "#include <PORTA_2_18/assert.h>\n"},
                     "companions/logbridge_1/src/a.cpp:1", "no arrow leads from logbridge_1 to PORTA_2_18")
        self.refuses({"companions/toolbelt2/include/toolbelt2/a.h": "#include <rowvault1/index.h>\n"},
                     "companions/toolbelt2/include/toolbelt2/a.h:1")

    def test_a_new_companion_has_no_arrows_yet(self):
        self.refuses({"companions/newcomer/src/a.cpp": "#include <toolbelt2/sptr.h>\n"},
                     "companions/newcomer/src/a.cpp:1", "no arrow")

    def test_parts_of_the_driver_keep_to_their_arrows(self):
        header = {"driver/session/a.h": "", "driver/load/a.h": "", "driver/perfdata/a.h": ""}
        for part, target in [("report", "session"), ("session", "load"), ("perfdata", "session"),
                             ("cli", "perfdata")]:
            self.refuses({**header, f"driver/{part}/b.cpp": f'#include "{target}/a.h"\n'},
                         f"driver/{part}/b.cpp:1", f"no arrow leads from driver/{part} to {target}")

    def test_report_and_perfdata_do_not_see_the_library(self):
        for part in ["report", "perfdata", "cli"]:
            self.refuses({f"driver/{part}/b.cpp": "#include <samplefold_1/export.h>\n"},
                         f"driver/{part}/b.cpp:1", "no arrow")

    def test_a_new_part_of_the_driver_must_be_entered(self):
        self.refuses({"driver/newcomer/a.cpp": "#include <rowvault1/index.h>\n"},
                     "driver/newcomer/a.cpp:1", "give it its arrows")

    def test_private_headers_stay_private(self):
        self.refuses({"driver/load/a.cpp": '#include "thread_state/row.h"\n',
                      "src/thread_state/row.h": ""}, "driver/load/a.cpp:1", "no header of this part")
        self.refuses({"companions/toolbelt2/src/a.cpp": '#include "../../rowvault1/src/store.h"\n'},
                     "companions/toolbelt2/src/a.cpp:1", "leaves its folder")

    def test_only_the_store_sees_sqlite(self):
        self.refuses({"driver/report/a.cpp": "#include <sqlite3.h>\n"}, "driver/report/a.cpp:1",
                     "companions/rowvault1 alone")
        self.refuses({"src/thread_state/a.cpp": "#include <sqlite3.h>\n"}, "src/thread_state/a.cpp:1")

    def test_an_example_does_not_stand_on_the_driver(self):
        self.refuses({"examples/a/main.cpp": "#include <load/bucket_pass.h>\n"}, "examples/a/main.cpp:1")


if __name__ == "__main__":
    unittest.main()
