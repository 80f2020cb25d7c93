# scripts/lint/common.py: what the lint rules share: the project's files, and one way to report.
import pathlib
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]


def files(*patterns):
    """The project's files that fit a pattern, new ones included, as paths relative to its root."""
    command = ["git", "ls-files", "--cached", "--others", "--exclude-standard", "--", *patterns]
    names = subprocess.run(command, cwd=ROOT, capture_output=True, text=True, check=True).stdout.split("\n")
    return sorted(pathlib.Path(n) for n in set(names) if n and (ROOT / n).is_file())


def lines(path):
    return (ROOT / path).read_text().split("\n")


def report(rule, problems):
    """Prints the problems and ends the program: exit code 0 when there are none."""
    for problem in problems:
        print(f"{rule}: {problem}")
    sys.exit(1 if problems else 0)
