import os

import pytest

REPOSITORY = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))


@pytest.fixture
def examples():
    return os.path.join(REPOSITORY, "examples")
