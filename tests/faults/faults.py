#!/usr/bin/env python3
"""Runs the program against all that can go wrong around it, and prints a table.

    faults.py PROGRAM [--short] [--only WORD] [--seed N]

A row is one fault. Its runs count as good when the program ends by itself in time, never by a signal, when no file
under a final name differs from what a run without faults writes unless a line and the status said so, and when no
part of a file stays behind. Rows that need rights which are not there (tmpfs mounts, control groups, another user)
are skipped and say so. The exit code is 1 when any row failed.
"""
import argparse
import os
import random
import resource
import shutil
import signal
import socket
import struct
import subprocess
import sys
import tempfile
import time

FORMATS = ["tga", "exr", "dpx", "png", "jpg"]
NOBODY = 65534
LONGEST = 60  # seconds for one run, on a busy machine
CASES = []


def case(title):
    def keep(function):
        CASES.append((title, function))
        return function
    return keep


class Skipped(Exception):
    pass


class Result:
    def __init__(self, code, out, err, seconds):
        self.code, self.out, self.err, self.seconds = code, out, err, seconds
        self.lines = err.splitlines()


def tga(path, width=64, height=48, value=0, rows=None):
    """An uncompressed picture; with `rows` cut off after so many."""
    header = struct.pack("<BBBHHBHHHHBB", 0, 0, 2, 0, 0, 0, 0, 0, width, height, 24, 32)
    row = bytes((value + x * 7 + y) & 255 for x in range(width) for y in range(3))
    with open(path, "wb") as file:
        file.write(header + row * (height if rows is None else rows))


def fields_of(text):
    """The fields, without those that tell of the environment."""
    return [line for line in text.splitlines() if not line.startswith("env:")]


def contents(folder):
    found = {}
    for name in os.listdir(folder) if os.path.isdir(folder) else []:
        path = os.path.join(folder, name)
        if os.path.isfile(path):
            with open(path, "rb") as file:
                found[name] = file.read()
    return found


class Box:
    """A folder of its own, and the program in it."""

    def __init__(self, program, short):
        self.program, self.short, self.failures, self.runs = program, short, [], 0
        self.folder = tempfile.mkdtemp(prefix="kestrin_faults_")
        self.environment = {key: value for key, value in os.environ.items()
                            if key not in ("DISPLAY", "WAYLAND_DISPLAY", "LC_ALL", "LANG")}
        self.environment.update(XDG_CONFIG_HOME=self.path("config"), XDG_DATA_HOME=self.path("data"),
                                XDG_RUNTIME_DIR=self.path("runtime"))
        os.mkdir(self.path("runtime"), 0o700)

    def path(self, name):
        return os.path.join(self.folder, name)

    def formats(self):
        return ["tga", "exr"] if self.short else FORMATS

    def start(self, arguments, **options):
        self.runs += 1
        environment = dict(self.environment, **options.pop("environment", {}))
        # Files and not pipes, which would stay open with a script that goes on.
        out, err = tempfile.TemporaryFile(), tempfile.TemporaryFile()
        process = subprocess.Popen([options.pop("program", self.program)] + arguments, cwd=self.folder, env=environment,
                                   stdin=subprocess.DEVNULL, stdout=out, stderr=err, **options)
        process.written = out, err
        return process

    def finish(self, process, begin):
        try:
            process.wait(timeout=LONGEST)
        except subprocess.TimeoutExpired:
            process.kill()
            process.wait()
            self.expect(False, "hangs: " + " ".join(process.args[1:]))
        texts = []
        for file in process.written:
            file.seek(0)
            texts.append(file.read().decode(errors="replace"))
            file.close()
        return Result(process.returncode, texts[0], texts[1], time.monotonic() - begin)

    def run(self, arguments, **options):
        begin = time.monotonic()
        result = self.finish(self.start(arguments, **options), begin)
        self.expect(result.code >= 0, "ended by signal %d: %s" % (-result.code, " ".join(arguments)))
        return result

    def expect(self, holds, text):
        if not holds:
            self.failures.append(text)

    def refused(self, arguments, words, **options):
        """A run that must say so in a line and in its status."""
        result = self.run(arguments + ["--exit=status"], **options)
        self.expect(result.code == 1, "status %d: %s" % (result.code, " ".join(arguments)))
        self.expect(words in result.err, "%r not in %r: %s" % (words, result.err, " ".join(arguments)))
        return result

    def shot(self, frames=8, name="s"):
        for i in range(frames):
            tga(self.path("%s.%04d.tga" % (name, i)), value=i * 11)
        return "%s.####.tga" % name

    def save(self, extension, folder="out"):
        return ["--mask_size=96,64", "--save_mask_as_sequence=%s/o.####.%s" % (folder, extension), "--exit=status"]

    def reference(self, source, extension):
        result = self.run([source] + self.save(extension, "reference_" + extension))
        self.expect(result.code == 0, "no reference: " + result.err)
        return contents(self.path("reference_" + extension))

    def judge(self, folder, reference, result=None, killed=False):
        """Every file that is there is right, and every one that is missing was told."""
        found = contents(folder)
        parts = [name for name in found if name.endswith(".part")]
        self.expect(killed or not parts, "left behind: " + " ".join(parts))
        for name in found:
            if name not in parts:
                self.expect(found[name] == reference.get(name), "differs from a run without faults: " + name)
        if result is not None and len(found) < len(reference):
            self.expect(result.code not in (0, None) and result.lines, "frames are missing, and nothing says so")

    def end(self):
        shutil.rmtree(self.folder, ignore_errors=True)


