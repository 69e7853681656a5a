#!/usr/bin/env python3
"""Does the README show the example that is compiled, and does every file that it names exist?

usage: tests/readme_test.py PROJECT_FOLDER
"""
import pathlib
import re
import sys

root = pathlib.Path(sys.argv[1])
readme = (root / "README.md").read_text()
example = (root / "examples" / "first_picture.cpp").read_text()
assert f"```cpp\n{example}```" in readme, "README.md does not show examples/first_picture.cpp"
for name in (re.findall(r"\]\(([^):]+)\)", readme) + re.findall(r'src="([^"]+)"', readme) +
             re.findall(r"`((?:[\w.-]+/)+[\w.-]*)`", readme)):
    assert (root / name).exists(), f"README.md names {name}, which is not there"
assert len(readme.splitlines()) < 110, "README.md should stay a page"
