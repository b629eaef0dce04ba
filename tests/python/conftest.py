import os

import pytest

import orva  # noqa: F401 - sets ORVADIR when the environment does not


@pytest.fixture
def examples():
    # The build tree's copy: the sample image is made at build time.
    return os.path.join(os.environ["ORVADIR"], "examples")
