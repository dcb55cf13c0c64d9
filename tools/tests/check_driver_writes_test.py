import unittest

from scratch_tree import RuleTest


class CheckDriverWrites(RuleTest):
    check = "check_driver_writes"

    def accepts_text(self, text):
        self.accepts({"driver/session/a.cpp": text})

    def refuses_text(self, text, line, *words):
        self.refuses({"driver/session/a.cpp": text}, f"driver/session/a.cpp:{line}", *words)

    def test_reading_by_queries_is_accepted(self):
        self.accepts_text('auto a = db->createQuery("dd_segment_instance", 2);\n'
                          'auto b = db->createQuery(\n    "dd_sample", 2);\n'
                          'readTable("dd_callsite", db, columns, visit);\n')

    def test_reading_by_sql_is_accepted(self):
        self.accepts_text('readSql(r, "SELECT count(*) FROM dd_sample", reader);\n')

    def test_other_tables_may_be_written(self):
        self.accepts_text('RowWriter writer(db, "dd_quality");\ndb->getAttributeTable("dd_cpu");\n')

    def test_comments_say_what_they_like(self):
        self.accepts_text('// "dd_sample" and "INSERT INTO x" are the library\'s\n/* "dd_callsite" */ int a;\n')

    def test_other_folders_are_not_looked_at(self):
        self.accepts({"driver/cli/main.cpp": "", "src/a.cpp": 'table("dd_sample");\n'})

    def test_each_table_of_the_library_is_refused_for_writing(self):
        for table in ["dd_sample", "dd_code_location", "dd_callsite", "dd_segment_instance"]:
            self.refuses_text(f'\ndb->getAttributeTable("{table}")->createOrphanRecord();\n', 2,
                              f'"{table}"', "the library writes that table")

    def test_helpers_and_constants_are_refused_as_well(self):
        self.refuses_text('RowWriter writer(db, "dd_callsite");\n', 1)
        self.refuses_text('KeyedRows<int> rows(db,\n    "dd_code_location", {"rva"});\n', 2)
        self.refuses_text('constexpr const char* table = "dd_sample";\n', 1)
        self.refuses_text('auto t = "dd_" "sample";\n', 1)

    def test_changing_sql_is_refused(self):
        for sql in ["INSERT INTO dd_cpu VALUES(1)", "insert or replace into t values(1)", "REPLACE INTO t VALUES(1)",
                    "UPDATE dd_sample SET ip = 0", "DELETE FROM dd_cpu", "DROP TABLE dd_cpu",
                    "CREATE UNIQUE INDEX i ON t(a)"]:
            self.refuses_text(f'run("{sql}");\n', 1, "changes nothing by SQL")

    def test_changing_sql_in_pieces_and_raw_strings_is_refused(self):
        self.refuses_text('run("DELETE "\n    "FROM dd_cpu");\n', 1)
        self.refuses_text('run(R"sql(\nUPDATE t\n  SET a = 1)sql");\n', 1)

    def test_sqlite_itself_is_refused(self):
        self.refuses_text("int code = sqlite3_open(path, &db);\n", 1, "go through rowvault1")

    def test_a_tree_without_a_driver_is_refused(self):
        code, output = self.run_check({"src/a.cpp": ""})
        self.assertEqual(1, code)
        self.assertIn("found nothing to check", output)


if __name__ == "__main__":
    unittest.main()
