#!/usr/bin/env python3
"""Holds the pages of docs to what they show and name.

    docs_test.py PROGRAM EXAMPLES

EXAMPLES is the folder with the built programs of examples/library.
"""

import functools
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

import pages
import record_cells


class Pages(unittest.TestCase):
    def test_examples_print_what_is_shown(self):
        for page in pages.PAGES_THAT_RUN:
            text = pages.read(page)
            with tempfile.TemporaryDirectory(prefix="tavrine_test_") as folder:
                desk = pages.Desk(folder, PROGRAM)
                desk.set_up_for(text)
                for example in pages.examples(text):
                    printed = desk.run(example.command)
                    with self.subTest(page=pages.name_of(page), command=example.command):
                        self.assertTrue(
                            pages.agrees(example.shown, printed),
                            f"tests/docs/approve shows it in the page; printed was\n{printed}")

    def test_something_is_shown_of_each_cut_example(self):
        for page in pages.PAGES_THAT_RUN:
            for example in pages.examples(pages.read(page)):
                if example.shown:
                    with self.subTest(page=pages.name_of(page), command=example.command):
                        self.assertNotEqual(set(example.shown), {"..."})

    def test_places_that_are_linked_exist(self):
        for page in pages.PAGES:
            for place, heading in re.findall(r"\]\(([^)#]*)(?:#([^)]*))?\)",
                                             pages.without_fences(pages.read(page))):
                target = (page.parent / place).resolve() if place else page
                with self.subTest(page=pages.name_of(page), place=place, heading=heading):
                    self.assertTrue(target.exists())
                    if heading:
                        self.assertIn(heading, headings(pages.read(target)))

    def test_index_names_every_page(self):
        index = pages.read(pages.ROOT / "docs/README.md")
        for page in pages.PROGRAM_PAGES + pages.LIBRARY_PAGES + pages.FORMAT_PAGES:
            self.assertIn(f"]({page.relative_to(pages.ROOT / 'docs')})", index)


def headings(text):
    """What the headings of a page are called in links to them."""
    words = re.findall(r"(?m)^#+ (.*)$", pages.without_fences(text))
    return {re.sub(r"[^\w -]", "", each.lower()).replace(" ", "-") for each in words}


@functools.cache
def help_of(*words):
    return subprocess.run([PROGRAM, *words, "--help"], capture_output=True, check=True,
                          text=True).stdout


def names_listed_under(title, text):
    return re.findall(r"(?m)^  (\S+) {2,}", text.partition(title)[2].partition("\n\n")[0])


class Program(unittest.TestCase):
    """What the pages call on the program to do, it can."""

    def setUp(self):
        self.text = "\n".join(map(pages.read, [pages.README, *pages.PROGRAM_PAGES,
                                               *pages.FORMAT_PAGES]))

    def verbs(self):
        return names_listed_under("Verbs:", help_of())

    def test_each_verb_has_its_place(self):
        titles = " ".join(re.findall(r"(?m)^#+ .*", self.text))
        elsewhere = {"schema": "# The JSON Schema", "export": "# Feed other programs"}
        self.assertGreater(len(self.verbs()), 10)
        for verb in self.verbs():
            with self.subTest(verb):
                self.assertIn(elsewhere.get(verb, f"`{verb}`"), titles)
                self.assertRegex(self.text, rf"(?m)^    \$ .*\btavrine {verb}\b|`tavrine {verb}")

    def test_options_that_are_named_exist(self):
        options = 0
        for verb, rest in re.findall(r"\btavrine ([a-z-]+)([^|`;\n]*)", self.text):
            if verb not in self.verbs():
                continue
            words = [verb]
            if kinds := names_listed_under("Kinds:", help_of(verb)):
                words.append(next((kind for kind in rest.split() if kind in kinds), kinds[0]))
            for option in re.findall(r"(?<![\w-])--[a-z-]+", rest):
                options += 1
                with self.subTest(verb=verb, option=option):
                    self.assertRegex(help_of(*words), rf"(?m)^  (-h,)?{option}(?![\w-])")
        self.assertGreater(options, 50)

    def test_options_that_are_named_alone_are_some_verbs(self):
        known = "".join(help_of(verb) + "".join(help_of(verb, kind) for kind in
                                                names_listed_under("Kinds:", help_of(verb)))
                        for verb in self.verbs())
        # A report on redaction names options of other programs, too.
        read = [page for page in pages.PROGRAM_PAGES + pages.FORMAT_PAGES
                if page.stem != "bug_report"]
        options = re.findall(r"`(--[a-z-]+)", "\n".join(map(pages.read, read)))
        self.assertGreater(len(options), 20)
        for option in set(options):
            with self.subTest(option):
                self.assertRegex(known, rf"(?m)^  (-h,)?{option}(?![\w-])")

    def test_keys_of_the_live_screen_are_those_of_its_help(self):
        rows = self.text.partition("| keys | what they do |")[2].partition("\n\n")[0]
        table = dict(re.findall(r"(?m)^\| (.+?) \| (.+?) \|$", rows))
        keys = re.findall(r"(?m)^  (\S.*?)  +(\S.*)$",
                          help_of("watch").partition("Keys:\n")[2].partition("\n\n")[0])
        self.assertGreater(len(keys), 10)
        for key, does in keys:
            with self.subTest(key):
                self.assertTrue(table[key].startswith(does), table[key])


