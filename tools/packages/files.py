"""What the packages are as files, before anybody installs them."""
import json
import os
import re
import shutil

from packages.outcome import Skip
from packages.tree import TOP, run

NEXT = "99.0.0"


class Files:
    """Needs: first, second, next, scratch, version."""

    def builds(self):
        fresh = {**os.environ, "CCACHE_DISABLE": "1"}
        for directory, words, environment in ((self.first, [], fresh), (self.second, [], fresh),
                                              (self.next, ["--debian", "--as", NEXT], None)):
            if not list(directory.glob("*.deb")):
                run(TOP / "package", "--output", directory, *words, env=environment)

    def same_bytes(self):
        names = sorted(file.name for file in self.first.iterdir())
        assert names == sorted(file.name for file in self.second.iterdir()), names
        assert len(names) == 5, names
        for name in names:
            assert (self.first / name).read_bytes() == (self.second / name).read_bytes(), f"{name} differs"
        return f"{len(names)} files, built {self.distance():.0f} s apart"

    def distance(self):
        return abs(next(self.second.glob("orvapp_*")).stat().st_mtime - next(self.first.glob("orvapp_*")).stat().st_mtime)

    def released(self):
        return run(TOP / "tools/same_release", "orvApp", timeout=1800).splitlines()[-1]

    def lintian(self):
        said = run("lintian", "--allow-root", "--fail-on", "error,warning", *self.first.glob("*.deb"))
        assert not re.search(r"^[EW]: ", said, re.M), said

    def own_platform(self):
        place = self.scratch / "dev"
        run("dpkg-deb", "-x", next(self.first.glob("orv-dev_*.deb")), place)
        example = place / "usr/share/doc/orv-dev/examples/own_platform"
        run("cmake", "-S", example, "-B", place / "build", f"-DCMAKE_PREFIX_PATH={place}/usr")
        run("cmake", "--build", place / "build")
        assert run(place / "build/own_daemon", "--version") == f"orvApp {self.version}\n"
        said = run(place / "build/own_daemon", env={"HSB_ROOT": str(place)})
        assert said == "own platform: there is no bus yet\n", said

    def powerpc(self):
        run("tar", "-xf", next(self.first.glob("*-powerpc.tar.gz")), "-C", self.scratch)
        place = next(self.scratch.glob("*-powerpc"))
        kind = run("powerpc-linux-gnu-readelf", "-hS", place / "bin/orvApp")
        assert "PowerPC" in kind and "big endian" in kind and ".symtab" not in kind, kind
        assert "-Os" in (place / "BUILD-OPTIONS").read_text() and "_TIME_BITS=64" in (place / "BUILD-OPTIONS").read_text()
        if not shutil.which("qemu-ppc-static"):
            raise Skip("there is no qemu-ppc-static to run it")
        said = run("qemu-ppc-static", "-L", "/usr/powerpc-linux-gnu", place / "bin/orvApp", "--version")
        assert said == f"orvApp {self.version}\n", said

    def plants(self):
        """With the packages' programs, as two users of this machine."""
        place = self.scratch / "programs"
        for name in ("orvapp", "orv-switch"):
            run("dpkg-deb", "-x", next(self.first.glob(f"{name}_*.deb")), place)
        os.replace(place / "usr/libexec/orv/switchctl", place / "usr/bin/switchctl")
        return run(TOP / "tools/try_plants", place / "usr/bin").strip()

    def bill(self):
        bill = json.loads(next(self.first.glob("*.spdx.json")).read_text())
        sums = {one["packageFileName"]: one["checksums"][0]["checksumValue"] for one in bill["packages"] if "checksums" in one}
        for file in [*self.first.glob("*.deb"), *self.first.glob("*.tar.gz")]:
            assert sums[file.name] == run("sha256sum", file).split()[0], file.name
        names = {one["name"] for one in bill["packages"]}
        assert {"libsystemd0", "libsqlite3-0", "nlohmann-json3-dev", "libcli11-dev"} <= names, names
