"""The library at the end of a pipe: model_driver runs the statements, this class asks it."""

import struct
import subprocess


class LibraryDied(Exception):
    """The driver has ended in the middle of a request: a crash."""


class Answer:
    """What became of a statement: success or message, names of columns, rows of texts."""

    __slots__ = ("ok", "error", "names", "rows")

    def __init__(self, ok, error, names=(), rows=()):
        self.ok, self.error, self.names, self.rows = ok, error, list(names), list(rows)


class Library:
    def __init__(self, driver):
        self.driver = driver
        self.start()

    def start(self):
        self.process = subprocess.Popen([self.driver], stdin=subprocess.PIPE,
                                        stdout=subprocess.PIPE)

    def ask(self, command, *texts):
        parts = [text.encode("latin-1") for text in texts]
        header = " ".join([command] + [str(len(part)) for part in parts])
        try:
            self.process.stdin.write(header.encode() + b"\n" + b"".join(parts))
            self.process.stdin.flush()
            return self.read_answer()
        except (BrokenPipeError, struct.error):
            self.process.wait()
            raise LibraryDied("the library ended with status %s" % self.process.returncode)

    def read_answer(self):
        read = self.process.stdout.read
        count = struct.unpack("<I", read(4))[0]
        texts = [read(struct.unpack("<I", read(4))[0]).decode("latin-1") for _ in range(count)]
        width = int(texts[2])
        values = texts[3 + width:]
        rows = [tuple(values[i:i + width]) for i in range(0, len(values), width)] if width else []
        return Answer(texts[0] == "1", texts[1], texts[3:3 + width], rows)

    def restart(self):
        self.stop()
        self.start()

    def stop(self):
        """Ends the driver; its status tells of leaks, where the build looks for them."""
        self.process.stdin.close()
        status = self.process.wait()
        self.process.stdout.close()
        return status
