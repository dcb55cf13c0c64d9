import unittest

from scratch_tree import RuleTest


class CheckLinks(RuleTest):
    check = "check_links"

    def test_links_that_lead_somewhere_are_accepted(self):
        self.accepts({"README.md": "[a](docs/a.md#part) [b](docs) [c](https://www.sqlite.org/) [d](#here)\n",
                      "docs/a.md": "[back](../README.md)\n"})

    def test_a_link_to_nothing_is_refused(self):
        self.refuses({"docs/a.md": "fine\n[a](../docs/a.md) [b](b.md)\n"}, "docs/a.md:2", "b.md",
                     "correct the link")

    def test_a_tree_without_links_is_refused(self):
        self.assertEqual(1, self.run_check({"README.md": "no link"})[0])


if __name__ == "__main__":
    unittest.main()
