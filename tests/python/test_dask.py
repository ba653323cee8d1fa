"""A median filter applied chunk by chunk with dask equals one call."""
import os
import sys

import numpy as np
import pytest
import zol
from conftest import rand

da = pytest.importorskip("dask.array")
import dask  # noqa: E402

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "..", "examples", "python"))
from dask_median import median  # noqa: E402


@pytest.mark.parametrize("border", [None, "replicate"])
@pytest.mark.parametrize("dtype", [np.uint8, np.int16])
def test_chunked_median_equals_one_call(border, dtype):
    image = rand((61, 47), dtype, seed=3)
    chunked = median(da.from_array(image, chunks=(17, 13)), border=border)
    assert chunked.numblocks == (4, 4)
    with dask.config.set(scheduler="synchronous"):
        got = chunked.compute()
    np.testing.assert_array_equal(got, zol.median_filter(image, (5, 5), border=border))
