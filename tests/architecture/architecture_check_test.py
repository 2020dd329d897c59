"""Proves that architecture_check.py can fail: each rule is broken once in a small tree of its own."""

import os
import tempfile
import unittest

from architecture_check import violations

# A tree without violations. Each test breaks it in one place.
SOUND = {
    "TavrineShared/CMakeLists.txt": "add_library(TavrineShared foundation/text.cpp foundation/text.h\n"
    "  foundation/scan.h model/gpu.h parsers/gpu_parser.h)",
    "TavrineShared/foundation/text.h": "#include <string>\n",
    "TavrineShared/foundation/scan.h": "#include <emmintrin.h>\n",
    "TavrineShared/foundation/text.cpp": "#include <TavrineShared/foundation/text.h>\n"
    "#include <TavrineShared/foundation/scan.h>\n#include <unicode/uchar.h>\n",
    "TavrineShared/model/gpu.h": "#include <TavrineShared/foundation/text.h>\n",
    "TavrineShared/parsers/gpu_parser.h": "#include <TavrineShared/model/gpu.h>\n",
    "companion/CMakeLists.txt": "add_executable(tavrine\n  main.cpp)",
    "companion/main.cpp": '#include <CLI/CLI.hpp>\n#include "views.h"\n'
    "#include <TavrineShared/parsers/gpu_parser.h>\n",
    "companion/views.h": "#include <iostream>\n",
}
PUBLIC = {
    "TavrineShared/foundation/text.h",
    "TavrineShared/model/gpu.h",
    "TavrineShared/parsers/gpu_parser.h",
}


class ArchitectureCheck(unittest.TestCase):
    def found(self, changes):
        with tempfile.TemporaryDirectory() as root:
            for path, text in {**SOUND, **changes}.items():
                os.makedirs(os.path.dirname(os.path.join(root, path)), exist_ok=True)
                with open(os.path.join(root, path), "w", encoding="utf-8") as file:
                    file.write(text)
            return violations(root, PUBLIC)

    def assertOneViolation(self, path, text, complaint):
        found = self.found({path: text})
        self.assertEqual(len(found), 1, found)
        self.assertIn(complaint, found[0])

    def test_a_sound_tree_passes(self):
        self.assertEqual(self.found({}), [])

    def test_no_include_runs_upward(self):
        for path, included, complaint in (
            ("foundation/text.cpp", "model/gpu.h", "floor 'foundation'"),
            ("model/gpu.h", "parsers/gpu_parser.h", "floor 'records'"),
            ("foundation/text.cpp", "../companion/views.h", "('companion')"),
        ):
            target = os.path.normpath("TavrineShared/" + included)
            with self.subTest(path=path):
                found = self.found({"TavrineShared/" + path: f"# include <{target}>\n"})
                self.assertTrue(any(complaint in line for line in found), found)

    def test_recorder_records_stand_on_the_floor_of_records(self):
        recorder = {
            "TavrineShared/CMakeLists.txt": SOUND["TavrineShared/CMakeLists.txt"]
            + " recorder/recorder_records.h recorder/run_state.h",
            "TavrineShared/model/gpu.h": "#include <TavrineShared/recorder/recorder_records.h>\n",
            "TavrineShared/recorder/recorder_records.h": "",
            "TavrineShared/recorder/run_state.h": "",
        }
        # Not in PUBLIC here, hence the one complaint that a public header includes it.
        self.assertEqual(len(self.found(recorder)), 1)
        recorder["TavrineShared/model/gpu.h"] = "#include <TavrineShared/recorder/run_state.h>\n"
        self.assertIn("floor 'records'", self.found(recorder)[0])

    def test_a_file_on_no_floor_is_told(self):
        found = self.found({"TavrineShared/odd/odd.h": ""})
        self.assertTrue(any("stands on no floor" in line for line in found), found)

    def test_no_include_runs_in_a_circle(self):
        found = self.found({
            "TavrineShared/foundation/text.h": "#include <TavrineShared/foundation/scan.h>\n",
            "TavrineShared/foundation/scan.h": "#include <TavrineShared/foundation/text.h>\n",
        })
        self.assertTrue(any("includes itself" in line for line in found), found)

    def test_a_public_header_stands_on_the_standard_library_alone(self):
        for header in ("unicode/uchar.h", "unistd.h", "sys/stat.h", "fcntl.h", "simdjson.h",
                       "nlohmann/json.hpp", "CLI/CLI.hpp", "gtest/gtest.h", "iostream", "regex"):
            with self.subTest(header=header):
                self.assertOneViolation("TavrineShared/model/gpu.h", f"#include <{header}>\n",
                                        f"includes <{header}>")

    def test_a_public_header_includes_no_private_one(self):
        self.assertOneViolation("TavrineShared/model/gpu.h",
                                "#include <TavrineShared/foundation/scan.h>\n", "which is not")

    def test_our_headers_are_included_by_their_full_name(self):
        for include in ('"text.h"', '"TavrineShared/foundation/text.h"'):
            with self.subTest(include=include):
                self.assertOneViolation("TavrineShared/foundation/text.cpp",
                                        f"#include {include}\n", "is meant")

    def test_a_source_that_no_list_names_is_told(self):
        self.assertOneViolation("companion/forgotten.cpp", "", "is not named in")


if __name__ == "__main__":
    unittest.main()
