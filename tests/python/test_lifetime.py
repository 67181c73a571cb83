import gc
import itertools
import json
import os
import signal
import sqlite3
import subprocess
import threading
import unittest

import qvthumbs
from support import RED, TIMEOUT, FolderTestCase, run_program, run_python, start_python, without_leak_check

ENDLESS = """
import itertools, sys, qvthumbs
db = qvthumbs.open(sys.argv[1])
for number, _ in enumerate(db.iter_thumbnails(itertools.repeat(sys.argv[2]))):
    if number == 100: print("going", flush=True)
"""


class ClosingTest(FolderTestCase):
    def test_a_closed_database_says_so(self):
        path = self.picture()
        db = self.open()
        results = db.iter_thumbnails(itertools.repeat(path))
        next(results)
        db.close()
        db.close()
        self.assertTrue(db.closed)
        calls = [
            lambda: db.thumbnail(path),
            lambda: db.thumbnails([path]),
            lambda: next(results),
            lambda: db.jpeg(path),
            lambda: db.info(path),
            db.history,
            lambda: db.record(path, "anna"),
            db.users,
            db.experiments,
            lambda: db.experiment(1),
            lambda: db.gallery([path]),
            db.messages,
        ]
        for call in calls:
            with self.assertRaises(qvthumbs.ClosedError):
                call()

    def test_a_context_closes(self):
        with self.open() as db:
            self.assertFalse(db.closed)
        self.assertTrue(db.closed)

    def test_a_dropped_database_is_closed(self):
        path = self.picture()
        db = qvthumbs.open(self.database)
        results = db.iter_thumbnails(itertools.repeat(path))
        next(results)
        del db, results
        gc.collect()
        with qvthumbs.open(self.path("other.db")) as other:
            self.assertColour(other.thumbnail(path), RED)

    def test_the_same_database_may_be_opened_twice(self):
        path = self.picture()
        first, second = self.open(), self.open()
        first.close()
        with self.assertRaises(qvthumbs.ClosedError):
            first.thumbnail(path)
        self.assertColour(second.thumbnail(path), RED)

    def test_another_one_or_other_settings_are_refused_until_it_is_closed(self):
        db = self.open()
        with self.assertRaises(qvthumbs.DatabaseError) as raised:
            qvthumbs.open(self.path("other.db"))
        self.assertIn(self.database, str(raised.exception))
        with self.assertRaises(qvthumbs.DatabaseError):
            self.open(high_quality=True)
        db.close()
        self.assertFalse(self.open(high_quality=True).closed)

    def test_a_waiting_thread_hears_of_the_closing(self):
        path = self.picture()
        db = self.open()
        begun, heard = threading.Event(), []

        def wait():
            try:
                for _ in db.iter_thumbnails(itertools.repeat(path)):
                    begun.set()
            except qvthumbs.ClosedError as error:
                heard.append(error)

        threads = [threading.Thread(target=wait) for _ in range(3)]
        for thread in threads:
            thread.start()
        self.assertTrue(begun.wait(TIMEOUT))
        db.close()
        for thread in threads:
            thread.join(TIMEOUT)
        self.assertEqual(len(heard), 3)


