# SPDX-License-Identifier: Apache-2.0
"""readme_test.py README EXAMPLE: the one C++ program in README is EXAMPLE, without its licence."""

import pathlib
import re
import sys

readme, example = (pathlib.Path(name).read_text(encoding="utf-8") for name in sys.argv[1:])
shown = re.findall(r"^```cpp\n(.*?)^```$", readme, re.MULTILINE | re.DOTALL)
licence, _, program = example.partition("\n")
if not licence.startswith("// SPDX-") or shown != [program]:
    sys.exit(f"{sys.argv[1]} does not show {sys.argv[2]} as it is: copy it there")
