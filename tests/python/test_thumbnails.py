import contextlib
import itertools
import os
import sqlite3
import unittest

import numpy

import qvthumbs
from support import GREEN, RED, FolderTestCase, write_picture, write_png


class ThumbnailsTest(FolderTestCase):
    def test_a_thumbnail_is_an_array_of_the_callers_own(self):
        path = self.picture()
        db = self.open()
        first = db.thumbnail(path)
        self.assertEqual((first.dtype, first.shape[2], first.ndim), (numpy.uint8, 3, 3))
        self.assertAlmostEqual(first.shape[1] / first.shape[0], 64 / 48, places=1)
        self.assertColour(first, RED)
        self.assertTrue(first.flags.writeable and first.flags.c_contiguous)
        first[:] = 0
        self.assertColour(db.thumbnail(path), RED)

    def test_an_array_outlives_its_database(self):
        with self.open() as db:
            picture = db.thumbnail(self.picture())
        self.assertColour(picture, RED)

    def test_many_come_in_the_order_of_their_paths(self):
        paths = self.pictures(100)
        for number, picture in enumerate(self.open().thumbnails(paths)):
            self.assertColour(picture, (number, 90, 0))

    def test_the_same_file_may_be_asked_for_twice(self):
        path = self.picture()
        first, second = self.open().thumbnails([path, path])
        self.assertColour(first, RED)
        self.assertTrue(numpy.array_equal(first, second))
        self.assertFalse(numpy.shares_memory(first, second))

    def test_an_iterator_yields_each_once(self):
        paths = self.pictures(150)
        results = list(self.open().iter_thumbnails(paths))
        self.assertCountEqual([result.path for result in results], paths)
        self.assertTrue(all(error is None for _, _, error in results))

    def test_a_generator_is_read_only_as_far_as_needed(self):
        path = self.picture()
        read = itertools.count()
        endless = (path for _ in read)
        for _ in itertools.islice(self.open().iter_thumbnails(endless), 10):
            pass
        self.assertLess(next(read), 1000)

    def test_a_loop_that_is_left_early_withdraws_the_rest(self):
        paths = self.pictures(60)
        db = self.open()
        results = db.iter_thumbnails(paths)
        next(results)
        results.close()
        self.assertEqual(len(db.thumbnails(paths)), 60)

    def test_an_error_of_the_callers_generator_arrives(self):
        path = self.picture()

        def failing():
            yield path
            raise LookupError("no more")

        with self.assertRaises(LookupError):
            list(self.open().iter_thumbnails(failing()))

    def test_a_changed_file_gets_a_new_thumbnail(self):
        path = self.picture()
        db = self.open()
        db.thumbnail(path)
        write_picture(path, GREEN)
        os.utime(path, (2_000_000_000, 2_000_000_000))
        self.assertColour(db.thumbnail(path), GREEN)

    def test_thumbnails_are_kept_for_the_next_time(self):
        paths = self.pictures(5)
        with self.open() as db:
            db.thumbnails(paths)
        with self.open() as db:
            self.assertTrue(all(db.jpeg(path).startswith(b"\xff\xd8") for path in paths))

    def test_a_jpeg_is_made_of_what_is_not_kept(self):
        path = self.picture()
        db = self.open()
        db.thumbnail(path)
        with contextlib.closing(sqlite3.connect(self.database)) as other, other:
            other.execute("DELETE FROM cache")
        stream = db.jpeg(path)
        with open(self.path("again.jpg"), "wb") as file:
            file.write(stream)
        self.assertColour(db.thumbnail(self.path("again.jpg")), RED)

    def test_high_quality_is_larger(self):
        path = self.picture(width=1600, height=400)
        with self.open() as db:
            standard = db.thumbnail(path).shape
        with self.open(high_quality=True) as db:
            self.assertGreater(db.thumbnail(path).shape[1], standard[1])

    def test_a_thousand_are_all_given_back(self):
        paths = self.pictures(1000)
        db = self.open(in_memory=1)
        for _ in db.iter_thumbnails(paths):
            pass
        # What nobody holds makes room, so the first ones are gone from memory and come back from the database.
        self.assertColour(db.thumbnail(paths[0]), (0, 90, 0))
        # What somebody holds is never made again.
        for path in paths[::100]:
            write_picture(path, GREEN)
            os.utime(path, (2_000_000_000, 2_000_000_000))
            self.assertColour(db.thumbnail(path), GREEN)

    def test_no_paths_give_nothing(self):
        db = self.open()
        self.assertEqual(db.thumbnails([]), [])
        self.assertEqual(list(db.iter_thumbnails(iter(()))), [])


class FailuresTest(FolderTestCase):
    def failure(self, path, kind):
        with self.assertRaises(kind) as raised:
            self.open().thumbnail(path)
        self.assertEqual(raised.exception.path, path)
        self.assertIn(path, str(raised.exception))
        return raised.exception.reason

    def test_a_missing_file_is_unreadable(self):
        self.assertIn("No such file", self.failure(self.path("none.ppm"), qvthumbs.UnreadableError))

    def test_a_folder_is_unreadable(self):
        self.assertIn("is a folder", self.failure(self.folder, qvthumbs.UnreadableError))

    @unittest.skipIf(os.geteuid() == 0, "root may read everything")
    def test_a_forbidden_file_is_unreadable(self):
        path = self.picture()
        os.chmod(path, 0)
        self.assertIn("denied", self.failure(path, qvthumbs.UnreadableError))

    def test_a_broken_file_is_damaged(self):
        self.assertTrue(self.failure(write_png(self.path("broken.png"), b"not zlib"), qvthumbs.DamagedError))

    def test_a_text_is_unsupported(self):
        path = self.path("notes.txt")
        with open(path, "w") as file:
            file.write("no picture\n" * 50)
        self.assertTrue(self.failure(path, qvthumbs.UnsupportedError))

    def test_failures_stand_among_the_pictures(self):
        good, bad = self.picture(), self.path("none.ppm")
        results = self.open().thumbnails([bad, good, bad], return_exceptions=True)
        self.assertIsInstance(results[0], qvthumbs.UnreadableError)
        self.assertColour(results[1], RED)
        self.assertIsInstance(results[2], qvthumbs.UnreadableError)

    def test_one_failure_ends_a_list(self):
        paths = self.pictures(5) + [self.path("none.ppm")] + self.pictures(5)
        with self.assertRaises(qvthumbs.UnreadableError):
            self.open().thumbnails(paths)

    def test_a_file_that_is_mended_is_shown(self):
        path = write_png(self.path("cells.png"), b"not zlib")
        db = self.open()
        with self.assertRaises(qvthumbs.DamagedError):
            db.thumbnail(path)
        write_png(path)
        os.utime(path, (2_000_000_000, 2_000_000_000))
        self.assertColour(db.thumbnail(path), (128, 128, 128))

    def test_a_file_that_appears_is_shown(self):
        db = self.open()
        with self.assertRaises(qvthumbs.UnreadableError):
            db.thumbnail(self.path("cells.ppm"))
        self.assertColour(db.thumbnail(self.picture()), RED)

    def test_every_error_is_an_error_of_the_package(self):
        for kind in (qvthumbs.ClosedError, qvthumbs.DatabaseError, qvthumbs.ThumbnailError):
            self.assertTrue(issubclass(kind, qvthumbs.Error))
        for kind in (qvthumbs.UnreadableError, qvthumbs.DamagedError, qvthumbs.UnsupportedError):
            self.assertTrue(issubclass(kind, qvthumbs.ThumbnailError))


if __name__ == "__main__":
    unittest.main()
