import unittest

from scratch_tree import RuleTest

PAGE = "| samples without a time | x | y |\n| damage: … | x | y |\n| counter values lost | x | y |\n"


class CheckQualityPage(RuleTest):
    check = "check_quality_page"

    def test_reasons_that_the_page_tells_of_are_accepted(self):
        self.accepts({"docs/quality.md": PAGE,
                      "driver/a.cpp": 'quality.add("samples "\n "without a time", 1, "x");\n'
                                      'm_quality.add("damage: " + name, 1, "x");\n'
                                      'm_quality.add(path + ": damage", 1, "x");\n'
                                      'const char* t[] = {"counter values lost"};\n'})

    def test_a_reason_that_is_not_told_is_refused(self):
        self.refuses({"docs/quality.md": PAGE, "driver/a.cpp": '\nquality.add("new reason", 1, "x");\n'},
                     "driver/a.cpp:2", "new reason", "add a line")

    def test_a_reason_of_a_table_that_is_not_told_is_refused(self):
        self.refuses({"docs/quality.md": PAGE, "driver/a.cpp": 'texts[] = {{"call stacks cut", "x"}};\n'},
                     "driver/a.cpp:1", "call stacks cut")

    def test_a_text_that_is_no_reason_is_not_asked_for(self):
        self.accepts({"docs/quality.md": PAGE,
                      "driver/a.cpp": 'quality.add("samples without a time", 1, "record again");\n'
                                      'list.add("other"); quality.add(note, 1, "see there");\n'})

    def test_a_driver_without_reasons_is_refused(self):
        self.assertEqual(1, self.run_check({"docs/quality.md": PAGE, "driver/a.cpp": "int a;\n"})[0])


if __name__ == "__main__":
    unittest.main()
