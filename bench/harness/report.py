"""The figures as a table on the terminal, as Markdown and as a plot."""

import os
import platform
import statistics
from dataclasses import dataclass
from pathlib import Path

OURS = "qlnsmtpd"


@dataclass
class Row:
    """One server under one workload, over all rounds."""

    workload: object
    name: str
    title: str
    results: list        # one per round, None where the round had to be left out
    note: str = ""

    @property
    def good(self) -> list:
        return [r for r in self.results if r and r.cpu > 0 and r.stored > 0]

    def unit_count(self, result) -> float:
        """Messages, or megabytes of bodies."""
        scale = self.workload.body / 1e6 if self.workload.in_megabytes else 1
        return result.stored * scale

    def rates(self) -> list:
        return [self.unit_count(r) / r.seconds for r in self.good]

    def costs(self) -> list:
        """Server CPU in milliseconds per message, or per megabyte."""
        return [r.cpu * 1000 / self.unit_count(r) for r in self.good]

    def ratios(self, ours) -> list:
        """Our cost under theirs, round by round."""
        pairs = zip(self.results, ours.results)
        return [(mine.cpu / self.unit_count(mine)) / (base.cpu / ours.unit_count(base))
                for mine, base in pairs
                if mine and base and mine.cpu and base.cpu and mine.stored and base.stored]


@dataclass
class Figure:
    """One figure beside the table."""

    what: str
    value: str
    remark: str = ""
    bound: str = ""
    missed: bool = False

    def limit(self, bound: str, kept: bool):
        """States what the figure must stay within, and whether it does."""
        self.bound, self.missed = bound, not kept
        return self

    def text(self) -> str:
        bound = f" (at most {self.bound}{': MISSED' if self.missed else ''})" if self.bound else ""
        return f"{self.what}: {self.value}{bound}{'; ' + self.remark if self.remark else ''}"


@dataclass
class Calls:
    """A server's system calls per message under one workload."""

    title: str
    workload: str
    calls: dict

    @property
    def total(self) -> float:
        return sum(self.calls.values())

    def text(self) -> str:
        names = sorted(self.calls.items(), key=lambda item: -item[1])
        listed = ", ".join(f"{name} {count:.2f}" for name, count in names if count >= 0.01)
        return f"{self.title}, {self.workload}: {self.total:.1f} system calls a message: {listed}"


HEADINGS = ("server", "rate", "CPU", "spread", "ratio to ours", "spread", "peak MB", "failed",
            "longest pause")


def number(value: float) -> str:
    if value >= 100:
        return f"{value:,.0f}"
    return f"{value:.1f}" if value >= 10 else f"{value:.3g}"


def spread(values: list) -> str:
    return f"{number(min(values))} to {number(max(values))}" if values else ""


def cells(row: Row, ours) -> list:
    if not row.good:
        return [row.title, row.note or "no run succeeded", "", "", "", "", "", "", ""]
    ratios = row.ratios(ours) if ours and ours.good else []
    failed = sum(r.failures for r in row.results if r)
    pause = max(r.pause for r in row.good)
    return [row.title, number(statistics.median(row.rates())) + "/s",
            number(statistics.median(row.costs())) + " ms", spread(row.costs()),
            f"{statistics.median(ratios):.2f}" if ratios else "-", spread(ratios),
            number(max(r.memory for r in row.good) / 1e6), str(failed),
            f"{pause:.1f} s" if pause >= 0.5 else "-"]


def units(workload) -> str:
    return "megabytes" if workload.in_megabytes else "messages"


def by_workload(rows: list) -> list:
    """(workload, our row or None, all rows) for each workload in order."""
    groups = []
    for row in rows:
        if not groups or groups[-1][0] is not row.workload:
            groups.append((row.workload, [], []))
        groups[-1][2].append(row)
        if row.name == OURS:
            groups[-1][1].append(row)
    return [(workload, ours[0] if ours else None, members) for workload, ours, members in groups]


def text_table(rows: list) -> str:
    out = []
    for workload, ours, members in by_workload(rows):
        table = [list(HEADINGS)] + [cells(row, ours) for row in members]
        widths = [max(len(line[i]) for line in table if i == 0 or any(line[2:]))
                  for i in range(len(HEADINGS))]
        out.append(f"\n{workload.name}: {workload.title} ({units(workload)})")
        for line in table:
            if not any(line[2:]):  # a reason in place of figures
                out.append(f"{line[0].ljust(widths[0])}  {line[1]}")
                continue
            out.append("  ".join(text.ljust(width) if i == 0 else text.rjust(width)
                                 for i, (text, width) in enumerate(zip(line, widths))))
    return "\n".join(out)


