"""usage: llvm-cov export ... | coverage.py FOLDER...

Which lines and branches of the folders no test takes: prints a table, the marks in the sources and what is missing, and
fails when something is. A mark

  // not taken: REASON

excuses its line with the branches that begin there and, behind a '{' or a case, what that begins, if none of it is run.
A mark that excuses nothing is an error.
"""

import bisect
import collections
import json
import os
import re
import sys

MARK = re.compile(r"// not taken: +(\S.*)")
COMMENT = re.compile(r" *//")
LABEL = re.compile(r" *(case .*|default):( *//.*)?$")


def indentation(line):
    return len(line) - len(line.lstrip())


def lines_begun(lines, head):
    """The indices of the lines of the block that line head opens, or of the case that it begins."""
    begin = head + 1
    while COMMENT.match(lines[begin]) or (LABEL.match(lines[head]) and LABEL.match(lines[begin])):
        begin += 1
    end = begin
    while not lines[end] or indentation(lines[end]) >= indentation(lines[begin]):
        end += 1
    closes = lines[end].lstrip().startswith("}") and not lines[end].endswith("{") and not LABEL.match(lines[head])
    return range(head + 1, end + closes)


def read_marks(lines):
    """Of each mark its line, its reason, and the lines that it begins."""
    for head, line in enumerate(lines):
        mark = MARK.search(line)
        if mark:
            reason = mark[1]
            for more in lines[head + 1 :]:  # clang-format folds what is too long
                if not COMMENT.match(more) or indentation(more) != mark.start():
                    break
                reason += more.strip().removeprefix("//")
            begins = line[: mark.start()].rstrip().endswith(("{", ":"))
            yield head + 1, reason, {i + 1 for i in lines_begun(lines, head)} if begins else set()


def line_counts(segments):
    """How often each line of code was run, by the rules of 'llvm-cov show'."""
    by_line = collections.defaultdict(list)
    for line, _, *segment in segments:
        by_line[line].append(segment)
    counts, around = {}, []  # around: the count of the region in which the line begins
    for line in range(segments[0][0], segments[-1][0] + 1) if segments else ():
        here = by_line[line]
        begun = [count for count, counted, entry, gap in here if counted and entry and not gap]
        skipped = here and here[0][2] and not here[0][1]
        if not skipped and begun + around:
            counts[line] = max(begun + around)
        if here:
            around = here[-1][:1] if here[-1][1] else []
    return counts


def branch_directions(branches, segments):
    """Which directions each condition took in any of its instances. Constant ones, which take none where code is run,
    are left out."""
    taken = {}
    for place, (true, false, *_) in branches:
        before = taken.get(place, (False, False))
        taken[place] = (before[0] or true > 0, before[1] or false > 0)
    places = [tuple(segment[:2]) for segment in segments]
    is_run = lambda place: segments[bisect.bisect(places, place[:2]) - 1][2] > 0
    return {place: directions for place, directions in taken.items() if any(directions) or not is_run(place)}


def measure(path, report):
    """A row of the table (lines, those missing, branches, those missing), the marks, and texts of what is wrong."""
    with open(path, encoding="utf-8") as file:
        lines = file.read().split("\n")
    counts = line_counts(report["segments"])
    branches = [(tuple(branch[:4]), branch[4:]) for branch in report["branches"]]
    for macro in report["expansions"]:  # its conditions begin where it is used
        branches += [(tuple(macro["source_region"][:4] + branch[:4]), branch[4:]) for branch in macro["branches"]]
    branches = branch_directions(branches, report["segments"])
    missing_lines = {line for line, count in counts.items() if count == 0}
    missing_branches = []
    for (line, column, end_line, end_column, *_), directions in sorted(branches.items()):
        text = lines[line - 1][column - 1 : end_column - 1 if end_line == line else None]
        for value, taken in zip(("true", "false"), directions):
            if not taken:
                missing_branches.append((line, f"is never {value}: {text}"))
    gaps = missing_lines | {line for line, _ in missing_branches}
    marks = list(read_marks(lines))
    excused, wrong = set(), []
    for line, _, begun in marks:
        covers = {line} | (set() if any(counts.get(inside) for inside in begun) else begun)
        excused |= covers
        if not covers & gaps:
            wrong.append((line, "is marked as not taken, but is"))
    missing_lines -= excused
    missing_branches = [branch for branch in missing_branches if branch[0] not in excused]
    wrong += [(line, "is not run") for line in missing_lines] + missing_branches
    row = (sum(line not in excused for line in counts), len(missing_lines),
           sum(2 for place in branches if place[0] not in excused), len(missing_branches))
    return row, marks, sorted(wrong)


def per_cent(total, missing):
    return f"{total - missing:6} of {total:6} {100 * (total - missing) / max(total, 1):7.2f}"


def main():
    rooms, marks, wrong = collections.defaultdict(dict), [], []
    for report in json.load(sys.stdin)["data"][0]["files"]:
        path = os.path.relpath(report["filename"])
        if path.startswith(tuple(folder + "/" for folder in sys.argv[1:])):
            row, its_marks, its_wrong = measure(path, report)
            rooms[os.path.dirname(path)][path] = row
            marks += [f"{path}:{line} {reason}" for line, reason, _ in its_marks]
            wrong += [f"{path}:{line} {text}" for line, text in its_wrong]
    print(f"{'':40} {'lines':>16} {'%':>7} {'branches':>16} {'%':>7}")
    for room, files in sorted(rooms.items()):
        total = [sum(column) for column in zip(*files.values())]
        for name, row in [(room, total)] + [("  " + path, row) for path, row in files.items() if row[1] or row[3]]:
            print(f"{name:40} {per_cent(*row[:2])} {per_cent(*row[2:])}")
    print(f"\n{len(marks)} marks of what no test takes", *marks, sep="\n")
    if wrong:
        print(f"\n{len(wrong)} lines and branches are missing", *wrong, sep="\n")
        sys.exit(1)


main()
