"""Measures the tool, its peers and the floor, and writes docs/performance.md with its two plots.

The floor of an install is a bare C program that writes the same files and makes them durable; that
of a list is the smallest program on the tool's own framework. All that one table row or plot shows
is timed in turns with nothing else.
"""

import os
import subprocess

import peers
import timing

PAYLOAD = (200, 10_000)
INSTALL_SIZES = (1, 10, 100, 1000)
LIST_SIZES = (1, 100, 1000)
FLOOR = "floor"


class Performance:
    def __init__(self, build, runs, folder, content):
        self.build = build
        self.runs = runs
        self.folder = folder
        self.content = content
        self.sides = [peers.Tavik(folder, content, build)]
        self.sides += [peer(folder, content) for peer in peers.PEERS if peer.is_here()]
        self.environment = dict(os.environ)
        for side in self.sides:
            self.environment.update(side.environment)

    def medians(self, commands, shell="sh", times=1):
        """Milliseconds by name, for commands by name: each a pair of what comes before every run
        and of what is timed. `times`: how often as many runs as usual."""
        seconds = timing.medians(list(commands.values()), times * self.runs, self.environment,
                                 shell)
        return {name: 1e3 * each for name, each in zip(commands, seconds)}

    def floor_of_install(self, files, size):
        target = self.folder / "floor"
        old = f"$(mktemp -d {self.folder}/old-XXXXXXXX)"
        return (f"(test ! -e {target} || mv {target} {old}) && mkdir {target} && sync",
                f"{self.build}/bench/floor {target} {files} {size}")

    def install(self, files, size):
        commands = {}
        for side in self.sides:
            item = side.package(f"payload{files}", files, size)
            commands[side.name] = (side.prepare_install() + " && sync", side.install(item))
        commands[FLOOR] = self.floor_of_install(files, size)
        return self.medians(commands)

    def list(self, count):
        commands = {}
        for side in self.sides:
            if side.list() is None:
                continue
            side.fill(count)
            commands[side.name] = ("", side.list())
        commands[FLOOR] = ("", str(self.build / "bench" / "minimal"))
        return self.medians(commands, shell="none", times=5)

    def remove(self, files, size):
        commands = {}
        for side in self.sides:
            name = f"removed{files}"
            if side.remove(name) is None:
                continue
            before = f"{side.prepare_install()} && {side.install(side.package(name, files, size))}"
            commands[side.name] = (before + " && sync", side.remove(name))
        return self.medians(commands)


def table(head, rows):
    lines = ["| " + " | ".join(head) + " |", "|" + "---|" * len(head)]
    return "\n".join(lines + ["| " + " | ".join(row) + " |" for row in rows])


def milliseconds(figures, name):
    return f"{figures[name]:.1f}" if name in figures else "–"


def plot(path, title, figures, names, axis):
    """Draws one line a side: milliseconds against the size, both on logarithmic scales. `names`: of
    all sides, so that a side has the same colour in every picture."""
    import matplotlib
    matplotlib.use("svg")
    from matplotlib import pyplot, ticker
    matplotlib.rcParams["svg.hashsalt"] = "tavik"  # the same figures give the same file
    drawing, axes = pyplot.subplots(figsize=(8, 4.2))
    sizes = sorted(figures)
    # The names then stand beside the picture in the order of the lines' right ends.
    for name in sorted(figures[sizes[-1]], key=figures[sizes[-1]].get, reverse=True):
        style = {"TavikCmd": "-", FLOOR: ":"}.get(name, "--")
        axes.plot(sizes, [figures[size][name] for size in sizes], style, color=f"C{names.index(name)}",
                  marker="o", label=name)
    axes.set(xscale="log", yscale="log", xlabel=axis, ylabel="milliseconds", title=title)
    for side in (axes.xaxis, axes.yaxis):
        side.set_major_formatter(ticker.StrMethodFormatter("{x:,.0f}"))
    axes.grid(True, which="major", alpha=0.3)
    axes.legend(loc="center left", bbox_to_anchor=(1.01, 0.5), frameon=False)
    drawing.tight_layout()
    drawing.savefig(path, metadata={"Date": None})
    pyplot.close(drawing)


PAGE = """# Performance

Written by `bench/run --peers`, which measures all of it anew. Figures are medians of {runs} runs or
more, the programs in turns. Less is better. What can be carried to another machine is a ratio: it
compares two programs in one run on one machine, here one with {cores} cores and {disk}.

## Beside programs for the same work

Each program gets the same payload in its own form: {payload}. It installs it into an
empty store of its own, and removes it from there, with its checks and its records. Where a program
leaves the files to the system, `sync -f` follows and counts. Milliseconds:

{peers}

"Floor" is a bare C program that writes the same files and makes them durable, and for the lists the
smallest program on the same framework. A dash stands where a program has no such command for a
folder of its own. These are different products: each does things that the others do not.

![Time of a list against the number of items](performance/list.svg)

![Time of an install against the number of files](performance/install.svg)

## Beside the plainest way to do the same

{cases}

The cases are those of `bench/run`; `bench/run CASE` measures one.
"""


def write_page(performance, cases, folder):
    """Measures, and writes `performance.md` and its plots below `folder`; `cases`: the rows of
    bench/run's own table."""
    installs = {size: performance.install(size, PAYLOAD[1]) for size in INSTALL_SIZES}
    lists = {size: performance.list(size) for size in LIST_SIZES}
    payload = performance.install(*PAYLOAD)
    removes = performance.remove(*PAYLOAD)
    names = [side.name for side in performance.sides] + [FLOOR]
    works = [(f"install, {PAYLOAD[0]} files", payload)]
    works += [(f"list of {size:,}", lists[size]) for size in LIST_SIZES]
    works += [(f"remove, {PAYLOAD[0]} files", removes)]
    rows = [[work] + [milliseconds(figures, name) for name in names] for work, figures in works]
    (folder / "performance").mkdir(exist_ok=True)
    plot(folder / "performance/list.svg", "List", lists, names, "items installed")
    plot(folder / "performance/install.svg", "Install", installs, names,
         "files of 10 kB")
    disk = subprocess.run(["df", "--output=fstype", performance.folder], check=True,
                          stdout=subprocess.PIPE, text=True).stdout.split()[-1]
    (folder / "performance.md").write_text(PAGE.format(
        runs=performance.runs, cores=os.cpu_count(), disk=disk,
        payload=f"{PAYLOAD[0]} files of {PAYLOAD[1] // 1000} kB",
        peers=table(["work"] + names, rows),
        cases=table(["work", "beside", "ours, ms", "theirs, ms", "ratio"], cases)))
