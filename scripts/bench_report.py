"""Runs the benchmark programs of a build on one core and reports how each export stands beside its peer.

The programs name their benchmarks <family>/<work>/<data>/<runner> (bench/race.h): the runner is "ours", "peer:<name>",
an independent function that does the same work, or "bound:<name>", what the work cannot beat ("bound:memcpy") or ought
to beat ("bound:model", the plain scalar loop). The label of a benchmark is the unit of its items.
"""

import argparse
import collections
import datetime
import html
import json
import math
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import time

REPETITIONS = 5
BUDGET = float(os.environ.get("QLMJP_BENCH_SECONDS", "240"))  # for all measurements
LONGEST = 0.1  # seconds for one repetition, where the budget has room
ON_ALL_CORES = {"bench_threads"}  # race two threads against one
BEGIN, END = "<!-- speed: written by scripts/bench -->", "<!-- end of speed -->"

# Speed in items a second by runner, for one work on one kind of data.
Race = collections.namedtuple("Race", "family work data unit speeds")


def parse_name(name):
    """Splits the name of a benchmark.

    >>> parse_name("jpeg.huffman/qlmiX_JPEG/q75/peer:libjpeg-turbo scan")
    ('jpeg.huffman', 'qlmiX_JPEG', 'q75', 'peer:libjpeg-turbo scan')
    >>> parse_name("BM_anything")
    """
    parts = name.split("/", 3)
    if len(parts) < 4 or not re.match(r"ours$|peer:|bound:", parts[3]):
        return None
    return tuple(parts)


def collect(names, runs):
    """Gathers races from runs as Google Benchmark writes them, with the best of all repetitions, in the order of names.

    >>> run = lambda runner, speed, kind="iteration": {"run_name": "f/w/L1/" + runner, "run_type": kind,
    ...                                                "items_per_second": speed, "label": "pixel"}
    >>> runs = [run("ours", 4e9), run("ours", 5e9), run("peer:p", 2e9), run("ours", 9e9, "aggregate")]
    >>> races = collect(["f/w/L1/ours", "f/w/L1/peer:p"], runs)
    >>> races[0].speeds == {"ours": 5e9, "peer:p": 2e9}, races[0].unit
    (True, 'pixel')
    """
    # Repetitions are interleaved at random, so the order of the runs says nothing.
    races = {parts[:3]: Race(*parts[:3], "", {}) for parts in map(parse_name, names) if parts}
    for run in runs:
        parts = parse_name(run.get("run_name", ""))
        if not parts or run.get("run_type") != "iteration" or "items_per_second" not in run:
            continue
        race = races[parts[:3]]
        race.speeds[parts[3]] = max(run["items_per_second"], race.speeds.get(parts[3], 0))
        races[parts[:3]] = race._replace(unit=run.get("label") or "item")
    return [race for race in races.values() if "ours" in race.speeds]


def best(race, kind):
    """The fastest runner of a kind as (name, speed), or None.

    >>> best(Race("f", "w", "L1", "pixel", {"ours": 3, "peer:a": 1, "peer:b": 2}), "peer")
    ('b', 2)
    """
    found = [(speed, name.partition(":")[2]) for name, speed in race.speeds.items() if name.startswith(kind + ":")]
    return max(found)[::-1] if found else None


def ratio(race, kind="peer"):
    """Our speed by that of the fastest runner of a kind, or None.

    >>> ratio(Race("f", "w", "L1", "pixel", {"ours": 3, "peer:b": 2}))
    1.5
    """
    other = best(race, kind)
    return race.speeds["ours"] / other[1] if other else None


def falls_short(race):
    """Whether a race is lost: slower than the peer or, where there is none, than the plain model.

    >>> falls_short(Race("f", "w", "L1", "pixel", {"ours": 1, "peer:b": 2}))
    True
    >>> falls_short(Race("f", "w", "L1", "pixel", {"ours": 1, "bound:memcpy": 2}))
    False
    >>> falls_short(Race("f", "w", "L1", "pixel", {"ours": 1, "bound:model": 2}))
    True
    """
    if best(race, "peer"):
        return ratio(race) < 1
    bound = best(race, "bound")
    return bool(bound) and bound[0].startswith("model") and ratio(race, "bound") < 1


def significant(value):
    """Three significant digits, without an exponent.

    >>> [significant(v) for v in (0.0123, 0.5, 12.34, 1234.5)]
    ['0.0123', '0.500', '12.3', '1234']
    """
    digits = 2 - math.floor(math.log10(value)) if value > 0 else 2
    return f"{value:.{max(0, digits)}f}"


