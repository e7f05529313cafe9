#!/usr/bin/env python3
"""Reads every kind of file, saves a sequence, and hands a line over, while allocations fail and reads are cut and
interrupted; prints a table.

    failing_calls.py PROGRAM [--short] [KIND...]

The calls are failing_calls.c, preloaded. A run counts as good when the program ends by itself, with 0 and the bytes of a run
without faults, or with 1 and an error line; whatever it says, no file may appear that differs. Without --short every
allocation after the opening of the file, or of the connection, fails once, and with the fifteen after it.
"""
import os
import shutil
import socket
import subprocess
import sys
import tempfile
import threading

HERE = os.path.dirname(os.path.abspath(__file__))
PICTURES = ["exr", "dpx", "tga", "png", "jpg", "tif", "psd", "sgi", "bmp"]
KINDS = PICTURES + ["ksncomp", "xml", "ksncmd", "cube", "handover", "frames"]
LONGEST = 60  # seconds for one run, on a busy machine


def record(kind, text=b""):
    return kind + len(text).to_bytes(4, "little") + text


class Receiver(threading.Thread):
    """An instance that takes every line and prints another."""

    LINE = "x" * 100000

    def __init__(self, path):
        super().__init__(daemon=True)
        self.listener = socket.socket(socket.AF_UNIX)
        self.listener.bind(path)
        self.listener.listen(8)
        self.start()

    def run(self):
        while True:
            peer, _ = self.listener.accept()
            with peer:
                message = b""
                while len(message) < 12 or len(message) < 12 + int.from_bytes(message[8:12], "little"):
                    block = peer.recv(65536)
                    if not block:
                        break
                    message += block
                else:
                    try:
                        peer.sendall(record(b"t") + record(b"o", self.LINE.encode()) + record(b"d"))
                    except BrokenPipeError:
                        pass  # a sender without memory