# --- ends at any moment ---


@case("killed at random moments, and run again")
def killed(box):
    source = box.shot()
    for extension in box.formats():
        reference = box.reference(source, extension)
        begin = time.monotonic()
        box.run([source] + box.save(extension, "timed"))
        longest = time.monotonic() - begin
        for _ in range(3 if box.short else 25):
            process = box.start([source] + box.save(extension))
            time.sleep(random.uniform(0, longest))
            process.kill()
            process.wait()
            box.judge(box.path("out"), reference, killed=True)
        result = box.run([source] + box.save(extension))
        box.expect(contents(box.path("out")) == reference, "not whole after another run: " + extension)
        box.judge(box.path("out"), reference, result)
        shutil.rmtree(box.path("out"))
        shutil.rmtree(box.path("timed"))


@case("asked to end at random moments")
def interrupted(box):
    source = box.shot(20)
    reference = box.reference(source, "exr")
    for _ in range(5 if box.short else 40):
        begin = time.monotonic()
        process = box.start([source] + box.save("exr"))
        time.sleep(random.uniform(0.02, 0.2))
        number = random.choice([signal.SIGINT, signal.SIGTERM, signal.SIGHUP])
        process.send_signal(number)
        result = box.finish(process, begin)
        # Before it watches for signals, and after its end, the system's own rule holds.
        box.expect(result.code in (0, 128 + number, -number), "status %d after signal %d" % (result.code, number))
        box.judge(box.path("out"), reference)
        shutil.rmtree(box.path("out"), ignore_errors=True)


@case("a script after a save that never ends, and a signal")
def hanging_script(box):
    program = box.path("kestrin")
    shutil.copy(box.program, program)
    os.makedirs(box.path("scripts/after_save"))
    with open(box.path("scripts/after_save/hang"), "w") as file:
        file.write("#!/bin/sh\necho $$ >pid\nexec sleep 1000\n")
    os.chmod(box.path("scripts/after_save/hang"), 0o755)
    tga(box.path("a.tga"))
    begin = time.monotonic()
    process = box.start(["a.tga", "--save_frame_as=b.tga", "--exit=status"], program=program)
    while not os.path.exists(box.path("pid")) and time.monotonic() < begin + LONGEST:
        time.sleep(0.01)
    process.send_signal(signal.SIGTERM)
    sent = time.monotonic()
    result = box.finish(process, begin)
    box.expect(time.monotonic() - sent < 5, "the signal waits for the script")
    box.expect(result.code == 143 and "Still running" in result.err, "%d %s" % (result.code, result.err))
    with open(box.path("pid")) as file:
        os.kill(int(file.read()), signal.SIGKILL)