def speed_text(speed):
    """Items a second with a unit prefix.

    >>> speed_text(3.21e9), speed_text(45e6), speed_text(900)
    ('3.21 G', '45.0 M', '900')
    """
    for limit, prefix in ((1e9, " G"), (1e6, " M"), (1e3, " k")):
        if speed >= limit:
            return significant(speed / limit) + prefix
    return significant(speed)


def mean(ratios):
    """The geometric mean.

    >>> round(mean([0.5, 2.0, 8.0]), 9)
    2.0
    """
    return math.exp(sum(map(math.log, ratios)) / len(ratios))


def by_family(races):
    """Races in groups, in the order of their names; the data keeps the order of the run."""
    families = collections.defaultdict(list)
    for race in sorted(races, key=lambda race: (race.family, race.work)):
        families[race.family].append(race)
    return families


def summary_table(races):
    """A line a family: how many races, and the ratios to the peers.

    >>> race = Race("jpeg.x", "w", "L1", "pixel", {"ours": 3.0, "peer:b": 2.0})
    >>> print("\\n".join(summary_table([race])[2:]))
    | jpeg.x | b | 1 | **1.50** | 1.50 | 1 |
    """
    lines = ["| Family | Peer | Races | Mean ratio | Lowest | Won |", "|---|---|--:|--:|--:|--:|"]
    for family, members in by_family(races).items():
        ratios = [ratio(race) for race in members if best(race, "peer")]
        if not ratios:
            continue
        peers = sorted({re.split(r"[ _]", best(race, "peer")[0])[0] for race in members if best(race, "peer")})
        won = sum(r >= 1 for r in ratios)
        lines.append(f"| {family} | {', '.join(peers)} | {len(ratios)} | **{mean(ratios):.2f}** | {min(ratios):.2f} "
                     f"| {won} |")
    return lines


def short_list(races):
    """What falls short of 1, the worst first."""
    lost = [(ratio(race) or ratio(race, "bound"), race) for race in races if falls_short(race)]
    lines = []
    for value, race in sorted(lost, key=lambda pair: pair[0]):
        name = (best(race, "peer") or best(race, "bound"))[0]
        lines.append(f"- {value:.2f} `{race.work}`, {race.data}, against {name}")
    return lines


def markdown(races, machine):
    """The text of docs/performance.md."""
    lost = short_list(races)
    raced = [race for race in races if best(race, "peer")]
    lines = ["# Performance", "",
             f"Measured on {machine['date']} on one core of {machine['processor']}, {machine['system']}, compiled by "
             f"{machine['compiler']}. `scripts/bench` writes this page, the plot and the table in the README from "
             "one run.", "",
             "Each export does its work beside a peer, an independent function for the same work, in the same process "
             "on the same data. The ratio is our speed by that of the fastest peer: above 1 we are faster. The bound "
             "is what the work cannot beat, such as `memcpy` of the same bytes, or, where there is no peer, the "
             "plain scalar model compiled with the same flags, which it ought to beat; the share is our speed by that "
             "of the bound. The family `threads` runs on two cores; its bound is one thread, and a share of 2 the most "
             "that it can reach. A time is the best of "
             f"{REPETITIONS} repetitions. L1, L2 and memory say where the data lies.", "",
             f"{len(races)} works are measured, {len(raced)} of them beside a peer; {len(lost)} fall short of 1, "
             "marked ▼.", "", "![Ratios to the peers](performance.svg)", "", *summary_table(races), "",
             "## What falls short of 1", "", *(lost or ["Nothing."])]
    for family, members in by_family(races).items():
        lines += ["", f"## {family}", "",
                  "| Work | Data | Ours, ns | Items/s | Peer | Peer, ns | Ratio | Bound | Share |",
                  "|---|---|--:|--:|---|--:|--:|---|--:|"]
        for race in members:
            ours, peer, bound = race.speeds["ours"], best(race, "peer"), best(race, "bound")
            mark = " ▼" if falls_short(race) else ""
            cells = [f"`{race.work}`", race.data, f"{significant(1e9 / ours)} a {race.unit}", speed_text(ours)]
            cells += [peer[0], significant(1e9 / peer[1]), f"**{ratio(race):.2f}**{mark}"] if peer else ["", "", ""]
            cells += [bound[0], f"{ratio(race, 'bound'):.2f}{'' if peer else mark}"] if bound else ["", ""]
            lines.append("| " + " | ".join(cells) + " |")
    return "\n".join(lines) + "\n"


