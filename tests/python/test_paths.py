import os
import pathlib
import unittest

import qvthumbs
from support import RED, FolderTestCase, write_picture


class PathsTest(FolderTestCase):
    def test_a_path_is_a_text_or_bytes_or_an_object(self):
        path = self.picture()
        db = self.open()
        for named in (path, os.fsencode(path), pathlib.Path(path)):
            self.assertColour(db.thumbnail(named), RED)
            self.assertEqual(db.info(named)["width"], 64)
            self.assertEqual([result.path for result in db.iter_thumbnails([named])], [named])

    def test_a_name_that_is_no_utf8_is_a_name(self):
        path = os.fsencode(self.folder) + b"/ze\xe9lle.ppm"
        write_picture(path)
        db = self.open()
        for named in (path, os.fsdecode(path)):
            self.assertColour(db.thumbnail(named), RED)
            self.assertEqual(db.info(named)["height"], 48)
        with self.assertRaises(qvthumbs.UnreadableError) as raised:
            db.thumbnail(b"/none/ze\xe9lle.ppm")
        self.assertEqual(raised.exception.path, "/none/ze\udce9lle.ppm")

    def test_a_database_may_have_any_name(self):
        name = os.fsencode(self.folder) + b"/l\xe4b.db"
        with qvthumbs.open(name) as db:
            db.thumbnail(self.picture())
            self.assertEqual(os.fsencode(db.path), name)
        self.assertTrue(os.path.exists(name))

    def test_a_relative_path_follows_the_present_folder(self):
        self.picture()
        db = self.open()
        before = os.getcwd()
        self.addCleanup(os.chdir, before)
        os.chdir("/")
        with self.assertRaises(qvthumbs.UnreadableError):
            db.thumbnail("cells.ppm")
        os.chdir(self.folder)
        self.assertColour(db.thumbnail("cells.ppm"), RED)
        self.assertColour(db.thumbnail("./../" + os.path.basename(self.folder) + "/cells.ppm"), RED)

    def test_one_path_is_no_list(self):
        db = self.open()
        for path in ("cells.ppm", b"cells.ppm", pathlib.Path("cells.ppm")):
            with self.assertRaises(TypeError):
                db.thumbnails(path)
            with self.assertRaises(TypeError):
                list(db.iter_thumbnails(path))

    def test_what_is_no_path_is_refused(self):
        db = self.open()
        for wrong, error in ((7, TypeError), (None, TypeError), ("", ValueError), ("a\0b", ValueError)):
            with self.assertRaises(error):
                db.thumbnail(wrong)


if __name__ == "__main__":
    unittest.main()
