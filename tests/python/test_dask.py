"""A median filter applied chunk by chunk with dask equals one call."""
import os
import sys

import numpy as np
import pytest
import zol
from conftest import rand

da = pytest.importorskip("dask.array")
sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "..", "examples", "python"))
from dask_median import median  # noqa: E402


@pytest.mark.parametrize("border", [None, "replicate"])
def test_chunked_median_equals_one_call(border):
    image = rand((61, 47), np.int16, seed=3)
    chunked = median(da.from_array(image, chunks=(17, 13)), border=border)
    assert chunked.numblocks == (4, 4)
    got = chunked.compute(scheduler="threads")
    np.testing.assert_array_equal(got, zol.median_filter(image, (5, 5), border=border))