class ThreadsTest(FolderTestCase):
    def test_threads_share_a_database(self):
        paths = self.pictures(40)
        db = self.open()
        failures = []

        def work(number):
            try:
                for path, picture, error in db.iter_thumbnails(paths[number:] + paths[:number]):
                    self.assertIsNone(error)
                    self.assertColour(picture, (paths.index(path), 90, 0))
                self.assertEqual(db.info(paths[number])["width"], 64)
            except BaseException as failure:
                failures.append(failure)

        threads = [threading.Thread(target=work, args=(number,)) for number in range(6)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join(TIMEOUT)
        self.assertEqual(failures, [])

    def test_one_that_gives_up_takes_nothing_from_the_others(self):
        paths = self.pictures(60)
        db = self.open()
        got = []
        other = threading.Thread(target=lambda: got.extend(db.iter_thumbnails(paths)))
        leaving = db.iter_thumbnails(paths)
        next(leaving)
        other.start()
        leaving.close()
        other.join(TIMEOUT)
        self.assertEqual(len(got), 60)

    def test_the_interpreter_works_on_while_one_waits(self):
        paths = self.pictures(60)
        db = self.open()
        counted = []
        stop = threading.Event()

        def count():
            while not stop.is_set():
                counted.append(None)

        counter = threading.Thread(target=count)
        counter.start()
        db.thumbnails(paths)
        stop.set()
        counter.join(TIMEOUT)
        self.assertGreater(len(counted), 1000)

    def test_a_database_may_be_opened_by_one_thread_and_closed_by_another(self):
        opened = []
        thread = threading.Thread(target=lambda: opened.append(self.open()))
        thread.start()
        thread.join(TIMEOUT)
        self.assertColour(opened[0].thumbnail(self.picture()), RED)


class ProcessesTest(FolderTestCase):
    def test_another_process_shares_the_database(self):
        ours, theirs = self.pictures(30), [self.picture(f"other {number}.ppm") for number in range(30)]
        db = self.open()
        results = db.iter_thumbnails(ours)
        next(results)
        program = subprocess.Popen(
            [os.environ["QVTHUMBS_PROGRAM"], "make", "--db", self.database, *theirs], stdout=subprocess.DEVNULL
        )
        self.assertEqual(len(list(results)), 29)
        self.assertEqual(program.wait(TIMEOUT), 0)
        for path in ours + theirs:
            self.assertTrue(db.jpeg(path))
        report = json.loads(run_program("make", "--db", self.database, "--json", *ours, *theirs))
        self.assertEqual((report["made"], report["alreadyCached"]), (0, 60))

    def test_a_forked_process_is_told_to_start_anew(self):
        path = self.picture()
        code = """
import os, sys, qvthumbs
db = qvthumbs.open(sys.argv[1])
results = db.iter_thumbnails([sys.argv[2]] * 3)
next(results)
child = os.fork()
if child == 0:
    for call in (lambda: db.thumbnail(sys.argv[2]), lambda: next(results), lambda: qvthumbs.open(sys.argv[1])):
        try:
            call()
        except qvthumbs.ClosedError as error:
            print(str(error)[:45], flush=True)
    db.close()
    sys.exit(7)
print(os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]), flush=True)
print(len(list(results)), db.thumbnail(sys.argv[2]).shape[2])
"""
        status, out, err = run_python(code, self.database, path, env=without_leak_check())
        self.assertEqual((status, err), (0, ""))
        refused = "the database was opened before this process w"
        self.assertEqual(out.splitlines(), [refused] * 3 + ["7", "2 3"])

    def test_a_process_that_was_forked_before_opening_works(self):
        code = """
import os, sys, qvthumbs
with qvthumbs.open(sys.argv[1]) as db:
    db.thumbnail(sys.argv[2])
child = os.fork()
with qvthumbs.open(sys.argv[1]) as db:
    assert db.thumbnail(sys.argv[2]).shape[2] == 3
if child: sys.exit(os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]))
"""
        self.assertEqual(
            run_python(code, self.database, self.picture(), env=without_leak_check()), (0, "", "")
        )

    def test_ctrl_c_ends_the_waiting(self):
        process = start_python(ENDLESS, self.database, self.picture())
        self.addCleanup(process.kill)
        process.stdout.readline()
        process.send_signal(signal.SIGINT)
        _, err = process.communicate(timeout=TIMEOUT)
        self.assertIn(b"KeyboardInterrupt", err)
        self.assertEqual(process.returncode, -signal.SIGINT)
        run_program("verify", "--db", self.database)

    def test_an_interrupted_database_is_used_on(self):
        code = """
import itertools, os, signal, sys, threading, qvthumbs
db = qvthumbs.open(sys.argv[1])
threading.Timer(0.3, os.kill, (os.getpid(), signal.SIGINT)).start()
try:
    for _ in db.iter_thumbnails(itertools.repeat(sys.argv[2])): pass
except KeyboardInterrupt:
    print(db.thumbnail(sys.argv[2]).shape[2])
"""
        self.assertEqual(run_python(code, self.database, self.picture()), (0, "3\n", ""))


class InterpreterExitTest(FolderTestCase):
    """Each ends with something in flight."""

    def exits(self, code):
        paths = self.pictures(20)
        preamble = "import itertools, sys, threading, qvthumbs\ndb = qvthumbs.open(sys.argv[1])\npaths = sys.argv[2:]\n"
        return run_python(preamble + code, self.database, *paths)

    def test_with_an_open_database(self):
        self.assertEqual(self.exits("db.thumbnails(paths)"), (0, "", ""))

    def test_with_an_unfinished_loop(self):
        self.assertEqual(self.exits("results = db.iter_thumbnails(itertools.cycle(paths)); next(results)"), (0, "", ""))

    def test_with_a_daemon_thread_that_waits(self):
        code = """
begun = threading.Event()
def wait():
    try:
        for _ in db.iter_thumbnails(itertools.cycle(paths)): begun.set()
    except qvthumbs.ClosedError: pass
for _ in range(3): threading.Thread(target=wait, daemon=True).start()
begun.wait()
"""
        self.assertEqual(self.exits(code), (0, "", ""))

    def test_with_an_exception(self):
        status, _, err = self.exits("results = db.iter_thumbnails(paths); next(results); raise LookupError('no more')")
        self.assertEqual(status, 1)
        self.assertIn("LookupError: no more", err)

    def test_with_references_in_a_circle(self):
        code = "circle = [db, db.iter_thumbnails(paths)]; next(circle[1]); circle.append(circle); del db, circle"
        self.assertEqual(self.exits(code), (0, "", ""))

    def test_through_os_exit(self):
        self.assertEqual(self.exits("db.thumbnails(paths); import os; os._exit(3)")[0], 3)


class OpeningTest(FolderTestCase):
    def failure(self, path, **options):
        with self.assertRaises(qvthumbs.DatabaseError) as raised:
            qvthumbs.open(path, **options)
        self.assertNotIn("--db", str(raised.exception))
        return str(raised.exception)

    def test_what_is_no_database_is_refused(self):
        path = self.picture()
        self.assertIn(path, self.failure(path))

    def test_a_missing_folder_is_named(self):
        self.assertIn(self.path("none"), self.failure(self.path("none/lab.db")))

    def test_another_programs_database_is_left_alone(self):
        with sqlite3.connect(self.database) as other:
            other.execute("CREATE TABLE visits (place TEXT)")
        other.close()
        self.assertIn("another program's", self.failure(self.database))

    def test_one_that_is_only_read_must_be_there(self):
        self.failure(self.database, writable=False)
        path = self.picture()
        with self.open() as db:
            db.thumbnail(path)
        with self.open(writable=False) as db:
            self.assertColour(db.thumbnail(path), RED)

    def test_after_a_failure_another_is_opened(self):
        self.failure(self.folder)
        self.assertColour(self.open().thumbnail(self.picture()), RED)

    def test_each_view_has_a_database_of_its_own(self):
        with self.open():
            pass
        self.failure(self.database, planes="max")
        with qvthumbs.open(self.path("max.db"), planes="max", channels=[1, 2]) as db:
            self.assertColour(db.thumbnail(self.picture()), RED)

    def test_a_wrong_view_is_refused(self):
        self.failure(self.database, planes="deepest")


if __name__ == "__main__":
    unittest.main()
