#!/usr/bin/env python3
"""Makes the thumbnails of a list of images with Dask, and merges them.

    dask_make.py LIST DB N [SCHEDULER]

LIST is a file with the images' names, DB the file to merge the N shards into, SCHEDULER the address of a Dask scheduler;
without one the work is done by processes of this machine. LIST and DB must lie where every worker sees them.
"""
import os
import subprocess
import sys

from dask.distributed import Client

PROGRAM = os.environ.get("QVTHUMBS", "qvthumbs")


def make(images, database, number, count):
    """Makes one shard; a shard that was begun is gone on with."""
    subprocess.run([PROGRAM, "make", "--files-from", images, "--db", database, "--shard", f"{number}/{count}",
                    "--failures-ok"], check=True)
    stem, extension = os.path.splitext(database)
    return f"{stem}.{number:0{len(str(count))}}-of-{count}{extension}"


def main():
    if len(sys.argv) not in (4, 5):
        sys.exit(__doc__)
    images, database, count = os.path.abspath(sys.argv[1]), os.path.abspath(sys.argv[2]), int(sys.argv[3])
    with Client(*sys.argv[4:]) as client:
        shards = client.map(make, [images] * count, [database] * count, range(1, count + 1), [count] * count,
                            retries=3, pure=False)
        subprocess.run([PROGRAM, "merge", database, *client.gather(shards)], check=True)


if __name__ == "__main__":
    main()
