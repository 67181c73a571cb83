import datetime
import glob
import json
import os
import subprocess
import unittest

import qvthumbs
from support import SAMPLES, FolderTestCase, run_program


class RecordsTest(FolderTestCase):
    """What the module tells is what the program tells."""

    def setUp(self):
        super().setUp()
        self.samples = self.path("samples")
        subprocess.run([SAMPLES, "--count", "0", "--size", "5", self.samples], stdout=subprocess.DEVNULL, check=True)

    def program_says(self, *arguments):
        return json.loads(run_program(*arguments, "--json", "--db", self.database))

    def images(self):
        return sorted(glob.glob(os.path.join(glob.escape(self.samples), "**", "*.ome.tif"), recursive=True))

    def test_info_is_what_the_program_prints(self):
        for path in self.images()[:3] + [self.picture()]:
            (printed,) = self.program_says("info", path)
            del printed["file"]
            with self.open() as db:
                told = db.info(path)
            self.assertEqual(told, printed)
            self.assertEqual(list(told), list(printed))

    def test_info_of_what_is_no_image_is_an_error(self):
        db = self.open()
        with self.assertRaises(qvthumbs.UnreadableError) as raised:
            db.info("none.tif")
        self.assertEqual(raised.exception.path, "none.tif")
        with self.assertRaises(qvthumbs.UnsupportedError):
            db.info(__file__)

    def test_experiments_are_what_the_program_lists(self):
        run_program("experiments", "add", "--db", self.database, *self.with_loops())
        listed = self.program_says("experiments", "list")
        db = self.open()
        self.assertEqual(db.experiments(), listed)
        number = listed[0]["experiment"]
        self.assertEqual(db.experiment(number), self.program_says("experiments", "show", str(number)))
        with self.assertRaises(KeyError):
            db.experiment(12345)

    def with_loops(self):
        with self.open() as db:
            found = [path for path in self.images() if max(db.info(path)["loops"].values()) > 1]
        self.assertTrue(found)
        return found[:3]

    def test_history_is_what_the_program_lists(self):
        path, other = self.picture(), self.picture("other.ppm")
        record = ("history", "add", "--db", self.database, "--user")
        run_program(*record, "anna", "--time", "2024-05-01T12:00:00Z", path)
        run_program(*record, "björn", "--time", "2024-05-02T12:00:00Z", other)
        with self.open() as db:
            everything = db.history()
            self.assertEqual([entry["user"] for entry in everything], ["anna", "björn"])
            self.assertEqual([entry["file"] for entry in db.history("björn")], [other])
            for since in ("2024-05-02", datetime.date(2024, 5, 2), datetime.datetime(2024, 5, 2, 0, 0)):
                self.assertEqual(db.history(since=since), everything[1:])
                self.assertEqual(db.history(until=since), everything[:1])
            zoned = datetime.datetime(2024, 5, 2, 14, 0, tzinfo=datetime.timezone(datetime.timedelta(hours=2)))
            self.assertEqual(db.history(since=zoned), everything[1:])
            self.assertEqual(db.history("nobody"), [])
            users = db.users()
        self.assertEqual(everything, self.program_says("history", "list"))
        self.assertEqual(users, self.program_says("history", "users"))

    def test_a_record_stands_in_the_history(self):
        (path,) = self.with_loops()[:1]
        with self.open() as db:
            recorded = db.record(path, "anna", time="2024-05-01T12:00:00Z")
            self.assertEqual(recorded["timeSource"], "given")
            (entry,) = db.history()
            self.assertEqual(entry, {"acquired": "2024-05-01T12:00:00Z", "user": "anna", "file": path,
                                     "experiment": recorded["experiment"]})
            self.assertEqual(db.experiment(recorded["experiment"])["acquired"], "2024-05-01T12:00:00Z")
            self.assertEqual(db.record(path, "anna")["timeSource"], "recorded")
        self.assertEqual(len(self.program_says("history", "list")), 1)

    def test_what_cannot_be_recorded_is_refused(self):
        path = self.picture()
        db = self.open()
        db.record(path, "anna")
        with self.assertRaises(qvthumbs.ThumbnailError) as raised:
            db.record(path, "björn")
        self.assertIn("another user, anna", str(raised.exception))
        with self.assertRaises(qvthumbs.UnreadableError):
            db.record(self.path("none.tif"), "anna")
        with self.assertRaises(ValueError):
            db.record(path, "")
        with self.assertRaises(ValueError):
            db.record(path, "anna", experiment=99)
        self.assertEqual(len(db.history()), 1)

    def test_what_is_no_time_is_refused(self):
        with self.assertRaises(ValueError):
            self.open().history(since="yesterday evening")

    def test_a_new_database_has_empty_books(self):
        db = self.open()
        self.assertEqual((db.history(), db.users(), db.experiments()), ([], [], []))


if __name__ == "__main__":
    unittest.main()