STYLE = """
.card { fill: #fff; } .grid { stroke: #e3e0d9; } .one { stroke: #1d1c1a; stroke-width: 1.5; }
.won { fill: #1f6fb2; } .lost { fill: #c4411a; } .range { stroke: #b9c9d8; stroke-width: 3; stroke-linecap: round; }
text { font: 12px system-ui, 'DejaVu Sans', sans-serif; fill: #1d1c1a; } .soft { fill: #6a675f; }
.head { font-weight: 600; font-size: 14px; } .title { font-weight: 600; font-size: 17px; }
@media (prefers-color-scheme: dark) {
.card { fill: #1e2023; } .grid { stroke: #383b40; } .one { stroke: #e9e7e2; } .won { fill: #6db3ee; }
.lost { fill: #ff9a70; } .range { stroke: #43566a; } text { fill: #e9e7e2; } .soft { fill: #a19e96; } }
"""


def svg(races, machine):
    """The plot: a row an export, a dot a kind of data, on a logarithmic axis of the ratio to the peer."""
    raced = [race for race in races if best(race, "peer")]
    ratios = [ratio(race) for race in raced] or [1.0]
    low = 2.0 ** math.floor(math.log2(min(ratios + [0.5])))
    high = 2.0 ** math.ceil(math.log2(max(ratios + [2.0])))
    left, right, top, row, head = 400, 90, 92, 19, 34
    width = 1000

    def place(value):
        return left + (width - left - right) * math.log2(value / low) / math.log2(high / low)

    body, y = [], top
    for family, members in by_family(raced).items():
        y += head
        body.append(f'<text class="head" x="20" y="{y - 8}">{html.escape(family)}</text>')
        works = collections.defaultdict(list)
        for race in members:
            works[race.work].append(race)
        for work, entries in works.items():
            values = [ratio(race) for race in entries]
            middle = y + row / 2
            body.append(f'<text x="{left - 16}" y="{middle + 4}" text-anchor="end">{html.escape(work)}</text>')
            body.append(f'<path class="range" d="M{place(min(values)):.1f} {middle}H{place(max(values)):.1f}"/>')
            for race, value in zip(entries, values):
                kind = "won" if value >= 1 else "lost"
                body.append(f'<circle class="{kind}" cx="{place(value):.1f}" cy="{middle}" r="4.5"><title>'
                            f'{html.escape(work)}, {html.escape(race.data)}: {value:.2f}</title></circle>')
            body.append(f'<text class="soft" x="{width - 14}" y="{middle + 4}" text-anchor="end">'
                        f'{mean(values):.2f}</text>')
            y += row
    height = y + 34
    axis = []
    for power in range(round(math.log2(low)), round(math.log2(high)) + 1):
        value = 2.0 ** power
        axis.append(f'<path class="{"one" if power == 0 else "grid"}" d="M{place(value):.1f} {top}V{height - 26}"/>')
        for at in (top - 8, height - 8):
            axis.append(f'<text class="soft" x="{place(value):.1f}" y="{at}" text-anchor="middle">{value:g}</text>')
    subtitle = f"{machine['processor']}, one core, {machine['date']}. A dot is one kind of data; right of 1 qlmjp is faster."
    return "\n".join([
        f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width} {height}" width="{width}" height="{height}">',
        f"<style>{STYLE}</style>", f'<rect class="card" width="{width}" height="{height}" rx="8"/>',
        '<text class="title" x="20" y="32">Speed against the fastest peer</text>',
        f'<text class="soft" x="20" y="54">{html.escape(subtitle)}</text>',
        f'<text class="soft" x="{width - 14}" y="{top - 8}" text-anchor="end">mean</text>',
        *axis, *body, "</svg>"]) + "\n"


def with_block(text, lines):
    """The text with its lines between the markers replaced.

    >>> with_block(f"a\\n{BEGIN}\\nold\\n{END}\\nb\\n", ["new"]) == f"a\\n{BEGIN}\\nnew\\n{END}\\nb\\n"
    True
    """
    before, begin, rest = text.partition(BEGIN)
    _, end, after = rest.partition(END)
    if not begin or not end:
        raise ValueError("the markers of the speed table are missing")
    return "\n".join([before + BEGIN, *lines, END]) + after


def plain_table(races):
    """The same figures for a terminal."""
    lines = []
    for family, members in by_family(races).items():
        lines.append(f"\n{family}")
        for race in members:
            peer, bound = best(race, "peer"), best(race, "bound")
            ours = f"{significant(1e9 / race.speeds['ours'])} ns/{race.unit}"
            text = f"  {race.work:50} {race.data:12} {ours:>18}"
            text += f"  {ratio(race):6.2f} x {peer[0]}" if peer else ""
            text += f"  {ratio(race, 'bound'):6.2f} of {bound[0]}" if bound else ""
            lines.append(text + ("   <- falls short" if falls_short(race) else ""))
    return "\n".join(lines)