# --- disks ---


@case("disks that are too small (tmpfs)")
def tiny_disks(box):
    source = box.shot()
    mount = box.path("disk")
    os.mkdir(mount)
    for extension in box.formats():
        reference = box.reference(source, extension)
        whole = sum(len(data) for data in reference.values())
        for part in [0.2, 0.7] if box.short else [0.05, 0.1, 0.2, 0.3, 0.5, 0.7, 0.9, 2.0]:
            size = max(4096, int(whole * part) // 4096 * 4096)
            if subprocess.run(["mount", "-t", "tmpfs", "-o", "size=%d" % size, "tmpfs", mount],
                              stderr=subprocess.DEVNULL).returncode:
                raise Skipped("no right to mount")
            try:
                result = box.run([source] + box.save(extension, "disk"))
                box.judge(mount, reference, result)
                box.run([source, "--save_composition_as=disk/c.ksncomp", "--exit=status"])
                box.judge(mount, dict(reference, **{"c.ksncomp": contents(mount).get("c.ksncomp")}))
            finally:
                subprocess.run(["umount", mount])


@case("movies on disks that are too small (tmpfs)")
def tiny_disks_for_movies(box):
    source = box.shot()
    for i in range(8):  # grain, of which no codec makes little
        with open(box.path("s.%04d.tga" % i), "r+b") as file:
            file.seek(18)
            file.write(random.randbytes(64 * 48 * 3))
    mount = box.path("disk")
    os.mkdir(mount)
    kinds = [("h264", "mp4"), ("mjpeg", "mov"), ("ffv1", "mkv"), ("raw", "avi")]
    for codec, extension in kinds:
        save = lambda folder: [source, "--save_options=codec=" + codec, "--save_layer_as=%s/o.%s" % (folder, extension),
                               "--exit=status"]
        if box.run(save("whole")).code:
            raise Skipped("no module for movies in this build")
        whole = os.path.getsize(box.path("whole/o." + extension))
        # The last one has no room for the end of the file alone, where the index is.
        box.expect(whole > 8192, "%s: %d bytes" % (codec, whole))
        for size in (whole // 8192 * 4096, (whole - 1) // 4096 * 4096):
            if subprocess.run(["mount", "-t", "tmpfs", "-o", "size=%d" % size, "tmpfs", mount],
                              stderr=subprocess.DEVNULL).returncode:
                raise Skipped("no right to mount")
            try:
                result = box.run(save("disk"))
                box.expect(result.code == 1 and len(result.lines) == 1 and "No space left" in result.err,
                           "%s: %d %s" % (codec, result.code, result.err))
                box.expect(os.listdir(mount) == [], "%s: %s stays behind" % (codec, os.listdir(mount)))
            finally:
                subprocess.run(["umount", mount])


@case("movies that are killed")
def killed_movies(box):
    source = box.shot()
    for turn in range(8 if box.short else 60):
        extension = ["mov", "mp4", "mkv", "avi"][turn % 4]
        process = box.start([source, "--length=2000", "--timeline=2000", "--wa_end=2000",
                             "--save_layer_as=out/o." + extension, "--exit=status"])
        begin = time.monotonic()
        wait = random.uniform(0.0, 1.5)
        while time.monotonic() - begin < wait and process.poll() is None:
            time.sleep(0.005)
        if process.poll() is not None:  # it was sooner, or there is no module for movies
            box.finish(process, begin)
        else:
            process.kill()
            process.wait()
            movie = "out/o." + extension
            if os.path.exists(box.path(movie)):  # killed on its way out
                result = box.run([movie, "--print_field=1:length", "--exit=status"])
                box.expect("=2000" in result.out, "killed, and there is a part of " + movie)
        shutil.rmtree(box.path("out"), ignore_errors=True)


@case("a limit for the size of files (ulimit -f)")
def file_sizes(box):
    source = box.shot()
    for extension in box.formats():
        reference = box.reference(source, extension)
        for size in (2048, 8192, 1 << 20):  # the error stream is a file, too
            limit = lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (size, size))
            result = box.run([source] + box.save(extension), preexec_fn=limit)
            box.judge(box.path("out"), reference, result)
            shutil.rmtree(box.path("out"), ignore_errors=True)


# --- memory ---


def within_memory(box, source, reference, extension, **options):
    result = box.run([source, "--mask_size=2048,1080", "--save_mask_as_sequence=out/o.####." + extension,
                      "--exit=status"], **options)
    box.judge(box.path("out"), reference, result)
    count = len(contents(box.path("out")))
    shutil.rmtree(box.path("out"), ignore_errors=True)
    return count


def large_shot(box, extension, frames=6):
    for i in range(frames):
        tga(box.path("l.%04d.tga" % i), 2048, 1080, i)
    box.run(["l.####.tga", "--mask_size=2048,1080", "--save_mask_as_sequence=large/o.####." + extension, "--exit=status"])
    return contents(box.path("large"))


@case("little address space (ulimit -v)")
def address_space(box):
    for extension in ["tga"] if box.short else FORMATS:
        reference = large_shot(box, extension)
        for megabytes in (60, 90, 120, 200) if box.short else range(50, 420, 10):
            limit = lambda: resource.setrlimit(resource.RLIMIT_AS, (megabytes << 20, megabytes << 20))
            count = within_memory(box, "l.####.tga", reference, extension, preexec_fn=limit)
            box.expect(megabytes < 200 or count == len(reference), "%d of %d frames with %d MB" % (
                count, len(reference), megabytes))
        shutil.rmtree(box.path("large"))


@case("a control group with little memory")
def control_group(box):
    root = "/sys/fs/cgroup/memory" if os.path.isdir("/sys/fs/cgroup/memory") else "/sys/fs/cgroup"
    version_1 = root.endswith("memory")
    group = os.path.join(root, "kestrin_faults_%d" % os.getpid())
    try:
        os.mkdir(group)
    except OSError:
        raise Skipped("no right to make a control group")
    try:
        reference = large_shot(box, "tga")
        for megabytes in (60, 200) if box.short else (40, 50, 60, 80, 100, 150, 200, 400):
            try:
                with open(group + ("/memory.limit_in_bytes" if version_1 else "/memory.max"), "w") as file:
                    file.write(str(megabytes << 20))
            except OSError:
                raise Skipped("no limit of memory in control groups here")
            def enter():
                with open(group + "/cgroup.procs", "w") as file:
                    file.write(str(os.getpid()))
            count = within_memory(box, "l.####.tga", reference, "tga", preexec_fn=enter)
            box.expect(megabytes < 200 or count == len(reference), "%d frames with %d MB" % (count, megabytes))
    finally:
        os.rmdir(group)


@case("one frame that can't fit is said before it is begun")
def too_large(box):
    tga(box.path("a.tga"))
    limit = lambda: resource.setrlimit(resource.RLIMIT_AS, (500 << 20, 500 << 20))
    for save in ("--save_mask_as_image=o.tga", "--save_mask_as_sequence=o.####.tga"):
        box.refused(["a.tga", "--mask_size=30000,30000", save], "One frame needs 4.5 GB of memory", preexec_fn=limit)
        box.expect(not os.path.exists(box.path("o.tga")), "something was written")


# --- rights ---


@case("another user: files and folders without permission")
def permissions(box):
    if os.geteuid() != 0:
        raise Skipped("needs the right to become another user")
    other = dict(preexec_fn=lambda: (os.setgroups([]), os.setgid(NOBODY), os.setuid(NOBODY)))
    os.chmod(box.folder, 0o755)
    for name in ("config", "data", "runtime", "mine"):
        os.makedirs(box.path(name), exist_ok=True)
        os.chown(box.path(name), NOBODY, NOBODY)
    try:
        probe = subprocess.run([box.program, "--version"], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, **other)
    except PermissionError:
        probe = None
    if not probe or probe.returncode != 0:
        raise Skipped("another user can't run this build")
    tga(box.path("a.tga"))
    for extension in FORMATS:
        box.run(["a.tga", "--save_frame_as=secret." + extension, "--exit=status"])
        os.chmod(box.path("secret." + extension), 0)
        box.refused(["secret." + extension], "Permission denied", **other)
        with open(box.path("mine/kept." + extension), "wb") as file:
            file.write(b"kept")
        os.chmod(box.path("mine/kept." + extension), 0o444)
        box.refused(["a.tga", "--save_frame_as=mine/kept." + extension], "Permission denied", **other)
        box.refused(["a.tga", "--save_frame_as=new." + extension], "Permission denied", **other)
        box.expect(contents(box.path("mine"))["kept." + extension] == b"kept", "a file without permission was replaced")
    os.mkdir(box.path("closed"), 0)
    box.refused(["closed/a.tga"], "Permission denied", **other)
    box.refused(["a.tga", "--save_frame_as=closed/a.tga"], "Permission denied", **other)
    for name in ("secret.ksncmd", "secret.ksncomp", "secret.cube", "secret.mov", "secret.wav"):
        tga(box.path(name))
        os.chmod(box.path(name), 0)
    for option in ("secret.ksncmd", "secret.mov", "secret.wav", "--open_composition=secret.ksncomp",
                   "--lookup_table=secret.cube"):
        box.refused(["a.tga", option], "Permission denied", **other)


# --- what is not a file ---


@case("named pipes in the place of every file")
def pipes(box):
    tga(box.path("a.tga"))
    def pipe(name):
        os.makedirs(os.path.dirname(box.path(name)), exist_ok=True)
        os.mkfifo(box.path(name))
        return name
    for extension in FORMATS + ["mov", "cine", "wav"]:
        box.refused([pipe("source." + extension)], "pipe")
        box.refused(["a.tga", "--layer_replace_with=source." + extension], "pipe")
    for option in ("--open_composition=" + pipe("c.ksncomp"), "--open_composition=" + pipe("c.xml"),
                   "--lookup_table=" + pipe("l.cube")):
        box.refused(["a.tga", option], "pipe")
    box.refused(["a.tga", "--execute_cmdfile=" + pipe("c.ksncmd")], "Nobody writes to the pipe")
    for extension in FORMATS:
        pipe("target." + extension)
        box.refused(["a.tga", "--save_frame_as=target." + extension], "Nobody reads from the pipe")
    box.refused(["a.tga", "--save_composition_as=" + pipe("t.ksncomp")], "Nobody reads from the pipe")
    for name in ("config/Kestrin/kestrin.settings.dat", "data/Kestrin/kestrin.recent.xml",
                 "data/Kestrin/kestrin.window.xml"):
        if os.path.exists(box.path(name)):
            os.remove(box.path(name))
        pipe(name)
        box.run(["a.tga", "--new_composition", "--exit"])
        box.run(["--open_unsaved", "--exit"])
    # What is read through one, and written through one.
    result = box.run(["-c", 'exec "$0" a.tga <(echo --print_field=1:name --exit=status)', box.program],
                     program="/bin/bash")
    box.expect(result.out == "1:name=a.tga\n" and result.code == 0, "command file through a pipe: " + result.err)
    box.run(["a.tga", "--save_frame_as=b.tga", "--exit=status"])
    # The reader is there first, and the picture fits into the pipe.
    reader = os.open(box.path("target.tga"), os.O_RDONLY | os.O_NONBLOCK)
    result = box.run(["a.tga", "--save_frame_as=target.tga", "--exit=status"])
    box.expect(result.code == 0 and os.read(reader, 65536) == contents(box.folder)["b.tga"], "picture through a pipe")
    os.close(reader)


@case("links to nothing and links in a circle")
def links(box):
    tga(box.path("a.tga"))
    for kind, words in (("nothing", "The link points to nothing"), ("circle", "The links lead round in a circle")):
        for extension in FORMATS + ["mov", "wav", "cube", "ksncmd", "ksncomp"]:
            name = kind + "." + extension
            os.symlink("no such file" if kind == "nothing" else name, box.path(name))
            read = {"cube": "--lookup_table=", "ksncomp": "--open_composition="}.get(extension, "") + name
            if extension != "ksncmd" or kind == "circle":
                box.refused(["a.tga", read], words)
            if extension in FORMATS:
                box.refused(["a.tga", "--save_frame_as=" + name], words)
                box.expect(os.path.islink(box.path(name)), "the link was replaced")


@case("folders in the place of files")
def folders(box):
    tga(box.path("a.tga"))
    for name in ["d." + extension for extension in FORMATS] + ["d.ksncomp", "d.ksncmd", "d.cube", "e.tga.part"]:
        os.makedirs(box.path(name))
    for extension in FORMATS:
        box.refused(["a.tga", "--save_frame_as=d." + extension], "It is a folder")
    box.refused(["a.tga", "--save_frame_as=e.tga"], "It is a folder")
    box.refused(["d.tga"], "no images")
    for option in ("--open_composition=d.ksncomp", "d.ksncmd", "--lookup_table=d.cube", "--save_composition_as=d.ksncomp"):
        box.refused(["a.tga", option], "folder")
    for option in ("--save_composition_as=.", "--save_composition_as=..", "--save_composition_as=sub/"):
        box.refused(["a.tga", option], "Invalid option")
    box.expect(not os.path.exists(box.folder + ".ksncomp"), "saved beside the folder")


# --- surroundings ---


@case("closed and full standard streams")
def streams(box):
    source = box.shot()
    reference = box.reference(source, "tga")
    for closing in ("<&-", ">&-", "2>&-", "<&- >&-", "<&- >&- 2>&-", "2>/dev/full", ">/dev/full"):
        box.run(["-c", 'exec "$0" "$@" ' + closing, box.program, source] + box.save("tga"), program="/bin/sh")
        box.expect(contents(box.path("out")) == reference, "differs with " + closing)
        shutil.rmtree(box.path("out"))
    result = box.run(["-c", 'exec "$0" --print_fields=global --exit=status >/dev/full', box.program], program="/bin/sh")
    box.expect(result.code == 1 and "No space left" in result.err, "lost output is not told: " + result.err)


@case("locales, time zones and odd file times")
def locales(box):
    source = box.shot()
    reference = box.reference(source, "exr")
    fields = fields_of(box.run([source, "--exposure=0.5", "--print_fields", "--exit"]).out)
    for variables in ({"LC_ALL": "C"}, {"LC_ALL": "de_DE.UTF-8"}, {"LC_ALL": "tr_TR.UTF-8"}, {"LC_ALL": "nonsense"},
                      {"TZ": "Asia/Kathmandu"}, {"TZ": ":::"}, {"HOME": "/nowhere"}):
        result = box.run([source] + box.save("exr"), environment=variables)
        box.judge(box.path("out"), reference, result)
        out = fields_of(box.run([source, "--exposure=0.5", "--print_fields", "--exit"], environment=variables).out)
        box.expect(out == fields, "other fields with %s" % variables)
    for seconds in (0, -1, 1 << 31, 1 << 33):
        os.utime(box.path("s.0002.tga"), (seconds, seconds))
        box.judge(box.path("out"), reference, box.run([source] + box.save("exr")))


@case("names: control characters, NUL, every length")
def names(box):
    tga(box.path("a.tga"))
    odd = "a\nb\x1b[2Jc\x7f\xc2\x9b.tga".encode("latin-1")
    result = box.refused([odd.decode("utf-8", "surrogateescape")], "a\\nb\\x1B[2Jc\\x7F\\xC2\\x9B.tga")
    box.expect(len(result.lines) == 1, "more than one line: " + result.err)
    with open(box.path("nul.ksncmd"), "wb") as file:
        file.write(b"a.tga\0b.tga --save_mask_as_image=o.tga")
    box.refused(["nul.ksncmd"], "a.tga\\x00b.tga")
    box.expect(not os.path.exists(box.path("o.tga")), "saved without an input")
    os.mkdir(box.path("long"))
    for extension in FORMATS + ["ksncomp"]:
        for length in (250, 251, 252, 255):
            name = "x" * (length - len(extension) - 1) + "." + extension
            option = "--save_composition_as=" if extension == "ksncomp" else "--save_frame_as="
            result = box.run(["a.tga", option + "long/" + name, "--exit=status"])
            box.expect(result.code == 0 and list(contents(box.path("long"))) == [name], "%d bytes: %s" % (length, result.err))
            os.remove(box.path("long/" + name))
        box.refused(["a.tga", option + "long/" + "x" * 252 + "." + extension], "File name too long")


@case("modules that are cut short")
def modules(box):
    folder = os.path.dirname(os.path.realpath(box.program))
    media = os.path.join(folder, "kestrin_media.so")
    if not os.path.exists(media):
        raise Skipped("no module for movies in this build")
    shutil.copy(box.program, box.path("kestrin"))
    with open(media, "rb") as file:
        whole = file.read()
    tga(box.path("a.mov"))
    lengths = [0, 10, 64, len(whole) // 2, len(whole) - 1]
    for length in lengths if box.short else lengths + [random.randrange(len(whole)) for _ in range(40)]:
        with open(box.path("kestrin_media.so"), "wb") as file:
            file.write(whole[:length])
        box.refused(["a.mov"], "a.mov", program=box.path("kestrin"))


@case("a running instance that does not answer, a folder that is gone")
def attaching(box):
    here = {"DISPLAY": ":77"}
    os.mkdir(box.path("gone"))
    gone = box.run(["-c", 'cd gone && rmdir ../gone && exec "$0" --attach a.tga', box.program], program="/bin/sh",
                   environment=here)
    box.expect(gone.code == 1 and "The working folder is gone" in gone.err, "%d %s" % (gone.code, gone.err))
    if box.short:
        return
    for backlog in (5, 0):
        listener = socket.socket(socket.AF_UNIX)
        listener.bind(box.path("runtime/kestrin-_77.socket"))
        listener.listen(backlog)
        fillers = []
        for _ in range(0 if backlog else 3):  # so that not even a connection comes about
            fillers.append(socket.socket(socket.AF_UNIX))
            fillers[-1].setblocking(False)
            fillers[-1].connect_ex(box.path("runtime/kestrin-_77.socket"))
        result = box.run(["--attach", "a.tga"], environment=here)
        box.expect(result.code == 1 and "does not answer" in result.err and 9 < result.seconds < 20,
                   "%d after %.1f s: %s" % (result.code, result.seconds, result.err))
        for connection in fillers + [listener]:
            connection.close()
        os.remove(box.path("runtime/kestrin-_77.socket"))


# --- sources ---


@case("broken frames, gaps, and inputs that are not there")
def sources(box):
    tga(box.path("back.tga"), 96, 64, 5)
    for extension in box.formats():
        source = box.shot()
        box.run([source, "--save_layer_as=in/f.####." + extension, "--exit=status"])
        names = sorted(os.listdir(box.path("in")))
        arguments = ["back.tga", "--length=8", "--timeline=8", "--wa_end=8", "in/f.####." + extension]
        reference = box.run(arguments + box.save("tga", "whole")) and contents(box.path("whole"))
        os.remove(box.path("in/" + names[2]))
        for index, cut in ((4, 0), (5, 100)):
            os.truncate(box.path("in/" + names[index]), cut)
        result = box.run(arguments + box.save("tga"))
        box.judge(box.path("out"), reference, result)
        missing = sorted(set(reference) - set(contents(box.path("out"))))
        box.expect(missing == ["o.000%d.tga" % i for i in (2, 4, 5)], "%s: missing are %s" % (extension, missing))
        for i in (2, 4, 5):
            told = [line for line in result.lines if "/out/o.000%d.tga" % i in line and "/in/" + names[i] in line]
            box.expect(len(told) == 1, "%s: frame %d is told %d times: %s" % (extension, i, len(told), result.err))
        result = box.run(arguments + ["--save_incomplete=1"] + box.save("tga"))
        box.expect(len(contents(box.path("out"))) == 8 and result.code == 0, "incomplete frames are not written")
        for name in ("in", "out", "whole"):
            shutil.rmtree(box.path(name))
    good = box.reference(box.shot(), "tga")
    for inputs in (["none.####.tga"], ["none.tga"], ["none.mov"], ["none.ksncomp"], ["none.ksncmd"], ["s.####.tga", "none.tga"],
                   ["--open_composition=none.xml"], ["s.####.tga", "--layer_replace_with=none.tga"]):
        box.refused(inputs + box.save("tga", "reference_tga")[:-1], "Not saved, because an input could not be opened")
        box.expect(contents(box.path("reference_tga")) == good, "good frames were written over after %s" % inputs)
    # A document whose clip has gone.
    box.run(["s.0000.tga", "--still_image", "--save_composition_as=clip.xml", "--exit=status"])
    with open(box.path("clip.xml")) as file:
        text = file.read().replace('"source_type">1<', '"source_type">4<').replace("s.0000.tga", "gone.avi")
    with open(box.path("clip.xml"), "w") as file:
        file.write(text)
    box.refused(["clip.xml", "--save_mask_as_image=clip.tga"], "Not saved, because an input could not be opened")
    empty = box.run(["--new_composition", "--mask_size=8,8", "--save_mask_as_image=empty.tga", "--exit=status"])
    box.expect(empty.code == 0 and os.path.exists(box.path("empty.tga")), "an empty composition is not saved")


@case("saving over the own source")
def own_source(box):
    for base, code in ((0, 0), (1, 1)):
        source = box.shot()
        before = contents(box.folder)
        result = box.run([source, "--frame_base=%d" % base, "--save_layer_as=s.####.tga", "--exit=status"])
        box.expect(result.code == code, "status %d with frame base %d" % (result.code, base))
        after = contents(box.folder)
        if code:
            box.expect(after == before and "yet to be read" in result.err, "frames were written over")


@case("two programs that write one sequence")
def two_writers(box):
    source = box.shot()
    reference = box.reference(source, "exr")
    for _ in range(2 if box.short else 20):
        begin = time.monotonic()
        both = [box.start([source] + box.save("exr")) for _ in range(2)]
        for process in both:
            result = box.finish(process, begin)
            told = result.code == 0 or "Another program is writing it" in result.err
            box.expect(told, "%d %s" % (result.code, result.err))
        box.judge(box.path("out"), reference)
        shutil.rmtree(box.path("out"))


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("program")
    parser.add_argument("--short", action="store_true", help="fewer rounds; what the tests run")
    parser.add_argument("--only", default="", help="cases whose title holds this")
    parser.add_argument("--seed", type=int, default=int(time.time()))
    options = parser.parse_args()
    random.seed(options.seed)
    print("seed %d" % options.seed)
    failed = 0
    for title, function in CASES:
        if options.only not in title:
            continue
        box = Box(os.path.abspath(options.program), options.short)
        begin = time.monotonic()
        verdict = "ok"
        try:
            function(box)
        except Skipped as reason:
            verdict = "skipped: %s" % reason
        except Exception as failure:  # the table goes on
            box.failures.append(repr(failure))
        finally:
            box.end()
        if box.failures:
            failed += 1
            verdict = "FAILED"
        print("| %-66s | %4d runs | %6.1f s | %s" % (title, box.runs, time.monotonic() - begin, verdict), flush=True)
        for text in box.failures[:12]:
            print("    " + text)
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