class Library(unittest.TestCase):
    def test_pages_are_their_examples(self):
        for page in pages.LIBRARY_PAGES:
            text = pages.read(page)
            source = (pages.ROOT / f"examples/library/{page.stem}.cpp").read_text(encoding="utf-8")
            with self.subTest(page.stem):
                shown = "\n".join(pages.fenced(text, "cpp"))
                self.assertTrue(source.startswith(shown), "in the source's order, without gaps")
                # Where main only calls what is shown, it need not be.
                self.assertRegex(source.removeprefix(shown),
                                 r"\A(\nint main\(\) \{\n(  \w+\(\);\n)+\}\n)?\Z")

    def test_pages_show_what_their_examples_print(self):
        for page in pages.LIBRARY_PAGES:
            shown = re.findall(r"(?m)^    (.*\n)", pages.without_fences(pages.read(page)))
            with self.subTest(page.stem), \
                    tempfile.TemporaryDirectory(prefix="tavrine_test_") as folder:
                done = subprocess.run([EXAMPLES / f"library_{page.stem}"], cwd=folder, check=True,
                                      capture_output=True, env={**os.environ, "LC_ALL": "C.UTF-8"})
                printed = re.sub(r"(?m) +$", "", done.stdout.decode())
                self.assertEqual("".join(shown), printed)
                self.assertEqual(os.listdir(folder), [], "what it made")

    def test_each_example_has_a_page(self):
        sources = {each.stem for each in (pages.ROOT / "examples/library").glob("*.cpp")}
        self.assertEqual(sources, {page.stem for page in pages.LIBRARY_PAGES})

    def test_each_public_header_of_records_and_parsers_is_named(self):
        text = "\n".join(map(pages.read, pages.LIBRARY_PAGES))
        offered = re.findall(r"<TavrineShared/((?:model|parsers|recorder|store|demo)/\w+\.h)>",
                             (pages.ROOT / "TavrineShared/tavrine_shared.h").read_text())
        # Of use to whoever adds a record, or a parser.
        for header in set(offered) - {"model/field_table.h", "parsers/text_rules.h"}:
            with self.subTest(header):
                self.assertTrue(f"`{header}`" in text)


class Formats(unittest.TestCase):
    def test_snapshot_has_a_row_for_each_field(self):
        rows = record_cells.rows(pages.read(pages.ROOT / "docs/formats/snapshot.md"))
        fields = {(record, key): schema for record, properties in record_cells.schemas().items()
                  for key, schema in properties.items()}
        self.assertEqual(set(rows), set(fields))
        for place, schema in fields.items():
            with self.subTest(place):
                kind, meaning, missing = rows[place]
                self.assertEqual(kind, record_cells.type_cell(schema))
                self.assertEqual(missing, record_cells.missing_cell(schema))
                self.assertIn(record_cells.words(schema), meaning)
                self.assertGreater(len(meaning), 1)

    def test_findings_has_each_outcome(self):
        header = (pages.ROOT / "TavrineShared/model/findings.h").read_text(encoding="utf-8")
        known = re.findall(r'\{Case::\w+, "(\w+)", "(.*?)"\}', header)
        self.assertGreater(len(known), 10)
        located = [word for word, _ in known].index("located")
        page = pages.read(pages.ROOT / "docs/formats/findings.md")
        self.assertEqual(re.findall(r"(?m)^\| `(\w+)` \| (.*?) \| (yes|no) \|$", page),
                         [(word, title, "yes" if at > located else "no")
                          for at, (word, title) in enumerate(known)])

    def test_capture_has_each_file_and_key(self):
        header = (pages.ROOT / "companion/capture/capture.h").read_text(encoding="utf-8")
        source = (pages.ROOT / "companion/capture/capture.cpp").read_text(encoding="utf-8")
        page = pages.read(pages.ROOT / "docs/formats/capture.md")
        files = re.findall(r'\{"([\w-]+)", "(\w+\.\w+)"\}', header)
        self.assertGreater(len(files), 5)
        for command, file in files:
            with self.subTest(file):
                self.assertRegex(page, rf"(?m)^\| `{file}` \|.*\| `{command}` \|$")
        within = {"CaptureInfo": "", "CommandResult": "commands[].", "CapturedRun": "runs[]."}
        tables = re.findall(r"(?s)using R = (\w+);(.*?)RecordTable table", source)
        keys = [within[record] + key for record, fields in tables
                for key in re.findall(r"<&R::(\w+)>", fields)]
        table = page.partition("## capture.json")[2].partition("## ")[0]
        self.assertEqual(sorted(re.findall(r"(?m)^\| `([^`]+)` \|", table)), sorted(keys))

    def test_capture_has_each_report_of_an_agent(self):
        header = (pages.ROOT / "companion/assemble/agent_reports.h").read_text(encoding="utf-8")
        page = pages.read(pages.ROOT / "docs/formats/capture.md")
        reports = re.findall(r"\b([a-z_]+) {2,}([A-Z]\w+)", header)
        self.assertGreater(len(reports), 5)
        self.assertEqual(sorted(re.findall(r"(?m)^\| `(\w+)` \| \[(\w+)\]", page)), sorted(reports))


if __name__ == "__main__":
    EXAMPLES = pathlib.Path(sys.argv.pop(2)).resolve()
    PROGRAM = str(pathlib.Path(sys.argv.pop(1)).resolve())
    unittest.main()
