#!/usr/bin/python3
"""Records a story in a terminal and draws it as a moving picture:
record.py STORY RUN OUT.svg [FILE KEPT]...

The lines of STORY run one after the other in a folder of their own, where ./run leads to RUN, and print what they
print. FILE of that folder is copied to KEPT. Waits are cut: a line of output takes a moment, and each command stays for
as long as its output takes to read.
"""
import os
import pty
import re
import shutil
import sys
import tempfile
from html import escape

import pyte

COLUMNS, ROWS, LINES = 80, 24, 4000
WIDE, HIGH, EDGE = 8.43, 18, 14  # of a character, of a line, around all, in pixels
COLOURS = {"default": "#d8dee9", "red": "#ff7b72", "green": "#7ee787", "brown": "#e3b341", "yellow": "#e3b341",
           "blue": "#79c0ff", "magenta": "#d2a8ff", "cyan": "#76e3ea"}


def commands(story):
    """What is typed, and what the story says of it; its first line only leads to the folder."""
    with open(story, encoding="utf-8") as file:
        block = re.search(r"^```\n(.*?)^```$", file.read(), re.M | re.S).group(1)
    for line in block.splitlines()[1:]:
        text, _, comment = line.partition(" # ")
        yield text.rstrip().replace("$run", "./run"), comment


class Recorder:
    def __init__(self, run):
        self.screen = pyte.Screen(COLUMNS, LINES)
        self.stream = pyte.ByteStream(self.screen)
        self.shown = []  # seconds, and the lines that are there by then
        self.time = 0
        self.place = tempfile.mkdtemp()
        with open(os.path.join(self.place, "run"), "w", encoding="utf-8") as file:
            file.write(f'#!/bin/sh\nexec "{os.path.realpath(run)}" "$@"\n')
        os.chmod(os.path.join(self.place, "run"), 0o755)
        self.set = ""  # the variables that the story gives values

    def show(self, seconds):
        """Lets what is on the screen stay for a while."""
        assert self.screen.cursor.y < LINES - 1, "the story is too long"
        self.shown.append((self.time, self.screen.cursor.y))
        self.time += seconds

    def run(self, text, comment):
        wanted = re.search(r"\(exit code (\d)\)", comment)
        said = re.search(r'"(.*)"', comment)
        self.stream.feed(f"\033[36m# {comment}\033[0m\r\n".encode() if comment else b"")
        self.stream.feed(f"\033[32m$\033[0m {text}\r\n".encode())
        self.show(1.5)
        if re.fullmatch(r'\w+="[^"]*"', text):
            self.set += text + "\n"
            return
        output, code = self.in_terminal(self.set + text)
        assert code == int(wanted.group(1) if wanted else 0), (text, code, output)
        assert not said or said.group(1).encode() in output, (text, output)
        # What ./run says of its own, as that it builds, is no part of the story.
        lines = [line for line in output.splitlines(keepends=True) if not line.startswith(b"==> ")]
        for line in lines:
            self.stream.feed(line)
            self.show(0.05)
        self.time += min(1 + 0.15 * len(lines), 5)

    def in_terminal(self, script):
        """What the shell prints there, and its exit code; no path of this machine is in it."""
        child, terminal = pty.fork()
        if child == 0:
            os.chdir(self.place)
            os.environ.update(TERM="xterm", COLUMNS=str(COLUMNS), LINES=str(ROWS))
            os.execvp("sh", ["sh", "-c", f"stty cols {COLUMNS} rows {ROWS}\n{script}"])
        output = b""
        try:
            while part := os.read(terminal, 65536):
                output += part
        except OSError:  # how a terminal says that nobody writes to it any more
            pass
        os.close(terminal)
        code = os.waitstatus_to_exitcode(os.waitpid(child, 0)[1])
        return output.replace(self.place.encode(), b"/tmp/story"), code


def row(line, number):
    """A line of text, in pieces of one colour."""
    pieces = []
    for column in range(COLUMNS):
        char = line[column]
        if pieces and pieces[-1][1:] == (char.fg, char.bold):
            pieces[-1] = (pieces[-1][0] + char.data, char.fg, char.bold)
        else:
            pieces.append((char.data, char.fg, char.bold))
    if not "".join(piece[0] for piece in pieces).strip():
        return ""
    column, spans = 0, ""
    for text, colour, bold in pieces:
        if text.strip():
            weight = ' font-weight="bold"' if bold else ""
            fill = COLOURS.get(colour, COLOURS["default"])
            spans += f'<tspan x="{column * WIDE:.1f}" fill="{fill}"{weight}>{escape(text.rstrip())}</tspan>'
        column += len(text)
    return f'<text y="{(number + 1) * HIGH - 5}">{spans}</text>\n'


def picture(recorder, title):
    width, height = COLUMNS * WIDE + 2 * EDGE, ROWS * HIGH + 2 * EDGE
    end = recorder.time + 4
    moves = {}
    for time, lines in recorder.shown:
        moves[f"{100 * time / end:.2f}"] = max(lines - ROWS, 0), lines
    last = recorder.shown[-1][1]
    scroll = "".join(f"{at}%{{transform:translateY({-top * HIGH}px)}}" for at, (top, _) in moves.items())
    # What is not there yet is covered, and the cover goes down with each line.
    cover = "".join(f"{at}%{{transform:translateY({lines * HIGH}px)}}" for at, (_, lines) in moves.items())
    rest = -max(last - ROWS, 0) * HIGH
    text = "".join(row(recorder.screen.buffer[number], number) for number in range(last))
    return f"""<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width:.0f} {height}" width="{width:.0f}" role="img">
<title>{escape(title)}</title>
<style>
text{{font:14px "DejaVu Sans Mono",Menlo,Consolas,monospace;white-space:pre}}
.scroll{{transform:translateY({rest}px);animation:scroll {end:.1f}s step-end infinite}}
.cover{{transform:translateY({last * HIGH}px);animation:cover {end:.1f}s step-end infinite}}
@keyframes scroll{{{scroll}100%{{transform:translateY({rest}px)}}}}
@keyframes cover{{{cover}100%{{transform:translateY({last * HIGH}px)}}}}
@media (prefers-reduced-motion:reduce){{.scroll,.cover{{animation:none}}}}
</style>
<rect width="100%" height="100%" rx="8" fill="#161b22"/>
<svg x="{EDGE}" y="{EDGE}" width="{COLUMNS * WIDE:.0f}" height="{ROWS * HIGH}">
<g class="scroll">
{text}<rect class="cover" width="100%" height="{max(last, ROWS) * HIGH}" fill="#161b22"/>
</g>
</svg>
</svg>
"""


def main():
    story, run, out = sys.argv[1:4]
    recorder = Recorder(run)
    try:
        for text, comment in commands(story):
            recorder.run(text, comment)
        for name, kept in zip(sys.argv[4::2], sys.argv[5::2]):
            shutil.copyfile(os.path.join(recorder.place, name), kept)
    finally:
        shutil.rmtree(recorder.place)
    with open(story, encoding="utf-8") as file:
        title = file.readline().lstrip("# ").strip()
    with open(out, "w", encoding="utf-8") as file:
        file.write(picture(recorder, title))


if __name__ == "__main__":
    main()