class Trial:
    def __init__(self, program, folder, library):
        self.program, self.folder, self.library, self.failures = program, folder, library, []
        self.environment = {key: value for key, value in os.environ.items() if key not in ("DISPLAY", "WAYLAND_DISPLAY")}
        self.environment.update(XDG_CONFIG_HOME=folder, XDG_DATA_HOME=folder, XDG_STATE_HOME=folder, KESTRIN_TRANSIENT="1",
                                XDG_RUNTIME_DIR=folder)

    def run(self, arguments, **faults):
        environment = dict(self.environment)
        if faults:
            environment.update({"FAULT_" + key.upper(): str(value) for key, value in faults.items()})
            environment["LD_PRELOAD"] = self.library
        try:
            done = subprocess.run([self.program, *arguments], cwd=self.folder, env=environment,
                                  capture_output=True, timeout=LONGEST, stdin=subprocess.DEVNULL)
            self.out = done.stdout.decode(errors="replace")
            return done.returncode, done.stderr.decode(errors="replace")
        except subprocess.TimeoutExpired:
            return "no end", ""

    def arguments(self, kind):
        name = "in." + kind
        if kind == "handover":
            return ["--attach=status", "--text=" + "y" * 100000]
        if kind == "frames":
            return ["in.#.tga", "--save_mask_as_sequence=out.#.tga", "--exit=status"]
        start = {"cube": ["plain.tga", "--lookup_table=" + name], "xml": ["--open_composition=" + name]}.get(kind, [name])
        return start + ["--save_frame_as=out.tga", "--exit=status"]

    def result(self, kind):
        if kind == "handover":
            return self.out or None
        found = []
        for name in sorted(os.listdir(self.folder)):
            if name.startswith("out."):
                path = os.path.join(self.folder, name)
                with open(path, "rb") as file:
                    found.append((name, file.read()))
                os.remove(path)
        return found or None

    def one(self, kind, expected, must_succeed=False, **faults):
        code, errors = self.run(self.arguments(kind), path=self.watched(kind), **faults)
        found = self.result(kind)
        # Of a sequence some frames may be missing.
        right = found in (None, expected) or kind == "frames" and all(one in expected for one in found)
        good = code == 0 and found == expected or code == 1 and errors.strip() and right
        # A picture whose table can't be read, or after a line that failed, is saved all the same, and the status tells.
        good = good or kind in ("cube", "ksncmd") and code == 1 and errors.strip() and found is not None
        # The same where the source could not be opened: the timeline is saved without it.
        good = good or kind == "frames" and code == 1 and 'in.#.tga": Not enough memory' in errors
        # The C library itself gives up where a thread's first object with a destructor finds no memory.
        good = good or "failed to register TLS destructor" in errors and right
        if must_succeed:
            good = code == 0 and found == expected
        if not good:
            what = "other bytes" if not right else "no file" if found is None else "a file"
            self.failures.append(f"{kind}, {faults}: code {code}, {what}, {errors[-300:]!r}")

    def watched(self, kind):
        return {"handover": "kestrin-_77.socket", "frames": "in.0.tga"}.get(kind, "in." + kind)

    def all(self, kind, short):
        code, errors = self.run(self.arguments(kind))
        expected = self.result(kind)
        if code != 0 or not expected:
            self.failures.append(f"{kind}: does not work without faults: {errors}")
            return 0, 0
        count_path = os.path.join(self.folder, "count")
        self.run(self.arguments(kind), path=self.watched(kind), mode="count", count=count_path)
        self.result(kind)
        with open(count_path) as file:
            count = int(file.read())
        most = 12 if short else 100000
        points = range(1, count + 1) if count <= most else [1 + i * (count - 1) // (most - 1) for i in range(most)]
        for at in points:
            for mode in ("one", "row", "large"):
                self.one(kind, expected, mode=mode, at=at)
        self.one(kind, expected, must_succeed=True, mode="pieces")
        return count, 3 * len(points) + 1


def main():
    program = os.path.abspath(sys.argv[1])
    short = "--short" in sys.argv
    folder = tempfile.mkdtemp(prefix="kestrin_calls_")
    failed = False
    try:
        library = os.path.join(folder, "failing_calls.so")
        subprocess.run(["cc", "-O2", "-fPIC", "-shared", "-o", library, os.path.join(HERE, "failing_calls.c"), "-ldl"], check=True)
        trial = Trial(program, folder, library)
        made = ["--new_text_layer", "--mask_size=96,64", "--layer_resize_to_mask", "--text=Ag", "--text_size=40"]
        saves = ["--save_mask_as_image=" + name for name in
                 ["plain.tga"] + ["in." + kind for kind in PICTURES]]
        code, errors = trial.run(made + saves + ["--exit=status"])
        if code == 0:
            code, errors = trial.run(["plain.tga", "--exposure=0.5", "--save_composition_as=in.ksncomp",
                                      "--save_composition_as=in.xml", "--export_composition_as=in.ksncmd", "--exit=status"])
        if code != 0:
            sys.exit("failing_calls.py: the inputs can't be made:\n" + errors)
        with open(os.path.join(folder, "in.cube"), "w") as file:
            file.write("LUT_3D_SIZE 2\n" + "".join(f"{i & 1} {i >> 1 & 1} {i >> 2}\n" for i in range(8)))
        for i in range(4):
            shutil.copy(os.path.join(folder, "in.tga"), os.path.join(folder, f"in.{i}.tga"))
        trial.environment["DISPLAY"] = ":77"
        Receiver(os.path.join(folder, "kestrin-_77.socket"))
        print("| read     | allocations | runs  |      |")
        for kind in [word for word in sys.argv[2:] if not word.startswith("--")] or KINDS:
            before = len(trial.failures)
            count, runs = trial.all(kind, short)
            failed = failed or len(trial.failures) > before
            print(f"| {kind:8} | {count:11} | {runs:5} | {'ok' if len(trial.failures) == before else 'FAILED'} |", flush=True)
        for line in trial.failures[:40]:
            print(line)
    finally:
        shutil.rmtree(folder, ignore_errors=True)
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
