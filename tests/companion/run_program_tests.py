"""Runs the built program as its users do and compares stdout, stderr and exit status.

    run_program_tests.py PROGRAM [NAME-PATTERN...]      (such as Diagnose, or test_a_day)

Where the environment names a folder of further captures in TAVRINE_CORPUS, those are read, too.
"""

import os
import pathlib
import sys
import unittest

HERE = pathlib.Path(__file__).resolve().parent / "program"


def main():
    os.environ["TAVRINE_PROGRAM"] = str(pathlib.Path(sys.argv[1]).resolve())
    sys.path.insert(0, str(HERE))
    loader = unittest.TestLoader()
    loader.testNamePatterns = [f"*{pattern}*" for pattern in sys.argv[2:]] or None
    tests = loader.discover(str(HERE), pattern="*_tests.py")
    result = unittest.TextTestRunner().run(tests)
    if result.testsRun == 0:
        sys.exit("no test has such a name")
    sys.exit(not result.wasSuccessful())


if __name__ == "__main__":
    sys.dont_write_bytecode = True
    main()
