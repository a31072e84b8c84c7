"""What the measuring scripts share: running commands, medians, and the table of goals."""

import dataclasses
import json
import statistics
import subprocess
import sys


@dataclasses.dataclass
class Row:
    """One figure. `goal` is the most it may be; None for a figure that only explains another."""

    what: str
    measured: float
    goal: float | None = None
    unit: str = ""

    def met(self):
        return self.goal is None or self.measured <= self.goal


def run(command, **options):
    """Runs a command that must succeed, and returns its result with both outputs as text."""
    result = subprocess.run(command, text=True, capture_output=True, check=False, **options)
    if result.returncode != 0:
        sys.exit(f"{' '.join(map(str, command))} gave status {result.returncode}:\n{result.stderr}")
    return result


def medians(rounds, measures):
    """Takes each of the measures once per round, in turns, and returns the median of each."""
    taken = [[measure() for measure in measures] for _ in range(rounds)]
    return [statistics.median(values) for values in zip(*taken)]


def number(value, unit):
    text = f"{value:,.0f}" if float(value).is_integer() else f"{value:,.3f}"
    return f"{text} {unit}".rstrip()


def print_table(rows):
    """Prints the rows and returns whether every goal is met."""
    lines = [("", "goal", "measured", "met")]
    for row in rows:
        goal = "" if row.goal is None else f"<= {number(row.goal, row.unit)}"
        met = "" if row.goal is None else "yes" if row.met() else "NO"
        lines.append((row.what, goal, number(row.measured, row.unit), met))
    widths = [max(len(line[column]) for line in lines) for column in range(4)]
    for what, goal, measured, met in lines:
        print(f"{what:<{widths[0]}}  {goal:>{widths[1]}}  {measured:>{widths[2]}}  {met}".rstrip())
    return all(row.met() for row in rows)


def finish(rows, as_json):
    """Ends a measuring script: rows for another script, or a table for a reader."""
    if as_json:
        print(json.dumps([dataclasses.asdict(row) for row in rows]))
        return 0
    return 0 if print_table(rows) else 1
