#!/usr/bin/env python3
"""Compares overviews of OME-Zarr with what NumPy makes of the arrays, which zarr-python has written.

  compare_with_zarr.py THUMBNAIL_PPM

Needs python3-zarr (scripts/install_deps.sh peers). Exit status 77 without.
"""
import itertools
import os
import subprocess
import sys
import tempfile

try:
    import numcodecs
    import numpy
    import zarr
except ImportError:
    print("skipped: zarr-python is not installed")
    sys.exit(77)

HEIGHT, WIDTH = 360, 960  # twice the box


def waves(dtype):
    y, x = numpy.mgrid[0:HEIGHT, 0:WIDTH]
    value = (numpy.sin(x / 40) * numpy.cos(y / 25) + 1) / 2 + 0.05 * numpy.sin(x * 1.7 + y)
    value = (value - value.min()) / (value.max() - value.min())
    kind, size = numpy.dtype(dtype).kind, numpy.dtype(dtype).itemsize
    if kind == "f":
        return (value * 7 - 2).astype(dtype)
    if kind == "i":
        return (value * 2 ** (8 * size - 2) - 2 ** (8 * size - 3)).astype(dtype)
    return (value * (255 if size == 1 else 2 ** min(8 * size - 2, 40))).astype(dtype)


def write(folder, array, compressor, order, separator, chunks):
    group = zarr.open_group(zarr.DirectoryStore(folder, dimension_separator=separator), mode="w")
    stored = group.create_dataset("0", shape=array.shape, chunks=chunks, dtype=array.dtype, compressor=compressor,
                                  order=order, fill_value=0)
    stored[:] = array
    group.attrs["multiscales"] = [{
        "version": "0.4",
        "axes": [{"name": "y", "type": "space"}, {"name": "x", "type": "space"}],
        "datasets": [{"path": "0"}],
    }]


def expected(array):
    means = array.astype(numpy.float64).reshape(HEIGHT // 2, 2, WIDTH // 2, 2).mean(axis=(1, 3)).astype(numpy.float32)
    low, high = 0.0, 255.0
    if array.dtype.itemsize > 1 or array.dtype.kind != "u":
        ordered = numpy.sort(means, axis=None)
        last = ordered.size - 1
        low, high = (float(ordered[int(numpy.floor(share * last + 0.5))]) for share in (0.001, 0.999))
    return numpy.clip((means - low) / (high - low), 0, 1) * 255


def shown(program, folder, picture):
    subprocess.run([program, folder, picture], check=True)
    with open(picture, "rb") as file:
        header, pixels = file.read().split(b"255\n", 1)
    width, height = (int(number) for number in header.split()[1:3])
    return numpy.frombuffer(pixels, numpy.uint8).reshape(height, width, 3)


def cases():
    blosc = [numcodecs.Blosc(name, shuffle=shuffle)
             for name, shuffle in itertools.product(("lz4", "lz4hc", "blosclz", "zstd", "zlib"), (0, 1, 2))]
    others = [None, numcodecs.GZip(), numcodecs.Zlib(), numcodecs.Zstd(), numcodecs.LZ4(), numcodecs.BZ2()]
    for compressor in others + blosc:
        yield "<u2", compressor, "C", "/", (100, 128)
    for dtype in ("|u1", "|i1", ">u2", "<i2", ">i2", "<u4", ">u4", "<i4", "<u8", ">i8", "<f2", ">f2", "<f4", ">f4",
                  "<f8", ">f8"):
        yield dtype, numcodecs.Blosc(), "C", "/", (100, 128)
    for order, separator, chunks in itertools.product("CF", "./", ((360, 960), (7, 960), (64, 50))):
        yield "<u2", numcodecs.Zstd(), order, separator, chunks


def main():
    failures = 0
    with tempfile.TemporaryDirectory() as folder:
        for number, case in enumerate(cases()):
            dtype, compressor, order, separator, chunks = case
            array = waves(dtype)
            picture = os.path.join(folder, str(number))
            write(picture, array, compressor, order, separator, chunks)
            result = shown(sys.argv[1], picture, picture + ".ppm")
            difference = numpy.abs(result - expected(array)[:, :, None]).max()
            if difference > 1.5:
                failures += 1
                print("differs by %.1f: %s" % (difference, case))
    print("%d compared, %d differ" % (number + 1, failures))
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