def about_machine(build):
    """Processor, system, compiler and date."""
    info = pathlib.Path("/proc/cpuinfo").read_text()
    model = re.search(r"model name\s*:\s*(.*)", info)
    release = re.search(r'PRETTY_NAME="(.*)"', pathlib.Path("/etc/os-release").read_text())
    cache = (build / "CMakeCache.txt").read_text()
    compiler = re.search(r"CMAKE_CXX_COMPILER:\w+=(.*)", cache).group(1)
    version = subprocess.run([compiler, "--version"], capture_output=True, text=True, check=True).stdout.splitlines()[0]
    return {"processor": model.group(1) if model else "an unknown processor",
            "system": release.group(1) if release else "Linux", "compiler": version,
            "date": datetime.date.today().isoformat()}


def run_programs(build, pattern):
    """Runs the benchmark programs, on one core but for those of several threads, within the budget, and returns the names
    of the benchmarks and their runs."""
    all_cores = os.sched_getaffinity(0)
    core = max(all_cores)
    os.sched_setaffinity(0, {core})
    wanted = ["--benchmark_filter=" + (pattern or ".")]
    programs = []
    for program in sorted((build / "bin").glob("bench_*")):
        listed = subprocess.run([program, "--benchmark_list_tests", *wanted], capture_output=True, text=True)
        if listed.returncode or (listed.stderr and "Failed to match" not in listed.stderr):
            print(f"{program.name}: {listed.stderr.strip() or 'failed'}", file=sys.stderr)
        names = [line for line in listed.stdout.splitlines() if parse_name(line)]
        if names:
            programs.append((program, names))
    total = sum(len(names) for _, names in programs)
    if not total:
        sys.exit(f"No benchmark matches {pattern!r}.")
    # A benchmark takes about twice its minimum, as it is tried out first.
    each = min(LONGEST, BUDGET / (2 * REPETITIONS * total))
    print(f"{total} benchmarks in {len(programs)} programs on core {core}, {REPETITIONS} repetitions of "
          f"{1e3 * each:.0f} ms or more", flush=True)
    runs = []
    for number, (program, names) in enumerate(programs, 1):
        print(f"[{number}/{len(programs)}] {program.name}: {len(names)} benchmarks ...", end="", flush=True)
        start = time.monotonic()
        os.sched_setaffinity(0, all_cores if program.name in ON_ALL_CORES else {core})
        with tempfile.NamedTemporaryFile("r", suffix=".json") as out:
            done = subprocess.run(
                [program, *wanted, f"--benchmark_out={out.name}", f"--benchmark_min_time={each:.4f}",
                 f"--benchmark_repetitions={REPETITIONS}", "--benchmark_enable_random_interleaving=true"],
                stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)
            if done.returncode:
                sys.exit(f" failed\n{done.stderr}")
            runs += json.load(out)["benchmarks"]
        print(f" {time.monotonic() - start:.0f} s", flush=True)
    return [name for _, names in programs for name in names], runs


def main():
    parser = argparse.ArgumentParser(description="Runs the benchmarks of a build and reports.")
    parser.add_argument("filter", nargs="?", help="regular expression on <family>/<work>/<data>/<runner>")
    parser.add_argument("--write", action="store_true", help="write the documents although there is a filter")
    parser.add_argument("--build", type=pathlib.Path, default=pathlib.Path("build/release"), help="build folder")
    parser.add_argument("--root", type=pathlib.Path, default=pathlib.Path(__file__).resolve().parent.parent,
                        help="folder that holds docs/ and README.md")
    options = parser.parse_args()
    races = collect(*run_programs(options.build, options.filter))
    print(plain_table(races))
    lost = short_list(races)
    print("\n" + "\n".join(["Falls short of 1:", *lost] if lost else ["Nothing falls short of 1."]))
    if options.filter and not options.write:
        return
    machine = about_machine(options.build)
    (options.root / "docs" / "performance.md").write_text(markdown(races, machine))
    (options.root / "docs" / "performance.svg").write_text(svg(races, machine))
    readme = options.root / "README.md"
    readme.write_text(with_block(readme.read_text(), summary_table(races)))
    print("\nWritten: docs/performance.md, docs/performance.svg, the table in README.md")


if __name__ == "__main__":
    main()
