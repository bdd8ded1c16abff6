"""Makes the package importable from the source tree and, unless
TOVREL_LIBRARY names one, uses the library of the default build directory."""

import os
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(os.path.dirname(HERE))
sys.path.insert(0, os.path.dirname(HERE))
sys.path.insert(0, os.path.join(os.path.dirname(HERE), "examples"))

_built = os.path.join(ROOT, "build", "src", "libtovrel.so")
if not os.environ.get("TOVREL_LIBRARY") and os.path.exists(_built):
    os.environ["TOVREL_LIBRARY"] = _built
