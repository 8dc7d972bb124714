"""The peers' programs, fetched and unpacked beside the build.

Debian's packages are downloaded and unpacked, never installed: mail servers
exclude each other as packages, their installation starts daemons and rewrites
the machine's mail configuration, and a benchmark has no business there.
"""

import os
import shutil
import subprocess
from pathlib import Path


class Unavailable(Exception):
    """A peer that cannot be had or run here; the text says why."""


def run_quietly(command, **options):
    """Runs a command; Unavailable with the end of its output when it fails."""
    done = subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, text=True, check=False, **options)
    if done.returncode != 0:
        last = done.stdout.strip().splitlines()[-1:] or ["no output"]
        raise Unavailable(f"{command[0]} failed: {last[0]}")
    return done.stdout


def debian_root(cache: Path, package: str) -> Path:
    """Directory with the package, and what it needs that is missing here, unpacked."""
    root = cache / "debian" / package
    if root.is_dir():
        return root
    if not shutil.which("apt-get"):
        raise Unavailable("needs apt-get (Debian)")
    archives = cache / "archives" / package
    (archives / "partial").mkdir(parents=True, exist_ok=True)
    fetch = ["apt-get", "install", "-y", "--reinstall", "--download-only",
             "--no-install-recommends", "-o", f"Dir::Cache::archives={archives}", package]
    try:
        run_quietly(fetch)
    except Unavailable:
        run_quietly(["apt-get", "update"])
        run_quietly(fetch)

    unpacked = root.with_suffix(".part")
    shutil.rmtree(unpacked, ignore_errors=True)
    unpacked.mkdir(parents=True)
    for archive in sorted(archives.glob("*.deb")):
        run_quietly(["dpkg-deb", "-x", str(archive), str(unpacked)])
    unpacked.rename(root)
    return root


def node_modules(cache: Path, package: str) -> Path:
    """Directory whose node_modules holds the npm package."""
    home = cache / "npm" / package
    if (home / "node_modules" / package).is_dir():
        return home
    need_tools("node", "npm")
    home.mkdir(parents=True, exist_ok=True)
    run_quietly(["npm", "install", "--no-audit", "--no-fund", "--ignore-scripts",
                 "--prefix", str(home), package])
    return home


def need_tools(*names: str) -> None:
    """Installs the Debian packages of ordinary tools that are missing."""
    packages = {"node": "nodejs", "ninja": "ninja-build", "Xvfb": "xvfb", "perf": "linux-perf"}
    missing = [packages.get(name, name) for name in names if not shutil.which(name)]
    if not missing:
        return
    environment = dict(os.environ, DEBIAN_FRONTEND="noninteractive")
    install = ["apt-get", "install", "-y", "--no-install-recommends", *missing]
    try:
        run_quietly(install, env=environment)
    except Unavailable:
        run_quietly(["apt-get", "update"])
        run_quietly(install, env=environment)


def build_server(repository: Path, cache: Path) -> Path:
    """The optimized headless server, built apart from every other build."""
    return _build(repository, cache / "server", "qlnsmtpd", "-DQLN_DESKTOP=OFF")


def build_desktop(repository: Path, cache: Path) -> Path:
    """The optimized server with its window."""
    return _build(repository, cache / "desktop", "qlnsmtp", "-DQLN_DESKTOP=ON")


def _build(repository: Path, build: Path, target: str, *options: str) -> Path:
    need_tools("cmake", "ninja", "g++")
    run_quietly(["cmake", "-S", str(repository), "-B", str(build), "-G", "Ninja",
                 "-DCMAKE_BUILD_TYPE=RelWithDebInfo",
                 "-DCMAKE_CXX_FLAGS_RELWITHDEBINFO=-O2 -g -DNDEBUG", "-DQLN_TESTS=OFF", *options])
    run_quietly(["cmake", "--build", str(build), "--target", target])
    return build / "bin" / target
