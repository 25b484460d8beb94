"""The entry of test programs written in Python: unittest cases behind the options and the last line that the C++
test programs have, so that ./test treats both alike. A case's name is the first line of its docstring."""
import fnmatch
import re
import sys
import unittest


def cases_of(suite):
    for item in suite:
        if isinstance(item, unittest.TestSuite):
            yield from cases_of(item)
        else:
            yield item


def name_of(case):
    return case.shortDescription() or case.id()


def main():
    patterns = []
    for argument in sys.argv[1:]:
        if argument.startswith("--test-case="):
            patterns = [p.replace("\\,", ",") for p in re.split(r"(?<!\\),", argument.split("=", 1)[1])]
    cases = [case for case in cases_of(unittest.defaultTestLoader.loadTestsFromModule(sys.modules["__main__"]))
             if not patterns or any(fnmatch.fnmatch(name_of(case).lower(), p.lower()) for p in patterns)]
    if "--list-test-cases" in sys.argv:
        print("\n".join(map(name_of, cases)))
        return 0
    result = unittest.TextTestRunner(stream=sys.stdout, verbosity=0).run(unittest.TestSuite(cases))
    failed = len({id(case) for case, _ in result.failures + result.errors})
    skipped = len(result.skipped)
    print(f"{result.testsRun - failed - skipped} passed, {failed} failed, {skipped} skipped", flush=True)
    return 1 if failed or not cases else 0
