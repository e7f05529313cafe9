#!/usr/bin/env python3
"""Runs every command line of the documentation, in a folder of made-up inputs.

    run_docs.py PROGRAM [--keep]

A command stands in a block of the language `sh`, or of `console` where its output follows and must be what it prints;
options that are shown without a program stand in a block of the language `options`, and are run on a small stack. An
indented line that begins as a command does is a mistake: nobody would run it. A window is not opened: a command that does
not end by itself gets `--exit=status`, and one that serves is interrupted. The exit code is 1 when any command failed.
"""
import os
import re
import shutil
import signal
import socket
import subprocess
import sys
import tempfile

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
LONGEST = 120  # seconds for a block, on a busy machine
# Commands that would build, install or need another machine, and how it is seen that they are spelled right.
ELSEWHERE = {
    "sudo": None, "cmake": None, "cpack": None, "sbatch": None, "addr2line": None,
    "./run": "run", "./test": "test", "tools/": "", "build/": None,
}
STACK = ["lantern.##.tga", "plate.jpg", "front.####.exr"]
KESTRIN = """#!/bin/sh
# A command that would open a window ends instead; one that serves is asked to. Without a window to attach to it is the
# command's own process that carries out the line.
case "${1:-}" in --attach*) shift ;; esac
for argument in "$@"; do
  case "$argument" in
    --serve)
      timeout --preserve-status -s INT 3 "$PROGRAM" "$@"
      [ $? = 130 ]
      exit
      ;;
    --exit | --exit=* | --help* | --version | -h) plain=1 ;;
  esac
done
[ -z "${plain:-}" ] || exec "$PROGRAM" "$@"
exec "$PROGRAM" "$@" --exit=status
"""


def blocks(path):
    """(line number, language, text) of each block, and of indented lines that look like commands."""
    found, language, lines, start = [], None, [], 0
    for number, line in enumerate(open(path, encoding="utf-8"), 1):
        fence = re.match(r"```(\w*)\s*$", line)
        if fence and language is None:
            language, lines, start = fence.group(1) or "text", [], number + 1
        elif fence:
            found.append((start, language, "".join(lines)))
            language = None
        elif language is not None:
            lines.append(line)
        elif re.match(r"    (\S*kestrin |'?--\w|\"--'|\./|tools/|sudo |cmake )", line):
            found.append((number, "indented", line))
    return found


def free_port():
    with socket.socket() as found:
        found.bind(("127.0.0.1", 0))
        return found.getsockname()[1]


