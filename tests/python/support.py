"""What the tests of the module have in common: a folder of their own, pictures, processes."""

import os
import shutil
import subprocess
import sys
import tempfile
import unittest
import zlib

import qvthumbs

PROGRAM = os.environ["QVTHUMBS_PROGRAM"]
SAMPLES = os.environ["QVTHUMBS_SAMPLES"]
TIMEOUT = 120

RED = (200, 30, 40)
GREEN = (20, 180, 60)


def write_picture(path, colour=RED, width=64, height=48):
    """A PPM of one colour."""
    with open(path, "wb") as file:
        file.write(b"P6\n%d %d\n255\n" % (width, height) + bytes(colour) * (width * height))
    return path


def write_png(path, body=None):
    """A grey PNG of 8 x 8; or one whose compressed pixels are `body`."""

    def chunk(name, data):
        return len(data).to_bytes(4, "big") + name + data + zlib.crc32(name + data).to_bytes(4, "big")

    header = (8).to_bytes(4, "big") * 2 + bytes([8, 0, 0, 0, 0])
    pixels = zlib.compress((b"\0" + b"\x80" * 8) * 8) if body is None else body
    with open(path, "wb") as file:
        file.write(b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) + chunk(b"IDAT", pixels) + chunk(b"IEND", b""))
    return path


def run_program(*arguments):
    return subprocess.run([PROGRAM, *arguments], stdout=subprocess.PIPE, timeout=TIMEOUT, check=True).stdout


def without_leak_check():
    """The environment for processes whose end the checker cannot judge: forked ones have none of its threads."""
    options = os.environ.get("ASAN_OPTIONS", "")
    return dict(os.environ, ASAN_OPTIONS=options + ":detect_leaks=0")


def start_python(code, *arguments, **options):
    """Another interpreter that runs the code, with the tests' environment and what a sanitizer needs."""
    return subprocess.Popen(
        [sys.executable, "-c", code, *arguments], stdout=subprocess.PIPE, stderr=subprocess.PIPE, **options
    )


def run_python(code, *arguments, **options):
    """Returns exit status, standard output and standard error."""
    process = start_python(code, *arguments, **options)
    try:
        out, err = process.communicate(timeout=TIMEOUT)
    except subprocess.TimeoutExpired:
        process.kill()
        process.communicate()
        raise
    return process.returncode, out.decode(), err.decode()


class FolderTestCase(unittest.TestCase):
    """Tests with a folder, pictures in it and a database."""

    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix="qv-python-")
        self.addCleanup(shutil.rmtree, self.folder)
        self.database = self.path("lab.db")

    def path(self, name):
        return os.path.join(self.folder, name)

    def picture(self, name="cells.ppm", colour=RED, **size):
        return write_picture(self.path(name), colour, **size)

    def pictures(self, count):
        return [self.picture(f"cells {number}.ppm", (number % 256, 90, number // 256)) for number in range(count)]

    def open(self, **options):
        db = qvthumbs.open(self.database, **options)
        self.addCleanup(db.close)
        return db

    def assertColour(self, picture, colour):
        """In the middle, as far as JPEG keeps it."""
        middle = picture[picture.shape[0] // 2, picture.shape[1] // 2]
        self.assertLess(max(abs(int(a) - b) for a, b in zip(middle, colour)), 12, f"{middle} is not {colour}")
