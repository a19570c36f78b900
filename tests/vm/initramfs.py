"""An initramfs: files in the "newc" form of cpio. The kernel unpacks several that lie behind each other, each packed by
gzip or not."""

import gzip
import pathlib
import stat

# /lib and its like are links into /usr, as Debian has them.
MERGED = {name: f"usr/{name}" for name in ("bin", "sbin", "lib", "lib64")}


class Initramfs:
    def __init__(self):
        self._entries: dict[str, tuple[int, bytes, tuple[int, int]]] = {}

    def directory(self, path: str, mode: int = 0o755) -> None:
        self._add(path, stat.S_IFDIR | mode)

    def file(self, path: str, content: bytes | str, mode: int = 0o644) -> None:
        self._add(path, stat.S_IFREG | mode, content.encode() if isinstance(content, str) else content)

    def copy(self, path: str, source: pathlib.Path) -> None:
        self.file(path, source.read_bytes(), stat.S_IMODE(source.stat().st_mode))

    def link(self, path: str, target: str) -> None:
        self._add(path, stat.S_IFLNK | 0o777, target.encode())

    def device(self, path: str, major: int, minor: int) -> None:
        self._add(path, stat.S_IFCHR | 0o600, device=(major, minor))

    def merge(self) -> None:
        for name, target in MERGED.items():
            self.directory(target)
            self._entries[name] = (stat.S_IFLNK | 0o777, target.encode(), (0, 0))

    def _add(self, path: str, mode: int, content: bytes = b"", device: tuple[int, int] = (0, 0)) -> None:
        first, _, rest = path.strip("/").partition("/")
        name = f"{MERGED[first]}/{rest}" if rest and first in MERGED else f"{first}/{rest}".strip("/")
        above = name.rpartition("/")[0]
        if above and above not in self._entries:
            self.directory(above)
        self._entries[name] = (mode, content, device)

    def packed(self, level: int = 1) -> bytes:
        parts = [self._record(number, name, *entry) for number, (name, entry) in enumerate(self._entries.items(), 1)]
        return gzip.compress(b"".join(parts) + self._record(0, "TRAILER!!!", 0, b"", (0, 0)), level, mtime=0)

    @staticmethod
    def _record(number: int, name: str, mode: int, content: bytes, device: tuple[int, int]) -> bytes:
        def padded(data: bytes) -> bytes:
            return data + bytes(-len(data) % 4)

        text = name.encode() + b"\0"
        links = 2 if stat.S_ISDIR(mode) else 1
        # inode, mode, user, group, links, time, size, device of the file, device that it is, name's size, no checksum
        fields = (number, mode, 0, 0, links, 0, len(content), 0, 0, *device, len(text), 0)
        head = b"070701" + b"".join(b"%08X" % field for field in fields)
        return padded(head + text) + padded(content)