def markdown_table(rows: list) -> str:
    out = []
    for workload, ours, members in by_workload(rows):
        out += ["", f"**{workload.name}**: {workload.title}. Rate in {units(workload)}, "
                    f"CPU per {units(workload)[:-1]}.", "",
                "| " + " | ".join(HEADINGS) + " |", "|---" + "|---:" * (len(HEADINGS) - 1) + "|"]
        out += ["| " + " | ".join(cells(row, ours)) + " |" for row in members]
    return "\n".join(out) + "\n"


def markdown_figures(figures: list) -> str:
    out = ["| what | measured | at most | remark |", "|---|---:|---:|---|"]
    out += [f"| {f.what} | {f.value}{' (missed)' if f.missed else ''} | {f.bound} | {f.remark} |"
            for f in figures]
    return "\n".join(out) + "\n"


def markdown_calls(columns: list) -> str:
    """System calls per message, a column per server and workload."""
    names = sorted({name for c in columns for name, count in c.calls.items() if count >= 0.01},
                   key=lambda name: -columns[0].calls.get(name, 0))
    out = ["| system call | " + " | ".join(f"{c.title}, {c.workload}" for c in columns) + " |",
           "|---" + "|---:" * len(columns) + "|"]
    for name in names:
        counts = [c.calls.get(name, 0) for c in columns]
        out.append(f"| {name} | " + " | ".join(f"{n:.2f}" if n >= 0.005 else "" for n in counts)
                   + " |")
    out.append("| all | " + " | ".join(f"{c.total:.1f}" for c in columns) + " |")
    return "\n".join(out) + "\n"


def machine() -> str:
    model = "unknown processor"
    for line in Path("/proc/cpuinfo").read_text().splitlines():
        if line.startswith("model name"):
            model = line.split(":", 1)[1].strip()
            break
    return f"{os.cpu_count()} cores ({model}), Linux {platform.release()}"


def replace_between(path: Path, marker: str, text: str) -> None:
    """Puts text between <!-- marker --> and <!-- /marker --> of a Markdown file."""
    begin, end = f"<!-- {marker} -->", f"<!-- /{marker} -->"
    document = path.read_text()
    before, rest = document.split(begin, 1)
    after = rest.split(end, 1)[1]
    path.write_text(f"{before}{begin}\n{text.strip()}\n{end}{after}")


# The plot: a panel per workload, a bar per server, CPU on a scale of powers of ten.
PANEL, BAR, LABELS, BARS, RIGHT = 24, 19, 170, 430, 80
LOW, HIGH = 0.01, 100.0  # milliseconds


def svg_plot(rows: list) -> str:
    import math

    def across(value: float) -> float:
        place = math.log10(min(max(value, LOW), HIGH) / LOW) / math.log10(HIGH / LOW)
        return LABELS + place * BARS

    y, marks = 42, []
    for workload, _, members in by_workload(rows):
        y += PANEL
        marks.append(f'<text class="t" x="10" y="{y - 6}">{workload.name}: {workload.title}, '
                     f'ms per {units(workload)[:-1]}</text>')
        for row in members:
            if row.good:
                costs = row.costs()
                middle = statistics.median(costs)
                kind = "ours" if row.name == OURS else "peer"
                marks.append(f'<rect class="{kind}" x="{LABELS}" y="{y}" height="{BAR - 6}" '
                             f'width="{across(middle) - LABELS:.1f}"/>')
                marks.append(f'<path class="s" d="M{across(min(costs)):.1f} {y + 6.5}'
                             f'H{across(max(costs)):.1f}"/>')
                value = number(middle)
            else:
                middle, value = LOW, "no figure"
            marks.append(f'<text class="l" x="{LABELS - 8}" y="{y + 11}">{row.title}</text>')
            marks.append(f'<text x="{across(max(row.costs() or [middle])) + 6:.1f}" '
                         f'y="{y + 11}">{value}</text>')
            y += BAR
        y += 14
    grid = []
    for power in range(-2, 3):
        x = across(10.0 ** power)
        grid.append(f'<path class="g" d="M{x:.1f} 44V{y - 8}"/>'
                    f'<text class="a" x="{x:.1f}" y="{y + 6}">{10.0 ** power:g} ms</text>')
    width, height = LABELS + BARS + RIGHT, y + 16
    style = ("text{font:12px sans-serif;fill:#222}.t{font-weight:bold}.l{text-anchor:end}"
             ".a{text-anchor:middle;fill:#666}.ours{fill:#c2410c}.peer{fill:#7c8ba1}"
             ".g{stroke:#ddd}.s{stroke:#111;stroke-width:1.5}")
    return (f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width} {height}" '
            f'width="{width}" height="{height}"><style>{style}</style>'
            f'<rect width="{width}" height="{height}" fill="#fff"/>'
            '<text class="t" x="10" y="22">Server CPU, median and spread of the rounds '
            '(shorter is better, scale of powers of ten)</text>'
            + "".join(grid) + "".join(marks) + "</svg>\n")
