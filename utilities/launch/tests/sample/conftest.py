import pathlib
import sys

sys.path.append(str(pathlib.Path(__file__).parents[1] / "reliability"))
from shared import *  # noqa: E402, F401, F403: fixtures and hooks
