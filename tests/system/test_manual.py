"""The manual pages and the completion tell of the commands and options that the command's own help lists."""

import os
import re
import shutil
import subprocess
from pathlib import Path

from support import command
from support.testing import SystemTest

FOLDER = Path(os.environ["SAMPLEFOLD_MANUAL"])


def commands():
    text = command.run("--help").out
    return re.findall(r"^  ([a-z-]+) ", text[text.index("\nSubcommands:"):text.index("\nExamples:")], re.MULTILINE)


def options(*words):
    """The long options that the help of a command begins lines with."""
    return set(re.findall(r"^  (?:-\w,)?(--[a-z-]+)", command.run(*words, "--help").out, re.MULTILINE))


def page(name):
    return (FOLDER / "man1" / f"{name}.1").read_text(encoding="utf-8")


def shown_options(name):
    """The options that a page has as headings, as a reader sees them."""
    return set(re.findall(r"--[a-z-]+", "\n".join(re.findall(r"^\.TP\n(.*)", page(name), re.MULTILINE))
                          .replace("\\-", "-")))


class ManualPages(SystemTest):
    def test_there_are_commands_to_tell_of(self):
        self.assertGreater(len(commands()), 7)
        self.assertIn("load", commands())

    def test_every_command_has_a_page_and_the_main_page_names_it(self):
        main = page("samplefold")
        for name in commands():
            self.assertIn(f".TP\n\\fB{name}\\fR\n", main)
            self.assertIn(f"samplefold\\-{name} \\- ", page(f"samplefold-{name}"))

    def test_pages_have_the_options_of_the_help_and_no_others(self):
        self.assertEqual(shown_options("samplefold"), options())
        for name in commands():
            self.assertEqual(shown_options(f"samplefold-{name}"), options(name), name)

    def test_groff_takes_every_page_without_a_warning(self):
        groff = shutil.which("groff")
        if groff is None:
            self.skipTest("groff is not installed")
        for name in ["samplefold", *(f"samplefold-{name}" for name in commands())]:
            path = FOLDER / "man1" / f"{name}.1"
            done = subprocess.run([groff, "-man", "-Tutf8", "-ww", str(path)], capture_output=True, text=True,
                                  check=False)
            self.assertEqual((done.returncode, done.stderr), (0, ""), name)
            # Bold letters are struck twice.
            self.assertIn("\nSYNOPSIS\n", re.sub(".\x08", "", done.stdout))


class Completion(SystemTest):
    def complete(self, *words):
        """What bash offers for the last of the words, in a folder with one file."""
        folder = self.scratch() / "folder"
        folder.mkdir(exist_ok=True)
        (folder / "some.data").touch()
        (folder / "two words").touch()
        script = ('source "$0"; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _samplefold; '
                  'printf "%s\\n" "${COMPREPLY[@]}"')
        done = subprocess.run(["bash", "-u", "-c", script, str(FOLDER / "completions/samplefold"), "samplefold", *words],
                              cwd=folder, capture_output=True, text=True, check=False)
        self.assertEqual((done.returncode, done.stderr), (0, ""), words)
        return done.stdout.splitlines()

    def test_the_first_word_is_a_command_or_an_option(self):
        self.assertEqual(set(self.complete("")), set(commands()) | options() | {"-h"})
        self.assertEqual(self.complete("expl"), ["explain"])

    def test_a_hyphen_brings_the_options_of_the_command(self):
        for name in commands():
            self.assertEqual({word for word in self.complete(name, "--") if word.startswith("--")}, options(name))

    def test_a_value_is_one_of_those_that_the_option_takes(self):
        self.assertEqual(self.complete("load", "--branch-stacks", ""), ["merge", "verify", "raw", "off"])
        self.assertEqual(self.complete("load", "--branch-stacks", "=", "v"), ["verify"])
        self.assertEqual(self.complete("load", "--branch-stacks", "="), ["merge", "verify", "raw", "off"])

    def test_other_words_are_paths(self):
        self.assertEqual(self.complete("load", "so"), ["some.data"])
        self.assertEqual(self.complete("load", "--symbols", "so"), ["some.data"])

    def test_a_path_with_blanks_stays_one_word(self):
        self.assertEqual(self.complete("load", "tw"), ["two words"])
        self.assertEqual(self.complete("load", "--symbols", "tw"), ["two words"])
