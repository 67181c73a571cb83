import os
import re
import unittest

import qvthumbs
from support import FolderTestCase, write_picture


class GalleryTest(FolderTestCase):
    def test_it_shows_itself_without_the_database(self):
        paths = self.pictures(3)
        with self.open() as db:
            gallery = db.gallery(paths)
        page = gallery._repr_html_()
        self.assertEqual(page.count("data:image/jpeg;base64,/9j/"), 3)
        self.assertEqual(re.findall(r"<figcaption[^>]*>([^<]*)", page), [f"cells {number}.ppm" for number in range(3)])
        self.assertEqual((len(gallery), repr(gallery)), (3, "<qvthumbs.Gallery of 3>"))

    def test_failures_stand_with_their_reasons(self):
        gallery = self.open().gallery([self.picture(), self.path("none.ppm")])
        self.assertIn("No such file", gallery._repr_html_())
        self.assertEqual(repr(gallery), "<qvthumbs.Gallery of 2, 1 failed>")

    def test_names_cannot_leave_their_place(self):
        hostile = os.fsencode(self.folder) + b"/<script>\"'&\xe9.ppm"
        write_picture(hostile)
        page = self.open().gallery([hostile])._repr_html_()
        self.assertNotIn("<script>", page)
        self.assertIn("&lt;script&gt;&quot;&#x27;&amp;", page)
        page.encode("utf-8")

    def test_captions_may_be_left_out(self):
        self.assertNotIn("figcaption", self.open().gallery([self.picture()], captions=False)._repr_html_())

    def test_a_page_of_nothing_is_a_page(self):
        self.assertEqual(self.open().gallery([])._repr_html_(), "<div></div>")

    def test_it_opens_a_database_by_itself(self):
        gallery = qvthumbs.gallery(self.pictures(2), self.database)
        self.assertEqual(gallery._repr_html_().count("<img"), 2)


if __name__ == "__main__":
    unittest.main()