class Box:
    def __init__(self, program):
        self.folder = tempfile.mkdtemp(prefix="kestrin_docs_")
        self.home = os.path.join(self.folder, "home")
        for name in ("home", "run", "bin", "work"):
            os.mkdir(os.path.join(self.folder, name), 0o700)
        for name, text in (("kestrin", KESTRIN),):
            path = os.path.join(self.folder, "bin", name)
            with open(path, "w") as file:
                file.write(text)
            os.chmod(path, 0o755)
        self.environment = {key: value for key, value in os.environ.items()
                            if key not in ("DISPLAY", "WAYLAND_DISPLAY", "KESTRIN_SITE", "KESTRIN_TRANSIENT")}
        self.environment.update(PROGRAM=os.path.abspath(program), HOME=self.home, XDG_CONFIG_HOME=self.home + "/config",
                                XDG_DATA_HOME=self.home + "/data", XDG_STATE_HOME=self.home + "/state",
                                XDG_RUNTIME_DIR=os.path.join(self.folder, "run"),
                                SLURM_ARRAY_TASK_ID="3", PATH=os.path.join(self.folder, "bin") + ":" + os.environ["PATH"])
        self.work = os.path.join(self.folder, "work")
        self.make_inputs()

    def shell(self, text):
        """Code and output of a text for the shell; interrupted with all that it started when it takes too long."""
        with tempfile.TemporaryFile() as output:
            process = subprocess.Popen(["bash", "-c", text], cwd=self.work, env=self.environment, stdout=output,
                                       stderr=subprocess.STDOUT, start_new_session=True, stdin=subprocess.DEVNULL)
            try:
                code = process.wait(timeout=LONGEST)
            except subprocess.TimeoutExpired:
                code = 1000
            try:
                os.killpg(process.pid, signal.SIGKILL)  # what it left in the background
            except ProcessLookupError:
                pass
            process.wait()
            output.seek(0)
            return code, output.read().decode(errors="replace")

    def make_inputs(self):
        os.symlink(os.path.join(ROOT, "examples"), os.path.join(self.work, "examples"))
        for name in os.listdir(os.path.join(ROOT, "examples/first_look")):
            shutil.copy(os.path.join(ROOT, "examples/first_look", name), self.work)
        # A sequence of ten frames, numbered from 0 on.
        code, out = self.shell("""set -e
            kestrin lantern.01.tga --still_image --length=10 --timeline=10 --wa_end=10 \\
                --mask_size=320,180 --save_mask_as_sequence=made.####.exr --exit=status
            kestrin made.0000.exr --still_image --save_frame_as=plate.jpg --exit=status
            kestrin made.####.exr --save_layer_as=take.mov --exit=status || true
            for i in 0 1 2 3 4 5 6 7 8 9; do
              number=$(printf %04d $((101 + i)))
              for name in shot render front v001 v002 shot_left shot_right; do
                cp made.000$i.exr $name.$number.exr
              done
              for name in shots/010/v001/comp shots/010/v002/comp; do
                mkdir -p ${name%/*}
                cp made.000$i.exr $name.$number.exr
              done
              kestrin made.000$i.exr --still_image --save_frame_as=back.$number.tga --save_frame_as=plate.$number.jpg \\
                  --exit=status
              cp back.$number.tga shot.$number.tga
            done
            printf 'LUT_1D_SIZE 2\\n0 0 0\\n1 1 1\\n' >film.cube
            cp film.cube show.cube
            mkdir renders
            cp back.01*.tga renders/
            printf '%s\\n' "$PWD/back.####.tga" "$PWD/front.####.exr --alpha=normal --mask_size=320,180" >comp.ksncmd
            cp comp.ksncmd shots/010/
            kestrin comp.ksncmd --save_composition_as=shot.ksncomp --exit=status""")
        if code != 0:
            sys.exit("run_docs.py: the inputs can't be made:\n" + out)

    def run(self, language, text):
        """The failure, or None."""
        # The usual port may be somebody's on this machine.
        text = re.sub(r"--http_start(?=\s)", f"--http_start={free_port()}", text)
        text = text.replace("/shots/", self.work + "/shots/").replace("/studio/", self.work + "/studio/")
        if language == "options":
            for line in text.splitlines():
                line = line.split("  #")[0].strip()
                if not line or line.startswith("#"):
                    continue
                code, out = self.shell("kestrin " + " ".join(f"'{name}'" for name in STACK) + " " + line)
                if code != 0 or out:
                    return f"{line}\n{out}(code {code})"
            return None
        if language == "console":
            for part in re.split(r"^\$ ", text, flags=re.M)[1:]:
                command, _, expected = part.partition("\n")
                code, out = self.shell(command)
                if code != 0 or out != expected:
                    return f"{command}\n{out}(code {code}; expected: {expected!r})"
            return None
        kept = []
        for line in text.splitlines():
            word = (line.split() or [""])[0]
            prefix = next((name for name in ELSEWHERE if word == name or name.endswith("/") and word.startswith(name)), None)
            if prefix is None or word == "./run":
                kept.append(re.sub(r"^\./run\b", "kestrin", line))
            elif prefix == "tools/" and not os.access(os.path.join(ROOT, word), os.X_OK):
                return f"{word} is no program"
            elif ELSEWHERE[prefix] and not os.access(os.path.join(ROOT, ELSEWHERE[prefix]), os.X_OK):
                return f"{word} is no program"
        code, out = self.shell("set -e\nset -o pipefail\n" + "\n".join(kept))
        errors = [line for line in out.splitlines() if line.startswith('"') and '": ' in line]
        if code != 0 or errors:
            return f"{text}{out}(code {code})"
        return None


def main():
    program = sys.argv[1]
    pages = ["README.md", "CONTRIBUTING.md"]
    pages += sorted("docs/" + name for name in os.listdir(os.path.join(ROOT, "docs")) if name.endswith(".md"))
    box = Box(program)
    count = failures = 0
    try:
        for page in pages:
            for line, language, text in blocks(os.path.join(ROOT, page)):
                where = f"{page}:{line}"
                if language == "indented":
                    failures += 1
                    print(f"{where}: a command outside of a block is run by nobody: {text.strip()}")
                elif language in ("sh", "options", "console"):
                    count += 1
                    failure = box.run(language, text)
                    if failure:
                        failures += 1
                        print(f"{where}: {failure}\n")
    finally:
        if "--keep" in sys.argv:
            print("kept in", box.folder)
        else:
            shutil.rmtree(box.folder, ignore_errors=True)
    print(f"{count} blocks, {failures} failures")
    return 1 if failures or not count else 0


if __name__ == "__main__":
    sys.exit(main())
