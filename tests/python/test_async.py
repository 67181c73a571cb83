import asyncio
import itertools
import unittest

import qvthumbs
from support import RED, FolderTestCase


class AsyncTest(FolderTestCase):
    def run_async(self, coroutine):
        return asyncio.run(coroutine)

    def test_one_and_many_and_an_iterator(self):
        paths = self.pictures(30)
        db = self.open()

        async def work():
            self.assertColour(await db.thumbnail_async(paths[7]), (7, 90, 0))
            for number, picture in enumerate(await db.thumbnails_async(paths)):
                self.assertColour(picture, (number, 90, 0))
            return [result.path async for result in db.iter_thumbnails_async(paths)]

        self.assertCountEqual(self.run_async(work()), paths)

    def test_failures_arrive(self):
        good, bad = self.picture(), self.path("none.ppm")
        db = self.open()

        async def work():
            with self.assertRaises(qvthumbs.UnreadableError) as raised:
                await db.thumbnail_async(bad)
            self.assertEqual(raised.exception.path, bad)
            results = await db.thumbnails_async([bad, good], return_exceptions=True)
            self.assertIsInstance(results[0], qvthumbs.UnreadableError)
            self.assertColour(results[1], RED)

        self.run_async(work())

    def test_the_loop_runs_on_while_one_waits(self):
        paths = self.pictures(60)
        db = self.open()

        async def work():
            turns = 0
            waiting = asyncio.ensure_future(db.thumbnails_async(paths))
            while not waiting.done():
                turns += 1
                await asyncio.sleep(0)
            self.assertEqual(len(waiting.result()), 60)
            return turns

        self.assertGreater(self.run_async(work()), 100)

    def test_tasks_share_a_database(self):
        paths = self.pictures(20)
        db = self.open()

        async def work():
            return await asyncio.gather(*(db.thumbnail_async(path) for path in paths * 3))

        for number, picture in enumerate(self.run_async(work())):
            self.assertColour(picture, (number % 20, 90, 0))

    def test_a_cancelled_task_gives_up_the_rest(self):
        path = self.picture()
        read = itertools.count()
        db = self.open()

        async def endless():
            async for _ in db.iter_thumbnails_async(path for _ in read):
                pass

        async def work():
            task = asyncio.ensure_future(endless())
            for _ in range(2000):
                await asyncio.sleep(0)
            task.cancel()
            with self.assertRaises(asyncio.CancelledError):
                await task
            before = next(read)
            self.assertColour(await db.thumbnail_async(path), RED)
            self.assertEqual(next(read), before + 1)

        self.run_async(work())

    def test_what_is_asked_for_behind_a_cancelling_is_given_up(self):
        path = self.picture()
        db = self.open()
        requests = qvthumbs._requests.Requests(db._handle, [path])
        files = requests.next_files()
        requests.cancel()
        # As a thread of the loop does that is late.
        requests.add(files)
        self.assertIsNone(requests.take())
        del requests
        self.assertColour(db.thumbnail(path), RED)

    def test_a_loop_that_is_left_early_can_be_closed(self):
        paths = self.pictures(60)
        db = self.open()

        async def work():
            results = db.iter_thumbnails_async(paths)
            async for _ in results:
                break
            await results.aclose()
            return len(await db.thumbnails_async(paths))

        self.assertEqual(self.run_async(work()), 60)

    def test_a_closing_arrives(self):
        path = self.picture()
        db = self.open()

        async def work():
            with self.assertRaises(qvthumbs.ClosedError):
                async for _ in db.iter_thumbnails_async(itertools.repeat(path)):
                    db.close()
            with self.assertRaises(qvthumbs.ClosedError):
                await db.thumbnail_async(path)

        self.run_async(work())

    def test_a_timeout_cancels(self):
        path = self.picture()
        db = self.open()

        async def endless():
            async for _ in db.iter_thumbnails_async(itertools.repeat(path)):
                pass

        async def work():
            with self.assertRaises(asyncio.TimeoutError):
                await asyncio.wait_for(endless(), 0.2)

        self.run_async(work())
        self.assertColour(db.thumbnail(path), RED)


if __name__ == "__main__":
    unittest.main()
