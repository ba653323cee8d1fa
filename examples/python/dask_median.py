"""A 5x5 median over an image too large to hold as one array.

Dask cuts the image into chunks; map_overlap gives each chunk a halo of
the window's reach (2 pixels) from its neighbours, zol.median_filter
filters the padded chunk, and the halo is cut off again. At the image's
own edges the halo is the constant 0, the library's default border, so
the result equals one median_filter call over the whole image.

    PYTHONPATH=build/dev/python /usr/bin/python3 examples/python/dask_median.py
"""
import dask
import dask.array as da
import numpy as np
import zol

SIZE = (5, 5)
REACH = (SIZE[1] // 2, SIZE[0] // 2)  # rows, columns beyond the centre


def median(image, border=None):
    """The 5x5 median of a 2-D dask array, chunk by chunk. border None reads
    zeros beyond the image's edges, "replicate" the nearest edge pixel."""
    return image.map_overlap(
        lambda block: zol.median_filter(block, SIZE, border=border),
        depth=REACH,
        boundary="nearest" if border == "replicate" else 0,
        dtype=image.dtype,
    )


def main():
    # 20000 x 20000 bytes made lazily in 2000 x 2000 chunks: no piece of the
    # program holds more than a few chunks at once.
    rng = da.random.RandomState(1)
    image = rng.randint(0, 256, size=(20000, 20000), chunks=2000).astype(np.uint8)
    filtered = median(image)
    # Only a corner is computed here; .compute() or .store() takes it all.
    with dask.config.set(scheduler="threads"):
        corner = filtered[:2500, :2500].compute()
    print(corner.shape, corner.dtype, corner[:3, :6])


if __name__ == "__main__":
    main()
