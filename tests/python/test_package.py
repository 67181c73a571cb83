import glob
import inspect
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

import qvthumbs
from support import TIMEOUT, FolderTestCase


class PackageTest(FolderTestCase):
    def test_everything_public_explains_itself(self):
        for name in qvthumbs.__all__:
            thing = getattr(qvthumbs, name)
            if name == "__version__":
                continue
            self.assertTrue(inspect.getdoc(thing), name)
            for member, value in vars(thing).items() if inspect.isclass(thing) else ():
                if not member.startswith("_") and callable(getattr(thing, member, None)):
                    self.assertTrue(inspect.getdoc(value), f"{name}.{member}")

    def test_everything_public_has_types(self):
        for call in [qvthumbs.open, qvthumbs.gallery] + [
            value for name, value in vars(qvthumbs.Database).items() if inspect.isfunction(value) and name[0] != "_"
        ]:
            signature = inspect.signature(call)
            for parameter in signature.parameters.values():
                self.assertTrue(parameter.name == "self" or parameter.annotation is not parameter.empty, call)
            self.assertIsNot(signature.return_annotation, signature.empty, call)
        self.assertTrue((pathlib.Path(qvthumbs.__file__).parent / "py.typed").exists())

    def test_the_hints_name_what_the_extension_has(self):
        hints = (pathlib.Path(qvthumbs.__file__).parent / "_service.pyi").read_text()
        for name in vars(qvthumbs._service):
            if not name.startswith("__"):
                self.assertRegex(hints, rf"\b{name}\b")

    def test_an_installed_module_is_imported_and_knows_its_version(self):
        prefix = self.path("prefix")
        subprocess.run(
            ["cmake", "--install", os.environ["QVTHUMBS_BUILD"], "--component", "python", "--prefix", prefix],
            stdout=subprocess.DEVNULL, timeout=TIMEOUT, check=True,
        )
        (package,) = glob.glob(os.path.join(prefix, "lib", "python3*", "dist-packages"))
        self.install_libraries(prefix)
        code = (
            "import sys, importlib.metadata, qvthumbs; print(qvthumbs.__file__); print(qvthumbs.__version__);"
            "print(importlib.metadata.version('qvthumbs'))\n"
            "with qvthumbs.open(sys.argv[1]) as db: print(db.thumbnail(sys.argv[2]).shape[2])"
        )
        environment = dict(os.environ, PYTHONPATH=package)
        out = subprocess.run(
            [sys.executable, "-c", code, self.database, self.picture()],
            env=environment, stdout=subprocess.PIPE, timeout=TIMEOUT, check=True, text=True, cwd="/",
        ).stdout.split("\n")
        self.assertEqual(out[0], os.path.join(package, "qvthumbs", "__init__.py"))
        self.assertEqual(out[1:4], [qvthumbs.__version__, qvthumbs.__version__, "3"])

    def install_libraries(self, prefix):
        """As the whole installation would lay them, but without what tests do not build."""
        folder = os.path.join(prefix, "lib", "qvthumbs")
        os.makedirs(folder)
        built = os.path.join(os.environ["QVTHUMBS_BUILD"], "lib")
        for name in os.listdir(built):
            if ".so" in name or name == "qvthumbs-decoder":
                shutil.copy2(os.path.join(built, name), folder, follow_symlinks=True)


if __name__ == "__main__":
    unittest.main()
