"""Times commands with hyperfine, in turns."""

import json
import pathlib
import shlex
import statistics
import subprocess
import tempfile

ROUND = 5


def medians(commands, runs, environment, shell):
    """The median time of each of `commands`, in seconds. A command is a pair: what prepares every
    run, or "", and what is timed. Rounds of a few runs each go on in turns: where the machine's
    speed drifts, it drifts for all."""
    times = [[] for _ in commands]
    with tempfile.TemporaryDirectory() as folder:
        result = pathlib.Path(folder) / "times.json"
        line = ["hyperfine", "--style", "none", "--shell", shell, "--runs", str(ROUND),
                "--export-json", str(result)]
        if any(prepare for prepare, _ in commands):
            for prepare, _ in commands:
                line += ["--prepare", f"sh -c {shlex.quote(prepare or 'true')}"]
        for done in range(0, runs, ROUND):
            run = subprocess.run(
                line + ["--warmup", "0" if done else "1"] + [timed for _, timed in commands],
                env=environment, text=True, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
            # Otherwise it only warns of outliers, and the median leaves these out.
            if run.returncode != 0:
                raise RuntimeError(run.stderr)
            for all_times, row in zip(times, json.loads(result.read_text())["results"]):
                all_times += row["times"]
    return [statistics.median(each) for each in times]
